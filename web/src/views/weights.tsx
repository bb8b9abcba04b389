import type {Cell, Contents, Row, SheetSummary} from 'korvane-client';

import {address, ofFile, setParams} from '../address';
import {Choice, fileName, keyOf, named, selection, SheetChoice, shownName} from '../parts/choice';
import {csv} from '../parts/csv';
import {useAnew} from '../parts/anew';
import {useLoaded} from '../parts/loaded';
import {Failure, Notice, Waiting} from '../parts/notices';
import {save} from '../parts/save';
import {project} from '../server/server';
import {counted, fixed, number} from '../words/words';
import {Chart, type ChartRow} from './weights_chart';
import {t} from './weights_words';
import './weights.css';

interface Sum {
  marks: number;
  pieces: number;
  metres: number;
  /** Of the marks whose weight is known. */
  mass: number;
  withoutWeight: number;
  /** Of the others. Never part of `mass`. */
  estimate: number;
}

interface Group extends Sum {
  /** What names it: a diameter and a steel, a type and a steel, a name. */
  names: Cell[];
  /** No weight of any of its marks is known. */
  isUnknown: boolean;
}

interface Section {
  kind: 'bars' | 'fabrics' | 'bar_spacers' | 'mounting_parts';
  title: string;
  /** The columns that name a group. */
  heads: string[];
  keys: string[];
  hasLength: boolean;
  hasWeight: boolean;
  groups: Group[];
}

function numberOf(cell: Cell | undefined): number {
  return typeof cell === 'number' ? cell : 0;
}

function groupOf(row: Row, keys: string[]): Group {
  return {
    names: keys.map((key) => row[key] ?? null),
    marks: numberOf(row['marks']),
    pieces: numberOf(row['pieces']),
    metres: numberOf(row['metres']),
    mass: numberOf(row['mass']),
    withoutWeight: numberOf(row['marks_without_weight']),
    estimate: numberOf(row['estimated_mass']),
    isUnknown: (row['mass'] ?? null) === null,
  };
}

function sumOf(groups: Sum[]): Sum {
  const sum: Sum = {marks: 0, pieces: 0, metres: 0, mass: 0, withoutWeight: 0, estimate: 0};
  for (const group of groups) {
    for (const key of Object.keys(sum) as (keyof Sum)[]) sum[key] += group[key];
  }
  return sum;
}

function sectionsOf(totals: Record<string, Row[]>): Section[] {
  const section = (
    kind: Section['kind'], table: string, title: string, keys: string[], heads: string[], hasLength: boolean,
    hasWeight = true): Section => ({
    kind, title, keys, heads, hasLength, hasWeight, groups: (totals[table] ?? []).map((row) => groupOf(row, keys)),
  });
  return [
    section('bars', 'bar_totals', t.bars, ['bar_diameter', 'steel'], [`${t.diameter} [mm]`, t.steel], true),
    section('fabrics', 'fabric_totals', t.fabrics, ['type_name', 'steel'], [t.type, t.steel], false),
    section('bar_spacers', 'bar_spacer_totals', t.barSpacers, ['name'], [t.name], true),
    section('mounting_parts', 'mounting_part_totals', t.mountingParts, ['name'], [t.name], false, false),
  ].filter((one) => one.groups.length > 0);
}

/** "4 marks have no weight and are not among the kilograms; as round bars of steel they are estimated at 12.5 kg." */
function Missing(props: {sum: Sum}) {
  const {withoutWeight, estimate} = props.sum;
  if (withoutWeight === 0) return null;
  return (
    <Notice>
      {counted(withoutWeight, t.markLacks, t.marksLack)}
      {estimate > 0 && ` ${t.estimated.replace('{kg}', fixed(estimate, 2))}`}
    </Notice>
  );
}

function shown(cell: Cell) {
  if (cell === null || cell === '') return <span class="quiet">{t.none}</span>;
  return typeof cell === 'number' ? number(cell) : <bdi>{cell}</bdi>;
}

function SumCells(props: {section: Section; sum: Sum; isUnknown?: boolean; hasMissing: boolean}) {
  const {section, sum} = props;
  return (
    <>
      <td class="number">{number(sum.marks)}</td>
      <td class="number">{number(sum.pieces)}</td>
      {section.hasLength && <td class="number">{fixed(sum.metres, 2)}</td>}
      {section.hasWeight && (
        <td class="number">{props.isUnknown ? <span class="quiet">{t.unknown}</span> : fixed(sum.mass, 2)}</td>
      )}
      {props.hasMissing && <td class="number">{sum.withoutWeight === 0 ? '' : number(sum.withoutWeight)}</td>}
      {props.hasMissing && <td class="number">{sum.estimate === 0 ? '' : `≈ ${fixed(sum.estimate, 2)}`}</td>}
    </>
  );
}

/** The sums of each steel, where there are several. */
function bySteel(section: Section): [Cell, Sum][] {
  const at = section.keys.indexOf('steel');
  if (at < 0) return [];
  const steels = [...new Set(section.groups.map((group) => group.names[at] ?? null))];
  if (steels.length < 2) return [];
  return steels.map((steel) => [steel, sumOf(section.groups.filter((group) => (group.names[at] ?? null) === steel))]);
}

