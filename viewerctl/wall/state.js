/** What a tile shows, put together from what the program said of its host and of itself. */

import { failureText, momentText, spanText, words } from './words.js';

/** A picture younger than this is a new one. */
const newFor = 2000; // milliseconds

/**
 * When the page ceased to look, as `performance.now()` tells it; null while it does.
 * @type {{at: number|null}}
 */
export const stopped = { at: null };

/**
 * A host of the hosts file, as far as the program has told of it. Moments are `performance.now()`.
 * @typedef {object} Host
 * @property {number} number
 * @property {string} address as the hosts file names it.
 * @property {string} group empty for none.
 * @property {boolean} isKnown whether it was asked already.
 * @property {string|null} failure why it does not answer.
 * @property {number} since when it began to answer, or to fail so.
 * @property {string} machine
 */

/**
 * What the program last said of a tile.
 * @typedef {object} Report
 * @property {'live'|'resting'|'no-picture'|'failed'} state
 * @property {string|null} failure
 * @property {number} since
 */

/**
 * @typedef {object} State
 * @property {'asked'|'waiting'|'live'|'resting'|'no-picture'|'failed'|'empty'
 *            |'gone'} kind gone: no longer listed.
 * @property {string} [failure]
 * @property {number} [since]
 */

/**
 * Of what is known of the host and of the display the newer counts: a display that is not looked at
 * is told nothing of.
 * @param {Host} host @param {boolean} isDisplay false for a host without any.
 * @param {Report|null} report @param {boolean} hasPicture
 * @returns {State}
 */
export function stateOf(host, isDisplay, report, hasPicture) {
  if (!host.isKnown) {
    return { kind: 'asked' };
  }
  const isReportNewer = report !== null && report.since >= host.since;
  const mayBothFail = report === null || report.state === 'failed';
  if (host.failure !== null && (mayBothFail || !isReportNewer)) {
    return { kind: 'failed', failure: host.failure, since: host.since };
  }
  if (!isDisplay) {
    return { kind: 'empty' };
  }
  if (report?.state === 'failed' && isReportNewer) {
    return { kind: 'failed', failure: report.failure ?? '', since: report.since };
  }
  if (report?.state === 'no-picture' || report?.state === 'resting') {
    return { kind: report.state, since: report.since };
  }
  return { kind: hasPicture ? 'live' : 'waiting' };
}

/**
 * What people read of a state.
 * @param {State} state @param {number} sameSince when these bytes were first seen.
 * @returns {string}
 */
export function stateText(state, sameSince) {
  if (state.kind === 'failed') {
    return words.failed(failureText(state.failure), momentText(state.since));
  }
  if (stopped.at !== null && state.kind !== 'empty' && state.kind !== 'gone') {
    return words.asOf(momentText(stopped.at, true));
  }
  switch (state.kind) {
    case 'asked': return words.asked;
    case 'waiting': return words.waiting;
    case 'resting': return words.resting;
    case 'no-picture': return words.noPicture(momentText(state.since));
    case 'empty': return words.noDisplays;
    case 'gone': return words.gone;
    default: {
      const age = performance.now() - sameSince;
      return age < newFor ? words.fresh : words.same(spanText(age));
    }
  }
}
