// SPDX-License-Identifier: Apache-2.0
// The events of one graph: the block's columns, and what the page works out from them once.

import { type Column, orderByNumber, sum } from './columns';
import { type Block, type GraphHead, type Table } from './data';
import { shownName, typeOfName } from './names';

/** The types with a colour of their own; all others share one. */
export const kColouredTypes = 7;

const kNoType = '(other)';

export interface TypeGroup {
  readonly name: string;
  readonly rows: Int32Array;
  readonly self: number;
  /** Its colour: below kColouredTypes, or that for all the others. */
  readonly colour: number;
}

/** Self times beside each other: one column for each event that the page has room for. */
export interface Samples {
  has(row: number): boolean;
  column(row: number): Column;
}

export class EventTree {
  readonly table: Table;
  readonly rows: number;
  readonly parents: Int32Array;
  readonly depths: Int32Array;
  /** Names as shown, without their path. */
  readonly names: readonly string[];
  readonly units: readonly (string | null)[];
  /** The rows that times are ranked among: below the main root where there is one. */
  readonly ranked: Int32Array;
  /** Rows with times that stand beside the main root and overlap with it. */
  readonly beside: Int32Array;
  /** Rows of every other unit. */
  readonly others: Int32Array;
  readonly selfShares: Column;
  readonly cumulated: Column;
  readonly selfMeans: Column;
  readonly totalMeans: Column;
  /** The totals' coefficients of variation. */
  readonly variations: Column;
  readonly types: readonly TypeGroup[];
  /** Whether the groups are types; else they are parts. */
  readonly isTyped: boolean;
  private readonly colourOf: Uint8Array;
  private readonly hasChildren: Uint8Array;

  constructor(
    block: Block,
    readonly head: GraphHead,
  ) {
    const table = block.table('events');
    this.table = table;
    this.rows = table.rows;
    const rows = Array.from({ length: table.rows }, (_, row) => row);
    const text = (index: number): string => block.texts[index] ?? '';
    this.parents = Int32Array.from(table.column('parent'), (row) => (Number.isNaN(row) ? -1 : row));
    this.names = Array.from(table.column('name'), (index) => shownName(text(index)));
    this.units = Array.from(table.column('unit'), (index) =>
      Number.isNaN(index) ? null : shownName(text(index)),
    );
    this.depths = new Int32Array(table.rows);
    this.hasChildren = new Uint8Array(table.rows);
    const isMain = new Uint8Array(table.rows);
    for (const row of rows) {
      const parent = this.parents[row]!;
      if (parent >= 0) {
        this.depths[row] = this.depths[parent]! + 1;
        this.hasChildren[parent] = 1;
      }
      const isRoot = head.main_row === null ? parent < 0 : row === head.main_row;
      isMain[row] = isRoot || (parent >= 0 && isMain[parent] === 1) ? 1 : 0;
    }
    const timed = rows.filter((row) => this.units[row] === 'us');
    this.ranked = Int32Array.from(timed.filter((row) => isMain[row] === 1));
    this.beside = Int32Array.from(timed.filter((row) => isMain[row] === 0));
    this.others = Int32Array.from(rows.filter((row) => this.units[row] !== 'us'));

    const self = table.column('self_sum');
    const executions = table.column('executions');
    this.selfShares = self.map((value) => (head.whole_us > 0 ? value / head.whole_us : NaN));
    this.selfMeans = self.map((value, row) => value / executions[row]!);
    this.totalMeans = table.column('total_sum').map((value, row) => value / executions[row]!);
    this.variations = table.column('total_stddev').map((value, row) => value / this.totalMeans[row]!);
    this.cumulated = new Float64Array(table.rows).fill(NaN);
    let soFar = 0;
    for (const row of orderByNumber(this.ranked, self, true)) {
      soFar += this.selfShares[row] || 0;
      this.cumulated[row] = soFar;
    }
    [this.types, this.isTyped] = this.group(block);
    this.colourOf = new Uint8Array(table.rows).fill(kColouredTypes);
    for (const type of this.types) for (const row of type.rows) this.colourOf[row] = type.colour;
  }

  // By the type in the names, where the names have one that groups them; else by the largest parts:
  // the rows right below the main root, each with all that is below it.
  private group(block: Block): [TypeGroup[], boolean] {
    const name = this.table.column('name');
    const typeOf = (row: number) => typeOfName(block.texts[name[row]!] ?? '');
    const byType = this.groupsOf(typeOf);
    const typed = sum(byType.filter((group) => group.name !== kNoType).map((group) => group.self));
    const isTyped = byType.length <= Math.max(8, this.ranked.length / 2);
    if (isTyped && typed * 3 >= sum(byType.map((group) => group.self)) * 2)
      return [byType, true];
    const top = this.head.main_row ?? -1;
    const partOf = (row: number): string | null => {
      let at = row;
      while (at >= 0 && this.parents[at] !== top) at = this.parents[at]!;
      return at >= 0 ? this.names[at]! : null;
    };
    return [this.groupsOf(partOf), false];
  }

  private groupsOf(nameOf: (row: number) => string | null): TypeGroup[] {
    const self = this.table.column('self_sum');
    const groups = new Map<string, number[]>();
    for (const row of this.ranked) {
      const name = nameOf(row) ?? kNoType;
      const group = groups.get(name);
      if (group === undefined) groups.set(name, [row]);
      else group.push(row);
    }
    let colour = 0;
    return [...groups]
      .map(([name, rows]) => ({ name, rows, self: sum(rows.map((row) => self[row]!)) }))
      .sort((a, b) => b.self - a.self)
      .map(({ name, rows, self }) => ({
        name,
        rows: Int32Array.from(rows),
        self,
        colour: name === kNoType ? kColouredTypes : Math.min(colour++, kColouredTypes),
      }));
  }

  isLeaf(row: number): boolean {
    return this.hasChildren[row] === 0;
  }

  colour(row: number): number {
    return this.colourOf[row]!;
  }

  /** The row's names from the root down. */
  path(row: number): string[] {
    const path: string[] = [];
    for (let at = row; at >= 0; at = this.parents[at]!) path.unshift(this.names[at]!);
    return path;
  }
}
