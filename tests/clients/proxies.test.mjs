// The server behind nginx, Caddy and HAProxy, with the configurations of deploy/.

import assert from 'node:assert/strict';
import {mkdirSync, writeFileSync} from 'node:fs';
import {createServer} from 'node:http';
import {join} from 'node:path';
import {test} from 'node:test';
import {ask, proxies, start, whyNot} from './proxy.mjs';
import {Server, temporaryFolder} from './server.mjs';

/** A server that sends an event, and the next when it is told to. */
async function startEvents(t) {
  let next;
  const server = createServer((asked, reply) => {
    if (asked.url !== '/events') return reply.end('live\n');
    reply.writeHead(200, {'Content-Type': 'text/event-stream', 'Cache-Control': 'no-cache'});
    reply.write('data: first\n\n');
    next = () => reply.end('data: second\n\n');
  }).listen(0, '127.0.0.1');
  t.after(() => server.close());
  await new Promise((resolve) => server.once('listening', resolve));
  return {upstream: `127.0.0.1:${server.address().port}`, sendNext: () => next()};
}

for (const [name, proxy] of Object.entries(proxies)) {
  test(`behind ${name}`, {skip: whyNot(proxy)}, async (t) => {
    const folder = temporaryFolder(t);
    const page = join(folder, 'page');
    mkdirSync(page);
    writeFileSync(join(page, 'index.html'), '<!doctype html><title>the page</title>');
    mkdirSync(join(folder, 'projects/halls'), {recursive: true});
    const server = await Server.start(t, join(folder, 'projects'), '--host-name', 'cad.example', '--page', page);
    const port = await start(t, name, server.url.replace('http://', ''));
    const json = {'Content-Type': 'application/json'};
    const post = (operation, body) => ask(port, `/v1/projects/a.db/${operation}`,
      {method: 'POST', headers: json, body: JSON.stringify(body)});

    await t.test('the page and its requests come through', async () => {
      const reply = await ask(port, '/');
      assert.equal(reply.status, 200);
      assert.match(reply.body.toString(), /the page/);
      const own = await ask(port, '/v1/access',
        {headers: {Origin: 'https://cad.example', 'Sec-Fetch-Site': 'same-origin'}});
      assert.equal(own.status, 200);
      const other = await ask(port, '/v1/access', {headers: {Origin: 'https://else.example'}});
      assert.equal(other.status, 403);
    });

    await t.test('a name with a slash keeps it', async () => {
      const reply = await ask(port, '/v1/projects/halls%2Fa%207.db/list_sheets');
      assert.equal(JSON.parse(reply.body).detail, 'no project halls/a 7.db');
    });

    await t.test('large bodies go both ways', async () => {
      assert.equal((await post('create_material?create=true', {})).status, 200);
      assert.equal((await post('create_sheet', {})).status, 200);
      assert.equal((await post('create_revision', {sheet_id: 1})).status, 200);
      const bar = {rev_id: 1, material_id: 1, comment: 'x'.repeat(10_000)};
      const items = Array.from({length: 2000}, () => bar);
      assert.equal((await post('add_rebar', {items})).status, 200);
      const read = await post('get_rebars', {id: 1});
      assert.ok(read.body.length > 20_000_000, `${read.body.length} bytes`);
      assert.equal(JSON.parse(read.body).items.length, 2000);
    });

    await t.test('a body beyond the limit is refused', async () => {
      const body = Buffer.alloc(65 << 20, ' ');
      const reply = await ask(port, '/v1/projects/a.db/add_rebar', {method: 'POST', headers: json, body})
        .catch(({code}) => code);
      // A proxy may close while the body is still being sent.
      assert.ok(reply.status === 413 || reply === 'EPIPE' || reply === 'ECONNRESET', String(reply.status ?? reply));
    });

    await t.test('entity tags hold', async () => {
      const first = await ask(port, '/v1/projects/a.db/list_sheets');
      assert.equal(first.status, 200);
      const again = await ask(port, '/v1/projects/a.db/list_sheets', {headers: {'If-None-Match': first.fields.etag}});
      assert.equal(again.status, 304);
      assert.equal(again.body.length, 0);
    });

    await t.test('events come when they are sent', async (t) => {
      const {upstream, sendNext} = await startEvents(t);
      const events = await start(t, name, upstream);
      const seen = [];
      const reply = await ask(events, '/events', {
        each: (text) => {
          seen.push(text);
          if (seen.length === 1) sendNext();
        },
      });
      assert.equal(reply.status, 200);
      assert.deepEqual(seen, ['data: first\n\n', 'data: second\n\n']);
    });
  });
}
