"""tramo export: a round as tables of meters, answers, alarms, unread meters and locations; GeoJSON, chosen columns, many files."""
import csv
import io
import json
import os
import sqlite3
import unittest
from geojson import checked
from rows import TripTest, hostile
from support import AMR, METER, ROUND, choices, lines, put, sample, sample_line, utf16
from test_workbook import Workbook, escaped

TABLES = ("meters", "answers", "alarms", "unread", "locations")
LOCATED = sample_line(b"7")
BLANK_ROUND = b"0" + b" " * 511


def area(number, label, position, length, of="meter"):
    """Returns where the round line defines an area, and the text there."""
    column = {"meter": 256, "subscriber": 366}[of] + 22 * (number - 1)
    return column, label.encode("latin-1").ljust(16) + b"%3d%2d2" % (position, length)


def round_with(*areas, line=BLANK_ROUND):
    for column, text in areas:
        line = put(line, column, text)
    return line


def meter(serial, **texts):
    """Returns a meter subscriber line: `subscriber` and `meter` are its free texts."""
    line = put(put(put(METER, 352, serial.ljust(12)), 6, b" " * 150), 232, b" " * 120)
    for name, text in texts.items():
        line = put(line, {"subscriber": 6, "meter": 232}[name], text)
    return line


def shown(value):
    """Returns a value of a database as it is in CSV."""
    return "" if value is None else f"{value:.15g}" if isinstance(value, float) else str(value)


def located(serial, latitude, longitude):
    return put(put(put(LOCATED, 2, serial.ljust(12)), 14, latitude.rjust(16)), 30, longitude.rjust(16))


class RoundTest(TripTest):
    def export(self, content, *options, code=(0,), **run):
        result = self.run_tool("export", self.write("f", content), *options, **run)
        self.assertIn(result.code, code, result.err)
        return result

    def table(self, content, name, *options, **run):
        """Returns the rows of a table of a round, as dictionaries of texts."""
        return list(csv.DictReader(io.StringIO(self.export(content, "--to", "csv", "--table", name, *options, **run).out, newline="")))

    def database(self, content, *options, code=(0,)):
        self.databases = getattr(self, "databases", 0) + 1   # an open one is not replaced
        self.export(content, "-o", self.path(f"{self.databases}.db"), *options, code=code)
        database = sqlite3.connect(self.path(f"{self.databases}.db"))
        self.addCleanup(database.close)
        database.row_factory = sqlite3.Row
        return database


