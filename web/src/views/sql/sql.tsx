import {useEffect, useMemo, useRef, useState} from 'preact/hooks';
import {ServerError, type QueryReply} from 'korvane-client';

import {address, setParams} from '../../address';
import {fileName} from '../../parts/choice';
import {csv} from '../../parts/csv';
import {sampledWidth} from '../../parts/grid/columns';
import {Grid, type GridColumn} from '../../parts/grid/grid';
import {useAnew} from '../../parts/anew';
import {useLoaded} from '../../parts/loaded';
import {failureText, Notice, Waiting} from '../../parts/notices';
import {save} from '../../parts/save';
import {project} from '../../server/server';
import {counted, number} from '../../words/words';
import {Editor} from './editor';
import {examplesFor} from './examples';
import {queriesRun, remember} from './history';
import {withNumbers, type ShownReply} from './numbers';
import {lineAndColumn, placeOf, type Place} from './place';
import {readSchema, type Schema} from './schema';
import {t} from './words';
import './sql.css';

const kNoSchema: Schema = {relations: [], texts: new Set()};

type State =
  | {kind: 'idle'}
  | {kind: 'running'; stop: () => void}
  | {kind: 'stopped'}
  | {kind: 'failed'; query: string; failure: unknown}
  | {kind: 'done'; reply: QueryReply; milliseconds: number};

/** Runs one query at a time: another one ends it, and so does leaving the view. */
function useQuery(file: string) {
  const [state, setState] = useState<State>({kind: 'idle'});
  const running = useRef<AbortController | null>(null);
  useEffect(() => () => running.current?.abort(), []);
  const run = async (query: string) => {
    running.current?.abort();
    const controller = new AbortController();
    running.current = controller;
    setState({kind: 'running', stop: () => controller.abort()});
    const start = performance.now();
    try {
      const reply = await project(file).query(query, {signal: controller.signal});
      if (running.current === controller) setState({kind: 'done', reply, milliseconds: performance.now() - start});
    } catch (failure) {
      if (running.current !== controller) return;
      setState(controller.signal.aborted ? {kind: 'stopped'} : {kind: 'failed', query, failure});
    }
  };
  return {state, run};
}

function placeIn(state: State, text: string): Place | null {
  return state.kind === 'failed' && state.query === text ? placeOf(failureText(state.failure), text) : null;
}

function Refusal(props: {failure: unknown; query: string; place: Place | null}) {
  const isOfBytes = props.failure instanceof ServerError && props.failure.status === 406;
  const isOfTruth = failureText(props.failure).includes('unsupported return type');
  const at = props.place && lineAndColumn(props.query, props.place.from);
  return (
    <Notice kind="error">
      <span class="server-text">{failureText(props.failure)}</span>
      {at && <p>{t.where.replace('{line}', number(at.line)).replace('{column}', number(at.column))}</p>}
      {isOfBytes && <p>{t.bytes}</p>}
      {isOfTruth && <p>{t.truth}</p>}
    </Notice>
  );
}

/** Objects by the columns' names; a name that stands twice gets a number. */
function asJson(shown: ShownReply): Blob {
  const names: string[] = [];
  for (const column of shown.columns) {
    let name = column.name;
    for (let n = 2; names.includes(name); ++n) name = `${column.name}_${n}`;
    names.push(name);
  }
  const lines = shown.rows.map((row) =>
    JSON.stringify(Object.fromEntries(names.map((name, c) => [name, row[c] ?? null]))));
  return new Blob([`[\n${lines.join(',\n')}\n]\n`], {type: 'application/json'});
}

function Result(props: {file: string; reply: QueryReply; milliseconds: number; texts: ReadonlySet<string>}) {
  const {reply, texts} = props;
  const shown = useMemo(() => withNumbers(reply, texts), [reply, texts]);
  const columns = useMemo(() => shown.columns.map((column, c): GridColumn => {
    const made: GridColumn = {
      name: `${c} ${column.name}`, title: column.name, kind: column.kind, decimals: 12, ifNone: 'NULL', ifEmpty: '',
    };
    // Names of columns are all that says what a result is: they are seen whole.
    return {...made, width: Math.max(sampledWidth(made, c, shown.rows), Math.min(column.name.length, 40) * 9 + 40)};
  }), [shown]);
  const counts = counted(shown.rows.length, t.row, t.rows);
  if (shown.columns.length === 0) return <Notice>{t.noColumns}</Notice>;
  return (
    <section class="result" aria-label={t.result}>
      <div class="row">
        <span role="status">
          {t.took.replace('{count}', counts).replace('{time}', number(props.milliseconds, 0))}
        </span>
        <button type="button" onClick={() => save(csv(shown.columns.map((one) => one.name), shown.rows),
          fileName([props.file, t.fileWord], 'csv'))}>{t.saveCsv}</button>
        <button type="button" onClick={() => save(asJson(shown), fileName([props.file, t.fileWord], 'json'))}>
          {t.saveJson}
        </button>
      </div>
      {reply.cutAfter !== null && <Notice>{t.cut.replace('{count}', number(reply.cutAfter))}</Notice>}
      <div class="result-grid">
        <Grid label={t.result} columns={columns} rows={shown.rows} hasBoxes={false} />
      </div>
    </section>
  );
}

