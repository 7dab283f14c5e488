// Which columns a table has room for, and how wide they are.

const LEAST = 170;

/** Texts shrink first; then the columns of the highest rank have no room. Those of rank 0 always stay. */
export function fitColumns(columns, room) {
    const leastOf = (column) => (column.grow ? Math.min(column.width, LEAST) : column.width);
    const sum = (list, width) => list.reduce((all, column) => all + width(column), 0);
    const shown = [...columns];
    while (sum(shown, leastOf) > room) {
        let worst = -1;
        shown.forEach((column, k) => {
            if (column.rank > 0 && (worst < 0 || column.rank >= shown[worst].rank)) worst = k;
        });
        if (worst < 0) break;
        shown.splice(worst, 1);
    }
    const texts = shown.filter((column) => column.grow);
    const spare = room - sum(shown, (column) => column.width);
    const widths = shown.map((column) => column.width);
    if (spare > 0) shown.forEach((column, k) => column.grow && (widths[k] += Math.min(spare / texts.length, 160)));
    else shrink(shown, widths, -spare, leastOf);
    return { shown, widths };
}

/** Takes what is missing from the texts, from each by its share of what they can give. */
function shrink(shown, widths, missing, leastOf) {
    const give = shown.map((column, k) => widths[k] - leastOf(column));
    const all = give.reduce((sum, one) => sum + one, 0);
    if (all > 0) shown.forEach((column, k) => (widths[k] = Math.floor(widths[k] - Math.min(1, missing / all) * give[k])));
}
