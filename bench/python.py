"""Measures the Python package: processor time, in turns in one process, so that a disturbance affects all rows alike.

    PYTHONPATH=... TRAMO=build/release/cli/tramo /usr/bin/python3 bench/python.py [MEGABYTES]

Needs pandas. Prints a table with the goals, in the form of Markdown. The exit code is 1 if a goal is missed.
"""
import gc
import os
import statistics
import subprocess
import sys
import tempfile
import threading
import time

import pandas

import tramostream

THREE = ["meterSerialNumber", "meterReadingIndex", "meterReadingDate"]
KIND = "meter subscriber"


def subscribers(folder, megabytes):
    """A file of meter subscriber lines, and one of all kinds, of about this size."""
    mixed, only = os.path.join(folder, "mixed.txt"), os.path.join(folder, "subscribers.txt")
    subprocess.run([os.environ["TRAMO"], "sample", "--returned", "--meters", str(int(megabytes * 1e6 / 1480)), "-o", mixed], check=True,
                   stderr=subprocess.DEVNULL)
    with open(mixed, "rb") as source, open(only, "wb") as target:
        own = [line for line in source if line.startswith(b"1")]
        while target.tell() < megabytes * 1e6:
            target.writelines(own)
    return mixed, only


def read_fwf(path, names):
    """The same columns with pandas alone, with the same conversions."""
    fields = [field for name, field in tramostream.describe().kinds[KIND].fields.items() if names is None or name in names]
    specs = [(field.column - 1, field.column - 1 + field.width) for field in fields]
    frame = pandas.read_fwf(path, colspecs=specs, names=[field.name for field in fields], dtype=str, encoding="latin-1", header=None,
                            keep_default_na=False, na_values=[""])
    formats = {"date": "%Y%m%d", "dateTime": "%Y%m%d%H%M"}
    for field in fields:
        column = frame[field.name]
        if field.type in formats:
            frame[field.name] = pandas.to_datetime(column, format=formats[field.type], errors="coerce")
        elif field.type in ("integer", "decimal", "year"):
            frame[field.name] = pandas.to_numeric(column, errors="coerce").astype("Float64" if field.type == "decimal" else "Int64")
        elif field.type == "flag":
            frame[field.name] = column.map({"1": True, "0": False}).astype("boolean")
        else:
            frame[field.name] = column.astype("string")
    return frame


def consume(scan):
    """Takes all batches of a stream, by ctypes: the library alone, without Python's objects."""
    sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "python"))
    from ctypes import byref
    from arrow import Array, stream_of
    capsule = scan.__arrow_c_stream__()
    stream = stream_of(capsule)
    while True:
        array = Array()
        assert stream.get_next(byref(stream), byref(array)) == 0
        if not array.release:
            return
        array.release(byref(array))


def all_frames(path, **options):
    frames = tramostream.read(path, **options)
    return [frames[kind] for kind in frames]


def measure(rows, turns):
    """The median of the processor times of each row, in milliseconds."""
    times = {name: [] for name in rows}
    for _ in range(turns):
        for name, action in rows.items():
            gc.collect()
            begin = time.process_time()
            result = action()
            times[name].append((time.process_time() - begin) * 1000)
            del result
    return {name: statistics.median(of) for name, of in times.items()}


MEMORY = """
import ctypes, gc, sys, numpy, pandas, tramostream
def now():
    with open("/proc/self/status") as file:
        return {line.split(":")[0]: int(line.split()[1]) * 1024 for line in file if line.startswith(("VmHWM", "VmRSS"))}
pandas.DataFrame({"a": pandas.array([1], dtype="Int64"), "b": pandas.array(["x"], dtype="string")}).copy()
gc.collect()
before = now()["VmRSS"]
if sys.argv[2] == "Arrow":
    made = tramostream.tables(sys.argv[1])
else:
    frames = tramostream.read(sys.argv[1], strings=sys.argv[2])
    made = [frames[kind] for kind in frames]
    del frames
peak = now()["VmHWM"]
gc.collect()
ctypes.CDLL(None).malloc_trim(0)  # memory that is free counts as the peak's only
print(peak - before, now()["VmRSS"] - before)
"""


