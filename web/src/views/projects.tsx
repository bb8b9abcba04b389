// The project files of the server.

import {useEffect, useMemo, useRef, useState} from 'preact/hooks';
import type {ProjectFile} from 'korvane-client';

import {address, href, ofFile, setParams} from '../address';
import {lazily} from '../parts/lazily';
import {useLoaded} from '../parts/loaded';
import {Failure, failureText, Notice, Waiting} from '../parts/notices';
import {readProjects} from '../server/server';
import {may} from '../server/session';
import {bytes, counted, fixed, number, time, words} from '../words/words';
import type {ImportProps} from './import/import_dialog';
import {PickButton, useDrop, useDropGuard, type Picked} from './import/pick';
import './import/pick.css';
import './projects.css';
import {askAgain, drop, summaryOf, want} from './projects/summaries';

const t = words({
  en: {
    title: 'Projects', search: 'Search', make: 'New project …', file: 'File', changed: 'Changed', size: 'Size',
    sheets: 'Sheets', weight: 'Weight, kg', weightHelp: 'of all revisions', again: 'Try again', more: 'Show more',
    count: (n: number) => counted(n, 'project', 'projects'), of: 'of',
    none: 'There is no project yet.', noneMay: 'Make a new one, or drop .abs or .json files here: a project is made of them.',
    noneMayNot: 'Your token does not allow to make one: ask someone who may write, or the administrator of the server.',
    unmatched: 'No project has this in its name.', clear: 'Show all', lacking: (n: number) => `${counted(n, 'mark', 'marks')} without weight`,
  },
  de: {
    title: 'Projekte', search: 'Suchen', make: 'Neues Projekt …', file: 'Datei', changed: 'Geändert', size: 'Größe',
    sheets: 'Pläne', weight: 'Gewicht, kg', weightHelp: 'aller Indizes', again: 'Noch einmal', more: 'Mehr zeigen',
    count: (n: number) => counted(n, 'Projekt', 'Projekte'), of: 'von',
    none: 'Es gibt noch kein Projekt.',
    noneMay: 'Legen Sie eines an, oder legen Sie .abs- oder .json-Dateien hier ab: Daraus wird ein Projekt.',
    noneMayNot: 'Ihr Token erlaubt nicht, eines anzulegen: Fragen Sie jemanden, der schreiben darf, oder die Verwaltung des Servers.',
    unmatched: 'Kein Projekt hat das im Namen.', clear: 'Alle zeigen',
    lacking: (n: number) => `${counted(n, 'Position', 'Positionen')} ohne Gewicht`,
  },
});

const ImportDialog = lazily<ImportProps>(async () => (await import('./import/import_dialog')).ImportDialog);
const NewProject = lazily<{onClose: () => void}>(async () => (await import('./projects/new_project')).NewProject);

type SortKey = 'name' | 'changed' | 'size';
const kColumns: {key: SortKey; title: string; isNumber?: boolean}[] = [
  {key: 'name', title: t.file},
  {key: 'changed', title: t.changed},
  {key: 'size', title: t.size, isNumber: true},
];
/** So many rows at first, and more at each request. */
const kPage = 200;

const collator = new Intl.Collator(navigator.language, {numeric: true, sensitivity: 'base'});

function sorted(projects: ProjectFile[], key: SortKey, isDown: boolean): ProjectFile[] {
  const order = (a: ProjectFile, b: ProjectFile): number =>
    key === 'size' ? a.size - b.size
    : key === 'changed' ? a.changed.localeCompare(b.changed)
    : collator.compare(a.file, b.file);
  const list = [...projects].sort((a, b) => order(a, b) || collator.compare(a.file, b.file));
  return isDown ? list.reverse() : list;
}

function SummaryCells(props: {project: ProjectFile}) {
  const summary = summaryOf(props.project).value;
  if (summary.state === 'waiting') return <><td class="number">…</td><td class="number">…</td></>;
  if (summary.state === 'failed') {
    return (
      <td colSpan={2} class="project-failure">
        <bdi class="server-text">{failureText(summary.failure)}</bdi>{' '}
        <button type="button" onClick={() => askAgain(props.project)}>{t.again}</button>
      </td>
    );
  }
  return (
    <>
      <td class="number">{number(summary.sheets)}</td>
      <td class="number">
        {fixed(summary.kilograms, 1)}
        {summary.withoutWeight > 0 && <span class="lacking">{t.lacking(summary.withoutWeight)}</span>}
      </td>
    </>
  );
}

