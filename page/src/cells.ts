// SPDX-License-Identifier: Apache-2.0
// What stands in the cells of a grid. Cells are filled again and again as rows come into sight, so
// elements are made once and changed from then on.

import { element, nameElement, svg } from './dom';
import { type GridColumn } from './grid';
import { shortened } from './names';

function setText(cell: HTMLElement, text: string): void {
  if (cell.textContent !== text) cell.textContent = text;
}

export function numberColumn(
  id: string, title: string, hint: string, width: number, priority: number,
  text: (row: number) => string,
): GridColumn {
  return { id, title, hint, width, priority, fill: (cell, row) => setText(cell, text(row)) };
}

const kCharacterWidth = 7.3; // of the 12 px font of names, a little more than it takes

export function fillName(cell: HTMLElement, swatch: string, name: string, width: number): void {
  const [mark, text] = cell.children;
  const shown = shortened(name, Math.max(Math.floor((width - 34) / kCharacterWidth), 8));
  if (text === undefined)
    cell.append(element('i', { class: swatch, 'aria-hidden': 'true' }), nameElement(shown, { class: 'mono' }));
  else {
    mark!.className = swatch;
    setText(text as HTMLElement, shown);
  }
  cell.title = shown === name ? '' : name;
}

export function fillBar(cell: HTMLElement, text: string, share: number): void {
  const [bar, label] = cell.children as unknown as [SVGElement?, HTMLElement?];
  const width = `${Math.max(Math.min(share * 100, 100), 0).toFixed(2)}%`;
  if (bar === undefined || label === undefined) {
    cell.classList.add('bar-cell');
    cell.append(
      svg('svg', { class: 'bar', 'aria-hidden': 'true' }, svg('rect', { width, height: '100%' })),
      element('span', {}, text));
    return;
  }
  bar.firstElementChild!.setAttribute('width', width);
  setText(label, text);
}

/** A bar from the middle: to the right in orange for more, to the left in blue for less. `share` is
 * of the greatest change, from -1 to 1. */
export function fillChange(cell: HTMLElement, text: string, share: number): void {
  const [bar, label] = cell.children as unknown as [SVGElement?, HTMLElement?];
  const half = Math.min(Math.abs(share || 0), 1) * 50;
  const settings = {
    class: share > 0 ? 'more' : 'less',
    x: `${(share > 0 ? 50 : 50 - half).toFixed(2)}%`,
    width: `${half.toFixed(2)}%`,
    height: '100%',
  };
  const rect = svg('rect', settings);
  if (bar === undefined || label === undefined) {
    cell.classList.add('bar-cell');
    const middle = svg('line', { x1: '50%', x2: '50%', y1: 0, y2: '100%' });
    cell.append(
      svg('svg', { class: 'bar change', 'aria-hidden': 'true' }, rect, middle),
      element('span', {}, text));
    return;
  }
  bar.replaceChild(rect, bar.firstElementChild!);
  setText(label, text);
}
