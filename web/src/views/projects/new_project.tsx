// Makes a project: an empty file that has the project's record.

import {useState} from 'preact/hooks';

import {go, ofFile} from '../../address';
import {Dialog} from '../../parts/dialog';
import {Failure} from '../../parts/notices';
import {words} from '../../words/words';
import {fileNameOf, makeProject, nameFault} from './make_project';

const t = words({
  en: {
    title: 'New project', name: 'Name of the file', make: 'Make it', cancel: 'Cancel', making: 'Being made …',
    help: 'A folder may stand before it: halls/hall 7. The file is called', end: 'The ending .db is added if it is missing.',
  },
  de: {
    title: 'Neues Projekt', name: 'Name der Datei', make: 'Anlegen', cancel: 'Abbrechen', making: 'Wird angelegt …',
    help: 'Ein Ordner kann davor stehen: hallen/halle 7. Die Datei heißt', end: 'Die Endung .db wird ergänzt, wo sie fehlt.',
  },
});

export function NewProject(props: {onClose: () => void}) {
  const [name, setName] = useState('');
  const [isMaking, setMaking] = useState(false);
  const [failure, setFailure] = useState<unknown>(null);
  const make = async (event: Event) => {
    event.preventDefault();
    const fault = nameFault(name);
    if (fault !== '') {
      setFailure(new Error(fault));
      return;
    }
    setMaking(true);
    setFailure(null);
    try {
      const file = fileNameOf(name);
      await makeProject(file);
      props.onClose();
      go(ofFile(file));
    } catch (reason) {
      setFailure(reason);
      setMaking(false);
    }
  };
  return (
    <Dialog title={t.title} onClose={props.onClose}>
      <form class="new-project" onSubmit={make}>
        <label class="new-project-label" for="new-project-name">{t.name}</label>
        <input id="new-project-name" value={name} autocomplete="off" autofocus spellcheck={false}
          aria-describedby="new-project-help" aria-invalid={failure !== null}
          onInput={(event) => {
            setName(event.currentTarget.value);
            setFailure(null);
          }} />
        <p id="new-project-help" class="quiet">
          {name.trim() === '' ? t.end : <>{t.help} <bdi>{fileNameOf(name)}</bdi>.</>}
        </p>
        {failure !== null && <Failure failure={failure} />}
        <div class="row">
          <button type="submit" class="main" disabled={isMaking}>{isMaking ? t.making : t.make}</button>
          <button type="button" onClick={props.onClose}>{t.cancel}</button>
        </div>
      </form>
    </Dialog>
  );
}
