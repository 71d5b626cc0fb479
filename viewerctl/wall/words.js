/** The page's words in the reader's language: English, or Russian where the browser is. */

import english from './english.js';
import { spanIn, timeIn } from './numbers.js';
import russian from './russian.js';

const preferred = navigator.languages.map((each) => each.slice(0, 2).toLowerCase())
  .find((each) => each === 'en' || each === 'ru');

export const language = preferred ?? 'en';
export const words = language === 'ru' ? russian : english;

/** @type {(milliseconds: number) => string} */
export const spanText = spanIn(language);

const timeText = timeIn(language);

/**
 * When a moment of the page's own clock was.
 * @param {number} moment as `performance.now()` tells it. @param {boolean} [isExact] to the second.
 */
export function momentText(moment, isExact = false) {
  return timeText(new Date(Date.now() - (performance.now() - moment)), isExact);
}

/** @param {string} failure the program's word. */
export function failureText(failure) {
  return words.failures[failure] ?? failure;
}

/** Puts the words of the page itself in the reader's language. */
export function translatePage() {
  document.documentElement.lang = language;
  document.title = words.title;
  for (const element of document.querySelectorAll('[data-word]')) {
    element.textContent = words[element.dataset.word];
  }
}
