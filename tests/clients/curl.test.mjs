// The server by curl, as a person or a script calls it: bodies of all kinds, TLS and bearer tokens.

import assert from 'node:assert/strict';
import {once} from 'node:events';
import {writeFileSync} from 'node:fs';
import {connect} from 'node:net';
import {join} from 'node:path';
import {test} from 'node:test';
import {binary, json, manager, problem} from './client.mjs';
import {makeCertificate, run, Server, temporaryFolder} from './server.mjs';

/** Runs curl; gives the status, the type and the body of the last reply, and what it tells. */
async function curl(args, options = {}) {
  const format = '\n%{http_code} %{content_type}';
  const {code, bytes, err} = await run(
    ['--silent', '--show-error', '--max-time', '20', '--write-out', format, ...args],
    {command: 'curl', ...options});
  const end = bytes.lastIndexOf('\n');
  const [status, type] = bytes.subarray(end + 1).toString().split(' ');
  const body = bytes.subarray(0, end);
  return {code, err, status: Number(status), type, bytes: body, body: body.toString()};
}

const withJson = (body) => ['-H', `Content-Type: ${json}`, '--data-binary', body];
const url = (server, service, operation) => `${server.url}/v1/${service}/${operation}`;
const project = 'korvane.model.cad.Project:0';

async function startWithProject(t, ...options) {
  const server = await Server.start(t, temporaryFolder(t), ...options);
  const opened = await curl([...withJson('{"filename":"project.db"}'), url(server, manager, 'open')]);
  assert.equal(opened.body, `{"error":null,"service_id":"${project}"}\n`);
  return server;
}

/** A batch of bars in JSON, of about as many bytes. */
function largeBatch(bytes) {
  const bar = {rev_id: 1, sheet_id: 1, material_id: 1, comment: 'x'.repeat(1000)};
  const items = [];
  for (let size = 0; size < bytes; size += 1100) items.push({...bar, mark: String(items.length)});
  return {text: JSON.stringify({items}), count: items.length};
}

async function countBars(server) {
  const reply = await curl(['--get', url(server, project, 'get_rebars'), '--data-urlencode', 'request={"id":1}']);
  return JSON.parse(reply.body).items.length;
}

