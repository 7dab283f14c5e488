"""Standard streams in non-blocking mode (O_NONBLOCK), as another program may leave them: the tool waits for slow peers."""
import concurrent.futures
import contextlib
import fcntl
import os
import pty
import re
import signal
import socket
import subprocess
import termios
import threading
import time
import unittest
from support import ENVIRONMENT, TRAMO, CliTest, sample

KINDS = ("pipe", "socket", "terminal")
PAUSE = 0.3
END_OF_INPUT = b"\x04"  # typed on a terminal
ROUND, KEYS = sample("round-returned.txt") * 8, sample("amr-keys.txt") * 20
COMMANDS = [
    "anonymize --key keys.txt - -o -",
    "check --color never --all -",
    "check --color never -j 2 broken.txt - missing.txt",
    "check --format json broken.txt -",
    "convert - --encoding utf16le -o -",
    "convert - --encoding utf16le -o /dev/stdout",
    "diff --color never --full broken.txt -",
    "explain --color never --markdown",
    "export - --to jsonl",
    "export - --to jsonl -o /dev/fd/1",
    "export - --to csv --only AMR -o -",
    "export - --to xlsx -o -",
    "export - --to geojson",
    "export - --to csv --table meters -o -",
    "export broken.txt --to jsonl -o /dev/null --findings /dev/stdout",
    "export - --to jsonl -o /dev/stderr",
    "import round.jsonl --from jsonl --encoding ansi",
    "keys --show-keys keys.txt",
    "repair -",
    "repair - -o -",
    "reconcile broken.txt -",
    "reconcile --format csv - broken.txt",
    "report - -o -",
    "report broken.txt -o /dev/stdout",
    "rewrite --force - -o -",
    "rewrite --dry-run -",
    "sample --meters 100 -o -",
    "show --color never -",
    "stats broken.txt missing.txt -",
    "help",
    "chekc",
]


