"""Frames and tables, against what the tool exports."""
import concurrent.futures
import copy
import datetime
import io
import json
import multiprocessing
import os
import pathlib
import pickle
import subprocess
import sys
import unittest

import tramostream
from support import TestCase, content, exported, generated, iso, sample, tramo

try:
    import numpy
    import pandas
except ImportError:
    pandas = None

ROUNDS = ["round-returned.txt", "round-returned-utf16.txt", "round-exported.txt", "round-broken.txt"]


def compare(test, path, value_of, kinds):
    """Compares the records of a file with those that the tool exports. The tool leaves default values out."""
    defaults, rows, values = {}, {}, 0
    for record in exported(path):
        kind = record.pop("kind")
        if kind not in kinds or record["line"] not in kinds[kind]:
            continue
        rows[kind] = rows.get(kind, 0) + 1
        for name, ours in value_of(kind, record["line"]).items():
            if ours is None and name not in record:
                continue
            if name in record:
                expected = record[name]
                if isinstance(expected, float):
                    test.assertAlmostEqual(ours, expected, places=9, msg=f"{kind}.{name}")
                else:
                    test.assertEqual(str(ours) if name.endswith("Year") else iso(ours), expected, f"{kind}.{name} in line {record['line']}")
                values += 1
            else:
                test.assertEqual(defaults.setdefault((kind, name), ours), ours, f"{kind}.{name} in line {record['line']}")
    return rows, values


