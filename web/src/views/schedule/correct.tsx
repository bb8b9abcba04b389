import {useState} from 'preact/hooks';
import {ServerError, type Cell, type Edited, type Line} from 'korvane-client';

import {fieldWords} from '../../parts/field_words';
import {failureText, Notice} from '../../parts/notices';
import {project} from '../../server/server';
import {language, number, words} from '../../words/words';
import {fieldsOf, hasChanges, storedText, valuesOf, type Draft, type Field} from './draft';

const t = words({
  en: {
    title: 'Correct the bar', look: 'Show what will change', store: 'Store', cancel: 'Cancel', field: 'Field', before: 'before',
    after: 'after', nothing: 'Nothing changes.', other: 'Another field', path: 'Path of the field', value: 'Its value',
    pathHelp: 'for example parameters_rounded.a', add: 'Another field …', now: 'Now stored:', will: 'This will change',
    changed: 'Somebody has changed this revision meanwhile. What you have typed is still here: look at what is stored now, and store again.',
    leg: (n: number, part: string) => `leg ${n}, ${part}`, length: 'length', radius: 'radius', angle: 'angle', of: 'dimension',
  },
  de: {
    title: 'Den Stab berichtigen', look: 'Zeigen, was sich ändert', store: 'Speichern', cancel: 'Abbrechen', field: 'Feld',
    before: 'vorher', after: 'nachher', nothing: 'Es ändert sich nichts.', other: 'Ein anderes Feld', path: 'Pfad des Feldes',
    value: 'Sein Wert', pathHelp: 'zum Beispiel parameters_rounded.a', add: 'Ein anderes Feld …', now: 'Jetzt gespeichert:',
    will: 'Das ändert sich',
    changed: 'Jemand hat diesen Index inzwischen geändert. Ihre Eingaben sind noch da: Sehen Sie an, was jetzt gespeichert ist, und speichern Sie noch einmal.',
    leg: (n: number, part: string) => `Schenkel ${n}, ${part}`, length: 'Länge', radius: 'Radius', angle: 'Winkel', of: 'Maß',
  },
});

const english: Record<string, string> = {
  bars_per_member: 'pieces of a member', member_multiplier: 'members', total_bars: 'pieces in all', bar_diameter: 'diameter',
  standard_bend_diameter: 'bend diameter', steel: 'steel', total_length: 'total length', shape_code: 'shape',
  custom_text: 'custom text', submark: 'submark',
};
const german: Record<string, string> = {
  bars_per_member: 'Stück je Bauteil', member_multiplier: 'Bauteile', total_bars: 'Stück gesamt', bar_diameter: 'Durchmesser',
  standard_bend_diameter: 'Biegerolle', steel: 'Stahlsorte', shape_code: 'Form',
};

function fieldTitle(path: string): string {
  const letter = /^parameters_exact\.([a-fr])$/.exec(path);
  if (letter) return `${t.of} ${letter[1]!.toUpperCase()}`;
  const leg = /^geometry\.objects\[(\d+)\]\.(length|radius|angle)$/.exec(path);
  if (leg) return t.leg(Number(leg[1]) + 1, t[leg[2] as 'length' | 'radius' | 'angle']);
  const own = language === 'de' ? german : english;
  if (Object.hasOwn(own, path)) return own[path]!;
  return Object.hasOwn(fieldWords, path) ? fieldWords[path]! : path.replaceAll('_', ' ');
}

export interface CorrectProps {
  file: string;
  line: Line;
  steels: string[];
  draft: Draft;
  onDraft: (draft: Draft) => void;
  onCancel: () => void;
  onStored: (edited: Edited) => void;
  /** The revision has another content than the line was read from. */
  onChanged: () => void;
  isStale: boolean;
}

