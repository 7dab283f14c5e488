// Writes what the library makes of the open file to the disk, as a download.
import { button, english, h } from './elements.js';
import { seen } from './visible.js';
import { say } from './clipboard.js';
import { V } from './viewertexts.js';

export function saveBlob(blob, name) {
    const url = URL.createObjectURL(blob);
    const link = h('a', { href: url, download: name });
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(url), 60000);
    say(V('saved', { file: seen(name) }));
}

/** The name of the open file, with another end. */
export const nameWith = (viewer, end) => viewer.library.file.name.replace(/\.[^.]*$/, '') + end;

/** Runs a job with its progress on the screen. Returns null if it was cancelled or failed, after a message. */
export async function runJob(viewer, call, values, zips) {
    const { opening, library } = viewer,
        name = seen(library.file.name);
    opening.show('working', name);
    try {
        return await library.run(call, values, (share) => opening.progress(share), zips);
    } catch (error) {
        const isMemory = error.message === 'memory';
        if (error.message === 'cancelled') say(V('cancelled'));
        else
            say(
                isMemory
                    ? V('tooLarge', { file: name, size: Math.round(library.file.size / 1e6) })
                    : V('cannotRead', { file: name, why: seen(error.message) }),
            );
        return null;
    } finally {
        opening.hide();
    }
}

/** A dialog with a title and a button that closes it. */
export function dialogOf(title, ...children) {
    const dialog = h(
        'dialog',
        { class: 'job', 'aria-label': title, onclose: () => dialog.remove() },
        h('h2', null, title),
        children,
        h(
            'p',
            { class: 'job-end' },
            button(V('close'), () => dialog.close()),
        ),
    );
    document.body.append(dialog);
    dialog.showModal();
    return dialog;
}

const choice = (group, value, label, more, chosen) =>
    h(
        'label',
        null,
        h('input', { type: 'radio', name: group, value, checked: chosen }),
        h('span', null, label, more ? h('small', null, more) : null),
    );

export function saveDialog(viewer) {
    const name = seen(viewer.library.file.name);
    const kinds = viewer.round.kinds.filter((kind) => kind.fields && kind.lines);
    const what = h(
        'select',
        { class: 'select', 'aria-label': V('saveWhat') },
        h('option', { value: '' }, V('saveAll')),
        kinds.map((kind) => h('option', { value: recordName(kind), lang: 'en' }, kind.name)),
    );
    const problems = h('div', { class: 'problem', role: 'alert' });
    const forms = h(
        'fieldset',
        { onchange: () => (what.disabled = isExchange(form())) },
        h('legend', null, V('saveForm')),
        choice('form', 'csv', V('csv'), V('csvMore'), true),
        choice('form', 'jsonl', V('jsonl'), V('jsonlMore')),
        choice('form', 'ansi', V('ansi')),
        choice('form', 'utf16', V('utf16')),
    );
    const form = () => forms.querySelector(':checked').value;
    const save = async () => {
        problems.replaceChildren();
        const chosen = form();
        const result = isExchange(chosen)
            ? await runJob(viewer, 'convert', [chosen === 'utf16' ? 1 : 0])
            : await runJob(viewer, 'exportRecords', [chosen, what.value], true);
        if (!result) return;
        problems.replaceChildren(...result.messages.map((text) => h('p', null, english(seen(text)))));
        const [made] = result.outputs;
        if (!made) return problems.append(h('p', null, V('nothingSaved')));
        const kind = what.value && !isExchange(chosen) ? '-' + what.value.replaceAll(' ', '-') : '';
        saveBlob(
            made[1],
            nameWith(viewer, isExchange(chosen) ? `-${chosen}.txt` : `${kind}.${made[0] === 'zip' ? 'zip' : chosen}`),
        );
    };
    dialogOf(
        V('saveTitle', { file: name }),
        h('label', { class: 'what' }, V('saveWhat'), what),
        forms,
        problems,
        h('p', null, button(V('saveNow'), save, { class: 'btn big-btn' })),
    );
}
const isExchange = (form) => form === 'ansi' || form === 'utf16';
const recordName = (kind) => kind.name.replace(/ line$/, '');
