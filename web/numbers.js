// Numbers, shares and dates in the language of the page.
import { locale } from './texts.js';

const formats = new Map();
function format(key, make) {
    if (!formats.has(key)) formats.set(key, make());
    return formats.get(key);
}

export function num(value, digits = 3) {
    if (value == null || value === '') return '';
    if (typeof value !== 'number') return String(value);
    return format('n' + digits, () => new Intl.NumberFormat(locale(), { maximumFractionDigits: digits })).format(value);
}

/** A share: never 100 % while one is missing, never 0 % when there is one. */
export function pct(part, whole) {
    if (!whole) return '–';
    const share = (100 * part) / whole;
    const one = (x) =>
        format('p', () => new Intl.NumberFormat(locale(), { minimumFractionDigits: 1, maximumFractionDigits: 1 })).format(x);
    const text = part === whole ? '100' : share > 99.9 ? one(99.9) : share < 0.1 && part ? '< ' + one(0.1) : one(share);
    return text + '\u00a0%';
}

/** A moment as the tool prints it, to the minute. */
export const stamp = (text) => (text == null ? '' : String(text).replace('T', ' '));

function dateIn(text, options) {
    const day = new Date(String(text).slice(0, 10) + 'T00:00:00Z');
    if (isNaN(day)) return stamp(text);
    return format(JSON.stringify(options), () => new Intl.DateTimeFormat(locale(), { ...options, timeZone: 'UTC' })).format(day);
}
export const longDate = (text) => dateIn(text, { dateStyle: 'long' });
export const dayOf = (text) => (text.length < 10 ? text : dateIn(text, { weekday: 'short', day: 'numeric', month: 'short' }));
export const shortMoment = (text) => (dateIn(text, { day: 'numeric', month: 'short' }) + ' ' + text.slice(11, 16)).trim();