/** New values for a bar: shown before they are stored, and refused if somebody was faster. */
export function Correct(props: CorrectProps) {
  const {file, line, draft} = props;
  const [trial, setTrial] = useState<{edited: Edited; tag: string} | null>(null);
  const [failure, setFailure] = useState<unknown>(null);
  const [isBusy, setIsBusy] = useState(false);
  const change = (next: Draft) => {
    setTrial(null);
    setFailure(null);
    props.onDraft(next);
  };
  const send = async (isTrial: boolean) => {
    setIsBusy(true);
    setFailure(null);
    try {
      const edited = await project(file).edit(line.id, valuesOf(draft, line), {ifMatch: line.tag, isTrial});
      if (isTrial) setTrial({edited, tag: line.tag});
      else props.onStored(edited);
    } catch (caught) {
      setTrial(null);
      if (await isOutdated(caught, file, line)) props.onChanged();
      else setFailure(caught);
    } finally {
      setIsBusy(false);
    }
  };
  const isShown = trial !== null && trial.tag === line.tag;
  return (
    <form class="correct" aria-label={t.title} onSubmit={(event) => {
      event.preventDefault();
      void send(!isShown);
    }}>
      <h3>{t.title}</h3>
      {props.isStale && <Notice kind="error">{t.changed}</Notice>}
      <div class="correct-fields">
        {fieldsOf(line).map((field) => (
          <FieldInput key={field.path} field={field} text={draft.typed[field.path] ?? storedText(line, field)} steels={props.steels}
            now={storedText(line, field) === draft.base[field.path] ? null : storedText(line, field)}
            onText={(text) => change({...draft, typed: {...draft.typed, [field.path]: text}})} />
        ))}
      </div>
      <fieldset>
        <legend>{t.other}</legend>
        {draft.others.map((one, i) => {
          const set = (changes: Partial<typeof one>) =>
            change({...draft, others: draft.others.map((other, at) => (at === i ? {...other, ...changes} : other))});
          return (
            <div class="row" key={i}>
              <input aria-label={t.path} placeholder={t.pathHelp} value={one.path} spellcheck={false}
                onInput={(event) => set({path: event.currentTarget.value})} />
              <input aria-label={t.value} value={one.value} onInput={(event) => set({value: event.currentTarget.value})} />
            </div>
          );
        })}
        <button type="button" onClick={() => change({...draft, others: [...draft.others, {path: '', value: ''}]})}>{t.add}</button>
      </fieldset>
      {failure !== null && <Notice kind="error"><span class="server-text">{failureText(failure)}</span></Notice>}
      <div role="status">{isShown && <Changes edited={trial.edited} />}</div>
      <div class="row">
        <button class={isShown ? '' : 'main'} type="button" disabled={isBusy || !hasChanges(draft)} onClick={() => void send(true)}>
          {t.look}</button>
        {isShown && trial.edited.changes.length > 0 && <button class="main" type="submit" disabled={isBusy}>{t.store}</button>}
        <button type="button" onClick={props.onCancel}>{t.cancel}</button>
      </div>
    </form>
  );
}

/** Whether the edit was refused because the revision is another one now. Lines have other ids then, so that the
 * server may not know the line before it looks at the tag. */
async function isOutdated(failure: unknown, file: string, line: Line): Promise<boolean> {
  if (!(failure instanceof ServerError)) return false;
  if (failure.status !== 404) return failure.status === 412;
  try {
    return (await project(file).line({kind: 'bars', id: line.id})).tag !== line.tag;
  } catch (reading) {
    return reading instanceof ServerError && reading.status === 404;
  }
}

function FieldInput(props: {
  field: Field; text: string; steels: string[]; now: string | null; onText: (text: string) => void;
}) {
  const {field, text} = props;
  const id = `field-${field.path}`;
  return (
    <>
      <label for={id}>{fieldTitle(field.path)}{field.unit && <span class="quiet"> {field.unit}</span>}</label>
      <span>
        {field.kind === 'steel'
          ? <select id={id} value={text} onChange={(event) => props.onText(event.currentTarget.value)}>
            {[...new Set([text, ...props.steels])].map((name) => <option key={name} value={name}>{name}</option>)}
          </select>
          : <input id={id} value={text} inputMode={field.kind === 'number' ? 'decimal' : 'text'} class={field.kind}
            dir="auto" autocomplete="off" spellcheck={false} onInput={(event) => props.onText(event.currentTarget.value)} />}
        {props.now !== null && <span class="now">{t.now} <bdi>{props.now === '' ? '–' : props.now}</bdi></span>}
      </span>
    </>
  );
}

function Changes(props: {edited: Edited}) {
  const {changes} = props.edited;
  const kindOf = (cell: Cell) => (typeof cell === 'number' ? 'number' : 'text');
  const text = (cell: Cell) => (typeof cell === 'number' ? number(cell, 6) : cell ?? '–');
  if (changes.length === 0) return <p>{t.nothing}</p>;
  return (
    <table class="changes">
      <caption>{t.will}</caption>
      <thead><tr><th>{t.field}</th><th>{t.before}</th><th>{t.after}</th></tr></thead>
      <tbody>
        {changes.map((one) => (
          <tr key={one.field}>
            <th scope="row">{fieldTitle(one.field)}</th>
            <td class={kindOf(one.before)}><bdi>{text(one.before)}</bdi></td>
            <td class={kindOf(one.after)}><ins><bdi>{text(one.after)}</bdi></ins></td>
          </tr>
        ))}
      </tbody>
    </table>
  );
}
