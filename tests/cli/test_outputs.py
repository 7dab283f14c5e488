"""Outputs: runs every writing command in every situation of its output and checks the result.

A case is a command in a situation. TRAMO_OUTPUTS=all runs every case (./test outputs); by default, some commands represent others
that share their code. Tests that need root, another user or a small file system print a message if they are skipped.
"""
import contextlib
import errno
import fcntl
import os
import re
import resource
import shutil
import signal
import socket
import sqlite3
import stat
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from support import CHANGES, ENVIRONMENT, ROOT, TRAMO, CliTest, change_file, choices, sample, stop_while_reading

ALL = os.environ.get("TRAMO_OUTPUTS") == "all"
OLD = b"what was there before\n"
OTHER = 12345   # a user and a group that do not exist


class Command:
    """`reads`: the input's name; `large`: one that takes a while; `form`: file, folder or database."""

    def __init__(self, name, arguments, reads=None, large=None, form="file", secret=False, replaces=False):
        self.name, self.arguments, self.reads, self.large = name, arguments.split(), reads, large
        self.form, self.secret, self.replaces = form, secret, replaces

    def words(self, source, out):
        return [{"IN": source, "OUT": out, "KEY": os.path.join(ROOT, "samples", "tags.txt")}.get(word, word) for word in self.arguments]


COMMANDS = [
    Command("export jsonl", "export IN --to jsonl -o OUT", "round.txt", "large.txt"),
    Command("export csv", "export IN --to csv --only meter-subscriber -o /dev/null --findings OUT", "broken.txt", "large-broken.txt", secret=True),
    Command("export folder", "export IN --to csv -o OUT", "round.txt", "large.txt", form="folder"),
    Command("export sqlite", "export IN --to sqlite -o OUT", "round.txt", "large.txt", form="database"),
    Command("export xlsx", "export IN --to xlsx -o OUT", "round.txt", "large.txt"),
    Command("export geojson", "export IN --to geojson -o OUT", "round.txt", "large.txt"),
    Command("export findings", "export IN --to jsonl -o /dev/null --findings OUT", "broken.txt", "large-broken.txt", secret=True),
    Command("export keys", "export IN --to jsonl --show-keys -o OUT", "keys.txt", "large-keys.txt", secret=True),
    Command("import jsonl", "import IN --from jsonl --encoding ansi -o OUT", "round.jsonl", "large.jsonl"),
    Command("import csv", "import IN --from csv --encoding utf16le -o OUT", "amr.csv", "large.csv"),
    Command("import sqlite", "import IN --from sqlite --encoding ansi -o OUT", "round.db", "large.db"),
    Command("convert", "convert IN --encoding utf16le -o OUT", "round.txt", "large.txt", replaces=True),
    Command("rewrite", "rewrite --force IN -o OUT", "round.txt", "large.txt", replaces=True),
    Command("rewrite cleanly", "rewrite IN -o OUT", "clean.txt", "large-clean.txt", replaces=True),
    Command("repair", "repair IN -o OUT", "trimmed.txt", "large-trimmed.txt"),
    Command("sample", "sample --meters 20 -o OUT"),
    Command("report", "report IN -o OUT", "round.txt", "large.txt", secret=True),
    Command("anonymize", "anonymize --key KEY IN -o OUT", "round.txt", "large.txt"),
]
LARGE_SAMPLE = ["sample", "--meters", "60000", "-o"]
READERS = [command for command in COMMANDS if command.reads]
SOME = [command for command in COMMANDS if ALL or command.name in ("export jsonl", "export folder", "export sqlite", "import jsonl", "convert", "sample")]


cells = 0


def tearDownModule():
    print(f"{cells} cells: a command in a situation", file=sys.stderr)


def setUpModule():
    global inputs, goods
    temporary = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(temporary.cleanup)
    inputs = temporary.name
    os.umask(0o022)

    def tool(*arguments):
        done = subprocess.run([TRAMO, *arguments], cwd=inputs, env=ENVIRONMENT, capture_output=True)
        if done.returncode > 1:
            raise RuntimeError(done.stderr)

    for name, source in (("round.txt", "round-returned.txt"), ("broken.txt", "round-broken.txt"), ("keys.txt", "amr-keys.txt")):
        with open(os.path.join(inputs, name), "wb") as file:
            file.write(sample(source))
    tool("rewrite", "--force", "round.txt", "-o", "clean.txt")
    tool("export", "round.txt", "--to", "jsonl", "-o", "round.jsonl")
    tool("export", "round.txt", "--to", "csv", "--only", "AMR", "-o", "amr.csv")
    tool("export", "round.txt", "--to", "sqlite", "-o", "round.db")
    tool("sample", "--meters", "4000", "--returned", "-o", "large.txt")
    tool("sample", "--meters", "4000", "--faults", "0.5", "-o", "large-broken.txt")
    tool("rewrite", "--force", "large.txt", "-o", "large-clean.txt")
    tool("export", "large.txt", "--to", "jsonl", "-o", "large.jsonl")
    tool("export", "large.txt", "--to", "csv", "--only", "AMR", "-o", "large.csv")
    tool("export", "large.txt", "--to", "sqlite", "-o", "large.db")
    with open(os.path.join(inputs, "large-keys.txt"), "wb") as file:
        file.write(sample("amr-keys.txt") * 4000)
    for name in ("round.txt", "large.txt"):
        with open(os.path.join(inputs, name), "rb") as file, open(os.path.join(inputs, name.replace("round", "trimmed").replace("large", "large-trimmed")), "wb") as out:
            out.write(b"".join(line.rstrip() + b"\r\n" for line in file))
    goods = {}
    for command in COMMANDS:
        tool(*command.words(command.reads, "good"))
        goods[command.name] = contents(os.path.join(inputs, "good"))
        remove(os.path.join(inputs, "good"))


def remove(path):
    if os.path.isdir(path) and not os.path.islink(path):
        shutil.rmtree(path)
    elif os.path.lexists(path):
        os.remove(path)


def contents(path):
    """Returns the bytes of a file or of all files of a folder, or None."""
    if os.path.isdir(path):
        return {name: contents(os.path.join(path, name)) for name in sorted(os.listdir(path))}
    if not os.path.exists(path):
        return None
    with open(path, "rb") as file:
        return file.read()


def permissions(path):
    return stat.S_IMODE(os.stat(path).st_mode)


