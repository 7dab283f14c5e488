"""The Arrow PyCapsule interface: each rule of it, walked with ctypes."""
import errno
import gc
import os
import subprocess
import sys
import threading
import unittest
from ctypes import byref, memmove, sizeof

import tramostream
from arrow import (Array, ReleaseArray, Schema, columns_of, name_of, read_all, schema_of, shown, values_of)
from support import TestCase, blocks, content, generated, sample


class Capsules(TestCase):
    def compare(self, table, columns, arrays):
        """The arrays have the values of the table, and what the interface asks of them."""
        self.assertEqual([name for name, *_ in columns], table.columns)
        self.assertEqual(sum(array.length for array in arrays), len(table))
        for array in arrays:
            self.assertEqual((array.n_children, array.n_buffers, array.null_count, array.offset), (len(columns), 1, 0, 0))
            self.assertFalse(array.dictionary)
        for index, (name, form, nullable) in enumerate(columns):
            found = []
            for array in arrays:
                child = array.children[index].contents
                values = values_of(child, form)
                self.assertEqual((child.length, child.offset, child.n_buffers, child.n_children),
                                 (array.length, 0, 3 if form == "u" else 2, 0))
                self.assertEqual(child.null_count, values.count(None), name)
                self.assertTrue(nullable or child.null_count == 0)
                for buffer in range(child.n_buffers):
                    self.assertEqual((child.buffers[buffer] or 0) % 64, 0, name)
                if form == "u":
                    self.assertTrue(child.buffers[1])  # also without rows
                found += values
            self.assertEqual(found, [shown(value, form) for value in table[name]], name)

    def test_tables(self):
        for name in "round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt", "tags.txt", "parameters.txt":
            tables = tramostream.tables(sample(name))
            for table in [*tables.values(), tables.malformed]:
                capsule = table.__arrow_c_stream__()
                self.assertEqual(name_of(capsule), b"arrow_array_stream")
                columns, arrays = read_all(capsule)
                self.compare(table, columns, arrays)
                for array in arrays:
                    array.release(byref(array))
                    self.assertFalse(array.release)

    def test_schema(self):
        table = tramostream.tables(sample("round-returned.txt"))["meter subscriber"]
        capsule = table.__arrow_c_schema__()
        self.assertEqual(name_of(capsule), b"arrow_schema")
        schema = schema_of(capsule)
        self.assertEqual((schema.format, schema.n_children), (b"+s", len(table.columns)))
        columns = columns_of(schema)
        self.assertEqual(columns[0], ("line", "l", False))
        self.assertIn(("meterReadingDate", "tss:", True), columns)

    def test_requested_schema_is_not_used(self):
        table = tramostream.tables(sample("round-returned.txt"))["AMR"]
        self.assertEqual(name_of(table.__arrow_c_stream__(None)), b"arrow_array_stream")
        self.assertEqual(name_of(table.__arrow_c_stream__(requested_schema=table.__arrow_c_schema__())), b"arrow_array_stream")

    def test_several_batches_outlive_stream_and_table(self):
        path = generated(self.folder, "--returned", "--meters", "9000")
        table = tramostream.tables(path, types=["1"], columns=["meterSerialNumber", "meterReadingIndex"])["1"]
        expected = table["meterSerialNumber"]
        capsule = table.__arrow_c_stream__()
        columns, arrays = read_all(capsule)
        self.assertGreater(len(arrays), 1)
        self.compare(table, columns, arrays)
        del table, capsule
        gc.collect()
        self.assertEqual([value for array in arrays for value in values_of(array.children[1].contents, "u")], expected)
        for array in reversed(arrays):  # in any order
            array.release(byref(array))

    def test_children_that_are_moved_away(self):
        table = tramostream.tables(sample("round-returned.txt"))["1"]
        capsule = table.__arrow_c_stream__()
        _, [array] = read_all(capsule)
        moved = Array()
        memmove(byref(moved), array.children[0], sizeof(Array))
        array.children[0].contents.release = ReleaseArray()
        array.release(byref(array))
        del table, capsule
        gc.collect()
        self.assertEqual(values_of(moved, "l")[:3], [4, 8, 10])
        moved.release(byref(moved))

    def test_two_streams_of_one_table(self):
        table = tramostream.tables(sample("round-returned.txt"))["1"]
        first, second = table.__arrow_c_stream__(), table.__arrow_c_stream__()
        _, [one] = read_all(first)
        _, [other] = read_all(second)
        one.release(byref(one))
        self.assertEqual(values_of(other.children[0].contents, "l"), table["line"])
        other.release(byref(other))

    def test_no_rows(self):
        table = tramostream.tables(b"")["AMR"]
        columns, arrays = read_all(table.__arrow_c_stream__())
        self.compare(table, columns, arrays)

    def test_capsules_that_nobody_consumes(self):
        table = tramostream.tables(sample("round-returned.txt"))["1"]

        def make():
            table.__arrow_c_stream__(), table.__arrow_c_schema__()
        for _ in range(10):
            make()
        before = blocks()
        for _ in range(200):
            make()
        self.assertLess(blocks() - before, 50)

    def test_release_in_a_thread_that_python_does_not_know(self):
        table = tramostream.tables(sample("round-returned.txt"))["1"]
        _, [array] = read_all(table.__arrow_c_stream__())
        thread = threading.Thread(target=lambda: array.release(byref(array)))
        thread.start()
        thread.join()
        self.assertFalse(array.release)


