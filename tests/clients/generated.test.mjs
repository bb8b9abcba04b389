// Clients that are generated: what generators and linters make of all editions of the document.

import assert from 'node:assert/strict';
import {existsSync, mkdirSync, readFileSync, writeFileSync} from 'node:fs';
import {dirname, join, relative} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath, pathToFileURL} from 'node:url';
import {createClient as generate} from '@hey-api/openapi-ts';
import {lintFromString, loadConfig} from '@redocly/openapi-core';
import spectral from '@stoplight/spectral-core';
import rulesets from '@stoplight/spectral-rulesets';
import createClient from 'openapi-fetch';
import openapiTypes, {astToString} from 'openapi-typescript';
import ts from 'typescript';
import {run, Server, temporaryFolder} from './server.mjs';

const here = fileURLToPath(new URL('.', import.meta.url));

/** Checks `file` as strictly as can be, with the types of a document as the module
 * "korvane-openapi". Gives the compiler's complaints. */
function complaintsAbout(file, types, besides = {}) {
  const program = ts.createProgram([file], {
    strict: true,
    exactOptionalPropertyTypes: true,
    noUncheckedIndexedAccess: true,
    target: ts.ScriptTarget.ES2022,
    lib: ['lib.es2022.d.ts', 'lib.dom.d.ts'],
    module: ts.ModuleKind.ESNext,
    moduleResolution: ts.ModuleResolutionKind.Bundler,
    types: [],
    paths: {'korvane-openapi': [types]},
    skipLibCheck: true,
    noEmit: true,
    ...besides,
  });
  return ts.getPreEmitDiagnostics(program).map(({file: source, start, messageText}) => {
    const place = source ? `${source.fileName}:${source.getLineAndCharacterOfPosition(start).line + 1}: ` : '';
    return place + ts.flattenDiagnosticMessageText(messageText, '\n');
  });
}

/** What the second generator's own code, which is in every client, does not pass. */
const kLenient = {
  exactOptionalPropertyTypes: false,
  noUncheckedIndexedAccess: false,
  lib: ['lib.es2022.d.ts', 'lib.dom.d.ts', 'lib.dom.iterable.d.ts'],
};

/** Compiles a client into modules for Node, which wants the names of files whole. */
function compile(source, folder) {
  const files = ts.createProgram([source], {}).getSourceFiles().map(({fileName}) => fileName)
    .filter((name) => name.startsWith(dirname(source)));
  for (const file of files) {
    const text = ts.transpile(readFileSync(file, 'utf8'), {target: ts.ScriptTarget.ES2022, module: ts.ModuleKind.ESNext});
    const output = join(folder, relative(dirname(source), file)).replace(/\.ts$/, '.js');
    mkdirSync(dirname(output), {recursive: true});
    writeFileSync(output, text.replaceAll(/(from|import) '(\.[^']*)'/g, (_, word, name) => {
      const place = join(dirname(file), name);
      return `${word} '${name}${existsSync(`${place}.ts`) ? '' : '/index'}.js'`;
    }));
  }
  writeFileSync(join(folder, 'package.json'), '{"type": "module"}');
}

test('generated clients', async (t) => {
  const folder = temporaryFolder(t);
  const server = await Server.start(t, temporaryFolder(t));
  const editions = {whole: '/openapi.json', json: '/openapi.json?media=json', older: '/openapi.json?edition=3.0'};
  const documents = {};
  for (const [name, path] of Object.entries(editions)) {
    const response = await fetch(server.url + path);
    assert.equal(response.status, 200);
    documents[name] = await response.text();
    const types = astToString(await openapiTypes(JSON.parse(documents[name])));
    writeFileSync(join(folder, `${name}.ts`), types);
  }

  for (const name of Object.keys(editions)) {
    await t.test(`the ${name} edition passes the linter`, async () => {
      const config = await loadConfig({configPath: join(here, 'redocly.yaml')});
      const found = await lintFromString({source: documents[name], config});
      assert.deepEqual(found.map(({ruleId, message, location}) => `${ruleId}: ${message} ${location[0].pointer}`), []);
    });

    await t.test(`the ${name} edition passes the other linter`, async () => {
      const linter = new spectral.Spectral();
      // Nobody can be named yet for contact and licence.
      linter.setRuleset({extends: [rulesets.oas], rules: {'info-contact': 'off'}});
      const found = await linter.run(JSON.parse(documents[name]));
      assert.deepEqual(found.map(({code, message, path}) => `${code}: ${message} ${path.join('/')}`), []);
    });

    await t.test(`the ${name} edition gives types that compile`, () => {
      const types = join(folder, `${name}.ts`);
      assert.deepEqual(complaintsAbout(types, types), []);
    });
  }

  await t.test('a client that is typed by the edition of JSON compiles, and does its work', async () => {
    const source = join(here, 'generated_use.ts');
    assert.deepEqual(complaintsAbout(source, join(folder, 'json.ts')), []);
    const compiled = join(folder, 'use.mjs');
    writeFileSync(compiled, ts.transpile(readFileSync(source, 'utf8'), {target: ts.ScriptTarget.ES2022, module: ts.ModuleKind.ESNext}));
    const {use} = await import(pathToFileURL(compiled).href);
    mkdirSync(join(server.root, 'halls'));
    const used = await use(createClient({baseUrl: server.url}));
    assert.equal(used.sheet.name, '417');
    assert.equal(used.sheet.comment, '');
    assert.deepEqual(used.sheet.properties, {});
    assert.equal(used.renamed, '417 a');
    assert.equal(used.sheets, 1);
    assert.equal(used.bar.mark, '10');
    assert.equal(used.bar.start_hook.direction, 'kRight');
    assert.equal(used.bar.bar_type_mass_per_length, 0);
    assert.equal(used.bar.geometry.objects[0].length, 1200);
    assert.deepEqual(used.missing, {status: 404, detail: 'failed to get_sheet'});
    assert.deepEqual(used.marks, ['10']);
    assert.deepEqual(used.byLink, ['10']);
    assert.ok(used.run);
  });

  for (const name of ['json', 'older']) {
    await t.test(`the ${name} edition gives another generator's client that compiles, and does its work`, async () => {
      const output = join(folder, `client-${name}`);
      await generate({input: JSON.parse(documents[name]), output, logs: {level: 'silent'}, plugins: ['@hey-api/client-fetch', '@hey-api/typescript', '@hey-api/sdk']});
      const source = join(output, 'index.ts');
      assert.deepEqual(complaintsAbout(source, source, kLenient), []);
      const compiled = join(folder, `compiled-${name}`);
      compile(source, compiled);
      const {projectServiceCreateSheet, projectServiceGetSheet} = await import(pathToFileURL(join(compiled, 'sdk.gen.js')).href);
      const call = {baseUrl: server.url, path: {file: `${name}.db`}};
      const created = await projectServiceCreateSheet({...call, query: {create: true}, body: {name: '417'}});
      const read = await projectServiceGetSheet({...call, body: {id: created.data.id}});
      assert.equal(read.data.name, '417');
      const missing = await projectServiceGetSheet({...call, body: {id: 99}});
      assert.equal(missing.error.detail, 'failed to get_sheet');
    });
  }

  await t.test('the program gives the editions for generators without a server', async () => {
    for (const [name, options] of [['json', []], ['older', ['--edition', '3.0']]]) {
      const {code, out} = await run(['schema', '--openapi', ...options]);
      assert.equal(code, 0);
      assert.ok(out === documents[name], `${name}: the two differ`);
    }
  });
});
