"""Runs the tool with failing calls: tool.py [--large] [--only COMMAND] TRAMO PRELOADED

Every command runs once without failures, and then repeatedly, each time with another allocation, read, write, close and so on
failing: the first, the second ... until it has completed. Whichever call fails, the command ends with

    - the same result as without a failure, byte for byte, or
    - exit code 2 or 3 and one line that names the reason; an existing file is then the complete old one or the complete new one,
      and nothing is left beside it or among the temporary files.

An interrupted call, and one that transfers less than requested, must not change the result.
"""
import argparse
import collections
import concurrent.futures
import errno
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SHORT = 0  # no error, but only half of the bytes

# How a call can fail: its sort, the error, and whether only one fails or all following.
FAULTS = [(sort, error, only_one) for sort, errors, ways in (
    ("memory", [errno.ENOMEM], (True, False)),
    ("thread", [errno.EAGAIN], (True, False)),
    ("read", [errno.EIO, errno.EINTR, SHORT], (True,)),
    ("write", [errno.ENOSPC, errno.EIO, errno.EINTR, SHORT], (True,)),
    ("write", [errno.ENOSPC, SHORT], (False,)),
    ("sync", [errno.EIO, errno.ENOSPC, errno.EINTR], (True,)),
    ("close", [errno.EIO, errno.ENOSPC, errno.EINTR], (True,)),
    ("rename", [errno.EIO, errno.ENOSPC, errno.EINTR], (True,)),
    ("open", [errno.EMFILE, errno.EIO, errno.ENOSPC, errno.EINTR], (True,)),
    ("list", [errno.EIO], (True,)),
    ("status", [errno.EIO], (True,)),
    ("mode", [errno.EPERM, errno.EIO], (True,)),
    ("owner", [errno.EPERM, errno.EIO, errno.EINTR], (True,)),
    ("attribute", [errno.EPERM, errno.ENOSPC, errno.EIO], (True,)),
    ("lock", [errno.ENOLCK, errno.EINTR, errno.EOPNOTSUPP], (True,)),
) for error in errors for only_one in ways]

HARMLESS = (errno.EINTR, SHORT)


class Command:
    """`product`: the name of the output file in the folder "out"; `old`: whether it exists before."""

    def __init__(self, name, *arguments, product=None, old=True, piped=None, large=False):
        self.name, self.arguments, self.product, self.old, self.piped, self.large = name, arguments, product, old, piped, large


COMMANDS = [
    Command("check", "check", "in/round.txt"),
    Command("check two", "check", "in/round.txt", "in/none.txt", "in/keys.txt"),
    Command("check json", "check", "--format", "json", "in/round.txt"),
    Command("check sarif", "check", "--format", "sarif", "in/round16.txt"),
    Command("check pipe", "check", "-", piped="in/round.txt"),
    Command("check threads", "check", "-j", "3", "in/large.txt", large=True),
    Command("show", "show", "in/round.txt"),
    Command("stats", "stats", "in/round.txt"),
    Command("keys", "keys", "in/keys.txt"),
    Command("diff", "diff", "in/round.txt", "in/other.txt"),
    Command("anonymize", "anonymize", "--key", "in/keys.txt", "in/round.txt", "-o", "out/new.txt", product="new.txt"),
    Command("anonymize two", "anonymize", "--key", "in/keys.txt", "in/round.txt", "in/keys.txt", "-o", "out/new", product="new", old=False),
    Command("reconcile", "reconcile", "in/round.txt", "in/other.txt"),
    Command("report", "report", "in/round.txt", "in/keys.txt", "-o", "out/new.html", product="new.html"),
    Command("report pair", "report", "in/round.txt", "in/other.txt", "-j", "3", "-o", "out/new.html", product="new.html"),
    Command("explain", "explain", "1"),
    Command("help", "help", "--man", "check"),
    Command("sample", "sample", "--meters", "20", "-o", "out/new.txt", product="new.txt"),
    Command("export jsonl", "export", "in/round.txt", "--to", "jsonl", "-o", "out/new.jsonl", product="new.jsonl"),
    Command("export stdout", "export", "in/round.txt", "--to", "jsonl"),
    Command("export csv", "export", "in/round.txt", "--to", "csv", "-o", "out/new", product="new", old=False),
    Command("export one csv", "export", "in/round.txt", "--only", "AMR", "--to", "csv", "-o", "out/new.csv", product="new.csv"),
    Command("export sqlite", "export", "in/round.txt", "--to", "sqlite", "-o", "out/new.db", product="new.db"),
    Command("export xlsx", "export", "in/round.txt", "--to", "xlsx", "-o", "out/new.xlsx", product="new.xlsx"),
    Command("export threads", "export", "-j", "3", "in/large.txt", "--to", "jsonl", "-o", "out/new.jsonl", product="new.jsonl",
            large=True),
    Command("export keys", "export", "in/keys.txt", "--show-keys", "--to", "jsonl", "-o", "out/new.jsonl", product="new.jsonl"),
    Command("import jsonl", "import", "in/round.jsonl", "--from", "jsonl", "--encoding", "ansi", "-o", "out/new.txt",
            product="new.txt"),
    Command("import csv", "import", "in/tables", "--from", "csv", "--encoding", "utf16le", "-o", "out/new.txt", product="new.txt"),
    Command("import sqlite", "import", "in/round.db", "--from", "sqlite", "--encoding", "ansi", "-o", "out/new.txt",
            product="new.txt"),
    Command("convert", "convert", "in/round.txt", "--encoding", "utf16le", "-o", "out/new.txt", product="new.txt"),
    Command("convert stdout", "convert", "in/round16.txt", "--encoding", "ansi", "-o", "-"),
    Command("repair", "repair", "in/round.txt", "-o", "out/new.txt", product="new.txt"),
    Command("repair dry", "repair", "in/round.txt"),
    Command("repair reference", "repair", "--reference", "in/other.txt", "in/round.txt"),
    Command("rewrite", "rewrite", "--force", "in/round.txt", "-o", "out/new.txt", product="new.txt"),
    Command("rewrite dry", "rewrite", "--dry-run", "in/round.txt"),
]

