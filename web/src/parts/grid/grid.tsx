// Rows of cells, as many as come: 100,000 scroll as ten do, for only those that are seen are in the page.
//
//   <Grid label={t.bars} columns={columns} rows={rows} />
//
// sorts at a click on a title, filters by what is typed below it (filter.ts says what may be typed) and selects
// with boxes, shift and ctrl; Ctrl+C copies what is selected. It fills its parent, which has to be a flexible
// column that limits its height. `rows` is not changed and has to be another array when rows have: rows added
// at its end are put where they belong without sorting all anew. All other properties may be left out:
// with `state` and `onState` the owner keeps sort, filters and group, for example in the address.

import type {ComponentChildren} from 'preact';
import {useEffect, useLayoutEffect, useMemo, useRef, useState} from 'preact/hooks';

import type {Cell} from '../../server/project';
import {number} from '../../words/words';
import {sampledWidth, type GridColumn} from './columns';
import {Head} from './head';
import type {Rows} from './order';
import {PrintTable, usePrinting} from './print_table';
import {GridRow, GroupRow, kFirstRow} from './row';
import {kAsTheyCome, useShown, type GridState} from './shown';
import {useWindow} from './window';
import {t} from './words';
import './grid.css';

export type {GridColumn} from './columns';
export type {Rows} from './order';
export {kAsTheyCome, type GridState} from './shown';

export interface GridProps {
  /** What the rows are, for those who do not see them. */
  label: string;
  columns: readonly GridColumn[];
  /** Each has its cells where `at` of the columns says, by default in their order. */
  rows: Rows;
  state?: GridState;
  onState?: (state: GridState) => void;
  /** The row that a panel shows, and which it is to show: by its number in `rows`. */
  current?: number | null;
  onCurrent?: (row: number) => void;
  selection?: ReadonlySet<number>;
  onSelection?: (selection: ReadonlySet<number>) => void;
  /** Whether rows have boxes to be selected; they have if it is not given. */
  hasBoxes?: boolean;
  /** In pixels. */
  rowHeight?: number;
  /** Stands in the head of a group: its sums. */
  summary?: (rows: readonly number[]) => ComponentChildren;
  /** The rows that pass the filters, in their order, whenever they change. */
  onShown?: (order: readonly number[]) => void;
  /** The rows that are seen, whenever they change: to load what only these need. */
  onSeen?: (rows: readonly number[]) => void;
  /** In place of the count of the rows. */
  foot?: ComponentChildren;
}

const kBox = 44;
const kNone: ReadonlySet<number> = new Set();
const kLeast = 48;

