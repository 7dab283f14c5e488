"""Round-trips of values through a file: every value that does not come back as it was given is reported."""
import csv
import json
import os
import random
import re
import sqlite3
import unittest
from rows import TripTest, hostile
from support import lines, sample

TEXTS = ("x", "0082", "M-1", "a,b", '"', "=1", "\\", "\u00e9\u00df", "a b", " x", "x ", "\t", "nan", "-1", "1E5", "\0", "ab\0", "0" * 12, "x" * 30, "x" * 150)
INTEGERS = (5, 9, 12, 99, 999, 7500, 6054.0, 123456, 2147483647, 2147483648, 9999999999, -2, -50)
DECIMALS = (0.5, 1.5, 1e-7, 48.123456789, 123.456, 1234.5678, 12345678.5, 99999999.999, 1e15, 1e300, -3.25, 7, "-zero", "nan", "inf", "-inf")
DATES = ("2024-01-31", "2000-02-29", "2037-12-31", "1980-01-01", "1706709901 s")
TIMES = ("2024-01-31T14:05", "2037-12-31T23:59", "1980-01-01T00:01", "1706709901 s", "1706709900 s")
POOLS = {"text": TEXTS, "number": INTEGERS, "decimal": DECIMALS, "date": DATES, "date and time": TIMES, "year": ("2019", "1999", 2024, "2037"),
         "flag": (True, False), "alarm flags": ("0801", "0FFF", "0001", "0000")}


