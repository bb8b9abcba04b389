// HAProxy and nginx before several servers, with the configurations of deploy/: which server gets what,
// what is sent again, and what becomes of a server that goes. The servers are stand-ins, so that they
// fail when they are told to.

import assert from 'node:assert/strict';
import {createServer} from 'node:http';
import {test} from 'node:test';
import {ask, proxies, start, whyNot} from './proxy.mjs';
import {until} from './server.mjs';

const kKey = {'Idempotency-Key': 'once'};

/** Answers with its name. `breaks` lets it take requests and close the connection instead, `holds` keep
 * its answer back until it is called; `isReady` is what it says of itself. */
class Place {
  seen = [];
  isReady = true;
  breaks = false;
  held = [];
  holds = false;

  static async start(t, name) {
    const place = new Place();
    place.name = name;
    place.server = createServer((asked, reply) => place.#answer(asked, reply)).listen(0, '127.0.0.1');
    await new Promise((resolve) => { place.server.once('listening', resolve); });
    place.upstream = `127.0.0.1:${place.server.address().port}`;
    t.after(() => place.close());
    return place;
  }

  close() {
    this.server.close();
    this.server.closeAllConnections();
  }

  #answer(asked, reply) {
    if (asked.url === '/healthz/ready') return reply.writeHead(this.isReady ? 200 : 503).end();
    if (asked.url === '/healthz/live') return reply.end();
    asked.resume().on('end', () => {
      this.seen.push(`${asked.method} ${asked.url}`);
      if (this.breaks) return asked.socket.destroy();
      if (this.holds) return this.held.push(() => reply.end(this.name));
      return reply.end(this.name);
    });
  }
}

async function startThree(t, name) {
  const places = await Promise.all(['one', 'two', 'three'].map((place) => Place.start(t, place)));
  const port = await start(t, name, ...places.map(({upstream}) => upstream));
  const send = async (path, options) => {
    const {status, body, fields} = await ask(port, path, options);
    return {status, body: body.toString(), fields};
  };
  const whoHas = async (file) => (await send(`/v1/projects/${file}/list_sheets`)).body;
  const named = (place) => places.find(({name: known}) => known === place);
  return {places, send, whoHas, named};
}

