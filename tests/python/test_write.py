"""Written files."""
import dataclasses
import datetime
import os
import stat
import unittest

import tramostream
from support import TestCase, content, sample

try:
    import numpy
    import pandas
except ImportError:
    pandas = None


class Writing(TestCase):
    def test_lines_as_they_stand(self):
        for name in "round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt":
            path = os.path.join(self.folder, name)
            encoding = "utf16le" if "utf16" in name else "ansi"
            with tramostream.Writer(path, encoding) as writer:
                for line in tramostream.lines(sample(name)):
                    writer.write(line)
            with open(path, "rb") as file:
                self.assertEqual(file.read(), content(name))

    def test_values(self):
        path = os.path.join(self.folder, "new.txt")
        values = {"meterSerialNumber": "C12", "meterReadingIndex": 6054, "meterMinEstimatedConsumption": 1.5,
                  "meterAuthorizedChange": True, "meterReadingStatus": "1", "meterReadingDate": datetime.datetime(2024, 7, 3, 14, 5),
                  "meterPreviousReadingDate": datetime.date(2023, 12, 31), "meterInstallationYear": 2008, "meterMessage": None,
                  "meterReadingMethod": "A", "meterWheels": 6}
        with tramostream.Writer(path) as writer:
            writer.write("meter subscriber", values)
            writer.write("AMR", {"serialNumber": "A1", "currentAlarms": "0082"})
            self.assertEqual(writer.lines, 2)
        meter, module = tramostream.lines(path)
        self.assertEqual({name: meter[name] for name in values}, values)
        self.assertEqual((module.currentAlarms, module.serialNumber), ("0082", "A1"))
        self.assertEqual(os.path.getsize(path), 2 * 514)

    def test_dataclass(self):
        @dataclasses.dataclass
        class Change:
            oldMeterSerialNumber: str
            newMeterSerialNumber: str
            newMeterIndex: int

        path = os.path.join(self.folder, "new.txt")
        with tramostream.Writer(path, "utf16le") as writer:
            writer.write("3", Change("OLD", "NEU\u20ac", 5))
        [line] = tramostream.lines(path)
        self.assertEqual((line.oldMeterSerialNumber, line.newMeterSerialNumber, line.newMeterIndex), ("OLD", "NEU\u20ac", 5))
        self.assertEqual(line.encoding, "utf16le")

    def test_value_that_does_not_fit(self):
        path = os.path.join(self.folder, "new.txt")
        cases = [("meterReadingIndex", 10 ** 12, "columns"), ("meterReadingIndex", "x", "expected an integer, found a text"),
                 ("meterReadingIndex", 1.5, "expected an integer"), ("meterReadingStatus", "Z", "unknown code"),
                 ("meterSerialNumber", "a\r\n", "line ending"), ("meterSerialNumber", "\u20ac", r"U\+20AC"),
                 ("meterMinEstimatedConsumption", float("nan"), "finite"), ("meterReadingIndex", 2 ** 70, "columns"),
                 ("meterReadingDate", datetime.datetime(2200, 1, 1), "32-bit"), ("meterReadingIndex", [1], "list"),
                 ("meterReadingIndex", True, "flag"), ("meterSerialNumber", 12, "expected a text")]
        with tramostream.Writer(path) as writer:
            writer.write("meter subscriber", {"meterSerialNumber": "C1"})
            for field, value, reason in cases:
                with self.assertRaisesRegex(tramostream.FieldError, reason) as failure:
                    writer.write("meter subscriber", {field: value})
                self.assertEqual((failure.exception.line, failure.exception.field), (2, field))
                self.assertTrue(str(failure.exception).startswith(f"line 2: {field}: "))
            with self.assertRaisesRegex(tramostream.FieldError, "alarm flags"):
                writer.write("AMR", {"currentAlarms": "xyz"})
            writer.write("meter subscriber", {"meterSerialNumber": "C2"})
        self.assertEqual([line.meterSerialNumber for line in tramostream.lines(path)], ["C1", "C2"])

    def test_unknown_names(self):
        with tramostream.Writer(os.path.join(self.folder, "new.txt")) as writer:
            with self.assertRaises(tramostream.UnknownNameError):
                writer.write("no such kind", {})
            with self.assertRaisesRegex(tramostream.UnknownNameError, "meterSerialNumber"):
                writer.write("1", {"meterSerialNumbr": "C1"})
            with self.assertRaises(TypeError):
                writer.write("1", 5)
        with self.assertRaises(tramostream.UnknownNameError):
            tramostream.Writer(os.path.join(self.folder, "other.txt"), "utf-8")

    def test_character_that_is_not_in_the_encoding(self):
        wide = tramostream.new_line("1", {"meterSerialNumber": "\u20ac"}, "utf16le")
        path = os.path.join(self.folder, "new.txt")
        with self.assertRaises(tramostream.EncodingError):
            with tramostream.Writer(path) as writer:
                writer.write(wide)
        self.assertFalse(os.path.exists(path))

    def test_whole_or_not_at_all(self):
        path = self.path("old.txt", b"old")
        with self.assertRaises(ZeroDivisionError):
            with tramostream.Writer(path) as writer:
                writer.write("1", {"meterSerialNumber": "C1"})
                raise ZeroDivisionError
        self.assertEqual(os.listdir(self.folder), ["old.txt"])
        with open(path, "rb") as file:
            self.assertEqual(file.read(), b"old")
        writer = tramostream.Writer(path)
        writer.write("1")
        del writer
        self.assertEqual(os.listdir(self.folder), ["old.txt"])

    def test_closed_writer(self):
        with tramostream.Writer(os.path.join(self.folder, "new.txt")) as writer:
            writer.write("1")
        with self.assertRaisesRegex(ValueError, "closed"):
            writer.write("1")

    def test_private(self):
        path = os.path.join(self.folder, "new.txt")
        with tramostream.Writer(path, private=True) as writer:
            writer.write("1")
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)

    def test_file_that_cannot_be_written(self):
        with self.assertRaises(FileNotFoundError) as failure:
            tramostream.Writer(os.path.join(self.folder, "none", "new.txt"))
        self.assertTrue(failure.exception.filename.endswith("new.txt"))
        if os.path.exists("/dev/full"):
            with self.assertRaises(OSError):
                with tramostream.Writer("/dev/full") as writer:
                    for _ in range(1000):
                        writer.write("1")


