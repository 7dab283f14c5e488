// Runs a function of the module in Node: module.mjs WASM OUT FILE FUNCTION [VALUE]... Outputs become files of the folder OUT; messages
// and failures are printed as JSON.
import fs from 'node:fs';
import path from 'node:path';
import { start } from '../../web/wasm/module.js';

const [, , wasm, out, file, name, ...values] = process.argv;
const opened = fs.openSync(file, 'r'), size = fs.fstatSync(opened).size;
const source = {
  name: path.basename(file), size,
  read(place, length) {
    const bytes = Buffer.alloc(Math.max(0, Math.min(length, size - place)));
    return bytes.subarray(0, fs.readSync(opened, bytes, 0, bytes.length, place));
  },
};
const result = { messages: [], progress: 0, ended: null, value: null };
const outputs = new Map();
const says = {
  output(name, bytes) {
    if (!outputs.has(name)) outputs.set(name, fs.openSync(path.join(out, name.replaceAll('/', '_')), 'w'));
    fs.writeSync(outputs.get(name), bytes);
  },
  complain: (text) => result.messages.push(text),
  progress: () => ++result.progress,
};
const began = performance.now();
const module = await start(new WebAssembly.Module(fs.readFileSync(wasm)), [source], says);
result.loaded = performance.now() - began;
const numeric = (value) => (/^-?\d+$/.test(value) ? Number(value) : value);
try {
  const from = performance.now();
  for (const call of values.length && values[0] === 'then' ? [] : [[name, values]]) result.value = module.call(call[0], source.name, ...call[1].map(numeric));
  result.time = performance.now() - from;
} catch (e) { result.ended = e.message; }
result.memory = module.memory.buffer.byteLength;
console.log(JSON.stringify(result));
