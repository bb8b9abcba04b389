// Clients of a set of projects: each has one connection, which it keeps, and makes one call after the
// other. What each saw of each project is kept, for judging later.

import {Agent, request} from 'node:http';
import {hrtime} from 'node:process';

export const now = () => Number(hrtime.bigint() / 1000n) / 1000;  // milliseconds

const pause = (milliseconds) => new Promise((resolve) => { setTimeout(resolve, milliseconds); });

/** Numbers from 0 to 1, the same for the same seed. */
export function randomFrom(seed) {
  let state = seed >>> 0;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return state / 4294967296;
  };
}

const kLongestAttempt = 20_000;
/** For so long a request that may be repeated is repeated. */
const kPatience = 60_000;

/** One HTTP request. Never throws: `status` is null where no whole answer came. */
function attempt(agent, url, {method, path, headers, body}) {
  return new Promise((resolve) => {
    const begin = now();
    const done = (answer) => resolve({begin, end: now(), ...answer});
    const asked = request(url + path, {agent, method, headers, timeout: kLongestAttempt}, (reply) => {
      const pieces = [];
      reply.on('data', (piece) => pieces.push(piece));
      reply.on('error', ({code}) => done({status: null, what: code}));
      reply.on('end', () => done({
        status: reply.statusCode, server: reply.headers['korvane-server'] ?? null, headers: reply.headers,
        body: Buffer.concat(pieces).toString(),
      }));
    });
    asked.on('timeout', () => asked.destroy(Object.assign(new Error(), {code: 'no answer in time'})));
    asked.on('error', ({code}) => done({status: null, what: code}));
    asked.end(body);
  });
}

const mayPass = ({status, headers}) => status === null || status === 429 || status >= 500 ||
  (status === 409 && headers['retry-after'] !== undefined);

/** What failed, for the list of failures. */
function nameOf({status, what, server, body}) {
  if (status === null) return {ECONNRESET: 'closed without an answer'}[what] ?? what;
  const detail = server ? JSON.parse(body || '{}').detail ?? '' : 'no server answers, or it was given up';
  return `${status} by ${server ?? 'the balancer'}: ${detail}`.replace(/\d{2,}|"[^"]*"/g, '…');
}

/** What happened to a project, by all clients. */
class Story {
  /** Of the register: the name of revision 1. */
  history = [];
  /** Of the list of mounting parts, by mark. */
  additions = [];
  reads = [];
  /** Of bars and sheets, which are only counted at the end. */
  bars = [];
  sheets = [];
}

export class Clients {
  constructor({url, tokens, projects, count, seed, host = 'cad.example', kinds = works}) {
    Object.assign(this, {url, tokens, projects, count, seed, host, kinds});
    this.stories = new Map(projects.map((file) => [file, new Story()]));
    /** Every attempt that failed. */
    this.failures = [];
    /** What no repetition can mend: the run has failed. */
    this.faults = [];
    /** Calls by kind. */
    this.calls = new Map();
    this.answered = 0;
    this.begun = [];
    this.longest = 0;
    this.isStopping = false;
    this.numbers = 0;
    this.most = Infinity;
  }

