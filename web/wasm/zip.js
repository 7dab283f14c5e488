// Several files as one, without compression.
const crcTable = Uint32Array.from({ length: 256 }, (_, n) => {
    let c = n;
    for (let bit = 0; bit < 8; bit++) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
    return c;
});

export function crcOf(bytes, crc) {
    let c = ~crc;
    for (let i = 0; i < bytes.length; i++) c = crcTable[(c ^ bytes[i]) & 255] ^ (c >>> 8);
    return ~c >>> 0;
}

/** files: [{name, size, crc, parts}]. Returns the parts of the ZIP file. */
export function zipOf(files) {
    const encoder = new TextEncoder(),
        out = [],
        directory = [];
    const numbers = (list) => {
        const view = new DataView(new ArrayBuffer(list.reduce((sum, [bytes]) => sum + bytes, 0)));
        let at = 0;
        for (const [bytes, value] of list) {
            bytes === 2 ? view.setUint16(at, value, true) : view.setUint32(at, value, true);
            at += bytes;
        }
        return new Uint8Array(view.buffer);
    };
    const utf8 = 0x800,
        version = 20,
        firstDay = 0x21;
    let place = 0;
    for (const { name, size, crc, parts } of files) {
        const bytes = encoder.encode(name);
        const facts = [
            [2, version],
            [2, utf8],
            [2, 0],
            [2, 0],
            [2, firstDay],
            [4, crc],
            [4, size],
            [4, size],
            [2, bytes.length],
            [2, 0],
        ];
        const head = numbers([[4, 0x04034b50], ...facts]);
        out.push(head, bytes, ...parts);
        directory.push(numbers([[4, 0x02014b50], [2, version], ...facts, [2, 0], [2, 0], [2, 0], [4, 0], [4, place]]), bytes);
        place += head.length + bytes.length + size;
    }
    const size = directory.reduce((sum, bytes) => sum + bytes.length, 0);
    const count = files.length;
    return [
        ...out,
        ...directory,
        numbers([
            [4, 0x06054b50],
            [2, 0],
            [2, 0],
            [2, count],
            [2, count],
            [4, size],
            [4, place],
            [2, 0],
        ]),
    ];
}
