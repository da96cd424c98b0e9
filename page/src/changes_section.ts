// SPDX-License-Identifier: Apache-2.0
// What changed, event by event: a table with a bar from the middle, and the icicle of the new side
// coloured by change.

import { fillChange, fillName, numberColumn } from './cells';
import { changeStep, kChangeSteps } from './change_colours';
import { type Column, orderByNumber, orderByText, sum } from './columns';
import { type Block, type Table } from './data';
import { byId, button, coalesced, element, nameElement, styleValue } from './dom';
import { Grid, type GridColumn } from './grid';
import { Icicle } from './icicle';
import { shownName } from './names';
import { count, fixed, quantity, signed, signedPercent } from './numbers';
import { printedTable } from './print';
import { parseSearch } from './search';

/** The verdicts with their signs, so that colour never speaks alone. */
const kSigns: Readonly<Record<string, string>> = {
  worse: '+', better: '−', same: '=', changed: '~', inconclusive: '?', added: '»', removed: '«',
  'not comparable': '!',
};

interface Changes {
  readonly table: Table;
  readonly parents: Int32Array;
  readonly names: string[];
  readonly paths: string[];
  readonly units: (string | null)[];
  readonly verdicts: string[];
  readonly sizes: Column;
  readonly largest: number;
  /** Whether the icicle shows the row. */
  readonly isMain: Uint8Array;
}

function readChanges(block: Block, mainRow: number | null): Changes {
  const table = block.table('rows');
  const text = (index: number) => shownName(block.texts[index] ?? '');
  const parents = Int32Array.from(table.column('parent'), (row) => (Number.isNaN(row) ? -1 : row));
  const names = Array.from(table.column('name'), text);
  const paths: string[] = [];
  names.forEach((name, row) => {
    const parent = parents[row]!;
    paths.push(parent < 0 ? name : `${paths[parent]} ${name}`);
  });
  const units = Array.from(table.column('unit'), (i) => (Number.isNaN(i) ? null : text(i)));
  const sizes = table.column('change').map((change) => Math.abs(change));
  const largest = sizes.reduce((most, size, row) =>
    (units[row] === 'us' && size > most && parents[row]! >= 0 ? size : most), 0);
  const verdicts = Array.from(table.column('verdict'), text);
  const isMain = new Uint8Array(table.rows);
  parents.forEach((parent, row) => {
    const isRoot = mainRow === null ? parent < 0 && units[row] === 'us' : row === mainRow;
    isMain[row] = Number(isRoot || (parent >= 0 && isMain[parent] === 1));
  });
  return { table, parents, names, paths, units, verdicts, sizes, largest, isMain };
}

export class ChangesSection {
  private readonly host = element('div', { class: 'events' });
  private readonly searchBox = element('input', {
    type: 'search', class: 'search', placeholder: 'Search events', 'aria-label': 'Search events',
    'aria-keyshortcuts': '/', autocomplete: 'off', spellcheck: 'false',
  });
  private readonly views = element('div', { class: 'switch', role: 'group', 'aria-label': 'Rows' });
  private readonly found = element('p', { class: 'found', role: 'status' });
  private readonly gridHost = element('div', { class: 'grid-host' });
  private readonly detail = element('aside', { class: 'detail', 'aria-label': 'The selected event' });
  private readonly icicleHost = element('div');
  private grid: Grid | null = null;
  private icicle: Icicle | null = null;
  private changes: Changes | null = null;
  private order: Int32Array = new Int32Array();
  private sorting = { id: 'change', isDescending: true };
  /** Whether the rows of the icicle are shown, or what stands beside them. */
  private isMainShown = true;

  constructor(private readonly metric: string) {
    this.searchBox.addEventListener('input', coalesced(() => this.update()));
  }

  attach(host: HTMLElement | null, icicleHost: HTMLElement | null): void {
    const slash = element('kbd', { 'aria-hidden': 'true' }, '/');
    this.host.append(
      element('div', { class: 'controls' },
        element('span', { class: 'search-frame' }, this.searchBox, slash), this.views, this.found),
      element('div', { class: 'grid-and-detail' }, this.gridHost, this.detail));
    host?.append(this.host);
    icicleHost?.append(this.icicleHost);
  }

