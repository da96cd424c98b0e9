// SPDX-License-Identifier: Apache-2.0
// The page of one run: one graph at a time, chosen by its card.
//
// What is selected (graph, event, execution, search) is kept here; the sections show it and report
// what the reader picks.

import { readBlock, type RunHead } from './data';
import { byId } from './dom';
import { EventTree, type Samples } from './event_tree';
import { EventsSection } from './events_section';
import { ExecutionsSection } from './executions_section';
import { GraphLinks, onSearchKey } from './graph_links';
import { IcicleSection } from './icicle_section';
import { addPrintTables } from './print';

const kNone: Samples = { has: () => false, column: () => new Float64Array() };

/** The self times of a graph's events, read when they are first asked for. */
async function readSamples(graph: number): Promise<Samples> {
  const block = await readBlock(`ryx-samples-${graph}`);
  if (block === null) return kNone;
  const table = block.table('samples');
  return { has: (row) => table.has(String(row)), column: (row) => table.column(String(row)) };
}

class RunPage {
  private graph = -1;
  private readonly executions = new ExecutionsSection((row) => this.events.select(row));
  private readonly events = new EventsSection({
    samples: () => readSamples(this.graph),
    search: (matched) => this.icicle.mark(matched),
    showInIcicle: (row) => this.icicle.reveal(row),
  });
  private readonly icicle = new IcicleSection((row) => this.events.select(row, false));
  private readonly links: GraphLinks;

  constructor(private readonly head: RunHead) {
    this.links = new GraphLinks(head.graphs, {
      showGraph: (graph) => this.showGraph(graph),
      showRow: (row) => this.events.select(row),
    });
  }

  async start(): Promise<void> {
    this.executions.attach(byId('executions-host'));
    this.events.attach(byId('events-host'));
    this.icicle.attach(byId('icicle-host'));
    onSearchKey(() => this.events.focusSearch());
    addPrintTables(() => this.events.printed());
    await this.links.start();
  }

  private async showGraph(graph: number): Promise<void> {
    const head = this.head.graphs[graph];
    if (head === undefined || graph === this.graph) return;
    const block = await readBlock(`ryx-graph-${graph}`);
    if (block === null) throw new Error(`the page has no data of graph ${graph}`);
    this.graph = graph;
    const tree = new EventTree(block, head);
    this.executions.show(tree, block.table('executions'), () => readSamples(graph));
    this.events.show(tree);
    this.icicle.show(tree);
    this.links.showChosen(graph);
  }
}

export async function showRun(head: RunHead): Promise<void> {
  if (head.graphs.length === 0) return;
  await new RunPage(head).start();
}