  /** Lets all clients work until `stop`. */
  start() {
    this.working = Promise.all(Array.from({length: this.count}, (_, i) => this.#work(i)));
  }

  /** Lets one client make so many calls. */
  async callTimes(calls) {
    this.most = calls;
    await this.#work(0);
  }

  async stop() {
    this.isStopping = true;
    await this.working;
  }

  /** A call from beginning to end, repeated where it may be. Gives the last answer with the time of the
   * first attempt as its begin. */
  async call(agent, token, {method = 'POST', file, operation, query = '', sent, key, mayRepeat = method === 'GET'}) {
    const isRepeatable = mayRepeat || key !== undefined;
    const headers = {
      Host: this.host, Authorization: `Bearer ${token}`,
      ...(sent === undefined ? {} : {'Content-Type': 'application/json'}),
      ...(key === undefined ? {} : {'Idempotency-Key': key}),
    };
    const path = operation === undefined ? '/v1/projects' : `/v1/projects/${encodeURIComponent(file)}/${operation}${query}`;
    const body = sent === undefined ? undefined : JSON.stringify(sent);
    const first = now();
    for (let wait = 100; ; wait = Math.min(2 * wait, 1000)) {
      const answer = await attempt(agent, this.url, {method, path, headers, body});
      this.begun.push(answer.begin);
      this.longest = Math.max(this.longest, answer.end - answer.begin);
      if (answer.status === 200) {
        this.answered += 1;
        return {...answer, begin: first};
      }
      if (!mayPass(answer)) {
        this.faults.push(`${method} ${path}: ${answer.status} ${answer.body}`);
        return {...answer, begin: first};
      }
      const {begin, end, status, server = null} = answer;
      this.failures.push({begin, end, status, server, what: nameOf(answer), operation, file, isRepeatable});
      if (!isRepeatable || now() - first > kPatience) return {...answer, begin: first};
      await pause(wait);
    }
  }

  async #work(number) {
    const agent = new Agent({keepAlive: true, maxSockets: 1});
    const token = this.tokens[number % this.tokens.length];
    const random = randomFrom(this.seed * 1000 + number);
    const kinds = Object.entries(this.kinds);
    const all = kinds.reduce((sum, [, {share}]) => sum + share, 0);
    while (!this.isStopping && this.numbers < this.most) {
      // A tenth of the projects has half of the calls, so that clients meet.
      const most = random() < 0.5 ? Math.ceil(this.projects.length / 10) : this.projects.length;
      const file = this.projects[Math.floor(random() * most)];
      let place = random() * all;
      const [name, {run}] = kinds.find(([, {share}]) => (place -= share) < 0);
      this.calls.set(name, (this.calls.get(name) ?? 0) + 1);
      const value = `${number}-${this.numbers += 1}`;
      await run({
        story: this.stories.get(file), file, value, key: `key-${value}`,
        call: (options) => this.call(agent, token, {file, ...options}),
      });
    }
    agent.destroy();
  }

  /** Makes the projects: revision 1 named "none", and a material. */
  async makeProjects() {
    const agent = new Agent({keepAlive: true, maxSockets: 8});
    const make = async (file) => {
      const steps = [
        {operation: 'create_sheet', query: '?create=true', sent: {name: 'plan'}},
        {operation: 'create_revision', sent: {sheet_id: 1, name: 'none'}},
        {operation: 'create_material', sent: {identity: {name: 'B500B'}}},
      ];
      for (const [i, step] of steps.entries()) {
        await this.call(agent, this.tokens[0], {file, key: `make-${i}`, ...step});
      }
    };
    const left = [...this.projects];
    await Promise.all(Array.from({length: 8}, async () => {
      while (left.length > 0) await make(left.pop());
    }));
    agent.destroy();
    if (this.failures.length > 0) throw new Error(JSON.stringify(this.failures[0]));
  }

  /** Reads the register and the list of each project once more. */
  async readAll() {
    const agent = new Agent({keepAlive: true, maxSockets: 1});
    for (const file of this.projects) {
      const call = (options) => this.call(agent, this.tokens[0], {file, ...options});
      for (const work of ['get_revision', 'marks']) await works[work].run({story: this.stories.get(file), call});
    }
    agent.destroy();
  }
}

const requestOf = (sent) => `?request=${encodeURIComponent(JSON.stringify(sent))}`;
const ended = ({status, end}) => (status === 200 ? end : Infinity);

async function setName({story, value, call}, key) {
  const sent = {id: 1, sheet_id: 1, name: value};
  const reply = await call({operation: 'update_revision', sent, key});
  story.history.push({kind: 'write', value, begin: reply.begin, end: ended(reply), server: reply.server});
}

async function addPart({story, value, call}, key) {
  const sent = {items: [{rev_id: 1, mark: value, quantity: 1, material_id: 1}]};
  const reply = await call({operation: 'add_mountingpart', sent, key});
  story.additions.push({value, begin: reply.begin, end: ended(reply), server: reply.server});
}

const marksQuery = {kind: 'sql:raw', params: {query: {value_string: 'select mark from mountingpart'}}};
const bar = {
  rev_id: 1, material_id: 1, total_bars: 12, bar_diameter: 16, total_length: 37200,
  geometry: {objects: [{type: 'kLine', length: 3100}]},
};

/** What clients do, and how often. */
export const works = {
  get_revision: {
    share: 22,
    async run({story, call}) {
      const reply = await call({method: 'GET', operation: 'get_revision', query: requestOf({id: 1})});
      if (reply.status !== 200) return;
      const {begin, end, server, body} = reply;
      story.history.push({kind: 'read', value: JSON.parse(body).name, begin, end, server});
    },
  },
  update_revision: {share: 13, run: (work) => setName(work, work.key)},
  'update_revision without a key': {share: 5, run: (work) => setName(work)},
  add_mountingpart: {share: 12, run: (work) => addPart(work, work.key)},
  'add_mountingpart without a key': {share: 6, run: (work) => addPart(work)},
  marks: {
    share: 8,
    async run({story, call}) {
      const reply = await call({method: 'GET', operation: 'query_table', query: requestOf(marksQuery)});
      if (reply.status !== 200) return;
      const values = new Set(JSON.parse(reply.body).rows.map(([cell]) => cell.value_string));
      story.reads.push({values, begin: reply.begin, end: reply.end});
    },
  },
  add_rebar: {
    share: 8,
    async run({story, value, key, call}) {
      // What ends it shares a row with others like it, which the store looks for before it writes.
      const end = {type: 'coupler', manufacturer: 'any', diameter: 12};
      const reply = await call({operation: 'add_rebar', key, sent: {items: [{...bar, mark: value, end_treatment_start: end}]}});
      story.bars.push({value, end: ended(reply)});
    },
  },
  create_sheet: {
    share: 4,
    async run({story, value, key, call}) {
      const reply = await call({operation: 'create_sheet', key, sent: {uid: value, name: value}});
      story.sheets.push({value, end: ended(reply)});
    },
  },
  lines: {
    share: 10,
    run: ({call}) => call({method: 'GET', operation: 'lines', query: '?kind=bars&revision_id=1&limit=20'}),
  },
  contents: {share: 4, run: ({call}) => call({method: 'GET', operation: 'contents'})},
  totals: {share: 4, run: ({call}) => call({method: 'GET', operation: 'totals'})},
  export: {share: 2, run: ({call}) => call({method: 'GET', operation: 'export', query: '?format=ndjson'})},
  projects: {share: 1, run: ({call}) => call({method: 'GET', operation: undefined})},
};
