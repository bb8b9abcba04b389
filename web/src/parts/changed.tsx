import {Fragment} from 'preact';
import {useEffect, useState} from 'preact/hooks';
import type {Contents, ProjectChange} from 'korvane-client';

import {project} from '../server/server';
import {token} from '../server/session';
import {watch, type News} from '../server/watching';
import {number, words} from '../words/words';
import {showAnew} from './anew';
import {useLoaded} from './loaded';
import './changed.css';

const t = words({
  en: {
    by: 'Changed by', program: 'another program', show: 'Show', missed: 'The project may have changed meanwhile.',
    more: (count: string) => `and ${count} more`, sheet: 'sheet', revision: 'revision', material: 'steel',
    fabric_type: 'fabric type', entry: 'an entry', unnamed: 'without a name',
  },
  de: {
    by: 'Geändert von', program: 'einem anderen Programm', show: 'Zeigen',
    missed: 'Das Projekt kann sich inzwischen geändert haben.',
    more: (count: string) => `und ${count} weitere`, sheet: 'Plan', revision: 'Index', material: 'Stahlsorte',
    fabric_type: 'Mattentyp', entry: 'ein Eintrag', unnamed: 'ohne Namen',
  },
});

/** As many names as are told; of more, their number. */
const kMostNames = 2;

type Entry = NonNullable<ProjectChange['entry']>;

interface Changes {
  /** Who has changed something; null is another program. */
  by: (string | null)[];
  entries: Entry[];
  hasMissed: boolean;
}

const kNothing: Changes = {by: [], entries: [], hasMissed: false};

function withNews(before: Changes, news: News): Changes {
  if (news.kind === 'missed') return {...before, hasMissed: true};
  const {by, entry} = news;
  const isNew = entry !== null && !before.entries.some((one) => one.kind === entry.kind && one.id === entry.id);
  return {
    ...before,
    by: before.by.includes(by) ? before.by : [...before.by, by],
    entries: isNew ? [...before.entries, entry] : before.entries,
  };
}

const kindWords: Record<string, string> = {
  sheet: t.sheet, revision: t.revision, material: t.material, fabric_type: t.fabric_type,
};

/** Null where it is no longer there. */
function nameOf(contents: Contents, {kind, id}: Entry): string | null {
  const lists: Record<string, {id: number; name: string}[]> = {
    sheet: contents.sheets, material: contents.materials, fabric_type: contents.fabric_types,
  };
  const found = lists[kind]?.find((one) => one.id === id);
  if (found) return found.name || t.unnamed;
  if (kind !== 'revision') return null;
  for (const sheet of contents.sheets) {
    const revision = sheet.revisions.find((one) => one.id === id);
    if (revision) return `${sheet.name || t.unnamed} ${revision.name || t.unnamed}`;
  }
  return null;
}

/** "revision 417 a, sheet 418 and 3 more" */
function Entries(props: {entries: Entry[]; contents: Contents | null}) {
  const {entries, contents} = props;
  return (
    <>
      {entries.slice(0, kMostNames).map((one, i) => {
        const name = contents && nameOf(contents, one);
        return (
          <Fragment key={`${one.kind} ${one.id}`}>
            {i > 0 && ', '}{kindWords[one.kind] ?? t.entry}{name !== null && <> <bdi>{name}</bdi></>}
          </Fragment>
        );
      })}
      {entries.length > kMostNames && ` ${t.more(number(entries.length - kMostNames))}`}
    </>
  );
}

function Text(props: {changes: Changes; contents: Contents | null}) {
  const {by, entries, hasMissed} = props.changes;
  if (by.length === 0) return hasMissed ? <>{t.missed}</> : null;
  return (
    <>
      {t.by}{' '}
      {by.slice(0, kMostNames).map((one, i) => (
        <Fragment key={one}>{i > 0 && ', '}<bdi>{one ?? t.program}</bdi></Fragment>
      ))}
      {by.length > kMostNames && ` ${t.more(number(by.length - kMostNames))}`}
      {entries.length > 0 && <>: <Entries entries={entries} contents={props.contents} /></>}
    </>
  );
}

/** What others have changed in the project since it was last shown. */
export function Changed(props: {file: string}) {
  const {file} = props;
  const [changes, setChanges] = useState(kNothing);
  useEffect(() => watch(file, (news) => setChanges((before) => withNews(before, news))), [file, token.value]);
  const asked = changes.entries.slice(0, kMostNames).map(({kind, id}) => `${kind} ${id}`).join();
  const loaded = useLoaded(async (signal) => ({
    asked, contents: asked === '' ? null : await project(file).contents({signal}),
  }), [file, asked]);
  // Said once, with the names.
  const isReady = changes !== kNothing && (loaded.failure !== null || loaded.value?.asked === asked);
  return (
    <div class={`changed no-print ${isReady ? '' : 'empty'}`}>
      <p role="status">{isReady && <Text changes={changes} contents={loaded.value?.contents ?? null} />}</p>
      {isReady && (
        <button type="button" onClick={() => {
          setChanges(kNothing);
          document.getElementById('content')?.focus();
          showAnew();
        }}>{t.show}</button>
      )}
    </div>
  );
}
