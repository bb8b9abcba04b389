import type {ComponentChildren} from 'preact';
import {useEffect, useRef, useState} from 'preact/hooks';
import {kinds, type Contents, type RevisionSummary, type SheetSummary} from 'korvane-client';

import {address, setParams} from '../../address';
import {Choice, fileName, keyOf, named, selection, SheetChoice} from '../../parts/choice';
import {useAnew} from '../../parts/anew';
import {useLoaded} from '../../parts/loaded';
import {Failure, Notice, Waiting} from '../../parts/notices';
import {save} from '../../parts/save';
import {project} from '../../server/server';
import {bytes, number} from '../../words/words';
import {extensionOf, formats, isOfPages, make, type Format, type Made} from './formats';
import {HtmlPages, PdfPages} from './pages';
import {t} from './words';
import './paper.css';

/** More marks are not laid out unless asked for. */
const kMarksAtOnce = 3000;

function chosenFormat(): Format {
  const {format} = address.value.params;
  return formats.find((one) => one === format) ?? 'html';
}

function chosenKind() {
  return kinds.find((one) => one === address.value.params['kind']) ?? 'bars';
}

interface Chosen {
  file: string;
  sheet: SheetSummary | null;
  revision: RevisionSummary | null;
  format: Format;
}

function nameOf(chosen: Chosen): string {
  const {file, sheet, revision, format} = chosen;
  const last = isOfPages(format) ? t.file : format === 'csv' ? t[chosenKind()].toLocaleLowerCase() : null;
  return fileName([file, sheet?.name, revision?.name, last], extensionOf(format));
}

type State =
  | {kind: 'idle'}
  | {kind: 'making'; stop: () => void}
  | {kind: 'failed'; failure: unknown}
  | {kind: 'saved'; name: string; size: number; leftOut: string[]};

function LeftOut(props: {lines: string[]}) {
  if (props.lines.length === 0) return null;
  return (
    <Notice>
      {t.leftOut}
      <ul class="server-text">{props.lines.map((line, i) => <li key={i}><bdi>{line}</bdi></li>)}</ul>
    </Notice>
  );
}

/** Makes the file anew, or saves what is shown already. */
function Saving(props: {chosen: Chosen; shown: Made | null; children?: ComponentChildren}) {
  const {chosen, shown} = props;
  const [state, setState] = useState<State>({kind: 'idle'});
  const running = useRef<AbortController | null>(null);
  useEffect(() => () => running.current?.abort(), []);
  const keep = (made: Made) => {
    const name = nameOf(chosen);
    save(made.content, name);
    setState({kind: 'saved', name, size: made.content.size, leftOut: made.leftOut});
  };
  const start = async () => {
    if (shown) return keep(shown);
    const controller = new AbortController();
    running.current = controller;
    setState({kind: 'making', stop: () => {
      controller.abort();
      setState({kind: 'idle'});
    }});
    try {
      keep(await make(chosen.file, chosen.format, selection(chosen.sheet, chosen.revision),
        {kind: chosenKind(), leavesOut: address.value.params['leave_out'] !== undefined}, controller.signal));
    } catch (failure) {
      if (!controller.signal.aborted) setState({kind: 'failed', failure});
    }
  };
  return (
    <>
      <div class="row no-print">
        {props.children}
        <button type="button" class={chosen.format === 'html' ? '' : 'main'} disabled={state.kind === 'making'}
          onClick={start}>{t.save}</button>
        <span class="quiet file-name"><bdi>{nameOf(chosen)}</bdi></span>
        {state.kind === 'making' && <button type="button" onClick={state.stop}>{t.stop}</button>}
      </div>
      {state.kind === 'making' && <Waiting text={t.saving} />}
      {state.kind === 'failed' && <Failure failure={state.failure} />}
      {state.kind === 'saved' && (
        <>
          <Notice kind="done">{t.saved.replace('{name}', state.name).replace('{size}', bytes(state.size))}</Notice>
          <LeftOut lines={state.leftOut} />
        </>
      )}
    </>
  );
}

function Options(props: {format: Format}) {
  if (props.format === 'csv') {
    return (
      <div class="row">
        <label>
          <span>{t.kind}</span>
          <select value={chosenKind()} onChange={(event) => setParams({kind: event.currentTarget.value})}>
            {kinds.map((one) => <option key={one} value={one}>{t[one]}</option>)}
          </select>
        </label>
      </div>
    );
  }
  if (props.format !== 'bvbs') return null;
  return (
    <div class="row">
      <label>
        <input type="checkbox" checked={address.value.params['leave_out'] !== undefined}
          onChange={(event) => setParams({leave_out: event.currentTarget.checked ? 1 : undefined})} />
        <span>{t.leaveOut}</span>
      </label>
    </div>
  );
}

