// The client for TypeScript as it watches a project: what it reads, and how it stays connected.

import assert from 'node:assert/strict';
import {createServer} from 'node:http';
import {once} from 'node:events';
import {join} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath, pathToFileURL} from 'node:url';
import {run, Server, temporaryFolder, until} from './server.mjs';

const example = fileURLToPath(new URL('../../examples/guideline.abs', import.meta.url));
const built = process.env.KORVANE_TYPESCRIPT_CLIENT;
if (!built) throw new Error('KORVANE_TYPESCRIPT_CLIENT names the package to test');
const {Korvane, KorvaneError, ServerError} = await import(pathToFileURL(join(built, 'dist', 'index.js')).href);

const state = 'event: state\ndata: {"run":"r","project":"a.db"}\n\n';
const quick = {firstWait: 20, longestWait: 100};
const wait = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

/** A server that answers the requests one after the other as the functions of a list do, the last one
 * again and again. */
async function answering(t, answers) {
  const requests = [];
  const server = createServer((request, response) => {
    requests.push({at: Date.now(), headers: request.headers, url: request.url, response});
    void answers[Math.min(requests.length, answers.length) - 1](response);
  });
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  t.after(() => {
    server.closeAllConnections();
    server.close();
  });
  return {requests, project: (options = {}) => new Korvane({
    url: `http://127.0.0.1:${server.address().port}`, repeating: quick, token: 'one', ...options}).project('a.db')};
}

/** Sends pieces one by one, each for itself. */
const pieces = (texts, then = () => {}) => async (response) => {
  response.writeHead(200, {'Content-Type': 'text/event-stream; charset=utf-8'});
  for (const text of texts) {
    response.write(text);
    await wait(5);
  }
  then(response);
};
const ends = (response) => response.end();
const breaks = (response) => response.destroy();
const refuses = (status, headers = {}) => (response) => {
  response.writeHead(status, {'Content-Type': 'application/problem+json', ...headers});
  response.end(JSON.stringify({detail: `no: ${status}`}));
};

/** The first events, after which the loop is left. */
async function first(count, events) {
  const found = [];
  for await (const event of events) if (found.push(event) === count) break;
  return found;
}

test('events are read however their text is cut, and whatever their lines end with', async (t) => {
  const change = 'data: {"operation":"add_rebar","by":"Büro","when":"2026-11-23T01:02:03.000Z",\r\ndata:"kind":"revision","id":3}\r\n';
  const bytes = Buffer.from(`\uFEFF:hello\r\n${state.replaceAll('\n', '\r')}id: 7\r\nevent: change\r\n${change}\r\n` +
    'event: of a later server\ndata: ?\n\nevent: change\n\n:\n\nevent:missed\ndata: {}\n\n' +
    'event: change\ndata: {"operation":null,"by":null,"when":"2026-11-23T01:02:04Z","kind":null,"id":null}\n\n');
  const expected = [
    {kind: 'state', run: 'r', project: 'a.db'},
    {kind: 'change', operation: 'add_rebar', by: 'Büro', when: new Date('2026-11-23T01:02:03Z'), entry: {kind: 'revision', id: 3}},
    {kind: 'missed'},
    {kind: 'change', operation: null, by: null, when: new Date('2026-11-23T01:02:04Z'), entry: null},
  ];
  for (const size of [1, 2, 7, bytes.length]) {
    const texts = Array.from({length: Math.ceil(bytes.length / size)}, (_, i) => bytes.subarray(i * size, (i + 1) * size));
    const server = await answering(t, [async (response) => {
      response.writeHead(200, {'Content-Type': 'text/event-stream'});
      for (const text of texts) await new Promise((resolve) => response.write(text, () => setImmediate(resolve)));
    }]);
    assert.deepEqual(await first(4, server.project().changes()), expected, `pieces of ${size}`);
    const [{headers, url}] = server.requests;
    assert.deepEqual([headers.accept, headers.authorization, url], ['text/event-stream', 'Bearer one', '/v1/projects/a.db/changes']);
  }
});

test('an event that has not come whole is none', async (t) => {
  const server = await answering(t, [pieces([state, 'event: missed\ndata: {}\n'], ends), pieces([state])]);
  assert.deepEqual((await first(2, server.project().changes())).map(({kind}) => kind), ['state', 'state']);
});

test('after an orderly end the connection is made again at once', async (t) => {
  const server = await answering(t, [pieces([state, ...Array(60).fill(':\n\n')], ends), pieces([state])]);
  let end = 0;
  const events = server.project({repeating: {firstWait: 250, longestWait: 10_000}}).changes();
  await events.next();
  server.requests[0].response.on('finish', () => { end = Date.now(); });
  assert.equal((await events.next()).value.kind, 'state');
  assert.ok(server.requests[1].at - end < 100, `${server.requests[1].at - end} ms`);
  await events.return();
});

