// What others change while one looks at a project.

import assert from 'node:assert/strict';
import {join} from 'node:path';
import {describe, it} from 'node:test';

import {run, Server, temporaryFolder, until} from '../clients/server.mjs';
import {byRole, click, example, gone, importInto, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';
import {addRevision} from './schedules.mjs';

const file = '#/projects/guideline.db';
const bars = `${file}/schedule/1/bars`;

/** Sends a write as another client does: on a server without tokens it has the same name. */
async function write(server, path, body, token) {
  const response = await fetch(`${server.url}/v1/projects/guideline.db/${path}`, {
    method: 'POST', body: JSON.stringify(body),
    headers: {'Content-Type': 'application/json', Accept: 'application/json', ...(token ? {Authorization: `Bearer ${token}`} : {})},
  });
  assert.equal(response.status, 200, await response.text());
}

/** Notes the streams of a page from now on: how many were asked for, and how many are open. */
async function streamsOf(page) {
  const session = await page.createCDPSession();
  await session.send('Network.enable');
  const open = new Set();
  const counts = {asked: 0, get open() { return open.size; }};
  session.on('Network.requestWillBeSent', ({requestId, request}) => {
    if (!request.url.endsWith('/changes')) return;
    counts.asked += 1;
    open.add(requestId);
  });
  for (const name of ['Network.loadingFinished', 'Network.loadingFailed']) session.on(name, ({requestId}) => open.delete(requestId));
  return counts;
}

/** The page when its stream of events is there. */
async function start(t, address = bars, {language, server = null, ...options} = {}) {
  const one = server ?? await startServer(t);
  const page = await openPage(t, await startBrowser(t, {language}), one, '#/', options);
  await seen(page, 'guideline.db');
  const streaming = page.waitForResponse((response) => response.url().endsWith('/changes'));
  await page.evaluate((to) => { location.hash = to; }, address);
  await streaming;
  return {server: one, page};
}

const notice = (page) => page.$eval('.changed', (one) => one.innerText.trim());
const quiet = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

describe('What others change', () => {
  it('is told in a quiet notice, and shown when one wants it', async (t) => {
    const {server, page} = await start(t);
    await seen(page, '10.1', '.grid-row');
    await write(server, 'edit?id=1', {mark: 'theirs'});
    await seen(page, 'Changed by 127.0.0.1: revision 417 a', '[role=status]');
    assert.ok(!(await page.$eval('.grid', (grid) => grid.innerText)).includes('theirs'), 'nothing moves by itself');
    await noViolations(page);
    await picture(page, 'changed');
    await click(page, 'button', 'Show');
    await seen(page, 'theirs', '.grid-row');
    assert.equal(await notice(page), '');
    assert.equal(await page.evaluate(() => document.activeElement.id), 'content');
  });

  it('of several entries names two and counts the others', async (t) => {
    const {server, page} = await start(t, file);
    for (const name of ['501', '502', '503', '504']) await write(server, 'create_sheet', {name});
    await seen(page, 'Changed by 127.0.0.1: sheet 501, sheet 502 and 2 more', '[role=status]');
    await click(page, 'button', 'Show');
    await seen(page, '504', '.sheet-name');
  });

  it('by another program has no name', async (t) => {
    const {server, page} = await start(t, `${file}/weights`);
    const offers = (number) => page.waitForFunction((wanted) =>
      [...document.querySelectorAll('option')].some((one) => one.textContent.includes(wanted)), {}, number);
    await offers('417');
    await addRevision(server, 'guideline.db', '900', 'a', [{mark: '1', pieces: 1000}]);
    await seen(page, 'Changed by another program', '[role=status]');
    await gone(page, '900');
    await click(page, 'button', 'Show');
    await offers('900');
  });

  it('never takes a correction that is not stored', async (t) => {
    const {server, page} = await start(t, `${bars}?line=10`);
    await click(page, 'button', 'Correct …');
    const comment = await byRole(page, 'textbox', 'comment');
    await comment.type('mine');
    await write(server, 'edit?id=10', {custom_text: 'theirs', total_bars: 77});
    await seen(page, 'Changed by 127.0.0.1: revision 417 a', '[role=status]');
    await click(page, 'button', 'Show');
    await seen(page, 'Somebody has changed this revision meanwhile.', '.panel');
    await seen(page, 'theirs', '.panel');
    assert.equal(await page.$eval('[id="field-comment"]', (input) => input.value), 'mine');
    await click(page, 'button', 'Show what will change');
    await click(page, 'button', 'Store');
    await gone(page, 'Correct the bar');
    await seen(page, 'mine', '.panel');
    await seen(page, '77', '.panel');
  });

  it('is not what one changes oneself', async (t) => {
    const {server, page} = await start(t, `${bars}?line=10`);
    await click(page, 'button', 'Correct …');
    const comment = await byRole(page, 'textbox', 'comment');
    await comment.type('mine');
    await click(page, 'button', 'Show what will change');
    await click(page, 'button', 'Store');
    await gone(page, 'Correct the bar');
    await quiet(1500);
    assert.equal(await notice(page), '');
    await write(server, 'create_sheet', {name: '418'});
    await seen(page, 'sheet 418', '[role=status]');
  });

  it('is told by the name of a token', async (t) => {
    const tokens = join(temporaryFolder(t), 'tokens.json');
    const made = [];
    for (const name of ['reader', 'office']) {
      const {code, out, err} = await run(['token', 'add', '--tokens', tokens, name, '--scope', 'read', 'write']);
      assert.equal(code, 0, err);
      made.push(/krv_\S+/.exec(out + err)[0]);
    }
    const root = temporaryFolder(t);
    await importInto(root, 'guideline.db', [example]);
    const server = await Server.start(t, root, '--tokens', tokens);
    const page = await openPage(t, await startBrowser(t), server, bars, {mayFail: (text) => /401/.test(text)});
    const streaming = page.waitForResponse((response) => response.url().endsWith('/changes') && response.ok());
    await (await page.waitForSelector('#token')).type(made[0]);
    await page.keyboard.press('Enter');
    await streaming;
    await write(server, 'edit?id=1', {custom_text: 'theirs'}, made[1]);
    await seen(page, 'Changed by office: revision 417 a', '[role=status]');
  });

  it('is seen after the server was reloaded', async (t) => {
    const {server, page} = await start(t);
    await seen(page, '10.1', '.grid-row');
    const streaming = page.waitForResponse((response) => response.url().endsWith('/changes'));
    server.signal('SIGHUP');
    await streaming;
    await seen(page, 'The project may have changed meanwhile.', '[role=status]');
    await click(page, 'button', 'Show');
    await write(server, 'edit?id=1', {custom_text: 'theirs'});
    await seen(page, 'Changed by 127.0.0.1', '[role=status]');
  });

  it('takes one stream, which ends with the project', async (t) => {
    const server = await startServer(t);
    const page = await openPage(t, await startBrowser(t), server);
    await seen(page, 'guideline.db');
    const streams = await streamsOf(page);
    for (const view of ['', '/weights', '/schedule/1/bars', '/sql', '']) {
      await page.evaluate((to) => { location.hash = to; }, file + view);
      await quiet(200);
    }
    await until(() => streams.open === 1, 'a stream');
    assert.equal(streams.asked, 1);
    await page.evaluate(() => { location.hash = '#/'; });
    await until(() => streams.open === 0, 'none any more');
  });

  it('leaves a browser with many tabs its connections, and is told in each that is looked at', async (t) => {
    const {server, page} = await start(t);
    const tabs = [page];
    for (let i = 0; i < 7; i += 1) {
      const tab = await page.browserContext().newPage();
      await tab.goto(`${server.url}/${bars}`);
      await tab.waitForSelector('.grid-row');
      tabs.push(tab);
    }
    // What comes before its stream is there is told without a name.
    const streaming = page.waitForResponse((response) => response.url().endsWith('/changes'));
    await page.bringToFront();
    await streaming;
    await write(server, 'create_sheet', {name: '418'});
    await seen(page, '418', '[role=status]');
  });

  for (const {language, dark, width, text} of [
    {language: 'de-DE', dark: true, width: 1280, text: 'Geändert von 127.0.0.1: Index 417 a'},
    {language: 'en-GB', dark: false, width: 420, text: 'Changed by 127.0.0.1: revision 417 a'}]) {
    it(`fits: ${language}, ${width}`, async (t) => {
      const {server, page} = await start(t, bars, {language, dark, width});
      await page.waitForSelector('.grid-row');
      await write(server, 'edit?id=1', {custom_text: 'x'});
      await seen(page, text, '[role=status]');
      await noViolations(page);
      assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
      await picture(page, `changed-${language}-${width}`);
    });
  }
});
