// Every operation of both services, in both representations of its request and of its reply: the
// same project is built, read, changed and cleared once in each of the four.

import assert from 'node:assert/strict';
import {test} from 'node:test';
import {binary, Client, json, manager} from './client.mjs';
import {Server, temporaryFolder} from './server.mjs';

const material = {
  uid: 'steel',
  identity: {name: 'B500B', description: 'Bewehrungsstahl, Ø 6 – 40', comment: '🏗'},
  physical: {name: 'B500B', density: 7850},
};
const renamedMaterial = {...material, id: 1, identity: {name: 'B500A'}};
const fabricType = {
  uid: 'fabric type',
  type_name: 'R 335 A',
  sheet_mass: 37.5,
  overall_length: 6,
  overall_width: 2.3,
  material: {id: 1, uid: 'steel'},
  list_fabric: {along_distance: 150, across_distance: 250.5},
};
const heavierFabricType = {...fabricType, id: 1, sheet_mass: 41.25};
const sheet = {
  uid: 'sheet',
  name: '417',
  properties: {scale: {value_double: 0.02}, checked: {bool_: true}, stamp: {value_blob: 'AP/+'}},
};
const renamedSheet = {...sheet, id: 1, name: '418', comment: 'renamed'};
const revision = {uid: 'revision', name: 'a', sheet_id: 1};
const renamedRevision = {...revision, id: 1, name: 'b'};
const projectData = {properties: {project: {value_string: 'Brücke'}, year: {value_int32: 2024}}};
const bar = {
  rev_id: 1,
  sheet_id: 1,
  mark: '1',
  material_id: 1,
  member_multiplier: 2,
  bars_per_member: 6,
  total_bars: 12,
  total_length: 45.6,
  bar_diameter: 12,
  shape_code: '21',
  parameters_exact: {a: 380, b: 3040.25},
  geometry: {
    objects: [
      {type: 'kLine', length: 380, angle: 90},
      {type: 'kArc', radius: 24, labels: [{type: 'Radius', text: 'r'}]},
    ],
    polyline: [{x: 0, y: 0.5, z: -1}],
  },
  end_treatment_start: {type: 'coupler', manufacturer: 'any', diameter: 12},
  bar_type_mass_per_length: 0.888,
};
const secondBar = {...bar, mark: '2', end_treatment_start: null, total_bars: 4};
const fabric = {rev_id: 1, sheet_id: 1, mark: 'M1', total_fabrics: 3, fabric_type: {...fabricType, id: 1}};
const barSpacer = {rev_id: 1, sheet_id: 1, mark: 'S1', name: 'Abstandhalter', quantity: 40, length: 2};
const mountingPart = {rev_id: 1, sheet_id: 1, mark: 'E1', quantity: 7, material_id: 1, cost: 12.5};
const query = {
  kind: 'sql:raw',
  params: {query: {value_string: 'select mark, total_bars, bar_diameter from rebar order by mark'}},
};

// Requests whose bytes no reply gives, as the format has them.
const noFields = Buffer.from([0x00]);
const byte = (...values) => Buffer.from(values);
const text = (value) => Buffer.concat([byte(Buffer.byteLength(value)), Buffer.from(value)]);
/** OpenProjectRequest: field 0, a string. */
const openBytes = (filename) => Buffer.concat([byte(0x09), text(filename), byte(0x00)]);
/** FabricRef and MountingPartRef: an empty base, and field 0, an int32 of 1 in zigzag. */
const revisionOne = byte(0x01, 0x10, 0x02, 0x00);
/** UpdateProject: field 0, a struct. */
const updateBytes = (data) => Buffer.concat([byte(0x0a), data, byte(0x00)]);
/** GET_TABLE: field 0, a string; field 1, a map of one entry from string to Variant, of which field 2
 * is a nullable string: a list of one. */
const queryBytes = Buffer.concat([
  byte(0x09), text(query.kind), byte(0x2d, 0x09, 0x0a, 0x01), text('query'),
  byte(0x4b, 0x09, 0x01), text(query.params.query.value_string), byte(0x00, 0x00),
]);

const succeeded = {error: null};
const named = (uid) => ({error: null, id: 1, uid});
/** Passes where `value` has all that `expected` has; what the client left out has its default. */
function contains(value, expected, place = 'reply') {
  if (typeof expected !== 'object' || expected === null) {
    return assert.equal(value, expected, place);
  }
  assert.equal(typeof value, 'object', place);
  if (Array.isArray(expected)) assert.equal(value.length, expected.length, place);
  for (const key of Object.keys(expected)) contains(value[key], expected[key], `${place}.${key}`);
}

/** The operations of a project in an order in which they work. Each step has the JSON of its request
 * and of what its reply holds at least. `bytes` gives the request in binary: the binary reply to the
 * step that keeps it under that name `as`, or made from those; left out, it has no fields. */
