/** The wall for those who use the keyboard alone, hear it, enlarge it or choose its colours. */

import assert from 'node:assert/strict';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import { describe, test } from 'node:test';

import { inRoom } from './room.mjs';
import { ScriptedProgram } from './scripted-program.mjs';

const axe = fs.readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

/** What axe finds wrong, by rule and place. */
async function findings(page) {
  await page.evaluate(axe);
  const { violations } = await page.evaluate(() => globalThis.axe.run());
  return violations.map(({ id, nodes }) => `${id}: ${nodes.map(({ html }) => html).join(' | ')}`);
}

/** A room with a live display, one without a picture, and a host that does not answer any more. */
async function openMixed(room) {
  const studio = await room.host('Studio', [['One', 'red'], ['Two', null]]);
  const cellar = await room.host('Cellar', [['Screen', 'blue']]);
  await room.open(`Hall:\n${studio.address}\n${cellar.address}`);
  return async (about) => {
    const watcher = await room.watch(about);
    await watcher.untilColour(watcher.tile('One'), 'red');
    await watcher.tile('Two').and(watcher.page.locator('[data-kind="no-picture"]')).waitFor();
    await watcher.tile('Cellar').and(watcher.page.locator('[data-kind="live"]')).waitFor();
    await cellar.fail();
    await watcher.tile('Cellar').and(watcher.page.locator('[data-kind="failed"]')).waitFor();
    return { watcher };
  };
}

const looks = { dark: { colorScheme: 'dark' }, light: { colorScheme: 'light' },
                'forced colours': { forcedColors: 'active' },
                Russian: { locale: 'ru-RU' } };

