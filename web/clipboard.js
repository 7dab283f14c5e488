// Text that leaves the page: into the clipboard and into files. Also what was done, as a message that screen readers speak.
import { h } from './elements.js';
import { seen } from './visible.js';

/** A cell of CSV. Spreadsheets run texts that begin like a formula: those get an apostrophe. */
export function csvCell(value, isNumber) {
    const text = guarded(value, isNumber);
    return /[",\r\n]/.test(text) ? '"' + text.replaceAll('"', '""') + '"' : text;
}
/** A cell of text separated by tabs. */
export const tabCell = (value, isNumber) => guarded(value, isNumber).replace(/[\t\r\n]/g, ' ');

function guarded(value, isNumber) {
    const text = value == null ? '' : seen(value);
    return !isNumber && /^[=+\-@\uff1d\uff0b\uff0d\uff20]/.test(text) ? '\u0027' + text : text;
}

/** Offers a text as a file, in UTF-8 with a byte order mark, as spreadsheets expect it. */
export function saveCsv(name, text) {
    const url = URL.createObjectURL(new Blob(['\ufeff', text], { type: 'text/csv' }));
    const link = h('a', { download: name, href: url });
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(url), 5000);
}

export async function copy(text) {
    try {
        await navigator.clipboard.writeText(text);
        return true;
    } catch {
        return copySelected(text);
    }
}
function copySelected(text) {
    const had = document.activeElement;
    const box = h('textarea.offscreen', { 'aria-hidden': 'true' });
    box.value = text;
    document.body.append(box);
    box.select();
    const done = document.execCommand('copy');
    box.remove();
    had?.focus?.();
    return done;
}

let toast;
/** Shows a short message, which screen readers speak. */
export function say(text) {
    toast ??= document.body.appendChild(h('div.toast', { role: 'status' }));
    toast.textContent = text;
    toast.classList.add('on');
    clearTimeout(toast.timer);
    toast.timer = setTimeout(() => toast.classList.remove('on'), 2600);
}
