// SPDX-License-Identifier: Apache-2.0
// A table of any length: only the rows in sight are elements.
//
// Rows are of equal height and stand absolutely in a body as high as all of them, so that the
// browser scrolls natively; elements are reused as rows leave and enter. The row that has the focus
// stays an element even when it is out of sight, so that the focus is never lost. One cell at a time
// can be reached with Tab; arrow keys move from there (role "grid").

import { sum } from './columns';
import { coalesced, element } from './dom';

export interface GridColumn {
  readonly id: string;
  readonly title: string;
  /** What the title means, for those who point at it. */
  readonly hint?: string;
  readonly width: number;
  /** Takes what the other columns leave: at least `width`, and where there is room for it more. */
  readonly isFlexible?: boolean;
  readonly isText?: boolean;
  /** Columns with a higher number are left out first where there is no room. */
  readonly priority: number;
  /** False for a column that gives no order. */
  readonly isSorted?: boolean;
  fill(cell: HTMLElement, row: number, width: number): void;
}

export interface GridEvents {
  sort(column: GridColumn): void;
  select(row: number): void;
}

const kRowHeight = 30;
const kComfortable = 270; // pixels for a flexible column
const kSpare = 8; // rows beyond the visible ones, so that scrolling meets finished rows

interface RowElement {
  readonly node: HTMLElement;
  readonly cells: readonly HTMLElement[];
}

export class Grid {
  readonly node: HTMLElement;
  private readonly header = element('div', { role: 'row', 'aria-rowindex': 1, class: 'grid-header' });
  private readonly body = element('div', { role: 'rowgroup', class: 'grid-body' });
  private readonly pool: RowElement[] = [];
  private readonly shown = new Map<number, RowElement>();
  private visible: GridColumn[] = [];
  private headers: HTMLElement[] = [];
  private flexibleWidth = 0;
  private order: Int32Array = new Int32Array();
  private sorting = { id: '', isDescending: true };
  private selected = -1; // row
  private active = { position: -1, column: 0 }; // position -1 is the header
  private readonly draw = coalesced(() => this.drawRows());

  constructor(
    label: string,
    private readonly columns: readonly GridColumn[],
    private readonly events: GridEvents,
  ) {
    const head = element('div', { role: 'rowgroup', class: 'grid-head' }, this.header);
    this.node = element('div', { role: 'grid', class: 'grid', 'aria-label': label }, head, this.body);
    this.node.addEventListener('scroll', this.draw, { passive: true });
    this.node.addEventListener('keydown', (event) => this.pressed(event));
    this.node.addEventListener('click', (event) => this.clicked(event));
    this.node.addEventListener('focusin', (event) => this.focused(event));
    new ResizeObserver(() => this.fitColumns()).observe(this.node);
  }

  /** The rows to show, in their order. */
  setRows(order: Int32Array): void {
    this.order = order;
    this.node.setAttribute('aria-rowcount', String(order.length + 1));
    this.body.style.setProperty('height', `${order.length * kRowHeight}px`);
    this.active.position = Math.min(this.active.position, order.length - 1);
    this.refill();
    this.drawRows();
  }

  setSorting(id: string, isDescending: boolean): void {
    this.sorting = { id, isDescending };
    this.visible.forEach((column, i) => this.markSorting(this.headers[i]!, column));
  }

  /** Marks a row, and scrolls to it where it is out of sight. */
  select(row: number, isShown = true): void {
    this.selected = row;
    const position = this.order.indexOf(row);
    if (position >= 0 && isShown) {
      this.active.position = position;
      this.scrollTo(position);
    }
    this.refresh();
  }

  focusSelected(): void {
    this.drawRows();
    this.cellAt(this.active.position, this.active.column)?.focus({ preventScroll: true });
  }

  /** Fills the rows in sight again. */
  refresh(): void {
    this.refill();
    this.drawRows();
  }

  // --- Columns ------------------------------------------------------------------------------------

