// What happened to the file as a whole, in the library's words, and what to do about it.
import { english, h } from './elements.js';
import { num } from './numbers.js';
import { baseName, seen } from './visible.js';
import { F } from './finding.js';

export function diagnosisList(list, { round }) {
    const item = (one) => {
        const lines =
            (one.examples ?? []).map((line) => num(line)).join(', ') + (one.count > (one.examples?.length ?? 0) ? ' …' : '');
        const where = lines.trim() ? F('atLines', { list: lines, count: one.count }) : F('wholeFile');
        const file = round.files.length > 1 ? h('span', seen(baseName(round.files[one.file].name))) : null;
        return h(
            'li',
            { class: 'f-item f-whole ' + one.severity },
            h(
                'div.f-top',
                h('span.f-where', h('b', F('severityOne.' + one.severity)), h('span', where), file),
                h(
                    'span.f-say',
                    english(seen(one.why)),
                    one.help ? h('span.f-hint', h('b', F('fix')), english(seen(one.help))) : null,
                ),
                h('code', one.rule),
            ),
        );
    };
    return h('ol.f-items', list.map(item));
}
