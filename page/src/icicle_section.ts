// SPDX-License-Identifier: Apache-2.0
// The icicle of the mean execution, with its legend: in the order of the log, as deep as the events
// are, or by type, the largest first.

import { orderByNumber } from './columns';
import { button, element, nameElement, styleValue } from './dom';
import { kColouredTypes, type EventTree } from './event_tree';
import { Icicle, type IcicleModel } from './icicle';
import { duration, percent } from './numbers';

type Order = 'log' | 'type';

/** A model, and which of its boxes is which event. */
interface View {
  readonly model: IcicleModel;
  /** The event of each box; -1 for a type's. */
  readonly rows: Int32Array;
}

export class IcicleSection {
  private readonly host = element('div');
  private readonly legend = element('p', { class: 'legend' });
  private readonly orders = element('span', { class: 'switch', role: 'group', 'aria-label': 'Order' });
  private readonly note = element('p', { class: 'note' });
  private icicle: Icicle | null = null;
  private tree: EventTree | null = null;
  private view: View | null = null;
  private order: Order = 'log';
  private matched: Uint8Array | null = null;

  constructor(private readonly onPick: (row: number) => void) {}

  attach(host: HTMLElement | null): void {
    host?.append(this.host);
  }

  show(tree: EventTree): void {
    this.tree = tree;
    this.legend.replaceChildren(...legendOf(tree));
    this.setOrder('log');
  }

  /** Events that stand out; null for none. */
  mark(matched: Uint8Array | null): void {
    this.matched = matched;
    const isMatched = (row: number) => Number(row >= 0 && matched![row] === 1);
    this.icicle?.mark(matched === null || this.view === null ? null : Uint8Array.from(this.view.rows, isMatched));
  }

  reveal(row: number): void {
    const box = this.view?.rows.indexOf(row) ?? -1;
    if (box >= 0) this.icicle?.reveal(box);
    this.host.closest('section')?.scrollIntoView({ block: 'nearest' });
  }

  private setOrder(order: Order): void {
    const tree = this.tree!;
    this.order = order;
    this.view = order === 'log' ? viewInOrder(tree) : viewByType(tree);
    if (this.icicle === null) {
      this.icicle = new Icicle(this.view.model, (box) => this.picked(box));
      this.host.append(
        element('div', { class: 'controls' }, this.legend, element('span', { class: 'buttons' },
          this.orders, button('Zoom out', () => this.icicle?.zoomOut()))),
        this.icicle.node, this.note);
    } else this.icicle.setModel(this.view.model);
    const names: [Order, string][] = [['log', 'In order'], ['type', tree.isTyped ? 'By type' : 'By part']];
    this.orders.replaceChildren(...names.map(([id, text]) =>
      button(text, () => this.setOrder(id), { 'aria-pressed': String(id === this.order) })));
    this.note.textContent = this.icicle.isNarrowed
      ? 'Some events add up to more than what they are part of; they are narrowed to fit.'
      : '';
    this.mark(this.matched);
  }

  private picked(box: number): void {
    const row = this.view!.rows[box]!;
    if (row >= 0) this.onPick(row);
  }
}

function describe(tree: EventTree, name: string, sum: number): string {
  const mean = duration(sum / tree.head.executions);
  return `${name} · ${mean} on average · ${percent(sum / tree.head.whole_us)}`;
}

function viewInOrder(tree: EventTree): View {
  const total = tree.table.column('total_sum');
  const isRanked = new Uint8Array(tree.rows);
  for (const row of tree.ranked) isRanked[row] = 1;
  const style = (row: number) => (tree.isLeaf(row) ? `--type-${tree.colour(row)}` : '--parent');
  return {
    rows: Int32Array.from(tree.parents.keys()),
    model: {
      label: 'The mean execution as an icicle',
      parents: tree.parents,
      // What stands beside the main root is no part of the execution.
      values: total.map((value, row) => (isRanked[row] === 1 ? value : 0)),
      names: tree.names,
      colour: (row) => styleValue(style(row)),
      describe: (row) => describe(tree, tree.names[row]!, total[row]!),
    },
  };
}

// Two levels: the types, and below each its events by their self times.
function viewByType(tree: EventTree): View {
  const self = tree.table.column('self_sum');
  const boxes: { parent: number; value: number; name: string; row: number; colour: number }[] = [];
  for (const type of tree.types) {
    const parent = boxes.length;
    boxes.push({ parent: -1, value: type.self, name: type.name, row: -1, colour: type.colour });
    for (const row of orderByNumber(type.rows, self, true))
      boxes.push({ parent, value: self[row]!, name: tree.names[row]!, row, colour: type.colour });
  }
  return {
    rows: Int32Array.from(boxes, ({ row }) => row),
    model: {
      label: 'The mean execution as an icicle by type',
      parents: boxes.map(({ parent }) => parent),
      values: boxes.map(({ value }) => value),
      names: boxes.map(({ name }) => name),
      colour: (box) => styleValue(`--type-${boxes[box]!.colour}`),
      describe: (box) => describe(tree, boxes[box]!.name, boxes[box]!.value),
    },
  };
}

function legendOf(tree: EventTree): HTMLElement[] {
  const key = (colour: number, name: Node) =>
    element('span', { class: 'key' }, element('i', { class: `swatch type-${colour}` }), name);
  const own = tree.types.filter(({ colour }) => colour < kColouredTypes);
  const keys = own.map(({ colour, name }) => key(colour, nameElement(name)));
  if (tree.types.length > own.length) keys.push(key(kColouredTypes, new Text('others')));
  return keys;
}