function marksOf(contents: Contents, chosen: Chosen): number {
  const revisions = chosen.revision ? [chosen.revision]
    : (chosen.sheet ? [chosen.sheet] : contents.sheets).flatMap((sheet) => sheet.revisions);
  return revisions.reduce((sum, revision) => sum + revision.marks, 0);
}

function Pages(props: {chosen: Chosen}) {
  const {chosen} = props;
  const {format} = chosen;
  const [frame, setFrame] = useState<HTMLIFrameElement | null>(null);
  const loaded = useLoaded((signal) => make(chosen.file, format, selection(chosen.sheet, chosen.revision),
    {kind: 'bars', leavesOut: false}, signal), []);
  useAnew(loaded.again);
  const title = t.preview.replace('{what}', [chosen.file, chosen.sheet?.name, chosen.revision?.name]
    .filter((one) => one !== undefined && one !== '').join(', '));
  if (loaded.failure !== null) return <Failure failure={loaded.failure} onAgain={loaded.again} />;
  if (!loaded.value) return <Waiting text={t.saving} />;
  return (
    <>
      <Saving chosen={chosen} shown={loaded.value}>
        {format === 'html' && (
          <button type="button" class="main" disabled={frame === null}
            onClick={() => frame?.contentWindow?.print()}>{t.print}</button>
        )}
      </Saving>
      {format === 'html' ? <HtmlPages content={loaded.value.content} title={title} onShown={setFrame} />
        : <PdfPages content={loaded.value.content} title={title} />}
    </>
  );
}

function Panel(props: {contents: Contents; chosen: Chosen}) {
  const {chosen} = props;
  const marks = marksOf(props.contents, chosen);
  const [wanted, setWanted] = useState(marks <= kMarksAtOnce);
  if (!isOfPages(chosen.format)) {
    return (
      <>
        <Options format={chosen.format} />
        <Saving key={`${chosenKind()} ${address.value.params['leave_out'] ?? ''}`} chosen={chosen} shown={null} />
      </>
    );
  }
  if (wanted) return <Pages chosen={chosen} />;
  return (
    <>
      <p>{t.large.replace('{marks}', number(marks))}</p>
      <button type="button" onClick={() => setWanted(true)}>{t.show}</button>
      <Saving chosen={chosen} shown={null} />
    </>
  );
}

function Choices(props: {file: string; contents: Contents}) {
  const {params} = address.value;
  const {sheets} = props.contents;
  const sheet = named(sheets, params['sheet']);
  const revision = sheet ? named(sheet.revisions, params['revision']) : null;
  const isGone = (params['sheet'] !== undefined && !sheet) || (params['revision'] !== undefined && !revision);
  const format = chosenFormat();
  if (sheets.length === 0) return <Notice>{t.empty}</Notice>;
  return (
    <>
      <div class="row choices no-print">
        <SheetChoice sheets={sheets} value={sheet} none={t.allSheets}
          onChange={(one) => setParams({sheet: one ? keyOf(one, sheets) : undefined, revision: undefined}, true)} />
        {sheet && (
          <Choice label={t.revision} all={sheet.revisions} value={revision} none={t.allRevisions}
            onChange={(one) => setParams({revision: one ? keyOf(one, sheet.revisions) : undefined}, true)} />
        )}
      </div>
      {isGone && <Notice>{t.gone}</Notice>}
      <fieldset class="formats no-print">
        <legend>{t.what}</legend>
        {formats.map((one) => (
          <label key={one}>
            <input type="radio" name="format" value={one} checked={one === format}
              onChange={() => setParams({format: one})} />
            <span><strong>{t.formats[one].title}</strong> <span class="quiet">{t.formats[one].purpose}</span></span>
          </label>
        ))}
      </fieldset>
      <section class="panel" aria-label={t.formats[format].title}>
        <Panel key={`${sheet?.id} ${revision?.id} ${format}`} contents={props.contents}
          chosen={{file: props.file, sheet, revision, format}} />
      </section>
    </>
  );
}

/** The bending list, and what other programs take. */
export function Paper(props: {file: string}) {
  const contents = useLoaded((signal) => project(props.file).contents({signal}), [props.file]);
  useAnew(contents.again);
  return (
    <div class="paper">
      <h1 class="no-print">{t.title}</h1>
      {contents.failure !== null && <Failure failure={contents.failure} onAgain={contents.again} />}
      {contents.value ? <Choices file={props.file} contents={contents.value} />
        : contents.failure === null && <Waiting />}
    </div>
  );
}
