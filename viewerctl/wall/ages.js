/** Keeps the words below the tiles true: of what can be seen alone, however large the wall. */

import { stopped } from './state.js';

const tick = 1000; // milliseconds

export class Ages {
  #visible;
  #onTick;
  /** Why nothing new is seen: "paused", "silent". */
  #reasons = new Set();

  /**
   * @param {() => Iterable<import('./tile.js').Tile>} visible the tiles that can be seen.
   * @param {() => void} onTick is called with them.
   */
  constructor(visible, onTick) {
    this.#visible = visible;
    this.#onTick = onTick;
    setInterval(() => document.hidden || this.tellAll(), tick);
    document.addEventListener('visibilitychange', () => document.hidden || this.tellAll());
  }

  /**
   * From now on nothing new is seen, or is again.
   * @param {string} reason @param {boolean} isStopped
   */
  setStopped(reason, isStopped) {
    this.#reasons[isStopped ? 'add' : 'delete'](reason);
    stopped.at = this.#reasons.size === 0 ? null : stopped.at ?? performance.now();
    document.body.classList.toggle('stopped', stopped.at !== null);
    this.tellAll();
  }

  tellAll() {
    for (const tile of this.#visible()) {
      tile.tell();
    }
    this.#onTick();
  }
}
