// One finding: where it is, what it says, and its line.
import { english, h } from './elements.js';
import { num } from './numbers.js';
import { baseName, seen } from './visible.js';
import { t } from './texts.js';
import { marksOfFindings } from './detail_lines.js';
import { rawLine, scrollToMark } from './raw.js';

export const F = (key, values) => t('find.' + key, values);

export function columnsText(f, k) {
    const first = f.column?.[k],
        last = (f.end?.[k] ?? 0) - 1;
    if (!first) return f.line[k] ? F('whole') : F('wholeFile');
    return last > first ? F('columnsTo', { a: first, b: last }) : F('column', { a: first });
}
export const lineText = (f, k) => (f.line[k] ? F('line', { n: num(f.line[k]) }) : F('file'));

export const meterOfFinding = (round, k) => round.meterOfLine.get(round.findings.line[k], round.findings.file?.[k]);
/** The file of a finding, if there are several. */
export const fileOfFinding = (round, k) =>
    round.files.length > 1 ? seen(baseName(round.files[round.findings.file?.[k] ?? 0].name)) : '';

export function textOfFinding(round, k) {
    const f = round.findings;
    const place = [fileOfFinding(round, k), lineText(f, k), columnsText(f, k)].filter(Boolean).join(', ');
    return `${place}: ${F('severityOne.' + f.severity[k])}: ${seen(f.message[k])}`;
}

/** The text of a line is fetched when it comes near the screen: `watch` calls show(). */
function lineOf(round, k, watch) {
    const f = round.findings,
        line = f.line[k],
        box = h('div.f-raw');
    box.show = async () => {
        watch.unobserve(box);
        box.show = null;
        const text = await round.raw.line(line, f.file?.[k]),
            marks = marksOfFindings(round, [k]);
        if (text == null) return box.replaceChildren(h('p.quiet', t('detail.noRaw')));
        const element = rawLine(text, round.kindOf(text), marks, lineText(f, k));
        box.replaceChildren(element);
        if (marks.length) scrollToMark(element, marks);
        else if (f.rule[k] === 'LineTooShort') element.scrollLeft = element.scrollWidth;
    };
    watch.observe(box);
    return box;
}

export function findingItem(round, k, app, watch) {
    const f = round.findings,
        field = f.field?.[k];
    const i = meterOfFinding(round, k),
        serial = i == null ? null : seen(round.col('serial')[i]);
    const file = fileOfFinding(round, k);
    return h(
        'li',
        { class: 'f-item ' + f.severity[k] },
        h(
            'div.f-top',
            h('span.f-where', h('b', lineText(f, k)), h('span', columnsText(f, k)), file ? h('span.f-file', file) : null),
            h(
                'span.f-say',
                h('span.offscreen', F('severityOne.' + f.severity[k]) + ': '),
                field ? h('b', seen(field)) : null,
                f.kind?.[k] ? h('span.f-kind', { lang: 'en' }, f.kind[k]) : null,
                english(seen(f.why[k])),
                f.help?.[k] ? h('span.f-hint', { lang: 'en' }, seen(f.help[k])) : null,
            ),
            serial
                ? h(
                      'button',
                      {
                          type: 'button',
                          class: 'link',
                          'aria-label': F('openMeter', { s: serial }),
                          onclick: () => app.openMeter(i),
                      },
                      serial,
                  )
                : null,
        ),
        f.line[k] ? lineOf(round, k, watch) : null,
    );
}
