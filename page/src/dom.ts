// SPDX-License-Identifier: Apache-2.0
// Making elements. Texts are text nodes, always; there is no way here to pass markup.

type Child = Node | string;

interface Settings {
  readonly class?: string;
  readonly [attribute: string]: string | number | boolean | undefined;
}

/** An element with its attributes and children; `true` is an attribute without a value. */
export function element<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag,
  settings: Settings = {},
  ...children: Child[]
): HTMLElementTagNameMap[Tag] {
  const made = document.createElement(tag);
  setAttributes(made, settings);
  made.append(...children);
  return made;
}

export function svg<Tag extends keyof SVGElementTagNameMap>(
  tag: Tag,
  settings: Settings = {},
  ...children: Child[]
): SVGElementTagNameMap[Tag] {
  const made = document.createElementNS('http://www.w3.org/2000/svg', tag);
  setAttributes(made, settings);
  made.append(...children);
  return made;
}

function setAttributes(made: Element, settings: Settings): void {
  for (const [name, value] of Object.entries(settings))
    if (value === true) made.setAttribute(name, '');
    else if (value !== undefined && value !== false) made.setAttribute(name, String(value));
}

/** A name of the log, kept from turning the text around it. */
export function nameElement(shown: string, settings: Settings = {}): HTMLElement {
  return element('bdi', settings, shown);
}

/** A button with a text. */
export function button(text: string, onClick: () => void, settings: Settings = {}) {
  const made = element('button', { type: 'button', ...settings }, text);
  made.addEventListener('click', onClick);
  return made;
}

export function byId(id: string): HTMLElement | null {
  return document.getElementById(id);
}

/** The value of a colour or length that the style names. */
export function styleValue(name: string): string {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

/** Runs `draw` soon, once for however many calls come before. */
export function coalesced(draw: () => void): () => void {
  let isDue = false;
  return () => {
    if (isDue) return;
    isDue = true;
    requestAnimationFrame(() => {
      isDue = false;
      draw();
    });
  };
}