function Row(props: {project: ProjectFile; onPicked: (picked: Picked, file: string) => void}) {
  const {project} = props;
  const row = useRef<HTMLTableRowElement>(null);
  const {isOver, handlers} = useDrop((picked) => props.onPicked(picked, project.file), may('write'));
  const isAsked = may('read');
  useEffect(() => {
    if (!row.current || !isAsked) return;
    const observer = new IntersectionObserver((entries) => {
      if (entries.at(-1)?.isIntersecting) want(project);
      else drop(project);
    });
    observer.observe(row.current);
    return () => {
      observer.disconnect();
      drop(project);
    };
  }, [project.file, project.changed, project.size, isAsked]);
  return (
    <tr ref={row} class={isOver ? 'drop-place over' : undefined} {...handlers}>
      <th scope="row">{isAsked ? <a href={ofFile(project.file)}><bdi>{project.file}</bdi></a> : <bdi>{project.file}</bdi>}</th>
      <td>{time(project.changed)}</td>
      <td class="number">{bytes(project.size)}</td>
      {isAsked ? <SummaryCells project={project} /> : <><td class="number">–</td><td class="number">–</td></>}
    </tr>
  );
}

function SortHeading(props: {column: (typeof kColumns)[number]}) {
  const {params} = address.value;
  const {key, title, isNumber} = props.column;
  const isThis = (params['sort'] ?? 'name') === key;
  const isDown = params['order'] === 'down';
  const turn = () => setParams({sort: key === 'name' ? undefined : key, order: isThis && !isDown ? 'down' : undefined});
  return (
    <th scope="col" class={isNumber ? 'number' : undefined}
      aria-sort={isThis ? (isDown ? 'descending' : 'ascending') : undefined}>
      <button type="button" class="sort" onClick={turn}>
        {title}<span aria-hidden="true">{isThis ? (isDown ? ' ▼' : ' ▲') : ''}</span>
      </button>
    </th>
  );
}

function Table(props: {projects: ProjectFile[]; onPicked: (picked: Picked, file: string) => void}) {
  const {projects} = props;
  const [shown, setShown] = useState(kPage);
  return (
    <>
      <table class="projects-table">
        <thead>
          <tr>
            {kColumns.map((column) => <SortHeading key={column.key} column={column} />)}
            <th scope="col" class="number">{t.sheets}</th>
            <th scope="col" class="number">{t.weight}<span class="lacking">{t.weightHelp}</span></th>
          </tr>
        </thead>
        <tbody>
          {projects.slice(0, shown).map((project) => <Row key={project.file} project={project} onPicked={props.onPicked} />)}
        </tbody>
      </table>
      {projects.length > shown && (
        <button type="button" onClick={() => setShown(shown + kPage)}>
          {t.more} ({number(projects.length - shown)})
        </button>
      )}
    </>
  );
}

function Tools(props: {onMake: () => void; onPicked: (picked: Picked) => void; shown: number; all: number}) {
  const {shown, all} = props;
  return (
    <div class="row">
      <label>{t.search}
        <input type="search" value={address.value.params['find'] ?? ''}
          onInput={(event) => setParams({find: event.currentTarget.value})} />
      </label>
      <span class="quiet" role="status">{shown === all ? t.count(all) : `${number(shown)} ${t.of} ${t.count(all)}`}</span>
      {may('write') && (
        <span class="row projects-write">
          <button type="button" onClick={props.onMake}>{t.make}</button>
          <PickButton onPicked={props.onPicked} />
        </span>
      )}
    </div>
  );
}

export function Projects() {
  const known = useLoaded(readProjects, []);
  const [isMaking, setMaking] = useState(false);
  const [coming, setComing] = useState<{picked: Picked; file?: string} | null>(null);
  const {isOver, handlers} = useDrop((picked) => setComing({picked}), may('write'));
  useDropGuard();
  const {find = '', sort = 'name', order} = address.value.params;
  const shown = useMemo(() => {
    const wanted = find.toLocaleLowerCase();
    const found = (known.value ?? []).filter((one) => one.file.toLocaleLowerCase().includes(wanted));
    return sorted(found, sort as SortKey, order === 'down');
  }, [known.value, find, sort, order]);
  const all = known.value?.length ?? 0;
  return (
    <section class={`projects drop-place ${isOver ? 'over' : ''}`} {...handlers}>
      <h1>{t.title}</h1>
      {known.failure !== null && <Failure failure={known.failure} onAgain={known.again} />}
      {known.value === null ? known.isLoading && <Waiting /> : (
        <>
          <Tools shown={shown.length} all={all} onMake={() => setMaking(true)} onPicked={(picked) => setComing({picked})} />
          {all === 0 ? <Notice><p><strong>{t.none}</strong></p><p>{may('write') ? t.noneMay : t.noneMayNot}</p></Notice>
            : shown.length === 0 ? <Notice>{t.unmatched} <a class="button" href={href([])}>{t.clear}</a></Notice>
            : <Table projects={shown} onPicked={(picked, file) => setComing({picked, file})} />}
        </>
      )}
      {isMaking && <NewProject onClose={() => setMaking(false)} />}
      {coming && <ImportDialog {...coming} onStored={known.again} onClose={() => setComing(null)} />}
    </section>
  );
}
