// Runs the library beside the page: one job, then the lines that the page asks for. To cancel, the page ends the worker.
import { Ended, startModule } from './module.js';
import { crcOf, zipOf } from './zip.js';

const PROGRESS_EVERY = 80; // milliseconds
const AHEAD = 4 << 20; // bytes that are read at once
const FOLDED = 16 << 20; // bytes from which parts of an output become one, which a browser may keep on the disk

/** A file that is read from front to back, mostly. */
function reading(file, name) {
    const reader = new FileReaderSync();
    let first = 0,
        held = new Uint8Array(0);
    return {
        name,
        size: file.size,
        read(place, length) {
            const end = Math.min(place + length, file.size);
            if (place < first || end > first + held.length) {
                held = new Uint8Array(
                    reader.readAsArrayBuffer(file.slice(place, Math.max(end, Math.min(place + AHEAD, file.size)))),
                );
                first = place;
            }
            return held.subarray(place - first, Math.max(place, end) - first);
        },
    };
}

/** Outputs as they grow. */
function collecting() {
    const outputs = new Map();
    return {
        outputs,
        add(name, bytes) {
            const output = outputs.get(name) ?? { name, size: 0, crc: 0, parts: [], waiting: 0 };
            outputs.set(name, output);
            output.crc = crcOf(bytes, output.crc);
            output.parts.push(bytes);
            output.size += bytes.length;
            output.waiting += bytes.length;
            if (output.waiting < FOLDED) return;
            output.parts = [new Blob(output.parts)];
            output.waiting = 0;
        },
    };
}

let module, line;

/** job: {code, files: [{file, name}], call, values, zips: whether outputs become one file, parts: whether they are bytes}. */
async function run({ code, files, call, values, zips, parts }) {
    const messages = [],
        { outputs, add } = collecting(),
        bytesOf = new Map();
    let last = 0;
    const says = {
        output(of, bytes) {
            if (of === 'line') line = new TextDecoder().decode(bytes);
            else if (parts) bytesOf.set(of, bytes);
            else add(of, bytes);
        },
        complain: (text) => messages.push(text),
        progress(done, all) {
            const now = performance.now();
            if (now - last < PROGRESS_EVERY) return;
            last = now;
            postMessage({ progress: all > 0 ? Math.min(done / all, 1) : 0 });
        },
    };
    module = await startModule(
        code,
        files.map(({ file, name }) => reading(file, name)),
        says,
    );
    const value = module.call(call, files.map(({ name }) => name).join('\0'), ...values);
    if (parts)
        return postMessage(
            { value, messages, outputs: bytesOf },
            [...bytesOf.values()].map((bytes) => bytes.buffer),
        );
    const all = [...outputs.values()];
    for (const one of all) one.name = one.name.replace(/^.*\//, '');
    const made = zips && all.length > 1 ? [['zip', new Blob(zipOf(all))]] : all.map((one) => [one.name, new Blob(one.parts)]);
    postMessage({ value, messages, outputs: new Map(made) });
}

onmessage = async ({ data }) => {
    try {
        if (!data.lineOf) return await run(data);
        line = undefined;
        module.call('line', ...data.values);
        postMessage({ lineOf: data.lineOf, text: line });
    } catch (error) {
        const isMemory = error instanceof RangeError || error.message === 'memory';
        postMessage({
            ended: isMemory ? 'memory' : error instanceof Ended ? error.message : String(error.message ?? error),
            lineOf: data.lineOf,
        });
    }
};
