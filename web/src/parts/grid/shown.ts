import {useMemo, useRef} from 'preact/hooks';
import type {Cell} from 'korvane-client';

import {placeOf, type GridColumn} from './columns';
import {testOf, type Test} from './filter';
import {grouped, listed, Order, type Group, type Rows, type Sort} from './order';

export interface GridState {
  /** The name of the column that rows are sorted by, "-name" from the end, "" as they come. */
  sort: string;
  /** What is typed above the columns, by their names: see filter.ts. */
  filters: Record<string, string>;
  /** The name of the column whose equal values are put together, or "". */
  group: string;
}

export const kAsTheyCome: GridState = {sort: '', filters: {}, group: ''};

export interface Shown {
  /** The numbers of the rows that pass the filters, in order; the same object while nothing changes. */
  order: readonly number[];
  groups: readonly Group[] | null;
  groupColumn: GridColumn | null;
  /** What stands below each other: see `listed`. */
  list: readonly number[];
}

/** What of `rows` is shown. Computed when something of it changes, not when one scrolls. */
export function useShown(
  columns: readonly GridColumn[], rows: Rows, state: GridState, closed: ReadonlySet<Cell>): Shown {
  const filterText = JSON.stringify(state.filters);
  const places = columns.map((column) => `${column.name} ${column.at ?? ''}`).join();
  const asked = useMemo(() => {
    const filters: {at: number; test: Test}[] = [];
    columns.forEach((column, c) => {
      const test = column.render ? null : testOf(state.filters[column.name] ?? '', column.kind, column.decimals);
      if (test !== null && test !== 'faulty') filters.push({at: column.at ?? c, test});
    });
    const isDescending = state.sort.startsWith('-');
    const at = placeOf(columns, isDescending ? state.sort.slice(1) : state.sort);
    const by: Sort | null = at === null ? null : {at, isDescending};
    return {filters, by, groupAt: placeOf(columns, state.group)};
  }, [places, filterText, state.sort, state.group]);
  const remembered = useRef(new Order());
  const order = remembered.current.of(rows, asked.filters, asked.by, asked);
  const groups = useMemo(
    () => (asked.groupAt === null ? null : grouped(rows, order, asked.groupAt)), [order, asked.groupAt]);
  const list = useMemo(() => listed(order, groups, closed), [order, groups, closed]);
  return {order, groups, groupColumn: columns.find((one) => one.name === state.group) ?? null, list};
}
