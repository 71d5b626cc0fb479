/** Speaks to a page in the program's place, of more hosts than there can be in a test. */

export class ScriptedProgram {
  /** @type {import('playwright-core').WebSocketRoute|null} */
  #socket = null;

  /** @param {number} count of hosts, each of which has one display and answers. */
  constructor(count) {
    this.count = count;
  }

  /** Takes the program's place for this page. @param {import('playwright-core').Page} page */
  stand(page) {
    return page.routeWebSocket(/live$/, (socket) => {
      this.#socket = socket;
      const hosts = Array.from({ length: this.count }, (_, host) => ({
        host, address: `host-${host}.example`, group: '' }));
      this.#send({ kind: 'hosts', version: '1.0.0', hosts });
      this.tellAll(null);
    });
  }

  /** @param {string|null} failure of every host. */
  tellAll(failure) {
    for (let host = 0; host < this.count; ++host) {
      this.tell(host, failure);
    }
  }

  /** @param {number} host @param {string|null} failure */
  tell(host, failure) {
    const display = { tile: host + 1, id: `macos-display:${host}`, name: 'Screen', width: 1920,
                      height: 1080 };
    this.#send({ kind: 'host', host, failure, seconds: 0, machine: `Machine ${host}`,
                 displays: [display] });
  }

  #send(message) {
    this.#socket.send(JSON.stringify(message));
  }
}
