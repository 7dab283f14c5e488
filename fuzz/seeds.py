#!/usr/bin/env python3
"""Makes the first inputs of the fuzz targets out of the samples: seeds.py SAMPLES TRAMO FOLDER

A target's inputs go to FOLDER/TARGET. Each begins with the bytes that its target takes for choices.
"""
import contextlib
import pathlib
import sqlite3
import subprocess
import sys

samples, tool, folder = map(pathlib.Path, sys.argv[1:])
letters = b"012345679"
counts = {}


def seed(target, *parts):
    counts[target] = counts.get(target, 0) + 1
    place = folder / target
    place.mkdir(parents=True, exist_ok=True)
    (place / f"sample-{counts[target]:03}").write_bytes(b"".join(parts))


def lines(name):
    return (samples / name).read_bytes().split(b"\r\n")[:-1]


def export(name, *options):
    done = subprocess.run([tool, "export", samples / name, *options], capture_output=True, check=False)
    assert done.returncode in (0, 1), done.stderr
    return done.stdout


def shrink(path):
    """Leaves a database its smallest table, on small pages."""
    with contextlib.closing(sqlite3.connect(path, isolation_level=None)) as base:
        for kind, name in base.execute("select type, name from sqlite_master where type in ('table', 'view')").fetchall():
            if name != "tag":
                base.execute(f'drop {kind} "{name}"')
        base.execute("pragma page_size = 512")
        base.execute("vacuum")


# Three lines are as good as three hundred, and faster.
for name, length in ("round-returned.txt", 514), ("parameters.txt", 42), ("tags.txt", 25), ("amr-keys.txt", 900):
    content = (samples / name).read_bytes()[:3 * length]
    wide = b"\xff\xfe" + content.decode("latin-1").encode("utf-16-le")
    for choice in range(0, 64, 5):
        seed("ansi_stream", bytes([choice]), content)
        seed("utf16_stream", bytes([choice]), wide)
    for kind in range(len(letters)):
        seed("arrow", bytes([kind | 0x10]), content)
        seed("arrow", bytes([kind | 0x80]), wide[2:])
        seed("arrow", bytes([kind | 0x70]), content[:1], b"\0\r\n", content[:514])
    for field in range(48):
        change = bytes([field, field % 11 | field & 16, 0xE7, 7, 0, 0])
        seed("reader", bytes([field & 0x18]), change, content)
        seed("reader", bytes([0x80 | field & 0x30]), change, wide[2:])
        seed("reader", bytes([0x40 | field & 3]), change, content[:1], b"\0\r\n", content[:length])
    for choice in 0, 1, 2, 0x80:
        seed("check", bytes([choice, choice & 1]), content)
        seed("check", bytes([choice, 2]), wide)

seen = set()
for name in "round-returned.txt", "round-broken.txt", "round-damaged.txt", "round-exported.txt":
    for line in lines(name):
        kind = letters.find(line[:1])
        if kind < 0 or len(line) != 512:
            continue
        blanks = bytes(byte == 32 for byte in line)
        if (kind, blanks) in seen:
            continue
        seen.add((kind, blanks))
        for target in "records", "decode":
            seed(target, bytes([kind]), line[1:])
            seed(target, bytes([kind | 0x80]), line[1:].decode("latin-1").encode("utf-16-le"))
        change = bytes([len(seen), len(seen) % 11, 0, 0, 0, 0])
        seed("reader", b"\0", change, line, b"\r\n")
        seed("reader", b"\x80", change, (line + b"\n").decode("latin-1").encode("utf-16-le"))
seed("reader", b"\x80", bytes(6), "\u00ff\u00fe\n".encode("utf-16-le"))  # in ANSI, the byte order mark
for line in lines("parameters.txt"):
    seed("records", b"\x0a", line)
for line in lines("tags.txt"):
    seed("records", b"\x0b", line)

for line in lines("amr-keys.txt"):
    seed("key_lines", b"\0", line)
    seed("key_lines", b"\1", line.decode("latin-1").encode("utf-16-le"))

for text in ("20240131", "202403310230", "203801190314", "-2147483648", "9223372036854775807", "0x7fffffff", "12,345", "1e-310",
             "inf", "nan(1)", "0x1.8p-3", "1F0A", "W", "M", "  text  ", "19700101", "1.7976931348623157e308"):
    for number in 0, 1706741975, -1, 2**63 - 1, 0x3FF8000000000000:
        chosen = (number % 2**64).to_bytes(8, "little") + bytes([12, 3])
        seed("codecs", b"\0", chosen, text.encode())
        seed("codecs", b"\1", chosen, text.encode("utf-16-le"))

for name in "round-damaged.txt", "parameters.txt", "tags.txt", "amr-keys.txt":
    rows = export(name, "--to", "jsonl", "--show-keys").splitlines(keepends=True)
    for row in rows[:60]:
        seed("import", b"\0", row)
    seed("import", b"\4", *rows[:3])
for name, kind in (("round-returned.txt", "meter-subscriber"), ("round-returned.txt", "AMR"), ("round-returned.txt", "round"),
                   ("tags.txt", "tag"), ("parameters.txt", "parameter"), ("round-damaged.txt", "text")):
    table = b"".join(export(name, "--to", "csv", "--only", kind).splitlines(keepends=True)[:4])
    seed("import", b"\1", table)
    seed("import", b"\5", table)
database = folder / "tags.db"
export("tags.txt", "--to", "sqlite", "-o", str(database))
shrink(database)
seed("import", b"\2", database.read_bytes())
database.unlink()