class Values(TripTest):
    def kinds(self):
        """Returns each kind with fixed columns and its fields: their names and the values to try."""
        self.run_tool("export", self.write("empty", b""), "--to", "sqlite", "--table", "records", "-o", self.path("empty.db"))
        database = sqlite3.connect(self.path("empty.db"))
        names = {name for name, in database.execute("SELECT name FROM sqlite_schema WHERE type = 'table'")} - {"text", "key", "finding", "files"}
        for table in sorted(names):
            kind = table.replace("_", " ")
            fields = {}
            for _, name, *_ in database.execute(f"PRAGMA table_info({table})").fetchall()[1:]:
                page = self.run_tool("explain", f"{kind.replace(' ', '-')}:{name}").out
                form = re.search(r"^  type +(.*)$", page, re.MULTILINE)[1]
                form = form.split(" of ")[0].replace("integer", "number").replace("decimal number, written with", "decimal")
                pool = tuple(form.removeprefix("code: ").split(", ")) if form.startswith("code: ") else \
                    next(values for start, values in reversed(POOLS.items()) if re.match(rf"(12 )?{start}\b", form))
                fields[name] = pool, bool(re.search(r"^  default +yes$", page, re.MULTILINE))
            yield kind, fields
        database.close()

    def imported(self, path, form):
        """Returns the exit code, the reported fields, and the values of the line, or the refused field."""
        result = self.run_tool("import", path, "--from", form, "--encoding", "utf16le", "-o", self.path("line"))
        told = [re.search(r"(?:\d|line 1): (\w+): ", line)[1] for line in result.err.splitlines() if not line.endswith("as they were given")]
        if result.code == 2:
            return 2, told, {}
        # With a given encoding, a line with zero characters is not detected as another one.
        read = self.run_tool("export", self.path("line"), "--encoding", "utf16le", "--to", "jsonl")
        return result.code, told, json.loads(read.out)

    def write_row(self, form, row):
        path = self.path("row." + form)
        if form == "jsonl":
            self.write("row.jsonl", json.dumps(row).encode())
        elif form == "csv":
            with open(path, "w", encoding="utf-8", newline="") as file:
                csv.writer(file).writerows((row.keys(), [self.cell(value) for value in row.values()]))
        else:
            if os.path.exists(path):
                os.remove(path)
            database = sqlite3.connect(path)
            columns = [f'"{name}"' for name in row if name != "kind"]
            table = row["kind"].replace(" ", "_")
            database.execute(f"CREATE TABLE {table} ({', '.join(columns)})")
            database.execute(f"INSERT INTO {table} VALUES ({', '.join('?' * len(columns))})", [self.cell(value) for name, value in row.items() if name != "kind"])
            database.commit()
            database.close()
        return path

    @staticmethod
    def cell(value):
        return re.sub(r"[\\\x00-\x1f]", lambda found: "\\\\" if found[0] == "\\" else f"\\u{ord(found[0]):04x}", value) if isinstance(value, str) else \
            int(value) if isinstance(value, bool) else value

    def lost(self, row, read, fields):
        """Returns the fields whose values differ in the line."""
        missing = object()
        for name, value in row.items():
            back = read.get(name, missing)
            if name in ("line", "kind") or value is None:
                continue
            if back is missing:
                # The values of a blank line, which differ from all values to try, except flags and alarms.
                if value in ("0000",) or isinstance(value, bool) and value == fields[name][1]:
                    continue
            elif back == value and isinstance(back, bool) == isinstance(value, bool) or isinstance(value, int) and str(value) == back:
                continue
            elif str(value).endswith(" s") and back == "2024-01-31T14:05" and value == "1706709900 s":
                continue
            yield name

    def test_every_value_comes_back_or_is_reported(self):
        rng = random.Random("values")
        tried = told_fields = 0
        for kind, fields in self.kinds():
            self.assertTrue(fields)
            seen = set()
            for _ in range(6):
                row = {"line": 1, "kind": kind} | {name: rng.choice(pool) for name, (pool, _) in fields.items() if rng.random() < 0.6}
                while (found := self.imported(self.write_row("jsonl", row), "jsonl"))[0] == 2:
                    self.assertEqual(len(found[1]), 1)
                    del row[found[1][0]]
                # At most as many as are listed.
                for name in found[1][12:]:
                    del row[name]
                for form in ("jsonl", "csv", "sqlite"):
                    code, told, read = self.imported(self.write_row(form, row), form)
                    with self.subTest(form=form, row=row):
                        self.assertEqual(told, list(self.lost(row, read, fields)), read)
                        self.assertEqual(code, 1 if told else 0)
                seen |= set(row)
                tried += len(row) - 2
                told_fields += len(told)
            self.assertGreater(len(seen & set(fields)), len(fields) * 0.8, kind)
        self.assertGreater(tried, 300)
        self.assertTrue(100 < told_fields < tried * 0.8, (told_fields, tried))

    def test_exported_values_come_back_or_are_reported(self):
        for zone in ("UTC", "Europe/Paris"):
            for wide in (False, True):
                content, env = hostile(f"values {zone} {wide}", 200, wide), {"TZ": zone}
                first, second, line_file = (self.path(name) for name in ("first", "second", "lines"))
                encoding = "utf16le" if wide else "ansi"
                self.run_tool("export", self.write("f", content), "--to", "jsonl", "-o", first, env=env)
                result = self.run_tool("import", first, "--from", "jsonl", "--encoding", encoding, "-o", line_file, env=env)
                self.run_tool("export", line_file, "--to", "jsonl", "-o", second, env=env)
                rows = []
                for path in (first, second):
                    with open(path, encoding="ascii") as file:
                        rows.append([json.loads(line) for line in file])
                self.assertEqual(len(rows[0]), len(rows[1]))
                changed = sum(after.get(name, None) != value for before, after in zip(*rows) for name, value in before.items()
                              if before["kind"] != "text")
                more = re.search(r"^tramo: (\d+) more values do not come back as they were given$", result.err, re.MULTILINE)
                listed = len(result.err.splitlines()) - bool(more)
                told = listed + int(more[1] if more else 0)
                self.assertEqual(result.code, 1)
                self.assertGreater(told, 20)
                self.assertEqual(told, changed, (zone, wide))

    def test_valid_files_have_no_losses(self):
        for name in ("round-exported.txt", "round-returned.txt", "round-returned-utf16.txt", "tags.txt", "parameters.txt"):
            for form in ("jsonl", "csv", "sqlite"):
                with self.subTest(name=name, form=form):
                    self.trip(sample(name), form, "utf16le", f"{name}.{form}.d", code=(0,))
        self.assertEqual(self.trip(lines(b""), "jsonl", "ansi", "blank"), b"\r\n")


if __name__ == "__main__":
    unittest.main()