class Tables(TestCase):
    """Without other packages."""

    def test_columns_have_the_values_that_the_tool_exports(self):
        files = [sample(name) for name in ROUNDS + ["tags.txt", "parameters.txt"]]
        for path in files:
            with self.subTest(path=os.path.basename(path)):
                tables = tramostream.tables(path)
                columns = {kind: table.to_dict() for kind, table in tables.items()}
                places = {kind: {line: row for row, line in enumerate(of["line"])} for kind, of in columns.items()}
                rows, values = compare(self, path, lambda kind, line: {
                    name: column[places[kind][line]] for name, column in columns[kind].items()}, places)
                self.assertEqual(set(rows), set(tables))
                self.assertGreater(values, 3)

    def test_nothing_is_imported(self):
        code = "import sys, tramostream; tramostream.tables(sys.argv[1]); print({'numpy', 'pandas', 'dask'} & set(sys.modules))"
        done = subprocess.run([sys.executable, "-c", code, sample("round-returned.txt")], capture_output=True, text=True, check=True)
        self.assertEqual((done.stdout, done.stderr), ("set()\n", ""))

    def test_buffers(self):
        table = tramostream.tables(sample("round-returned.txt"))["meter subscriber"]
        values, absent = table.buffer("meterReadingIndex"), table.absent("meterReadingIndex")
        self.assertEqual((values.format, values.nbytes, absent.format), ("q", 8 * len(table), "?"))
        self.assertEqual([None if gone else value for value, gone in zip(values, absent)], table["meterReadingIndex"])
        self.assertIsNone(table.absent("line"))
        self.assertEqual(table.buffer("meterAuthorizedChange").format, "?")
        with self.assertRaises(TypeError):
            table.buffer("meterSerialNumber")

    def test_buffer_outlives_the_table(self):
        values = tramostream.tables(sample("round-returned.txt"))["meter subscriber"].buffer("line")
        self.assertEqual(values[0], 4)

    def test_codes_and_alarm_flags_are_texts(self):
        tables = tramostream.tables(sample("round-returned.txt"))
        self.assertIn("0082", tables["AMR"]["currentAlarms"])
        self.assertEqual(tables["meter subscriber"]["meterReadingStatus"][0], "1")

    def test_kinds_have_the_order_of_their_letters(self):
        self.assertEqual(list(tramostream.tables(sample("round-returned.txt"))),
                         ["round", "meter subscriber", "AMR", "meter change", "extended AMR", "enquiry definition", "enquiry result",
                          "extended data", "record information"])

    def test_any_spelling_of_a_kind(self):
        tables = tramostream.tables(sample("round-returned.txt"))
        for name in "meter subscriber", "Meter-Subscriber", "1", "MeterSubscriberTramoModel":
            self.assertEqual(len(tables[name]), 60)
        self.assertNotIn("no such kind", tables)
        with self.assertRaises(KeyError):
            tables["no such kind"]

    def test_kind_that_the_file_does_not_have(self):
        tables = tramostream.tables(sample("tags.txt"))
        self.assertEqual(list(tables), ["tag line"] if "tag line" in tables else list(tables))
        self.assertEqual(len(tables["AMR"]), 0)
        self.assertEqual(tables["AMR"]["currentAlarms"], [])

    def test_choice_of_kinds_and_columns(self):
        tables = tramostream.tables(sample("round-returned.txt"), types=["1", "AMR"], columns=["meterReadingIndex", "meterSerialNumber"])
        self.assertEqual(list(tables), ["meter subscriber", "AMR"])
        self.assertEqual(tables["1"].columns, ["line", "meterReadingIndex", "meterSerialNumber"])
        self.assertEqual(tables["AMR"].columns, ["line", "meterSerialNumber"])

    def test_unknown_names_say_the_closest(self):
        for arguments, words in (({"columns": ["meterReadingIndx"]}, "meterReadingIndex"), ({"types": ["meter subscribr"]}, "meter"),
                                 ({"encoding": "utf-8"}, "utf16le"), ({"columns": ["line"]}, "no field")):
            with self.assertRaisesRegex(tramostream.UnknownNameError, words):
                tramostream.tables(sample("round-returned.txt"), **arguments)

    def test_every_name_must_be_known(self):
        with self.assertRaisesRegex(tramostream.UnknownNameError, "meterReadingIndex"):
            tramostream.tables(sample("round-returned.txt"), columns=["meterSerialNumber", "meterReadingIndx"])
        with self.assertRaises(tramostream.UnknownNameError):
            tramostream.tables(sample("round-returned.txt"), types=["AMR"], columns=["meterSerialNumber", "meterReadingIndex"])
        for arguments in {"types": "AMR"}, {"columns": "meterSerialNumber"}:
            with self.assertRaisesRegex(TypeError, "list of names"):
                tramostream.tables(sample("round-returned.txt"), **arguments)

    def test_unknown_column_of_a_table(self):
        with self.assertRaisesRegex(tramostream.UnknownNameError, 'no column "meterReadingIndx"; did you mean "meterReadingIndex"'):
            tramostream.tables(sample("round-returned.txt"))["1"]["meterReadingIndx"]

    def test_kind_that_was_not_read(self):
        for arguments in {"types": ["AMR"]}, {"columns": ["serialNumber"]}:
            with self.assertRaisesRegex(KeyError, "was not read"):
                tramostream.tables(sample("round-returned.txt"), **arguments)["meter subscriber"]

    def test_names_of_columns(self):
        table = tramostream.tables(sample("round-returned.txt"))["AMR"]
        self.assertEqual(list(table), table.columns)
        for name in 0, slice(3), None:
            with self.assertRaisesRegex(TypeError, "str"):
                table[name]

    def test_representations(self):
        tables = tramostream.tables(sample("round-damaged.txt"), types=["round", "AMR"])
        self.assertEqual(repr(tables), f"<Tables: 'round': 1 row, 'AMR': {len(tables['AMR'])} rows, malformed: 4 lines>")
        self.assertEqual(repr(tables["round"]), f"<tramostream.Table 'round': 1 row, {len(tables['round'].columns)} columns>")
        self.assertEqual(repr(tramostream.scan("a.txt", "2")), "<tramostream.Scan 'AMR' of 'a.txt'>")

    def test_malformed_lines_are_kept(self):
        malformed = tramostream.tables(sample("round-damaged.txt")).malformed.to_dict()
        texts = [record["text"] for record in exported(sample("round-damaged.txt")) if record["kind"] == "text"]
        self.assertEqual(len(malformed["line"]), 4)
        self.assertTrue(set(texts) & set(malformed["text"]))
        self.assertIn("the line is too short", malformed["fault"])

    def test_keys_are_not_in_tables(self):
        tables = tramostream.tables(sample("amr-keys.txt"))
        self.assertEqual(len(tables), 0)
        self.assertEqual(set(tables.malformed["text"]), {None})


