// What the page asks of a project. Names and shapes are those of the server's own description, from
// which generated/openapi.d.ts is made whenever the page is built.

import createClient from 'openapi-fetch';

import type {components, operations, paths} from '../../generated/openapi';
import {call, ofProject, send, type Query} from './call';
import {access, wantsToken, type Access} from './session';

type Schemas = components['schemas'];

export type Lines = Schemas['Lines'];
export type Cell = Lines['rows'][number][number];
export type Column = Schemas['Column'];
export type Kind = operations['Projects.lines']['parameters']['query']['kind'];
export type Line = Schemas['Line'];
export type Shape = Schemas['Shape'];
export type Sketch = Schemas['Sketches']['sketches'][number];
export type Edited = Schemas['Edited'];
export type FieldChange = Edited['changes'][number];
export type Contents = Schemas['Contents'];
export type SheetSummary = Contents['sheets'][number];
export type RevisionSummary = SheetSummary['revisions'][number];
export type CatalogueEntry = Contents['materials'][number];
export type Use = CatalogueEntry['uses'][number];
export type ImportReply = Schemas['ImportReply'];
export type Fault = ImportReply['left_out'][number];
export type ProjectFile = Schemas['ProjectFiles']['projects'][number];

/** Rows of a table of the server's, by the columns' names. */
export type Row = Record<string, Cell>;

export const kinds: Kind[] = ['bars', 'fabrics', 'bar_spacers', 'mounting_parts'];

// Failures are thrown by `send`: what comes back is always there.
const client = createClient<paths>({baseUrl: location.origin, fetch: send});

function found<T>(reply: {data?: T | undefined}): T {
  return reply.data as T;
}

/** What every call of a file has. */
function of(file: string, signal?: AbortSignal) {
  return {params: {path: {file}}, ...(signal ? {signal} : {})};
}

export async function readAccess(): Promise<Access> {
  const known = found(await client.GET('/v1/access'));
  access.value = known;
  wantsToken.value = false;
  return known;
}

export async function readProjects(signal?: AbortSignal): Promise<ProjectFile[]> {
  return found(await client.GET('/v1/projects', signal ? {signal} : {})).projects;
}

export async function readContents(file: string, signal?: AbortSignal): Promise<Contents> {
  return found(await client.GET('/v1/projects/{file}/contents', of(file, signal)));
}

export type LinesQuery = operations['Projects.lines']['parameters']['query'];

export async function readLines(file: string, query: LinesQuery, signal?: AbortSignal): Promise<Lines> {
  return found(await client.GET('/v1/projects/{file}/lines',
    {...of(file, signal), params: {path: {file}, query}}));
}

export async function readLine(file: string, kind: Kind, id: number, signal?: AbortSignal): Promise<Line> {
  return found(await client.GET('/v1/projects/{file}/line',
    {...of(file, signal), params: {path: {file}, query: {kind, id}}}));
}

/** At most 200 at a time; sizes in millimetres. An id that there is not is left out, and so is every
 * one of a kind that has no shapes. */
export async function readSketches(
  file: string, kind: Kind, ids: number[], size: {width: number; height: number}, signal?: AbortSignal,
): Promise<Sketch[]> {
  if (kind !== 'bars' && kind !== 'fabrics') return [];
  const query = {kind, ids: ids.join(','), ...size};
  return found(await client.GET('/v1/projects/{file}/sketches',
    {...of(file, signal), params: {path: {file}, query}})).sketches;
}

/** New values by the paths of fields ("total_bars", "parameters_exact.a", "steel"). With `tag` it is
 * refused (412) if the revision has changed since; a trial stores nothing. */
export async function editBar(
  file: string, id: number, values: Record<string, unknown>, options: {tag?: string; isTrial?: boolean} = {},
): Promise<Edited> {
  return found(await client.POST('/v1/projects/{file}/edit', {
    params: {
      path: {file},
      query: {id, ...(options.isTrial ? {dry_run: true} : {})},
      header: options.tag ? {'If-Match': options.tag} : {},
    },
    body: values,
  }));
}

/** The tables of `totals`: revisions, bar_totals and so on. */
export async function readTotals(
  file: string, query: {sheet?: string; revision?: string} = {}, signal?: AbortSignal,
): Promise<Schemas['Totals']> {
  return found(await client.GET('/v1/projects/{file}/totals',
    {...of(file, signal), params: {path: {file}, query}}));
}

/** The tables of `compare`. */
export async function readComparison(
  file: string, query: operations['Projects.compare']['parameters']['query'], signal?: AbortSignal,
): Promise<Schemas['Comparison']> {
  return found(await client.GET('/v1/projects/{file}/compare',
    {...of(file, signal), params: {path: {file}, query}}));
}

/** A file that the server makes: export, bending-list. */
export async function readFile(file: string, route: string, query: Query, signal?: AbortSignal): Promise<Blob> {
  return (await call(ofProject(file, route), {query, ...(signal ? {signal} : {})})).blob();
}