test('bodies', async (t) => {
  const server = await startWithProject(t, '--body-bytes', String(4 << 20));
  const call = (operation, ...args) => curl([...args, url(server, project, operation)]);

  await t.test('JSON', async () => {
    const made = await call('create_material', ...withJson('{"uid":"steel","physical":{"density":7850}}'));
    assert.deepEqual([made.status, made.type], [200, json]);
    assert.equal(made.body, '{"error":null,"id":1,"uid":"steel"}\n');
    assert.equal((await call('create_sheet', ...withJson('{"name":"417"}'))).status, 200);
    assert.equal((await call('create_revision', ...withJson('{"name":"a","sheet_id":1}'))).status, 200);
  });

  await t.test('binary, from a file and into one', async (t) => {
    const file = join(temporaryFolder(t), 'material');
    const read = await call('get_material', ...withJson('{"id":1}'), '-H', `Accept: ${binary}`);
    assert.deepEqual([read.status, read.type], [200, binary]);
    writeFileSync(file, read.bytes);
    const sent = ['-H', `Content-Type: ${binary}`, '--data-binary', `@${file}`];
    const updated = await call('update_material', ...sent, '-H', `Accept: ${json}`);
    assert.deepEqual([updated.status, updated.body], [200, '{"error":null}\n']);
    const again = await call('get_material', ...withJson('{"id":1}'), '-H', `Accept: ${binary}`);
    assert.deepEqual(again.bytes, read.bytes);
  });

  await t.test('none, in a link', async () => {
    const link = ['--get', '--data-urlencode', 'request={"uid":"steel"}'];
    const read = await call('try_get_material', ...link);
    assert.equal(JSON.parse(read.body).value.physical.density, 7850);
    const sql = "select uid from material where uid <> ' +&=/?#%'";
    const query = {kind: 'sql:raw', params: {query: {value_string: sql}}};
    const table = await call('query_table', '--get', '--data-urlencode', `request=${JSON.stringify(query)}`);
    assert.equal(table.status, 200, table.body);
    assert.equal(JSON.parse(table.body).rows[0][0].value_string, 'steel');
  });

  await t.test('in chunks', async () => {
    const batch = largeBatch(300_000);
    const before = await countBars(server);
    const sent = await curl(['-H', 'Transfer-Encoding: chunked', '-H', `Content-Type: ${json}`,
      '--data-binary', '@-', url(server, project, 'add_rebar')], {input: batch.text});
    assert.equal(sent.status, 200, sent.body);
    assert.equal(await countBars(server), before + batch.count);
  });

  await t.test('large, sent after the server has said that it goes on', async () => {
    const batch = largeBatch(3_000_000);
    const before = await countBars(server);
    const sent = await curl(['--verbose', '--expect100-timeout', '15', '-H', 'Expect: 100-continue',
      '-H', `Content-Type: ${json}`, '--data-binary', '@-', url(server, project, 'add_rebar')],
    {input: batch.text});
    assert.equal(sent.status, 200, sent.body);
    assert.match(sent.err, /< HTTP\/1\.1 100 Continue/);
    assert.equal(await countBars(server), before + batch.count);
  });

  await t.test('too large, which is told before it is sent', async () => {
    const sent = await curl(['--verbose', '--expect100-timeout', '15', '-H', 'Expect: 100-continue',
      '-H', `Content-Type: ${json}`, '--data-binary', '@-', url(server, project, 'add_rebar')],
    {input: largeBatch(5_000_000).text});
    assert.deepEqual([sent.status, sent.type], [413, problem]);
    assert.equal(JSON.parse(sent.body).detail, `the body is longer than ${4 << 20} bytes`);
    assert.doesNotMatch(sent.err, /100 Continue/);
  });

  await t.test('too large in chunks, and nothing of it is stored', async () => {
    const before = await countBars(server);
    const sent = await curl(['-H', 'Transfer-Encoding: chunked', '-H', 'Expect:', '-H', `Content-Type: ${json}`,
      '--data-binary', '@-', url(server, project, 'add_rebar')], {input: largeBatch(5_000_000).text});
    assert.equal(sent.status, 413);
    assert.equal(await countBars(server), before);
  });

  await t.test('without the type that says what it is', async () => {
    const sent = await call('list_sheets', '--data-binary', '{}');
    assert.equal(sent.status, 415);
    assert.match(JSON.parse(sent.body).detail, /"application\/x-www-form-urlencoded"; expected /);
  });
});

