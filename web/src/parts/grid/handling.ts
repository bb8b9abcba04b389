// What clicks and keys do in the rows.

import {toggled, type Active, type Picks} from './active';
import {kFirstRow} from './row';

export interface Handles extends Active, Picks {
  /** What stands below each other: a row by its number, the head of a group as a negative one. */
  list: readonly number[];
  hasBoxes: boolean;
  /** Rows that PageDown goes. */
  page: number;
  toTitles: () => void;
  toggleGroup: (entry: number) => void;
}

/** A click opens the row; with ctrl, or on its box, it selects it, with shift all from where one was. */
export function clicked(event: MouseEvent, grid: Handles): void {
  const cell = event.target instanceof Element ? event.target.closest('[role="gridcell"]') : null;
  const at = Number(cell?.parentElement?.getAttribute('aria-rowindex')) - kFirstRow;
  const entry = grid.list[at];
  if (!cell || entry === undefined) return;
  grid.place(at, Number(cell.getAttribute('aria-colindex')) - 1);
  if (entry < 0) return grid.toggleGroup(entry);
  if (grid.hasBoxes && event.shiftKey) return selectTo(grid, at);
  grid.anchor.current = at;
  const isBox = cell.classList.contains('grid-box');
  if (grid.hasBoxes && (event.ctrlKey || event.metaKey || isBox)) return grid.select(toggled(grid.selection, entry));
  if (grid.selection.size > 0) grid.select(new Set());
  grid.open(entry);
}

function selectTo(grid: Handles, to: number): void {
  const from = grid.anchor.current ?? grid.position;
  grid.select(new Set(grid.list.slice(Math.min(from, to), Math.max(from, to) + 1).filter((entry) => entry >= 0)));
}

/** The arrows and their like move, Enter opens, the space bar selects, ctrl with A all that is shown. */
export function keyed(event: KeyboardEvent, grid: Handles): void {
  const {position, column, list} = grid;
  const entry = list[position];
  if (entry === undefined) return;
  const isGroup = entry < 0;
  const isControl = event.ctrlKey || event.metaKey;
  const isExtended = event.shiftKey && grid.hasBoxes;
  const aside = (to: number) => (isGroup ? grid.toggleGroup(entry) : grid.moveTo(position, to));
  const step = (to: number) => {
    if (!isExtended) return to < 0 ? grid.toTitles() : grid.moveTo(to);
    grid.anchor.current ??= position;
    selectTo(grid, Math.max(0, Math.min(list.length - 1, to)));
    grid.moveTo(to);
  };
  const moves: Record<string, () => void> = {
    ArrowUp: () => step(position - 1),
    ArrowDown: () => step(position + 1),
    ArrowLeft: () => aside(column - 1),
    ArrowRight: () => aside(column + 1),
    PageUp: () => step(Math.max(0, position - grid.page)),
    PageDown: () => step(position + grid.page),
    Home: () => grid.moveTo(isControl ? 0 : position, 0),
    End: () => grid.moveTo(isControl ? list.length - 1 : position, grid.lastColumn),
    Enter: () => (isGroup ? grid.toggleGroup(entry) : grid.open(entry)),
    ' ': () => (isGroup ? grid.toggleGroup(entry) : grid.hasBoxes ? grid.select(toggled(grid.selection, entry)) : grid.open(entry)),
    ...(isControl && grid.hasBoxes ? {a: grid.selectAll} : {}),
  };
  const move = moves[event.key];
  if (!move) return;
  event.preventDefault();
  if (!isExtended) grid.anchor.current = null;
  move();
}
