// The server that the page came from.

import {Korvane, type Kind, type Project, type ProjectFile, type Sketch} from 'korvane-client';

import {access, isLost, token, wantsToken, type Access} from './session';

const server = new Korvane({
  url: location.origin,
  token: () => token.value,
  // A person waits, and can try again.
  repeating: {attempts: 2, longestWait: 2000},
  onAnswer: (status) => {
    isLost.value = status === null;
    if (status === 401) wantsToken.value = true;
  },
});

export function project(file: string): Project {
  return server.project(file);
}

export function readProjects(signal?: AbortSignal): Promise<ProjectFile[]> {
  return server.projects({signal});
}

export async function readAccess(): Promise<Access> {
  const known = await server.access();
  access.value = known;
  wantsToken.value = false;
  return known;
}

/** At most 200 at a time; sizes in millimetres. Of kinds that have no shapes there are none. */
export async function readSketches(
  file: string, kind: Kind, ids: number[], size: {width: number; height: number}, signal?: AbortSignal,
): Promise<Sketch[]> {
  if (kind !== 'bars' && kind !== 'fabrics') return [];
  return project(file).sketches({kind, ids, ...size}, {signal});
}
