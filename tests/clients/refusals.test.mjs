// What a server refuses, and what its clients are told.

import assert from 'node:assert/strict';
import {request as httpRequest} from 'node:http';
import {test} from 'node:test';
import {binary, Client, json, manager, problem} from './client.mjs';
import {Server, temporaryFolder} from './server.mjs';

function refused(reply, status, detail) {
  assert.equal(reply.status, status, JSON.stringify(reply.body));
  assert.equal(reply.type, problem);
  assert.equal(reply.body.status, status);
  assert.match(reply.body.detail, detail);
}

test('refusals', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const client = await Client.of(server);
  const id = await client.open('project.db');

  await t.test('an unknown field is named with its path', async () => {
    const reply = await client.request('POST', `/v1/${id}/create_sheet`, {
      headers: {'Content-Type': json},
      body: '{"name":"417","properties":{"a":{"value_text":"b"}}}',
    });
    refused(reply, 400, /^properties\.a\.value_text: unknown field$/);
  });

  await t.test('bytes that are no record', async () => {
    refused(await client.call(id, 'create_sheet', Buffer.from([0x49, 0x7f])), 400, /out of bounds/);
  });

  await t.test('a record that there is not', async () => {
    refused(await client.call(id, 'get_material', {id: 7}), 404, /^failed to get_material/);
  });

  await t.test('a record that others refer to', async () => {
    await client.value(id, 'create_material', {uid: 'steel'});
    await client.value(id, 'create_fabric_type', {type_name: 'Q 188 A', material: {id: 1}});
    refused(await client.call(id, 'delete_material', {id: 1}), 409, /^Constraint violation: /);
    assert.equal((await client.value(id, 'list_materials')).items.length, 1);
  });

  await t.test('an unknown service, operation and path', async () => {
    const post = (path) => client.request('POST', path, {headers: {'Content-Type': json}, body: '{}'});
    refused(await post('/v1/nobody/open'), 404, /^no service nobody$/);
    refused(await post(`/v1/${id}/drop`), 404, /has no operation drop$/);
    refused(await client.get('/v2'), 404, /^nothing is served at \/v2$/);
  });

  await t.test('a method, a media type and an Accept that are not served', async () => {
    const get = await client.get(`/v1/${id}/create_sheet`);
    refused(get, 405, /^GET is not served here; expected POST$/);
    assert.equal(get.headers.get('allow'), 'POST');
    const xml = {'Content-Type': 'text/xml'};
    refused(await client.call(id, 'list_sheets', {}, {headers: xml}), 415, /^the Content-Type is "text\/xml"/);
    refused(await client.call(id, 'list_sheets', {}, {accept: 'text/html'}), 406, /^replies come as /);
  });

  await t.test('files outside the folder', async () => {
    for (const filename of ['../outside.db', '/tmp/outside.db', 'project.db-journal', 'file:a.db']) {
      const expected = `file name "${filename}" is refused: expected `;
      const reply = await client.call(manager, 'open', {filename});
      refused(reply, 400, /expected/);
      assert.ok(reply.body.detail.startsWith(expected), reply.body.detail);
    }
  });

  await t.test('cross-site requests of browsers', async () => {
    const call = (headers) => client.call(id, 'list_sheets', {}, {headers});
    refused(await call({Origin: 'https://example.org'}), 403, /^cross-site requests from "https:\/\/example\.org" are refused$/);
    refused(await call({Origin: 'null'}), 403, /are refused$/);
    refused(await call({'Sec-Fetch-Site': 'cross-site'}), 403, /^cross-site requests are refused$/);
    assert.equal((await call({Origin: server.url})).status, 200);
    const preflight = await client.request('OPTIONS', `/v1/${id}/list_sheets`, {
      headers: {'Origin': 'https://example.org', 'Access-Control-Request-Method': 'POST'},
    });
    refused(preflight, 403, /are refused$/);
    assert.equal(preflight.headers.get('access-control-allow-origin'), null);
  });

  /** fetch would set the field itself. */
  const statusFor = (url, host) => new Promise((resolve, reject) => {
    httpRequest(`${url}/v1`, {headers: {Host: host}}, (response) => {
      response.resume().on('end', () => resolve(response.statusCode));
    }).on('error', reject).end();
  });

  await t.test('a name that is not the server\'s', async () => {
    assert.equal(await statusFor(server.url, 'example.org'), 421);
    assert.equal(await statusFor(server.url, 'localhost:1'), 200);
    const renamed = await Server.start(t, temporaryFolder(t), '--host-name', 'drawings.example.org');
    assert.equal(await statusFor(renamed.url, 'drawings.example.org'), 200);
    assert.equal(await statusFor(renamed.url, 'example.org'), 421);
  });

  await t.test('a nested request and a broken one, and the server goes on', async () => {
    const post = (body) => client.request('POST', `/v1/${id}/list_sheets`, {headers: {'Content-Type': json}, body});
    refused(await post('['.repeat(100_000)), 400, /nested deeper than 64 levels/);
    refused(await post('{"a":'), 400, /^request: malformed JSON at line 1/);
    assert.equal((await post('{}')).status, 200);
  });
});

