/** Who may look, and what the page tells whom. */

import assert from 'node:assert/strict';
import http from 'node:http';
import { describe, test } from 'node:test';

import { inRoom, pictures } from './room.mjs';

describe('the page is private', { concurrency: 3 }, () => {
  test('the program\'s file leads to the wall, and its token leaves the address',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch({ url: `file://${room.program.file}` });
    await watcher.untilColour(watcher.tile('One'), 'red');
    assert.equal(watcher.page.url(), `${room.program.origin}/`);
  }));

  test('nobody but the program is asked, no cookie is kept and no rule of the page broken',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(host.address);
    const watcher = await room.watch({}, (page) => page.addInitScript(() => {
      globalThis.violations = [];
      document.addEventListener('securitypolicyviolation', ({ violatedDirective }) =>
        globalThis.violations.push(violatedDirective));
    }));
    await watcher.untilColour(watcher.tile('Two'), 'green');
    await watcher.opener('Two').click();
    await watcher.untilColour(watcher.page.getByRole('dialog'), 'green');
    const isElsewhere = (url) => !url.startsWith(`${room.program.origin}/`);
    assert.deepEqual(watcher.requests.filter(isElsewhere), []);
    assert.deepEqual(await watcher.page.context().cookies(), []);
    assert.deepEqual(await watcher.page.evaluate(() => globalThis.violations), []);
    assert.equal(await watcher.page.evaluate(() => localStorage.length), 0);
    // The rules are in force.
    const isRefused = await watcher.page.evaluate(() => {
      const image = new Image();
      image.src = 'data:image/gif;base64,R0lGODlhAQABAAAAACwAAAAAAQABAAA=';
      return image.decode().then(() => false, () => true);
    });
    assert.ok(isRefused);
    assert.deepEqual(watcher.problems.splice(0).map((each) => /img-src/.test(each)), [true]);
  }));

  test('a page without the token says how it has to be opened', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const { page } = await room.watch({ url: room.program.origin });
    await page.getByText('open the file that it names').waitFor();
    assert.equal(await page.locator('#controls').isVisible(), false);
  }));

  test('a page with another token gets nothing', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const { page } = await room.watch({ url: `${room.program.origin}/#${'0'.repeat(64)}` });
    await page.getByText('velmora-viewerctl does not answer').waitFor();
    assert.equal(await page.locator('.tile').count(), 0);
  }));

  test('a page from elsewhere gets nothing, though it knows the token', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const elsewhere = http.createServer((request, response) => response.end('<p>elsewhere'));
    await new Promise((listening) => elsewhere.listen(0, '127.0.0.1', listening));
    const { port } = /** @type {import('node:net').AddressInfo} */ (elsewhere.address());
    const { page } = await room.watch({ url: `http://127.0.0.1:${port}/` });
    const live = `${room.program.origin.replace('http', 'ws')}/live`;
    const token = room.program.url.split('#')[1];
    const connects = () => page.evaluate(([url, secret]) => new Promise((resolve) => {
      const socket = new WebSocket(url, ['velmora-wall-1', secret]);
      socket.onopen = () => resolve(true);
      socket.onerror = () => resolve(false);
    }), [live, token]);
    assert.equal(await connects(), false);
    // From the program's own page the same is taken.
    await page.goto(room.program.origin);
    assert.equal(await connects(), true);
    elsewhere.close();
  }));

  test('eight tabs stay live while a display is asked once for all', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watchers = await Promise.all(Array.from({ length: 8 }, () => room.watch()));
    await Promise.all(watchers.map((each) => each.untilColour(each.tile('One'), 'red')));
    const [display] = host.displays;
    host.hold();
    await host.until(() => host.held.length === 1);
    host.show(0, pictures.green);
    const { requests } = display;
    host.answerOne();
    await Promise.all(watchers.map((each) => each.untilColour(each.tile('One'), 'green')));
    // One answer was enough for all, and at most the next one is waited for.
    assert.ok(display.requests <= requests + 1, `${display.requests - requests} more requests`);
  }));
});

describe('the program', () => {
  test('that has gone is missed', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    await room.program.interrupt();
    await watcher.page.getByText('velmora-viewerctl does not answer').waitFor();
    await watcher.untilTile('One', /^as of \d\d:\d\d:\d\d$/);
    await watcher.untilColour(watcher.tile('One'), 'red');
  }));

  test('that is back is looked at again', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(host.address);
    let cut;
    const watcher = await room.watch({}, (page) => page.routeWebSocket(/live$/, (socket) => {
      const server = socket.connectToServer();
      cut = async () => {
        await server.close();
        await socket.close();
      };
    }));
    await watcher.untilColour(watcher.tile('One'), 'red');
    await cut();
    await watcher.page.locator('#trouble', { hasText: 'does not answer' }).waitFor();
    host.show(0, pictures.blue);
    await watcher.untilColour(watcher.tile('One'), 'blue');
    await watcher.page.locator('#trouble').waitFor({ state: 'hidden' });
    await watcher.page.locator('#news', { hasText: 'answers again' })
      .waitFor({ state: 'attached' });
    assert.equal(await watcher.page.locator('.tile').count(), 2);
  }));
});
