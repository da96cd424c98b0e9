// SPDX-License-Identifier: Apache-2.0
// The events of one graph as a table: search, order, groups by type, and a closer look at one.

import { type Column, orderByNumber, orderByText, percentile, sortedValues } from './columns';
import { button, byId, coalesced, element, nameElement, svg } from './dom';
import { type EventTree, type Samples } from './event_tree';
import { fillBar, fillName, numberColumn } from './cells';
import { Grid, type GridColumn } from './grid';
import { printedTable } from './print';
import { count, duration, fixed, percent, quantity, scaled, timeScale, type Scale } from './numbers';
import { parseSearch } from './search';
import { bucketed, histogram } from './series';

export interface EventsHost {
  samples(): Promise<Samples>;
  /** The rows that the search found; null where there is no search. */
  search(matched: Uint8Array | null): void;
  showInIcicle(row: number): void;
}

type View = 'events' | 'types' | 'beside';

export class EventsSection {
  private readonly host = element('div', { class: 'events' });
  private readonly searchBox = element('input', {
    type: 'search', class: 'search', placeholder: 'Search events', 'aria-label': 'Search events',
    'aria-keyshortcuts': '/', autocomplete: 'off', spellcheck: 'false',
  });
  private readonly found = element('p', { class: 'found', role: 'status' });
  private readonly views = element('div', { class: 'switch', role: 'group', 'aria-label': 'Rows' });
  private readonly gridHost = element('div', { class: 'grid-host' });
  private readonly detail = element('aside', { class: 'detail', 'aria-label': 'The selected event' });
  private grid: Grid | null = null;
  private tree: EventTree | null = null;
  private view: View = 'events';
  private order: Int32Array = new Int32Array();
  private sorting = { id: 'self', isDescending: true };
  private selected = -1;
  private searchTexts: string[] = [];

  constructor(private readonly outside: EventsHost) {
    this.searchBox.addEventListener('input', coalesced(() => this.update()));
    this.searchBox.addEventListener('keydown', (event) => this.searchPressed(event));
  }

  attach(host: HTMLElement | null): void {
    host?.append(this.host);
    const slash = element('kbd', { 'aria-hidden': 'true' }, '/');
    this.host.append(
      element('div', { class: 'controls' },
        element('span', { class: 'search-frame' }, this.searchBox, slash), this.views, this.found),
      element('div', { class: 'grid-and-detail' }, this.gridHost, this.detail),
    );
  }

  show(tree: EventTree): void {
    this.tree = tree;
    this.searchTexts = tree.names.map((_, row) => tree.path(row).join(' '));
    this.selected = -1;
    this.detail.replaceChildren();
    this.setView('events');
  }

  focusSearch(): void {
    this.host.scrollIntoView({ block: 'nearest' });
    this.searchBox.focus();
    this.searchBox.select();
  }

  /** Shows a row, whatever the search and the view are. */
  select(row: number, isScrolledTo = true): void {
    const isBeside = this.tree!.beside.includes(row);
    if (this.view !== (isBeside ? 'beside' : 'events')) this.setView(isBeside ? 'beside' : 'events');
    if (!this.order.includes(row)) {
      this.searchBox.value = '';
      this.update();
    }
    this.pick(row);
    if (!isScrolledTo) return;
    byId('events')?.scrollIntoView({ block: 'start' });
    this.grid?.focusSelected();
  }

  // --- Rows ---------------------------------------------------------------------------------------

  private setView(view: View): void {
    this.view = view;
    const tree = this.tree!;
    const views: [View, string, number][] = [
      ['events', 'Events', tree.ranked.length],
      ['types', tree.isTyped ? 'By type' : 'By part', tree.types.length],
      ['beside', 'Beside it', tree.beside.length + tree.others.length],
    ];
    this.views.replaceChildren(...views.filter(([, , rows]) => rows > 0).map(([id, text, rows]) =>
      button(`${text} (${count(rows)})`, () => this.setView(id), { 'aria-pressed': String(id === view) })));
    this.sorting = { id: view === 'beside' ? 'order' : 'self', isDescending: view !== 'beside' };
    this.makeGrid();
    this.update();
  }

  private makeGrid(): void {
    const columns = this.view === 'types' ? typeColumns(this.tree!) : eventColumns(this.tree!, this.view === 'beside');
    this.grid = new Grid('Events', columns, {
      sort: (column) => this.sortBy(column),
      select: (row) => (this.view === 'types' ? this.openType(row) : this.pick(row)),
    });
    this.gridHost.replaceChildren(this.grid.node);
  }

