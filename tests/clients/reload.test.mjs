// What SIGHUP has a running server read anew, and what it leaves as it was.

import assert from 'node:assert/strict';
import {copyFileSync, renameSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {test} from 'node:test';
import {Client} from './client.mjs';
import {makeCertificate, run, Server, temporaryFolder, until} from './server.mjs';

const bearer = (token) => ({Authorization: `Bearer ${token}`});
const address = (operation, file = 'project.db') => `/v1/projects/${file}/${operation}`;

/** Has the server reload, and gives the line of its log that says what came of it. */
async function reload(server) {
  const before = server.log.length;
  server.signal('SIGHUP');
  const line = await until(() => server.log.slice(before).find((text) => /"message":"(not )?reloaded/.test(text)),
                           'a reload');
  return JSON.parse(line).message;
}

test('tokens', async (t) => {
  const tokens = join(temporaryFolder(t), 'tokens.json');
  const add = async (client) =>
    (await run(['token', 'add', client, '--scope', 'read', '--tokens', tokens])).out.trim();
  const first = await add('first');
  const server = await Server.start(t, temporaryFolder(t), '--tokens', tokens);
  const client = new Client(server.url);
  const status = async (token) => (await client.get('/v1', bearer(token))).status;

  await t.test('that were added count from then on', async () => {
    const second = await add('second');
    assert.equal(await status(second), 401);
    assert.equal(await reload(server), 'reloaded');
    assert.equal(await status(second), 200);
  });

  await t.test('that were removed count no more', async () => {
    await run(['token', 'remove', 'first', '--tokens', tokens]);
    assert.equal(await status(first), 200);
    assert.equal(await reload(server), 'reloaded');
    assert.equal(await status(first), 401);
  });

  await t.test('in a file that is none leave all as it was', async () => {
    const third = await add('third');
    assert.equal(await reload(server), 'reloaded');
    const run = (await client.get('/healthz/live')).headers.get('korvane-run');
    copyFileSync(tokens, `${tokens}.good`);
    writeFileSync(tokens, 'no tokens');
    assert.match(await reload(server), /^not reloaded, all stays as it was: token file .*: /);
    assert.equal(await status(third), 200);
    assert.equal((await client.get('/healthz/live')).headers.get('korvane-run'), run);
    renameSync(`${tokens}.good`, tokens);
    assert.equal(await reload(server), 'reloaded');
  });
});

test('a certificate', async (t) => {
  const folder = temporaryFolder(t);
  const used = await makeCertificate(folder, 'used');
  const server = await Server.start(t, temporaryFolder(t), '--tls-cert', used.certificate, '--tls-key', used.key);
  const trusts = async (certificate) => {
    const {code} = await run(['--silent', '--cacert', certificate, `${server.url}/healthz/live`], {command: 'curl'});
    return code === 0;
  };
  const former = join(folder, 'former.pem');
  copyFileSync(used.certificate, former);

  await t.test('that was replaced is shown from then on', async () => {
    const next = await makeCertificate(folder, 'next');
    renameSync(next.certificate, used.certificate);
    renameSync(next.key, used.key);
    assert.ok(await trusts(former));
    assert.equal(await reload(server), 'reloaded');
    assert.ok(await trusts(used.certificate));
    assert.ok(!await trusts(former));
  });

  await t.test('that does not fit its key leaves all as it was', async () => {
    const shown = join(folder, 'shown.pem');
    copyFileSync(used.certificate, shown);
    renameSync((await makeCertificate(folder, 'other')).certificate, used.certificate);
    assert.match(await reload(server), /^not reloaded, all stays as it was: cannot use the certificate /);
    assert.ok(await trusts(shown));
  });
});

test('projects', async (t) => {
  const root = temporaryFolder(t);
  const server = await Server.start(t, root);
  const client = await Client.of(server);
  const runOf = (reply) => reply.headers.get('korvane-run');
  const id = await client.open('project.db');
  await client.value(id, 'create_sheet', {name: '417'});
  const before = runOf(await client.get('/v1'));

  await t.test('are read from what now is in their files', async () => {
    const other = await Server.start(t, temporaryFolder(t));
    const maker = await Client.of(other);
    await maker.value(await maker.open('other.db'), 'create_sheet', {name: '512'});
    await other.stop();
    renameSync(join(other.root, 'other.db'), join(root, 'project.db'));
    assert.equal((await client.value(id, 'list_sheets')).items[0].name, '417');
    assert.equal(await reload(server), 'reloaded');
    const {items} = (await client.get(address('list_sheets'))).body;
    assert.deepEqual(items.map(({name}) => name), ['512']);
  });

  await t.test('have other ids, and those of before reach none', async () => {
    assert.notEqual(runOf(await client.get('/v1')), before);
    await client.open('another.db');  // may well have the id of before
    const stale = await client.call(id, 'create_sheet', {name: 'for project.db'}, {headers: {'Korvane-Run': before}});
    assert.equal(stale.status, 412);
    const bare = await client.call(id, 'create_sheet', {name: 'for project.db'});
    assert.equal(bare.status, 412);
    const {items} = (await client.get(address('list_sheets', 'another.db'))).body;
    assert.deepEqual(items, []);
  });

  await t.test('are served by their addresses as before', async () => {
    const reply = await client.request('POST', address('create_sheet'),
                                       {headers: {'Content-Type': 'application/json'}, body: '{"name":"513"}'});
    assert.equal(reply.status, 200);
  });

  await t.test('lose nothing of what is written meanwhile', async () => {
    const stored = [];
    let isEnding = false;
    const write = async (writer) => {
      for (let number = 0; !isEnding; ++number) {
        const name = `${writer}.${number}`;
        const reply = await client.request('POST', `${address('create_sheet', 'written.db')}?create=true`, {
          headers: {'Content-Type': 'application/json'}, body: JSON.stringify({name})});
        assert.equal(reply.status, 200, JSON.stringify(reply.body));
        stored.push(name);
      }
    };
    const writers = [0, 1, 2, 3].map(write);
    for (let i = 0; i < 5; ++i) assert.equal(await reload(server), 'reloaded');
    isEnding = true;
    await Promise.all(writers);
    const {items} = (await client.get(address('list_sheets', 'written.db'))).body;
    assert.deepEqual(items.map(({name}) => name).sort(), stored.sort());
  });
});

test('a call that does not end leaves the projects open', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--stop-time', '0.3');
  const client = await Client.of(server);
  const id = await client.open('project.db');
  const query = 'with recursive n(i) as (select 1 union all select i + 1 from n) select max(i) from n';
  const call = client.call(id, 'query_table', {kind: 'sql:raw', params: {query: {value_string: query}}}).catch(() => {});
  await until(async () => /^korvane_queued_calls 1$/m.test((await client.get('/metrics')).body.toString()),
              'a call that runs');
  const before = (await client.get('/v1')).headers.get('korvane-run');
  assert.equal(await reload(server), 'reloaded tokens and certificate; projects stay open: calls still run');
  assert.equal((await client.get('/v1')).headers.get('korvane-run'), before);
  server.signal('SIGKILL');
  await call;
});
