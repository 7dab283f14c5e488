// Whether the file is sound, in one sentence; what happened to the file as a whole comes first.
import { button, english, h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';

export const counted = (key, n) => t(key, { n: num(n), count: n });

/** "57 errors, 34 warnings": only those that are there. */
export const countsOf = (source) =>
    [
        ['errors', source.errors],
        ['warnings', source.warnings],
        ['hints', source.hints],
    ]
        .filter(([, n]) => n)
        .map(([key, n]) => counted(key, n))
        .join(', ');

export function verdict({ round, source, findings, diagnosis }, onShow) {
    const bad = source.errors + source.warnings,
        some = bad + (source.hints ?? 0);
    const lines = new Set(
        findings
            .filter((k) => round.findings.severity[k] !== 'hint')
            .map((k) => round.findings.line[k])
            .filter(Boolean),
    );
    const title = !bad ? t('clean') : lines.size ? counted('dirty', lines.size) : t('dirtyFile');
    const sentences = diagnosis.slice(0, 2).map((one) => h('p.v-diagnosis', english(seen(one.why))));
    return h(
        'section',
        { class: 'verdict ' + (source.errors ? 'v-error' : bad ? 'v-warn' : 'v-ok') },
        h('span.v-icon', { 'aria-hidden': 'true' }, bad ? '!' : '✓'),
        h(
            'div',
            h('h2', title),
            sentences,
            h(
                'p',
                some ? countsOf(source) + '.' : t('cleanMore', { n: num(source.lines) }),
                source.linesOfNoMeter ? ' ' + counted('lost', source.linesOfNoMeter) : '',
            ),
            some && onShow ? button(t('showFindings'), onShow) : null,
        ),
    );
}
