// The package of clients/typescript as npm would publish it: what is in it, the examples of its
// README as they are printed, and what it does when the way to the server is bad.

import assert from 'node:assert/strict';
import {cpSync, mkdirSync, readdirSync, readFileSync, statSync, writeFileSync} from 'node:fs';
import {createServer} from 'node:http';
import {once} from 'node:events';
import {dirname, join, relative} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath, pathToFileURL} from 'node:url';
import ts from 'typescript';
import {run, Server, temporaryFolder} from './server.mjs';

const source = fileURLToPath(new URL('../../clients/typescript/', import.meta.url));
const examples = fileURLToPath(new URL('../../examples/', import.meta.url));
const built = process.env.KORVANE_TYPESCRIPT_CLIENT;
if (!built) throw new Error('KORVANE_TYPESCRIPT_CLIENT names the package to test');

function filesIn(folder) {
  return readdirSync(folder, {withFileTypes: true, recursive: true}).filter((one) => one.isFile())
    .map((one) => relative(folder, join(one.parentPath ?? one.path, one.name))).sort();
}

/** Packs the package and unpacks it where a program in `folder` finds it. Gives where that is. */
async function install(folder) {
  const packed = await run(['pack', '--json', '--pack-destination', folder, built], {command: 'npm'});
  assert.equal(packed.code, 0, packed.err);
  const [{filename}] = JSON.parse(packed.out);
  const place = join(folder, 'node_modules', 'korvane-client');
  mkdirSync(place, {recursive: true});
  const unpacked = await run(['xzf', join(folder, filename), '-C', place, '--strip-components=1'], {command: 'tar'});
  assert.equal(unpacked.code, 0, unpacked.err);
  return place;
}

test('the package has what a program needs, and nothing else', async (t) => {
  const place = await install(temporaryFolder(t));
  const files = filesIn(place);
  const sources = [...readdirSync(join(source, 'src')).filter((name) => name.endsWith('.ts')),
                   'generated/description.ts', 'generated/openapi.ts'];
  const compiled = sources.flatMap((name) => ['.js', '.d.ts'].map((end) => `dist/${name.replace(/\.ts$/, end)}`));
  assert.deepEqual(files, ['README.md', 'package.json', ...compiled].sort());
  const description = JSON.parse(readFileSync(join(place, 'package.json'), 'utf8'));
  assert.match(description.version, /^\d+\.\d+\.\d+$/);
  assert.deepEqual([description.dependencies, description.peerDependencies, description.scripts],
                   [undefined, undefined, undefined]);
  for (const target of Object.values(description.exports['.'])) assert.ok(statSync(join(place, target)).size > 0);
  const korvane = await run(['--version']);
  assert.ok(korvane.out.includes(description.version), korvane.out);
});

/** The compiler's complaints about programs that use the package. */
function complaintsAbout(files) {
  const program = ts.createProgram(files, {
    strict: true,
    exactOptionalPropertyTypes: true,
    noUncheckedIndexedAccess: true,
    target: ts.ScriptTarget.ES2022,
    lib: ['lib.es2022.d.ts', 'lib.dom.d.ts'],
    module: ts.ModuleKind.NodeNext,
    moduleResolution: ts.ModuleResolutionKind.NodeNext,
    types: [],
    noEmit: true,
  });
  return ts.getPreEmitDiagnostics(program).map(({messageText}) => ts.flattenDiagnosticMessageText(messageText, '\n'));
}

/** All of Node that the examples use. */
const nodeTypes = `declare module 'node:fs/promises' {
  export function readFile(path: string): Promise<Uint8Array<ArrayBuffer>>;
  export function writeFile(path: string, data: Uint8Array): Promise<void>;
}`;

