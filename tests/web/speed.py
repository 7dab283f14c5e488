#!/usr/bin/env python3
"""Compares the time of the module, in Node, with that of the same functions natively: a file is read, checked, and its data made.

    TRAMO=build/release/cli/tramo MODULE=build/web/web/wasm/tramo.wasm tests/web/speed.py [METERS]

Needs the static library of the preset release. By hand, on a quiet machine: figures are in docs/performance.md.
"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
TRAMO, MODULE = (os.path.abspath(os.environ[name]) for name in ("TRAMO", "MODULE"))
LIBRARY = pathlib.Path(TRAMO).parents[1] / "libTramoStream.a"
RUNS, GOAL = 5, 4
meters = sys.argv[1] if len(sys.argv) > 1 else "50000"

with tempfile.TemporaryDirectory() as folder:
    work = pathlib.Path(folder)
    subprocess.run(["c++", "-std=c++20", "-O3", "-DNDEBUG", "-DTRAMOSTREAM_STATIC", f"-I{ROOT}", f"-I{ROOT}/include", "-o", work / "native",
                    ROOT / "tests/web/speed_native.cpp", *(ROOT / "page").glob("*.cpp"), LIBRARY], check=True)
    subprocess.run([TRAMO, "sample", "--meters", meters, "--returned", "-o", work / "round.txt"], check=True)
    (work / "out").mkdir()
    native, module = [], []
    for _ in range(RUNS):  # in turn, so that a disturbance affects both
        native.append(float(subprocess.check_output([work / "native", work / "round.txt"])))
        called = ["node", ROOT / "tests/web/module.mjs", MODULE, work / "out", work / "round.txt", "check"]
        module.append(json.loads(subprocess.check_output(called))["seconds"])
    size = (work / "round.txt").stat().st_size
best, ratio = min(native), min(module) / min(native)
print(f"{size / 1e6:.1f} MB: natively {best:.2f} s, module {min(module):.2f} s, {ratio:.1f} times; the goal is {GOAL}")
sys.exit(ratio > GOAL)
