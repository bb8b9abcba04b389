// docs/administration.md: its limits are those of the program, and its commands do what it says.

import assert from 'node:assert/strict';
import {once} from 'node:events';
import {copyFileSync, existsSync, mkdirSync, readFileSync, writeFileSync} from 'node:fs';
import {createServer} from 'node:net';
import {dirname, join} from 'node:path';
import {test} from 'node:test';
import {connect} from 'node:tls';
import {fileURLToPath} from 'node:url';
import {makeCertificate, program, run, Server, temporaryFolder, until} from './server.mjs';

const path = (relative) => fileURLToPath(new URL(relative, import.meta.url));
const page = readFileSync(path('../../docs/administration.md'), 'utf8');

function example(name) {
  const found = [...page.matchAll(new RegExp(`<!-- example: ${name} -->\n\`\`\`sh\n(.*?)\`\`\`\n`, 'gs'))];
  assert.equal(found.length, 1, name);
  return found[0][1];
}

/** Runs an example in a folder, where `korvane` is the program that is tested. */
async function sh(name, folder, change = (text) => text) {
  const {code, out, err} = await run(['-e', '-c', `cd "$0"; ${change(example(name))}`, folder],
    {command: 'bash', env: {PATH: `${dirname(program)}:${process.env.PATH}`}});
  assert.equal(code, 0, err + out);
  return out;
}

async function freePort() {
  const server = createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const {port} = server.address();
  server.close();
  return port;
}

/** What an example needs of a machine that a test cannot have: root, services, another machine, users. `$MACHINE` is
 * the root of this machine's files, `$OTHER` of the other's, `$MACHINE/pid` the process of the service. */
const standIns = {
  sudo: '[ "$1" = -u ] && shift 2; exec "$@"',
  chown: 'echo "chown $*" >> "$MACHINE/done"',
  rsync: '[ "$1" = -a ]; to="$OTHER/${3#*:}"; case "$2$3" in */new.example:*/) ;; *) exit 1;; esac\n' +
    'mkdir -p "$to"; exec cp -a "$2." "$to"',
  // Without the owners, who are not on this machine.
  install: 'while [ $# -gt 2 ]; do case "$1" in -m) mode=$2;; -o | -g) ;; *) exit 1;; esac; shift 2; done\n' +
    'exec /usr/bin/install -m "$mode" "$1" "$2"',
  systemctl: 'echo "$1 $2" >> "$MACHINE/done"\ncase "$1" in\nreload) kill -HUP "$(cat "$MACHINE/pid")";;\n' +
    'stop) kill "$(cat "$MACHINE/pid")"; while kill -0 "$(cat "$MACHINE/pid")" 2>&-; do sleep 0.05; done;;\nesac',
};

/** Runs an example on a machine whose files are under `machine`, with stand-ins for what belongs to root. */
async function onMachine(name, machine, env = {}) {
  const commands = join(machine, 'stand-ins');
  mkdirSync(commands, {recursive: true});
  for (const [command, text] of Object.entries(standIns)) {
    writeFileSync(join(commands, command), `#!/bin/sh -e\n${text}\n`, {mode: 0o755});
  }
  const text = example(name).replaceAll(/(?<!:)\/(?=(var\/lib|etc)\/korvane)/g, `${machine}/`);
  assert.notEqual(text, example(name));
  const script = join(machine, name);
  writeFileSync(script, text.startsWith('#!') ? text : `#!/bin/sh -e\n${text}`, {mode: 0o755});
  const {code, out, err} = await run([], {command: script,
    env: {PATH: `${commands}:${dirname(program)}:${process.env.PATH}`, MACHINE: machine, ...env}});
  return {code, text: err + out, done: existsSync(join(machine, 'done')) ? readFileSync(join(machine, 'done'), 'utf8') : ''};
}

/** The limits of the page, by option. */
function rows() {
  const table = page.slice(page.indexOf('| Limit | Option | Default | Reason |'));
  return table.split('\n\n')[0].trim().split('\n').slice(2).map((line) => line.split('|').slice(1, -1).map((cell) => cell.trim()));
}

/** "64 MiB", "2,000", "30 s" as the number that an option takes. */
function number(text) {
  const [, digits, unit = ''] = text.match(/^([\d,]+) ?(\w*)$/) ?? [];
  return Number(digits.replaceAll(',', '')) * ({KiB: 1 << 10, MiB: 1 << 20}[unit] ?? 1);
}

