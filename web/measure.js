// Widths of texts in the page's own font.
import { h } from './elements.js';

let pen;
/** The width of the widest of some texts: the longest by an estimate, measured exactly. */
export function widthOf(texts, weight = 400, size = 14) {
    pen ??= document.createElement('canvas').getContext('2d');
    pen.font = `${weight} ${size}px ${getComputedStyle(document.body).fontFamily}`;
    let widest = '',
        most = 0;
    for (const text of texts) {
        const width = pen.measureText(text).width;
        if (width > most) [most, widest] = [width, text];
    }
    const probe = h('span.measure', { style: { 'font-weight': weight, 'font-size': size + 'px' } }, widest);
    document.body.append(probe);
    const exact = probe.getBoundingClientRect().width;
    probe.remove();
    return exact;
}

let cell;
/** The width of a character in a raw line. */
export function charWidth() {
    if (cell) return cell;
    const probe = h('span.raw-text.offscreen', '0'.repeat(100));
    document.body.append(probe);
    cell = probe.getBoundingClientRect().width / 100;
    probe.remove();
    return cell;
}