class Tables(RoundTest):
    def test_meters(self):
        rows = self.table(sample("round-returned.txt"), "meters")
        self.assertEqual(len(rows), 60)
        self.assertEqual({name: rows[0][name] for name in ("line", "round", "meterSerialNumber", "state", "meterPreviousReadingIndex", "meterReadingIndex",
                                                           "difference", "meterReadingDate", "Adresse", "Commune", "Emplacement", "outsideOfAreas")},
                         {"line": "4", "round": "T0412", "meterSerialNumber": "C12AB0100000", "state": "read", "meterPreviousReadingIndex": "5998",
                          "meterReadingIndex": "6054", "difference": "56", "meterReadingDate": "2024-01-16T08:35", "Adresse": "126 Rue des Érables",
                          "Commune": "VILLE EXEMPLE", "Emplacement": "GARAGE", "outsideOfAreas": ""})

    def test_the_difference_counts_a_roll_over(self):
        line = put(put(put(put(METER, 364, b" 4"), 378, b"  "), 392, b"      9990"), 438, b"        15")
        self.assertEqual([row["difference"] for row in self.table(lines(line), "meters")], ["25"])

    def test_unread(self):
        content = sample("round-returned.txt")
        rows = self.table(content, "unread")
        self.assertEqual([row["meterSerialNumber"] for row in rows],
                         [row["meterSerialNumber"] for row in self.table(content, "meters") if row["state"] == "unread"])
        self.assertEqual((len(rows), rows[0]["meterSerialNumber"], rows[0]["Adresse"]), (6, "C15AB0100111", "41 Chemin des Prés"))
        # A status and a method without a reading are shown as they are.
        line = put(put(METER, 426, b" " * 12), 448, b"3")
        row = self.table(lines(line), "unread")[0]
        self.assertEqual((row["meterReadingStatus"], row["meterReadingMethod"]), ("3", "A"))

    def test_answers_have_their_questions(self):
        rows = self.table(sample("round-returned.txt"), "answers")
        self.assertEqual([tuple(rows[0].values()), tuple(rows[1].values())],
                         [("9", "T0412", "C13AB0100037", "1", "1", "Accès", "C", "ABCD", "H", "B", "", "2024-01-16"),
                          ("9", "T0412", "C13AB0100037", "1", "2", "Pression", "N", "", "N", "", "21", "2024-01-16")])
        page = put(sample_line(b"6"), 2, b"9")   # which the round does not define
        answer = self.table(lines(ROUND, put(METER, 352, page[2:14]), page), "answers")[0]
        self.assertEqual((answer["question"], answer["list"], answer["code"]), ("", "", "B"))

    def test_alarms_have_one_row_for_a_meter_and_an_alarm(self):
        amr = put(put(AMR, 286, b"0000"), 354, b"0000")
        content = lines(METER, put(amr, 286, b"0100"))
        first = [row for row in self.table(content, "alarms") if row["isPrevious"] == "1"]
        self.assertEqual([(row["line"], row["meterSerialNumber"], row["isPrevious"], row["record"]) for row in first],
                         [("2", METER[351:363].decode(), "1", "AMR")])
        self.assertEqual(first[0]["field"], "previousAlarm" + first[0]["alarm"])
        self.assertEqual([row for row in self.table(lines(METER, amr), "alarms") if row["isPrevious"] == "1"], [])

    def test_locations(self):
        rows = self.table(lines(METER, located(METER[351:363], b"48.5", b"-1.25"), meter(b"M-2"), located(b"M-2", b"", b"3")), "locations")
        self.assertEqual([(row["line"], row["latitude"], row["longitude"], row["altitude"]) for row in rows], [("1", "48.5", "-1.25", "112.5")])

    def test_places_that_are_not_on_earth_are_reported(self):
        content = lines(*(line for i, (latitude, longitude) in enumerate([(b"90", b"-180"), (b"91", b"0"), (b"0", b"180.5"), (b"nan", b"1"), (b"1", b"inf")])
                          for line in (meter(b"M%d" % i), located(b"M%d" % i, latitude, longitude))))
        for options in (("--to", "csv", "--table", "locations"), ("--to", "geojson")):
            result = self.export(content, *options, code=(1,))
            self.assertEqual(result.err, "tramo: 2 meters have a latitude or longitude out of range and are not exported\n")
            self.assertEqual((result.out.count("M0"), result.out.count("M1")), (1, 0))

    def test_lines_that_are_not_in_a_table_are_reported(self):
        result = self.export(lines(METER, b"x", METER[:9], put(AMR, 26, b"unknown".ljust(12))), "--to", "jsonl", "--table", "meters", code=(1,))
        self.assertEqual(result.err, f"tramo: {self.path('f')}: 2 lines are malformed and not exported\n"
                                     f"tramo: {self.path('f')}: 1 line belongs to no meter and is not exported\n")
        self.assertEqual(result.out.count("\n"), 1)

    def test_both_encodings_and_any_number_of_threads_have_the_same_rows(self):
        content = sample("round-returned.txt") * 20
        for name in TABLES:
            expected = self.export(content, "--to", "jsonl", "--table", name).out
            self.assertGreater(expected.count("\n"), 100)
            for threads in ("1", "3"):
                self.assertEqual(self.export(content, "--to", "jsonl", "--table", name, "-j", threads).out, expected)
                self.assertEqual(self.export(utf16(content.decode("latin-1")), "--to", "jsonl", "--table", name, "-j", threads).out, expected)

    def test_lines_have_their_numbers_in_the_file(self):
        content = lines(b"", b"x", METER, b"", METER)
        self.assertEqual([row["line"] for row in self.table(content, "meters", code=(1,))], ["3", "5"])
        self.assertEqual([row["line"] for row in self.table(content, "meters", "--lines", "4-", code=(1,))], ["5"])

    def test_empty_tables(self):
        for name in TABLES:
            self.assertEqual(self.table(b"", name), [])
            self.assertEqual(self.export(b"", "--to", "jsonl", "--table", name).out, "")

    def test_hostile_files_have_the_same_rows_in_every_form(self):
        for wide in (False, True):
            content = hostile(f"round tables {wide}", 600, wide)
            for name in TABLES:
                rows = [json.loads(line) for line in self.export(content, "--to", "jsonl", "--table", name, code=(0, 1)).out.splitlines()]
                self.assertTrue(rows or name not in ("meters", "unread"), name)
                cells = self.table(content, name, code=(0, 1))
                database = self.database(content, "--table", name, code=(0, 1))
                stored = [dict(row) for row in database.execute(f"SELECT * FROM {name}")]
                self.assertEqual((len(cells), len(stored)), (len(rows), len(rows)))
                for row, cell, record in zip(rows, cells, stored):
                    self.assertEqual(list(cell), list(record))
                    for column, value in record.items():
                        expected = row.get(column)
                        self.assertEqual(value, escaped(expected) if isinstance(expected, str) else expected, (name, column))
                        self.assertEqual(cell[column] == "", expected is None or expected == "", (name, column))


