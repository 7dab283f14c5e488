// The columns of the table of meters: those that this file can fill, with widths measured on a sample.
import { h } from './elements.js';
import { num, stamp } from './numbers.js';
import { baseName, seen } from './visible.js';
import { t } from './texts.js';
import { BIT } from './data.js';
import { MAIN_STATES } from './marks.js';
import { placeOf } from './estimate.js';
import { widthOf } from './measure.js';

const SAMPLE = 120,
    TEXT_MOST = 230,
    MOST = 320,
    PADDING = 28,
    SORT_ROOM = 32;
const SLOTS = ['read', 'outside', 'implausible', 'alarm', 'changed', 'finding'];

export const stateNames = (round, i) => {
    const states = round.marks(i);
    if (round.state[i] & BIT.finding) states.push('finding');
    return states.map((state) => t('state.' + state)).join(', ');
};

/** States in fixed places, so that the eye can run down one kind of mark. */
function stateCell(round) {
    return (cell, i) => {
        if (!cell.firstChild)
            cell.append(
                h(
                    'span.slots',
                    { 'aria-hidden': 'true' },
                    SLOTS.map(() => h('i.slot')),
                ),
                h('span.offscreen', ' '),
            );
        const bits = round.state[i],
            slots = cell.firstChild.children;
        SLOTS.forEach((state, k) => {
            const name = 'slot' + (bits & BIT[state] ? ' sl-' + state : k ? '' : ' sl-unread');
            if (slots[k].className !== name) slots[k].className = name;
        });
        cell.lastChild.firstChild.data = stateNames(round, i);
    };
}
function gaugeCell(round) {
    return (cell, i) => {
        if (!cell.firstChild)
            cell.append(h('span.gauge', { 'aria-hidden': 'true' }, h('i.gauge-band'), h('i.gauge-dot')), h('span.offscreen'));
        const place = placeOf(round, i),
            gauge = cell.firstChild,
            bits = round.state[i];
        gauge.hidden = place == null || !(bits & BIT.read);
        cell.lastChild.textContent =
            bits & BIT.below ? t('state.below') : bits & BIT.above ? t('state.above') : gauge.hidden ? '' : t('within');
        gauge.className = 'gauge' + (bits & BIT.outside ? ' out' : '');
        if (!gauge.hidden) gauge.lastChild.style.left = Math.max(2, Math.min(98, 28 + 44 * place)) + '%';
    };
}

/** All columns, in their order. rank: the higher, the sooner it gives way; 0 stays. */
function candidates(round) {
    const list = [];
    const plain = (key, rank, more = {}) => {
        const values = round.col(key);
        const text = more.num ? (i) => num(values[i]) : more.date ? (i) => stamp(values[i]) : (i) => values[i] ?? '';
        if (key in round.m)
            list.push({
                key,
                rank,
                label: t('col.' + key),
                text,
                sort: (i) => values[i],
                value: more.date ? text : (i) => values[i],
                ...more,
            });
    };
    const area = (one, k, more) =>
        list.push({ key: 'area' + k, label: seen(one.label), text: (i) => round.area(one, i), ...more });
    const isDigits = (one) => one.type === '1' || one.type === 'N';
    const state = (i) => -MAIN_STATES.indexOf(round.main(i));
    list.push({
        key: 'state',
        rank: 0,
        label: t('col.state'),
        width: round.findings.n ? 123 : 108,
        cls: 'tight',
        fixed: true,
        text: (i) => stateNames(round, i),
        sort: state,
        cell: stateCell(round),
    });
    plain('serial', 0, { cls: 'strong', fixed: true });
    plain('order', 5, { num: true });
    round.areas.forEach((one, k) => isDigits(one) || area(one, k, { grow: true, rank: k === 1 ? 3 : k ? 6 : 5 })); // texts first, codes and telephone numbers after the reading
    plain('prevIndex', 8, { num: true, off: true });
    plain('index', 1, { num: true, cls: 'strong' });
    plain('consumption', 1, { num: true });
    if ('min' in round.m && 'max' in round.m)
        list.push({
            key: 'range',
            rank: 4,
            label: t('col.range'),
            width: 105,
            export: false,
            text: () => '',
            sort: (i) => placeOf(round, i),
            cell: gaugeCell(round),
        });
    plain('date', 2, { date: true, cls: 'tab' });
    if (round.count.alarm)
        list.push({
            key: 'alarm',
            rank: 4,
            grow: true,
            label: t('col.alarm'),
            text: (i) => (round.state[i] & BIT.alarm ? round.alarmsOf(i).join(', ') : ''),
        });
    round.areas.forEach((one, k) => isDigits(one) && area(one, k, { cls: 'tab', rank: 7 }));
    if (round.rounds.length > 1)
        list.push({
            key: 'round',
            rank: 7,
            label: t('col.round'),
            num: true,
            off: true,
            text: (i) => String(round.m.round[i] + 1),
            sort: (i) => round.m.round[i],
            value: (i) => round.m.round[i] + 1,
        });
    if (round.files.length > 1 && 'file' in round.m)
        list.push({ key: 'file', rank: 6, label: t('col.file'), text: (i) => baseName(round.files[round.col('file')[i]].name) });
    for (const key of ['method', 'status', 'agent']) plain(key, 7, { ofReading: true });
    for (const key of ['fluid', 'message']) plain(key, 8);
    for (const key of ['year', 'wheels']) plain(key, 9, { off: true });
    list.push({
        key: 'line',
        rank: 9,
        label: t('col.line'),
        num: true,
        off: true,
        text: (i) => num(round.m.line[i]),
        sort: (i) => round.m.line[i],
        value: (i) => round.m.line[i],
    });
    return list;
}

/** The one value of a column, "" if it is empty, or null if it has several. */
function constantOf(column, round) {
    let only = null;
    for (let i = 0; i < round.n; i++) {
        if (column.ofReading && round.state[i] & BIT.unread) continue;
        const text = column.text(i);
        if (only != null && text !== only) return null;
        only = text;
    }
    return only ?? '';
}
/** The row with the largest number: it is the widest. */
function largestOf(column, round) {
    let largest = 0;
    for (let i = 1; i < round.n; i++) if ((column.sort(i) ?? 0) > (column.sort(largest) ?? 0)) largest = i;
    return largest;
}
function widthIn(column, round) {
    const step = Math.max(1, Math.floor(round.n / SAMPLE)),
        sample = new Set();
    for (let i = 0; i < round.n; i += step) sample.add(seen(column.text(i)));
    if (column.num) sample.add(column.text(largestOf(column, round)));
    const text = widthOf(sample, column.cls === 'strong' ? 600 : 400) + PADDING;
    return Math.ceil(Math.max(widthOf([column.label], 500, 12.5) + SORT_ROOM, Math.min(column.grow ? TEXT_MOST : MOST, text)));
}

/** A column with one value in all rows is none: `constant`. An empty one does not exist. */
export function columnsOf(round) {
    const list = candidates(round).map((column) => ({
        ...column,
        constant: column.fixed || column.cell ? null : constantOf(column, round),
    }));
    return list
        .filter((column) => column.constant !== '')
        .map((column) => {
            const constant = round.n > 1 ? column.constant : null;
            return { ...column, constant, width: column.width ?? widthIn(column, round), on: constant == null && !column.off };
        });
}
