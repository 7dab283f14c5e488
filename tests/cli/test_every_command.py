"""The common behaviour of all commands, tested for each of them: accepted and refused inputs, outputs that cannot be written,
progress, and typos."""
import json
import os
import pty
import re
import signal
import subprocess
import tempfile
import threading
import time
import unittest
from support import (CHANGES, ENVIRONMENT, INFORMATION, METER, ROOT, ROUND, TRAMO, CliTest, change_file, lines, run_on_terminal,
                     parts_of, put, stop_while_reading)

GOOD = lines(ROUND, METER, put(INFORMATION, 7, b"     "))


class Use:
    """A use of a command. FILE, GOOD and OUT are replaced by the input, a valid file and the output."""

    def __init__(self, arguments, code=0, empty=0, rows=False):
        self.arguments = arguments.split()
        self.code, self.empty = code, empty   # for a valid file and for an empty one
        self.rows = rows                      # reads what an export has written
        self.prints = "OUT" not in self.arguments

    def of(self, file, out="out"):
        paths = {"FILE": file, "GOOD": "good", "OUT": out}
        return [re.sub("FILE|GOOD|OUT", lambda found: paths[found[0]], word) for word in self.arguments]


READERS = [
    Use("check FILE", empty=1),
    Use("check --format json FILE", empty=1),
    Use("check --format sarif FILE", empty=1),
    Use("convert FILE --encoding utf16le -o -"),
    Use("convert FILE --encoding utf16le -o OUT"),
    Use("diff FILE GOOD", empty=1),
    Use("diff --format json GOOD FILE", empty=1),
    Use("explain -- FILE:1:1", empty=2),
    Use("export FILE --to jsonl"),
    Use("export FILE --to jsonl -o OUT"),
    Use("export FILE --to csv --only round"),
    Use("export FILE --to sqlite -o OUT"),
    Use("export FILE --to xlsx -o OUT"),
    Use("import FILE --from jsonl --encoding ansi", rows=True),
    Use("import FILE --from jsonl --encoding utf16le -o OUT", rows=True),
    Use("keys FILE", empty=1),
    Use("keys --format json FILE", empty=1),
    Use("repair FILE"),
    Use("repair FILE -o -"),
    Use("repair FILE -o OUT"),
    Use("rewrite --dry-run FILE"),
    Use("rewrite FILE -o -"),
    Use("rewrite FILE -o OUT"),
    Use("show FILE", empty=1),
    Use("show FILE:1", empty=2),
    Use("stats FILE"),
    Use("stats --format json FILE"),
    Use("anonymize --key rows FILE -o -"),
    Use("anonymize --key rows FILE -o OUT"),
    Use("reconcile FILE GOOD", empty=1),
    Use("reconcile --format json GOOD FILE", empty=1),
    Use("report FILE -o -", empty=1),
    Use("report FILE -o OUT", empty=1),
]
OTHERS = [["sample", "--meters", "20", "-o", "-"], ["explain"], ["explain", "--markdown"], ["help"], ["help", "check"],
          ["help", "--man"], ["help", "--man", "format"], ["help", "--completion", "bash"], ["check", "--help"], ["--version"]]
WRITERS = [use.of("good") for use in READERS if use.prints and not use.rows] + [["import", "rows", "--from", "jsonl", "--encoding", "ansi"], *OTHERS]


def page(*arguments):
    return subprocess.run([TRAMO, "help", *arguments], capture_output=True, text=True, check=True, env=ENVIRONMENT).stdout


COMMANDS = re.findall(r"^  (\w+) ", page().split("\nCommands:\n")[1].split("\n\n")[0], re.M)


