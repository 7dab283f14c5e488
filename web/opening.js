// Where files are dropped or chosen, what is shown while they are read, and why they cannot be shown.
import { button, english, h } from './elements.js';
import { num } from './numbers.js';
import { seen } from './visible.js';
import { tell } from './dialogs.js';
import { V } from './viewertexts.js';

/** A button that lets the reader choose files. */
export function chooser(label, onFiles, { multiple = true, ...properties } = {}) {
    const onchange = () => input.files.length && onFiles([...input.files]);
    const input = h('input', { type: 'file', hidden: true, multiple, onchange });
    const choose = () => {
        input.value = '';
        input.click();
    };
    return [button(label, choose, properties), input];
}

export class Opening {
    #root;
    #viewer;

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
            if ([...items].some((item) => item.webkitGetAsEntry?.()?.isDirectory)) return tell(V('folder'));
            if (!files.length) return;
            const { onFiles } = this.#viewer;
            onFiles ? onFiles([...files]) : this.#viewer.open([...files]);
        });
    }

    /** Shows where to drop files, after problems with those that were dropped. */
    wait(problems = []) {
        document.title = V('title');
        delete document.body.dataset.view;
        const box = h(
            'div',
            { class: 'drop-box' },
            this.problems(problems),
            h('h1', null, V('drop')),
            h('p', null, V('dropTwo')),
            h('p', null, V('dropMore')),
            chooser(V('choose'), (files) => this.#viewer.open(files), { class: 'btn big-btn' }),
        );
        this.#root.replaceChildren(h('main', { class: 'drop', id: 'main' }, box));
    }

    /** Says why files are not shown: {text, why: a finding of the library, action: what can be done}. */
    problems(list) {
        const why = (text) => (text ? h('p', { class: 'why' }, english(seen(text))) : null);
        return list.map((one) => [
            h('p', { class: 'problem', role: 'alert' }, one.text),
            why(one.why?.why),
            why(one.why?.help),
            one.action ? h('p', null, one.action) : null,
        ]);
    }

    /** Shows that something is going on, with a button that ends it. Returns show(share) and hide(). */
    show(key, file) {
        const bar = h('progress', { max: 1, value: 0, 'aria-label': V(key, { file }) }),
            share = h('p', { class: 'share' });
        const cancel = (event) => {
            event.preventDefault();
            this.#viewer.library.cancel();
        };
        const dialog = h(
            'dialog',
            { class: 'going-on', oncancel: cancel },
            h('p', { role: 'status' }, V(key, { file })),
            bar,
            share,
            button(V('cancel'), cancel),
        );
        document.body.append(dialog);
        dialog.showModal();
        return {
            show(done) {
                bar.value = done;
                share.textContent = V('percent', { n: num(Math.round(done * 100)) });
            },
            hide() {
                dialog.close(); // what had the focus has it again
                dialog.remove();
            },
        };
    }
}