def memory(path, strings):
    """The peak and what the frames take, in bytes."""
    done = subprocess.run([sys.executable, "-c", MEMORY, path, strings], check=True, capture_output=True, text=True)
    return tuple(map(int, done.stdout.split()))


def in_threads(path, count):
    """Seconds by the clock to read a file twice, on so many threads."""
    begin = time.perf_counter()
    if count == 1:
        tramostream.tables(path), tramostream.tables(path)
    else:
        threads = [threading.Thread(target=tramostream.tables, args=(path,)) for _ in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    return time.perf_counter() - begin


def main(megabytes=20.0):
    with tempfile.TemporaryDirectory() as folder:
        mixed, only = subscribers(folder, megabytes)
        size = os.path.getsize(only)
        rows = {"frame": lambda: all_frames(only), "category": lambda: all_frames(only, strings="category"),
                "tables": lambda: tramostream.tables(only), "library": lambda: consume(tramostream.scan(only, KIND, rows_per_batch=1024)),
                "three": lambda: all_frames(only, types=[KIND], columns=THREE),
                "mixed": lambda: all_frames(mixed), "mixed tables": lambda: tramostream.tables(mixed)}
        times = measure(rows, 5)
        times |= measure({"read_fwf": lambda: read_fwf(only, None), "read_fwf three": lambda: read_fwf(only, THREE)}, 1)
        misses = []

        def line(name, value, reference, goal):
            ratio = times[value] / times[reference]
            if goal and ratio > goal:
                misses.append(name)
            shown = f"1/{1 / ratio:.0f}" if ratio < 0.5 else f"{ratio:.2f}"
            limit = "-" if not goal else f"1/{1 / goal:.0f}" if goal < 0.5 else f"{goal:.1f}"
            print(f"| {name} | {times[value]:.0f} ms | {shown} | {limit}{', missed' if name in misses else ''} |")

        print(f"| {size / 1e6:.0f} MB of meter subscriber lines | processor time | ratio | goal |\n|---|---:|---:|---:|")
        line("`read`, of `pandas.read_fwf` with the same conversions", "frame", "read_fwf", 1 / 20)
        line("`read`, of the library's columns", "frame", "library", 3)
        line("`read` of three columns, of `pandas.read_fwf` of the whole file", "three", "read_fwf", 1 / 60)
        line("`read` of three columns, of `pandas.read_fwf` of three columns", "three", "read_fwf three", None)
        line("`tables`, of the library's columns", "tables", "library", None)
        line('`read(strings="category")`, of `read`', "category", "frame", None)
        line("`read` of a file of all kinds, of `tables`", "mixed", "mixed tables", None)
        for strings in "object", "category", "Arrow":
            peak, frames = memory(only, strings)
            allowed = size + 1.5 * frames
            missed = peak > allowed
            if missed:
                misses.append("memory")
            what = "`tables`" if strings == "Arrow" else f'frames with strings="{strings}"'
            print(f"| memory, {what}: peak {peak / 1e6:.0f} MB, at the end {frames / 1e6:.0f} MB, of the file and 1.5 x the end | | "
                  f"{peak / allowed:.2f} | 1{', missed' if missed else ''} |")
        clock = {count: min(in_threads(mixed, count) for _ in range(5)) for count in (1, 2)}
        if clock[2] >= clock[1]:
            misses.append("threads")
        print(f"| two files on two threads, by the clock, of one thread | {clock[2] * 1000:.0f} ms | {clock[2] / clock[1]:.2f} | 1 |")
        return bool(misses)


if __name__ == "__main__":
    sys.exit(main(*map(float, sys.argv[1:])))