describe('accessibility', { concurrency: 3 }, () => {
  for (const [name, about] of Object.entries(looks)) {
    test(`axe finds nothing: ${name}`, inRoom(async (room) => {
      const { watcher } = await (await openMixed(room))(about);
      assert.deepEqual(await findings(watcher.page), []);
      await watcher.opener('Cellar').click();
      assert.deepEqual(await findings(watcher.page), []);
    }));
  }

  test('the keyboard alone goes through the wall, into the large view and back',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green'], ['Three', 'blue']]);
    await room.open(host.address);
    const { page, ...watcher } = await room.watch();
    await page.locator('.tile').nth(2).waitFor();
    const focused = () => page.evaluate(() => {
      const { activeElement: { ariaLabel, id, textContent } } = document;
      return id || ariaLabel || textContent;
    });
    const walk = async (...keys) => {
      for (const key of keys) {
        await page.keyboard.press(key);
      }
      return (await focused()).replace(/:.*/, '');
    };
    assert.equal(await walk('Tab'), 'To the displays');
    assert.equal(await walk('Tab'), 'search');
    assert.equal(await walk('Tab'), 'only-reachable');
    assert.equal(await walk('Tab'), 'size');
    assert.equal(await walk('Tab'), 'interval');
    assert.equal(await walk('Tab'), 'pause');
    assert.equal(await walk('Tab'), 'full-screen');
    assert.equal(await walk('Tab'), 'Studio, One');
    assert.equal(await walk('Tab'), 'Studio, Two');
    assert.equal(await walk('ArrowRight'), 'Studio, Three');
    assert.equal(await walk('Home'), 'Studio, One');
    assert.equal(await walk('End', 'ArrowLeft'), 'Studio, Two');
    await page.keyboard.press('Enter');
    const dialog = page.getByRole('dialog', { name: 'Studio, Two' });
    await dialog.waitFor();
    assert.equal(await focused(), 'previous');
    assert.equal(await walk('Tab', 'Tab', 'Tab'), 'close');
    await page.keyboard.press('ArrowRight');
    await page.getByRole('dialog', { name: 'Studio, Three' }).waitFor();
    await page.keyboard.press('Escape');
    await page.locator('dialog').waitFor({ state: 'hidden' });
    assert.equal(await walk(), 'Studio, Three');
    assert.equal(watcher.problems.length, 0);
  }));

  test('the arrow keys go up and down the columns', inRoom(async (room) => {
    const names = ['One', 'Two', 'Three', 'Four', 'Five'];
    const host = await room.host('Studio', names.map((name) => [name, 'red']));
    await room.open(host.address);
    const watcher = await room.watch({ viewport: { width: 660, height: 800 } });
    await watcher.tile('Five').waitFor();
    // Two columns.
    const press = async (key) => {
      await watcher.page.keyboard.press(key);
      return watcher.page.evaluate(() => document.activeElement.ariaLabel.replace(/:.*/, ''));
    };
    await watcher.opener('Two').focus();
    assert.equal(await press('ArrowDown'), 'Studio, Four');
    assert.equal(await press('ArrowDown'), 'Studio, Five');
    assert.equal(await press('ArrowUp'), 'Studio, Three');
  }));

  test('the focus is on something after what had it is hidden or gone', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    const other = await room.host('Other', [['Screen', 'blue']]);
    await room.open(`${host.address}\n${other.address}`);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    await watcher.page.getByRole('checkbox').check();
    await watcher.opener('One').focus();
    await host.fail();
    await watcher.tile('One').waitFor({ state: 'hidden' });
    assert.equal(await watcher.page.evaluate(() => document.activeElement.id), 'wall');
    await watcher.page.keyboard.press('Tab');
    assert.match(await watcher.page.evaluate(() => document.activeElement.ariaLabel), /^Other/);
  }));

  test('wall, large view and a dead tile have names and states that can be heard',
       inRoom(async (room) => {
    const { watcher } = await (await openMixed(room))();
    const wall = await watcher.page.locator('#wall').ariaSnapshot();
    const time = /\d\d:\d\d/g;
    const span = /same picture for \d+ sec|new picture/g;
    assert.equal(wall.replace(time, '00:00').replace(span, 'same'), `\
- main:
  - region "Hall":
    - heading "Hall" [level=2]
    - list:
      - listitem:
        - 'button "Studio, One: live"'
        - paragraph: same
      - listitem:
        - 'button "Studio, Two: no picture now"'
        - paragraph: no picture now, since 00:00
      - listitem:
        - 'button "Cellar, Screen: does not answer"'
        - paragraph: "refused: nothing listens there, since 00:00"`);
    await watcher.opener('Cellar').click();
    const large = await watcher.page.getByRole('dialog').ariaSnapshot();
    for (const part of ['- dialog "Cellar, Screen":', '- heading "Cellar, Screen" [level=2]',
                        '- button "Previous"', '- button "Next"', '- button "Close"',
                        '- img "Picture of Cellar, Screen"', '- term: State',
                        '- combobox "Every"']) {
      assert.ok(large.includes(part), `${part} is not in\n${large}`);
    }
    assert.match(large, /- definition: "?refused: nothing listens there, since/);
  }));

  test('at 400 percent nothing has to be scrolled sideways', inRoom(async (room) => {
    const { watcher } = await (await openMixed(room))();
    await watcher.page.setViewportSize({ width: 320, height: 200 }); // 1,280 × 800 at 400 percent
    const isWide = (selector) => watcher.page.locator(selector)
      .evaluate((element) => element.scrollWidth > element.clientWidth);
    assert.equal(await isWide('html'), false);
    await watcher.page.getByRole('slider').fill('640');
    assert.equal(await isWide('html'), false);
    await watcher.opener('Cellar').click();
    await watcher.page.getByText('Label').waitFor();
    assert.equal(await isWide('dialog'), false);
    // Nothing covers the wall there for good.
    const position = await watcher.page.locator('header')
      .evaluate((header) => getComputedStyle(header).position);
    assert.equal(position, 'static');
  }));

  test('who wants less motion has none but the pictures', inRoom(async (room) => {
    const { watcher } = await (await openMixed(room))({ reducedMotion: 'reduce' });
    const moving = await watcher.page.evaluate(() => [...document.querySelectorAll('*')].filter(
      (element) => {
        const { transitionDuration, animationName } = getComputedStyle(element);
        return transitionDuration !== '0s' || animationName !== 'none';
      }).length);
    assert.equal(moving, 0);
  }));

  test('in forced colours a pressed button and a dead tile still differ', inRoom(async (room) => {
    const { watcher } = await (await openMixed(room))({ forcedColors: 'active' });
    const pause = watcher.page.getByRole('button', { name: 'Pause' });
    const style = (locator, name) => locator.evaluate(
      (element, property) => getComputedStyle(element)[property], name);
    const before = await style(pause, 'backgroundColor');
    await pause.click();
    assert.notEqual(await style(pause, 'backgroundColor'), before);
    assert.equal(await style(watcher.tile('One'), 'borderTopStyle'), 'solid');
    assert.equal(await style(watcher.tile('Cellar'), 'borderTopStyle'), 'dashed');
    assert.equal(await watcher.tile('Cellar').locator('.state').evaluate(
      (element) => getComputedStyle(element, '::before').content), '"✕" / ""');
  }));

  test('a Russian browser has the page in Russian, with its plurals', inRoom(async (room) => {
    const program = new ScriptedProgram(22);
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const { page } = await room.watch({ locale: 'ru-RU' }, (each) => program.stand(each));
    await page.getByText('22 дисплея', { exact: true }).waitFor();
    program.tell(0, 'timed-out');
    await page.getByText('22 дисплея · 1 хост не отвечает').waitFor();
    await page.getByText(/^время ожидания истекло, с \d\d:\d\d$/).waitFor();
    for (let number = 1; number < 5; ++number) {
      program.tell(number, 'timed-out');
    }
    await page.getByText('22 дисплея · 5 хостов не отвечают').waitFor();
    await page.getByRole('button', { name: 'Пауза' }).waitFor();
    assert.equal(await page.evaluate(() => document.documentElement.lang), 'ru');
  }));
});
