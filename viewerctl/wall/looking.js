/**
 * What is looked at, and so asked for: the tiles that can be seen, or the one in the large view,
 * and nothing while the page is hidden or paused.
 */

/** While the wall scrolls or hosts answer, the program is told this often. */
const settlingTime = 100; // milliseconds

/**
 * Whether the browser tells which elements it does not lay out, being far from what can be seen.
 * Where each of a thousand is watched instead, every frame takes 10 ms longer.
 */
const tellsOfSkipping = 'ContentVisibilityAutoStateChangeEvent' in globalThis;

/** @typedef {import('./tile.js').Tile} Tile */

export class Looking {
  /** The tiles that can be seen. @type {Set<Tile>} */
  visible = new Set();
  #link;
  #settings;
  /** @type {Map<Element, Tile>} */
  #tiles = new Map();
  /** @type {Tile|null} */
  #large = null;
  #isPaused = false;
  #timer = 0;
  #observer = new IntersectionObserver((entries) => this.#see(entries));

  /** @param {import('./link.js').Link} link @param {import('./session.js').Settings} settings */
  constructor(link, settings) {
    this.#link = link;
    this.#settings = settings;
    document.addEventListener('visibilitychange', () => this.tell());
  }

  /** @param {Tile} tile */
  add(tile) {
    this.#tiles.set(tile.element, tile);
    if (!tellsOfSkipping) {
      this.#observer.observe(tile.element);
      return;
    }
    tile.element.addEventListener('contentvisibilityautostatechange', ({ skipped }) => {
      this.#observer[skipped ? 'unobserve' : 'observe'](tile.element);
      if (skipped) {
        this.#set(tile, false);
      }
    });
  }

  /** @param {Tile} tile */
  remove(tile) {
    this.#observer.unobserve(tile.element);
    this.#tiles.delete(tile.element);
    this.visible.delete(tile);
  }

  /** The large view covers all the others. @param {Tile|null} tile */
  setLarge(tile) {
    this.#large = tile;
    this.tell();
  }

  /** @param {boolean} isPaused */
  setPaused(isPaused) {
    this.#isPaused = isPaused;
    this.tell();
  }

  /** Tells the program what is looked at then, when more has changed. */
  tellSoon() {
    this.#timer ||= setTimeout(() => this.tell(), settlingTime);
  }

  /** Tells the program what is looked at now. */
  tell() {
    clearTimeout(this.#timer);
    this.#timer = 0;
    this.#link.look(this.#looks());
  }

  /** @returns {[number, number][]} */
  #looks() {
    if (this.#isPaused || document.hidden) {
      return [];
    }
    const [tiles, interval] = this.#large ? [[this.#large], this.#settings.largeInterval]
                                          : [[...this.visible], this.#settings.interval];
    return tiles.flatMap(({ display }) => (display ? [[display.tile, interval]] : []));
  }

  /** @param {IntersectionObserverEntry[]} entries */
  #see(entries) {
    for (const { target, isIntersecting } of entries) {
      const tile = this.#tiles.get(target);
      if (tile) {
        this.#set(tile, isIntersecting);
      }
    }
  }

  /** @param {Tile} tile @param {boolean} isVisible */
  #set(tile, isVisible) {
    if (tile.isVisible !== isVisible) {
      this.visible[isVisible ? 'add' : 'delete'](tile);
      tile.setVisible(isVisible);
      this.tellSoon();
    }
  }
}
