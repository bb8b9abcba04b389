import type {ComponentChildren} from 'preact';
import {useEffect, useMemo, useState} from 'preact/hooks';
import type {Cell, Contents, RevisionSummary, Row, SheetSummary} from 'korvane-client';

import {address, setParams} from '../address';
import {Choice, fileName, keyOf, named, SheetChoice, shownName} from '../parts/choice';
import {csv} from '../parts/csv';
import {LazySketch, Sketches} from '../parts/lazy_sketch';
import {useAnew} from '../parts/anew';
import {useLoaded} from '../parts/loaded';
import {LongText} from '../parts/long_text';
import {Failure, Notice, Waiting} from '../parts/notices';
import {save} from '../parts/save';
import {project} from '../server/server';
import {number} from '../words/words';
import {changes, fieldTitle, linesOf, says, type Change, type FieldValues, type LineChange} from './compare_lines';
import {signed, WeightDifferences} from './compare_weights';
import {t} from './compare_words';
import './compare.css';

/** Lines that are shown at first, and come with each "more": a page stays quick with 100,000 of them. */
const kLinesAtATime = 200;
const kSigns: Record<Change, string> = {added: '+', removed: '\u2212', changed: '\u2260'};

function Value(props: {cell: Cell}) {
  const {cell} = props;
  if (cell === null) return <span class="quiet">{t.noValue}</span>;
  if (cell === '') return <span class="quiet">{t.noText}</span>;
  return typeof cell === 'number' ? <>{number(cell, 6)}</> : <LongText text={cell} />;
}

/** The two values of a field; the empty side of a line that came or went stays empty. */
function FieldRow(props: {line: LineChange; values: FieldValues}) {
  const {line, values} = props;
  const isNumber = typeof values.before === 'number' && typeof values.after === 'number';
  const title = values.field === '' ? t.line : fieldTitle(values.field);
  return (
    <>
      <td class="field" title={values.field}><bdi>{title}</bdi></td>
      <td>{line.change !== 'added' && <Value cell={values.before} />}</td>
      <td>
        {line.change !== 'removed' && <Value cell={values.after} />}
        {isNumber && (
          <span class="quiet"> ({signed(Math.round((Number(values.after) - Number(values.before)) * 1e6) / 1e6, 0)
            .charAt(0)}{number(Math.abs(Number(values.after) - Number(values.before)), 6)})</span>
        )}
      </td>
    </>
  );
}

function hasSketch(line: LineChange): boolean {
  return (line.kind === 'bars' || line.kind === 'fabrics') && (line.beforeId !== null || line.afterId !== null);
}

function LineRows(props: {line: LineChange; sketches: Sketches}) {
  const {line, sketches} = props;
  const withSketch = hasSketch(line);
  const rows = line.fields.length + (withSketch ? 1 : 0);
  return (
    <tbody class={`line ${line.change}`}>
      {line.fields.map((values, i) => (
        <tr key={i}>
          {i === 0 && (
            <th scope="rowgroup" rowSpan={rows} class="change">
              <span class="sign" aria-hidden="true">{kSigns[line.change]}</span> {t[line.change]}
            </th>
          )}
          {i === 0 && (
            <th scope="rowgroup" rowSpan={rows} class="mark">
              <LongText text={line.mark} />
              {line.kind !== 'bars' && <div class="quiet kind">{t[line.kind]}</div>}
            </th>
          )}
          <FieldRow line={line} values={values} />
        </tr>
      ))}
      {withSketch && (
        <tr class="shapes">
          <td class="field">{t.shape}</td>
          {[line.beforeId, line.afterId].map((id, side) => (
            <td key={side}>{id !== null && <LazySketch sketches={sketches} kind={line.kind} id={id} />}</td>
          ))}
        </tr>
      )}
    </tbody>
  );
}

function Filters(props: {lines: LineChange[]; shown: Set<Change>; children: ComponentChildren}) {
  const count = (change: Change) => props.lines.filter((line) => line.change === change).length;
  return (
    <div class="row no-print" role="group" aria-label={t.change}>
      {changes.map((change) => (
        <label key={change} class={`filter ${change}`}>
          <input type="checkbox" checked={props.shown.has(change)} onChange={(event) => {
            const next = changes.filter((one) => (one === change ? event.currentTarget.checked : props.shown.has(one)));
            setParams({show: next.length === changes.length ? undefined : next.join(',') || 'none'});
          }} />
          <span class="sign" aria-hidden="true">{kSigns[change]}</span> {number(count(change))} {t[change]}
        </label>
      ))}
      <label>
        <span class="unseen">{t.filter}</span>
        <input type="search" placeholder={t.filter} value={address.value.params['find'] ?? ''}
          onInput={(event) => setParams({find: event.currentTarget.value})} />
      </label>
      {props.children}
    </div>
  );
}

function asCsv(lines: LineChange[]): Blob {
  return csv(['kind', 'mark', 'change', 'field', 'before', 'after'], lines.flatMap((line) =>
    line.fields.map((one): Cell[] => [line.kind, line.mark, line.change, one.field || null, one.before, one.after])));
}

