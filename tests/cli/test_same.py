"""The result of every run is the same: with any number of threads, in any environment, after any earlier reads. The input files
have many local times that their zone repeats or skips. TRAMO_SAME=3 runs each command three times with each number of threads
from 1 to 8, 24 times, in every zone (./test locales); by default, some zones and numbers represent all."""
import concurrent.futures
import functools
import hashlib
import json
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zoneinfo
from datetime import datetime, timedelta, timezone
from support import ENVIRONMENT, TRAMO, put, sample, utf16

ALL = int(os.environ.get("TRAMO_SAME") or 0)
# Zones that shift by half an hour, two hours and a whole day, at midnight, backwards in summer, around a month of fasting.
ZONES = ["Europe/Paris", "America/New_York", "Australia/Lord_Howe", "Asia/Tehran", "Africa/Casablanca", "America/Sao_Paulo",
         "Pacific/Apia", "Antarctica/Troll", "Europe/Dublin", "UTC"]
CASES = [(zone, wide) for zone in ZONES for wide in (False, True)] if ALL else [("Europe/Paris", False), ("Australia/Lord_Howe", True)]
METERS = 800 if ALL else 400   # of a file in ANSI: nine pieces, or five
THREADS = range(1, 9) if ALL else (1, 2, 3, 8)
RUNS = ALL or 3

# The standard input ("-") is large.txt: it gets as many threads as asked for, but a file of so few pieces gets fewer by its name.
# "out" is a folder for the outputs.
THREADED = [
    "check -", "check - --format json", "check - --format sarif", "check --strict --all --max-findings 300 small.txt - keys.txt",
    "export - --to jsonl --show-keys -o out/rows --findings out/findings", "export - --to csv -o out/tables",
    "export - --to csv --only AMR --bom --findings out/findings.csv", "export - --to sqlite -o out/db",
    "export - --to xlsx -o out/book.xlsx", "export large.txt --to jsonl --lines 300-",
    "export - small.txt --to jsonl --table meters", "export - small.txt --to geojson -o out/meters.geojson", "export small.txt - --to sqlite -o out/db",
]
OTHERS = [
    "import small.jsonl --from jsonl --encoding ansi", "import - --from jsonl --encoding utf16le -o out/new.txt",
    "import tables --from csv --encoding ansi -o out/new.txt", "import amr.csv --from csv --encoding utf16le -o out/new.txt",
    "import small.db --from sqlite --encoding ansi -o out/new.txt",
    "repair small.txt", "repair small.txt -o out/new.txt",
    "rewrite --dry-run small.txt", "rewrite --dry-run --format json small.txt", "rewrite small.txt -o out/new.txt",
    "rewrite --force small.txt -o -", "rewrite --force --encoding utf16le small.txt -o out/new.txt",
    "convert small.txt --encoding utf16le -o out/new.txt", "convert small.txt --encoding ansi -o -",
    "anonymize --key key.txt small.txt keys.txt -o out/folder", "anonymize --key key.txt --shift-dates small.txt -o out/new.txt",
    "report small.txt keys.txt -o out/page.html", "report --title A --lang fr other.txt small.txt -o -", "reconcile small.txt other.txt", "reconcile --format json small.txt other.txt", "reconcile --format csv other.txt small.txt",
    "diff small.txt other.txt", "diff --format json small.txt other.txt", "diff --exact --full small.txt other.txt",
    "stats small.txt other.txt", "stats --format json small.txt", "show small.txt", "show --all small.txt 3-9", "show --raw small.txt 2",
    "keys keys.txt small.txt", "keys --format json keys.txt", "sample --meters 90 --returned --faults 0.1 -o out/sample.txt",
    "explain small.txt:2:426", "explain --markdown", "help --man",
]
OF_EVERY_RUN = re.compile(rb'in \d+\.\d{3} s|"seconds":[0-9.e+-]+')


def tool(arguments, cwd, zone, stdin=None, **environment):
    with open(os.path.join(cwd, stdin or os.devnull), "rb") as source:
        return subprocess.run([TRAMO, *arguments], stdin=source, capture_output=True, cwd=cwd, timeout=240,
                              env=ENVIRONMENT | {"TZ": zone} | environment)


