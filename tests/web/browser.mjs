// The page in a real browser, for tests: a server of the program's own with projects, and Chromium
// before it. Whatever the browser complains of fails the test: errors, refused content, requests to
// anywhere else.

import assert from 'node:assert/strict';
import {copyFileSync, existsSync, mkdirSync} from 'node:fs';
import {basename, dirname, join} from 'node:path';
import {after} from 'node:test';
import {fileURLToPath} from 'node:url';

import puppeteer from 'puppeteer-core';

import {run, Server, temporaryFolder} from '../clients/server.mjs';

const here = dirname(fileURLToPath(import.meta.url));
export const example = join(here, '../../examples/guideline.abs');

const chromium = process.env.KORVANE_CHROMIUM ??
  ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'].find((path) => existsSync(path));
if (!chromium) throw new Error('no Chromium: KORVANE_CHROMIUM names one');

/** Where pictures of the views go; nowhere if it is not set. */
const pictures = process.env.KORVANE_PICTURES;

/** Imports files into a project of a folder; further arguments as `korvane import` has them. */
export async function importInto(root, project, files, ...options) {
  const {code, err} = await run(['import', ...files, '--project', join(root, project), ...options]);
  assert.equal(code, 0, err);
}

/** A server over a fresh folder with the project "guideline.db"; both go with `context`. Options are
 * those of `korvane serve`. */
export async function startServer(context, ...options) {
  const root = temporaryFolder(context);
  await importInto(root, 'guideline.db', [example]);
  return Server.start(context, root, ...options);
}

const browsers = new Map();

/** Ends what startBrowser has started. Files of tests do that by themselves. */
export async function closeBrowsers() {
  for (const browser of browsers.values()) await (await browser).close();
}
if (process.argv[1]?.endsWith('.test.mjs')) after(closeBrowsers);

/** The browser of a language. Tests of a file share it: each has profiles of its own. */
export function startBrowser(context, {language = 'en-GB'} = {}) {
  if (!browsers.has(language)) {
    browsers.set(language, puppeteer.launch({
      executablePath: chromium,
      args: ['--no-sandbox', '--disable-gpu', '--use-angle=swiftshader', '--enable-unsafe-swiftshader',
        `--lang=${language}`, `--accept-lang=${language}`],
      env: {...process.env, LANGUAGE: language},
    }));
  }
  return browsers.get(language);
}

/** A page of the server in a profile of its own. Ends the test with a failure if the browser has
 * complained; `mayFail(text)` says which complaints are meant to be. */
export async function openPage(context, browser, server, address = '#/', {
  dark = false, width = 1280, height = 800, touch = false, mayFail = () => false, media,
} = {}) {
  const profile = await browser.createBrowserContext();
  const page = await profile.newPage();
  const complaints = [];
  page.on('console', (message) => {
    // The server is stopped before the page, whose calls then fail.
    if (server.child.killed) return;
    if (['error', 'warn'].includes(message.type())) complaints.push(message.text());
  });
  page.on('pageerror', (error) => complaints.push(String(error)));
  page.on('request', (request) => {
    const url = request.url();
    // The browser's own viewer of PDF is made of pages, too.
    if (!url.startsWith(server.url) && !/^(data|blob|about|chrome|chrome-extension):/.test(url)) complaints.push(`asked ${url}`);
  });
  context.after(async () => {
    // The browser may have gone before it.
    await profile.close().catch(() => {});
    const left = complaints.filter((text) => !mayFail(text));
    assert.deepEqual(left, [], 'the browser complains');
  });
  await page.setViewport({width, height, hasTouch: touch});
  await page.emulateMediaFeatures([{name: 'prefers-color-scheme', value: dark ? 'dark' : 'light'}]);
  if (media) await page.emulateMediaType(media);
  page.setDefaultTimeout(15_000);
  await page.goto(`${server.url}/${address}`);
  return page;
}

/** Waits until an element shows the text, and gives the element. */
export async function seen(page, text, selector = 'body') {
  return page.waitForFunction((wanted, within) => {
    for (const element of document.querySelectorAll(within)) {
      if (element.innerText?.includes(wanted)) return element;
    }
    return false;
  }, {}, text, selector);
}

/** Waits until no element shows the text. */
export async function gone(page, text, selector = 'body') {
  return page.waitForFunction((wanted, within) =>
    ![...document.querySelectorAll(within)].some((element) => element.innerText?.includes(wanted)), {}, text, selector);
}

/** The element of a role and name, as assistive technology finds it. */
export function byRole(page, role, name) {
  return page.waitForSelector(`::-p-aria([role="${role}"][name="${name}"])`);
}

/** Clicks the element of a role and name once it stays where it is: what is loaded above it moves it. */
export async function click(page, role, name) {
  await clickAt(page, `::-p-aria([role="${role}"][name="${name}"])`);
}

export async function clickAt(page, selector) {
  await page.locator(selector).setTimeout(15_000).click();
}

/** Drops files on an element, as a person does. */
export async function drop(page, selector, files) {
  const contents = files.map(({name, bytes}) => ({name, base64: Buffer.from(bytes).toString('base64')}));
  await page.waitForSelector(selector);
  await page.evaluate((target, list) => {
    const transfer = new DataTransfer();
    for (const {name, base64} of list) {
      const content = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
      transfer.items.add(new File([content], name));
    }
    const element = document.querySelector(target);
    for (const type of ['dragenter', 'dragover', 'drop']) {
      element.dispatchEvent(new DragEvent(type, {dataTransfer: transfer, bubbles: true, cancelable: true}));
    }
  }, selector, contents);
}

/** Keeps a picture of the page where pictures are wanted. */
export async function picture(page, name) {
  if (!pictures) return;
  mkdirSync(pictures, {recursive: true});
  await page.screenshot({path: join(pictures, `${name}.png`)});
}

/** Copies a project file into the server's folder. */
export function addProject(server, file, name = basename(file)) {
  copyFileSync(file, join(server.root, name));
}