OLD = b"what was there before\n"
OLD_MODE = 0o640
OLD_OWNER = 12345 if os.geteuid() == 0 else os.geteuid()   # only root can give files away

Outcome = collections.namedtuple("Outcome", "code out err product left")


def attributes(path):
    try:
        return {name: os.getxattr(path, name) for name in os.listxattr(path)}
    except OSError:
        return {}


def contents(path):
    """The mode, bytes, owner and attributes of a file, or of all files of a folder, or None."""
    if os.path.isdir(path):
        return {name: contents(os.path.join(path, name)) for name in sorted(os.listdir(path))}
    if not os.path.exists(path):
        return None
    with open(path, "rb") as file:
        status = os.stat(path)
        return status.st_mode & 0o777, file.read(), status.st_uid, attributes(path)


def is_same(product, good, narrower):
    """`narrower`: files with fewer permissions are the same, too; "attribute": so are files that lack some attributes."""
    if not narrower or product is None or good is None:
        return product == good
    if isinstance(product, dict):
        return list(product) == list(good) and all(is_same(product[name], good[name], narrower) for name in good)
    return product[1:3] == good[1:3] and product[0] | good[0] == good[0] and (
        product[3] == good[3] or (narrower == "attribute" and product[3].items() <= good[3].items()))


def masked(out):
    return re.sub(rb"in \d+\.\d{3} s|\"seconds\": ?[0-9.e-]+", b"TIME", out)