class Areas(RoundTest):
    def names(self, *rounds):
        """Returns the columns after the fixed ones."""
        header = self.export(lines(*rounds), "--to", "csv", "--table", "meters").out.splitlines()[0].split(",")
        return header[header.index("outsideOfAreas") + 1:]

    def test_duplicate_and_blank_labels(self):
        areas = [area(1, "Lieu", 0, 5), area(2, "Lieu", 5, 5), area(3, "", 10, 5), area(4, "lieu", 15, 5), area(1, "Lieu", 0, 5, "subscriber")]
        content = (round_with(*areas), meter(b"M-1", meter=b"aaaaabbbbbcccccddddd", subscriber=b"eeeee"))
        self.assertEqual(sorted(self.names(*content)), ["Lieu", "Lieu 2", "Lieu 3", "lieu 4", "meter area 3"])
        row = self.table(lines(*content), "meters")[0]
        self.assertEqual(sorted((name, row[name]) for name in self.names(*content)),
                         [("Lieu", "aaaaa" if row["Lieu"] == "aaaaa" else "eeeee"), ("Lieu 2", row["Lieu 2"]), ("Lieu 3", row["Lieu 3"]),
                          ("lieu 4", "ddddd"), ("meter area 3", "ccccc")])
        self.assertEqual({row[name] for name in self.names(*content)}, {"aaaaa", "bbbbb", "ccccc", "ddddd", "eeeee"})

    def test_hostile_labels_become_names_that_every_form_has(self):
        labels = ('a"b', "a,b", "a\\b", "\x01\x7f\x85", "=SUM(A1)", "-", "@x", "STATE", "Line", "METERMESSAGE", "AMR_line", "file", "a;DROP TABLE", "'", "[x]")
        for start in range(0, len(labels), 5):
            some = labels[start:start + 5]
            content = lines(round_with(*(area(i + 1, label, 5 * i, 5) for i, label in enumerate(some))), meter(b"M-1", meter=b"00000111112222233333444444"))
            names = self.names(*content.split(b"\r\n")[:-1])
            self.assertEqual(len(names), 5)
            for name in names:
                self.assertRegex(name, r'^[^\x00-\x1f\x7f-\x9f",\\=+\-@][^\x00-\x1f\x7f-\x9f",\\]*$')
            expected = [str(i) * 5 for i in range(5)]
            self.assertEqual([self.table(content, "meters")[0][name] for name in names], expected)
            row = json.loads(self.export(content, "--to", "jsonl", "--table", "meters").out)
            self.assertEqual([row[name] for name in names], expected)
            view = dict(self.database(content).execute("SELECT * FROM meters").fetchone())
            self.assertEqual([view[name] for name in names], expected)
            self.export(content, "-o", self.path("w.xlsx"), "--force")
            sheet = Workbook(self.path("w.xlsx")).rows("meters")[0]
            self.assertEqual([sheet[name] for name in names], [("text", text) for text in expected])

    def test_exact_names(self):
        self.assertEqual(self.names(round_with(area(1, 'a"b,c\\d', 0, 5), area(2, "=x", 5, 5), area(3, "state", 10, 5), area(4, "Line", 15, 5)), meter(b"M")),
                         ["a_b_c_d", "_x", "state 2", "Line 2"])

    def test_rounds_with_other_areas_share_columns_by_label(self):
        first = (round_with(area(1, "Lieu", 0, 5), area(2, "Calibre", 5, 3)), meter(b"M-1", meter=b"aaaaa015"))
        second = (round_with(area(1, "Marque", 0, 4), area(2, "Lieu", 4, 5)), meter(b"M-2", meter=b"ACMEbbbbb", subscriber=b"outside"))
        rows = self.table(lines(*first, *second), "meters")
        self.assertEqual([(row["Lieu"], row["Calibre"], row["Marque"], row["outsideOfAreas"]) for row in rows],
                         [("aaaaa", "015", "", ""), ("bbbbb", "", "ACME", "outside")])

    def test_text_outside_of_areas_is_kept(self):
        content = lines(round_with(area(1, "Lieu", 5, 5)), meter(b"M-1", meter=b"01234aaaaa56", subscriber=b"free"))
        row = self.table(content, "meters")[0]
        self.assertEqual((row["Lieu"], row["outsideOfAreas"]), ("aaaaa", "free | 01234 | 56"))

    def test_more_labels_than_columns_lose_nothing(self):
        rounds = [(round_with(*(area(i + 1, f"L{number} {i}", 5 * i, 5) for i in range(5))), meter(b"M%d" % number, meter=b"%05d" % number * 5))
                  for number in range(120)]
        content = lines(*(line for pair in rounds for line in pair))
        rows = self.table(content, "meters")
        self.assertEqual(len(rows[0]) - list(rows[0]).index("outsideOfAreas") - 1, 500)
        self.assertEqual((rows[99]["L99 4"], rows[99]["outsideOfAreas"]), ("00099", ""))
        self.assertEqual(rows[119]["outsideOfAreas"], " | ".join(["00119"] * 5))
        self.assertEqual(self.database(content).execute('SELECT "L99 4" FROM meters WHERE line = 200').fetchone()[0], "00099")