  private fitColumns(): void {
    const room = this.node.clientWidth;
    if (room === 0) return;
    const byPriority = [...this.columns].sort((a, b) => a.priority - b.priority);
    const leastWidth = (column: GridColumn) =>
      column.isFlexible ? Math.max(column.width, Math.min(room / 3, kComfortable)) : column.width;
    let used = 0;
    const fitting = new Set(
      byPriority.filter((column, i) => {
        if (i > 0 && used + leastWidth(column) > room) return false;
        used += leastWidth(column);
        return true;
      }),
    );
    this.flexibleWidth = room - used + sum(this.columns.filter((c) => c.isFlexible).map(leastWidth));
    const visible = this.columns.filter((column) => fitting.has(column));
    const isSame =
      visible.length === this.visible.length && visible.every((c, i) => c === this.visible[i]);
    if (!isSame) this.showColumns(visible);
    this.refresh();
  }

  private showColumns(visible: GridColumn[]): void {
    this.visible = visible;
    const widths = visible.map((c) => (c.isFlexible ? 'minmax(0, 1fr)' : `${c.width}px`));
    this.node.style.setProperty('--columns', widths.join(' '));
    this.node.setAttribute('aria-colcount', String(this.columns.length));
    this.active.column = Math.min(this.active.column, visible.length - 1);
    this.headers = visible.map((column) => this.makeHeader(column));
    this.header.replaceChildren(...this.headers);
    this.shown.clear();
    this.pool.length = 0;
    this.body.replaceChildren();
  }

  private makeHeader(column: GridColumn): HTMLElement {
    const header = element(
      'div',
      {
        role: 'columnheader',
        class: column.isText ? 'cell text' : 'cell number',
        'aria-colindex': this.columns.indexOf(column) + 1,
        tabindex: -1,
        title: column.hint,
      },
      element('span', {}, column.title),
    );
    this.markSorting(header, column);
    return header;
  }

  private markSorting(header: HTMLElement, column: GridColumn): void {
    if (column.isSorted === false) return;
    const isSorted = column.id === this.sorting.id;
    const direction = this.sorting.isDescending ? 'descending' : 'ascending';
    header.setAttribute('aria-sort', isSorted ? direction : 'none');
  }

  // --- Rows ---------------------------------------------------------------------------------------

  private drawRows(): void {
    if (this.visible.length === 0) return;
    const height = this.node.clientHeight - this.header.offsetHeight;
    const top = this.node.scrollTop;
    const first = Math.max(Math.floor(top / kRowHeight) - kSpare, 0);
    const last = Math.min(Math.ceil((top + height) / kRowHeight) + kSpare, this.order.length);
    for (const [position, row] of this.shown)
      if ((position < first || position >= last) && position !== this.active.position)
        this.recycle(position, row);
    for (let position = first; position < last; ++position) this.showRow(position);
    if (this.active.position >= 0) this.showRow(this.active.position);
    this.placeTabStop();
  }

  private showRow(position: number): void {
    if (this.shown.has(position) || position >= this.order.length) return;
    const row = this.pool.pop() ?? this.makeRow();
    row.node.setAttribute('aria-rowindex', String(position + 2));
    row.node.style.setProperty('transform', `translateY(${position * kRowHeight}px)`);
    row.node.classList.toggle('odd', position % 2 === 1);
    this.fill(row, position);
    row.node.hidden = false;
    this.shown.set(position, row);
  }

  private fill(row: RowElement, position: number): void {
    const number = this.order[position]!;
    row.node.setAttribute('aria-selected', String(number === this.selected));
    this.visible.forEach((column, i) => {
      const width = column.isFlexible ? this.flexibleWidth : column.width;
      column.fill(row.cells[i]!, number, width);
    });
  }

