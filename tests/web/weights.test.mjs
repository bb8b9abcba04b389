// What a project weighs.

import assert from 'node:assert/strict';
import {describe, it} from 'node:test';

import {byRole, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';
import {downloads} from './downloads.mjs';

const all = '#/projects/guideline.db/weights';

function rowsOf(page, section) {
  return page.$$eval(`[role="region"][aria-label="${section}"] tr`, (rows) =>
    rows.map((row) => [...row.cells].map((cell) => cell.innerText)));
}

describe('Weights', async () => {
  it('are given by diameter and steel, with their sums', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), all);
    await seen(page, 'All together: 2,543.95 kg');
    const rows = await rowsOf(page, 'Bars');
    assert.deepEqual(rows[2].slice(0, 6), ['12', 'B500A', '15', '87', '1,360.09', '1,207.65']);
    assert.deepEqual(rows.at(-1).slice(0, 5), ['Sum', '16', '88', '1,361.42', '1,207.65']);
  });

  it('say what has none, and leave its estimate out of the sum', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), all);
    await seen(page, '1 mark has no weight and is not among the kilograms.');
    await seen(page, 'they are estimated at 0.82 kg, which is not added in.');
    assert.deepEqual((await rowsOf(page, 'Bars'))[1].slice(5), ['unknown', '1', '≈ 0.82']);
  });

  it('of one revision stand in an address of their own', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), all);
    const sheet = await byRole(page, 'combobox', 'Sheet');
    await sheet.select('2');
    const revision = await byRole(page, 'combobox', 'Revision');
    await revision.select('1');
    await seen(page, 'All together: 2,294.35 kg');
    assert.equal(await page.evaluate(() => location.hash), '#/projects/guideline.db/weights?sheet=417&revision=a');
    await page.reload();
    await seen(page, 'All together: 2,294.35 kg');
  });

  it('of a revision without a name can be addressed as well', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), `${all}?sheet=417&revision=id%3A2`);
    await seen(page, 'All together: 249.60 kg');
  });

  it('are a chart that says its values in words and hatches each steel in its own way', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), all);
    const chart = await byRole(page, 'image', 'Bars: kilograms');
    const text = await chart.evaluate((svg) => svg.textContent);
    assert.match(text, /ø 12 · B500A1,207\.65 kg/);
    assert.match(text, /ø 10 · IVweight unknown, estimated 0\.82 kg/);
    const hatchings = await chart.$$eval('pattern path', (paths) => paths.map((path) => path.getAttribute('d')));
    assert.equal(new Set(hatchings).size, hatchings.length);
    assert.ok(hatchings.length >= 2);
  });

  it('are saved as they are seen', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), `${all}?sheet=417&revision=a`);
    const files = await downloads(t, page);
    await (await byRole(page, 'button', 'Save as CSV')).click();
    const text = (await files.named('guideline-417-a-weights.csv')).toString();
    assert.match(text, /^bars,10,,,IV,1,1,1\.334,,1,0\.822/m);
    assert.match(text, /^fabrics,,Q257,,B500A,1,10,,352\.8,0,0\r$/m);
  });

  it('are read and seen by everybody, light and dark, in English and German', async (t) => {
    const server = await startServer(t);
    for (const [language, name] of [['en-GB', 'Weights'], ['de-DE', 'Gewichte']]) {
      const browser = await startBrowser(t, {language});
      for (const dark of [false, true]) {
        const page = await openPage(t, browser, server, all, {dark, width: 768});
        await seen(page, name, 'h1');
        await seen(page, 'B500A', 'table');
        await noViolations(page);
        await picture(page, `weights-${language}-${dark ? 'dark' : 'light'}`);
      }
    }
  });
});
