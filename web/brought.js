// Two files: what the round brought back, and what differs from what went out.
import { button, h } from './elements.js';
import { num, pct } from './numbers.js';
import { baseName, seen } from './visible.js';
import { t } from './texts.js';
import { bars } from './bars.js';

const B = (key, values) => t('bring.' + key, values);
const NUMBERS = ['read', 'unread', 'missing', 'added', 'replaced', 'corrected', 'located', 'answered'];
const FIRST_DIFFERENCES = 50,
    MORE_DIFFERENCES = 200;
const label = (key) => B(key === 'read' ? 'readNow' : key);

function numbersOf(one) {
    const item = (key) =>
        h(
            'div',
            { class: key === 'missing' || key === 'added' ? 'n-look' : null },
            h('dt', label(key)),
            h('dd', h('b', num(one[key])), key === 'added' ? null : h('span', pct(one[key], one.exportedMeters))),
        );
    return h('dl.numbers', NUMBERS.filter((key) => one[key] || key === 'read').map(item));
}
function roundPanel(one) {
    const of = (counts) => Object.entries(counts ?? {}).map(([key, n]) => ({ label: key || B('noCode'), n }));
    const part = (title, list) => (list.length ? h('div', h('h3', title), bars(list, one.read)) : null);
    const note = !one.wasExported
        ? B('notExported')
        : !one.cameBack
          ? B('notReturned')
          : B('meters', { a: num(one.exportedMeters - one.missing), b: num(one.exportedMeters) });
    return h(
        'section.panel',
        h('h2', seen(one.name) || t('round'), one.code ? h('span.code', seen(one.code)) : null, h('span.h-note', note)),
        numbersOf(one),
        h(
            'div.asks',
            part(B('days'), of(one.byDay)),
            part(B('methods'), of(one.byMethod)),
            part(B('statuses'), of(one.byStatus)),
        ),
    );
}

function differenceItem(one, open) {
    const lines = [
        one.exportedLine ? B('exported', { n: num(one.exportedLine) }) : null,
        one.returnedLine ? B('returned', { n: num(one.returnedLine) }) : null,
    ]
        .filter(Boolean)
        .join(', ');
    const serial = seen(one.meter),
        meter = !one.meter
            ? B('ofRound')
            : open
              ? h(
                    'button',
                    { type: 'button', class: 'link', onclick: open, 'aria-label': t('find.openMeter', { s: serial }) },
                    serial,
                )
              : serial;
    return h('tr', h('th', { scope: 'row' }, meter), h('td', { lang: 'en' }, seen(one.sentence)), h('td.quiet', lines));
}
function differences(list, round, app) {
    if (!list.length) return h('p.quiet', B('noDifferences'));
    const serials = app ? new Map(round.col('serial').map((serial, i) => [serial, i])) : null;
    const body = h('tbody'),
        more = button('', () => add(MORE_DIFFERENCES), { class: 'btn more' });
    let shown = 0;
    const add = (n) => {
        for (const one of list.slice(shown, shown + n)) {
            const i = serials?.get(one.meter);
            body.append(differenceItem(one, i == null ? null : () => app.openMeter(i)));
        }
        shown = Math.min(list.length, shown + n);
        more.hidden = shown >= list.length;
        more.textContent = t('more', { n: num(Math.min(list.length - shown, MORE_DIFFERENCES)) });
    };
    add(app ? FIRST_DIFFERENCES : list.length);
    return [
        h('div.x-scroll', { tabindex: 0, role: 'group', 'aria-label': B('differences') }, h('table.plain.wide-rows', body)),
        more,
    ];
}

/** Without app: for paper. */
export function brought({ round }, app) {
    const [exported, returned] = round.files.map((file) => file.name),
        { rounds, differences: table } = round.reconcile;
    const list = Array.from({ length: table.n }, (_, r) =>
        Object.fromEntries(['meter', 'sentence', 'exportedLine', 'returnedLine'].map((key) => [key, table[key]?.[r]])),
    );
    const intro = B('intro', { exported: seen(baseName(exported)), returned: seen(baseName(returned)) });
    return h(
        'div.overview',
        h('p.quiet', intro),
        rounds.map(roundPanel),
        h('section.panel', h('h2', B('differences'), h('span.h-note', num(list.length))), differences(list, round, app)),
    );
}
