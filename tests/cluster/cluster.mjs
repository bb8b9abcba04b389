// Three servers of one folder behind HAProxy, each on a machine of its own, while clients use them and
// servers are killed, stopped, cut off and frozen. `make cluster` starts it.

import {execFileSync} from 'node:child_process';
import {mkdirSync, mkdtempSync, rmSync, writeFileSync} from 'node:fs';
import {loadavg, tmpdir} from 'node:os';
import {join} from 'node:path';
import {parseArgs} from 'node:util';
import {Clients, now} from './clients.mjs';
import {events, happen} from './events.mjs';
import {checkFiles, compareFiles} from './files.mjs';
import {faultsOfGrowing, whyNotLinearizable} from './history.mjs';
import {addMachine, Balancer, kBalancer, makeNetwork, Server, Storage} from './machines.mjs';

const {values: options} = parseArgs({
  options: {
    program: {type: 'string'},
    haproxy: {type: 'string', default: 'haproxy'},
    bindfs: {type: 'string', default: 'bindfs'},
    seconds: {type: 'string', default: '300'},
    every: {type: 'string', default: '10'},
    clients: {type: 'string', default: '64'},
    projects: {type: 'string', default: '200'},
    events: {type: 'string', default: Object.keys(events).join(',')},
    seed: {type: 'string', default: '1'},
    results: {type: 'string'},
    keep: {type: 'boolean', default: false},
  },
});
const number = (name) => Number(options[name]);
const kinds = options.events.split(',').filter((kind) => kind !== '');
for (const kind of kinds) if (!events[kind]) throw new Error(`--events: ${kind}?`);

