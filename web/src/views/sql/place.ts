// Where in a query the server's words point at.

export interface Place {
  from: number;
  to: number;
}

const kNear = /near "((?:[^"]|"")+)"/;
const kUnknown = /(?:no such (?:table|column|function)|ambiguous column name): ([^\s:]+)/;

function escaped(text: string): string {
  return text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');
}

/** Of what the message names, if that is in the query just once: the server tells the word, not the place. */
export function placeOf(message: string, query: string): Place | null {
  const named = (kNear.exec(message) ?? kUnknown.exec(message))?.[1];
  if (named === undefined) return null;
  // "t.mark" may be written with spaces or quotes; its last part is what is unknown.
  const word = /[\w.]+$/.test(named) ? named.split('.').at(-1) ?? named : named;
  const edge = (side: string) => (/\w/.test(side) ? '\\b' : '');
  const pattern = new RegExp(edge(word.charAt(0)) + escaped(word) + edge(word.charAt(word.length - 1)), 'gi');
  const matches = [...query.matchAll(pattern)];
  const match = matches[0];
  if (matches.length !== 1 || match === undefined) return null;
  return {from: match.index, to: match.index + match[0].length};
}

/** From 1, as people count. */
export function lineAndColumn(query: string, offset: number): {line: number; column: number} {
  const before = query.slice(0, offset).split('\n');
  return {line: before.length, column: (before.at(-1)?.length ?? 0) + 1};
}
