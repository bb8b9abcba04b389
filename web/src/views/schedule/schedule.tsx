import {useEffect, useMemo, useRef, useState} from 'preact/hooks';
import {kinds, type Contents, type Kind, type RevisionSummary, type SheetSummary} from 'korvane-client';

import {address, go, ofFile, setParams} from '../../address';
import {Grid, type GridColumn, type GridState} from '../../parts/grid/grid';
import {Failure, Notice, Waiting} from '../../parts/notices';
import {useAnew} from '../../parts/anew';
import {useLoaded} from '../../parts/loaded';
import {project} from '../../server/server';
import {number} from '../../words/words';
import {Chooser} from './chooser';
import {titleOf} from './column_words';
import {hasChanges, type Draft} from './draft';
import {kindColumns, neededColumns} from './kinds';
import {mayLeave, useLeaving} from './leaving';
import {useLines} from './lines';
import {Panel} from './panel';
import {SketchCache, SketchCell} from './sketches';
import {totalsOf, TotalsText} from './totals';
import {t} from './words';
import './schedule.css';

/** Lines that are named one by one. */
const kNamed = 10;

/** The lines of a revision, and all of the one that is picked. */
export function Schedule(props: {file: string; revisionId: number; kind: string}) {
  const {file, revisionId} = props;
  const kind: Kind = kinds.find((one) => one === props.kind) ?? 'bars';
  const contents = useLoaded((signal) => project(file).contents({signal}), [file]);
  useAnew(contents.again);
  if (!contents.value) return contents.failure === null ? <Waiting /> : <Failure failure={contents.failure} onAgain={contents.again} />;
  const sheet = contents.value.sheets.find((one) => one.revisions.some((revision) => revision.id === revisionId));
  const revision = sheet?.revisions.find((one) => one.id === revisionId);
  if (!sheet || !revision) return <Notice kind="error">{t.noRevision}</Notice>;
  return (
    <div class="schedule">
      <Heading file={file} sheet={sheet} revision={revision} kind={kind} />
      <Lines key={`${revisionId} ${kind}`} file={file} revisionId={revisionId} kind={kind} contents={contents.value}
        onStored={contents.again} />
    </div>
  );
}

function Heading(props: {file: string; sheet: SheetSummary; revision: RevisionSummary; kind: Kind}) {
  const {file, sheet, revision, kind} = props;
  return (
    <div class="schedule-head">
      <h1>{t.sheet} <bdi>{sheet.name || t.unnamed}</bdi></h1>
      <label class="schedule-revision">{t.revision}
        <select value={revision.id} onChange={(event) => {
          go(ofFile(file, ['schedule', event.currentTarget.value, kind]));
          event.currentTarget.value = String(revision.id);
        }}>
          {sheet.revisions.map((one) => <option key={one.id} value={one.id}>{one.name || t.unnamed}</option>)}
        </select>
      </label>
      <nav class="tabs" aria-label={t.kindsLabel}>
        {kinds.map((one) => (
          <a key={one} href={ofFile(file, ['schedule', revision.id, one])} aria-current={one === kind ? 'page' : undefined}>
            {t.kinds[one]} <span class="count">{number(revision[one])}</span></a>
        ))}
      </nav>
    </div>
  );
}

interface LinesProps {
  file: string;
  revisionId: number;
  kind: Kind;
  contents: Contents;
  onStored: () => void;
}

