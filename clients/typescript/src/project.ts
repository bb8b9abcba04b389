// One project of a server, by the name of its file.

import {changesOf, type ProjectEvent, type WatchOptions} from './changes.js';
import {KorvaneError} from './errors.js';
import {operations} from './generated/description.js';
import {valuesOf} from './ndjson.js';
import type {Progress} from './progress.js';
import {queryReplyOf, type QueryReply} from './query.js';
import type {Content, Outgoing, Query, Sender} from './sender.js';
import type {
  Cell, Comparison, Contents, Edited, ImportReply, Line, Lines, OperationName, QueryOf, ReplyOf, RequestOf,
  Row, Sketch, Totals,
} from './types.js';

export interface CallOptions {
  signal?: AbortSignal | undefined;
}

export interface WriteOptions extends CallOptions {
  /** Whether the project is made if it is not there. */
  create?: boolean;
  /** The state that was seen: if it is another by now, nothing is done (412). */
  ifMatch?: string | undefined;
  /** By which the server knows this write again. One is made for each write unless it is given. */
  idempotencyKey?: string;
}

export interface ImportOptions extends WriteOptions, Omit<QueryOf<'import'>, 'create'> {
  onProgress?: Progress;
}

/** A line of a revision: its row's id and its values by the names of their columns. */
export interface NumberedRow {
  id: number;
  values: Row;
}

const kJson = 'application/json';

async function jsonOf<T>(response: Response): Promise<T> {
  return JSON.parse(await response.text()) as T;
}

function rowOf(columns: Lines['columns'], cells: Cell[]): Row {
  return Object.fromEntries(columns.map(({name}, i) => [name, cells[i] ?? null]));
}

export class Project {
  readonly #sender: Sender;
  readonly #path: string;

  constructor(sender: Sender, readonly file: string) {
    this.#sender = sender;
    this.#path = `/v1/projects/${encodeURIComponent(file)}/`;
  }

  /** Any operation of a project by its name: "create_sheet", "add_rebar". One that only reads is
   * repeated when it fails on the way; one that writes where the server knows it again by its key. */
  call<Name extends OperationName>(
    operation: Name, request: RequestOf<Name>, options: WriteOptions = {}): Promise<ReplyOf<Name>> {
    return this.#post(operation, JSON.stringify(request), kJson, options);
  }

