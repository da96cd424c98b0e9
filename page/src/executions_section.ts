// SPDX-License-Identifier: Apache-2.0
// Executions over the run, and what the one that the reader picks spent its time on.

import { percentile, sortedValues } from './columns';
import { type Table } from './data';
import { button, element, nameElement } from './dom';
import { type EventTree, type Samples } from './event_tree';
import { ExecutionChart } from './execution_chart';
import { shownName } from './names';
import { count, duration, signed, signedPercent } from './numbers';

const kMostRows = 8;

export class ExecutionsSection {
  private chart: ExecutionChart | null = null;
  private readonly host = element('div');
  private readonly picked = element('div', { class: 'picked' });
  private tree: EventTree | null = null;
  private table: Table | null = null;
  private samples: () => Promise<Samples> = () => Promise.reject(new Error('no graph is shown'));

  constructor(private readonly onRow: (row: number) => void) {}

  attach(host: HTMLElement | null): void {
    host?.append(this.host);
  }

  show(tree: EventTree, table: Table, samples: () => Promise<Samples>): void {
    this.tree = tree;
    this.table = table;
    this.samples = samples;
    const { head } = tree;
    const series = [{
      name: shownName(head.graph),
      durations: table.column('duration'),
      outliers: head.outliers,
      warmup: head.warmup,
    }];
    if (this.chart === null) {
      this.chart = new ExecutionChart(series, (execution) => void this.pick(execution));
      this.host.append(this.controls(), this.chart.node, this.picked);
    } else this.chart.setSeries(series);
    this.picked.replaceChildren(this.outlierList());
  }

  private controls(): HTMLElement {
    const logarithmic = button('Logarithmic', () => {
      const isOn = logarithmic.getAttribute('aria-pressed') !== 'true';
      logarithmic.setAttribute('aria-pressed', String(isOn));
      this.chart?.setLogarithmic(isOn);
    }, { 'aria-pressed': 'false' });
    const legend = element('p', { class: 'legend' },
      key('key-line', 'fastest to slowest'), key('key-mild', 'mild outlier'),
      key('key-severe', 'severe outlier'), key('key-dash', 'percentiles'),
      key('key-band', 'warm-up'));
    return element('div', { class: 'controls' }, legend, element('span', { class: 'buttons' },
      button('Show all', () => this.chart?.showAll()), logarithmic));
  }

  // The slow ones, each a button; the first ones tell most.
  private outlierList(): HTMLElement {
    const slow = (this.tree?.head.outliers ?? []).filter((outlier) => outlier.path !== undefined);
    if (slow.length === 0) return element('div');
    slow.sort((a, b) => b.duration_us - a.duration_us);
    const items = slow.slice(0, kMostRows).map((outlier) =>
      element('li', {},
        button(`Execution ${count(outlier.execution)}`, () => void this.pick(outlier.execution)),
        ` ${duration(outlier.duration_us)}, most of it over in `,
        nameElement(shownName(outlier.path!.at(-1) ?? ''), { class: 'mono' }),
        ` (${signed(outlier.excess_us ?? NaN, duration)})`));
    return element('div', {}, element('h3', {}, 'Slow executions'),
      element('ul', { class: 'outliers' }, ...items));
  }

  private async pick(execution: number): Promise<void> {
    const tree = this.tree!;
    const durations = this.table!.column('duration');
    const samples = await this.samples();
    if (tree !== this.tree) return;
    const p50 = tree.table.column('self_p50');
    const differences = Array.from(tree.ranked)
      .filter((row) => samples.has(row))
      .map((row) => ({ row, self: samples.column(row)[execution] ?? NaN, usual: p50[row]! }))
      .map((each) => ({ ...each, excess: each.self - each.usual }))
      .filter(({ excess }) => Math.abs(excess) > 0)
      .sort((a, b) => Math.abs(b.excess) - Math.abs(a.excess));
    const median = percentile(sortedValues(durations), 50);
    const change = (durations[execution]! / median - 1) * 100;
    const title = `Execution ${count(execution)}: ${duration(durations[execution]!)}, ${signedPercent(change)} against the median`;
    this.picked.replaceChildren(
      element('h3', {}, title),
      differences.length === 0
        ? element('p', {}, 'None of its events differs from its own median.')
        : this.differenceTable(differences.slice(0, kMostRows)),
      button('Back to the slow executions', () => this.picked.replaceChildren(this.outlierList())),
    );
  }

  private differenceTable(
    differences: readonly { row: number; self: number; usual: number; excess: number }[],
  ): HTMLElement {
    const tree = this.tree!;
    const rows = differences.map(({ row, self, usual, excess }) => {
      const name = button('', () => this.onRow(row), { class: 'link mono' });
      name.append(nameElement(tree.names[row]!));
      return element('tr', {}, element('td', {}, name),
        element('td', { class: 'number' }, duration(self)),
        element('td', { class: 'number' }, duration(usual)),
        element('td', { class: `number ${excess > 0 ? 'worse' : 'better'}` }, signed(excess, duration)));
    });
    return element('div', { class: 'scrolls' }, element('table', {},
      element('thead', {}, element('tr', {}, element('th', { scope: 'col' }, 'Event'),
        ...['This time', 'Usually', 'Difference'].map((title) =>
          element('th', { scope: 'col', class: 'number' }, title)))),
      element('tbody', {}, ...rows)));
  }
}

const key = (kind: string, text: string): HTMLElement =>
  element('span', { class: 'key' }, element('i', { class: kind, 'aria-hidden': 'true' }), text);