class Products(RoundTest):
    """Databases and workbooks, which have all tables."""

    def test_a_database_has_all_tables(self):
        content = sample("round-returned.txt")
        database = self.database(content)
        for name in TABLES[1:] + ("meter_summary",):
            rows = self.table(content, name.replace("meter_summary", "meters"))
            self.assertGreater(len(rows), 0)
            stored = [{column: shown(value) for column, value in dict(row).items()} for row in database.execute(f"SELECT * FROM {name}")]
            self.assertEqual(stored, rows)
        names = [row["name"] for row in database.execute("PRAGMA table_info(meters)")]
        self.assertEqual(len(names), len({name.lower() for name in names}))
        self.assertLessEqual({row["name"] for row in database.execute("PRAGMA table_info(meter_summary)")} - {"round"}, set(names))
        found = database.execute("SELECT line, state, Adresse FROM meters WHERE meterSerialNumber = 'C12AB0100000'").fetchone()
        self.assertEqual(tuple(found), (4, "read", "126 Rue des Érables"))

    def test_a_workbook_has_all_sheets(self):
        content = sample("round-returned.txt")
        self.export(content, "-o", self.path("w.xlsx"))
        book = Workbook(self.path("w.xlsx"))
        for name in TABLES:
            rows = self.table(content, name)
            self.assertEqual(len(book.rows(name)), len(rows))
            self.assertEqual([value for _, value in book.sheets[name][0]], list(rows[0]))
        self.assertEqual(list(book.sheets)[:5], list(TABLES))
        self.assertEqual(book.rows("meters")[0]["meterReadingDate"], ("date", "2024-01-16T08:35"))
        self.assertEqual(book.rows("meters")[0]["Calibre"], ("text", "015"))

    def test_records_alone(self):
        database = self.database(sample("round-returned.txt"), "--table", "records")
        names = {row["name"] for row in database.execute("SELECT name FROM sqlite_schema WHERE type = 'table'")}
        self.assertIn("meter_subscriber", names)
        self.assertFalse(names & (set(TABLES) | {"meter_summary"}))
        self.assertEqual(database.execute("SELECT count(*) FROM meters").fetchone()[0], 60)

    def test_one_table(self):
        for name in TABLES:
            database = self.database(sample("round-returned.txt"), "--table", name)
            self.assertEqual({row["name"] for row in database.execute("SELECT name FROM sqlite_schema WHERE type IN ('table', 'view')")}, {name, "files"})

    def test_usage(self):
        for options, message in ((("--to", "csv", "--table", "x"), '--table: invalid value "x"; expected records, meters, answers, alarms, unread or locations'),
                                 (("--to", "csv", "--table", "unraed"), '--table: invalid value "unraed"; expected records, meters, answers, alarms, unread or '
                                                                        'locations; did you mean "unread"?'),
                                 (("--to", "geojson", "--table", "meters"), '--table: invalid value "meters"; expected locations'),
                                 (("--to", "csv", "--table", "meters", "--only", "AMR"), "--only: not with a table of rounds, which has no kinds"),
                                 (("--to", "geojson", "--only", "AMR"), "--only: not with a table of rounds, which has no kinds"),
                                 (("--to", "csv", "--table", "meters", "--findings", "x"), '--findings: not with a table of rounds; see "tramo check"')):
            result = self.run_tool("export", self.write("f", b""), *options)
            self.assertEqual((result.code, result.out, result.err), (2, "", f'tramo: export: {message}\ntramo: try "tramo help export"\n'))


