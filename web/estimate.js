// Where each consumption lies in its own estimate: 0 is the minimum, 1 the maximum.
import { h } from './elements.js';
import { num, pct } from './numbers.js';
import { t } from './texts.js';
import { BIT } from './data.js';

const LOW = -0.6,
    HIGH = 1.6,
    BINS = 44;

/** The place of a meter's consumption in its estimate; null if it has no consumption or no estimate. */
export function placeOf(round, i) {
    const c = round.col('consumption')[i],
        min = round.col('min')[i],
        max = round.col('max')[i];
    if (c == null || min == null || max == null || max < min) return null;
    if (max > min) return (c - min) / (max - min);
    return c < min ? LOW : c > max ? HIGH : 0.5;
}

function countBins(round, rows) {
    const bins = new Array(BINS).fill(0),
        count = { below: 0, inside: 0, above: 0 };
    for (const i of rows) {
        const place = round.state[i] & BIT.read ? placeOf(round, i) : null;
        if (place == null) continue;
        count[round.state[i] & BIT.below ? 'below' : round.state[i] & BIT.above ? 'above' : 'inside']++;
        let bin = Math.floor(((place - LOW) / (HIGH - LOW)) * BINS + 1e-9);
        if (place === 1) bin = Math.ceil(((1 - LOW) / (HIGH - LOW)) * BINS) - 1; // the maximum is within
        bins[Math.max(0, Math.min(BINS - 1, bin))]++;
    }
    return { bins, count };
}

export function estimate(round, rows) {
    const { bins, count } = countBins(round, rows);
    const all = count.below + count.inside + count.above;
    if (!all) return h('p.quiet', t('chart.noEstimates'));
    const most = Math.max(...bins),
        at = (place) => (100 * (place - LOW)) / (HIGH - LOW) + '%';
    const bar = (n, k) => {
        const place = LOW + ((k + 0.5) / BINS) * (HIGH - LOW);
        return h('span', {
            class: 'hist-bar' + (place < 0 || place > 1 ? ' out' : ''),
            title: n ? t('chart.bar', { n: num(n) }) : null,
            style: { height: n ? Math.max(1.2, (100 * n) / most) + '%' : '0' },
        });
    };
    const sum = (key, cls) =>
        h('span', h('b', { class: cls }, num(count[key])), ' ', t('chart.' + key), ' ', h('i', pct(count[key], all)));
    return h(
        'figure.hist',
        h(
            'div.hist-plot',
            { 'aria-hidden': 'true' },
            h('span.hist-band', { style: { left: at(0), right: `calc(100% - ${at(1)})` } }),
            bins.map(bar),
        ),
        h(
            'div.hist-axis',
            { 'aria-hidden': 'true' },
            h('span', { style: { left: at(0) } }, t('chart.min')),
            h('span', { style: { left: at(1) } }, t('chart.max')),
        ),
        h('div.hist-sum', sum('below', 'c-outside'), sum('inside', 'c-read'), sum('above', 'c-outside')),
        h('figcaption', t('chart.caption')),
    );
}
