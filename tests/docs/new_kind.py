#!/usr/bin/env python3
"""Follows the guide's steps for a new record kind in a copy of the project, builds the tool there, and compares the output of
its commands with the output shown.

usage: new_kind.py [FOLDER]     the folder of the copy; default: build/new-kind
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

from check_page import agrees, blocks, comparable, commands, section

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def copy(work):
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    for name in os.listdir(ROOT):
        if name.startswith(".") or name in ("build", "debian", "docs", "tests"):  # what no program is made of
            continue
        source = os.path.join(ROOT, name)
        target = os.path.join(work, name)
        (shutil.copytree if os.path.isdir(source) else shutil.copy)(source, target)


def write_file(work, block):
    """Writes a block that names its file in the first line."""
    path = os.path.join(work, re.search(r"File (\S+)\.$", block.splitlines()[0])[1])
    if os.path.exists(path):
        raise SystemExit(f"{path} is there already")
    with open(path, "w", encoding="utf-8") as file:
        file.write(block)


def change_files(work, block):
    """Applies a block of changes whose places are found only by their context lines."""
    for name, hunks in re.findall(r"^\+\+\+ b/(\S+)\n(.*?)(?=^--- |\Z)", block, re.M | re.S):
        path = os.path.join(work, name)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for hunk in hunks.split("@@\n")[1:]:
            lines = hunk.splitlines(keepends=True)
            old, new = ("".join(line[1:] for line in lines if line[0] != other) for other in "+-")
            if text.count(old) != 1:
                raise SystemExit(f"{name}: {text.count(old)} places to change:\n{hunk}")
            text = text.replace(old, new)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)


def build(work):
    launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
    folder = os.path.join(work, "build")
    for command in (["cmake", "-S", work, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0",
                     "-DTRAMOSTREAM_TESTS=OFF", *launcher],
                    ["cmake", "--build", folder, "--target", "tramo", "-j", str(os.cpu_count())]):
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode:
            raise SystemExit(f"the project with a new kind cannot be built:\n{done.stdout[-5000:]}")
    return os.path.join(folder, "cli")


def main(work):
    with open(os.path.join(ROOT, "docs/guide.md"), encoding="utf-8") as page:
        parts = blocks(section(page.read(), "Add a record kind")[0])
    if [language for language, _ in parts] != ["diff", "cpp", "cpp", "diff", "console"]:
        raise SystemExit("the guide's section on new kinds has other blocks than are looked at here")
    copy(work)
    for language, block in parts[:-1]:
        (write_file if language == "cpp" else change_files)(work, block)
    tool = build(work)
    failed = False
    with tempfile.TemporaryDirectory() as folder:
        for command, shown in commands(parts[-1][1]):
            done = subprocess.run(["bash", "-c", command], cwd=folder, timeout=60, check=False, text=True,
                                  env=os.environ | {"PATH": f"{tool}:{os.environ['PATH']}", "TZ": "UTC"},
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            if not agrees(comparable(shown), comparable(done.stdout)) or done.stdout and not set(comparable(shown)) - {"..."}:
                print(f"{command}\nsays something else than is shown; it says:\n{done.stdout}")
                failed = True
    return failed


if __name__ == "__main__":
    sys.exit(main(os.path.abspath(sys.argv[1]) if sys.argv[1:] else os.path.join(ROOT, "build/new-kind")))
