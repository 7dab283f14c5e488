// Elements of the page. Texts become text nodes only, never markup.
const SVG = 'http://www.w3.org/2000/svg';

function fill(element, properties, children) {
    for (const [name, value] of Object.entries(properties ?? {})) {
        if (value == null || value === false) continue;
        if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
        else if (name === 'style') for (const [key, text] of Object.entries(value)) element.style.setProperty(key, text);
        else element.setAttribute(name, value === true ? '' : value);
    }
    element.append(...children.flat(9).filter((child) => child != null && child !== false));
    return element;
}

export const h = (tag, properties, ...children) => fill(document.createElement(tag), properties, children);
export const svg = (tag, properties, ...children) => fill(document.createElementNS(SVG, tag), properties, children);
export const button = (label, onclick, properties) => h('button', { type: 'button', class: 'btn', onclick, ...properties }, label);

/** Words of the library are English, whatever the language of the page is. */
export const english = (text) => h('span', { lang: 'en' }, text);
