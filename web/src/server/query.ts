// SQL that only reads: by GET the server lets nothing else happen, whatever the query says.

import {call, ofProject} from './call';
import type {Cell} from './project';

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

/** A value of the server's, of which at most one field is set. */
interface Variant {
  value_int32: number | null;
  value_double: number | null;
  value_string: string | null;
  value_blob: string | null;
  bool_: boolean | null;
}

interface Table {
  columns: {name: string; kind: number}[];
  rows: Variant[][];
}

/** What the server calls a column of texts. */
const kTextKind = 2;

function cellOf(value: Variant): Cell {
  return value.value_string ?? value.value_int32 ?? value.value_double
    ?? (value.bool_ === null ? value.value_blob : Number(value.bool_));
}

export async function runQuery(file: string, sql: string, signal?: AbortSignal): Promise<QueryReply> {
  const request = {kind: 'sql:raw', params: {query: {value_string: sql}}};
  const response = await call(ofProject(file, 'query_table'), {
    query: {request: JSON.stringify(request)},
    headers: {Accept: 'application/json'},
    ...(signal ? {signal} : {}),
  });
  const cut = /rows=(\d+)/.exec(response.headers.get('Korvane-Truncated') ?? '');
  const table = (await response.json()) as Table;
  return {
    columns: table.columns.map((column) => ({name: column.name, isText: column.kind === kTextKind})),
    rows: table.rows.map((row) => row.map(cellOf)),
    cutAfter: cut ? Number(cut[1]) : null,
  };
}
