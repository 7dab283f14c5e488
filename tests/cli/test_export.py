"""tramo export: values in JSON Lines and in tables."""
import csv
import io
import json
import math
import os
import re
import sqlite3
import stat
import unittest
from rows import SAMPLES, TripTest
from support import AMR, INFORMATION, METER, ROUND, about_lines, choices, lines, put, sample, sample_line, utf16

KEYS = sample("amr-keys.txt")


class ExportTest(TripTest):
    def export(self, content, *options, form="jsonl", **run):
        return self.run_tool("export", self.write("f", content), "--to", form, *options, **run)

    def objects(self, content, *options, **run):
        return [json.loads(line) for line in self.export(content, *options, **run).out.splitlines()]

    def table(self, content, *options, **run):
        return list(csv.DictReader(io.StringIO(self.export(content, *options, form="csv", **run).out, newline="")))


class Jsonl(ExportTest):
    def test_one_object_per_line_in_order(self):
        rows = self.objects(lines(ROUND, METER, AMR))
        self.assertEqual([(row["line"], row["kind"]) for row in rows], [(1, "round"), (2, "meter subscriber"), (3, "AMR")])
        self.assertEqual(rows[1]["meterSerialNumber"], METER[351:363].decode().rstrip())

    def test_exact_text(self):
        tag = b"07a\\b\"c\x7f\xe9".ljust(23)
        self.assertEqual(self.export(lines(tag)).out, r'{"line":1,"kind":"tag","code":"07","label":"a\\b\"c\u007f\u00e9"}' + "\n")

    def test_values(self):
        blank = b"1" + b" " * 511
        cases = {
            (384, b"20240131"): ("meterPreviousReadingDate", "2024-01-31"),
            (426, b"202401311405"): ("meterReadingDate", "2024-01-31T14:05"),
            (380, b"2019"): ("meterInstallationYear", "2019"),
            (438, b"        42"): ("meterReadingIndex", 42),
            (402, b"1.5"): ("meterMinEstimatedConsumption", 1.5),
            (402, b"nan"): ("meterMinEstimatedConsumption", "nan"),
            (402, b"-inf"): ("meterMinEstimatedConsumption", "-inf"),
            (402, b"-0"): ("meterMinEstimatedConsumption", "-zero"),
            (506, b"0"): ("meterAuthorizedChange", False),
            (459, b"M"): ("meterReadingMethod", "M"),
            (464, b"a\0b"): ("meterMessage", "a\0b"),
        }
        for (column, text), (field, value) in cases.items():
            with self.subTest(field=field, text=text):
                self.assertEqual(self.objects(lines(put(blank, column, text)))[0][field], value)

    def test_alarm_flags_are_bits(self):
        self.assertEqual(self.objects(lines(put(AMR, 286, b"0108")))[0]["previousAlarms"], "0801")

    def test_blank_fields_are_left_out(self):
        for letter in "0123457":
            row = self.objects(lines(letter.encode() + b" " * 511))[0]
            # A blank line and a default-constructed model differ in these fields, so they are exported.
            self.assertLessEqual(set(row) - {"line", "kind"}, {"meterAuthorizedChange", "externalAMRText", "externalAMR"}, letter)

    def test_an_invalid_position_is_exported(self):
        blank = b"7" + b" " * 511
        absent = self.objects(lines(blank))[0]
        self.assertNotIn("latitude", absent)
        for text in (b"-1", b"0"):
            content = lines(put(blank, 14, text))
            self.assertIn("latitude", self.objects(content)[0])
            self.assertEqual(self.trip(content, "jsonl", "ansi"), self.rewritten(content, "ansi"))

    def test_unpaired_surrogates(self):
        content = utf16(put(METER, 464, b"x" * 4).decode("latin-1").replace("xxxx", "\ud83dx\U0001f600") + "\r\n")
        self.assertIn(r"\ud83dx\ud83d\ude00", self.export(content).out)

    def test_times_that_a_date_cannot_express(self):
        # 02:30 occurs twice that night, so the value is exported in seconds.
        content = lines(put(METER, 426, b"202410270230"))
        for zone in ("Europe/Paris", "UTC"):
            self.assertEqual(self.objects(content, env={"TZ": zone})[0]["meterReadingDate"], "2024-10-27T02:30")

    def test_malformed_lines_are_texts(self):
        result = self.export(lines(ROUND, METER[:80], b"", b"x" + METER[1:]))
        rows = [json.loads(line) for line in result.out.splitlines()]
        self.assertEqual(rows[1:], [
            {"line": 2, "kind": "text", "text": METER[:80].decode("latin-1")}, {"line": 3, "kind": "text", "text": ""},
            {"line": 4, "kind": "text", "text": "x" + METER[1:].decode("latin-1")}])
        self.assertEqual((result.code, result.err),
                         (1, f"tramo: {self.path('f')}: 3 lines are malformed and exported as text\n"))

    def test_unread_texts_are_reported(self):
        result = self.export(lines(put(METER, 384, b"20241301")))
        self.assertNotIn("meterPreviousReadingDate", json.loads(result.out))
        self.assertEqual((result.code, result.err), (1, f"tramo: {self.path('f')}: 1 line has fields whose text "
                                                     'cannot be read and is not exported; see "tramo check"\n'))

    def assert_holds_more(self, content, message, **run):
        result = self.export(content, **run)
        told = f"tramo: {self.path('f')}: {message} text that the exported values do not; see \"tramo check\"\n" if message else ""
        self.assertEqual((result.code, result.err), (1 if message else 0, told))

    def test_lines_that_hold_more_than_their_values_are_counted(self):
        wrong = put(METER, 438, b"      6O54")
        self.assertEqual(self.objects(lines(wrong))[0]["meterReadingIndex"], 6)
        self.assert_holds_more(lines(METER, wrong, AMR), "1 line holds")
        self.assert_holds_more(lines(METER, wrong, put(wrong, 402, b"1,5 m3      "), put(INFORMATION, 20, b"x")), "3 lines hold")
        for options in (("csv", "--only", "meter-subscriber"), ("sqlite", "-o", self.path("db")), ("xlsx", "-o", self.path("xlsx"))):
            result = self.export(lines(METER, wrong), *options[1:], form=options[0])
            self.assertEqual((result.code, result.err.count("1 line holds text that the exported values do not")), (1, 1), options)
        result = self.export(lines(METER, wrong, INFORMATION), "--only", "record-information")
        self.assertEqual((result.code, result.err), (0, ""))

    def test_text_kept_by_another_field_is_not_counted(self):
        self.assert_holds_more(lines(put(AMR, 232, b"0.5 L     "), put(AMR, 456, b"Y")), "")
        self.assert_holds_more(lines(put(AMR, 286, b"010G")), "1 line holds")

    def test_both_counters_of_a_record_information_line_are_exported(self):
        self.assert_holds_more(lines(INFORMATION), "")
        self.assert_holds_more(lines(put(INFORMATION, 2, b"   1x")), "1 line holds")

    def test_an_unreadable_field_is_counted_as_such(self):
        result = self.export(lines(put(METER, 2, b"x1  "), put(put(METER, 2, b"x1  "), 438, b"      6O54")))
        self.assertEqual((result.code, [line.split(": ", 2)[2] for line in result.err.splitlines()]),
                         (1, ['2 lines have fields whose text cannot be read and is not exported; see "tramo check"',
                              '1 line holds text that the exported values do not; see "tramo check"']))

    def test_unknown_members_of_key_lines(self):
        line = KEYS.split(b"\r\n")[0]
        more = line.replace(b'{"', b'{"remark":"x","', 1)
        self.assertNotEqual(line, more)
        self.assert_holds_more(lines(line), "")
        self.assert_holds_more(lines(line, more, line[:-9]), "2 lines hold")
        self.assertEqual((self.export(lines(more), "--show-keys").code), 0)

    def test_only_one_kind(self):
        content = lines(ROUND, METER, METER[:9], AMR, METER)
        self.assertEqual([row["line"] for row in self.objects(content, "--only", "meter subscriber")], [2, 5])
        self.assertEqual([row["line"] for row in self.objects(content, "--only", "text")], [3])
        result = self.export(content, "--only", "meter subsciber")
        self.assertEqual(result.code, 2)
        self.assertIn('--only: invalid value "meter subsciber"; expected round, meter subscriber, AMR', result.err)

    def test_findings(self):
        content = lines(ROUND, put(METER, 384, b"20241301"), METER[:9])
        self.export(content, "-o", self.path("rows"), "--findings", self.path("findings"))
        with open(self.path("findings"), encoding="ascii") as file:
            found = [json.loads(line) for line in file]
        self.assertEqual(found[0], {
            "line": 2, "kind": "finding", "severity": "error", "rule": "ParseDate", "code": 0x1B, "record": "meter subscriber",
            "field": "meterPreviousReadingDate", "column": 384, "endColumn": 392, "found": "20241301",
            "message": 'meterPreviousReadingDate: invalid date "20241301": there is no month 13'})
        self.assertEqual((found[-1]["line"], found[-1]["rule"]), (3, "LineTooShort"))
        checked = about_lines(self.run_tool("check", "--each", self.path("f"), "--format", "json").json["files"][0]["findings"])
        self.assertEqual(sorted((row["line"], row["rule"]) for row in found), sorted((row["line"], row["rule"]) for row in checked))


