/** One display as large as the window. */

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';

import { inRoom, pictures } from './room.mjs';

const only = (interval) => (tiles) => tiles.length === 1 && tiles[0][1] === interval;

/** What the large view says, by the names of the facts. */
async function facts(page) {
  const entries = await page.locator('#facts div').evaluateAll((facts) =>
    facts.map((fact) => [...fact.children].map(({ textContent }) => textContent)));
  return Object.fromEntries(entries);
}

describe('the large view', { concurrency: 3 }, () => {
  test('a click shows the whole picture, what is known of it, and nothing else is asked',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(`Hall:\n${host.address}`);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('Two'), 'green');
    await watcher.opener('Two').click();
    const dialog = watcher.page.getByRole('dialog', { name: 'Studio, Two' });
    await watcher.untilColour(dialog, 'green');
    await watcher.untilLook(only(200));
    host.show(1, pictures.blue);
    await watcher.untilColour(dialog, 'blue');
    const known = await facts(watcher.page);
    assert.match(known['Last picture'], /^\d\d:\d\d:\d\d$/);
    assert.match(known.Label, /^[0-9a-f]{32}-[0-9a-f]{32}-2$/);
    assert.deepEqual([known.Host, known.Machine, known.Display, known.Group, known.Size, known.Id],
                     [host.address, 'Studio', 'Two', 'Hall', '1920 × 1080',
                      'macos-display:Studio-1']);
    await watcher.page.getByRole('button', { name: 'Close' }).click();
    await dialog.waitFor({ state: 'hidden' });
    await watcher.untilLook((tiles) => tiles.length === 2);
    await watcher.untilColour(watcher.tile('Two'), 'blue');
  }));

  test('next and previous follow what the wall shows', inRoom(async (room) => {
    const host = await room.host('Studio', [['Left 1', 'red'], ['Right', 'blue'],
                                             ['Left 2', 'green'], ['Left 3', 'yellow']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('Left 3'), 'yellow');
    await watcher.page.getByRole('searchbox').fill('left');
    await watcher.opener('Left 1').click();
    const name = watcher.page.locator('#large-name');
    const press = async (button) => {
      await watcher.page.getByRole('button', { name: button }).click();
      return name.textContent();
    };
    assert.equal(await press('Next'), 'Studio, Left 2');
    await watcher.untilColour(watcher.page.getByRole('dialog'), 'green');
    assert.equal(await press('Next'), 'Studio, Left 3');
    assert.equal(await press('Next'), 'Studio, Left 1');
    assert.equal(await press('Previous'), 'Studio, Left 3');
  }));

  test('its interval is its own', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    await watcher.opener('One').click();
    await watcher.untilLook(only(200));
    await watcher.page.locator('#large-interval').selectOption('0.5 sec');
    await watcher.untilLook(only(500));
    await watcher.page.keyboard.press('Escape');
    await watcher.untilLook((tiles) => tiles.length === 2 && tiles[0][1] === 1000);
  }));

  test('a host that fails keeps its picture there, with since when and why',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    await watcher.opener('One').click();
    await watcher.untilColour(watcher.page.getByRole('dialog'), 'red');
    await host.fail();
    await watcher.page.getByText(/^refused: nothing listens there, since \d\d:\d\d \(.*sec\)$/)
      .waitFor();
    await watcher.untilColour(watcher.page.getByRole('dialog'), 'red');
    host.show(0, pictures.green);
    await host.comeBack();
    await watcher.untilColour(watcher.page.getByRole('dialog'), 'green');
  }));
});
