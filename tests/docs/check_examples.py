"""Runs the examples of the headers' pages, compares their output with the output shown, and checks that every class has an
example.

usage: check_examples.py ROOT PROGRAM
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def printed(root, program):
    """The output lines of each example, by its name."""
    with tempfile.TemporaryDirectory() as folder:
        shutil.copytree(os.path.join(root, "samples"), os.path.join(folder, "samples"))
        done = subprocess.run([program], cwd=folder, env=os.environ | {"TZ": "UTC"}, capture_output=True, text=True, timeout=60)
    if done.returncode or done.stderr:
        raise SystemExit(f"the examples end with {done.returncode}\n{done.stderr}")
    return {name: body.splitlines() for name, body in re.findall(r"^\[(\w+)\]\n(.*?)(?=^\[|\Z)", done.stdout, re.M | re.S)}


def problems(root, program):
    examples = dict(re.findall(r"//! \[(\w+)\]\n(.*?)//! \[\1\]", read(root, "docs/examples.cpp"), re.S))
    shown = {name: re.findall(r"^ *//> (.*)$", body, re.M) for name, body in examples.items()}
    said = printed(root, program)
    for name in sorted(shown.keys() | said.keys()):
        if not shown.get(name) or shown[name] != said.get(name):
            yield f"{name} prints {said.get(name)}, and shows {shown.get(name)}"

    used = set()
    for path in glob.glob(os.path.join(root, "include/tramostream/*.h")):
        header = read(path)
        used |= set(re.findall(r"^ *///  *@snippet docs/examples.cpp (\w+)$", header, re.M))
        for comment, name in re.findall(r"((?:^///.*\n)*)^class TRAMO_EXPORT (\w+)", header, re.M):
            if "@snippet" not in comment:
                yield f"{name} has no example"
        for name in re.findall(r"^(?:template <class T> )?struct (?:TRAMO_EXPORT )?(\w+) \{", header, re.M):
            if not path.endswith("modelparts.h") and not re.search(rf"\b{name}\b", "".join(examples.values())):
                yield f"no example shows {name}"
    if used != examples.keys():
        yield f"headers and examples differ in {used ^ examples.keys()}"


found = list(problems(*sys.argv[1:]))
print(*found, sep="\n")
sys.exit(bool(found))
