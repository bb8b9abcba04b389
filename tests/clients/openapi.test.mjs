// The document that clients are generated from, held against the OpenAPI description itself.

import assert from 'node:assert/strict';
import {test} from 'node:test';
import {Validator} from '@seriousme/openapi-schema-validator';
import {Client, json, manager, problem} from './client.mjs';
import {Server, temporaryFolder} from './server.mjs';

test('/openapi.json', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const client = await Client.of(server);
  const id = await client.open('project.db');
  const {document} = client;

  await t.test('is a valid OpenAPI 3.1 document', async () => {
    const validator = new Validator();
    const {valid, errors} = await validator.validate(structuredClone(document));
    assert.ok(valid, JSON.stringify(errors));
    assert.equal(validator.version, '3.1');
  });

  await t.test('has no reference to what it has not', async () => {
    const targets = JSON.stringify(document).matchAll(/"\$ref":"#([^"]*)"/g);
    for (const target of new Set([...targets].map((match) => match[1]))) {
      const found = target.slice(1).split('/').reduce((part, key) => part?.[key], document);
      assert.ok(found, target);
    }
  });

  await t.test('gives no two operations the same id', () => {
    const ids = Object.values(document.paths).flatMap(({get, post}) => [get, post])
      .filter(Boolean).map(({operationId}) => operationId);
    assert.equal(new Set(ids).size, ids.length);
  });

  await t.test('has the paths and methods of /v1, those by address, and no others', async () => {
    const {services} = (await client.get('/v1')).body;
    const byId = services.flatMap(({operations}) => operations)
      .map(({path, methods}) => `${path.replace(id, '{service_id}')} ${methods.join()}`);
    const byAddress = byId.filter((entry) => entry.includes('{service_id}'))
      .map((entry) => entry.replace('{service_id}', 'projects/{file}'));
    assert.equal(byAddress.length, 41);
    const schedules = ['bending-list GET,HEAD', 'changes GET,HEAD', 'compare GET,HEAD', 'contents GET,HEAD', 'edit POST',
      'export GET,HEAD', 'import POST', 'line GET,HEAD', 'lines GET,HEAD', 'sketch GET,HEAD',
      'sketches GET,HEAD', 'totals GET,HEAD']
      .map((entry) => `/v1/projects/{file}/${entry}`);
    const served = [...byId, ...byAddress, ...schedules, '/v1/projects GET,HEAD',
      '/v1/access GET,HEAD'];
    const methods = ({get, post}) => [...get ? ['GET', 'HEAD'] : [], ...post ? ['POST'] : []];
    const described = Object.entries(document.paths)
      .map(([path, item]) => `${path} ${methods(item).join()}`);
    assert.deepEqual(described.sort(), served.sort());
  });

  await t.test('describes the list of projects', async () => {
    const {body} = await client.get('/v1/projects');
    assert.equal(body.projects[0].file, 'project.db');
    client.check(document.paths['/v1/projects'].get.responses[200], body);
  });

  await t.test('has schemas that tell a wrong value from a right one', () => {
    const {requestBody, responses} = document.paths['/v1/{service_id}/create_sheet'].post;
    client.check(requestBody, {name: '417', properties: {a: {value_int32: 1}}});
    for (const wrong of [{name: 417}, {nome: '417'}, {properties: {a: {value_int32: 'one'}}}, []]) {
      assert.throws(() => client.check(requestBody, wrong), {name: 'AssertionError'}, JSON.stringify(wrong));
    }
    client.check(responses[200], {error: null, id: 1, uid: 'a'});
    assert.throws(() => client.check(responses[200], {id: '1'}), {name: 'AssertionError'});
  });

  await t.test('describes errors as they come', async () => {
    const reply = await client.call(id, 'get_sheet', {id: 7});
    assert.equal(reply.type, problem);
    const described = document.paths['/v1/{service_id}/get_sheet'].post.responses.default;
    assert.deepEqual(described, {$ref: '#/components/responses/Problem'});
    client.check(document.components.responses.Problem, reply.body);
  });

  await t.test('is JSON for every client, and HEAD has its header alone', async () => {
    const reply = await client.request('HEAD', '/openapi.json');
    assert.equal(reply.type, json);
    assert.equal(reply.body.length, 0);
    assert.ok(Number(reply.headers.get('content-length')) > 1000);
    assert.equal(document.paths[`/v1/${manager}/open`].get, undefined);
  });
});