function Lines(props: LinesProps) {
  const {file, revisionId, kind} = props;
  const {params} = address.value;
  const usual = kindColumns[kind].shown;
  const [isChoosing, setIsChoosing] = useState(false);
  const wantsAll = isChoosing || params['columns'] !== undefined || params['group'] !== undefined;
  const all = useLoaded(async (signal) => (wantsAll
    ? (await project(file).linesPage({revision_id: revisionId, kind, limit: 1}, {signal})).columns : null), [wantsAll]);
  const shown = useMemo(() => {
    const wanted = params['columns']?.split(',') ?? usual;
    const names = params['group'] && !wanted.includes(params['group']) ? [...wanted, params['group']] : wanted;
    // Of an address that somebody has typed, or of another version.
    return all.value ? names.filter((name) => all.value!.some((column) => column.name === name)) : names;
  }, [params['columns'], params['group'], all.value]);
  const isReady = !wantsAll || all.value !== null;
  const lines = useLines({file, revisionId, kind}, isReady || isChoosing ? neededColumns(kind, shown) : null);
  const names = lines.columns.map((column) => column.name);

  const [version, setVersion] = useState(0);
  const cache = useMemo(() => new SketchCache(file, kind), [file, kind, version]);
  useEffect(() => () => cache.stop(), [cache]);
  const ids = useRef(lines.ids);
  ids.current = lines.ids;
  const columns = useMemo(
    () => gridColumns(kind, shown, lines.columns, (row) => <SketchCell cache={cache} id={ids.current[row] ?? 0} />),
    [kind, shown.join(), names.join(), cache]);

  const [order, setOrder] = useState<readonly number[]>([]);
  const [selection, setSelection] = useState<ReadonlySet<number>>(new Set());
  const state = stateOf(params);
  const onState = (next: GridState) => setParams(paramsOf(params, next));
  const picked = usePicked(props, lines, () => setVersion((n) => n + 1));

  const totals = useMemo(
    () => totalsOf(kind, names, lines.rows, selection.size > 0 ? selection : order), [lines.rows, order, selection]);
  if (lines.failure !== null && lines.rows.length === 0) return <Failure failure={lines.failure} onAgain={lines.again} />;
  return (
    <div class="schedule-lines" onKeyDown={(event) => {
      if (event.key === 'Escape' && !event.defaultPrevented && picked.id !== null && !isChoosing) picked.close();
    }}>
      <div class="schedule-tools no-print">
        <label>{t.group}
          <select value={state.group} onChange={(event) => onState({...state, group: event.currentTarget.value})}>
            <option value="">{t.noGroup}</option>
            {[...new Set([...kindColumns[kind].groups, ...(state.group ? [state.group] : [])])].map((name) => (
              <option key={name} value={name}>{titleOf({name, title: titles(lines.columns, name)})}</option>
            ))}
          </select>
        </label>
        <button type="button" onClick={() => setIsChoosing(true)}>{t.columns} …</button>
        <span class="quiet" role="status">
          {lines.isLoading && lines.count > 0 && t.loading(number(lines.rows.length), number(lines.count))}</span>
      </div>
      {lines.failure !== null && <Failure failure={lines.failure} onAgain={lines.again} />}
      {lines.damaged.length > 0 && <Notice kind="error">{t.damaged(number(lines.damaged.length), lines.damaged.slice(0, kNamed).join(', ') + (lines.damaged.length > kNamed ? ', …' : ''))}</Notice>}
      {lines.columns.length === 0 ? <Waiting /> : (
        <div class="schedule-body">
          <Grid label={t.kinds[kind]} columns={columns} rows={lines.rows} rowHeight={kindColumns[kind].hasSketch ? 48 : 44}
            state={state} onState={onState} selection={selection} onSelection={setSelection} onShown={setOrder}
            current={picked.index} onCurrent={(row) => picked.pick(lines.ids[row]!)}
            onSeen={(rows) => kindColumns[kind].hasSketch && cache.see(rows.map((row) => lines.ids[row]!))}
            summary={(rows) => <TotalsText totals={totalsOf(kind, names, lines.rows, rows)} />}
            foot={<>
              <span class="quiet">{selection.size > 0 ? t.selected : order.length < lines.rows.length ? t.shown : t.all}:</span>
              <TotalsText totals={totals} withLines onLacking={kindColumns[kind].mass === undefined ? undefined : () =>
                onState({...state, filters: {...state.filters, [kindColumns[kind].mass!]: '='}})} />
            </>} />
          {picked.id !== null && (
            <Panel file={file} kind={kind} id={picked.id} round={picked.round} draft={picked.draft} onDraft={picked.setDraft}
              steels={props.contents.materials.map((one) => one.name)} isStale={picked.isStale}
              onClose={picked.close} onStored={picked.stored} onChanged={picked.changed} />
          )}
          {picked.isGone && <Notice kind="error">{t.gone}</Notice>}
        </div>
      )}
      {isChoosing && <Chooser all={all.value} shown={shown} usual={usual} onClose={() => setIsChoosing(false)}
        onShown={(next) => setParams({columns: next.join() === usual.join() ? '' : next.join()})} />}
    </div>
  );
}

/** The line that the panel shows, with what one has typed into it: it lasts while the line is loaded anew, and
 * is found again under the id that it has then. */