test('the examples of its README compile as strictly as can be, and do what they say', async (t) => {
  const folder = temporaryFolder(t);
  await install(folder);
  writeFileSync(join(folder, 'package.json'), '{"type": "module"}');
  writeFileSync(join(folder, 'node.d.ts'), nodeTypes);
  cpSync(join(examples, 'guideline.abs'), join(folder, 'guideline.abs'));
  const server = await Server.start(t, temporaryFolder(t));
  const texts = [...readFileSync(join(source, 'README.md'), 'utf8').matchAll(/```ts\n([^]*?)```/g)]
    .map(([, text]) => text);
  assert.equal(texts.length, 6);
  const files = texts.map((text, i) => {
    assert.ok(text.includes('http://127.0.0.1:8420'));
    const file = join(folder, `example-${i}.ts`);
    writeFileSync(file, text.replaceAll('http://127.0.0.1:8420', server.url));
    return file;
  });
  assert.deepEqual(complaintsAbout([...files, join(folder, 'node.d.ts')]), []);
  const printed = [];
  for (const file of files) {
    const script = file.replace(/\.ts$/, '.js');
    writeFileSync(script, ts.transpile(readFileSync(file, 'utf8'), {target: ts.ScriptTarget.ES2022, module: ts.ModuleKind.ESNext}));
    const {code, out, err} = await run(['-e', `process.chdir(${JSON.stringify(folder)}); await import(${JSON.stringify(pathToFileURL(script))})`, '--input-type=module'],
                                       {command: process.execPath});
    assert.equal(code, 0, `${file}: ${err}`);
    printed.push(out.trim());
  }
  const [bar, long, changed, upload, failure, repeating] = printed;
  assert.equal(bar, '1 12 16');
  assert.match(long, /^12 pieces in [1-9]\d* records$/);
  assert.equal(changed, '127.0.0.1: create_sheet sheet');
  assert.match(upload, /^0 % sent\n100 % sent\n417 a: \d+ lines\n/);
  assert.equal(readFileSync(join(folder, 'guideline.pdf')).subarray(0, 5).toString(), '%PDF-');
  assert.equal(failure, '404 failed to get_sheet');
  assert.equal(repeating, 'true');
});

/** A server whose answers are those of a list, one for each request; after the last one it is as the
 * last one says. "break" breaks the connection off. */
async function scripted(t, answers) {
  const requests = [];
  const server = createServer((request, response) => {
    const body = [];
    request.on('data', (data) => body.push(data));
    request.on('end', () => {
      requests.push({method: request.method, url: request.url, headers: request.headers, body: Buffer.concat(body).toString(), at: Date.now()});
      const answer = answers[Math.min(requests.length, answers.length) - 1];
      if (answer === 'break') return request.socket.destroy();
      response.writeHead(answer.status ?? 200, {'Content-Type': 'application/json', 'Content-Length': answer.length ?? Buffer.byteLength(answer.body), ...answer.headers});
      response.write(answer.body);
      if (answer.length) setImmediate(() => request.socket.destroy());
      else response.end();
    });
  });
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  t.after(() => {
    server.closeAllConnections();
    server.close();
  });
  return {url: `http://127.0.0.1:${server.address().port}`, requests};
}

const fine = {body: '{"error":null,"id":1,"uid":"a"}'};
const refusal = (status, detail, headers = {}) =>
  ({status, headers: {'Content-Type': 'application/problem+json', ...headers}, body: JSON.stringify({type: 'about:blank', title: 'T', status, detail})});
const quick = {attempts: 3, firstWait: 1, longestWait: 50};

const {Korvane, NoAnswer, ServerError} = await import(pathToFileURL(join(built, 'dist', 'index.js')).href);

test('a read is sent again where the connection breaks, and not for ever', async (t) => {
  const good = await scripted(t, ['break', 'break', fine]);
  const project = new Korvane({url: good.url, repeating: quick}).project('halls/a 7.db');
  assert.deepEqual(await project.call('get_sheet', {id: 1}), JSON.parse(fine.body));
  assert.equal(good.requests.length, 3);
  assert.equal(good.requests[2].url, '/v1/projects/halls%2Fa%207.db/get_sheet');
  assert.equal(good.requests[2].body, '{"id":1}');
  const bad = await scripted(t, ['break']);
  const failure = await new Korvane({url: bad.url, repeating: quick}).projects().catch((reason) => reason);
  assert.ok(failure instanceof NoAnswer);
  assert.ok(failure.cause instanceof Error);
  assert.equal(bad.requests.length, 3);
});

