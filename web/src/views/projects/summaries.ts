// Sheets and kilograms of the projects in the list. They come one by one, of the rows that are seen.

import {signal, type Signal} from '@preact/signals';
import type {ProjectFile} from 'korvane-client';

import {project} from '../../server/server';

export type Summary =
  | {state: 'waiting'}
  | {state: 'known'; sheets: number; kilograms: number; withoutWeight: number}
  | {state: 'failed'; failure: unknown};

const kAtATime = 2;

interface Entry {
  summary: Signal<Summary>;
  /** Ends the call that is under way for it. */
  controller: AbortController | null;
}

/** By file and time of change: a project that has changed is asked anew. */
const entries = new Map<string, Entry>();
let waiting: {key: string; file: string}[] = [];
let underWay = 0;

function keyOf(project: ProjectFile): string {
  return `${project.file}\n${project.changed}\n${project.size}`;
}

function entryOf(key: string): Entry {
  let entry = entries.get(key);
  if (!entry) {
    entry = {summary: signal<Summary>({state: 'waiting'}), controller: null};
    entries.set(key, entry);
  }
  return entry;
}

export function summaryOf(project: ProjectFile): Signal<Summary> {
  return entryOf(keyOf(project)).summary;
}

/** Asks for it, unless it is known or asked for. */
export function want(project: ProjectFile): void {
  const key = keyOf(project);
  const entry = entryOf(key);
  if (entry.summary.value.state !== 'waiting' || entry.controller || waiting.some((one) => one.key === key)) return;
  waiting.push({key, file: project.file});
  next();
}

/** Nobody looks at it any more. */
export function drop(project: ProjectFile): void {
  const key = keyOf(project);
  waiting = waiting.filter((one) => one.key !== key);
  entries.get(key)?.controller?.abort();
}

export function askAgain(project: ProjectFile): void {
  entryOf(keyOf(project)).summary.value = {state: 'waiting'};
  want(project);
}

function next(): void {
  while (underWay < kAtATime) {
    const one = waiting.shift();
    if (!one) return;
    underWay += 1;
    void ask(entryOf(one.key), one.file).finally(() => {
      underWay -= 1;
      next();
    });
  }
}

async function ask(entry: Entry, file: string): Promise<void> {
  const controller = new AbortController();
  entry.controller = controller;
  try {
    const {sheets} = await project(file).contents({signal: controller.signal});
    const revisions = sheets.flatMap((sheet) => sheet.revisions);
    entry.summary.value = {
      state: 'known',
      sheets: sheets.length,
      kilograms: revisions.reduce((sum, one) => sum + one.kilograms, 0),
      withoutWeight: revisions.reduce((sum, one) => sum + one.without_weight, 0),
    };
  } catch (failure) {
    if (!controller.signal.aborted) entry.summary.value = {state: 'failed', failure};
  } finally {
    entry.controller = null;
  }
}