function usePicked(props: LinesProps, lines: ReturnType<typeof useLines>, onOther: () => void) {
  const typed = Number(address.value.params['line']);
  const id = Number.isInteger(typed) && typed > 0 ? typed : null;
  const index = useMemo(() => (id === null ? -1 : lines.ids.indexOf(id)), [id, lines.ids]);
  const [draft, setDraft] = useState<Draft | null>(null);
  const [round, setRound] = useState(0);
  const [isStale, setIsStale] = useState(false);
  const [isGone, setIsGone] = useState(false);
  const [sought, setSought] = useState<{index: number; mark: unknown; ids: number[]} | null>(null);
  const isUnsaved = draft !== null && hasChanges(draft);
  useLeaving(isUnsaved);
  const changeDraft = (next: Draft | null) => {
    setDraft(next);
    if (next === null) setIsStale(false);
  };
  const show = (next: number | null) => {
    setIsGone(false);
    setParams({line: next ?? ''});
  };
  const leaveFor = (next: number | null) => {
    if (next === id || !mayLeave(isUnsaved)) return;
    changeDraft(null);
    show(next);
  };
  const markAt = lines.columns.findIndex((column) => column.name === 'label');
  useEffect(() => {
    if (!sought || lines.isLoading || lines.ids === sought.ids) return;
    const at = lines.rows[sought.index]?.[markAt] === sought.mark
      ? sought.index : lines.rows.findIndex((row) => row[markAt] === sought.mark);
    setSought(null);
    const found = lines.ids[at];
    // What an edit stores has other ids.
    if (draft !== null && lines.ids.some((one, i) => one !== sought.ids[i])) setIsStale(true);
    setIsGone(found === undefined);
    if (found !== undefined) setParams({line: found});
    setRound((n) => n + 1);
    onOther();
  }, [sought, lines.isLoading, lines.ids]);
  const seekAgain = () => setSought({index, mark: lines.rows[index]?.[markAt], ids: lines.ids});
  useAnew(() => {
    if (index >= 0) seekAgain();
    else onOther();
    lines.again();
  });
  return {
    id, index: index < 0 ? null : index, round, draft, isStale, isGone, setDraft: changeDraft,
    pick: (next: number) => leaveFor(next),
    close: () => {
      leaveFor(null);
      document.querySelector<HTMLElement>('.grid-row > [tabindex="0"]')?.focus({preventScroll: true});
    },
    stored: (edited: {id: number}) => {
      changeDraft(null);
      show(edited.id);
      setRound((n) => n + 1);
      onOther();
      lines.again();
      props.onStored();
    },
    changed: () => {
      setIsStale(true);
      seekAgain();
      lines.again();
      props.onStored();
    },
  };
}

function titles(columns: readonly {name: string; title: string}[], name: string): string {
  return columns.find((column) => column.name === name)?.title ?? name.replaceAll('_', ' ');
}

const kSketchWidth = 172;

/** Those that are shown and there, the sketch after the mark. */
function gridColumns(
  kind: Kind, shown: readonly string[], loaded: ReturnType<typeof useLines>['columns'], sketch: NonNullable<GridColumn['render']>) {
  const columns: GridColumn[] = [];
  for (const name of shown) {
    const at = loaded.findIndex((column) => column.name === name);
    const column = loaded[at];
    if (!column) continue;
    columns.push({
      name, title: titleOf(column), kind: column.kind, unit: column.unit, decimals: column.decimals, at,
      ...(name === kindColumns[kind].mass ? {ifNone: t.unknown} : {}),
    });
  }
  if (kindColumns[kind].hasSketch) {
    columns.splice(1, 0, {name: 'sketch', title: t.sketch, kind: 'text', width: kSketchWidth, render: sketch});
  }
  return columns;
}

// In the address: sort=-length, group=steel, and each filter as f.length=>1000.

function stateOf(params: Record<string, string>): GridState {
  const filters = Object.entries(params).filter(([name]) => name.startsWith('f.')).map(([name, text]) => [name.slice(2), text]);
  return {sort: params['sort'] ?? '', group: params['group'] ?? '', filters: Object.fromEntries(filters) as Record<string, string>};
}

function paramsOf(before: Record<string, string>, state: GridState): Record<string, string> {
  const gone = Object.keys(before).filter((name) => name.startsWith('f.')).map((name) => [name, '']);
  const filters = Object.entries(state.filters).map(([name, text]) => ['f.' + name, text]);
  return {...Object.fromEntries(gone), ...Object.fromEntries(filters), sort: state.sort, group: state.group};
}
