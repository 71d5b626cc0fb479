/** What the page says in English. */

import { numberIn, pluralIn } from './numbers.js';

const number = numberIn('en');
const plural = pluralIn('en');
const displays = (count) => plural(count, { one: 'display', other: 'displays' });
const hosts = (count) => plural(count, { one: 'host', other: 'hosts' });
const does = (count) => (count === 1 ? 'does' : 'do');

export default {
  skip: 'To the displays',
  title: 'Wall',
  search: 'Search',
  searchHint: 'Host, display, group',
  onlyReachable: 'Only reachable',
  size: 'Size',
  every: 'Every',
  pause: 'Pause',
  fullScreen: 'Full screen',
  previous: 'Previous',
  next: 'Next',
  close: 'Close',

  displays: 'Displays',
  summary: (shown, all, lost) =>
    (shown === all ? displays(all) : `${number(shown)} of ${displays(all)}`) +
    (lost === 0 ? '' : ` · ${hosts(lost)} ${does(lost)} not answer`),
  nothingFound: 'No display matches.',

  noToken: 'This page has to be opened by velmora-viewerctl: open the file that it names.',
  silent: 'velmora-viewerctl does not answer; what is shown here is old. If it was started anew, '
    + 'open the file that it names now.',
  answersAgain: 'velmora-viewerctl answers again.',

  lost: (names, reason) => `${names} ${names.includes(', ') ? 'do' : 'does'} not answer`
    + (reason ? `: ${reason}.` : '.'),
  back: (names) => `${names} ${names.includes(', ') ? 'answer' : 'answers'} again.`,
  lostMany: (count) => `${hosts(count)} ${does(count)} not answer.`,
  backMany: (count) => `${hosts(count)} ${count === 1 ? 'answers' : 'answer'} again.`,

  asked: 'being asked',
  waiting: 'waiting for a picture',
  fresh: 'new picture',
  same: (span) => `same picture for ${span}`,
  asOf: (time) => `as of ${time}`,
  resting: 'resting until its turn',
  noPicture: (time) => `no picture now, since ${time}`,
  failed: (reason, time) => `${reason}, since ${time}`,
  noDisplays: 'no displays',
  gone: 'no longer listed',
  /** One word for each state, for who hears the page. */
  kinds: {
    asked: 'being asked', waiting: 'no picture yet', live: 'live', resting: 'resting',
    'no-picture': 'no picture now', failed: 'does not answer', empty: 'no displays',
    gone: 'no longer listed',
  },

  facts: {
    state: 'State', host: 'Host', machine: 'Machine', display: 'Display', group: 'Group',
    size: 'Size', id: 'Id', label: 'Label', since: 'Last picture',
  },
  pictureOf: (name) => `Picture of ${name}`,

  failures: {
    'no-such-name': 'no such name',
    'name-server-silent': 'the name server does not answer',
    refused: 'refused: nothing listens there',
    'no-route': 'no route to it',
    'timed-out': 'timed out',
    'broke-off': 'the connection ended before the answer',
    'not-a-viewer-host': 'not a Viewer Host',
    'other-version': 'another version of the protocol',
    'bad-picture': 'sent a picture that cannot be shown safely',
    'no-such-display': 'no such display',
    'no-picture': 'no picture now',
    interrupted: 'interrupted',
  },
};
