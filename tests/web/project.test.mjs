// A project: sheets and revisions, catalogues, what is stored of it.

import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {describe, it} from 'node:test';

import {click, drop, example, gone, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';

async function open(t, address = '#/projects/guideline.db', options = {}) {
  const server = await startServer(t);
  const page = await openPage(t, await startBrowser(t), server, address, options);
  return {server, page};
}

async function post(server, project, operation, record) {
  const reply = await fetch(`${server.url}/v1/projects/${encodeURIComponent(project)}/${operation}?create=true`, {
    method: 'POST', headers: {'Content-Type': 'application/json', Accept: 'application/json'}, body: JSON.stringify(record),
  });
  assert.equal(reply.status, 200, await reply.clone().text());
  return reply.json();
}

const text = (value) => ({value_string: value});

describe('A project', () => {
  it('shows its sheets and revisions with their counts, and folds them by the keyboard', async (t) => {
    const {page} = await open(t);
    await seen(page, '417', '.sheet-name');
    const rows = await page.$$eval('.sheets-table tbody tr:not(.sheet-row)', (all) =>
      all.map((row) => [...row.querySelectorAll('td')].map((cell) => cell.innerText.split('\n')[0])));
    assert.deepEqual(rows, [
      ['16', '3', '0', '0', '19', '118', '2,294.4'], ['0', '0', '2', '0', '2', '155', '249.6']]);
    await seen(page, '1 mark without weight', '.sheets-table');
    await noViolations(page);
    await picture(page, 'project');
    await page.focus('.sheet-name');
    await page.keyboard.press('Enter');
    await gone(page, 'Bending list');
    await page.keyboard.press('Space');
    await seen(page, 'Bending list');
  });

  it('links each revision to its views', async (t) => {
    const {page} = await open(t);
    await seen(page, '417', '.sheet-name');
    const links = await page.$$eval('.sheets-table tbody tr:last-child a', (all) =>
      all.map((link) => [link.innerText, link.getAttribute('href').replace(/(schedule\/|%3A)\d+/g, '$1N')]));
    assert.deepEqual(links.map(([, href]) => decodeURIComponent(href)), [
      '#/projects/guideline.db/schedule/N/bar_spacers', '#/projects/guideline.db/weights?sheet=417&revision=id:N',
      '#/projects/guideline.db/compare?sheet=417&before=a&after=id:N',
      '#/projects/guideline.db/paper?sheet=417&revision=id:N']);
  });

  it('says of each steel and fabric type what is stored and which revisions use it', async (t) => {
    const {server, page} = await open(t, '#/projects/guideline.db?part=record');
    await seen(page, 'TestPDF');
    await post(server, 'guideline.db', 'create_material', {identity: {name: 'B500B'}, physical: {density: 7850}});
    await page.reload();
    await click(page, 'link', 'Catalogues');
    await seen(page, 'B500B');
    const entries = await page.$$eval('.catalogue-entry summary', (all) => all.map((one) => one.innerText.replace(/\s+/g, ' ')));
    assert.ok(entries.some((one) => one.startsWith('B500A') && one.includes('in 1 revision')), entries.join('; '));
    assert.ok(entries.some((one) => one.startsWith('B500B') && one.includes('not used')), entries.join('; '));
    for (const entry of await page.$$('.catalogue-entry')) {
      await (await entry.$('summary')).click();
      // What opens moves the entries below it.
      await entry.waitForSelector('.catalogue-body');
    }
    await seen(page, '7,850', '.catalogue-body');
    await seen(page, 'Sheet 417, Revision a', '.catalogue-body a');
    await noViolations(page);
    await picture(page, 'catalogues');
  });

  it('shows every property by its kind', async (t) => {
    const {server, page} = await open(t, '#/');
    await seen(page, 'guideline.db');
    await post(server, 'properties.db', 'update_project', {item: {properties: {
      'site <b>': text('Zürich'), floors: {value_int32: 12}, height: {value_double: 36.25}, open: {bool_: true},
      logo: {value_blob: Buffer.from('hello').toString('base64')}, empty: text(''),
    }}});
    await page.evaluate(() => { location.hash = '#/projects/properties.db?part=record'; });
    await seen(page, 'Zürich');
    const fields = Object.fromEntries(await page.$$eval('.record .record .record-field', (all) =>
      all.map((one) => [one.querySelector('dt').innerText, one.querySelector('dd').innerText.replace(/\s+/g, ' ')])));
    assert.deepEqual(fields, {
      'site <b>': 'Zürich text', floors: '12 whole number', height: '36.25 decimal number', open: 'yes yes or no',
      logo: '5 B Save data data', empty: '"" text',
    });
    await noViolations(page);
  });

  it('shows hostile names as text, and they neither widen the page nor turn what is beside them', async (t) => {
    const {server, page} = await open(t, '#/');
    await seen(page, 'guideline.db');
    const names = ['<script>document.title="hit"</script>', '\u202Eright to left', 'w'.repeat(10_000), '"><img src=x>'];
    for (const name of names) {
      const {id} = await post(server, 'hostile.db', 'create_sheet', {name, comment: name});
      await post(server, 'hostile.db', 'create_revision', {name, sheet_id: id});
    }
    await page.evaluate(() => { location.hash = '#/projects/hostile.db'; });
    await seen(page, '<script>document.title', '.sheet-name');
    const found = await page.evaluate(() => {
      const main = document.querySelector('main');
      return {
        isWide: main.scrollWidth > main.clientWidth + 1 || document.documentElement.scrollHeight > innerHeight,
        title: document.title, images: main.querySelectorAll('img').length,
        outside: [...main.querySelectorAll('.sheet-name, .revision-name')].filter((one) => !one.querySelector('bdi')).length,
      };
    });
    assert.deepEqual(found, {isWide: false, title: 'hostile.db – korvane', images: 0, outside: 0});
    await click(page, 'button', 'Fields');
    await seen(page, 'unique name', 'dialog');
    await noViolations(page);
  });

  it('finds a sheet among many by its name', async (t) => {
    const {server, page} = await open(t, '#/');
    await seen(page, 'guideline.db');
    for (let i = 1; i <= 60; i += 1) await post(server, 'many.db', 'create_sheet', {name: `S-${i}`});
    await page.evaluate(() => { location.hash = '#/projects/many.db'; });
    await seen(page, '1 to 30 of 60');
    await click(page, 'button', 'Next');
    await seen(page, '31 to 60 of 60');
    await page.type('input[type=search]', 's-17');
    await seen(page, '1 sheet', '[role=status]');
    assert.equal((await page.$$('.sheet-row')).length, 1);
    assert.match(await page.evaluate(() => location.hash), /find=s-17/);
  });

  it('takes files that are dropped on it, and shows what came', async (t) => {
    const {server, page} = await open(t, '#/');
    await seen(page, 'guideline.db');
    await post(server, 'empty.db', 'update_project', {item: {properties: {}}});
    await page.evaluate(() => { location.hash = '#/projects/empty.db'; });
    await seen(page, 'There is no sheet in it yet.');
    await drop(page, '.project', [{name: 'guideline.abs', bytes: readFileSync(example)}]);
    await click(page, 'button', 'Import 1 file');
    await seen(page, 'is stored', 'dialog');
    await click(page, 'button', 'Close');
    await seen(page, '417', '.sheet-name');
  });

  for (const {language, dark, width} of [
    {language: 'en-GB', dark: false, width: 768}, {language: 'de-DE', dark: true, width: 768}]) {
    it(`fits on a tablet: ${language}`, async (t) => {
      const server = await startServer(t);
      const page = await openPage(t, await startBrowser(t, {language}), server, '#/projects/guideline.db', {dark, width, touch: true});
      await seen(page, '417');
      const isWide = await page.$eval('main', (main) => main.scrollWidth > main.clientWidth + 1);
      assert.equal(isWide, false);
      const small = await page.$$eval('main a, main button, main input', (all) => all
        .filter((one) => one.offsetParent !== null && one.getBoundingClientRect().height < 43.5).map((one) => one.outerHTML));
      assert.deepEqual(small, []);
      await noViolations(page);
      await picture(page, `project-${language}`);
    });
  }
});
