// The bending list, and files for other programs.

import assert from 'node:assert/strict';
import {describe, it} from 'node:test';

import {byRole, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';
import {downloads} from './downloads.mjs';

const view = '#/projects/guideline.db/paper';

async function frameOf(page) {
  const element = await page.waitForSelector('iframe.pages');
  await page.waitForFunction(() => (document.querySelector('iframe.pages').contentDocument
    ?.querySelectorAll('section').length ?? 0) > 0);
  return element.contentFrame();
}

describe('Paper', async () => {
  it('shows the pages of the bending list in a frame in which nothing can run', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), `${view}?sheet=417&revision=a`);
    const frame = await frameOf(page);
    await seen(page, '3 pages');
    assert.match(await frame.evaluate(() => document.body.textContent), /Bending list/);
    assert.equal(await frame.evaluate(() => getComputedStyle(document.body).margin), '0px');
    const sandbox = await page.$eval('iframe.pages', (element) => element.getAttribute('sandbox'));
    assert.ok(!sandbox.includes('allow-scripts'));
    const title = await page.$eval('iframe.pages', (element) => element.title);
    assert.equal(title, 'Bending list: guideline.db, 417, a');
  });

  it('prints these pages and nothing else', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), `${view}?sheet=417&revision=a`);
    await frameOf(page);
    await seen(page, '3 pages');
    const pdf = Buffer.from(await page.pdf({preferCSSPageSize: true})).toString('latin1');
    assert.equal(pdf.match(/\/Type \/Page\b/g).length, 3);
    assert.match(pdf, /\/MediaBox \[0 0 59[45][\d.]* 84[12]/);
  });

  it('prints the frame at the button', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), view);
    await frameOf(page);
    await page.evaluate(() => {
      document.querySelector('iframe.pages').contentWindow.print = () => { document.title = 'printed'; };
    });
    await (await byRole(page, 'button', 'Print')).click();
    await page.waitForFunction(() => document.title === 'printed');
  });

  it('saves the PDF under the names of project, sheet and revision', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), `${view}?sheet=417&revision=a&format=pdf`);
    await page.waitForSelector('iframe.pages');
    const files = await downloads(t, page);
    await (await byRole(page, 'button', 'Save')).click();
    const bytes = await files.named('guideline-417-a-bending-list.pdf');
    assert.equal(bytes.subarray(0, 5).toString(), '%PDF-');
  });

  it('saves every other format', async (t) => {
    const page = await openPage(t, await startBrowser(t), await startServer(t), `${view}?sheet=417&revision=a&format=csv`);
    const files = await downloads(t, page);
    const begins = {
      csv: ['guideline-417-a-bars.csv', 'sheet,revision,label'], bvbs: ['guideline-417-a.abs', 'BF2D@'],
      xlsx: ['guideline-417-a.xlsx', 'PK'], json: ['guideline-417-a.json', '{"format":"korvane project"'],
      ndjson: ['guideline-417-a.ndjson', '{"kind":"project"'],
    };
    for (const [format, [name, begin]] of Object.entries(begins)) {
      await (await page.waitForSelector(`input[value="${format}"]`)).click();
      await seen(page, name, '.file-name');
      await (await byRole(page, 'button', 'Save')).click();
      const bytes = await files.named(name);
      assert.equal(bytes.subarray(0, begin.length).toString(), begin);
      await seen(page, `${name} is saved`);
    }
    await (await page.waitForSelector('input[value="csv"]')).click();
    await (await byRole(page, 'combobox', 'Lines')).select('fabrics');
    await (await byRole(page, 'button', 'Save')).click();
    assert.match((await files.named('guideline-417-a-fabrics.csv')).toString(), /Q257/);
  });

  it('says what BVBS cannot say, and leaves it out if one wants that', async (t) => {
    const server = await startServer(t);
    // A text that would end the field that it stands in.
    const odd = await fetch(`${server.url}/v1/projects/guideline.db/add_rebar`, {
      method: 'POST', headers: {'Content-Type': 'application/json'},
      body: JSON.stringify({items: [{rev_id: 1, mark: 'odd@mark', material_id: 1, bar_diameter: 12, total_bars: 1}]}),
    });
    assert.equal(odd.status, 200, await odd.text());
    const page = await openPage(t, await startBrowser(t), server, `${view}?sheet=417&revision=a&format=bvbs`,
      {mayFail: (text) => text.includes('status of 400')});
    const files = await downloads(t, page);
    await (await byRole(page, 'button', 'Save')).click();
    await seen(page, 'odd@mark', '.notice.error');
    await (await byRole(page, 'checkbox', 'Leave out lines that the format cannot say')).click();
    await (await byRole(page, 'button', 'Save')).click();
    await seen(page, 'These lines are not in the file:');
    await seen(page, 'odd@mark', '.notice.info');
    assert.equal((await files.named('guideline-417-a.abs')).toString('latin1').match(/^BF/gm).length, 19);
  });

  it('is read and seen by everybody, light and dark, in English and German', async (t) => {
    const server = await startServer(t);
    for (const language of ['en-GB', 'de-DE']) {
      const browser = await startBrowser(t, {language});
      for (const dark of [false, true]) {
        const page = await openPage(t, browser, server, view, {dark, width: 768});
        await frameOf(page);
        await noViolations(page);
        await picture(page, `paper-${language}-${dark ? 'dark' : 'light'}`);
      }
    }
  });
});
