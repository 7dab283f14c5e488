// The C interface from Node: every value of the samples equals what the tool exports, a changed value is written and nothing else,
// failures are explained. Needs the package koffi.
//
//     node client.cjs LIBRARY TRAMO SAMPLES
'use strict';
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const koffi = require('koffi');

const [libraryPath, tool, samples] = process.argv.slice(2);
const OK = 0, END = 1, ABSENT = 2, UNREADABLE = 3, WRONG_TYPE = 4, TOO_WIDE = 5, NOT_IN_FIELD = 6, BAD_ARGUMENT = 10, FAILED = 11;
const AUTO = -1, ANSI = 0;
const TYPES = ['text', 'integer', 'decimal', 'date', 'datetime', 'year', 'code', 'flag', 'alarms'];

// ---- Declarations, as in tramostream/c.h ----------------------------------------------------------------------------

for (const handle of ['tramo_reader', 'tramo_line', 'tramo_writer', 'tramo_checker']) koffi.opaque(handle);
const Field = koffi.struct('tramo_field', {
    name: 'const char *', type: 'int', column: 'int32_t', width: 'int32_t', decimals: 'int32_t', codes: 'const char *',
    written: 'const char *', required: 'const char *'
});
const Kind = koffi.struct('tramo_kind', {
    name: 'const char *', letter: 'char', length: 'int32_t', field_count: 'size_t', fields: 'const tramo_field **'
});
koffi.struct('tramo_line_info', {
    number: 'int64_t', offset: 'uint64_t', kind: 'const tramo_kind *', fault: 'int', encoding: 'int', bytes: 'const uint8_t *',
    size: 'size_t'
});
koffi.struct('tramo_finding', {
    rule: 'const char *', code: 'int32_t', severity: 'int32_t', line: 'int64_t', column: 'int32_t', end_column: 'int32_t',
    kind: 'const char *', field: 'const char *', sentence: 'const char *', reason: 'const char *', hint: 'const char *'
});

