"""What the tests of the Python package have in common."""
import contextlib
import datetime
import gc
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SAMPLES = os.path.join(ROOT, "samples")
TOOL = os.environ.get("TRAMO") or shutil.which("tramo")

os.environ["TZ"] = "Europe/Paris"
time.tzset()


def sample(name):
    return os.path.join(SAMPLES, name)


def content(name):
    with open(sample(name), "rb") as file:
        return file.read()


def tramo(*arguments, codes=(0, 1)):
    """The standard output of the tool."""
    done = subprocess.run([TOOL, *arguments], capture_output=True, check=False)
    assert done.returncode in codes, done.stderr.decode()
    return done.stdout


def generated(folder, *options):
    """The path of a generated file."""
    path = os.path.join(folder, "generated.txt")
    tramo("sample", *options, "-o", path)
    return path


def exported(path):
    """The records of a file as the tool exports them: (kind, line, values)."""
    for line in tramo("export", "--to", "jsonl", path).decode().splitlines():
        record = json.loads(line)
        yield record


class TestCase(unittest.TestCase):
    maxDiff = 4000

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name, content=b""):
        """The path of a new file."""
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        return path


def blocks():
    """How many blocks of memory Python has allocated."""
    gc.collect()
    return sys.getallocatedblocks()


@contextlib.contextmanager
def no_leaks(test, action, repetitions=200, most=60):
    """Checks that an action leaves no objects of Python and hardly any memory: what a loop of it adds does not grow with it."""
    for _ in range(20):
        action()
    before = blocks()
    for _ in range(repetitions):
        action()
    test.assertLess(blocks() - before, most)
    yield


def iso(value):
    """A value as the tool exports it."""
    if isinstance(value, datetime.datetime):
        return value.strftime("%Y-%m-%dT%H:%M")
    if isinstance(value, datetime.date):
        return value.isoformat()
    return value
