// How a server starts and ends.

import assert from 'node:assert/strict';
import {copyFileSync, existsSync, mkdirSync, readdirSync, readFileSync, realpathSync, writeFileSync} from 'node:fs';
import {createServer} from 'node:net';
import {join} from 'node:path';
import {test} from 'node:test';
import {Client} from './client.mjs';
import {program, run, Server, temporaryFolder, until} from './server.mjs';

const plugins = process.env.KORVANE_PLUGIN_FOLDER;
const refusedToStart = (...args) => run(['serve', '--listen', '127.0.0.1:0', ...args]);

/** Opens a project and calls for a query that counts to `last` or further, or for ever without one.
 * Resolves when the call runs; `outcome` then is its status in the end. */
async function startCounting(client, last) {
  const end = last ? `where i < ${last}` : '';
  const query = `with recursive n(i) as (select 1 union all select i + 1 from n ${end}) select max(i) from n`;
  const id = await client.open('project.db');
  const call = client.call(id, 'query_table', {kind: 'sql:raw', params: {query: {value_string: query}}});
  let isOver = false;
  const outcome = call.then(({status}) => status, () => 'broken off').finally(() => { isOver = true; });
  let isSeen = false;
  await until(async () => {
    isSeen = /^korvane_queued_calls 1$/m.test((await client.get('/metrics')).body.toString());
    return isSeen || isOver;
  }, 'a call that runs');
  // On a machine that is busy with other things it may be over before it is seen.
  return isSeen || !last ? {outcome} : startCounting(client, last * 4);
}

test('SIGTERM ends it, and the log says so', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--verbose');
  const client = await Client.of(server);
  await client.open('project.db');
  assert.deepEqual(await server.stop(), {code: 0, signal: null});
  const lines = server.log.map((line) => JSON.parse(line));
  assert.ok(lines.some(({message}) => message === 'stopping: no new requests are taken'));
  await assert.rejects(client.get('/v1'));
});

test('SIGINT ends it as well', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  server.signal('SIGINT');
  assert.deepEqual(await server.ended, {code: 0, signal: null});
});

test('SIGUSR1 and SIGUSR2 leave it alone', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const client = await Client.of(server);
  for (const signal of ['SIGUSR1', 'SIGUSR2', 'SIGPIPE']) {
    server.signal(signal);
    assert.equal((await client.get('/v1')).status, 200, signal);
  }
  assert.deepEqual(await server.stop(), {code: 0, signal: null});
});

test('a file that may grow no more fails the write and not the server', async (t) => {
  const root = temporaryFolder(t);
  const server = await Server.startFrom('ulimit -f 200;', t, root);  // KiB, or half of that
  const client = await Client.of(server);
  const id = await client.open('project.db');
  let refused;
  let stored = 0;
  for (; !refused && stored < 100; ++stored) {
    const reply = await client.call(id, 'create_sheet', {comment: 'x'.repeat(20_000)});
    if (reply.status !== 200) refused = reply;
  }
  assert.ok(refused.status >= 500, JSON.stringify(refused.body));
  assert.equal((await client.value(id, 'list_sheets')).items.length, stored - 1);
  assert.deepEqual(await server.stop(), {code: 0, signal: null});
});

test('it says how many projects may be open, as its limit of descriptors has it', async (t) => {
  const said = async (limit, ...options) => {
    const server = await Server.startFrom(`ulimit -n ${limit};`, t, temporaryFolder(t), ...options);
    await until(() => server.output.includes('projects open'), 'its second line');
    return Number(server.output.match(/^up to (\d+) projects open at a time$/m)[1]);
  };
  assert.equal(await said(20_000), 2000);
  const few = await said(3000);
  assert.ok(few > 500 && few < 1000, String(few));
  assert.equal(await said(20_000, '--open-projects', '12000'), 12_000);

  const refused = await run(['-c', 'ulimit -n 1000; exec "$0" "$@"', program, 'serve',
                             '--root', temporaryFolder(t), '--listen', '127.0.0.1:0'], {command: 'sh'});
  assert.equal(refused.code, 1);
  assert.match(refused.err, /^korvane: the process may have 1000 descriptors, and \d+ are needed: expected /m);
});

test('it greets with its folder and address', async (t) => {
  const root = temporaryFolder(t);
  const page = temporaryFolder(t);
  writeFileSync(join(page, 'index.html'), '<!doctype html>');
  const server = await Server.start(t, root, '--page', page);
  await server.stop();
  assert.match(server.output,
    /^korvane serves \S+ at \S+\nup to \d+ projects open at a time\nopen http:\S+\/ in a browser\n$/);
  assert.ok(server.output.startsWith(`korvane serves ${root} at ${server.url}\n`));
});

test('it says nothing of a page that it does not have', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--page', '');
  await server.stop();
  assert.doesNotMatch(server.output, /browser/);
});