class Csv(ExportTest):
    def test_one_kind(self):
        rows = self.table(lines(METER, METER))
        self.assertEqual([(row["line"], row["kind"]) for row in rows], [("1", "meter subscriber"), ("2", "meter subscriber")])
        self.assertEqual(rows[0]["meterSerialNumber"], METER[351:363].decode().rstrip())

    def test_exact_text(self):
        tag = b"07a\\b\"c,\x7f\xe9".ljust(23)
        self.assertEqual(self.export(lines(tag), form="csv").raw.decode("utf-8"),
                         'line,kind,code,label\r\n1,tag,07,"a\\\\b""c,\\u007fé"\r\n')

    def test_no_cell_begins_a_formula(self):
        for first in b"=+-@\t\r":
            row = self.table(lines(put(METER, 464, bytes([first]) + b"1+1".ljust(29))))[0]
            self.assertEqual(row["meterMessage"], f"\\u{first:04x}1+1")
        for name in SAMPLES:
            folder = self.path(name + ".tables")
            self.run_tool("export", "samples/" + name, "--to", "csv", "-o", folder)
            for table in os.listdir(folder):
                with open(os.path.join(folder, table), encoding="utf-8", newline="") as file:
                    for row in csv.reader(file):
                        for cell in row:
                            self.assertRegex(cell, r"^($|[^=+\-@\t\r]|-?\d+(\.\d+)?(e[+-]\d+)?$)")

    def test_a_folder_for_several_kinds(self):
        result = self.export(lines(ROUND, METER, AMR, METER[:7]), "-o", self.path("t"), form="csv")
        self.assertEqual(result.code, 1)
        self.assertEqual(sorted(os.listdir(self.path("t"))), ["AMR.csv", "meter_subscriber.csv", "round.csv", "text.csv"])

    def test_several_kinds_need_a_folder(self):
        content = lines(*[METER] * 500, AMR)
        for options in ((), ("-o", "-"), ("-o", self.path("x.csv"))):
            result = self.export(content, *options, form="csv")
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertIn('line 501 is of a second kind, "AMR": name a folder with -o, or one kind with --only', result.err)
        self.assertEqual(os.listdir(self.folder), ["f"])
        self.assertEqual(len(self.table(content, "--only", "AMR")), 1)

    def test_a_folder_with_tables_is_left_alone(self):
        os.mkdir(self.path("t"))
        self.write("t/old.csv", b"x")
        result = self.export(lines(METER), "-o", self.path("t"), form="csv")
        self.assertEqual(result.code, 2)
        self.assertIn("the folder holds tables already; --force replaces them", result.err)
        self.assertEqual(os.listdir(self.path("t")), ["old.csv"])

    def contents(self, folder):
        found = {}
        for name in os.listdir(folder):
            with open(os.path.join(folder, name), "rb") as file:
                found[name] = file.read()
        return found

    def test_force_replaces_the_tables_of_a_folder(self):
        before, after = lines(ROUND, METER, AMR, METER[:7]), lines(ROUND, put(METER, 464, b"new"), METER)
        folder, fresh = self.path("t"), self.path("fresh")
        self.assertEqual(self.export(before, "-o", folder, form="csv").code, 1)
        self.write("t/notes.txt", b"mine")
        old = self.contents(folder)
        result = self.export(after, "-o", folder, "--force", form="csv")
        self.assertEqual((result.code, result.err), (0, ""))
        self.export(after, "-o", fresh, "--force", form="csv")
        # Tables of kinds that the file does not have are left without rows, and other files are kept.
        empty = {name: old[name].split(b"\r\n")[0] + b"\r\n" for name in ("AMR.csv", "text.csv")}
        self.assertEqual(self.contents(folder), self.contents(fresh) | empty | {"notes.txt": b"mine"})
        self.run_tool("import", folder, "--from", "csv", "--encoding", "ansi", "-o", self.path("out"))
        with open(self.path("out"), "rb") as file:
            self.assertEqual(file.read(), after)

    def test_force_refuses_files_of_other_programs(self):
        os.mkdir(self.path("t"))
        for name, content in (("notes.csv", b"line,kind,text\r\n"), ("text.csv", b"mine"), ("text.csv", b""), ("key.csv", b"kind,line\n"),
                              ("AMR.csv", b"line,kinds\r\n")):
            path = self.write("t/" + name, content)
            result = self.export(lines(METER), "-o", self.path("t"), "--force", form="csv")
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertIn(f'-o: "{name}" in the folder is not a table of an export; move it away first', result.err)
            self.assertEqual(self.contents(self.path("t")), {name: content})
            os.remove(path)

    def test_force_keeps_the_old_tables_when_it_fails(self):
        folder = self.path("t")
        self.export(lines(ROUND, METER), "-o", folder, form="csv")
        old = self.contents(folder)
        os.mkdir(self.path("t/AMR.csv"))
        result = self.export(lines(ROUND, METER, AMR), "-o", folder, "--force", form="csv")
        self.assertIn(result.code, (2, 3))
        os.rmdir(self.path("t/AMR.csv"))
        self.assertEqual(self.contents(folder), old)

    def test_bom(self):
        mark = b"\xef\xbb\xbf"
        content = lines(put(METER, 464, b"\xe9"))
        plain = self.export(content, form="csv").raw
        self.assertEqual(self.export(content, "--bom", form="csv").raw, mark + plain)
        self.export(lines(METER, AMR, METER[:3]), "--bom", "-o", self.path("t"), "--findings", self.path("found.csv"), form="csv")
        for path in (*(self.path("t/" + name) for name in os.listdir(self.path("t"))), self.path("found.csv")):
            with open(path, "rb") as file:
                self.assertTrue(file.read().startswith(mark + b"line,"), path)
        self.assertEqual(self.export(lines(METER, AMR), "--bom", "--force", "-o", self.path("t"), form="csv").code, 0)
        self.assertEqual(self.export(b"", "--bom", form="csv").raw, b"")
        for form in ("jsonl", "sqlite", "xlsx"):
            result = self.export(content, "--bom", "-o", self.path("out"), form=form)
            self.assertEqual((result.code, result.err), (2, 'tramo: export: --bom: only with --to csv\ntramo: try "tramo help export"\n'))


