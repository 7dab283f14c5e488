// The past of one meter: earlier consumptions, and the readings that its radio module kept.
import { h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';

/** Consumptions [{label, value, cls?}] as columns, with the estimate as a band. */
export function pastColumns(list, min, max) {
    const most = Math.max(1, max ?? 0, ...list.map((one) => one.value ?? 0)) * 1.08;
    const share = (value) => `calc((100% - 34px) * ${Math.max(0, value) / most})`;
    const column = (one) =>
        h(
            'span',
            { class: 'col ' + (one.cls ?? '') },
            h('span.col-v', num(one.value)),
            h('span.col-b', { style: { height: share(one.value ?? 0) } }),
            h('span.col-l', seen(one.label)),
        );
    const band =
        max != null && max >= (min ?? 0)
            ? h('span.cols-band', {
                  style: { bottom: `calc(18px + (100% - 34px) * ${(min ?? 0) / most})`, height: share(max - (min ?? 0)) },
              })
            : null;
    return h(
        'div.cols',
        { role: 'img', 'aria-label': list.map((one) => `${seen(one.label)}: ${num(one.value)}`).join(', ') },
        band,
        list.map(column),
    );
}

/** Consumption between the entries [date, index, alarm] of a radio module. */
export function spark(entries) {
    const full = entries.filter((entry) => entry[0] != null && entry[1] != null).sort((a, b) => (a[0] < b[0] ? -1 : 1));
    const steps = full
        .slice(1)
        .map(([date, index, alarm], k) => ({ date, value: index - full[k][1], alarm: alarm && alarm !== '0' ? alarm : null }));
    if (steps.length < 2) return null;
    const most = Math.max(0.001, ...steps.map((step) => step.value));
    const title = (step) =>
        [step.date.slice(0, 10), num(step.value), step.alarm ? t('chart.alarm', { a: seen(step.alarm) }) : '']
            .filter(Boolean)
            .join('  ');
    return h(
        'div.spark',
        h(
            'div.spark-plot',
            { role: 'img', 'aria-label': steps.map(title).join(', ') },
            steps.map((step) =>
                h('span', {
                    class: step.alarm ? 'on' : null,
                    title: title(step),
                    style: { height: Math.max(2, (100 * step.value) / most) + '%' },
                }),
            ),
        ),
        h(
            'div.spark-axis',
            { 'aria-hidden': 'true' },
            h('span', steps[0].date.slice(0, 7)),
            h('span', steps.at(-1).date.slice(0, 7)),
        ),
    );
}
