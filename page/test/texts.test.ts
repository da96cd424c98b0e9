// SPDX-License-Identifier: Apache-2.0
// Names and numbers as the page shows them, and the search that goes over them.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { changeStep, kChangeSteps } from '../src/change_colours';
import { parseLink } from '../src/graph_links';
import { shortened, shownName, typeOfName } from '../src/names';
import { byteScale, count, duration, fixed, percent, quantity, scaled, signed, signedPercent, timeScale } from '../src/numbers';
import { parseSearch } from '../src/search';

/** One case a line: what goes in, what must come out. */
function check<In, Out>(operation: (input: In) => Out, cases: readonly (readonly [In, Out])[]): void {
  for (const [input, expected] of cases) assert.deepEqual(operation(input), expected, String(input));
}

test('names show what cannot be seen', () => {
  check(shownName, [
    ['conv1:Convolution', 'conv1:Convolution'],
    ['', '""'],
    ['</script><!--<script>', '</script><!--<script>'],
    ['\x1b[31mred\x07', '\\x1B[31mred\\x07'],
    ['a\nb\tc\x7f\x85', 'a\\x0Ab\\x09c\\x7F\\x85'],
    ['\u202egnp.exe', '\\u202Egnp.exe'],
    ['\u2066a\u2069\u200b\ufeff', '\\u2066a\\u2069\\u200B\\uFEFF'],
    ['Свёртка 卷积 👩‍🔬', 'Свёртка 卷积 👩‍🔬'],
  ]);
});

test('long names lose their type, then their middle, never half a character', () => {
  const name = 'onnx_node!p2o.Conv.61:Convolution';
  check((length: number) => shortened(name, length), [
    [33, name], [32, 'onnx_node!p2o.Conv.61…'], [22, 'onnx_node!p2o.Conv.61…'],
    [21, 'onnx_nod…!p2o.Conv.61'], [14, 'onnx_….Conv.61'],
  ]);
  assert.equal(shortened('👩🔬👩🔬👩🔬', 4), '👩…👩🔬');
});

test('types are the word after the last colon', () => {
  check(typeOfName, [
    ['a:b:Convolution', 'Convolution'], ['Device execute', null], ['a:', null], ['a: b', null],
  ]);
});

test('numbers read the same in every language', () => {
  check(count, [[0, '0'], [999, '999'], [1234567, '1,234,567'], [-1234, '−1,234'], [NaN, '–']]);
  assert.deepEqual([fixed(-0.001, 1), fixed(1234.56, 1), fixed(NaN, 2)], ['0.0', '1,234.6', '–']);
  check(duration, [[0, '0 µs'], [9999, '9,999 µs'], [16541, '16.54 ms'], [12345678, '12.35 s'], [NaN, '–']]);
  check(percent, [[0, '0.0 %'], [0.0001, '<0.1 %'], [0.1274, '12.7 %'], [1, '100.0 %'], [NaN, '–']]);
  check(signedPercent, [[38.24, '+38.2 %'], [-3.14, '−3.1 %'], [0.01, '±0.0 %'], [NaN, '–']]);
  assert.equal(signed(-1500, duration), '−1,500 µs');
});

test('a column has one unit', () => {
  check((most: number) => timeScale(most).unit, [[9999, 'µs'], [10000, 'ms'], [1e7, 's'], [NaN, 'µs']]);
  check((most: number) => byteScale(most).unit, [[9999, 'B'], [1e4, 'kB'], [1e7, 'MB'], [1e10, 'GB']]);
  assert.equal(scaled(420, timeScale(20000)), '0.42');
  assert.equal(quantity(179008448, 'bytes'), '179.0 MB');
  assert.equal(quantity(62.015, 'none'), '62.02');
  assert.equal(quantity(7, 'cycles'), '7 cycles');
  assert.equal(quantity(20, null), '20');
});

test('a search is words, all of which must be there', () => {
  const finds = (search: string) => ['conv1 Relu', 'conv2 relu6', 'pool'].filter(parseSearch(search)!);
  check(finds, [
    ['RELU', ['conv1 Relu', 'conv2 relu6']],
    ['conv relu6', ['conv2 relu6']],
    ['conv -relu6', ['conv1 Relu']],
    ['"v1 r"', ['conv1 Relu']],
    ['"v1 r', ['conv1 Relu']],
    ['-conv', ['pool']],
    ['.*', []],
  ]);
  check(parseSearch, [['', null], ['  ', null], ['""', null]]);
});

test('links name a graph or one of its rows', () => {
  check(parseLink, [
    ['#graph-2', { graph: 2, row: null }], ['#event-1-17', { graph: 1, row: 17 }],
    ['#events', null], ['#event-1', null], ['#event-1-x', null], ['', null],
  ]);
});

test('changes fall into the step that their legend names', () => {
  const styleOf = (percent: number) => kChangeSteps[changeStep(percent)]!.style;
  check(styleOf, [
    [-60, '--less-3'], [-25, '--less-2'], [-5, '--less-1'], [-3, '--no-change'], [2.9, '--no-change'],
    [3, '--more-1'], [10, '--more-2'], [400, '--more-3'], [NaN, '--no-change'],
  ]);
});
