// Machines on one machine: network namespaces with addresses of their own, servers and a balancer in
// them. All of it in the namespaces of the process that uses it (tests/cluster/alone.sh), which nothing
// outside reaches and which are gone with it.

import {execFileSync, spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdirSync, readFileSync, writeFileSync} from 'node:fs';
import {connect} from 'node:net';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {fileURLToPath} from 'node:url';

export const root = fileURLToPath(new URL('../../', import.meta.url));

const ip = (...args) => execFileSync('ip', args, {encoding: 'utf8'});

/** The address of the clients, who are where this process is. */
export const kClients = '10.77.0.1';
export const kBalancer = {name: 'front', address: '10.77.0.2'};
const kBridge = 'cluster';

export function makeNetwork(own = kClients) {
  const links = JSON.parse(ip('-json', 'link'));
  if (links.some(({ifname}) => ifname !== 'lo')) {
    throw new Error('this is not a network namespace of its own: start it by tests/cluster/alone.sh');
  }
  ip('link', 'set', 'lo', 'up');
  ip('link', 'add', kBridge, 'type', 'bridge');
  ip('address', 'add', `${own}/24`, 'dev', kBridge);
  ip('link', 'set', kBridge, 'up');
}

export function addMachine({name, address}) {
  ip('netns', 'add', name);
  ip('link', 'add', `to-${name}`, 'type', 'veth', 'peer', 'name', 'eth0', 'netns', name);
  ip('link', 'set', `to-${name}`, 'master', kBridge, 'up');
  ip('-n', name, 'address', 'add', `${address}/24`, 'dev', 'eth0');
  ip('-n', name, 'link', 'set', 'eth0', 'up');
  ip('-n', name, 'link', 'set', 'lo', 'up');
}

export const pullCable = (name) => ip('link', 'set', `to-${name}`, 'down');
export const plugCable = (name) => ip('link', 'set', `to-${name}`, 'up');

/** The text with each of the words exchanged; each must be there. */
export function exchanged(text, words) {
  return Object.entries(words).reduce((made, [word, other]) => {
    if (!made.includes(word)) throw new Error(`deploy/haproxy.cfg has no "${word}"`);
    return made.replaceAll(word, other);
  }, text);
}

