// A page with one message instead of a round.
import { h } from './elements.js';

export function showMessage(root, title, more) {
    root.replaceChildren(h('main', { class: 'message' }, h('h1', { role: 'alert' }, title), more ? h('p', null, more) : null));
}
