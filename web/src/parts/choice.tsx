// Choosing a sheet and its revisions, and how an address names them.

import type {RevisionSummary, SheetSummary} from 'korvane-client';

import {words} from '../words/words';
import './choice.css';

const t = words({
  en: {sheet: 'Sheet', unnamed: 'without a name'},
  de: {sheet: 'Plan', unnamed: 'ohne Namen'},
});

interface Named {
  id: number;
  name: string;
}

const kId = /^id:(\d+)$/;
const kMostLetters = 80;

/** What an address calls one of `all`: by its name; by its id where the name is empty, taken or reads as an id. */
export function keyOf(one: Named, all: Named[]): string {
  const isPlain = one.name !== '' && !kId.test(one.name) && all.filter((other) => other.name === one.name).length === 1;
  return isPlain ? one.name : `id:${one.id}`;
}

/** The one that an address means; null if it names none, or one that there is not. */
export function named<T extends Named>(all: T[], key: string | undefined): T | null {
  if (key === undefined || key === '') return null;
  const id = kId.exec(key)?.[1];
  return all.find((one) => (id === undefined ? one.name === key : one.id === Number(id))) ?? null;
}

export function shownName(name: string): string {
  return name === '' ? `(${t.unnamed})` : name;
}

/** Names stand in options, which have text alone: marks of direction stay within the name. */
function optionText(name: string): string {
  const shown = shownName(name);
  return `\u2068${shown.length > kMostLetters ? shown.slice(0, kMostLetters) + '…' : shown}\u2069`;
}

export function Choice<T extends Named>(props: {
  label: string;
  all: T[];
  value: T | null;
  onChange: (one: T | null) => void;
  /** What stands for none of them; without it one has to be chosen. */
  none?: string;
}) {
  return (
    <label>
      <span>{props.label}</span>
      <select class="choice" value={props.value?.id ?? ''} onChange={(event) => {
        const id = event.currentTarget.value;
        props.onChange(props.all.find((one) => String(one.id) === id) ?? null);
      }}>
        {(props.none !== undefined || props.value === null) && <option value="">{props.none ?? '–'}</option>}
        {props.all.map((one) => <option key={one.id} value={one.id}>{optionText(one.name)}</option>)}
      </select>
    </label>
  );
}

export function SheetChoice(props: {
  sheets: SheetSummary[]; value: SheetSummary | null; none?: string; onChange: (sheet: SheetSummary | null) => void;
}) {
  return (
    <Choice label={t.sheet} all={props.sheets} value={props.value} onChange={props.onChange}
      {...(props.none === undefined ? {} : {none: props.none})} />
  );
}

/** What the server's routes take to choose lines: the names, which may be empty texts. */
export function selection(
  sheet: SheetSummary | null, revision: RevisionSummary | null): {sheet?: string; revision?: string} {
  return {...(sheet ? {sheet: sheet.name} : {}), ...(revision ? {revision: revision.name} : {})};
}

/** "guideline-417-a.csv": of a project's file, a sheet and a revision, as far as they are chosen. */
export function fileName(
  parts: (string | null | undefined)[], extension: string): string {
  const clean = parts
    .map((part) => (part ?? '').replace(/\.db$/i, '').replace(/[^\p{L}\p{N}._ -]+/gu, '-').slice(0, 60))
    .filter((part) => part !== '' && part !== '-');
  return `${clean.join('-') || 'korvane'}.${extension}`;
}
