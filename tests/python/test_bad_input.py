"""Bad input: a clear exception, no leak, no crash."""
import _thread
import ctypes
import gc
import io
import os
import random
import signal
import subprocess
import sys
import threading
import time
import unittest
import zipfile

import tramostream
from support import TestCase, blocks, content, generated, sample

try:
    import pandas
except ImportError:
    pandas = None


def meters_table(path):
    """What meters() makes a frame of."""
    return tramostream._core.read_rounds(tramostream._core.open_reader(os.fsencode(path), None, None, False)).meters()


def use(bytes_, encoding=None):
    """Everything that reads."""
    tables = tramostream.tables(bytes_, encoding)
    for table in [*tables.values(), tables.malformed]:
        table.to_dict()
        table.__arrow_c_stream__()
    for line in tramostream.lines(bytes_, encoding):
        line.to_dict(), line.text, line.bytes, repr(line), line.findings(), dir(line)
    for file in tramostream.rounds(bytes_, encoding):
        for meter in file.meters:
            meter.areas, meter.alarms, meter.history, meter.module_readings, meter.changes, meter.answers, meter.place, meter.lines
    [str(finding) for finding in tramostream.check(bytes_, encoding)]


class BadInput(TestCase):
    def test_missing_files(self):
        for function in tramostream.tables, tramostream.lines, tramostream.rounds, tramostream.check, tramostream.parts:
            with self.assertRaises(FileNotFoundError) as failure:
                function(os.path.join(self.folder, "missing.txt"))
            self.assertEqual(failure.exception.filename, os.path.join(self.folder, "missing.txt"))
            with self.assertRaises(IsADirectoryError):
                function(self.folder)
            with self.assertRaisesRegex(ValueError, "null byte"):
                function("a\0b")

    def test_wrong_types(self):
        for function in tramostream.parts, lambda path: tramostream.scan(path, "1"):
            for path in None, 5, b"path", io.BytesIO():
                with self.assertRaisesRegex(TypeError, "path|PathLike"):
                    function(path)
        for function in tramostream.tables, tramostream.lines, tramostream.rounds, tramostream.check:
            for source in None, 5, 1.5, [], object():
                with self.assertRaises(TypeError):
                    function(source)
            with self.assertRaisesRegex(TypeError, "rb"):
                function(io.StringIO("text"))
            with self.assertRaises(TypeError):
                function(b"", encoding=5)
        with self.assertRaises(TypeError):
            tramostream.tables(b"", types=[1])
        with self.assertRaises(TypeError):
            tramostream.tables(b"", columns=[None])

    def test_closed_file(self):
        with open(sample("round-returned.txt"), "rb") as file:
            pass
        with self.assertRaisesRegex(ValueError, "closed"):
            tramostream.tables(file)

    def test_file_of_another_format(self):
        """Its lines are malformed; the representation shows that."""
        archive = io.BytesIO()
        with zipfile.ZipFile(archive, "w") as file:
            file.write(sample("round-returned.txt"), "round.txt", zipfile.ZIP_DEFLATED)
        self.assertRegex(repr(tramostream.tables(archive.getvalue())), r"^<Tables: malformed: \d+ lines?>$")
        self.assertIn("ZIP", tramostream.check(archive.getvalue()).diagnosis[0].message)
        self.assertEqual(repr(tramostream.tables(b"")), "<Tables: no lines>")

    def test_file_object_that_fails(self):
        class Failing:
            def read(self):
                raise ConnectionResetError("gone")

        with self.assertRaises(ConnectionResetError):
            tramostream.tables(Failing())
        Failing.read = lambda self: 5
        with self.assertRaises(TypeError):
            tramostream.tables(Failing())

    def test_empty_files(self):
        for bytes_ in b"", b"\xff\xfe", b"\r\n", b"\n", b"\0":
            use(bytes_)
            self.assertEqual(len(tramostream.tables(bytes_)), 0)
        self.assertEqual(len(tramostream.tables(b"\r\n\r\n").malformed), 2)

    def test_hostile_text(self):
        line = content("round-returned.txt")[514 * 3:514 * 4]
        self.assertEqual(line[:1], b"1")
        hostile = [bytes([c]) * 511 for c in (0, 9, 13, 26, 127, 128, 255)]
        for text in hostile:
            use(b"1" + text[:511] + b"\r\n")
        wide = ("1" + "\ud800" * 30 + "\udfff" * 30 + "\0" * 30 + "\U0001f4a7" * 30).ljust(482)
        encoded = b"\xff\xfe" + (wide + "\r\n").encode("utf-16-le", "surrogatepass")
        use(encoded)
        # Halves of surrogate pairs become replacement characters, zeros stay.
        texts = [value for table in tramostream.tables(encoded).values() for column in table.columns for value in table[column]
                 if isinstance(value, str)] + tramostream.tables(encoded).malformed["text"]
        self.assertTrue(any("\ufffd" in text for text in texts))
        for text in texts:
            text.encode()

    def test_surrogates_in_names_and_values(self):
        line = tramostream.new_line("1", encoding="utf16le")
        with self.assertRaises(UnicodeEncodeError):
            line["meterSerialNumber"] = "\ud800"
        with self.assertRaises(UnicodeEncodeError):
            line["\ud800"]
        line["meterSerialNumber"] = "a\0b"
        self.assertEqual(line.meterSerialNumber, "a\0b")
        with self.assertRaises((UnicodeEncodeError, AttributeError)):
            getattr(line, "\ud800")

    def test_random_content(self):
        generator = random.Random(5)
        whole = content("round-returned.txt") + content("amr-keys.txt") + content("tags.txt")
        wide = content("round-returned-utf16.txt")
        for _ in range(60):
            source = bytearray(generator.choice((whole, wide))[:generator.randrange(1, 20000)])
            for _ in range(generator.randrange(40)):
                source[generator.randrange(len(source))] = generator.randrange(256)
            use(bytes(source), generator.choice((None, None, "ansi", "utf16le")))

    def test_memory_that_changes_meanwhile(self):
        source = bytearray(content("round-returned.txt"))
        lines = tramostream.lines(source)
        next(lines)
        with self.assertRaises(BufferError):  # nobody can take it away
            source.clear()
        del lines
        gc.collect()
        source.clear()

    def test_error_while_reading(self):
        if not os.path.exists("/proc/self/mem"):
            self.skipTest("needs /proc/self/mem")
        for function in tramostream.tables, tramostream.rounds, tramostream.check, lambda path: list(tramostream.lines(path)):
            with self.assertRaises(OSError) as failure:
                function("/proc/self/mem")
            self.assertEqual(failure.exception.filename, "/proc/self/mem")


