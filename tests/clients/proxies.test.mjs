// The server behind nginx and Caddy, with the configurations of deploy/ as they are but for addresses,
// ports and the paths of certificates.

import assert from 'node:assert/strict';
import {spawn} from 'node:child_process';
import {accessSync, constants, mkdirSync, readFileSync, writeFileSync} from 'node:fs';
import {createServer} from 'node:http';
import {Agent, request} from 'node:https';
import {createServer as createSocket} from 'node:net';
import {delimiter, join} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';
import {makeCertificate, Server, temporaryFolder, until} from './server.mjs';

const root = fileURLToPath(new URL('../../', import.meta.url));
const deployed = (name) => readFileSync(join(root, 'deploy', name), 'utf8');

/** The path of a program, also of one that scripts/install-packages.sh has unpacked. */
function find(command) {
  const tools = join(root, 'build/tools/usr');
  const folders = [...process.env.PATH.split(delimiter), '/usr/sbin', join(tools, 'sbin'), join(tools, 'bin')];
  return folders.map((folder) => join(folder, command)).find((file) => {
    try {
      accessSync(file, constants.X_OK);
      return true;
    } catch {
      return false;
    }
  });
}

async function freePort() {
  const socket = createSocket().listen(0, '127.0.0.1');
  await new Promise((resolve) => socket.once('listening', resolve));
  const {port} = socket.address();
  await new Promise((resolve) => socket.close(resolve));
  return port;
}

/** The text with each of the words exchanged; each must be there. */
function exchanged(text, words) {
  return Object.entries(words).reduce((made, [word, other]) => {
    assert.ok(made.includes(word), word);
    return made.replaceAll(word, other);
  }, text);
}

/** Writes the configuration of a proxy at `port` for a server at `upstream`. Gives the arguments of its
 * start. */
const proxies = {
  nginx(folder, {port, upstream, certificate, key}) {
    const site = exchanged(deployed('nginx.conf'), {
      '127.0.0.1:8420': upstream,
      'listen 443 ssl': `listen 127.0.0.1:${port} ssl`,
      'ssl_certificate /etc/ssl/certs/cad.example.pem': `ssl_certificate ${certificate}`,
      'ssl_certificate_key /etc/ssl/private/cad.example.pem': `ssl_certificate_key ${key}`,
    });
    const bodies = ['client_body', 'proxy', 'fastcgi', 'uwsgi', 'scgi']
      .map((name) => `${name}_temp_path ${folder}/${name};`).join('\n');
    writeFileSync(join(folder, 'nginx.conf'), `daemon off; master_process off; pid ${folder}/pid;
      error_log stderr; events {} http { access_log off; ${bodies}\n${site} }`);
    return ['-p', folder, '-e', 'stderr', '-c', join(folder, 'nginx.conf')];
  },
  caddy(folder, {port, upstream, certificate, key}) {
    const site = exchanged(deployed('Caddyfile'), {
      '127.0.0.1:8420': upstream,
      'cad.example {': `https://cad.example:${port} {\n\tbind 127.0.0.1`,
      '/etc/ssl/certs/cad.example.pem /etc/ssl/private/cad.example.pem': `${certificate} ${key}`,
    });
    const options = '{\n\tadmin off\n\tauto_https disable_redirects\n}\n';
    writeFileSync(join(folder, 'Caddyfile'), options + site);
    return ['run', '--config', join(folder, 'Caddyfile'), '--adapter', 'caddyfile'];
  },
};

/** A request to https://cad.example:<port>; gives status, fields and body, or with `each` every piece of
 * the body as it comes. */
function ask(port, path, {method = 'GET', headers = {}, body, each} = {}) {
  const agent = new Agent({rejectUnauthorized: false});
  return new Promise((resolve, reject) => {
    const asked = request({host: '127.0.0.1', port, path, method, agent, servername: 'cad.example',
      headers: {Host: 'cad.example', ...headers}}, (reply) => {
      const pieces = [];
      reply.on('data', (piece) => {
        pieces.push(piece);
        each?.(piece.toString());
      });
      reply.on('error', reject);
      reply.on('end', () => resolve({status: reply.statusCode, fields: reply.headers, body: Buffer.concat(pieces)}));
    });
    asked.on('error', reject);
    asked.end(body);
  });
}

/** Starts the proxy before `upstream`, an address and port, and waits until it takes connections. */
async function start(t, name, command, upstream) {
  const folder = temporaryFolder(t);
  const {certificate, key} = await makeCertificate(folder, 'proxy');
  const port = await freePort();
  const args = proxies[name](folder, {port, upstream, certificate, key});
  const child = spawn(command, args, {env: {...process.env, HOME: folder, XDG_CONFIG_HOME: folder, XDG_DATA_HOME: folder}});
  let told = '';
  child.stderr.on('data', (text) => { told += text; });
  const ended = new Promise((resolve) => { child.on('close', resolve); });
  t.after(async () => {
    child.kill('SIGTERM');
    await ended;
  });
  await until(() => {
    if (child.exitCode !== null) throw new Error(told);
    return ask(port, '/healthz/live').catch(() => false);
  }, `${name} takes connections`);
  return port;
}

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

for (const name of Object.keys(proxies)) {
  const command = find(name);
  const skip = command ? false : `${name} is not on this machine: scripts/install-packages.sh test`;
  test(`behind ${name}`, {skip}, async (t) => {
    const folder = temporaryFolder(t);
    const page = join(folder, 'page');
    mkdirSync(page);
    writeFileSync(join(page, 'index.html'), '<!doctype html><title>the page</title>');
    mkdirSync(join(folder, 'projects/halls'), {recursive: true});
    const server = await Server.start(t, join(folder, 'projects'), '--host-name', 'cad.example', '--page', page);
    const port = await start(t, name, command, server.url.replace('http://', ''));
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
      const events = await start(t, name, command, upstream);
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
