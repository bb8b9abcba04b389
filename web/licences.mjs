// Writes LICENCES.md: the packages that become part of the built page, with their licences' texts.
// With --check it only says whether the file is true.

import {readdirSync, readFileSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const file = join(here, 'LICENCES.md');

/** The package and all that it needs, by name. */
function gather(name, found) {
  if (found.has(name)) return found;
  const folder = join(here, 'node_modules', name);
  const description = JSON.parse(readFileSync(join(folder, 'package.json'), 'utf8'));
  const text = readdirSync(folder).find((one) => /^licen[cs]e/i.test(one));
  if (!text) throw new Error(`${name} comes without the text of its licence`);
  found.set(name, {...description, text: readFileSync(join(folder, text), 'utf8').trim()});
  for (const needed of Object.keys(description.dependencies ?? {})) gather(needed, found);
  return found;
}

const packages = new Map();
for (const name of Object.keys(JSON.parse(readFileSync(join(here, 'package.json'), 'utf8')).dependencies)) {
  gather(name, packages);
}
const sorted = [...packages.values()].sort((one, other) => (one.name < other.name ? -1 : 1));
const lines = [
  '# Licences of what the page is made with', '',
  'Written by `npm run licences` from the packages themselves.', '',
  '| Package | Version | Licence |', '|---|---|---|',
  ...sorted.map((one) => `| ${one.name} | ${one.version} | ${one.license} |`), '',
];
for (const one of sorted) lines.push(`## ${one.name}`, '', '```', one.text, '```', '');
const content = lines.join('\n');

if (!process.argv.includes('--check')) {
  writeFileSync(file, content);
} else if (readFileSync(file, 'utf8') !== content) {
  console.error('LICENCES.md is not that of the packages: npm run licences');
  process.exit(1);
}