class GeoJson(RoundTest):
    def features(self, content, *options, **run):
        return checked(self.export(content, "--to", "geojson", *options, **run).raw)

    def test_located_meters_are_points(self):
        content = sample("round-returned.txt")
        features = self.features(content)
        rows = self.table(content, "locations")
        self.assertGreater(len(rows), 10)
        self.assertEqual([feature["geometry"]["coordinates"] for feature in features], [[float(row["longitude"]), float(row["latitude"])] for row in rows])
        self.assertEqual([feature["properties"]["meterSerialNumber"] for feature in features], [row["meterSerialNumber"] for row in rows])
        first = features[0]["properties"]
        self.assertEqual((first["meterReadingIndex"], first["Adresse"], first["state"]), (6054, "126 Rue des Érables", "read"))
        self.assertFalse({"latitude", "longitude"} & set(first))
        self.assertEqual({tuple(feature["properties"]) for feature in features}, {tuple(first)})   # the same members in each

    def test_no_located_meters_are_an_empty_collection(self):
        for content in (b"", sample("tags.txt"), lines(ROUND, METER)):
            self.assertEqual(self.features(content), [])

    def test_hostile_files(self):
        for wide in (False, True):
            content = hostile(f"geojson {wide}", 1500, wide)
            self.assertGreater(len(self.features(content, code=(0, 1))), 0)

    def test_texts_and_extreme_numbers(self):
        text = b'"\\\x01\x7f\xe9</script>'
        content = lines(round_with(area(1, "Lieu", 0, 30)), meter(b"M-1", meter=text), located(b"M-1", b"-90", b"180"), meter(b"M-2"), located(b"M-2", b"1e-7", b"0.1"))
        features = self.features(content)
        self.assertEqual(features[0]["properties"]["Lieu"], text.decode("latin-1"))
        self.assertEqual([feature["geometry"]["coordinates"] for feature in features], [[180, -90], [0.1, 1e-7]])

    def test_suffix_and_fields(self):
        content = sample("round-returned.txt")
        self.export(content, "-o", self.path("meters.geojson"), "--fields", "meterSerialNumber,latitude")
        features = checked(self.content(self.path("meters.geojson")))
        self.assertEqual(features[0]["properties"], {"meterSerialNumber": "C12AB0100000", "latitude": 48.49992})
        self.assertEqual(features[0]["geometry"]["coordinates"], [-1.60015, 48.49992])

    def test_the_checker_finds_what_is_wrong(self):
        good = {"type": "FeatureCollection", "features": [{"type": "Feature", "geometry": {"type": "Point", "coordinates": [1, 2]}, "properties": {}}]}
        self.assertEqual(len(checked(json.dumps(good).encode())), 1)
        text = json.dumps(good)
        for old, new in (("FeatureCollection", "featurecollection"), ('"features": [', '"crs": {}, "features": ['), ("[1, 2]", "[1]"), ("[1, 2]", "[181, 2]"),
                         ("[1, 2]", "[1, 91]"), ("[1, 2]", "[NaN, 2]"), ("[1, 2]", '["1", 2]'), ("[1, 2]", "[true, 2]"), ('"properties": {}', '"properties": null'),
                         ('"properties": {}', '"other": {}'), ("Point", "point"), ('"properties": {}', '"properties": {"a": 1, "a": 2}'), ("]}", "]"), ("{", "\ufeff{")):
            with self.assertRaises(ValueError, msg=(old, new)):
                checked(text.replace(old, new, 1).encode())
        self.assertNotIn("geojson", choices("import", "--from"))


