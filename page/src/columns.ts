// SPDX-License-Identifier: Apache-2.0
// Columns of numbers: reading them from their packed form, ordering and searching them.
//
// A column is packed as planes of bytes, least significant first: all first bytes, then all second
// bytes. Neighbours in a column are alike in their high bytes, so the planes compress well. A width
// of 1 to 6 is whole numbers counted from `base`, one up, so that 0 is free to say "absent"; 8 is
// IEEE doubles, whose NaN is "absent"; 0 is a column that holds nothing at all.

export type Column = Float64Array;

/** Unpacks `count` values that begin at `offset`. */
export function unpack(
  bytes: Uint8Array,
  offset: number,
  count: number,
  width: number,
  base: number,
): Column {
  const values = new Float64Array(count);
  if (width === 0) return values.fill(NaN);
  if (offset + count * width > bytes.length) throw new Error('a column ends early');
  if (width === 8) {
    const plain = new Uint8Array(values.buffer);
    for (let plane = 0; plane < 8; ++plane)
      for (let i = 0; i < count; ++i) plain[i * 8 + plane] = bytes[offset + plane * count + i]!;
    return values;
  }
  let weight = 1;
  for (let plane = 0; plane < width; ++plane, weight *= 256)
    for (let i = 0; i < count; ++i) values[i]! += weight * bytes[offset + plane * count + i]!;
  for (let i = 0; i < count; ++i) values[i] = values[i] === 0 ? NaN : base + (values[i]! - 1);
  return values;
}

/** How many of the first elements of an ascending column are below `value`. */
export function lowerBound(sorted: ArrayLike<number>, value: number): number {
  return partitionPoint(sorted.length, (i) => sorted[i]! < value);
}

/** How many of them are at most `value`. */
export function upperBound(sorted: ArrayLike<number>, value: number): number {
  return partitionPoint(sorted.length, (i) => sorted[i]! <= value);
}

/** The first index below `count` for which `isBefore` does not hold; it holds up to there. */
export function partitionPoint(count: number, isBefore: (index: number) => boolean): number {
  let low = 0;
  let high = count;
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (isBefore(middle)) low = middle + 1;
    else high = middle;
  }
  return low;
}

/** The values that are there, ascending. */
export function sortedValues(column: ArrayLike<number>): Float64Array {
  return Float64Array.from(column).filter((value) => !Number.isNaN(value)).sort();
}

/** The nearest-rank percentile of ascending values: the ⌈p·n/100⌉-th; NaN of none. */
export function percentile(sorted: Float64Array, p: number): number {
  if (sorted.length === 0) return NaN;
  return sorted[Math.max(Math.ceil((p * sorted.length) / 100), 1) - 1]!;
}

/** Row numbers in the order of their keys. What is absent is last either way; equal rows keep their
 * order. */
export function orderByNumber(rows: Int32Array, keys: ArrayLike<number>, isDescending: boolean) {
  const sign = isDescending ? -1 : 1;
  return Int32Array.from(rows).sort((a, b) => {
    const left = keys[a]!;
    const right = keys[b]!;
    if (Number.isNaN(left) || Number.isNaN(right))
      return Number(Number.isNaN(left)) - Number(Number.isNaN(right)) || a - b;
    return sign * (left - right) || a - b;
  });
}

export function orderByText(rows: Int32Array, texts: readonly string[], isDescending: boolean) {
  const sign = isDescending ? -1 : 1;
  const compare = new Intl.Collator('en', { numeric: true }).compare;
  return Int32Array.from(rows).sort((a, b) => sign * compare(texts[a]!, texts[b]!) || a - b);
}

export function sum(column: Iterable<number>): number {
  let total = 0;
  for (const value of column) if (!Number.isNaN(value)) total += value;
  return total;
}
