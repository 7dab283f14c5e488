// What each agent did: readings, days, first and last reading, share outside the estimate.
import { h } from './elements.js';
import { num, pct, shortMoment } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';
import { BIT } from './data.js';

const AGENTS_SHOWN = 12;

export function agents(round, rows) {
    const date = round.col('date'),
        agent = round.col('agent'),
        by = new Map();
    for (const i of rows) {
        if (date[i] == null) continue;
        const name = agent[i] ?? '–';
        if (!by.has(name)) by.set(name, { n: 0, outside: 0, days: new Set(), first: date[i], last: date[i] });
        const one = by.get(name);
        one.n++;
        one.days.add(date[i].slice(0, 10));
        if (date[i] < one.first) one.first = date[i];
        if (date[i] > one.last) one.last = date[i];
        if (round.state[i] & BIT.outside) one.outside++;
    }
    if (!by.size) return null;
    const list = [...by].sort((a, b) => b[1].n - a[1].n);
    const heads = ['agent', 'count', 'perDay', 'first', 'last', 'outside'].map((key, k) =>
        h('th', { scope: 'col', class: k ? 'num' : null }, t('chart.' + key)),
    );
    const numbers = (one) => [
        num(one.n),
        num(one.n / one.days.size, 0),
        shortMoment(one.first),
        shortMoment(one.last),
        pct(one.outside, one.n),
    ];
    const row = ([name, one]) =>
        h(
            'tr',
            h('th', { scope: 'row' }, seen(name)),
            numbers(one).map((text) => h('td.num', text)),
        );
    return [
        h('table.plain.agents', h('thead', h('tr', heads)), h('tbody', list.slice(0, AGENTS_SHOWN).map(row))),
        list.length > AGENTS_SHOWN ? h('p.quiet', t('chart.more', { n: num(list.length - AGENTS_SHOWN) })) : null,
    ];
}
