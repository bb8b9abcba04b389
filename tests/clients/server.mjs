// The program as its users start it, for tests.

import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdtempSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';

export const program = process.env.KORVANE_PROGRAM;
if (!program) throw new Error('KORVANE_PROGRAM names the korvane to test');

const running = new Set();
// A test that fails or is cut off leaves no program behind.
process.on('exit', () => running.forEach((child) => child.kill('SIGKILL')));

/** A fresh folder, which goes with the test or suite that `context` belongs to. */
export function temporaryFolder(context) {
  const folder = mkdtempSync(join(tmpdir(), 'korvane-client-'));
  context.after(() => rmSync(folder, {recursive: true, force: true}));
  return folder;
}

/** Runs another program, or korvane itself where `command` is left out, to its end; ends it after
 * `seconds`. */
export function run(args, {command = program, input, env = {}, seconds = 30} = {}) {
  return new Promise((resolve, reject) => {
    const child = spawn(command, args, {env: {...process.env, ...env}, timeout: seconds * 1000});
    running.add(child);
    const out = [];
    const err = [];
    child.stdout.on('data', (data) => out.push(data));
    child.stderr.on('data', (data) => err.push(data));
    child.on('error', reject);
    child.on('close', (code) => {
      running.delete(child);
      const bytes = Buffer.concat(out);
      resolve({code, bytes, out: bytes.toString(), err: Buffer.concat(err).toString()});
    });
    child.stdin.on('error', () => {});  // a program that does not read is no failure
    child.stdin.end(input);
  });
}

/** Makes a certificate for localhost and its key, of the kind that `openssl req -newkey` calls so.
 * Gives their files. */
export async function makeCertificate(folder, name, kind = ['ec', '-pkeyopt', 'ec_paramgen_curve:prime256v1']) {
  const certificate = join(folder, `${name}.pem`);
  const key = join(folder, `${name}-key.pem`);
  const {code, err} = await run(
    ['req', '-x509', '-newkey', ...kind, '-nodes', '-days', '2', '-subj', '/CN=localhost',
      '-addext', 'subjectAltName=DNS:localhost,IP:127.0.0.1', '-keyout', key, '-out', certificate],
    {command: 'openssl'});
  if (code !== 0) throw new Error(err);
  return {certificate, key};
}

/** `korvane serve`, on a free port unless its options say otherwise. */
export class Server {
  /** The log, a line an element. */
  log = [];
  output = '';

  /** Starts it on `root` and waits for its address; it stops with `context`. */
  static async start(context, root, ...options) {
    return Server.startFrom('', context, root, ...options);
  }

  /** The same from a shell, in which `command` stands before it: "ulimit -f 100;", or "exec 2>log;". */
  static async startFrom(command, context, root, ...options) {
    const server = new Server(command, root, options);
    context.after(() => server.stop());
    await server.#address();
    return server;
  }

  constructor(command, root, options) {
    this.root = root;
    const listen = options.includes('--listen') ? [] : ['--listen', '127.0.0.1:0'];
    const args = ['serve', '--root', root, ...listen, ...options];
    this.child = command ? spawn('sh', ['-c', `${command} exec "$0" "$@"`, program, ...args])
      : spawn(program, args);
    running.add(this.child);
    createInterface({input: this.child.stderr}).on('line', (line) => this.log.push(line));
    this.child.stdout.on('data', (data) => { this.output += data; });
    this.ended = once(this.child, 'close').then(([code, signal]) => {
      running.delete(this.child);
      return {code, signal};
    });
  }

  async #address() {
    const line = once(createInterface({input: this.child.stdout}), 'line');
    const first = await Promise.race([line, this.ended]);
    if (!Array.isArray(first)) throw new Error(`the server has not started: ${this.log.join('\n')}`);
    this.url = first[0].split(' at ').at(-1);
  }

  signal(name) {
    this.child.kill(name);
  }

  /** Ends it, if it runs still, and gives its exit code and the signal that ended it. */
  async stop() {
    this.signal('SIGTERM');
    return this.ended;
  }
}

/** Waits until `condition` gives something, asking again and again; fails after ten seconds. */
export async function until(condition, what) {
  for (const end = Date.now() + 10_000; Date.now() < end;) {
    const value = await condition();
    if (value) return value;
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
  throw new Error(`did not come to pass: ${what}`);
}
