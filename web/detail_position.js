// Where a meter is. A link to an online map exists only after the reader has allowed it: opening it discloses the position.
import { button, h } from './elements.js';
import { num, stamp } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';
import { BIT } from './data.js';
import { copy, say } from './clipboard.js';
import { titleAreas } from './card.js';
import { D, block, facts } from './parts.js';

const FAR = 40;
let linksAllowed = false;

function onlineMap(lat, lon) {
    const box = h('div.d-acts');
    const draw = () => {
        const link = h(
            'a.btn',
            {
                target: '_blank',
                rel: 'noopener noreferrer',
                href: `https://www.openstreetmap.org/?mlat=${+lat}&mlon=${+lon}#map=18/${+lat}/${+lon}`,
            },
            D('openMap'),
        );
        const text = `${lat}, ${lon}`;
        box.replaceChildren(
            button(D('copyPosition'), async () => say((await copy(text)) ? text : t('copyFailed'))),
            ...(linksAllowed ? [link] : []),
        );
    };
    const allow = (event) => {
        linksAllowed = event.target.checked;
        draw();
    };
    draw();
    return [
        box,
        h(
            'label.opt',
            h('input', { type: 'checkbox', checked: linksAllowed, onchange: allow }),
            h('span', D('allowMap'), h('i', D('allowMapHint'))),
        ),
    ];
}

function located(table, r) {
    const of = (key) => table[key]?.[r],
        lat = of('lat'),
        lon = of('lon'),
        known = lat != null && lon != null;
    const list = facts([
        [D('latLon'), known ? `${lat}, ${lon}` : null, 'tab'],
        [D('altitude'), of('alt') == null ? null : num(of('alt')) + ' m'],
        [D('accuracy'), of('accuracy') == null ? null : '± ' + num(of('accuracy')) + ' m'],
        [D('updated'), stamp(of('date'))],
        [D('score'), [of('scoreType'), of('score')].filter(Boolean).join(' ')],
    ]);
    return [list, known ? onlineMap(lat, lon) : null];
}

/** Without a position, the nearest located meters in the order of the round help. */
function neighbours(round, i, go) {
    const { address } = titleAreas(round);
    const nearest = (step) => {
        for (let k = i + step, n = 0; k >= 0 && k < round.n && n < FAR; k += step, n++)
            if (round.m.round[k] === round.m.round[i] && round.state[k] & BIT.located) return k;
        return -1;
    };
    const item = ([k, word]) =>
        h(
            'li',
            h('button', { type: 'button', class: 'link', onclick: () => go(k) }, seen(round.col('serial')[k])),
            ' ',
            h('span.quiet', D(word), address ? ', ' + seen(round.area(address, k)) : ''),
        );
    const list = [
        [nearest(-1), 'before'],
        [nearest(1), 'after'],
    ].filter(([k]) => k >= 0);
    return list.length ? [h('p.quiet', D('near')), h('ul.near', list.map(item))] : null;
}

export function position(round, i, go) {
    const rows = round.of_positions.rows(i);
    return block(D('position'), rows.length ? rows.map((r) => located(round.positions, r)) : neighbours(round, i, go));
}
