"""Shared by the tests of the tool. TRAMO is the path of the program; the working directory is the project's root."""
import base64
import fcntl
import functools
import gzip
import json
import os
import pty
import re
import signal
import struct
import subprocess
import tempfile
import termios
import unittest

TRAMO = os.path.abspath(os.environ["TRAMO"])
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HERE = os.path.dirname(os.path.abspath(__file__))

# A run in the background or under nohup ignores these signals, and programs that it starts would, too.
for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP):
    if signal.getsignal(number) == signal.SIG_IGN:
        signal.signal(number, signal.SIG_DFL)

ENVIRONMENT = {"PATH": os.environ["PATH"], "TZ": "UTC", "LC_ALL": os.environ.get("TRAMO_TEST_LC_ALL", "C")} | {
    name: os.environ[name] for name in ("LOCPATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS") if name in os.environ}


def some(cases):
    """Returns the cases; with sanitizers, which make the tool slow, every seventh. For many cases that take the same paths."""
    return cases[::7] if "TRAMO_SOME" in os.environ else cases


def sample(name):
    with open(os.path.join(ROOT, "samples", name), "rb") as file:
        return file.read()


def sample_line(letter):
    """Returns the first line of that letter in a valid file, without its line ending."""
    return next(line for line in sample("round-returned.txt").split(b"\r\n") if line[:1] == letter)


ROUND, METER, AMR, INFORMATION = (sample_line(letter) for letter in (b"0", b"1", b"2", b"9"))


def put(line, column, text):
    """Returns the line with that text at that column, counted from 1."""
    return line[:column - 1] + text + line[column - 1 + len(text):]


# The columns that the field work fills in, counted from 1. Of a meter subscriber: the corrected serial number and wheels, the
# reading, and the notes of the agent. Of an AMR line: the current reading and the failed attempts.
FIELD_WORK = {b"1": [(366, 379), (426, 459), (462, 505), (508, 512)], b"2": [(354, 455), (457, 470)]}
BROUGHT_BACK = (b"3", b"4", b"6", b"7")  # record kinds that only a returned round has


def before_field_work(content):
    """Returns a returned round as it was exported."""
    def blanked(line):
        for first, last in FIELD_WORK.get(line[:1], []):
            line = put(line, first, b" " * (last - first + 1))
        return line
    return b"\r\n".join(blanked(line) for line in content.split(b"\r\n") if line[:1] not in BROUGHT_BACK)


@functools.cache
def rules_by_subject():
    """Returns what rules are about, by their names: "file", "round", or None for single lines."""
    out = subprocess.run([TRAMO, "explain", "--format", "json"], capture_output=True, env=ENVIRONMENT, cwd="/", check=True).stdout
    return {rule["rule"]: rule.get("about") for rule in json.loads(out)["rules"]}


@functools.cache
def file_rules():
    """Returns the names of the rules about whole files."""
    return {rule for rule, about in rules_by_subject().items() if about == "file"}


def is_about_file(finding):
    return any(f" [{rule}]" in finding for rule in file_rules())


def about_lines(findings):
    """Returns the findings of a JSON report that are not about the whole file."""
    return [finding for finding in findings if finding["rule"] not in file_rules()]


def lines(*texts):
    return b"".join(text + b"\r\n" for text in texts)


def utf16(text):
    return b"\xff\xfe" + text.encode("utf-16-le", "surrogatepass")


def read_all(master):
    """Returns the output of programs on a terminal after the last one has ended; closes it."""
    out = b""
    try:
        while piece := os.read(master, 65536):
            out += piece
    except OSError:
        pass
    os.close(master)
    return out


def run_on_terminal(arguments, columns=80, cwd=ROOT, **environment):
    """Returns the exit code of the tool, and its output on a terminal with that many columns."""
    master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 50, columns, 0, 0))
    process = subprocess.Popen([TRAMO, *arguments], stdout=slave, cwd=cwd, env=ENVIRONMENT | {"TERM": "xterm"} | environment)
    os.close(slave)
    out = read_all(master)
    return process.wait(), out.decode("utf-8").replace("\r\n", "\n")


def on_terminal(*arguments, **options):
    return run_on_terminal(*arguments, **options)[1]


class Result:
    def __init__(self, code, out, err):
        self.code, self.raw, self.out, self.err = code, out, out.decode("utf-8"), err.decode("utf-8")

    @property
    def masked(self):
        """Returns the output without values that differ between runs."""
        return re.sub(r"in \d+\.\d{3} s", "in TIME s", self.out)

    @property
    def all_findings(self):
        """Returns the findings, without excerpts and summary."""
        return [line for line in self.out.splitlines() if re.match(r"\S+?:.*?(error|warning): ", line)]

    @property
    def findings(self):
        """Returns the findings about lines."""
        return [line for line in self.all_findings if not is_about_file(line)]

    @property
    def diagnosis(self):
        """Returns the findings about the whole file."""
        return [line for line in self.all_findings if is_about_file(line)]

    @property
    def json(self):
        return json.loads(self.out)


class CliTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def write(self, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def content(self, path):
        with open(path, "rb") as file:
            return file.read()

    def run_tool(self, *arguments, stdin=b"", env=None, cwd=ROOT, timeout=240):
        done = subprocess.run([TRAMO, *arguments], input=stdin, capture_output=True, cwd=cwd, timeout=timeout,
                              env=ENVIRONMENT | (env or {}))
        return Result(done.returncode, done.stdout, done.stderr)

    def check(self, content, *options, **run):
        """Checks a file "f" with that content."""
        self.write("f", content)
        return self.run_tool("check", *options, "f", cwd=self.folder, **run)

    def assert_findings(self, content, *expected, options=(), code=1, **run):
        """Expects these findings about the lines of a file "f", each without the leading "f:"."""
        result = self.check(content, "--each", *options, **run)
        self.assertEqual([line.removeprefix("f:") for line in result.findings], list(expected))
        self.assertEqual((result.code, result.err), (code if expected else 0, ""))
        return result


def parts_of(page):
    """Returns the parts of a report by their names, as parsed JSON; "raw": its lines, by blocks."""
    found = re.findall(rb'<script type="text/plain" id="tramo-(\w+)">([A-Za-z0-9+/=\n]*)</script>', page)
    opened = {name.decode(): [gzip.decompress(base64.b64decode(block)).decode("utf-8") for block in text.split(b"\n")] for name, text in found}
    return {name: blocks if name == "raw" else json.loads(blocks[0]) for name, blocks in opened.items()}


def choices(command, option):
    """The values that an option takes, as the message about another value names them."""
    err = subprocess.run([TRAMO, command, "FILE", option, "?"], capture_output=True, text=True, env=ENVIRONMENT, cwd="/").stderr
    return re.split(", | or ", re.search(rf'{option}: invalid value "\?"; expected (.*)', err)[1])


def stop_while_reading(start, size, first=300_000):
    """Starts a process that reads a file of this size, and stops it (SIGSTOP) when it has read more than the first bytes of it
    and less than half; SIGCONT continues it. May call `start` more than once."""
    for _ in range(50):
        process = start()
        while process.poll() is None:
            try:
                with open(f"/proc/{process.pid}/io") as file:
                    got = int(file.readline().split()[1])
            except (ProcessLookupError, FileNotFoundError):
                break
            if got < first:
                continue
            process.send_signal(signal.SIGSTOP)
            if process.poll() is not None:
                break
            os.waitid(os.P_PID, process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
            if process.poll() is not None:
                break
            with open(f"/proc/{process.pid}/io") as file:
                if int(file.readline().split()[1]) < size / 2:
                    return process
            break
        process.kill()
        process.send_signal(signal.SIGCONT)
        process.communicate()
    raise AssertionError("the process could not be stopped while it was reading")


def change_file(path, how):
    """Changes a file while it is read. "rewritten" changes some of the first bytes, which have been read by then; "regrown" keeps
    the length of the file."""
    size = os.path.getsize(path)
    if how == "emptied":
        os.truncate(path, 0)
    elif how == "shortened by a byte":
        os.truncate(path, size - 1)
    elif how == "shortened inside a line":
        os.truncate(path, size * 3 // 4 + 100)
    elif how in ("longer by lines", "longer by half a line"):
        with open(path, "r+b") as file:
            line = file.readlines(4000)[1]
            file.seek(0, 2)
            file.write(line * 2 if how == "longer by lines" else line[:len(line) // 2])
    elif how == "replaced":
        with open(path + ".new", "wb") as file:
            file.write(b"another file\n")
        os.replace(path + ".new", path)
    elif how == "deleted":
        os.remove(path)
    elif how == "rewritten":
        with open(path, "r+b") as file:
            file.seek(1000)
            some = file.read(100)
            file.seek(1000)
            file.write(bytes(byte ^ 1 for byte in some))
    elif how == "regrown":
        os.truncate(path, 0)
        os.truncate(path, size)
    elif how == "rewritten and longer":
        change_file(path, "rewritten")
        change_file(path, "longer by lines")
    else:
        raise ValueError(how)


# The message of a command about such a change. With True, the command reads the original file.
CHANGES = {
    "emptied": (False, r"became shorter while it was read, from \d+ bytes to 0; run the command again when the file is complete"),
    "shortened by a byte": (False, r"became shorter while it was read, from \d+ bytes to \d+; run the command again when .*"),
    "shortened inside a line": (False, r"became shorter while it was read, from \d+ bytes to \d+; run the command again when .*"),
    "rewritten": (False, r"changed while it was read; run the command again when the file is complete"),
    "regrown": (False, r"changed while it was read; run the command again when the file is complete"),
    "rewritten and longer": (False, r"changed while it was read; run the command again when the file is complete"),
    "longer by lines": (True, r"became longer while it was read; only its first \d+ bytes were read"),
    "longer by half a line": (True, r"became longer while it was read; only its first \d+ bytes were read"),
    "replaced": (True, r"was replaced while it was read; the old file was read"),
    "deleted": (True, None),
}
