// Values that come a line each, as they come.

import {NoAnswer} from './errors.js';

/** Ends the reply where the reader stops early. */
export async function* valuesOf<T>(response: Response): AsyncGenerator<T, void, undefined> {
  const reader = response.body?.getReader();
  if (!reader) return;
  const decoder = new TextDecoder();
  let rest = '';
  try {
    for (;;) {
      const {done, value} = await reader.read().catch((cause: unknown) => {
        throw new NoAnswer(cause);
      });
      const lines = (rest + decoder.decode(value, {stream: !done})).split('\n');
      rest = done ? '' : lines.pop() ?? '';
      for (const line of lines) {
        if (line.trim() !== '') yield JSON.parse(line) as T;
      }
      if (done) return;
    }
  } finally {
    await reader.cancel().catch(() => undefined);
  }
}
