// SPDX-License-Identifier: Apache-2.0
// Packs blocks as the page's producer does, for tests.

export type Tables = Record<string, { rows: number; columns: Record<string, readonly number[]> }>;

const isWhole = (values: readonly number[]) => values.every((value) => Number.isInteger(value));

/** Width, base and bytes of a column. */
export function packColumn(values: readonly number[]): [number, number, Uint8Array] {
  const present = values.filter((value) => !Number.isNaN(value));
  if (present.length === 0) return [0, 0, new Uint8Array()];
  const base = Math.min(...present);
  const range = Math.max(...present) - base + 1;
  if (!isWhole(present) || range >= 2 ** 48) return [8, 0, planes(new Uint8Array(Float64Array.from(values).buffer), 8)];
  let width = 1;
  while (range >= 256 ** width) ++width;
  const plain = new Uint8Array(values.length * width);
  values.forEach((value, i) => {
    let rest = Number.isNaN(value) ? 0 : value - base + 1;
    for (let byte = 0; byte < width; ++byte, rest = Math.floor(rest / 256)) plain[i * width + byte] = rest % 256;
  });
  return [width, base, planes(plain, width)];
}

function planes(plain: Uint8Array, width: number): Uint8Array {
  const rows = plain.length / width;
  return Uint8Array.from(plain, (_, at) => plain[(at % rows) * width + Math.floor(at / rows)]!);
}

export function packBlock(texts: readonly string[], tables: Tables): Uint8Array {
  const directory: Record<string, unknown> = {};
  const parts: Uint8Array[] = [];
  for (const [name, { rows, columns }] of Object.entries(tables)) {
    const packed = Object.entries(columns).map(([column, values]) => {
      const [width, base, bytes] = packColumn(values);
      parts.push(bytes);
      return [column, width, base];
    });
    directory[name] = { rows, columns: packed };
  }
  const json = new TextEncoder().encode(JSON.stringify({ texts, tables: directory }));
  const length = new Uint8Array(Uint32Array.of(json.length).buffer);
  return Buffer.concat([length, json, ...parts]);
}