test('it greets with lines to try on a project that is there, and they work', async (t) => {
  const root = temporaryFolder(t);
  const maker = await Server.start(t, root);
  const client = await Client.of(maker);
  const id = await client.open('project.db');
  await client.value(id, 'create_sheet', {name: '417'});
  await maker.stop();

  const server = await Server.start(t, root);
  const lines = await until(() => server.output.match(/^  curl .*$/gm)?.slice(0, 2), 'the lines');
  const replies = [];
  for (const line of lines) replies.push(JSON.parse((await run(['-c', line], {command: 'sh'})).out));
  assert.equal(replies[0].projects[0].file, 'project.db');
  assert.equal(replies[1].items[0].name, '417');
});

test('what was acknowledged while it was ending is in the file', async (t) => {
  const root = temporaryFolder(t);
  const server = await Server.start(t, root);
  const writers = await Promise.all([0, 1, 2, 3].map(() => Client.of(server)));
  const id = await writers[0].open('project.db');
  await writers[0].value(id, 'create_material', {uid: 'steel'});
  await writers[0].value(id, 'create_sheet', {name: 'sheet'});
  await writers[0].value(id, 'create_revision', {sheet_id: 1, name: 'a'});

  const bars = (mark) => [1, 2, 3].map((part) => (
    {rev_id: 1, sheet_id: 1, material_id: 1, mark, submark: String(part)}));
  const acknowledged = [];
  const refusals = [];
  const write = async (client, writer) => {
    for (let number = 0; ; ++number) {
      const mark = `${writer}.${number}`;
      const reply = await client.call(id, 'add_rebar', {items: bars(mark)}).catch(() => undefined);
      if (reply?.status !== 200) return refusals.push(reply?.status ?? 'broken off');
      acknowledged.push(mark);
    }
  };
  const writing = Promise.all(writers.map(write));
  await until(() => acknowledged.length >= 40, 'some writes');
  assert.deepEqual(await server.stop(), {code: 0, signal: null});
  await writing;
  for (const refusal of refusals) assert.ok(refusal === 503 || refusal === 'broken off', refusal);

  const later = await Client.of(await Server.start(t, root));
  const {items} = await later.value(await later.open('project.db'), 'get_rebars', {id: 1});
  const partsOf = {};
  for (const {mark} of items) partsOf[mark] = (partsOf[mark] ?? 0) + 1;
  for (const mark of acknowledged) assert.equal(partsOf[mark], 3, mark);
  for (const [mark, parts] of Object.entries(partsOf)) assert.equal(parts, 3, mark);
  // At most one write of each writer can have been stored without the writer's knowing.
  assert.ok(Object.keys(partsOf).length <= acknowledged.length + writers.length);
});

test('a call that runs is waited for', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const {outcome} = await startCounting(await Client.of(server), 1_000_000);
  assert.deepEqual(await server.stop(), {code: 0, signal: null});
  assert.equal(await outcome, 200);
});

/** How often each folder was synced while a server of those options stored a sheet, as strace sees it;
 * null where there is no strace, or it may not look. */
async function folderSyncs(t, ...options) {
  const root = realpathSync(temporaryFolder(t));
  const trace = join(temporaryFolder(t), 'trace');
  const server = await Server.start(t, root, ...options);
  const client = await Client.of(server);
  const id = await client.open('project.db');
  const watching = run(['-f', '-y', '-e', 'trace=fsync,fdatasync', '-o', trace, '-p', `${server.child.pid}`],
    {command: 'strace'}).catch(() => null);
  let refused = false;
  watching.then(() => { refused = true; });
  const seen = () => (existsSync(trace) ? readFileSync(trace, 'utf8') : '');
  await until(async () => {
    assert.equal((await client.call(id, 'create_sheet', {})).status, 200);
    return refused || seen().includes('project.db');
  }, 'that strace sees a write');
  if (refused) return null;
  assert.equal((await client.call(id, 'create_sheet', {})).status, 200);
  await server.stop();
  await watching;
  const syncs = (name) => seen().split('\n').filter((line) => line.includes(`<${name}>`)).length;
  return {folder: syncs(root), file: syncs(join(root, 'project.db'))};
}

test('the folder is synced after each write, and with --synchronous full it is not', async (t) => {
  const extra = await folderSyncs(t);
  if (extra === null) return t.skip('strace is not here, or may not look at other processes');
  const full = await folderSyncs(t, '--synchronous', 'full');
  // Each journal is named in the folder once in both: what is more is the removals of them.
  assert.ok(full.file > 0 && full.folder <= full.file, JSON.stringify(full));
  assert.ok(extra.folder >= 2 * extra.file - 1, JSON.stringify(extra));
});