const korvane = (...args) => execFileSync(options.program, args, {encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe']});
const whole = (value) => Math.round(value).toLocaleString('en');
const load = () => loadavg().map((value) => value.toFixed(1)).join(' ');

function makeTokens(folder) {
  const file = join(folder, 'tokens.json');
  const tokens = Array.from({length: 8}, (_, i) =>
    korvane('token', 'add', '--tokens', file, `office-${i}`, '--scope', 'read', 'write').trim().split('\n').at(-1));
  return {file, tokens};
}

/** Each server's own way to the projects, where their storage is to hang. */
async function giveStorages(servers, folder, shared) {
  if (!kinds.includes('stall')) return;
  for (const server of servers) {
    server.storage = new Storage({program: options.bindfs, shared, folder: join(folder, server.name)});
    await server.storage.start();
    server.folder = server.storage.folder;
  }
}

function makeServers(folder, tokens) {
  const places = ['one', 'two', 'three'];
  const common = ['--tokens', tokens, '--host-name', 'cad.example', '--page', ''];
  const drains = korvane('serve', '--help').includes('--drain-time');
  if (!drains) console.log('this korvane has no --drain-time: a SIGTERM will cost requests');
  return places.map((name, i) => new Server({
    name, address: `10.77.0.1${i + 1}`, program: options.program, folder,
    options: drains ? [...common, '--drain-time', '3'] : common,
  }));
}

/** Requests by the event that had begun when they were sent, failures by that which had begun when they
 * failed: what an event does to requests shows before the next one begins. */
class Ledger {
  windows = [{kind: 'none before the first', server: '', begin: 0}];

  begin(event) {
    this.windows.push({...event, begin: now()});
  }

  windowAt(time) {
    return [...this.windows].reverse().find((window) => window.begin <= time);
  }

  /** By kind: events, requests, failures. */
  rows(clients) {
    const rows = new Map();
    const rowOf = (kind) => {
      if (!rows.has(kind)) rows.set(kind, {kind, events: 0, requests: 0, repeatable: 0, others: 0, longest: 0, what: new Map()});
      return rows.get(kind);
    };
    for (const {kind} of this.windows) rowOf(kind).events += 1;
    for (const begin of clients.begun) rowOf(this.windowAt(begin).kind).requests += 1;
    for (const {begin, end, isRepeatable, what} of clients.failures) {
      const row = rowOf(this.windowAt(end).kind);
      row[isRepeatable ? 'repeatable' : 'others'] += 1;
      row.longest = Math.max(row.longest, end - begin);
      row.what.set(what, (row.what.get(what) ?? 0) + 1);
    }
    return [...rows.values()];
  }
}

function printTable(rows) {
  console.log('\n                                                             failed: might be repeated');
  console.log('event                                                events  requests     yes      no  longest');
  console.log('--------------------------------------------------  -------  --------  ------  ------  -------');
  for (const {kind, events: count, requests, repeatable, others, longest, what} of rows) {
    const title = (events[kind]?.title ?? kind).padEnd(50);
    const seconds = longest ? `${(longest / 1000).toFixed(1)} s` : '';
    console.log(`${title}  ${String(count).padStart(7)}  ${whole(requests).padStart(8)}  ${
      whole(repeatable).padStart(6)}  ${whole(others).padStart(6)}  ${seconds.padStart(7)}`);
    for (const [text, times] of what) console.log(`    ${whole(times)} times: ${text}`);
  }
}

/** What the stories say by themselves. */
function judge(stories) {
  const faults = [];
  const counted = {operations: 0, acrossServers: 0, unanswered: 0};
  for (const [file, {history, additions, reads}] of stories) {
    const why = whyNotLinearizable(history, 'none');
    if (why) faults.push(`${file}: its history is not linearizable: ${JSON.stringify(why)}`);
    faults.push(...faultsOfGrowing(additions, reads).map((fault) => `${file}: ${JSON.stringify(fault)}`));
    const writers = new Map();
    for (const {kind, value, server, end} of history) {
      if (kind !== 'write') continue;
      writers.set(value, server);
      if (end === Infinity) counted.unanswered += 1;
    }
    counted.operations += history.length;
    counted.acrossServers += history.filter(({kind, value, server}) =>
      kind === 'read' && writers.has(value) && writers.get(value) !== server).length;
  }
  return {faults, counted};
}

/** Each server lists the same projects. */
async function compareLists(servers, token) {
  const lists = await Promise.all(servers.map(async ({address}) => {
    const reply = await fetch(`http://${address}:8420/v1/projects`, {headers: {Authorization: `Bearer ${token}`, Host: 'cad.example'}});
    const {projects} = await reply.json();
    return JSON.stringify(projects?.map(({file, size, changed}) => [file, size, changed]) ?? reply.status);
  }));
  return new Set(lists).size === 1 ? [] : ['the servers list different projects'];
}

async function run(folder) {
  const projectsFolder = join(folder, 'projects');
  mkdirSync(projectsFolder);
  const {file, tokens} = makeTokens(folder);
  makeNetwork();
  const servers = makeServers(projectsFolder, file);
  [kBalancer, ...servers].forEach(addMachine);
  await giveStorages(servers, folder, projectsFolder);
  await Promise.all(servers.map((server) => server.start()));
  const balancer = new Balancer(options.haproxy, join(folder, 'haproxy'), servers);
  await balancer.start();
  for (const {name} of servers) await balancer.until(name, 'UP');

  const projects = Array.from({length: number('projects')}, (_, i) => `p${i}.db`);
  const clients = new Clients({url: balancer.url, tokens, projects, count: number('clients'), seed: number('seed')});
  console.log(`${servers.length} servers, ${projects.length} projects, ${number('clients')} clients, seed ${options.seed}, load ${load()}`);
  await clients.makeProjects();
  clients.begun = [];

  const ledger = new Ledger();
  const begin = now();
  const isTime = () => now() - begin < 1000 * (number('seconds') - number('every') / 2);
  clients.start();
  if (kinds.length > 0) {
    let printed = {begun: 0, failed: 0};
    await happen({
      servers, kinds, every: number('every'), isTime, balancer,
      onBegin: (event) => {
        ledger.begin(event);
        printed = {begun: clients.begun.length, failed: clients.failures.length};
      },
      onEnd: ({kind, server}) => console.log(`${whole((now() - begin) / 1000).padStart(4)} s  ${server.padEnd(6)} ${
        events[kind].title.padEnd(52)} ${whole(clients.begun.length - printed.begun).padStart(6)} requests, ${
        clients.failures.length - printed.failed} failed`),
    });
  } else {
    await new Promise((resolve) => { setTimeout(resolve, 1000 * number('seconds')); });
  }
  await clients.stop();
  const seconds = (now() - begin) / 1000;
  console.log(`load ${load()}`);
  const failuresWhileWorking = clients.failures.length;
  await clients.readAll();

  const faults = [...clients.faults];
  const balanced = await balancer.statistics();
  faults.push(...await compareLists(servers, tokens[0]));
  for (const server of servers) {
    const way = await server.stop();
    if (way !== 0) faults.push(`${server.name} ended with ${way}`);
  }
  for (const {storage} of servers) await storage?.stop();
  await balancer.stop();

  const rows = ledger.rows(clients);
  printTable(rows);
  const {faults: unlinear, counted: judged} = judge(clients.stories);
  const {faults: missing, counted} = await compareFiles(projectsFolder, clients.stories);
  faults.push(...unlinear, ...missing, ...await checkFiles(options.program, projectsFolder, projects));
  const term = rows.find(({kind}) => kind === 'term');
  if (term && term.repeatable + term.others > 0) faults.push('a SIGTERM has cost requests');

  const backend = balanced.get('BACKEND');
  console.log(`
${whole(clients.answered)} calls answered in ${whole(seconds)} s, ${whole(clients.answered / seconds)} a second; ${
  failuresWhileWorking} requests failed. The longest took ${(clients.longest / 1000).toFixed(1)} s.
The balancer tried the same server again ${backend.wretr} times, and sent ${backend.wredis} requests to another one.
Additions: ${whole(counted.acknowledged)} acknowledged, of those without an answer ${counted.unansweredAndThere} are there and ${counted.unanswered} not.
Histories: ${whole(judged.operations)} reads and writes of ${projects.length} registers, ${judged.unanswered} writes without an answer, ${
  whole(judged.acrossServers)} reads of what another server wrote.`);
  console.log(faults.length === 0
    ? 'Every acknowledged write is there, none twice; every history is linearizable; every file is sound.'
    : `${faults.length} FAULTS\n${faults.slice(0, 20).join('\n')}`);
  if (options.results) {
    const plain = rows.map((row) => ({...row, what: Object.fromEntries(row.what)}));
    writeFileSync(options.results, `${JSON.stringify({options, seconds, answered: clients.answered, load: loadavg(),
      rows: plain, counted, judged, calls: Object.fromEntries(clients.calls), windows: ledger.windows,
      failures: clients.failures, faults}, null, 1)}\n`);
  }
  if (faults.length > 0) {
    const told = servers.flatMap(({name, failures}) => failures.slice(0, 5).map((line) => `${name}: ${line}`));
    console.log(told.join('\n'));
  }
  return faults.length === 0;
}

const folder = mkdtempSync(join(tmpdir(), 'korvane-cluster-'));
let isGood = false;
try {
  isGood = await run(folder);
} finally {
  if (options.keep) console.log(`kept: ${folder}`);
  else rmSync(folder, {recursive: true, force: true});
}
process.exit(isGood ? 0 : 1);
