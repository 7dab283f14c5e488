"""Runs hostile content through every command and format: nothing controls a terminal, no cell is a formula, nothing is
unescaped, and no key appears anywhere.

    TRAMO=build/release/cli/tramo python3 tests/hostile/hostile.py [--files 10000] [--seed 1] [-j 2]
"""
import argparse
import base64
import collections
import concurrent.futures
import csv
import gzip
import io
import json
import os
import random
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml
import zipfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TRAMO = os.path.abspath(os.environ.get("TRAMO", os.path.join(ROOT, "build/release/cli/tramo")))
ENVIRONMENT = {"PATH": os.environ["PATH"], "TZ": "Europe/Berlin", "LC_ALL": "C.UTF-8"}

FRAGMENTS = [
    "\x1b[31m", "\x1b[2J\x1b[H", "\x1b]0;title\x07", "\x1b]8;;http://x\x1b\\", "\x1bP$q\x1b\\", "\x9b31m", "\x9d0;x\x9c", "\x85", "\x08\x08",
    "\x0c", "\x0b", "\x07", "\x7f", "\x00", "\x01", "\r", "\t",
    "\u202e", "\u202d", "\u2066", "\u2067", "\u2069", "\u200e", "\u200f", "\u061c", "\u2028", "\u2029", "\u200b", "\ufeff", "\ufffe",
    "\ufffd", "\ud83d", "\udc00", "\udc00\ud83d", "\U0001f600", "e\u0301\u0301\u0301", "\ufdd0",
    "=1+1", "=cmd|' /C calc'!A0", "+1+1", "-1+1", "@SUM(A1)", "\t=1", "\r=1", " =1", "'=1", "\"=1", "\uff1d1+1", "%0A=1", "=HYPERLINK(\"x\")",
    "<script>alert(1)</script>", "<b>", "</td>", "&amp;", "&#27;", "]]>", "<![CDATA[", "<!--", "--", "<?x?>", "\"", "'", "`", "\\", "\\u001b",
    "\\x1b", "|", "**", "[x](http://x)", "%n%s%x", "${HOME}", "$(id)", "{}", "{0}", "{:999999999}", ";", ",", "'; drop table file; --",
    "[" * 30, "{\"a\":" * 8, "1e999", "-0", "NaN", "Infinity", "0x10", "\u0661\u0662", "\uff11",
]
# No control characters except line feeds, and none that reverse text or end a line invisibly.
FORBIDDEN = re.compile("[\\x00-\\x09\\x0b-\\x1f\\x7f-\\x9f\u061c\u200e\u200f\u2028\u2029\u202a-\u202e\u2066-\u2069\ud800-\udfff]")
COLOUR = re.compile(r"\x1b\[[0-9;]*m")
NUMBER = re.compile(r"[+-]?\d+(\.\d+)?([eE][+-]?\d+)?")
KEY_NAMES = ("wmBusKey_Mode5", "wmBusKey_Mode7", "wmBusKeyExchangeKey")


def sample(name):
    with open(os.path.join(ROOT, "samples", name), "rb") as file:
        return file.read().decode("latin-1").split("\r\n")[:-1]


RECORDS = sample("round-returned.txt") + sample("round-exported.txt")
KEYS, TAGS, PARAMETERS = sample("amr-keys.txt"), sample("tags.txt"), sample("parameters.txt")


