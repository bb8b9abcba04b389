// Names for what the server's description calls by long ones.

import type {components, operations, paths} from './generated/openapi.js';

type Schemas = components['schemas'];

export type Access = Schemas['Access'];
export type Scope = Access['scopes'][number];
export type ProjectFile = Schemas['ProjectFiles']['projects'][number];

export type Contents = Schemas['Contents'];
export type SheetSummary = Contents['sheets'][number];
export type RevisionSummary = SheetSummary['revisions'][number];
export type CatalogueEntry = Contents['materials'][number];
export type Use = CatalogueEntry['uses'][number];

export type Lines = Schemas['Lines'];
export type Cell = Lines['rows'][number][number];
export type Column = Schemas['Column'];
/** Values by the names of their columns. */
export type Row = Record<string, Cell>;
export type Line = Schemas['Line'];
export type Shape = Schemas['Shape'];
export type Sketch = Schemas['Sketches']['sketches'][number];

export type Edited = Schemas['Edited'];
export type FieldChange = Edited['changes'][number];
export type ImportReply = Schemas['ImportReply'];
export type Fault = ImportReply['left_out'][number];
export type Totals = Schemas['Totals'];
export type Comparison = Schemas['Comparison'];

/** The query of a route of projects, by its name: "lines", "export". */
export type QueryOf<Name extends string> =
  `Projects.${Name}` extends keyof operations
    ? NonNullable<operations[`Projects.${Name}`]['parameters'] extends {query?: infer Q} ? Q : never>
    : never;

export type Kind = QueryOf<'lines'>['kind'];

type InProject = '/v1/projects/{file}/';
type Json<Body> = Body extends {content: {'application/json': infer Value}} ? Value : never;

/** The operations of the service of a project: "create_sheet", "add_rebar". */
export type OperationName = {
  [Path in keyof paths]: Path extends `${InProject}${infer Name}`
    ? paths[Path] extends {post: {operationId?: never; requestBody: {content: {'application/json': unknown}}}}
      ? Name extends 'edit' | 'import' ? never : Name
      : never
    : never
}[keyof paths];

type PostOf<Name extends OperationName> = paths[`${InProject}${Name}`] extends {post: infer Post} ? Post : never;

/** What an operation takes. Fields that have a default may be left out. */
export type RequestOf<Name extends OperationName> =
  PostOf<Name> extends {requestBody: infer Body} ? Json<Body> : never;

/** What an operation replies, with all its fields. */
export type ReplyOf<Name extends OperationName> =
  PostOf<Name> extends {responses: {200: infer Body}} ? Json<Body> : never;
