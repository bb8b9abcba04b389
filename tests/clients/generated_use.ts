// A client of a server, typed by what openapi-typescript makes of its document. It is compiled
// strictly, then run against a server.

import type {Client} from 'openapi-fetch';
import type {components, paths} from 'korvane-openapi';

type Schemas = components['schemas'];

/** The value, which has to be there. */
function some<T>(value: T | undefined, failure?: {detail: string}): T {
  if (value === undefined) throw new Error(failure?.detail ?? 'no reply');
  return value;
}

export interface Used {
  sheet: Schemas['korvane.model.cad.Sheet'];
  renamed: string;
  sheets: number;
  bar: Schemas['korvane.model.cad.Rebar'];
  missing: {status: number; detail: string};
  marks: (string | null)[];
  byLink: (string | null)[];
  run: string | null;
}

export async function use(client: Client<paths>): Promise<Used> {
  const path = {file: 'halls/a 7.db'};

  // Fields that have a default may be left out.
  const created = await client.POST('/v1/projects/{file}/create_sheet',
                                    {params: {path, query: {create: true}}, body: {name: '417'}});
  const id = some(some(created.data, created.error).id ?? undefined);

  // The request of a GET, field by field. Of the reply every field is there.
  const got = await client.GET('/v1/projects/{file}/get_sheet', {params: {path, query: {request: {id}}}});
  const sheet = some(got.data, got.error);
  const fields: {id: number; uid: string; name: string; comment: string} = sheet;

  // What was read can be sent.
  const updated = await client.POST('/v1/projects/{file}/update_sheet',
                                    {params: {path}, body: {...sheet, name: fields.name + ' a'}});
  some(updated.data, updated.error);
  const byUid = await client.GET('/v1/projects/{file}/get_sheet',
                                 {params: {path, query: {request: {uid: sheet.uid}}}});

  const revision = await client.POST('/v1/projects/{file}/create_revision',
                                     {params: {path}, body: {sheet_id: id, name: 'a'}});
  const rev_id = some(some(revision.data, revision.error).id ?? undefined);
  const material = await client.POST('/v1/projects/{file}/create_material',
                                     {params: {path}, body: {identity: {name: 'B500B'}}});
  const material_id = some(some(material.data, material.error).id ?? undefined);
  const added = await client.POST('/v1/projects/{file}/add_rebar', {
    params: {path},
    body: {
      items: [{
        rev_id, material_id, mark: '10', total_bars: 4, bar_diameter: 12,
        start_hook: {angle: 135, direction: 'kRight'},
        geometry: {objects: [{type: 'kLine', length: 1200}]},
      }],
    },
  });
  some(added.data, added.error);
  const bars = await client.GET('/v1/projects/{file}/get_rebars', {params: {path, query: {request: {id: rev_id}}}});
  const bar = some(some(bars.data, bars.error).items[0]);
  const angle: number | undefined = bar.start_hook?.angle;
  if (angle !== 135) throw new Error(`the hook turns through ${angle}`);

  // A request without fields, and an error.
  const list = await client.GET('/v1/projects/{file}/list_sheets', {params: {path}});
  const missing = await client.GET('/v1/projects/{file}/get_sheet', {params: {path, query: {request: {id: 99}}}});
  const problem: Schemas['Problem'] = some(missing.error);

  // A request with parts goes as JSON: by POST, or as a text in the address.
  const request: Schemas['korvane.model.table.GET_TABLE-Input'] = {
    kind: 'sql:raw', params: {query: {value_string: 'select mark from rebar'}},
  };
  const queried = await client.POST('/v1/projects/{file}/query_table', {params: {path}, body: request});
  const linked = await client.GET('/v1/projects/{file}/query_table',
                                  {params: {path, query: {request: JSON.stringify(request)}}});
  const marksOf = (table: Schemas['korvane.model.table.TABLE']) =>
    table.rows.map((row) => row[0]?.value_string ?? null);

  return {
    sheet,
    renamed: some(byUid.data, byUid.error).name,
    sheets: some(list.data, list.error).items.length,
    bar,
    missing: {status: problem.status, detail: problem.detail},
    marks: marksOf(some(queried.data, queried.error)),
    byLink: marksOf(some(linked.data, linked.error)),
    run: got.response.headers.get('Korvane-Run'),
  };
}

/** Never run: what the compiler has to refuse. */
export function misuse(client: Client<paths>): unknown[] {
  const path = {file: 'a.db'};
  return [
    // @ts-expect-error: there is no such operation
    client.GET('/v1/projects/{file}/get_sheets', {params: {path}}),
    // @ts-expect-error: the file is not named
    client.GET('/v1/projects/{file}/list_sheets', {}),
    // @ts-expect-error: an id is a number
    client.GET('/v1/projects/{file}/get_sheet', {params: {path, query: {request: {id: '1'}}}}),
    // @ts-expect-error: a sheet has no such field
    client.POST('/v1/projects/{file}/create_sheet', {params: {path}, body: {nome: '417'}}),
    // @ts-expect-error: hooks turn to the left or to the right
    client.POST('/v1/projects/{file}/add_rebar', {params: {path}, body: {items: [{start_hook: {direction: 'kUp'}}]}}),
    // @ts-expect-error: what writes is not served by GET
    client.GET('/v1/projects/{file}/create_sheet', {params: {path}}),
  ];
}