  /** `mainRow` is the row of the main root, which the icicle shows alone where there is one. */
  show(block: Block, mainRow: number | null): void {
    this.changes = readChanges(block, mainRow);
    this.detail.replaceChildren();
    this.grid = new Grid('Changes', changeColumns(this.changes, this.metric), {
      sort: (column) => this.sortBy(column),
      select: (row) => this.pick(row),
    });
    this.gridHost.replaceChildren(this.grid.node);
    this.showIcicle();
    this.setView(true);
  }

  private setView(isMainShown: boolean): void {
    this.isMainShown = isMainShown;
    const mains = sum(this.changes!.isMain);
    const views: [boolean, string, number][] = [
      [true, 'Events', mains], [false, 'Beside them', this.changes!.isMain.length - mains],
    ];
    this.views.replaceChildren(...views.filter(([, , rows]) => rows > 0).map(([isMain, text, rows]) =>
      button(`${text} (${count(rows)})`, () => this.setView(isMain),
        { 'aria-pressed': String(isMain === isMainShown) })));
    this.update();
  }

  focusSearch(): void {
    this.host.scrollIntoView({ block: 'nearest' });
    this.searchBox.focus();
    this.searchBox.select();
  }

  select(row: number): void {
    const isMain = this.changes!.isMain[row] === 1;
    if (isMain !== this.isMainShown) this.setView(isMain);
    if (!this.order.includes(row)) {
      this.searchBox.value = '';
      this.update();
    }
    this.pick(row);
    byId('events')?.scrollIntoView({ block: 'start' });
    this.grid?.focusSelected();
  }

  private pick(row: number): void {
    this.grid?.select(row);
    this.detail.replaceChildren(...describeChange(this.changes!, row, this.metric));
  }

  private sortBy(column: GridColumn): void {
    const isSame = this.sorting.id === column.id;
    this.sorting = { id: column.id, isDescending: isSame ? !this.sorting.isDescending : !column.isText };
    this.update();
  }

  private update(): void {
    const changes = this.changes!;
    const matcher = parseSearch(this.searchBox.value);
    const matched = matcher === null ? null : Uint8Array.from(changes.paths, (path) => Number(matcher(path)));
    const all = this.rows();
    this.order = this.ordered(matched === null ? all : all.filter((row) => matched[row] === 1));
    this.grid?.setSorting(this.sorting.id, this.sorting.isDescending);
    this.grid?.setRows(this.order);
    this.icicle?.mark(matched);
    this.found.textContent =
      matched === null ? '' : `${count(this.order.length)} of ${count(all.length)} rows`;
  }

  private rows(): Int32Array {
    const all = Int32Array.from(this.changes!.names.keys());
    return all.filter((row) => (this.changes!.isMain[row] === 1) === this.isMainShown);
  }

  private ordered(rows: Int32Array): Int32Array {
    const changes = this.changes!;
    const { id, isDescending } = this.sorting;
    if (id === 'name') return orderByText(rows, changes.paths, isDescending);
    if (id === 'verdict') return orderByText(rows, changes.verdicts, isDescending);
    return orderByNumber(rows, id === 'change' ? changes.sizes : changes.table.column(id), isDescending);
  }

  // --- Icicle -------------------------------------------------------------------------------------

  private showIcicle(): void {
    const model = icicleModel(this.changes!, this.metric);
    if (this.icicle !== null) {
      this.icicle.setModel(model);
      return;
    }
    this.icicle = new Icicle(model, (row) => this.pick(row));
    const keys = kChangeSteps.map(({ label }, step) =>
      element('span', { class: 'key' }, element('i', { class: `swatch step-${step}` }), label));
    this.icicleHost.append(
      element('div', { class: 'controls' }, element('p', { class: 'legend' }, ...keys),
        element('span', { class: 'buttons' }, button('Zoom out', () => this.icicle?.zoomOut()))),
      this.icicle.node);
  }

  // --- Print --------------------------------------------------------------------------------------

  printed(): HTMLElement {
    const changes = this.changes;
    if (changes === null) return element('div');
    const columns = changeColumns(changes, this.metric);
    return printedTable(columns, orderByNumber(this.rows(), changes.sizes, true));
  }
}

