// What happens to servers while they are used, and how it ends again.

import {pullCable, plugCable} from './machines.mjs';

const pause = (seconds) => new Promise((resolve) => { setTimeout(resolve, 1000 * seconds); });

async function startAgain(server, ended) {
  const way = await ended;
  await server.start();
  return way;
}

/** Each gives what is to be known of how it went. */
export const events = {
  kill: {
    title: 'killed (SIGKILL), started again after 4 s',
    async run(server) {
      await server.stop('SIGKILL');
      await pause(4);
      await server.start();
    },
  },
  term: {
    title: 'stopped (SIGTERM), started again when it has ended',
    async run(server) {
      const way = await startAgain(server, server.stop('SIGTERM'));
      if (way !== 0) throw new Error(`${server.name} ended with ${way} after SIGTERM`);
    },
  },
  cut: {
    title: 'cut off from the balancer (link down) for 7 s',
    async run(server) {
      pullCable(server.name);
      await pause(7);
      plugCable(server.name);
    },
  },
  freeze: {
    title: 'frozen (SIGSTOP) for 6 s',
    async run(server) {
      server.signal('SIGSTOP');
      await pause(6);
      server.signal('SIGCONT');
    },
  },
  stall: {
    title: 'cut off from its storage (which hangs) for 6 s',
    async run(server) {
      server.storage.signal('SIGSTOP');
      await pause(6);
      server.storage.signal('SIGCONT');
    },
  },
};

/** One event after the other on one server after the other, `every` so many seconds, as long as
 * `isTime`. Each is given to `onBegin`, and with how it went to `onEnd` when the next begins. */
export async function happen({servers, kinds, every, isTime, balancer, onBegin, onEnd}) {
  await pause(every);
  for (let number = 0; isTime(); ++number) {
    const server = servers[number % servers.length];
    // Each kind meets each server.
    const kind = kinds[(number + Math.floor(number / servers.length / kinds.length)) % kinds.length];
    const event = {number, kind, server: server.name};
    onBegin(event);
    const end = pause(every);
    await events[kind].run(server);
    await balancer.until(server.name, 'UP');
    await end;
    onEnd(event);
  }
}