  private sortBy(column: GridColumn): void {
    const isSame = this.sorting.id === column.id;
    const isDescending = isSame ? !this.sorting.isDescending : !column.isText && column.id !== 'order';
    this.sorting = { id: column.id, isDescending };
    this.update();
  }

  private openType(index: number): void {
    const type = this.tree!.types[index]!;
    this.searchBox.value = this.tree!.isTyped ? `":${type.name}"` : `"${type.name}"`;
    this.setView('events');
  }

  private update(): void {
    const tree = this.tree!;
    const matcher = parseSearch(this.searchBox.value);
    const matched = matcher === null ? null : Uint8Array.from(this.searchTexts, (t) => Number(matcher(t)));
    if (this.view === 'types') {
      const rows = Int32Array.from(tree.types.keys());
      this.order = this.ordered(matcher === null ? rows : rows.filter((i) => matcher(tree.types[i]!.name)));
    } else {
      const all = this.view === 'events' ? tree.ranked : Int32Array.from([...tree.beside, ...tree.others]);
      this.order = this.ordered(matched === null ? all : all.filter((row) => matched[row] === 1));
    }
    this.grid?.setSorting(this.sorting.id, this.sorting.isDescending);
    this.grid?.setRows(this.order);
    this.found.textContent = matcher === null ? '' : this.describeFound();
    this.outside.search(matched);
  }

  private describeFound(): string {
    const tree = this.tree!;
    if (this.view !== 'events') return `${count(this.order.length)} found`;
    const share = this.order.reduce((all, row) => all + (tree.selfShares[row] || 0), 0);
    return `${count(this.order.length)} of ${count(tree.ranked.length)} events, ${percent(share)} of the time`;
  }

  private ordered(rows: Int32Array): Int32Array {
    const tree = this.tree!;
    const { id, isDescending } = this.sorting;
    if (this.view === 'types') {
      if (id === 'name') return orderByText(rows, tree.types.map((type) => type.name), isDescending);
      const keys = id === 'calls' ? tree.types.map((t) => t.rows.length) : tree.types.map((t) => t.self);
      return orderByNumber(rows, keys, isDescending);
    }
    if (id === 'name') return orderByText(rows, tree.names, isDescending);
    return orderByNumber(rows, sortKeys(tree, id), isDescending);
  }

  private searchPressed(event: KeyboardEvent): void {
    if (event.key === 'Escape' && this.searchBox.value !== '') {
      this.searchBox.value = '';
      this.update();
    } else if (event.key === 'Enter' || event.key === 'ArrowDown') {
      const first = this.order[0];
      if (first === undefined || this.view === 'types') return;
      this.pick(first);
      this.grid?.focusSelected();
    } else return;
    event.preventDefault();
  }

  // --- One event ----------------------------------------------------------------------------------

  private pick(row: number): void {
    this.selected = row;
    this.grid?.select(row);
    void this.showDetail(row);
  }

  private async showDetail(row: number): Promise<void> {
    const tree = this.tree!;
    this.detail.replaceChildren(...describeEvent(tree, row));
    if (tree.ranked.includes(row))
      this.detail.append(button('Show in the icicle', () => this.outside.showInIcicle(row)));
    const samples = await this.outside.samples();
    if (this.selected !== row || this.tree !== tree || !samples.has(row)) return;
    this.detail.append(...drawSamples(samples.column(row), tree.units[row] ?? null));
  }

  // --- Print --------------------------------------------------------------------------------------

  /** The rows as a plain table, for paper. */
  printed(): HTMLElement {
    const tree = this.tree;
    if (tree === null) return element('div');
    const rows = orderByNumber(tree.ranked, tree.table.column('self_sum'), true);
    return printedTable(eventColumns(tree, false), rows);
  }
}

// --- Columns --------------------------------------------------------------------------------------

function sortKeys(tree: EventTree, id: string): ArrayLike<number> {
  const { table } = tree;
  switch (id) {
    case 'self': return table.column('self_sum');
    case 'cumulated': return tree.cumulated;
    case 'mean': return tree.selfMeans;
    case 'total': return tree.totalMeans;
    case 'variation': return tree.variations;
    case 'order': return Float64Array.from(tree.parents.keys());
    case 'calls': return table.column('calls');
    default: return table.column(id);
  }
}