function changeColumns(changes: Changes, metric: string): GridColumn[] {
  const { table, units, verdicts } = changes;
  const change = table.column('change');
  const changePercent = table.column('change_percent');
  const amount = (id: string, row: number) => quantity(table.column(id)[row]!, units[row]!);
  const interval = (row: number) => {
    const low = table.column('ci_low')[row]!;
    return Number.isNaN(low) ? '–'
      : `${signed(low, (n) => fixed(n, 1))} … ${signed(table.column('ci_high')[row]!, (n) => fixed(n, 1))}`;
  };
  return [
    {
      id: 'name', title: 'Event', width: 150, isFlexible: true, isText: true, priority: 0,
      fill: (cell, row, width) => fillName(cell, `swatch step-${changeStep(changePercent[row]!)}`,
        changes.names[row]!, width),
    },
    {
      id: 'change', title: 'Change', hint: `Of ${metric}`, width: 190, priority: 1,
      fill: (cell, row) => {
        const unit = units[row]!;
        const share = unit === 'us' && changes.largest > 0 ? change[row]! / changes.largest : 0;
        fillChange(cell, signed(change[row]!, (n) => quantity(n, unit)), share);
      },
    },
    numberColumn('change_percent', 'Change %', `Of ${metric}`, 92, 2, (row) => signedPercent(changePercent[row]!)),
    numberColumn('base', 'Base', metric, 96, 4, (row) => amount('base', row)),
    numberColumn('new', 'New', metric, 96, 3, (row) => amount('new', row)),
    { ...numberColumn('interval', '95 % interval', 'Of the change, in percent', 130, 7, interval), isSorted: false },
    {
      ...numberColumn('verdict', 'Verdict', 'What the comparison makes of it', 128, 5, (row) =>
        `${kSigns[verdicts[row]!] ?? ''} ${verdicts[row]!}`),
      isText: true,
    },
  ];
}

function describeChange(changes: Changes, row: number, metric: string): HTMLElement[] {
  const { table, units, verdicts, names, parents } = changes;
  const unit = units[row]!;
  const above: string[] = [];
  for (let at = parents[row]!; at >= 0; at = parents[at]!) above.unshift(names[at]!);
  const path = element('p', { class: 'path mono' });
  for (const name of above) path.append(nameElement(name), ' › ');
  const at = (name: string) => table.column(name)[row]!;
  const numbers: [string, string][] = [
    ['Verdict', `${kSigns[verdicts[row]!] ?? ''} ${verdicts[row]!}`],
    [`Base, ${metric}`, quantity(at('base'), unit)], [`New, ${metric}`, quantity(at('new'), unit)],
    ['Change', signed(at('change'), (n) => quantity(n, unit))],
    ['In percent', signedPercent(at('change_percent'))],
    ['95 % interval, low', signedPercent(at('ci_low'))], ['95 % interval, high', signedPercent(at('ci_high'))],
    ['A new one is slower with', Number.isNaN(at('probability')) ? '–' : `${fixed(at('probability') * 100, 0)} %`],
    ['Samples', `${count(at('base_samples'))} and ${count(at('new_samples'))}`],
  ];
  const list = element('dl', {});
  for (const [term, value] of numbers)
    if (value !== '–') list.append(element('dt', {}, term), element('dd', {}, value));
  return [path, element('h3', { class: 'mono' }, nameElement(names[row]!)), list];
}

function icicleModel(changes: Changes, metric: string) {
  const { table, names, units, parents, isMain } = changes;
  const next = table.column('new');
  const percents = table.column('change_percent');
  return {
    label: 'The new side as an icicle, coloured by change',
    parents,
    values: next.map((value, row) => (isMain[row] === 1 ? value : 0)),
    names,
    colour: (row: number) => styleValue(kChangeSteps[changeStep(percents[row]!)]!.style),
    describe: (row: number) =>
      `${names[row]} · ${quantity(next[row]!, units[row]!)} (${metric}) · ` +
      `${signedPercent(percents[row]!)} · ${changes.verdicts[row]}`,
  };
}
