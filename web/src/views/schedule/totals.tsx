import type {Cell, Kind} from 'korvane-client';

import {fixed, number, words} from '../../words/words';
import {kindColumns} from './kinds';

const t = words({
  en: {
    line: 'line', lines: 'lines', pieces: 'pieces', piece: 'piece',
    lacks: (count: string) => `${count} without a weight`, show: 'Show those without a weight',
  },
  de: {
    line: 'Zeile', lines: 'Zeilen', pieces: 'Stück', piece: 'Stück',
    lacks: (count: string) => `${count} ohne Gewicht`, show: 'Die ohne Gewicht zeigen',
  },
});

export interface Totals {
  lines: number;
  pieces: number;
  metres: number | null;
  kilograms: number | null;
  /** Lines whose weight nobody has stated: they are not in the kilograms. */
  lacking: number;
}

/** Of the rows with these numbers. `names` are the names of the columns of `rows`. */
export function totalsOf(kind: Kind, names: readonly string[], rows: readonly Cell[][], which: Iterable<number>): Totals {
  const {pieces, lengths, mass} = kindColumns[kind];
  const piecesAt = names.indexOf(pieces);
  const lengthAt = lengths ? names.indexOf(lengths.name) : -1;
  const massAt = mass ? names.indexOf(mass) : -1;
  let millimetres = 0;
  const sums: Totals = {lines: 0, pieces: 0, metres: null, kilograms: massAt < 0 ? null : 0, lacking: 0};
  for (const i of which) {
    const row = rows[i];
    if (!row) continue;
    const count = numberIn(row[piecesAt]);
    sums.lines += 1;
    sums.pieces += count;
    if (lengthAt >= 0) millimetres += numberIn(row[lengthAt]) * (lengths?.isOfOne ? count : 1);
    if (massAt < 0) continue;
    const weight = row[massAt];
    if (typeof weight === 'number') sums.kilograms! += weight;
    else sums.lacking += 1;
  }
  return lengthAt < 0 ? sums : {...sums, metres: millimetres / 1000};
}

function numberIn(cell: Cell | undefined): number {
  return typeof cell === 'number' ? cell : 0;
}

export function TotalsText(props: {totals: Totals; withLines?: boolean; onLacking?: (() => void) | undefined}) {
  const {lines, pieces, metres, kilograms, lacking} = props.totals;
  return (
    <span class="totals">
      {props.withLines && <span><b>{number(lines)}</b> {lines === 1 ? t.line : t.lines}</span>}
      <span><b>{number(pieces)}</b> {pieces === 1 ? t.piece : t.pieces}</span>
      {metres !== null && <span><b>{fixed(metres, 1)}</b> m</span>}
      {kilograms !== null && (lacking === 0 || lacking < lines) && <span><b>{fixed(kilograms, 1)}</b> kg</span>}
      {lacking > 0 && (props.onLacking
        ? <button type="button" class="lacks" title={t.show} onClick={props.onLacking}>{t.lacks(number(lacking))}</button>
        : <span class="lacks">{t.lacks(number(lacking))}</span>)}
    </span>
  );
}
