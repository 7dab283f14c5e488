// What can be repaired in the open file, and why that is right; then the repaired file.
import { button, english, h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { countsOf } from './verdict.js';
import { V } from './viewertexts.js';
import { named } from './library.js';
import { chooser } from './opening.js';
import { dialogOf, labelledList, tell } from './dialogs.js';
import { fileList, nameWith, runJob, saveBlob } from './saving.js';

/**
 * What a repair says about a file; null: it was cancelled. files: it and perhaps the exported one; accepted: '17:1 20:2'. If the
 * exported one has no lines to compare with: {cannotCompare}.
 */
export async function mendReport(viewer, files, accepted = '', writes = false) {
    const result = await runJob(viewer, files, 'repair', [accepted, writes ? 1 : 0]);
    if (!result) return null;
    if (result.value < 0) return { cannotCompare: true };
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

/** What a repair mends, and what it leaves. */
function foundOf({ mended, left, ...report }) {
    const counts = countsOf({ errors: report.errorsLeft + errorsIn(left), warnings: report.warningsLeft });
    const after = report.isWell
        ? V(mended.length ? 'mendWell' : 'mendClean')
        : V(mended.length ? 'mendLeft' : 'mendWrong', { counts });
    return [
        h('ul', null, mended.map(mendedItem)),
        h(
            'p',
            null,
            after,
            left.map((one) => h('span', { class: 'why' }, english(seen(one.why)))),
        ),
    ];
}
const headOf = ({ hasLines, mended, mendedLines, lines }) =>
    !hasLines
        ? V('mendNoLines')
        : !mended.length
          ? V('mendNone')
          : mendedLines
            ? V('mendOf', { n: num(mendedLines), all: num(lines) })
            : V('mendFile');
const errorsIn = (findings) => findings.filter((one) => one.severity === 'error').length;

/** The dialog that repairs a file, perhaps one of those that are open, and compares it with the exported one. */
class Mending {
    #viewer;
    #file;
    #reference; // a file like those of the viewer; null: none
    #others = []; // files that were chosen here
    #isBusy = false;
    #dialog;
    #lists = h('div', { class: 'lists' });
    #head = h('p', { role: 'status' });
    #body = h('div', { class: 'found' });

    constructor(viewer, file) {
        this.#viewer = viewer;
        this.#use(file, this.#exportedOf(file));
    }
    #exportedOf(file) {
        const { files, isPair } = this.#viewer;
        return isPair && file === files[1] ? files[0] : null;
    }
    #use(file, reference) {
        this.#file = file;
        this.#reference = reference;
    }
    #report(accepted, writes) {
        const files = [this.#file, this.#reference].filter(Boolean).map(({ file }) => file);
        return mendReport(this.#viewer, named(files), accepted, writes);
    }
    get #title() {
        return V('mendTitle', { file: seen(this.#file.name) });
    }

    async open() {
        const report = await this.#report();
        if (!report) return;
        this.#fill(report); // the dialog gives the focus to the first thing in it
        this.#dialog = dialogOf(this.#title, this.#lists, this.#head, this.#body);
        this.#viewer.onFiles = (files) => (files.length > 1 ? tell(V('several')) : this.#compare(files[0]));
        this.#dialog.addEventListener('close', () => (this.#viewer.onFiles = null));
    }

    /** Another file, or another one to compare with. If that does not work, everything stays as it was. */
    async #change(file, reference) {
        if (this.#isBusy) return; // another file was dropped meanwhile
        const before = [this.#file, this.#reference];
        this.#use(file, reference);
        this.#isBusy = true;
        const report = await this.#report();
        this.#isBusy = false;
        const fits = report && !report.cannotCompare;
        if (!fits) this.#use(...before);
        if (report?.cannotCompare) tell(V('cannotCompare', { file: seen(reference.name) }));
        if (!fits) return this.#choices();
        if (reference && !this.#viewer.files.includes(reference)) this.#others = [reference];
        this.#fill(report);
        this.#dialog.setAttribute('aria-label', this.#title);
        this.#dialog.querySelector('h2').textContent = this.#title;
    }
    #compare(file) {
        return this.#change(this.#file, { name: file.name, file });
    }

    /** The lists of files keep the focus that they have. */
    #choices() {
        const viewer = this.#viewer,
            { files } = viewer;
        const which = files.includes(this.#file)
            ? fileList(viewer, files.indexOf(this.#file), () => {
                  const file = files[which.select.value];
                  this.#change(file, this.#exportedOf(file));
              })
            : null;
        const references = [...files.filter((file) => file !== this.#file), ...this.#others];
        const options = [['', V('referenceNone')], ...references.map((file, k) => [k, seen(file.name)])];
        const reference = labelledList(V('reference'), options, this.#reference ? references.indexOf(this.#reference) : '', () =>
            this.#change(this.#file, references[reference.select.value] ?? null),
        );
        const choose = chooser(V('referenceChoose'), ([file]) => this.#compare(file), {
            multiple: false,
            'aria-label': V('referenceTitle'),
        });
        const focused = [...this.#lists.querySelectorAll('select, button')].indexOf(document.activeElement);
        this.#lists.replaceChildren(
            ...[which?.el, h('div', { class: 'choice-row' }, reference.el, choose), h('small', null, V('referenceMore'))].filter(
                Boolean,
            ),
        );
        this.#lists.querySelectorAll('select, button')[focused]?.focus();
    }

    #fill(report) {
        this.#choices();
        this.#head.textContent = headOf(report);
        const { mended, proposals } = report;
        this.#lists.hidden = !report.hasLines && this.#viewer.files.length < 2;
        this.#body.replaceChildren(
            ...(report.hasLines
                ? [
                      ...foundOf(report),
                      ...(proposals.length ? [h('h3', null, V('proposals')), ...proposalsOf(report)] : []),
                      ...(report.mayHoldKeys ? [h('p', { class: 'problem' }, V('keys'))] : []),
                      ...(mended.length || proposals.length ? [this.#acts()] : []),
                  ]
                : report.left.map((one) => h('p', null, english(seen(one.why))))),
        );
    }

    #acts() {
        const accepted = () =>
            [...this.#body.querySelectorAll('.proposal input:checked')]
                .map((input) => input.value)
                .filter(Boolean)
                .join(' ');
        const write = async (use) => {
            const made = await this.#report(accepted(), true);
            if (made) use(made, nameWith(this.#file, '-repaired'));
        };
        return h(
            'p',
            { class: 'job-acts' },
            button(V('mendNow'), () => write((made, name) => saveBlob(made.file, name + '.txt')), { class: 'btn big-btn' }),
            button(V('mendLog'), () => write((made, name) => saveBlob(made.log, name + '.jsonl'))),
            button(V('mendOpen'), () => write((made, name) => this.#openInstead(new File([made.file], name + '.txt')))),
        );
    }
    /** The repaired file takes the place of the damaged one among the files that are open, or comes beside them. */
    #openInstead(made) {
        const { files } = this.#viewer,
            isOpen = files.includes(this.#file);
        this.#dialog.close();
        this.#viewer.open([...files.map((one) => (one === this.#file ? made : one.file)), ...(isOpen ? [] : [made])]);
    }
}

export const mendDialog = (viewer, file) => new Mending(viewer, file).open();