@unittest.skipUnless(pandas, "needs pandas")
class Frames(TestCase):
    def test_frames_have_the_values_of_the_tables(self):
        for name in ROUNDS + ["tags.txt", "parameters.txt"]:
            tables = tramostream.tables(sample(name))
            for strings in "object", "category":
                frames = tramostream.read(sample(name), strings=strings)
                self.assertEqual(list(frames), list(tables))
                for kind, frame in frames.items():
                    self.assertEqual(list(frame.columns), tables[kind].columns)
                    for column in frame:
                        ours = [None if pandas.isna(value) else value for value in frame[column]]
                        expected = [pandas.Timestamp(value) if isinstance(value, datetime.date) else value
                                    for value in tables[kind][column]]
                        self.assertEqual(ours, expected, f"{kind}.{column}")

    def test_types(self):
        frames = tramostream.read(sample("round-returned.txt"))
        frame = frames["meter subscriber"]
        types = {"line": "int64", "subscriberCardOrder": "Int32", "meterReadingIndex": "Int64", "meterMinEstimatedConsumption": "Float64",
                 "meterAuthorizedChange": "boolean", "meterInstallationYear": "Int16", "meterSerialNumber": "string",
                 "meterReadingStatus": "string"}
        self.assertEqual({name: str(frame.dtypes[name]) for name in types}, types)
        for name in "meterReadingDate", "meterPreviousReadingDate":
            self.assertTrue(pandas.api.types.is_datetime64_dtype(frame[name]))
        self.assertEqual(frame.meterReadingDate[0], pandas.Timestamp("2024-01-16 08:35"))
        self.assertIs(frame.meterMessage[0], pandas.NA)
        self.assertIs(frame.meterReadingIndex[3], pandas.NA)
        self.assertIs(frame.meterReadingDate[3], pandas.NaT)
        self.assertEqual(str(tramostream.read(sample("round-returned.txt"), strings="category")["AMR"].currentAlarms.dtype), "category")

    def test_the_same_frame_each_time(self):
        frames = tramostream.read(sample("round-returned.txt"))
        self.assertIs(frames["AMR"], frames["2"])

    def test_frames_of_another_process(self):
        frames = tramostream.read(sample("round-damaged.txt"), types=["1", "AMR"], columns=["meterSerialNumber"])
        for again in pickle.loads(pickle.dumps(frames)), copy.deepcopy(frames), copy.copy(frames):
            self.assertEqual((list(again), repr(again), again.path, again.encoding),
                             (list(frames), repr(frames), frames.path, frames.encoding))
            for kind in "AMR", "meter subscriber", "1":
                pandas.testing.assert_frame_equal(again[kind], frames[kind])
            pandas.testing.assert_frame_equal(again.malformed, frames.malformed)
            for kind in "round", "no such kind":
                with self.assertRaises(KeyError):
                    again[kind]
        context = multiprocessing.get_context("spawn")
        with concurrent.futures.ProcessPoolExecutor(1, context) as pool:
            [read] = pool.map(tramostream.read, [sample("round-returned.txt")])
            [findings] = pool.map(tramostream.check, [sample("round-broken.txt")])
        self.assertEqual(len(read["AMR"]), 40)
        self.assertEqual(list(findings), list(tramostream.check(sample("round-broken.txt"))))

    def test_attributes(self):
        frame = tramostream.read(pathlib.Path(sample("round-returned-utf16.txt")))["AMR"]
        self.assertEqual(frame.attrs, {"path": sample("round-returned-utf16.txt"), "encoding": "utf16le", "kind": "AMR"})

    def test_frames_are_writable(self):
        frame = tramostream.read(sample("round-returned.txt"))["meter subscriber"]
        frame.loc[0, "meterReadingIndex"] = 5
        frame.loc[0, "meterMessage"] = "new"
        frame["meterReadingIndex"] += 1
        self.assertEqual((frame.meterReadingIndex[0], frame.meterMessage[0]), (6, "new"))

    def test_no_rows(self):
        frames = tramostream.read(b"")
        self.assertEqual(len(frames), 0)
        self.assertEqual(frames["AMR"].shape, (0, 29))
        self.assertEqual(str(frames["AMR"].serialNumber.dtype), "string")
        self.assertEqual(len(frames.malformed), 0)

    def test_malformed_lines(self):
        malformed = tramostream.read(sample("round-damaged.txt")).malformed
        self.assertEqual(list(malformed.columns), ["line", "fault", "text"])
        self.assertEqual(len(malformed), 4)

    def test_many_batches(self):
        path = generated(self.folder, "--returned", "--meters", "9000")
        frame = tramostream.read(path, types=["1"])["1"]
        lines = [line for line in tramostream.lines(path) if line.kind == "meter subscriber"]
        self.assertEqual(len(frame), len(lines))
        self.assertGreater(len(frame), 8192)
        self.assertEqual(list(frame.meterSerialNumber), [line.meterSerialNumber for line in lines])
        self.assertEqual([None if pandas.isna(value) else value for value in frame.meterReadingIndex],
                         [line.meterReadingIndex for line in lines])

    def test_meters_are_the_table_of_the_tool(self):
        for name in "round-returned.txt", "round-returned-utf16.txt", "round-exported.txt":
            frame = tramostream.meters(sample(name))
            rows = [json.loads(line) for line in
                    tramo("export", "--to", "jsonl", "--table", "meters", sample(name)).decode().splitlines()]
            self.assertEqual(len(frame), len(rows))
            self.assertGreater(len(rows), 20)
            for (_, ours), theirs in zip(frame.iterrows(), rows):
                for column, value in theirs.items():
                    if column in ("kind", "table"):
                        continue
                    here = ours[column]
                    if isinstance(here, pandas.Timestamp):
                        here = here.strftime("%Y-%m-%dT%H:%M" if "T" in value else "%Y-%m-%d")
                    self.assertEqual(here, value, f"{name}: {column}")

    def test_unknown_strings(self):
        for function in tramostream.read, tramostream.meters, lambda source, strings: tramostream.tables(source)["1"].to_frame(strings):
            with self.assertRaisesRegex(tramostream.UnknownNameError, "category"):
                function(sample("round-returned.txt"), strings="str")

    def test_meters_have_places_and_alarms(self):
        frame = tramostream.meters(sample("round-returned.txt"))
        meter = tramostream.rounds(sample("round-returned.txt"))[0].meters[0]
        self.assertEqual(frame.alarms[0], len(meter.alarms))
        self.assertEqual((frame.latitude[0], frame.longitude[0]), (meter.place.latitude, meter.place.longitude))
        self.assertEqual(str(frame.alarms.dtype), "Int32")
        self.assertEqual(frame["Nom"][0], meter.area("Nom"))