class Sqlite(ExportTest):
    def database(self, content, *options, code=(0, 1)):
        result = self.export(content, "-o", self.path("db"), *options, form="sqlite")
        self.assertIn(result.code, code, result.err)
        database = sqlite3.connect(self.path("db"))
        self.addCleanup(database.close)
        database.row_factory = sqlite3.Row
        return database

    def test_one_table_per_kind_with_declared_types(self):
        database = self.database(lines(ROUND, METER, AMR))
        for table in ("round", "meter_subscriber", "AMR", "meter_change", "extended_AMR", "enquiry_definition", "enquiry_result",
                      "extended_data", "record_information", "tag", "parameter", "key", "text", "finding", "files"):
            self.assertTrue(database.execute(f"PRAGMA table_info({table})").fetchall(), table)
        types = {row["name"]: row["type"] for row in database.execute("PRAGMA table_info(meter_subscriber)")}
        self.assertEqual([types[name] for name in ("line", "meterMessage", "meterReadingIndex", "meterReadingDate", "meterAuthorizedChange",
                                                   "meterMinEstimatedConsumption")],
                         ["INTEGER", "TEXT", "INTEGER", "TEXT", "INTEGER", "REAL"])
        self.assertEqual(database.execute("PRAGMA integrity_check").fetchone()[0], "ok")

    def test_values(self):
        line = put(put(put(METER, 384, b"20240131"), 402, b"-0".ljust(12)), 464, b"=a\\b\0'; --".ljust(30))
        row = self.database(lines(put(line, 414, b"1.5".ljust(12)))).execute("SELECT * FROM meter_subscriber").fetchone()
        self.assertEqual([row[name] for name in ("line", "meterPreviousReadingDate", "meterMinEstimatedConsumption", "meterMaxEstimatedConsumption",
                                                 "meterMessage", "meterHistory4Consumption")],
                         [1, "2024-01-31", "-zero", 1.5, "=a\\\\b\\u0000'; --", None])

    def test_file_and_findings(self):
        content = lines(ROUND, put(METER, 384, b"20241301"), METER[:9])
        database = self.database(content)
        self.assertEqual(tuple(database.execute("SELECT name, encoding, bytes, lines FROM files").fetchone()),
                         (self.path("f"), "ANSI", len(content), 3))
        self.assertEqual([tuple(row) for row in database.execute("SELECT line, rule, field, found FROM finding WHERE severity = 'error'")],
                         [(2, "ParseDate", "meterPreviousReadingDate", "20241301"), (3, "LineTooShort", None, None)])

    def test_indexes_on_serial_numbers(self):
        database = self.database(lines(METER))
        for table, column in (("meter_subscriber", "meterSerialNumber"), ("AMR", "meterSerialNumber"), ("meter_change", "oldMeterSerialNumber")):
            plan = database.execute(f"EXPLAIN QUERY PLAN SELECT * FROM {table} WHERE {column} = 'x'").fetchone()["detail"]
            self.assertIn(f"USING INDEX {table}_{column}", plan)

    def test_the_view_of_meters_has_one_row_per_meter(self):
        database = self.database(sample("round-returned.txt"))
        rows = database.execute("SELECT * FROM meters ORDER BY line").fetchall()
        self.assertEqual([row["line"] for row in rows], [row["line"] for row in database.execute("SELECT line FROM meter_subscriber ORDER BY line")])
        joined = {"AMR": "meterSerialNumber", "extended_AMR": "meterSerialNumber", "meter_change": "oldMeterSerialNumber",
                  "extended_data": "meterSerialNumber"}
        for table, column in joined.items():
            lines_of_table = [row["line"] for row in database.execute(f"SELECT line FROM {table} ORDER BY line")]
            self.assertEqual(sorted(row[table + "_line"] for row in rows if row[table + "_line"] is not None), lines_of_table, table)
            self.assertTrue(all(row[f"{table}_{column}"] == row["meterSerialNumber"] for row in rows if row[table + "_line"] is not None))

    def test_views_find_one_meter_with_an_index(self):
        content = lines(*[line for i in range(3000) for line in (put(METER, 352, b"M-%-10d" % i), put(AMR, 26, b"M-%-10d" % i))])
        database = self.database(content)
        for view in ("meters", "answered_pages"):
            steps = []
            database.set_progress_handler(lambda: steps.append(1), 1000)
            rows = database.execute(f"SELECT * FROM {view} WHERE meterSerialNumber = 'M-1500'").fetchall()
            self.assertEqual(len(rows), view == "meters")
            self.assertLess(len(steps), 10, view)

    def test_sums_over_views_and_tables_agree(self):
        for name in ("round-returned.txt", "round-exported.txt"):
            database = self.database(sample(name))
            views = {"meter_subscriber": ("meters", ""), "AMR": ("meters", "AMR_"), "extended_AMR": ("meters", "extended_AMR_"),
                     "meter_change": ("meters", "meter_change_"), "extended_data": ("meters", "extended_data_"), "enquiry_result": ("answered_pages", "")}
            for table, (view, prefix) in views.items():
                names = [row["name"] for row in database.execute(f"PRAGMA table_info({table})")]
                self.assertGreater(len(names), 5)
                for column in names:
                    values = [[row[0] for row in database.execute(f"SELECT {start}{column} FROM {source} WHERE {start}line IS NOT NULL")]
                              for source, start in ((table, ""), (view, prefix))]
                    in_table, in_view = (sorted(map(repr, some)) for some in values)
                    self.assertEqual(in_table, in_view, (name, table, column))
                    numbers = [[value for value in some if isinstance(value, (int, float))] for some in values]
                    self.assertEqual(math.fsum(numbers[0]), math.fsum(numbers[1]), (name, table, column))
            database.close()   # an open database is not replaced

    def test_views_of_repeated_serial_numbers(self):
        def of(line, column, serial):
            return put(line, column, serial.ljust(12))
        change, extended, located, enquiry = (sample_line(letter) for letter in (b"3", b"4", b"7", b"6"))
        first, second = (put(enquiry, 2, page) for page in (b"A", b"B"))
        # M-1 occurs twice, M-2 once, two meters have no serial number, M-9 is not in the round.
        content = (ROUND, of(METER, 352, b"M-1"), of(AMR, 26, b"M-1"), of(METER, 352, b"M-2"), of(AMR, 26, b"M-2"), of(METER, 352, b"M-1"),
                   of(AMR, 26, b"M-1"), of(METER, 352, b""), of(METER, 352, b""), of(AMR, 26, b""), of(AMR, 26, b"M-9"),
                   of(AMR, 26, b"M-2"), of(located, 2, b"M-1"), of(located, 2, b"M-2"), of(located, 2, b"M-2"), of(change, 2, b"M-1"),
                   of(extended, 18, b"M-1"), of(first, 3, b"M-1"), of(second, 3, b"M-1"), of(first, 3, b"M-1"), of(second, 3, b"M-9"), of(first, 3, b""))
        database = self.database(lines(*content))
        # The n-th line of a serial number belongs to the n-th meter that has it.
        self.assertEqual([tuple(row) for row in database.execute("SELECT line, AMR_line, extended_data_line, meter_change_line, extended_AMR_line FROM meters ORDER BY line")],
                         [(2, 3, 13, 16, 17), (4, 5, 14, None, None), (6, 7, None, None, None), (8, None, None, None, None), (9, None, None, None, None)])
        self.assertEqual([tuple(row) for row in database.execute("SELECT line, pageNumber, meter_subscriber_line FROM answered_pages ORDER BY line")],
                         [(18, "A", 2), (19, "B", 2), (20, "A", 6), (21, "B", None), (22, "A", None)])

    def test_views_have_every_field(self):
        meter, other = (put(METER, 352, serial.ljust(12)) for serial in (b"M-1", b"M-2"))
        amr, answer = put(AMR, 26, b"M-1".ljust(12)), put(sample_line(b"6"), 3, b"M-2".ljust(12))
        database = self.database(lines(ROUND, meter, amr, other, answer))

        def table(name, line):
            return dict(database.execute(f"SELECT * FROM {name} WHERE line = ?", (line,)).fetchone())
        rows = [dict(row) for row in database.execute("SELECT * FROM meters ORDER BY line")]
        self.assertEqual([(row["line"], row["AMR_line"], row["meter_change_line"]) for row in rows], [(2, 3, None), (4, None, None)])
        for row in rows:
            own = table("meter_subscriber", row["line"])
            self.assertEqual({name: row[name] for name in own}, own)
        radio = table("AMR", 3)
        self.assertEqual({name: rows[0]["AMR_" + name] for name in radio}, radio)
        self.assertEqual({rows[1][name] for name in rows[1] if name.startswith("AMR_")}, {None})
        row, answers, own = dict(database.execute("SELECT * FROM answered_pages").fetchone()), table("enquiry_result", 5), table("meter_subscriber", 4)
        self.assertEqual({name: row[name] for name in answers}, answers)
        self.assertEqual({name: row["meter_subscriber_" + name] for name in own}, own)
        self.assertEqual(len(row), len(answers) + len(own))

    def test_views_of_one_serial_number_are_quick(self):
        database = self.database(lines(*[line for _ in range(3000) for line in (METER, AMR)]))
        steps = []
        database.set_progress_handler(lambda: steps.append(1), 1000)
        found = database.execute("SELECT count(*), count(AMR_line), count(DISTINCT AMR_line), sum(AMR_line = line + 1) FROM meters").fetchone()
        self.assertEqual(tuple(found), (3000, 3000, 3000, 3000))
        self.assertLess(len(steps), 3000)

    def test_usage(self):
        for options, message in (((), "a database needs a file: -o FILE"),
                                 (("-o", "db", "--findings", "f"), "--findings: not with --to sqlite: the database has a table of findings")):
            result = self.run_tool("export", "f", "--to", "sqlite", *options)
            self.assertEqual((result.code, result.err), (2, f'tramo: export: {message}\ntramo: try "tramo help export"\n'))

    def test_keys(self):
        row = self.database(KEYS).execute("SELECT * FROM key").fetchone()
        self.assertEqual((row["wmBusKey_Mode5"], row["text"]), ("***", None))
        os.remove(self.path("db"))
        self.assertIn(self.database(KEYS, "--show-keys").execute("SELECT wmBusKey_Mode5 FROM key").fetchone()[0], KEYS.decode())
        self.assertEqual(stat.S_IMODE(os.stat(self.path("db")).st_mode), 0o600)

    def test_an_old_file_is_replaced_or_kept(self):
        self.write("db", b"old")
        self.assertEqual(self.run_tool("export", self.path("missing"), "--to", "sqlite", "-o", self.path("db")).code, 2)
        with open(self.path("db"), "rb") as file:
            self.assertEqual(file.read(), b"old")
        self.assertEqual(self.database(lines(METER)).execute("SELECT count(*) FROM meter_subscriber").fetchone()[0], 1)
        self.assertEqual(sorted(os.listdir(self.folder)), ["db", "f"])


