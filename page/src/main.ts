// SPDX-License-Identifier: Apache-2.0
// Where the page comes to life. What C++ wrote stands already; the script adds what is drawn.

import { showComparison } from './comparison_page';
import { readHead } from './data';
import { byId, element } from './dom';
import { showRun } from './run_page';
import { addThemeSwitch } from './theme';

async function start(): Promise<void> {
  const tools = byId('page-tools');
  if (tools !== null) addThemeSwitch(tools);
  const head = await readHead();
  document.documentElement.classList.add('js');
  await (head.kind === 'run' ? showRun(head) : showComparison(head));
  document.documentElement.classList.add('ready');
}

start().catch((error: unknown) => {
  // What C++ wrote is complete without the script, so it stays.
  document.documentElement.classList.remove('js');
  const reason = error instanceof Error ? error.message : String(error);
  const note = `The interactive part could not be drawn in this browser (${reason}). What is below is complete without it.`;
  byId('page-note')?.append(element('p', { class: 'notice', role: 'status' }, note));
});