class EveryCommandTest(CliTest):
    def setUp(self):
        super().setUp()
        self.write("good", GOOD)
        self.write("rows", self.run_tool("export", "good", "--to", "jsonl", cwd=self.folder).raw)
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.temporary = temporary.name
        self.environment = ENVIRONMENT | {"TMPDIR": self.temporary}

    def source(self, use):
        return "rows" if use.rows else "good"

    def run_here(self, arguments, **how):
        """Returns the exit code, output and error output; checks that no temporary files remain."""
        if "input" not in how and "stdin" not in how:
            how["stdin"] = subprocess.DEVNULL
        done = subprocess.run([TRAMO, *arguments], **({"stdout": subprocess.PIPE} | how), stderr=subprocess.PIPE, cwd=self.folder,
                              timeout=60, env=self.environment)
        self.assertEqual(os.listdir(self.temporary), [])
        self.assertEqual([name for name in os.listdir(self.folder) if name.startswith("out.")], [])
        return done.returncode, done.stdout, done.stderr.decode()

    def take(self, name):
        """Returns the content of a file and removes it; None if it does not exist."""
        path = os.path.join(self.folder, name)
        if not os.path.exists(path):
            return None
        with open(path, "rb") as file:
            content = file.read()
        os.remove(path)
        return content

    def read(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    @staticmethod
    def data_of(page):
        return json.dumps(parts_of(page)).encode()

    def result(self, use, file, **how):
        """Returns all results of a run, except those that differ between runs."""
        code, out, err = self.run_here(use.of(file), **how)
        product = self.take("out")
        if product is not None and product[:2] in (b"SQ", b"PK"):
            product = product[:2]
        called = {"-": b"<stdin>"}.get(file, file.encode())
        if product is not None and product.startswith(b"<!doctype html>"):
            product = self.data_of(product).replace(called, b"NAME").replace(b"good", b"NAME")
        if out is not None and out.startswith(b"<!doctype html>"):
            out = self.data_of(out)
        out = re.sub(rb"in \d+\.\d{3} s|\"seconds\":[0-9.e-]+|uri\":\"[^\"]*\"", b"", out).replace(called, b"NAME").replace(b"good", b"NAME")
        return code, out, err.replace(called.decode(), "NAME"), product


class Files(EveryCommandTest):
    def test_all_commands_are_tested(self):
        self.assertEqual({use.arguments[0] for use in READERS} | {words[0] for words in OTHERS if words[0][0] != "-"}, set(COMMANDS))

    def test_pipes(self):
        fifo = os.path.join(self.folder, "fifo")
        os.mkfifo(fifo)
        for use in READERS:
            with self.subTest(" ".join(use.arguments)):
                expected = self.result(use, self.source(use))
                self.assertEqual((expected[0], expected[1] is not None), (use.code if use.arguments[0] != "keys" else 0, True))
                self.assertEqual(use.prints, expected[3] is None)
                self.assertTrue(expected[1] or not use.prints or use.arguments[:2] == ["keys", "FILE"])
                content = self.read(self.source(use))
                self.assertEqual(self.result(use, "-", input=content), expected)
                writer = threading.Thread(target=self.feed, args=(fifo, content))
                writer.start()
                self.assertEqual(self.result(use, "fifo"), expected)
                writer.join()

    @staticmethod
    def feed(path, content):
        with open(path, "wb") as file:
            file.write(content)

    def test_unreadable(self):
        os.mkdir(os.path.join(self.folder, "folder"))
        os.symlink("endless", os.path.join(self.folder, "endless"))
        os.chmod(self.write("secret", GOOD), 0)
        files = {"missing": "No such file or directory", "good/f": "Not a directory", "folder": "is a directory",
                 "endless": "Too many levels of symbolic links"}
        if os.geteuid() != 0:   # root may read everything
            files["secret"] = "Permission denied"
        for use in READERS:
            for file, reason in files.items():
                with self.subTest(" ".join(use.of(file))):
                    code, out, err = self.run_here(use.of(file))
                    self.assertEqual((code, err), (2, f"tramo: {file}: {reason}\n"))
                    if "json" not in use.arguments and "sarif" not in use.arguments:
                        self.assertEqual(out, b"")
                    elif out:
                        json.loads(out)
                    self.assertIsNone(self.take("out"))

    def test_empty(self):
        self.write("empty", b"")
        for use in READERS:
            with self.subTest(" ".join(use.arguments)):
                code, out, err = self.run_here(use.of("empty"))
                self.assertEqual(code, use.empty)
                self.assertTrue(out or err or use.arguments[0] in ("anonymize", "convert", "export", "import", "report"))
                if "json" in use.arguments or "sarif" in use.arguments:
                    json.loads(out)
                self.assertEqual(self.take("out") is None, use.prints)

    def test_a_closed_pipe(self):
        for arguments in WRITERS:
            with self.subTest(" ".join(arguments)):
                reader, writer = os.pipe()
                os.close(reader)
                code, _, err = self.run_here(arguments, stdout=writer)
                os.close(writer)
                self.assertEqual((code, err), (3, ""))

    def test_output_closed(self):
        for arguments in WRITERS:
            with self.subTest(" ".join(arguments)):
                done = subprocess.run([TRAMO, *arguments], stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, cwd=self.folder,
                                      env=self.environment, preexec_fn=lambda: os.close(1))
                self.assertEqual((done.returncode, done.stderr), (3, b"tramo: cannot write the standard output: Bad file descriptor\n"))

    def test_full_disk(self):
        for arguments in WRITERS:
            with self.subTest(" ".join(arguments)):
                with open("/dev/full", "wb") as full:
                    code, _, err = self.run_here(arguments, stdout=full)
                self.assertEqual((code, err), (3, "tramo: cannot write the standard output: No space left on device\n"))
        products = [use.of(self.source(use), "/dev/full") for use in READERS if not use.prints]
        for arguments in [*products, ["sample", "-o", "/dev/full"]]:
            with self.subTest(" ".join(arguments)):
                code, out, err = self.run_here(arguments)
                self.assertEqual((code, out), (3, b""))
                self.assertRegex(err, r"^tramo: cannot write /dev/full: [^\n]+\n$")

    def test_a_full_disk_for_the_output(self):
        for use in READERS:
            if use.prints:
                continue
            for out, reason in (("none/out", "No such file or directory"), ("good/out", "Not a directory"), (".", "Is a directory")):
                with self.subTest(" ".join(use.of(self.source(use), out))):
                    code, printed, err = self.run_here(use.of(self.source(use), out))
                    self.assertEqual((code, printed, err), (3, b"", f"tramo: cannot write {out}: {reason}\n"))

    def test_a_full_disk_for_the_copy_of_the_input(self):
        for use in READERS:
            if use.rows:
                continue
            with self.subTest(" ".join(use.arguments)):
                done = subprocess.run([TRAMO, *use.of("-")], input=GOOD, capture_output=True, cwd=self.folder,
                                      env=ENVIRONMENT | {"TMPDIR": "/nowhere"})
                self.assertEqual((done.returncode, done.stderr),
                                 (3, b"tramo: cannot write a temporary file in /nowhere: No such file or directory\n"))
                self.assertIsNone(self.take("out"))


class GrowingFile(EveryCommandTest):
    """Another process appends lines while a command reads: the command reads the lines that exist when it begins, and reports
    that there are more.

    The system extends a file page by page, so a line across a page border may be incomplete. An import refuses such a row, with
    its line."""

    def test_growing(self):
        for use in READERS:
            with self.subTest(" ".join(use.arguments)):
                path, line = self.begin(use)
                stop = threading.Event()
                appender = threading.Thread(target=self.append, args=(path, line, stop))
                appender.start()
                try:
                    code, out, err = self.run_here(use.of("growing"))
                finally:
                    stop.set()
                    appender.join()
                self.check_all(use, code, out, err)

    def test_a_line_in_part(self):
        for use in READERS:
            with self.subTest(" ".join(use.arguments)):
                path, line = self.begin(use)
                with open(path, "ab") as file:
                    file.write(line * 3 + line[:40])
                code, out, err = self.run_here(use.of("growing"))
                told = use.arguments[0] in self.IN_PART and not {"--dry-run", "--only"} & set(use.arguments)
                self.assertEqual(self.speaks_of_part(use, code, err), told)
                self.check_all(use, code, out, err)

    def begin(self, use):
        """Returns a file of 6001 lines, and the line to append."""
        first, line = (self.read("rows") if use.rows else lines(ROUND, METER)).splitlines(True)[:2]
        return self.write("growing", first + line * 6000), line

    # The message about an incomplete last line, and the exit code.
    IN_PART = {
        "export": (1, r"tramo: growing: 1 line is malformed and exported as text\n"),
        "import": (2, r"tramo: growing:(\d+):\d+: [^\n]+\n"),
        "rewrite": (1, r"tramo: growing:(\d+): line has \d+ characters?, expected 512 [^\n]+\n"
                       r"tramo: growing: \d+ of \d+ lines changed, 1 malformed line copied\n"),
    }

    def speaks_of_part(self, use, code, err):
        err = re.sub(self.NOTE, "", err)
        expected, words = self.IN_PART.get(use.arguments[0], (0, "never"))
        found = re.fullmatch(words, err)
        if found and found.groups():
            self.assertGreater(int(found[1]), 6001)   # an appended line
        return code == expected and bool(found)

    NOTE = r"tramo: growing: became longer while it was read; only its first \d+ bytes were read\n"

    def check_all(self, use, code, out, err):
        err = re.sub(self.NOTE, "", err)
        product = self.take("out") if not use.prints else out
        if self.speaks_of_part(use, code, err):
            if use.arguments[0] == "import" and use.prints:
                self.check_lines(product)
                return
            if use.arguments[0] not in ("export", "rewrite"):
                self.assertFalse(product)
                return
        else:
            self.assertEqual(err if use.arguments[0] not in ("repair", "rewrite", "keys") else "", "")   # these count it
            self.assertIn(code, (0, 1))
        self.check_result(use, product)

    @staticmethod
    def append(path, line, stop):
        with open(path, "ab", buffering=0) as file:
            while not stop.is_set() and file.tell() < 40_000_000:
                file.write(line)
                time.sleep(0.00002)

    def check_result(self, use, product):
        if use.arguments[0] in ("convert", "import") or (use.arguments[0] == "rewrite" and "-o" in use.arguments):
            self.check_lines(product)
        elif use.arguments[0] == "export" and "jsonl" in use.arguments:
            written = product.decode().splitlines()
            self.assertGreater(len(written), 6000)
            for row in written[::1000] + written[-2:]:
                json.loads(row)
        elif "json" in use.arguments or "sarif" in use.arguments:
            json.loads(product)
        else:
            self.assertTrue(product)

    def check_lines(self, product):
        if product[:2] == b"\xff\xfe":
            product = product[2:].decode("utf-16-le").encode("latin-1")
        written = product.split(b"\r\n")
        rest = written.pop()
        self.assertGreater(len(written), 5800)
        self.assertEqual(len(set(written)), 2)
        self.assertTrue((written[-1] + b"\r\n").startswith(rest))

    def test_appended_while_the_result_waits(self):
        path = self.write("growing", lines(ROUND) + lines(METER) * 3000)
        process = subprocess.Popen([TRAMO, "show", "growing"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder, env=self.environment)
        self.assertTrue(process.stdout.read(1))   # it has begun, and waits
        with open(path, "ab") as file:
            file.write(lines(METER) * 3000)
        shown = process.stdout.read()
        process.stdout.close()
        self.assertEqual((process.wait(), shown.count(b"growing:"), b"growing:3001  meter subscriber" in shown), (0, 3000, True))
        self.assertRegex(process.stderr.read().decode(), rf"\A{self.NOTE}\Z")
        process.stderr.close()


class ChangingFile(EveryCommandTest):
    """Messages about a file that is changed while it is read. test_outputs.py tests the outputs."""

    HOWS = ("shortened inside a line", "rewritten", "longer by lines", "replaced")

    def test_every_change(self):
        number = 0
        for use in READERS:
            if use.arguments[0] == "explain" or "FILE:1" in use.arguments or not use.prints:
                continue
            number += 1
            for how in CHANGES if number == 1 else (self.HOWS[number % len(self.HOWS)], "shortened by a byte"):
                with self.subTest(" ".join(use.arguments), how=how):
                    self.change(use, how)

    def change(self, use, how):
        content = self.read(self.source(use)) * (12_000_000 // len(self.read(self.source(use))) + 1)
        path = self.write("changing", content)
        os.utime(path, (1_700_000_000, 1_700_000_000))
        printed = tempfile.TemporaryFile()
        self.addCleanup(printed.close)
        process = stop_while_reading(
            lambda: subprocess.Popen([TRAMO, *use.of("changing")], cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                                     stdout=printed, stderr=subprocess.PIPE), len(content))
        change_file(path, how)
        process.send_signal(signal.SIGCONT)
        err = process.communicate()[1]
        keeps, words = CHANGES[how]
        err = err.decode()
        if words is not None:
            self.assertRegex(err, rf"(?m)^tramo: changing: {words}$")
        if keeps:
            self.assertIn(process.returncode, (0, 1), err)
        else:
            self.assertEqual(process.returncode, 2, err)
            self.assertEqual(err.count("\n"), 1)


class Progress(EveryCommandTest):
    """Progress on the standard error, if that is a terminal and the work takes more than half a second."""

    def start(self, arguments, stdin):
        master, terminal = pty.openpty()
        process = subprocess.Popen([TRAMO, *arguments], stdin=stdin, stdout=subprocess.PIPE, stderr=terminal, cwd=self.folder,
                                   env=self.environment)
        os.close(terminal)
        shown = b""

        def collect():
            nonlocal shown
            try:
                while block := os.read(master, 65536):
                    shown += block
            except OSError:
                pass
        collector = threading.Thread(target=collect)
        collector.start()
        return process, collector, lambda: shown.decode()

    def slowly(self, process, content):
        """Feeds the input in pieces, for longer than it takes to show progress."""
        size = len(content) // 12 + 1
        for at in range(0, len(content), size):
            process.stdin.write(content[at:at + size])
            process.stdin.flush()
            time.sleep(0.08)

    LINES = r"^(\r<stdin> \d+ (KB|MB|%)\x1b\[K)+\r\x1b\[K"

    def test_every_reader(self):
        content = {False: GOOD * 1000, True: self.read("rows") * 1000}
        running = []
        for use in READERS:   # all at once, because they mostly wait
            process, collector, shown = self.start(use.of("-", f"out{len(running)}"), subprocess.PIPE)
            feeder = threading.Thread(target=self.feed_and_end, args=(process, content[use.rows]))
            feeder.start()
            drain = threading.Thread(target=process.stdout.read)
            drain.start()
            running.append((use, process, [feeder, drain, collector], shown))
        for use, process, threads, shown in running:
            with self.subTest(" ".join(use.arguments)):
                self.assertEqual(process.wait(60), 1 if use.arguments[0] in ("check", "diff", "reconcile", "report") else 0)
                for thread in threads:
                    thread.join()
                process.stdout.close()
                self.assertRegex(shown(), self.LINES)

    def feed_and_end(self, process, content):
        self.slowly(process, content)
        process.stdin.close()

    def test_sample(self):
        process, collector, shown = self.start(["sample", "--meters", "20000", "-o", "-"], subprocess.DEVNULL)
        time.sleep(0.7)   # without a reader
        process.stdout.read()
        self.assertEqual(process.wait(60), 0)
        collector.join()
        process.stdout.close()
        self.assertRegex(shown(), r"^(\rwriting \d+ %\x1b\[K)+\r\x1b\[K$")

    def test_no_progress_without_a_terminal(self):
        for use in READERS[0], next(use for use in READERS if use.rows):
            process = subprocess.Popen([TRAMO, *use.of("-")], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                       cwd=self.folder, env=self.environment)
            self.slowly(process, GOOD if not use.rows else self.read("rows"))
            process.stdin.close()
            self.assertEqual((process.stderr.read(), process.wait()), (b"", 0))
            process.stderr.close()


class Width(CliTest):
    """Tables fit a terminal of 80 columns. A finding is one line of any length, because editors read it."""

    def on_terminal(self, *arguments):
        code, text = run_on_terminal(arguments, NO_COLOR="1")
        self.assertIn(code, (0, 1))
        return [line for line in text.splitlines() if "warning: " not in line]

    def test_tables(self):
        for command in ("explain", "explain meter-subscriber", "explain key", "explain 0x01B", "explain samples/round-broken.txt:10:195",
                        "keys samples/amr-keys.txt", "rewrite --dry-run samples/round-broken.txt", "show samples/round-broken.txt 1-20",
                        "show --raw samples/round-damaged.txt", "show samples/amr-keys.txt", "stats samples/round-returned.txt", "help export"):
            with self.subTest(command):
                shown = self.on_terminal(*command.split())
                self.assertGreater(len(shown), 3)
                self.assertEqual([line for line in shown if len(line) > 80], [])


class Typos(CliTest):
    def assert_meant(self, arguments, meant):
        result = self.run_tool(*arguments)
        self.assertEqual((result.code, result.out), (2, ""), arguments)
        self.assertIn(f'; did you mean "{meant}"?\n', result.err)

    @staticmethod
    def slip(word):
        return word[:2] + word[3:]

    def test_commands(self):
        for command in COMMANDS:
            self.assert_meant([self.slip(command)], command)

    def test_options(self):
        for command in COMMANDS:
            options = re.findall(r"^  (?:-\w, )?(--[\w-]+)", page(command).split("\nOptions:\n")[1], re.M) if command != "help" else []
            for option in options:
                self.assert_meant([command, self.slip(option)], option)

    def test_kinds_and_fields(self):
        self.assert_meant(["explain", "meter-subscribre"], "meter subscriber")
        self.assert_meant(["explain", "meter subscriber:meterReadingDaet"], "meterReadingDate")
        self.assert_meant(["explain", "meterReadingDaet"], "meterReadingDate")
        self.assert_meant(["explain", "MandatoryMising"], "MandatoryMissing")
        self.assert_meant(["export", "f", "--to", "jsonl", "--only", "meter chagne"], "meter change")
        self.assert_meant(["sample", "--kinds", "round,AMRR", "-o", "-"], "AMR")

    def test_values(self):
        self.assert_meant(["check", "f", "--format", "jsno"], "json")
        self.assert_meant(["check", "f", "--encoding", "utf16el"], "utf16le")
        self.assert_meant(["check", "f", "--color", "alwasy"], "always")
        self.assert_meant(["export", "f", "--to", "jsnol"], "jsonl")
        self.assert_meant(["import", "f", "--encoding", "ansi", "--from", "sqltie"], "sqlite")


if __name__ == "__main__":
    unittest.main()
