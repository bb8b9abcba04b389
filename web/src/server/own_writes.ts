// What this tab writes: the server tells of it as of every change, and nobody needs to hear of his own.

import type {ProjectChange} from 'korvane-client';

import {access} from './session';

interface Write {
  file: string;
  operation: string;
  /** When it is no longer expected that the server tells of it. */
  end: number;
}

/** The server tells at once; a busy browser may hear it late. */
const kGrace = 3000;

let writes: Write[] = [];
const listeners = new Set<(file: string) => void>();

/** Notes a write that is under way. Others of the same name, from another tab, are not told apart from
 * it while it lasts. */
export async function own<T>(file: string, operation: string, work: () => Promise<T>): Promise<T> {
  const write = {file, operation, end: Infinity};
  writes = [...writes.filter(({end}) => end > Date.now()), write];
  try {
    return await work();
  } finally {
    write.end = Date.now() + kGrace;
    for (const listener of listeners) listener(file);
  }
}

export function isOwn(file: string, change: ProjectChange): boolean {
  return change.by === access.value?.client && writes.some((one) =>
    one.file === file && one.operation === change.operation && one.end > Date.now());
}

/** Calls `listener` after each write, until the function that it returns is called. */
export function afterOwnWrites(listener: (file: string) => void): () => void {
  listeners.add(listener);
  return () => {
    listeners.delete(listener);
  };
}
