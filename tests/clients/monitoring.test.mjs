// What watches a server: the alert rules and the board of deploy/ against the metrics that there are.

import assert from 'node:assert/strict';
import {accessSync, constants, readFileSync, writeFileSync} from 'node:fs';
import {delimiter, join} from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';
import {run, Server, temporaryFolder} from './server.mjs';

const root = fileURLToPath(new URL('../../', import.meta.url));
const rules = join(root, 'deploy/korvane.rules.yml');

/** The path of promtool, also where scripts/install-packages.sh has unpacked it. */
const promtool = [...process.env.PATH.split(delimiter), join(root, 'build/tools/usr/bin')]
  .map((folder) => join(folder, 'promtool'))
  .find((file) => {
    try {
      accessSync(file, constants.X_OK);
      return true;
    } catch {
      return false;
    }
  });

/** The metrics of a server that has answered a request, with the labels of each. */
async function served(t) {
  const server = await Server.start(t, temporaryFolder(t));
  await fetch(`${server.url}/v1/projects`);
  const metrics = new Map();
  const text = await (await fetch(`${server.url}/metrics`)).text();
  for (const [, name, labels = ''] of text.matchAll(/^([a-z_]+)(?:\{(.*)\})? /gm)) {
    const known = metrics.get(name) ?? new Set();
    for (const [, label] of labels.matchAll(/(\w+)="/g)) known.add(label);
    metrics.set(name, known);
  }
  return metrics;
}

/** Adds the metrics that standing copies have, which a file of their own tells. */
async function withCopies(t, metrics) {
  const [from, to] = [temporaryFolder(t), temporaryFolder(t)];
  const file = join(temporaryFolder(t), 'copies.prom');
  await run(['replicate', '--from', from, '--to', to, '--once', '--metrics', file]);
  for (const [, name, labels] of readFileSync(file, 'utf8').matchAll(/^([a-z_]+)\{(.*)\} /gm)) {
    metrics.set(name, new Set([...labels.matchAll(/(\w+)="/g)].map(([, label]) => label)));
  }
  return metrics;
}

/** Holds the metrics of an expression and the labels that it picks from them to what there is. */
function check(expression, metrics) {
  const uses = [...expression.matchAll(/\b((?:korvane|process)_\w+)(?:\{([^}]*)\})?/g)];
  for (const [, name, labels = ''] of uses) {
    assert.ok(metrics.has(name), `${name} in ${expression}`);
    for (const [, label] of labels.matchAll(/(\w+)=/g)) {
      // Prometheus adds these two.
      assert.ok(['instance', 'job'].includes(label) || metrics.get(name).has(label), `${label} of ${name}`);
    }
  }
  return uses.map(([, name]) => name);
}

test('the board shows metrics that there are, and all of korvane\'s', async (t) => {
  const metrics = await served(t);
  const board = JSON.parse(readFileSync(join(root, 'deploy/grafana.json'), 'utf8'));
  const shown = new Set(board.panels.flatMap(({title, targets}) => targets.flatMap(({expr}) => {
    const used = check(expr, metrics);
    assert.notEqual(used.length, 0, title);
    return used;
  })));
  const own = [...metrics.keys()].filter((name) => name.startsWith('korvane_'));
  assert.deepEqual(own.filter((name) => !shown.has(name)), []);
  const ids = board.panels.map(({id}) => id);
  assert.equal(new Set(ids).size, ids.length);
});

test('the alerts go by metrics that there are', async (t) => {
  const metrics = await withCopies(t, await served(t));
  const text = readFileSync(rules, 'utf8');
  assert.ok(check(text, metrics).length >= 8);
  const guide = readFileSync(join(root, 'docs/administration.md'), 'utf8');
  for (const [, alert] of text.matchAll(/- alert: (\w+)/g)) {
    assert.ok(guide.includes(`| \`${alert}\` |`), `${alert} is not in docs/administration.md`);
  }
});

const skip = promtool ? false : 'promtool is not on this machine: scripts/install-packages.sh test';
test('promtool accepts the alerts, and they fire when they should', {skip}, async (t) => {
  const checked = await run(['check', 'rules', rules], {command: promtool});
  assert.equal(checked.code, 0, checked.out + checked.err);
  const cases = readFileSync(join(root, 'tests/deploy/korvane.rules.test.yml'), 'utf8');
  const file = join(temporaryFolder(t), 'cases.yml');
  writeFileSync(file, cases.replace('RULES', rules));
  const tried = await run(['test', 'rules', file], {command: promtool});
  assert.equal(tried.code, 0, tried.out + tried.err);
});
