// The schedule of a revision: the grid, the panel of a line, corrections.

import assert from 'node:assert/strict';
import {writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {describe, it} from 'node:test';

import {run, Server, temporaryFolder, until} from '../clients/server.mjs';
import {byRole, click, clickAt, example, gone, importInto, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';

const bars = '#/projects/guideline.db/schedule/1/bars';

/** The texts of a column of the rows that are in the page, from above. */
function column(page, title) {
  return page.evaluate((wanted) => {
    const heads = [...document.querySelectorAll('[role=columnheader]')];
    const at = heads.findIndex((head) => head.querySelector('.grid-title bdi')?.textContent === wanted);
    return [...document.querySelectorAll('.grid-row')]
      .filter((row) => !row.classList.contains('group'))
      .sort((a, b) => a.getAttribute('aria-rowindex') - b.getAttribute('aria-rowindex'))
      .map((row) => row.children[at]?.textContent);
  }, title);
}

/** Waits until a column shows these texts. */
async function shows(page, title, texts) {
  for (const end = Date.now() + 15_000; ; await new Promise((resolve) => setTimeout(resolve, 50))) {
    const found = await column(page, title);
    if (JSON.stringify(found) === JSON.stringify(texts)) return;
    if (Date.now() > end) assert.deepEqual(found, texts);
  }
}

async function openLine(page, mark) {
  const cell = await page.waitForSelector(`::-p-xpath(//*[@role='gridcell'][normalize-space()='${mark}'])`);
  await cell.click();
  await seen(page, `Mark ${mark}`, '.panel');
  await page.waitForSelector('.panel img');
}

async function type(page, label, text) {
  const input = await byRole(page, 'textbox', label);
  await input.click({count: 3});
  await page.keyboard.press('Backspace');
  await input.type(text);
}

/** Sends an edit as another client does. */
async function edit(server, id, values) {
  const response = await fetch(`${server.url}/v1/projects/guideline.db/edit?id=${id}`, {
    method: 'POST', headers: {'Content-Type': 'application/json'}, body: JSON.stringify(values),
  });
  assert.equal(response.status, 200, await response.text());
}

async function start(t, address, options) {
  const server = await startServer(t);
  const page = await openPage(t, await startBrowser(t), server, address, options);
  await page.waitForSelector('.grid-row');
  return {server, page};
}

describe('The schedule of a revision', async () => {
  it('shows its bars with a sketch in every line, and counts the other kinds', async (t) => {
    const {page} = await start(t, bars);
    await seen(page, 'Sheet 417');
    await page.waitForFunction(() => {
      const rows = [...document.querySelectorAll('.grid-row')].slice(0, 5);
      return rows.length === 5 && rows.every((row) => row.querySelector('img.sketch')?.naturalWidth > 0);
    });
    assert.match(await page.$eval('.grid-row img.sketch', (image) => image.alt), /400 \(90°\) 600/);
    assert.match(await page.$eval('.tabs', (tabs) => tabs.innerText), /Bars\s+16\s+Fabrics\s+3/);
    await picture(page, 'schedule');
  });

  it('says which lines cannot be read, and shows the others', async (t) => {
    const {server, page} = await start(t, bars);
    await shows(page, 'mark', await column(page, 'mark'));
    const before = await column(page, 'mark');
    // It would hear of the change, and ask for the line that is damaged.
    await page.goto('about:blank');
    const damage = await run(['query', '--write', join(server.root, 'guideline.db'), "update rebar set raw = x'2905' where id = 2"]);
    assert.equal(damage.code, 0, damage.err);
    const again = await openPage(t, page.browser(), server, bars);
    await seen(again, 'Lines that cannot be read, and are missing here: 1 (rows 2)', '[role=alert]');
    await shows(again, 'mark', before.filter((_, i) => i !== 1));
    await picture(again, 'schedule-damaged');
  });

  it('sorts, filters and keeps both in the address', async (t) => {
    const {server, page} = await start(t, bars);
    await (await page.waitForSelector('[aria-label="Filter by mark"]')).type('10.');
    await shows(page, 'mark', ['10.1', '10.2', '10.3']);
    const title = '::-p-xpath(//button[starts-with(normalize-space(), "length")])';
    await clickAt(page, title);
    await page.waitForSelector('[aria-sort=ascending]');
    await clickAt(page, title);
    await shows(page, 'length', ['1,300', '1,000', '700']);
    assert.equal(await page.$eval('[aria-sort=descending]', (head) => head.innerText.split(/\s/)[0]), 'length');
    const again = await openPage(t, page.browser(), server, new URL(page.url()).hash);
    await again.waitForSelector('.grid-row');
    await shows(again, 'mark', ['10.3', '10.2', '10.1']);
  });

  it('filters numbers by limits and ranges, and by what is lacking', async (t) => {
    const {page} = await start(t, bars);
    const filter = await page.waitForSelector('[aria-label="Filter by length"]');
    for (const [typed, lengths] of [['>1500', ['500,000', '32,856', '45,398']], ['1200..1300', ['1,224', '1,300']], ['700', ['700']]]) {
      await filter.click({count: 3});
      await filter.type(typed);
      await shows(page, 'length', lengths);
    }
    await filter.click({count: 3});
    await filter.type('long');
    await page.waitForSelector('[aria-label="Filter by length"][aria-invalid="true"]');
    await click(page, 'button', 'Clear the filters');
    await click(page, 'button', '1 without a weight');
    await shows(page, 'weight', ['unknown']);
  });

  it('groups with sums that can be closed', async (t) => {
    const {page} = await start(t, bars);
    await page.select('.schedule-tools select', 'steel');
    await seen(page, 'B500A', '.grid-group');
    const [first, second] = await page.$$eval('.grid-group', (heads) => heads.map((head) => head.innerText.replace(/\s+/g, ' ')));
    assert.match(first, /steel B500A 15 rows 87 pieces 1,360\.1 m 1,207\.7 kg/);
    assert.match(second, /steel IV 1 row 1 piece 1\.3 m 1 without a weight/);
    await page.click('.grid-group');
    await page.waitForFunction(() => document.querySelectorAll('.grid-row:not(.group)').length === 1);
    assert.equal(await page.$eval('.grid-group', (head) => head.getAttribute('aria-expanded')), 'false');
  });

  it('says the sums of what is selected', async (t) => {
    const {page} = await start(t, `${bars}?f.label=10.`);
    await shows(page, 'mark', ['10.1', '10.2', '10.3']);
    const boxes = await page.$$('.grid-row .grid-box');
    await boxes[0].click();
    await page.keyboard.down('Shift');
    await boxes[1].click();
    await page.keyboard.up('Shift');
    await seen(page, '2 selected', '.grid-foot');
    assert.match(await page.$eval('.grid-foot', (foot) => foot.innerText.replace(/\s+/g, ' ')), /Selected: 2 lines 2 pieces 1\.7 m 1\.4 kg/);
    await page.click('[aria-label="Select all rows that are shown"]');
    await seen(page, '3 selected', '.grid-foot');
  });

  it('can be used by keyboard alone', async (t) => {
    const {page} = await start(t, bars);
    const focused = () => page.evaluate(() => {
      const row = document.activeElement.closest('[aria-rowindex]');
      return [row?.getAttribute('aria-rowindex'), document.activeElement.getAttribute('aria-colindex')].join();
    });
    await page.focus('[aria-label="Filter by mark"]');
    await page.keyboard.press('ArrowDown');
    assert.equal(await focused(), '3,2');
    await page.keyboard.press('ArrowDown');
    await page.keyboard.press('ArrowRight');
    assert.equal(await focused(), '4,3');
    await page.keyboard.down('Control');
    await page.keyboard.press('End');
    await page.keyboard.up('Control');
    assert.match(await focused(), /^18,/);
    await page.keyboard.press('Home');
    await page.keyboard.press('Space');
    await seen(page, '1 selected', '.grid-foot');
    await page.keyboard.press('Enter');
    await page.waitForSelector('.panel');
    await page.keyboard.press('Escape');
    await page.waitForFunction(() => !document.querySelector('.panel'));
    assert.match(await focused(), /^18,/);
    await page.keyboard.down('Control');
    await page.keyboard.press('Home');
    await page.keyboard.up('Control');
    await page.keyboard.press('ArrowUp');
    assert.equal(await page.evaluate(() => document.activeElement.className), 'grid-title');
    await page.keyboard.press('Enter');
    await page.waitForSelector('[aria-sort=ascending]');
  });

  it('shows columns that one adds', async (t) => {
    const {page} = await start(t, bars);
    await click(page, 'button', 'Columns …');
    await (await page.waitForSelector('::-p-xpath(//dialog//label[contains(., "BVBS record")])')).click();
    await click(page, 'button', 'Done');
    await page.waitForFunction(() => [...document.querySelectorAll('.grid-row bdi')].some((cell) => cell.textContent.startsWith('BF2D@')));
    assert.match(page.url(), /columns=[^&]*bvbs/);
  });

  it('shows all that is stored of a line', async (t) => {
    const {page} = await start(t, bars);
    await openLine(page, '10.2');
    const text = await page.$eval('.panel', (panel) => panel.innerText);
    for (const part of ['400 (90°) 600', '1,000 mm', 'B500A', 'BF2D@HjTestPDF@r417@ia@p10.2@']) assert.ok(text.includes(part), part);
    await picture(page, 'schedule-line');
  });

  it('turns a bar in space', async (t) => {
    const {page} = await start(t, `${bars}?line=14`, {mayFail: (text) => /GL Driver Message/.test(text)});
    await click(page, 'button', 'Turn in space');
    await page.waitForSelector('.space canvas');
    await byRole(page, 'button', 'From the front again');
    const shot = async () => (await (await page.$('.space-place')).screenshot({encoding: 'base64'}));
    const before = await shot();
    await page.focus('.space-place');
    for (let i = 0; i < 4; ++i) await page.keyboard.press('ArrowRight');
    await page.waitForFunction(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => done(true)))));
    assert.notEqual(await shot(), before);
    await picture(page, 'schedule-space');
    await page.keyboard.press('Escape');
    await page.waitForFunction(() => !document.querySelector('canvas'));
  });

  it('has only the rows in the page that are seen, of however many', async (t) => {
    const server = await startServer(t);
    const content = Array.from({length: 3000}, (_, i) => {
      const record = `BF2D@HjBig@r1@ia@p${i + 1}@l1000@n1@e0.888@d12@gB500A@s48@v@Gl400@w90@l600@w0@C`;
      return record + (96 - [...record].reduce((sum, letter) => sum + letter.charCodeAt(0), 0) % 32) + '@';
    });
    const file = join(temporaryFolder(t), 'big.abs');
    writeFileSync(file, content.join('\r\n') + '\r\n');
    await importInto(server.root, 'big.db', [file]);
    const page = await openPage(t, await startBrowser(t), server, '#/projects/big.db/schedule/1/bars');
    await seen(page, '3,000 rows', '.grid-foot');
    await page.focus('[aria-label="Filter by mark"]');
    await page.keyboard.press('ArrowDown');
    await page.keyboard.down('Control');
    await page.keyboard.press('End');
    await page.keyboard.up('Control');
    await page.waitForFunction(() => [...document.querySelectorAll('.grid-row bdi')].some((cell) => cell.textContent === '3000'));
    assert.ok(await page.$$eval('.grid-row', (rows) => rows.length) < 60);
    assert.equal(await page.$eval('[role=grid]', (grid) => grid.getAttribute('aria-rowcount')), '3002');
  });

  it('prints its rows as a table', async (t) => {
    const {page} = await start(t, bars);
    await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
    assert.equal(await page.$$eval('.grid-print tbody tr', (rows) => rows.length), 16);
    await page.evaluate(() => dispatchEvent(new Event('afterprint')));
    assert.equal(await page.$('.grid-print'), null);
    assert.ok((await page.pdf({format: 'A4', landscape: true})).length > 10_000);
  });

  it('shows hostile texts as texts', async (t) => {
    const server = await startServer(t);
    const comment = '<img src=x onerror=alert(1)><script>alert(2)</script> \u202Eabc ' + 'x'.repeat(10_000);
    await edit(server, 1, {comment, mark: '<b>\u202E1</b>'});
    const page = await openPage(t, await startBrowser(t), server, bars);
    await page.waitForSelector('.grid-row');
    await openLine(page, '<b>\u202E1</b>');
    await seen(page, '<script>alert(2)</script>', '.panel');
    assert.equal(await page.$('.grid-row b, .panel b, .schedule script'), null);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'it is wider than the window');
  });

  it('has nothing that axe finds fault with', async (t) => {
    for (const dark of [false, true]) {
      const {page} = await start(t, `${bars}?line=10&group=steel`, {dark});
      await page.waitForSelector('.panel img');
      await click(page, 'button', 'Correct …');
      await noViolations(page);
      await picture(page, `schedule-correct-${dark ? 'dark' : 'light'}`);
    }
  });
});

