// SPDX-License-Identifier: Apache-2.0
// Dark or light: the system's choice until the reader makes one, which is remembered where the
// browser lets a page remember. What is drawn on canvases is drawn again when it changes, and in
// light for printing.

import { button, element } from './dom';

type Choice = 'system' | 'light' | 'dark';

const kChoices: readonly Choice[] = ['system', 'light', 'dark'];
const kKey = 'ryx-profile-theme';
const listeners: (() => void)[] = [];

export function onThemeChange(listener: () => void): void {
  listeners.push(listener);
}

function remembered(): Choice {
  try {
    const kept = localStorage.getItem(kKey);
    return kChoices.find((choice) => choice === kept) ?? 'system';
  } catch {
    return 'system'; // a page from a file may have no storage
  }
}

function remember(choice: Choice): void {
  try {
    localStorage.setItem(kKey, choice);
  } catch {
    // It holds until the page is closed, then.
  }
}

function apply(choice: Choice): void {
  const root = document.documentElement;
  if (choice === 'system') root.removeAttribute('data-theme');
  else root.setAttribute('data-theme', choice);
  announce();
}

function announce(): void {
  for (const listener of listeners) listener();
}

/** The switch, and what follows the system and the printer. */
export function addThemeSwitch(host: HTMLElement): void {
  const group = element('div', { class: 'switch', role: 'group', 'aria-label': 'Colours' });
  const buttons = kChoices.map((choice) =>
    button(choice[0]!.toUpperCase() + choice.slice(1), () => {
      remember(choice);
      choose(choice);
    }),
  );
  const choose = (choice: Choice) => {
    buttons.forEach((each, i) => each.setAttribute('aria-pressed', String(kChoices[i] === choice)));
    apply(choice);
  };
  group.append(...buttons);
  host.append(group);
  choose(remembered());
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', announce);
  const root = document.documentElement;
  addEventListener('beforeprint', () => {
    root.classList.add('printing');
    announce();
  });
  addEventListener('afterprint', () => {
    root.classList.remove('printing');
    announce();
  });
}