for (const name of ['haproxy', 'nginx, for several servers']) {
  test(name, {skip: whyNot(proxies[name])}, async (t) => {
    await t.test('a project has one server, however its name is encoded', async (t) => {
      const {whoHas} = await startThree(t, name);
      const spellings = {
        'tower.db': ['%74ower.db', 'tower%2Edb', '%74%6f%77%65%72%2e%64%62'],
        'halls%2Fa%207.db': ['halls%2fa%207.db', '%68alls%2Fa%207%2Edb'],
        'Br%C3%BCcke.db': ['%42r%c3%bccke.db'],
        'a+b.db': ['a%2Bb.db', '%61+b.db'],
      };
      for (const [file, others] of Object.entries(spellings)) {
        const place = await whoHas(file);
        for (const other of others) assert.equal(await whoHas(other), place, `${file} as ${other}`);
      }
    });

    await t.test('the operation, the query and the method do not count', async (t) => {
      const {send, whoHas} = await startThree(t, name);
      for (let i = 0; i < 20; ++i) {
        const file = `p${i}.db`;
        const place = await whoHas(file);
        assert.equal((await send(`/v1/projects/${file}/get_sheet?request={"id":${i}}`)).body, place);
        assert.equal((await send(`/v1/projects/${file}/add_rebar`, {method: 'POST', body: '{}'})).body, place);
      }
    });

    await t.test('shares are fair, and a server that goes moves its own alone', async (t) => {
      const {places, whoHas} = await startThree(t, name);
      const files = Array.from({length: 300}, (_, i) => `project-${i}.db`);
      const before = new Map();
      for (const file of files) before.set(file, await whoHas(file));
      for (const {name: place} of places) {
        const share = files.filter((file) => before.get(file) === place).length;
        assert.ok(share > 65 && share < 135, `${place} has ${share} of 300`);
      }
      places[1].close();
      for (const file of files) {
        const place = await whoHas(file);
        if (before.get(file) === 'two') assert.ok(place === 'one' || place === 'three', `${file}: ${place}`);
        else assert.equal(place, before.get(file), file);
      }
    });

    await t.test('what names no project is answered by all', async (t) => {
      const {send} = await startThree(t, name);
      const seen = new Set();
      await until(async () => seen.add((await send('/v1/projects')).body).size === 3, 'all three have answered');
    });

    await t.test('what was sent is sent again if twice is the same as once', async (t) => {
      const {places, send, whoHas, named} = await startThree(t, name);
      const times = (text) => places.flatMap(({seen}) => seen).filter((line) => line.startsWith(text)).length;
      const first = await whoHas('a.db');
      named(first).breaks = true;
      const path = (operation) => `/v1/projects/a.db/${operation}`;

      const read = await send(path('get_sheet'));
      assert.equal(read.status, 200);
      assert.notEqual(read.body, first);
      const keyed = await send(path('create_sheet'), {method: 'POST', headers: kKey, body: '{}'});
      assert.equal(keyed.status, 200);
      assert.notEqual(keyed.body, first);
    });

    await t.test('a write without a key is sent once', async (t) => {
      const {places, send, whoHas, named} = await startThree(t, name);
      const first = await whoHas('a.db');
      named(first).breaks = true;
      const reply = await send('/v1/projects/a.db/create_sheet', {method: 'POST', body: '{}'})
        .catch(() => ({status: 502}));
      assert.equal(reply.status, 502);
      const writes = places.flatMap(({seen}) => seen).filter((line) => line.startsWith('POST'));
      assert.equal(writes.length, 1);
    });

    await t.test('a write without a key finds another server where nobody listens', async (t) => {
      const {send, whoHas, named} = await startThree(t, name);
      const first = await whoHas('a.db');
      named(first).close();
      const reply = await send('/v1/projects/a.db/create_sheet', {method: 'POST', body: '{}'});
      assert.equal(reply.status, 200);
      assert.notEqual(reply.body, first);
    });

    await t.test('ids of services are refused', async (t) => {
      const {places, send} = await startThree(t, name);
      const reply = await send('/v1/korvane.model.cad.Project:0/list_sheets', {method: 'POST', body: '{}'});
      assert.equal(reply.status, 404);
      assert.deepEqual(places.flatMap(({seen}) => seen), []);
      assert.equal((await send('/v1/access')).status, 200);
    });
  });
}

test('haproxy alone', {skip: whyNot(proxies.haproxy)}, async (t) => {
  await t.test('a server that is not ready gets nothing new, and answers what it has', async (t) => {
    const {send, whoHas, named} = await startThree(t, 'haproxy');
    const first = named(await whoHas('a.db'));
    first.holds = true;
    const waiting = send('/v1/projects/a.db/slow', {method: 'POST', body: '{}'});
    await until(() => first.held.length > 0, 'the call is at work');
    first.holds = false;
    first.isReady = false;
    await until(async () => await whoHas('a.db') !== first.name, 'another server has the project');
    // Longer than three checks, after which one that said nothing would be given up.
    await new Promise((resolve) => { setTimeout(resolve, 3500); });
    first.held[0]();
    const reply = await waiting;
    assert.deepEqual([reply.status, reply.body], [200, first.name]);
    assert.equal(reply.fields['korvane-server'], first.name);
    first.isReady = true;
    await until(async () => await whoHas('a.db') === first.name, 'it has its project back');
  });

  await t.test('where no server is left, clients are told to come again', async (t) => {
    const {places, send} = await startThree(t, 'haproxy');
    places.forEach((place) => place.close());
    const reply = await send('/v1/projects/a.db/list_sheets');
    assert.equal(reply.status, 503);
    assert.equal(reply.fields['retry-after'], '1');
    assert.equal(JSON.parse(reply.body).detail, 'no server answers');
  });
});
