"""tramo import: builds the same lines from values as the library."""
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

    def assert_refused(self, content, message, *options, form="jsonl", **more):
        """`message` begins with the place in the file: "2:17: "."""
        result = self.load(content, "-o", self.path("out"), *options, form=form, **more)
        self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {self.path('rows')}:{message}\n"))
        self.assertFalse(os.path.exists(self.path("out")))

    def assert_told(self, content, *messages, form="jsonl", **more):
        """Checks that the line is written and its losses are reported; --strict refuses the first loss."""
        result = self.load(content, form=form, **more)
        self.assertEqual((result.code, result.err), (1, "".join(f"tramo: {self.path('rows')}:{message}\n" for message in messages)))
        self.assert_refused(content, messages[0], "--strict", form=form, **more)
        return result


class Jsonl(ImportTest):
    def test_values(self):
        base = self.meter().raw
        cases = (
            ("meterMessage", "abc", {464: b"abc"}), ("meterMessage", "\u00e9\0", {464: b"\xe9\0"}),
            ("meterMinEstimatedConsumption", 1.5, {402: b"    1.500000"}), ("meterMinEstimatedConsumption", 2, {402: b"    2.000000"}),
            ("meterMinEstimatedConsumption", "-zero", {402: b"   -0.000000"}),
            ("meterMinEstimatedConsumption", "inf", {402: b"         inf"}), ("meterInstallationYear", "2019", {380: b"2019"}),
            ("meterLastUpdateDate", "2024-01-31T14:05", {494: b"202401311405"}), ("meterLastUpdateDate", "1706709900 s", {494: b"202401311405"}),
            ("meterPreviousReadingDate", "2024-01-31", {384: b"20240131"}), ("meterAuthorizedChange", False, {506: b"0"}),
            ("meterAuthorizedChange", "0", {506: b"0"}), ("meterAuthorizedChange", 1, {506: b"1"}), ("meterSerialNumber", None, {}),
            ("meterWheels", 5.0, {364: b" 5"}), ("meterWheels", "5.000", {364: b" 5"}), ("meterAuthorizedChange", "0.0", {506: b"0"}),
            ("meterInstallationYear", "2019.0", {380: b"2019"}), ("meterInstallationYear", 2019, {380: b"2019"}),
            ("meterInstallationYear", 2019.0, {380: b"2019"}))
        for field, value, expected in cases:
            with self.subTest(field=field, value=value):
                line = base
                for column, text in expected.items():
                    line = put(line, column, text)
                result = self.meter(**{field: value})
                self.assertEqual((result.code, result.raw, result.err), (0, line, ""))

    def test_any_equivalent_json(self):
        expected = self.load('{"kind":"tag","code":"07","label":"a\\u00e9/"}').raw
        self.assertEqual(expected, b"07" + b"a\xe9/".ljust(20) + b" \r\n")
        for text in ('  { "label" : "aé\\/" , "line":3, "kind"\t:"tag","code":"07"} \r\n\n',
                     '{"line":1,"kind":"finding","message":"x"}\n{"kind":"t\\u0061g","code":"07","label":"a\\u00E9/"}'):
            self.assertEqual(self.load(text).raw, expected)

    def test_rows_keep_the_order_of_the_file(self):
        rows = "".join(json.dumps({"line": n, "kind": "tag", "code": str(n)}) + "\n" for n in (9, 3, 5))
        self.assertEqual([line[:1] for line in self.load(rows).raw.splitlines()], [b"9", b"3", b"5"])

    def test_refused_json(self):
        for text, why in (
                ("[]", "1: expected '{'"), ("{", "2: expected '\"'"), ('{"a"}', "5: expected ':'"), ('{"a":1', "7: expected '}'"),
                ('{"a":[1]}', "6: expected a text, a number, true, false or null"), ('{"a": {}}', "7: expected a text, a number, true, false or null"),
                ('{"a":"x', "7: the text does not end"), ('{"a":"\\x"}', "7: invalid escape"), ('{"a":"\\u00g0"}', "7: invalid escape"),
                ('{"a":1} x', "9: unexpected text after the object"), ('{"a":NaN}', "6: expected a text, a number, true, false or null"),
                (b'{"a":"\xe9"}', "7: the text is not UTF-8"), ('{"kind":"tags"}', '9: unknown kind "tags"'), ('{"kind":7}', "9: kind: expected a text"),
                ('{"kind":"tag","lable":"x"}', '15: unknown field "lable" of tag'), ('{"kind":"tag","label":"\u00e9\U0001f600","lable":"x"}', '28: unknown field "lable" of tag'),
                ('{"kind":"tag","code":"1","code":null}', '26: duplicate field "code"'), ('{"kind":"tag","code":null,"code":"1"}', '27: duplicate field "code"'),
                ('{"kind":"tag","kind":"text"}', '15: duplicate field "kind"'), ('{"kind":"tag","line":1,"line":2}', '24: duplicate field "line"')):
            with self.subTest(text=text):
                self.assert_refused(b'{"kind":"tag"}\n' + (text if isinstance(text, bytes) else text.encode()) + b"\n", f"2:{why}")
        self.assert_refused("{}", '1: "kind" is missing; the row is not one of records')
        self.assert_refused(b"[" * 2000000, "1:1: expected '{'")
        self.assert_refused(b" " * 2000000, "1:1: 1048576 spaces; the file is not an export")

    def test_refused_values(self):
        for field, value, why in (
                ("meterReadingIndex", "x", 'invalid integer "x": expected an integer that the field can hold'),
                ("meterReadingIndex", 1.5, "invalid integer 1.5: expected an integer that the field can hold"),
                ("meterReadingIndex", "1.5", 'invalid integer "1.5": expected an integer that the field can hold'),
                ("meterReadingIndex", ".0", 'invalid integer ".0": expected an integer that the field can hold'),
                ("meterReadingIndex", 1e300, "invalid integer 1e+300: expected an integer that the field can hold"),
                ("meterReadingIndex", 12345678901, "12345678901 has 11 characters, the field has 10"),
                ("meterWheels", 100, "100 has 3 characters, the field has 2"),
                ("meterMessage", "x" * 31, f'"{"x" * 31}" has 31 characters, the field has 30'), ("meterMessage", 5, "invalid text 5: expected a text"),
                ("meterMessage", "x" * 500, f'"{"x" * 60}"... has 500 characters, the field has 30'),
                ("meterMinEstimatedConsumption", "x\x1b", 'invalid number "x\\x1b": expected a decimal number'),
                ("meterMinEstimatedConsumption", "1e999", 'invalid number "1e999": expected a decimal number'),
                ("meterPreviousReadingDate", "2024-02-30", 'invalid date "2024-02-30": expected YYYY-MM-DD, a day that the field can hold'),
                ("meterPreviousReadingDate", "20240131", 'invalid date "20240131": expected YYYY-MM-DD, a day that the field can hold'),
                ("meterReadingDate", "2024-01-31", 'invalid date and time "2024-01-31": expected YYYY-MM-DDThh:mm, a time that the field can hold'),
                ("meterReadingDate", "99999999999 s", 'invalid date and time "99999999999 s": expected YYYY-MM-DDThh:mm, a time that the field can hold'),
                ("meterInstallationYear", 19, "invalid year 19: expected YYYY, a year that the field can hold"),
                ("meterReadingMethod", "Q", 'invalid code "Q": expected one of M, T, A'), ("meterReadingMethod", "MM", 'invalid code "MM": expected one of M, T, A'),
                ("meterAuthorizedChange", 2, "invalid flag 2: expected true (1) or false (0)")):
            with self.subTest(field=field, value=value):
                row = json.dumps({"kind": "meter subscriber", field: value})
                self.assert_refused(row, f"1:{row.index(': ', 30) + 3}: {field}: {why}")
        row = '{"kind":"AMR","previousAlarms":"1FFF"}'
        self.assert_refused(row, '1:32: previousAlarms: invalid alarm flags "1FFF": expected four hexadecimal digits')
        self.assert_refused('{"kind":"text","text":"a\\nb"}', "1:23: text: the text holds a line ending")
        self.assert_refused('{"kind":"text","text":1}', "1:23: text: invalid text 1: expected a text")
        self.assert_refused('{"kind":"tag","label":"a\\nb"}', '1:23: label: "a\\x0ab" holds a line ending')

    def test_values_that_the_format_cannot_write(self):
        line = self.trip(lines(put(METER, 459, b"T")), "jsonl", "ansi", code=(0, 1))
        self.assertEqual(line, self.rewritten(lines(put(METER, 459, b"T")), "ansi"))
        result = self.run_tool("import", self.path("x.d"), "--from", "jsonl", "--encoding", "ansi", "-o", self.path("out"))
        self.assertEqual(result.code, 1)
        self.assertRegex(result.err, r'^tramo: \S+x\.d:1:\d+: meterReadingMethod: "T" cannot be written \(BuildReadMethod\)\n$')

    def test_values_that_do_not_come_back(self):
        for kind, values, why in (
                ("AMR", {"meterUnit": 12345678.5}, ['meterUnit: 12345678.5 is written as "123456", which is read as 123456']),
                ("extended data", {"latitude": 48.1234567890123456}, ['latitude: 48.123456789012344 is written as "48.123456789012", which is read as 48.123456789012']),
                ("meter subscriber", {"meterReadingIndex": 42}, [
                    "meterReadingIndex: 42 is not written: the format writes this field only when there is a reading date and it is 0 or more"]),
                ("meter subscriber", {"meterSerialNumber": "M-1"}, [
                    'meterSerialNumber: "M-1" is not written: the format writes this field only when there is meter information']),
                ("meter subscriber", {"meterReadingIndex": 42, "meterReadingStatus": "1", "meterSerialNumber": None}, [
                    "meterReadingIndex: 42 is not written: the format writes this field only when there is a reading date and it is 0 or more",
                    'meterReadingStatus: "1" is not written: the format writes this field only when there is a reading date']),
                ("meter subscriber", {"meterMinEstimatedConsumption": "nan"}, [
                    'meterMinEstimatedConsumption: "nan" is not written: the format writes this field only when it is above -1']),
                ("meter subscriber", {"meterLastUpdateDate": "1706709901 s"}, [
                    'meterLastUpdateDate: "1706709901 s" is read back as "2024-01-31T14:05"']),
                ("tag", {"label": "abc  "}, ['label: "abc  " is read back as "abc"']),
                ("record information", {"roundNumber": 1, "meterNumber": 60}, [
                    'roundNumber: 1 is written as "1", which is read as 60', "meterNumber: 60 is written, but the format reads it as roundNumber"]),
                ("AMR", {"previousReadingDateStr": "20240131"}, ['previousReadingDateStr: "20240131" is never written'])):
            with self.subTest(kind=kind, values=values):
                row = json.dumps({"kind": kind} | values)
                messages = []
                for message in why:
                    field = message.split(":")[0]
                    messages.append(f"1:{row.index(json.dumps(field)) + len(field) + 5}: {message}")
                self.assertEqual(len(self.assert_told(row, *messages).raw), 25 if kind == "tag" else 514)
                head = "line,kind," + ",".join(values)
                cells = ",".join("" if value is None else repr(value) if isinstance(value, float) else str(value) for value in values.values())
                result = self.load(f"{head}\n7,{kind},{cells}\n", form="csv")
                self.assertEqual((result.code, result.err.count(f"tramo: {self.path('rows')}:2: ")), (1, len(why)))

    def test_lost_values_are_counted(self):
        rows = "".join(json.dumps({"kind": "tag", "label": "x "}) + "\n" for _ in range(23))
        result = self.load(rows)
        self.assertEqual((result.code, len(result.err.splitlines())), (1, 21))
        self.assertTrue(result.err.endswith("\ntramo: 3 more values do not come back as they were given\n"))

    def test_characters_that_spoil_the_file(self):
        for kind, field in (("text", "text"), ("tag", "code")):
            row = json.dumps({"kind": kind, field: "\uffff"})
            message = "U+FFFF at the beginning of a line ends a UTF-16 file: this line and all lines after it could not be read"
            self.assert_refused('{"kind":"tag"}\n' + row, f"2:{row.index(': ', 10) + 3}: {message}", encoding="utf16le")
        self.assertEqual(self.load('{"kind":"text","text":"x\\uffff"}', encoding="utf16le").code, 0)
        message = "1:23: the file begins with characters that are taken for a byte order mark of another encoding"
        for text in ("\xff\xfe", "\xfe\xffab", "\xef\xbb\xbf", "\0\0\xfe\xff"):
            row = json.dumps({"kind": "text", "text": text}, separators=(",", ":"))
            self.assertEqual(self.assert_told(row, message).raw, text.encode("latin-1") + b"\r\n")
            self.assertEqual(self.load('{"kind":"tag"}\n' + row).code, 0)
        row = json.dumps({"kind": "text", "text": "\0x"}, separators=(",", ":"))
        self.assert_told(row, message, encoding="utf16le")
        self.assertEqual(self.load(row).code, 0)

    def test_key_lines_are_their_text(self):
        exported = self.run_tool("export", "samples/amr-keys.txt", "--to", "jsonl", "--show-keys").out.splitlines()
        for field, value in (("serialNumber", "other"), ("wmBusKey_Mode5", "00112233445566778899AABBCCDDEEFF"), ("wmBusAddress_Version", 99)):
            row = json.loads(exported[0])
            self.assertIn(field, row)
            row[field] = value
            text = json.dumps(row, separators=(",", ":"))
            place = text.index(f'"{field}":') + len(field) + 4
            result = self.assert_told(text, f'1:{place}: {field}: is not the value in "text", which is the line')
            self.assertEqual(result.raw, sample("amr-keys.txt").split(b"\r\n")[0] + b"\r\n")
        self.assertEqual(self.load("\n".join(exported)).code, 0)

    def test_long_lines(self):
        text = "x\u00e9" * 1500000
        for encoding in ("latin-1", "utf-16-le"):
            content = (b"" if encoding == "latin-1" else b"\xff\xfe") + (METER.decode("latin-1") + "\r\n" + text + "\r\n").encode(encoding)
            for form in ("jsonl", "csv", "sqlite"):
                with self.subTest(form=form, encoding=encoding):
                    self.assertEqual(self.trip(content, form, {"latin-1": "ansi"}.get(encoding, "utf16le"), f"{form}.{encoding}"), content)

    def test_characters_that_the_encoding_cannot_hold(self):
        row = json.dumps({"kind": "text", "text": "ab\u20ac"})
        self.assert_refused(row, "1:26: text: U+20AC cannot be written in ANSI")
        self.assert_refused(json.dumps({"kind": "tag", "code": "07", "label": "ab\u20ac"}), "1:40: label: U+20AC cannot be written in ANSI")
        self.assertEqual(self.load(row, encoding="utf16le").raw, b"\xff\xfea\0b\0\xac\x20\r\0\n\0")

    def test_masked_keys(self):
        masked = self.run_tool("export", "samples/amr-keys.txt", "--to", "jsonl").raw
        self.assert_refused(masked, "1: the key line has no text, because its keys are masked; export it with --show-keys")

    def test_keys_are_for_the_owner(self):
        shown = self.run_tool("export", "samples/amr-keys.txt", "--to", "jsonl", "--show-keys").raw
        self.assertEqual(self.load(shown, "-o", self.path("keys.txt")).code, 0)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("keys.txt")).st_mode), 0o600)
        with open(self.path("keys.txt"), "rb") as file:
            self.assertEqual(file.read(), sample("amr-keys.txt"))


