// Numbers that came as texts.

import type {Cell, QueryReply} from 'korvane-client';

/** As SQLite writes numbers: "10.10" is the text of a mark. */
const kNumber = /^-?(0|[1-9]\d*)(\.(0|\d*[1-9]))?(e[+-]?\d+)?$/i;

function reads(cell: Cell): boolean {
  if (typeof cell !== 'string') return true;
  return kNumber.test(cell) && (cell.includes('.') || Number.isSafeInteger(Number(cell)));
}

export interface ShownColumn {
  name: string;
  kind: 'text' | 'number';
}

export interface ShownReply {
  columns: ShownColumn[];
  rows: Cell[][];
}

/** A sum or a count has no declared type and comes as text. A column is one of numbers if all its values read as
 * numbers, unless `texts` names it: a mark "10" is a text. */
export function withNumbers(reply: QueryReply, texts: ReadonlySet<string>): ShownReply {
  const kinds = reply.columns.map((column, c): ShownColumn['kind'] => {
    const hasValue = reply.rows.some((row) => (row[c] ?? null) !== null);
    if (!column.isText) return reply.rows.every((row) => typeof row[c] !== 'string') ? 'number' : 'text';
    if (texts.has(column.name) || !hasValue) return 'text';
    return reply.rows.every((row) => reads(row[c] ?? null)) ? 'number' : 'text';
  });
  return {
    columns: reply.columns.map((column, c) => ({name: column.name, kind: kinds[c] ?? 'text'})),
    rows: reply.rows.map((row) => row.map((cell, c) =>
      (kinds[c] === 'number' && typeof cell === 'string' ? Number(cell) : cell))),
  };
}
