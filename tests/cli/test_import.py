"""tramo import: from values back to lines, the very ones that the library writes."""
import json
import os
import sqlite3
import stat
import unittest
from rows import TripTest, TripTests
from support import METER, ROUND, lines, put, sample

BLANK = b"1" + b" " * 511


class JsonlTrips(TripTest, TripTests):
    form, slow = "jsonl", False


class CsvTrips(TripTest, TripTests):
    form, slow = "csv", False


class SqliteTrips(TripTest, TripTests):
    form, slow = "sqlite", True


class ImportTest(TripTest):
    def load(self, content, *options, form="jsonl", encoding="ansi", **run):
        if isinstance(content, str):
            content = content.encode()
        out = () if "-o" in options else ("-o", self.path("out"))
        result = self.run_tool("import", self.write("rows", content), "--from", form, "--encoding", encoding, *options, *out, **run)
        if out and os.path.exists(out[1]):
            with open(out[1], "rb") as file:
                result.raw = file.read()
            os.remove(out[1])
        return result

    def meter(self, *options, **values):
        return self.load(json.dumps({"kind": "meter subscriber"} | values), *options)

    def assert_refused(self, content, message, form="jsonl", **options):
        result = self.load(content, "-o", self.path("out"), form=form, **options)
        self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {self.path('rows')}: {message}\n"))
        self.assertFalse(os.path.exists(self.path("out")))


