// Changes of a project by others. A browser makes six connections to a server over HTTP/1.1, for all of
// its tabs together, and each stream of events holds one: they are few, or pages would stand still.

import type {MissedChanges, ProjectChange} from 'korvane-client';

import {afterOwnWrites, isOwn} from './own_writes';
import {project} from './server';

export type News = ProjectChange | MissedChanges;

/** A tab that nobody looks at keeps its stream that long, in milliseconds, unless another one needs it. */
const kHiddenFor = 60_000;
/** Streams of all tabs together. The one that was opened first gives way, until its tab is looked at. */
const kMostStreams = 3;
/** After a change the project is asked for its tag when it has been quiet for that long. */
const kQuiet = 500;

const kTab = `${Date.now()} ${Math.random()}`;

/** The state of a project that the tab knows of: what happened while it had no stream is seen by it. */
class KnownTag {
  #tag: Promise<string | null>;
  #timer: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly file: string, private readonly signal: AbortSignal) {
    this.#tag = this.#read();
    signal.addEventListener('abort', () => clearTimeout(this.#timer));
  }

  async #read(): Promise<string | null> {
    return project(this.file).tag({signal: this.signal}).catch(() => null);
  }

  readSoon(): void {
    clearTimeout(this.#timer);
    if (!this.signal.aborted) this.#timer = setTimeout(() => { this.#tag = this.#read(); }, kQuiet);
  }

  async hasChanged(): Promise<boolean> {
    const before = this.#tag;
    this.#tag = this.#read();
    const [was, is] = await Promise.all([before, this.#tag]);
    return was !== null && is !== null && was !== is;
  }
}

async function listen(file: string, known: KnownTag, signal: AbortSignal, take: (news: News) => void): Promise<void> {
  for await (const event of project(file).changes({signal})) {
    if (event.kind === 'state') {
      if (await known.hasChanged() && !signal.aborted) take({kind: 'missed'});
      continue;
    }
    known.readSoon();
    if (event.kind === 'missed' || !isOwn(file, event)) take(event);
  }
}

/** Tells of what others change, until the function that it returns is called. */
export function watch(file: string, take: (news: News) => void): () => void {
  const leaving = new AbortController();
  const known = new KnownTag(file, leaving.signal);
  const tabs = new BroadcastChannel('korvane-streams');
  const newer = new Set<string>();
  let stream: AbortController | null = null;
  let hiding: ReturnType<typeof setTimeout> | undefined;
  const close = () => {
    stream?.abort();
    stream = null;
  };
  const open = () => {
    if (stream !== null) return;
    const opened = new AbortController();
    stream = opened;
    newer.clear();
    tabs.postMessage(kTab);
    listen(file, known, opened.signal, take).catch(() => {
      // Left, or refused: the view itself says what is refused.
      if (stream === opened) stream = null;
    });
  };
  tabs.onmessage = ({data}: MessageEvent<string>) => {
    newer.add(data);
    if (document.hidden || newer.size >= kMostStreams) close();
  };
  const look = () => {
    clearTimeout(hiding);
    if (document.hidden) hiding = setTimeout(close, kHiddenFor);
    else open();
  };
  const forget = afterOwnWrites((written) => {
    if (written === file) known.readSoon();
  });
  document.addEventListener('visibilitychange', look);
  addEventListener('focus', look);
  look();
  return () => {
    clearTimeout(hiding);
    close();
    leaving.abort();
    tabs.close();
    forget();
    document.removeEventListener('visibilitychange', look);
    removeEventListener('focus', look);
  };
}
