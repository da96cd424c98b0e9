// SPDX-License-Identifier: Apache-2.0
// The search of the tables and the icicle: words, all of which a text must hold; "-word" leaves
// texts out; case does not count. A word in quotes may hold blanks.

export type Matcher = (text: string) => boolean;

/** Null for a search without words: it leaves nothing out. */
export function parseSearch(search: string): Matcher | null {
  const wanted: string[] = [];
  const unwanted: string[] = [];
  for (const match of search.matchAll(/(-?)(?:"([^"]*)"?|(\S+))/g)) {
    const word = (match[2] ?? match[3] ?? '').toLowerCase();
    if (word !== '') (match[1] === '-' ? unwanted : wanted).push(word);
  }
  if (wanted.length + unwanted.length === 0) return null;
  return (text) => {
    const folded = text.toLowerCase();
    return (
      wanted.every((word) => folded.includes(word)) &&
      !unwanted.some((word) => folded.includes(word))
    );
  };
}
