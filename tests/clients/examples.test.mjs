// The examples of the OpenAPI document: each is sent as it stands there, and is answered as it says there. With
// KORVANE_WRITE_EXAMPLES=1 the answers that came are written into server/openapi_examples.json instead.

import assert from 'node:assert/strict';
import {copyFileSync, readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';
import {Client, json} from './client.mjs';
import {Server, temporaryFolder} from './server.mjs';

/** Those that make the project, in their order. All others are sent to a copy of it. */
const makers = ['update_project', 'create_material', 'create_fabric_type', 'create_sheet', 'create_revision',
                'add_rebar', 'add_fabric', 'add_barspacer', 'add_mountingpart', 'import'];
/** What nothing may refer to is deleted from the project as it was after these. */
const earlier = {delete_material: 'create_material', delete_fabric_type: 'create_fabric_type'};
/** What is of one run alone, as are the UUIDs that the store makes. */
const ofARun = new Set(['tag', 'service_id']);
const uuid = /^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$/;

function comparable(value) {
  return JSON.parse(JSON.stringify(value, (name, part) => ofARun.has(name) || uuid.test(part) ? 'of a run' : part));
}

test('the examples of the document', async (t) => {
  const root = temporaryFolder(t);
  const server = await Server.start(t, root);
  const client = await Client.of(server);
  const {document} = client;
  const written = {};

  const resolved = (part) => !part?.$ref ? part
    : resolved(part.$ref.slice(2).split('/').reduce((found, key) => found[key], document));
  const valueOf = (content) => resolved(content?.examples?.example)?.value;

  /** The request of the document's example; null for an operation that has none. */
  function requestOf(path, method, replaced) {
    const operation = document.paths[path][method];
    const parameters = [...document.paths[path].parameters ?? [], ...operation.parameters ?? []].map(resolved);
    const query = new URLSearchParams();
    let address = path;
    for (const {name, in: place, example: direct, content, style} of parameters) {
      const example = direct ?? content?.[json].example;
      if (place === 'path') address = address.replace(`{${name}}`, encodeURIComponent(replaced[name] ?? example));
      if (place !== 'query' || example === undefined) continue;
      if (style === 'deepObject') {
        for (const [field, value] of Object.entries(example)) query.set(`${name}[${field}]`, value);
      } else {
        query.set(name, typeof example === 'object' ? JSON.stringify(example) : example);
      }
    }
    const text = query.toString();
    const url = address + (text ? `?${text}` : '');
    if (!operation.requestBody) return {method: 'GET', url};
    const {content} = operation.requestBody;
    const body = valueOf(content[json]);
    if (body !== undefined) return {method: 'POST', url, type: json, body: JSON.stringify(body)};
    const plain = valueOf(content['text/plain']);
    return plain === undefined ? null : {method: 'POST', url, type: 'text/plain', body: plain};
  }

  async function send(path, method, replaced = {}) {
    const request = requestOf(path, method, replaced);
    assert.ok(request, `${method} ${path} has no example`);
    const {url, type, body} = request;
    const reply = await client.request(request.method, url, {headers: type ? {'Content-Type': type} : {}, body});
    assert.equal(reply.status, 200, `${request.method} ${url} ${body ?? ''}: ${JSON.stringify(reply.body)}`);
    const {content} = document.paths[path][method].responses[200];
    assert.ok(Object.keys(content).includes(reply.type), `${path}: ${reply.type}`);
    if (reply.type !== json) return;
    client.check({content}, reply.body);
    const name = path.split('/').at(-1);
    written[name] = reply.body;
    if (process.env.KORVANE_WRITE_EXAMPLES) return;
    const said = valueOf(content[json]);
    assert.ok(said !== undefined, `${path} has no example of its answer`);
    assert.deepEqual(comparable(reply.body), comparable(said), path);
  }

  const copyOf = (stage, name) => {
    copyFileSync(join(root, `after ${stage}.db`), join(root, `${name}.db`));
    return `${name}.db`;
  };

  await t.test('are of a project that they make', async () => {
    for (const name of makers) {
      await send(`/v1/projects/{file}/${name}`, 'post');
      copyFileSync(join(root, 'tower.db'), join(root, `after ${name}.db`));
    }
    const file = resolved({$ref: '#/components/parameters/file'}).example;
    assert.deepEqual((await client.get('/v1/projects')).body.projects.map((one) => one.file).includes(file), true);
  });

  await t.test('are answered as they say', async () => {
    let count = 0;
    for (const [path, item] of Object.entries(document.paths)) {
      const name = path.split('/').at(-1);
      if (['/v1/projects', '/v1/access'].includes(path)) continue;
      for (const method of ['get', 'post'].filter((one) => item[one])) {
        const index = makers.indexOf(name);
        const stage = index >= 0 ? makers[index - 1] : earlier[name] ?? makers.at(-1);
        const replaced = {};
        if (path.includes('{file}') && stage) replaced.file = copyOf(stage, `${method} ${name}`);
        if (path.includes('{file}') && !stage) replaced.file = `${method} ${name}.db`;
        if (path.includes('{service_id}')) {
          const copy = stage ? copyOf(stage, `by id ${method} ${name}`) : `by id ${name}.db`;
          replaced.service_id = await client.open(copy);
        }
        // The changes of a project have no end.
        if (name !== 'list_' && name !== 'changes') await send(path, method, replaced);
        ++count;
      }
    }
    assert.ok(count > 120, `${count} operations`);
  });

  if (process.env.KORVANE_WRITE_EXAMPLES) {
    const file = fileURLToPath(new URL('../../server/openapi_examples.json', import.meta.url));
    const examples = JSON.parse(readFileSync(file, 'utf8'));
    for (const [name, reply] of Object.entries(written)) {
      assert.ok(examples[name], name);
      examples[name].reply = reply;
    }
    writeFileSync(file, JSON.stringify(examples, null, 2) + '\n');
  }
});
