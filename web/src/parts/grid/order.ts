// Which rows are shown, and in which order: lists of their numbers. The rows themselves stay as they are.

import type {Cell} from 'korvane-client';

import {isEmpty, type Test} from './filter';

export type Rows = readonly (readonly Cell[])[];

const collator = new Intl.Collator(undefined, {numeric: true});

/** Numbers before texts, "2" before "10", what is empty last in either direction. */
export function compare(a: Cell, b: Cell, isDescending = false): number {
  if (isEmpty(a) || isEmpty(b)) return Number(isEmpty(a)) - Number(isEmpty(b));
  const order = typeof a === 'number'
    ? (typeof b === 'number' ? a - b : -1)
    : (typeof b === 'number' ? 1 : collator.compare(a as string, b as string));
  return isDescending ? -order : order;
}

export interface Filter {
  /** The place of the column in the rows. */
  at: number;
  test: Test;
}

export interface Sort {
  at: number;
  isDescending: boolean;
}

/** The numbers of the rows from `from` on that pass all filters. */
export function filtered(rows: Rows, filters: readonly Filter[], from = 0): number[] {
  const passed: number[] = [];
  for (let i = from; i < rows.length; ++i) {
    const row = rows[i]!;
    if (filters.every((filter) => filter.test(row[filter.at] ?? null))) passed.push(i);
  }
  return passed;
}

/** Sorts in place; rows that are equal keep their order. */
export function sort(rows: Rows, order: number[], by: Sort): number[] {
  const {at, isDescending} = by;
  return order.sort((a, b) => compare(rows[a]![at] ?? null, rows[b]![at] ?? null, isDescending) || a - b);
}

/** Remembers the last order, so that rows that are added are put into it: the engine's sort finds
 * the part that is in order already, and 100,000 rows that come in pages are not sorted ten times. */
export class Order {
  private shown: number[] = [];
  private rows: Rows = [];
  private key: unknown;

  /** `key` is another value whenever anything but the number of rows has changed. */
  of(rows: Rows, filters: readonly Filter[], by: Sort | null, key: unknown): readonly number[] {
    if (rows === this.rows && key === this.key) return this.shown;
    const isGrown = key === this.key && rows.length > this.rows.length && this.rows.length > 0 &&
      rows[0] === this.rows[0] && rows[this.rows.length - 1] === this.rows[this.rows.length - 1];
    const added = filtered(rows, filters, isGrown ? this.rows.length : 0);
    this.shown = isGrown ? this.shown.concat(added) : added;
    if (by) sort(rows, this.shown, by);
    this.rows = rows;
    this.key = key;
    return this.shown;
  }
}

export interface Group {
  value: Cell;
  rows: readonly number[];
}

/** The rows of `order` by equal values of a column, groups in the order of their values. */
export function grouped(rows: Rows, order: readonly number[], at: number): Group[] {
  const groups = new Map<Cell, number[]>();
  for (const i of order) {
    const found = rows[i]![at] ?? null;
    const value = isEmpty(found) ? null : found;
    const group = groups.get(value);
    if (group) group.push(i);
    else groups.set(value, [i]);
  }
  return [...groups].map(([value, members]) => ({value, rows: members})).sort((a, b) => compare(a.value, b.value));
}

/** What stands below each other: a row by its number, the head of group `g` as -1 - g. */
export function listed(order: readonly number[], groups: readonly Group[] | null, closed: ReadonlySet<Cell>): readonly number[] {
  if (!groups) return order;
  const list: number[] = [];
  groups.forEach((group, g) => {
    list.push(-1 - g);
    if (!closed.has(group.value)) for (const i of group.rows) list.push(i);
  });
  return list;
}
