import type {RefObject} from 'preact';
import {useEffect, useRef, useState} from 'preact/hooks';

import type {GridColumn} from './columns';
import {testOf} from './filter';
import {t} from './words';

export interface HeadProps {
  place: RefObject<HTMLDivElement>;
  columns: readonly GridColumn[];
  /** The name of the column that rows are sorted by; "-name" from the end. */
  sort: string;
  onSort: (sort: string) => void;
  filters: Record<string, string>;
  onFilter: (name: string, text: string) => void;
  onWidth: (name: string, change: number) => void;
  /** How many of the rows that are shown are selected; null if rows have no boxes. */
  selected: 'none' | 'some' | 'all' | null;
  onAll: () => void;
  /** Down from the filters, into the rows. */
  onEnter: () => void;
}

/** Titles that sort and can be made wider, and a filter below each. */
export function Head(props: HeadProps) {
  const {columns, sort} = props;
  const [active, setActive] = useState(0);
  const first = props.selected === null ? 0 : 1;
  const toTitle = (index: number) => {
    const next = Math.max(0, Math.min(columns.length - 1, index));
    setActive(next);
    props.place.current?.querySelectorAll<HTMLElement>('.grid-title')[next]?.focus();
  };
  const onKeyDown = (event: KeyboardEvent, index: number, column: GridColumn) => {
    const step = {ArrowLeft: -1, ArrowRight: 1}[event.key];
    if (step !== undefined && event.shiftKey) props.onWidth(column.name, step * 16);
    else if (step !== undefined) toTitle(index + step);
    else if (event.key === 'Home') toTitle(0);
    else if (event.key === 'End') toTitle(columns.length - 1);
    else if (event.key === 'ArrowDown') props.onEnter();
    else return;
    event.preventDefault();
  };
  return (
    <div class="grid-head" role="rowgroup" ref={props.place}>
      <div class="grid-titles" role="row" aria-rowindex={1}>
        {props.selected !== null && (
          <span class="grid-box" role="columnheader" aria-colindex={1}>
            <input type="checkbox" aria-label={t.all} checked={props.selected === 'all'}
              indeterminate={props.selected === 'some'} onChange={props.onAll} />
          </span>
        )}
        {columns.map((column, c) => {
          const sorted = sort === column.name ? 'ascending' : sort === '-' + column.name ? 'descending' : 'none';
          const common = {
            class: 'grid-title', tabIndex: active === c ? 0 : -1, onFocus: () => setActive(c), title: t.resize,
            'aria-keyshortcuts': 'Shift+ArrowLeft Shift+ArrowRight',
            onKeyDown: (event: KeyboardEvent) => onKeyDown(event, c, column),
          };
          const title = <><bdi>{column.title}</bdi>{column.unit && <small> {column.unit}</small>}</>;
          return (
            <span key={column.name} class={`grid-column ${column.kind}`} role="columnheader" aria-colindex={c + first + 1}
              {...(column.render ? {} : {'aria-sort': sorted})}>
              {column.render
                ? <span {...common}>{title}</span>
                : <button type="button" {...common}
                  onClick={() => props.onSort(sorted === 'none' ? column.name : sorted === 'ascending' ? '-' + column.name : '')}>
                  {title}<span class="grid-arrow" aria-hidden="true">{{none: '', ascending: '▲', descending: '▼'}[sorted]}</span>
                </button>}
              <Handle onWidth={(change) => props.onWidth(column.name, change)} />
            </span>
          );
        })}
      </div>
      <div class="grid-filters" role="row" aria-rowindex={2}>
        {props.selected !== null && <span class="grid-box" role="gridcell" aria-colindex={1} />}
        {columns.map((column, c) => (
          <span key={column.name} role="gridcell" aria-colindex={c + first + 1}>
            {!column.render && (
              <Filter column={column} text={props.filters[column.name] ?? ''} onEnter={props.onEnter}
                onFilter={(text) => props.onFilter(column.name, text)} />
            )}
          </span>
        ))}
      </div>
    </div>
  );
}

/** Pulled with the mouse or a finger; keys do it on the title. */
function Handle(props: {onWidth: (change: number) => void}) {
  const at = useRef<number | null>(null);
  return (
    <span class="grid-handle" aria-hidden="true"
      onPointerDown={(event) => {
        at.current = event.clientX;
        event.currentTarget.setPointerCapture(event.pointerId);
        event.preventDefault();
      }}
      onPointerMove={(event) => {
        if (at.current === null) return;
        props.onWidth(event.clientX - at.current);
        at.current = event.clientX;
      }}
      onPointerUp={() => {
        at.current = null;
      }}
      onPointerCancel={() => {
        at.current = null;
      }} />
  );
}

function Filter(props: {column: GridColumn; text: string; onFilter: (text: string) => void; onEnter: () => void}) {
  const [typed, setTyped] = useState(props.text);
  const waiting = useRef<ReturnType<typeof setTimeout>>();
  useEffect(() => setTyped(props.text), [props.text]);
  useEffect(() => () => clearTimeout(waiting.current), []);
  const isFaulty = testOf(typed, props.column.kind) === 'faulty';
  const store = (text: string) => {
    clearTimeout(waiting.current);
    props.onFilter(text);
  };
  return (
    <input type="search" value={typed} aria-label={t.filterBy(props.column.title)} aria-invalid={isFaulty}
      title={isFaulty ? t.faulty : t.filterHelp} autocomplete="off" spellcheck={false}
      onInput={(event) => {
        const text = event.currentTarget.value;
        setTyped(text);
        clearTimeout(waiting.current);
        waiting.current = setTimeout(() => props.onFilter(text), 150);
      }}
      onKeyDown={(event) => {
        if (event.key === 'Enter') store(typed);
        if (event.key === 'ArrowDown') {
          event.preventDefault();
          store(typed);
          props.onEnter();
        }
        if (event.key === 'Escape' && typed !== '') {
          event.preventDefault();
          event.stopPropagation();
          setTyped('');
          store('');
        }
      }} />
  );
}
