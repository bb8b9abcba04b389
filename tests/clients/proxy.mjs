// nginx, Caddy and HAProxy with the configurations of deploy/ as they are, but for addresses, ports and
// the paths of certificates.

import assert from 'node:assert/strict';
import {spawn} from 'node:child_process';
import {accessSync, constants, readFileSync, writeFileSync} from 'node:fs';
import {Agent, request} from 'node:https';
import {createServer as createSocket} from 'node:net';
import {delimiter, join} from 'node:path';
import {fileURLToPath} from 'node:url';
import {makeCertificate, temporaryFolder, until} from './server.mjs';

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

/** `text` with each line of a server of a cluster exchanged for one of `upstreams`, or left out. */
function withServers(text, upstreams, lineOf) {
  const lines = [11, 12, 13].map((last, i) => [lineOf(`192.0.2.${last}:8420`, i),
    upstreams[i] ? lineOf(upstreams[i], i) : '']);
  return exchanged(text, Object.fromEntries(lines));
}

function startNginx(folder, site, {port, certificate, key}) {
  const own = exchanged(site, {
    'listen 443 ssl': `listen 127.0.0.1:${port} ssl`,
    'ssl_certificate /etc/ssl/certs/cad.example.pem': `ssl_certificate ${certificate}`,
    'ssl_certificate_key /etc/ssl/private/cad.example.pem': `ssl_certificate_key ${key}`,
  });
  const bodies = ['client_body', 'proxy', 'fastcgi', 'uwsgi', 'scgi']
    .map((name) => `${name}_temp_path ${folder}/${name};`).join('\n');
  writeFileSync(join(folder, 'nginx.conf'), `daemon off; master_process off; pid ${folder}/pid;
    error_log stderr; events {} http { access_log off; ${bodies}\n${own} }`);
  return ['-p', folder, '-e', 'stderr', '-c', join(folder, 'nginx.conf')];
}

/** By name the program of a proxy and, in `args`, what writes its configuration at `port` for servers at
 * `upstreams` and gives the arguments of its start. */
export const proxies = {
  nginx: {command: 'nginx', args: (folder, options) =>
    startNginx(folder, exchanged(deployed('nginx.conf'), {'127.0.0.1:8420': options.upstreams[0]}), options)},
  'nginx, for several servers': {command: 'nginx', args: (folder, options) =>
    startNginx(folder, withServers(deployed('nginx-cluster.conf'), options.upstreams,
      (address) => `  server ${address} max_fails=1 fail_timeout=2s;\n`), options)},
  haproxy: {command: 'haproxy', args(folder, {port, upstreams, certificate, key}) {
    const pair = join(folder, 'pair.pem');
    writeFileSync(pair, readFileSync(certificate, 'utf8') + readFileSync(key, 'utf8'));
    const places = ['one', 'two', 'three'];
    const text = withServers(deployed('haproxy.cfg'), upstreams, (address, i) => `  server ${places[i]} ${address}\n`);
    writeFileSync(join(folder, 'haproxy.cfg'), exchanged(text, {
      '  user haproxy\n  group haproxy\n  log /dev/log local0\n': '',
      '/run/haproxy/admin.sock': join(folder, 'admin.sock'),
      '  log global\n  option httplog\n': '',
      'bind :443 ssl crt /etc/haproxy/cad.example.pem': `bind 127.0.0.1:${port} ssl crt ${pair}`,
    }));
    return ['-db', '-f', join(folder, 'haproxy.cfg')];
  }},
  caddy: {command: 'caddy', args(folder, {port, upstreams, certificate, key}) {
    const site = exchanged(deployed('Caddyfile'), {
      '127.0.0.1:8420': upstreams[0],
      'cad.example {': `https://cad.example:${port} {\n\tbind 127.0.0.1`,
      '/etc/ssl/certs/cad.example.pem /etc/ssl/private/cad.example.pem': `${certificate} ${key}`,
    });
    const options = '{\n\tadmin off\n\tauto_https disable_redirects\n}\n';
    writeFileSync(join(folder, 'Caddyfile'), options + site);
    return ['run', '--config', join(folder, 'Caddyfile'), '--adapter', 'caddyfile'];
  }},
};

/** Why the tests of a proxy are skipped, if they are. */
export const whyNot = ({command}) =>
  (find(command) ? false : `${command} is not on this machine: scripts/install-packages.sh test`);

/** A request to https://cad.example:<port>; gives status, fields and body, or with `each` every piece of
 * the body as it comes. */
export function ask(port, path, {method = 'GET', headers = {}, body, each} = {}) {
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

/** Starts the proxy before `upstreams`, addresses with ports, and waits until it takes connections. */
export async function start(t, name, ...upstreams) {
  const folder = temporaryFolder(t);
  const {certificate, key} = await makeCertificate(folder, 'proxy');
  const port = await freePort();
  const args = proxies[name].args(folder, {port, upstreams, certificate, key});
  const child = spawn(find(proxies[name].command), args, {env: {...process.env, HOME: folder, XDG_CONFIG_HOME: folder, XDG_DATA_HOME: folder}});
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