def shifts(zone):
    """Returns the times at which the offset of a zone changes, each with the offsets before and after."""
    info = zoneinfo.ZoneInfo(zone)

    def offset(second):
        return int(datetime.fromtimestamp(second, timezone.utc).astimezone(info).utcoffset().total_seconds())
    found, day = [], 86400
    for begin in range(day, 2 ** 31 - 2 * day, day):
        if offset(begin) != offset(begin + day):
            low, high = begin, begin + day
            while high - low > 1:
                middle = (low + high) // 2
                low, high = (middle, high) if offset(middle) == offset(low) else (low, middle)
            found.append((high, offset(low), offset(high)))
    return found


@functools.cache
def odd_times(zone):
    """Returns local times that the zone repeats or skips: the first and last of each shift, and those around them."""
    minute = timedelta(minutes=1)
    times = []
    for second, before, after in shifts(zone) or shifts("Europe/Paris"):
        first, end = (datetime(1970, 1, 1) + timedelta(seconds=second + offset) for offset in sorted((before, after)))
        times += [first - minute, first, first + (end - first) / 2, end - minute, end]
    return [f"{time:%Y%m%d%H%M}".encode() for time in times]


@functools.cache
def date_columns():
    """Returns the columns of dates (8 characters) and times (12), by the letter of their record."""
    columns, letter = {}, None
    for line in tool(["explain", "--markdown"], ".", "UTC").stdout.decode().splitlines():
        if line.startswith("## "):
            letter = None
        elif found := re.search(r"letter (\d) in column 1", line):
            letter = found[1].encode()
        elif letter and (found := re.match(r"\| (\d+)-\d+ \| `\w+` \| date (and time )?YYYY", line)):
            columns.setdefault(letter, []).append((int(found[1]), 12 if found[2] else 8))
    return columns


def round_of(times, meters, seed):
    """Returns a round with these times in all its dates, and in some blank ones; some lines are malformed."""
    rng, columns = random.Random(seed), date_columns()
    with tempfile.TemporaryDirectory() as folder:
        done = tool(["sample", "--meters", str(meters), "--returned", "--faults", "0.02", "--seed", str(seed), "-o", "made"], folder, "UTC")
        done.check_returncode()
        with open(os.path.join(folder, "made"), "rb") as file:
            made = file.read()
    lines = []
    for line in made.split(b"\r\n")[:-1]:
        for column, width in columns.get(line[:1], ()) if len(line) == 512 else ():
            if line[column - 1:column] != b" " or rng.random() < 0.2:
                line = put(line, column, rng.choice(times)[:width])
        lines.append(line)
    return lines


