/** What the tiles of the wall show. */

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';

import { inRoom, pictures } from './room.mjs';

describe('a tile', { concurrency: 3 }, () => {
  test('displays stand in the order of the hosts file, in its groups', inRoom(async (room) => {
    const left = await room.host('Left', [['One', 'red'], ['Two', 'green']]);
    const hall = await room.host('Hall', [['Screen', 'blue']]);
    const door = await room.host('Door', [['Screen', 'blue']]);
    await room.open(`${door.address}\nControl room:\n${left.address}\nHall:\n${hall.address}\n`);
    const { page } = await room.watch();
    await page.waitForFunction(() =>
      document.querySelectorAll('.display:not(:empty)').length === 4);
    assert.deepEqual(await page.locator('.caption').allTextContents(),
                     ['DoorScreen', 'LeftOne', 'LeftTwo', 'HallScreen']);
    assert.deepEqual(await page.getByRole('heading', { level: 2 }).allTextContents(),
                     ['Control room', 'Hall']);
    const group = page.getByRole('region', { name: 'Control room' });
    assert.equal(await group.getByRole('listitem').count(), 2);
  }));

  test('a tile shows the newest picture, and for how long it is the same', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    await watcher.untilColour(watcher.tile('Two'), 'green');
    await watcher.untilTile('One', /^same picture for \d+ sec$/);
    host.show(0, pictures.blue);
    await watcher.untilColour(watcher.tile('One'), 'blue');
    await watcher.untilNew('One', host, 0, [pictures.red, pictures.blue]);
    await watcher.untilTile('Two', /^same picture for \d+ sec$/);
  }));

  test('a display that its host lists late is asked for', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    const list = host.holdListing();
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilTile(host.address, /./); // A tile that is not seen says nothing.
    await watcher.page.waitForTimeout(300); // By then it was told what is looked at.
    list();
    await watcher.untilColour(watcher.tile('One'), 'red');
  }));

  test('bytes that were seen before are still the same picture under a new label',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilTile('One', /^same picture for \d+ sec$/);
    host.show(0, pictures.red);
    const { requests } = host.displays[0];
    await host.until(() => host.displays[0].requests > requests + 1);
    assert.match(await watcher.tile('One').locator('.state').textContent(), /^same picture/);
  }));

  test('of six displays four are asked while the others rest, and each has its turn',
       inRoom(async (room) => {
    const names = ['red', 'green', 'blue', 'yellow', 'white', 'grey'];
    const host = await room.host('Studio', names.map((colour) => [colour, colour]));
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.page.locator('[data-kind="resting"]').nth(1).waitFor();
    assert.equal(await watcher.page.locator('[data-kind="resting"] .state').first().textContent(),
                 'resting until its turn');
    for (const name of names) {
      await watcher.untilColour(watcher.tile(name), name);
    }
  }));

  test('a display without a picture is said to have none, and its host to answer',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', null]]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilTile('Two', /^no picture now, since \d\d:\d\d$/);
    assert.equal(await watcher.page.locator('#summary').textContent(), '2 displays');
    host.show(0, null);
    await watcher.untilTile('One', /^no picture now/);
    await watcher.untilColour(watcher.tile('One'), 'red');
    host.show(0, pictures.green);
    await watcher.untilColour(watcher.tile('One'), 'green');
    await watcher.untilTile('One', /picture/);
  }));

  test('a host that fails keeps its last pictures, with since when and why',
       inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red']]);
    const other = await room.host('Other', [['Screen', 'blue']]);
    await room.open(`${host.address}\n${other.address}`);
    // What fades would be seen on its way.
    const watcher = await room.watch({ reducedMotion: 'reduce' });
    await watcher.untilColour(watcher.tile('One'), 'red');
    await host.fail();
    await watcher.untilTile('One', /^refused: nothing listens there, since \d\d:\d\d$/);
    await watcher.page.getByText('2 displays · 1 host does not answer').waitFor();
    await watcher.untilColour(watcher.tile('One'), 'red');
    const filter = await watcher.tile('One').locator('canvas')
      .evaluate((canvas) => getComputedStyle(canvas).filter);
    assert.equal(filter, 'grayscale(1)');
    host.show(0, pictures.green);
    await host.comeBack();
    await watcher.untilColour(watcher.tile('One'), 'green');
    await watcher.untilTile('One', /picture/);
    await watcher.page.getByText('2 displays', { exact: true }).waitFor();
  }));

  test('a host that was never reached is one tile with the reason', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await host.fail();
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilTile(host.address, /^refused/);
    assert.deepEqual(await watcher.captions(), [host.address]);
    await host.comeBack();
    await watcher.untilColour(watcher.tile('Two'), 'green');
    assert.deepEqual(await watcher.captions(), ['StudioOne', 'StudioTwo']);
  }));

  test('what cannot be decoded leaves the last picture', inRoom(async (room) => {
    const host = await room.host('Studio', [['One', 'red'], ['Two', 'green']]);
    await room.open(host.address);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('One'), 'red');
    // The head is a picture's; what follows is none.
    const broken = [pictures.blue, pictures.green].map((picture) =>
      Buffer.concat([picture.subarray(0, 700), Buffer.from([0xff, 0xd9])]));
    await watcher.untilNew('One', host, 0, broken);
    host.show(1, pictures.blue);
    await watcher.untilColour(watcher.tile('Two'), 'blue');
    host.show(0, pictures.yellow);
    await watcher.untilColour(watcher.tile('One'), 'yellow');
  }));

  test('names are text, whatever is in them', inRoom(async (room) => {
    const name = '<img src=x onerror=alert(1)>\u202egnp.exe';
    const host = await room.host('<b>Studio</b>', [[name, 'red']]);
    await room.open(`<i>Room</i>:\n${host.address}`);
    const watcher = await room.watch();
    await watcher.untilColour(watcher.tile('Studio'), 'red');
    await watcher.opener('Studio').click();
    assert.equal(await watcher.page.locator('.caption').textContent(), `<b>Studio</b>${name}`);
    assert.equal(await watcher.page.locator('h2').first().textContent(), '<i>Room</i>');
    assert.equal(await watcher.page.locator('#large-name').textContent(), `<b>Studio</b>, ${name}`);
    assert.equal(await watcher.page.locator('img, b, i').count(), 0);
  }));
});
