// Schedules for tests, as a bender's file has them.

import {writeFileSync} from 'node:fs';
import {join} from 'node:path';

import {importInto} from './browser.mjs';

/** A record with its checksum: what makes the sum of all bytes up to "@C" right. */
function record(fields) {
  const text = `${fields}@C`;
  const sum = [...Buffer.from(text, 'latin1')].reduce((all, byte) => all + byte, 0);
  return `${text}${96 - (sum % 32)}@\r\n`;
}

/** A straight bar. A weight of 0 is none. */
export function bar({mark, pieces = 1, diameter = 12, steel = 'B500B', length = 1000, weight = 0.888}) {
  return record(`BF2D@Hj@r@i@p${mark}@l${length}@n${pieces}@e${weight}@d${diameter}@g${steel}@s48@v@Gl${length}@w0`);
}

/** Imports bars as a revision of a sheet into a project of the server's folder. */
export async function addRevision(server, project, sheet, revision, bars) {
  const file = join(server.root, `${sheet}-${revision}.abs`);
  writeFileSync(file, bars.map(bar).join(''), 'latin1');
  await importInto(server.root, project, [file], '--sheet', sheet, '--revision', revision);
}
