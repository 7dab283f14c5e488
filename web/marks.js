// The mark of each state: one shape and one colour, so that colour is never the only sign.
import { svg } from './elements.js';

export const shapes = {
    read: 'M6 2.2a3.8 3.8 0 1 1 0 7.6a3.8 3.8 0 1 1 0-7.6z',
    unread: 'M6 2.6a3.4 3.4 0 1 1 0 6.8a3.4 3.4 0 1 1 0-6.8z',
    outside: 'M6 1.4 11 10.4H1z',
    implausible: 'M2.4 1 6 4.6 9.6 1 11 2.4 7.4 6 11 9.6 9.6 11 6 7.4 2.4 11 1 9.6 4.6 6 1 2.4z',
    alarm: 'M6 .8 11.2 6 6 11.2.8 6z',
    changed: 'M2 2h8v8H2z',
    located: 'M6 1.2a3.6 3.6 0 0 1 3.6 3.6C9.6 7.4 6 11 6 11S2.4 7.4 2.4 4.8A3.6 3.6 0 0 1 6 1.2z',
    finding: 'M5 1h2v6H5zM5 8.6h2v2.2H5z',
};

/** States that share the shape of another. */
const LIKE = { below: 'outside', above: 'outside', radioSilent: 'unread', unlocated: 'located' };

export const mark = (state) => {
    const shape = LIKE[state] ?? state;
    return svg(
        'svg',
        { class: 'mark m-' + shape, viewBox: '0 0 12 12', 'aria-hidden': 'true' },
        svg('path', { d: shapes[shape] }),
    );
};

/** The states of a point on the map and of a card, the most urgent last. */
export const MAIN_STATES = ['read', 'changed', 'outside', 'implausible', 'alarm', 'unread'];
