// What a map draws with: colours of the page, shapes of the states, the hull around the meters.
import { shapes } from './marks.js';

export function paletteOf(element) {
    const style = getComputedStyle(element),
        of = (name) => style.getPropertyValue('--' + name).trim();
    const names = {
        read: 'read',
        unread: 'unread',
        outside: 'outside',
        implausible: 'implausible',
        alarm: 'alarm',
        changed: 'changed',
    };
    for (const key of ['surface', 'line', 'ink', 'hull', 'accent']) names[key] = key;
    return Object.fromEntries(Object.entries(names).map(([key, name]) => [key, of(name)]));
}

/** A shape of a state, drawn once for each size and colour and then copied. */
export function sprite(state, colours, size, scale) {
    const canvas = document.createElement('canvas');
    canvas.width = canvas.height = Math.ceil((size + 4) * scale);
    const pen = canvas.getContext('2d'),
        path = new Path2D(shapes[state]),
        unit = 12 / size,
        hollow = state === 'unread';
    pen.scale(scale, scale);
    pen.translate(2, 2);
    pen.scale(size / 12, size / 12);
    pen.lineJoin = 'round';
    pen.lineWidth = (hollow ? 3.6 : 2) * unit;
    pen.strokeStyle = colours.surface;
    pen.stroke(path);
    pen.fillStyle = hollow ? colours.surface : colours[state];
    pen.fill(path);
    if (hollow) {
        pen.lineWidth = 1.8 * unit;
        pen.strokeStyle = colours.unread;
        pen.stroke(path);
    }
    return canvas;
}

/** The convex hull of points [x, y]. */
export function hullOf(points) {
    if (points.length < 3) return points;
    const sorted = [...points].sort((a, b) => a[0] - b[0] || a[1] - b[1]);
    const turnsRight = (a, b, c) => (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]) <= 0;
    const half = (list) => {
        const out = [];
        for (const point of list) {
            while (out.length > 1 && turnsRight(out.at(-2), out.at(-1), point)) out.pop();
            out.push(point);
        }
        return out.slice(0, -1);
    };
    return [...half(sorted), ...half(sorted.reverse())];
}
