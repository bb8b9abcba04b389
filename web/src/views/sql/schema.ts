// The tables, views and columns of a project, read from the project itself.

import type {Cell} from '../../server/project';
import {runQuery} from '../../server/query';

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

function quoted(name: string): string {
  return `"${name.replaceAll('"', '""')}"`;
}

async function namesIn(file: string, catalogue: string, signal: AbortSignal): Promise<[string, boolean][]> {
  const reply = await runQuery(file,
    `select name, type from ${catalogue} where type in ('table', 'view') and name not like 'sqlite_%' order by name`,
    signal);
  return reply.rows.map(([name, type]: Cell[]) => [String(name), type === 'view']);
}

/** What cannot be read is left out: completion is an aid, and no reason to fail. */
export async function readSchema(file: string, signal: AbortSignal): Promise<Schema> {
  const found = await Promise.all(kCatalogues.map((one) => namesIn(file, one, signal).catch(() => [])));
  const names = [...new Map(found.flat())].slice(0, kMostRelations);
  const texts = new Set<string>();
  const others = new Set<string>();
  const relations = await Promise.all(names.map(async ([name, isView]): Promise<Relation> => {
    try {
      const {columns} = await runQuery(file, `select * from ${quoted(name)} limit 0`, signal);
      // A computed column of a view has no type either, and may well hold numbers.
      for (const column of columns) (column.isText && !isView ? texts : others).add(column.name);
      return {name, isView, columns: columns.map((column) => column.name)};
    } catch {
      return {name, isView, columns: []};
    }
  }));
  return {relations, texts};
}
