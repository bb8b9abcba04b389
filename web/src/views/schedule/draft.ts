// What one has typed to correct a bar, and what of it is sent.

import type {Line} from 'korvane-client';

import {language} from '../../words/words';

export interface Field {
  /** Where its value stands in the record: "parameters_exact.a"; "steel" for the name of the material. */
  path: string;
  kind: 'text' | 'number' | 'steel';
  unit?: string;
  /** An empty text means that there is none. */
  isNullable?: boolean;
}

export interface Draft {
  /** The fields as they were when one began. */
  base: Record<string, string>;
  typed: Record<string, string>;
  /** Any other fields, by path. */
  others: {path: string; value: string}[];
}

const kFields: Field[] = [
  {path: 'bars_per_member', kind: 'number'}, {path: 'member_multiplier', kind: 'number'}, {path: 'total_bars', kind: 'number'},
  {path: 'member', kind: 'text'}, {path: 'mark', kind: 'text'}, {path: 'submark', kind: 'text', isNullable: true},
  {path: 'bar_diameter', kind: 'number', unit: 'mm'}, {path: 'standard_bend_diameter', kind: 'number', unit: 'mm'},
  {path: 'steel', kind: 'steel'}, {path: 'total_length', kind: 'number', unit: 'mm'}, {path: 'shape_code', kind: 'text', isNullable: true},
];
const kTexts: Field[] = [{path: 'comment', kind: 'text'}, {path: 'custom_text', kind: 'text', isNullable: true}];

/** Those that people correct: the letters if the bar has any, and its legs. */
export function fieldsOf(line: Line): Field[] {
  const letters = ['a', 'b', 'c', 'd', 'e', 'f', 'r'].map((letter) => `parameters_exact.${letter}`);
  const hasLetters = letters.some((path) => valueAt(line.record, path) !== null) || valueAt(line.record, 'shape_code') !== null;
  const objects = valueAt(line.record, 'geometry.objects');
  const legs: Field[] = [];
  if (Array.isArray(objects)) {
    objects.forEach((_, i) => {
      for (const part of ['length', 'radius', 'angle']) {
        const path = `geometry.objects[${i}].${part}`;
        if (typeof valueAt(line.record, path) !== 'number') continue;
        legs.push({path, kind: 'number', unit: part === 'angle' ? '°' : 'mm'});
      }
    });
  }
  return [...kFields, ...(hasLetters ? letters.map((path): Field => ({path, kind: 'number', unit: 'mm'})) : []), ...legs, ...kTexts];
}

function valueAt(record: unknown, path: string): unknown {
  let value = record;
  for (const part of path.split(/[.[\]]+/).filter((one) => one !== '')) {
    if (typeof value !== 'object' || value === null) return null;
    value = (value as Record<string, unknown>)[part];
  }
  return value ?? null;
}

/** What stands in the field now, as one would type it. */
export function storedText(line: Line, field: Field): string {
  const value = field.path === 'steel'
    ? line.row[line.columns.findIndex((column) => column.name === 'steel')] ?? null
    : valueAt(line.record, field.path);
  if (value === null) return '';
  return typeof value === 'number' && language === 'de' ? String(value).replace('.', ',') : String(value);
}

export function storedTexts(line: Line): Record<string, string> {
  return Object.fromEntries(fieldsOf(line).map((field) => [field.path, storedText(line, field)]));
}

export function begun(line: Line): Draft {
  const base = storedTexts(line);
  return {base, typed: {...base}, others: []};
}

export function hasChanges(draft: Draft): boolean {
  return Object.entries(draft.typed).some(([path, text]) => text !== draft.base[path]) ||
    draft.others.some((one) => one.path.trim() !== '');
}

/** The values to be sent: those that one has changed and that are not stored already. */
export function valuesOf(draft: Draft, line: Line): Record<string, unknown> {
  const values: Record<string, unknown> = {};
  for (const field of fieldsOf(line)) {
    const text = draft.typed[field.path];
    if (text === undefined || text === draft.base[field.path] || text === storedText(line, field)) continue;
    values[field.path] = field.kind === 'number' ? numberOf(text) : text === '' && field.isNullable ? null : text;
  }
  for (const {path, value} of draft.others) if (path.trim() !== '') values[path.trim()] = anyOf(value);
  return values;
}

/** What is not a number is sent as it is: the server says what it expects. */
function numberOf(text: string): number | string | null {
  const plain = text.trim().replace(',', '.');
  if (plain === '') return null;
  return Number.isFinite(Number(plain)) ? Number(plain) : text;
}

function anyOf(text: string): unknown {
  try {
    return JSON.parse(text) as unknown;
  } catch {
    return text;
  }
}
