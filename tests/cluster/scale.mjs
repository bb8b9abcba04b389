// What a call costs with one, two and three servers behind the balancer, and what an open project costs a
// server. `make cluster` starts it. The machine has all servers, the balancer and the clients: how many
// calls a second come about says little, what each costs says more.

import {execFileSync, spawnSync} from 'node:child_process';
import {copyFileSync, mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, statSync} from 'node:fs';
import {cpus, loadavg, tmpdir} from 'node:os';
import {join} from 'node:path';
import {parseArgs} from 'node:util';
import {Clients, now, works} from './clients.mjs';
import {addMachine, Balancer, kBalancer, makeNetwork, Server} from './machines.mjs';

const {values: options} = parseArgs({
  options: {
    program: {type: 'string'},
    haproxy: {type: 'string', default: 'haproxy'},
    seconds: {type: 'string', default: '8'},
    clients: {type: 'string', default: '16'},
    projects: {type: 'string', default: '60'},
    open: {type: 'string', default: '1000'},
    'no-instructions': {type: 'boolean', default: false},
  },
});
const kTicks = 100;  // a second, of /proc
const kPlaces = ['one', 'two', 'three'];
const pause = (seconds) => new Promise((resolve) => { setTimeout(resolve, 1000 * seconds); });
const whole = (value) => Math.round(value).toLocaleString('en');

const folder = mkdtempSync(join(tmpdir(), 'korvane-scale-'));
const projectsFolder = join(folder, 'projects');
const tokenFile = join(folder, 'tokens.json');

function processorSeconds(pid) {
  const fields = readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ').at(-1).split(' ');
  return (Number(fields[11]) + Number(fields[12])) / kTicks;
}

const residentBytes = (pid) => 1024 * Number(/VmRSS:\s+(\d+)/.exec(readFileSync(`/proc/${pid}/status`, 'utf8'))[1]);
const descriptors = (pid) => readdirSync(`/proc/${pid}/fd`).length;

/** So many servers with a balancer, as long as `use` takes. */
async function withServers(count, {tool = () => []}, use) {
  const servers = kPlaces.slice(0, count).map((name, i) => new Server({
    name, address: `10.77.0.1${i + 1}`, program: options.program, folder: projectsFolder,
    options: ['--tokens', tokenFile, '--host-name', 'cad.example', '--page', ''], tool: tool(name),
  }));
  await Promise.all(servers.map((server) => server.start()));
  const balancer = new Balancer(options.haproxy, join(folder, 'haproxy'), servers);
  await balancer.start();
  try {
    return await use(servers, balancer);
  } finally {
    await balancer.stop();
    await Promise.all(servers.map((server) => server.stop()));
  }
}

const clientsOf = (balancer, token, projects, kind, count = Number(options.clients)) => new Clients({
  url: balancer.url, tokens: [token], projects, count, seed: Date.now() % 1000,
  kinds: kind ? {[kind]: works[kind]} : works,
});

async function timed(servers, balancer, token, projects, kind) {
  const clients = clientsOf(balancer, token, projects, kind);
  const processes = [...servers.map(({child}) => child.pid), balancer.child.pid, process.pid];
  clients.start();
  await pause(1);
  const begin = now();
  const [answered, before] = [clients.answered, processes.map(processorSeconds)];
  await pause(Number(options.seconds));
  const calls = clients.answered - answered;
  const seconds = (now() - begin) / 1000;
  const used = processes.map((pid, i) => processorSeconds(pid) - before[i]);
  await clients.stop();
  const each = (sum) => `${whole((1e6 * sum) / calls)} us`.padStart(9);
  const ofServers = used.slice(0, servers.length).reduce((sum, value) => sum + value, 0);
  console.log(`${String(servers.length).padStart(7)}  ${kind.padEnd(16)}  ${whole(calls / seconds).padStart(8)}  ${
    each(ofServers)}  ${each(used.at(-2))}  ${each(used.at(-1))}  ${loadavg()[0].toFixed(1)}`);
}

/** Of all that callgrind has written. */
function instructionsOf(prefix) {
  return readdirSync(folder).filter((name) => name.startsWith(prefix))
    .map((name) => Number(/^(?:summary|totals): (\d+)/m.exec(readFileSync(join(folder, name), 'utf8'))?.[1] ?? 0))
    .reduce((sum, value) => sum + value, 0);
}

/** All servers' instructions for so many calls, their start and stop among them. */
async function counted(count, calls, token, projects, kind) {
  const prefix = `instructions-${count}-${calls}`;
  const tool = (name) => ['valgrind', '--quiet', '--tool=callgrind', `--callgrind-out-file=${join(folder, `${prefix}-${name}`)}`];
  await withServers(count, {tool}, async (servers, balancer) => {
    const clients = clientsOf(balancer, token, projects, kind, 1);
    await clients.callTimes(calls);
  });
  return instructionsOf(prefix);
}

async function run() {
  mkdirSync(projectsFolder);
  const token = execFileSync(options.program, ['token', 'add', '--tokens', tokenFile, 'office', '--scope', 'read', 'write'],
    {encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore']}).trim().split('\n').at(-1);
  makeNetwork();
  [kBalancer, ...kPlaces.map((name, i) => ({name, address: `10.77.0.1${i + 1}`}))].forEach(addMachine);
  const projects = Array.from({length: Number(options.projects)}, (_, i) => `p${i}.db`);
  await withServers(1, {}, (servers, balancer) => clientsOf(balancer, token, projects).makeProjects());

  console.log(`${cpus().length} cores, ${options.clients} clients, ${projects.length} projects, load ${loadavg()[0].toFixed(1)}
                                      processor time of a call
servers  call              calls/s    servers   balancer    clients  load`);
  for (const kind of ['get_revision', 'add_mountingpart']) {
    for (const count of [1, 2, 3]) {
      await withServers(count, {}, (servers, balancer) => timed(servers, balancer, token, projects, kind));
    }
  }

  const hasValgrind = spawnSync('valgrind', ['--version']).status === 0;
  if (!hasValgrind) console.log('\nInstructions are not counted: valgrind is not installed (make packages-bench)');
  if (hasValgrind && !options['no-instructions']) {
    console.log('\nInstructions of all servers for a call of get_revision (callgrind, without the kernel\'s)');
    for (const count of [1, 2, 3]) {
      const few = await counted(count, 300, token, projects, 'get_revision');
      const many = await counted(count, 1300, token, projects, 'get_revision');
      console.log(`${count} servers: ${whole((many - few) / 1000)}`);
    }
  }

  const copies = Array.from({length: Number(options.open)}, (_, i) => `copy-${i}.db`);
  for (const copy of copies) copyFileSync(join(projectsFolder, 'p0.db'), join(projectsFolder, copy));
  await withServers(1, {}, async ([{child: {pid}}], balancer) => {
    const all = clientsOf(balancer, token, copies, 'get_revision');
    await clientsOf(balancer, token, projects, 'get_revision').readAll();
    const before = {bytes: residentBytes(pid), files: descriptors(pid)};
    const begin = now();
    await all.readAll();
    const milliseconds = now() - begin;
    console.log(`\n${copies.length} more projects open, ${whole(statSync(join(projectsFolder, copies[0])).size)} bytes each: ${
      whole((residentBytes(pid) - before.bytes) / copies.length / 1024)} KiB and ${
      ((descriptors(pid) - before.files) / copies.length).toFixed(2)} descriptors each; opened and read twice in ${
      (milliseconds / copies.length).toFixed(1)} ms each`);
  });
}

try {
  await run();
} finally {
  rmSync(folder, {recursive: true, force: true});
}
process.exit(0);