class Fields(RoundTest):
    def test_columns_in_their_order(self):
        content = lines(ROUND, METER, METER)
        only = ("--only", "meter-subscriber", "--fields", "meterReadingIndex,line,meterSerialNumber")
        index, serial = int(METER[437:447]), METER[351:363].decode()
        self.assertEqual(self.export(content, "--to", "csv", *only).raw, f"meterReadingIndex,line,meterSerialNumber\r\n{index},2,{serial}\r\n{index},3,{serial}\r\n".encode())
        self.assertEqual(self.export(content, "--to", "jsonl", *only).out.splitlines()[0],
                         json.dumps({"meterReadingIndex": index, "line": 2, "meterSerialNumber": serial}, separators=(",", ":")))
        database = self.database(content, *only)
        rows = database.execute("SELECT * FROM meter_subscriber").fetchall()
        self.assertEqual([(row.keys(), tuple(row)) for row in rows], [(["meterReadingIndex", "line", "meterSerialNumber"], (index, n, serial)) for n in (2, 3)])
        self.export(content, "-o", self.path("w.xlsx"), *only)
        self.assertEqual(Workbook(self.path("w.xlsx")).sheets["meter subscriber"],
                         [[("text", "meterReadingIndex"), ("text", "line"), ("text", "meterSerialNumber")]] + [[("number", index), ("number", n), ("text", serial)] for n in (2, 3)])

    def test_of_tables_of_a_round(self):
        content = sample("round-returned.txt")
        self.assertEqual(self.export(content, "--to", "csv", "--table", "unread", "--fields", "Adresse,meterSerialNumber").out.splitlines()[:2],
                         ["Adresse,meterSerialNumber", "41 Chemin des Prés,C15AB0100111"])
        rows = self.database(content, "--table", "unread", "--fields", "Adresse,file").execute("SELECT * FROM unread").fetchall()
        self.assertEqual(tuple(rows[0]), ("41 Chemin des Prés", self.path("f")))

    def test_a_row_without_values_is_a_row(self):
        content = lines(put(METER, 464, b" " * 30), put(METER, 464, b"x".ljust(30)))
        options = ("--only", "meter-subscriber", "--fields", "meterMessage")
        self.assertEqual(self.export(content, "--to", "csv", *options).out, 'meterMessage\r\n""\r\nx\r\n')
        self.assertEqual(self.export(content, "--to", "jsonl", *options).out, '{}\n{"meterMessage":"x"}\n')

    def test_long_texts(self):
        text = "ab=" * 200000
        content = lines(METER, text.encode(), METER)
        for fields in ("text", "line,text", "text,line"):
            options = ("--only", "text", "--fields", fields)
            row = json.loads(self.export(content, "--to", "jsonl", *options, code=(1,)).out)
            self.assertEqual(row, {name: {"text": text, "line": 2}[name] for name in fields.split(",")})
            # Python's reader has a limit of its own.
            csv.field_size_limit(1 << 30)
            row = next(csv.DictReader(io.StringIO(self.export(content, "--to", "csv", *options, code=(1,)).out, newline="")))
            self.assertEqual((row["text"], row.get("line", "2")), (text, "2"))
            self.assertEqual(self.database(content, *options, code=(1,)).execute("SELECT text FROM text").fetchone()[0], text)

    def test_keys_stay_masked(self):
        content = sample("amr-keys.txt")
        out = self.export(content, "--to", "jsonl", "--only", "key", "--fields", "wmBusKey_Mode5,text").out
        self.assertEqual(set(out.splitlines()), {'{"wmBusKey_Mode5":"***"}'})

    def test_usage(self):
        only = ("--to", "csv", "--only", "meter-subscriber")
        for options, message in (
                ((*only, "--fields", "meterSerialNumbr"), '--fields: meter subscriber has no column "meterSerialNumbr"; did you mean "meterSerialNumber"?'),
                (("--to", "csv", "--table", "unread", "--fields", "Addresse"), '--fields: unread has no column "Addresse"; did you mean "Adresse"?'),
                (("--to", "geojson", "--fields", "nothing"), '--fields: locations has no column "nothing"'),
                ((*only, "--fields", "line,meterSerialNumber,line"), '--fields: "line" is named twice'),
                ((*only, "--fields", ""), "--fields: a name is missing; expected names with commas between them"),
                ((*only, "--fields", "line,"), "--fields: a name is missing; expected names with commas between them"),
                (("--to", "csv", "--fields", "line"), "--fields: needs --table or --only KIND, because each kind has its own fields")):
            result = self.run_tool("export", "samples/round-returned.txt", *options)
            self.assertEqual((result.code, result.out, result.err), (2, "", f'tramo: export: {message}\ntramo: try "tramo help export"\n'))

    def test_one_table_is_a_file(self):
        for options in (("--table", "meters"), ("--only", "AMR", "--fields", "line")):
            for _ in range(2):
                self.export(lines(METER, AMR), "--to", "csv", *options, "-o", self.path("out"), "--force")
            self.assertTrue(os.path.isfile(self.path("out")))

    def test_an_unknown_name_leaves_the_old_file(self):
        out = self.write("out.csv", b"old")
        result = self.run_tool("export", "samples/round-returned.txt", "--table", "unread", "--fields", "x", "-o", out)
        self.assertEqual((result.code, self.content(out)), (2, b"old"))


