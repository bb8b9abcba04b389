// The list of projects, and importing into them.

import assert from 'node:assert/strict';
import {readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {describe, it} from 'node:test';

import {run, Server, temporaryFolder} from '../clients/server.mjs';
import {byRole, click, drop, example, gone, importInto, openPage, picture, seen, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';

const kBarText = 'BF2D@HjTest@r9@ia@p1@l1000@n10@e0.888@d12@gB500A@s48@v@Gl400@w90@l600@w0@';
/** A record with the checksum that its characters give. */
function checked(record) {
  let sum = 0;
  for (const byte of Buffer.from(`${record}C`, 'latin1')) sum += byte;
  return `${record}C${96 - (sum % 32)}@\r\n`;
}
const kBar = checked(kBarText);
const kFaulty = kBar.replace(/C\d+@/, 'C11@');

async function open(t, address = '#/', options = {}) {
  const server = await startServer(t);
  const page = await openPage(t, await startBrowser(t), server, address, options);
  return {server, page};
}

function files(page) {
  return page.$$eval('.projects-table tbody th', (cells) => cells.map((cell) => cell.innerText));
}

async function counts(server, project) {
  const reply = await fetch(`${server.url}/v1/projects/${encodeURIComponent(project)}/totals`);
  return (await reply.json()).revisions;
}

async function chooseFiles(page, paths) {
  const input = await page.waitForSelector('.pick-input');
  await input.uploadFile(...paths);
}

describe('The list of projects', () => {
  it('shows size, sheets and kilograms of each file', async (t) => {
    const {page} = await open(t);
    await seen(page, 'guideline.db', '.projects-table');
    await gone(page, '…', '.projects-table');
    const cells = await page.$$eval('.projects-table tbody td', (all) => all.map((one) => one.innerText));
    assert.match(cells[1], /^\d+(\.\d+)? KB$/);
    assert.equal(cells[2], '1');
    assert.match(cells[3], /^2,544\.0/);
    await noViolations(page);
    await picture(page, 'projects');
  });

  it('says in the row of a file that is not a project why, and shows the others', async (t) => {
    const {server, page} = await open(t, '#/nothing', {mayFail: (text) => text.includes('422')});
    const {code} = await run(['-c',
      'import sqlite3,sys; c=sqlite3.connect(sys.argv[1]); c.execute("create table x(a)"); c.commit()',
      join(server.root, 'other.db')], {command: 'python3'});
    assert.equal(code, 0);
    await page.evaluate(() => { location.hash = '#/'; });
    await seen(page, 'is not a korvane project', '.project-failure');
    await seen(page, '2,544.0', '.projects-table');
  });

  it('sorts, and finds by a part of the name that the address keeps', async (t) => {
    const {server, page} = await open(t);
    await importInto(server.root, 'tower 10.db', [example]);
    await importInto(server.root, 'tower 9.db', [example]);
    await page.reload();
    await seen(page, 'tower 10.db');
    assert.deepEqual(await files(page), ['guideline.db', 'tower 9.db', 'tower 10.db']);
    await click(page, 'button', 'File');
    assert.deepEqual(await files(page), ['tower 10.db', 'tower 9.db', 'guideline.db']);
    await page.type('input[type=search]', 'tower');
    await seen(page, '2 of 3 projects');
    await page.reload();
    await seen(page, '2 of 3 projects');
    assert.deepEqual(await files(page), ['tower 10.db', 'tower 9.db']);
  });

  it('makes a project and opens it', async (t) => {
    const {page} = await open(t);
    await click(page, 'button', 'New project …');
    await page.waitForSelector('#new-project-name:focus');
    await page.keyboard.type('hall 7');
    await noViolations(page);
    await page.keyboard.press('Enter');
    await seen(page, 'There is no sheet in it yet.');
    assert.equal(await page.evaluate(() => location.hash), '#/projects/hall%207.db');
  });

  it('does not make a project of a name that there is', async (t) => {
    const {server, page} = await open(t);
    await click(page, 'button', 'New project …');
    await page.waitForSelector('#new-project-name:focus');
    await page.keyboard.type('guideline');
    await page.keyboard.press('Enter');
    await seen(page, 'There is a project guideline.db already.', '[role=alert]');
    assert.equal((await counts(server, 'guideline.db')).length, 2);
  });

  it('says what to do where there is no project', async (t) => {
    const page = await openPage(t, await startBrowser(t), await Server.start(t, temporaryFolder(t)));
    await seen(page, 'There is no project yet.');
    await noViolations(page);
  });
});

describe('Importing', () => {
  it('makes a new project of files that are dropped on the list', async (t) => {
    const {server, page} = await open(t);
    await drop(page, '.projects', [{name: 'tower.abs', bytes: readFileSync(example)}]);
    await seen(page, 'A new project', 'dialog');
    await noViolations(page);
    await click(page, 'button', 'Check the files');
    await seen(page, '16 bars, 3 fabrics', 'dialog');
    await noViolations(page);
    await picture(page, 'import');
    await click(page, 'button', 'Import 1 file');
    await seen(page, 'is stored', 'dialog');
    assert.equal((await counts(server, 'tower.db')).length, 2);
    await click(page, 'link', 'Sheet 417, revision a');
    assert.match(await page.evaluate(() => location.hash), /^#\/projects\/tower\.db\/schedule\/\d+\/bars$/);
  });

  it('lists every faulty record by line and reason, and stores nothing of the file', async (t) => {
    const {server, page} = await open(t);
    await drop(page, '.projects-table tbody tr', [
      {name: 'mixed.abs', bytes: kBar + kFaulty + kBar + kFaulty}, {name: 'good.abs', bytes: kBar}]);
    await seen(page, '2 faulty records', 'dialog');
    const faults = await page.$$eval('.faults tbody tr', (rows) => rows.map((row) => row.innerText));
    assert.equal(faults.length, 2);
    assert.match(faults[0], /^2\s+wrong checksum/);
    assert.match(faults[1], /^4\s+wrong checksum/);
    await seen(page, 'Import 1 file', 'dialog button');
    await click(page, 'button', 'Import 1 file');
    await seen(page, '1 of 2 files stored.', 'dialog');
    assert.equal((await counts(server, 'guideline.db')).find((one) => one.sheet === '9').bars, 10);
  });

  it('stores the rest of a faulty file where that is ticked', async (t) => {
    const {server, page} = await open(t);
    await drop(page, '.projects-table tbody tr', [{name: 'mixed.abs', bytes: kBar + kFaulty}]);
    await seen(page, 'Store the rest: 1 line', 'dialog');
    assert.equal(await page.$eval('dialog button.main', (button) => button.disabled), true);
    await page.click('.import-rest input');
    await click(page, 'button', 'Import 1 file');
    await seen(page, 'Left out: 1 faulty record', 'dialog');
    assert.equal((await counts(server, 'guideline.db')).find((one) => one.sheet === '9').marks, 1);
  });

  for (const {choice, marks} of [
    {choice: 'Replace them', marks: 19}, {choice: 'Append to them', marks: 38}, {choice: 'Skip this file', marks: 19},
  ]) {
    it(`asks what becomes of lines that are there: ${choice}`, async (t) => {
      const {server, page} = await open(t, '#/projects/guideline.db');
      await seen(page, '417');
      await chooseFiles(page, [example]);
      await seen(page, 'has 19 lines already', 'dialog');
      assert.equal(await page.$eval('dialog button.main', (button) => button.disabled), true);
      await click(page, 'radio', choice);
      if (choice === 'Skip this file') {
        assert.equal(await page.$eval('dialog button.main', (button) => button.disabled), true);
        await click(page, 'button', 'Cancel');
      } else {
        await click(page, 'button', 'Import 1 file');
        await seen(page, 'is stored', 'dialog');
        await click(page, 'button', 'Close');
        await seen(page, String(marks), '.sheets-table');
      }
      assert.equal((await counts(server, 'guideline.db')).find((one) => one.revision === 'a').marks, marks);
    });
  }

  it('knows that a file comes after another for the same revision', async (t) => {
    const {server, page} = await open(t);
    await drop(page, '.projects-table tbody tr', [{name: 'one.abs', bytes: kBar}, {name: 'two.abs', bytes: kBar + kBar}]);
    await seen(page, 'has 1 line already. The file has 2 lines for it.', 'dialog');
    await click(page, 'radio', 'Append to them');
    await click(page, 'button', 'Import 2 files');
    await seen(page, '2 of 2 files stored.', 'dialog');
    assert.equal((await counts(server, 'guideline.db')).find((one) => one.sheet === '9').marks, 3);
  });

  it('stops after the present file, and leaves out the others', async (t) => {
    const {server, page} = await open(t);
    await drop(page, '.projects-table tbody tr', [
      {name: 'one.abs', bytes: kBar}, {name: 'two.abs', bytes: checked(kBarText.replace('@r9@', '@r10@'))}]);
    await seen(page, 'Import 2 files', 'dialog button');
    let go;
    const isHeld = new Promise((resolve) => { go = resolve; });
    await page.setRequestInterception(true);
    page.on('request', (request) => {
      const isImport = request.url().includes('/import?') && !request.url().includes('dry_run');
      (isImport ? isHeld : Promise.resolve()).then(() => request.continue());
    });
    await click(page, 'button', 'Import 2 files');
    await click(page, 'button', 'Stop after this file');
    await seen(page, 'It stops after this file.', 'dialog');
    go();
    await seen(page, '1 of 2 files stored.', 'dialog');
    await seen(page, 'is left out', '.import-item:nth-child(2)');
    assert.deepEqual((await counts(server, 'guideline.db')).map((one) => one.sheet).sort(), ['417', '417', '9']);
  });

  it('says that a file may have been stored when no answer comes', async (t) => {
    const {page} = await open(t, '#/', {mayFail: (text) => text.includes('ERR_')});
    await drop(page, '.projects-table tbody tr', [{name: 'one.abs', bytes: kBar}]);
    await seen(page, 'Import 1 file', 'dialog button');
    await page.setRequestInterception(true);
    page.on('request', (request) => {
      if (request.url().includes('/import?')) request.abort('connectionreset');
      else request.continue();
    });
    await click(page, 'button', 'Import 1 file');
    await seen(page, 'It may have been stored all the same', 'dialog');
    await seen(page, '0 of 1 file stored.', 'dialog');
  });

  it('shows a refusal of the server in its own words', async (t) => {
    const {page} = await open(t, '#/', {mayFail: (text) => text.includes('400')});
    await drop(page, '.projects-table tbody tr', [{name: 'empty.abs', bytes: ''}]);
    await seen(page, 'there is nothing to import in the body', 'dialog [role=alert]');
    await seen(page, 'Check it again', 'dialog');
  });

  it('says that a file is larger than the server takes', async (t) => {
    const server = await startServer(t, '--body-bytes', '4000');
    const page = await openPage(t, await startBrowser(t), server, '#/', {mayFail: (text) => /413|ERR_/.test(text)});
    await drop(page, '.projects-table tbody tr', [{name: 'large.abs', bytes: kBar.repeat(90)}]);
    await seen(page, 'larger than the server takes', 'dialog');
  });

  it('shows names of files and reasons as text', async (t) => {
    const folder = temporaryFolder(t);
    const file = join(folder, `<img src=x onerror=alert(1)>${'n'.repeat(180)}.abs`);
    writeFileSync(file, kFaulty);
    const {page} = await open(t, '#/projects/guideline.db');
    await chooseFiles(page, [file]);
    await seen(page, '<img src=x', 'dialog .import-name');
    await seen(page, 'wrong checksum', 'dialog');
    await seen(page, 'Nothing of this file can be stored.', 'dialog');
    const isWithin = await page.$eval('dialog', (dialog) => dialog.scrollWidth <= dialog.clientWidth);
    assert.ok(isWithin, 'the dialog is wider than it is shown');
    assert.equal((await page.$$('dialog img')).length, 0);
    await byRole(page, 'button', 'Save as text');
  });
});
