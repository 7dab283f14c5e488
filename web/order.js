// Rows in the order of a column.
import { locale } from './texts.js';

const isEmpty = (value) => value == null || value === '' || Number.isNaN(value);

/** Returns the rows in the order of a key; equal ones as in the file, empty ones last in both directions. */
export function sortedBy(rows, keyOf, way) {
    const full = [],
        empty = [];
    for (const i of rows) {
        const key = keyOf(i);
        if (isEmpty(key)) empty.push(i);
        else full.push([key, i]);
    }
    const numbers = full.every(([key]) => typeof key === 'number');
    const compare = numbers ? (x, y) => x - y : textOrder(full);
    full.sort((a, b) => way * compare(a[0], b[0]) || a[1] - b[1]);
    return [...full.map(([, i]) => i), ...empty];
}

/** Compares each text once with all others: many rows have the same text, and collation is slow. */
function textOrder(full) {
    const { compare } = new Intl.Collator(locale(), { numeric: true, sensitivity: 'base' });
    const texts = [...new Set(full.map(([key]) => String(key)))].sort(compare);
    const place = new Map();
    let at = 0;
    texts.forEach((text, k) => place.set(text, k && compare(texts[k - 1], text) ? ++at : at));
    return (x, y) => place.get(String(x)) - place.get(String(y));
}
