// All views one after another in one page, as a day at work goes: what one view brings with it must
// not show in another. The pictures of README come from here.

import assert from 'node:assert/strict';
import {describe, it} from 'node:test';

import {openPage, picture, startBrowser, startServer} from './browser.mjs';
import {noViolations} from './checks.mjs';
import {addRevision} from './schedules.mjs';

const file = '#/projects/guideline.db';
/** Every view with an address of its own. */
const views = [
  {name: 'projects', address: '#/'},
  {name: 'project', address: file},
  {name: 'bars', address: `${file}/schedule/1/bars`},
  {name: 'bar', address: `${file}/schedule/1/bars?line=10`},
  {name: 'fabrics', address: `${file}/schedule/1/fabrics`},
  {name: 'weights', address: `${file}/weights`},
  {name: 'compare', address: `${file}/compare?sheet=417&before=a&after=b`},
  {name: 'sql', address: `${file}/sql?query=${encodeURIComponent('select label, legs, bar_diameter, total_bars from bars')}`},
  {name: 'paper', address: `${file}/paper?sheet=417&revision=a`},
  {name: 'token', address: '#/token'},
];

/** How each element is laid out that a style of another view could reach. */
function layout(page) {
  return page.evaluate(() => [...document.querySelectorAll('main *')]
    .filter((element) => !element.closest('svg, iframe, .cm-editor'))
    .map((element) => {
      const style = getComputedStyle(element);
      return `${element.tagName}.${element.className} ${style.display} ${style.flexDirection} ${style.fontSize} ` +
        `${style.fontWeight} ${style.padding} ${style.borderTopWidth}`;
    }).join('\n'));
}

/** The view when nothing in it changes any more. */
async function settled(page) {
  let last = '';
  for (let i = 0; i < 60; i += 1) {
    await page.waitForNetworkIdle({idleTime: 150, timeout: 15_000});
    const now = await layout(page);
    if (now === last && !(await page.$('.waiting'))) return now;
    last = now;
  }
  throw new Error('the view does not come to rest');
}

async function start(context, language) {
  const server = await startServer(context);
  await addRevision(server, 'guideline.db', '417', 'b',
    [{mark: '1', pieces: 4}, {mark: '10.1', diameter: 16, weight: 1.58}, {mark: '12', weight: 0}]);
  return {server, browser: await startBrowser(context, {language})};
}

describe('A walk through the views', async () => {
  it('shows each of them as it is when it is opened alone', async (t) => {
    const {server, browser} = await start(t, 'en-GB');
    const walker = await openPage(t, browser, server);
    for (let round = 0; round < 2; round += 1) {
      for (const view of views) {
        await walker.evaluate((address) => { location.hash = address; }, view.address);
        const walked = await settled(walker);
        if (round === 0) continue;  // the second time all styles are there
        const alone = await openPage(t, browser, server, view.address);
        assert.equal(walked, await settled(alone), view.name);
        await alone.close();
      }
    }
  });

  for (const language of ['en-GB', 'de-DE']) {
    for (const dark of [false, true]) {
      it(`has nothing that axe finds fault with, ${language}, ${dark ? 'dark' : 'light'}`, async (t) => {
        const {server, browser} = await start(t, language);
        const page = await openPage(t, browser, server, '#/', {dark});
        for (const view of views) {
          await page.evaluate((address) => { location.hash = address; }, view.address);
          await settled(page);
          await noViolations(page);
          await picture(page, `${view.name}-${language.slice(0, 2)}-${dark ? 'dark' : 'light'}`);
        }
      });
    }
  }

  it('fits a tablet: nothing is wider than 768', async (t) => {
    const {server, browser} = await start(t, 'de-DE');
    const page = await openPage(t, browser, server, '#/', {width: 768, height: 1024, touch: true});
    for (const view of views) {
      await page.evaluate((address) => { location.hash = address; }, view.address);
      await settled(page);
      const width = await page.evaluate(() => document.documentElement.scrollWidth);
      assert.ok(width <= 768, `${view.name} is ${width} wide`);
      await picture(page, `${view.name}-de-tablet`);
    }
  });
});
