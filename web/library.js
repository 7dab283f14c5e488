// The library, which runs in workers: the file that is open, and one job at a time on it.
import { Parts } from './data.js';

/** Why a job has ended without a result: 'memory', or a sentence of the library. */
export class LibraryEnded extends Error {}

async function unpacked(id) {
    const element = document.getElementById(id),
        text = element.textContent.trim();
    element.textContent = '';
    const bytes = Uint8Array.fromBase64?.(text) ?? Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
    return new Response(new Blob([bytes]).stream().pipeThrough(new DecompressionStream('gzip'))).arrayBuffer();
}

export class Library {
    #code;
    #script;
    #opened;
    #job;
    #lines = new Map();

    /** Takes the library out of the page. */
    async load() {
        const [code, script] = await Promise.all([unpacked('tramo-module'), unpacked('tramo-worker')]);
        this.#code = new Uint8Array(code);
        this.#script = URL.createObjectURL(new Blob([script], { type: 'text/javascript' }));
    }

    #start(job, onProgress) {
        const worker = new Worker(this.#script);
        const done = new Promise((resolve, reject) => {
            worker.onerror = (event) => reject(new LibraryEnded(event.message || 'worker'));
            worker.onmessage = ({ data }) => {
                if (data.lineOf) return this.#answer(data);
                if (data.ended) return reject(new LibraryEnded(data.ended));
                data.outputs ? resolve(data) : onProgress?.(data.progress);
            };
            worker.cancel = () => {
                worker.terminate();
                reject(new LibraryEnded('cancelled'));
            };
        });
        worker.postMessage({ code: this.#code, ...job });
        return { worker, done };
    }
    #answer({ lineOf, text }) {
        this.#lines.get(lineOf)?.forEach((resolve) => resolve(text));
        this.#lines.delete(lineOf);
    }

    /** Opens a file: {parts, hasLines}. A file that was open before stays so until the new one is there. */
    async open(file, onProgress) {
        this.cancel();
        const job = this.#start({ file, name: file.name, call: 'check', values: [], parts: true }, onProgress);
        this.#job = job.worker;
        try {
            const { value, outputs } = await job.done;
            this.#opened?.worker.terminate();
            this.#opened = { worker: job.worker, file };
            this.#lines.clear();
            return { parts: new Parts(outputs, { line: (n) => this.#line(n) }), hasLines: value === 1 };
        } catch (error) {
            job.worker.terminate();
            throw error;
        } finally {
            this.#job = null;
        }
    }
    get file() {
        return this.#opened?.file;
    }
    #line(n) {
        return new Promise((resolve) => {
            const waiting = this.#lines.get(n) ?? [];
            this.#lines.set(n, [...waiting, resolve]);
            if (!waiting.length) this.#opened.worker.postMessage({ lineOf: n });
        });
    }

    /** Runs a function on the open file: {value, messages, outputs: Map from names to blobs}. */
    async run(call, values, onProgress, zips = false) {
        const { file } = this.#opened,
            job = this.#start({ file, name: file.name, call, values, zips }, onProgress);
        this.#job = job.worker;
        try {
            return await job.done;
        } finally {
            job.worker.terminate();
            this.#job = null;
        }
    }

    /** Ends what is going on. */
    cancel() {
        this.#job?.cancel();
        this.#job = null;
    }
}