class Keys(ExportTest):
    def secrets(self):
        for line in KEYS.decode().splitlines():
            values = json.loads(line.lstrip(";"))
            yield from (value for name, value in values.items() if "Key" in name and value)

    def test_are_masked(self):
        for form in ("jsonl", "csv"):
            result = self.export(KEYS, "--findings", self.path("found"), form=form)
            self.assertEqual((result.code, result.err), (0, ""))
            with open(self.path("found"), encoding="utf-8") as file:
                found = file.read()
            self.assertIn("***", result.out)
            for secret in self.secrets():
                self.assertNotIn(secret, result.out + found)

    def test_of_malformed_lines_are_masked(self):
        secret = next(self.secrets())
        for damaged in (b'{"wmBusKey_Mode5":"' + secret.encode() + b'"', b";{" + secret.encode(), KEYS.splitlines()[0] + b"}", ):
            result = self.export(KEYS + lines(damaged, damaged[3:]))
            self.assertNotIn(secret, result.out.splitlines()[-1] + result.out.splitlines()[-2])

    def test_of_pieces_of_key_lines_are_masked(self):
        secret = next(self.secrets())
        piece = b'x,"wmBusKey_Mode5":"%s"' % secret.encode()
        last = b'%s"}' % secret.encode()
        for content in (lines(METER) * 5 + lines(piece, last), lines(piece, last), lines(METER) * 3 + piece.ljust(512) + b"\r\n"):
            result = self.export(content, "--findings", self.path("found"))
            with open(self.path("found"), encoding="utf-8") as file:
                found = file.read()
            self.assertNotIn(secret, result.out + found + result.err)
            self.assertIn('"kind":"key"', result.out)
            self.write("f", content)
            for command in (("check",), ("show",), ("check", "--kind", "record"), ("diff", "/dev/null")):
                result = self.run_tool(*command, "f", cwd=self.folder)
                self.assertNotIn(secret, result.out + result.err, command)

    def test_are_shown_on_request_to_the_owner(self):
        for form, path in (("jsonl", "k.jsonl"), ("csv", "k.csv")):
            self.export(KEYS, "--show-keys", "-o", self.path(path), form=form)
            with open(self.path(path), encoding="utf-8") as file:
                text = file.read()
            for secret in self.secrets():
                self.assertIn(secret, text)
            self.assertEqual(stat.S_IMODE(os.stat(self.path(path)).st_mode), 0o600)