class ManyFiles(RoundTest):
    def setUp(self):
        super().setUp()
        for folder in ("a", "b"):
            os.mkdir(self.path(folder))
        self.contents = {"a/round.txt": sample("round-returned.txt"), "b/round.txt": utf16(sample("round-exported.txt").decode("latin-1")),
                         "damaged.txt": sample("round-damaged.txt")}
        for name, content in self.contents.items():
            self.write(name, content)

    def run_here(self, *arguments):
        return self.run_tool(*arguments, cwd=self.folder)

    def test_rows_are_those_of_each_file(self):
        for form in ("jsonl", "csv"):
            for options in ([], ["--table", "meters"], ["--table", "alarms"], ["--only", "AMR"]):
                if form == "csv" and not options:
                    continue
                together = self.run_here("export", *self.contents, "--to", form, *options)
                parse = (lambda text: [json.loads(line) for line in text.splitlines()]) if form == "jsonl" else \
                    (lambda text: list(csv.DictReader(io.StringIO(text, newline=""))))
                expected, codes = [], set()
                for name in self.contents:
                    one = self.run_here("export", name, "--to", form, *options)
                    codes.add(one.code)
                    expected += [{"file": name} | row for row in parse(one.out)]
                rows = parse(together.out)
                for row in rows:
                    self.assertEqual(next(iter(row)), "file")
                self.assertEqual([{name: value for name, value in row.items() if value != ""} for row in rows],
                                 [{name: value for name, value in row.items() if value != ""} for row in expected], (form, options))
                self.assertEqual((together.code, len(rows) > 100 or "alarms" in options), (max(codes), True), together.err)
                self.assertLess(together.code, 2)

    def test_the_number_of_threads_does_not_matter(self):
        for options in ("--to jsonl", "--to csv -o out", "--to csv --table meters"):
            results = []
            for threads in ("1", "4"):
                result = self.run_here("export", *self.contents, *options.split(), "--force", "-j", threads)
                tables = {name: self.content(self.path("out/" + name)) for name in sorted(os.listdir(self.path("out")))} if "-o" in options else {}
                results.append((result.raw, result.err, result.code, tables))
            self.assertEqual(results[0], results[1])

    def test_a_database_of_many_files(self):
        self.assertEqual(self.run_here("export", *self.contents, "-o", "all.sqlite").code, 1)
        with sqlite3.connect(self.path("all.sqlite")) as database:
            self.assertEqual([row[0] for row in database.execute("SELECT name FROM files")], list(self.contents))
            for name in self.contents:
                self.run_here("export", name, "-o", "one.sqlite", "--force")
                with sqlite3.connect(self.path("one.sqlite")) as one:
                    tables = [row[0] for row in one.execute("SELECT name FROM sqlite_schema WHERE type IN ('table', 'view') AND name <> 'files'")]
                    for table in tables:
                        columns = [row[1] for row in one.execute(f"PRAGMA table_info({table})")]
                        self.assertIn("file", [row[1] for row in database.execute(f"PRAGMA table_info({table})")])
                        listed = ", ".join(f'"{column}"' for column in columns)
                        self.assertEqual(database.execute(f"SELECT {listed} FROM {table} WHERE file = ? ORDER BY {listed}", (name,)).fetchall(),
                                         one.execute(f"SELECT {listed} FROM {table} ORDER BY {listed}").fetchall(), (name, table))
                one.close()
        database.close()

    def test_views_of_many_files_are_quick(self):
        content = lines(ROUND, *(line for i in range(3000) for line in (put(METER, 352, b"M-%-10d" % i), put(AMR, 26, b"M-%-10d" % i))))
        for name in ("a/big.txt", "b/big.txt"):
            self.write(name, content)
        self.run_here("export", "a/big.txt", "b/big.txt", "-o", "all.sqlite")
        database = sqlite3.connect(self.path("all.sqlite"))
        steps = []
        database.set_progress_handler(lambda: steps.append(1), 1000)
        rows = database.execute("SELECT file, AMR_line FROM meters WHERE meterSerialNumber = 'M-1500'").fetchall()
        self.assertEqual(sorted(rows), [("a/big.txt", 3003), ("b/big.txt", 3003)])
        self.assertLess(len(steps), 10)
        database.close()

    def test_a_workbook_of_many_files(self):
        self.run_here("export", *self.contents, "-o", "all.xlsx")
        book = Workbook(self.path("all.xlsx"))
        for sheet in ("meter subscriber", "AMR", "finding", "meters", "answers"):
            self.assertEqual(book.sheets[sheet][0][:2], [("text", "file"), ("text", "line")])
        self.assertEqual([row["name"][1] for row in book.rows("files")], list(self.contents))
        self.assertEqual({row["file"][1] for row in book.rows("meters")}, set(self.contents))

    def test_geojson_of_many_files(self):
        features = checked(self.run_here("export", *self.contents, "--to", "geojson").raw)
        self.assertEqual({feature["properties"]["file"] for feature in features}, {"a/round.txt", "damaged.txt"})

    def test_findings_have_their_file(self):
        self.run_here("export", *self.contents, "--to", "jsonl", "-o", "rows", "--findings", "found")
        rows = [json.loads(line) for line in self.content(self.path("found")).splitlines()]
        self.assertEqual({(next(iter(row)), row["kind"]) for row in rows}, {("file", "finding")})
        self.assertIn("damaged.txt", {row["file"] for row in rows})

    def test_one_file_has_no_column(self):
        self.assertNotIn('"file"', self.run_here("export", "a/round.txt", "--to", "jsonl").out)
        self.assertTrue(self.run_here("export", "a/round.txt", "--to", "csv", "--only", "AMR").out.startswith("line,kind,"))

    def test_a_folder_of_tables_is_replaced(self):
        for mark in ([], ["--bom"]):
            for files in (self.contents, ["a/round.txt"], self.contents):
                result = self.run_here("export", *files, "--to", "csv", "-o", "tables", "--force", *mark)
                self.assertEqual((result.code, os.path.isdir(self.path("tables"))), (len(files) > 1, True), result.err)

    def test_a_file_that_cannot_be_read_leaves_no_output(self):
        for form in ("csv", "sqlite", "xlsx", "jsonl"):
            result = self.run_here("export", "a/round.txt", "missing.txt", "--to", form, "-o", "out")
            self.assertEqual((result.code, result.err), (2, "tramo: missing.txt: No such file or directory\n"))
            self.assertFalse(os.path.exists(self.path("out")))

    def test_no_input_is_replaced(self):
        before = self.content(self.path("b/round.txt"))
        result = self.run_here("export", "a/round.txt", "b/round.txt", "--to", "jsonl", "-o", "b/round.txt", "--force")
        self.assertEqual((result.code, self.content(self.path("b/round.txt"))), (2, before))

    def test_usage(self):
        os.symlink("a/round.txt", self.path("link.txt"))
        for files, message in ((("a/round.txt", "a/../a/round.txt"), 'the file "a/../a/round.txt" is named twice'),
                               (("a/round.txt", "link.txt"), 'the file "link.txt" is named twice'), (("-", "-"), 'the file "<stdin>" is named twice'),
                               (("a/round.txt", "b/round.txt", "--lines", "1-2"), "--lines: not with several files")):
            result = self.run_here("export", *files, "--to", "jsonl")
            self.assertEqual((result.code, result.err), (2, f'tramo: export: {message}\ntramo: try "tramo help export"\n'))


