// Where a file is dropped or chosen, what is shown while it is read, and why it cannot be shown.
import { button, english, h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { say } from './clipboard.js';
import { V } from './viewertexts.js';

/** A button that lets the reader choose a file. */
export function chooser(label, viewer, properties) {
    const input = h('input', { type: 'file', hidden: true, onchange: () => input.files[0] && viewer.open(input.files[0]) });
    const choose = () => {
        input.value = '';
        input.click();
    };
    return [button(label, choose, properties), input];
}

export class Opening {
    #root;
    #viewer;
    #dialog;

    constructor(root, viewer) {
        this.#root = root;
        this.#viewer = viewer;
    }

    /** Takes files that are dropped anywhere. */
    listen() {
        const mark = (on) => document.body.classList.toggle('dropping', on);
        addEventListener('dragover', (event) => {
            event.preventDefault();
            mark(true);
        });
        addEventListener('dragleave', (event) => event.relatedTarget || mark(false));
        addEventListener('drop', (event) => {
            event.preventDefault();
            mark(false);
            const { files, items } = event.dataTransfer;
            if (files.length > 1) return say(V('several'));
            if (items[0]?.webkitGetAsEntry?.()?.isDirectory) return say(V('folder'));
            if (files.length) this.#viewer.open(files[0]);
        });
    }

    /** Shows where to drop a file. */
    wait(note, ...more) {
        document.title = V('title');
        delete document.body.dataset.view;
        const box = h(
            'div',
            { class: 'drop-box' },
            note ? h('p', { class: 'problem', role: 'alert' }, note) : null,
            more,
            h('h1', null, V('drop')),
            h('p', null, V('dropMore')),
            chooser(V('choose'), this.#viewer, { class: 'btn big-btn' }),
        );
        this.#root.replaceChildren(h('main', { class: 'drop', id: 'main' }, box));
    }

    /** Says why a file is not shown. `why`: a finding of the library about it. */
    refuse(key, values, why, action) {
        this.hide();
        const reason = why ? h('p', { class: 'why' }, english(seen(why.why))) : null;
        const help = why?.help ? h('p', { class: 'why' }, english(seen(why.help))) : null;
        this.wait(V(key, values), reason, help, action);
    }

    /** Shows that something is going on, with a button that ends it. */
    show(key, file) {
        this.hide();
        const bar = h('progress', { max: 1, value: 0, 'aria-label': V(key, { file }) });
        const dialog = h(
            'dialog',
            { class: 'going-on', oncancel: (event) => this.#cancel(event) },
            h('p', { role: 'status' }, V(key, { file })),
            bar,
            h('p', { class: 'share' }),
            button(V('cancel'), (event) => this.#cancel(event)),
        );
        this.#dialog = dialog;
        document.body.append(dialog);
        dialog.showModal();
    }
    #cancel(event) {
        event.preventDefault();
        this.#viewer.library.cancel();
    }
    progress(share) {
        if (!this.#dialog) return;
        this.#dialog.querySelector('progress').value = share;
        this.#dialog.querySelector('.share').textContent = V('percent', { n: num(Math.round(share * 100)) });
    }
    hide() {
        this.#dialog?.remove();
        this.#dialog = null;
    }
}
