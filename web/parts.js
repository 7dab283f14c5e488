// Parts of a meter's details: a titled block, and a list of names and values.
import { h } from './elements.js';
import { seen } from './visible.js';
import { t } from './texts.js';
import { mark } from './marks.js';

export const D = (key, values) => t('detail.' + key, values);

/** list: [[name, value, class?]]; what has no value is left out. */
export function facts(list) {
    const full = list.filter(([, value]) => value != null && value !== '');
    if (!full.length) return null;
    return h(
        'dl',
        full.flatMap(([name, value, cls]) => [
            h('dt', name),
            h('dd', { class: cls ?? null }, value instanceof Node ? value : seen(value)),
        ]),
    );
}
export function block(title, ...children) {
    const full = children.flat(9).filter(Boolean);
    return full.length ? h('section.d-block', h('h3', title), full) : null;
}
export const alarmList = (names) =>
    names.length
        ? h(
              'ul.alarms',
              names.map((name) => h('li', { lang: 'en' }, mark('alarm'), name)),
          )
        : null;
export const joined = (...values) => values.filter((value) => value != null && value !== '').join('  ·  ');