function eventColumns(tree: EventTree, isMixed: boolean): GridColumn[] {
  const { table } = tree;
  const greatest = Math.max(tree.ranked.reduce((most, row) => Math.max(most, tree.selfShares[row] || 0), 0), 1e-9);
  const scale = commonScale(tree);
  const column = (id: string, title: string, hint: string, values: Column, priority: number) => {
    const text = isMixed
      ? (row: number) => quantity(values[row]!, tree.units[row]!)
      : (row: number) => scaled(values[row]!, scale);
    return numberColumn(id, isMixed ? title : `${title} ${scale.unit}`, hint, isMixed ? 96 : 88, priority, text);
  };
  const columns: GridColumn[] = [
    {
      id: 'name', title: 'Event', width: 150, isFlexible: true, isText: true, priority: 0,
      fill: (cell, row, width) =>
        fillName(cell, `swatch type-${tree.colour(row)}`, tree.names[row]!, width),
    },
  ];
  if (!isMixed)
    columns.push(
      {
        id: 'self', title: 'Self %', hint: 'Time not in sub-events, of all executions', width: 132, priority: 1,
        fill: (cell, row) =>
          fillBar(cell, percent(tree.selfShares[row]!), tree.selfShares[row]! / greatest),
      },
      numberColumn('cumulated', 'Cum %', 'This and all larger events together', 72, 7, (row) =>
        percent(tree.cumulated[row]!)),
    );
  const hasTail = tree.head.executions >= 100;
  columns.push(
    column('mean', 'Self', 'Self time of the mean execution', tree.selfMeans, 6),
    column('total', 'Total', 'Total of the mean execution, sub-events included', tree.totalMeans, 5),
    column('total_p50', 'p50', 'Half of the totals are at most this', table.column('total_p50'), 2),
    hasTail
      ? column('total_p99', 'p99', 'Of a hundred totals one is larger', table.column('total_p99'), 4)
      : column('total_p95', 'p95', 'Of twenty totals one is larger; p99 takes 100 executions', table.column('total_p95'), 4),
    column('total_max', 'Max', 'The largest total', table.column('total_max'), 3),
    numberColumn('variation', 'CV', 'Standard deviation of the total by its mean: how unsteady it is', 64, 8, (row) =>
      fixed(tree.variations[row]!, 2)),
    numberColumn('calls', 'Calls', 'Events in all executions', 72, 9, (row) =>
      count(table.column('calls')[row]!)),
    numberColumn('order', '#', 'Its place in the log', 52, 10, (row) => count(row + 1)),
  );
  return columns;
}

// One unit for all columns, so that they compare: the one that fits the largest leaf.
function commonScale(tree: EventTree): Scale {
  const most = tree.table.column('total_max');
  return timeScale(tree.ranked.reduce((all, row) =>
    (tree.isLeaf(row) ? Math.max(all, most[row] || 0) : all), 0));
}

function typeColumns(tree: EventTree): GridColumn[] {
  const share = (index: number) => tree.types[index]!.self / tree.head.whole_us;
  const greatest = Math.max(...tree.types.map((_, i) => share(i)), 1e-9);
  const scale = timeScale(Math.max(...tree.types.map((type) => type.self), 0));
  return [
    {
      id: 'name', title: tree.isTyped ? 'Type' : 'Part', width: 150, isFlexible: true, isText: true, priority: 0,
      fill: (cell, index, width) =>
        fillName(cell, `swatch type-${tree.types[index]!.colour}`, tree.types[index]!.name, width),
    },
    {
      id: 'self', title: 'Self %', width: 160, priority: 1,
      fill: (cell, index) => fillBar(cell, percent(share(index)), share(index) / greatest),
    },
    numberColumn('sum', `Self ${scale.unit}`, 'Self time of all executions', 96, 2, (index) =>
      scaled(tree.types[index]!.self, scale)),
    numberColumn('calls', 'Events', 'Different events of it', 80, 3, (index) =>
      count(tree.types[index]!.rows.length)),
  ];
}

// --- The closer look ------------------------------------------------------------------------------

function describeEvent(tree: EventTree, row: number): HTMLElement[] {
  const { table } = tree;
  const path = tree.path(row);
  const above = element('p', { class: 'path mono' });
  path.slice(0, -1).forEach((name) => above.append(nameElement(name), ' › '));
  const facts: [string, string][] = [
    ['Share of the time', percent(tree.selfShares[row]!)],
    ['Calls', count(table.column('calls')[row]!)],
    ['Executions', count(table.column('executions')[row]!)],
    ['Event type', count(table.column('event_type')[row]!)],
  ];
  const list = element('dl', {});
  for (const [term, value] of facts)
    if (value !== '–') list.append(element('dt', {}, term), element('dd', {}, value));
  return [above, element('h3', { class: 'mono' }, nameElement(path.at(-1)!)), list, quantities(tree, row)];
}

