// A meter in few words: as a row on a narrow screen, and beside a point of the map.
import { h } from './elements.js';
import { num, stamp } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';
import { mark } from './marks.js';
import { BIT } from './data.js';
import { stateNames } from './columns.js';

/** The areas that say who and where: the second of the subscriber's is the address as a rule, the first of the meter's its place. */
export function titleAreas(round) {
    const of = (source) => round.areas.filter((area) => area.source === source);
    const subscriber = of('subscriber');
    return { address: subscriber[1] ?? subscriber[0], place: of('meter')[0] };
}

export function cardOf(round) {
    const { address, place } = titleAreas(round);
    const text = (area, i) => (area ? seen(round.area(area, i)) : '');
    return (cell, i) => {
        const serial = seen(round.col('serial')[i]),
            date = round.col('date')[i],
            title = text(address, i) || serial;
        cell.replaceChildren(
            h('span.card-m', mark(round.main(i))),
            h('span.card-a', h('b', title), h('span', [serial, text(place, i)].filter(Boolean).join(' · '))),
            h(
                'span.card-n',
                h('b', { class: round.state[i] & BIT.outside ? 'c-outside' : null }, num(round.col('consumption')[i]) || '–'),
                h('span', date ? stamp(date).slice(5) : t('state.unread')),
            ),
            h('span.offscreen', stateNames(round, i)),
        );
    };
}

/** What a point of the map says: its meter, or how many there are in which state. */
export function tipOf(round) {
    const { address } = titleAreas(round);
    return (i, place) => {
        const where = address ? h('span', seen(round.area(address, i))) : '';
        if (place.all.length < 2) return [h('b', seen(round.col('serial')[i])), where, h('span.tip-s', stateNames(round, i))];
        const count = new Map();
        for (const j of place.all) count.set(round.main(j), (count.get(round.main(j)) ?? 0) + 1);
        const states = [...count].map(([state, n]) => `${t('state.' + state)} ${num(n)}`).join(', ');
        return [h('b', t('mapHere', { n: num(place.all.length) })), where, h('span.tip-s', states)];
    };
}