class Channel:
    """One end for the tool, one for its peer."""

    def __init__(self, kind, to_tool, blocking=False):
        self.kind, self.filled = kind, 0
        if kind == "pipe":
            reader, writer = os.pipe()
            self.tool, self.peer = (reader, writer) if to_tool else (writer, reader)
        elif kind == "socket":
            ends = socket.socketpair()
            for end in ends:
                end.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
            self.tool, self.peer = (end.detach() for end in ends)
        else:
            self.peer, self.tool = pty.openpty()
            settings = termios.tcgetattr(self.tool)
            settings[0] &= ~(termios.ICRNL | termios.IXON)
            settings[3] &= ~(termios.ECHO | termios.ISIG)
            termios.tcsetattr(self.tool, termios.TCSANOW, settings)
        if not blocking:
            os.set_blocking(self.tool, False)

    def fill(self):
        """Fills it until it accepts no more bytes."""
        quiet = 0
        while quiet < 5:  # a terminal moves accepted bytes to its other end a little later
            before = self.filled
            for size in (512, 1):
                with contextlib.suppress(BlockingIOError):
                    while True:
                        self.filled += os.write(self.tool, b"~" * size)
            quiet = quiet + 1 if self.filled == before else 0
            time.sleep(0.01)

    def give(self, data, pause):
        """Writes all of the data, the second half after another pause."""
        time.sleep(pause)
        with contextlib.suppress(OSError):
            for part in (data[:len(data) // 2], data[len(data) // 2:] + (END_OF_INPUT if self.kind == "terminal" else b"")):
                while part:
                    part = part[os.write(self.peer, part[:1024]):]
                time.sleep(pause)
        if self.kind != "terminal":
            self.close_peer()

    def take(self, pause):
        """Returns the output of the tool after its end."""
        got, reads = b"", 0
        time.sleep(pause)
        with contextlib.suppress(OSError):
            while part := os.read(self.peer, 4096):
                got += part
                reads += 1
                if reads % 8 == 1 and reads < 40:
                    time.sleep(pause / 8)
        self.close_peer()
        return got[self.filled:]

    def close_tool(self):
        os.close(self.tool)

    def close_peer(self):
        os.close(self.peer)


class StreamsTest(CliTest):
    def setUp(self):
        super().setUp()
        self.write("broken.txt", sample("round-broken.txt"))
        self.write("keys.txt", KEYS)
        self.write("round.txt", ROUND)
        with open(os.path.join(self.folder, "round.jsonl"), "wb") as out:
            subprocess.run([TRAMO, "export", "round.txt", "--to", "jsonl"], stdout=out, stderr=subprocess.DEVNULL, cwd=self.folder, env=ENVIRONMENT)

    def start(self, words, stdin, out, err, **how):
        return subprocess.Popen([TRAMO, *words.split()], stdin=stdin, stdout=out, stderr=err, cwd=self.folder,
                                env=ENVIRONMENT | {"TERM": "dumb"}, **how)

    def run_slowly(self, words, kind, stdin=ROUND, blocking=False, full=True, pause=PAUSE):
        """Returns exit code, output, error output, and processor seconds; with a slow peer unless the streams are blocking."""
        pause = 0 if blocking else pause
        channels = [Channel(kind, True, blocking), Channel(kind, False, blocking), Channel(kind, False, blocking)]
        if full and not blocking:
            for channel in channels[1:]:
                channel.fill()
        got = {}
        stdin = stdin if re.search(r"(?<!-o) -( |$)", words) else b""
        threads = [threading.Thread(target=channels[0].give, args=(stdin, pause))]
        for number in (1, 2):
            threads.append(threading.Thread(target=lambda n=number: got.update({n: channels[n].take(pause)})))
        process = self.start(words, *(channel.tool for channel in channels))
        for channel in channels[1:]:
            channel.close_tool()
        for thread in threads:
            thread.start()
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        channels[0].close_tool()
        for thread in threads:
            thread.join()
        if kind == "terminal":
            channels[0].close_peer()
        return process.returncode, got[1], got[2], used.ru_utime + used.ru_stime

    def masked(self, text):
        """Returns the text without times and without progress lines of a terminal."""
        return re.sub(rb"in \d+\.\d{3} s|\"seconds\":[0-9.]+|\r[^\r\n]*\x1b\[K", b"", text)

    def assert_same(self, cells, **how):
        """Each command has the same results with slow peers as with blocking streams."""
        def run(cell):
            return self.run_slowly(*cell, blocking=True, **how), self.run_slowly(*cell, **how)
        with concurrent.futures.ThreadPoolExecutor(8) as pool:  # they mostly sleep
            results = list(pool.map(run, cells))
        for (words, kind), (expected, got) in zip(cells, results):
            with self.subTest(words=words, kind=kind):
                self.assertEqual(expected[0], got[0], got[2])
                for number, name in ((1, "output"), (2, "error output")):
                    self.assertTrue(self.masked(expected[number]) == self.masked(got[number]),
                                    (name, len(expected[number]), len(got[number]), got[2][:300]))


class EveryCommand(StreamsTest):
    def test_pipe(self):
        self.assert_same([(words, "pipe") for words in COMMANDS])

    def test_socket(self):
        self.assert_same([(words, "socket") for words in COMMANDS])

    def test_terminal(self):
        self.assert_same([(words, "terminal") for words in COMMANDS])

    def test_rows_from_the_standard_input(self):
        with open(os.path.join(self.folder, "round.jsonl"), "rb") as file:
            rows = file.read()
        self.assert_same([("import - --from jsonl --encoding utf16le", kind) for kind in KINDS], stdin=rows)

    def test_key_lines_from_the_standard_input(self):
        self.assert_same([(words, kind) for words in ("keys --show-keys -", "anonymize --key - broken.txt -o -") for kind in KINDS], stdin=KEYS)


class Waiting(StreamsTest):
    def test_needs_no_processor_time(self):
        def run(kind):
            return self.run_slowly("export - --to jsonl", kind, blocking=True), self.run_slowly("export - --to jsonl", kind, pause=2)
        with concurrent.futures.ThreadPoolExecutor(3) as pool:
            for kind, (usual, slow) in zip(KINDS, pool.map(run, KINDS)):
                with self.subTest(kind=kind):
                    self.assertEqual((slow[0], len(slow[1])), (usual[0], len(usual[1])))
                    self.assertLess(slow[3], usual[3] + 1)

    def waiting(self, words, kind="pipe", full=True):
        """A process that waits for its input or for room in its output."""
        channels = [Channel(kind, True), Channel(kind, False)]
        if full:
            channels[1].fill()
        process = self.start(words, channels[0].tool, channels[1].tool, subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        for channel in channels:
            channel.close_tool()
        time.sleep(PAUSE)
        self.assertIsNone(process.poll(), "it does not wait")
        return process, channels

    def test_ends_by_a_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            for words in ("export - --to jsonl -o new", "export round.txt --to jsonl", "check round.txt", "import - --from csv --encoding ansi -o new"):
                for kind in KINDS:
                    with self.subTest(signal=number, words=words, kind=kind):
                        before = os.listdir(self.folder)
                        process, channels = self.waiting(words, kind)
                        process.send_signal(number)
                        self.assertEqual(process.wait(timeout=20), -number)
                        self.assertEqual(process.stderr.read(), b"")
                        self.assertEqual(os.listdir(self.folder), before)
                        for channel in channels:
                            channel.close_peer()

    def test_continues_after_a_stop(self):
        for kind in KINDS:
            with self.subTest(kind=kind):
                expected = self.run_slowly("export - --to jsonl", kind, blocking=True)[1]
                process, channels = self.waiting("export - --to jsonl", kind)
                taken = []
                taker = threading.Thread(target=lambda: taken.append(channels[1].take(PAUSE)))
                for step in (lambda: channels[0].give(ROUND, 0), taker.start):
                    process.send_signal(signal.SIGSTOP)
                    time.sleep(0.1)
                    process.send_signal(signal.SIGCONT)
                    step()
                self.assertEqual(process.wait(timeout=60), 0)
                taker.join()
                self.assertTrue(taken[0] == expected, (len(taken[0]), len(expected)))
                if kind == "terminal":
                    channels[0].close_peer()

    def test_ends_when_the_reader_closes_the_pipe(self):
        for kind in ("pipe", "socket"):
            with self.subTest(kind=kind):
                process, channels = self.waiting("export round.txt --to jsonl", kind)
                channels[1].close_peer()
                self.assertEqual(process.wait(timeout=20), 3)
                self.assertEqual(process.stderr.read(), b"")
                channels[0].close_peer()

    def test_terminal_that_is_closed(self):
        process, channels = self.waiting("export round.txt --to jsonl", "terminal")
        channels[1].close_peer()
        self.assertEqual(process.wait(timeout=20), 3)
        self.assertIn(b"Input/output error", process.stderr.read())
        channels[0].close_peer()

    def test_named_pipe(self):
        """As an input and as an output."""
        path = os.path.join(self.folder, "pipe")
        os.mkfifo(path)
        self.run_tool("convert", "round.txt", "--encoding", "utf16le", "-o", "expected", cwd=self.folder)
        with open(os.path.join(self.folder, "expected"), "rb") as file:
            expected = file.read()
        both = os.open(path, os.O_RDWR | os.O_NONBLOCK)
        with open(path, "rb") as reader:
            process = self.start(f"convert round.txt --encoding utf16le -o /dev/fd/{both}", None, None, None, pass_fds=[both])
            os.close(both)
            time.sleep(PAUSE)
            self.assertEqual(reader.read(), expected)
        self.assertEqual(process.wait(timeout=20), 0)


if __name__ == "__main__":
    unittest.main()
