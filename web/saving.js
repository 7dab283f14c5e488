// Writes what the library makes of the open files to the disk, as a download.
import { button, english, h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { t } from './texts.js';
import { choice, dialogOf, labelledList, tell } from './dialogs.js';
import { V } from './viewertexts.js';

const NAMES_TOLD = 3;
/** "round.txt", "exported.txt, returned.txt", "12 files". */
export const namesOf = (files) =>
    files.length > NAMES_TOLD ? t('files', { n: num(files.length) }) : files.map(({ name }) => seen(name)).join(', ');
export const megabytes = (files) => Math.round(files.reduce((sum, { size }) => sum + size, 0) / 1e6);

export function saveBlob(blob, name) {
    const url = URL.createObjectURL(blob);
    const link = h('a', { href: url, download: name });
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(url), 60000);
    tell(V('saved', { file: seen(name) }));
}

/** The name of an open file, with another end. */
export const nameWith = ({ file }, end) => file.name.replace(/\.[^.]*$/, '') + end;

/** Runs a job with its progress on the screen. Returns null if it was cancelled or failed, after a message. */
export async function runJob({ opening, library }, files, call, values, zips) {
    const name = namesOf(files),
        progress = opening.show('working', name);
    try {
        return await library.run(files, call, values, progress.show, zips);
    } catch (error) {
        progress.hide();
        const key = error.message === 'memory' ? 'tooLarge' : 'cannotRead',
            size = megabytes(files.map(({ file }) => file));
        tell(error.message === 'cancelled' ? V('cancelled') : V(key, { file: name, size, why: seen(error.message) }));
        return null;
    } finally {
        progress.hide();
    }
}

/** The files that are open, to choose from; null: there is one. `all`: with all of them together as a choice. */
export function fileList({ files }, chosen, onchange, all) {
    if (files.length < 2) return null;
    const options = files.map((file, k) => [k, seen(file.name)]);
    return labelledList(t('file'), all ? [[-1, t('allFiles', { n: num(files.length) })], ...options] : options, chosen, onchange);
}

export function saveDialog(viewer) {
    const { files, round } = viewer,
        kinds = round.kinds.filter((kind) => kind.fields && kind.lines);
    const what = labelledList(
        V('saveWhat'),
        [['', V('saveAll')], ...kinds.map((kind) => [recordName(kind), kind.name, 'en'])],
        '',
    );
    const problems = h('div', { class: 'problem', role: 'alert' });
    const forms = h(
        'fieldset',
        { onchange: () => settle() },
        h('legend', null, V('saveForm')),
        choice('form', 'csv', V('csv'), V('csvMore'), true),
        choice('form', 'jsonl', V('jsonl'), V('jsonlMore')),
        choice('form', 'ansi', V('ansi')),
        choice('form', 'utf16', V('utf16')),
    );
    const form = () => forms.querySelector(':checked').value;
    const which = fileList(viewer, viewer.isPair || viewer.app.scope.file >= 0 ? viewer.likely : -1, () => settle(), true);
    const chosenFiles = () => (which?.select.value >= 0 ? [files[which.select.value]] : files);
    // An exchange file is made of one file.
    const settle = () => {
        for (const input of forms.querySelectorAll('input')) input.disabled = isExchange(input.value) && chosenFiles().length > 1;
        if (forms.querySelector(':checked').disabled) forms.querySelector('input').checked = true;
        what.select.disabled = isExchange(form());
    };
    settle();
    const save = async () => {
        problems.replaceChildren();
        const chosen = form(),
            of = chosenFiles();
        const result = isExchange(chosen)
            ? await runJob(viewer, of, 'convert', [chosen === 'utf16' ? 1 : 0])
            : await runJob(viewer, of, 'exportRecords', [chosen, what.select.value], true);
        if (!result) return;
        problems.replaceChildren(...result.messages.map((text) => h('p', null, english(seen(text)))));
        const [made] = result.outputs;
        if (!made) return problems.append(h('p', null, V('nothingSaved')));
        const kind = what.select.value && !isExchange(chosen) ? '-' + what.select.value.replaceAll(' ', '-') : '';
        const all = of.length > 1 ? '-' + V('allName') : '';
        saveBlob(
            made[1],
            nameWith(of[0], isExchange(chosen) ? `-${chosen}.txt` : `${all}${kind}.${made[0] === 'zip' ? 'zip' : chosen}`),
        );
    };
    dialogOf(
        V('saveTitle', { file: namesOf(files) }),
        which?.el,
        what.el,
        forms,
        problems,
        h('p', null, button(V('saveNow'), save, { class: 'btn big-btn' })),
    );
}
const isExchange = (form) => form === 'ansi' || form === 'utf16';
const recordName = (kind) => kind.name.replace(/ line$/, '');
