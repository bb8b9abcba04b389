// Many who watch one project over TLS. KORVANE_WATCHERS is how many: 300 unless it is set. Each takes a
// descriptor here and in the server.

import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {Agent, request} from 'node:https';
import {join} from 'node:path';
import {test} from 'node:test';
import {makeCertificate, run, Server, temporaryFolder} from './server.mjs';

const count = Number(process.env.KORVANE_WATCHERS ?? 300);
/** How many open their streams at a time. */
const kTogether = 50;

/** One who watches: keeps the events as they come. */
class Watcher {
  events = [];
  #text = '';

  constructor(url, ca) {
    // A connection for each, as each browser has its own.
    this.request = request(`${url}/v1/projects/tower.db/changes`, {ca, agent: new Agent({maxSockets: 1})});
    this.head = new Promise((resolve, reject) => {
      this.request.on('error', reject);
      this.request.on('response', (response) => {
        response.setEncoding('utf8').on('data', (text) => this.#take(text));
        response.on('error', () => {});  // it is closed at the end
        resolve(response.statusCode);
      });
    });
    this.request.end();
  }

  #take(text) {
    const parts = (this.#text + text).split('\n\n');
    this.#text = parts.pop();
    for (const part of parts) {
      const [, name, data] = part.match(/^event: (\w+)\ndata: (.*)$/) ?? [];
      if (name) this.events.push({name, data: JSON.parse(data), at: performance.now()});
    }
  }

  changes() {
    return this.events.filter(({name}) => name === 'change');
  }
}

/** Waits until all have so many changes, and gives what the last one waited since `begin`. */
async function all(watchers, changes, begin) {
  for (const end = Date.now() + 60_000; watchers.some((one) => one.changes().length < changes);) {
    assert.ok(Date.now() < end, `${watchers.filter((one) => one.changes().length < changes).length} have not heard of it`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
  return Math.round(Math.max(...watchers.map((one) => one.changes()[changes - 1].at)) - begin);
}

/** Memory in MiB, threads, and milliseconds of processor time of a process. */
function costs({child}) {
  const status = readFileSync(`/proc/${child.pid}/status`, 'utf8');
  const value = (name) => Number(status.match(new RegExp(`^${name}:\\s+(\\d+)`, 'm'))[1]);
  const [, times] = readFileSync(`/proc/${child.pid}/stat`, 'utf8').split(') ');
  const [user, system] = times.split(' ').slice(11, 13).map(Number);
  return {mebibytes: Math.round(value('VmRSS') / 1024), threads: value('Threads'), milliseconds: (user + system) * 10};
}

test(`${count} who watch a project over TLS are all told`, async (t) => {
  const folder = temporaryFolder(t);
  const {certificate, key} = await makeCertificate(folder, 'server');
  const ca = readFileSync(certificate);
  const made = await run(['import', new URL('../../examples/guideline.abs', import.meta.url).pathname, '--project', join(folder, 'tower.db')]);
  assert.equal(made.code, 0, made.err);
  const server = await Server.start(t, folder, '--tls-cert', certificate, '--tls-key', key,
    '--connections', String(2 * count + 100), '--client-requests', String(count + 100));
  const post = (operation, body) => new Promise((resolve, reject) => {
    const call = request(`${server.url}/v1/projects/tower.db/${operation}`,
      {ca, method: 'POST', headers: {'Content-Type': 'application/json'}}, (response) => {
        response.resume().on('end', () => resolve(response.statusCode));
      });
    call.on('error', reject);
    call.end(JSON.stringify(body));
  });
  assert.equal(await post('create_sheet', {name: 'first'}), 200);
  const before = costs(server);

  const watchers = [];
  t.after(() => watchers.forEach((one) => one.request.destroy()));
  let begin = performance.now();
  while (watchers.length < count) {
    const some = Array.from({length: Math.min(kTogether, count - watchers.length)}, () => new Watcher(server.url, ca));
    watchers.push(...some);
    for (const one of some) assert.equal(await one.head, 200);
  }
  t.diagnostic(`all watch after ${Math.round(performance.now() - begin)} ms`);

  begin = performance.now();
  assert.equal(await post('create_sheet', {name: 'second'}), 200);
  t.diagnostic(`the call took ${Math.round(performance.now() - begin)} ms`);
  t.diagnostic(`a call: the last one heard of it after ${await all(watchers, 1, begin)} ms`);
  for (const one of watchers) assert.equal(one.changes()[0].data.operation, 'create_sheet');

  begin = performance.now();
  const edited = await run(['edit', join(folder, 'tower.db'), '--sheet', '417', '--revision', 'a', '--mark', '10.1', 'total_bars=12']);
  assert.equal(edited.code, 0, edited.err);
  t.diagnostic(`another program: the last one heard of it after ${await all(watchers, 2, begin)} ms, its own time included`);
  for (const one of watchers) assert.deepEqual([one.changes()[1].data.operation, one.changes()[1].data.id], [null, null]);

  const watching = costs(server);
  t.diagnostic(`memory ${before.mebibytes} MiB before, ${watching.mebibytes} MiB with all; ${watching.threads} threads`);
  const seconds = Math.max(2, Math.min(10, count / 150));
  await new Promise((resolve) => setTimeout(resolve, seconds * 1000));
  t.diagnostic(`at rest ${Math.round((costs(server).milliseconds - watching.milliseconds) / seconds)} ms of processor time a second`);
  begin = performance.now();
  assert.equal(await post('list_sheets', {}), 200);
  t.diagnostic(`a read beside them took ${Math.round(performance.now() - begin)} ms`);
});