class Scans(TestCase):
    def test_has_the_rows_of_the_table(self):
        path = generated(self.folder, "--returned", "--meters", "500")
        table = tramostream.tables(path)["AMR"]
        scan = tramostream.scan(path, "AMR", rows_per_batch=100)
        columns, arrays = read_all(scan.__arrow_c_stream__())
        self.assertGreater(len(arrays), 2)
        Capsules.compare(self, table, columns, arrays)
        schema = scan.__arrow_c_schema__()
        self.assertEqual(columns_of(schema_of(schema)), columns)
        for array in arrays:
            array.release(byref(array))

    def test_has_the_rows_of_every_kind(self):
        """Also those of tags and parameters, of damaged files, and in both encodings."""
        damaged = content("round-returned.txt").replace(b"\r\n", b"\n", 5).replace(b"\r\n", b"x\n", 5)
        names = ["round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt", "tags.txt", "parameters.txt"]
        kinds = 0
        for path in [sample(name) for name in names] + [self.path("damaged.txt", damaged)]:
            for kind, table in tramostream.tables(path).items():
                scan = tramostream.scan(path, kind, rows_per_batch=7)
                columns, arrays = read_all(scan.__arrow_c_stream__())
                self.assertTrue(all(array.length <= 7 for array in arrays))
                Capsules.compare(self, table, columns, arrays)
                for array in arrays:
                    array.release(byref(array))
                kinds += 1
        self.assertGreater(kinds, 30)

    def test_malformed_lines(self):
        for name in "round-damaged.txt", "amr-keys.txt":
            tables = tramostream.tables(sample(name))
            scan = tramostream.scan(sample(name), "AMR", ["currentMeterIndex"], rows_per_batch=3)
            malformed = scan.malformed
            self.assertEqual((scan.kind, malformed.kind, malformed.path), ("AMR", tables.malformed.name, scan.path))
            schema = scan.__arrow_c_schema__()
            self.assertEqual(columns_of(schema_of(schema))[1][0], "currentMeterIndex")  # as before
            columns, arrays = read_all(malformed.__arrow_c_stream__())
            self.assertGreater(len(arrays), 1)
            Capsules.compare(self, tables.malformed, columns, arrays)
            schema = malformed.__arrow_c_schema__()
            self.assertEqual(columns_of(schema_of(schema)), columns)
            for array in arrays:
                array.release(byref(array))
        path = self.path("utf16.txt", "short\r\nx".encode("utf-16-le"))  # without the byte order mark
        table = tramostream.tables(path, "utf16le").malformed
        self.assertEqual(table["text"], ["short", "x"])
        columns, arrays = read_all(tramostream.scan(path, "AMR", encoding="utf16le").malformed.__arrow_c_stream__())
        Capsules.compare(self, table, columns, arrays)
        for array in arrays:
            array.release(byref(array))
        self.assertEqual(read_all(tramostream.scan(sample("round-returned.txt"), "AMR").malformed.__arrow_c_stream__())[1], [])
        with self.assertRaises(FileNotFoundError):
            tramostream.scan("missing.txt", "1").malformed.__arrow_c_stream__()

    def test_encoding(self):
        path = self.path("utf16.txt", content("round-returned-utf16.txt")[2:])  # without the byte order mark
        table = tramostream.tables(path, "utf16le")["AMR"]
        columns, arrays = read_all(tramostream.scan(path, "AMR", encoding="utf16le").__arrow_c_stream__())
        Capsules.compare(self, table, columns, arrays)
        self.assertEqual(sum(array.length for array in arrays), 40)
        for array in arrays:
            array.release(byref(array))
        self.assertEqual(read_all(tramostream.scan(path, "AMR").__arrow_c_stream__())[1], [])
        with self.assertRaisesRegex(tramostream.UnknownNameError, "utf16le"):
            tramostream.scan(path, "AMR", encoding="utf-8")

    def test_columns(self):
        scan = tramostream.scan(sample("round-returned.txt"), "1", ["meterReadingIndex"])
        columns, [array] = read_all(scan.__arrow_c_stream__())
        self.assertEqual([name for name, *_ in columns], ["line", "meterReadingIndex"])
        array.release(byref(array))

    def test_errors(self):
        with self.assertRaises(FileNotFoundError):
            tramostream.scan("missing.txt", "1").__arrow_c_stream__()
        with self.assertRaises(tramostream.UnknownNameError):
            tramostream.scan(sample("round-returned.txt"), "no such kind")
        for columns in ["none"], [], ["line"]:
            with self.assertRaises(tramostream.UnknownNameError):
                tramostream.scan(sample("round-returned.txt"), "1", columns)
        with self.assertRaises(ValueError):
            tramostream.scan(sample("round-returned.txt"), "1", rows_per_batch=0)

    @unittest.skipUnless(os.path.exists("/proc/self/mem"), "needs /proc/self/mem")
    def test_error_when_the_stream_is_made(self):
        with self.assertRaises(OSError) as failure:
            tramostream.scan("/proc/self/mem", "1").__arrow_c_stream__()
        self.assertEqual((failure.exception.errno, failure.exception.filename), (errno.EIO, "/proc/self/mem"))

    @unittest.skipUnless(os.path.exists("/proc/self/maps"), "needs /proc/self/maps")
    def test_error_in_mid_stream(self):
        """The list of a process's memory can be read as long as the process lives."""
        code = """
import ctypes, mmap, sys
memory = mmap.mmap(-1, 50000 * mmap.PAGESIZE)
begin = ctypes.addressof(ctypes.c_char.from_buffer(memory))
for page in range(0, 50000, 2):  # every second page alone makes two lines of the list
    ctypes.CDLL(None).mprotect(ctypes.c_void_p(begin + page * mmap.PAGESIZE), mmap.PAGESIZE, mmap.PROT_READ)
print("ready", flush=True)
sys.stdin.read()
"""
        with subprocess.Popen([sys.executable, "-c", code], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
            self.assertEqual(process.stdout.readline(), b"ready\n")
            path = f"/proc/{process.pid}/maps"
            capsule = tramostream.scan(path, "1").__arrow_c_stream__()
        with self.assertRaises(OSError) as failure:
            read_all(capsule)
        self.assertEqual(failure.exception.errno, errno.ESRCH)
        self.assertIn(path, str(failure.exception))


if __name__ == "__main__":
    unittest.main()
