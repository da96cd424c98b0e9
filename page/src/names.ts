// SPDX-License-Identifier: Apache-2.0
// Names of a log, made fit to be shown.
//
// A name may hold any characters. Markup cannot break out, because every name reaches the page as a
// text node; what is left are characters that are not seen and yet change how the text beside them
// reads: controls and the marks that turn the direction of text. They are shown as escapes, the same
// as the page's static part shows them.

const kUnseen =
  /[\u0000-\u001f\u007f-\u009f\u061c\u200b\u200e\u200f\u2028-\u202e\u2060-\u2069\ufeff\ufff9-\ufffb]/g;

/** The name with control and direction characters as \xNN or \uNNNN; a name without characters is
 * shown as a pair of quotes. */
export function shownName(name: string): string {
  if (name === '') return '""';
  return name.replace(kUnseen, (character) => {
    const code = character.charCodeAt(0);
    const digits = code.toString(16).toUpperCase();
    return code < 0x100 ? `\\x${digits.padStart(2, '0')}` : `\\u${digits.padStart(4, '0')}`;
  });
}

/** The name in at most `length` characters. Its type goes first, which a colour tells as well; then
 * the middle, for both ends tell more. */
export function shortened(name: string, length: number): string {
  const characters = Array.from(name);
  if (characters.length <= length) return name;
  const stem = Array.from(name.replace(/(.):\w+$/, '$1'));
  if (stem.length < characters.length && stem.length < length) return `${stem.join('')}…`;
  const kept = Math.max(length - 1, 2);
  const end = Math.ceil(kept * 0.6);
  return `${stem.slice(0, kept - end).join('')}…${stem.slice(-end).join('')}`;
}

/** The kind of operator in a name like "conv1:Convolution"; null for a name that has none. */
export function typeOfName(name: string): string | null {
  return /:(\w+)$/.exec(name)?.[1] ?? null;
}
