// SPDX-License-Identifier: Apache-2.0
// Getting about: choosing a graph by its card or by name, and links to rows of its table.
//
// The static part links to rows of the tables that C++ wrote ("#event-0-17" is row 17 of graph 0).
// Where the script runs, a grid has taken their place, and the links lead to its rows.

import { button, byId, element } from './dom';
import { shownName } from './names';

export interface LinkTarget {
  showGraph(graph: number): Promise<void>;
  showRow(row: number): void;
}

/** The graph and row that an address leads to; a row of null is the whole graph. */
export function parseLink(hash: string): { graph: number; row: number | null } | null {
  const match = /^#(?:graph-(\d+)|event-(\d+)-(\d+))$/.exec(hash);
  if (match === null) return null;
  if (match[1] !== undefined) return { graph: Number(match[1]), row: null };
  return { graph: Number(match[2]), row: Number(match[3]) };
}

export class GraphLinks {
  constructor(
    private readonly graphs: readonly { graph: string; method: string }[],
    private readonly target: LinkTarget,
  ) {}

  /** Shows what the page's address names, by default the first graph. */
  async start(): Promise<void> {
    if (this.graphs.length > 1) this.addChoices();
    document.addEventListener('click', (event) => this.followLink(event));
    const link = parseLink(location.hash);
    await this.follow(link !== null && link.graph < this.graphs.length ? link : { graph: 0, row: null });
  }

  showChosen(graph: number): void {
    for (const card of document.querySelectorAll('[data-graph]'))
      card.classList.toggle('chosen', card.getAttribute('data-graph') === String(graph));
    for (const choice of document.querySelectorAll<HTMLSelectElement>('select.graph-choice'))
      choice.value = String(graph);
  }

  private addChoices(): void {
    for (const host of document.querySelectorAll('.graph-host')) {
      const select = element('select', { class: 'graph-choice', 'aria-label': 'Graph' },
        ...this.graphs.map(({ graph, method }, i) =>
          element('option', { value: i }, `${shownName(graph)} · ${shownName(method)}`)));
      select.addEventListener('change', () => void this.target.showGraph(Number(select.value)));
      host.append(select);
    }
    for (const card of document.querySelectorAll('[data-graph]')) {
      const graph = Number(card.getAttribute('data-graph'));
      const name = shownName(this.graphs[graph]?.graph ?? '');
      const show = () => void this.target.showGraph(graph).then(() => byId('executions')?.scrollIntoView());
      card.append(button('Look inside', show, { class: 'card-button', 'aria-label': `Look inside ${name}` }));
    }
  }

  private followLink(event: MouseEvent): void {
    const link = (event.target as Element).closest?.('a[href^="#"]');
    const target = parseLink(link?.getAttribute('href') ?? '');
    if (target === null || target.graph >= this.graphs.length) return;
    event.preventDefault();
    void this.follow(target);
  }

  private async follow({ graph, row }: { graph: number; row: number | null }): Promise<void> {
    await this.target.showGraph(graph);
    if (row !== null) this.target.showRow(row);
  }
}

/** "/" leads to the search from wherever one does not type. */
export function onSearchKey(focusSearch: () => void): void {
  document.addEventListener('keydown', (event) => {
    const isTyping = (event.target as Element).matches?.('input, select, textarea');
    if (event.key !== '/' || isTyping || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    focusSearch();
  });
}
