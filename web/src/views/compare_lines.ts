// The rows of a comparison, line by line.

import {kinds, type Cell, type Kind, type Row} from 'korvane-client';

import {fieldWords} from './compare_words';

export type Change = 'added' | 'removed' | 'changed';
export const changes: Change[] = ['added', 'removed', 'changed'];

export interface FieldValues {
  /** Empty where the values say in short what came or went. */
  field: string;
  before: Cell;
  after: Cell;
}

export interface LineChange {
  kind: Kind;
  mark: string;
  change: Change;
  /** Of the rows that both sides are stored in, where the server says them. */
  beforeId: number | null;
  afterId: number | null;
  fields: FieldValues[];
}

function idOf(cell: Cell | undefined): number | null {
  return typeof cell === 'number' && cell > 0 ? cell : null;
}

/** Rows that follow each other are of one line, if they say the same line and no field twice. */
export function linesOf(rows: Row[]): LineChange[] {
  const lines: LineChange[] = [];
  for (const row of rows) {
    const kind = kinds.find((one) => one === row['kind']);
    const change = changes.find((one) => one === row['change']);
    // A revision that one side lacks has a row that is of no kind of line; two that are named are there.
    if (!kind || !change) continue;
    const field: FieldValues = {
      field: String(row['field'] ?? ''), before: row['before'] ?? null, after: row['after'] ?? null,
    };
    const mark = String(row['mark'] ?? '');
    const beforeId = idOf(row['before_id']);
    const afterId = idOf(row['after_id']);
    const last = lines.at(-1);
    const isSameLine = last !== undefined && change === 'changed' && last.change === change && last.kind === kind
      && last.mark === mark && last.beforeId === beforeId && last.afterId === afterId
      && !last.fields.some((one) => one.field === field.field);
    if (isSameLine) last.fields.push(field);
    else lines.push({kind, mark, change, beforeId, afterId, fields: [field]});
  }
  return lines;
}

export function fieldTitle(field: string): string {
  return fieldWords[field] ?? field;
}

/** Whether what people read of a line has the text in it. */
export function says(line: LineChange, text: string): boolean {
  const wanted = text.trim().toLocaleLowerCase();
  if (wanted === '') return true;
  return [line.mark, ...line.fields.flatMap((one) => [one.field, fieldTitle(one.field), one.before, one.after])]
    .some((one) => one !== null && String(one).toLocaleLowerCase().includes(wanted));
}
