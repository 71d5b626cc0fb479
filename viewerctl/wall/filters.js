/** Shows the tiles that the search and the choice of reachable hosts leave over. */

export class Filters {
  #room;
  /** The words that all have to be there, in small letters. @type {string[]} */
  #wanted = [];
  #onlyReachable = false;

  /** @param {import('./room.js').Room} room */
  constructor(room) {
    this.#room = room;
  }

  /** @param {import('./session.js').Settings} settings */
  set({ search, onlyReachable }) {
    this.#wanted = search.toLocaleLowerCase().split(/\s+/).filter((word) => word !== '');
    this.#onlyReachable = onlyReachable;
    this.apply(this.#room.tiles);
  }

  /** @param {HTMLElement} element @param {boolean} isHidden */
  #hide(element, isHidden) {
    const hadFocus = isHidden && element.contains(document.activeElement);
    element.hidden = isHidden;
    if (hadFocus) {
      element.closest('main').focus();
    }
  }

  /** @param {import('./tile.js').Tile[]} tiles those of which something has changed. */
  apply(tiles) {
    const sections = new Set();
    for (const { element, host, searched } of tiles) {
      const text = searched.toLocaleLowerCase();
      const isShown = !(this.#onlyReachable && host.failure !== null)
        && this.#wanted.every((word) => text.includes(word));
      if (element.hidden === isShown) {
        this.#hide(element, !isShown);
      }
      sections.add(element.closest('section'));
    }
    for (const section of sections) {
      section.hidden = section.querySelector('li:not([hidden])') === null;
    }
  }
}