class Import(RoundTest):
    def import_of(self, name, form):
        return self.run_tool("import", self.path(name), "--from", form, "--encoding", "ansi", "-o", self.path("back"))

    def test_databases_with_tables_of_rounds(self):
        content = sample("round-returned.txt")
        self.assertEqual(self.trip(content, "sqlite", "ansi", "x.db"), self.rewritten(content, "ansi"))

    def test_rows_of_one_of_several_files(self):
        content = sample("round-returned.txt")
        paths = [self.write("one", content), self.write("other", b"")]
        for form, out in (("jsonl", "rows.jsonl"), ("csv", "tables"), ("sqlite", "rows.db")):
            exported = self.run_tool("export", *paths, "--to", form, "-o", self.path(out))
            self.assertEqual((exported.code, exported.err), (0, ""))
            result = self.import_of(out, form)
            self.assertEqual((result.code, result.err), (0, ""), form)
            self.assertEqual(self.content(self.path("back")), self.rewritten(content, "ansi"))
            os.remove(self.path("back"))

    def test_rows_of_several_files_are_refused(self):
        paths = [self.write("one", lines(ROUND, METER)), self.write("other", lines(AMR))]
        for form, out, place in (("jsonl", "rows.jsonl", "rows.jsonl:3:9"), ("csv", "tables", r"tables/\w+\.csv:\d"), ("sqlite", "rows.db", r"rows\.db: \w+, line \d")):
            self.run_tool("export", *paths, "--to", form, "-o", self.path(out))
            result = self.import_of(out, form)
            self.assertEqual(result.code, 2)
            self.assertRegex(result.err, f"^tramo: .*{place}: file: the row is of another file than the first one; an import makes one file: export it alone\n$")
            self.assertFalse(os.path.exists(self.path("back")))

    def test_tables_of_rounds_are_refused(self):
        for name in TABLES:
            for form, out, reason in (("csv", name + ".csv", 'there is no column "kind"; the file is not an export of records'),
                                      ("jsonl", name + ".jsonl", '"kind" is missing; the row is not one of records'),
                                      ("sqlite", name + ".db", "has no table of records; the database is not an export of records")):
                self.export(sample("round-returned.txt"), "--to", form, "--table", name, "-o", self.path(out))
                result = self.import_of(out, form)
                self.assertEqual(result.code, 2)
                self.assertIn(reason, result.err)

    def test_chosen_columns(self):
        content = lines(METER)
        self.export(content, "--only", "meter-subscriber", "--fields", "kind,meterSerialNumber,line,meterInformation", "-o", self.path("rows.csv"))
        result = self.import_of("rows.csv", "csv")
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertEqual(self.content(self.path("back"))[351:363], METER[351:363])
        self.export(content, "--only", "meter-subscriber", "--fields", "meterSerialNumber", "-o", self.path("few.csv"))
        self.assertIn('there is no column "kind"', self.import_of("few.csv", "csv").err)

    def test_the_file_is_a_text_and_comes_once(self):
        self.write("rows.jsonl", b'{"file":1,"kind":"tag"}\n')
        self.assertIn("rows.jsonl:1:9: file: expected a text", self.import_of("rows.jsonl", "jsonl").err)
        self.write("rows.jsonl", b'{"file":"a","file":"a","kind":"tag"}\n')
        self.assertIn('duplicate field "file"', self.import_of("rows.jsonl", "jsonl").err)


if __name__ == "__main__":
    unittest.main()