class Case:
    """A folder with the inputs of the commands, in one zone and encoding."""

    def __init__(self, folder, zone, wide):
        self.folder, self.zone = folder, zone
        times = odd_times(zone)
        encode = (lambda text: utf16(text.decode("latin-1"))) if wide else bytes
        self.lines = round_of(times, 100, 1)
        self.write("large.txt", encode(b"\r\n".join(round_of(times, METERS // (2 if wide else 1), 2)) + b"\r\n" + sample("amr-keys.txt")))
        self.write("small.txt", encode(b"\r\n".join(self.lines) + b"\r\n"))
        self.write("other.txt", encode(b"\r\n".join(round_of(times, 100, 3)) + b"\r\n"))
        self.write("keys.txt", encode(sample("amr-keys.txt")))
        self.write("key.txt", b"a key of anonymize")
        self.write("reversed.txt", encode(b"\r\n".join(reversed(self.lines)) + b"\r\n"))
        for arguments in ("jsonl -o small.jsonl", "csv -o tables", "sqlite -o small.db", "csv --only AMR -o amr.csv"):
            if (code := self.run("export", "small.txt", "-j", "1", "--to", *arguments.split()).returncode) > 1:
                raise RuntimeError(f"the export ends with {code}")

    def write(self, name, content):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(content)

    def run(self, *arguments, **options):
        return tool(arguments, self.folder, self.zone, **options)

    def environments(self):
        """Returns settings that must not change a result: initial contents and arenas of memory, the folder of temporary files, the
        terminal, the spelling of the zone."""
        other = os.path.join(self.folder, "temporary")
        os.makedirs(other, exist_ok=True)
        return [{}, {"MALLOC_PERTURB_": "165"}, {"MALLOC_ARENA_MAX": "1", "TMPDIR": other}, {"COLUMNS": "20", "TERM": "dumb"},
                {"TZ": ":" + self.zone}, {"HOME": other, "LANG": "C"}]

    def sum_of(self, arguments, environment):
        """Returns a checksum of all results of a run (exit code, both streams, every file), and the run."""
        out = os.path.join(self.folder, "out")
        shutil.rmtree(out, ignore_errors=True)
        os.mkdir(out)
        done = self.run(*arguments, stdin="small.jsonl" if arguments[0] == "import" else "large.txt", **environment)
        parts = [b"%d" % done.returncode, OF_EVERY_RUN.sub(b"TIME", done.stdout), done.stderr]
        for folder, _, names in sorted(os.walk(out)):
            for name in sorted(names):
                with open(os.path.join(folder, name), "rb") as file:
                    parts += [os.path.relpath(file.name, out).encode(), file.read()]
        return hashlib.sha256(b"\0".join(b"%d:" % len(part) + part for part in parts)).hexdigest(), done


def differences(zone, wide):
    """Returns the number of runs, and descriptions of the differences."""
    runs, wrong = 0, []
    commands = [(command, [["-j", str(count)] for count in THREADS]) for command in THREADED]
    commands += [(command, [[]] * (len(THREADS) if ALL else 1)) for command in OTHERS]
    with tempfile.TemporaryDirectory() as folder:
        case = Case(folder, zone, wide)
        environments = case.environments()
        for number, (command, options) in enumerate(commands):
            expected = None
            for option in options:
                for run in range(RUNS):
                    found, done = case.sum_of(command.split() + option, environments[(number + run) % len(environments)])
                    runs += 1
                    expected = expected or found
                    if found != expected or done.returncode > 1:
                        wrong.append(f"{zone}, {'UTF-16' if wide else 'ANSI'}: {' '.join([command, *option])}: run {run + 1}: "
                                     f"{'differs' if found != expected else done.stderr}")
    print(f"{zone}, {'UTF-16' if wide else 'ANSI'}: {runs} runs, {len(wrong)} wrong", file=sys.stderr, flush=True)
    return runs, wrong


class SameFromEveryRun(unittest.TestCase):
    maxDiff = None

    def test_with_any_number_of_threads_in_any_environment(self):
        with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
            results = list(pool.map(lambda case: differences(*case), CASES))
        print(f"{sum(runs for runs, _ in results)} runs of {len(THREADED) + len(OTHERS)} commands on {len(CASES)} sets of files",
              file=sys.stderr)
        self.assertEqual([line for _, wrong in results for line in wrong], [])


class IndependentOfEarlierReads(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        folders = [tempfile.TemporaryDirectory() for _ in CASES]
        for folder in folders:
            cls.addClassCleanup(folder.cleanup)
        cls.cases = [Case(folder.name, *case) for folder, case in zip(folders, CASES)]

    def rows(self, case, *arguments):
        done = case.run("export", *arguments, "--to", "jsonl")
        self.assertLess(done.returncode, 2, done.stderr)
        rows = [json.loads(row) for row in done.stdout.splitlines()]
        for row in rows:
            del row["line"]
        return rows

    def test_each_line_has_the_same_values(self):
        for case in self.cases:
            with self.subTest(zone=case.zone):
                rows = self.rows(case, "small.txt")
                self.assertEqual(list(reversed(rows)), self.rows(case, "reversed.txt"))
                for number in (2, len(rows) // 2, len(rows)):
                    self.assertEqual([rows[number - 1]], self.rows(case, "small.txt", "--lines", str(number)))

    def test_each_file_has_the_same_findings(self):
        names = ["small.txt", "other.txt", "reversed.txt", "large.txt"]

        def files(case, *arguments):
            found = json.loads(case.run("check", "--format", "json", *arguments).stdout)["files"]
            for file in found:
                del file["summary"]["seconds"]
            return found
        for case in self.cases:
            with self.subTest(zone=case.zone):
                alone = [files(case, name)[0] for name in names]
                for threads in ("1", "2", "8"):
                    self.assertEqual(files(case, "-j", threads, *names), alone)
                    self.assertEqual(files(case, "-j", threads, *reversed(names)), alone[::-1])

    def test_each_line_is_written_the_same(self):
        for case in self.cases:
            with self.subTest(zone=case.zone):
                forward, backward = (case.run("rewrite", "--force", "--encoding", "ansi", name, "-o", "-").stdout.split(b"\r\n")[:-1]
                                     for name in ("small.txt", "reversed.txt"))
                self.assertEqual(len(forward), len(case.lines))
                self.assertEqual(forward, backward[::-1])


if __name__ == "__main__":
    unittest.main()
