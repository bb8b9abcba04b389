// Makes of a server's description what the client has to know at run time.
//
//   node describe.mjs openapi.json src/generated/description.ts

import {readFileSync, writeFileSync} from 'node:fs';

const [openapi, output] = process.argv.slice(2);
const document = JSON.parse(readFileSync(openapi, 'utf8'));

function resolved(part) {
  if (!part.$ref) return part;
  return part.$ref.slice(2).split('/').reduce((found, key) => found[key], document);
}

function takesKey(item) {
  return [...item.parameters ?? [], ...item.post.parameters ?? []].map(resolved)
    .some(({name, in: place}) => place === 'header' && name === 'Idempotency-Key');
}

const prefix = '/v1/projects/{file}/';
const operations = Object.entries(document.paths)
  .filter(([path, item]) => path.startsWith(prefix) && item.post)
  // What changes nothing has replies that the client may have already.
  .map(([path, item]) => [path.slice(prefix.length), {
    isRead: item.get?.responses['304'] !== undefined,
    takesKey: takesKey(item),
  }]);
const kinds = document.paths[`${prefix}lines`].get.parameters.map(resolved)
  .find(({name}) => name === 'kind').schema.enum;

const json = (value) => JSON.stringify(value);
writeFileSync(output, `// Made by describe.mjs of a server's description.

/** The kinds of lines. */
export const kinds = ${json(kinds)} as const;

/** What is sent by POST: whether it changes nothing, and whether the server knows it again by its
 * Idempotency-Key. One that it does not know again is never sent twice. */
export const operations = {
${operations.map(([name, one]) => `  ${json(name)}: ${json(one)},`).join('\n')}
} as const;
`);
