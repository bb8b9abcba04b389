// Asks which project files go into that were dropped on none.

import {useEffect, useRef, useState} from 'preact/hooks';

import {Failure, Waiting} from '../../parts/notices';
import {useLoaded} from '../../parts/loaded';
import {readProjects} from '../../server/server';
import {fileNameOf, nameFault, nameTaken} from '../projects/make_project';
import type {Target} from './batch';
import {t} from './import_words';

export function TargetForm(props: {files: File[]; onTarget: (target: Target) => void; onClose: () => void}) {
  const known = useLoaded(readProjects, []);
  const [isNew, setNew] = useState(true);
  const [name, setName] = useState(() => (props.files[0]?.name ?? '').replace(/\.[^.]*$/, ''));
  const [chosen, setChosen] = useState('');
  const [fault, setFault] = useState('');
  const field = useRef<HTMLInputElement>(null);
  const isKnown = known.value !== null;
  useEffect(() => field.current?.select(), [isKnown]);
  if (known.value === null) {
    return known.failure === null ? <Waiting /> : <Failure failure={known.failure} onAgain={known.again} />;
  }
  const projects = known.value;
  const enter = (event: Event) => {
    event.preventDefault();
    const file = isNew ? fileNameOf(name) : chosen || projects[0]?.file || '';
    const found = isNew ? nameFault(name) || nameTaken(file, projects) : '';
    setFault(found);
    if (found === '') props.onTarget({file, isNew});
  };
  return (
    <form class="import-target-form" onSubmit={enter}>
      <fieldset>
        <legend>{t.target}</legend>
        <label>
          <input type="radio" name="import-target" checked={isNew} onChange={() => setNew(true)} />{t.isNew}
        </label>
        {projects.length > 0 && (
          <label>
            <input type="radio" name="import-target" checked={!isNew} onChange={() => setNew(false)} />{t.isThere}
          </label>
        )}
      </fieldset>
      {isNew ? (
        <label class="stacked">{t.name}
          <input ref={field} value={name} autocomplete="off" spellcheck={false} aria-invalid={fault !== ''}
            onInput={(event) => {
              setName(event.currentTarget.value);
              setFault('');
            }} />
        </label>
      ) : (
        <label class="stacked">{t.project}
          <select value={chosen || projects[0]?.file} onChange={(event) => setChosen(event.currentTarget.value)}>
            {projects.map((project) => <option key={project.file} value={project.file}>{project.file}</option>)}
          </select>
        </label>
      )}
      {fault !== '' && <Failure failure={new Error(fault)} />}
      <ul class="import-picked">{props.files.map((file, index) => <li key={index}><bdi>{file.name}</bdi></li>)}</ul>
      <div class="row">
        <button type="submit" class="main">{t.check}</button>
        <button type="button" onClick={props.onClose}>{t.cancel}</button>
      </div>
    </form>
  );
}
