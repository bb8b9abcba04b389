// A log that cannot be written costs lines, and nothing else.

import assert from 'node:assert/strict';
import {constants, createReadStream, openSync, closeSync} from 'node:fs';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {test} from 'node:test';
import {Client} from './client.mjs';
import {run, Server, temporaryFolder, until} from './server.mjs';

const lost = async (client) => {
  const text = (await client.get('/metrics')).body.toString();
  return Number(text.match(/^korvane_lost_log_lines_total (\S+)$/m)[1]);
};

/** Calls that log four KiB each. */
async function talk(client, id, calls) {
  const request = {kind: 'x'.repeat(5000)};
  for (let left = calls; left > 0; left -= 20) {
    const some = Array.from({length: 20}, () => client.call(id, 'query_table', request));
    for (const {status} of await Promise.all(some)) assert.equal(status, 200);
  }
}

test('on a full disk', async (t) => {
  const server = await Server.startFrom('exec 2>/dev/full;', t, temporaryFolder(t), '--verbose');
  const client = await Client.of(server);
  const id = await client.open('project.db');
  await talk(client, id, 40);
  await until(async () => await lost(client) > 40, 'lost lines');
  assert.deepEqual(await server.stop(), {code: 0, signal: null});
});

test('that nobody reads', async (t) => {
  const pipe = join(temporaryFolder(t), 'log');
  assert.equal((await run([pipe], {command: 'mkfifo'})).code, 0);
  const holder = openSync(pipe, constants.O_RDWR);  // as long as there is a reader, writers wait
  t.after(() => closeSync(holder));
  const server = await Server.startFrom(`exec 2>'${pipe}';`, t, temporaryFolder(t), '--verbose');
  const client = await Client.of(server);
  const id = await client.open('project.db');

  await t.test('does not stop the server', async () => {
    await talk(client, id, 2600);
    assert.ok(await lost(client) > 0);
    assert.equal((await client.get('/healthz/live')).status, 200);
    assert.equal((await client.value(id, 'list_sheets')).items.length, 0);
  });

  await t.test('goes on when somebody does, and tells what is missing', async () => {
    const missing = await lost(client);
    const lines = [];
    const reader = createReadStream(pipe);
    createInterface({input: reader}).on('line', (line) => lines.push(line));
    const told = await until(() => lines.find((line) => line.includes('"lost_lines"')), 'the number');
    assert.ok(JSON.parse(told).lost_lines > 0);
    assert.ok(JSON.parse(told).lost_lines <= missing + 10);
    await client.value(id, 'create_sheet', {name: 'afterwards'});
    const last = await until(() => lines.find((line) => line.includes('"POST Project.create_sheet"') ||
      line.includes('create_sheet')), 'the line of a call');
    assert.equal(JSON.parse(last).status, 200);
    for (const line of lines) JSON.parse(line);
    reader.destroy();
  });

  await t.test('does not hold up its end', async () => {
    await talk(client, id, 2600);
    const began = Date.now();
    assert.deepEqual(await server.stop(), {code: 0, signal: null});
    assert.ok(Date.now() - began < 10_000);
  });
});

test('whose reader has gone', async (t) => {
  const server = await Server.startFrom('', t, temporaryFolder(t), '--verbose');
  const client = await Client.of(server);
  server.child.stderr.destroy();
  const id = await client.open('project.db');
  await talk(client, id, 40);
  assert.ok(await lost(client) > 0);
  assert.deepEqual(await server.stop(), {code: 0, signal: null});
});
