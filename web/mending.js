// What can be repaired in the open file, and why that is right; then the repaired file.
import { button, english, h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { V } from './viewertexts.js';
import { dialogOf, nameWith, runJob, saveBlob } from './saving.js';

/** What a repair says about the file; null: it was cancelled. `accepted`: '17:1 20:2'. */
export async function mendReport(viewer, accepted = '', writes = false) {
    const result = await runJob(viewer, 'repair', [accepted, writes ? 1 : 0]);
    if (!result) return null;
    return {
        ...JSON.parse(await result.outputs.get('repair').text()),
        file: result.outputs.get('out'),
        log: result.outputs.get('log'),
    };
}

function mendedItem({ description, lines }) {
    const list = lines.first.map((n) => num(n)).join(', ') + (lines.count > lines.first.length ? ' …' : '');
    return h(
        'li',
        null,
        english(seen(description)),
        ' ',
        h('small', null, lines.count ? V('mendLines', { list, count: lines.count }) : V('mendWhole')),
    );
}

function wordsOf({ characters: n, field }) {
    const count = Math.abs(n),
        values = { n: num(count), count, field: seen(field) };
    if (!field) return n > 0 ? V('spacesAdded', values) : V('spacesLost');
    return n < 0 ? V('lost', values) : V('added', values);
}

/** The text around the columns that move. */
function excerpt(text, { column, end }) {
    const from = Math.max(0, column - 25),
        part = (a, b) => seen(text.slice(Math.max(from, a), Math.min(from + 72, b)));
    return h(
        'code',
        null,
        from ? '…' : '',
        part(from, column - 1),
        h('mark', null, part(column - 1, end - 1)),
        part(end - 1, text.length),
    );
}
function proposalItem(one) {
    const id = `${one.line}:${one.number}`;
    return h(
        'label',
        { class: 'proposal' },
        h('input', { type: 'radio', name: 'line' + one.line, value: id }),
        h(
            'span',
            null,
            wordsOf(one),
            one.column
                ? h(
                      'span',
                      { class: 'change' },
                      h('small', null, V('before')),
                      excerpt(one.before, one),
                      h('small', null, V('after')),
                      excerpt(one.after, one),
                  )
                : null,
        ),
    );
}
function proposalsOf(report) {
    const lines = Map.groupBy ? Map.groupBy(report.proposals, (one) => one.line) : groupedByLine(report.proposals);
    return [...lines].map(([line, list]) =>
        h(
            'fieldset',
            null,
            h('legend', null, V('proposal', { line: num(line), what: '' }).replace(/[ :]+$/, '')),
            list.map(proposalItem),
            h(
                'label',
                { class: 'proposal' },
                h('input', { type: 'radio', name: 'line' + line, value: '', checked: true }),
                h('span', null, V('takeNone')),
            ),
        ),
    );
}
function groupedByLine(list) {
    const groups = new Map();
    for (const one of list) groups.set(one.line, [...(groups.get(one.line) ?? []), one]);
    return groups;
}

export async function mendDialog(viewer) {
    const report = await mendReport(viewer);
    if (!report) return;
    const name = seen(viewer.library.file.name);
    if (!report.hasLines)
        return dialogOf(
            V('mendTitle', { file: name }),
            h('p', null, V('mendNoLines')),
            report.left.map((one) => h('p', null, english(seen(one.why)))),
        );
    const { mended, proposals } = report;
    const head = mended.length
        ? report.mendedLines
            ? V('mendOf', { n: num(report.mendedLines), all: num(report.lines) })
            : V('mendFile')
        : V('mendNone');
    const counts = { errors: num(report.errorsLeft + errorsIn(report.left)), warnings: num(report.warningsLeft) };
    const left = report.isWell
        ? V(mended.length ? 'mendWell' : 'mendClean')
        : V(mended.length ? 'mendLeft' : 'mendWrong', counts);
    const accepted = () =>
        [...dialog.querySelectorAll('.proposal input:checked')]
            .map((input) => input.value)
            .filter(Boolean)
            .join(' ');
    const write = async (use) => {
        const made = await mendReport(viewer, accepted(), true);
        if (made) use(made);
    };
    const acts =
        mended.length || proposals.length
            ? [
                  button(V('mendNow'), () => write((made) => saveBlob(made.file, nameWith(viewer, '-repaired.txt'))), {
                      class: 'btn big-btn',
                  }),
                  button(V('mendLog'), () => write((made) => saveBlob(made.log, nameWith(viewer, '-repaired.jsonl')))),
                  button(V('mendOpen'), () =>
                      write((made) => {
                          const file = new File([made.file], nameWith(viewer, '-repaired.txt'));
                          dialog.close();
                          viewer.open(file);
                      }),
                  ),
              ]
            : null;
    const dialog = dialogOf(
        V('mendTitle', { file: name }),
        h('p', null, head),
        h('ul', null, mended.map(mendedItem)),
        h(
            'p',
            null,
            left,
            report.left.map((one) => h('span', { class: 'why' }, english(seen(one.why)))),
        ),
        proposals.length ? [h('h3', null, V('proposals')), proposalsOf(report)] : null,
        report.mayHoldKeys ? h('p', { class: 'problem' }, V('keys')) : null,
        acts ? h('p', { class: 'job-acts' }, acts) : null,
    );
}
const errorsIn = (findings) => findings.filter((one) => one.severity === 'error').length;
