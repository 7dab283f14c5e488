"""DuckDB takes tables and scans of the package by the Arrow C stream interface, and must have what `tramo export --to sqlite`
writes. LIBDUCKDB is DuckDB's library."""
import contextlib
import ctypes
import os
import re
import sqlite3
import sys
import tempfile

import tramostream
from arrow import stream_of

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "arrow"))
from duck import DuckDB
from support import generated, sample, tramo

TABLES = {"round": "round", "meter subscriber": "meter_subscriber", "AMR": "AMR", "meter change": "meter_change",
          "extended AMR": "extended_AMR", "enquiry definition": "enquiry_definition", "enquiry result": "enquiry_result",
          "extended data": "extended_data", "record information": "record_information"}


def same(ours, theirs, form):
    """Whether a value of SQLite is a value of DuckDB, which has a type of its own for it."""
    if ours is None or theirs is None:
        return ours is None and theirs is None
    if form.startswith("TIMESTAMP"):
        return ours == re.sub(r"^(\S+) (\d\d:\d\d):00$", r"\1T\2", theirs)
    if form == "BOOLEAN":
        return str(ours) == {"true": "1", "false": "0"}[theirs]
    if form == "USMALLINT":  # alarm flags
        return ours == f"{int(theirs):04X}"
    if form == "DOUBLE":
        return ours == float(theirs)
    return str(ours) == theirs


def compare(base, duck, table):
    """Returns how many rows and values are the same, and raises if one is not."""
    types = dict(duck.query("select column_name, column_type from (describe records)"))
    columns = ", ".join(f'"{name}"::varchar' for name in types)
    found = {int(row[0]): row for row in duck.query(f'select {columns} from records order by "line"')}
    names = ", ".join(f'"{name}"' for name in types)
    expected = {row[0]: row for row in base.execute(f'select {names} from "{table}"')}
    assert found.keys() == expected.keys(), f"{table}: lines {found.keys() ^ expected.keys()}"
    values, defaults = 0, {}
    for line, row in expected.items():
        for name, ours, theirs in zip(types, row, found[line]):
            if ours is None and theirs is not None and defaults.setdefault(name, theirs) == theirs:
                continue  # the export has NULL for the default value of a field, also if it is in the line
            assert same(ours, theirs, types[name]), f"{table}, line {line}, {name} ({types[name]}): {ours!r}, DuckDB has {theirs!r}"
            values += theirs is not None
    return len(found), values


def attach(duck, source):
    """Makes what has __arrow_c_stream__ the table records."""
    capsule = source.__arrow_c_stream__()
    duck.attach(ctypes.byref(stream_of(capsule)))


def main():
    rows = values = 0
    with tempfile.TemporaryDirectory() as folder, contextlib.closing(DuckDB(os.environ["LIBDUCKDB"])) as duck:
        paths = [sample(name) for name in ("round-returned.txt", "round-returned-utf16.txt", "round-exported.txt")]
        paths.append(generated(folder, "--returned", "--meters", "4000"))
        for path in paths:
            database = os.path.join(folder, "tables.db")
            tramo("export", "--to", "sqlite", path, "-o", database)
            tables = tramostream.tables(path)
            with contextlib.closing(sqlite3.connect(database)) as base:
                for kind, table in TABLES.items():
                    for source in tables[kind], tramostream.scan(path, kind, rows_per_batch=1000):
                        attach(duck, source)
                        more = compare(base, duck, table)
                        rows, values = rows + more[0], values + more[1]
                meters = tramostream.tables(path)  # DuckDB itself counts
                attach(duck, meters["meter subscriber"])
                [[count, total]] = duck.query('select count("meterReadingIndex")::varchar, sum("meterReadingIndex")::varchar from records')
                [expected] = base.execute('select count(meterReadingIndex), sum(meterReadingIndex) from "meter_subscriber"')
                assert (int(count), int(total or 0)) == (expected[0], expected[1] or 0), (path, count, total, expected)
            os.remove(database)
    assert rows > 10000, rows
    print(f"DuckDB and SQLite: {rows} rows with {values} values are the same")


sys.exit(main())
