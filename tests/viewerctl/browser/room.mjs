/** A room of scripted hosts, the program that shows it, and browsers that look. */

import assert from 'node:assert/strict';
import { after, before } from 'node:test';

import { launchBrowser, paintPictures } from './browser.mjs';
import { inTime, patience } from './patience.mjs';
import { ScriptedHost } from './scripted-host.mjs';
import { WallProgram } from './wall-program.mjs';

/** @type {import('playwright-core').Browser} */
let browser;
/** One-coloured JPEGs of 640 × 360 pixels, by their names. @type {Record<string, Buffer>} */
export const pictures = {};
const colours = { red: [220, 20, 20], green: [20, 160, 20], blue: [20, 20, 220],
                  yellow: [230, 220, 20], white: [250, 250, 250], grey: [120, 120, 120] };

before(async () => {
  browser = await launchBrowser();
  const painted = await paintPictures(browser, Object.values(colours), (context, [r, g, b]) => {
    context.fillStyle = `rgb(${r} ${g} ${b})`;
    context.fillRect(0, 0, 640, 360);
  });
  Object.keys(colours).forEach((name, index) => { pictures[name] = painted[index]; });
});
after(() => browser.close());

/** One page that looks at a wall, and what it did. */
export class Watcher {
  /** What the page told the program to ask for, as lists of tile and interval; the newest last. */
  looks = [];
  requests = [];
  problems = [];

  /** @param {import('playwright-core').Page} page */
  constructor(page) {
    this.page = page;
    page.setDefaultTimeout(patience);
    page.on('request', (request) => this.requests.push(request.url()));
    page.on('pageerror', (error) => this.problems.push(String(error)));
    page.on('console', (message) => {
      // A browser that could not connect says so itself.
      if (message.type() === 'error' && !message.text().startsWith('WebSocket connection')) {
        this.problems.push(message.text());
      }
    });
    page.on('websocket', (socket) => socket.on('framesent', ({ payload }) => {
      this.looks.push(JSON.parse(String(payload)).tiles);
      this.#waiting.splice(0).forEach((resolve) => resolve());
    }));
  }

  #waiting = [];

  /** @param {(tiles: [number, number][]) => boolean} condition of what the page asks for now. */
  async untilLook(condition) {
    while (this.looks.length === 0 || !condition(this.looks[this.looks.length - 1])) {
      await inTime(new Promise((resolve) => this.#waiting.push(resolve)),
                   () => `another look than ${JSON.stringify(this.looks.at(-1))}`);
    }
  }

  /** The tile whose caption has this text. @param {string|RegExp} text */
  tile(text) {
    return this.page.locator('.tile', {
      has: this.page.locator('.caption', { hasText: text }) });
  }

  /** The button that opens it. */
  opener(text) {
    return this.tile(text).getByRole('button');
  }

  /** Waits until the state of the tile reads so. @param {string|RegExp} state */
  async untilTile(text, state) {
    await this.tile(text).locator('.state').filter({ hasText: state }).waitFor();
  }

  /**
   * Waits until the tile says that its picture is new: of one it does so for a second, which a busy
   * machine may not see. Shows these pictures in turn, until then.
   */
  async untilNew(text, host, display, shown) {
    let turn = 0;
    const showing = setInterval(() => host.show(display, shown[++turn % shown.length]), 400);
    host.show(display, shown[0]);
    try {
      await this.untilTile(text, 'new picture');
    } finally {
      clearInterval(showing);
    }
  }

  /** Waits until the canvas in there shows this colour in its middle. */
  async untilColour(locator, colour) {
    const canvas = await locator.locator('canvas').elementHandle();
    await this.page.waitForFunction(([element, wanted]) => {
      const { width, height } = element;
      if (width < 2) {
        return false;
      }
      const pixel = element.getContext('2d').getImageData(width / 2, height / 2, 1, 1).data;
      return wanted.every((value, index) => Math.abs(value - pixel[index]) < 8);
    }, [canvas, colours[colour]]);
  }

  /** The names of the tiles that are shown, in their order. */
  captions() {
    return this.page.locator('.tile:visible .caption').allTextContents();
  }
}

export class Room {
  #hosts = [];
  #contexts = [];
  #watchers = [];

  /** A host with displays of these names and colours; no colour, no picture. */
  async host(machine, displays) {
    const host = await ScriptedHost.start(machine, displays.map(([name, colour]) => ({
      name, picture: colour ? pictures[colour] : null })));
    this.#hosts.push(host);
    return host;
  }

  /** @param {string} hostsFile */
  async open(hostsFile) {
    this.program = await WallProgram.start(hostsFile);
  }

  /**
   * @param {object} [about] as Playwright's contexts take it.
   * @param {(page: import('playwright-core').Page) => Promise<void>} [prepare]
   */
  async watch({ url = this.program.url, ...about } = {}, prepare = async () => {}) {
    const context = await browser.newContext({ viewport: { width: 1280, height: 800 }, ...about });
    this.#contexts.push(context);
    const watcher = new Watcher(await context.newPage());
    this.#watchers.push(watcher);
    await prepare(watcher.page);
    await watcher.page.goto(url);
    return watcher;
  }

  /** Ends everything; no page may have tried what it must not. */
  async close() {
    await Promise.all(this.#contexts.map((context) => context.close()));
    await this.program?.stop();
    await Promise.all(this.#hosts.map((host) => host.fail()));
    assert.deepEqual(this.#watchers.flatMap(({ problems }) => problems), []);
  }
}

/** Runs a test in a room of its own. @param {(room: Room) => Promise<void>} run */
export function inRoom(run) {
  return async () => {
    const room = new Room();
    try {
      await run(room);
    } finally {
      await room.close();
    }
  };
}