function Relations(props: {schema: Schema}) {
  if (props.schema.relations.length === 0) return null;
  return (
    <details class="relations no-print">
      <summary>{t.tables}</summary>
      <dl>
        {props.schema.relations.map((relation) => (
          <div key={relation.name}>
            <dt><bdi>{relation.name}</bdi> <span class="quiet">{relation.isView ? t.view : t.table}</span></dt>
            <dd><bdi>{relation.columns.join(', ')}</bdi></dd>
          </div>
        ))}
      </dl>
    </details>
  );
}

/** A choice that puts a query into the editor. */
function Starts(props: {label: string; queries: {title: string; query: string}[]; onChoose: (query: string) => void}) {
  if (props.queries.length === 0) return null;
  return (
    <label>
      <span>{props.label}</span>
      <select class="choice" value="" onChange={(event) => {
        const chosen = props.queries[Number(event.currentTarget.value)];
        event.currentTarget.value = '';
        if (chosen) props.onChoose(chosen.query);
      }}>
        <option value="">{t.choose}</option>
        {props.queries.map((one, i) => <option key={i} value={i}>{one.title}</option>)}
      </select>
    </label>
  );
}

function shortened(query: string): string {
  const line = query.replace(/\s+/g, ' ').trim();
  return line.length > 70 ? line.slice(0, 70) + '…' : line;
}

/** Asks the project by SQL. The query stands in the address, where it can only read. */
export function Sql(props: {file: string}) {
  const {file} = props;
  const asked = address.value.params['query'] ?? '';
  const [given, setGiven] = useState({text: asked});
  const [text, setText] = useState(asked);
  const [past, setPast] = useState(() => queriesRun(file));
  const {state, run} = useQuery(file);
  const loaded = useLoaded((signal) => readSchema(file, signal), [file]);
  useAnew(() => {
    loaded.again();
    if (state.kind === 'done' && ran.current !== null) void run(ran.current);
  });
  const schema = loaded.value ?? kNoSchema;
  const examples = useMemo(() => examplesFor(schema), [schema]);
  const place = useMemo(() => placeIn(state, text), [state, text]);
  const ran = useRef<string | null>(null);
  const show = (query: string) => {
    setGiven({text: query});
    setText(query);
  };
  const start = (query: string) => {
    if (query.trim() === '') return;
    ran.current = query;
    setPast(remember(file, query));
    setParams({query}, true);
    void run(query);
  };
  // A query of an address that was sent, or that "back" has come to.
  useEffect(() => {
    if (asked === '' || asked === ran.current) return;
    show(asked);
    start(asked);
  }, [asked]);
  return (
    <div class="sql">
      <h1>{t.title}</h1>
      <div class="row no-print">
        <Starts label={t.examples} queries={examples} onChoose={show} />
        <Starts label={t.history} queries={past.map((query) => ({title: shortened(query), query}))} onChoose={show} />
      </div>
      <Editor label={t.label} hint={t.hint} given={given} schema={schema} place={place} onChange={setText}
        onRun={() => start(text)} />
      <div class="row no-print">
        <button type="button" class="main" disabled={text.trim() === ''} onClick={() => start(text)}
          aria-keyshortcuts="Control+Enter">{t.run}</button>
        {state.kind === 'running' && <button type="button" onClick={state.stop}>{t.stop}</button>}
        <span class="quiet">{t.runKeys}. {t.readOnly}</span>
      </div>
      <Relations schema={schema} />
      {state.kind === 'running' && <Waiting text={t.running} />}
      {state.kind === 'stopped' && <Notice>{t.stopped}</Notice>}
      {state.kind === 'failed' && <Refusal failure={state.failure} query={state.query} place={place} />}
      {state.kind === 'done' && (
        <Result file={file} reply={state.reply} milliseconds={state.milliseconds} texts={schema.texts} />
      )}
    </div>
  );
}
