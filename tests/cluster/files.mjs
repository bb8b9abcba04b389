// The project files afterwards, read by SQLite itself, without a server.

import {execFile} from 'node:child_process';
import {join} from 'node:path';
import {promisify} from 'node:util';

const run = promisify(execFile);
const kMostOutput = 256 << 20;

/** By table, how often each name is in it. */
const kQuery = [['mountingpart', 'mark'], ['rebar', 'mark'], ['sheet', 'uid']]
  .map(([table, column]) => `select '${table}' as place, ${column} as name, count(*) as times from ${table} group by ${column}`)
  .join(' union all ');

async function rowsOf(file) {
  const {stdout} = await run('sqlite3', ['-readonly', '-json', file, kQuery], {maxBuffer: kMostOutput});
  const places = {mountingpart: new Map(), rebar: new Map(), sheet: new Map()};
  for (const {place, name, times} of JSON.parse(stdout || '[]')) places[place].set(name, times);
  return places;
}

/** What was added against what is there. */
function compared(file, what, added, times, isOther = () => false) {
  const faults = [];
  const known = new Set();
  for (const {value, end} of added) {
    known.add(value);
    const found = times.get(value) ?? 0;
    if (end !== Infinity && found === 0) faults.push(`${file}: ${what} ${value} was acknowledged and is not there`);
    if (found > 1) faults.push(`${file}: ${what} ${value} is there ${found} times`);
  }
  for (const name of times.keys()) {
    if (!known.has(name) && !isOther(name)) faults.push(`${file}: nobody has sent ${what} ${name}`);
  }
  return faults;
}

/** Gives {faults, counted}: all that is not as the stories say. */
export async function compareFiles(folder, stories) {
  const faults = [];
  const counted = {acknowledged: 0, unanswered: 0, unansweredAndThere: 0};
  for (const [file, {additions, bars, sheets}] of stories) {
    const {mountingpart, rebar, sheet} = await rowsOf(join(folder, file));
    // The project's own sheet has a uid that the store has made.
    const ownUid = [...sheet.keys()].find((uid) => !sheets.some(({value}) => value === uid));
    faults.push(
      ...compared(file, 'mounting part', additions, mountingpart),
      ...compared(file, 'bar', bars, rebar),
      ...compared(file, 'sheet', sheets, sheet, (uid) => uid === ownUid));
    for (const [added, times] of [[additions, mountingpart], [bars, rebar], [sheets, sheet]]) {
      for (const {value, end} of added) {
        if (end !== Infinity) counted.acknowledged += 1;
        else counted[times.has(value) ? 'unansweredAndThere' : 'unanswered'] += 1;
      }
    }
  }
  return {faults, counted};
}

/** What `korvane check` finds wrong, if anything. */
export async function checkFiles(program, folder, files) {
  const {code, stdout, stderr} = await run(program, ['check', ...files.map((file) => join(folder, file))],
    {maxBuffer: kMostOutput}).catch((failure) => failure);
  return code ? [`korvane check says ${code}: ${stdout}${stderr}`] : [];
}