class Bench:
    """A folder in which one command runs repeatedly."""

    def __init__(self, tramo, preloaded, folder, inputs, command):
        self.tramo, self.preloaded, self.folder, self.command = tramo, preloaded, folder, command
        shutil.copytree(inputs, os.path.join(folder, "in"))
        for name in ("out", "tmp"):
            os.mkdir(os.path.join(folder, name))
        self.arguments = [self.path(word) if re.match(r"(in|out)/", word) else word for word in command.arguments]
        self.report = folder + ".report"
        self.clean()
        self.old = contents(self.path("out/" + command.product)) if command.product else None
        self.good = self.run()
        if self.good.code not in (0, 1, 2) or self.good.left or (command.product and not self.good.product):
            raise RuntimeError(f"{command.name} without a fault: {self.good}")

    def path(self, name):
        return os.path.join(self.folder, name)

    def clean(self):
        for name in ("out", "tmp"):
            for entry in os.scandir(self.path(name)):
                shutil.rmtree(entry.path) if entry.is_dir(follow_symlinks=False) else os.unlink(entry.path)
        if self.command.product and self.command.old:
            path = self.path("out/" + self.command.product)
            with open(path, "wb") as file:
                file.write(OLD)
            try:
                os.setxattr(path, "user.origin", b"the office")
            except OSError:
                pass   # not every file system has them
            os.chown(path, OLD_OWNER, -1)
            os.chmod(path, OLD_MODE)

    def run(self, sort=None, error=0, first=0, last=0):
        self.clean()
        environment = {"PATH": os.environ["PATH"], "TZ": "UTC", "LC_ALL": "C", "TMPDIR": self.path("tmp")}
        if sort:
            environment |= {"LD_PRELOAD": self.preloaded, "FAULTS_CALL": sort, "FAULTS_AT": str(first), "FAULTS_LAST": str(last),
                            "FAULTS_ERROR": str(error), "FAULTS_UNDER": self.folder + "/", "FAULTS_REPORT": self.report}
        with open(self.path("stdout"), "wb") as out, open(self.path(self.command.piped) if self.command.piped else os.devnull, "rb") as source:
            stdin = subprocess.Popen(["cat"], stdin=source, stdout=subprocess.PIPE).stdout if self.command.piped else source
            try:
                done = subprocess.run([self.tramo, *self.arguments], stdin=stdin, stdout=out, stderr=subprocess.PIPE, env=environment,
                                      timeout=60, cwd=self.folder)
                code, err = done.returncode, done.stderr
            except subprocess.TimeoutExpired:
                code, err = "no end", b""
            if self.command.piped:
                stdin.close()
        with open(self.path("stdout"), "rb") as file:
            printed = masked(file.read())
        product = contents(self.path("out/" + self.command.product)) if self.command.product else None
        left = sorted(set(os.listdir(self.path("out"))) - {self.command.product}) + sorted(os.listdir(self.path("tmp")))
        return Outcome(code, printed, err, product, left)

    def failures(self):
        with open(self.report, "rb") as file:
            return struct.unpack("=QQ", file.read())

    def wrong(self, outcome, sort, error):
        """Returns the error of a result, or None."""
        good = self.good
        if not isinstance(outcome.code, int) or outcome.code < 0:
            return f"ended by {outcome.code}"
        if outcome.left:
            return f"leaves {outcome.left}"
        told = rb"tramo: [ -~]*new[ -~]*: attributes of the old file are not kept: [ -~]*\n"
        err = re.sub(told, b"", outcome.err) if sort == "attribute" else outcome.err
        if outcome.code == good.code and err == good.err:
            if outcome.out != good.out:
                return "another output"
            if sort == "attribute" and outcome.err == good.err and not is_same(outcome.product, good.product, "mode"):
                return "an attribute is lost and nobody told"
            return None if is_same(outcome.product, good.product, sort in ("mode", "attribute") and sort) else "another product"
        if error in HARMLESS and sort != "memory":
            return f"is not survived: {outcome.code}, {outcome.err}"
        if outcome.code not in (2, 3):
            return f"exit code {outcome.code}, {outcome.err}"
        if sort in ("write", "sync", "rename") and outcome.code != 3:
            return f"exit code {outcome.code}, {outcome.err}"
        reason = b"out of memory|Cannot allocate memory" if sort == "memory" else re.escape(os.strerror(error)).encode()
        if self.command.name == "import sqlite" and sort == "read":  # SQLite reports a page that cannot be read as corrupt,
            reason += b"|database disk image is malformed"
        if self.command.name == "export sqlite" and sort == "open":  # and a file that cannot be opened as read-only
            reason += b"|Input/output error"
        if not re.fullmatch(rb"(tramo: [ -~]*\n)*tramo: [ -~]*(" + reason + b")" + rb"[ -~]*\n(tramo: [ -~]*\n)*", outcome.err):
            return f"the reason is not named: {outcome.err}"
        if self.command.product and outcome.product not in (good.product, self.old):
            return f"a damaged product: {str(outcome.product)[:200]}"
        if self.command.name.startswith("check") and outcome.code == 2:
            return None  # it reports the other files, too
        # Masked text ends with a number that may be truncated.
        begun = outcome.out
        if not good.out.startswith(begun) and not good.out.startswith(re.sub(rb"in [0-9.]*[ s]*$", b"", begun)):
            return "another output before the fault"
        return None

    def tryAll(self, most):
        """Tries every failure, or `most` of each sort. Yields (sort, error, only_one, runs, survived, [errors])."""
        for sort, error, only_one in FAULTS:
            self.run(sort)
            calls = self.failures()[0]
            if self.command.large and sort not in ("thread", "memory", "read"):
                continue
            step = max(1, -(-calls // most))
            wrongs, runs, survived = [], 0, 0
            # Beyond the last one counted: there may be more calls if one fails, and threads vary. Files are renamed at the end,
            # where few allocations happen.
            numbers = set(range(1, calls + 2, step)) | set(range(max(1, calls - 30), calls, 10) if self.command.product else [])
            for number in sorted(numbers):
                outcome = self.run(sort, error, number, number if only_one else 0)
                if number <= calls and self.failures()[1] == 0 and not self.command.large:
                    wrongs.append(f"{number}: no call has failed")
                runs += 1
                survived += outcome.code == self.good.code
                if wrong := self.wrong(outcome, sort, error):
                    wrongs.append(f"{number}: {wrong}")
            yield sort, error, only_one, calls, runs, survived, wrongs


def make_inputs(tramo, folder):
    def tool(*arguments):
        subprocess.run([tramo, *arguments], cwd=folder, check=True, stderr=subprocess.DEVNULL)

    def write(name, content):
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content)

    with open(os.path.join(ROOT, "samples/round-returned.txt"), "rb") as file:
        lines = file.read().split(b"\r\n")
    kinds = {line[:1]: line for line in reversed(lines) if line}
    few = sorted(kinds.values())
    write("round.txt", b"".join(line + b"\r\n" for line in few))
    write("other.txt", b"".join(line.replace(b"2023", b"2024") + b"\r\n" for line in few[1:]))
    shutil.copy(os.path.join(ROOT, "samples/amr-keys.txt"), os.path.join(folder, "keys.txt"))
    tool("convert", "round.txt", "--encoding", "utf16le", "-o", "round16.txt")
    tool("sample", "--meters", "700", "--returned", "-o", "large.txt")
    tool("export", "round.txt", "--to", "jsonl", "-o", "round.jsonl")
    tool("export", "round.txt", "--to", "csv", "-o", "tables")
    tool("export", "round.txt", "--to", "sqlite", "-o", "round.db")


def nameOf(error):
    return errno.errorcode.get(error, "short")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tramo")
    parser.add_argument("preloaded")
    parser.add_argument("--large", action="store_true", help="every number of every sort, in place of some")
    parser.add_argument("--most", type=int, help="so many numbers of a sort")
    parser.add_argument("--only", help="a command, by its name")
    parser.add_argument("-j", "--jobs", type=int, default=1)
    options = parser.parse_args()
    most = options.most or (10 ** 9 if options.large else 2)
    tramo, preloaded = os.path.abspath(options.tramo), os.path.abspath(options.preloaded)

    runs = survived = bad = 0
    with tempfile.TemporaryDirectory() as folder:
        inputs = os.path.join(folder, "inputs")
        os.mkdir(inputs)
        make_inputs(tramo, inputs)

        def try_command(place):
            command = COMMANDS[place]
            bench_folder = os.path.join(folder, f"bench{place:02}")
            os.mkdir(bench_folder)
            return list(Bench(tramo, preloaded, bench_folder, inputs, command).tryAll(min(most, 200) if command.large else most))

        chosen = [i for i, command in enumerate(COMMANDS) if options.only in (None, command.name)]
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            for place, results in zip(chosen, pool.map(try_command, chosen)):
                total = [0, 0]
                for sort, error, only_one, calls, tried, same, wrongs in results:
                    total[0] += tried
                    total[1] += same
                    for wrong in wrongs[:20]:
                        print(f"{COMMANDS[place].name}: {sort} {nameOf(error)}{'' if only_one else ' from'} {wrong}")
                    bad += len(wrongs)
                print(f"{COMMANDS[place].name:16} {total[0]:6} runs, {total[1]:6} as without a fault", flush=True)
                runs, survived = runs + total[0], survived + total[1]
    print(f"{runs} runs with a fault: {survived} as without one, {runs - survived - bad} ended with its reason, {bad} wrong")
    return bad > 0 or runs == 0


if __name__ == "__main__":
    sys.exit(main())
