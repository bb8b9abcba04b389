// The import of files that were dropped or picked: where to, checked, asked, stored.

import {useEffect, useMemo, useState} from 'preact/hooks';

import {ofFile} from '../../address';
import {Dialog} from '../../parts/dialog';
import {Notice} from '../../parts/notices';
import {number} from '../../words/words';
import {Batch, type IfFilled, type Target} from './batch';
import './import.css';
import {t} from './import_words';
import {ItemView} from './item_view';
import type {Picked} from './pick';
import {TargetForm} from './target_form';

export interface ImportProps {
  picked: Picked;
  /** The project to import into; without it the person is asked. */
  file?: string;
  /** Something was stored. */
  onStored: () => void;
  onClose: () => void;
}

function Progress(props: {batch: Batch}) {
  const {items, isBusy, isDone, isStopping} = props.batch;
  const phases = items.map((item) => item.state.value.phase);
  const at = phases.findIndex((phase) => phase === 'checking' || phase === 'storing');
  const stored = phases.filter((phase) => phase === 'stored').length;
  let text = '';
  if (isBusy.value && at >= 0) {
    const say = phases[at] === 'checking' ? t.checkingAll : t.storingAll;
    text = say(number(at + 1), number(items.length));
  } else if (isDone.value) {
    text = t.done(number(stored), t.count.file(items.length));
  }
  return <p role="status" class="import-progress">{text} {isBusy.value && isStopping.value && t.stopping}</p>;
}

function ForAll(props: {batch: Batch}) {
  const {batch} = props;
  const filled = batch.items.filter((item) => batch.isWanted(item) && batch.filledBy(item).length > 0);
  if (filled.length < 2) return null;
  const choices: IfFilled[] = ['replace', 'append', 'skip'];
  return (
    <div class="row" role="group" aria-label={t.forAll}>
      <span>{t.forAll}</span>
      {choices.map((choice) => (
        <button key={choice} type="button" onClick={() => filled.forEach((item) => batch.setIfFilled(item, choice))}>
          {choice === 'skip' ? t.skipAll : t[choice]}
        </button>
      ))}
    </div>
  );
}

function Actions(props: {batch: Batch; onClose: () => void; onStore: () => void}) {
  const {batch, onClose} = props;
  const wanted = batch.items.filter((item) => batch.willStore(item));
  const undecided = batch.undecided();
  if (batch.isBusy.value) {
    return (
      <div class="row">
        <button type="button" disabled={batch.isStopping.value} onClick={() => batch.stop()}>{t.stop}</button>
      </div>
    );
  }
  // Nothing can be stored, whatever one ticks.
  const isHopeless = batch.items.every((item) => (item.state.value.trial?.revisions.length ?? 0) === 0);
  if (batch.isDone.value || isHopeless) {
    const isStored = batch.items.some((item) => item.state.value.phase === 'stored');
    return (
      <div class="row">
        {isStored && <a class="button" href={ofFile(batch.target.file)} onClick={onClose}>{t.open}</a>}
        <button type="button" class="main" onClick={onClose}>{t.close}</button>
      </div>
    );
  }
  return (
    <>
      <ForAll batch={batch} />
      {undecided.length > 0 && <p id="import-undecided">{t.undecided(t.count.file(undecided.length))}</p>}
      <div class="row">
        <button type="button" class="main" disabled={wanted.length === 0 || undecided.length > 0}
          aria-describedby={undecided.length > 0 ? 'import-undecided' : undefined} onClick={props.onStore}>
          {t.import(t.count.file(wanted.length))}
        </button>
        <button type="button" onClick={onClose}>{t.cancel}</button>
      </div>
    </>
  );
}

function Course(props: {target: Target; files: File[]; onStored: () => void; onClose: () => void}) {
  const batch = useMemo(() => new Batch(props.target, props.files), []);
  useEffect(() => {
    void batch.checkAll();
    return () => batch.stop();
  }, []);
  useEffect(() => {
    const warn = (event: BeforeUnloadEvent) => {
      if (batch.isBusy.value) event.preventDefault();
    };
    addEventListener('beforeunload', warn);
    return () => removeEventListener('beforeunload', warn);
  }, []);
  const store = async () => {
    batch.isStopping.value = false;
    await batch.storeAll();
    if (batch.items.some((item) => item.state.value.phase === 'stored')) props.onStored();
  };
  return (
    <>
      <p class="import-target">{t.into} <strong><bdi>{props.target.file}</bdi></strong></p>
      <Progress batch={batch} />
      <ol class="import-items">
        {batch.items.map((item, index) => <ItemView key={index} batch={batch} item={item} onLeave={props.onClose} />)}
      </ol>
      <div class="import-actions">
        <Actions batch={batch} onClose={props.onClose} onStore={() => void store()} />
      </div>
    </>
  );
}

export function ImportDialog(props: ImportProps) {
  const {picked, file} = props;
  const [target, setTarget] = useState<Target | null>(file === undefined ? null : {file, isNew: false});
  const first = picked.files[0];
  return (
    <Dialog title={t.title} onClose={props.onClose}>
      <div class="import">
        {picked.folders > 0 && <Notice>{t.folders}</Notice>}
        {first === undefined ? <button type="button" onClick={props.onClose}>{t.close}</button>
          : target === null ? <TargetForm files={picked.files} onTarget={setTarget} onClose={props.onClose} />
          : <Course target={target} files={picked.files} onStored={props.onStored} onClose={props.onClose} />}
      </div>
    </Dialog>
  );
}
