// Whether what clients saw of a register can have happened one after the other.
//
// A history is a list of operations {kind, value, begin, end}: kind is 'write' or 'read', begin and end
// are times of one clock. A write that nobody answered has the end Infinity: it may have happened at any
// time after its begin, or never. A read that nobody answered says nothing and is not in the list. Each
// write has a value of its own.
//
// The history is linearizable if each operation can be given a moment between its begin and its end such
// that every read has the value of the last write before it. Searched for as Wing and Gong have it, with
// the states that have led nowhere kept.

/** The moment by which a write must have happened: at the latest when somebody has read its value. */
function lastMoments(operations) {
  const seen = new Map();
  for (const {kind, value, end} of operations) {
    if (kind === 'read') seen.set(value, Math.min(end, seen.get(value) ?? Infinity));
  }
  return operations.map((operation) => (operation.kind === 'write' && operation.end === Infinity
    ? {...operation, end: seen.get(operation.value) ?? Infinity} : operation));
}

/** In the order of their begins. A write without an answer whose value nobody read may be thought of as
 * never done. */
function ordered(history) {
  return lastMoments(history).filter(({end}) => end !== Infinity).sort((a, b) => a.begin - b.begin);
}

/** The operations that may come next, by index: those that nothing else must come before. */
function enabled(operations, {first, done}) {
  const found = [];
  let firstEnd = Infinity;
  for (let i = first; i < operations.length && operations[i].begin <= firstEnd; ++i) {
    if (done.has(i)) continue;
    found.push(i);
    firstEnd = Math.min(firstEnd, operations[i].end);
  }
  return found.filter((i) => operations[i].begin <= firstEnd);
}

/** The state after the operation. `done` has only those after the first one that is not done. */
function after(operations, state, i) {
  const done = new Set(state.done).add(i);
  let {first} = state;
  while (done.delete(first)) first += 1;
  const {kind, value} = operations[i];
  return {first, done, value: kind === 'write' ? value : state.value};
}

/** A read of the value that the register has may come at once: it changes nothing for others. */
function afterReads(operations, state) {
  for (let now = state; ;) {
    const next = enabled(operations, now);
    const read = next.find((i) => operations[i].kind === 'read' && operations[i].value === now.value);
    if (read === undefined) return {state: now, writes: next.filter((i) => operations[i].kind === 'write')};
    now = after(operations, now, read);
  }
}

const countOf = ({first, done}) => first + done.size;

/** Null if the history is linearizable with `initial` in the register before it, else where the search
 * got stuck at best: the register's value then, and the operations that might have come next. */
export function whyNotLinearizable(history, initial) {
  const operations = ordered(history);
  const stack = [{first: 0, done: new Set(), value: initial}];
  const known = new Set();
  let best = null;
  while (stack.length > 0) {
    const {state, writes} = afterReads(operations, stack.pop());
    if (state.first === operations.length) return null;
    const key = `${state.first} ${[...state.done].sort((a, b) => a - b)} ${state.value}`;
    if (known.has(key)) continue;
    known.add(key);
    if (!best || countOf(state) > countOf(best)) best = state;
    // That which ended first is tried first.
    writes.sort((a, b) => operations[b].end - operations[a].end);
    for (const i of writes) stack.push(after(operations, state, i));
  }
  return {value: best.value, next: enabled(operations, best).map((i) => operations[i])};
}

/** Of a list that only grows: what is wrong with the reads of it. An addition is {value, begin, end}, a
 * read is {values, begin, end}, where `values` is a Set. Each read must have what was acknowledged before
 * it began and nothing that was not sent before it ended, and of two reads one after the other the later
 * one all that the earlier one has. */
export function faultsOfGrowing(additions, reads) {
  const faults = [];
  const byValue = new Map(additions.map((addition) => [addition.value, addition]));
  const say = (what, value, read) => faults.push({what, value, begin: read.begin, end: read.end});
  for (const read of reads) {
    for (const {value, end} of additions) {
      if (end < read.begin && !read.values.has(value)) say('an acknowledged addition is missing', value, read);
    }
    for (const value of read.values) {
      if (!(byValue.get(value)?.begin <= read.end)) say('nobody had sent it', value, read);
    }
  }
  const byEnd = [...reads].sort((a, b) => a.end - b.end);
  const seenBefore = new Set();
  let ended = 0;
  for (const read of [...reads].sort((a, b) => a.begin - b.begin)) {
    for (; byEnd[ended].end < read.begin; ++ended) byEnd[ended].values.forEach((value) => seenBefore.add(value));
    for (const value of seenBefore) {
      if (!read.values.has(value)) say('an earlier read had it', value, read);
    }
  }
  return faults;
}
