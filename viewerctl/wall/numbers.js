/** Numbers, spans and times in the words of a language. */

const second = 1000; // milliseconds
const minute = 60 * second;
const hour = 60 * minute;
const day = 24 * hour;

/** @param {string} language @returns {(number: number) => string} "1,000" in the language. */
export function numberIn(language) {
  const format = new Intl.NumberFormat(language);
  return (number) => format.format(number);
}

/**
 * How a language counts things: "1 host", "21 хост".
 * @param {string} language @returns {(count: number, forms: Record<string, string>) => string}
 */
export function pluralIn(language) {
  const rules = new Intl.PluralRules(language);
  const number = numberIn(language);
  return (count, forms) => `${number(count)} ${forms[rules.select(count)]}`;
}

/**
 * How a language says for how long something was: "3 min".
 * @param {string} language @returns {(milliseconds: number) => string}
 */
export function spanIn(language) {
  const unit = (name) => new Intl.NumberFormat(language, { style: 'unit', unit: name,
                                                           unitDisplay: 'short' });
  const units = [[day, unit('day')], [hour, unit('hour')], [minute, unit('minute')],
                 [second, unit('second')]];
  return (milliseconds) => {
    const [length, format] = units.find(([each]) => milliseconds >= each) ?? units[3];
    const count = milliseconds / length;
    // Below a second there are tenths; above it nobody counts them.
    return format.format(count < 1 ? Math.round(10 * count) / 10 : Math.floor(count));
  };
}

/**
 * How a language says when something was: "14:05", with the day where that was not today's.
 * @param {string} language @returns {(time: Date, isExact: boolean) => string}
 */
export function timeIn(language) {
  const format = (options) => new Intl.DateTimeFormat(language, options);
  const clock = { hour: '2-digit', minute: '2-digit', hourCycle: 'h23' };
  const today = format(clock);
  const exact = format({ ...clock, second: '2-digit' });
  const other = format({ ...clock, day: 'numeric', month: 'short' });
  return (time, isExact) => {
    if (time.toDateString() !== new Date().toDateString()) {
      return other.format(time);
    }
    return (isExact ? exact : today).format(time);
  };
}