test('the page has every limit with its default and a reason', async () => {
  const {out} = await run(['serve', '--help']);
  const options = [...out.matchAll(/^ {2}(--[\w-]+) (?:UINT|FLOAT):(?:NONNEGATIVE|POSITIVE)(?:=([\d.]+))?/gm)];
  const limits = new Map(rows().map(([, option, value, reason]) => [option.replaceAll('`', ''), {value, reason}]));
  assert.ok(options.length > 15);
  for (const [, option, value = '2000'] of options) {
    assert.ok(limits.has(option), option);
    assert.equal(number(limits.get(option).value), Number(value), option);
  }
  const named = [...limits.keys()].filter((option) => option !== '');
  assert.deepEqual(named.filter((option) => !options.some(([, known]) => known === option)), []);
  for (const [limit, , , reason] of rows()) assert.notEqual(reason, '', limit);
});

test('limits without an option hold', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const project = `${server.url}/v1/projects/a.db`;
  const post = (operation, body) => fetch(`${project}/${operation}`,
    {method: 'POST', headers: {'Content-Type': 'application/json'}, body: JSON.stringify(body)});
  assert.equal((await post('create_sheet?create=true', {})).status, 200);
  assert.equal((await post('create_revision', {sheet_id: 1})).status, 200);
  const value = (name) => number(rows().find(([limit]) => limit === name)[2].replace(/ lines$/, ''));
  const lines = value('a page of `lines`');
  const ask = (limit) => fetch(`${project}/lines?kind=bars&revision_id=1&limit=${limit}`);
  assert.equal((await ask(lines)).status, 200);
  assert.equal((await ask(lines + 1)).status, 400);
  const sketches = value('a batch of `sketches`');
  const draw = (count) => fetch(`${project}/sketches?kind=bars&ids=${Array(count).fill(1).join(',')}`);
  assert.equal((await draw(sketches + 1)).status, 400);
  assert.notEqual((await draw(sketches)).status, 400);
  const target = value("a request's target");
  const path = '/healthz/live?';
  assert.notEqual((await fetch(server.url + path + 'x'.repeat(target - path.length - 20))).status, 414);
  assert.equal((await fetch(server.url + path + 'x'.repeat(target))).status, 414);
  const fields = (count) => fetch(`${server.url}/healthz/live`,
    {headers: Object.fromEntries(Array.from({length: count}, (_, i) => [`x-${i}`, '1']))});
  const most = value('fields of a header');
  assert.equal((await fields(most - 15)).status, 200);
  assert.equal((await fields(most + 1)).status, 431);
});

test('backups, one sheet of yesterday, and tokens that change', async (t) => {
  const folder = temporaryFolder(t);
  mkdirSync(join(folder, 'projects'));
  mkdirSync(join(folder, 'backups'));
  const korvane = async (...args) => {
    const {code, out, err} = await run(args);
    assert.equal(code, 0, err);
    return out.trim();
  };
  const tower = join(folder, 'projects/tower.db');
  await korvane('import', path('../../examples/guideline.abs'), '--project', tower);
  const tokens = join(folder, 'tokens.json');
  const office = (await korvane('token', 'add', '--tokens', tokens, 'office', '--scope', 'read', 'write')).split('\n').at(-1);
  const server = await Server.start(t, join(folder, 'projects'), '--tokens', tokens);
  writeFileSync(join(folder, 'korvane.pid'), String(server.child.pid));
  const status = async (token) => (await fetch(`${server.url}/v1/projects/tower.db/list_sheets`,
    {headers: {Authorization: `Bearer ${token}`}})).status;
  assert.equal(await status(office), 200);

  await t.test('a backup is checked and restored beside the server', async () => {
    await sh('backup', folder);
    await sh('replicate', folder);
    assert.equal(await status(office), 200);
  });

  await t.test('copies of all projects are kept by another server', async () => {
    const port = await freePort();
    await sh('replicate to a server', folder, (text) => text.replaceAll('8421', port));
    const [copy, project] = await Promise.all(['standby', 'projects'].map((root) =>
      korvane('list', join(folder, root, 'tower.db'), '--format', 'json')));
    assert.equal(copy, project);
  });

  await t.test('one sheet comes back from it', async () => {
    const before = await korvane('list', tower, '--format', 'json');
    await korvane('edit', tower, '--sheet', '417', '--revision', 'a', '--mark', '10.1', 'total_bars=12');
    assert.notEqual(await korvane('list', tower, '--format', 'json'), before);
    await sh('one sheet', folder);
    assert.equal(await korvane('list', tower, '--format', 'json'), before);
  });

  await t.test('a token takes the place of another', async () => {
    const [second] = (await sh('tokens', folder)).match(/krv_\S+/);
    await until(async () => await status(second) === 200, 'the new token counts');
    assert.equal(await status(office), 200);
    await sh('old token', folder);
    await until(async () => await status(office) === 401, 'the old token is refused');
    assert.equal(await status(second), 200);
  });
});