@unittest.skipUnless(pandas, "needs pandas")
class WritingFrames(TestCase):
    def test_frames_write_the_file_that_they_were_read_from(self):
        path = os.path.join(self.folder, "new.txt")
        frames = tramostream.read(sample("round-exported.txt"))
        with tramostream.Writer(path) as writer:
            writer.write_frames(frames)
        again = tramostream.read(path)
        self.assertEqual(list(again), list(frames))
        for kind in frames:
            pandas.testing.assert_frame_equal(frames[kind], again[kind], check_flags=False)

    def test_frame_without_lines(self):
        path = os.path.join(self.folder, "new.txt")
        frame = pandas.DataFrame({"meterSerialNumber": ["C1", "C2", None], "meterReadingIndex": [5, numpy.nan, 7.0],
                                  "meterReadingDate": pandas.to_datetime(["2024-01-31 14:05", None, None]),
                                  "meterAuthorizedChange": [True, False, None]})
        frame["meterReadingIndex"] = frame.meterReadingIndex.astype("Int64")
        with tramostream.Writer(path) as writer:
            writer.write_frame("meter subscriber", frame)
        values = [(line.meterSerialNumber, line.meterReadingIndex, line.meterReadingDate) for line in tramostream.lines(path)]
        self.assertEqual(values, [("C1", 5, datetime.datetime(2024, 1, 31, 14, 5)), ("C2", None, None), (None, 7, None)])

    def test_frames_of_other_types(self):
        with self.assertRaises(TypeError):
            with tramostream.Writer(os.path.join(self.folder, "new.txt")) as writer:
                self.assertEqual(repr(writer), f"<tramostream.Writer {writer.path!r}: 0 lines>")
                for frame in 5, [], {"meterSerialNumber": ["C1"]}:
                    with self.assertRaisesRegex(TypeError, "DataFrame"):
                        writer.write_frame("1", frame)
                writer.write_frames([frame])

    def test_types_mixed_in_a_frame(self):
        frame = pandas.DataFrame({"meterSerialNumber": ["C1", 5, "C3"]})
        path = os.path.join(self.folder, "new.txt")
        with self.assertRaisesRegex(tramostream.FieldError, "line 2: meterSerialNumber: expected a text, found an integer"):
            with tramostream.Writer(path) as writer:
                writer.write_frame("1", frame)
        self.assertFalse(os.path.exists(path))

    def test_numpy_values(self):
        line = {"meterReadingIndex": numpy.int32(5), "meterMinEstimatedConsumption": numpy.float32(1.5),
                "meterAuthorizedChange": numpy.bool_(True), "meterMessage": pandas.NA, "meterReadingDate": pandas.NaT}
        path = os.path.join(self.folder, "new.txt")
        with tramostream.Writer(path) as writer:
            writer.write("1", line)
        [written] = tramostream.lines(path)
        self.assertEqual((written.meterReadingIndex, written.meterMinEstimatedConsumption, written.meterAuthorizedChange), (5, 1.5, True))


if __name__ == "__main__":
    unittest.main()
