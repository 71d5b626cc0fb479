/**
 * Says politely, for who hears the page, which hosts were lost and came back: what happens within a
 * moment is one sentence, however many hosts it happens to. Pictures are never told of.
 */

import { failureText, words } from './words.js';

/** What happens within this time of each other is said together. */
const gatheringTime = 1500; // milliseconds
/** Yet nothing waits longer for the rest. */
const longestGathering = 10000; // milliseconds
/** A sentence has this long to be heard. */
const hearingTime = 5000; // milliseconds
/** More hosts than these are counted, not named. */
const mostNames = 3;

/** @typedef {import('./state.js').Host} Host */

export class News {
  #element;
  /** The failure that was last told of each host that has changed. @type {Map<Host, string|null>} */
  #before = new Map();
  #timer = 0;
  #gatheredSince = 0;
  #saidAt = -hearingTime;

  /** @param {HTMLElement} element a polite live region. */
  constructor(element) {
    this.#element = element;
  }

  /** @param {string} text is said at once. */
  say(text) {
    this.#saidAt = performance.now();
    this.#element.textContent = text;
  }

  /** @param {Host} host @param {string|null|undefined} before undefined when it is new. */
  hear(host, before) {
    const wasFailing = before ?? null;
    if ((wasFailing === null) === (host.failure === null)) {
      return;
    }
    if (!this.#before.has(host)) {
      this.#before.set(host, wasFailing);
    }
    const now = performance.now();
    if (this.#timer === 0) {
      this.#gatheredSince = now;
    }
    clearTimeout(this.#timer);
    const gathered = Math.min(now + gatheringTime, this.#gatheredSince + longestGathering);
    this.#timer = setTimeout(() => this.#tell(),
                             Math.max(gathered, this.#saidAt + hearingTime) - now);
  }

  #tell() {
    this.#timer = 0;
    const changed = [...this.#before].filter(
      ([host, before]) => (host.failure === null) !== (before === null)).map(([host]) => host);
    this.#before.clear();
    const lost = changed.filter(({ failure }) => failure !== null);
    const back = changed.filter(({ failure }) => failure === null);
    const sentences = [];
    if (lost.length > 0) {
      sentences.push(this.#tellLost(lost));
    }
    if (back.length > 0) {
      sentences.push(back.length > mostNames ? words.backMany(back.length)
                                             : words.back(this.#names(back)));
    }
    if (sentences.length > 0) {
      this.say(sentences.join(' '));
    }
  }

  /** @param {Host[]} hosts */
  #tellLost(hosts) {
    if (hosts.length > mostNames) {
      return words.lostMany(hosts.length);
    }
    const failures = new Set(hosts.map(({ failure }) => failure));
    const [failure] = failures;
    return words.lost(this.#names(hosts), failures.size === 1 ? failureText(failure) : '');
  }

  /** @param {Host[]} hosts */
  #names(hosts) {
    return hosts.map(({ machine, address }) => machine || address).join(', ');
  }
}
