// What changes in a project, as it happens.

import {NoAnswer, ServerError} from './errors.js';
import {eventsOf, type StreamEvent} from './event_stream.js';
import type {CallOptions} from './project.js';
import {pause, type Sender} from './sender.js';
import type {OperationName} from './types.js';

/** The first event of every connection: from now on changes are told. After the first one it means
 * that changes may have been missed. */
export interface WatchState {
  kind: 'state';
  /** The run of the server: another one after it was reloaded or started again. */
  run: string;
  /** The file, as the server calls it. */
  project: string;
}

export interface ProjectChange {
  kind: 'change';
  /** Null where another program has written to the file. */
  operation: OperationName | 'edit' | 'import' | null;
  /** Which client it was, by its token's name or its address; null for another program. */
  by: string | null;
  when: Date;
  /** What was changed: "sheet", "revision" or an entry of a catalogue. Null where it is more than one. */
  entry: {kind: string; id: number} | null;
}

/** More has changed than the server has kept: whoever shows something reads it again. */
export interface MissedChanges {
  kind: 'missed';
}

export type ProjectEvent = WatchState | ProjectChange | MissedChanges;

export interface WatchOptions extends CallOptions {
  /** Milliseconds without a sign of life after which the connection counts as broken. The server gives
   * one every 15 seconds. */
  longestSilence?: number;
}

interface SentChange {
  operation: ProjectChange['operation'];
  by: string | null;
  when: string;
  kind: string | null;
  id: number | null;
}

/** Null for events of a later server, which this client does not know. */
function projectEventOf({name, data}: StreamEvent): ProjectEvent | null {
  if (name === 'missed') return {kind: 'missed'};
  if (name === 'state') {
    const {run, project} = JSON.parse(data) as Omit<WatchState, 'kind'>;
    return {kind: 'state', run, project};
  }
  if (name !== 'change') return null;
  const {operation, by, when, kind, id} = JSON.parse(data) as SentChange;
  const entry = kind === null || id === null ? null : {kind, id};
  return {kind: 'change', operation, by, when: new Date(when), entry};
}

/** Says whether connecting again may help. */
function isPassing(failure: unknown): boolean {
  if (failure instanceof NoAnswer) return true;
  return failure instanceof ServerError && (failure.status >= 500 || failure.status === 408 || failure.status === 429);
}

/** Events without end: connects again whenever the stream ends or breaks. Throws what no connection
 * would mend, and what `signal` was aborted with. */
export async function* changesOf(
  sender: Sender, path: string, options: WatchOptions): AsyncGenerator<ProjectEvent, void, undefined> {
  const {signal, longestSilence = 45_000} = options;
  for (let attempt = 0; ;) {
    let failure: unknown = null;
    let begin: number | null = null;
    try {
      const response = await sender.open({
        method: 'GET', path, signal, isRepeatable: false, headers: {Accept: 'text/event-stream'},
      });
      begin = Date.now();
      for await (const event of eventsOf(response, longestSilence)) {
        const known = projectEventOf(event);
        if (known) yield known;
      }
    } catch (caught) {
      signal?.throwIfAborted();
      if (!isPassing(caught)) throw caught;
      failure = caught;
    }
    signal?.throwIfAborted();
    // One that ends as soon as it begins would otherwise be asked for without a pause.
    const hasLasted = begin !== null && Date.now() - begin >= sender.repeating.firstWait;
    if (hasLasted) attempt = 0;
    if (hasLasted && failure === null) continue;
    attempt += 1;
    const theirs = failure instanceof ServerError ? (failure.retryAfter ?? 0) * 1000 : 0;
    await pause(Math.max(sender.backOff(attempt), theirs), signal);
  }
}