test('after others it is made again with waits that double and are bounded', async (t) => {
  for (const answer of [breaks, pieces([state], breaks), pieces([], ends), refuses(503), refuses(429), refuses(502)]) {
    const server = await answering(t, [answer]);
    const leaving = new AbortController();
    const events = server.project({repeating: {firstWait: 40, longestWait: 160}}).changes({signal: leaving.signal});
    const listening = (async () => { for await (const event of events) assert.equal(event.kind, 'state'); })();
    await until(() => server.requests.length === 7, 'seven attempts');
    leaving.abort(new Error('left'));
    await assert.rejects(listening, /left/);
    const waits = server.requests.slice(1).map(({at}, i) => at - server.requests[i].at);
    // A wait is between half of its length and all of it; timers may be a millisecond early.
    for (const [i, least] of [20, 40, 80, 80, 80, 80].entries()) assert.ok(waits[i] >= least - 2, waits.join());
    assert.ok(waits.slice(3).some((one) => one < 400), waits.join());
  }
});

test('it waits as long as the server says', async (t) => {
  const server = await answering(t, [refuses(503, {'Retry-After': '1'}), pieces([state])]);
  assert.equal((await first(1, server.project().changes()))[0].kind, 'state');
  assert.ok(server.requests[1].at - server.requests[0].at >= 990);
});

test('who is refused does not ask again', async (t) => {
  for (const status of [400, 401, 403, 404]) {
    const server = await answering(t, [pieces([state], breaks), refuses(status), pieces([state])]);
    const failure = await first(9, server.project().changes()).catch((reason) => reason);
    assert.ok(failure instanceof ServerError, String(failure));
    assert.equal(failure.status, status);
    await wait(200);
    assert.equal(server.requests.length, 2);
  }
});

test('an answer that is no stream of events is a failure', async (t) => {
  const server = await answering(t, [(response) => response.end('<html>Sign in')]);
  const failure = await first(1, server.project().changes()).catch((reason) => reason);
  assert.ok(failure instanceof KorvaneError);
  assert.equal(failure.message, 'the answer is not a stream of events');
  assert.equal(server.requests.length, 1);
});

test('a connection that has fallen silent is broken', async (t) => {
  const beats = pieces([state, ...Array(40).fill(':\n\n')]);
  const server = await answering(t, [beats, pieces([state])]);
  const events = server.project().changes({longestSilence: 150});
  await events.next();
  const begin = Date.now();
  await events.next();
  assert.ok(Date.now() - begin >= 250, 'a comment is a sign of life');
  assert.equal(server.requests.length, 2);
  await events.return();
});

test('leaving the loop, and the signal, close the connection', async (t) => {
  const server = await answering(t, [pieces([state])]);
  await first(1, server.project().changes());
  await until(() => server.requests[0].response.destroyed, 'the loop was left');
  const leaving = new AbortController();
  const events = server.project().changes({signal: leaving.signal});
  await events.next();
  setTimeout(() => leaving.abort(new Error('left')), 10);
  await assert.rejects(events.next(), /left/);
  await until(() => server.requests[1].response.destroyed, 'the signal was aborted');
  await wait(100);
  assert.equal(server.requests.length, 2);
});

test('the program tells of calls, of other programs, and of its reload', async (t) => {
  const root = temporaryFolder(t);
  const server = await Server.start(t, root);
  const project = new Korvane({url: server.url}).project('a.db');
  await project.call('create_sheet', {name: '400'}, {create: true});
  const events = project.changes();
  const next = async () => (await events.next()).value;
  const begin = await next();
  assert.equal(begin.project, 'a.db');
  const before = await project.tag();
  assert.equal(await project.tag(), before);
  const {id} = await project.call('create_revision', {sheet_id: 1, name: 'a'});
  const {when, ...change} = await next();
  assert.deepEqual(change, {kind: 'change', operation: 'create_revision', by: '127.0.0.1', entry: {kind: 'revision', id}});
  assert.ok(Math.abs(when - Date.now()) < 60_000);
  assert.notEqual(await project.tag(), before);
  const other = await run(['import', example, '--project', join(root, 'a.db')]);
  assert.equal(other.code, 0, other.err);
  const {operation, by} = await next();
  assert.deepEqual([operation, by], [null, null]);
  server.signal('SIGHUP');
  let again = await next();
  while (again.kind === 'change') again = await next();  // of one import there may be several
  assert.equal(again.kind, 'state');
  assert.notEqual(again.run, begin.run);
  await events.return();
});