class Jsonl(ImportTest):
    def test_values(self):
        base = self.meter().raw
        cases = (
            ("meterReadingIndex", 42, {}), ("meterMessage", "abc", {464: b"abc"}), ("meterMessage", "\u00e9\0", {464: b"\xe9\0"}),
            ("meterMinEstimatedConsumption", 1.5, {402: b"    1.500000"}), ("meterMinEstimatedConsumption", 2, {402: b"    2.000000"}),
            ("meterMinEstimatedConsumption", "-zero", {402: b"   -0.000000"}), ("meterMinEstimatedConsumption", "nan", {}),
            ("meterMinEstimatedConsumption", "inf", {402: b"         inf"}), ("meterInstallationYear", "2019", {380: b"2019"}),
            ("meterLastUpdateDate", "2024-01-31T14:05", {494: b"202401311405"}), ("meterLastUpdateDate", "1706709901 s", {494: b"202401311405"}),
            ("meterPreviousReadingDate", "2024-01-31", {384: b"20240131"}), ("meterAuthorizedChange", False, {506: b"0"}),
            ("meterAuthorizedChange", "0", {506: b"0"}), ("meterAuthorizedChange", 1, {506: b"1"}), ("meterSerialNumber", None, {}))
        for field, value, expected in cases:
            with self.subTest(field=field, value=value):
                line = base
                for column, text in expected.items():
                    line = put(line, column, text)
                result = self.meter(**{field: value})
                self.assertEqual((result.code, result.raw, result.err), (0, line, ""))

    def test_any_json_that_says_the_same(self):
        expected = self.load('{"kind":"tag","code":"07","label":"a\\u00e9/"}').raw
        self.assertEqual(expected, b"07" + b"a\xe9/".ljust(20) + b" \r\n")
        for text in ('  { "label" : "aé\\/" , "line":3, "kind"\t:"tag","code":"07"} \r\n\n',
                     '{"line":1,"kind":"finding","message":"x"}\n{"kind":"t\\u0061g","code":"07","label":"a\\u00E9/"}'):
            self.assertEqual(self.load(text).raw, expected)

    def test_the_file_gives_the_order(self):
        rows = "".join(json.dumps({"line": n, "kind": "tag", "code": str(n)}) + "\n" for n in (9, 3, 5))
        self.assertEqual([line[:1] for line in self.load(rows).raw.splitlines()], [b"9", b"3", b"5"])

    def test_refused_json(self):
        for text, why in (
                ("[]", "'{' is missing"), ("{", "'\"' is missing"), ('{"a"}', "':' is missing"), ('{"a":1', "'}' is missing"),
                ('{"a":[1]}', "a value is no text, number, true, false or null"), ('{"a":{}}', "a value is no text, number, true, false or null"),
                ('{"a":"x', "a text has no end"), ('{"a":"\\x"}', "a text has a backslash that begins no escape"),
                ('{"a":"\\u00g0"}', "a text has a backslash that begins no escape"), ('{"a":1}x', "there is something behind the object"),
                ('{"a":NaN}', "a value is no text, number, true, false or null"), (b'{"a":"\xe9"}', "a text is not UTF-8"),
                ('{}', '"kind" is missing'), ('{"kind":"tags"}', '"tags" is no kind of line'), ('{"kind":7}', '"" is no kind of line'),
                ('{"kind":"tag","lable":"x"}', '"lable" is no field of tag')):
            with self.subTest(text=text):
                self.assert_refused(b'{"kind":"tag"}\n' + (text if isinstance(text, bytes) else text.encode()) + b"\n", f"line 2: {why}")
        self.assert_refused(b"[" * 2000000, "line 1: is longer than 1048576 bytes; the file is no export")
        self.assert_refused(b"[" * 1000000, "line 1: '{' is missing")

    def test_refused_values(self):
        for field, value, why in (
                ("meterReadingIndex", "x", "is no whole number that the field can hold"), ("meterReadingIndex", 1.5, "is no whole number that the field can hold"),
                ("meterReadingIndex", 12345678901, "is longer than the field, which has 10 characters"),
                ("meterWheels", 100, "is longer than the field, which has 2 characters"),
                ("meterMessage", "x" * 31, "is longer than the field, which has 30 characters"), ("meterMessage", 5, "is no text"),
                ("meterMinEstimatedConsumption", "x", "is no number"), ("meterMinEstimatedConsumption", "1e999", "is no number"),
                ("meterPreviousReadingDate", "2024-02-30", "is no date YYYY-MM-DD that the field can hold"),
                ("meterPreviousReadingDate", "20240131", "is no date YYYY-MM-DD that the field can hold"),
                ("meterReadingDate", "2024-01-31", "is no date and time YYYY-MM-DDThh:mm that the field can hold"),
                ("meterReadingDate", "99999999999 s", "is no date and time YYYY-MM-DDThh:mm that the field can hold"),
                ("meterReadingMethod", "Q", "is no code of the field"), ("meterReadingMethod", "MM", "is no code of the field"),
                ("meterAuthorizedChange", 2, "is neither true (1) nor false (0)")):
            with self.subTest(field=field, value=value):
                self.assert_refused(json.dumps({"kind": "meter subscriber", field: value}), f"line 1: {field}: {why}")
        self.assert_refused('{"kind":"AMR","previousAlarms":"1FFF"}', "line 1: previousAlarms: is no set of alarm flags, four hexadecimal digits")
        for kind, field in (("text", "text"), ("tag", "label")):
            self.assert_refused(json.dumps({"kind": kind, field: "a\nb"}), "line 1: a text holds a line end")

    def test_values_that_the_format_cannot_write(self):
        line = self.trip(lines(put(METER, 459, b"T")), "jsonl", "ansi", code=(0, 1))
        self.assertEqual(line, self.rewritten(lines(put(METER, 459, b"T")), "ansi"))
        result = self.run_tool("import", self.path("x.d"), "--from", "jsonl", "--encoding", "ansi", "-o", self.path("out"))
        self.assertEqual((result.code, result.err), (
            1, "tramo: line 1: meterReadingMethod (BuildReadMethod): the format cannot write this value\n"))

    def test_what_the_encoding_cannot_hold(self):
        row = json.dumps({"kind": "text", "text": "ab\u20ac"})
        self.assert_refused(row, "line 1: U+20AC in column 3 of the line cannot be written in ANSI")
        self.assertEqual(self.load(row, encoding="utf16le").raw, b"\xff\xfea\0b\0\xac\x20\r\0\n\0")

    def test_masked_keys(self):
        masked = self.run_tool("export", "samples/amr-keys.txt", "--to", "jsonl").raw
        self.assert_refused(masked, "line 1: the key line has no text, because its keys are masked; export it with --show-keys")

    def test_keys_are_for_the_owner(self):
        shown = self.run_tool("export", "samples/amr-keys.txt", "--to", "jsonl", "--show-keys").raw
        self.assertEqual(self.load(shown, "-o", self.path("keys.txt")).code, 0)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("keys.txt")).st_mode), 0o600)
        with open(self.path("keys.txt"), "rb") as file:
            self.assertEqual(file.read(), sample("amr-keys.txt"))