test('projects and tokens move to another machine', async (t) => {
  const [old, other] = [temporaryFolder(t), temporaryFolder(t)];
  const projects = join(old, 'var/lib/korvane/projects');
  mkdirSync(projects, {recursive: true});
  mkdirSync(join(old, 'etc/korvane'), {recursive: true});
  const stored = await run(['import', path('../../examples/guideline.abs'), '--project', join(projects, 'tower.db')]);
  assert.equal(stored.code, 0, stored.err);
  const made = await run(['token', 'add', '--tokens', join(old, 'etc/korvane/tokens.json'), 'office', '--scope', 'read']);
  const token = made.out.trim().split('\n').at(-1);
  const list = async (server) => {
    const response = await fetch(`${server.url}/v1/projects/tower.db/list_sheets`, {headers: {Authorization: `Bearer ${token}`}});
    assert.equal(response.status, 200);
    return response.text();
  };
  const serve = (machine) => Server.start(t, join(machine, 'var/lib/korvane/projects'),
    '--tokens', join(machine, 'etc/korvane/tokens.json'));
  const first = await serve(old);
  const before = await list(first);
  writeFileSync(join(old, 'pid'), String(first.child.pid));
  const left = await onMachine('leave', old, {OTHER: other});
  assert.equal(left.code, 0, left.text);
  assert.equal(left.done, 'stop korvane\n');
  assert.deepEqual(await first.ended, {code: 0, signal: null});
  const arrived = await onMachine('arrive', other);
  assert.equal(arrived.code, 0, arrived.text);
  assert.equal(arrived.done, `chown -R korvane:korvane ${other}/var/lib/korvane/projects\nstart korvane\n`);
  assert.match(arrived.text, /sound/);
  assert.equal(await list(await serve(other)), before);
  // A file that was damaged on the way is not served without a word.
  writeFileSync(join(other, 'var/lib/korvane/projects/broken.db'), readFileSync(join(projects, 'tower.db')).subarray(0, 20_000));
  assert.notEqual((await onMachine('arrive', other)).code, 0);
});

test('certificates that are renewed take the place of the old ones', async (t) => {
  const machine = temporaryFolder(t);
  const place = join(machine, 'etc/korvane');
  mkdirSync(place, {recursive: true});
  mkdirSync(join(machine, 'projects'));
  const renew = async (name) => {
    const {certificate, key} = await makeCertificate(machine, name);
    copyFileSync(certificate, join(machine, 'fullchain.pem'));
    copyFileSync(key, join(machine, 'privkey.pem'));
  };
  const {certificate, key} = await makeCertificate(place, 'server');
  assert.deepEqual([certificate, key], [join(place, 'server.pem'), join(place, 'server-key.pem')]);
  const server = await Server.start(t, join(machine, 'projects'), '--tls-cert', certificate, '--tls-key', key);
  writeFileSync(join(machine, 'pid'), String(server.child.pid));
  const shown = () => new Promise((resolve, reject) => {
    const socket = connect({host: '127.0.0.1', port: Number(new URL(server.url).port), rejectUnauthorized: false}, () => {
      resolve(socket.getPeerCertificate().fingerprint256);
      socket.destroy();
    });
    socket.on('error', reject);
  });
  const first = await shown();
  await renew('second');
  const {code, text, done} = await onMachine('certificates', machine, {RENEWED_LINEAGE: machine});
  assert.equal(code, 0, text);
  assert.equal(done, 'reload korvane\n');
  await until(async () => await shown() !== first, 'the new certificate is shown');
  const second = await shown();
  // A key that belongs to another one: the server keeps what it has, and says so.
  const {key: foreign} = await makeCertificate(machine, 'third');
  copyFileSync(foreign, join(machine, 'privkey.pem'));
  assert.equal((await onMachine('certificates', machine, {RENEWED_LINEAGE: machine})).code, 0);
  await until(() => server.log.some((line) => line.includes('not reloaded, all stays as it was')), 'the log says so');
  assert.equal(await shown(), second);
});