class Forms(ExportTest):
    def suffixes(self, command, option):
        """The suffixes that the help page lists, each with its form."""
        options = self.run_tool("help", command).out.split("\nOptions:\n")[1]
        words = " ".join(re.search(rf"^  {option} WHAT +(.*?)\n  -", options, re.M | re.S)[1].split())
        return {suffix: form for form, suffixes in re.findall(r"(\w+) \(((?:\.\w+(?:, )?)+)", words) for suffix in suffixes.split(", ")}

    def test_every_form_is_named_wherever_forms_are(self):
        for command, option in (("export", "--to"), ("import", "--from")):
            forms = choices(command, option)
            self.assertIn("jsonl", forms)
            missing = self.run_tool(command, "FILE").err.splitlines()[0]
            self.assertEqual(re.split(", | or ", missing.split("expected ")[1]), forms)
            self.assertEqual(list(dict.fromkeys(self.suffixes(command, option).values())), forms)

    def test_suffix_selects_the_form(self):
        content = lines(ROUND, METER, b"x")
        suffixes = self.suffixes("export", "--to")
        self.assertEqual(set(suffixes.values()), set(choices("export", "--to")))
        for suffix, form in suffixes.items():
            with self.subTest(suffix=suffix):
                outs = [self.path(f"{name}{suffix}") for name in ("by-name", "by-suffix")]
                only = ["--only", "round"] if form == "csv" else []
                self.export(content, "-o", outs[0], *only, form=form)
                result = self.run_tool("export", self.path("f"), "-o", outs[1], *only)
                self.assertEqual((result.code, result.err.count("malformed")), (1, 1) if not only else (0, 0), result.err)
                contents = [self.content(out) for out in outs]
                self.assertEqual(contents[0], contents[1])
                if form in choices("import", "--from"):
                    for number, words in enumerate(([], ["--from", form])):
                        result = self.run_tool("import", outs[0], *words, "--encoding", "ansi", "-o", self.path(str(number)))
                        self.assertEqual(result.err, "")
                    self.assertEqual(self.content(self.path("0")), self.content(self.path("1")))
                    self.assertEqual(self.content(self.path("0"))[:1], ROUND[:1])
                    os.remove(self.path("0"))

    def test_other_suffix_selects_nothing(self):
        for out in ("x", "x.txt", "csv", "x.csv.gz", "-", "x.CSV"):
            result = self.run_tool("export", self.write("f", lines(ROUND)), "-o", self.path(out) if out != "-" else out)
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertIn("--to is missing", result.err)
        result = self.run_tool("import", self.write("book.xlsx", b""), "--encoding", "ansi")
        self.assertEqual(result.code, 2)
        self.assertIn("--from is missing; expected jsonl, csv or sqlite", result.err)
        self.assertEqual(sorted(os.listdir(self.folder)), ["book.xlsx", "f"])

    def test_named_form_counts_more_than_the_suffix(self):
        result = self.export(lines(ROUND), "-o", self.path("rows.db"), form="jsonl")
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertEqual(json.loads(self.content(self.path("rows.db")))["kind"], "round")


