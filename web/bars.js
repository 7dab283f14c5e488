// Charts of plain elements: they scale, print, and can be read aloud. This one: bars of one line each.
import { h } from './elements.js';
import { num, pct } from './numbers.js';
import { seen } from './visible.js';

/** list: [{label, n, cls?, english?}]; with a total, each with its share. */
export function bars(list, total) {
    const most = Math.max(1, ...list.map((one) => one.n));
    const row = (one) =>
        h(
            'li.bar-row',
            h('span.bar-label', { title: seen(one.label), lang: one.english ? 'en' : null }, seen(one.label)),
            h(
                'span.bar-track',
                { 'aria-hidden': 'true' },
                h('span', { class: 'bar-fill ' + (one.cls ?? ''), style: { width: (100 * one.n) / most + '%' } }),
            ),
            h('span.bar-n', num(one.n)),
            total ? h('span.bar-pct', pct(one.n, total)) : null,
        );
    return h('ul.bars', list.map(row));
}