class Csv(ImportTest):
    def test_files_written_by_spreadsheets(self):
        expected = lines(b"07" + b'a"b,c'.ljust(20) + b" ", b"08" + b" " * 21)
        for text in ('line,kind,code,label\r\n1,tag,07,"a""b,c"\r\n2,tag,08,\r\n', 'line,kind,code,label\n1,tag,07,"a""b,c"\n\n2,tag,08,',
                     '\ufefflabel,"code",kind,line\n"a""b,c","07","tag",1\n"",08,tag,2\n', '\ufeff"label","code",kind,line\n"a""b,c","07","tag",1\n"",08,tag,2\n',
                     'line,kind,code,label\r1,tag,07,"a""b,c"\r2,tag,08,\r', '\ufeffline,kind,code,label\r1,tag,07,"a""b,c"\r\r2,tag,08,',
                     'line,kind,code,label\r\n1,tag,07,"a""b,c"\r2,tag,08,\n'):
            result = self.load(text, form="csv")
            self.assertEqual((result.code, result.raw, result.err), (0, expected, ""), text)
        self.assertEqual(self.load("\ufeff", form="csv").raw, b"")
        self.assertEqual(self.load('\ufeff{"kind":"text","text":"x"}\n').raw, b"x\r\n")

    def test_line_numbers_with_any_line_ending(self):
        head = "line,kind,text"
        for end in ("\r\n", "\n", "\r"):
            for rows, number in ((["1,text,a", "2,txt,b"], 3), (["1,text,a", "", "2,txt,b"], 4), (['1,text,"a\u00e9b"', "2,txt,b"], 3)):
                with self.subTest(end=end, rows=rows):
                    self.assert_refused(end.join([head, *rows]), f'{number}: kind: unknown kind "txt"', form="csv")
        self.assert_refused('line,kind,code\r\n1,tag,"a\r\nb"\r\n', '2: code: "a\\x0d\\x0ab" holds a line ending', form="csv")
        self.assert_refused('line,kind,label\n1,tag,"a\rb"\n2,tga,\n', '4: kind: unknown kind "tga"', form="csv")

    def test_files_written_by_data_frames(self):
        expected = self.load(json.dumps({"kind": "meter subscriber", "meterWheels": 5, "meterInstallationYear": "2019", "meterAuthorizedChange": True})).raw
        result = self.load("line,kind,meterWheels,meterInstallationYear,meterAuthorizedChange\n1.0,meter subscriber,5.0,2019.0,1.0\n", form="csv")
        self.assertEqual((result.code, result.raw, result.err), (0, expected, ""))

    def test_findings_are_passed_over(self):
        self.assertEqual(self.load('line,kind,text\n1,finding,x\n2,text,b\n', form="csv").raw, b"b\r\n")

    def test_refused(self):
        head = "line,kind,code,label\n"
        for text, why in (
                ("a,b\n1,2\n", '1: there is no column "kind"; the file is not an export of records'),
                ("line,kind,code,code\n1,tag,07,08\n", '1: duplicate column "code"'), ("line,kind,code,kind\n1,tag,07,tag\n", '1: duplicate column "kind"'),
                ("line,kind,code,line\n", '1: duplicate column "line"'),
                (head + "1,tag,07\n", "2: 3 cells in this row, 4 names in the first line"),
                (head + "1,tga,07,x\n", '2: kind: unknown kind "tga"'), (head + "x,tag,07,x\n", '2: line: invalid integer "x"'),
                ("line,kind,lable\n1,tag,x\n", '2: unknown field "lable" of tag'), (head + '1,tag,07,"x\n', "2: a quotation mark is not closed"),
                (head + "1,tag,07,a\\b\n", "2: label: not UTF-8, or an invalid escape after a backslash"),
                (head.encode() + b"1,tag,07,\xe9\n", "2: label: not UTF-8, or an invalid escape after a backslash"),
                (head + '1,tag,07,"x\ny"\n', '2: label: "x\\x0ay" holds a line ending'), (head + "1,tag,077,x\n", '2: code: "077" has 3 characters, the field has 2'),
                ("x" * 2000000, "1: the names are longer than 1048576 bytes; the file is not an export")):
            with self.subTest(text=text[:80]):
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
        self.assertEqual(result.err, f"tramo: {self.path('t/tag.csv')}:3: line: the rows of a folder must be in the order of this column\n")
        self.write("t/tag.csv", b"line,kind,code\n2,tag,B\n5,tag,EEE\n")
        result = self.run_tool("import", self.path("t"), "--from", "csv", "--encoding", "ansi")
        self.assertEqual(result.err, f"tramo: {self.path('t/tag.csv')}:3: code: \"EEE\" has 3 characters, the field has 2\n")
        self.write("t/tag.csv", b"line,kind,code,code\n")
        result = self.run_tool("import", self.path("t"), "--from", "csv", "--encoding", "ansi")
        self.assertEqual(result.err, f"tramo: {self.path('t/tag.csv')}:1: duplicate column \"code\"\n")
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
                (("CREATE TABLE notes (line, a)",), "has no table of records; the database is not an export of records"),
                (("CREATE TABLE tag (line, lable)",), 'tag: unknown field "lable"'),
                (("CREATE TABLE tag (a)",), "as a SQLite database: no such column: line"),
                (("CREATE TABLE tag (line, label)", "INSERT INTO tag VALUES (4, 'a\\b')"),
                 "tag, line 4: label: not UTF-8, or an invalid escape after a backslash"),
                (("CREATE TABLE tag (line, code)", "INSERT INTO tag VALUES (4, 'abc')"), 'tag, line 4: code: "abc" has 3 characters, the field has 2')):
            with self.subTest(why=why):
                self.database(*statements)
                self.assert_refused_database(why)
                os.remove(self.path("rows"))
        self.write("rows", b"no database at all, but long enough to be looked at" * 100)
        self.assert_refused_database("as a SQLite database: file is not a database")

    def test_decimals_that_are_integers(self):
        self.database("CREATE TABLE meter_subscriber (line, meterWheels, meterInstallationYear)", "INSERT INTO meter_subscriber VALUES (1, 5.0, 2019)")
        result = self.run_tool("import", self.path("rows"), "--from", "sqlite", "--encoding", "ansi")
        self.assertEqual((result.code, result.raw), (0, lines(put(put(self.meter().raw[:512], 364, b" 5"), 380, b"2019"))))

    def test_values_that_do_not_come_back(self):
        self.database("CREATE TABLE meter_subscriber (line, meterReadingIndex)", "INSERT INTO meter_subscriber VALUES (3, 42)")
        arguments = "import", self.path("rows"), "--from", "sqlite", "--encoding", "ansi"
        message = (f"tramo: {self.path('rows')}: meter_subscriber, line 3: meterReadingIndex: 42 is not written: "
                   "the format writes this field only when there is a reading date and it is 0 or more\n")
        result = self.run_tool(*arguments)
        self.assertEqual((result.code, result.err, len(result.raw)), (1, message, 514))
        result = self.run_tool(*arguments, "--strict")
        self.assertEqual((result.code, result.err), (2, message))

    def test_no_stream(self):
        result = self.run_tool("import", "-", "--from", "sqlite", "--encoding", "ansi")
        self.assertEqual((result.code, result.err), (2, "tramo: <stdin>: a database cannot be read from a stream; name its file\n"))


class Program(ImportTest):
    def test_help(self):
        page = self.run_tool("help", "import").out
        self.assertEqual(self.run_tool("import", "--help").out, page)
        self.assertLess(page.index("Examples:"), page.index("Usage:"))

    def test_usage(self):
        for arguments, message in (
                ((), 'a FILE is missing ("-" is the standard input)'), (("f", "g"), 'unexpected argument "g"; expected one FILE'), (("f",), "--from is missing; expected jsonl, csv or sqlite"),
                (("f", "--from", "jsonl"), "--encoding is missing; expected ansi or utf16le"),
                (("f", "--from", "jsonl", "--encoding", "utf8"), '--encoding: invalid value "utf8"; expected ansi or utf16le')):
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
