"""Kills programs at random moments: kill.py [--kills N] [--seed N] TRAMO [WRITER]

Kills commands of the tool, and a program that uses tramo::Writer, which write a file (SIGKILL) after a random time. The file is then
always the complete old one or the complete new one. Counts the temporary files left beside it: nothing removes them.
"""
import argparse
import collections
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from tool import OLD, contents, make_inputs

# The name of the output file, and the arguments before "-o".
COMMANDS = [
    ("new.jsonl", "export", "in/large.txt", "--to", "jsonl"),
    ("new.csv", "export", "in/large.txt", "--only", "AMR", "--to", "csv"),
    ("tables", "export", "in/large.txt", "--to", "csv"),
    ("new.db", "export", "in/large.txt", "--to", "sqlite"),
    ("new.xlsx", "export", "in/large.txt", "--to", "xlsx"),
    ("new.txt", "rewrite", "--force", "in/large.txt"),
    ("new16.txt", "convert", "in/large.txt", "--encoding", "utf16le"),
    ("imported.txt", "import", "in/large.jsonl", "--from", "jsonl", "--encoding", "ansi"),
    ("imported-csv.txt", "import", "in/large-tables", "--from", "csv", "--encoding", "ansi"),
    ("imported-db.txt", "import", "in/large.db", "--from", "sqlite", "--encoding", "ansi"),
    ("sample.txt", "sample", "--meters", "2000"),
]
WRITTEN = "written.txt"  # by the other program


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tramo")
    parser.add_argument("writer", nargs="?")
    parser.add_argument("--kills", type=int, default=36)
    parser.add_argument("--seed", type=int, default=6)
    options = parser.parse_args()
    tramo, chance = os.path.abspath(options.tramo), random.Random(options.seed)
    print(f"seed {options.seed}")
    commands = COMMANDS + ([(WRITTEN, "in/large.txt")] if options.writer else [])
    seen = collections.Counter()
    with tempfile.TemporaryDirectory() as folder:
        inputs, out = (os.path.join(folder, name) for name in ("in", "out"))
        os.mkdir(inputs)
        make_inputs(tramo, inputs)
        for form, name in (("jsonl", "large.jsonl"), ("csv", "large-tables"), ("sqlite", "large.db")):
            subprocess.run([tramo, "export", "large.txt", "--to", form, "-o", name], cwd=inputs, check=True)

        def clean(product):
            shutil.rmtree(out, ignore_errors=True)
            os.makedirs(os.path.join(out, "tmp"))
            if product != "tables":
                with open(os.path.join(out, product), "wb") as file:
                    file.write(OLD)
            return contents(os.path.join(out, product))

        def start(product, arguments):
            environment = {"TZ": "UTC", "LC_ALL": "C", "TMPDIR": os.path.join(out, "tmp")}
            target = os.path.join(out, product)
            words = [tramo, *arguments, "-o", target] if product != WRITTEN else [os.path.abspath(options.writer), *arguments, target, "20"]
            return subprocess.Popen(words, cwd=folder, env=environment, stderr=subprocess.DEVNULL)

        known = {}
        for product, *arguments in commands:
            clean(product)
            begin = time.monotonic()
            if start(product, arguments).wait() not in (0, 1):   # 1: rewrite has copied lines with a loss
                raise RuntimeError(f"{arguments} without a kill")
            known[product] = time.monotonic() - begin, contents(os.path.join(out, product))

        kills = 0
        while kills < options.kills:
            product, *arguments = commands[kills % len(commands)]
            old = clean(product)
            duration, new = known[product]
            process = start(product, arguments)
            # A third near the end, where files are renamed.
            time.sleep(duration * (chance.uniform(0.7, 1.1) if chance.random() < 1 / 3 else chance.random()))
            process.kill()
            if process.wait() != -signal.SIGKILL:
                seen["ended before"] += 1
                if seen["ended before"] > 10 * options.kills:
                    raise RuntimeError("commands end before they are killed")
                continue
            kills += 1
            found = contents(os.path.join(out, product))
            seen["old" if found == old else "new" if found == new else "damaged"] += 1
            if found not in (old, new):
                print(f"{arguments}: {str(found)[:200]}")
            left = [name for name in os.listdir(out) if name not in (product, "tmp")]
            seen["with an unfinished file beside"] += bool(left)
            seen["with a temporary file"] += bool(os.listdir(os.path.join(out, "tmp")))
            begin = f".{product}-" if product == WRITTEN else f".{product}.tramo-{process.pid}-"
            if len(left) > 1 or any(not name.startswith(begin) for name in left):
                print(f"{arguments}: leaves {left}")
                seen["damaged"] += 1
    print(f"{kills} kills: {seen['old']} the old file, {seen['new']} the new one, {seen['damaged']} damaged; "
          f"{seen['with an unfinished file beside']} left an unfinished file, {seen['with a temporary file']} one in TMPDIR; "
          f"{seen['ended before']} came too late")
    return seen["damaged"] > 0


if __name__ == "__main__":
    sys.exit(main())
