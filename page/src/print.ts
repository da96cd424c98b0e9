// SPDX-License-Identifier: Apache-2.0
// Paper: what is folded opens, and what is drawn only as far as one can see is written out in full.

import { byId, element } from './dom';
import { type GridColumn } from './grid';
import { count } from './numbers';

const kMostPrinted = 400;

/** `table` makes what stands in place of the grid. */
export function addPrintTables(table: () => HTMLElement): void {
  let opened: HTMLDetailsElement[] = [];
  addEventListener('beforeprint', () => {
    opened = [...document.querySelectorAll<HTMLDetailsElement>('details:not([open])')];
    for (const details of opened) details.open = true;
    byId('events-print')?.replaceChildren(table());
  });
  addEventListener('afterprint', () => {
    for (const details of opened) details.open = false;
    byId('events-print')?.replaceChildren();
  });
}

/** Rows of a grid's columns as a plain table, for paper. */
export function printedTable(columns: readonly GridColumn[], rows: Int32Array): HTMLElement {
  const kind = (column: GridColumn) => (column.isText ? 'text' : 'number');
  const cellsOf = (row: number) => columns.map((column) => {
    const cell = element('td', { class: kind(column) });
    column.fill(cell, row, 1e4);
    return cell;
  });
  const table = element('table', { class: 'printed' },
    element('thead', {}, element('tr', {}, ...columns.map((column) =>
      element('th', { scope: 'col', class: kind(column) }, column.title)))),
    element('tbody', {}, ...Array.from(rows.subarray(0, kMostPrinted), (row) =>
      element('tr', {}, ...cellsOf(row)))));
  const left = rows.length - kMostPrinted;
  if (left > 0) table.append(element('caption', {}, `${count(left)} more are on the page`));
  return table;
}