function SectionTable(props: {section: Section}) {
  const {section} = props;
  const sum = sumOf(section.groups);
  const hasMissing = section.hasWeight && sum.withoutWeight > 0;
  const isKey = (index: number) => section.keys[index] === 'bar_diameter';
  return (
    <div class="wide" tabIndex={0} role="region" aria-label={section.title}>
      <table class="totals">
        <caption class="unseen">{section.title}</caption>
        <thead>
          <tr>
            {section.heads.map((head, i) => <th key={head} scope="col" class={isKey(i) ? 'number' : ''}>{head}</th>)}
            <th scope="col" class="number">{t.marks}</th>
            <th scope="col" class="number">{t.pieces}</th>
            {section.hasLength && <th scope="col" class="number">{t.length} [m]</th>}
            {section.hasWeight && <th scope="col" class="number">{t.weight} [kg]</th>}
            {hasMissing && <th scope="col" class="number">{t.without}</th>}
            {hasMissing && <th scope="col" class="number">{t.estimate} [kg]</th>}
          </tr>
        </thead>
        <tbody>
          {section.groups.map((group, row) => (
            <tr key={row}>
              {group.names.map((name, i) => i === 0
                ? <th key={i} scope="row" class={isKey(i) ? 'number' : 'name'}>{shown(name)}</th>
                : <td key={i} class="name">{shown(name)}</td>)}
              <SumCells section={section} sum={group} isUnknown={group.isUnknown} hasMissing={hasMissing} />
            </tr>
          ))}
        </tbody>
        <tfoot>
          {bySteel(section).map(([steel, ofSteel], i) => (
            <tr key={i}>
              <th scope="row" colSpan={section.heads.length} class="name">{t.ofSteel} {shown(steel)}</th>
              <SumCells section={section} sum={ofSteel} hasMissing={hasMissing}
                isUnknown={ofSteel.mass === 0 && ofSteel.withoutWeight > 0} />
            </tr>
          ))}
          <tr class="all">
            <th scope="row" colSpan={section.heads.length}>{t.sum}</th>
            <SumCells section={section} sum={sum} hasMissing={hasMissing}
              isUnknown={sum.mass === 0 && sum.withoutWeight > 0} />
          </tr>
        </tfoot>
      </table>
    </div>
  );
}

function chartRows(section: Section): ChartRow[] {
  return section.groups.map((group) => {
    const [first, steel] = group.names;
    const name = typeof first === 'number' ? `ø ${number(first)}` : (first ?? t.none);
    return {
      label: String(name),
      series: steel === undefined ? '' : String(steel ?? t.none),
      value: group.isUnknown ? null : group.mass,
      estimate: group.estimate,
    };
  });
}

function SectionView(props: {section: Section; series: string[]}) {
  const {section} = props;
  const hasChart = section.hasWeight && section.groups.some((group) => group.mass > 0 || group.estimate > 0);
  return (
    <section>
      <h2>{section.title}</h2>
      {!section.hasWeight && <p class="quiet">{t.noWeights}</p>}
      <Missing sum={sumOf(section.groups)} />
      <div class="side-by-side">
        <SectionTable section={section} />
        {hasChart && (
          <Chart title={t.chartTitle.replace('{what}', section.title)} rows={chartRows(section)}
            series={props.series} />
        )}
      </div>
    </section>
  );
}

function Revisions(props: {file: string; sheets: SheetSummary[]; rows: Row[]}) {
  if (props.rows.length < 2) return null;
  const hasMissing = props.rows.some((row) => numberOf(row['marks_without_weight']) > 0);
  return (
    <section>
      <h2>{t.revisions}</h2>
      <div class="wide" tabIndex={0} role="region" aria-label={t.revisions}>
        <table class="totals">
          <thead>
            <tr>
              <th scope="col">{t.sheet}</th>
              <th scope="col">{t.revision}</th>
              <th scope="col" class="number">{t.marks}</th>
              <th scope="col" class="number">{t.bars}</th>
              <th scope="col" class="number">{t.fabrics}</th>
              <th scope="col" class="number">{t.barSpacers}</th>
              <th scope="col" class="number">{t.mountingParts}</th>
              <th scope="col" class="number">{t.weight} [kg]</th>
              {hasMissing && <th scope="col" class="number">{t.without}</th>}
              {hasMissing && <th scope="col" class="number">{t.estimate} [kg]</th>}
            </tr>
          </thead>
          <tbody>
            {props.rows.map((row, i) => {
              const sheet = props.sheets.find((one) => one.name === row['sheet']) ?? null;
              const revision = sheet?.revisions.find((one) => one.name === row['revision']) ?? null;
              const name = <bdi>{shownName(String(row['revision'] ?? ''))}</bdi>;
              return (
                <tr key={i}>
                  <th scope="row" class="name"><bdi>{shownName(String(row['sheet'] ?? ''))}</bdi></th>
                  <td class="name">
                    {row['revision'] === null ? <span class="quiet">{t.none}</span>
                      : sheet && revision ? (
                        <a href={ofFile(props.file, ['weights'], {
                          sheet: keyOf(sheet, props.sheets), revision: keyOf(revision, sheet.revisions),
                        })}>{name}</a>
                      ) : name}
                  </td>
                  {['marks', 'bars', 'fabrics', 'bar_spacers', 'mounting_parts'].map((key) => (
                    <td key={key} class="number">{number(numberOf(row[key]))}</td>
                  ))}
                  <td class="number">
                    {(row['mass'] ?? null) === null ? <span class="quiet">{t.unknown}</span>
                      : fixed(numberOf(row['mass']), 2)}
                  </td>
                  {hasMissing && <td class="number">{numberOf(row['marks_without_weight']) || ''}</td>}
                  {hasMissing && (
                    <td class="number">
                      {numberOf(row['estimated_mass']) > 0 ? `≈ ${fixed(numberOf(row['estimated_mass']), 2)}` : ''}
                    </td>
                  )}
                </tr>
              );
            })}
          </tbody>
        </table>
      </div>
    </section>
  );
}

