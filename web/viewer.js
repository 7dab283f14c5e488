// Starts a page that opens files: the library is in it, and nothing leaves the computer.
import { chooseLanguage } from './texts.js';
import { V } from './viewertexts.js';
import { Round } from './data.js';
import { App } from './app.js';
import { button } from './elements.js';
import { seen } from './visible.js';
import { Library, LibraryEnded } from './library.js';
import { chooser, Opening } from './opening.js';
import { dialogOf, tell } from './dialogs.js';
import { megabytes, namesOf, saveDialog } from './saving.js';
import { mendDialog, mendReport } from './mending.js';

class Viewer {
    #listeners;
    #turn = 0;
    /** What is shown, in the order of the page: {name, file}. */
    files = [];
    /** Takes files that are dropped, instead of opening them; null: they are opened. */
    onFiles = null;

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
            const text = V(globalThis.DecompressionStream ? 'broken' : 'old', { why: seen(error.message) });
            return this.opening.wait([{ text }]);
        }
        this.opening.wait();
        document.documentElement.dataset.ready = performance.now().toFixed(0);
    }

    /** Whether the second file is what came back of the first. */
    get isPair() {
        return this.files.length === 2 && !!this.round.reconcile;
    }
    /** The number of the file that a job is most likely about: the one that was chosen, came back, or has errors. */
    get likely() {
        if (this.app.scope.file >= 0) return this.app.scope.file;
        const { files, shown } = this.round;
        return this.isPair
            ? shown
            : Math.max(
                  0,
                  files.findIndex((file) => file.errors),
              );
    }

    /** Opens files that were dropped or chosen, instead of those that are open or `beside` them. */
    async open(given, beside = false) {
        const turn = ++this.#turn,
            had = beside ? this.files.map(({ file }) => file) : [],
            files = [...had, ...given.filter((file) => file.size)];
        const empty = given.filter((file) => !file.size).map(({ name }) => ({ text: V('empty', { file: seen(name) }) }));
        if (files.length === had.length) return this.#refuse(empty, beside);
        const began = performance.now(),
            name = namesOf(files);
        document.documentElement.removeAttribute('data-opened');
        const progress = this.opening.show('reading', name);
        try {
            const opened = await this.library.open(files, progress.show);
            progress.hide();
            const isMore = opened.files.length > had.length;
            if (isMore) this.#show(opened, beside);
            else opened.worker.terminate();
            const refused = await this.#reasons(opened.refused, turn);
            if (turn !== this.#turn) return;
            if (refused.length + empty.length) this.#refuse([...empty, ...refused], beside || isMore);
            if (isMore) document.documentElement.dataset.opened = (performance.now() - began).toFixed(0);
        } catch (error) {
            progress.hide();
            if (turn !== this.#turn) return;
            if (error.message === 'cancelled')
                return this.files.length ? tell(V('cancelled')) : this.opening.wait([{ text: V('cancelled') }]);
            if (!(error instanceof LibraryEnded)) console.error(error);
            const key = error.message === 'memory' ? 'tooLarge' : 'cannotRead';
            this.#refuse([{ text: V(key, { file: name, size: megabytes(files), why: seen(error.message) }) }], beside);
        }
    }

    #show(opened, beside) {
        this.round = new Round(opened.parts);
        this.#end();
        this.library.use(opened);
        this.files = opened.files;
        if (location.hash || (beside && this.isPair))
            history.replaceState(null, '', location.pathname + (beside && this.isPair ? '#brought' : ''));
        const isOne = this.files.length === 1;
        const actions = [
            chooser(V('open'), (files) => this.open(files), { title: V('openTitle') }),
            isOne ? chooser(V('compare'), (files) => this.open(files, true), { title: V('compareTitle') }) : null,
            button(V('save'), () => saveDialog(this)),
            button(V('mend'), () => mendDialog(this, this.files[this.likely])),
        ];
        this.#listeners = new AbortController();
        this.app = new App(this.root, this.round, { actions, signal: this.#listeners.signal });
        if (this.files.length !== 2) return;
        const [exported, returned] = this.files.map((file) => seen(file.name));
        tell(V(this.isPair ? 'pair' : 'noPair', { exported, returned }));
    }
    /** Ends what is shown. */
    #end() {
        this.#listeners?.abort();
        for (const dialog of document.querySelectorAll('dialog.job')) dialog.close();
        this.files = [];
    }

    /** Why files have no lines, and whether a repair would find lines in them. */
    async #reasons(refused, turn) {
        const reasons = [];
        for (const one of refused) {
            if (turn !== this.#turn) break; // others are being opened
            const report = await mendReport(this, [one]),
                [why] = one.diagnosis;
            const action = report?.hasLines ? button(V('mend'), () => mendDialog(this, one)) : null;
            reasons.push({ text: V('notAFile', { file: seen(one.name) }), why, action });
        }
        return reasons;
    }
    /** Says why files are not shown: above those that are, or where files are dropped. */
    #refuse(problems, stays) {
        if (stays && this.files.length) return dialogOf(V('notShown'), this.opening.problems(problems));
        this.#end();
        this.library.use(null);
        this.opening.wait(problems);
    }
}

chooseLanguage(navigator.languages);
new Viewer(document.getElementById('app')).start();
