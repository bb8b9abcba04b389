// A client of a server's services, which holds every JSON request and reply against the schemas of
// the server's own OpenAPI document.

import assert from 'node:assert/strict';
import Ajv from 'ajv/dist/2020.js';

export const manager = 'korvane.model.cad.ProjectManager';
export const json = 'application/json';
export const binary = 'application/x-bond-compact-binary';
export const problem = 'application/problem+json';

/** A reply: `body` is a value where it is JSON, a Buffer where it is binary. */
async function read(response) {
  const type = response.headers.get('content-type');
  const bytes = Buffer.from(await response.arrayBuffer());
  const isJson = type === json || type === problem;
  return {
    status: response.status,
    headers: response.headers,
    type,
    body: isJson && bytes.length !== 0 ? JSON.parse(bytes.toString()) : bytes,
  };
}

export class Client {
  static async of(server, headers = {}) {
    const client = new Client(server.url, headers);
    client.document = (await client.get('/openapi.json')).body;
    // The document is no schema itself, but has them among its components.
    client.schemas = new Ajv({strict: false, validateFormats: false});
    client.schemas.addSchema({...client.document, $id: 'openapi'});
    return client;
  }

  constructor(url, headers) {
    this.url = url;
    this.headers = headers;
  }

  async request(method, path, {headers = {}, body} = {}) {
    return read(await fetch(this.url + path,
                            {method, headers: {...this.headers, ...headers}, body}));
  }

  get(path, headers) {
    return this.request('GET', path, {headers});
  }

  /** Opens a project; gives its service's id. */
  async open(filename) {
    const {service_id} = await this.value(manager, 'open', {filename});
    return service_id;
  }

  /** Calls with JSON, or with binary where `request` is a Buffer, and asks for `accept`. */
  async call(service, operation, request = {}, {accept, headers = {}} = {}) {
    const isBinary = Buffer.isBuffer(request);
    if (!isBinary) this.check(this.#described(service, operation).requestBody, request);
    const reply = await this.request('POST', `/v1/${service}/${operation}`, {
      headers: {'Content-Type': isBinary ? binary : json, ...accept && {Accept: accept}, ...headers},
      body: isBinary ? request : JSON.stringify(request),
    });
    return this.#checked(service, operation, reply);
  }

  /** The same by GET. */
  async follow(service, operation, request, {accept = '*/*', headers = {}} = {}) {
    const query = request === undefined ? '' : `?request=${encodeURIComponent(JSON.stringify(request))}`;
    const reply = await this.get(`/v1/${service}/${operation}${query}`, {Accept: accept, ...headers});
    return this.#checked(service, operation, reply);
  }

  /** The JSON reply to a JSON request that has to succeed. */
  async value(service, operation, request) {
    const reply = await this.call(service, operation, request);
    assert.equal(reply.status, 200, JSON.stringify(reply.body));
    return reply.body;
  }

  /** Fails unless `value` is what the document says of a request or reply. */
  check(described, value) {
    const {$ref} = described.content[json]?.schema ?? described.content[problem].schema;
    const validate = this.schemas.getSchema(`openapi${$ref}`);
    assert.ok(validate(value), `${$ref}: ${this.schemas.errorsText(validate.errors)}`);
  }

  #described(service, operation) {
    const {paths} = this.document;
    const path = paths[`/v1/${service}/${operation}`] ?? paths[`/v1/{service_id}/${operation}`];
    assert.ok(path, `the document has no ${operation}`);
    return path.post;
  }

  #checked(service, operation, reply) {
    if (reply.type === json) this.check(this.#described(service, operation).responses[200], reply.body);
    if (reply.type === problem) this.check(this.document.components.responses.Problem, reply.body);
    return reply;
  }
}