  /** SQL that only reads: the server lets nothing else happen, whatever the query says. */
  query(sql: string, options: CallOptions = {}): Promise<QueryReply> {
    const request: RequestOf<'query_table'> = {kind: 'sql:raw', params: {query: {value_string: sql}}};
    return this.#get('query_table', {request: JSON.stringify(request)}, options, async (response) =>
      queryReplyOf(await jsonOf(response), response.headers.get('Korvane-Truncated')));
  }

  /** Sheets with their revisions, materials and fabric types. */
  contents(options: CallOptions = {}): Promise<Contents> {
    return this.#get('contents', {}, options, jsonOf<Contents>);
  }

  /** One page of the lines of a revision: `next` is the `after` of the next one. */
  linesPage(query: QueryOf<'lines'>, options: CallOptions = {}): Promise<Lines> {
    return this.#get('lines', query, options, jsonOf<Lines>);
  }

  /** All lines of one kind of a revision, page after page: `limit` is how many are fetched at once. A line that the
   * server cannot read ends it with a KorvaneError, after the others of its page; linesPage gives the rest. */
  async *lines(
    query: Omit<QueryOf<'lines'>, 'after'>, options: CallOptions = {}): AsyncGenerator<NumberedRow, void, undefined> {
    for (let after: number | null | undefined; after !== null;) {
      const page: Lines = await this.linesPage(after === undefined ? query : {...query, after}, options);
      for (const [i, id] of page.ids.entries()) yield {id, values: rowOf(page.columns, page.rows[i] ?? [])};
      if (page.damaged[0]) throw new KorvaneError(page.damaged[0].detail);
      after = page.next;
    }
  }

  /** All of one line: its record, a row for people, its shape. */
  line(query: QueryOf<'line'>, options: CallOptions = {}): Promise<Line> {
    return this.#get('line', query, options, jsonOf<Line>);
  }

  /** Drawings of up to 200 bars or fabrics; sizes in millimetres. A line that is not there is left
   * out. */
  async sketches(
    query: Omit<QueryOf<'sketches'>, 'ids'> & {ids: number[]}, options: CallOptions = {}): Promise<Sketch[]> {
    const reply = await this.#get('sketches', {...query, ids: query.ids.join(',')}, options,
                                  jsonOf<{sketches: Sketch[]}>);
    return reply.sketches;
  }

  /** Pieces, metres and kilograms, by revision, diameter, steel and type. */
  totals(query: QueryOf<'totals'> = {}, options: CallOptions = {}): Promise<Totals> {
    return this.#get('totals', query, options, jsonOf<Totals>);
  }

  /** What has changed between two revisions of a sheet. */
  compare(query: QueryOf<'compare'>, options: CallOptions = {}): Promise<Comparison> {
    return this.#get('compare', query, options, jsonOf<Comparison>);
  }

  /** The schedule in a format for others. */
  exportAs(query: QueryOf<'export'>, options: CallOptions = {}): Promise<Blob> {
    return this.#get('export', query, options, (response) => response.blob());
  }

  /** What goes to the bending yard. */
  bendingList(query: QueryOf<'bending-list'>, options: CallOptions = {}): Promise<Blob> {
    return this.#get('bending-list', query, options, (response) => response.blob());
  }

  /** Every record of the project or of a part of it, one after the other, as they come: large projects
   * take no memory. Once some have come a reply that breaks off is not asked for again. */
  async *records<T = Record<string, unknown>>(
    query: Omit<QueryOf<'export'>, 'format' | 'kind' | 'skip_unsayable'> = {}, options: CallOptions = {},
  ): AsyncGenerator<T, void, undefined> {
    const response = await this.#get('export', {...query, format: 'ndjson'}, options, (reply) => Promise.resolve(reply));
    yield* valuesOf<T>(response);
  }

  /** Tells of changes as they happen, by whomever, until the loop is left or `signal` is aborted.
   * Connects again whenever the connection ends; throws ServerError where the server does not let the
   * client watch, or has no such project. */
  changes(options: WatchOptions = {}): AsyncGenerator<ProjectEvent, void, undefined> {
    return changesOf(this.#sender, `${this.#path}changes`, options);
  }

  /** Names the state of the whole project: another one after any change, and after the server was
   * reloaded. */
  tag(options: CallOptions = {}): Promise<string | null> {
    return this.#sender.send({
      method: 'HEAD', path: `${this.#path}contents`, signal: options.signal, isRepeatable: true, headers: {Accept: kJson},
    }, (response) => Promise.resolve(response.headers.get('ETag')));
  }

  /** Stores a schedule, of records of BVBS or of JSON as `exportAs` gives it. */
  import(content: Content, options: ImportOptions = {}): Promise<ImportReply> {
    const {signal, ifMatch, idempotencyKey, onProgress, create, ...query} = options;
    const write: WriteOptions = {
      signal, ifMatch,
      ...(create === undefined ? {} : {create}),
      ...(idempotencyKey === undefined ? {} : {idempotencyKey}),
    };
    return this.#post('import', content, 'application/octet-stream', write, query, onProgress);
  }

  /** New values for a bar by the paths of its fields: "total_bars", "parameters_exact.a", "steel". A
   * trial stores nothing. */
  edit(
    id: number, values: Record<string, unknown>, options: WriteOptions & {isTrial?: boolean | undefined} = {},
  ): Promise<Edited> {
    const query: Query = {id, ...(options.isTrial ? {dry_run: true} : {})};
    return this.#post('edit', JSON.stringify(values), kJson, options, query);
  }

  #get<T>(
    name: string, query: object, options: CallOptions, read: (response: Response) => Promise<T>): Promise<T> {
    return this.#sender.send({
      method: 'GET', path: this.#path + name, query: query as Query, signal: options.signal, isRepeatable: true,
      headers: {Accept: name === 'export' || name === 'bending-list' ? '*/*' : kJson},
    }, read);
  }

  #post<T>(
    name: keyof typeof operations, body: Content, type: string, options: WriteOptions, query: Query = {},
    onProgress?: Progress): Promise<T> {
    const {isRead, takesKey} = operations[name];
    const request: Outgoing = {
      method: 'POST', path: this.#path + name, body, signal: options.signal, onProgress, takesKey,
      isRepeatable: isRead || query['dry_run'] === true, query: {...query, create: options.create},
      headers: {
        'Content-Type': type,
        Accept: kJson,
        ...(options.ifMatch ? {'If-Match': options.ifMatch} : {}),
        ...(options.idempotencyKey ? {'Idempotency-Key': options.idempotencyKey} : {}),
      },
    };
    return this.#sender.send(request, jsonOf<T>);
  }
}