class Sources(TestCase):
    def check(self, source, rows=60, **options):
        tables = tramostream.tables(source, **options)
        self.assertEqual(len(tables["1"]), rows)
        return tables

    def test_paths_of_every_kind(self):
        path = sample("round-returned.txt")
        self.assertEqual(self.check(path).path, path)
        self.assertEqual(self.check(pathlib.Path(path)).path, path)
        with os.scandir(os.fsencode(os.path.dirname(path))) as entries:  # their __fspath__ returns bytes
            for entry in entries:
                if entry.name == b"round-returned.txt":
                    self.assertEqual(self.check(entry).path, path)

    def test_path_that_is_not_utf8(self):
        path = os.path.join(os.fsencode(self.folder), b"r\xff\xe9.txt")
        with open(path, "wb") as file:
            file.write(content("round-returned.txt"))
        self.assertEqual(self.check(os.fsdecode(path)).path, os.fsdecode(path))
        self.assertEqual(len(list(tramostream.lines(os.fsdecode(path)))), 172)
        with self.assertRaises(FileNotFoundError) as missing:
            tramostream.tables(os.fsdecode(path + b"x"))
        self.assertEqual(missing.exception.filename, os.fsdecode(path + b"x"))

    def test_memory(self):
        bytes_ = content("round-returned.txt")
        for source in bytes_, bytearray(bytes_), memoryview(bytes_):
            self.assertIsNone(self.check(source).path)

    def test_files(self):
        with open(sample("round-returned.txt"), "rb") as file:
            self.assertEqual(self.check(file).path, sample("round-returned.txt"))
        self.check(io.BytesIO(content("round-returned.txt")))
        read, write = os.pipe()
        os.write(write, content("round-returned.txt")[:514 * 100])
        os.close(write)
        with open(read, "rb") as pipe:
            self.assertIsNone(self.check(pipe, rows=34).path)

    def test_memory_is_kept_while_it_is_read(self):
        lines = tramostream.lines(bytearray(content("round-returned.txt")))
        self.assertEqual(sum(1 for _ in lines), 172)

    def test_encodings(self):
        self.assertEqual(self.check(sample("round-returned-utf16.txt")).encoding, "utf16le")
        self.check(content("round-returned-utf16.txt")[2:], encoding="utf16le")
        self.assertEqual(self.check(sample("round-returned.txt"), encoding="ansi").encoding, "ansi")

    def test_wrong_encoding(self):
        tables = tramostream.tables(sample("round-returned-utf16.txt"), encoding="ansi")
        self.assertEqual(len(tables), 0)
        self.assertGreater(len(tables.malformed), 100)
        self.assertEqual(len(tramostream.tables(sample("round-returned.txt"), encoding="utf16le")), 0)

    def test_parts(self):
        for name in "round-returned.txt", "round-returned-utf16.txt":
            parts = tramostream.parts(sample(name), 20000)
            self.assertGreater(len(parts), 3)
            self.assertEqual(b"".join(part.content() for part in parts), content(name).removeprefix(b"\xff\xfe"))
            if pandas:
                whole = pandas.concat([part.read("AMR") for part in parts], ignore_index=True)
                pandas.testing.assert_frame_equal(whole, tramostream.read(sample(name))["AMR"])


if __name__ == "__main__":
    unittest.main()
