// One file of an import: how far it is, what is in it, what the person wants of it, what became of it.

import {kinds, NoAnswer, ServerError, type ImportReply} from 'korvane-client';

import {ofFile} from '../../address';
import {Failure, Notice} from '../../parts/notices';
import {bytes, number} from '../../words/words';
import {linesOf, type Batch, type IfFilled, type Item} from './batch';
import {Faults} from './faults';
import {contentText, t} from './import_words';

type Planned = ImportReply['revisions'][number];

function RevisionName(props: {revision: Planned}) {
  const {sheet, revision} = props.revision;
  return <>{t.sheet} <bdi>{sheet || t.unnamed}</bdi>, {t.revision} <bdi>{revision || t.unnamed}</bdi></>;
}

function revisionText(revision: Planned): string {
  return `${t.sheet} ${revision.sheet || t.unnamed}, ${t.revision} ${revision.revision || t.unnamed}`;
}

function Revisions(props: {title: string; revisions: Planned[]; file?: string; onLeave?: () => void}) {
  const {file} = props;
  return (
    <>
      <p class="import-what">{props.title}:</p>
      <ul class="import-revisions">
        {props.revisions.map((one, index) => {
          const kind = kinds.find((name) => one[name] > 0) ?? 'bars';
          return (
            <li key={index}>
              {file !== undefined && one.id > 0
                ? <a href={ofFile(file, ['schedule', one.id, kind])} onClick={props.onLeave}><RevisionName revision={one} /></a>
                : <RevisionName revision={one} />}
              : {contentText(one)}
            </li>
          );
        })}
      </ul>
    </>
  );
}

function Remarks(props: {reply: ImportReply}) {
  const {notes, skipped} = props.reply;
  const groups = Object.entries(skipped);
  return (
    <>
      {groups.length > 0 && (
        <p class="quiet">
          {t.passedOver}: {groups.map(([group, count]) => `${group} (${number(count)})`).join(', ')}
        </p>
      )}
      {notes.length > 0 && (
        <details>
          <summary>{t.count.note(notes.length)}</summary>
          <ul class="import-notes">{notes.map((note, index) => <li key={index}><bdi>{note}</bdi></li>)}</ul>
        </details>
      )}
    </>
  );
}

const kChoices: IfFilled[] = ['replace', 'append', 'skip'];

function Question(props: {batch: Batch; item: Item}) {
  const {batch, item} = props;
  const filled = batch.filledBy(item);
  if (filled.length === 0) return null;
  const name = `filled-${batch.items.indexOf(item)}`;
  return (
    <fieldset class="import-question">
      <legend>{t.choose}</legend>
      {filled.map(({revision, lines}, index) => (
        <p key={index}><bdi>{t.filled(revisionText(revision), t.count.line(lines), t.count.line(linesOf(revision)))}</bdi></p>
      ))}
      <div class="row">
        {kChoices.map((choice) => (
          <label key={choice}>
            <input type="radio" name={name} checked={item.state.value.ifFilled === choice}
              onChange={() => batch.setIfFilled(item, choice)} />
            {t[choice]}
          </label>
        ))}
      </div>
    </fieldset>
  );
}

function Decision(props: {batch: Batch; item: Item}) {
  const {batch, item} = props;
  const {faults, trial, storesRest} = item.state.value;
  const revisions = trial?.revisions ?? [];
  const lines = revisions.reduce((sum, one) => sum + linesOf(one), 0);
  return (
    <>
      {faults.length > 0 && (
        <>
          <p class="import-faulty">{t.count.fault(faults.length)}. {lines > 0 ? t.onlyFaulty : t.nothingUsable}</p>
          {lines > 0 && (
            <label class="import-rest">
              <input type="checkbox" checked={storesRest}
                onChange={(event) => batch.setStoresRest(item, event.currentTarget.checked)} />
              {t.storeRest(t.count.line(lines))}
            </label>
          )}
          <Faults name={item.file.name} faults={faults} />
        </>
      )}
      {trial !== null && (revisions.length === 0 ? faults.length === 0 && <p>{t.nothing}</p>
        : batch.isWanted(item) && <Revisions title={t.willBe} revisions={revisions} />)}
      {trial !== null && <Remarks reply={trial} />}
      {batch.isWanted(item) && <Question batch={batch} item={item} />}
    </>
  );
}

function Trouble(props: {batch: Batch; item: Item}) {
  const {batch, item} = props;
  const {failure, hasFailedLate} = item.state.value;
  const isTooLarge = failure instanceof ServerError && failure.status === 413;
  return (
    <>
      <Failure failure={failure} />
      {isTooLarge && <p>{t.tooLarge} ({bytes(item.file.size)})</p>}
      {failure instanceof NoAnswer && <p>{hasFailedLate ? t.unsure : t.mayBeTooLarge}</p>}
      <button type="button" disabled={batch.isBusy.value} onClick={() => void batch.checkAgain(item)}>{t.again}</button>
    </>
  );
}

function statusOf(item: Item): string {
  const {phase, sent} = item.state.value;
  if (phase === 'checking' && sent >= 1) return t.beingChecked;
  if (phase === 'storing' && sent >= 1) return t.beingStored;
  return t.phases[phase];
}

export function ItemView(props: {batch: Batch; item: Item; onLeave: () => void}) {
  const {batch, item, onLeave} = props;
  const {phase, sent, result, faults} = item.state.value;
  const isUnderWay = phase === 'checking' || phase === 'storing';
  return (
    <li class={`import-item ${phase}`}>
      <div class="import-head">
        <strong class="import-name"><bdi>{item.file.name}</bdi></strong>
        <span class="quiet">{bytes(item.file.size)}</span>
        <span class="import-status">{statusOf(item)}</span>
      </div>
      {/* Without a value it says that there is no telling how long. */}
      {isUnderWay && <progress aria-label={item.file.name} max={1} {...(sent < 1 ? {value: sent} : {})} />}
      {(phase === 'checked' || phase === 'refused') && <Decision batch={batch} item={item} />}
      {phase === 'left' && faults.length > 0 && <p class="import-faulty">{t.count.fault(faults.length)}</p>}
      {phase === 'failed' && <Trouble batch={batch} item={item} />}
      {phase === 'stored' && result !== null && (
        <Notice kind="done">
          <Revisions title={t.toStore} revisions={result.revisions} file={batch.target.file} onLeave={onLeave} />
          {result.left_out.length > 0 && <p>{t.leftOut}: {t.count.fault(result.left_out.length)}</p>}
        </Notice>
      )}
    </li>
  );
}
