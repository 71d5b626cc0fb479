/**
 * The connection to the program. One that ends is made anew, after a pause that doubles.
 *
 * Events: `told` (detail: the program's message), `picture` (detail: Picture), `answering` and
 * `silent`.
 */

const shortestPause = 500; // milliseconds
const longestPause = 10000; // milliseconds

/**
 * @typedef {object} Picture
 * @property {number} tile the program's number of the tile.
 * @property {number} seenFor milliseconds for which the program has seen these same bytes.
 * @property {string} label the host's name of this picture.
 * @property {Blob} jpeg
 */

/** @param {ArrayBuffer} bytes @returns {Picture} */
function readPicture(bytes) {
  const head = new DataView(bytes);
  const labelLength = head.getUint8(8);
  const label = new TextDecoder().decode(new Uint8Array(bytes, 9, labelLength));
  const jpeg = new Blob([new Uint8Array(bytes, 9 + labelLength)], { type: 'image/jpeg' });
  return { tile: head.getUint32(0), seenFor: head.getUint32(4), label, jpeg };
}

export class Link extends EventTarget {
  #token;
  /** @type {WebSocket|null} */
  #socket = null;
  #look = JSON.stringify({ kind: 'look', tiles: [] });
  #pause = shortestPause;
  #timer = 0;

  /** @param {string} token proves to the program that this page was opened by its owner. */
  constructor(token) {
    super();
    this.#token = token;
    // Whoever comes back to the page does not wait out a long pause.
    document.addEventListener('visibilitychange', () => {
      if (!document.hidden && this.#timer !== 0) {
        this.connect();
      }
    });
  }

  connect() {
    clearTimeout(this.#timer);
    this.#timer = 0;
    const socket = new WebSocket(`ws://${location.host}/live`, ['velmora-wall-1', this.#token]);
    socket.binaryType = 'arraybuffer';
    socket.addEventListener('open', () => {
      this.#pause = shortestPause;
      this.#socket = socket;
      this.dispatchEvent(new Event('answering'));
      socket.send(this.#look);
    });
    socket.addEventListener('message', ({ data }) => {
      const [kind, detail] = typeof data === 'string' ? ['told', JSON.parse(data)]
                                                      : ['picture', readPicture(data)];
      this.dispatchEvent(new CustomEvent(kind, { detail }));
    });
    socket.addEventListener('close', () => this.#retry());
  }

  /**
   * Says which tiles are looked at, and again whenever the connection was made anew.
   * @param {[number, number][]} tiles number and milliseconds between two pictures.
   */
  look(tiles) {
    const look = JSON.stringify({ kind: 'look', tiles });
    if (look !== this.#look) {
      this.#look = look;
      this.#socket?.send(look);
    }
  }

  #retry() {
    this.#socket = null;
    this.dispatchEvent(new Event('silent'));
    // Many tabs shall not come back at the same moment.
    const pause = this.#pause * (0.5 + Math.random() / 2);
    this.#pause = Math.min(2 * this.#pause, longestPause);
    this.#timer = setTimeout(() => this.connect(), pause);
  }
}
