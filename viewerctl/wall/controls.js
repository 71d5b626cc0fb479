/** What stands above the wall: search, filter, tile size, interval, pause, full screen. */

import { language, words } from './words.js';

/** Milliseconds between two pictures. */
const intervals = [200, 500, 1000, 2000, 5000, 10000, 30000, 60000, 300000, 600000];
const minute = 60000; // milliseconds

/** @param {number} interval milliseconds. */
function intervalText(interval) {
  const [unit, length] = interval < minute ? ['second', 1000] : ['minute', minute];
  return new Intl.NumberFormat(language, { style: 'unit', unit, unitDisplay: 'short' })
    .format(interval / length);
}

/**
 * Has a list offer the intervals.
 * @param {HTMLSelectElement} list @param {number} chosen milliseconds.
 */
export function offerIntervals(list, chosen) {
  list.append(...intervals.map((each) => new Option(intervalText(each), String(each))));
  list.value = String(chosen);
}

/** @param {string} id */
const the = (id) => /** @type {any} */ (document.getElementById(id));

/**
 * @param {import('./session.js').Settings} settings is kept up to date.
 * @param {{onFilter: () => void, onSize: () => void, onInterval: () => void,
 *          onPause: (isPaused: boolean) => void}} calls say what was changed, and onSize at once.
 */
export function makeControls(settings, { onFilter, onSize, onInterval, onPause }) {
  the('controls').addEventListener('submit', (event) => event.preventDefault());
  offerSearch(settings, onFilter);
  offerSize(settings, onSize);
  offerIntervals(the('interval'), settings.interval);
  the('interval').addEventListener('change', ({ target }) => {
    settings.interval = Number(target.value);
    onInterval();
  });
  the('pause').addEventListener('click', ({ currentTarget: button }) => {
    const isPaused = button.getAttribute('aria-pressed') !== 'true';
    button.setAttribute('aria-pressed', String(isPaused));
    onPause(isPaused);
  });
  offerFullScreen(the('full-screen'));
}

function offerSearch(settings, onFilter) {
  const search = the('search');
  search.placeholder = words.searchHint;
  search.value = settings.search;
  search.addEventListener('input', () => {
    settings.search = search.value;
    onFilter();
  });
  const onlyReachable = the('only-reachable');
  onlyReachable.checked = settings.onlyReachable;
  onlyReachable.addEventListener('change', () => {
    settings.onlyReachable = onlyReachable.checked;
    onFilter();
  });
}

function offerSize(settings, onSize) {
  const size = the('size');
  size.value = String(settings.size);
  const apply = () => {
    settings.size = Number(size.value);
    document.documentElement.style.setProperty('--tile', `${settings.size}px`);
    onSize();
  };
  size.addEventListener('input', apply);
  apply();
}

/** @param {HTMLButtonElement} button */
function offerFullScreen(button) {
  button.hidden = !document.fullscreenEnabled;
  button.addEventListener('click', () => {
    if (document.fullscreenElement) {
      document.exitFullscreen();
    } else {
      document.documentElement.requestFullscreen();
    }
  });
  document.addEventListener('fullscreenchange', () => {
    button.setAttribute('aria-pressed', String(document.fullscreenElement !== null));
  });
  button.setAttribute('aria-pressed', 'false');
}
