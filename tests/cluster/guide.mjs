// docs/cluster.md as it is printed there, on machines made for it: each has a network namespace with its
// address, and a root of its own, laid over that of this machine. `make cluster` starts it.

import assert from 'node:assert/strict';
import {execFileSync, spawn} from 'node:child_process';
import {chmodSync, copyFileSync, mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {parseArgs} from 'node:util';
import {addMachine, makeNetwork, root} from './machines.mjs';

const {values: options} = parseArgs({
  options: {
    /** The folder of korvane_….deb. */
    packages: {type: 'string'},
    /** A folder with haproxy_….deb, as these machines reach no mirror. */
    archives: {type: 'string'},
  },
});
const machines = [
  {name: 'front', address: '192.0.2.10'}, {name: 'one', address: '192.0.2.11'}, {name: 'two', address: '192.0.2.12'},
];
const sh = (...command) => execFileSync(command[0], command.slice(1), {encoding: 'utf8'});

/** For a machine without systemd: does what the units say, as far as the page needs it. */
const stands = {
  sudo: `if [ "$1" = -u ]; then user=$2; shift 2; exec setpriv --reuid "$user" --regid "$user" --init-groups "$@"; fi
exec "$@"`,
  systemctl: `name=\${!#} pid=/run/systemctl-$name.pid
value() { sed -n "s/^$1=//p" /lib/systemd/system/$name.service | tail -n 1; }
is_gone() { ! kill -0 "$(cat $pid)" 2>/dev/null; }
start() {
  case $name in
    korvane)
      install -d -o korvane -g korvane -m 0750 /var/lib/korvane/projects
      setsid setpriv --reuid "$(value User)" --regid "$(value Group)" --init-groups $(value ExecStart) >>/var/log/$name.log 2>&1 </dev/null &
      echo $! >$pid
      for i in $(seq 200); do
        curl -s -f -H 'Host: cad.example' http://127.0.0.1:8420/healthz/ready >/dev/null && return
        sleep 0.1
      done
      cat /var/log/$name.log >&2; exit 1 ;;
    haproxy)
      install -d -o haproxy -g haproxy /run/haproxy
      haproxy -W -D -f /etc/haproxy/haproxy.cfg -p $pid ;;
  esac
}
stop() {
  [ ! -s $pid ] || is_gone || { kill "$(cat $pid)"; while ! is_gone; do sleep 0.1; done; }
}
case $1 in
  daemon-reload) ;;
  start) start ;;
  stop) stop ;;
  restart) stop; start ;;
  kill) kill -s "$3" "$(cat $pid)"; while ! is_gone; do sleep 0.1; done; start ;;  # Restart=on-failure
  *) echo "systemctl: $1?" >&2; exit 1 ;;
esac`,
};

function makeRoot(folder, {name}) {
  const here = join(folder, name);
  mkdirSync(here);
  sh('mount', '-t', 'tmpfs', 'none', here);
  for (const part of ['upper', 'work', 'root']) mkdirSync(join(here, part));
  const top = join(here, 'root');
  sh('mount', '-t', 'overlay', 'overlay', '-o', `lowerdir=/,upperdir=${join(here, 'upper')},workdir=${join(here, 'work')}`, top);
  sh('mount', '-t', 'proc', 'proc', join(top, 'proc'));
  sh('mount', '--bind', '/dev', join(top, 'dev'));
  for (const part of ['tmp', 'run']) sh('mount', '-t', 'tmpfs', 'none', join(top, part));
  mkdirSync(join(top, 'srv/korvane'), {recursive: true});
  sh('mount', '--bind', join(folder, 'shared'), join(top, 'srv/korvane'));
  for (const [command, text] of Object.entries(stands)) {
    const file = join(top, 'usr/local/bin', command);
    writeFileSync(file, `#!/bin/bash\nset -e\n${text}\n`);
    chmodSync(file, 0o755);
  }
  const home = join(top, 'home/who');
  mkdirSync(home, {recursive: true});
  for (const file of readdirSync(options.packages)) {
    if (/^korvane_.*deb$/.test(file)) copyFileSync(join(options.packages, file), join(home, file));
  }
  for (const file of readdirSync(options.archives)) {
    if (file.endsWith('.deb')) copyFileSync(join(options.archives, file), join(top, 'var/cache/apt/archives', file));
  }
  copyFileSync(join(root, 'deploy/haproxy.cfg'), join(home, 'haproxy.cfg'));
  return {top, home};
}

/** The blocks of the page: where, in which way, what, and what it prints. */
function blocks() {
  const page = readFileSync(join(root, 'docs/cluster.md'), 'utf8');
  const found = page.matchAll(/<!-- at: ([\w ]+?)(?:, ([\w ]+))? -->\n```sh\n(.*?)```\n(?:\n<!-- prints -->\n```\n(.*?)```\n)?/gs);
  return [...found].map(([, names, way, text, prints]) => ({names: names.split(' '), way, text, prints}));
}

function runAt(name, top, text) {
  const child = spawn('ip', ['netns', 'exec', name, 'chroot', top, 'bash', '-e', '-o', 'pipefail', '-c', `cd /home/who; ${text}`], {
    stdio: ['ignore', 'pipe', 'pipe'],
    env: {PATH: '/usr/local/bin:/usr/local/sbin:/usr/bin:/usr/sbin:/bin:/sbin', HOME: '/home/who', DEBIAN_FRONTEND: 'noninteractive', LC_ALL: 'C.UTF-8'},
  });
  const told = {out: '', err: ''};
  child.stdout.on('data', (data) => { told.out += data; });
  child.stderr.on('data', (data) => { told.err += data; });
  return new Promise((resolve) => {
    // What was started in the background keeps its ends of the pipes.
    child.on('exit', (code) => setTimeout(() => resolve({code, ...told}), 100));
  });
}

async function run(folder) {
  mkdirSync(join(folder, 'shared'));
  makeNetwork('192.0.2.1');
  const places = new Map();
  for (const machine of machines) {
    addMachine(machine);
    places.set(machine.name, makeRoot(folder, machine));
  }
  let meanwhile = null;
  for (const {names, way, text, prints} of blocks()) {
    console.log(`at ${names.join(' and ')}${way ? `, ${way}` : ''}:\n${text.replace(/^/gm, '    ').trimEnd()}`);
    if (way === 'meanwhile') {
      meanwhile = runAt(names[0], places.get(names[0]).top, text);
      continue;
    }
    if (way === 'when all is stored') {
      const {code, out, err} = await meanwhile;
      assert.deepEqual({code, out, err}, {code: 0, out: '', err: ''}, 'the loop has noticed something');
    }
    for (const name of names) {
      const {top, home} = places.get(name);
      const {code, out, err} = await runAt(name, top, text);
      assert.equal(code, 0, `${name}: ${err}${out}`);
      if (prints !== undefined) assert.equal(out, prints, `${name}: ${err}`);
      // The token goes to the user by hand.
      if (text.includes('token add')) copyFileSync(join(home, 'token'), join(places.get('front').home, 'token'));
    }
  }
  console.log('\nEach command of docs/cluster.md did what the page says.');
}

const folder = mkdtempSync(join(tmpdir(), 'korvane-guide-'));
let isGood = false;
try {
  await run(folder);
  isGood = true;
} catch (failure) {
  console.log(failure.message);
} finally {
  for (const {name} of machines) {
    try {
      sh('umount', '--recursive', '--lazy', join(folder, name));
    } catch {
      // It was not made.
    }
  }
  rmSync(folder, {recursive: true, force: true});
}
process.exit(isGood ? 0 : 1);