class OutputsTest(CliTest):
    def setUp(self):
        super().setUp()
        os.umask(0o022)
        os.chmod(self.folder, 0o755)
        self.out = self.path("out")
        os.mkdir(self.out)

    def path(self, name):
        return os.path.join(self.folder, name)

    def start_cell(self):
        """Makes an empty folder "out" and restores all inputs."""
        remove(self.out)
        os.mkdir(self.out)
        for name in os.listdir(inputs):
            if not name.startswith("large"):
                remove(self.path(name))
                shutil.copy(os.path.join(inputs, name), self.path(name))

    @contextlib.contextmanager
    def cell(self, command, situation):
        global cells
        cells += 1
        with self.subTest(situation=situation, command=command.name):
            self.start_cell()
            yield command

    def each(self, commands, situation):
        return [self.cell(command, situation) for command in commands]

    def run_here(self, words, **how):
        done = subprocess.run([TRAMO, *words], **({"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "cwd": self.folder,
                                                   "env": ENVIRONMENT, "timeout": 120} | how), stderr=subprocess.PIPE)
        err = done.stderr.decode()
        for secret in (".unfinished", "(deleted)", ".tramo-"):
            self.assertNotIn(secret, err)
        return done.returncode, done.stdout, err

    def run_command(self, command, out="out/new", source=None, **how):
        return self.run_here(command.words(source or command.reads, out), **how)

    def put_old(self, name="new", content=OLD, mode=0o644):
        path = os.path.join(self.out, name)
        with open(path, "wb") as file:
            file.write(content)
        os.chmod(path, mode)
        return path

    def assert_only(self, *names):
        self.assertEqual(sorted(os.listdir(self.out)), sorted(names))

    def assert_written(self, command, result, path=None):
        self.assertIn(result[0], (0, 1), result[2])
        self.assertTrue(contents(path or self.path("out/new")) == goods[command.name], "another product")

    def assert_refused(self, result, code, words):
        self.assertEqual(result[0], code, result)
        self.assertIn(words, result[2])
        self.assertRegex(result[2], r"\A(tramo: [^\n]*\n)+\Z")