// The distribution of the self time, and of the total where that is another one.
function quantities(tree: EventTree, row: number): HTMLElement {
  const { table } = tree;
  const sides = tree.isLeaf(row) ? ['total'] : ['self', 'total'];
  const executions = table.column('executions')[row]!;
  const text = (value: number) => quantity(value, tree.units[row] ?? null);
  const at = (side: string, name: string) => table.column(`${side}_${name}`)[row]!;
  const rows: [string, (side: string) => string][] = [
    ['Mean', (side) => text(at(side, 'sum') / executions)],
    ['Least', (side) => text(at(side, 'min'))], ['p50', (side) => text(at(side, 'p50'))],
    ['p90', (side) => text(at(side, 'p90'))], ['p95', (side) => text(at(side, 'p95'))],
    ['p99', (side) => text(at(side, 'p99'))], ['Most', (side) => text(at(side, 'max'))],
    ['Standard deviation', (side) => text(at(side, 'stddev'))],
    ['CV', (side) => fixed((at(side, 'stddev') * executions) / at(side, 'sum'), 3)],
  ];
  const titles = sides.length > 1 ? ['Self', 'With sub-events'] : ['Of an execution'];
  const head = [element('td'), ...titles.map((title) =>
    element('th', { scope: 'col', class: 'number' }, title))];
  return element('table', { class: 'quantities' }, element('thead', {}, element('tr', {}, ...head)),
    element('tbody', {}, ...rows.filter(([, of]) => of(sides[0]!) !== '–').map(([title, of]) =>
      element('tr', {}, element('th', { scope: 'row' }, title),
        ...sides.map((side) => element('td', { class: 'number' }, of(side)))))));
}

// Its self time over the run, and how it is distributed.
function drawSamples(samples: Column, unit: string | null): Element[] {
  const sorted = sortedValues(samples);
  if (sorted.length === 0) return [];
  const text = unit === 'us' ? duration : (value: number) => quantity(value, unit);
  return [
    element('h4', {}, 'Over the run'), sparkline(samples, sorted),
    element('h4', {}, 'How often how long'), bars(sorted, text),
  ];
}

const kWidth = 320;

function sparkline(samples: Column, sorted: Float64Array): SVGElement {
  const height = 70;
  const { at, least, greatest } = bucketed(samples, 0, samples.length, kWidth / 2);
  const low = sorted[0]! > sorted.at(-1)! * 0.5 ? sorted[0]! * 0.98 : 0;
  const high = sorted.at(-1)! || 1;
  const x = (value: number) => (((value + 0.5) / samples.length) * kWidth).toFixed(1);
  const y = (value: number) => (height - 2 - ((value - low) / (high - low || 1)) * (height - 6)).toFixed(1);
  const points = [...at.keys()].filter((i) => !Number.isNaN(greatest[i]!));
  const upper = points.map((i) => `${x(at[i]!)},${y(greatest[i]!)}`);
  const lower = points.map((i) => `${x(at[i]!)},${y(least[i]!)}`).reverse();
  const middle = y(percentile(sorted, 50));
  return svg('svg', { class: 'small-chart', viewBox: `0 0 ${kWidth} ${height}`, role: 'img',
    'aria-label': `Self time over ${count(samples.length)} executions` },
    svg('polygon', { class: 'area', points: [...upper, ...lower].join(' ') }),
    svg('polyline', { class: 'line', points: upper.join(' ') }),
    svg('line', { class: 'median', x1: 0, x2: kWidth, y1: middle, y2: middle }));
}

function bars(sorted: Float64Array, text: (value: number) => string): SVGElement {
  const height = 84;
  const { from, to, counts } = histogram(sorted);
  const most = Math.max(...counts);
  const step = kWidth / counts.length;
  const bins = counts.map((inside, i) => {
    const tall = (inside / most) * (height - 22);
    return svg('rect', { class: 'bin side-0', x: (i * step).toFixed(1), y: (height - 18 - tall).toFixed(1),
      width: Math.max(step - 1, 1).toFixed(1), height: tall.toFixed(1) });
  });
  return svg('svg', { class: 'small-chart', viewBox: `0 0 ${kWidth} ${height}`, role: 'img',
    'aria-label': `${count(sorted.length)} values from ${text(from)} to ${text(to)}` },
    ...bins,
    svg('text', { x: 0, y: height - 4 }, text(from)),
    svg('text', { x: kWidth, y: height - 4, 'text-anchor': 'end' }, text(to)));
}
