// Elements of the page. Texts become text nodes only, never markup.
const SVG = 'http://www.w3.org/2000/svg';

/** A plain object after the tag has the attributes and listeners; the rest are children, also in lists. What is null is left out. */
function fill(element, classes, [first, ...rest]) {
    const given = first?.constructor === Object,
        children = given ? rest : [first, ...rest];
    if (classes) element.setAttribute('class', classes.join(' '));
    for (const [name, value] of given ? Object.entries(first) : []) {
        if (value == null || value === false) continue;
        if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
        else if (name === 'style') for (const [key, text] of Object.entries(value)) element.style.setProperty(key, text);
        else element.setAttribute(name, value === true ? '' : value);
    }
    element.append(...children.flat(9).filter((child) => child != null && child !== false));
    return element;
}

/** h('p.note', { title }, 'text'): an element of that tag and class. */
export function h(name, ...parts) {
    const [tag, ...classes] = name.split('.');
    return fill(document.createElement(tag), classes.length ? classes : null, parts);
}
export const svg = (tag, ...parts) => fill(document.createElementNS(SVG, tag), null, parts);
export const button = (label, onclick, properties) =>
    h('button', { type: 'button', class: 'btn', onclick, ...properties }, label);

/** Words of the library are English, whatever the language of the page is. */
export const english = (text) => h('span', { lang: 'en' }, text);
