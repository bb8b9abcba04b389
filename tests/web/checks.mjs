// What holds for every view.

import assert from 'node:assert/strict';
import {createRequire} from 'node:module';

const axe = createRequire(import.meta.url).resolve('axe-core/axe.min.js');

/** Fails with what axe-core finds on the page as it is. */
export async function noViolations(page) {
  if (!(await page.evaluate(() => 'axe' in window))) {
    // The page's policy refuses scripts in its text; one that comes by the debugger's way is not of the page.
    const {readFileSync} = await import('node:fs');
    await page.evaluate(readFileSync(axe, 'utf8'));
  }
  const violations = await page.evaluate(async () => (await window.axe.run()).violations.map((one) =>
    `${one.id}: ${one.nodes.map((node) => node.html).join(' | ')}`));
  assert.deepEqual(violations, []);
}
