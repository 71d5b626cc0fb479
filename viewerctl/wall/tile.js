/** One display on the wall, or a host that has none to show. */

import { Picture } from './picture.js';
import { stateOf, stateText } from './state.js';
import { words } from './words.js';

/** @typedef {import('./state.js').Host} Host */
/** @typedef {{tile: number, id: string, name: string, width: number, height: number}} Display */

/** @param {string} kind @param {string} name @param {...Node} children */
function make(kind, name, ...children) {
  const element = document.createElement(kind);
  element.className = name;
  element.append(...children);
  return element;
}

export class Tile {
  #button = make('button', 'open');
  #machine = make('bdi', 'machine');
  #name = make('bdi', 'display');
  #text = make('p', 'state');
  #canvas = document.createElement('canvas');
  #shownText = '';
  /** @type {import('./state.js').Report|null} */
  #report = null;
  /** @type {Picture|null} */
  #enlarged = null;

  /** @param {Host} host */
  constructor(host) {
    this.host = host;
    /** Null while the host has none to show. @type {Display|null} */
    this.display = null;
    this.#button.type = 'button';
    this.picture = new Picture(this.#canvas);
    this.isVisible = false;
    /** The newest picture, wherever it is shown. @type {Blob|null} */
    this.jpeg = null;
    this.label = '';
    /** When these bytes were first seen, as `performance.now()` tells it. */
    this.sameSince = 0;
    /** @type {import('./state.js').State} */
    this.state = { kind: 'asked' };
    // What is heard is the button; the caption below it is for the eyes.
    const caption = make('p', 'caption', this.#machine, this.#name);
    caption.setAttribute('aria-hidden', 'true');
    this.element = make('li', 'tile', make('div', 'screen', this.#canvas), this.#button,
                        make('div', 'foot', caption, this.#text));
  }

  /** What people call it. */
  get title() {
    const machine = this.host.machine || this.host.address;
    return this.display ? `${machine}, ${this.display.name || this.display.id}` : machine;
  }

  /** What the filter looks for words in. */
  get searched() {
    const { address, machine, group } = this.host;
    return [address, machine, group, this.display?.name, this.display?.id].join('\n');
  }

  /**
   * Takes what the program told of the host, and of this display of it.
   * @param {Display|null} display
   */
  describe(display) {
    this.display = display;
    this.#machine.textContent = this.host.machine || this.host.address;
    this.#name.textContent = display ? display.name || display.id : '';
    this.#button.title = this.host.address;
    this.#settle();
  }

  /** Takes what the program told of this tile. @param {import('./state.js').Report} report */
  report(report) {
    this.#report = report;
    this.#settle();
  }

  /** @param {import('./link.js').Picture} picture */
  show({ seenFor, label, jpeg }) {
    this.sameSince = performance.now() - seenFor;
    this.label = label;
    this.jpeg = jpeg;
    (this.#enlarged ?? this.picture).show(jpeg);
    this.#settle();
  }

  /**
   * Has pictures shown there alone, so that none is decoded twice; null ends it.
   * @param {Picture|null} enlarged
   */
  enlarge(enlarged) {
    this.#enlarged = enlarged;
    if (this.jpeg) {
      (enlarged ?? this.picture).show(this.jpeg);
    }
  }

  /** @param {boolean} isVisible */
  setVisible(isVisible) {
    this.isVisible = isVisible;
    this.picture.setVisible(isVisible);
    this.tell();
  }

  /** The host lists it no longer. */
  leave() {
    this.state = { kind: 'gone' };
  }

  /** Puts what is known into words. */
  tell() {
    const text = stateText(this.state, this.sameSince);
    if (text !== this.#shownText) {
      this.#shownText = text;
      this.#text.textContent = text;
    }
  }

  focus() {
    this.#button.focus();
  }

  #settle() {
    this.state = stateOf(this.host, this.display !== null, this.#report, this.jpeg !== null);
    this.element.dataset.kind = this.state.kind;
    this.#button.setAttribute('aria-label', `${this.title}: ${words.kinds[this.state.kind]}`);
    if (this.isVisible) {
      this.tell();
    }
  }
}
