// The library as WebAssembly: loading it, its memory, and what it asks of its host.
const encoder = new TextEncoder();
const decoder = new TextDecoder();

/** Why a module has ended. It cannot be used any more. `message`: 'memory', or a sentence. */
export class Ended extends Error {}

/** Returns the offset of local time from UTC at an instant, both in seconds. getTimezoneOffset() rounds it to minutes. */
export function offsetAt(instant) {
    const at = new Date(instant * 1000),
        utc = new Date(0);
    utc.setUTCFullYear(at.getFullYear(), at.getMonth(), at.getDate());
    utc.setUTCHours(at.getHours(), at.getMinutes(), at.getSeconds());
    return Math.round(utc / 1000 - Math.floor(instant));
}
/** Returns whether clocks are ahead of the standard time of that year. */
export function isSummerAt(instant) {
    const year = new Date(instant * 1000).getFullYear();
    const at = (month) => offsetAt(new Date(year, month, 1) / 1000);
    return offsetAt(instant) > Math.min(at(0), at(6)) ? 1 : 0;
}

/**
 * Starts the library. `code`: the bytes of the module. `files`: {name, size, read(place, length)}, which returns a Uint8Array with
 * fewer bytes only at the end of the file. `says`: output(name, bytes), complain(text), progress(done, all).
 */
export async function startModule(code, files, says) {
    let reason = '',
        memory;
    const bytesAt = (at, size) => new Uint8Array(memory.buffer, at >>> 0, size >>> 0);
    const textAt = (at, size) => decoder.decode(bytesAt(at, size));
    const host = {
        offsetAt,
        isSummerAt,
        openFile(at, size) {
            const name = textAt(at, size);
            return files.findIndex((file) => file.name === name);
        },
        sizeOfFile: (file) => files[file]?.size ?? -1,
        readFile(file, place, to, wanted) {
            try {
                const bytes = files[file].read(place, wanted >>> 0);
                bytesAt(to, bytes.length).set(bytes);
                return bytes.length;
            } catch {
                return -1;
            }
        },
        writeOutput: (name, nameSize, at, size) => says.output(textAt(name, nameSize), bytesAt(at, size).slice()),
        complain: (at, size) => says.complain(textAt(at, size)),
        progress: (done, all) => says.progress(done, all),
        fail(at, size) {
            reason = textAt(at, size);
        },
    };
    const view = () => new DataView(memory.buffer);
    const known = {
        clock_time_get(clock, precision, to) {
            view().setBigUint64(to, BigInt(Date.now()) * 1000000n, true);
            return 0;
        },
        environ_sizes_get(count, size) {
            view().setUint32(count, 0, true);
            view().setUint32(size, 0, true);
            return 0;
        },
        environ_get: () => 0,
        proc_exit() {
            throw new Ended(reason || 'exit');
        },
    };
    // Of the system that the C library is made for, there is nothing but the clock.
    const notSupported = 52;
    const system = new Proxy(known, { get: (of, name) => of[name] ?? (() => notSupported) });
    const { instance } = await WebAssembly.instantiate(code, { host, wasi_snapshot_preview1: system });
    const { exports } = instance;
    memory = exports.memory;

    /** Calls a function with numbers and texts: each text becomes its place and its size. */
    function call(name, ...values) {
        const place = (value) => {
            if (typeof value !== 'string') return [value];
            const bytes = encoder.encode(value),
                at = exports.allocate(bytes.length + 1);
            bytesAt(at, bytes.length).set(bytes);
            return [at, bytes.length];
        };
        try {
            return exports[name](...values.flatMap(place));
        } catch (error) {
            throw new Ended(reason || (error instanceof RangeError ? 'memory' : String(error.message ?? error)));
        }
    }
    exports._initialize?.();
    return { call, memory };
}
