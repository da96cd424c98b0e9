// SPDX-License-Identifier: Apache-2.0
// Where the boxes of an icicle stand.
//
// Rows are in pre-order, each with its parent's row or -1. A box is an interval of [0, 1], as wide as
// its row's value is of the whole; children stand in their parent from its left edge on, in the order
// of the rows. Children that add up to more than their parent (a log may say so) are narrowed until
// they fit. What a parent has over its children stays free at its right: it is its own time. A
// parent without a value of its own is as wide as its children.

import { partitionPoint } from './columns';

export interface IcicleLayout {
  readonly start: Float64Array;
  readonly end: Float64Array;
  readonly depth: Int32Array;
  /** For each depth its rows, from left to right; rows without width are in none. */
  readonly levels: readonly Int32Array[];
  readonly total: number;
  /** Whether children were narrowed anywhere. */
  readonly isNarrowed: boolean;
}

export function layOut(parents: ArrayLike<number>, values: ArrayLike<number>): IcicleLayout {
  const rows = parents.length;
  const value = new Float64Array(rows);
  const childSum = new Float64Array(rows);
  let total = 0;
  for (let row = rows - 1; row >= 0; --row) {
    const parent = parents[row]!;
    value[row] = Number.isNaN(values[row]) ? childSum[row]! : Math.max(values[row]!, 0);
    if (parent >= 0) childSum[parent]! += value[row]!;
    else total += value[row]!;
  }
  const start = new Float64Array(rows);
  const end = new Float64Array(rows);
  const depth = new Int32Array(rows);
  const filled = new Float64Array(rows); // up to where a row's children stand so far
  const levels: number[][] = [];
  let rootsFilled = 0;
  let isNarrowed = false;
  for (let row = 0; row < rows; ++row) {
    const parent = parents[row]!;
    const isRoot = parent < 0;
    let width = total > 0 ? value[row]! / total : 0;
    if (!isRoot) {
      const room = end[parent]! - start[parent]!;
      const whole = Math.max(childSum[parent]!, value[parent]!);
      width = whole > 0 ? (room * value[row]!) / whole : 0;
      // Rounding alone is no narrowing.
      if (childSum[parent]! > value[parent]! * (1 + 1e-9) + 1e-9) isNarrowed = true;
      depth[row] = depth[parent]! + 1;
    }
    start[row] = isRoot ? rootsFilled : filled[parent]!;
    end[row] = start[row]! + width;
    filled[row] = start[row]!;
    if (isRoot) rootsFilled = end[row]!;
    else filled[parent] = end[row]!;
    if (width > 0) (levels[depth[row]!] ??= []).push(row);
  }
  return { start, end, depth, levels: levels.map((level) => byStart(level, start)), total, isNarrowed };
}

// Pre-order is from left to right, except for rows whose parents first appeared in another order.
function byStart(level: readonly number[], start: Float64Array): Int32Array {
  return Int32Array.from(level).sort((a, b) => start[a]! - start[b]! || a - b);
}

/** The box at a place of a level, or -1. */
export function boxAt(layout: IcicleLayout, level: number, place: number): number {
  const rows = layout.levels[level];
  if (rows === undefined) return -1;
  const at = partitionPoint(rows.length, (i) => layout.end[rows[i]!]! <= place);
  const row = rows[at];
  return row !== undefined && layout.start[row]! <= place ? row : -1;
}

/** Where the boxes of a level that reach into [from, to] begin and end in its list. */
export function boxesWithin(
  layout: IcicleLayout,
  level: number,
  from: number,
  to: number,
): [number, number] {
  const rows = layout.levels[level] ?? new Int32Array();
  const first = partitionPoint(rows.length, (i) => layout.end[rows[i]!]! <= from);
  const last = partitionPoint(rows.length, (i) => layout.start[rows[i]!]! < to);
  return [first, Math.max(first, last)];
}
