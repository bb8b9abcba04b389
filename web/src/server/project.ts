// What the page asks of a project. Names and shapes are the server's own.

import {call, getJson, ofProject, postJson, type Query} from './call';
import {access, wantsToken, type Access} from './session';

export type Cell = string | number | null;
export type Kind = 'bars' | 'fabrics' | 'bar_spacers' | 'mounting_parts';
export const kinds: Kind[] = ['bars', 'fabrics', 'bar_spacers', 'mounting_parts'];
/** The table of the project file that a kind of lines stands in. */
export const tableOf: Record<Kind, string> = {
  bars: 'rebar', fabrics: 'fabric', bar_spacers: 'barspacer', mounting_parts: 'mountingpart',
};

export interface ProjectFile {
  file: string;
  size: number;
  changed: string;
  is_open: boolean;
}

export interface Column {
  name: string;
  title: string;
  kind: 'text' | 'number';
  unit: string;
  decimals: number;
}

export interface Lines {
  columns: Column[];
  /** The ids of the rows, in their order. */
  ids: number[];
  /** Each as long as `columns`. */
  rows: Cell[][];
  /** Of all lines of this kind in the revision. */
  count: number;
  /** Ask for what comes after it; null after the last line. */
  next: number | null;
}

export interface Shape {
  kind: 'unknown' | 'flat' | 'spatial' | 'helix' | 'sheet';
  /** Points along the middle of the bar in millimetres; empty if unknown. */
  path: [number, number, number][];
  diameter: number;
  description: string;
}

export interface Line {
  table: string;
  id: number;
  sheet: string;
  revision: string;
  revision_id: number;
  /** Names the present content of the revision: for If-Match. */
  tag: string;
  /** What is stored, as the contract has it. */
  record: Record<string, unknown>;
  /** The same for people, in the order of the columns. */
  columns: Column[];
  row: Cell[];
  shape: Shape;
}

export interface Sketch {
  id: number;
  svg: string;
  description: string;
}

export interface FieldChange {
  field: string;
  before: Cell;
  after: Cell;
}

export interface Edited {
  /** Of the line, now. */
  id: number;
  changes: FieldChange[];
  tag: string;
}

export interface RevisionSummary {
  id: number;
  name: string;
  record: Record<string, unknown>;
  bars: number;
  fabrics: number;
  bar_spacers: number;
  mounting_parts: number;
  marks: number;
  pieces: number;
  kilograms: number;
  /** Marks that no weight is known of. */
  without_weight: number;
}

export interface SheetSummary {
  id: number;
  name: string;
  record: Record<string, unknown>;
  revisions: RevisionSummary[];
}

export interface Use {
  revision_id: number;
  lines: number;
}

export interface CatalogueEntry {
  id: number;
  name: string;
  record: Record<string, unknown>;
  /** The revisions whose lines refer to it, with how many do. */
  uses: Use[];
}

export interface Contents {
  project: Record<string, unknown>;
  sheets: SheetSummary[];
  materials: CatalogueEntry[];
  fabric_types: CatalogueEntry[];
}

export interface Fault {
  line: number;
  reason: string;
}

export interface ImportReply {
  revisions: {
    /** 0 in a trial, where the revision is not there yet. */
    id: number; sheet: string; revision: string;
    bars: number; fabrics: number; bar_spacers: number; mounting_parts: number;
    /** What the revision had before. */
    lines_before: number;
  }[];
  left_out: Fault[];
  skipped: Record<string, number>;
  notes: string[];
}

/** Rows of a table of the server's, by the columns' names. */
export type Row = Record<string, Cell>;

export async function readAccess(): Promise<Access> {
  const found = await getJson<Access>('/v1/access');
  access.value = found;
  wantsToken.value = false;
  return found;
}

export async function readProjects(signal?: AbortSignal): Promise<ProjectFile[]> {
  return (await getJson<{projects: ProjectFile[]}>('/v1/projects', {}, signal)).projects;
}

export function readContents(file: string, signal?: AbortSignal): Promise<Contents> {
  return getJson<Contents>(ofProject(file, 'contents'), {}, signal);
}

export interface LinesQuery extends Query {
  revision_id: number;
  kind: Kind;
  /** Names of columns between commas; all if it is not given. */
  fields?: string;
  after?: number;
  limit?: number;
}

export function readLines(file: string, query: LinesQuery, signal?: AbortSignal): Promise<Lines> {
  return getJson<Lines>(ofProject(file, 'lines'), query, signal);
}

export function readLine(file: string, kind: Kind, id: number, signal?: AbortSignal): Promise<Line> {
  return getJson<Line>(ofProject(file, 'line'), {kind, id}, signal);
}

/** At most 200 at a time; sizes in millimetres. An id that there is not is left out. */
export async function readSketches(
  file: string, kind: Kind, ids: number[], size: {width: number; height: number}, signal?: AbortSignal): Promise<Sketch[]> {
  const query = {kind, ids: ids.join(','), ...size};
  return (await getJson<{sketches: Sketch[]}>(ofProject(file, 'sketches'), query, signal)).sketches;
}

/** New values by the paths of fields ("total_bars", "parameters_exact.a", "steel"). With `tag` it is
 * refused (412) if the revision has changed since; a trial stores nothing. */
export function editBar(
  file: string, id: number, values: Record<string, unknown>, options: {tag?: string; isTrial?: boolean} = {}): Promise<Edited> {
  return postJson<Edited>(ofProject(file, 'edit'), values, {id, dry_run: options.isTrial ? true : undefined},
    options.tag ? {'If-Match': options.tag} : {});
}

/** The tables of `totals`: revisions, bar_totals and so on. */
export function readTotals(
  file: string, query: {sheet?: string; revision?: string} = {}, signal?: AbortSignal): Promise<Record<string, Row[]>> {
  return getJson(ofProject(file, 'totals'), query, signal);
}

/** The tables of `compare`. */
export function readComparison(
  file: string, query: {sheet?: string; before: string; after: string}, signal?: AbortSignal): Promise<Record<string, Row[]>> {
  return getJson(ofProject(file, 'compare'), query, signal);
}

/** A file that the server makes: export, bending-list. */
export async function readFile(file: string, route: string, query: Query, signal?: AbortSignal): Promise<Blob> {
  return (await call(ofProject(file, route), {query, ...(signal ? {signal} : {})})).blob();
}

export interface QueryResult {
  columns: string[];
  rows: Cell[][];
  /** The server has cut rows off. */
  isCut: boolean;
}
