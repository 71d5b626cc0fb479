/** One display as large as the window, with what is known of it. */

import { offerIntervals } from './controls.js';
import { Picture } from './picture.js';
import { stateText } from './state.js';
import { momentText, spanText, words } from './words.js';

/** @typedef {import('./tile.js').Tile} Tile */

/** @param {string} id */
const the = (id) => /** @type {any} */ (document.getElementById(id));

/** @param {Tile} tile @returns {Record<string, string>} */
function factsOf({ host, display, state, label, jpeg, sameSince }) {
  const span = state.since === undefined ? '' : ` (${spanText(performance.now() - state.since)})`;
  return {
    state: stateText(state, sameSince) + span,
    since: jpeg ? momentText(sameSince, true) : '',
    host: host.address,
    machine: host.machine,
    group: host.group,
    display: display?.name ?? '',
    size: display ? `${display.width} × ${display.height}` : '',
    id: display?.id ?? '',
    label,
  };
}

export class LargeView {
  #dialog = the('large');
  #canvas = the('large-picture');
  #picture = new Picture(this.#canvas);
  /** @type {Map<string, {term: HTMLElement, value: HTMLElement}>} */
  #facts = new Map();
  #order;
  #looking;
  /** @type {Tile|null} */
  #tile = null;

  /**
   * @param {() => Tile[]} order the tiles that the wall shows, for previous and next.
   * @param {import('./looking.js').Looking} looking
   */
  constructor(order, looking) {
    this.#order = order;
    this.#looking = looking;
    this.#picture.setVisible(true);
    the('previous').addEventListener('click', () => this.#step(-1));
    the('next').addEventListener('click', () => this.#step(1));
    the('close').addEventListener('click', () => this.#dialog.close());
    this.#dialog.addEventListener('close', () => this.#leave());
    this.#dialog.addEventListener('keydown', (event) => this.#follow(event));
    new ResizeObserver(() => this.#picture.resize()).observe(this.#canvas);
    this.#makeFacts();
  }

  /** @param {import('./session.js').Settings} settings @param {() => void} onInterval */
  offerIntervals(settings, onInterval) {
    offerIntervals(the('large-interval'), settings.largeInterval);
    the('large-interval').addEventListener('change', ({ target }) => {
      settings.largeInterval = Number(target.value);
      onInterval();
    });
  }

  /** @param {Tile} tile */
  open(tile) {
    this.#dialog.showModal();
    this.#turnTo(tile);
  }

  /** Tells anew what changes; does nothing while it is closed. */
  tell() {
    if (this.#tile === null) {
      return;
    }
    const facts = factsOf(this.#tile);
    for (const [name, { term, value }] of this.#facts) {
      if (value.textContent !== facts[name]) {
        value.textContent = facts[name];
        term.hidden = value.hidden = facts[name] === '';
      }
    }
    this.#dialog.dataset.kind = this.#tile.state.kind;
  }

  #makeFacts() {
    for (const [name, text] of Object.entries(words.facts)) {
      const term = document.createElement('dt');
      const value = document.createElement('dd');
      term.textContent = text;
      term.hidden = value.hidden = true;
      this.#facts.set(name, { term, value });
      const fact = document.createElement('div');
      fact.append(term, value);
      the('facts').append(fact);
    }
  }

  /** @param {Tile} tile */
  #turnTo(tile) {
    this.#tile?.enlarge(null);
    this.#tile = tile;
    the('large-name').textContent = tile.title;
    this.#canvas.setAttribute('aria-label', words.pictureOf(tile.title));
    this.#picture.clear();
    tile.enlarge(this.#picture);
    this.#looking.setLarge(tile);
    this.tell();
  }

  /** @param {number} direction 1 for the next, -1 for the previous; the first follows the last. */
  #step(direction) {
    const tiles = this.#order();
    const index = tiles.indexOf(/** @type {Tile} */ (this.#tile));
    const next = index < 0 ? tiles[0] : tiles[(index + direction + tiles.length) % tiles.length];
    if (next) {
      this.#turnTo(next);
    }
  }

  /** @param {KeyboardEvent} event */
  #follow(event) {
    const direction = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (direction && /** @type {HTMLElement} */ (event.target).localName !== 'select') {
      this.#step(direction);
    }
  }

  /** The focus goes to the tile that was shown last, or to the wall where that is gone. */
  #leave() {
    const tile = /** @type {Tile} */ (this.#tile);
    this.#tile = null;
    tile.enlarge(null);
    this.#looking.setLarge(null);
    if (!tile.element.isConnected || tile.element.hidden) {
      the('wall').focus();
    } else {
      tile.focus();
    }
  }
}