test('TLS', async (t) => {
  const folder = temporaryFolder(t);
  const {certificate, key} = await makeCertificate(folder, 'certificate');
  const server = await Server.start(t, temporaryFolder(t), '--tls-cert', certificate, '--tls-key', key);
  assert.match(server.url, /^https:\/\/127\.0\.0\.1:\d+$/);
  const open = [...withJson('{"filename":"project.db"}'), url(server, manager, 'open')];

  await t.test('a client that knows the certificate calls', async () => {
    const opened = await curl(['--cacert', certificate, ...open]);
    assert.equal(opened.status, 200, opened.err);
    const large = await curl(['--cacert', certificate, `${server.url}/openapi.json`]);
    assert.equal(JSON.parse(large.body).openapi, '3.1.0');
  });

  await t.test('a client that does not know it goes away', async () => {
    const untrusted = await curl(open);
    assert.equal(untrusted.code, 60);
    assert.equal(untrusted.status, 0);
  });

  await t.test('a page of the same server may call, of the same address without TLS not', async () => {
    const call = (origin) => curl(['--cacert', certificate, '-H', `Origin: ${origin}`, `${server.url}/v1`]);
    assert.equal((await call(server.url)).status, 200);
    assert.equal((await call(server.url.replace('https', 'http'))).status, 403);
  });

  await t.test('a request without TLS fails and does no harm', async () => {
    const plain = await curl([`${server.url.replace('https', 'http')}/v1`]);
    assert.notEqual(plain.code, 0);
    assert.equal(plain.status, 0);
    assert.equal((await curl(['--cacert', certificate, `${server.url}/v1`])).status, 200);
  });

  await t.test('connections that never shake hands hold up no other', async (t) => {
    const {hostname, port} = new URL(server.url);
    for (const beginning of ['', '\x16\x03\x01']) {
      const silent = connect(port, hostname);
      t.after(() => silent.destroy());
      await once(silent, 'connect');
      silent.write(beginning);
    }
    assert.equal((await curl(['--cacert', certificate, `${server.url}/v1`])).status, 200);
  });

  await t.test('versions before 1.2 are refused', async () => {
    const old = await curl(['--cacert', certificate, '--tls-max', '1.1', '--ciphers', 'DEFAULT@SECLEVEL=0',
      `${server.url}/v1`]);
    assert.equal(old.code, 35);
    assert.match(old.err, /alert protocol version/);
  });

  await t.test('of 1.2 the ciphers that keep secrets secret are taken, others refused', async (t) => {
    const rsa = await makeCertificate(folder, 'rsa', ['rsa:2048']);
    const other = await Server.start(t, temporaryFolder(t), '--tls-cert', rsa.certificate, '--tls-key', rsa.key);
    const call = (ciphers) => curl(['--cacert', rsa.certificate, '--tls-max', '1.2', '--ciphers',
      `${ciphers}:@SECLEVEL=0`, `${other.url}/v1`]);
    for (const good of ['ECDHE-RSA-AES128-GCM-SHA256', 'ECDHE-RSA-CHACHA20-POLY1305']) {
      assert.equal((await call(good)).status, 200, good);
    }
    for (const bad of ['ECDHE-RSA-AES128-SHA', 'AES128-SHA', 'AES128-GCM-SHA256', 'AES256-SHA256']) {
      const refused = await call(bad);
      assert.equal(refused.code, 35, bad);
      assert.match(refused.err, /handshake failure/);
    }
  });

  await t.test('a key that belongs to another certificate keeps it from starting', async () => {
    const other = join(folder, 'other.pem');
    await run(['ecparam', '-name', 'prime256v1', '-genkey', '-noout', '-out', other], {command: 'openssl'});
    const ended = await run(['serve', '--root', folder, '--listen', '127.0.0.1:0',
      '--tls-cert', certificate, '--tls-key', other]);
    assert.equal(ended.code, 1);
    assert.ok(ended.err.includes(`cannot use the certificate ${certificate} with the key ${other}: `), ended.err);
  });

  await t.test('it ends as without', async () => {
    assert.deepEqual(await server.stop(), {code: 0, signal: null});
  });
});

