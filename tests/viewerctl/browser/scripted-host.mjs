/** Hosts that answer as a test says, each on a loopback port of its own. */

import { once } from 'node:events';
import http from 'node:http';

import { inTime } from './patience.mjs';

const labelStem = '0123456789abcdef0123456789abcdef-fedcba9876543210fedcba9876543210-';

/**
 * @typedef {object} Display
 * @property {string} id
 * @property {string} name
 * @property {Buffer|null} picture what it shows; without one it has no picture now.
 * @property {number} requests for its picture so far.
 * @property {number} number of its picture.
 */

export class ScriptedHost {
  /** @type {Display[]} */
  displays;
  /** The requests for pictures that wait, by what answers them. @type {(() => void)[]} */
  held = [];
  #isHolding = false;
  #listed = Promise.resolve();
  #server = http.createServer((request, response) => this.#answer(request, response));
  #waiting = [];

  /**
   * @param {string} machine
   * @param {{id?: string, name: string, picture: Buffer|null}[]} displays
   */
  static async start(machine, displays) {
    const host = new ScriptedHost();
    host.machine = machine;
    host.displays = displays.map((display, index) => ({
      id: `macos-display:${machine}-${index}`, requests: 0, number: 1, ...display }));
    await host.listen(0);
    return host;
  }

  async listen(port) {
    this.#server.listen(port, '127.0.0.1');
    await once(this.#server, 'listening');
    this.port = /** @type {import('node:net').AddressInfo} */ (this.#server.address()).port;
    this.address = `127.0.0.1:${this.port}`;
  }

  /** Nothing listens on its port from now on. */
  async fail() {
    this.#server.closeAllConnections();
    await new Promise((closed) => this.#server.close(closed));
  }

  /** It listens where it did before. */
  comeBack() {
    return this.listen(this.port);
  }

  /** @param {number} index of the display. @param {Buffer|null} picture */
  show(index, picture) {
    this.displays[index].picture = picture;
    ++this.displays[index].number;
  }

  /** Requests for its displays wait until the function is called that this yields. */
  holdListing() {
    let list;
    this.#listed = new Promise((resolve) => { list = resolve; });
    return list;
  }

  /** Requests for pictures wait from now on. */
  hold() {
    this.#isHolding = true;
  }

  /** The one that has waited longest waits no more. */
  answerOne() {
    this.held.shift()?.();
  }

  /** @param {() => boolean} condition is looked at with each request. */
  async until(condition) {
    while (!condition()) {
      await inTime(new Promise((resolve) => this.#waiting.push(resolve)),
                   () => `another request to ${this.machine}`);
    }
  }

  /** @param {http.IncomingMessage} request @param {http.ServerResponse} response */
  async #answer(request, response) {
    const url = new URL(request.url, 'http://host');
    const display = this.displays.find(({ id }) => id === url.searchParams.get('id'));
    if (url.pathname === '/viewer/v1/displays') {
      await this.#listed;
      this.#send(response, 200, 'application/json', this.#listing());
    } else if (!display) {
      this.#send(response, 404, 'text/plain', '');
    } else {
      ++display.requests;
      const turn = this.#isHolding && new Promise((answer) => this.held.push(answer));
      this.#waiting.splice(0).forEach((resolve) => resolve());
      await turn;
      const { picture, number } = display;
      this.#sendPicture(response, picture, number);
    }
  }

  #sendPicture(response, picture, number) {
    if (picture) {
      this.#send(response, 200, 'image/jpeg', picture, { 'X-Velmora-Frame': labelStem + number });
    } else {
      this.#send(response, 503, 'text/plain', '');
    }
  }

  #listing() {
    return JSON.stringify({
      protocol: 'Velmora.Windows.ViewerHost', version: 1, machineName: this.machine,
      displays: this.displays.map(({ id, name }) => ({ id, name, width: 1920, height: 1080 })) });
  }

  #send(response, status, type, body, more = {}) {
    response.sendDate = false;
    response.writeHead(status, { 'Content-Type': type, 'Content-Length': Buffer.byteLength(body),
                                 'Cache-Control': 'no-store', Connection: 'close', ...more });
    response.end(body);
  }
}
