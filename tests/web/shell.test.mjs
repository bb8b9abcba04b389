// What holds for the page as a whole.

import assert from 'node:assert/strict';
import {describe, it} from 'node:test';

import {click, gone, openPage, seen, startBrowser, startServer} from './browser.mjs';
import {Server} from '../clients/server.mjs';

describe('The page', async () => {
  it('comes in one reply of less than 150 KB before anything is opened', async (t) => {
    const server = await startServer(t);
    const browser = await startBrowser(t);
    const page = await openPage(t, browser, server);
    await seen(page, 'guideline.db');
    const bytes = await page.evaluate(() => performance.getEntriesByType('resource')
      .concat(performance.getEntriesByType('navigation'))
      .reduce((sum, entry) => sum + entry.encodedBodySize, 0));
    assert.ok(bytes > 0 && bytes < 150_000, `${bytes} bytes`);
  });

  it('speaks the language of the browser', async (t) => {
    const server = await startServer(t);
    const english = await openPage(t, await startBrowser(t), server);
    await seen(english, 'Projects');
    assert.equal(await english.evaluate(() => document.documentElement.lang), 'en');
    const german = await openPage(t, await startBrowser(t, {language: 'de-DE'}), server);
    await seen(german, 'Projekte');
    assert.equal(await german.evaluate(() => document.documentElement.lang), 'de');
  });

  it('says that there is nothing at an address that it does not know', async (t) => {
    const server = await startServer(t);
    const page = await openPage(t, await startBrowser(t), server, '#/projects/guideline.db/nothing');
    await seen(page, 'There is nothing at this address.');
  });

  it('says when the server is gone, and goes on when it is back', async (t) => {
    const server = await startServer(t);
    const port = new URL(server.url).port;
    const page = await openPage(t, await startBrowser(t), server, '#/projects/guideline.db',
      {mayFail: (text) => /ERR_/.test(text)});
    await seen(page, '417');
    await page.evaluate(() => { location.hash = '#/'; });
    await seen(page, 'guideline.db');
    await server.stop();
    await page.evaluate(() => { location.hash = '#/projects/guideline.db'; });
    await seen(page, 'The connection to the server is lost.');
    await seen(page, 'Try again');  // or the page would have gone on by itself
    await Server.start(t, server.root, '--listen', `127.0.0.1:${port}`);
    await click(page, 'button', 'Try again');
    await seen(page, '417');
    await gone(page, 'The connection to the server is lost.');
  });

  it('says that a part of it could not be loaded, and loads it when the server is back', async (t) => {
    const server = await startServer(t);
    const port = new URL(server.url).port;
    const page = await openPage(t, await startBrowser(t), server, '#/', {mayFail: (text) => /ERR_/.test(text)});
    await seen(page, 'guideline.db');
    await server.stop();
    await page.evaluate(() => { location.hash = '#/projects/guideline.db/sql'; });
    await seen(page, 'This part of the page could not be loaded.');
    await Server.start(t, server.root, '--listen', `127.0.0.1:${port}`);
    await click(page, 'button', 'Try again');
    await gone(page, 'This part of the page could not be loaded.');
    await seen(page, 'SQL');
  });
});
