// Sketches that are asked for when they come into view, many at a time.

import {signal, type Signal} from '@preact/signals';
import {useEffect, useRef} from 'preact/hooks';
import type {Kind, Sketch} from 'korvane-client';

import {readSketches} from '../server/server';
import {words} from '../words/words';
import './lazy_sketch.css';

const t = words({
  en: {none: 'no sketch', waiting: 'Sketch is loading', failed: 'The sketch could not be loaded'},
  de: {none: 'keine Skizze', waiting: 'Skizze wird geladen', failed: 'Die Skizze konnte nicht geladen werden'},
});

/** As many as the server gives at a time. */
const kMostAtATime = 200;
const kSize = {width: 60, height: 18};

type State = Sketch | 'waiting' | 'none' | 'failed';

export class Sketches {
  private readonly known = new Map<string, Signal<State>>();
  private readonly wanted = new Map<Kind, number[]>();
  private under: Promise<void> | null = null;
  private readonly controller = new AbortController();

  constructor(private readonly file: string) {}

  of(kind: Kind, id: number): Signal<State> {
    const key = `${kind} ${id}`;
    let state = this.known.get(key);
    if (!state) {
      state = signal<State>('waiting');
      this.known.set(key, state);
      this.wanted.set(kind, [...(this.wanted.get(kind) ?? []), id]);
      this.under ??= this.load();
    }
    return state;
  }

  /** Resolves when nothing more is on its way. */
  async settled(): Promise<void> {
    while (this.under) await this.under;
  }

  close(): void {
    this.controller.abort();
  }

  private async load(): Promise<void> {
    // What comes into view in one moment is asked for together.
    await new Promise((later) => setTimeout(later, 30));
    for (const [kind, ids] of this.wanted) {
      const some = ids.splice(0, kMostAtATime);
      if (ids.length === 0) this.wanted.delete(kind);
      await this.loadSome(kind, some);
      if (this.controller.signal.aborted) break;
    }
    this.under = this.wanted.size > 0 && !this.controller.signal.aborted ? this.load() : null;
  }

  private async loadSome(kind: Kind, ids: number[]): Promise<void> {
    let missing: State = 'none';
    let found: Sketch[] = [];
    try {
      found = await readSketches(this.file, kind, ids, kSize, this.controller.signal);
    } catch {
      missing = 'failed';
    }
    const byId = new Map(found.map((sketch) => [sketch.id, sketch]));
    for (const id of ids) {
      const state = this.known.get(`${kind} ${id}`);
      if (state) state.value = byId.get(id) ?? missing;
    }
  }
}

/** `svg` comes from the server and is an image to the page: nothing in it can run. */
export function SketchImage(props: {sketch: Sketch}) {
  return (
    <img class="line-sketch" src={`data:image/svg+xml,${encodeURIComponent(props.sketch.svg)}`}
      alt={props.sketch.description} />
  );
}

/** A sketch that is loaded once it is nearly in view. */
export function LazySketch(props: {sketches: Sketches; kind: Kind; id: number}) {
  const place = useRef<HTMLSpanElement>(null);
  const isSeen = useRef(signal(false)).current;
  useEffect(() => {
    const element = place.current;
    if (!element || isSeen.value) return;
    const observer = new IntersectionObserver((entries) => {
      if (entries.some((entry) => entry.isIntersecting)) {
        isSeen.value = true;
        observer.disconnect();
      }
    }, {root: element.closest('main'), rootMargin: '400px'});
    observer.observe(element);
    return () => observer.disconnect();
  }, []);
  const state = isSeen.value ? props.sketches.of(props.kind, props.id).value : 'waiting';
  return (
    <span class="line-sketch-place" ref={place}>
      {typeof state === 'object' ? <SketchImage sketch={state} />
        : <span class="quiet">{state === 'waiting' ? t.waiting : state === 'failed' ? t.failed : t.none}</span>}
    </span>
  );
}
