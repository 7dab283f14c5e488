"""DuckDB reads every record kind of a file as an Arrow stream, and must have what `tramo export --to sqlite` writes.

usage: compare.py TRAMO LIBDUCKDB STREAM SAMPLES

STREAM is stream.cpp as a shared library, SAMPLES the folder of the sample files.
"""
import contextlib
import ctypes
import os
import re
import sqlite3
import subprocess
import sys
import tempfile

from duck import DuckDB

KINDS = {"0": "round", "1": "meter_subscriber", "2": "AMR", "3": "meter_change", "4": "extended_AMR", "5": "enquiry_definition",
         "6": "enquiry_result", "7": "extended_data", "9": "record_information"}

ZERO = "\ue000"  # in the place of a zero character


def attach(duck, stream_library, path, letter, rows_per_batch):
    """Makes the stream of a kind a table."""
    stream = (ctypes.c_void_p * 5)()  # ArrowArrayStream: five pointers
    error = stream_library.openStream(os.fsencode(path), ctypes.c_char(letter.encode()), ctypes.c_size_t(rows_per_batch), stream)
    assert error == 0, os.strerror(error)
    duck.attach(stream)


def unescaped(cell):
    """The text of a cell of the export, as Arrow holds it: UTF-8, in which half of a surrogate pair becomes U+FFFD."""
    def character(escape):
        unit = chr(int(escape[1], 16)) if escape[1] else "\\"
        return "\ufffd" if "\ud800" <= unit <= "\udfff" else ZERO if unit == "\0" else unit
    return re.sub(r"\\(?:\\|u([0-9a-f]{4}))", character, cell)


def same(ours, theirs, kind):
    """Whether a value of SQLite is a value of DuckDB, which has a type of its own for it."""
    if ours is None or theirs is None:
        return ours is None and theirs is None
    if kind == "DATE":
        return ours == theirs
    if kind.startswith("TIMESTAMP"):
        return ours == re.sub(r"^(\S+) (\d\d:\d\d):00$", r"\1T\2", theirs)
    if kind == "BOOLEAN":
        return str(ours) == {"true": "1", "false": "0"}[theirs]
    if kind == "USMALLINT":  # alarm flags
        return ours == f"{int(theirs):04X}"
    if kind == "DOUBLE":
        return ours == float(theirs)
    return unescaped(str(ours)) == theirs


def compare(base, duck, table):
    """Returns how many rows and values are the same, and raises if one is not."""
    types = dict(duck.query("select column_name, column_type from (describe records)"))
    names = list(types)
    # The functions that read a result know only some of the types, and end a text at a zero character.
    cells = ", ".join(f"""replace("{name}"::varchar, chr(0), '{ZERO}')""" for name in names)
    rows = duck.query(f'select {cells} from records order by "line"')
    shown = {name for _, name, *_ in base.execute(f'pragma table_info("{table}")')}
    unknown = set(names) - shown
    assert not unknown, f"{table}: SQLite has no columns {unknown}"
    columns = ", ".join(f'"{name}"' for name in names)
    expected = {row[0]: row for row in base.execute(f'select {columns} from "{table}"')}
    found = {int(row[0]): row for row in rows}
    # The stream has no lines with another character in the place of the CR, and the export has lines as text if their values do
    # not hold everything.
    malformed = {line for (line,) in base.execute("select line from finding where rule = 'LineEndWithoutCR'")}
    as_text = {line for (line,) in base.execute("select line from text")}
    assert len(found) == len(rows) and expected.keys() - found.keys() <= malformed and found.keys() - expected.keys() <= as_text, table
    expected = {line: row for line, row in expected.items() if line in found}
    values, defaults = 0, {}
    for line, row in expected.items():
        for name, ours, theirs in zip(names, row, found[line]):
            if ours is None and theirs is not None and defaults.setdefault(name, theirs) == theirs:
                continue
            assert same(ours, theirs, types[name]), f"{table}, line {line}, {name} ({types[name]}): {ours!r}, DuckDB has {theirs!r}"
            values += theirs is not None
    # The export writes NULL for the default value of a field, also if it is in the line.
    for name, default in defaults.items():
        column = names.index(name)
        assert all(found[line][column] != default or row[column] is None for line, row in expected.items()), f"{table}, {name}: {default}"
    lines = ", ".join(map(str, expected)) or "-1"
    for name in names:  # what DuckDB itself computes of a column
        if types[name] in ("INTEGER", "BIGINT"):
            [[count, total]] = duck.query(
                f'select count("{name}")::varchar, coalesce(sum("{name}"), 0)::varchar from records where "line" in ({lines})')
            [ours] = base.execute(f'select count("{name}"), coalesce(sum("{name}"), 0) from "{table}" where line in ({lines})')
            default = defaults.get(name)
            extra = 0 if default is None else sum(row[names.index(name)] == default for line, row in found.items() if line in expected)
            assert ours == (int(count) - extra, int(total) - extra * int(default or 0)), f"{table}, {name}: {ours}, DuckDB has {count} and {total}"
    return len(expected), values


def main(tramo, library, stream, samples):
    stream_library = ctypes.CDLL(stream)
    rows = values = 0
    with tempfile.TemporaryDirectory() as folder, contextlib.closing(DuckDB(library)) as duck:
        files = [os.path.join(samples, name) for name in sorted(os.listdir(samples)) if name.startswith("round-")]
        for name, options in ("ansi", []), ("utf16", ["--encoding", "utf16le"]):
            files.append(os.path.join(folder, name))
            subprocess.run([tramo, "sample", "--returned", "--meters", "3000", "--faults", "0.1", *options, "-o", files[-1]],
                           check=True, stderr=subprocess.DEVNULL)
        for path in files:
            database = os.path.join(folder, "tables.db")
            done = subprocess.run([tramo, "export", "--to", "sqlite", path, "-o", database], check=False, stderr=subprocess.PIPE)
            assert done.returncode in (0, 1), done.stderr
            kinds = 0
            with contextlib.closing(sqlite3.connect(database)) as base:
                for letter, table in KINDS.items():
                    attach(duck, stream_library, path, letter, 1000)
                    kind_rows, kind_values = compare(base, duck, table)
                    rows, values, kinds = rows + kind_rows, values + kind_values, kinds + (kind_rows > 0)
            os.remove(database)
            print(f"{os.path.basename(path)}: {kinds} record kinds are the same")
        assert rows > 5000, rows
    print(f"DuckDB and SQLite: {rows} rows with {values} values are the same")


main(*sys.argv[1:])
