// SPDX-License-Identifier: Apache-2.0
// Columns: unpacking, searching, ordering; and what becomes of a long series.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { lowerBound, orderByNumber, orderByText, percentile, sortedValues, unpack, upperBound } from '../src/columns';
import { Block } from '../src/data';
import { bucketed, histogram, rankOf } from '../src/series';
import { packBlock, packColumn } from './packing';

const list = (column: ArrayLike<number>) => Array.from(column);

test('columns come back as they were packed', () => {
  const columns: [string, number, number[]][] = [
    ['nothing at all', 0, [NaN, NaN]],
    ['one byte, some absent', 1, [300, NaN, 301, 554]],
    ['a range of 255 takes a second byte', 2, [0, 255]],
    ['negative', 2, [-1000, 1000, NaN]],
    ['48 bits', 6, [0, 2 ** 47]],
    ['whole numbers beyond 2^53', 2, [2 ** 60, 2 ** 60 + 512, NaN]],
    ['wider than that', 8, [0, 2 ** 50, NaN]],
    ['fractions', 8, [0.5, NaN, -1e300]],
  ];
  for (const [what, width, values] of columns) {
    const [packedWidth, base, bytes] = packColumn(values);
    assert.equal(packedWidth, width, what);
    assert.deepEqual(list(unpack(bytes, 0, values.length, width, base)), values, what);
  }
  assert.throws(() => unpack(new Uint8Array(5), 0, 3, 2, 0), /ends early/);
});

test('a block holds texts and tables', () => {
  const block = new Block(packBlock(['a', '</script>'], {
    events: { rows: 2, columns: { parent: [NaN, 0], name: [0, 1] } },
    executions: { rows: 3, columns: { duration: [1e6, NaN, 1.5] } },
  }));
  assert.deepEqual(block.texts, ['a', '</script>']);
  assert.deepEqual(list(block.table('events').column('parent')), [NaN, 0]);
  assert.deepEqual(list(block.table('executions').column('duration')), [1e6, NaN, 1.5]);
  assert.throws(() => block.table('events').column('nothing'), /no column "nothing"/);
});

test('binary search finds both ends of equal values', () => {
  const sorted = [1, 3, 3, 3, 7];
  for (const [value, lower, upper] of [[0, 0, 0], [1, 0, 1], [3, 1, 4], [4, 4, 4], [7, 4, 5], [9, 5, 5]]) {
    assert.equal(lowerBound(sorted, value!), lower);
    assert.equal(upperBound(sorted, value!), upper);
  }
  assert.equal(lowerBound([], 1), 0);
});

test('percentiles are observed values, by nearest rank', () => {
  const sorted = sortedValues([15, NaN, 20, 35, 50, 40]);
  const at = (p: number) => percentile(sorted, p);
  assert.deepEqual([0, 5, 30, 40, 50, 100].map(at), [15, 15, 20, 20, 35, 50]);
  assert.ok(Number.isNaN(percentile(sortedValues([]), 50)));
  assert.equal(rankOf(sorted, 40), 0.6);
});

test('ordering keeps equal rows in place and absent ones last', () => {
  const keys = [5, NaN, 7, 5, NaN, 1];
  const rows = Int32Array.from(keys.keys());
  assert.deepEqual(list(orderByNumber(rows, keys, true)), [2, 0, 3, 5, 1, 4]);
  assert.deepEqual(list(orderByNumber(rows, keys, false)), [5, 0, 3, 2, 1, 4]);
  assert.deepEqual(list(orderByText(Int32Array.of(0, 1, 2), ['conv10', 'conv9', 'add'], false)), [2, 1, 0]);
});

test('buckets keep the slowest of a million', () => {
  const values = new Float64Array(1_000_000).fill(10);
  values[777_777] = 500;
  values[5] = NaN;
  const { at, least, greatest } = bucketed(values, 0, values.length, 400);
  assert.equal(at.length, 400);
  assert.equal(greatest.indexOf(500), Math.floor(777_777 / 2500));
  assert.ok(least.every((value) => value === 10));

  const few = bucketed([4, NaN, 6], 0, 3, 400);
  assert.deepEqual([list(few.at), list(few.least)], [[0, 1, 2], [4, NaN, 6]]);
  assert.deepEqual(list(bucketed([1, 2, 3, 4], 1, 4, 1).greatest), [4]);
  assert.equal(bucketed([], 0, 0, 10).at.length, 0);
});

test('a histogram counts every value once', () => {
  const sorted = Float64Array.from({ length: 1000 }, (_, i) => i);
  const { from, to, counts } = histogram(sorted);
  assert.deepEqual([from, to, counts.reduce((a, b) => a + b)], [0, 999, 1000]);
  assert.ok(counts.length >= 8 && counts.length <= 48);
  assert.deepEqual(histogram(Float64Array.of(3, 3)).counts, [2]);
  assert.deepEqual(histogram(new Float64Array()).counts, []);
});