class Streams(OutputsTest):
    """An output that is not a regular file is written as a stream."""

    def assert_stream(self, command, result, got):
        if command.form == "database":
            self.assert_refused(result, 3, "a database must be a regular file")
        elif command.form == "folder":
            self.assert_refused(result, 2, "is of a second kind")
        else:
            self.assertIn(result[0], (0, 1), result[2])
            self.assertTrue(got == goods[command.name], (got[:100], result))

    def test_appended_to_a_file_of_the_shell(self):
        for path in ("/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "/proc/thread-self/fd/1"):
            for cell in self.each(COMMANDS if path == "/dev/stdout" else SOME, f"-o {path} >>log"):
                with cell as command:
                    log = self.put_old("log")
                    with open(log, "ab") as stream:
                        result = self.run_command(command, path, stdout=stream)
                    got = contents(log)
                    self.assertTrue(got.startswith(OLD))
                    self.assert_only("log")
                    self.assert_stream(command, result, got[len(OLD):])

    def test_after_output_of_the_shell(self):
        """The shell shares its offset: { echo; tramo; echo; } >file."""
        for cell in self.each(SOME, "-o /dev/stdout >file"):
            with cell as command:
                with open(os.path.join(self.out, "log"), "wb", buffering=0) as stream:
                    stream.write(b"before\n")
                    result = self.run_command(command, "/dev/stdout", stdout=stream)
                    stream.write(b"after\n")
                got = contents(self.path("out/log"))
                self.assertEqual((got[:7], got[-6:]), (b"before\n", b"after\n"))
                self.assert_stream(command, result, got[7:-6])

    def test_rows_as_csv(self):
        """A name without ".csv" would mean a folder."""
        words = ["export", "round.txt", "--to", "csv", "--only", "AMR", "-o"]
        self.start_cell()
        self.assertEqual(self.run_here([*words, "out/new.csv"])[0], 0)
        for path in ("/dev/stdout", "-"):
            log = self.put_old("log")
            with open(log, "ab") as stream:
                self.assertEqual(self.run_here([*words, path], stdout=stream)[0], 0)
            self.assertEqual(contents(log), OLD + contents(self.path("out/new.csv")))
        # A second kind is detected before anything is written.
        result = self.run_here(["export", "round.txt", "--to", "csv", "-o", "/dev/stdout"])
        self.assertEqual((result[0], result[1]), (2, b""))

    def test_error_output(self):
        command = COMMANDS[0]
        self.start_cell()
        code, out, err = self.run_command(command, "/dev/stderr")
        self.assertEqual((code, out, err.encode()), (0, b"", goods[command.name]))

    def test_pipe(self):
        for cell in self.each(COMMANDS, "-o /dev/stdout | cat"):
            with cell as command:
                result = self.run_command(command, "/dev/stdout")
                self.assert_stream(command, result, result[1])

    def test_process_substitution(self):
        """Like >(cat) in bash: a pipe with a path."""
        for cell in self.each(COMMANDS, "-o >(cat)"):
            with cell as command:
                reader, writer = os.pipe()
                got = []
                thread = threading.Thread(target=lambda: got.append(open(reader, "rb").read()))
                thread.start()
                result = self.run_command(command, f"/dev/fd/{writer}", pass_fds=[writer])
                os.close(writer)
                thread.join()
                self.assert_stream(command, result, got[0])

    def test_socket(self):
        for cell in self.each(COMMANDS, "-o /dev/stdout on a socket"):
            with cell as command:
                ours, theirs = socket.socketpair()
                got = []
                thread = threading.Thread(target=lambda: got.append(ours.makefile("rb").read()))
                thread.start()
                result = self.run_command(command, "/dev/stdout", stdout=theirs)
                theirs.close()
                thread.join()
                ours.close()
                self.assert_stream(command, result, got[0])

    def test_named_pipe(self):
        for cell in self.each(COMMANDS, "-o fifo"):
            with cell as command:
                os.mkfifo(self.path("out/new"))
                # The reader is open already, because a refused command does not open the pipe.
                reader = os.open(self.path("out/new"), os.O_RDONLY | os.O_NONBLOCK)
                got = []
                thread = threading.Thread(target=self.read_to_end, args=(reader, got))
                thread.start()
                result = self.run_command(command)
                self.ended = True
                thread.join()
                self.assert_only("new")
                self.assertTrue(stat.S_ISFIFO(os.stat(self.path("out/new")).st_mode))
                self.assert_stream(command, result, got[0])

    ended = False

    def read_to_end(self, reader, got):
        out = b""
        while True:
            done = self.ended
            try:
                piece = os.read(reader, 65536)
            except BlockingIOError:
                piece = b""
            out += piece
            if done and not piece:
                break
            if not piece:
                time.sleep(0.001)
        os.close(reader)
        self.ended = False
        got.append(out)

    def test_deleted_file(self):
        """Its name in /proc, "log (deleted)", is not a file."""
        for cell in self.each(SOME, "-o /dev/stdout on a deleted file"):
            with cell as command:
                with open(os.path.join(self.out, "log"), "w+b") as stream:
                    os.remove(stream.name)
                    result = self.run_command(command, "/dev/stdout", stdout=stream)
                    stream.seek(0)
                    got = stream.read()
                self.assert_only()
                self.assert_stream(command, result, got)

    def test_link_to_a_stream(self):
        """As in containers: app.log -> /dev/stdout."""
        for cell in self.each(SOME, "link to /dev/stdout"):
            with cell as command:
                os.symlink("/dev/stdout", self.path("out/new"))
                result = self.run_command(command)
                self.assertTrue(os.path.islink(self.path("out/new")))
                self.assert_stream(command, result, result[1])

    def test_null(self):
        for cell in self.each(COMMANDS, "-o /dev/null"):
            with cell as command:
                before = os.stat("/dev/null")
                result = self.run_command(command, "/dev/null")
                after = os.stat("/dev/null")
                self.assertEqual((before.st_ino, before.st_mode), (after.st_ino, after.st_mode))
                self.assert_stream(command, result, goods[command.name])

    def test_not_for_writing(self):
        for cell in self.each(SOME, "-o /dev/stdin"):
            with cell as command:
                with open(self.put_old("log"), "rb") as stream:
                    result = self.run_command(command, "/dev/stdin", stdin=stream)
                self.assertEqual((result[0], contents(self.path("out/log"))), (3, OLD))
                result = self.run_command(command, "/dev/fd/99")
                self.assert_refused(result, 3, "No such file or directory")

    def test_full_device(self):
        for cell in self.each(COMMANDS, "-o /dev/full"):
            with cell as command:
                result = self.run_command(command, "/dev/full")
                self.assertEqual(result[0], 2 if command.form == "folder" else 3)
                if command.form == "file":
                    self.assert_refused(result, 3, "/dev/full: No space left on device")


class SameFile(OutputsTest):
    """The output is an input or another output."""

    def test_same_name(self):
        for cell in self.each(READERS, "-o FILE"):
            with cell as command:
                before = contents(self.path(command.reads))
                result = self.run_command(command, command.reads)
                if command.replaces:
                    self.assert_written(command, result, self.path(command.reads))
                else:
                    if command.form == "folder":
                        self.assert_refused(result, 2, "both the input and the output")
                    self.assert_refused(result, 2, "both the input and the output")
                    self.assertEqual(contents(self.path(command.reads)), before)

    def test_symbolic_link(self):
        for cell in self.each(READERS, "-o LINK"):
            with cell as command:
                before = contents(self.path(command.reads))
                os.symlink("../" + command.reads, self.path("out/new"))
                result = self.run_command(command)
                self.assertTrue(os.path.islink(self.path("out/new")))
                if command.replaces:
                    self.assert_written(command, result, self.path(command.reads))
                else:
                    self.assert_refused(result, 2, "are the same file")
                    self.assertEqual(contents(self.path(command.reads)), before)

    def test_hard_link(self):
        for cell in self.each(READERS, "-o HARDLINK"):
            with cell as command:
                before = contents(self.path(command.reads))
                os.link(self.path(command.reads), self.path("out/new"))
                result = self.run_command(command)
                self.assertEqual(contents(self.path(command.reads)), before)
                if command.replaces and "--force" in command.arguments:
                    self.assert_written(command, result)
                elif command.replaces:
                    self.assert_refused(result, 3, "2 names (hard links)")
                else:
                    self.assert_refused(result, 2, "are the same file")

    def test_standard_input(self):
        for cell in self.each([c for c in READERS if c.name != "import sqlite"], "- -o FILE <FILE"):
            with cell as command:
                before = contents(self.path(command.reads))
                with open(self.path(command.reads), "rb") as stream:
                    result = self.run_command(command, command.reads, "-", stdin=stream)
                if command.replaces:
                    self.assert_written(command, result, self.path(command.reads))
                else:
                    self.assert_refused(result, 2, "are the same file")
                    self.assertEqual(contents(self.path(command.reads)), before)

    def test_standard_output(self):
        """FILE >>FILE would read its own output, without end."""
        for cell in self.each([c for c in READERS if c.form == "file"], "FILE >>FILE"):
            with cell as command:
                before = contents(self.path(command.reads))
                for out in ("-", "/dev/stdout"):
                    with open(self.path(command.reads), "ab") as stream:
                        result = self.run_command(command, out, stdout=stream)
                    self.assert_refused(result, 2, "are the same file")
                    self.assertEqual(contents(self.path(command.reads)), before)

    def test_reports(self):
        for words in (["check", "round.txt"], ["check", "clean.txt", "round.txt"], ["show", "round.txt"], ["stats", "round.txt"],
                      ["diff", "clean.txt", "round.txt"], ["rewrite", "--dry-run", "round.txt"], ["keys", "round.txt"],
                      ["explain", "--", "round.txt:1:1"], ["check", "-j", "2", "clean.txt", "out/../round.txt"]):
            with self.subTest(words):
                self.start_cell()
                before = contents(self.path("round.txt"))
                with open(self.path("round.txt"), "ab") as stream:
                    result = self.run_here(words, stdout=stream)
                self.assert_refused(result, 2, "are the same file")
                self.assertEqual(contents(self.path("round.txt")), before)

    def test_findings(self):
        for out, findings, words in (("out/a", "round.txt", 'both the input and the output'), ("out/a", "out/a", "two outputs"),
                                     ("out/a", "out/../out/a", "two outputs"), ("out/old", "out/hard", "two outputs"),
                                     ("out/old", "out/link", "two outputs"), ("out/dangling", "out/a", "two outputs"),
                                     ("-", "/dev/stdout", "two outputs"), ("/dev/fd/1", "/proc/self/fd/1", "two outputs")):
            with self.subTest((out, findings)):
                self.start_cell()
                os.link(self.put_old("old"), self.path("out/hard"))
                os.symlink("old", self.path("out/link"))
                os.symlink("a", self.path("out/dangling"))
                result = self.run_here(["export", "round.txt", "--to", "jsonl", "--force", "-o", out, "--findings", findings])
                self.assert_refused(result, 2, words)
                self.assertEqual(result[1], b"")
                self.assert_only("old", "hard", "link", "dangling")
                self.assertEqual(contents(self.path("out/old")), OLD)

    def test_findings_on_the_output_of_the_shell(self):
        self.start_cell()
        with open(self.put_old("log"), "ab") as stream:
            result = self.run_here(["export", "round.txt", "--to", "jsonl", "-o", "out/log", "--findings", "-"], stdout=stream)
        self.assert_refused(result, 2, "two outputs")
        self.assertEqual(contents(self.path("out/log")), OLD)
        self.assertEqual(self.run_here(["export", "round.txt", "--to", "jsonl", "-o", "/dev/null", "--findings", "/dev/null"])[0], 0)

    def test_rows_are_published_before_findings(self):
        """The second of two outputs may fail after the first one is complete."""
        large = os.path.join(inputs, "large-broken.txt")   # more findings than are kept in memory
        for source, form, findings, isThere in (("broken.txt", "jsonl", "/dev/full", True), ("broken.txt", "csv", "/dev/full", True),
                                                (large, "jsonl", "/dev/full", False), ("broken.txt", "jsonl", "out/none/f", False)):
            with self.subTest(source=source, form=form, findings=findings):
                self.start_cell()
                code, _, err = self.run_here(["export", source, "--to", form, "-o", "out/new", "--findings", findings])
                self.assertEqual(code, 3)
                self.assertIn(f"tramo: cannot write {findings}: ", err)
                self.assert_only(*["new"] * isThere)
        self.start_cell()
        self.put_old("findings")
        self.assertEqual(self.run_here(["export", "broken.txt", "--to", "jsonl", "-o", "/dev/full", "--findings", "out/findings"])[0], 3)
        self.assert_only("findings")
        self.assertEqual(contents(self.path("out/findings")), OLD)

    def test_expected_findings_of_a_sample(self):
        self.start_cell()
        os.symlink("new", self.path("out/new.expected.jsonl"))
        result = self.run_here(["sample", "--meters", "9", "--faults", "0.5", "-o", "out/new"])
        self.assert_refused(result, 2, "two outputs")
        self.assert_only("new.expected.jsonl")

    def test_file_of_a_folder(self):
        self.start_cell()
        self.run_here(["export", "round.txt", "--to", "csv", "-o", "tables"])
        self.addCleanup(remove, self.path("tables"))
        before = contents(self.path("tables"))
        for path in ("tables/round.csv", "tables/meter_subscriber.csv"):
            result = self.run_here(["import", "tables", "--from", "csv", "--encoding", "ansi", "-o", path])
            self.assert_refused(result, 2, "both the input and the output")
        self.assertEqual(contents(self.path("tables")), before)

    def test_log_of_a_database(self):
        self.start_cell()
        database = Wal.make(self, keep_log=True)
        result = self.run_here(["import", database, "--from", "sqlite", "--encoding", "ansi", "-o", database + "-wal"])
        self.assertEqual(result[0], 2, result)


class Permissions(OutputsTest):
    def test_new(self):
        for umask in (0o022, 0o077, 0o002, 0o027):
            for cell in self.each(COMMANDS if umask == 0o022 else SOME, f"umask {umask:03o}"):
                with cell as command:
                    os.umask(umask)
                    try:
                        if command.reads:
                            os.chmod(self.path(command.reads), 0o666)
                        self.assert_written(command, self.run_command(command))
                    finally:
                        os.umask(0o022)
                    paths = [self.path("out/new")]
                    if command.form == "folder":
                        self.assertEqual(permissions(paths[0]), 0o777 & ~umask)
                        paths = [os.path.join(paths[0], name) for name in os.listdir(paths[0])]
                    for path in paths:
                        self.assertEqual(permissions(path), 0o600 if command.secret else 0o666 & ~umask)

    def test_private_input(self):
        for mode, expected in ((0o600, 0o600), (0o640, 0o640), (0o400, 0o600), (0o444, 0o644), (0o604, 0o604)):
            for cell in self.each(READERS if mode == 0o600 else [c for c in SOME if c.reads], f"input {mode:03o}"):
                with cell as command:
                    os.chmod(self.path(command.reads), mode)
                    self.assert_written(command, self.run_command(command))
                    paths = [self.path("out/new")]
                    if command.form == "folder":
                        self.assertEqual(permissions(paths[0]) & ~0o111, expected)
                        self.assertEqual(permissions(paths[0]) & 0o111, (permissions(paths[0]) & 0o444) >> 2)
                        paths = [os.path.join(paths[0], name) for name in os.listdir(paths[0])]
                    for path in paths:
                        self.assertEqual(permissions(path), expected & 0o600 if command.secret else expected)

    def test_private_standard_input(self):
        self.start_cell()
        os.chmod(self.path("round.txt"), 0o600)
        with open(self.path("round.txt"), "rb") as stream:
            self.assertEqual(self.run_here(["convert", "-", "--encoding", "utf16le", "-o", "out/new"], stdin=stream)[0], 0)
        self.assertEqual(permissions(self.path("out/new")), 0o600)

    @unittest.skipIf(os.geteuid() != 0, "only the superuser gives files away")
    def test_group_of_the_input(self):
        """The input's group may read it; the group of the new file may not."""
        for cell in self.each([c for c in SOME if c.reads], "input of another group"):
            with cell as command:
                os.chmod(self.path(command.reads), 0o640)
                os.chown(self.path(command.reads), -1, OTHER)
                self.assert_written(command, self.run_command(command))
                self.assertEqual(permissions(self.path("out/new")) & 0o077, 0)

    def test_key_lines(self):
        self.start_cell()
        for words in (["convert", "keys.txt", "--encoding", "utf16le"], ["rewrite", "keys.txt"]):
            self.assertEqual(self.run_here([*words, "-o", "out/new"])[0], 0)
            self.assertEqual(permissions(self.path("out/new")), 0o600)
            os.remove(self.path("out/new"))
        self.write("both.txt", sample("round-returned.txt")[:514] + sample("amr-keys.txt"))
        self.run_here(["export", "both.txt", "--to", "jsonl", "--show-keys", "-o", "both.jsonl"])
        os.chmod(self.path("both.jsonl"), 0o644)
        self.assertIn(self.run_here(["import", "both.jsonl", "--from", "jsonl", "--encoding", "ansi", "-o", "out/new"])[0], (0, 1))
        self.assertEqual(permissions(self.path("out/new")), 0o600)

    def test_keys_in_a_file_that_every_user_can_read(self):
        """The owner has chosen the permissions, but perhaps not for a file with keys."""
        self.start_cell()
        self.run_here(["export", "keys.txt", "--to", "jsonl", "--show-keys", "-o", "keys.jsonl"])
        self.addCleanup(remove, self.path("keys.jsonl"))
        commands = [["export", "keys.txt", "--to", form, "--show-keys"] for form in choices("export", "--to")]
        commands += [["convert", "keys.txt", "--encoding", "utf16le"], ["rewrite", "keys.txt"],
                     ["import", "keys.jsonl", "--from", "jsonl", "--encoding", "ansi"]]
        for words in commands:
            for mode, isRead in ((0o644, True), (0o640, False), (0o600, False), (0o666, True)):
                with self.subTest(words=words, mode=mode):
                    path = self.put_old("old file.csv", b"", mode)
                    code, _, err = self.run_here([*words, "--force", "-o", "out/old file.csv"])
                    self.assertIn(code, (0, 1))
                    self.assertEqual(permissions(path), mode)
                    self.assertEqual([line for line in err.splitlines() if "may hold keys" in line],
                                     ["tramo: out/old file.csv: may hold keys, and every user can read it, because the old file's "
                                      "permissions are kept; run: chmod 600 'out/old file.csv'"] * isRead)
        self.put_old("\x1b[31m")
        err = self.run_here(["convert", "keys.txt", "--encoding", "ansi", "-o", "out/\x1b[31m"])[2]
        self.assertEqual((err.split(": ")[1], err.split()[-1]), ("out/\\x1b[31m", "FILE"))
        os.mkdir(self.path("out/tables"))
        for source, table in (("keys.txt", "key"), ("round.txt", "round")):
            self.run_here(["export", source, "--to", "csv", "--only", table, "-o", f"out/tables/{table}.csv"])
            os.chmod(self.path(f"out/tables/{table}.csv"), 0o644)
        err = self.run_here(["export", "keys.txt", "--to", "csv", "--show-keys", "--force", "-o", "out/tables"])[2]
        self.assertEqual([line.split(": ")[1] for line in err.splitlines() if "may hold keys" in line], ["out/tables/key.csv"])

    def test_permissions_are_not_reported_without_keys(self):
        self.start_cell()
        for words in (["export", "keys.txt", "--to", "jsonl"], ["export", "round.txt", "--to", "jsonl", "--findings", "out/findings"],
                      ["export", "round.txt", "--to", "csv", "--only", "round", "--show-keys"], ["convert", "round.txt", "--encoding", "ansi"]):
            self.put_old("findings")
            self.put_old()
            self.assertNotIn("may hold keys", self.run_here([*words, "-o", "out/new"])[2])

    def test_kept(self):
        for mode in (0o640, 0o600, 0o666, 0o755):
            for cell in self.each([c for c in (COMMANDS if mode == 0o640 else SOME) if c.form != "folder"], f"over {mode:03o}"):
                with cell as command:
                    self.put_old(mode=mode)
                    self.assert_written(command, self.run_command(command))
                    self.assert_only("new")
                    self.assertEqual(permissions(self.path("out/new")), mode)

    def test_no_set_user_id_or_set_group_id(self):
        for mode in (0o4755, 0o2755, 0o6711, 0o1644):
            for cell in self.each([c for c in SOME if c.form != "folder"], f"over {mode:04o}"):
                with cell as command:
                    path = self.put_old(mode=mode)
                    if os.geteuid() == 0:
                        os.chown(path, OTHER, OTHER)
                        os.chmod(path, mode)
                    self.assert_written(command, self.run_command(command))
                    self.assertEqual(permissions(path), mode & 0o777)
                    if os.geteuid() == 0:
                        self.assertEqual((os.stat(path).st_uid, os.stat(path).st_gid), (OTHER, OTHER))

    @unittest.skipIf(os.geteuid() != 0, "only the superuser gives files away")
    def test_owner_and_group_kept(self):
        for cell in self.each([c for c in COMMANDS if c.form != "folder"], "over another user's"):
            with cell as command:
                path = self.put_old(mode=0o640)
                os.chown(path, OTHER, OTHER + 1)
                self.assert_written(command, self.run_command(command))
                status = os.stat(path)
                self.assertEqual((status.st_uid, status.st_gid, permissions(path)), (OTHER, OTHER + 1, 0o640))

    @unittest.skipIf(os.geteuid() != 0, "only the superuser becomes another user")
    def test_owner_and_group_that_cannot_be_kept(self):
        as_another = {"user": OTHER, "group": OTHER, "extra_groups": [], "capture_output": True, "env": ENVIRONMENT, "timeout": 60}
        try:
            if subprocess.run([TRAMO, "--version"], **as_another).returncode:
                self.skipTest("another user cannot start the tool")
        except PermissionError:
            self.skipTest("another user cannot start the tool")
        for cell in self.each([c for c in SOME if c.form != "folder"], "over a foreign group's, as an ordinary user"):
            with cell as command:
                for owner, group, lost in ((OTHER, OTHER + 1, "group"), (OTHER + 1, OTHER, "owner")):
                    path = self.put_old(mode=0o666)
                    os.chown(path, owner, group)
                    os.chown(self.out, OTHER, OTHER)
                    done = subprocess.run([TRAMO, *command.words(command.reads, "out/new")], cwd=self.folder, **as_another)
                    self.assertEqual(done.returncode, 3, done)
                    self.assertIn(f"cannot have the old one's {lost}: Operation not permitted", done.stderr.decode())
                    self.assertEqual(contents(path), OLD)
                    self.assert_only("new")

    def test_read_only(self):
        for mode in (0o444, 0o440, 0o555):
            for cell in self.each([c for c in (COMMANDS if mode == 0o444 else SOME) if c.form != "folder"], f"over {mode:03o}"):
                with cell as command:
                    path = self.put_old(mode=mode)
                    if "--force" not in command.arguments:
                        self.assert_refused(self.run_command(command), 3, "read-only; --force replaces it")
                        self.assertEqual(contents(path), OLD)
                    self.assert_written(command, self.run_here([*command.words(command.reads, "out/new"), *self.force(command)]))
                    self.assertEqual(permissions(path), mode)
                    self.assert_only("new")

    @staticmethod
    def force(command):
        return [] if "--force" in command.arguments else ["--force"]

    def test_hard_links(self):
        for cell in self.each([c for c in COMMANDS if c.form != "folder"], "over one of two names"):
            with cell as command:
                path = self.put_old()
                os.link(path, self.path("out/other"))
                if "--force" not in command.arguments:
                    self.assert_refused(self.run_command(command), 3, "2 names (hard links), and only this one would get the new content; --force")
                    self.assertEqual(contents(path), OLD)
                self.assert_written(command, self.run_here([*command.words(command.reads, "out/new"), *self.force(command)]))
                self.assertEqual(contents(self.path("out/other")), OLD)

    def access_list(self, group_bits=4):
        """Returns an access list in the form of the system: owner rw, user OTHER r, group, mask and others."""
        undefined = 0xFFFFFFFF
        entries = ((1, 6, undefined), (2, 4, OTHER), (4, 0, undefined), (16, group_bits, undefined), (32, 0, undefined))
        return struct.pack("<I", 2) + b"".join(struct.pack("<HHI", *entry) for entry in entries)

    def set_attribute(self, path, name, value):
        try:
            os.setxattr(path, name, value)
        except OSError as error:
            if error.errno not in (errno.ENOTSUP, errno.EPERM):
                raise
            self.skipTest(f"this file system has no {name}")

    def test_attributes_kept(self):
        for cell in self.each([c for c in COMMANDS if c.form != "folder"], "over a file with attributes"):
            with cell as command:
                path = self.put_old(mode=0o640)
                self.set_attribute(path, "user.origin", b"the office")
                self.set_attribute(path, "user.empty", b"")
                self.set_attribute(path, "system.posix_acl_access", self.access_list())
                self.assert_written(command, self.run_command(command))
                self.assertEqual((os.getxattr(path, "user.origin"), os.getxattr(path, "user.empty")), (b"the office", b""))
                self.assertEqual(os.getxattr(path, "system.posix_acl_access"), self.access_list())
                self.assertEqual(permissions(path), 0o640)

    @unittest.skipIf(os.geteuid() != 0, "only the superuser gives programs capabilities")
    def test_capabilities_not_kept(self):
        self.start_cell()
        path = self.put_old(mode=0o755)
        os.setxattr(path, "security.capability", bytes.fromhex("0000000200200000000000000000000000000000"))
        self.assert_written(COMMANDS[0], self.run_command(COMMANDS[0]))
        self.assertNotIn("security.capability", os.listxattr(path))

    def test_lists_of_the_folder(self):
        """Inherited permissions give no access to a replaced file or a private input."""
        for cell in self.each([c for c in SOME if c.reads and c.form != "folder"], "folder with a default list"):
            with cell as command:
                self.set_attribute(self.out, "system.posix_acl_default", self.access_list())
                path = self.path("out/new")
                os.chmod(self.path(command.reads), 0o640)
                self.assert_written(command, self.run_command(command))
                self.assertEqual(permissions(path) & 0o070, 0)   # the mask of the list: only the owner
                os.removexattr(path, "system.posix_acl_access")
                os.chmod(path, 0o640)
                self.assert_written(command, self.run_command(command))
                self.assertEqual((permissions(path), os.listxattr(path)), (0o640, []))

    def test_list_of_the_input(self):
        self.start_cell()
        self.set_attribute(self.path("round.txt"), "system.posix_acl_access", self.access_list())
        self.assertEqual(self.run_here(["convert", "round.txt", "--encoding", "utf16le", "-o", "out/new"])[0], 0)
        self.assertEqual(permissions(self.path("out/new")), 0o600)


class Links(OutputsTest):
    def test_links(self):
        for cell in self.each([c for c in COMMANDS if c.form != "folder"], "link to a file"):
            with cell as command:
                os.mkdir(self.path("out/far"))
                old = self.put_old("far/old", mode=0o640)
                os.symlink("second", self.path("out/new"))
                os.symlink("far/old", self.path("out/second"))
                self.assert_written(command, self.run_command(command), old)
                self.assertEqual((os.readlink(self.path("out/new")), os.readlink(self.path("out/second")), permissions(old)), ("second", "far/old", 0o640))
                self.assertEqual(os.listdir(self.path("out/far")), ["old"])

    def test_dangling_links(self):
        for cell in self.each(COMMANDS, "link to nothing"):
            with cell as command:
                os.mkdir(self.path("out/far"))
                os.symlink(self.path("out/far/made"), self.path("out/new"))
                self.assert_written(command, self.run_command(command), self.path("out/far/made"))
                self.assertTrue(os.path.islink(self.path("out/new")))
                self.assertEqual(os.listdir(self.path("out/far")), ["made"])
        self.start_cell()
        os.symlink("none/made", self.path("out/new"))
        self.assert_refused(self.run_command(COMMANDS[0]), 3, "out/new: No such file or directory")
        os.symlink("round", self.path("out/round"))
        self.assert_refused(self.run_command(COMMANDS[0], "out/round"), 3, "out/round: Too many levels of symbolic links")

    @unittest.skipIf(os.geteuid() != 0, "only the superuser gives links away")
    def test_links_of_other_users_in_a_sticky_folder(self):
        for cell in self.each(COMMANDS, "link of another user in a sticky folder"):
            with cell as command:
                os.mkdir(self.path("out/sticky"))
                os.chmod(self.path("out/sticky"), 0o1777)
                for name, target in (("old", self.put_old("victim")), ("none", self.path("out/made"))):
                    link = self.path("out/sticky/" + name)
                    os.symlink(target, link)
                    os.lchown(link, OTHER, OTHER)
                    self.assert_refused(self.run_command(command, "out/sticky/" + name), 3, f"out/sticky/{name}: Permission denied")
                    os.lchown(link, os.geteuid(), -1)   # a link of the same user is followed
                if command.form != "folder":
                    self.assert_written(command, self.run_command(command, "out/sticky/old"), self.path("out/victim"))
                self.assertEqual(sorted(os.listdir(self.path("out/sticky"))), ["none", "old"])
                self.assertFalse(os.path.exists(self.path("out/made")))

    def test_long_names(self):
        for name in ("n" * 255, "é" * 127 + "n", "n" + "é" * 127, "n" + "\U0001f600" * 63):
            for cell in self.each(COMMANDS if name[0] == "n" and name[1] == "n" else SOME, f"a name of {len(name.encode())} bytes"):
                with cell as command:
                    self.assert_written(command, self.run_command(command, "out/" + name), self.path("out/" + name))
                    self.assert_only(name)
        self.start_cell()
        self.assert_refused(self.run_command(COMMANDS[0], "out/" + "n" * 256), 3, "File name too long")

    def test_no_slash(self):
        for cell in self.each(COMMANDS, "in the working folder"):
            with cell as command:
                words = command.words("../" + (command.reads or ""), "new")
                result = self.run_here(words, cwd=self.out)
                if command.name in ("export sqlite", "export xlsx"):   # which contain the name of the input
                    self.assertEqual(result[0], 0)
                else:
                    self.assert_written(command, result)
                self.assert_only("new")

    def test_folders(self):
        command = COMMANDS[2]
        for prepare, out, code in ((lambda: None, "out/new/", 0), (lambda: os.mkdir(self.path("out/new")), "out/new", 0),
                                   (lambda: os.mkdir(self.path("out/new")), "out/new///", 0), (lambda: None, "out/none/new", 3),
                                   (lambda: self.put_old(), "out/new", 3)):
            with self.subTest(out):
                self.start_cell()
                prepare()
                result = self.run_command(command, out)
                self.assertEqual(result[0], code, result)
                if code == 0:
                    self.assert_written(command, result)
                else:
                    self.assertEqual(contents(self.path("out/new")) or OLD, OLD)
        self.start_cell()
        os.mkdir(self.path("out/real"), 0o700)
        self.put_old("real/notes.txt")
        os.symlink("real", self.path("out/new"))
        self.assertEqual(self.run_command(command)[0], 0)
        self.assertEqual(contents(self.path("out/real")), goods[command.name] | {"notes.txt": OLD})
        self.assertEqual(permissions(self.path("out/real")), 0o700)
        self.assert_only("real", "new")


class Wal:
    """Databases with a write-ahead log."""

    @staticmethod
    def make(test, keep_log, name="wal.db"):
        """Makes a database whose last row is only in the log, if that is kept."""
        path = test.path(name)
        for suffix in ("", "-wal", "-shm"):
            remove(path + suffix)
        shutil.copy(os.path.join(inputs, "round.db"), path)
        writer = sqlite3.connect(path)
        writer.execute("PRAGMA journal_mode = WAL")
        if keep_log:
            writer.execute("UPDATE AMR SET line = line")
            writer.commit()
            for suffix in ("", "-wal"):
                shutil.copy(path + suffix, path + suffix + ".kept")
        writer.close()
        if keep_log:
            for suffix in ("", "-wal"):
                os.replace(path + suffix + ".kept", path + suffix)
        return path


class Databases(OutputsTest):
    EXPORT = COMMANDS[3]
    IMPORT = ["--from", "sqlite", "--encoding", "ansi", "-o", "out/new"]

    def test_companions(self):
        for cell in self.each([c for c in COMMANDS if c.form != "folder"], "over a file with companions"):
            with cell as command:
                for suffix in ("-wal", "-shm", "-journal"):
                    remove(self.path("out/new"))
                    companion = self.put_old("new" + suffix)
                    for old in (False, True):
                        if old:
                            self.put_old()
                        result = self.run_command(command)
                        if command.form == "database":
                            self.assert_refused(result, 3, f'there is also "new{suffix}"')
                            self.assertEqual(contents(self.path("out/new")), OLD if old else None)
                        else:
                            self.assert_written(command, result)
                        self.assertEqual(contents(companion), OLD)
                    os.remove(companion)

    def database(self, name="new"):
        path = os.path.join(self.out, name)
        connection = sqlite3.connect(path, isolation_level=None)
        connection.execute("CREATE TABLE kept (value)")
        connection.execute("INSERT INTO kept VALUES (7)")
        return path, connection

    def test_in_use(self):
        for statements in (["PRAGMA journal_mode = WAL", "INSERT INTO kept VALUES (8)"], ["BEGIN EXCLUSIVE"], ["BEGIN IMMEDIATE"],
                           ["BEGIN", "SELECT * FROM kept"], ["SELECT * FROM kept"]):
            with self.subTest(statements):
                self.start_cell()
                path, connection = self.database()
                for statement in statements:
                    connection.execute(statement).fetchall()
                result = self.run_command(self.EXPORT)
                self.assert_refused(result, 3, "another program has the database open")
                connection.execute("COMMIT") if connection.in_transaction else None
                self.assertEqual(connection.execute("SELECT * FROM kept").fetchall()[0], (7,))
                connection.close()
                self.assert_only("new")
                self.assert_written(self.EXPORT, self.run_command(self.EXPORT))
                self.assert_only("new")

    def test_opened_meanwhile(self):
        """A program that opens the database during the export keeps it."""
        self.start_cell()
        path, connection = self.database()
        connection.close()
        process = subprocess.Popen([TRAMO, *self.EXPORT.words(os.path.join(inputs, "large.txt"), "out/new")], cwd=self.folder,
                                   stderr=subprocess.PIPE, env=ENVIRONMENT)
        while len(os.listdir(self.out)) < 2 and process.poll() is None:
            time.sleep(0.001)
        process.send_signal(signal.SIGSTOP)
        connection = sqlite3.connect(path, isolation_level=None)
        connection.execute("BEGIN IMMEDIATE")
        process.send_signal(signal.SIGCONT)
        err = process.stderr.read().decode()
        process.stderr.close()
        self.assertEqual(process.wait(), 3)
        self.assertIn("another program has the database open" if "open" in err else "new-journal", err)
        connection.close()
        self.assert_only("new")

    def test_import_with_a_log(self):
        for keep_log in (False, True):
            for prepare, leaves in (((lambda path: None), "nothing more"), ((lambda path: open(path + "-shm", "wb").close()), "an empty -shm")):
                if leaves != "nothing more" and not keep_log:
                    continue
                with self.subTest((keep_log, leaves)):
                    self.start_cell()
                    path = Wal.make(self, keep_log)
                    prepare(path)
                    names = {name for name in os.listdir(self.folder) if name.startswith("wal.db")}
                    before = {name: contents(self.path(name)) for name in names if not name.endswith("-shm")}
                    result = self.run_here(["import", path, *self.IMPORT])
                    self.assertEqual(result[0], 0, result)
                    self.assertEqual(contents(self.path("out/new")), goods["import sqlite"])
                    self.assertEqual({name for name in os.listdir(self.folder) if name.startswith("wal.db")}, names)
                    self.assertEqual({name: contents(self.path(name)) for name in before}, before)

    def test_import_of_a_row_that_is_only_in_the_log(self):
        self.start_cell()
        path = self.path("wal.db")
        shutil.copy(os.path.join(inputs, "round.db"), path)
        writer = sqlite3.connect(path)
        writer.execute("PRAGMA journal_mode = WAL")
        rows = writer.execute("SELECT count(*) FROM AMR").fetchone()[0]
        writer.execute("DELETE FROM AMR")
        writer.commit()
        lines = goods["import sqlite"].count(b"\r\n") - rows
        try:   # in use, and after a crash
            self.assertEqual(self.run_here(["import", path, *self.IMPORT])[0], 0)
            self.assertEqual(contents(self.path("out/new")).count(b"\r\n"), lines)
            for suffix in ("", "-wal"):
                shutil.copy(path + suffix, self.path("crashed.db") + suffix)
        finally:
            writer.close()
        self.assertEqual(self.run_here(["import", "crashed.db", *self.IMPORT])[0], 0)
        self.assertEqual(contents(self.path("out/new")).count(b"\r\n"), lines)
        self.assertFalse(os.path.exists(self.path("crashed.db-shm")))

    def test_import_with_a_strange_name(self):
        self.start_cell()
        os.mkdir(self.path("out/a?b#c%41 é"))
        for name in ("d?mode=rw", "%2541", "x#y", "'"):
            path = os.path.join("out/a?b#c%41 é", name)
            Wal.make(self, False, path)
            self.assertEqual(self.run_here(["import", path, *self.IMPORT])[0], 0, name)
            self.assertEqual(contents(self.path("out/new")), goods["import sqlite"])
        self.assertEqual(sorted(os.listdir(self.path("out/a?b#c%41 é"))), ["%2541", "'", "d?mode=rw", "x#y"])


class Interruptions(OutputsTest):
    SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGXCPU)

    def begin(self, command, out="out/new", **how):
        """Starts a command on much data; returns the name of its unfinished file as soon as it exists."""
        words = command.words(os.path.join(inputs, command.large), out) if command.large else [*LARGE_SAMPLE, out]
        process = subprocess.Popen([TRAMO, *words], cwd=self.folder, env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.PIPE, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CORE, (0, 0)), **how)
        self.addCleanup(process.stderr.close)
        while process.poll() is None:
            if names := [name for name in os.listdir(self.out) if ".tramo-" in name]:
                process.send_signal(signal.SIGSTOP)
                os.waitid(os.P_PID, process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
                if process.poll() is None and self.is_locked(names[0]):
                    return process, names[0]
                process.send_signal(signal.SIGCONT)
        self.fail(f"{command.name} has ended before it was seen: {process.stderr.read()}")

    def is_locked(self, name):
        """It is from the beginning, except in the moment after its creation."""
        try:
            descriptor = os.open(os.path.join(self.out, name), os.O_RDONLY)
        except FileNotFoundError:
            return False
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return True
        finally:
            os.close(descriptor)
        return False

    def end(self, process, number):
        process.send_signal(number)
        process.send_signal(signal.SIGCONT)
        err = process.stderr.read()
        return process.wait(), err

    def test_signals(self):
        for number in self.SIGNALS:
            for cell in self.each(COMMANDS if ALL or number == signal.SIGINT else SOME[:3], signal.Signals(number).name):
                with cell as command:
                    old = () if command.form == "folder" else ("new",)
                    if old:
                        self.put_old()
                    process, _ = self.begin(command)
                    if command.form == "folder":
                        time.sleep(0.01)   # it contains some files
                    code, err = self.end(process, number)
                    self.assertEqual((code, err), (-number, b""))
                    self.assert_only(*old)
                    self.assertEqual(contents(self.path("out/new")), OLD if old else None)

    def test_in_an_existing_folder(self):
        command = COMMANDS[2]
        self.start_cell()
        self.put_old("notes.txt")
        process, name = self.begin(command, "out")
        self.assertTrue(os.path.isdir(os.path.join(self.out, name)))
        self.assertEqual(self.end(process, signal.SIGTERM), (-signal.SIGTERM, b""))
        self.assert_only("notes.txt")

    def test_later(self):
        """At any time, even while the file replaces its target."""
        for cell in self.each(SOME, "SIGTERM at any time"):
            with cell as command:
                words = command.words(os.path.join(inputs, command.large), "out/new") if command.large else [*LARGE_SAMPLE, "out/new"]
                for share in range(12 if ALL else 4):
                    remove(self.path("out/new"))
                    begin = time.monotonic()
                    process = subprocess.Popen([TRAMO, *words], cwd=self.folder, env=ENVIRONMENT, stderr=subprocess.DEVNULL)
                    time.sleep(0.02 * share)
                    process.terminate()
                    code = process.wait()
                    self.assertIn(code, (0, 1, -signal.SIGTERM))
                    self.assertIn(os.listdir(self.out), ([], ["new"]))
                    if code != -signal.SIGTERM:
                        self.assert_only("new")

    def test_ignored_signals(self):
        """As with nohup."""
        for cell in self.each(SOME[:1], "SIGHUP ignored"):
            with cell as command:
                words = command.words(os.path.join(inputs, command.large), "out/new")
                process = subprocess.Popen(["nohup", TRAMO, *words], cwd=self.folder, env=ENVIRONMENT, stdin=subprocess.DEVNULL,
                                           stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
                while not os.listdir(self.out):
                    time.sleep(0.001)
                process.send_signal(signal.SIGHUP)
                process.stderr.read()
                process.stderr.close()
                self.assertEqual(process.wait(), 0)
                self.assert_only("new")

    def test_kill(self):
        """One file or folder with a typical name remains; the next run with the same output removes it."""
        for cell in self.each(COMMANDS if ALL else SOME, "SIGKILL, and once more"):
            with cell as command:
                for name in ("new", "n" * 255):
                    process, left = self.begin(command, "out/" + name)
                    process.send_signal(signal.SIGKILL)
                    process.wait()
                    self.assert_only(left)
                    self.assertRegex(left, rf"\A\.{name[:40]}n*\.tramo-{process.pid}-[0-9a-f]{{8}}\.unfinished\Z")
                    others = [f".other.tramo-{process.pid}-01234567.unfinished", f".{name[:200]}.tramo-1-01234567.unfinished.txt"]
                    for other in others:
                        self.put_old(other)
                    self.assert_written(command, self.run_command(command, "out/" + name), self.path("out/" + name))
                    self.assert_only(name, *others)
                    self.start_cell()

    def test_another_run_that_has_not_ended(self):
        for cell in self.each(SOME, "two at once"):
            with cell as command:
                process, left = self.begin(command)
                result = self.run_command(command)
                self.assert_written(command, result)
                self.assert_only("new", left)
                remove(self.path("out/new"))
                process.send_signal(signal.SIGCONT)
                process.stderr.read()
                self.assertIn(process.wait(), (0, 1))
                self.assert_only("new")

    def test_limit_of_file_sizes(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (8192, 8192))

        for cell in self.each(COMMANDS, "file-size limit"):
            with cell as command:
                if command.name in ("export xlsx", "export findings", "export keys", "import csv", "export csv"):
                    words = command.words(os.path.join(inputs, command.large), "out/new")   # the others are large enough
                else:
                    words = command.words(command.reads, "out/new")
                old = () if command.form == "folder" else ("new",)
                if old:
                    self.put_old()
                result = self.run_here(words, preexec_fn=limit)
                self.assert_refused(result, 3, "out/new")
                self.assertIn("File too large", result[2])
                self.assert_only(*old)
                self.assertEqual(contents(self.path("out/new")), OLD if old else None)
        with open(self.path("out/log"), "wb") as stream:
            result = self.run_here(["export", "round.txt", "--to", "jsonl"], stdout=stream, preexec_fn=limit)
        self.assert_refused(result, 3, "the standard output: File too large")

    def test_full_disk(self):
        probe = ["unshare", *([] if os.geteuid() == 0 else ["-r"]), "-m"]
        if subprocess.run([*probe, "mount", "-t", "tmpfs", "none", self.out], capture_output=True).returncode != 0:
            self.skipTest("no file system can be mounted here")
        for cell in self.each(COMMANDS, "full disk"):
            with cell as command:
                words = command.words(os.path.join(inputs, command.large) if command.large else None, "out/new")
                if not command.large:
                    words = [*LARGE_SAMPLE, "out/new"]
                script = 'mount -t tmpfs -o size=64k none out && { "$@"; echo "code $?"; ls -A out; }'
                done = subprocess.run([*probe, "sh", "-c", script, "sh", TRAMO, *words], cwd=self.folder, env=ENVIRONMENT, capture_output=True)
                self.assertEqual(done.stdout, b"code 3\n", done)
                self.assertIn(b"No space left on device", done.stderr)
                self.assertNotIn(b".tramo-", done.stderr)


class ChangingInput(OutputsTest):
    """The input changes while it is read: the result is that of the original file, or there is none."""

    DATABASE = {"emptied", "shortened inside a line", "rewritten", "replaced", "deleted"}

    def lengthen(self, command):
        """Makes an input that is read for a while; returns its path and content."""
        content = contents(os.path.join(inputs, command.large))
        if command.name == "import csv":
            header, rows = content.split(b"\r\n", 1)
            content = header + b"\r\n" + rows * 8
        elif command.name != "import sqlite":
            content *= 16_000_000 // len(content) + 1
        path = self.path("changing")
        with open(path, "wb") as file:
            file.write(content)
        os.utime(path, (1_700_000_000, 1_700_000_000))   # long ago, so that every change is a later time
        return path, content

    def product_of(self, command, path):
        """Returns the output of an undisturbed run."""
        out = {"folder": "other", "database": "other.db"}.get(command.form, "other" + (".csv" if command.name == "export csv" else ""))
        remove(self.path(out))
        result = self.run_command(command, out, path)
        self.assertIn(result[0], (0, 1), result)
        self.addCleanup(remove, self.path(out))
        return result, contents(self.path(out))

    def change(self, command, how):
        path, content = self.lengthen(command)
        keeps, words = CHANGES[how]
        expected = self.product_of(command, path) if keeps else None
        old = () if command.form == "folder" else ("new",)
        if old:
            self.put_old()
            os.chmod(self.path("out/new"), 0o600)   # so that no message about keys is printed
        process = stop_while_reading(
            lambda: subprocess.Popen([TRAMO, *command.words(path, "out/new")], cwd=self.folder, env=ENVIRONMENT, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE), len(content))
        change_file(path, how)
        process.send_signal(signal.SIGCONT)
        err = process.communicate()[1].decode()
        if not keeps:
            self.assertEqual(process.returncode, 2, err)
            if command.name != "import sqlite":
                self.assertRegex(err, rf"\Atramo: {path}: {words}\n\Z")
            self.assert_only(*old)
            self.assertEqual(contents(self.path("out/new")), OLD if old else None)
            return
        self.assertEqual((process.returncode, self.without_change(err, path, words)), (expected[0][0], expected[0][2]))
        self.assertEqual(words is not None, err != expected[0][2])
        self.assert_only("new")
        product = contents(self.path("out/new"))
        if command.name != "export sqlite":   # it contains the name and size of the input
            self.assertTrue(product == expected[1], "another product")

    def without_change(self, err, path, words):
        return err if words is None else re.sub(rf"tramo: {path}: {words}\n", "", err)

    def test_every_change(self):
        some = [command for command in READERS if ALL or command.name in ("export jsonl", "import jsonl", "import sqlite", "convert")]
        for how in CHANGES:
            for cell in self.each(some if ALL or how in ("shortened inside a line", "rewritten", "longer by half a line") else some[:1],
                                  "input " + how):
                with cell as command:
                    if command.name != "import sqlite" or how in self.DATABASE:
                        self.change(command, how)

    def test_standard_input(self):
        """A file that the shell has opened is treated the same."""
        for how in ("shortened inside a line", "longer by lines"):
            for cell in self.each(SOME[:1], f"input - {how}"):
                with cell as command:
                    path, content = self.lengthen(command)
                    self.put_old()

                    def start():
                        with open(path, "rb") as stream:
                            return subprocess.Popen([TRAMO, *command.words("-", "out/new")], cwd=self.folder, env=ENVIRONMENT, stdin=stream,
                                                    stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

                    process = stop_while_reading(start, len(content))
                    change_file(path, how)
                    process.send_signal(signal.SIGCONT)
                    err = process.communicate()[1].decode()
                    self.assertRegex(err, rf"\Atramo: <stdin>: {CHANGES[how][1]}\n")
                    self.assertEqual(process.returncode == 2, not CHANGES[how][0])
                    self.assertEqual(contents(self.path("out/new")) == OLD, not CHANGES[how][0])

    def test_names_and_permissions(self):
        """They do not change the content."""
        for cell in self.each(SOME[:1], "input renamed, with other permissions"):
            with cell as command:
                path, content = self.lengthen(command)
                result, product = self.product_of(command, path)
                process = stop_while_reading(
                    lambda: subprocess.Popen([TRAMO, *command.words(path, "out/new")], cwd=self.folder, env=ENVIRONMENT,
                                             stdout=subprocess.DEVNULL, stderr=subprocess.PIPE), len(content))
                os.chmod(path, 0o640)
                os.utime(path)
                os.rename(path, path + ".old")
                process.send_signal(signal.SIGCONT)
                self.assertEqual(process.communicate()[1].decode(), result[2])
                self.assertTrue(contents(self.path("out/new")) == product)


if __name__ == "__main__":
    unittest.main()
