import {Component, type ComponentChildren} from 'preact';
import type {Cell} from 'korvane-client';

import {number} from '../../words/words';
import {cellText, type GridColumn} from './columns';
import type {Group, Rows} from './order';
import {t} from './words';

export interface RowProps {
  /** Its place in what is shown. */
  position: number;
  /** Its number in `rows`. */
  row: number;
  rows: Rows;
  columns: readonly GridColumn[];
  height: number;
  isSelected: boolean;
  isCurrent: boolean;
  /** The cell that has the focus, or had it last; -1 for none of this row. */
  activeColumn: number;
  hasBoxes: boolean;
}

/** aria-rowindex of the first row: after the titles and the filters. */
export const kFirstRow = 3;

/** Drawn anew only if something of it has changed: while one scrolls most rows stay as they are. */
abstract class Memo<Props> extends Component<Props> {
  override shouldComponentUpdate(next: Props): boolean {
    for (const name in next) if (next[name] !== this.props[name]) return true;
    return false;
  }
}

/** What stands there stands for nothing. */
function isNone(value: Cell | undefined, column: GridColumn): boolean {
  return column.ifNone !== undefined && !column.render && (value ?? null) === null;
}

export class GridRow extends Memo<RowProps> {
  override render() {
    const {position, row, rows, columns, height, isSelected, isCurrent, activeColumn, hasBoxes} = this.props;
    const cells = rows[row]!;
    const first = hasBoxes ? 1 : 0;
    return (
      <div class={isCurrent ? 'grid-row current' : 'grid-row'} role="row" aria-rowindex={position + kFirstRow}
        aria-selected={isSelected || isCurrent} style={{transform: `translateY(${position * height}px)`}}>
        {hasBoxes && (
          <span class="grid-box" role="gridcell" aria-colindex={1} tabIndex={activeColumn === 0 ? 0 : -1}>
            <input type="checkbox" tabIndex={-1} checked={isSelected} readOnly
              aria-label={`${t.select} ${cellText(cells[columns[0]?.at ?? 0] ?? null, columns[0]!)}`} />
          </span>
        )}
        {columns.map((column, c) => (
          <bdi key={column.name} class={isNone(cells[column.at ?? c], column) ? `${column.kind} none` : column.kind} role="gridcell" aria-colindex={c + first + 1}
            tabIndex={activeColumn === c + first ? 0 : -1}>
            {column.render ? column.render(row) : cellText(cells[column.at ?? c] ?? null, column)}
          </bdi>
        ))}
      </div>
    );
  }
}

export interface GroupRowProps {
  position: number;
  group: Group;
  column: GridColumn;
  isOpen: boolean;
  isActive: boolean;
  height: number;
  span: number;
  summary: ((rows: readonly number[]) => ComponentChildren) | undefined;
}

export class GroupRow extends Memo<GroupRowProps> {
  override render() {
    const {position, group, column, isOpen, isActive, height, span, summary} = this.props;
    const unit = column.unit && group.value !== null ? ` ${column.unit}` : '';
    return (
      <div class="grid-row group" role="row" aria-rowindex={position + kFirstRow}
        style={{transform: `translateY(${position * height}px)`}}>
        <span role="gridcell" aria-colindex={1} aria-colspan={span}>
          <button type="button" class="grid-group" aria-expanded={isOpen} tabIndex={isActive ? 0 : -1}>
            <span aria-hidden="true">{isOpen ? '▾' : '▸'}</span>
            <span class="quiet">{column.title}</span>
            <b><bdi>{cellText(group.value, column) || t.none}</bdi>{unit}</b>
            <span class="quiet">{number(group.rows.length)} {group.rows.length === 1 ? t.row : t.rows}</span>
            {summary?.(group.rows)}
          </button>
        </span>
      </div>
    );
  }
}