test('a read is sent again where its answer breaks off', async (t) => {
  const server = await scripted(t, [{body: '{"sheets":[', length: 4000}, {body: '{"sheets":[]}'}]);
  const contents = await new Korvane({url: server.url, repeating: quick}).project('a.db').contents();
  assert.deepEqual(contents, {sheets: []});
  assert.equal(server.requests.length, 2);
});

test('a write that the server does not know again is never sent twice', async (t) => {
  for (const answer of ['break', refusal(503, 'full'), {body: '{', length: 4000}]) {
    const server = await scripted(t, [answer, fine]);
    const unknown = await Unknown.project(server.url).catch((reason) => reason);
    assert.ok(unknown instanceof Unknown.NoAnswer || unknown instanceof Unknown.ServerError, String(unknown));
    assert.equal(server.requests.length, 1);
    assert.equal(server.requests[0].headers['idempotency-key'], undefined);
  }
});

/** The package as it is built from a server's description with the header Idempotency-Key at
 * every operation that writes, or at none. */
async function builtFor(takesKey) {
  const context = {after: (work) => process.on('exit', work)};
  const place = temporaryFolder(context);
  cpSync(join(built, 'dist'), join(place, 'dist'), {recursive: true});
  writeFileSync(join(place, 'package.json'), '{"type": "module"}');
  const document = JSON.parse((await run(['schema', '--openapi'])).out);
  const isKey = (one) => one.name === 'Idempotency-Key' || one.$ref?.endsWith('/key');
  for (const [name, one] of Object.entries(document.components.parameters)) {
    if (isKey(one)) document.components.parameters[name] = {...one, name: takesKey ? one.name : 'Other'};
  }
  for (const item of Object.values(document.paths)) {
    if (!item.post || item.get?.responses['304']) continue;
    const others = (item.post.parameters ?? []).filter((one) => !isKey(one));
    item.post.parameters = takesKey
      ? [...others, {name: 'Idempotency-Key', in: 'header', required: false, schema: {type: 'string'}}] : others;
  }
  writeFileSync(join(place, 'openapi.json'), JSON.stringify(document));
  const output = join(place, 'description.ts');
  const made = await run([join(source, 'describe.mjs'), join(place, 'openapi.json'), output], {command: process.execPath});
  assert.equal(made.code, 0, made.err);
  writeFileSync(join(place, 'dist/generated/description.js'),
                ts.transpile(readFileSync(output, 'utf8'), {target: ts.ScriptTarget.ES2022, module: ts.ModuleKind.ESNext}));
  return import(pathToFileURL(join(place, 'dist/index.js')).href);
}

const Unknown = await builtFor(false).then((module) => ({
  ...module,
  project: (url) => new module.Korvane({url, repeating: quick}).project('a.db').call('create_sheet', {name: '417'}),
}));
const Known = await builtFor(true);

test('a write that the server knows again is sent again with the same key', async (t) => {
  const server = await scripted(t, ['break', refusal(409, 'the first is at work', {'Retry-After': '0'}), fine]);
  const project = new Known.Korvane({url: server.url, repeating: quick}).project('a.db');
  assert.equal((await project.call('create_sheet', {name: '417'}, {create: true})).id, 1);
  const keys = server.requests.map(({headers}) => headers['idempotency-key']);
  assert.equal(keys.length, 3);
  assert.match(keys[0], /^[!-~]{1,255}$/);
  assert.equal(new Set(keys).size, 1);
  assert.deepEqual(server.requests.map(({url}) => url), Array(3).fill('/v1/projects/a.db/create_sheet?create=true'));
  await project.call('create_sheet', {name: '418'});
  await project.call('create_sheet', {name: '418'}, {idempotencyKey: 'mine'});
  const [fourth, fifth] = server.requests.slice(3).map(({headers}) => headers['idempotency-key']);
  assert.notEqual(fourth, keys[0]);
  assert.equal(fifth, 'mine');
});

const redirect = (status, to) => ({status, headers: {Location: to}, body: ''});

