// A project: its sheets and revisions, its catalogues, its record.

import {useState} from 'preact/hooks';
import type {Contents} from 'korvane-client';

import {address, ofFile} from '../address';
import {lazily} from '../parts/lazily';
import {useAnew} from '../parts/anew';
import {useLoaded} from '../parts/loaded';
import {Failure, Waiting} from '../parts/notices';
import {RecordView} from '../parts/record';
import {project} from '../server/server';
import {may} from '../server/session';
import {fixed} from '../words/words';
import type {ImportProps} from './import/import_dialog';
import {PickButton, useDrop, useDropGuard, type Picked} from './import/pick';
import './import/pick.css';
import './project.css';
import {Catalogues} from './project/catalogues';
import {t} from './project/project_words';
import {Sheets} from './project/sheets';

const ImportDialog = lazily<ImportProps>(async () => (await import('./import/import_dialog')).ImportDialog);

function Summary(props: {contents: Contents}) {
  const revisions = props.contents.sheets.flatMap((sheet) => sheet.revisions);
  const kilograms = revisions.reduce((sum, one) => sum + one.kilograms, 0);
  const lacking = revisions.reduce((sum, one) => sum + one.without_weight, 0);
  return (
    <p class="quiet">
      {t.count.sheets(props.contents.sheets.length)}, {t.count.revisions(revisions.length)},{' '}
      {fixed(kilograms, 1)} kg {t.ofAll}{lacking > 0 && `; ${t.lacking(lacking)}`}
    </p>
  );
}

function Parts(props: {file: string; part: string}) {
  const parts = [
    {name: '', title: t.sheets}, {name: 'catalogues', title: t.catalogues}, {name: 'record', title: t.record},
  ];
  return (
    <nav class="parts" aria-label={t.parts}>
      {parts.map(({name, title}) => (
        <a key={name} href={ofFile(props.file, [], {part: name})} aria-current={props.part === name ? 'page' : undefined}>
          {title}
        </a>
      ))}
    </nav>
  );
}

export function Project(props: {file: string}) {
  const {file} = props;
  const known = useLoaded((signal) => project(file).contents({signal}), [file]);
  useAnew(known.again);
  const [picked, setPicked] = useState<Picked | null>(null);
  const {isOver, handlers} = useDrop(setPicked, may('write'));
  useDropGuard();
  const part = address.value.params['part'] ?? '';
  const contents = known.value;
  return (
    <section class={`project drop-place ${isOver ? 'over' : ''}`} {...handlers}>
      <div class="row project-head">
        <h1><bdi class="two-lines">{file}</bdi></h1>
        {may('write') && <span class="row"><PickButton onPicked={setPicked} /></span>}
      </div>
      {known.failure !== null && <Failure failure={known.failure} onAgain={known.again} />}
      {contents === null ? known.isLoading && <Waiting /> : (
        <>
          <Summary contents={contents} />
          <Parts file={file} part={part} />
          {part === 'catalogues' ? <Catalogues file={file} contents={contents} />
            : part === 'record' ? <RecordView value={contents.project} />
            : <Sheets file={file} sheets={contents.sheets} />}
        </>
      )}
      {picked && <ImportDialog picked={picked} file={file} onStored={known.again} onClose={() => setPicked(null)} />}
    </section>
  );
}