class Leaks(TestCase):
    """What a loop leaves behind does not grow with it."""

    def expect_no_leak(self, action, repetitions=60):
        for _ in range(10):
            action()
        # A cache grows once, a leak every time.
        self.assertTrue(any(self.growth(action, repetitions) < repetitions // 2 for _ in range(3)))

    def growth(self, action, repetitions):
        before = blocks()
        for _ in range(repetitions):
            action()
        return blocks() - before

    def test_reading(self):
        self.expect_no_leak(lambda: use(content("round-damaged.txt")[:20000]))

    @unittest.skipUnless(pandas, "needs pandas")
    def test_frames(self):
        def frames():
            for strings in "object", "category":
                for frame in tramostream.read(sample("round-returned.txt"), strings=strings).values():
                    frame.shape
            tramostream.meters(sample("round-returned.txt"))
        self.expect_no_leak(frames)

    def test_errors(self):
        def fail():
            for action in (lambda: tramostream.tables("missing"), lambda: tramostream.tables(b"", types=["x"]),
                           lambda: tramostream.tables(b"", columns=["x"]), lambda: tramostream.lines(b"", "x"),
                           lambda: tramostream.new_line("1", {"meterReadingIndex": "x"}), lambda: tramostream.new_line("1", {"x": 5}),
                           lambda: tramostream.new_line("1").x, lambda: tramostream.Writer("/none/x"),
                           lambda: tramostream.scan("missing", "1").__arrow_c_stream__(), lambda: tramostream.scan("missing", "x")):
                try:
                    action()
                except (OSError, tramostream.Error, AttributeError):
                    continue
                self.fail("no exception")
        self.expect_no_leak(fail, 200)

    def test_writing(self):
        def write():
            with tramostream.Writer(os.path.join(self.folder, "new.txt")) as writer:
                for line in list(tramostream.lines(sample("round-returned.txt")))[:20]:
                    writer.write(line)
                writer.write("1", {"meterSerialNumber": "C1", "meterReadingIndex": 5})
        self.expect_no_leak(write)

    def test_references(self):
        source, name = bytearray(content("round-returned.txt")), "meter subscriber"
        use(source)
        gc.collect()
        counts = [sys.getrefcount(value) for value in (source, name, None, tramostream.Line)]
        for _ in range(50):
            use(source)
            tramostream.tables(source, types=[name])
        gc.collect()
        self.assertLessEqual(sys.getrefcount(source), counts[0])
        self.assertLess(abs(sys.getrefcount(name) - counts[1]), 3)
        self.assertLess(abs(sys.getrefcount(None) - counts[2]), 200)
        self.assertLess(abs(sys.getrefcount(tramostream.Line) - counts[3]), 5)

    def test_memory_of_the_library(self):
        """Memory that Python does not see."""
        def resident():
            gc.collect()
            with open("/proc/self/statm", encoding="ascii") as file:
                return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
        if not os.path.exists("/proc/self/statm") or "libasan" in os.environ.get("LD_PRELOAD", ""):
            self.skipTest("needs /proc, and memory that is used again when it is free")
        source = content("round-returned.txt")
        for _ in range(20):
            use(source)
        before = resident()
        for _ in range(60):  # 5 MB of lines
            use(source)
        self.assertLess(resident() - before, 2_000_000)


class Threads(TestCase):
    def test_files_are_read_in_parallel_with_the_same_result(self):
        path = generated(self.folder, "--returned", "--meters", "2000")
        expected = tramostream.tables(path)["1"].to_dict()
        results = []
        threads = [threading.Thread(target=lambda: results.append(tramostream.tables(path)["1"].to_dict())) for _ in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(results), 6)
        for result in results:
            self.assertEqual(result, expected)

    def test_other_threads_run_while_a_file_is_read(self):
        read, write = os.pipe()
        done = []

        def reader():
            tables = tramostream.tables(f"/dev/fd/{read}")
            done.append(len(tables["1"]))

        thread = threading.Thread(target=reader)
        thread.start()
        for begin in range(0, 514 * 100, 514):  # the reader waits for this thread
            os.write(write, content("round-returned.txt")[begin:begin + 514])
            time.sleep(0.0005)
        os.close(write)
        thread.join(30)
        os.close(read)
        self.assertEqual(done, [34])

    def test_one_reader_in_two_threads(self):
        lines = tramostream.lines(sample("round-returned.txt"))
        numbers, failures = [], []

        def take():
            try:
                for line in lines:
                    numbers.append(line.number)
            except RuntimeError as failure:
                failures.append(failure)

        threads = [threading.Thread(target=take) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(set(numbers)), len(numbers))

    def test_frames_of_one_file_in_several_threads(self):
        if not pandas:
            self.skipTest("needs pandas")
        for _ in range(10):
            frames, made = tramostream.read(sample("round-returned.txt")), []
            threads = [threading.Thread(target=lambda: made.append(frames["AMR"])) for _ in range(4)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual(len({id(frame) for frame in made}), 1)


class Interruption(TestCase):
    def setUp(self):
        super().setUp()
        previous = signal.signal(signal.SIGINT, signal.default_int_handler)   # background jobs ignore it, and so would the programs
        self.addCleanup(signal.signal, signal.SIGINT, previous)

    def interrupt(self, function):
        """Interrupts a program that reads the same file again and again, in the middle of it."""
        path = generated(self.folder, "--returned", "--meters", "30000")
        code = f"""
import sys, tramostream
print("ready", flush=True)
try:
    while True:
        {function}
except KeyboardInterrupt:
    print("interrupted", flush=True)
"""
        with subprocess.Popen([sys.executable, "-c", code, path], stdout=subprocess.PIPE, text=True) as process:
            self.assertEqual(process.stdout.readline(), "ready\n")
            time.sleep(0.25)
            process.send_signal(signal.SIGINT)
            started = time.monotonic()
            self.assertEqual(process.stdout.read(), "interrupted\n")
            self.assertEqual(process.wait(20), 0)
            return time.monotonic() - started

    def test_reading(self):
        for function in "tramostream.tables(sys.argv[1])", "tramostream.check(sys.argv[1])", "list(tramostream.lines(sys.argv[1]))":
            with self.subTest(function):
                self.assertLess(self.interrupt(function), 10)

    def test_in_the_middle_of_rounds_and_meters(self):
        """A call ends soon after the signal, not at the end of a large file."""
        path = generated(self.folder, "--returned", "--meters", "30000")
        small = tramostream.rounds(path)._core  # reading it is not measured below
        for call in lambda: tramostream.rounds(path), lambda: meters_table(path), small.meters:
            begin = time.process_time()
            call()
            whole = time.process_time() - begin
            previous = signal.signal(signal.SIGVTALRM, signal.default_int_handler)
            begin = time.process_time()
            try:
                with self.assertRaises(KeyboardInterrupt):
                    signal.setitimer(signal.ITIMER_VIRTUAL, whole / 20)  # processor time, as another program may run meanwhile
                    call()
            finally:
                signal.setitimer(signal.ITIMER_VIRTUAL, 0)
                signal.signal(signal.SIGVTALRM, previous)
            self.assertLess(time.process_time() - begin, whole / 2)

    def test_in_the_middle_of_a_read(self):
        """A signal that comes while a file is read ends the read, not only the loop around it."""
        path = generated(self.folder, "--returned", "--meters", "30000")
        calls = []
        previous = signal.signal(signal.SIGALRM, lambda *_: (calls.append(1), _thread.interrupt_main())[0])
        try:
            with self.assertRaises(KeyboardInterrupt):
                signal.setitimer(signal.ITIMER_REAL, 0.005)
                tramostream.tables(path)
                self.fail("the read was not interrupted")
        finally:
            signal.setitimer(signal.ITIMER_REAL, 0)
            signal.signal(signal.SIGALRM, previous)
        self.assertEqual(len(calls), 1)
        self.assertEqual(len(tramostream.tables(sample("round-returned.txt"))["1"]), 60)

    def test_writing_leaves_nothing(self):
        path = self.path("old.txt", b"old")
        with self.assertRaises(KeyboardInterrupt):
            with tramostream.Writer(path) as writer:
                writer.write("1")
                raise KeyboardInterrupt
        self.assertEqual(os.listdir(self.folder), ["old.txt"])


class Silence(TestCase):
    def test_nothing_is_printed(self):
        code = """
import sys, tramostream
for name in sys.argv[1:]:
    tramostream.tables(name), tramostream.check(name), tramostream.rounds(name)
    for line in tramostream.lines(name): line.to_dict(), line.findings()
"""
        names = [sample(name) for name in ("round-broken.txt", "round-damaged.txt", "amr-keys.txt", "tags.txt")]
        done = subprocess.run([sys.executable, "-c", code, *names], capture_output=True, check=True)
        self.assertEqual((done.stdout, done.stderr), (b"", b""))


if __name__ == "__main__":
    unittest.main()
