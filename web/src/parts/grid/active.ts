// The cell that the keys move from, and the rows that are picked.

import {useLayoutEffect, useRef, useState} from 'preact/hooks';

import {kFirstRow} from './row';

export type Active = ReturnType<typeof useActive>;
export type Picks = ReturnType<typeof usePicks>;

/** Its row is always in the page, so that the focus is not lost when one scrolls away from it with the mouse.
 * `reveal` scrolls to a cell. */
export function useActive(
  count: number, template: readonly number[], first: number, reveal: (row: number, column: number) => void) {
  const [at, setAt] = useState({position: 0, column: first});
  const position = Math.min(at.position, count - 1);
  const column = Math.min(at.column, template.length - 1);
  const body = useRef<HTMLDivElement>(null);
  const isInside = useRef(false);
  const isWanted = useRef(false);
  useLayoutEffect(() => {
    const now = document.activeElement;
    const isLost = isInside.current && (now === null || now === document.body);
    if (!isWanted.current && !isLost && !body.current?.contains(now)) return;
    isWanted.current = false;
    const row = body.current?.querySelector(`[aria-rowindex="${position + kFirstRow}"]`);
    const cell = row?.classList.contains('group') ? row.querySelector('button') : row?.children[column];
    if (cell instanceof HTMLElement && cell !== now) cell.focus({preventScroll: true});
  });
  const within = (value: number, end: number) => Math.max(0, Math.min(end - 1, value));
  return {
    position, column, body, lastColumn: template.length - 1,
    /** With the focus. */
    place: (row: number, to: number) => {
      isWanted.current = count > 0;
      setAt({position: row, column: to});
    },
    /** The same, to where there is a cell, and so that it is seen. */
    moveTo: (row: number, to = column) => {
      isWanted.current = count > 0;
      setAt({position: within(row, count), column: within(to, template.length)});
      reveal(within(row, count), within(to, template.length));
    },
    /** Without the focus. */
    show: (row: number) => {
      setAt({position: row, column});
      reveal(row, 0);
    },
    entered: () => {
      isInside.current = true;
    },
    left: (event: FocusEvent) => {
      // To nowhere: the element that had it shows another row now, or the window has lost it.
      if (event.relatedTarget !== null) isInside.current = false;
    },
  };
}

interface PickProps {
  current?: number | null;
  onCurrent?: (row: number) => void;
  selection?: ReadonlySet<number>;
  onSelection?: (selection: ReadonlySet<number>) => void;
}

const kNone: ReadonlySet<number> = new Set();

/** Kept here unless the owner of the grid does. */
export function usePicks(props: PickProps, order: readonly number[]) {
  const [ownSelection, setOwnSelection] = useState(kNone);
  const [ownCurrent, setOwnCurrent] = useState<number | null>(null);
  /** Where a selection with shift begins. */
  const anchor = useRef<number | null>(null);
  const selection = props.selection ?? ownSelection;
  const select = props.onSelection ?? setOwnSelection;
  const selected = selection.size === 0 ? 'none' as const
    : selection.size >= order.length && order.every((row) => selection.has(row)) ? 'all' as const : 'some' as const;
  return {
    selection, select, selected, anchor,
    current: props.current === undefined ? ownCurrent : props.current,
    selectAll: () => select(selected === 'all' ? kNone : new Set(order)),
    open: (row: number) => {
      setOwnCurrent(row);
      props.onCurrent?.(row);
    },
  };
}

/** The set with the value if it has not had it, or without. */
export function toggled<T>(set: ReadonlySet<T>, value: T): ReadonlySet<T> {
  const next = new Set(set);
  if (!next.delete(value)) next.add(value);
  return next;
}
