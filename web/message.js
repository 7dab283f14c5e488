// A page with one message instead of a round.
import { h } from './elements.js';

export function showMessage(root, title, more) {
    root.replaceChildren(h('main', { class: 'message' }, h('div', { role: 'alert' }, h('h1', null, title), more ? h('p', null, more) : null)));
}
