// The choice of columns, and how many of them have no room.
import { h } from './elements.js';
import { num } from './numbers.js';
import { t } from './texts.js';

export function columnMenu(columns, onChange) {
    const summary = h('summary.btn', t('columns')),
        notes = new Map();
    const item = (column) => {
        const note = h('i.quiet');
        notes.set(column.key, note);
        const change = (event) => {
            column.on = event.target.checked;
            onChange();
        };
        return h('label', h('input', { type: 'checkbox', checked: column.on, onchange: change }), h('span', column.label), note);
    };
    const escape = (event) => {
        if (event.key !== 'Escape' || !el.open) return;
        event.stopPropagation();
        el.open = false;
        summary.focus();
    };
    const el = h(
        'details.menu',
        { onkeydown: escape },
        summary,
        h('div.menu-box', columns.filter((column) => !column.fixed).map(item)),
    );
    addEventListener('click', (event) => {
        if (!el.contains(event.target)) el.open = false;
    });
    const hidden = (list) => {
        summary.textContent = list.length ? t('columnsHidden', { n: num(list.length) }) : t('columns');
        for (const [key, note] of notes) note.textContent = list.some((column) => column.key === key) ? t('noRoom') : '';
    };
    return { el, hidden };
}