const steps = [
  {call: 'create_material', request: material, bytes: 'steel', reply: named('steel'), as: 'steelRef'},
  {call: 'get_material', request: {id: 1}, bytes: 'steelRef', reply: {...material, id: 1}, as: 'steel'},
  {call: 'try_get_material', request: {uid: 'steel'}, bytes: 'steelRef', reply: {value: {...material, id: 1}}},
  {call: 'update_material', request: renamedMaterial, bytes: 'renamedSteel', reply: succeeded},
  {call: 'get_material', request: {uid: 'steel'}, bytes: 'steelRef', reply: renamedMaterial, as: 'renamedSteel'},
  {call: 'list_materials', request: {}, reply: {items: [renamedMaterial]}},

  {call: 'create_fabric_type', request: fabricType, bytes: 'type', reply: named('fabric type'), as: 'typeRef'},
  {call: 'get_fabric_type', request: {id: 1}, bytes: 'typeRef', reply: {...fabricType, id: 1}, as: 'type'},
  {call: 'try_get_fabric_type', request: {id: 1}, bytes: 'typeRef', reply: {value: {type_name: 'R 335 A'}}},
  {call: 'update_fabric_type', request: heavierFabricType, bytes: 'heavierType', reply: succeeded},
  {call: 'get_fabric_type', request: {id: 1}, bytes: 'typeRef', reply: heavierFabricType, as: 'heavierType'},
  {call: 'list_fabric_type', request: {}, reply: {items: [heavierFabricType]}},

  {call: 'create_sheet', request: sheet, bytes: 'sheet', reply: named('sheet'), as: 'sheetRef'},
  {call: 'get_sheet', request: {id: 1}, bytes: 'sheetRef', reply: {...sheet, id: 1}, as: 'sheet'},
  {call: 'try_get_sheet', request: {id: 1}, bytes: 'sheetRef', reply: {value: {name: '417'}}},
  {call: 'update_sheet', request: renamedSheet, bytes: 'renamedSheet', reply: succeeded},
  {call: 'get_sheet', request: {id: 1}, bytes: 'sheetRef', reply: renamedSheet, as: 'renamedSheet'},
  {call: 'list_sheets', request: {}, reply: {items: [renamedSheet]}},

  {call: 'create_revision', request: revision, bytes: 'revision', reply: named('revision'), as: 'revisionRef'},
  {call: 'get_revision', request: {id: 1}, bytes: 'revisionRef', reply: {...revision, id: 1}, as: 'revision'},
  {call: 'try_get_revision', request: {id: 1}, bytes: 'revisionRef', reply: {value: {name: 'a', sheet_id: 1}}},
  {call: 'update_revision', request: renamedRevision, bytes: 'renamedRevision', reply: succeeded},
  {call: 'get_revision', request: {id: 1}, bytes: 'revisionRef', reply: renamedRevision, as: 'renamedRevision'},
  {call: 'list_revisions', request: {}, reply: {items: [renamedRevision]}},
  {call: 'get_all_revisions_for_sheetid', request: {id: 1}, bytes: 'sheetRef', reply: {revisions: [renamedRevision]}},

  {call: 'update_project', request: {item: projectData}, bytes: ({data}) => updateBytes(data), reply: succeeded},
  {call: 'get_project', request: {}, reply: projectData, as: 'data'},

  {call: 'add_rebar', request: {items: [bar, secondBar]}, bytes: 'bars', reply: succeeded},
  {call: 'get_rebars', request: {id: 1}, bytes: 'revisionRef', reply: {items: [bar, secondBar]}, as: 'bars'},
  {call: 'get_all_rebars_for_revision', request: {id: 1}, bytes: 'revisionRef', reply: {rebars: [bar, secondBar]}},
  {call: 'addget_rebar', request: {items: []}, reply: {items: []}},
  {call: 'add_fabric', request: {items: [fabric]}, bytes: 'fabrics', reply: succeeded},
  {
    call: 'get_all_fabrics_for_revision', request: {rev_id: 1}, bytes: () => revisionOne,
    reply: {fabrics: [fabric]}, as: 'fabrics',
  },
  {call: 'add_barspacer', request: {items: [barSpacer]}, bytes: 'spacers', reply: succeeded},
  {
    call: 'get_all_barspacers_for_revision', request: {id: 1}, bytes: 'revisionRef',
    reply: {barspacers: [barSpacer]}, as: 'spacers',
  },
  {call: 'add_mountingpart', request: {items: [mountingPart]}, bytes: 'parts', reply: succeeded},
  {
    call: 'get_all_mountingparts_for_revision', request: {rev_id: 1}, bytes: () => revisionOne,
    reply: {mountingParts: [mountingPart]}, as: 'parts',
  },

  {
    call: 'query_table', request: query, bytes: () => queryBytes,
    reply: {
      columns: [{name: 'mark', kind: 2}, {name: 'total_bars', kind: 0}, {name: 'bar_diameter', kind: 1}],
      rows: [
        [{value_string: '1'}, {value_int32: 12}, {value_double: 12}],
        [{value_string: '2'}, {value_int32: 4}, {value_double: 12}],
      ],
    },
  },
  {call: 'query_value', request: query, bytes: () => queryBytes, reply: {value_int32: null, value_string: null}},

  {call: 'clear_for_revision', request: {id: 1}, bytes: 'revisionRef', reply: succeeded},
  {call: 'get_rebars', request: {id: 1}, bytes: 'revisionRef', reply: {items: []}},
  {call: 'delete_revision', request: {id: 1}, bytes: 'revisionRef', reply: succeeded},
  {call: 'try_get_revision', request: {id: 1}, bytes: 'revisionRef', reply: {value: null}},
  {call: 'delete_sheet', request: {id: 1}, bytes: 'sheetRef', reply: succeeded},
  {call: 'try_get_sheet', request: {id: 1}, bytes: 'sheetRef', reply: {value: null}},
  {call: 'delete_fabric_type', request: {id: 1}, bytes: 'typeRef', reply: succeeded},
  {call: 'try_get_fabric_type', request: {id: 1}, bytes: 'typeRef', reply: {value: null}},
  {call: 'list_materials', request: {}, reply: {items: [renamedMaterial]}},
  {call: 'delete_material', request: {id: 1}, bytes: 'steelRef', reply: succeeded},
  {call: 'try_get_material', request: {id: 1}, bytes: 'steelRef', reply: {value: null}},
  {call: 'create_sheet', request: sheet, bytes: 'sheet', reply: {...named('sheet'), id: 2}},
  {call: 'clear', request: {}, reply: succeeded},
  {call: 'list_sheets', request: {}, reply: {items: []}},
];

