// Results of SQL as rows of plain values.

import type {ReplyOf} from './types.js';
import type {Cell} from './types.js';

type Table = ReplyOf<'query_table'>;
type Variant = Table['rows'][number][number];

export interface QueryColumn {
  name: string;
  /** Of an expression, which has no declared type: its numbers come as texts. */
  isText: boolean;
}

export interface QueryReply {
  columns: QueryColumn[];
  rows: Cell[][];
  /** How many rows the server has given of more; null where it has given all. */
  cutAfter: number | null;
}

/** What the server calls a column of texts. */
const kTextKind = 2;

/** Of a value at most one field is set. */
function cellOf(value: Variant): Cell {
  return value.value_string ?? value.value_int32 ?? value.value_double
    ?? (value.bool_ === null ? value.value_blob : Number(value.bool_));
}

export function queryReplyOf(table: Table, truncated: string | null): QueryReply {
  const cut = /rows=(\d+)/.exec(truncated ?? '');
  return {
    columns: table.columns.map(({name, kind}) => ({name, isText: Number(kind) === kTextKind})),
    rows: table.rows.map((row) => row.map(cellOf)),
    cutAfter: cut ? Number(cut[1]) : null,
  };
}