class Case:
    """One file, its name, and the keys in it."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.keys = []
        kind = self.random.choice(("records", "records", "records", "keys", "keys", "tags", "parameters", "mixed"))
        lines = [self.line(kind) for _ in range(self.random.randint(1, 6))]
        self.utf16 = self.random.random() < 0.5
        text = "".join(line + self.random.choice(("\r\n", "\r\n", "\r\n", "\n", "\r\r\n")) for line in lines)
        if self.utf16:
            self.content = b"\xff\xfe" + text.encode("utf-16-le", "surrogatepass")
        else:
            self.content = bytes(ord(c) if ord(c) < 0x100 else ord("?") for c in text)
        self.name = "f" + "".join(c for c in self.fragment() if c not in "/\x00" and not 0xD800 <= ord(c) < 0xE000)[:20] + ".txt"

    def fragment(self):
        return "".join(self.random.choice(FRAGMENTS) for _ in range(self.random.choice((1, 1, 1, 2, 3))))

    def line(self, kind):
        if kind == "mixed":
            kind = self.random.choice(("records", "keys", "tags", "parameters"))
        if kind == "keys":
            return self.key_line()
        line = self.random.choice({"records": RECORDS, "tags": TAGS, "parameters": PARAMETERS}[kind])
        for _ in range(self.random.randint(0, 4)):
            fragment = self.fragment()
            at = self.random.randrange(1, len(line) + 1)
            keeps = self.random.random() < 0.9  # the length of the line
            line = line[:at] + fragment + line[at + (len(fragment) if keeps else 0):]
            if keeps:
                line = line[:512]
        return line

    def key_line(self):
        line = self.random.choice(KEYS)
        for name in KEY_NAMES:
            key = self.random.randbytes(16).hex().upper()
            if self.random.random() < 0.3:
                key = key.lower()
            self.keys.append(key)
            line = re.sub(f'("{name}":")[^"]*', r"\g<1>" + key, line)
        damage = self.random.random()
        at = self.random.randrange(len(line))
        if damage < 0.3:  # a text with escapes instead of a value's text
            value = json.dumps(self.fragment(), ensure_ascii=self.random.random() < 0.5)
            line = re.sub(r'("(?:serialNumber|hardwareVersion)":)"[^"]*"', lambda m: m[1] + value, line, count=1)
        elif damage < 0.4:
            line = line[:-1] + "," + json.dumps(self.fragment()) + ":" + self.random.choice(("1", '"x"', "[[[[]]]]", "null", "1e999")) + "}"
        elif damage < 0.5:  # a key that is not written like one
            line = re.sub(r'"([0-9A-Fa-f]{32})"', lambda m: self.random.choice(('["%s"]', '{"x":"%s"}', '"%s', '%s', '"%s\\u00"')) % m[1],
                          line, count=1)
        elif damage < 0.6:
            line = line.replace(self.random.choice(KEY_NAMES), self.fragment().replace('"', "").replace("\\", ""))
        elif damage < 0.7:
            line = line[:at] + self.fragment() + line[at:]
        elif damage < 0.8:
            line = line[:at]
        elif damage < 0.85:
            line = line[at:]
        elif damage < 0.9:
            line = ";" + line
        return line


class Failed(Exception):
    pass


class Examination:
    def __init__(self, case, folder):
        self.case, self.folder = case, folder
        self.counts = collections.Counter()

    def run(self, *words, codes=(0, 1)):
        done = subprocess.run([TRAMO, *words], cwd=self.folder, env=ENVIRONMENT, stdin=subprocess.DEVNULL, capture_output=True, timeout=100)
        self.counts["commands"] += 1
        self.terminal(done.stderr, words)
        if done.returncode not in codes:
            raise Failed(f"{words}: exit code {done.returncode}: {done.stderr[-300:]!r}")
        return done

    def no_keys(self, data, where):
        """Nor a part of one that is too long to be a coincidence."""
        for key in self.case.keys:
            for at in range(0, len(key) - 11, 4):
                part = key[at:at + 12]
                for bytes_ in (part.encode(), part.encode("utf-16-le"), bytes.fromhex(part)):
                    if bytes_ in data:
                        raise Failed(f"{where}: key {key}")
        self.counts["looked through for keys"] += 1

    def terminal(self, data, where):
        try:
            text = COLOUR.sub("", data.decode("utf-8"))
        except UnicodeDecodeError as error:
            raise Failed(f"{where}: no UTF-8: {error}") from None
        if found := FORBIDDEN.search(text):
            raise Failed(f"{where}: U+{ord(found[0]):04X} at {text[max(0, found.start() - 60):found.end()]!r}")
        self.no_keys(data, where)
        self.counts["terminal outputs"] += 1

    def shown(self, *words, codes=(0, 1)):
        self.terminal(self.run(*words, codes=codes).stdout, words)

    def json(self, *words, lines=False):
        out = self.run(*words).stdout
        text = out.decode("utf-8")
        if found := FORBIDDEN.search(text):
            raise Failed(f"{words}: U+{ord(found[0]):04X}")
        for document in text.splitlines() if lines else [text]:
            json.loads(document, parse_constant=lambda word: self.fail(f"{words}: {word}"))
        self.no_keys(out, words)
        self.counts["JSON documents"] += 1

    def fail(self, why):
        raise Failed(why)

    def read(self, path):
        with open(os.path.join(self.folder, path), "rb") as file:
            data = file.read()
        self.no_keys(data, path)
        return data

    def text(self, text, where):
        if re.search("[\x00-\x1f\x7f\ud800-\udfff]", text):
            raise Failed(f"{where}: cell {text!r}")
        self.counts["cells"] += 1

    def cell(self, text, where):
        """A text without a type: a spreadsheet may read it as a formula."""
        self.text(text, where)
        if text.startswith(("=", "+", "-", "@")) and not NUMBER.fullmatch(text):
            raise Failed(f"{where}: formula {text!r}")

    def csv(self, file):
        self.run("export", "--to", "csv", "-o", "csv", "--findings", "findings.csv", file)
        for name in [os.path.join("csv", name) for name in os.listdir(os.path.join(self.folder, "csv"))] + ["findings.csv"]:
            if os.path.exists(os.path.join(self.folder, name)):
                for row in csv.reader(io.StringIO(self.read(name).decode("utf-8"), newline=""), strict=True):
                    for cell in row:
                        self.cell(cell, name)

    def sqlite(self, file):
        self.run("export", "--to", "sqlite", "-o", "s.db", file)
        self.read("s.db")
        database = sqlite3.connect(os.path.join(self.folder, "s.db"))
        for (name,) in database.execute("select name from sqlite_master where type = 'table' and name not like 'sqlite_%'").fetchall():
            for row in database.execute(f'select * from "{name}"'):
                for cell in row:
                    if isinstance(cell, str):
                        self.text(cell, f"s.db: {name}")
        database.close()

    def xlsx(self, file):
        self.run("export", "--to", "xlsx", "-o", "x.xlsx", file)
        with zipfile.ZipFile(os.path.join(self.folder, "x.xlsx")) as book:
            for name in book.namelist():
                data = book.read(name)
                self.no_keys(data, name)
                for element in xml.fromstring(data).iter():
                    tag = element.tag.rpartition("}")[2]
                    if tag in ("f", "hyperlink", "externalReference", "script"):
                        raise Failed(f"{name}: <{tag}>")
                    if tag == "t" and element.text:  # typed as text, regardless of its first character
                        self.text(element.text, name)

    def repair(self, file):
        self.shown("repair", "--reference", "other.txt", "-o", "repaired.txt", "--log", "repair.jsonl", file, codes=(0, 1, 2))
        if os.path.exists(os.path.join(self.folder, "repair.jsonl")):
            for line in self.read("repair.jsonl").decode("utf-8").splitlines():
                self.terminal(line.encode(), "repair.jsonl")
                json.loads(line)

    def reconcile(self, file):
        self.shown("reconcile", "--all", file, "other.txt", codes=(0, 1, 2))
        done = self.run("reconcile", "--format", "csv", "other.txt", file, codes=(0, 1, 2))
        self.no_keys(done.stdout, "reconcile --format csv")
        for row in csv.reader(io.StringIO(done.stdout.decode("utf-8"), newline=""), strict=True):
            for cell in row:
                self.cell(cell, "reconcile --format csv")
        if done.returncode < 2:
            self.json("reconcile", "--format", "json", file, "other.txt")

    def report(self, file):
        """The page has its own elements only, and valid data without a key."""
        if self.run("report", "--force", "-o", "page.html", file, "other.txt", codes=(0, 1, 2)).returncode == 2:
            return
        page, element = self.read("page.html"), rb'<script type="text/plain" id="tramo-(\w+)">([A-Za-z0-9+/=\n]*)</script>'
        for name, text in re.findall(element, page):
            for block in text.split(b"\n"):
                part = gzip.decompress(base64.b64decode(block))
                self.no_keys(part, f"page.html: {name}")
                if name != b"raw":
                    json.loads(part)
        frame = re.sub(element, b"", page)
        if len(re.findall(rb"<script\b", frame)) != 1 or b"<!--" in frame:
            raise Failed("page.html: an element of the file")

    def anonymize(self, file):
        with open(os.path.join(self.folder, "anonymize.key"), "w", encoding="ascii") as key:
            key.write("a key for tests of anonymize")
        self.run("anonymize", "--key", "anonymize.key", "-o", "anonymous.txt", file, codes=(0, 1, 2))
        if os.path.exists(os.path.join(self.folder, "anonymous.txt")):
            self.read("anonymous.txt")
            self.counts["files without personal data"] += 1

    def examine(self):
        name, case = self.case.name, self.case
        with open(os.path.join(self.folder, os.fsencode(name).decode("utf-8", "surrogateescape")), "wb") as file:
            file.write(case.content)
        with open(os.path.join(self.folder, "other.txt"), "wb") as file:
            file.write(case.content[::-1] if case.random.random() < 0.1 else case.content.replace(b"0", b"1"))
        self.shown("check", name)
        self.shown("check", "--all", "--color", "always", name)
        self.json("check", "--format", "json", name)
        self.json("check", "--format", "sarif", name)
        for words in (("show", "--all"), ("show", "--raw"), ("stats",), ("keys",)):
            self.shown(*words, name)
        self.json("keys", "--format", "json", name)
        self.json("stats", "--format", "json", name)
        self.shown("diff", name, "other.txt", codes=(0, 1, 2))
        self.shown("diff", "--exact", "--full", "other.txt", name, codes=(0, 1, 2))
        self.shown("rewrite", "--dry-run", name, codes=(0, 1, 2))
        self.shown("repair", name, codes=(0, 1, 2))
        self.repair(name)
        self.reconcile(name)
        self.anonymize(name)
        self.report(name)
        self.json("export", "--to", "jsonl", name, lines=True)
        for table in ("meters", "answers", "alarms", "unread", "locations"):
            self.json("export", "--to", "jsonl", "--table", table, name, lines=True)
        self.json("export", "--to", "geojson", name)
        self.csv(name)
        self.sqlite(name)
        self.xlsx(name)
        self.shown("show", name, "3" + name, codes=(2,))
        self.shown("explain", name, codes=(2,))
        self.shown(name, codes=(2,))
        for words in (("convert", "--encoding", "ansi", "-o", "converted.txt"), ("rewrite", "-o", "rewritten.txt", "--force")):
            self.terminal(self.run(*words, name, codes=(0, 1, 2, 3)).stdout, words)
        for form in ("jsonl", "csv", "sqlite"):  # the file itself has none of these formats: the reasons are printed
            self.terminal(self.run("import", "--from", form, "--encoding", "ansi", "-o", "imported.txt", name, codes=(0, 1, 2)).stdout, form)
        if case.keys:
            self.keys_can_be_found(name)

    def keys_can_be_found(self, name):
        """If they are requested; otherwise the search above would prove nothing."""
        shown = self.run_with_keys("export", "--to", "jsonl", "--show-keys", name) + self.run_with_keys("keys", "--show-keys", name)
        self.counts["keys"] += len(case_keys := self.case.keys)
        self.counts["keys shown on request"] += sum(key.encode() in shown for key in case_keys)

    def run_with_keys(self, *words):
        return subprocess.run([TRAMO, *words], cwd=self.folder, env=ENVIRONMENT, capture_output=True, timeout=100).stdout


def examine(seed):
    folder = tempfile.mkdtemp(prefix="hostile")
    case = Case(seed)
    examination = Examination(case, folder)
    try:
        examination.examine()
        return examination.counts, None
    except (Failed, ValueError, xml.ParseError, csv.Error, sqlite3.Error, subprocess.TimeoutExpired) as error:
        return examination.counts, f"file {seed} ({case.name!r}): {type(error).__name__}: {error}"
    finally:
        shutil.rmtree(folder)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--files", type=int, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("-j", type=int, default=1)
    options = parser.parse_args()
    counts, failures = collections.Counter(), []
    with concurrent.futures.ThreadPoolExecutor(options.j) as pool:
        for found, failure in pool.map(examine, range(options.seed * 1_000_000, options.seed * 1_000_000 + options.files)):
            counts += found
            if failure:
                failures.append(failure)
                print(failure, file=sys.stderr, flush=True)
    print(f"{options.files} files, seed {options.seed}: " + ", ".join(f"{count} {what}" for what, count in sorted(counts.items())))
    if counts["keys"] and counts["keys shown on request"] * 2 < counts["keys"]:
        failures.append("the keys are not where they should be found")
        print(failures[-1], file=sys.stderr)
    print(f"{len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
