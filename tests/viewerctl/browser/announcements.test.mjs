/** What is said to those who hear the page, and what is not. */

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';

import { inRoom, pictures } from './room.mjs';
import { ScriptedProgram } from './scripted-program.mjs';

describe('announcements', { concurrency: 3 }, () => {
  test('new pictures are never announced', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    await watcher.page.evaluate(() => {
      globalThis.announced = [];
      const live = document.querySelectorAll(
        '[aria-live], [role="status"], [role="alert"], output');
      for (const region of live) {
        new MutationObserver(() => globalThis.announced.push(region.textContent))
          .observe(region, { childList: true, characterData: true, subtree: true });
      }
    });
    const name = await watcher.opener('One').getAttribute('aria-label');
    for (const colour of ['green', 'blue', 'yellow']) {
      host.show(0, pictures[colour]);
      await watcher.untilColour(watcher.tile('One'), colour);
    }
    assert.deepEqual(await watcher.page.evaluate(() => globalThis.announced), []);
    const inside = '#wall [aria-live], #wall [role="status"], #wall [role="alert"]';
    assert.equal(await watcher.page.locator(inside).count(), 0);
    // Whoever has the focus there is told nothing anew either.
    assert.equal(await watcher.opener('One').getAttribute('aria-label'), name);
  }));

  test('a host that is lost and comes back is told of politely', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    const news = watcher.page.getByRole('status').and(watcher.page.locator('#news'));
    await host.fail();
    await news.filter({ hasText: 'Studio does not answer: refused: nothing listens there.' })
      .waitFor({ state: 'attached' });
    await host.comeBack();
    await news.filter({ hasText: 'Studio answers again.' }).waitFor({ state: 'attached' });
  }));

  test('a thousand hosts that fail at once are one sentence', inRoom(async (room) => {
    const program = new ScriptedProgram(1000);
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch({}, (page) => program.stand(page));
    await watcher.page.getByText('1,000 displays').waitFor();
    await watcher.page.evaluate(() => {
      globalThis.sentences = [];
      const news = document.getElementById('news');
      new MutationObserver(() => globalThis.sentences.push(news.textContent))
        .observe(news, { childList: true });
    });
    // However long they are on their way: the page hears of one half, and half a second later of
    // the other one.
    await watcher.page.evaluate(() => {
      const dispatch = EventTarget.prototype.dispatchEvent;
      const held = [];
      EventTarget.prototype.dispatchEvent = function (event) {
        return event.type === 'message' ? held.push(() => dispatch.call(this, event)) > 0
                                        : dispatch.call(this, event);
      };
      globalThis.countHeld = () => held.length;
      globalThis.release = () => {
        EventTarget.prototype.dispatchEvent = dispatch;
        held.splice(0, 500).forEach((hear) => hear());
        setTimeout(() => held.forEach((hear) => hear()), 500);
      };
    });
    program.tellAll('timed-out');
    await watcher.page.waitForFunction(() => globalThis.countHeld() === 1000);
    await watcher.page.evaluate(() => globalThis.release());
    await watcher.page.waitForFunction(() => globalThis.sentences.length > 0);
    program.tell(0, null);
    await watcher.page.waitForFunction(() => globalThis.sentences.length > 1);
    assert.deepEqual(await watcher.page.evaluate(() => globalThis.sentences),
                     ['1,000 hosts do not answer.', 'Machine 0 answers again.']);
  }));
});
