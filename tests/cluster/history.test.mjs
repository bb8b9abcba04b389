// What the checker of histories takes, and what it refuses.

import assert from 'node:assert/strict';
import {test} from 'node:test';
import {faultsOfGrowing, whyNotLinearizable} from './history.mjs';

const write = (value, begin, end = Infinity) => ({kind: 'write', value, begin, end});
const read = (value, begin, end) => ({kind: 'read', value, begin, end});
const isLinearizable = (...history) => whyNotLinearizable(history, 'none') === null;

const taken = {
  'nothing happened': [],
  'a read before any write': [read('none', 0, 1)],
  'a read after a write': [write('a', 0, 1), read('a', 2, 3)],
  'a read beside a write has the old value': [write('a', 0, 9), read('none', 1, 2)],
  'or the new one': [write('a', 0, 9), read('a', 1, 2)],
  'reads beside a write change over once': [write('a', 0, 9), read('none', 1, 2), read('a', 3, 4)],
  'two writes at once in either order': [write('a', 0, 9), write('b', 0, 9), read('b', 10, 11), read('b', 12, 13)],
  'a write without an answer was done late': [write('a', 0), read('none', 5, 6), read('a', 7, 8)],
  'a write without an answer was never done': [write('a', 0), read('none', 5, 6), read('none', 7, 8)],
  'or overtaken by another': [write('a', 0), write('b', 1, 2), read('b', 3, 4), read('b', 5, 6)],
  'times that touch are at once': [write('a', 0, 1), read('none', 1, 2)],
};

const refused = {
  'a read after an acknowledged write has the old value': [write('a', 0, 1), read('none', 2, 3)],
  'a value that nobody wrote': [read('a', 0, 1)],
  'a value from the future': [read('a', 0, 1), write('a', 2, 3)],
  'new, then old': [write('a', 0, 9), read('a', 1, 2), read('none', 3, 4)],
  'a write that was overwritten comes back': [write('a', 0, 1), write('b', 2, 3), read('b', 4, 5), read('a', 6, 7)],
  'an acknowledged write is lost': [write('a', 0, 1), write('b', 2, 3), read('a', 4, 5)],
  'two readers see two writes in two orders': [
    write('a', 0, 20), write('b', 0, 20),
    read('a', 1, 2), read('b', 3, 4), read('a', 5, 6),
  ],
  'a write without an answer was done, and taken back': [write('a', 0), read('a', 2, 3), read('none', 4, 5)],
  'a write without an answer before it was sent': [read('a', 0, 1), write('a', 2)],
};

for (const [name, history] of Object.entries(taken)) {
  test(`taken: ${name}`, () => assert.ok(isLinearizable(...history)));
}

for (const [name, history] of Object.entries(refused)) {
  test(`refused: ${name}`, () => assert.ok(!isLinearizable(...history)));
}

test('where the search got stuck is said', () => {
  const stale = read('none', 2, 3);
  assert.deepEqual(whyNotLinearizable([write('a', 0, 1), stale], 'none'), {value: 'a', next: [stale]});
});

/** All orders that respect the times, tried one by one. */
function isLinearizableByTrying(left, value) {
  const sure = left.filter(({end}) => end !== Infinity);
  if (sure.length === 0) return true;
  const firstEnd = Math.min(...sure.map(({end}) => end));
  return left.some((operation) => {
    if (operation.begin > firstEnd) return false;
    if (operation.kind === 'read' && operation.value !== value) return false;
    const rest = left.filter((other) => other !== operation);
    return isLinearizableByTrying(rest, operation.kind === 'write' ? operation.value : value);
  });
}

/** Numbers from 0 to 1, the same for the same seed. */
function randomFrom(seed) {
  let state = seed;
  return () => {
    state = (state * 1103515245 + 12345) % 2147483648;
    return state / 2147483648;
  };
}

test('random histories are judged as by trying all orders', () => {
  const seed = Number(process.env.KORVANE_HISTORY_SEED ?? 1);
  const random = randomFrom(seed);
  const whole = (most) => Math.floor(random() * most);
  const found = {true: 0, false: 0};
  for (let round = 0; round < 4000; ++round) {
    const writes = Array.from({length: 1 + whole(3)}, (_, i) => `v${i}`);
    const history = Array.from({length: 2 + whole(5)}, (_, i) => {
      const begin = whole(12);
      const end = begin + 1 + whole(8);
      if (i < writes.length) return write(writes[i], begin, random() < 0.25 ? Infinity : end);
      return read(random() < 0.2 ? 'none' : writes[whole(writes.length)], begin, end);
    });
    const expected = isLinearizableByTrying(history, 'none');
    assert.equal(whyNotLinearizable(history, 'none') === null, expected,
      `seed ${seed}, round ${round}: ${JSON.stringify(history)}`);
    found[expected] += 1;
  }
  assert.ok(found.true > 200 && found.false > 200, JSON.stringify(found));
});

test('a long history is judged in little time', () => {
  const history = [];
  for (let i = 0; i < 5000; ++i) {
    history.push(write(`v${i}`, 10 * i, 10 * i + 12), read(`v${i}`, 10 * i + 5, 10 * i + 9));
    if (i % 10 === 0) history.push(write(`lost ${i}`, 10 * i));
  }
  assert.equal(whyNotLinearizable(history, 'none'), null);
  history.push(read('v17', 60_000, 60_001));
  assert.notEqual(whyNotLinearizable(history, 'none'), null);
});

test('a list that grows', () => {
  const added = [{value: 'a', begin: 0, end: 1}, {value: 'b', begin: 2, end: Infinity}];
  const seen = (begin, end, ...values) => ({values: new Set(values), begin, end});
  const whatOf = (...reads) => faultsOfGrowing(added, reads).map(({what, value}) => `${value}: ${what}`);
  assert.deepEqual(whatOf(seen(0, 1), seen(2, 3, 'a'), seen(4, 5, 'a', 'b'), seen(6, 7, 'a', 'b')), []);
  assert.deepEqual(whatOf(seen(2, 3)), ['a: an acknowledged addition is missing']);
  assert.deepEqual(whatOf(seen(0, 1, 'b')), ['b: nobody had sent it']);
  assert.deepEqual(whatOf(seen(2, 3, 'a', 'c')), ['c: nobody had sent it']);
  assert.deepEqual(whatOf(seen(2, 3, 'a', 'b'), seen(4, 5, 'a')), ['b: an earlier read had it']);
});
