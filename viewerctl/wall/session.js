/**
 * What a tab keeps while it is open. A cookie would be sent to every port of this machine, and
 * local storage would stay behind on a port that another program has tomorrow.
 */

const tokenKey = 'token';
const settingsKey = 'settings';

/**
 * The token that the program gave in the address; it is taken out of there, so that it is in no
 * history and on no screen.
 * @returns {string|null} null when the page was opened without one.
 */
export function takeToken() {
  const given = location.hash.slice(1);
  if (/^[0-9a-f]{64}$/.test(given)) {
    sessionStorage.setItem(tokenKey, given);
    history.replaceState(null, '', location.pathname);
  }
  return sessionStorage.getItem(tokenKey);
}

/**
 * How the wall is looked at.
 * @typedef {object} Settings
 * @property {string} search
 * @property {boolean} onlyReachable
 * @property {number} size the least width of a tile, in CSS pixels.
 * @property {number} interval milliseconds between two pictures of a tile.
 * @property {number} largeInterval the same in the large view.
 */

/** @returns {Settings} those of this tab, or what a new one begins with. */
export function readSettings() {
  const fresh = { search: '', onlyReachable: false, size: 260, interval: 1000, largeInterval: 200 };
  const kept = JSON.parse(sessionStorage.getItem(settingsKey) ?? '{}');
  return { ...fresh, ...kept };
}

/** @param {Settings} settings */
export function keepSettings(settings) {
  sessionStorage.setItem(settingsKey, JSON.stringify(settings));
}
