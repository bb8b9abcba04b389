// The sketches of the lines that are seen.

import {signal, type Signal} from '@preact/signals';
import type {Kind, Sketch} from 'korvane-client';

import {readSketches} from '../../server/server';

/** In millimetres: what a line of 48 pixels has room for. */
const kSize = {width: 40, height: 12};
const kMost = 600;
const kAtATime = 60;
/** One does not want what one scrolls past. */
const kPause = 120;
/** Browsers draw an SVG picture when it is first shown, some half a millisecond each. */
const kAFrame = 5;

export interface Drawn {
  source: string;
  description: string;
}

export function drawn(sketch: Sketch): Drawn {
  return {source: 'data:image/svg+xml,' + encodeURIComponent(sketch.svg), description: sketch.description};
}

export class SketchCache {
  private readonly sketches = new Map<number, Signal<Drawn | null>>();
  private readonly asked = new Set<number>();
  private readonly arrived: Sketch[] = [];
  private controller = new AbortController();
  private timer: ReturnType<typeof setTimeout> | undefined;
  private frame = 0;

  constructor(private readonly file: string, private readonly kind: Kind) {}

  /** Null until it is there. */
  of(id: number): Signal<Drawn | null> {
    const found = this.sketches.get(id);
    if (found) return found;
    const made = signal<Drawn | null>(null);
    this.sketches.set(id, made);
    return made;
  }

  /** Loads those of the lines that are seen now, once they have been seen for a moment. */
  see(ids: readonly number[]): void {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => {
      this.forgetOthers(ids);
      const missing = ids.filter((id) => this.of(id).peek() === null && !this.asked.has(id));
      for (let i = 0; i < missing.length; i += kAtATime) void this.load(missing.slice(i, i + kAtATime));
    }, kPause);
  }

  stop(): void {
    clearTimeout(this.timer);
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    this.controller.abort();
    this.controller = new AbortController();
    this.asked.clear();
    this.arrived.length = 0;
  }

  private async load(ids: number[]): Promise<void> {
    for (const id of ids) this.asked.add(id);
    try {
      this.arrived.push(...await readSketches(this.file, this.kind, ids, kSize, this.controller.signal));
      if (this.frame === 0) this.frame = requestAnimationFrame(() => this.show());
    } catch {
      // They are asked for again when they are seen next.
    } finally {
      for (const id of ids) this.asked.delete(id);
    }
  }

  private show(): void {
    for (const sketch of this.arrived.splice(0, kAFrame)) this.of(sketch.id).value = drawn(sketch);
    this.frame = this.arrived.length > 0 ? requestAnimationFrame(() => this.show()) : 0;
  }

  /** Those that were seen longest ago go when there are too many. */
  private forgetOthers(ids: readonly number[]): void {
    for (const id of ids) {
      const kept = this.of(id);
      this.sketches.delete(id);
      this.sketches.set(id, kept);
    }
    for (const id of this.sketches.keys()) {
      if (this.sketches.size <= kMost) break;
      this.sketches.delete(id);
    }
  }
}

export function SketchCell(props: {cache: SketchCache; id: number}) {
  const sketch = props.cache.of(props.id).value;
  return sketch ? <img class="sketch" src={sketch.source} alt={sketch.description} /> : <span class="no-sketch" />;
}
