// docs/administration.md: its limits are those of the program, and its commands do what it says.

import assert from 'node:assert/strict';
import {mkdirSync, readFileSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';
import {program, run, Server, temporaryFolder, until} from './server.mjs';

const path = (relative) => fileURLToPath(new URL(relative, import.meta.url));
const page = readFileSync(path('../../docs/administration.md'), 'utf8');

function example(name) {
  const found = [...page.matchAll(new RegExp(`<!-- example: ${name} -->\n\`\`\`sh\n(.*?)\`\`\`\n`, 'gs'))];
  assert.equal(found.length, 1, name);
  return found[0][1];
}

/** Runs an example in a folder, where `korvane` is the program that is tested. */
async function sh(name, folder) {
  const {code, out, err} = await run(['-e', '-c', `cd "$0"; ${example(name)}`, folder],
    {command: 'bash', env: {PATH: `${dirname(program)}:${process.env.PATH}`}});
  assert.equal(code, 0, err + out);
  return out;
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
