// What openapi-generator makes of the edition in OpenAPI 3.0: clients for Python and C# that compile, and
// store a first bar. The generator is 4.3.1, the newest whose program is in npm.

import assert from 'node:assert/strict';
import {cpSync, readFileSync, readdirSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';
import {run, Server, temporaryFolder} from '../clients/server.mjs';

const here = fileURLToPath(new URL('.', import.meta.url));
const jar = join(here, 'node_modules/@openapitools/openapi-generator-cli/bin/openapi-generator.jar');
const restSharp = join(here, 'node_modules/com.adrenak.restsharp.unity/Runtime/RestSharp.dll');
const json = '/usr/lib/cli/Newtonsoft.Json-5.0/Newtonsoft.Json.dll';

async function done(args, command) {
  const {code, out, err} = await run(args, {command, seconds: 300});
  assert.equal(code, 0, `${command} ${args.join(' ')}\n${out}\n${err}`);
  return out;
}

/** A client of the server in a fresh folder. A value of several types is what each language calls an
 * object: left alone, this generator names a type for it that it does not make. */
async function generate(t, server, language, object, ...options) {
  const folder = temporaryFolder(t);
  const document = join(folder, 'openapi.json');
  writeFileSync(document, await (await fetch(`${server.url}/openapi.json?edition=3.0`)).text());
  await done(['-jar', jar, 'generate', '-i', document, '-g', language, '-o', folder,
              '--type-mappings', `AnyType=${object}`, ...options], 'java');
  return folder;
}

test('the client for Python compiles, and stores a first bar', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const folder = await generate(t, server, 'python', 'object');
  await done(['-m', 'compileall', '-q', folder], '/usr/bin/python3');
  assert.equal(await done([join(here, 'use.py'), folder, server.url], '/usr/bin/python3'), '1 12 16.0\n404\n');
});

test('the client for C# compiles, and stores a first bar', async (t) => {
  const server = await Server.start(t, temporaryFolder(t));
  const folder = await generate(t, server, 'csharp', 'Object', '--package-name', 'Korvane.Client');
  const source = join(folder, 'src/Korvane.Client');
  // It is made for RestSharp 105. npm has 106, whose AddFile takes a length as well.
  const client = join(source, 'Client/ApiClient.cs');
  const text = readFileSync(client, 'utf8');
  const former = 'param.Value.FileName, param.Value.ContentType)';
  assert.equal(text.split(former).length, 2);
  writeFileSync(client, text.replace(former, 'param.Value.FileName, param.Value.ContentLength, param.Value.ContentType)'));
  const sources = readdirSync(source, {recursive: true}).filter((name) => name.endsWith('.cs')).map((name) => join(source, name));
  assert.ok(sources.length > 100);
  const library = join(folder, 'Korvane.Client.dll');
  const references = ['-r:System.ComponentModel.DataAnnotations', '-r:System.Runtime.Serialization', '-r:System.Web',
                      `-r:${json}`, `-r:${restSharp}`];
  await done(['-target:library', `-out:${library}`, ...references, ...sources], 'mcs');
  for (const one of [json, restSharp]) cpSync(one, join(folder, one.split('/').at(-1)));
  const program = join(folder, 'Use.exe');
  await done([`-out:${program}`, `-r:${library}`, ...references, join(here, 'Use.cs')], 'mcs');
  assert.equal(await done([program, server.url], 'mono'), '1 12 16\n404\n');
});
