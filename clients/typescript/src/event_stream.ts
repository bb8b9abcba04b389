// text/event-stream, as browsers read it for EventSource, which itself can send no token.

import {KorvaneError, NoAnswer} from './errors.js';

export interface StreamEvent {
  name: string;
  data: string;
}

/** Reads texts as they come, cut anywhere, and gives the events that are whole. Lines end with CR, LF
 * or both. */
export class EventReader {
  #line = '';
  /** A line feed after a carriage return is part of it, also where it comes later. */
  #hasReturned = false;
  #name = '';
  #data: string[] = [];

  read(text: string): StreamEvent[] {
    if (text === '') return [];
    const fresh = this.#hasReturned && text.startsWith('\n') ? text.slice(1) : text;
    this.#hasReturned = text.endsWith('\r');
    const lines = (this.#line + fresh).split(/\r\n|\n|\r/);
    this.#line = lines.pop() ?? '';
    return lines.flatMap((line) => this.#take(line));
  }

  #take(line: string): StreamEvent[] {
    if (line === '') return this.#end();
    const colon = line.indexOf(':');
    const field = colon < 0 ? line : line.slice(0, colon);
    const value = colon < 0 ? '' : line.slice(colon + 1).replace(/^ /, '');
    if (field === 'event') this.#name = value;
    if (field === 'data') this.#data.push(value);
    return [];
  }

  #end(): StreamEvent[] {
    const event = {name: this.#name || 'message', data: this.#data.join('\n')};
    const isEmpty = this.#data.length === 0;
    this.#name = '';
    this.#data = [];
    return isEmpty ? [] : [event];
  }
}

function timeLimit(milliseconds: number): {passed: Promise<never>; stop: () => void} {
  let timer: ReturnType<typeof setTimeout> | undefined;
  const passed = new Promise<never>((_, reject) => {
    timer = setTimeout(() => reject(new Error('nothing came any more')), milliseconds);
  });
  return {passed, stop: () => clearTimeout(timer)};
}

/** The events of a reply. Throws NoAnswer where it breaks off, or where for `longestSilence` nothing
 * comes; ends the reply where the reader stops early. */
export async function* eventsOf(
  response: Response, longestSilence: number): AsyncGenerator<StreamEvent, void, undefined> {
  if (!/^text\/event-stream\b/i.test(response.headers.get('Content-Type') ?? '')) {
    await response.body?.cancel().catch(() => undefined);
    throw new KorvaneError('the answer is not a stream of events');
  }
  const reader = response.body?.getReader();
  if (!reader) return;
  const decoder = new TextDecoder();
  const events = new EventReader();
  try {
    for (;;) {
      const limit = timeLimit(longestSilence);
      const {done, value} = await Promise.race([reader.read(), limit.passed])
        .catch((cause: unknown) => {
          throw new NoAnswer(cause);
        })
        .finally(limit.stop);
      // What is not ended by an empty line has not come whole.
      if (done) return;
      yield* events.read(decoder.decode(value, {stream: true}));
    }
  } finally {
    await reader.cancel().catch(() => undefined);
  }
}