test('bearer tokens', async (t) => {
  const folder = temporaryFolder(t);
  const tokens = join(folder, 'tokens.json');
  const token = (...args) => run(['token', ...args.slice(0, 1), '--tokens', tokens, ...args.slice(1)]);

  const secrets = {};
  await t.test('are made, each shown once', async () => {
    for (const [client, ...scopes] of [['reader', 'read'], ['writer', 'read', 'write'], ['analyst', 'read', 'sql']]) {
      const made = await token('add', client, '--scope', ...scopes);
      assert.equal(made.code, 0, made.err);
      assert.match(made.out, /^krv_[\w-]{43}\n$/);
      assert.match(made.err, new RegExp(`^made a token for "${client}"; it is not shown again\n$`));
      secrets[client] = made.out.trim();
    }
    assert.equal(new Set(Object.values(secrets)).size, 3);
  });

  await t.test('are listed by client and scopes, and not shown', async () => {
    const listed = await token('list');
    assert.match(listed.out, /^reader read \d{4}-\d\d-\d\d\nwriter read write \d{4}-\d\d-\d\d\nanalyst read sql \d{4}-\d\d-\d\d\n$/);
  });

  await t.test('of a name that has one, or without a scope, are refused', async () => {
    assert.equal((await token('add', 'reader', '--scope', 'read')).code, 1);
    assert.equal((await token('add', 'other')).code, 2);
    assert.equal((await token('add', 'other', '--scope', 'admin')).code, 2);
    assert.equal((await token('remove', 'other')).code, 1);
  });

  const server = await Server.start(t, temporaryFolder(t), '--tokens', tokens);
  const call = (client, operation, body, service = project) => curl([
    ...client ? ['-H', `Authorization: Bearer ${secrets[client] ?? client}`] : [],
    ...withJson(body), url(server, service, operation)]);
  const refused = (reply, status, detail) => {
    assert.deepEqual([reply.status, reply.type], [status, problem]);
    assert.equal(JSON.parse(reply.body).detail, detail);
  };

  await t.test('are needed for everything but the health', async () => {
    refused(await call('', 'open', '{}', manager), 401, 'expected a bearer token in the field Authorization');
    for (const path of ['/v1', '/openapi.json', '/metrics', '/v2']) {
      const reply = await curl(['--include', server.url + path]);
      assert.equal(reply.status, 401, path);
      assert.match(reply.body, /\r\nWWW-Authenticate: Bearer realm="korvane"\r\n/i);
    }
    assert.equal((await curl([`${server.url}/healthz/live`])).status, 200);
    assert.equal((await curl([`${server.url}/healthz/ready`])).status, 200);
  });

  await t.test('have to be right to the last character', async () => {
    const almost = secrets.writer.slice(0, -1) + (secrets.writer.endsWith('A') ? 'E' : 'A');
    for (const wrong of [almost, `${secrets.writer}A`, 'krv_', 'nobody']) {
      refused(await call(wrong, 'open', '{}', manager), 401, 'no such token');
    }
  });

  await t.test('let read, write and query as their scopes say', async () => {
    const open = (client) => call(client, 'open', '{"filename":"project.db"}', manager);
    refused(await open('reader'), 403, 'the token of "reader" lacks the scope write');
    assert.equal((await open('writer')).status, 200);
    assert.equal((await open('reader')).status, 200);
    refused(await call('reader', 'create_sheet', '{}'), 403, 'the token of "reader" lacks the scope write');
    assert.equal((await call('writer', 'create_sheet', '{"name":"417"}')).status, 200);
    assert.equal((await call('reader', 'list_sheets', '{}')).status, 200);
    const sql = (text) => JSON.stringify({kind: 'sql:raw', params: {query: {value_string: text}}});
    assert.equal((await call('reader', 'query_table', sql('select id from sheet'))).status, 200);
    for (const client of ['reader', 'writer']) {
      const reply = await call(client, 'query_table', sql('delete from sheet'));
      assert.equal(reply.status, 403);
      assert.match(JSON.parse(reply.body).detail, /^a fenced query may only read: /);
    }
    assert.equal((await call('analyst', 'query_table', sql('delete from sheet'))).status, 200);
    assert.equal((await call('reader', 'list_sheets', '{}')).body, '{"items":[]}\n');
  });

  await t.test('stand in no line of the log', () => {
    assert.ok(server.log.some((line) => JSON.parse(line).client === 'writer'));
    for (const secret of Object.values(secrets)) {
      assert.ok(!server.log.some((line) => line.includes(secret.slice(4))));
    }
  });

  await t.test('that were removed no longer count for a server started then', async (t) => {
    assert.equal((await token('remove', 'writer')).code, 0);
    assert.doesNotMatch((await token('list')).out, /writer/);
    const later = await Server.start(t, server.root, '--tokens', tokens);
    const list = (client) => curl(['-H', `Authorization: Bearer ${secrets[client]}`, `${later.url}/v1`]);
    assert.equal((await list('writer')).status, 401);
    assert.equal((await list('reader')).status, 200);
  });

  await t.test('are what it takes to listen to others than this machine', async (t) => {
    const ended = await run(['serve', '--root', folder, '--listen', '0.0.0.0:0']);
    assert.equal(ended.code, 1);
    assert.equal(ended.out, '');
    assert.match(ended.err, /^korvane: users of other machines could connect to 0\.0\.0\.0:0: expected --tokens/);
    const open = await Server.start(t, folder, '--listen', '0.0.0.0:0', '--tokens', tokens);
    const local = open.url.replace('0.0.0.0', '127.0.0.1');
    assert.equal((await curl(['-H', `Authorization: Bearer ${secrets.reader}`, `${local}/v1`])).status, 200);
  });

  await t.test('in a file that is missing keep it from starting', async () => {
    const missing = join(folder, 'missing.json');
    const ended = await run(['serve', '--root', folder, '--listen', '127.0.0.1:0', '--tokens', missing]);
    assert.equal(ended.code, 1);
    assert.ok(ended.err.includes(`token file ${missing}: `), ended.err);
  });
});
