// The library, which runs in workers: the files that are open, and one job at a time.
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

/** The files, each with a name of its own: "round.txt", "round.txt (2)". */
export function named(files) {
    const taken = new Set();
    return files.map((file) => {
        let name = file.name;
        for (let n = 2; taken.has(name); n++) name = `${file.name} (${n})`;
        taken.add(name);
        return { file, name };
    });
}

export class Library {
    #code;
    #script;
    #opened;
    #job;

    /** Takes the library out of the page. */
    async load() {
        const [code, script] = await Promise.all([unpacked('tramo-module'), unpacked('tramo-worker')]);
        this.#code = new Uint8Array(code);
        this.#script = URL.createObjectURL(new Blob([script], { type: 'text/javascript' }));
    }

    #start(job, onProgress) {
        const worker = new Worker(this.#script),
            lines = new Map();
        const done = new Promise((resolve, reject) => {
            worker.onerror = (event) => reject(new LibraryEnded(event.message || 'worker'));
            worker.onmessage = ({ data }) => {
                if (data.lineOf) return lines.get(data.lineOf)?.(data.text);
                if (data.ended) return reject(new LibraryEnded(data.ended));
                data.outputs ? resolve(data) : onProgress?.(data.progress);
            };
            worker.cancel = () => {
                worker.terminate();
                reject(new LibraryEnded('cancelled'));
            };
        });
        worker.postMessage({ code: this.#code, ...job });
        const line = (n, file) =>
            new Promise((resolve) => {
                const lineOf = `${n} ${file}`,
                    before = lines.get(lineOf);
                lines.set(lineOf, (text) => {
                    before?.(text);
                    lines.delete(lineOf);
                    resolve(text);
                });
                if (!before) worker.postMessage({ lineOf, values: [n, file] });
            });
        return { worker, done, line };
    }

    /**
     * Reads files: {files: those that are shown, in their order, refused: [{name, file, diagnosis}], parts}. Files that were open
     * before stay so until use() is called.
     */
    async open(files, onProgress) {
        this.cancel();
        const given = named(files),
            job = this.#start({ files: given, call: 'check', values: [], parts: true }, onProgress);
        this.#job = job.worker;
        try {
            const { outputs } = await job.done;
            const { shown, refused } = JSON.parse(new TextDecoder().decode(outputs.get('files')));
            return {
                worker: job.worker,
                files: shown.map((k) => given[k]),
                refused: refused.map(({ file, diagnosis }) => ({ ...given[file], diagnosis })),
                parts: new Parts(outputs, { line: job.line }),
            };
        } catch (error) {
            job.worker.terminate();
            throw error;
        } finally {
            if (this.#job === job.worker) this.#job = null;
        }
    }
    /** From now on, these files are open. */
    use(opened) {
        this.#opened?.worker.terminate();
        this.#opened = opened;
    }

    /** Runs a function on files: {value, messages, outputs: Map from names to blobs}. */
    async run(files, call, values, onProgress, zips = false) {
        const job = this.#start({ files, call, values, zips }, onProgress);
        this.#job = job.worker;
        try {
            return await job.done;
        } finally {
            job.worker.terminate();
            if (this.#job === job.worker) this.#job = null;
        }
    }

    /** Ends what is going on. */
    cancel() {
        this.#job?.cancel();
        this.#job = null;
    }
}
