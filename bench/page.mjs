#!/usr/bin/env node
// What the page does with a schedule of 100,000 bars, in Chromium: how soon the first rows are there,
// how long its frames take while one scrolls, what sorting and memory cost. Prints a table in
// Markdown; nothing is asserted, as times of a shared machine mean little.
//
//   KORVANE_PROGRAM=build/release/bin/korvane node bench/page.mjs
//
// The page must be built with the program (make serve).

import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';

import {closeBrowsers, example, importInto, openPage, startBrowser} from '../tests/web/browser.mjs';
import {Server} from '../tests/clients/server.mjs';

const kBars = 100_000;

/** The bars of the example again and again, each with a mark of its own. */
function manyBars() {
  const records = readFileSync(example, 'latin1').split(/\r?\n/).filter((line) => line.startsWith('BF2D'));
  const lines = [];
  for (let i = 0; lines.length < kBars; i += 1) {
    const text = records[i % records.length].replace(/@p[^@]*/, `@pM${i}`).replace(/@C\d*@.*$/, '@C');
    const sum = [...Buffer.from(text, 'latin1')].reduce((all, byte) => all + byte, 0);
    lines.push(`${text}${96 - (sum % 32)}@`);
  }
  return lines.join('\r\n') + '\r\n';
}

function sorted(numbers) {
  return [...numbers].sort((one, other) => other - one);
}

const ends = [];
const context = {after: (end) => ends.unshift(end)};
context.after(closeBrowsers);
try {
  const root = mkdtempSync(join(tmpdir(), 'korvane-page-'));
  context.after(() => rmSync(root, {recursive: true, force: true}));
  writeFileSync(join(root, 'bars.abs'), manyBars(), 'latin1');
  await importInto(root, 'large.db', [join(root, 'bars.abs')], '--sheet', '1', '--revision', 'a');
  const server = await Server.start(context, root, '--record-bytes', '1000000000', '--all-record-bytes', '1000000000');
  const browser = await startBrowser(context);
  const page = await openPage(context, browser, server, '#/', {width: 1280, height: 900, mayFail: () => true});
  await page.evaluate(() => {
    window.seenAt = {};
    const plain = window.fetch;
    window.fetch = async (...request) => {
      const reply = await plain(...request);
      if ((request[0].url ?? String(request[0])).includes('/lines?')) window.seenAt.byte ??= performance.now();
      return reply;
    };
    new MutationObserver(() => {
      if (window.seenAt.row || !document.querySelector('.grid-row')) return;
      window.seenAt.row = performance.now();
      requestAnimationFrame(() => setTimeout(() => { window.seenAt.drawn = performance.now(); }));
    }).observe(document, {childList: true, subtree: true});
    location.hash = '#/projects/large.db/schedule/1/bars';
  });
  page.setDefaultTimeout(120_000);
  await page.waitForFunction(() => /100[,.]000/.test(document.querySelector('.grid-foot')?.textContent ?? ''));
  const first = await page.evaluate(() => window.seenAt);
  const rows = [['first rows after the first byte of the reply', `${(first.drawn - first.byte).toFixed(0)} ms until drawn`]];

  for (const [name, step] of [['20 px a frame', 20], ['120 px', 120], ['800 px', 800], ['9,000 px', 9000], ['anywhere', 0]]) {
    const frames = await page.evaluate(async (pixels) => {
      const place = document.querySelector('.grid-scroll');
      place.scrollTop = 0;
      await new Promise((resolve) => setTimeout(resolve, 500));
      const times = [];
      let last = await new Promise(requestAnimationFrame);
      for (let i = 0; i < 120; i += 1) {
        place.scrollTop = pixels ? place.scrollTop + pixels : Math.random() * place.scrollHeight;
        const now = await new Promise(requestAnimationFrame);
        times.push(now - last);
        last = now;
      }
      return times;
    }, step);
    const all = sorted(frames);
    rows.push([`scrolling, ${name}`,
      `longest frame ${all[0].toFixed(1)} ms, next ${all[1].toFixed(1)}, median ${all[60].toFixed(1)}`]);
  }
  const heap = (await page.metrics()).JSHeapUsedSize / 1e6;
  for (const title of ['length', 'mark']) {
    const time = await page.evaluate(async (wanted) => {
      const head = [...document.querySelectorAll('.grid-title')].find((one) => one.textContent.startsWith(wanted));
      const begin = performance.now();
      head.click();
      await new Promise(requestAnimationFrame);
      await new Promise((resolve) => setTimeout(resolve));
      return performance.now() - begin;
    }, title);
    rows.push([`sorting by ${title}`, `${time.toFixed(0)} ms`]);
  }
  rows.push(['memory of scripts', `${heap.toFixed(0)} MB`]);
  console.log(`| ${kBars.toLocaleString('en')} bars | |\n|---|---|`);
  for (const [name, value] of rows) console.log(`| ${name} | ${value} |`);
} finally {
  for (const end of ends) await end();
}