function Lines(props: {file: string; lines: LineChange[]; name: string}) {
  const {params} = address.value;
  const [most, setMost] = useState(kLinesAtATime);
  const [isPrinting, setPrinting] = useState(false);
  const sketches = useMemo(() => new Sketches(props.file), [props.file, props.lines]);
  useEffect(() => () => sketches.close(), [sketches]);
  const shown = new Set(params['show'] === undefined ? changes
    : changes.filter((one) => params['show']?.split(',').includes(one)));
  const found = useMemo(() => props.lines.filter((line) => shown.has(line.change) && says(line, params['find'] ?? '')),
    [props.lines, params['show'], params['find']]);
  const seen = found.slice(0, most);
  const print = async () => {
    setPrinting(true);
    for (const line of seen.filter(hasSketch)) {
      if (line.beforeId !== null) sketches.of(line.kind, line.beforeId);
      if (line.afterId !== null) sketches.of(line.kind, line.afterId);
    }
    await sketches.settled();
    setPrinting(false);
    // The images take their places first.
    setTimeout(() => window.print(), 100);
  };
  return (
    <section>
      <h2>{t.lines}</h2>
      <Filters lines={props.lines} shown={shown}>
        <button type="button" disabled={isPrinting} onClick={print}>{isPrinting ? t.loading : t.print}</button>
        <button type="button" onClick={() => save(asCsv(found), props.name)}>{t.saveCsv}</button>
      </Filters>
      <p class="quiet" role="status">
        {found.length === 0 ? t.noneLeft
          : t.shown.replace('{shown}', number(seen.length)).replace('{all}', number(props.lines.length))}
      </p>
      {seen.length > 0 && (
        <div class="wide" tabIndex={0} role="region" aria-label={t.lines}>
          <table class="lines">
            <thead>
              <tr>
                <th scope="col">{t.change}</th>
                <th scope="col">{t.mark}</th>
                <th scope="col">{t.field}</th>
                <th scope="col" class="value">{t.before}</th>
                <th scope="col" class="value">{t.after}</th>
              </tr>
            </thead>
            {seen.map((line, i) => <LineRows key={`${i} ${line.kind} ${line.mark}`} line={line} sketches={sketches} />)}
          </table>
        </div>
      )}
      {found.length > seen.length && (
        <button type="button" onClick={() => setMost(most + kLinesAtATime)}>{t.more}</button>
      )}
    </section>
  );
}

function Comparison(props: {file: string; sheet: SheetSummary; before: RevisionSummary; after: RevisionSummary}) {
  const {file, sheet, before, after} = props;
  const loaded = useLoaded(
    (signal) => project(file).compare({sheet: sheet.name, before: before.name, after: after.name}, {signal}),
    [file, sheet.id, before.id, after.id]);
  useAnew(loaded.again);
  const lines = useMemo(() => linesOf(loaded.value?.['changes'] ?? []), [loaded.value]);
  if (loaded.failure !== null) return <Failure failure={loaded.failure} onAgain={loaded.again} />;
  if (loaded.value === null || loaded.isLoading) return <Waiting />;
  if (lines.length === 0) {
    return (
      <>
        <Notice kind="done">{t.same}</Notice>
        {before.id === after.id && <p class="quiet">{t.sameRevision}</p>}
      </>
    );
  }
  return (
    <>
      <WeightDifferences tables={loaded.value as Record<string, Row[]>} />
      <Lines file={file} lines={lines} name={fileName([file, sheet.name, before.name, after.name, t.fileWord], 'csv')} />
    </>
  );
}

function Choices(props: {file: string; contents: Contents}) {
  const {params} = address.value;
  const {sheets} = props.contents;
  const sheet = named(sheets, params['sheet'])
    ?? (params['sheet'] === undefined ? sheets.find((one) => one.revisions.length > 1) ?? sheets[0] ?? null : null);
  const revisions = sheet?.revisions ?? [];
  const side = (key: string | undefined, byDefault: RevisionSummary | undefined) =>
    (key === undefined ? byDefault ?? null : named(revisions, key));
  const before = side(params['before'], revisions.at(-2));
  const after = side(params['after'], revisions.at(-1));
  const key = (one: RevisionSummary | null) => (one ? keyOf(one, revisions) : undefined);
  const choose = (one: RevisionSummary | null, other: RevisionSummary | null, isBefore: boolean) => setParams({
    ...(sheet ? {sheet: keyOf(sheet, sheets)} : {}), before: key(isBefore ? one : other), after: key(isBefore ? other : one),
  }, true);
  if (sheets.length === 0) return <Notice>{t.noSheet}</Notice>;
  return (
    <>
      <div class="row choices">
        <SheetChoice sheets={sheets} value={sheet} onChange={(one) => setParams(
          {sheet: one ? keyOf(one, sheets) : undefined, before: undefined, after: undefined}, true)} />
        <Choice label={t.before} all={revisions} value={before} onChange={(one) => choose(one, after, true)} />
        <Choice label={t.after} all={revisions} value={after} onChange={(one) => choose(one, before, false)} />
        <button type="button" disabled={!before || !after} onClick={() => choose(after, before, true)}>{t.swap}</button>
      </div>
      {sheet && before && after ? (
        <>
          <p class="pair">
            <bdi>{shownName(sheet.name)}</bdi>: {t.revisionWord} <bdi>{shownName(before.name)}</bdi>
            {' → '}<bdi>{shownName(after.name)}</bdi>
          </p>
          <Comparison file={props.file} sheet={sheet} before={before} after={after} />
        </>
      ) : sheet && revisions.length < 2 && params['before'] === undefined && params['after'] === undefined
        ? <Notice>{revisions.length === 0 ? t.noRevision : t.oneRevision}</Notice>
        : <Notice kind="error">{t.gone}</Notice>}
    </>
  );
}

/** What has changed between two revisions of a sheet. */
export function Compare(props: {file: string}) {
  const contents = useLoaded((signal) => project(props.file).contents({signal}), [props.file]);
  useAnew(contents.again);
  return (
    <div class="compare">
      <h1>{t.title}</h1>
      {contents.failure !== null && <Failure failure={contents.failure} onAgain={contents.again} />}
      {contents.value ? <Choices file={props.file} contents={contents.value} />
        : contents.failure === null && <Waiting />}
    </div>
  );
}
