// SPDX-License-Identifier: Apache-2.0
// The data that the page carries: what a block holds, and how it is read.
//
// docs/page.md describes the blocks. Each is text of a <script type="text/plain">, which no browser
// runs: base64 of a gzip stream. The head is JSON; the others are a directory (its length in four
// bytes, then JSON) followed by the packed columns that it lists, in that order.

import { unpack, type Column } from './columns';

export interface Outlier {
  execution: number;
  duration_us: number;
  severity: string;
  /** Of slow ones: the event whose self time exceeds its median most, and by how much. */
  path?: string[];
  excess_us?: number;
}

export interface GraphHead {
  graph: string;
  method: string;
  executions: number;
  /** How many executions at the start are warm-up. */
  warmup: number;
  outliers: Outlier[];
  /** The row of the main root in the block's events. */
  main_row: number | null;
  /** The sum of the durations that shares are of. */
  whole_us: number;
}

export interface RunHead {
  schema: string;
  kind: 'run';
  graphs: GraphHead[];
}

export interface ComparedGraph {
  graph: string;
  method: string;
  /** The row of the main root in the block's rows. */
  main_row: number | null;
}

export interface ComparisonHead {
  schema: string;
  kind: 'comparison';
  metric: string;
  graphs: ComparedGraph[];
}

export type Head = RunHead | ComparisonHead;

const kSchema = 'ryx-profile-page/1';

/** One table of a block: columns of equal length. */
export class Table {
  constructor(
    readonly rows: number,
    private readonly columns: ReadonlyMap<string, Column>,
  ) {}

  get names(): string[] {
    return [...this.columns.keys()];
  }

  has(name: string): boolean {
    return this.columns.has(name);
  }

  column(name: string): Column {
    const column = this.columns.get(name);
    if (column === undefined) throw new Error(`the data has no column "${name}"`);
    return column;
  }
}

interface Directory {
  texts: string[];
  tables: Record<string, { rows: number; columns: [name: string, width: number, base: number][] }>;
}

export class Block {
  readonly texts: readonly string[];
  private readonly tables = new Map<string, Table>();

  constructor(bytes: Uint8Array) {
    const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
    const length = view.getUint32(0, true);
    const directory = JSON.parse(textOf(bytes.subarray(4, 4 + length))) as Directory;
    this.texts = directory.texts;
    let offset = 4 + length;
    for (const [name, table] of Object.entries(directory.tables)) {
      const columns = new Map<string, Column>();
      for (const [column, width, base] of table.columns) {
        columns.set(column, unpack(bytes, offset, table.rows, width, base));
        offset += width * table.rows;
      }
      this.tables.set(name, new Table(table.rows, columns));
    }
  }

  table(name: string): Table {
    const table = this.tables.get(name);
    if (table === undefined) throw new Error(`the data has no table "${name}"`);
    return table;
  }
}

const textOf = (bytes: Uint8Array): string => new TextDecoder().decode(bytes);

/** The bytes of a block's text, or null where the page has no such block. */
async function inflate(id: string): Promise<Uint8Array | null> {
  const element = document.getElementById(id);
  if (element === null) return null;
  const packed = Uint8Array.from(atob((element.textContent ?? '').trim()), (c) => c.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream('gzip'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

export async function readHead(): Promise<Head> {
  const bytes = await inflate('ryx-head');
  if (bytes === null) throw new Error('the page carries no data');
  const head = JSON.parse(textOf(bytes)) as Head;
  if (head.schema !== kSchema) throw new Error(`the page's data is ${head.schema}, not ${kSchema}`);
  return head;
}

const kept = new Map<string, Promise<Block | null>>();

/** A block by its id, inflated once; null where the page has none. */
export function readBlock(id: string): Promise<Block | null> {
  let block = kept.get(id);
  if (block === undefined) {
    block = inflate(id).then((bytes) => (bytes === null ? null : new Block(bytes)));
    kept.set(id, block);
  }
  return block;
}
