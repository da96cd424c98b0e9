// SPDX-License-Identifier: Apache-2.0
// Where the boxes of an icicle stand, and the tree of events that they show.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Block, type GraphHead } from '../src/data';
import { EventTree, kColouredTypes } from '../src/event_tree';
import { boxAt, boxesWithin, layOut } from '../src/icicle_layout';
import { packBlock } from './packing';

/** Rows as [parent, value]. */
const layOutRows = (...rows: [number, number][]) =>
  layOut(rows.map(([parent]) => parent), rows.map(([, value]) => value));

test('children fill their parent from the left and leave its own time free', () => {
  const layout = layOutRows([-1, 80], [0, 20], [0, 40], [2, 10], [-1, 20]);
  assert.deepEqual(Array.from(layout.start), [0, 0, 0.2, 0.2, 0.8]);
  assert.deepEqual(Array.from(layout.end, (end) => Number(end.toFixed(9))), [0.8, 0.2, 0.6, 0.3, 1]);
  assert.deepEqual(layout.levels.map((level) => Array.from(level)), [[0, 4], [1, 2], [3]]);
  assert.equal(layout.isNarrowed, false);
});

test('what cannot be is made to fit', () => {
  const narrowed = layOutRows([-1, 10], [0, 15], [0, 5]);
  assert.deepEqual([narrowed.end[1], narrowed.end[2], narrowed.isNarrowed], [0.75, 1, true]);

  const odd = layOutRows([-1, NaN], [0, 30], [0, 10], [-1, -5], [-1, 0]);
  assert.deepEqual([odd.end[0], odd.end[1], odd.isNarrowed], [1, 0.75, false]);
  assert.deepEqual(Array.from(odd.levels[0]!), [0], 'boxes without width are in no level');

  assert.deepEqual(layOutRows([-1, 0], [0, 0]).levels, []);
});

test('a place leads to its box', () => {
  const layout = layOutRows([-1, 100], [0, 10], [0, 50], [-1, 100]);
  assert.equal(boxAt(layout, 0, 0.7), 3);
  assert.equal(boxAt(layout, 1, 0.05), 2, 'a box begins where the one before it ends');
  assert.equal(boxAt(layout, 1, 0.31), -1, 'the parent\'s own time');
  assert.equal(boxAt(layout, 5, 0.5), -1);
  assert.deepEqual(boxesWithin(layout, 1, 0.04, 0.06), [0, 2]);
  assert.deepEqual(boxesWithin(layout, 1, 0.4, 1), [2, 2]);
});

/** Events as [parent, name, unit, self time], each seen once in one execution. */
function treeOf(mainRow: number | null, ...events: [number, string, string, number][]): EventTree {
  const texts = [...new Set(events.flatMap(([, name, unit]) => [name, unit]))];
  const rows = events.length;
  const column = (of: (event: [number, string, string, number]) => number) => events.map(of);
  const block = new Block(packBlock(texts, { events: { rows, columns: {
    parent: column(([parent]) => (parent < 0 ? NaN : parent)),
    name: column(([, name]) => texts.indexOf(name)),
    unit: column(([, , unit]) => texts.indexOf(unit)),
    executions: column(() => 1),
    self_sum: column(([, , , self]) => self),
    total_sum: column(([, , , self]) => self),
    total_stddev: column(() => NaN),
  } } }));
  return new EventTree(block, { main_row: mainRow, whole_us: 100 } as GraphHead);
}

test('events are ranked below the main root', () => {
  const tree = treeOf(0,
    [-1, 'Device', 'us', 10], [0, 'a:Conv', 'us', 50], [0, 'b:Conv', 'us', 25], [0, 'c:Add', 'us', 15],
    [-1, 'Conv total', 'us', 75], [-1, 'rate', 'none', 60]);
  assert.deepEqual(Array.from(tree.ranked), [0, 1, 2, 3]);
  assert.deepEqual(Array.from(tree.beside), [4]);
  assert.deepEqual(Array.from(tree.others), [5]);
  assert.deepEqual(tree.path(2), ['Device', 'b:Conv']);
  assert.deepEqual([tree.cumulated[1], tree.cumulated[2], tree.cumulated[4]], [0.5, 0.75, NaN]);
  assert.equal(tree.isTyped, true);
  assert.deepEqual(tree.types.map(({ name, self, colour }) => [name, self, colour]),
    [['Conv', 75, 0], ['Add', 15, 1], ['(other)', 10, kColouredTypes]]);
});

test('names without types that group them are grouped by part', () => {
  const tree = treeOf(null,
    [-1, 'encoder', 'us', 0], [0, 'x', 'us', 40], [-1, 'decoder', 'us', 5], [2, 'y', 'us', 55]);
  assert.equal(tree.isTyped, false);
  assert.deepEqual(tree.types.map(({ name, self }) => [name, self]), [['decoder', 60], ['encoder', 40]]);
  assert.equal(tree.colour(3), 0);
});
