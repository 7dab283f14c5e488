// The library as WebAssembly: loading it, its memory, and what it asks of its host.
const encoder = new TextEncoder(), decoder = new TextDecoder();

/** Why a module has ended. It cannot be used any more. */
export class Ended extends Error {}

/** The offset of local time from UTC at an instant, both in seconds. getTimezoneOffset() would round it. */
export function offsetAt(instant) {
  const at = new Date(instant * 1000), utc = new Date(0);
  utc.setUTCFullYear(at.getFullYear(), at.getMonth(), at.getDate());
  utc.setUTCHours(at.getHours(), at.getMinutes(), at.getSeconds());
  return Math.round(utc / 1000 - Math.floor(instant));
}
/** Whether clocks are ahead of the standard time of that year. */
export function isSummerAt(instant) {
  const year = new Date(instant * 1000).getFullYear(), at = (month) => offsetAt(new Date(year, month, 1) / 1000);
  return offsetAt(instant) > Math.min(at(0), at(6)) ? 1 : 0;
}

/**
 * Starts the library on files. `code`: a WebAssembly.Module. `files`: {name, size, read(place, length) -> Uint8Array, which has
 * fewer bytes only at the end of the file}. `says`: {output(name, bytes), complain(text), progress(done, all)}.
 */
export async function start(code, files, says) {
  let reason = '', memory;
  const textAt = (at, size) => decoder.decode(new Uint8Array(memory.buffer, at, size));
  const host = {
    offsetAt, isSummerAt,
    openFile: (at, size) => { const name = textAt(at, size); return files.findIndex((f) => f.name === name); },
    sizeOfFile: (file) => files[file]?.size ?? -1,
    readFile(file, place, to, wanted) {
      try {
        const bytes = files[file].read(place, wanted);
        new Uint8Array(memory.buffer).set(bytes, to);
        return bytes.length;
      } catch { return -1; }
    },
    writeOutput: (name, nameSize, at, size) => says.output?.(textAt(name, nameSize), new Uint8Array(memory.buffer, at >>> 0, size >>> 0).slice()),
    complain: (at, size) => says.complain?.(textAt(at, size)),
    progress: (done, all) => says.progress?.(done, all),
    fail: (at, size) => { reason = textAt(at, size); },
  };
  const view = () => new DataView(memory.buffer);
  // Of the system that the C library is made for, nothing is there but the clock.
  const wasi = new Proxy({
    clock_time_get: (clock, precision, to) => { view().setBigUint64(to, BigInt(Math.round(Date.now() * 1e6)), true); return 0; },
    environ_sizes_get: (count, size) => { view().setUint32(count, 0, true); view().setUint32(size, 0, true); return 0; },
    environ_get: () => 0,
    proc_exit: () => { throw new Ended(reason || 'exit'); },
  }, { get: (known, name) => known[name] ?? (() => 52) });
  const imports = { host, wasi_snapshot_preview1: wasi };
  const instance = await WebAssembly.instantiate(code, imports);
  const { exports } = instance;
  memory = exports.memory;

  /** Calls a function with numbers and texts; each text is its place and size. */
  function call(name, ...values) {
    const held = [];
    const given = values.flatMap((value) => {
      if (typeof value !== 'string') return [value];
      const bytes = encoder.encode(value), at = exports.allocate(bytes.length || 1);
      new Uint8Array(memory.buffer).set(bytes, at);
      held.push(at);
      return [at, bytes.length];
    });
    try {
      const result = exports[name](...given);
      held.forEach((at) => exports.release(at));
      return result;
    } catch (e) { throw new Ended(reason || (e instanceof RangeError ? 'memory' : String(e.message ?? e))); }
  }
  exports._initialize?.();
  return { call, memory };
}