describe('A correction', async () => {
  it('is shown before it is stored, and is in the grid and in the file then', async (t) => {
    const {server, page} = await start(t, `${bars}?f.label=10.&sort=-length`);
    await openLine(page, '10.2');
    await click(page, 'button', 'Correct …');
    await type(page, 'pieces of a member', '7');
    await type(page, 'comment', 'seven of them');
    await click(page, 'button', 'Show what will change');
    await seen(page, 'pieces in all', '.changes');
    await click(page, 'button', 'Store');
    await page.waitForFunction(() => !document.querySelector('.correct'));
    await shows(page, 'pieces', ['1', '7', '1']);
    await shows(page, 'mark', ['10.3', '10.2', '10.1']);
    await seen(page, 'seven of them', '.panel');
    const {out} = await run(['show', join(server.root, 'guideline.db'), '--mark', '10.2', '--format', 'json']);
    const [bar] = JSON.parse(out).bars;
    assert.equal(bar.total_bars, 7);
    assert.equal(bar.comment, 'seven of them');
  });

  it('does not overwrite what another has changed meanwhile, and keeps what one has typed', async (t) => {
    const {server, page} = await start(t, bars, {mayFail: (text) => /40[49]|412/.test(text)});
    await openLine(page, '10.2');
    await click(page, 'button', 'Correct …');
    await type(page, 'comment', 'mine');
    await click(page, 'button', 'Show what will change');
    await byRole(page, 'button', 'Store');
    const lines = await (await fetch(`${server.url}/v1/projects/guideline.db/lines?revision_id=1&kind=bars&fields=label`)).json();
    await edit(server, lines.ids[lines.rows.findIndex(([mark]) => mark === '10.2')], {comment: 'theirs', member: 'wall'});
    await click(page, 'button', 'Store');
    await seen(page, 'Somebody has changed this revision meanwhile', '.correct');
    await seen(page, 'theirs', '.correct .now');
    await seen(page, 'wall', '.correct .now');
    assert.equal(await page.$eval('[id="field-comment"]', (input) => input.value), 'mine');
    await click(page, 'button', 'Show what will change');
    await seen(page, 'theirs', '.changes');
    await click(page, 'button', 'Store');
    await page.waitForFunction(() => !document.querySelector('.correct'));
    await seen(page, 'mine', '.panel');
    await seen(page, 'wall', '.panel');
  });

  it('says what the server refuses, in its words', async (t) => {
    const {page} = await start(t, bars, {mayFail: (text) => /400/.test(text)});
    await openLine(page, '10.1');
    await click(page, 'button', 'Correct …');
    await type(page, 'diameter mm', 'thick');
    await click(page, 'button', 'Show what will change');
    await seen(page, 'bar_diameter: expected a number, found text', '.correct');
  });

  it('asks before what is typed is left', async (t) => {
    const {page} = await start(t, bars);
    await openLine(page, '10.1');
    await click(page, 'button', 'Correct …');
    await type(page, 'comment', 'not yet');
    const asked = [];
    page.on('dialog', async (dialog) => {
      asked.push(dialog.message());
      await (asked.length === 1 ? dialog.dismiss() : dialog.accept());
    });
    await click(page, 'link', 'Weights');
    await until(() => asked.length === 1, 'the question');
    await page.waitForFunction(() => location.hash.includes('/schedule/'));
    assert.equal(await page.$eval('[id="field-comment"]', (input) => input.value), 'not yet');
    await click(page, 'link', 'Weights');
    await until(() => asked.length === 2, 'the second question');
    await page.waitForFunction(() => location.hash.includes('/weights'));
    await gone(page, 'Correct the bar');
  });

  it('is not offered to those who may only read', async (t) => {
    const folder = temporaryFolder(t);
    const tokens = join(folder, 'tokens.json');
    const added = await run(['token', 'add', '--tokens', tokens, 'reader', '--scope', 'read']);
    assert.equal(added.code, 0, added.err);
    const root = temporaryFolder(t);
    await importInto(root, 'guideline.db', [example]);
    const server = await Server.start(t, root, '--tokens', tokens);
    const page = await openPage(t, await startBrowser(t), server, '#/', {mayFail: (text) => /401/.test(text)});
    await page.evaluate((token) => sessionStorage.setItem('korvane-token', token), added.out.trim().split(/\s+/).at(-1));
    await page.goto(`${server.url}/${bars}`);
    await page.reload();
    await page.waitForSelector('.grid-row');
    await openLine(page, '10.1');
    assert.equal(await page.$('::-p-xpath(//button[contains(., "Correct")])'), null);
  });
});