export function Grid(props: GridProps) {
  const {columns, rows} = props;
  const hasBoxes = props.hasBoxes ?? true;
  const rowHeight = props.rowHeight ?? (matchMedia('(pointer: coarse)').matches ? 44 : 34);
  const [ownState, setOwnState] = useState(kAsTheyCome);
  const state = props.state ?? ownState;
  const change = (changes: Partial<GridState>) => (props.onState ?? setOwnState)({...state, ...changes});
  const [ownSelection, setOwnSelection] = useState(kNone);
  const selection = props.selection ?? ownSelection;
  const select = props.onSelection ?? setOwnSelection;
  const [ownCurrent, setOwnCurrent] = useState<number | null>(null);
  const current = props.current === undefined ? ownCurrent : props.current;
  const [closed, setClosed] = useState<ReadonlySet<Cell>>(new Set());
  useEffect(() => setClosed(new Set()), [state.group]);
  const {order, groups, groupColumn, list} = useShown(columns, rows, state, closed);
  useEffect(() => props.onShown?.(order), [order]);

  const scroller = useRef<HTMLDivElement>(null);
  const head = useRef<HTMLDivElement>(null);
  const body = useRef<HTMLDivElement>(null);
  const view = useWindow(scroller, head, list.length, rowHeight);
  useEffect(() => {
    props.onSeen?.(list.slice(view.first, view.first + view.seen).filter((entry) => entry >= 0));
  }, [list, view.first, view.seen]);
  const {widths, setWidth} = useWidths(columns, rows);
  const isPrinting = usePrinting();

  // The cell that the keys move from. Its row is always in the page, so that the focus is not lost when
  // one scrolls away from it with the mouse.
  const first = hasBoxes ? 1 : 0;
  const [active, setActive] = useState({position: 0, column: first});
  const position = Math.min(active.position, list.length - 1);
  const anchor = useRef<number | null>(null);
  const isInside = useRef(false);
  useLayoutEffect(() => {
    if (!isInside.current) return;
    const row = body.current?.querySelector(`[aria-rowindex="${position + kFirstRow}"]`);
    const cell = row?.classList.contains('group') ? row.querySelector('button') : row?.children[active.column];
    if (cell instanceof HTMLElement && cell !== document.activeElement) cell.focus({preventScroll: true});
  });
  const moveTo = (row: number, column = active.column) => {
    const to = Math.max(0, Math.min(list.length - 1, row));
    isInside.current = list.length > 0;
    setActive({position: to, column: Math.max(0, Math.min(columns.length - 1 + first, column))});
    view.reveal(to);
    revealColumn(scroller.current, hasBoxes ? [kBox, ...widths] : widths, hasBoxes ? 2 : 1, column);
  };

  const open = (row: number) => {
    setOwnCurrent(row);
    props.onCurrent?.(row);
  };
  const toggle = (row: number) => {
    const next = new Set(selection);
    if (!next.delete(row)) next.add(row);
    select(next);
  };
  const selectTo = (to: number) => {
    const from = anchor.current ?? position;
    const span = list.slice(Math.min(from, to), Math.max(from, to) + 1).filter((entry) => entry >= 0);
    select(new Set(span));
  };
  const toggleGroup = (entry: number) => {
    const group = groups?.[-1 - entry];
    if (!group) return;
    const next = new Set(closed);
    if (!next.delete(group.value)) next.add(group.value);
    setClosed(next);
  };
  const selected = selection.size === 0 ? 'none' : order.every((row) => selection.has(row)) ? 'all' : 'some';
  const selectAll = () => select(selected === 'all' ? kNone : new Set(order));

  const onClick = (event: MouseEvent) => {
    const cell = event.target instanceof Element ? event.target.closest('[role="gridcell"]') : null;
    const at = Number(cell?.parentElement?.getAttribute('aria-rowindex')) - kFirstRow;
    const entry = list[at];
    if (!cell || entry === undefined) return;
    isInside.current = true;
    setActive({position: at, column: Number(cell.getAttribute('aria-colindex')) - 1});
    if (entry < 0) return toggleGroup(entry);
    if (hasBoxes && event.shiftKey) return selectTo(at);
    anchor.current = at;
    if (hasBoxes && (event.ctrlKey || event.metaKey || cell.classList.contains('grid-box'))) return toggle(entry);
    if (selection.size > 0) select(kNone);
    open(entry);
  };
  const onKeyDown = (event: KeyboardEvent) => {
    const entry = list[position];
    const page = Math.max(1, view.seen - 2);
    const isControl = event.ctrlKey || event.metaKey;
    const last = columns.length - 1 + first;
    const moves: Record<string, () => void> = {
      ArrowUp: () => (position === 0 ? focusTitle(head.current) : moveTo(position - 1)),
      ArrowDown: () => moveTo(position + 1),
      ArrowLeft: () => (entry !== undefined && entry < 0 ? toggleGroup(entry) : moveTo(position, active.column - 1)),
      ArrowRight: () => (entry !== undefined && entry < 0 ? toggleGroup(entry) : moveTo(position, active.column + 1)),
      PageUp: () => moveTo(position - page),
      PageDown: () => moveTo(position + page),
      Home: () => (isControl ? moveTo(0, 0) : moveTo(position, 0)),
      End: () => (isControl ? moveTo(list.length - 1, last) : moveTo(position, last)),
      Enter: () => entry !== undefined && (entry < 0 ? toggleGroup(entry) : open(entry)),
      ' ': () => entry !== undefined && (entry < 0 ? toggleGroup(entry) : hasBoxes ? toggle(entry) : open(entry)),
      a: () => isControl && hasBoxes && selectAll(),
    };
    const move = moves[event.key];
    if (!move || (event.key === 'a' && !isControl)) return;
    event.preventDefault();
    if (event.shiftKey && hasBoxes && (event.key === 'ArrowUp' || event.key === 'ArrowDown')) {
      anchor.current ??= position;
      const to = Math.max(0, Math.min(list.length - 1, position + (event.key === 'ArrowUp' ? -1 : 1)));
      selectTo(to);
      return moveTo(to);
    }
    if (event.key !== 'Enter') anchor.current = null;
    move();
  };

  const rowOf = (at: number) => {
    const entry = list[at]!;
    // A row stands in the element of its slot, which is used again for the row that comes after all of them.
    const key = at >= view.from && at < view.to ? at % view.slots : 'active';
    if (entry < 0) {
      const group = groups![-1 - entry]!;
      return <GroupRow key={`g${key}`} position={at} group={group} column={groupColumn!} isOpen={!closed.has(group.value)}
        isActive={at === position} height={rowHeight} span={columns.length + first} summary={props.summary} />;
    }
    return <GridRow key={key} position={at} row={entry} rows={rows} columns={columns} height={rowHeight}
      isSelected={selection.has(entry)} isCurrent={entry === current} hasBoxes={hasBoxes}
      activeColumn={at === position ? Math.min(active.column, columns.length - 1 + first) : -1} />;
  };
  const drawn = [];
  for (let at = view.from; at < view.to; ++at) drawn.push(rowOf(at));
  if (position >= 0 && (position < view.from || position >= view.to)) drawn.push(rowOf(position));

  const template = [...(hasBoxes ? [kBox] : []), ...widths];
  return (
    <div class={hasBoxes ? 'grid grid-boxes' : 'grid grid-plain'}>
      <div class="grid-scroll" ref={scroller} role="grid" aria-label={props.label} aria-rowcount={list.length + kFirstRow - 1}
        aria-colcount={columns.length + first} aria-multiselectable={hasBoxes}
        onCopy={(event) => copy(event, rows, columns, [...selection], list[position] ?? -1, active.column - first)}
        style={{
          '--grid-columns': template.map((width) => `${width}px`).join(' '), '--grid-row': `${rowHeight}px`,
          '--grid-width': `${template.reduce((sum, width) => sum + width, 0)}px`,
        }}>
        <Head place={head} columns={columns} sort={state.sort} onSort={(sort) => change({sort})} filters={state.filters}
          onFilter={(name, text) => {
            const {[name]: _, ...others} = state.filters;
            change({filters: text.trim() === '' ? others : {...others, [name]: text}});
          }}
          onWidth={setWidth} selected={hasBoxes ? selected : null} onAll={selectAll}
          onEnter={() => moveTo(view.first)} />
        <div class="grid-body" role="rowgroup" ref={body} style={{height: `${list.length * rowHeight}px`}}
          onClick={onClick} onKeyDown={onKeyDown}
          onMouseDown={(event) => event.shiftKey && event.preventDefault()}
          onFocusIn={() => {
            isInside.current = true;
          }}
          onFocusOut={() => setTimeout(() => {
            isInside.current = body.current?.contains(document.activeElement) ?? false;
          })}>
          {drawn}
        </div>
        {list.length === 0 && <p class="grid-none">{rows.length === 0 ? t.empty : t.nothing}</p>}
      </div>
      {isPrinting && <PrintTable columns={columns} rows={rows} shown={order} />}
      <div class="grid-foot">
        <span role="status">
          {order.length === rows.length ? `${number(rows.length)} ${rows.length === 1 ? t.row : t.rows}`
            : t.of(number(order.length), number(rows.length))}
          {selection.size > 0 && ` · ${t.selected(number(selection.size))}`}
        </span>
        {Object.keys(state.filters).length > 0 &&
          <button type="button" onClick={() => change({filters: {}})}>{t.clear}</button>}
        {props.foot}
      </div>
    </div>
  );
}

