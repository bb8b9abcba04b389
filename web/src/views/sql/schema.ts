// The tables, views and columns of a project, read from the project itself.

import type {Cell} from 'korvane-client';

import {project} from '../../server/server';

export interface Relation {
  name: string;
  isView: boolean;
  columns: string[];
}

export interface Schema {
  relations: Relation[];
  /** Names that only columns of texts have: what is in them is a text, though it may read as a number. */
  texts: Set<string>;
}

/** Views come with the connection on some servers and from the file on others. */
const kCatalogues = ['sqlite_master', 'sqlite_temp_master'];
const kMostRelations = 100;
/** Computed columns of views have no type that would say so. */
const kTextsOfViews = ['sheet', 'revision', 'label', 'steel', 'material', 'fabric_type', 'type_name', 'custom_text', 'name'];

function quoted(name: string): string {
  return `"${name.replaceAll('"', '""')}"`;
}

interface Entry {
  name: string;
  isView: boolean;
  sql: string;
}

async function entriesIn(file: string, catalogue: string, signal: AbortSignal): Promise<Entry[]> {
  const reply = await project(file).query(`select name, type, sql from ${catalogue}
    where type in ('table', 'view') and name not like 'sqlite_%' order by name`, {signal});
  return reply.rows.map(([name, type, sql]: Cell[]) =>
    ({name: String(name), isView: type === 'view', sql: String(sql ?? '')}));
}

/** The parts of a text between commas, each without what is in brackets. Quoted names stay whole. */
function parts(text: string): string[] {
  const found = [''];
  let depth = 0;
  for (const [piece] of text.matchAll(/'(?:[^']|'')*'|"(?:[^"]|"")*"|`[^`]*`|\[[^\]]*\]|[\s\S]/g)) {
    if (piece === ')') --depth;
    if (piece === ',' && depth === 0) found.push('');
    else if (depth === 0) found[found.length - 1] += piece;
    if (piece === '(') ++depth;
  }
  return found.map((part) => part.trim());
}

/** Of "CREATE TABLE t (id INTEGER, mark TEXT, FOREIGN KEY …)": names, and whether they are declared as texts. */
export function columnsOf(sql: string): {name: string; isText: boolean}[] {
  const inside = sql.slice(sql.indexOf('(') + 1, sql.lastIndexOf(')'));
  return parts(inside).flatMap((part) => {
    if (/^(constraint|primary|unique|check|foreign)\b/i.test(part)) return [];
    const match = /^(?:"((?:[^"]|"")+)"|`([^`]+)`|\[([^\]]+)\]|([^\s"`[]+))\s*(\w*)/.exec(part);
    const name = (match?.[1]?.replaceAll('""', '"')) ?? match?.[2] ?? match?.[3] ?? match?.[4];
    return name === undefined ? [] : [{name, isText: /char|clob|text/i.test(match?.[5] ?? '')}];
  });
}

/** Of "CREATE VIEW v AS SELECT a AS b, … FROM …" the names after AS; none if a column has none. */
export function columnsOfView(sql: string): string[] {
  const names: string[] = [];
  for (const part of parts(sql.replace(/^[\s\S]*?\bas\s+select\b/i, ''))) {
    const match = /\bas\s+"?(\w+)"?\s*(\bfrom\b|$)/i.exec(part);
    if (!match) return [];
    names.push(match[1] ?? '');
    if (match[2]) break;
  }
  return names;
}

/** What cannot be read is left out: completion is an aid, and no reason to fail. */
export async function readSchema(file: string, signal: AbortSignal): Promise<Schema> {
  const found = await Promise.all(kCatalogues.map((one) => entriesIn(file, one, signal).catch(() => [])));
  const entries = found.flat().slice(0, kMostRelations);
  const texts = new Set(kTextsOfViews);
  const relations = await Promise.all(entries.map(async ({name, isView, sql}): Promise<Relation> => {
    if (!isView) {
      const columns = columnsOf(sql);
      for (const column of columns) if (column.isText) texts.add(column.name);
      return {name, isView, columns: columns.map((column) => column.name)};
    }
    // By its text first: the query is refused where a view has a column of truth values.
    const columns = columnsOfView(sql);
    if (columns.length > 0) return {name, isView, columns};
    try {
      const {columns} = await project(file).query(`select * from ${quoted(name)} limit 0`, {signal});
      return {name, isView, columns: columns.map((column) => column.name)};
    } catch {
      return {name, isView, columns: []};
    }
  }));
  return {relations, texts};
}