test('a link runs SQL behind a fence', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--query-rows', '3', '--query-time', '0.3');
  const client = await Client.of(server);
  const id = await client.open('project.db');
  const sql = (text) => ({kind: 'sql:raw', params: {query: {value_string: text}}});
  const numbers = (last) => sql(
    `with recursive n(i) as (select 1 union all select i + 1 from n where i < ${last}) select i from n`);
  for (const name of ['a', 'b', 'c', 'd']) await client.value(id, 'create_sheet', {uid: name, name});

  await t.test('that reads', async () => {
    const {body} = await client.follow(id, 'query_table', sql('select uid from sheet where id < 3 order by id'));
    assert.deepEqual(body.rows.map(([cell]) => cell.value_string), ['a', 'b']);
  });

  await t.test('that changes nothing', async () => {
    for (const text of ['delete from sheet', 'drop table sheet', "attach 'other.db' as other", 'pragma foreign_keys = off']) {
      refused(await client.follow(id, 'query_table', sql(text)), 403, /^a fenced query may only read: /);
    }
    assert.equal((await client.value(id, 'list_sheets')).items.length, 4);
  });

  await t.test('that ends', async () => {
    refused(await client.follow(id, 'query_table', sql(
      'with recursive n(i) as (select 1 union all select i + 1 from n) select count(*) from n')), 422, /^a fenced query may take 300 ms: it was stopped$/);
  });

  for (const accept of [json, binary]) {
    await t.test(`whose reply of too many rows is cut and says so, as ${accept}`, async () => {
      const cut = await client.follow(id, 'query_table', numbers(4), {accept});
      assert.equal(cut.headers.get('korvane-truncated'), 'rows=3');
      const whole = await client.follow(id, 'query_table', numbers(3), {accept});
      assert.equal(whole.headers.get('korvane-truncated'), null);
      assert.deepEqual(cut.body, whole.body);
      if (accept === json) assert.equal(whole.body.rows.length, 3);
    });
  }

  await t.test('which does not hold for calls of who may run any SQL', async () => {
    const reply = await client.call(id, 'query_table', numbers(5));
    assert.equal(reply.headers.get('korvane-truncated'), null);
    assert.equal(reply.body.rows.length, 5);
    await client.value(id, 'query_table', sql("update sheet set uid = 'z' where id = 1"));
    assert.equal((await client.value(id, 'get_sheet', {id: 1})).uid, 'z');
  });
});

test('no call runs for ever', async (t) => {
  const server = await Server.start(t, temporaryFolder(t), '--call-time', '0.5');
  const client = await Client.of(server);
  const id = await client.open('project.db');
  const sql = (text) => ({kind: 'sql:raw', params: {query: {value_string: text}}});
  const post = (body) => client.request('POST', `/v1/${id}/query_table`,
    {headers: {'Content-Type': json}, body: JSON.stringify(body)});
  refused(await post(sql('with recursive n(i) as (select 1 union all select i + 1 from n) select count(*) from n')),
    422, /^a call may take 500 ms: it was stopped$/);
  assert.equal((await post(sql('select 1 as one'))).status, 200);
});
