// A page with one message instead of a round.
import { h } from './elements.js';

export function showMessage(root, title, more) {
    root.replaceChildren(h('main.message', h('div', { role: 'alert' }, h('h1', title), more ? h('p', more) : null)));
}
