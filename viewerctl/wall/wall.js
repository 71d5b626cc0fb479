/** The wall: every display of every host as a tile, as far as it can be seen. */

import { Ages } from './ages.js';
import { followArrows } from './arrows.js';
import { makeControls } from './controls.js';
import { Filters } from './filters.js';
import { LargeView } from './large-view.js';
import { Link } from './link.js';
import { Looking } from './looking.js';
import { News } from './news.js';
import { Room } from './room.js';
import { keepSettings, readSettings, takeToken } from './session.js';
import { translatePage, words } from './words.js';

/** Who searches has typed, and what was found is said. */
const typingTime = 700; // milliseconds

/** A window or a slider that moves is waited for, and then pictures are drawn at their new size. */
const resizingTime = 150; // milliseconds

/** @param {string} id */
const the = (id) => /** @type {HTMLElement} */ (document.getElementById(id));

/** @param {string} token */
function run(token) {
  const settings = readSettings();
  const link = new Link(token);
  const room = new Room(the('wall'));
  const looking = new Looking(link, settings);
  const filters = new Filters(room);
  const news = new News(the('news'));
  const ages = new Ages(() => looking.visible, () => large.tell());
  const shown = () => room.tiles.filter(({ element }) => !element.hidden);
  const large = new LargeView(shown, looking);

  const summary = () => {
    const displays = (tiles) => tiles.filter(({ display }) => display !== null).length;
    const lost = room.hosts.filter(({ failure }) => failure !== null).length;
    return shown().length === 0 && room.tiles.length > 0
      ? words.nothingFound : words.summary(displays(shown()), displays(room.tiles), lost);
  };
  let summaryTimer = 0;
  const summarise = () => {
    // A thousand hosts that answer at once are counted once.
    summaryTimer ||= requestAnimationFrame(() => {
      summaryTimer = 0;
      the('summary').textContent = summary();
    });
  };

  room.addEventListener('added', ({ detail: tile }) => looking.add(tile));
  room.addEventListener('removed', ({ detail: tile }) => looking.remove(tile));
  room.addEventListener('begun', () => {
    filters.set(settings);
    summarise();
  });
  room.addEventListener('heard', ({ detail: { host, before } }) => {
    filters.apply(room.tilesOf(host));
    news.hear(host, before);
    // A tile that can be seen already may have another display now, or its first one.
    looking.tellSoon();
    large.tell();
    summarise();
  });

  the('wall').addEventListener('click', ({ target }) => {
    const tile = room.tileAt(/** @type {Element} */ (target).closest('li'));
    if (tile) {
      large.open(tile);
    }
  });
  followArrows(the('wall'));
  const keep = () => {
    keepSettings(settings);
    looking.tell();
  };
  let redrawTimer = 0;
  const redraw = () => {
    clearTimeout(redrawTimer);
    redrawTimer = setTimeout(() => looking.visible.forEach(({ picture }) => picture.resize()),
                             resizingTime);
  };
  addEventListener('resize', redraw);
  let typingTimer = 0;
  makeControls(settings, {
    onFilter() {
      filters.set(settings);
      keep();
      summarise();
      clearTimeout(typingTimer);
      typingTimer = setTimeout(() => news.say(summary()), typingTime);
    },
    onSize() {
      redraw();
      keep();
    },
    onInterval: keep,
    onPause(isPaused) {
      looking.setPaused(isPaused);
      ages.setStopped('paused', isPaused);
    },
  });
  large.offerIntervals(settings, keep);

  listen(link, { room, ages, large, news });
  link.connect();
}

/** Hands on what the program says. */
function listen(link, { room, ages, large, news }) {
  link.addEventListener('told', ({ detail: told }) => {
    if (told.kind === 'hosts') {
      room.begin(told.hosts);
    } else if (told.kind === 'host') {
      room.hear(told);
    } else if (told.kind === 'tile') {
      room.tileOf(told.tile)?.report({ ...told, since: performance.now() - 1000 * told.seconds });
      large.tell();
    }
  });
  link.addEventListener('picture', ({ detail: picture }) => {
    room.tileOf(picture.tile)?.show(picture);
    large.tell();
  });
  link.addEventListener('silent', () => {
    the('trouble').textContent = words.silent;
    ages.setStopped('silent', true);
  });
  link.addEventListener('answering', () => {
    if (the('trouble').textContent !== '') {
      the('trouble').textContent = '';
      news.say(words.answersAgain);
    }
    ages.setStopped('silent', false);
  });
}

translatePage();
const token = takeToken();
if (token) {
  run(token);
} else {
  the('controls').hidden = true;
  the('trouble').textContent = words.noToken;
}