class Program(ExportTest):
    def test_help(self):
        page = self.run_tool("help", "export").out
        self.assertEqual(self.run_tool("export", "--help").out, page)
        self.assertLess(page.index("Examples:"), page.index("Usage:"))

    def test_usage(self):
        for arguments, message in (
                ((), 'a FILE is missing ("-" is the standard input)'), (("f", "./f", "--to", "csv"), 'the file "./f" is named twice'),
                (("f",), "--to is missing; expected jsonl, csv, sqlite, xlsx or geojson"), (("f", "--to", "xml"), '--to: invalid value "xml"; expected jsonl, csv, sqlite, xlsx or geojson'),
                (("f", "--to", "csv", "--findings", "-"), "--findings and -o are both the standard output; name a file for one of them")):
            result = self.run_tool("export", *arguments)
            self.assertEqual((result.code, result.out, result.err),
                             (2, "", f'tramo: export: {message}\ntramo: try "tramo help export"\n'))

    def test_standard_input(self):
        content = lines(ROUND, METER)
        for source in (content, utf16(content.decode("latin-1"))):
            self.assertEqual(self.run_tool("export", "-", "--to", "jsonl", stdin=source).out, self.export(content).out)

    def test_unreadable(self):
        for path in (self.path("missing"), self.folder):
            result = self.run_tool("export", path, "--to", "jsonl", "-o", self.path("out"))
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertTrue(result.err.startswith(f"tramo: {path}: "))
        self.assertEqual(os.listdir(self.folder), [])

    def test_unwritable(self):
        content = lines(ROUND, METER)
        for form, path in (("jsonl", "/dev/full"), ("jsonl", self.path("no/where")), ("csv", self.path("no/where")), ("jsonl", self.folder),
                           ("sqlite", "/dev/full"), ("sqlite", self.path("no/where")), ("sqlite", self.folder)):
            result = self.export(content, "-o", path, form=form)
            self.assertEqual((result.code, result.out), (3, ""), path)
            self.assertIn("cannot write", result.err)

    def test_text_at_the_end_that_cannot_be_read(self):
        result = self.export(utf16("\uffff" + METER.decode("latin-1") + "\r\n"))
        self.assertEqual((result.code, result.out), (1, ""))
        self.assertIn("characters from line 1 on cannot be read, because that line begins with U+FFFF", result.err)
        self.assertEqual(self.export(utf16(METER.decode("latin-1") + "\r\n") + b"x").code, 1)


if __name__ == "__main__":
    unittest.main()
