// Lines that belong to no meter: tags, parameters and keys of radio modules, which are files of their own.
import { button, h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';

const FIRST_LINES = 100,
    MORE_LINES = 1000;
const OWN = ['n', 'line', 'file', 'meter'];

function othersTable(table) {
    const names = Object.keys(table).filter((name) => !OWN.includes(name)),
        body = h('tbody');
    let shown = 0;
    const row = (r) =>
        h(
            'tr',
            h('th', { scope: 'row', class: 'tab' }, num(table.line[r])),
            names.map((name) => h('td.tab', seen(table[name][r]))),
        );
    const more = button('', () => add(MORE_LINES), { class: 'btn more' });
    const add = (n) => {
        for (const end = Math.min(table.n, shown + n); shown < end; shown++) body.append(row(shown));
        more.hidden = shown >= table.n;
        more.textContent = t('more', { n: num(Math.min(table.n - shown, MORE_LINES)) });
    };
    add(FIRST_LINES);
    const head = h(
        'tr',
        h('th', { scope: 'col' }, t('col.line')),
        names.map((name) => h('th', { scope: 'col' }, h('code', name))),
    );
    return [
        h(
            'div.x-scroll',
            { tabindex: 0, role: 'group', 'aria-label': t('col.line') },
            h('table.plain.others', h('thead', head), body),
        ),
        more,
    ];
}

/** The panels of these lines, as far as there are any. */
export function others(round) {
    return ['tags', 'parameters', 'keys']
        .filter((name) => round[name].n)
        .map((name) => h('section.panel', h('h2', t(name), h('span.h-note', num(round[name].n))), othersTable(round[name])));
}
