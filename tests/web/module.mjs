// Calls functions of the module in Node: module.mjs MODULE OUT FILES CALL [, CALL]... with CALL = FUNCTION [VALUE]...
// FILES is a path, or a list of paths in JSON.
// Outputs become files of the folder OUT. Prints what the calls returned, messages, and why the module has ended.
import fs from 'node:fs';
import path from 'node:path';

// In Node 18, a file .js is no module.
const text = fs.readFileSync(new URL('../../web/wasm/module.js', import.meta.url), 'utf8');
const { startModule } = await import('data:text/javascript,' + encodeURIComponent(text));

const [, , moduleFile, out, given, ...words] = process.argv;
const calls = [[]];
for (const word of words) word === ',' ? calls.push([]) : calls.at(-1).push(/^-?\d+$/.test(word) ? Number(word) : word);

const sources = (given.startsWith('[') ? JSON.parse(given) : [given]).map((file) => {
    const opened = fs.openSync(file), size = fs.fstatSync(opened).size;
    return {
        name: path.basename(file),
        size,
        read(place, length) {
            const bytes = Buffer.alloc(Math.max(0, Math.min(length, size - place)));
            return bytes.subarray(0, fs.readSync(opened, bytes, 0, bytes.length, place));
        },
    };
});
const names = sources.map(({ name }) => name).join('\0');
const result = { values: [], messages: [], shares: 0, ended: null };
const outputs = new Map();
const says = {
    output(name, bytes) {
        if (!outputs.has(name)) outputs.set(name, fs.openSync(path.join(out, name.replace(/^.*\//, '')), 'w'));
        fs.writeSync(outputs.get(name), bytes);
    },
    complain: (text) => result.messages.push(text),
    progress(done, all) {
        result.shares++;
        if (!(done >= 0 && done <= all)) result.messages.push(`progress ${done} of ${all}`);
    },
};
const { call, memory } = await startModule(fs.readFileSync(moduleFile), sources, says);
try {
    for (const [name, ...values] of calls) {
        const from = process.cpuUsage();
        result.values.push(call(name, ...(name === 'line' ? [] : [names]), ...values));
        const used = process.cpuUsage(from);
        result.seconds = (used.user + used.system) / 1e6;
    }
} catch (error) {
    result.ended = error.message;
}
result.memory = memory.buffer.byteLength;
console.log(JSON.stringify(result));
