// The server that the page came from.

import {Korvane, type Access, type Kind, type Project, type ProjectFile, type Sketch} from 'korvane-client';

import {own} from './own_writes';
import {access, isLost, token, wantsToken} from './session';

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

/** What it writes is known as this tab's own. */
export function project(file: string): Project {
  const one = server.project(file);
  const edit = one.edit.bind(one);
  const store = one.import.bind(one);
  one.edit = (id, values, options = {}) =>
    (options.isTrial ? edit(id, values, options) : own(file, 'edit', () => edit(id, values, options)));
  one.import = (content, options = {}) =>
    (options.dry_run ? store(content, options) : own(file, 'import', () => store(content, options)));
  return one;
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
