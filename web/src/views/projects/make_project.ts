// Names of new projects, and making them.

import type {ProjectFile} from 'korvane-client';

import {project, readProjects} from '../../server/server';
import {words} from '../../words/words';

const t = words({
  en: {
    empty: 'Give it a name.',
    odd: 'A name is a path below the folder of the projects: without an empty part, ".", ".." or a backslash.',
    taken: (name: string) => `There is a project ${name} already.`,
  },
  de: {
    empty: 'Geben Sie einen Namen an.',
    odd: 'Ein Name ist ein Pfad unter dem Ordner der Projekte: ohne leeren Teil, „.“, „..“ oder umgekehrten Schrägstrich.',
    taken: (name: string) => `Ein Projekt ${name} gibt es schon.`,
  },
});

/** "hall 7" is hall 7.db. */
export function fileNameOf(name: string): string {
  const trimmed = name.trim();
  return trimmed.toLowerCase().endsWith('.db') ? trimmed : `${trimmed}.db`;
}

/** Why this cannot be the name of a project; empty if it can. The server may know more. */
export function nameFault(name: string): string {
  const trimmed = name.trim();
  if (trimmed === '' || trimmed.toLowerCase() === '.db') return t.empty;
  const parts = trimmed.split('/');
  return parts.some((part) => part.trim() === '' || part === '.' || part === '..') || trimmed.includes('\\') ? t.odd : '';
}

/** Says that there is such a file; empty if there is none. Some disks do not tell capitals apart. */
export function nameTaken(file: string, projects: ProjectFile[]): string {
  const wanted = file.toLowerCase();
  return projects.some((one) => one.file.toLowerCase() === wanted) ? t.taken(file) : '';
}

/** Makes the file with an empty record of the project. Throws where there is one of this name. */
export async function makeProject(file: string): Promise<void> {
  // Looked up now: storing the record in a file that is there would empty that file's record.
  const fault = nameTaken(file, await readProjects());
  if (fault !== '') throw new Error(fault);
  await project(file).call('update_project', {item: {properties: {}}}, {create: true});
}