class Csv(ImportTest):
    def test_what_spreadsheets_make_of_it(self):
        expected = lines(b"07" + b'a"b,c'.ljust(20) + b" ", b"08" + b" " * 21)
        for text in ('line,kind,code,label\r\n1,tag,07,"a""b,c"\r\n2,tag,08,\r\n', 'line,kind,code,label\n1,tag,07,"a""b,c"\n\n2,tag,08,',
                     '\ufefflabel,"code",kind,line\n"a""b,c","07","tag",1\n"",08,tag,2\n'):
            self.assertEqual(self.load(text, form="csv").raw, expected)

    def test_refused(self):
        head = "line,kind,code,label\n"
        for text, why in (
                ("a,b\n1,2\n", 'line 1: there is no column "kind"; the file is no export'),
                (head + "1,tag,07\n", "line 2: has 3 cells, but there are 4 names in the first line"),
                (head + "1,tga,07,x\n", 'line 2: "tga" is no kind of line'), (head + "x,tag,07,x\n", "line 2: line: is no whole number"),
                ("line,kind,lable\n1,tag,x\n", 'line 2: "lable" is no field of tag'), (head + '1,tag,07,"x\n', "line 2: a quotation mark is not closed"),
                (head + "1,tag,07,a\\b\n", "line 2: label: is not UTF-8, or has a backslash that begins no escape"),
                (head.encode() + b"1,tag,07,\xe9\n", "line 2: label: is not UTF-8, or has a backslash that begins no escape"),
                (head + '1,tag,07,"x\ny"\n', "line 2: a text holds a line end"), (head + "1,tag,077,x\n", "line 2: code: is longer than the field, which has 2 characters")):
            with self.subTest(text=text):
                self.assert_refused(text, why, form="csv")

    def test_a_folder_is_merged_by_line_number(self):
        os.mkdir(self.path("t"))
        self.write("t/tag.csv", b"line,kind,code\n2,tag,B\n5,tag,E\n")
        self.write("t/text.csv", b"line,kind,text\n1,text,A\n3,text,C\n9,text,F\n")
        result = self.run_tool("import", self.path("t"), "--from", "csv", "--encoding", "ansi")
        self.assertEqual([line[0] for line in result.out.splitlines()], ["A", "B", "C", "E", "F"])
        self.write("t/tag.csv", b"line,kind,code\n5,tag,E\n2,tag,B\n")
        result = self.run_tool("import", self.path("t"), "--from", "csv", "--encoding", "ansi")
        self.assertEqual((result.code, result.out), (2, ""))
        self.assertIn("tag.csv: line 3: the rows of a folder must stand by the numbers of their lines", result.err)
        os.mkdir(self.path("empty"))
        self.assertEqual(self.run_tool("import", self.path("empty"), "--from", "csv", "--encoding", "ansi").code, 2)


