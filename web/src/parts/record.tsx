// Shows a record of a contract, whatever it is: every field that is stored can be reached.

import type {ComponentChildren} from 'preact';
import {useState} from 'preact/hooks';

import {bytes, counted, number, words} from '../words/words';
import {enumeratorWord, fieldWords} from './field_words';
import './record.css';
import {save} from './save';

const t = words({
  en: {
    unstated: 'Not stated', yes: 'yes', no: 'no', none: 'not stated', all: 'Show all', letters: 'letters',
    text: 'text', whole: 'whole number', decimal: 'decimal number', bool: 'yes or no', data: 'data', save: 'Save data',
    entry: 'entry', entries: 'entries', unit: 'unit', nothing: 'Nothing is stored.',
  },
  de: {
    unstated: 'Nicht angegeben', yes: 'ja', no: 'nein', none: 'nicht angegeben', all: 'Alles zeigen', letters: 'Zeichen',
    text: 'Text', whole: 'ganze Zahl', decimal: 'Dezimalzahl', bool: 'ja oder nein', data: 'Daten', save: 'Daten sichern',
    entry: 'Eintrag', entries: 'Einträge', unit: 'Einheit', nothing: 'Nichts ist gespeichert.',
  },
});

type Fields = Record<string, unknown>;

const kLongText = 600;
const kShownOfLongText = 300;
const kShownOfList = 50;
/** What a value of a property may be; one of them is not null. */
const kVariantMembers: Record<string, string> = {
  value_int32: t.whole, value_double: t.decimal, value_string: t.text, value_blob: t.data, bool_: t.bool,
};

function isFields(value: unknown): value is Fields {
  return typeof value === 'object' && value !== null && !Array.isArray(value);
}

function isVariant(value: unknown): value is Fields {
  if (!isFields(value)) return false;
  const names = Object.keys(value);
  return names.length > 0 && names.every((name) => Object.hasOwn(kVariantMembers, name));
}

/** Properties: their names are people's own. */
function isMap(value: Fields): boolean {
  const values = Object.values(value);
  return values.length > 0 && values.every(isVariant);
}

/** Rows of cells, as a textblock has them. */
function isGrid(value: Fields): value is {rows: {cells: Fields[]}[]} {
  const rows = value['rows'];
  return Object.keys(value).length === 1 && Array.isArray(rows) && rows.length > 0 &&
    rows.every((row: unknown) => isFields(row) && Array.isArray(row['cells']) && row['cells'].every(isFields));
}

function isIdName(name: string): boolean {
  return name === 'id' || name.endsWith('_id');
}

/** Whether a field says nothing. 0 and "no" do say something, but not as an id. */
export function isStated(name: string, value: unknown): boolean {
  if (value === null || value === undefined || value === '') return false;
  if (typeof value === 'number') return !(isIdName(name) && value <= 0);
  if (Array.isArray(value)) return value.length > 0;
  if (isVariant(value)) return true;
  if (isFields(value)) return Object.entries(value).some(([inner, one]) => isStated(inner, one));
  return true;
}

/** "total_bars" is "total bars" in the browser's language. */
export function fieldName(name: string): string {
  return (Object.hasOwn(fieldWords, name) ? fieldWords[name] : undefined) ?? name.replace(/_+$/, '').replaceAll('_', ' ');
}

/** The names of fields whose value is one of an enumeration. */
const kEnumerations = ['type', 'direction', 'diff_state'];

function Text(props: {text: string}) {
  const [isWhole, setWhole] = useState(false);
  const {text} = props;
  if (isWhole || text.length <= kLongText) return <bdi class="record-text">{text}</bdi>;
  return (
    <span>
      <bdi class="record-text">{text.slice(0, kShownOfLongText)} …</bdi>{' '}
      <button type="button" onClick={() => setWhole(true)}>
        {t.all} ({number(text.length)} {t.letters})
      </button>
    </span>
  );
}

function bytesOfBase64(text: string): Uint8Array<ArrayBuffer> | null {
  try {
    return Uint8Array.from(atob(text), (letter) => letter.charCodeAt(0));
  } catch {
    return null;
  }
}

function Data(props: {text: string; name: string}) {
  const content = bytesOfBase64(props.text);
  if (content === null) return <Text text={props.text} />;
  return (
    <span class="record-data">
      {bytes(content.length)}
      <button type="button" onClick={() => save(new Blob([content]), `${props.name || 'data'}.bin`)}>{t.save}</button>
    </span>
  );
}

function Variant(props: {value: Fields; name: string}) {
  const members = Object.entries(props.value).filter(([, value]) => value !== null);
  if (members.length === 0) return <span class="quiet">{t.none}</span>;
  return (
    <>
      {members.map(([member, value]) => (
        <span key={member} class="record-variant">
          {member === 'value_blob' && typeof value === 'string' ? <Data text={value} name={props.name} />
            : value === '' ? <span class="quiet">""</span> : <Value name="" value={value} />}
          <span class="record-type">{kVariantMembers[member]}</span>
        </span>
      ))}
    </>
  );
}