/** Waits until `condition` gives something. */
export async function until(condition, what, seconds = 30) {
  for (const end = Date.now() + 1000 * seconds; Date.now() < end;) {
    const value = await condition();
    if (value) return value;
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
  throw new Error(`did not come to pass: ${what}`);
}

/** One `korvane serve` after the other on a machine of its own. */
export class Server {
  child = null;
  /** Lines of the log that tell of failures. */
  failures = [];

  /** `tool` stands before the program, if one is given. */
  constructor({name, address, program, folder, options, tool = []}) {
    Object.assign(this, {name, address, program, folder, options, tool});
  }

  async start() {
    this.child = spawn('ip', ['netns', 'exec', this.name, ...this.tool, this.program, 'serve', '--root', this.folder,
      '--listen', `${this.address}:8420`, ...this.options], {stdio: ['ignore', 'pipe', 'pipe']});
    const {child} = this;
    let told = '';
    createInterface({input: child.stderr}).on('line', (line) => {
      told = line;
      if (/"status":5\d\d/.test(line)) this.failures.push(line);
    });
    this.ended = once(child, 'exit').then(([code, signal]) => signal ?? code);
    const line = once(createInterface({input: child.stdout}), 'line');
    const first = await Promise.race([line, this.ended]);
    if (!Array.isArray(first)) throw new Error(`${this.name} has not started: ${told}`);
  }

  signal(name) {
    this.child.kill(name);
  }

  /** Gives the exit code, or the signal that ended it. */
  async stop(signal = 'SIGTERM') {
    this.signal(signal);
    return this.ended;
  }
}

/** A machine's own way to the folder `shared`, which appears at `folder`: a file system in a process that can
 * be stopped, as one across a network stops. Nothing is kept in between, so that all machines see the same. */
export class Storage {
  constructor({program, shared, folder}) {
    Object.assign(this, {program, shared, folder});
  }

  async start() {
    mkdirSync(this.folder);
    const kept = ['attr_timeout=0', 'entry_timeout=0', 'negative_timeout=0', 'direct_io'].join(',');
    this.child = spawn(this.program, ['-f', '--multithreaded', '--enable-lock-forwarding', '-o', kept, this.shared, this.folder],
      {stdio: ['ignore', 'ignore', 'pipe']});
    let told = '';
    this.child.stderr.on('data', (text) => { told += text; });
    this.ended = once(this.child, 'exit');
    const ended = this.ended.then(() => { throw new Error(`${this.program} has ended: ${told}`); });
    ended.catch(() => {});
    const isThere = () => readFileSync('/proc/self/mounts', 'utf8').includes(` ${this.folder} fuse`);
    await Promise.race([until(isThere, `${this.folder} is mounted`), ended]);
  }

  signal(name) {
    this.child.kill(name);
  }

  /** When no machine uses it any more: each has its own view of what is mounted. */
  async stop() {
    execFileSync('umount', [this.folder]);
    this.signal('SIGTERM');
    await once(this.child, 'close');
  }
}

/** HAProxy with deploy/haproxy.cfg as it is, but for addresses, users and TLS: it answers plain HTTP at
 * port 8080 of its machine. */
export class Balancer {
  url = `http://${kBalancer.address}:8080`;

  constructor(program, folder, servers) {
    this.socket = join(folder, 'admin.sock');
    const places = ['one', 'two', 'three'];
    let text = exchanged(readFileSync(join(root, 'deploy/haproxy.cfg'), 'utf8'), {
      '  user haproxy\n  group haproxy\n  log /dev/log local0\n': '',
      '/run/haproxy/admin.sock': this.socket,
      'bind :443 ssl crt /etc/haproxy/cad.example.pem alpn h2,http/1.1': `bind ${kBalancer.address}:8080`,
      '  log global\n  option httplog\n': '',
    });
    for (const [i, place] of places.entries()) {
      const line = `  server ${place} 192.0.2.1${i + 1}:8420\n`;
      text = exchanged(text, {[line]: servers[i] ? `  server ${place} ${servers[i].address}:8420\n` : ''});
    }
    mkdirSync(folder, {recursive: true});
    this.file = join(folder, 'haproxy.cfg');
    this.program = program;
    writeFileSync(this.file, text);
  }

  async start() {
    this.child = spawn('ip', ['netns', 'exec', kBalancer.name, this.program, '-db', '-f', this.file],
      {stdio: ['ignore', 'ignore', 'pipe']});
    let told = '';
    this.child.stderr.on('data', (text) => { told += text; });
    this.ended = once(this.child, 'exit');
    const ended = this.ended.then(() => { throw new Error(`haproxy has ended: ${told}`); });
    ended.catch(() => {});
    await Promise.race([until(() => this.ask('show info').catch(() => null), 'the balancer runs'), ended]);
  }

  /** Asks HAProxy at its socket. */
  async ask(command) {
    const socket = connect(this.socket);
    socket.end(`${command}\n`);
    const pieces = [];
    for await (const piece of socket) pieces.push(piece);
    return Buffer.concat(pieces).toString();
  }

  /** The rows of its statistics about servers, by server. */
  async statistics() {
    const [header, ...lines] = (await this.ask('show stat')).trim().replace(/^# /, '').split('\n');
    const names = header.split(',');
    const rows = lines.map((line) => Object.fromEntries(line.split(',').map((cell, i) => [names[i], cell])));
    return new Map(rows.filter(({pxname}) => pxname === 'korvane').map((row) => [row.svname, row]));
  }

  async until(server, wanted) {
    await until(async () => (await this.statistics()).get(server).status.startsWith(wanted),
      `${server} is ${wanted} to the balancer`);
  }

  async stop() {
    this.child.kill('SIGTERM');
    await this.ended;
  }
}
