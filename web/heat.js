// When meters were read: a table of days and hours.
import { h } from './elements.js';
import { dayOf, num } from './numbers.js';
import { t } from './texts.js';

const DAYS_SHOWN = 16;

/** Counts readings by day and hour; -1 is the hour of a date without a time. */
function countByDay(dates) {
    const days = new Map();
    for (const date of dates) {
        const key = date.slice(0, 13);
        days.set(key, (days.get(key) ?? 0) + 1);
    }
    const keys = [...days.keys()];
    const length = [10, 7, 4].find((cut) => cut === 4 || new Set(keys.map((key) => key.slice(0, cut))).size <= DAYS_SHOWN);
    const by = new Map();
    for (const key of keys.sort()) {
        const day = key.slice(0, length),
            hour = key.length > 11 ? +key.slice(11) : -1,
            n = days.get(key);
        if (!by.has(day)) by.set(day, { all: 0, byHour: new Map() });
        const count = by.get(day);
        count.all += n;
        if (hour >= 0) count.byHour.set(hour, (count.byHour.get(hour) ?? 0) + n);
    }
    return by;
}

/** dates: as in the file, sorted or not. */
export function heat(dates) {
    if (!dates.length) return h('p.quiet', t('chart.noDates'));
    const days = countByDay(dates);
    const counts = [...days.values()];
    const hours = counts.flatMap((count) => [...count.byHour.keys()]);
    const first = Math.min(...hours),
        columns = hours.length ? Array.from({ length: Math.max(...hours) - first + 1 }, (_, k) => first + k) : [];
    const most = Math.max(1, ...counts.flatMap((count) => [...count.byHour.values()])),
        mostOfDay = Math.max(...counts.map((count) => count.all));
    const cell = (n) => h('td', { style: { '--v': (n ? 0.12 + 0.88 * (n / most) : 0).toFixed(3) } }, n ? num(n) : '');
    const sum = (n) => h('td.heat-sum', h('span.heat-bar', { style: { width: (58 * n) / mostOfDay + '%' } }), h('span', num(n)));
    return h(
        'table.heat',
        h('caption.offscreen', t('when')),
        h(
            'thead',
            h(
                'tr',
                h('th', { scope: 'col' }, h('span.offscreen', t('chart.day'))),
                columns.map((hour) => h('th', { scope: 'col' }, String(hour))),
                h('th', { scope: 'col', class: 'heat-sum' }, h('span.offscreen', t('chart.perDay'))),
            ),
        ),
        h(
            'tbody',
            [...days].map(([day, count]) =>
                h(
                    'tr',
                    h('th', { scope: 'row' }, dayOf(day)),
                    columns.map((hour) => cell(count.byHour.get(hour) ?? 0)),
                    sum(count.all),
                ),
            ),
        ),
    );
}
