// SPDX-License-Identifier: Apache-2.0
// The page of a comparison: what changed, one graph at a time.

import { ChangesSection } from './changes_section';
import { readBlock, type ComparisonHead } from './data';
import { byId, button, element } from './dom';
import { ExecutionChart } from './execution_chart';
import { GraphLinks, onSearchKey } from './graph_links';
import { addPrintTables } from './print';

class ComparisonPage {
  private graph = -1;
  private chart: ExecutionChart | null = null;
  private readonly changes: ChangesSection;
  private readonly links: GraphLinks;

  constructor(private readonly head: ComparisonHead) {
    this.changes = new ChangesSection(head.metric);
    this.links = new GraphLinks(head.graphs, {
      showGraph: (graph) => this.showGraph(graph),
      showRow: (row) => this.changes.select(row),
    });
  }

  async start(): Promise<void> {
    this.changes.attach(byId('events-host'), byId('icicle-host'));
    onSearchKey(() => this.changes.focusSearch());
    addPrintTables(() => this.changes.printed());
    await this.links.start();
  }

  private async showGraph(graph: number): Promise<void> {
    if (graph === this.graph) return;
    const block = await readBlock(`ryx-graph-${graph}`);
    if (block === null) throw new Error(`the page has no data of graph ${graph}`);
    this.graph = graph;
    const sides = (['base', 'new'] as const).map((name) => ({
      name,
      durations: block.table(name).column('duration'),
      outliers: [],
      warmup: 0,
    }));
    if (this.chart === null) {
      this.chart = new ExecutionChart(sides, null);
      byId('executions-host')?.append(this.controls(), this.chart.node);
    } else this.chart.setSeries(sides);
    this.changes.show(block, this.head.graphs[graph]?.main_row ?? null);
    this.links.showChosen(graph);
  }

  private controls(): HTMLElement {
    const key = (kind: string, text: string) =>
      element('span', { class: 'key' }, element('i', { class: kind, 'aria-hidden': 'true' }), text);
    return element('div', { class: 'controls' },
      element('p', { class: 'legend' }, key('key-base', 'base'), key('key-new', 'new'),
        key('key-dash', 'medians')),
      element('span', { class: 'buttons' }, button('Show all', () => this.chart?.showAll())));
  }
}

export async function showComparison(head: ComparisonHead): Promise<void> {
  if (head.graphs.length === 0) return;
  await new ComparisonPage(head).start();
}
