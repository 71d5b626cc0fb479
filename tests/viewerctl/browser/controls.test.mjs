/** Search, filter, size, interval, pause, full screen, and what they have the program ask for. */

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';

import { inRoom, pictures } from './room.mjs';

/** @param {number} interval milliseconds. */
const all = (interval) => (tiles) =>
  tiles.length > 0 && tiles.every((each) => each[1] === interval);
const nothing = (tiles) => tiles.length === 0;

describe('the controls', { concurrency: 3 }, () => {
  test('the search finds displays by host, machine, display and group', inRoom(async (room) => {
    const left = await room.host('Left', [['DELL', 'red'], ['Built-in', 'green']]);
    const right = await room.host('Right', [['EIZO', 'blue']]);
    await room.open(`Control room:\n${left.address}\nHall:\n${right.address}`);
    const { page, ...watcher } = await room.watch();
    await page.getByText('3 displays').waitFor();
    const search = page.getByRole('searchbox', { name: 'Search' });
    const found = async (text) => {
      await search.fill(text);
      return page.locator('.tile:visible .caption').allTextContents();
    };
    assert.deepEqual(await found('dell'), ['LeftDELL']);
    assert.deepEqual(await found('left IN'), ['LeftBuilt-in']);
    assert.deepEqual(await found('hall'), ['RightEIZO']);
    assert.deepEqual(await found(left.address), ['LeftDELL', 'LeftBuilt-in']);
    assert.deepEqual(await page.getByRole('heading', { level: 2 }).allTextContents(),
                     ['Control room']);
    await page.locator('#summary', { hasText: '2 of 3 displays' }).waitFor();
    assert.deepEqual(await found('nowhere'), []);
    await page.locator('#summary', { hasText: 'No display matches.' }).waitFor();
    await page.locator('#news', { hasText: 'No display matches.' }).waitFor({ state: 'attached' });
    assert.equal((await found('')).length, 3);
    assert.equal(watcher.problems.length, 0);
  }));

  test('displays that are not found are not asked', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilLook((tiles) => tiles.length === 2);
    await watcher.page.getByRole('searchbox').fill('two');
    await watcher.untilLook((tiles) => tiles.length === 1);
  }));

  test('hosts that do not answer can be hidden, and show when they are back',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    const other = await room.host('Other', [['Screen', 'blue']]);
    await room.open(`${host.address}\n${other.address}`);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    await watcher.page.getByRole('checkbox', { name: 'Only reachable' }).check();
    await host.fail();
    await watcher.tile('One').waitFor({ state: 'hidden' });
    assert.deepEqual(await watcher.captions(), ['OtherScreen']);
    await host.comeBack();
    await watcher.tile('One').waitFor();
  }));

  test('tiles have the size that is chosen', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green'], ['Three', 'blue']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('Three'), 'blue');
    const size = watcher.page.getByRole('slider', { name: 'Size' });
    await size.fill('120');
    const small = (await watcher.tile('One').boundingBox()).width;
    await size.fill('640');
    const large = (await watcher.tile('One').boundingBox()).width;
    assert.ok(small >= 120 && small < 240 && large >= 640, `${small}, ${large}`);
    await watcher.page.waitForFunction(() => document.querySelector('.tile canvas').width === 640);
  }));

  test('the program asks as often as the page says, from 0.2 seconds to 10 minutes',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilLook(all(1000));
    const interval = watcher.page.locator('#interval');
    const offered = await interval.locator('option').allTextContents();
    assert.deepEqual([offered[0], offered.at(-1)], ['0.2 sec', '10 min']);
    await interval.selectOption('0.2 sec');
    await watcher.untilLook(all(200));
    await interval.selectOption('10 min');
    await watcher.untilLook(all(600000));
  }));

  test('a paused page asks for nothing and says how old it is', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    const pause = watcher.page.getByRole('button', { name: 'Pause' });
    await pause.click();
    await watcher.untilLook(nothing);
    await watcher.untilTile('One', /^as of \d\d:\d\d:\d\d$/);
    assert.equal(await pause.getAttribute('aria-pressed'), 'true');
    host.show(0, pictures.green);
    await pause.click();
    await watcher.untilColour(watcher.tile('One'), 'green');
  }));

  test('a hidden page asks for nothing', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilLook((tiles) => tiles.length === 1);
    // Driven browsers take every page for visible, so the page is told otherwise.
    const setHidden = (isHidden) => watcher.page.evaluate((value) => {
      Object.defineProperty(document, 'hidden', { value, configurable: true });
      document.dispatchEvent(new Event('visibilitychange'));
    }, isHidden);
    await setHidden(true);
    await watcher.untilLook(nothing);
    await setHidden(false);
    await watcher.untilLook((tiles) => tiles.length === 1);
  }));

  test('tiles out of sight are not asked until they are scrolled to', inRoom(async (room) => {
    const hosts = [];
    for (let number = 1; number <= 8; ++number) {
      hosts.push(await room.host(`Studio ${number}`, [['Screen', 'red']]));
    }
    await room.open(hosts.map(({ address }) => address).join('\n'));
    // Two tiles of 600 pixels beside each other, and one row and a half of them.
    const watcher = await room.watch({ viewport: { width: 1280, height: 620 } }, (page) =>
      page.addInitScript(() => sessionStorage.setItem('settings', '{"size":600}')));
    await watcher.page.getByText('8 displays').waitFor();
    await watcher.untilLook((tiles) => tiles.length === 4);
    await hosts[3].until(() => hosts[3].displays[0].requests > 2);
    assert.equal(hosts[6].displays[0].requests + hosts[7].displays[0].requests, 0);
    await watcher.tile('Studio 8').scrollIntoViewIfNeeded();
    await watcher.untilColour(watcher.tile('Studio 8'), 'red');
    const first = watcher.looks.find((tiles) => tiles.length === 4)[0][0];
    await watcher.untilLook((tiles) => !tiles.some(([tile]) => tile === first));
  }));

  test('what was chosen is kept when the page is loaded again', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('Two'), 'green');
    await watcher.page.getByRole('searchbox').fill('one');
    await watcher.page.getByRole('slider', { name: 'Size' }).fill('400');
    await watcher.page.locator('#interval').selectOption('5 sec');
    await watcher.page.reload();
    await watcher.untilColour(watcher.tile('One'), 'red');
    assert.deepEqual(await watcher.captions(), ['StudioOne']);
    assert.equal(await watcher.page.getByRole('slider', { name: 'Size' }).inputValue(), '400');
    await watcher.untilLook(all(5000));
  }));

  test('the page has the full screen and gives it back', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const { page } = await room.watch();
    const button = page.getByRole('button', { name: 'Full screen' });
    await button.click();
    await page.waitForFunction(() => document.fullscreenElement !== null);
    await page.locator('#full-screen[aria-pressed="true"]').waitFor();
    await button.click();
    await page.waitForFunction(() => document.fullscreenElement === null);
  }));
});