/** All that is seen, in one table for programs. */
function asCsv(sections: Section[]): Blob {
  const columns = ['kind', 'bar_diameter', 'type_name', 'name', 'steel', 'marks', 'pieces', 'metres', 'mass',
    'marks_without_weight', 'estimated_mass'];
  const rows = sections.flatMap((section) => section.groups.map((group): Cell[] => {
    const named = (key: string) => group.names[section.keys.indexOf(key)] ?? null;
    return [section.kind, named('bar_diameter'), named('type_name'), named('name'), named('steel'), group.marks,
      group.pieces, section.hasLength ? group.metres : null, section.hasWeight && !group.isUnknown ? group.mass : null,
      group.withoutWeight, group.estimate];
  }));
  return csv(columns, rows);
}

function severalRevisions(rows: Row[]): boolean {
  const sheets = rows.filter((row) => row['revision'] !== null).map((row) => row['sheet']);
  return new Set(sheets).size < sheets.length;
}

function Totals(props: {file: string; contents: Contents}) {
  const {params} = address.value;
  const sheets = props.contents.sheets;
  const sheet = named(sheets, params['sheet']);
  const revision = sheet ? named(sheet.revisions, params['revision']) : null;
  const isGone = (params['sheet'] !== undefined && !sheet) || (params['revision'] !== undefined && !revision);
  const totals = useLoaded((signal) => project(props.file).totals(selection(sheet, revision), {signal}),
    [props.file, sheet?.id, revision?.id]);
  useAnew(totals.again);
  const sections = totals.value ? sectionsOf(totals.value) : [];
  const all = sumOf(sections.flatMap((section) => (section.hasWeight ? section.groups : [])));
  const series = [...new Set(sections.flatMap(chartRows).map((row) => row.series))];
  const rows = totals.value?.['revisions'] ?? [];
  return (
    <>
      <div class="row choices">
        <SheetChoice sheets={sheets} value={sheet} none={t.allSheets}
          onChange={(one) => setParams({sheet: one ? keyOf(one, sheets) : undefined, revision: undefined}, true)} />
        {sheet && (
          <Choice label={t.revision} all={sheet.revisions} value={revision} none={t.allRevisions}
            onChange={(one) => setParams({revision: one ? keyOf(one, sheet.revisions) : undefined}, true)} />
        )}
        <button type="button" disabled={sections.length === 0} onClick={() => save(asCsv(sections),
          fileName([props.file, sheet?.name, revision?.name, t.fileWord], 'csv'))}>{t.saveCsv}</button>
      </div>
      {isGone && <Notice>{t.gone}</Notice>}
      {totals.failure !== null && <Failure failure={totals.failure} onAgain={totals.again} />}
      {totals.isLoading && <Waiting />}
      {totals.value && !totals.isLoading && totals.failure === null && (
        <>
          <p class="all-weight" role="status">
            {sections.length === 0 ? t.empty : (
              <>
                {t.allTogether} <strong>{fixed(all.mass, 2)} kg</strong>
                {all.withoutWeight > 0 && <> – {counted(all.withoutWeight, t.markLacks, t.marksLack)}</>}
              </>
            )}
          </p>
          {severalRevisions(rows) && <Notice>{t.several}</Notice>}
          {sections.map((section) => <SectionView key={section.kind} section={section} series={series} />)}
          <Revisions file={props.file} sheets={sheets} rows={rows} />
        </>
      )}
    </>
  );
}

/** What a project, a sheet or a revision weighs. */
export function Weights(props: {file: string}) {
  const contents = useLoaded((signal) => project(props.file).contents({signal}), [props.file]);
  useAnew(contents.again);
  return (
    <div class="weights">
      <h1>{t.title}</h1>
      {contents.failure !== null && <Failure failure={contents.failure} onAgain={contents.again} />}
      {contents.value ? <Totals file={props.file} contents={contents.value} />
        : contents.failure === null && <Waiting />}
    </div>
  );
}
