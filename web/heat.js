// When meters were read: a table of days and hours.
import { h } from './elements.js';
import { dayOf, num } from './numbers.js';
import { t } from './texts.js';

const DAYS_SHOWN = 16;

/** Counts readings by day; by month or year if there are many days. */
function countByDay(dates) {
    const length = [10, 7, 4].find((cut) => cut === 4 || new Set(dates.map((date) => date.slice(0, cut))).size <= DAYS_SHOWN);
    const days = new Map();
    for (const date of dates) {
        const day = date.slice(0, length), hour = date.length > 11 ? +date.slice(11, 13) : -1;
        if (!days.has(day)) days.set(day, { all: 0, byHour: new Map() });
        const count = days.get(day);
        count.all++;
        if (hour >= 0) count.byHour.set(hour, (count.byHour.get(hour) ?? 0) + 1);
    }
    return new Map([...days].sort(([a], [b]) => (a < b ? -1 : 1)));
}

/** dates: as in the file, sorted or not. */
export function heat(dates) {
    if (!dates.length) return h('p', { class: 'quiet' }, t('chart.noDates'));
    const days = countByDay(dates);
    const counts = [...days.values()];
    const hours = counts.flatMap((count) => [...count.byHour.keys()]);
    const first = Math.min(...hours), columns = hours.length ? Array.from({ length: Math.max(...hours) - first + 1 }, (_, k) => first + k) : [];
    const most = Math.max(1, ...counts.flatMap((count) => [...count.byHour.values()])), mostOfDay = Math.max(...counts.map((count) => count.all));
    const cell = (n) => h('td', { style: { '--v': (n ? 0.12 + 0.88 * (n / most) : 0).toFixed(3) } }, n ? num(n) : '');
    const sum = (n) => h('td', { class: 'heat-sum' }, h('span', { class: 'heat-bar', style: { width: (58 * n) / mostOfDay + '%' } }), h('span', null, num(n)));
    return h(
        'table',
        { class: 'heat' },
        h('caption', { class: 'offscreen' }, t('when')),
        h('thead', null, h('tr', null, h('th', { scope: 'col' }, h('span', { class: 'offscreen' }, t('chart.day'))), columns.map((hour) => h('th', { scope: 'col' }, String(hour))), h('th', { scope: 'col', class: 'heat-sum' }, h('span', { class: 'offscreen' }, t('chart.perDay'))))),
        h('tbody', null, [...days].map(([day, count]) => h('tr', null, h('th', { scope: 'row' }, dayOf(day)), columns.map((hour) => cell(count.byHour.get(hour) ?? 0)), sum(count.all)))),
    );
}
