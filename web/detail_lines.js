// The lines of the file that belong to a meter, and what is wrong with them.
import { h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';
import { mark } from './marks.js';
import { D, block } from './parts.js';
import { rawLine, scrollToMark } from './raw.js';

const TABLES = { amr: 'radio', ext: 'monthly', changes: 'change', positions: 'position', answers: 'answers' };

export function findingsOfMeter(round, i) {
    const f = round.findings,
        list = round.findingsOf.get(i) ?? [];
    const item = (k) =>
        h(
            'li',
            { class: f.severity[k] },
            h('span', { lang: 'en' }, f.field?.[k] ? h('b', seen(f.field[k]) + ' ') : null, seen(f.why[k])),
        );
    return list.length ? block(D('findings'), h('ul.d-finds', list.map(item))) : null;
}

/** The marks of a line: [{from, to, severity, label}]. */
export function marksOfFindings(round, list) {
    const f = round.findings;
    return list
        .filter((k) => f.column?.[k])
        .map((k) => ({
            from: f.column[k],
            to: Math.max(f.column[k], (f.end?.[k] ?? f.column[k] + 1) - 1),
            severity: f.severity[k],
            label: seen(f.field?.[k]),
        }));
}

function lineBox(round, line, file, words, list) {
    const title = D('line', { n: num(line) });
    const box = h(
        'details.d-line',
        h(
            'summary',
            h('span.d-n', title),
            h('span', words),
            list.length ? [mark('finding'), h('span.offscreen', t('state.finding'))] : null,
        ),
    );
    const open = async () => {
        if (!box.open || box.children.length > 1) return;
        const text = await round.raw.line(line, file),
            marks = marksOfFindings(round, list);
        const element = text == null ? h('p.quiet', D('noRaw')) : rawLine(text, round.kindOf(text), marks, title);
        box.append(element);
        scrollToMark(element, marks);
    };
    box.addEventListener('toggle', open);
    return box;
}

export function linesOf(round, i) {
    const lines = [[round.m.line[i], D('meter')]],
        found = round.findingsOf.get(i) ?? [],
        file = round.m.file?.[i];
    for (const [table, words] of Object.entries(TABLES))
        for (const r of round['of_' + table].rows(i)) lines.push([round[table].line[r], D(words)]);
    lines.sort((a, b) => a[0] - b[0]);
    return block(
        D('lines'),
        h(
            'div.d-lines',
            lines.map(([line, words]) =>
                lineBox(
                    round,
                    line,
                    file,
                    words,
                    found.filter((k) => round.findings.line[k] === line),
                ),
            ),
        ),
    );
}
