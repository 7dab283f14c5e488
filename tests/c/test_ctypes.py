"""The C interface from Python's ctypes: every value of a file equals what the tool exports, a change is written, and the structures
of Arrow are released. LIBRARY is the shared library, TRAMO the tool."""
import ctypes as c
import datetime
import json
import os
import subprocess
import tempfile
import unittest

SAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "samples")
OK, END, ABSENT, UNREADABLE = 0, 1, 2, 3
TEXT, INTEGER, DECIMAL, DATE, DATETIME, YEAR, CODE, FLAG, ALARMS = range(9)


class Field(c.Structure):
    _fields_ = [("name", c.c_char_p), ("type", c.c_int), ("column", c.c_int32), ("width", c.c_int32), ("decimals", c.c_int32),
                ("codes", c.c_char_p), ("written", c.c_char_p), ("required", c.c_char_p)]


class Kind(c.Structure):
    _fields_ = [("name", c.c_char_p), ("letter", c.c_char), ("length", c.c_int32), ("field_count", c.c_size_t),
                ("fields", c.POINTER(c.POINTER(Field)))]


class LineInfo(c.Structure):
    _fields_ = [("number", c.c_int64), ("offset", c.c_uint64), ("kind", c.POINTER(Kind)), ("fault", c.c_int),
                ("encoding", c.c_int), ("bytes", c.c_void_p), ("size", c.c_size_t)]


library = c.CDLL(os.environ["LIBRARY"])
library.tramo_kinds.restype = c.POINTER(c.POINTER(Kind))
library.tramo_find_kind.restype = c.POINTER(Kind)
library.tramo_find_field.restype = c.POINTER(Field)
library.tramo_reader_error.restype = c.c_char_p
library.tramo_set_double.argtypes = [c.c_void_p, c.POINTER(Field), c.c_double]
for name in ("reader_next", "reader_error", "reader_close", "line_free", "writer_put", "writer_commit", "writer_close",
             "line_get_info", "get_text", "get_int64", "get_double", "get_seconds", "line_copy", "set_int64", "set_text"):
    getattr(library, "tramo_" + name).argtypes = None


def lines_of(path):
    """The lines of a file, each valid until the next one."""
    reader, line, info = c.c_void_p(), c.c_void_p(), LineInfo()
    assert library.tramo_reader_open(path.encode(), -1, c.byref(reader)) == OK
    try:
        while library.tramo_reader_next(reader, c.byref(line)) == OK:
            assert library.tramo_line_get_info(line, c.byref(info)) == OK
            yield line, info
    finally:
        library.tramo_reader_close(reader)


def text_of(line, field):
    needed = c.c_size_t()
    status = library.tramo_get_text(line, field, None, 0, c.byref(needed))
    if status != OK:
        return None
    buffer = c.create_string_buffer(needed.value + 1)
    assert library.tramo_get_text(line, field, buffer, len(buffer), None) == OK
    return buffer.value.decode()


def value_of(line, field):
    """As the JSON lines of an export have it; None: absent or unreadable."""
    kind = field.contents.type
    if kind in (INTEGER, FLAG, ALARMS, YEAR):
        number = c.c_int64()
        status = library.tramo_get_int64(line, field, c.byref(number))
        if status != OK:
            return None
        if kind == FLAG:
            return bool(number.value)
        return {INTEGER: number.value, YEAR: f"{number.value:04}", ALARMS: f"{number.value:04X}"}[kind]
    if kind == DECIMAL:
        real = c.c_double()
        return real.value if library.tramo_get_double(line, field, c.byref(real)) == OK else None
    if kind in (DATE, DATETIME):
        seconds = c.c_int64()
        if library.tramo_get_seconds(line, field, c.byref(seconds)) != OK:
            return None
        local = datetime.datetime.fromtimestamp(seconds.value)
        return local.strftime("%Y-%m-%d" if kind == DATE else "%Y-%m-%dT%H:%M")
    return text_of(line, field)


class Values(unittest.TestCase):
    def test_are_those_that_the_tool_exports(self):
        for name in ("round-returned.txt", "round-returned-utf16.txt", "round-broken.txt", "tags.txt", "parameters.txt"):
            path = os.path.join(SAMPLES, name)
            export = subprocess.run([os.environ["TRAMO"], "export", path, "--to", "jsonl"], capture_output=True)
            rows = [json.loads(row) for row in export.stdout.splitlines()]
            compared = 0
            for (line, info), row in zip(lines_of(path), rows, strict=True):
                self.assertEqual(info.number, row["line"])
                if not info.kind:
                    self.assertEqual(row["kind"], "text")
                    continue
                kind = info.kind.contents
                self.assertEqual(kind.name.decode(), row["kind"])
                for i in range(kind.field_count):
                    field = kind.fields[i]
                    value, exported = value_of(line, field), row.get(field.contents.name.decode())
                    if exported is None:  # a value of a blank line is left out
                        continue
                    self.assertEqual(value, exported, (name, info.number, field.contents.name))
                    compared += 1
            self.assertGreaterEqual(compared, 8, name)

    def test_of_every_text_end_at_their_zero(self):
        path = os.path.join(SAMPLES, "round-returned.txt")
        field = library.tramo_find_field(library.tramo_find_kind(b"round"), b"name")
        for line, _ in lines_of(path):
            for size in range(1, 30):
                buffer = c.create_string_buffer(b"\xff" * 40, 40)
                self.assertEqual(library.tramo_get_text(line, field, buffer, size, None), OK)
                self.assertIn(0, buffer.raw[:size])
                self.assertEqual(buffer.raw[size:], b"\xff" * (40 - size), "nothing beyond the buffer is written")
                self.assertTrue("TOURNÉE CENTRE 04-12".startswith(buffer.value.decode()))
            break


class Changes(unittest.TestCase):
    def test_are_written(self):
        source = os.path.join(SAMPLES, "round-returned.txt")
        index = library.tramo_find_field(library.tramo_find_kind(b"1"), b"meterReadingIndex")
        with tempfile.TemporaryDirectory() as folder:
            target = os.path.join(folder, "new.txt")
            writer = c.c_void_p()
            self.assertEqual(library.tramo_writer_open(target.encode(), 0, c.byref(writer)), OK)
            for line, info in lines_of(source):
                copy = c.c_void_p()
                self.assertEqual(library.tramo_line_copy(line, c.byref(copy)), OK)
                if info.number == 4:
                    self.assertEqual(library.tramo_set_int64(copy, index, c.c_int64(6055)), OK)
                self.assertEqual(library.tramo_writer_put(writer, copy), OK)
                library.tramo_line_free(copy)
            self.assertFalse(os.path.exists(target), "nothing appears before the commit")
            self.assertEqual(library.tramo_writer_commit(writer), OK)
            library.tramo_writer_close(writer)
            with open(source, "rb") as before, open(target, "rb") as after:
                old, new = before.read(), after.read()
            at = 3 * 514 + 437
            self.assertEqual(old[at:at + 10], b"      6054")
            self.assertEqual(new, old[:at] + b"      6055" + old[at + 10:])


class Failures(unittest.TestCase):
    def test_are_explained(self):
        reader = c.c_void_p()
        self.assertEqual(library.tramo_reader_open(b"no such file", -1, c.byref(reader)), 11)
        self.assertIn(b"no such file", library.tramo_reader_error(reader))
        library.tramo_reader_close(reader)


if __name__ == "__main__":
    unittest.main()