test('it drains before it stops: not ready, and still answering', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--verbose', '--drain-time', '1.5');
  const client = await Client.of(server);
  await client.open('project.db');
  const began = Date.now();
  server.signal('SIGTERM');
  await until(async () => (await client.get('/healthz/ready')).status === 503, 'its draining');
  const ready = await client.get('/healthz/ready');
  assert.equal(ready.body.type, 'urn:korvane:problem:draining');
  assert.equal((await client.get('/healthz/live')).status, 200);
  const list = await client.get('/v1/projects/project.db/list_sheets');
  assert.deepEqual([list.status, list.headers.get('connection')], [200, 'Close']);
  assert.deepEqual(await server.ended, {code: 0, signal: null});
  assert.ok(Date.now() - began >= 1400);
  const said = server.log.map((line) => JSON.parse(line).message).filter(Boolean);
  const draining = said.indexOf('draining for 1.5 s: /healthz/ready is 503, requests are still answered');
  assert.ok(draining >= 0, said.join('\n'));
  assert.ok(said.indexOf('stopping: no new requests are taken') > draining);
});

test('a second SIGTERM ends the draining at once', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--verbose', '--drain-time', '60');
  server.signal('SIGTERM');
  await until(() => server.log.some((line) => line.includes('"draining for 60 s')), 'its draining');
  server.signal('SIGTERM');
  assert.deepEqual(await server.ended, {code: null, signal: 'SIGTERM'});
});

test('a second SIGTERM ends it at once, while a call still runs', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--verbose');
  const {outcome} = await startCounting(await Client.of(server));
  server.signal('SIGTERM');
  await until(() => server.log.some((line) => line.includes('"stopping: ')), 'its stopping');
  const began = Date.now();
  server.signal('SIGTERM');
  assert.deepEqual(await server.ended, {code: null, signal: 'SIGTERM'});
  assert.ok(Date.now() - began < 5000);
  assert.equal(await outcome, 'broken off');
});

test('it does not wait for a call longer than it was told', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--stop-time', '0.2');
  const {outcome} = await startCounting(await Client.of(server));
  assert.deepEqual(await server.stop(), {code: 1, signal: null});
  assert.equal(await outcome, 'broken off');
  assert.equal(JSON.parse(server.log.at(-1)).message, 'calls still run at the end of the time for stopping');
});

test('a plugin that cannot be used', async (t) => {
  const folder = join(temporaryFolder(t), 'plugins');
  mkdirSync(folder);
  const broken = join(folder, 'broken.so');
  writeFileSync(broken, 'no library');

  await t.test('alone keeps it from starting', async (t) => {
    const ended = await refusedToStart('--root', temporaryFolder(t), '--plugins', folder);
    assert.equal(ended.code, 1);
    assert.ok(ended.err.includes(`cannot use plugin ${broken}: `), ended.err);
    assert.ok(ended.err.endsWith(`korvane: no plugin in ${folder} can be used\n`), ended.err);
  });

  await t.test('beside a good one is named in the log', async (t) => {
    const names = readdirSync(plugins).filter((name) => name.endsWith('.so'));
    for (const name of names) copyFileSync(join(plugins, name), join(folder, name));
    const server = await Server.start(t, temporaryFolder(t), '--plugins', folder);
    await (await Client.of(server)).open('project.db');
    const line = JSON.parse(server.log.find((text) => text.includes(broken)));
    assert.equal(line.severity, 2);
    assert.ok(line.message.startsWith(`cannot use plugin ${broken}: `), line.message);
    assert.deepEqual(await server.stop(), {code: 0, signal: null});
  });

  await t.test('nor a folder of them that there is not', async (t) => {
    const missing = join(folder, 'missing');
    const ended = await refusedToStart('--root', temporaryFolder(t), '--plugins', missing);
    assert.deepEqual([ended.code, ended.err], [1, `korvane: no plugin folder ${missing}\n`]);
  });
});

test('a port that is in use', async (t) => {
  const refuses = async (address) => {
    const ended = await run(['serve', '--root', temporaryFolder(t), '--listen', address]);
    assert.equal(ended.code, 1);
    assert.equal(ended.out, '');
    assert.match(ended.err, new RegExp(`^korvane: cannot listen on ${address}: .*in use`, 'm'));
  };

  await t.test('by another program', async (t) => {
    const other = createServer();
    await new Promise((resolve) => other.listen(0, '127.0.0.1', resolve));
    t.after(() => other.close());
    await refuses(`127.0.0.1:${other.address().port}`);
  });

  await t.test('by another server', async (t) => {
    await refuses(new URL((await Server.start(t, temporaryFolder(t))).url).host);
  });
});

test('a folder that there is not is wrong usage', async (t) => {
  const missing = join(temporaryFolder(t), 'missing');
  const ended = await refusedToStart('--root', missing);
  assert.equal(ended.code, 2);
  assert.ok(ended.err.includes(missing), ended.err);
});

test('an address that is none', async (t) => {
  const ended = await run(['serve', '--root', temporaryFolder(t), '--listen', 'nowhere']);
  assert.equal(ended.code, 1);
  assert.match(ended.err, /^korvane: cannot listen on "nowhere": expected an address and a port/);
});
