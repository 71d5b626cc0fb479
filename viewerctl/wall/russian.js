/** What the page says in Russian. */

import { numberIn, pluralIn } from './numbers.js';

const number = numberIn('ru');
const plural = pluralIn('ru');
const displays = (count) =>
  plural(count, { one: 'дисплей', few: 'дисплея', many: 'дисплеев', other: 'дисплея' });
const hosts = (count) =>
  plural(count, { one: 'хост', few: 'хоста', many: 'хостов', other: 'хоста' });
const answer = (count) =>
  (new Intl.PluralRules('ru').select(count) === 'one' ? 'отвечает' : 'отвечают');

export default {
  skip: 'К дисплеям',
  title: 'Стена',
  search: 'Поиск',
  searchHint: 'Хост, дисплей, группа',
  onlyReachable: 'Только доступные',
  size: 'Размер',
  every: 'Интервал',
  pause: 'Пауза',
  fullScreen: 'Во весь экран',
  previous: 'Предыдущий',
  next: 'Следующий',
  close: 'Закрыть',

  displays: 'Дисплеи',
  summary: (shown, all, lost) =>
    (shown === all ? displays(all) : `${number(shown)} из ${plural(all,
      { one: 'дисплея', few: 'дисплеев', many: 'дисплеев', other: 'дисплея' })}`) +
    (lost === 0 ? '' : ` · ${hosts(lost)} не ${answer(lost)}`),
  nothingFound: 'Подходящих дисплеев нет.',

  noToken: 'Эту страницу открывает velmora-viewerctl: откройте файл, который он называет.',
  silent: 'velmora-viewerctl не отвечает; показано старое. Если он запущен заново, откройте файл, '
    + 'который он называет теперь.',
  answersAgain: 'velmora-viewerctl снова отвечает.',

  lost: (names, reason) => `${names}: нет ответа` + (reason ? `, ${reason}.` : '.'),
  back: (names) => `${names}: снова есть ответ.`,
  lostMany: (count) => `${hosts(count)} не ${answer(count)}.`,
  backMany: (count) => `${hosts(count)} снова ${answer(count)}.`,

  asked: 'опрашивается',
  waiting: 'ожидание изображения',
  fresh: 'новое изображение',
  same: (span) => `одно и то же уже ${span}`,
  asOf: (time) => `на ${time}`,
  resting: 'отдыхает до своей очереди',
  noPicture: (time) => `сейчас нет изображения, с ${time}`,
  failed: (reason, time) => `${reason}, с ${time}`,
  noDisplays: 'нет дисплеев',
  gone: 'больше нет в списке',
  kinds: {
    asked: 'опрашивается', waiting: 'изображения ещё нет', live: 'показывается',
    resting: 'отдыхает', 'no-picture': 'сейчас нет изображения', failed: 'не отвечает',
    empty: 'нет дисплеев', gone: 'больше нет в списке',
  },

  facts: {
    state: 'Состояние', host: 'Хост', machine: 'Машина', display: 'Дисплей', group: 'Группа',
    size: 'Размер', id: 'Идентификатор', label: 'Метка', since: 'Последнее изображение',
  },
  pictureOf: (name) => `Изображение: ${name}`,

  failures: {
    'no-such-name': 'нет такого имени',
    'name-server-silent': 'сервер имён не отвечает',
    refused: 'отказано: там никто не принимает соединения',
    'no-route': 'нет маршрута',
    'timed-out': 'время ожидания истекло',
    'broke-off': 'соединение закрылось до ответа',
    'not-a-viewer-host': 'это не Viewer Host',
    'other-version': 'другая версия протокола',
    'bad-picture': 'прислал картинку, которую небезопасно показывать',
    'no-such-display': 'нет такого дисплея',
    'no-picture': 'сейчас нет изображения',
    interrupted: 'прервано',
  },
};
