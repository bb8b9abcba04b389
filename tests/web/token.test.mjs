// Tokens: who has none is asked for one, and what its scopes do not allow is not offered.

import assert from 'node:assert/strict';
import {join} from 'node:path';
import {describe, it} from 'node:test';

import {run, Server, temporaryFolder} from '../clients/server.mjs';
import {click, example, gone, importInto, openPage, picture, seen, startBrowser} from './browser.mjs';
import {noViolations} from './checks.mjs';

const mayFail = (text) => /401|403/.test(text);

/** A server that wants a token, and a token with these scopes. */
async function startWithToken(t, ...scopes) {
  const root = temporaryFolder(t);
  const tokens = join(temporaryFolder(t), 'tokens.json');
  const {code, out, err} = await run(['token', 'add', '--tokens', tokens, 'office', '--scope', ...scopes]);
  assert.equal(code, 0, err);
  await importInto(root, 'guideline.db', [example]);
  return {server: await Server.start(t, root, '--tokens', tokens), token: /krv_\S+/.exec(out + err)[0]};
}

async function enter(page, token) {
  await page.waitForSelector('#token');
  await page.$eval('#token', (field) => field.select());
  await page.type('#token', token);
  await page.keyboard.press('Enter');
}

describe('A token', () => {
  it('is asked for, and leads to where one wanted to go', async (t) => {
    const {server, token} = await startWithToken(t, 'read', 'write');
    const page = await openPage(t, await startBrowser(t), server, '#/projects/guideline.db?part=catalogues', {mayFail});
    await seen(page, 'This server answers only to those who have a token.');
    assert.equal(await page.$eval('#token', (field) => field.type), 'password');
    await noViolations(page);
    await picture(page, 'token');
    await enter(page, token);
    await seen(page, 'B500A');
    assert.equal(await page.evaluate(() => location.hash), '#/projects/guideline.db?part=catalogues');
  });

  it('is refused where the server does not know it', async (t) => {
    const {server, token} = await startWithToken(t, 'read');
    const page = await openPage(t, await startBrowser(t), server, '#/', {mayFail});
    await enter(page, 'krv_wrong');
    await seen(page, 'The server does not know this token.', '[role=alert]');
    assert.equal(await page.evaluate(() => sessionStorage.getItem('korvane-token')), null);
    await enter(page, token);
    await seen(page, 'guideline.db');
  });

  it('with the scope read alone offers nothing that writes', async (t) => {
    const {server, token} = await startWithToken(t, 'read');
    const page = await openPage(t, await startBrowser(t), server, '#/', {mayFail});
    await enter(page, token);
    await seen(page, 'guideline.db');
    await gone(page, 'New project');
    await gone(page, 'Import files');
    await page.evaluate(() => { location.hash = '#/projects/guideline.db'; });
    await seen(page, '417', '.sheet-name');
    await gone(page, 'Import files');
    assert.equal(await page.$('.pick-input'), null);
  });

  it('with the scope write alone shows the list and lets one import', async (t) => {
    const {server, token} = await startWithToken(t, 'write');
    const page = await openPage(t, await startBrowser(t), server, '#/', {mayFail});
    await enter(page, token);
    await seen(page, 'guideline.db');
    await seen(page, 'Import files');
    assert.equal(await page.$('.projects-table a'), null);
  });

  it('says who one is and what one may do, and is forgotten', async (t) => {
    const {server, token} = await startWithToken(t, 'read', 'sql');
    const page = await openPage(t, await startBrowser(t), server, '#/token', {mayFail});
    await enter(page, token);
    await seen(page, 'guideline.db');
    await click(page, 'link', 'Token');
    await seen(page, 'You are office.');
    await seen(page, 'change projects by SQL');
    await noViolations(page);
    await click(page, 'button', 'Forget it');
    await seen(page, 'This server answers only to those who have a token.');
    assert.equal(await page.evaluate(() => sessionStorage.getItem('korvane-token')), null);
  });

  it('stays in its tab', async (t) => {
    const {server, token} = await startWithToken(t, 'read');
    const browser = await startBrowser(t);
    const page = await openPage(t, browser, server, '#/', {mayFail});
    await enter(page, token);
    await seen(page, 'guideline.db');
    await page.reload();
    await seen(page, 'guideline.db');
    const other = await page.browserContext().newPage();
    await other.goto(`${server.url}/#/`);
    await seen(other, 'This server answers only to those who have a token.');
  });
});
