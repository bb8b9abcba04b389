// Asking a project by SQL.

import assert from 'node:assert/strict';
import {describe, it} from 'node:test';

import {byRole, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';
import {downloads} from './downloads.mjs';

const view = '#/projects/guideline.db/sql';
const refused = {mayFail: (text) => /status of (400|403|406|422)/.test(text)};

function asking(query) {
  return `${view}?${new URLSearchParams({query})}`;
}

/** Types into the editor, in place of what is there. */
async function write(page, query) {
  const content = await page.waitForSelector('>>> .cm-content');
  await content.focus();
  await page.keyboard.down('Control');
  await page.keyboard.press('a');
  await page.keyboard.up('Control');
  await page.keyboard.press('Delete');
  await page.keyboard.type(query, {delay: 5});
}

async function runByKeys(page) {
  await page.keyboard.down('Control');
  await page.keyboard.press('Enter');
  await page.keyboard.up('Control');
}

function cells(page) {
  return page.$$eval('[role="grid"] .grid-row', (rows) =>
    rows.map((row) => [...row.querySelectorAll('[role="gridcell"]')].map((cell) => cell.innerText)));
}

describe('The SQL view', async () => {
  it('runs what is typed, at Ctrl+Enter, and has it in the address', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), view);
    await write(page, 'select mark, submark, total_bars from rebar where id = 10');
    await page.keyboard.press('Escape');
    await runByKeys(page);
    await seen(page, '1 row in');
    assert.deepEqual(await cells(page), [['10', '2', '1']]);
    const hash = await page.evaluate(() => location.hash);
    assert.equal(new URLSearchParams(hash.split('?')[1]).get('query'),
      'select mark, submark, total_bars from rebar where id = 10');
  });

  it('runs a query that came by an address', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), asking('select count(*) as n from rebar'));
    await seen(page, '1 row in');
    assert.deepEqual(await cells(page), [['16']]);
  });

  it('never writes, whatever the address says', async (t) => {
    const server = await startServer(t);
    const page = await openPage(t, await startBrowser(t), server, asking('delete from rebar'), refused);
    const methods = [];
    page.on('request', (request) => methods.push(request.method()));
    await seen(page, 'a fenced query may only read: delete is refused');
    await page.goto(`${server.url}/${asking('select count(*) as n from rebar')}`);
    await page.reload();
    await seen(page, '1 row in');
    assert.deepEqual(await cells(page), [['16']]);
    assert.deepEqual([...new Set(methods)].filter((one) => one !== 'HEAD'), ['GET']);
  });

  it('shows NULL apart from an empty text, numbers of expressions as numbers, and marks as texts', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t),
      asking("select mark, submark, comment, sum(total_bars) * 1000.5 as many from rebar where id = 1"));
    await seen(page, '1 row in');
    assert.deepEqual(await cells(page), [['1', 'NULL', '', '10,005']]);
    const kinds = await page.$$eval('.grid-row [role="gridcell"]', (found) => found.map((cell) => cell.className.trim()));
    assert.deepEqual(kinds, ['text', 'text none', 'text', 'number']);
  });

  it('completes tables, views and columns of the project', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), view);
    // Examples are there as soon as tables and views are known.
    await byRole(page, 'combobox', 'Examples');
    await write(page, 'select * from reb');
    await page.waitForFunction(() => document.querySelector('.editor').shadowRoot
      .querySelector('.cm-tooltip-autocomplete')?.textContent.includes('rebar'));
    await write(page, 'select fab');
    await page.waitForFunction(() => document.querySelector('.editor').shadowRoot
      .querySelector('.cm-tooltip-autocomplete')?.textContent.includes('fabrics'));
    await write(page, 'select 1 from fabrics where fabric_type_sheet');
    await page.waitForFunction(() => document.querySelector('.editor').shadowRoot
      .querySelector('.cm-tooltip-autocomplete')?.textContent.includes('fabric_type_sheet_mass'));
    await write(page, 'select 1 from rebar where bar_di');
    await page.waitForFunction(() => document.querySelector('.editor').shadowRoot
      .querySelector('.cm-tooltip-autocomplete')?.textContent.includes('bar_diameter'));
  });

  it('does not keep the keyboard', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), view);
    await write(page, 'select 1');
    await page.keyboard.press('Escape');
    await page.keyboard.press('Tab');
    assert.equal(await page.evaluate(() => document.activeElement.innerText), 'Run');
  });

  it('keeps marks with a point as they are', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t),
      asking("select sheet, label from bars where label like '10.%' order by label"));
    await seen(page, '3 rows in');
    assert.deepEqual((await cells(page)).map((row) => row[1]), ['10.1', '10.2', '10.3']);
    assert.match(await page.$eval('.grid-row [role="gridcell"]:last-child', (cell) => cell.className), /text/);
  });

  it('says why a query is refused, and where', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t),
      asking('select mark,\n  nothing_such\nfrom rebar'), refused);
    await seen(page, 'no such column: nothing_such');
    await seen(page, 'Line 2, column 3.');
    const marked = await page.waitForSelector('>>> .cm-refused');
    assert.equal(await marked.evaluate((element) => element.innerText), 'nothing_such');
  });

  it('says what to do about bytes', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), asking('select raw from rebar'), refused);
    await seen(page, 'A column of bytes, such as raw, cannot be shown');
  });

  it('says when the server has cut rows off or stopped a query', async (t) => {
    const server = await startServer(t, '--query-rows', '100', '--query-time', '0.3');
    const endless = 'with recursive c(n) as (select 1 union all select n + 1 from c)';
    const page = await openPage(t, await startBrowser(t), server, asking(`${endless} select n from c limit 200`), refused);
    await seen(page, 'The server gives at most 100 rows: there are more.');
    await write(page, `${endless} select count(*) from c`);
    await page.keyboard.press('Escape');
    await runByKeys(page);
    await seen(page, 'a fenced query may take 300 ms: it was stopped');
  });

  it('stops a query that takes too long for the one who asked', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t),
      asking('with recursive c(n) as (select 1 union all select n + 1 from c) select count(*) from c'));
    await (await byRole(page, 'button', 'Stop')).click();
    await seen(page, 'The query was stopped.');
  });

  it('gives the result as CSV and JSON', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t),
      asking("select mark, submark, comment, total_bars from rebar where id = 1"));
    await seen(page, '1 row in');
    const files = await downloads(t, page);
    await (await byRole(page, 'button', 'Save as CSV')).click();
    assert.equal((await files.named('guideline-query.csv')).toString(), 'mark,submark,comment,total_bars\r\n1,,"",10\r\n');
    await (await byRole(page, 'button', 'Save as JSON')).click();
    assert.deepEqual(JSON.parse(await files.named('guideline-query.json')),
      [{mark: '1', submark: null, comment: '', total_bars: 10}]);
  });

  it('offers examples and the queries of the tab', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), asking('select 41 + 1 as answer'));
    await seen(page, '1 row in');
    const examples = await byRole(page, 'combobox', 'Examples');
    const titles = await examples.$$eval('option', (options) => options.map((option) => option.innerText));
    assert.ok(titles.includes('Kilograms by steel and diameter'));
    assert.ok(titles.includes('Marks that stand more than once in a revision'));
    const queries = titles.length - 1;
    for (let i = 0; i < queries; ++i) {
      await examples.select(String(i));
      const hash = await page.evaluate(() => location.hash);
      await (await byRole(page, 'button', 'Run')).click();
      await page.waitForFunction((before) => location.hash !== before, {}, hash);
      await page.waitForFunction(() => document.querySelector('.result [role="status"]') !== null);
    }
    const past = await byRole(page, 'combobox', 'Queries of this tab');
    const remembered = await past.$$eval('option', (options) => options.map((option) => option.innerText));
    assert.equal(remembered.length, 1 + queries + 1);
    assert.equal(remembered.at(-1), 'select 41 + 1 as answer');
  });

  it('is read and seen by everybody, light and dark, in English and German', async (t) => {
    const server = await startServer(t);
    for (const language of ['en-GB', 'de-DE']) {
      const browser = await startBrowser(t, {language});
      for (const dark of [false, true]) {
        const page = await openPage(t, browser, server,
          asking('select mark, submark, comment, total_length from rebar'), {dark, width: 768});
        await page.waitForSelector('[role="grid"] .grid-row');
        await noViolations(page);
        await picture(page, `sql-${language}-${dark ? 'dark' : 'light'}`);
      }
    }
  });
});
