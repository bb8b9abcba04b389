// The examples of docs/clients.md do what the page says, exactly as they are printed there.

import assert from 'node:assert/strict';
import {accessSync, constants, readFileSync, writeFileSync} from 'node:fs';
import {delimiter, join} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';
import ts from 'typescript';
import {run, Server, temporaryFolder} from './server.mjs';

const path = (relative) => fileURLToPath(new URL(relative, import.meta.url));
const page = readFileSync(path('../../docs/clients.md'), 'utf8');

/** The block of code that follows `<!-- KIND: NAME -->` on the page. */
function block(kind, name) {
  const found = [...page.matchAll(new RegExp(`<!-- ${kind}: ${name} -->\n\`\`\`\\w*\n(.*?)\`\`\`\n`, 'gs'))];
  assert.equal(found.length, 1, `${kind}: ${name}`);
  return found[0][1];
}

const example = (name) => block('example', name);
const printed = (name) => block('prints', name);

/** Whether the program is on this machine. */
function has(command) {
  return process.env.PATH.split(delimiter).some((folder) => {
    try {
      accessSync(join(folder, command), constants.X_OK);
      return true;
    } catch {
      return false;
    }
  });
}

/** A server of an empty folder, and how a program finds it. */
async function start(t) {
  const server = await Server.start(t, temporaryFolder(t));
  return {server, env: {KORVANE_SERVER: server.url}};
}

/** Runs a program to its end, which has to be a good one; gives what it printed. */
async function output(command, args, options = {}) {
  const {code, out, err} = await run(args, {command, ...options});
  assert.equal(code, 0, err + out);
  assert.equal(err, '');
  return out;
}

/** Writes an example into a fresh folder; gives its file. */
function written(t, name, file) {
  const whole = join(temporaryFolder(t), file);
  writeFileSync(whole, example(name));
  return whole;
}

test('the first bar', async (t) => {
  await t.test('by curl', async (t) => {
    const {env} = await start(t);
    assert.equal(await output('bash', ['-e', '-c', example('curl')], {env}), printed('curl'));
  });

  await t.test('in TypeScript', async (t) => {
    const {env} = await start(t);
    const file = written(t, 'typescript', 'first_bar.mts');
    const node = join(temporaryFolder(t), 'node.d.ts');
    writeFileSync(node, 'declare const process: {env: Record<string, string | undefined>};');
    const program = ts.createProgram([file, node], {
      strict: true, target: ts.ScriptTarget.ES2022, module: ts.ModuleKind.NodeNext,
      lib: ['lib.es2022.d.ts', 'lib.dom.d.ts'], types: [],
    });
    const complaints = ts.getPreEmitDiagnostics(program)
      .map(({messageText}) => ts.flattenDiagnosticMessageText(messageText, '\n'));
    assert.deepEqual(complaints, []);
    program.emit();
    assert.equal(await output('node', [file.replace('.mts', '.mjs')], {env}), printed('schedule'));
  });

  await t.test('in Python', async (t) => {
    const {env} = await start(t);
    const file = written(t, 'python', 'first_bar.py');
    assert.equal(await output('python3', [file], {env}), printed('schedule'));
  });

  await t.test('in C++', async (t) => {
    const {env} = await start(t);
    const line = printed('schedule').split('\n', 1)[0];
    assert.equal(await output(process.env.KORVANE_GUIDE_CPP, [], {env}), `${line}\n`);
  });

  const noMono = !has('mcs') || !has('mono') ? 'there is no C# compiler: mono-mcs' : false;
  await t.test('in C#', {skip: noMono}, async (t) => {
    const {env} = await start(t);
    const file = written(t, 'csharp', 'first_bar.cs');
    await output('bash', ['-e', '-c', `cd "$(dirname "$0")"; ${example('csharp build')}`, file]);
    assert.equal(await output('mono', [file.replace('.cs', '.exe')], {env}), printed('schedule'));
  });
});

test('after the first bar', async (t) => {
  const {server, env} = await start(t);
  const filled = await run(['-e', '-c', example('curl')], {command: 'bash', env});
  assert.equal(filled.code, 0, filled.err);
  const shell = (text) => output('bash', ['-e', '-c', text], {env});

  await t.test('SQL by POST and by GET', async () => {
    assert.equal(await shell(example('query')), printed('query'));
    assert.equal(await shell(example('query by get')), printed('query'));
  });

  await t.test('a refusal', async () => {
    assert.equal(await shell(example('refusal')), printed('refusal'));
  });

  await t.test('the schema text', async (t) => {
    const folder = temporaryFolder(t);
    await output('bash', ['-e', '-c', `cd "$0"; ${example('schema')}`, folder], {env});
    for (const name of ['korvane', 'korvane.model', 'korvane.model.cad', 'korvane.model.geometry',
      'korvane.model.table', 'korvane.services']) {
      const file = `${name}.bond`;
      const kept = readFileSync(path(`../../docs/contracts/${file}`), 'utf8');
      assert.equal(readFileSync(join(folder, file), 'utf8'), kept, file);
    }
  });

  await t.test('a record in bytes', async () => {
    assert.equal(await shell(example('bytes')), printed('bytes'));
    const [, hexadecimal] = example('bytes').match(/<<'BYTES'.*?\n(.*?)BYTES\n/s);
    const sent = Buffer.from(hexadecimal.replace(/#.*/g, '').replace(/\s/g, ''), 'hex');
    const reply = await fetch(`${server.url}/v1/projects/tower.db/get_rebars`, {
      method: 'POST',
      headers: {'Content-Type': 'application/json', Accept: 'application/x-bond-compact-binary'},
      body: '{"id": 2}',
    });
    assert.equal(reply.status, 200);
    assert.equal(Buffer.from(await reply.arrayBuffer()).toString('hex'), sent.toString('hex'));
  });
});