  private makeRow(): RowElement {
    const cells = this.visible.map((column) =>
      element('div', {
        role: 'gridcell',
        class: column.isText ? 'cell text' : 'cell number',
        'aria-colindex': this.columns.indexOf(column) + 1,
        tabindex: -1,
      }),
    );
    const node = element('div', { role: 'row', class: 'grid-row' }, ...cells);
    this.body.append(node);
    return { node, cells };
  }

  private recycle(position: number, row: RowElement): void {
    this.shown.delete(position);
    row.node.hidden = true;
    this.pool.push(row);
  }

  // Elements keep their positions, and with them the focus; only what they show changes.
  private refill(): void {
    for (const [position, row] of this.shown)
      if (position < this.order.length) this.fill(row, position);
      else this.recycle(position, row);
  }

  // --- Focus and keys -----------------------------------------------------------------------------

  private cellAt(position: number, column: number): HTMLElement | undefined {
    return position < 0 ? this.headers[column] : this.shown.get(position)?.cells[column];
  }

  private placeTabStop(): void {
    for (const cell of this.node.querySelectorAll('[tabindex="0"]')) cell.setAttribute('tabindex', '-1');
    this.cellAt(this.active.position, this.active.column)?.setAttribute('tabindex', '0');
  }

  private focused(event: FocusEvent): void {
    const cell = (event.target as HTMLElement).closest<HTMLElement>('.cell');
    if (cell === null) return;
    this.active = this.placeOf(cell);
    this.placeTabStop();
  }

  private placeOf(cell: HTMLElement): { position: number; column: number } {
    const inHeader = this.headers.indexOf(cell);
    if (inHeader >= 0) return { position: -1, column: inHeader };
    for (const [position, row] of this.shown) {
      const column = row.cells.indexOf(cell);
      if (column >= 0) return { position, column };
    }
    return this.active;
  }

  private clicked(event: MouseEvent): void {
    const cell = (event.target as HTMLElement).closest<HTMLElement>('.cell');
    if (cell === null) return;
    this.active = this.placeOf(cell);
    this.activate();
  }

  private activate(): void {
    const { position, column } = this.active;
    const header = this.visible[column];
    if (position >= 0) this.events.select(this.order[position]!);
    else if (header !== undefined && header.isSorted !== false) this.events.sort(header);
  }

  private pressed(event: KeyboardEvent): void {
    if (event.altKey || event.metaKey) return;
    if (event.key === 'Enter' || event.key === ' ') {
      event.preventDefault();
      this.activate();
      return;
    }
    const target = this.moved(event.key, event.ctrlKey);
    if (target === null) return;
    event.preventDefault();
    this.active = target;
    this.scrollTo(target.position);
    this.drawRows();
    this.cellAt(target.position, target.column)?.focus({ preventScroll: true });
  }

  private moved(key: string, isFar: boolean): { position: number; column: number } | null {
    const { position, column } = this.active;
    const page = Math.max(Math.floor(this.node.clientHeight / kRowHeight) - 2, 1);
    const lastRow = this.order.length - 1;
    const lastColumn = this.visible.length - 1;
    const row = (to: number) => ({ position: Math.max(Math.min(to, lastRow), -1), column });
    switch (key) {
      case 'ArrowDown': return row(position + 1);
      case 'ArrowUp': return row(position - 1);
      case 'PageDown': return row(position + page);
      case 'PageUp': return row(Math.max(position - page, 0));
      case 'ArrowRight': return { position, column: Math.min(column + 1, lastColumn) };
      case 'ArrowLeft': return { position, column: Math.max(column - 1, 0) };
      case 'Home': return isFar ? { position: 0, column: 0 } : { position, column: 0 };
      case 'End': return { position: isFar ? lastRow : position, column: lastColumn };
      default: return null;
    }
  }

  private scrollTo(position: number): void {
    if (position < 0) return;
    const top = position * kRowHeight;
    const room = this.node.clientHeight - this.header.offsetHeight - kRowHeight;
    if (top < this.node.scrollTop) this.node.scrollTop = top;
    else if (top > this.node.scrollTop + room) this.node.scrollTop = top - room;
  }
}
