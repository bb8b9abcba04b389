// What one types above a column to see fewer rows.
//
//   texts     wall         has these letters, large or small
//             =Wall        is this text
//   numbers   12           is 12, as it is shown
//             >10  >=10  <10  <=10
//             10..20       from 10 to 20;  10..  and  ..20  are open at one end
//   both      =            is empty
//             !            is not empty

import type {Cell} from 'korvane-client';

export type Test = (value: Cell) => boolean;

export function isEmpty(value: Cell): boolean {
  return value === null || value === '';
}

/** None where `text` filters nothing, "faulty" where it cannot be understood. */
export function testOf(text: string, kind: 'text' | 'number', decimals = 3): Test | 'faulty' | null {
  const typed = text.trim();
  if (typed === '') return null;
  if (typed === '=') return isEmpty;
  if (typed === '!') return (value) => !isEmpty(value);
  return kind === 'number' ? numberTest(typed, decimals) : textTest(typed);
}

function textTest(typed: string): Test {
  if (typed.startsWith('=')) {
    const whole = typed.slice(1).trim();
    return (value) => value !== null && String(value) === whole;
  }
  const part = typed.toLocaleLowerCase();
  return (value) => value !== null && String(value).toLocaleLowerCase().includes(part);
}

function numberTest(typed: string, decimals: number): Test | 'faulty' {
  // What is typed is compared with what is shown, which is rounded.
  const half = 0.5 * 10 ** -decimals;
  const range = /^(.*?)\.\.(.*)$/.exec(typed);
  if (range) {
    const from = range[1]?.trim() ? numberOf(range[1]) : -Infinity;
    const to = range[2]?.trim() ? numberOf(range[2]) : Infinity;
    return from === null || to === null ? 'faulty' : numeric((n) => n >= from - half && n <= to + half);
  }
  const compared = /^(<=|>=|<|>|=)?(.*)$/.exec(typed);
  const limit = numberOf(compared?.[2] ?? '');
  if (limit === null) return 'faulty';
  switch (compared?.[1]) {
    case '>': return numeric((n) => n > limit);
    case '>=': return numeric((n) => n >= limit - half);
    case '<': return numeric((n) => n < limit);
    case '<=': return numeric((n) => n <= limit + half);
    default: return numeric((n) => Math.abs(n - limit) <= half);
  }
}

function numeric(test: (n: number) => boolean): Test {
  return (value) => typeof value === 'number' && test(value);
}

/** "12", "-0.5", "12,5": with the decimal comma as well. */
function numberOf(text: string): number | null {
  const plain = text.trim().replace(',', '.');
  return /^[-+]?(\d+\.?\d*|\.\d+)$/.test(plain) ? Number(plain) : null;
}