const library = koffi.load(libraryPath);
const tramo = {};
for (const declaration of [
    'const char *version()',
    'const char *status_text(int status)',
    'void set_messages(int printed)',
    'const tramo_kind **kinds(_Out_ size_t *count)',
    'const tramo_kind *find_kind(const char *name)',
    'const tramo_field *find_field(const tramo_kind *kind, const char *name)',
    'int reader_open(const char *path, int encoding, _Out_ tramo_reader **reader)',
    'int reader_open_memory(const void *bytes, size_t size, int encoding, _Out_ tramo_reader **reader)',
    'int reader_next(tramo_reader *reader, _Out_ const tramo_line **line)',
    'const char *reader_error(const tramo_reader *reader)',
    'void reader_close(tramo_reader *reader)',
    'int line_get_info(const tramo_line *line, _Out_ tramo_line_info *info)',
    'int line_copy(const tramo_line *original, _Out_ tramo_line **line)',
    'void line_free(tramo_line *line)',
    'int get_text(const tramo_line *line, const tramo_field *field, uint8_t *buffer, size_t size, _Out_ size_t *needed)',
    'int get_int64(const tramo_line *line, const tramo_field *field, _Out_ int64_t *value)',
    'int get_double(const tramo_line *line, const tramo_field *field, _Out_ double *value)',
    'int get_seconds(const tramo_line *line, const tramo_field *field, _Out_ int64_t *value)',
    'int set_text(tramo_line *line, const tramo_field *field, const char *text)',
    'int set_int64(tramo_line *line, const tramo_field *field, int64_t value)',
    'int set_seconds(tramo_line *line, const tramo_field *field, int64_t value)',
    'int writer_open(const char *path, int encoding, _Out_ tramo_writer **writer)',
    'int writer_put(tramo_writer *writer, const tramo_line *line)',
    'int writer_commit(tramo_writer *writer)',
    'const char *writer_error(const tramo_writer *writer)',
    'void writer_close(tramo_writer *writer)',
    'int checker_new(int strict, _Out_ tramo_checker **checker)',
    'int checker_line(tramo_checker *checker, const tramo_line *line)',
    'int checker_end(tramo_checker *checker)',
    'int checker_next(tramo_checker *checker, _Out_ tramo_finding *finding)',
    'void checker_free(tramo_checker *checker)'
]) {
    const name = declaration.match(/(\w+)\(/)[1];
    tramo[name] = library.func(declaration.replace(name + '(', 'tramo_' + name + '('));
}

// ---- What a program makes of them -----------------------------------------------------------------------------------

// The output of a call that must not fail.
function output(call) {
    const out = [null];
    assert.equal(call(out), OK);
    return out[0];
}

// The output of a call, or null if there is none.
function outputOrNull(call) {
    const out = [null];
    return call(out) === OK ? out[0] : null;
}

function infoOf(line) {
    const info = {};
    assert.equal(tramo.line_get_info(line, info), OK);
    return info;
}

// The lines of a file with their facts, each valid until the next one.
function* linesOf(file) {
    const reader = output((out) => tramo.reader_open(file, AUTO, out));
    try {
        for (let line; (line = outputOrNull((out) => tramo.reader_next(reader, out)));) yield [line, infoOf(line)];
        assert.equal(tramo.reader_error(reader), '');
    } finally {
        tramo.reader_close(reader);
    }
}

function textOf(line, field) {
    const needed = outputOrNull((out) => tramo.get_text(line, field, null, 0, out));
    if (needed === null) return undefined;
    const buffer = Buffer.alloc(needed + 1, 0xFF);
    assert.equal(tramo.get_text(line, field, buffer, buffer.length, [0]), OK);
    assert.equal(buffer[needed], 0);
    return buffer.toString('utf8', 0, needed);
}

const two = (number) => String(number).padStart(2, '0');
const four = (number) => String(number).padStart(4, '0');

// As the JSON lines of an export have it; undefined: absent or unreadable.
function valueOf(line, field, type) {
    const integer = () => outputOrNull((out) => tramo.get_int64(line, field, out)) ?? undefined;
    switch (TYPES[type]) {
    case 'integer': return integer();
    case 'year': return integer() === undefined ? undefined : four(integer());
    case 'flag': return integer() === undefined ? undefined : integer() === 1;
    case 'alarms': return integer()?.toString(16).toUpperCase().padStart(4, '0');
    case 'decimal': return outputOrNull((out) => tramo.get_double(line, field, out)) ?? undefined;
    case 'date':
    case 'datetime': {
        const seconds = outputOrNull((out) => tramo.get_seconds(line, field, out));
        if (seconds === null) return undefined;
        const local = new Date(seconds * 1000);
        const day = `${four(local.getFullYear())}-${two(local.getMonth() + 1)}-${two(local.getDate())}`;
        return TYPES[type] === 'date' ? day : `${day}T${two(local.getHours())}:${two(local.getMinutes())}`;
    }
    default: return textOf(line, field);
    }
}

// The kinds by the address of their description, with their fields.
function readFormat() {
    const count = [0];
    const addresses = koffi.decode(tramo.kinds(count), koffi.array('const tramo_kind *', count[0]));
    return new Map(addresses.map((address) => {
        const kind = koffi.decode(address, Kind);
        const fields = koffi.decode(kind.fields, koffi.array('const tramo_field *', kind.field_count));
        return [address, { ...kind, fields: fields.map((field) => ({ address: field, ...koffi.decode(field, Field) })) }];
    }));
}

function run(...words) { return spawnSync(tool, words, { encoding: 'utf8', maxBuffer: 1 << 28 }); }

// ---- Tests ----------------------------------------------------------------------------------------------------------

const kinds = readFormat();
const meter = tramo.find_kind('meter subscriber');
const serial = tramo.find_field(meter, 'meterSerialNumber');
const reading = tramo.find_field(meter, 'meterReadingIndex');
const returned = path.join(samples, 'round-returned.txt');

const tests = {
    'the format is described'() {
        assert.equal(kinds.size, 11);
        assert.equal(kinds.get(meter).length, 512);
        assert.equal(String.fromCharCode(kinds.get(meter).letter), '1');
        const field = koffi.decode(reading, Field);
        assert.deepEqual([field.name, TYPES[field.type], field.column, field.width], ['meterReadingIndex', 'integer', 438, 10]);
        assert.equal(tramo.find_field(meter, 'meterReadingIndx'), null);
        assert.equal(tramo.version(), run('--version').stdout.trim().split(' ').at(-1));
    },

    'the values are those that the tool exports'() {
        for (const name of fs.readdirSync(samples).filter((each) => each.endsWith('.txt') && !each.includes('keys'))) {
            const file = path.join(samples, name);
            const rows = run('export', file, '--to', 'jsonl').stdout.trim().split('\n').map((row) => JSON.parse(row));
            let lines = 0, values = 0;
            for (const [line, info] of linesOf(file)) {
                const row = rows[lines++];
                assert.equal(info.number, row.line);
                if (!info.kind) {
                    assert.equal(row.kind, 'text', `${name}:${info.number}`);
                    continue;
                }
                assert.equal(kinds.get(info.kind).name, row.kind);
                for (const field of kinds.get(info.kind).fields) {
                    if (!(field.name in row)) continue;  // it has the value of a blank line
                    ++values;
                    assert.deepEqual(valueOf(line, field.address, field.type), row[field.name], `${name}:${info.number}: ${field.name}`);
                }
            }
            assert.equal(lines, rows.length);
            assert.ok(values >= 8, `${name}: ${values} values`);
        }
    },

    'a changed value is written, and nothing else'(folder) {
        const target = path.join(folder, 'changed.txt');
        const writer = output((out) => tramo.writer_open(target, ANSI, out));
        for (const [line, info] of linesOf(returned)) {
            const copy = output((out) => tramo.line_copy(line, out));
            if (info.number === 4) {
                assert.equal(tramo.set_int64(copy, reading, 6055), OK);
                assert.equal(tramo.set_int64(copy, reading, 12345678901), TOO_WIDE);
                assert.equal(tramo.set_text(copy, serial, 'two\nlines'), NOT_IN_FIELD);
                assert.equal(tramo.set_seconds(copy, reading, 0), WRONG_TYPE);
            }
            assert.equal(tramo.writer_put(writer, copy), OK);
            tramo.line_free(copy);
        }
        assert.ok(!fs.existsSync(target), 'the file appears with the commit');
        assert.equal(tramo.writer_commit(writer), OK);
        tramo.writer_close(writer);

        const [old, changed] = [fs.readFileSync(returned), fs.readFileSync(target)];
        const expected = Buffer.from(old);
        expected.write('      6055', 3 * 514 + 437, 'latin1');
        assert.ok(changed.equals(expected));
        const diff = run('diff', returned, target).stdout.trim().split('\n').map((each) => each.trim());
        assert.ok(diff.includes('meterReadingIndex:  6054 -> 6055'), diff.join('\n'));
    },

    'the findings are those of the tool'() {
        const counts = [0, 0, 0];
        tramo.set_messages(0);
        const checker = output((out) => tramo.checker_new(0, out));
        const take = () => {
            for (const finding = {}; tramo.checker_next(checker, finding) === OK;) ++counts[finding.severity];
        };
        for (const [line] of linesOf(path.join(samples, 'round-broken.txt'))) {
            assert.equal(tramo.checker_line(checker, line), OK);
            take();
        }
        assert.equal(tramo.checker_end(checker), OK);
        take();
        tramo.checker_free(checker);
        const summary = run('check', '-q', path.join(samples, 'round-broken.txt'));
        assert.ok((summary.stdout + summary.stderr).includes(`${counts[0]} errors, ${counts[1]} warnings`), summary.stdout + summary.stderr);
        assert.ok(counts[0] > 0);
    },

    'failures are explained'() {
        const reader = [null], line = [null];
        assert.equal(tramo.reader_open('no such file é', AUTO, reader), FAILED);
        assert.ok(tramo.reader_error(reader[0]).includes('"no such file é": '));
        assert.equal(tramo.reader_next(reader[0], line), END);
        tramo.reader_close(reader[0]);
        assert.equal(tramo.reader_open(null, AUTO, reader), BAD_ARGUMENT);
        assert.equal(tramo.status_text(ABSENT), 'the field is blank');
        const record = '1'.padEnd(437) + '        VA'.padEnd(75) + '\r\n';
        const bytes = koffi.alloc('char', record.length);  // stays where it is, until the reader is closed
        koffi.encode(bytes, koffi.array('char', record.length), [...Buffer.from(record, 'latin1')]);
        const memory = output((out) => tramo.reader_open_memory(bytes, record.length, ANSI, out));
        const only = output((out) => tramo.reader_next(memory, out));
        assert.equal(tramo.get_int64(only, reading, [null]), UNREADABLE);
        assert.equal(tramo.get_int64(only, serial, [null]), WRONG_TYPE);
        assert.equal(tramo.set_int64(only, reading, 1), BAD_ARGUMENT);  // the line belongs to the reader
        tramo.reader_close(memory);
        koffi.free(bytes);
    }
};

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tramostream-'));
let failed = 0;
try {
    for (const [name, test] of Object.entries(tests))
        try {
            test(folder);
        } catch (error) {
            ++failed;
            console.error(`failed: ${name}\n${error.stack}`);
        }
} finally {
    fs.rmSync(folder, { recursive: true });
}
console.log(`Client in Node: ${Object.keys(tests).length - failed} passed, ${failed} failed`);
process.exitCode = failed ? 1 : 0;
