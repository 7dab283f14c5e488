// Answers of the enquiries, by question.
import { h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';
import { bars } from './bars.js';

const ANSWERS_SHOWN = 5;
const numberOf = (text) => +text.replace(',', '.');

function countByQuestion({ round, file }) {
    const by = new Map(),
        fileOf = round.col('file');
    for (let r = 0; r < round.answers.n; r++) {
        const i = round.answers.meter[r];
        if (i < 0 || (file >= 0 && (fileOf[i] ?? 0) !== file)) continue;
        for (const { question, text } of round.answer(r)) {
            if (!by.has(question)) by.set(question, new Map());
            const count = by.get(question);
            count.set(text, (count.get(text) ?? 0) + 1);
        }
    }
    return by;
}

/** Many different numbers: in ranges of equal width. */
function ranges(list) {
    const values = list.map(([text, n]) => [numberOf(text), n]);
    const low = Math.min(...values.map(([value]) => value)),
        high = Math.max(...values.map(([value]) => value));
    const width = (high - low) / ANSWERS_SHOWN || 1,
        digits = width < 2 ? 2 : 0;
    const bins = Array.from({ length: ANSWERS_SHOWN }, (_, k) => ({
        label: `${num(low + k * width, digits)} – ${num(low + (k + 1) * width, digits)}`,
        n: 0,
    }));
    for (const [value, n] of values) bins[Math.min(ANSWERS_SHOWN - 1, Math.floor((value - low) / width))].n += n;
    return bins;
}

function shortList(list, all) {
    const numeric = list.length > ANSWERS_SHOWN + 1 && list.every(([text]) => text !== '' && isFinite(numberOf(text)));
    if (numeric) return ranges(list);
    const shown = list.slice(0, ANSWERS_SHOWN).map(([label, n]) => ({ label, n }));
    if (list.length > ANSWERS_SHOWN) shown.push({ label: t('chart.other'), n: all - shown.reduce((sum, one) => sum + one.n, 0) });
    return shown;
}

export function answers(scope) {
    return [...countByQuestion(scope)].map(([question, count]) => {
        const list = [...count].sort((a, b) => b[1] - a[1]),
            all = list.reduce((sum, [, n]) => sum + n, 0);
        return h(
            'div',
            h('h3', seen(question), ' ', h('span', t('chart.answersOf', { n: num(all), count: all }))),
            bars(shortList(list, all)),
        );
    });
}