/** What the first rows need, and what one has pulled since. */
function useWidths(columns: readonly GridColumn[], rows: Rows) {
  const [pulled, setPulled] = useState<ReadonlyMap<string, number>>(new Map());
  const names = columns.map((column) => column.name).join();
  const sampled = useMemo(
    () => columns.map((column, c) => sampledWidth(column, column.at ?? c, rows)), [names, rows.length === 0]);
  const widths = columns.map((column, c) => pulled.get(column.name) ?? sampled[c]!);
  const setWidth = (name: string, change: number) => {
    const index = columns.findIndex((column) => column.name === name);
    setPulled((before) => new Map(before).set(name, Math.max(kLeast, (before.get(name) ?? sampled[index]!) + change)));
  };
  return {widths, setWidth};
}

/** Scrolls to the side as little as needed for a column to be seen beside those that stay. */
function revealColumn(scroller: HTMLElement | null, widths: number[], staying: number, column: number): void {
  if (!scroller || column < staying) return;
  const sum = (count: number) => widths.slice(0, count).reduce((all, width) => all + width, 0);
  const left = sum(column);
  const right = left + (widths[column] ?? 0);
  if (left - sum(staying) < scroller.scrollLeft) scroller.scrollLeft = left - sum(staying);
  else if (right > scroller.scrollLeft + scroller.clientWidth) scroller.scrollLeft = right - scroller.clientWidth;
}

function focusTitle(head: HTMLElement | null): void {
  head?.querySelector<HTMLElement>('.grid-title[tabindex="0"]')?.focus();
}

/** The selected rows with their titles, as spreadsheets take them; or the one cell, whole. */
function copy(
  event: ClipboardEvent, rows: Rows, columns: readonly GridColumn[], selected: number[], row: number, column: number): void {
  const isInput = event.target instanceof HTMLInputElement && event.target.type !== 'checkbox';
  if (isInput || !(document.getSelection()?.isCollapsed ?? true)) return;
  const places = columns.map((one, c) => ({title: one.title, at: one.render ? null : one.at ?? c}));
  const text = (cell: Cell | undefined) => String(cell ?? '').replace(/[\t\r\n]+/g, ' ');
  const taken = places.filter((one) => one.at !== null);
  const at = places[column]?.at;
  const copied = selected.length > 0
    ? [taken.map((one) => one.title), ...selected.map((i) => taken.map((one) => text(rows[i]?.[one.at!])))]
      .map((cells) => cells.join('\t')).join('\n')
    : String(at === undefined || at === null ? '' : rows[row]?.[at] ?? '');
  event.clipboardData?.setData('text/plain', copied);
  event.preventDefault();
}
