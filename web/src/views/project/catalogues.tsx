// Steels and fabric types: all their fields, and which revisions use them.

import {useMemo, useState} from 'preact/hooks';
import type {CatalogueEntry, Contents, Kind, Use} from 'korvane-client';

import {ofFile} from '../../address';
import {RecordView} from '../../parts/record';
import {number} from '../../words/words';
import {t} from './project_words';

const kShown = 50;

type Names = Map<number, {sheet: string; revision: string}>;

function namesOf(contents: Contents): Names {
  return new Map(contents.sheets.flatMap((sheet) => sheet.revisions.map((revision) =>
    [revision.id, {sheet: sheet.name || t.unnamed, revision: revision.name || t.unnamed}] as const)));
}

function Uses(props: {file: string; kind: Kind; uses: Use[]; names: Names}) {
  const [isWhole, setWhole] = useState(false);
  const {uses} = props;
  return (
    <>
      <h3>{t.usedBy}</h3>
      <ul class="uses">
        {(isWhole ? uses : uses.slice(0, kShown)).map((use) => {
          const name = props.names.get(use.revision_id);
          return (
            <li key={use.revision_id}>
              {name ? (
                <a href={ofFile(props.file, ['schedule', use.revision_id, props.kind])}>
                  {t.sheet} <bdi class="one-line">{name.sheet}</bdi>, {t.revision} <bdi class="one-line">{name.revision}</bdi>
                </a>
              ) : <span>{t.gone} ({use.revision_id})</span>}
              <span class="quiet">{t.count.lines(use.lines)}</span>
            </li>
          );
        })}
      </ul>
      {!isWhole && uses.length > kShown && (
        <button type="button" onClick={() => setWhole(true)}>{t.more} ({number(uses.length)})</button>
      )}
    </>
  );
}

function Entry(props: {file: string; kind: Kind; entry: CatalogueEntry; names: Names}) {
  const {entry} = props;
  const [isOpen, setOpen] = useState(false);
  const lines = entry.uses.reduce((sum, use) => sum + use.lines, 0);
  return (
    <details class="catalogue-entry" onToggle={(event) => setOpen(event.currentTarget.open)}>
      <summary>
        <bdi class="two-lines catalogue-name">{entry.name || t.unnamed}</bdi>
        <span class={entry.uses.length > 0 ? 'quiet' : 'unused'}>
          {entry.uses.length > 0
            ? t.uses(t.count.lines(lines), t.count.revisions(entry.uses.length)) : t.unused}
        </span>
      </summary>
      {isOpen && (
        <div class="catalogue-body">
          <RecordView value={entry.record} />
          {entry.uses.length > 0 && <Uses file={props.file} kind={props.kind} uses={entry.uses} names={props.names} />}
        </div>
      )}
    </details>
  );
}

export function Catalogues(props: {file: string; contents: Contents}) {
  const {file, contents} = props;
  const names = useMemo(() => namesOf(contents), [contents]);
  const groups: {title: string; kind: Kind; entries: CatalogueEntry[]}[] = [
    {title: t.steels, kind: 'bars', entries: contents.materials},
    {title: t.fabricTypes, kind: 'fabrics', entries: contents.fabric_types},
  ];
  return (
    <>
      {groups.map(({title, kind, entries}) => (
        <section key={title} class="catalogue">
          <h2>{title} ({number(entries.length)})</h2>
          {entries.length === 0 && <p class="quiet">{t.none}</p>}
          {entries.map((entry) => <Entry key={entry.id} file={file} kind={kind} entry={entry} names={names} />)}
        </section>
      ))}
    </>
  );
}
