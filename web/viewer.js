// Starts a page that opens files: the library is in it, and nothing leaves the computer.
import { chooseLanguage } from './texts.js';
import { V } from './viewertexts.js';
import { Round } from './data.js';
import { App } from './app.js';
import { button } from './elements.js';
import { seen } from './visible.js';
import { say } from './clipboard.js';
import { Library, LibraryEnded } from './library.js';
import { chooser, Opening } from './opening.js';
import { saveDialog } from './saving.js';
import { mendDialog, mendReport } from './mending.js';

class Viewer {
    #listeners;
    #app;

    constructor(root) {
        this.root = root;
        this.library = new Library();
        this.opening = new Opening(root, this);
        this.opening.listen();
    }

    async start() {
        try {
            await this.library.load();
        } catch (error) {
            return this.opening.refuse(globalThis.DecompressionStream ? 'broken' : 'old', { why: seen(error.message) });
        }
        this.opening.wait();
        document.documentElement.dataset.ready = performance.now().toFixed(0);
    }

    /** Opens a file that was dropped or chosen. */
    async open(file) {
        const name = seen(file.name),
            had = this.#app;
        if (file.size === 0) return this.opening.refuse('empty', { file: name });
        const began = performance.now();
        document.documentElement.removeAttribute('data-opened');
        this.opening.show('reading', name);
        try {
            const { parts, hasLines } = await this.library.open(file, (share) => this.opening.progress(share));
            this.opening.hide();
            if (!hasLines) return await this.#explain(parts, name);
            this.#show(parts);
            document.documentElement.dataset.opened = (performance.now() - began).toFixed(0);
        } catch (error) {
            this.opening.hide();
            if (error.message === 'cancelled')
                return had && this.library.file ? say(V('cancelled')) : this.opening.wait(V('cancelled'));
            if (error.message === 'memory')
                return this.opening.refuse('tooLarge', { file: name, size: Math.round(file.size / 1e6) });
            if (!(error instanceof LibraryEnded)) console.error(error);
            this.opening.refuse('cannotRead', { file: name, why: seen(error.message) });
        }
    }

    #show(parts) {
        this.#listeners?.abort();
        this.#listeners = new AbortController();
        this.round = new Round(parts);
        if (location.hash) history.replaceState(null, '', location.pathname);
        const actions = [
            chooser(V('open'), this, { title: V('openTitle') }),
            button(V('save'), () => saveDialog(this)),
            button(V('mend'), () => mendDialog(this)),
        ];
        this.#app = new App(this.root, this.round, { actions, signal: this.#listeners.signal });
    }

    /** Of a file without lines: why, and whether a repair would find lines in it. */
    async #explain(parts, name) {
        this.#listeners?.abort();
        this.#app = null;
        const [first] = parts.get('summary').source.files[0].diagnosis;
        const report = await mendReport(this);
        this.opening.refuse(
            'notAFile',
            { file: name },
            first,
            report?.hasLines ? button(V('mend'), () => mendDialog(this)) : null,
        );
    }
}

chooseLanguage(navigator.languages);
new Viewer(document.getElementById('app')).start();
