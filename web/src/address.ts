// Where in the page one is. The part of the address after # says it, so that every view can be
// bookmarked and sent, whatever stands before the server.

import {computed, signal} from '@preact/signals';

export interface Address {
  /** Decoded: ["projects", "halls/a 7.db", "schedule", "12", "bars"]; none for the list of projects. */
  path: string[];
  params: Record<string, string>;
}

export function parse(hash: string): Address {
  const [path = '', query = ''] = hash.replace(/^#?\/?/, '').split('?', 2) as [string?, string?];
  const segments = path === '' ? [] : path.split('/').map(decoded);
  return {path: segments, params: Object.fromEntries(new URLSearchParams(query))};
}

function decoded(segment: string): string {
  try {
    return decodeURIComponent(segment);
  } catch {
    return segment;
  }
}

/** The address as a link. Parameters that are empty or not given are left out. */
export function href(path: (string | number)[], params: Record<string, string | number | undefined> = {}): string {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(params)) {
    if (value !== undefined && value !== '') query.set(name, String(value));
  }
  const text = query.toString();
  return '#/' + path.map((one) => encodeURIComponent(String(one))).join('/') + (text ? '?' + text : '');
}

/** The address of a project, or of a view of it. */
export function ofFile(
  file: string, view: (string | number)[] = [], params: Record<string, string | number | undefined> = {}): string {
  return href(['projects', file, ...view], params);
}

const hash = signal(location.hash);
let mayMove = () => true;
addEventListener('hashchange', (event) => {
  if (mayMove()) hash.value = location.hash;
  else history.pushState(null, '', event.oldURL);
});

/** Until the function that it returns is called, another address is only shown if `ask` says so. */
export function guardAddress(ask: () => boolean): () => void {
  mayMove = ask;
  return () => {
    mayMove = () => true;
  };
}

export const address = computed<Address>(() => parse(hash.value));

export function go(target: string): void {
  location.hash = target;
}

/** Changes parameters of the present address. What is typed or scrolled makes no step for "back". */
export function setParams(changes: Record<string, string | number | undefined>, makesStep = false): void {
  const {path, params} = address.value;
  const target = href(path, {...params, ...changes});
  if (target === hash.value) return;
  if (makesStep) {
    location.hash = target;
    return;
  }
  history.replaceState(null, '', target);
  hash.value = target;
}