test('reads and writes follow to where the server sends them, writes with their key and body', async (t) => {
  const server = await scripted(t, [redirect(307, '/elsewhere/1'), redirect(308, '/elsewhere/2'), fine]);
  const korvane = new Known.Korvane({url: server.url, token: 'krv_1', repeating: quick});
  assert.equal((await korvane.project('a.db').call('create_sheet', {name: '417'})).id, 1);
  assert.deepEqual(server.requests.map(({method, url}) => `${method} ${url}`),
                   ['POST /v1/projects/a.db/create_sheet', 'POST /elsewhere/1', 'POST /elsewhere/2']);
  const [first, , third] = server.requests;
  assert.equal(third.body, first.body);
  assert.equal(JSON.parse(third.body).name, '417');
  assert.ok(third.headers['idempotency-key']);
  assert.equal(third.headers['idempotency-key'], first.headers['idempotency-key']);
  assert.equal(third.headers.authorization, 'Bearer krv_1');
  for (const status of [301, 302, 303, 307, 308]) {
    const other = await scripted(t, [redirect(status, '/v1/other'), {body: '{"projects":[]}'}]);
    assert.deepEqual(await new Korvane({url: other.url, repeating: quick}).projects(), []);
    assert.deepEqual(other.requests.map(({method, url}) => `${method} ${url}`), ['GET /v1/projects', 'GET /v1/other']);
  }
});

test('an upload goes to where the server sends it, after it was told to wait', async (t) => {
  const other = await scripted(t, [{body: '{"revisions":[]}'}]);
  const server = await scripted(t, [refusal(503, 'draining', {'Retry-After': '0'}), redirect(307, `${other.url}/there`)]);
  const project = new Known.Korvane({url: server.url, token: 'krv_1', repeating: quick}).project('a.db');
  await project.import('BF2D@', {});
  assert.equal(server.requests.length, 2);
  assert.deepEqual(other.requests.map(({url, body}) => [url, body]), [['/there', 'BF2D@']]);
  assert.equal(other.requests[0].headers['idempotency-key'], server.requests[0].headers['idempotency-key']);
  assert.equal(other.requests[0].headers.authorization, undefined, 'the token is for one server');
});

test('a write is not made a read by a redirect, and redirects come to an end', async (t) => {
  const old = await scripted(t, [redirect(302, '/elsewhere'), fine]);
  await assert.rejects(new Known.Korvane({url: old.url, repeating: quick}).project('a.db').call('create_sheet', {name: '417'}),
                       {status: 302});
  assert.equal(old.requests.length, 1);
  const endless = await scripted(t, [redirect(307, '/again')]);
  await assert.rejects(new Korvane({url: endless.url, repeating: quick}).projects(), {status: 307});
  assert.equal(endless.requests.length, 6);
});

test('a conflict is no reason to send a write again', async (t) => {
  const server = await scripted(t, [refusal(409, 'the uid is there'), fine]);
  const project = new Known.Korvane({url: server.url, repeating: quick}).project('a.db');
  await assert.rejects(project.call('create_sheet', {uid: 'a'}), {status: 409, message: 'the uid is there'});
  assert.equal(server.requests.length, 1);
});

test('what cannot be taken now is sent again, not before the server says', async (t) => {
  const server = await scripted(t, [refusal(503, 'full', {'Retry-After': '1'}), refusal(429, 'slower'), fine]);
  await new Korvane({url: server.url, repeating: {...quick, longestWait: 2000}}).project('a.db').call('get_sheet', {id: 1});
  const [first, second] = server.requests;
  assert.equal(server.requests.length, 3);
  assert.ok(second.at - first.at >= 990, `${second.at - first.at} ms`);
});

test('a wait that is longer than one is ready for is a failure at once', async (t) => {
  const server = await scripted(t, [refusal(503, 'full', {'Retry-After': '60'}), fine]);
  const failure = await new Korvane({url: server.url, repeating: quick}).projects().catch((reason) => reason);
  assert.deepEqual([failure.status, failure.retryAfter], [503, 60]);
  assert.equal(server.requests.length, 1);
});

