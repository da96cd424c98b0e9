// SPDX-License-Identifier: Apache-2.0
// A long series on a narrow screen: what every pixel of it stands for.

import { lowerBound, percentile } from './columns';

/** Least and greatest of each bucket; NaN for a bucket that holds nothing. */
export interface Buckets {
  /** The middle of each bucket, in executions. */
  readonly at: Float64Array;
  readonly least: Float64Array;
  readonly greatest: Float64Array;
}

/** The values of [from, to) in at most `count` buckets of equal length; with room enough, each value
 * in one of its own. Nothing is averaged away: the slowest execution is seen at any width. */
export function bucketed(values: ArrayLike<number>, from: number, to: number, count: number): Buckets {
  const length = Math.max(to - from, 0);
  const buckets = Math.max(Math.min(count, length), 0);
  const at = new Float64Array(buckets);
  const least = new Float64Array(buckets).fill(NaN);
  const greatest = new Float64Array(buckets).fill(NaN);
  for (let bucket = 0; bucket < buckets; ++bucket) {
    const begin = from + Math.floor((bucket * length) / buckets);
    const end = from + Math.floor(((bucket + 1) * length) / buckets);
    at[bucket] = (begin + end - 1) / 2;
    for (let i = begin; i < end; ++i) {
      const value = values[i]!;
      if (!(value >= least[bucket]!)) least[bucket] = Number.isNaN(value) ? least[bucket]! : value;
      if (!(value <= greatest[bucket]!))
        greatest[bucket] = Number.isNaN(value) ? greatest[bucket]! : value;
    }
  }
  return { at, least, greatest };
}

export interface Histogram {
  readonly from: number;
  readonly to: number;
  readonly counts: readonly number[];
}

/** Ascending values in bins of equal width. As many bins as the spread of the middle half asks for
 * (Freedman and Diaconis), between 8 and 48. */
export function histogram(sorted: Float64Array): Histogram {
  const from = sorted[0] ?? 0;
  const to = sorted.at(-1) ?? 0;
  if (!(to > from)) return { from, to, counts: sorted.length > 0 ? [sorted.length] : [] };
  const spread = percentile(sorted, 75) - percentile(sorted, 25);
  const width = (2 * spread) / Math.cbrt(sorted.length);
  const bins = width > 0 ? Math.min(Math.max(Math.ceil((to - from) / width), 8), 48) : 8;
  const edges = Array.from({ length: bins }, (_, i) => from + ((i + 1) * (to - from)) / bins);
  let before = 0;
  const counts = edges.map((edge, i) => {
    const upTo = i === bins - 1 ? sorted.length : lowerBound(sorted, edge);
    const inside = upTo - before;
    before = upTo;
    return inside;
  });
  return { from, to, counts };
}

/** The share of ascending values that are below `value`. */
export function rankOf(sorted: Float64Array, value: number): number {
  return sorted.length === 0 ? NaN : lowerBound(sorted, value) / sorted.length;
}
