// Search in the texts of meters, without regard to case and accents. The index is made when somebody searches.
const fold = (text) =>
    text
        .normalize('NFD')
        .replace(/[\u0300-\u036f]/g, '')
        .toLowerCase();

export function searchIn(round) {
    let index;
    const textOf = (i) => {
        const plain = ['serial', 'newSerial', 'agent', 'message'].map((key) => round.col(key)[i] ?? '');
        return fold([...plain, ...round.areas.map((area) => round.area(area, i))].join('\u0001'));
    };
    /** Returns whether a meter contains all words of a query. */
    return (query) => {
        const words = fold(query).split(/\s+/).filter(Boolean);
        if (!words.length) return () => true;
        index ??= Array.from({ length: round.n }, (_, i) => textOf(i));
        return (i) => words.every((word) => index[i].includes(word));
    };
}
