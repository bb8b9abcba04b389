// What has changed between two revisions.

import assert from 'node:assert/strict';
import {describe, it} from 'node:test';

import {byRole, gone, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';
import {downloads} from './downloads.mjs';
import {addRevision} from './schedules.mjs';

const before = [{mark: '1', pieces: 4}, {mark: '2', diameter: 16, weight: 1.58}, {mark: '3', length: 2000, weight: 1.776}];
const after = [{mark: '1', pieces: 6}, {mark: '3', length: 2000, weight: 1.776}, {mark: '4', steel: 'B500A'}];

async function revisions(t) {
  const server = await startServer(t);
  await addRevision(server, 'hall.db', '12', 'a', before);
  await addRevision(server, 'hall.db', '12', 'b', after);
  await addRevision(server, 'hall.db', '12', 'c', after);
  return server;
}

const ofAandB = '#/projects/hall.db/compare?sheet=12&before=a&after=b';

function linesOf(page) {
  return page.$$eval('table.lines tbody', (bodies) => bodies.map((body) => body.innerText.replace(/\s+/g, ' ').trim()));
}

describe('A comparison', async () => {
  it('shows what was added, removed and changed, with both values', async (t) => {
    const page = await openPage(t, await startBrowser(t), await revisions(t), ofAandB);
    await seen(page, '3 of 3 lines are shown.');
    const lines = await linesOf(page);
    assert.match(lines.find((line) => line.includes('changed 1')), /Bars in all 4 6 \(\+2\)/);
    assert.match(lines.find((line) => line.includes('removed 2')), /Line 1 x ø16, 1000 mm, B500B/);
    assert.match(lines.find((line) => line.includes('added 4')), /Line 1 x ø12, 1000 mm, B500A/);
  });

  it('says what it means in kilograms, in all and by diameter', async (t) => {
    const page = await openPage(t, await startBrowser(t), await revisions(t), ofAandB);
    await seen(page, 'Difference in all: +1.08 kg');
    const rows = await page.$$eval('[role="region"][aria-label="Bars"] tbody tr', (found) =>
      found.map((row) => [...row.cells].map((cell) => cell.innerText)));
    assert.deepEqual(rows.find((row) => row[0] === '16'), ['16', 'B500B', '1', '0', '−1', '1.58', '0.00', '−1.58']);
  });

  it('shows both sketches of a line beside each other', async (t) => {
    const page = await openPage(t, await startBrowser(t), await revisions(t), ofAandB);
    await page.waitForFunction(() =>
      [...document.querySelectorAll('tbody.changed')].some((body) => body.querySelectorAll('img').length === 2));
    const images = await page.$$eval('tbody.changed img', (found) => found.map((image) => [image.alt, image.src.slice(0, 18)]));
    for (const [alt, source] of images) {
      assert.match(alt, /\w/);
      assert.equal(source, 'data:image/svg+xml');
    }
  });

  it('takes the last two revisions, and can be turned round', async (t) => {
    const page = await openPage(t, await startBrowser(t), await revisions(t), '#/projects/hall.db/compare');
    await seen(page, '12: Revision b → c');
    await (await byRole(page, 'button', 'Swap')).click();
    await seen(page, '12: Revision c → b');
    assert.equal(await page.evaluate(() => location.hash), '#/projects/hall.db/compare?sheet=12&before=c&after=b');
  });

  it('says so when nothing differs', async (t) => {
    const page = await openPage(t, await startBrowser(t), await revisions(t),
      '#/projects/hall.db/compare?before=b&after=c');
    await seen(page, 'Nothing differs');
  });

  it('is filtered by change and by text, and the address says how', async (t) => {
    const page = await openPage(t, await startBrowser(t), await revisions(t), ofAandB);
    await (await byRole(page, 'checkbox', '1 removed')).click();
    await seen(page, '2 of 3 lines are shown.');
    await (await byRole(page, 'searchbox', 'Find mark, field or value')).type('B500A');
    await seen(page, '1 of 3 lines are shown.');
    assert.match(await page.evaluate(() => location.hash), /show=added%2Cchanged&find=B500A$/);
    await page.reload();
    await seen(page, '1 of 3 lines are shown.');
    await gone(page, 'removed 2');
  });

  it('is saved as it is seen', async (t) => {
    const page = await openPage(t, await startBrowser(t), await revisions(t), `${ofAandB}&show=removed`);
    const files = await downloads(t, page);
    await (await byRole(page, 'button', 'Save as CSV')).click();
    const text = (await files.named('hall-12-a-b-compare.csv')).toString();
    assert.equal(text, 'kind,mark,change,field,before,after\r\nbars,2,removed,,"1 x ø16, 1000 mm, B500B",\r\n');
  });

  it('tells of a sheet with one revision that there is nothing to compare', async (t) => {
    const server = await startServer(t);
    await addRevision(server, 'one.db', '12', 'a', before);
    const page = await openPage(t, await startBrowser(t), server, '#/projects/one.db/compare');
    await seen(page, 'This sheet has one revision.');
  });

  it('shows hostile marks as text', async (t) => {
    const server = await startServer(t);
    const hostile = '<img src=x onerror=alert(1)>';
    await addRevision(server, 'odd.db', '1', 'a', before);
    await addRevision(server, 'odd.db', '1', 'b', [...before, {mark: hostile}, {mark: 'W'.repeat(10_000)}]);
    const page = await openPage(t, await startBrowser(t), server, '#/projects/odd.db/compare');
    await seen(page, hostile, 'table.lines');
    assert.equal(await page.$$eval('main img:not(.line-sketch)', (images) => images.length), 0);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
  });

  it('is read and seen by everybody, light and dark, in English and German', async (t) => {
    const server = await revisions(t);
    for (const [language, name] of [['en-GB', 'Compare'], ['de-DE', 'Vergleich']]) {
      const browser = await startBrowser(t, {language});
      for (const dark of [false, true]) {
        const page = await openPage(t, browser, server, ofAandB, {dark, width: 768});
        await seen(page, name, 'h1');
        await page.waitForSelector('img.line-sketch');
        await noViolations(page);
        await picture(page, `compare-${language}-${dark ? 'dark' : 'light'}`);
      }
    }
  });
});