function Grid(props: {value: {rows: {cells: Fields[]}[]}}) {
  return (
    <Shortened list={props.value.rows}>
      {(rows) => (
        <div class="record-wide">
          <table>
            <tbody>
              {rows.map((row, index) => (
                <tr key={index}>
                  {row.cells.map((cell, column) => (
                    <td key={column}>
                      <Value name="" value={cell['value'] ?? null} />
                      {isStated('implicit_unit', cell['implicit_unit']) &&
                        <span class="record-type">{t.unit} {String(cell['implicit_unit'])}</span>}
                    </td>
                  ))}
                </tr>
              ))}
            </tbody>
          </table>
        </div>
      )}
    </Shortened>
  );
}

/** The first of a long list, and a button for the rest. */
function Shortened<One>(props: {list: One[]; children: (shown: One[]) => ComponentChildren}) {
  const [isWhole, setWhole] = useState(false);
  const isLong = !isWhole && props.list.length > kShownOfList;
  return (
    <>
      {props.children(isLong ? props.list.slice(0, kShownOfList) : props.list)}
      {isLong && (
        <button type="button" onClick={() => setWhole(true)}>
          {t.all} ({counted(props.list.length, t.entry, t.entries)})
        </button>
      )}
    </>
  );
}

function ListOfRecords(props: {list: Fields[]}) {
  const names = [...new Set(props.list.flatMap((one) => Object.keys(one)))];
  const shown = names.filter((name) => props.list.some((one) => isStated(name, one[name])));
  const rest = names.filter((name) => !shown.includes(name));
  return (
    <>
      <Shortened list={props.list}>
        {(list) => (
          <div class="record-wide">
            <table>
              <thead><tr>{shown.map((name) => <th key={name} scope="col">{fieldName(name)}</th>)}</tr></thead>
              <tbody>
                {list.map((one, index) => (
                  <tr key={index}>
                    {shown.map((name) => (
                      <td key={name} class={typeof one[name] === 'number' ? 'number' : undefined}>
                        {isStated(name, one[name]) && <Value name={name} value={one[name]} />}
                      </td>
                    ))}
                  </tr>
                ))}
              </tbody>
            </table>
          </div>
        )}
      </Shortened>
      {rest.length > 0 && <p class="quiet record-rest">{t.unstated}: {rest.map(fieldName).join(', ')}</p>}
    </>
  );
}

function List(props: {name: string; list: unknown[]}) {
  if (props.list.every(isFields)) return <ListOfRecords list={props.list} />;
  return (
    <Shortened list={props.list}>
      {(list) => <ol>{list.map((one, index) => <li key={index}><Value name={props.name} value={one} /></li>)}</ol>}
    </Shortened>
  );
}

function Value(props: {name: string; value: unknown}) {
  const {name, value} = props;
  if (value === null || value === undefined || value === '') return <span class="quiet">{t.none}</span>;
  if (typeof value === 'boolean') return <>{value ? t.yes : t.no}</>;
  // Ids and numbers as they are stored: 15 digits are what a double has.
  if (typeof value === 'number') return <>{isIdName(name) ? value : number(value, 15)}</>;
  if (typeof value === 'string') {
    return <Text text={kEnumerations.includes(name) ? enumeratorWord(value) : value} />;
  }
  if (Array.isArray(value)) return value.length === 0 ? <span class="quiet">{t.none}</span> : <List name={name} list={value} />;
  if (isVariant(value)) return <Variant value={value} name={name} />;
  if (!isFields(value)) return <>{String(value)}</>;
  return isGrid(value) ? <Grid value={value} /> : <RecordView value={value} />;
}

function Entries(props: {entries: [string, unknown][]; isMap: boolean}) {
  return (
    <dl class="record">
      {props.entries.map(([name, value]) => {
        const isWide = (Array.isArray(value) || isFields(value)) && !isVariant(value);
        return (
          <div key={name} class={isWide ? 'record-field wide' : 'record-field'}>
            <dt>{props.isMap ? <bdi>{name}</bdi> : fieldName(name)}</dt>
            <dd><Value name={name} value={value} /></dd>
          </div>
        );
      })}
    </dl>
  );
}

/** All fields of a record: those that say something, and the others folded. */
export function RecordView(props: {value: Record<string, unknown>}) {
  const entries = Object.entries(props.value);
  const stated = entries.filter(([name, value]) => isStated(name, value));
  const unstated = entries.filter(([name, value]) => !isStated(name, value));
  if (entries.length === 0) return <p class="quiet">{t.nothing}</p>;
  return (
    <div class="record-view">
      {stated.length > 0 ? <Entries entries={stated} isMap={isMap(props.value)} /> : <p class="quiet">{t.nothing}</p>}
      {unstated.length > 0 && (
        <details class="record-unstated">
          <summary>{t.unstated} ({number(unstated.length)})</summary>
          <ul>
            {unstated.map(([name, value]) => (
              <li key={name}>{fieldName(name)}{typeof value === 'number' && `: ${value}`}</li>
            ))}
          </ul>
        </details>
      )}
    </div>
  );
}
