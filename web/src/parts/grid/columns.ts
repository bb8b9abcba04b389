import type {ComponentChildren} from 'preact';
import type {Cell} from 'korvane-client';

import {number} from '../../words/words';
import type {Rows} from './order';

export interface GridColumn {
  /** Unlike those of the other columns. */
  name: string;
  title: string;
  kind: 'text' | 'number';
  unit?: string;
  /** Of a number, at most so many are shown. */
  decimals?: number;
  /** Where its cells stand in the rows; if not given, at the column's own place. */
  at?: number;
  /** In pixels; if not given, what its cells seem to need. */
  width?: number;
  /** Shown in place of nothing. */
  ifNone?: string;
  /** Shown in place of an empty text, where that is not the same as nothing. */
  ifEmpty?: string;
  /** Draws the cell of a row. Such a column cannot be sorted or filtered, and is not printed. */
  render?: (row: number) => ComponentChildren;
}

export function placeOf(columns: readonly GridColumn[], name: string): number | null {
  const index = columns.findIndex((one) => one.name === name && !one.render);
  return index < 0 ? null : columns[index]!.at ?? index;
}

/** Longer texts are cut in a cell: shaping 10,000 letters for each of 30 rows takes more than a frame. */
const kLetters = 200;

export function cellText(value: Cell, column: GridColumn): string {
  if (value === '' && column.ifEmpty !== undefined) return column.ifEmpty;
  if (value === null || value === '') return column.ifNone ?? '';
  if (typeof value === 'number') return number(value, column.decimals ?? 6);
  return value.length > kLetters ? value.slice(0, kLetters) + '…' : value;
}

/** Wide enough for the title and for most of the first rows, not wider than is sensible. */
export function sampledWidth(column: GridColumn, at: number, rows: Rows): number {
  if (column.width !== undefined) return column.width;
  let letters = column.title.length + (column.unit ? column.unit.length + 1 : 0) + 2;
  for (let i = 0; i < Math.min(rows.length, 200); ++i) {
    letters = Math.max(letters, Math.min(cellText(rows[i]![at] ?? null, column).length, 40));
  }
  return Math.round(Math.max(64, letters * 8.4 + 24));
}
