// Dialogs of the viewer, and messages that appear above them.
import { button, h } from './elements.js';
import { say } from './clipboard.js';
import { V } from './viewertexts.js';

/** A dialog with a title and a button that closes it. */
export function dialogOf(title, ...children) {
    const dialog = h(
        'dialog',
        { class: 'job', 'aria-label': title, onclose: () => closed(dialog) },
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
function closed(dialog) {
    const message = dialog.querySelector('.toast');
    if (message) document.body.append(message);
    dialog.remove();
}

/** Shows a message that screen readers speak, also while a dialog is open: what is outside of that is not reachable. */
export function tell(text) {
    const message = document.querySelector('.toast'),
        above = [...document.querySelectorAll('dialog.job[open]')].at(-1) ?? document.body;
    if (message && message.parentElement !== above) above.append(message);
    say(text);
    if (!message) above.append(document.querySelector('.toast'));
}

export const choice = (group, value, label, more, chosen) =>
    h(
        'label',
        null,
        h('input', { type: 'radio', name: group, value, checked: chosen }),
        h('span', null, label, more ? h('small', null, more) : null),
    );

/** A list to choose from, with its label. options: [[value, text]]; `chosen`: one of the values. */
export function labelledList(label, options, chosen, onchange) {
    const select = h('select', { class: 'select', onchange }, optionsOf(options, chosen));
    return { select, el: h('label', { class: 'choice' }, h('span', null, label), select) };
}
const optionsOf = (options, chosen) =>
    options.map(([value, text, lang]) => h('option', { value, lang, selected: value === chosen }, text));