class Sqlite(ImportTest):
    def database(self, *statements):
        database = sqlite3.connect(self.path("rows"))
        for statement in statements:
            database.execute(statement)
        database.commit()
        database.close()

    def assert_refused_database(self, message):
        result = self.run_tool("import", self.path("rows"), "--from", "sqlite", "--encoding", "ansi", "-o", self.path("out"))
        self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {self.path('rows')}: {message}\n"))
        self.assertFalse(os.path.exists(self.path("out")))

    def test_edited(self):
        self.run_tool("export", self.write("f", lines(ROUND, METER)), "--to", "sqlite", "-o", self.path("rows"))
        self.database("UPDATE meter_subscriber SET meterReadingIndex = 42, meterMessage = 'Ol\u00e9', meterReadingDate = '2024-01-31T14:05'",
                      "CREATE TABLE notes (a)", "INSERT INTO text VALUES (7, 'end')")
        result = self.run_tool("import", self.path("rows"), "--from", "sqlite", "--encoding", "ansi", "-o", self.path("out"))
        self.assertEqual((result.code, result.err), (0, ""))
        edited = put(put(put(METER, 438, b"42".rjust(10)), 464, b"Ol\xe9".ljust(30)), 426, b"202401311405")
        with open(self.path("out"), "rb") as file:
            self.assertEqual(file.read(), lines(ROUND, edited, b"end"))

    def test_refused(self):
        for statements, why in (
                (("CREATE TABLE notes (line, a)",), "has no table of lines; the database is no export"),
                (("CREATE TABLE tag (line, lable)",), '"lable" is no field of tag'),
                (("CREATE TABLE tag (a)",), "as a SQLite database: no such column: line"),
                (("CREATE TABLE tag (line, label)", "INSERT INTO tag VALUES (4, 'a\\b')"),
                 "tag, line 4: label: is not UTF-8, or has a backslash that begins no escape"),
                (("CREATE TABLE tag (line, code)", "INSERT INTO tag VALUES (4, 'abc')"), "tag, line 4: code: is longer than the field, which has 2 characters")):
            with self.subTest(why=why):
                self.database(*statements)
                self.assert_refused_database(why)
                os.remove(self.path("rows"))
        self.write("rows", b"no database at all, but long enough to be looked at" * 100)
        self.assert_refused_database("as a SQLite database: file is not a database")

    def test_no_stream(self):
        result = self.run_tool("import", "-", "--from", "sqlite", "--encoding", "ansi")
        self.assertEqual((result.code, result.err), (2, "tramo: <stdin>: a database is no stream; name its file\n"))


class Program(ImportTest):
    def test_help(self):
        page = self.run_tool("help", "import").out
        self.assertEqual(self.run_tool("import", "--help").out, page)
        self.assertLess(page.index("Examples:"), page.index("Usage:"))

    def test_usage(self):
        for arguments, message in (
                ((), 'a FILE is missing ("-" is the standard input)'), (("f", "g"), 'one file at a time; what is "g"?'), (("f",), "--from is missing: jsonl, csv, sqlite"),
                (("f", "--from", "jsonl"), "--encoding is missing: ansi, utf16le"),
                (("f", "--from", "jsonl", "--encoding", "utf8"), '--encoding: "utf8" is none of ansi, utf16le')):
            result = self.run_tool("import", *arguments)
            self.assertEqual((result.code, result.out, result.err),
                             (2, "", f'tramo: import: {message}\ntramo: try "tramo help import"\n'))

    def test_standard_streams(self):
        tags = lines(b"07" + b"Frost".ljust(21), b"08" + b"Dog".ljust(21))
        for form in ("jsonl", "csv"):
            rows = self.run_tool("export", "-", "--to", form, stdin=tags).raw
            result = self.run_tool("import", "-", "--from", form, "--encoding", "ansi", stdin=rows)
            self.assertEqual((result.code, result.raw), (0, tags))

    def test_unreadable_and_unwritable(self):
        for path in (self.path("missing"), self.folder):
            for form in ("jsonl", "sqlite"):
                result = self.run_tool("import", path, "--from", form, "--encoding", "ansi", "-o", self.path("out"))
                self.assertEqual((result.code, result.out), (2, ""))
                self.assertTrue(result.err.startswith(f"tramo: {path}: "), result.err)
        row = '{"kind":"tag"}'
        for path in ("/dev/full", self.path("no/where"), self.folder):
            result = self.load(row, "-o", path)
            self.assertEqual((result.code, result.out), (3, ""))
            self.assertIn("cannot write", result.err)

    def test_a_refused_row_leaves_the_old_file(self):
        self.write("out", b"old")
        self.load('{"kind":"tag"}\n{}', "-o", self.path("out"))
        with open(self.path("out"), "rb") as file:
            self.assertEqual(file.read(), b"old")


if __name__ == "__main__":
    unittest.main()