function bytesOf({bytes = () => noFields}, known) {
  return typeof bytes === 'string' ? known[bytes] : bytes(known);
}

const passes = [
  {request: json, reply: json},
  {request: json, reply: binary},
  {request: binary, reply: json},
  {request: binary, reply: binary},
];

test('every operation in each representation', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const client = await Client.of(server);
  const called = {[json]: new Set(), [binary]: new Set()};
  const linked = new Set();
  const known = {};
  const repliesOf = {[json]: [], [binary]: []};

  async function call(pass, service, operation, request, bytes) {
    called[pass.request].add(operation);
    const sent = pass.request === json ? request : bytes;
    const reply = await client.call(service, operation, sent, {accept: pass.reply});
    assert.equal(reply.status, 200, JSON.stringify(reply.body));
    assert.equal(reply.type, pass.reply);
    return reply.body;
  }

  /** A link gives what the call has given. */
  async function follow(pass, service, operation, request, body) {
    linked.add(operation);
    const reply = await client.follow(service, operation, request, {accept: pass.reply});
    assert.equal(reply.type, pass.reply);
    assert.deepEqual(reply.body, body);
  }

  let services;
  for (const [number, pass] of passes.entries()) {
    await t.test(`${pass.request} is answered with ${pass.reply}`, async (t) => {
      const filename = `${number}.db`;
      const id = `korvane.model.cad.Project:${number}`;
      await t.test('open', async () => {
        const reply = await call(pass, manager, 'open', {filename}, openBytes(filename));
        if (pass.reply === json) assert.deepEqual(reply, {error: null, service_id: id});
        else assert.ok(reply.includes(id));
      });
      await t.test('list_', async () => {
        const reply = await call(pass, manager, 'list_', {}, noFields);
        if (pass.reply === json) contains(reply.projects.at(-1), {service_id: id, filename});
        else assert.ok(reply.includes(id) && reply.includes(filename));
        await follow(pass, manager, 'list_', undefined, reply);
      });
      services = (await client.get('/v1')).body.services;
      const operations = services.find((service) => service.id === id).operations;
      for (const [index, step] of steps.entries()) {
        await t.test(step.call, async () => {
          const bytes = pass.request === binary ? bytesOf(step, known) : undefined;
          const reply = await call(pass, id, step.call, step.request, bytes);
          if (pass.reply === json) contains(reply, step.reply);
          if (pass.reply === binary && step.as) known[step.as] = reply;
          assert.deepEqual(reply, repliesOf[pass.reply][index] ??= reply);
          const {methods} = operations.find((operation) => operation.name === step.call);
          if (methods.includes('GET')) await follow(pass, id, step.call, step.request, reply);
        });
      }
    });
  }

  const listed = services.filter(({id}) => id === manager || id.endsWith(':0'))
    .flatMap(({operations}) => operations);
  const names = (operations) => operations.map(({name}) => name).sort();
  for (const representation of [json, binary]) {
    await t.test(`no operation was left out in ${representation}`, () => {
      assert.deepEqual([...called[representation]].sort(), names(listed));
    });
  }
  await t.test('no link was left out', () => {
    assert.deepEqual([...linked].sort(), names(listed.filter(({methods}) => methods.includes('GET'))));
  });
  await t.test('no operation that writes has a link', () => {
    const writing = listed.filter(({effect}) => effect === 'writes' || effect === 'opens');
    assert.deepEqual(writing.filter(({methods}) => methods.includes('GET')), []);
    assert.equal(writing.length + linked.size, listed.length);
  });
});
