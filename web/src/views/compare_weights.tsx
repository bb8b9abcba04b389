import type {Cell, Row} from 'korvane-client';

import {counted, fixed, number} from '../words/words';
import {t} from './compare_words';

interface Section {
  title: string;
  keys: string[];
  heads: string[];
  rows: Row[];
}

function sectionsOf(tables: Record<string, Row[]>): Section[] {
  const section = (table: string, title: string, keys: string[], heads: string[]): Section =>
    ({title, keys, heads, rows: tables[table] ?? []});
  return [
    section('bar_differences', t.bars, ['bar_diameter', 'steel'], [`${t.diameter} [mm]`, t.steel]),
    section('fabric_differences', t.fabrics, ['type_name', 'steel'], [t.type, t.steel]),
    section('bar_spacer_differences', t.bar_spacers, ['name'], [t.name]),
    section('mounting_part_differences', t.mounting_parts, ['name'], [t.name]),
  ].filter((one) => one.rows.length > 0);
}

/** With its sign, and a minus as long as the plus. */
export function signed(value: number, decimals: number): string {
  const text = fixed(Math.abs(value), decimals);
  return value < 0 ? `\u2212${text}` : value > 0 ? `+${text}` : `\u00b1${text}`;
}

function sumOf(rows: Row[], key: string): number {
  return rows.reduce((sum, row) => sum + (typeof row[key] === 'number' ? row[key] : 0), 0);
}

function isWithoutMass(row: Row): boolean {
  return typeof row['mass_difference'] !== 'number';
}

function mass(cell: Cell | undefined, isDifference = false) {
  if (typeof cell !== 'number') return <span class="quiet">{t.unknown}</span>;
  return isDifference ? signed(cell, 2) : fixed(cell, 2);
}

function name(cell: Cell | undefined) {
  if (cell === null || cell === undefined || cell === '') return <span class="quiet">{t.none}</span>;
  return typeof cell === 'number' ? number(cell) : <bdi>{cell}</bdi>;
}

function SectionTable(props: {section: Section}) {
  const {title, keys, heads, rows} = props.section;
  // Mounting parts have no weight: theirs is 0 on both sides.
  const hasMass = rows.some((row) => row['mass_before'] !== 0 || row['mass_after'] !== 0);
  const pieces = ['pieces_before', 'pieces_after', 'pieces_difference'];
  const isNumber = (key: string) => key === 'bar_diameter';
  return (
    <div class="wide" tabIndex={0} role="region" aria-label={title}>
      <table>
        <caption>{title}</caption>
        <thead>
          <tr>
            {heads.map((head, i) => (
              <th key={head} scope="col" rowSpan={2} class={isNumber(keys[i] ?? '') ? 'number' : ''}>{head}</th>
            ))}
            <th scope="colgroup" colSpan={3} class="group">{t.pieces}</th>
            {hasMass && <th scope="colgroup" colSpan={3} class="group">{t.weight} [kg]</th>}
          </tr>
          <tr>
            {[0, ...(hasMass ? [1] : [])].flatMap((part) => [t.before, t.after, t.difference].map((head) => (
              <th key={`${part} ${head}`} scope="col" class="number">{head}</th>
            )))}
          </tr>
        </thead>
        <tbody>
          {rows.map((row, i) => (
            <tr key={i}>
              {keys.map((key, column) => column === 0
                ? <th key={key} scope="row" class={isNumber(key) ? 'number' : 'name'}>{name(row[key])}</th>
                : <td key={key} class="name">{name(row[key])}</td>)}
              <td class="number">{number(sumOf([row], 'pieces_before'))}</td>
              <td class="number">{number(sumOf([row], 'pieces_after'))}</td>
              <td class="number">{signed(sumOf([row], 'pieces_difference'), 0)}</td>
              {hasMass && <td class="number">{mass(row['mass_before'])}</td>}
              {hasMass && <td class="number">{mass(row['mass_after'])}</td>}
              {hasMass && <td class="number">{mass(row['mass_difference'], true)}</td>}
            </tr>
          ))}
        </tbody>
        <tfoot>
          <tr>
            <th scope="row" colSpan={keys.length}>{t.sum}</th>
            {pieces.map((key) => (
              <td key={key} class="number">
                {key === 'pieces_difference' ? signed(sumOf(rows, key), 0) : number(sumOf(rows, key))}
              </td>
            ))}
            {hasMass && <td class="number">{fixed(sumOf(rows, 'mass_before'), 2)}</td>}
            {hasMass && <td class="number">{fixed(sumOf(rows, 'mass_after'), 2)}</td>}
            {hasMass && <td class="number">{signed(sumOf(rows, 'mass_difference'), 2)}</td>}
          </tr>
        </tfoot>
      </table>
    </div>
  );
}

/** What a change means in pieces and kilograms: in all, and of what differs. */
export function WeightDifferences(props: {tables: Record<string, Row[]>}) {
  const sections = sectionsOf(props.tables);
  const rows = sections.flatMap((section) => section.rows);
  const without = rows.filter(isWithoutMass).length;
  return (
    <section class="differences">
      <h2>{t.weights}</h2>
      {sections.length === 0 ? <p>{t.noWeightChange}</p> : (
        <p class="all-weight">
          {t.inAll} <strong>{signed(sumOf(rows, 'mass_difference'), 2)} kg</strong>
          {without > 0 && <> – {counted(without, t.notKnown, t.notKnownMany)}</>}
        </p>
      )}
      <div class="side-by-side">
        {sections.map((section) => <SectionTable key={section.title} section={section} />)}
      </div>
    </section>
  );
}
