/**
 * The tiles in the order of the hosts file, a section for each group.
 *
 * Events: `begun` (with other hosts), `added` and `removed` (detail: Tile),
 * `heard` (detail: {host, before}: the host that the program told of, and its failure before that,
 * undefined where nothing was known).
 */

import { Tile } from './tile.js';
import { words } from './words.js';

/** @typedef {import('./tile.js').Display} Display */
/** @typedef {import('./tile.js').Host} Host */

/** @param {string} group @param {number} number of the section. */
function makeSection(group, number) {
  const section = document.createElement('section');
  const list = document.createElement('ul');
  list.setAttribute('role', 'list'); // Some browsers take a list without bullets for none.
  if (group === '') {
    section.setAttribute('aria-label', words.displays);
  } else {
    const heading = document.createElement('h2');
    heading.id = `group-${number}`;
    heading.textContent = group;
    section.setAttribute('aria-labelledby', heading.id);
    section.append(heading);
  }
  section.append(list);
  return { section, list };
}

export class Room extends EventTarget {
  #wall;
  /** By the program's number of the host. Each has at least one tile. */
  #places = /** @type {{host: Host, list: HTMLElement, tiles: Tile[]}[]} */ ([]);
  #tilesByNumber = /** @type {Map<number, Tile>} */ (new Map());
  #tilesByElement = /** @type {WeakMap<Element, Tile>} */ (new WeakMap());
  #told = '';

  /** @param {HTMLElement} wall takes the sections. */
  constructor(wall) {
    super();
    this.#wall = wall;
  }

  get tiles() {
    return this.#places.flatMap(({ tiles }) => tiles);
  }

  get hosts() {
    return this.#places.map(({ host }) => host);
  }

  /** @param {number} number the program's. */
  tileOf(number) {
    return this.#tilesByNumber.get(number);
  }

  /** @param {Host} host */
  tilesOf(host) {
    return this.#places[host.number].tiles;
  }

  /** @param {Element|null} element of the wall. */
  tileAt(element) {
    return element === null ? undefined : this.#tilesByElement.get(element);
  }

  /**
   * Begins anew, unless the program names the hosts that stand here already.
   * @param {{host: number, address: string, group: string}[]} hosts
   */
  begin(hosts) {
    const told = JSON.stringify(hosts);
    if (told === this.#told) {
      return;
    }
    this.#told = told;
    this.tiles.forEach((tile) => this.#remove(tile));
    const sections = [];
    this.#places = hosts.map(({ host: number, address, group }, index) => {
      if (index === 0 || hosts[index - 1].group !== group) {
        sections.push(makeSection(group, sections.length));
      }
      const host = { number, address, group, isKnown: false, failure: null, since: 0, machine: '' };
      return { host, list: sections[sections.length - 1].list, tiles: [] };
    });
    this.#places.forEach((place) => this.#settle(place, [null]));
    this.#wall.replaceChildren(...sections.map(({ section }) => section));
    this.dispatchEvent(new Event('begun'));
  }

  /**
   * Takes what the program tells of a host.
   * @param {{host: number, failure: string|null, seconds: number, machine: string,
   *          displays: Display[]}} told
   */
  hear(told) {
    const place = this.#places[told.host];
    const { host } = place;
    const before = host.isKnown ? host.failure : undefined;
    Object.assign(host, { isKnown: true, failure: told.failure, machine: told.machine,
                          since: performance.now() - 1000 * told.seconds });
    this.#settle(place, told.displays.length === 0 ? [null] : told.displays);
    this.dispatchEvent(new CustomEvent('heard', { detail: { host, before } }));
  }

  /** Has a host's tiles be these, and moves none that stands right: it may have the focus. */
  #settle(place, displays) {
    const former = new Map(place.tiles.map((tile) => [tile.display?.tile, tile]));
    place.tiles = displays.map((display) => {
      // A host's first display takes the place of the tile that stood for the host.
      const key = former.has(display?.tile) ? display?.tile : undefined;
      const tile = former.get(key) ?? this.#add(place.host);
      former.delete(key);
      this.#describe(tile, display);
      return tile;
    });
    let behind = this.#firstBehind(place);
    for (const { element } of [...place.tiles].reverse()) {
      if (element.parentNode !== place.list || element.nextSibling !== behind) {
        place.list.insertBefore(element, behind);
      }
      behind = element;
    }
    former.forEach((tile) => this.#remove(tile));
  }

  #firstBehind(place) {
    const next = this.#places[place.host.number + 1];
    return next?.list === place.list && next.tiles.length > 0 ? next.tiles[0].element : null;
  }

  #describe(tile, display) {
    tile.describe(display);
    if (display) {
      this.#tilesByNumber.set(display.tile, tile);
    }
  }

  #add(host) {
    const tile = new Tile(host);
    this.#tilesByElement.set(tile.element, tile);
    this.dispatchEvent(new CustomEvent('added', { detail: tile }));
    return tile;
  }

  /** @param {Tile} tile */
  #remove(tile) {
    if (tile.display) {
      this.#tilesByNumber.delete(tile.display.tile);
    }
    const hadFocus = tile.element.contains(document.activeElement);
    const neighbour = tile.element.nextElementSibling ?? tile.element.previousElementSibling;
    tile.leave();
    tile.element.remove();
    if (hadFocus) {
      /** @type {HTMLElement} */ (neighbour?.querySelector('button') ?? this.#wall).focus();
    }
    this.dispatchEvent(new CustomEvent('removed', { detail: tile }));
  }
}