test('whoever waits can leave', async (t) => {
  const server = await scripted(t, ['break']);
  const leaving = new AbortController();
  const call = new Korvane({url: server.url, repeating: {attempts: 3, firstWait: 60_000, longestWait: 60_000},
                            onAnswer: () => setImmediate(() => leaving.abort(new Error('left')))})
    .projects({signal: leaving.signal});
  await assert.rejects(call, /left/);
  assert.equal(server.requests.length, 1);
});

test('an error has all that the server has said', async (t) => {
  const server = await scripted(t, [refusal(422, 'items[3]: unknown rev_id 9', {'Request-Id': 'r-1'}), {status: 502, body: '<html>'}]);
  const project = new Korvane({url: server.url}).project('a.db');
  const failure = await project.call('add_rebar', {items: []}).catch((reason) => reason);
  assert.ok(failure instanceof ServerError && failure instanceof Error);
  const {name, status, type, title, detail, message, requestId, retryAfter} = failure;
  assert.deepEqual({name, status, type, title, detail, message, requestId, retryAfter}, {
    name: 'ServerError', status: 422, type: 'about:blank', title: 'T', detail: 'items[3]: unknown rev_id 9',
    message: 'items[3]: unknown rev_id 9', requestId: 'r-1', retryAfter: null,
  });
  const other = await project.call('add_rebar', {items: []}).catch((reason) => reason);
  assert.deepEqual([other.status, other.type, other.requestId], [502, 'about:blank', null]);
});

test('a token goes with every request', async (t) => {
  const server = await scripted(t, [{body: '{"projects":[]}'}]);
  await new Korvane({url: server.url + '/', token: 'one'}).projects();
  await new Korvane({url: server.url, token: () => 'two'}).projects();
  await new Korvane({url: server.url, token: () => undefined}).projects();
  assert.deepEqual(server.requests.map(({headers}) => headers.authorization), ['Bearer one', 'Bearer two', undefined]);
});

test('a list that comes in pages, and one that comes as it is made, is whole', async (t) => {
  const root = temporaryFolder(t);
  const server = await Server.start(t, root);
  const project = new Korvane({url: server.url}).project('many.db');
  const sheet = await project.call('create_sheet', {name: '417'}, {create: true});
  const revision = await project.call('create_revision', {sheet_id: sheet.id, name: 'a'});
  const steel = await project.call('create_material', {identity: {name: 'B500B'}});
  const items = Array.from({length: 257}, (_, i) =>
    ({rev_id: revision.id, material_id: steel.id, mark: `Ø ${i}`, total_bars: i, bar_diameter: 12}));
  await project.call('add_rebar', {items});
  const marks = [];
  for await (const {id, values} of project.lines({revision_id: revision.id, kind: 'bars', limit: 100})) {
    assert.equal(typeof id, 'number');
    marks.push(values.label);
  }
  assert.deepEqual(marks, items.map(({mark}) => mark));
  const bars = [];
  for await (const record of project.records()) if (JSON.stringify(record).includes('Ø ')) bars.push(record);
  assert.equal(bars.length, items.length);
  for await (const record of project.records()) {
    assert.ok(record);
    break;
  }
  const {columns, rows, cutAfter} = await project.query('select mark, total_bars from rebar order by id limit 2');
  assert.deepEqual(columns.map(({name}) => name), ['mark', 'total_bars']);
  assert.deepEqual([rows, cutAfter], [[['Ø 0', 0], ['Ø 1', 1]], null]);
  await assert.rejects(project.query('delete from rebar'), ServerError);
  const totals = await project.totals({sheet: '417'});
  assert.equal(totals.revisions.length, 1);
  assert.match(await (await project.exportAs({format: 'csv'})).text(), /Ø 256/);
  // A line that cannot be read is never left out without a word.
  const damage = await run(['query', '--write', join(root, 'many.db'), "update rebar set raw = x'2905' where id = 5"]);
  assert.equal(damage.code, 0, damage.err);
  let read = 0;
  await assert.rejects(async () => {
    for await (const line of project.lines({revision_id: revision.id, kind: 'bars', limit: 100})) read += line.id > 0 ? 1 : 0;
  }, /the record of the bar with the id 5 \(table rebar\) is damaged/);
  assert.equal(read, 99);
});
