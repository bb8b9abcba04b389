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
import {useEffect, useMemo, useRef, useState} from 'preact/hooks';
import type {Cell} from 'korvane-client';

import {number} from '../../words/words';
import {toggled, useActive, usePicks, type Active, type Picks} from './active';
import {sampledWidth, type GridColumn} from './columns';
import {clicked, keyed, type Handles} from './handling';
import {Head} from './head';
import type {Rows} from './order';
import {PrintTable, usePrinting} from './print_table';
import {GridRow, GroupRow, kFirstRow} from './row';
import {kAsTheyCome, useShown, type GridState, type Shown} from './shown';
import {useWindow, type Window} from './window';
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
const kLeast = 48;

export function Grid(props: GridProps) {
  const {columns, rows} = props;
  const hasBoxes = props.hasBoxes ?? true;
  const first = hasBoxes ? 1 : 0;
  const rowHeight = props.rowHeight ?? (matchMedia('(pointer: coarse)').matches ? 44 : 34);
  const [ownState, setOwnState] = useState(kAsTheyCome);
  const state = props.state ?? ownState;
  const change = (changes: Partial<GridState>) => (props.onState ?? setOwnState)({...state, ...changes});
  const [closed, setClosed] = useState<ReadonlySet<Cell>>(new Set());
  useEffect(() => setClosed(new Set()), [state.group]);
  const shown = useShown(columns, rows, state, closed);
  const {order, list} = shown;
  useEffect(() => props.onShown?.(order), [order]);

  const scroller = useRef<HTMLDivElement>(null);
  const head = useRef<HTMLDivElement>(null);
  const view = useWindow(scroller, head, list.length, rowHeight);
  useEffect(() => {
    props.onSeen?.(list.slice(view.first, view.first + view.seen).filter((entry) => entry >= 0));
  }, [list, view.first, view.seen]);
  const {widths, setWidth} = useWidths(columns, rows);
  const template = hasBoxes ? [kBox, ...widths] : widths;
  const active = useActive(list.length, template, first, (row, column) => {
    view.reveal(row);
    revealColumn(scroller.current, template, first + 1, column);
  });
  const picks = usePicks(props, order);
  useEffect(() => {
    const at = props.current === undefined || props.current === null ? -1 : list.indexOf(props.current);
    if (at >= 0) active.show(at);
  }, [props.current ?? null]);
  const handles: Handles = {
    ...picks, ...active, list, hasBoxes, page: Math.max(1, view.seen - 2), toTitles: () => focusTitle(head.current),
    toggleGroup: (entry) => {
      const group = shown.groups?.[-1 - entry];
      if (group) setClosed(toggled(closed, group.value));
    },
  };
  const printing = usePrinting() && <PrintTable columns={columns} rows={rows} shown={order} />;
  return (
    <div class={hasBoxes ? 'grid grid-boxes' : 'grid grid-plain'}>
      <div class="grid-scroll" ref={scroller} role="grid" aria-label={props.label} aria-rowcount={list.length + kFirstRow - 1}
        aria-colcount={template.length} aria-multiselectable={hasBoxes}
        onCopy={(event) => copy(event, rows, columns, [...picks.selection], list[active.position] ?? -1, active.column - first)}
        style={{
          '--grid-columns': template.map((width) => `${width}px`).join(' '), '--grid-row': `${rowHeight}px`,
          '--grid-width': `${template.reduce((sum, width) => sum + width, 0)}px`,
        }}>
        <Head place={head} columns={columns} sort={state.sort} onSort={(sort) => change({sort})} filters={state.filters}
          onFilter={(name, text) => change({filters: withFilter(state.filters, name, text)})}
          onWidth={setWidth} selected={hasBoxes ? picks.selected : null} onAll={picks.selectAll}
          onEnter={() => active.moveTo(view.first)} />
        <div class="grid-body" role="rowgroup" ref={active.body} style={{height: `${list.length * rowHeight}px`}}
          onClick={(event) => clicked(event, handles)} onKeyDown={(event) => keyed(event, handles)}
          onMouseDown={(event) => event.shiftKey && event.preventDefault()}
          onFocusIn={active.entered} onFocusOut={active.left}>
          {drawn({shown, columns, rows, rowHeight, hasBoxes, closed, view, active, picks, summary: props.summary})}
        </div>
        {list.length === 0 && <p class="grid-none">{rows.length === 0 ? t.empty : t.nothing}</p>}
      </div>
      {printing}
      <Foot shown={order.length} all={rows.length} selected={picks.selection.size}
        {...(Object.keys(state.filters).length > 0 ? {onClear: () => change({filters: {}})} : {})}>{props.foot}</Foot>
    </div>
  );
}

interface Drawing {
  shown: Shown;
  columns: readonly GridColumn[];
  rows: Rows;
  rowHeight: number;
  hasBoxes: boolean;
  closed: ReadonlySet<Cell>;
  view: Window;
  active: Active;
  picks: Picks;
  summary: GridProps['summary'];
}

/** The rows that are to be in the page, each in the element of its slot; and the row that the keys move from, wherever
 * it is. */
function drawn(drawing: Drawing) {
  const {shown, columns, rows, rowHeight, hasBoxes, closed, view, active, picks} = drawing;
  const {position, column} = active;
  const rowOf = (at: number, key: number | string) => {
    const entry = shown.list[at]!;
    if (entry < 0) {
      const group = shown.groups![-1 - entry]!;
      return <GroupRow key={`g${key}`} position={at} group={group} column={shown.groupColumn!} isOpen={!closed.has(group.value)}
        isActive={at === position} height={rowHeight} span={columns.length + (hasBoxes ? 1 : 0)} summary={drawing.summary} />;
    }
    return <GridRow key={key} position={at} row={entry} rows={rows} columns={columns} height={rowHeight}
      isSelected={picks.selection.has(entry)} isCurrent={entry === picks.current} hasBoxes={hasBoxes}
      activeColumn={at === position ? column : -1} />;
  };
  const elements: ReturnType<typeof rowOf>[] = [];
  for (let at = view.from; at < view.to; ++at) elements[view.slotOf(at)] = rowOf(at, view.slotOf(at));
  const isAway = position >= 0 && (position < view.from || position >= view.to);
  return [...elements.filter(Boolean), ...(isAway ? [rowOf(position, 'active')] : [])];
}

function Foot(props: {shown: number; all: number; selected: number; onClear?: () => void; children: ComponentChildren}) {
  const {shown, all, selected} = props;
  return (
    <div class="grid-foot">
      <span role="status">
        {shown === all ? `${number(all)} ${all === 1 ? t.row : t.rows}` : t.of(number(shown), number(all))}
        {selected > 0 && ` · ${t.selected(number(selected))}`}
      </span>
      {props.onClear && <button type="button" onClick={props.onClear}>{t.clear}</button>}
      {props.children}
    </div>
  );
}

function withFilter(filters: Record<string, string>, name: string, text: string): Record<string, string> {
  const {[name]: _, ...others} = filters;
  return text.trim() === '' ? others : {...others, [name]: text};
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
