"""Lines, rounds, findings and the description of the format."""
import copy
import datetime
import json
import os
import subprocess
import sys
import unittest

import tramostream
from support import TOOL, TestCase, content, exported, generated, iso, sample, tramo


class Lines(TestCase):
    def test_values_are_those_that_the_tool_exports(self):
        for name in "round-returned.txt", "round-returned-utf16.txt", "round-broken.txt", "tags.txt", "parameters.txt":
            lines = {line.number: line for line in tramostream.lines(sample(name))}
            count = 0
            for record in exported(sample(name)):
                line = lines[record.pop("line")]
                if record.pop("kind") == "text":
                    continue
                for field, value in record.items():
                    ours = getattr(line, field)
                    self.assertEqual(str(ours) if field.endswith("Year") else iso(ours), value, f"{name}, line {line.number}: {field}")
                    self.assertEqual(type(ours), type(line[field]))
                    count += 1
            self.assertGreater(count, 3)

    def test_lines_have_the_values_of_tables(self):
        tables = tramostream.tables(sample("round-returned.txt"))
        for line in tramostream.lines(sample("round-returned.txt")):
            table = tables[line.kind]
            row = table["line"].index(line.number)
            self.assertEqual({name: table[name][row] for name in table.columns[1:]}, line.to_dict())

    def test_places(self):
        number, offset = 0, 0
        for number, line in enumerate(tramostream.lines(sample("round-returned.txt")), 1):
            self.assertEqual((line.number, line.offset, len(line.bytes), line.ending), (number, offset, 512, "\r\n"))
            offset += 514
        self.assertEqual(number, 172)

    def test_no_field_has_the_name_of_an_attribute(self):
        for kind in tramostream.describe().kinds.values():
            line = tramostream.new_line(kind.name)
            for field in kind.fields:
                self.assertIsInstance(getattr(line, field), (type(None), str, bool))
                self.assertNotIn(field, ("bytes", "encoding", "ending", "fault", "kind", "number", "offset", "text", "raw", "copy"))
                self.assertIn(field, dir(line))

    def test_malformed_lines(self):
        lines = [line for line in tramostream.lines(sample("round-damaged.txt")) if line.fault]
        self.assertEqual(len(lines), 4)
        for line in lines:
            self.assertIsNone(line.kind)
            self.assertEqual(line.to_dict(), {})
            self.assertTrue(line.text or line.fault == "the line is empty")
            with self.assertRaises(AttributeError):
                line.meterSerialNumber
            with self.assertRaises(tramostream.UnknownNameError):
                line["meterSerialNumber"]

    def test_unknown_field(self):
        line = next(tramostream.lines(sample("round-returned.txt")))
        line = next(line for line in tramostream.lines(sample("round-returned.txt")) if line.kind == "meter subscriber")
        words = '^a meter subscriber line has no field "meterReadingIndx"; did you mean "meterReadingIndex"\\?$'
        with self.assertRaisesRegex(AttributeError, words):
            line.meterReadingIndx
        with self.assertRaisesRegex(AttributeError, words):
            line.meterReadingIndx = 5
        for access in lambda: line["meterReadingIndx"], lambda: tramostream.tables(b"", columns=["meterReadingIndx"]):
            with self.assertRaisesRegex(tramostream.UnknownNameError, words):
                access()
        self.assertFalse(hasattr(line, "_repr_html_"))
        line = next(tramostream.lines(sample("round-returned.txt")))
        with self.assertRaisesRegex(tramostream.UnknownNameError, "closest|defaultMeterWheels|did you mean"):
            line["defaultMeterWheel"]

    def test_set_and_copy(self):
        line = tramostream.new_line("meter subscriber", {"meterSerialNumber": "C1"})
        other = copy.copy(line)
        self.assertEqual(line, other)
        other.meterReadingIndex = 7
        self.assertNotEqual(line, other)
        self.assertEqual((line.meterReadingIndex, other.meterReadingIndex), (None, 7))
        other["meterReadingIndex"] = None
        self.assertEqual(line, other)
        with self.assertRaises(AttributeError):
            line.number = 5
        with self.assertRaises(TypeError):
            del line.meterReadingIndex
        with self.assertRaises(TypeError):
            hash(line)

    def test_findings_of_a_line(self):
        broken = [line for line in tramostream.lines(sample("round-broken.txt")) if line.number == 16]
        self.assertTrue(any("meterWheels" in str(finding) for finding in broken[0].findings()))

    def test_repr_shows_no_text(self):
        for line in tramostream.lines(sample("amr-keys.txt")):
            self.assertNotIn("{", repr(line))
        self.assertEqual(repr(next(tramostream.lines(sample("round-returned.txt")))), "<tramostream.Line 1: round>")

    def test_objects_are_made_by_functions(self):
        with self.assertRaises(TypeError):
            tramostream.Line()


class Rounds(TestCase):
    def test_meters_with_everything_that_belongs_to_them(self):
        [file] = tramostream.rounds(sample("round-returned.txt"))
        self.assertEqual((file.code, file.name, len(file.meters), file.read, file.unread), ("T0412", "TOURNÉE CENTRE 04-12", 60, 54, 6))
        meter = file.meters[0]
        self.assertIs(file.meter("C12AB0100000"), meter)
        self.assertIsNone(file.meter("none"))
        self.assertEqual(meter.reading.at, datetime.datetime(2024, 1, 16, 8, 35))
        self.assertEqual((meter.reading.index, meter.previous.index, meter.difference), (6054, 5998, 56))
        self.assertEqual(meter.reading.origin.line, 4)
        self.assertEqual(meter.area("Nom"), "ABONNÉ 0001")
        self.assertEqual([area.label for area in file.areas][:2], ["Nom", "Adresse"])
        self.assertEqual(meter.lines[0], meter.subscriber)
        self.assertEqual(len(meter.history), 3)
        flags = [(alarm.name, alarm.is_previous, alarm.field) for alarm in meter.alarms]
        self.assertIn(("LeakCurrent", False, "currentAlarmLeakCurrent"), flags)
        self.assertAlmostEqual(meter.place.latitude, 48.49992)

    def test_numbers_of_lists(self):
        [file] = tramostream.rounds(sample("round-returned.txt"))
        lines = list(tramostream.lines(sample("round-returned.txt")))
        self.assertEqual(sum(len(meter.changes) for meter in file.meters), sum(line.kind == "meter change" for line in lines))
        self.assertEqual(sum(meter.place is not None for meter in file.meters), 30)
        self.assertGreater(sum(len(meter.answers) for meter in file.meters), 10)
        self.assertGreater(sum(len(meter.module_readings) for meter in file.meters), 60)
        self.assertEqual(sum(len(meter.lines) for meter in file.meters) + len(file.pages) + 2, len(lines))

    def test_table_of_the_meters(self):
        file = tramostream.rounds(sample("round-returned.txt"))
        table = file.to_table()
        self.assertEqual(table["meterSerialNumber"], [meter.serial for meter in file[0].meters])
        self.assertEqual(table["difference"], [meter.difference for meter in file[0].meters])
        self.assertEqual((table.path, table.encoding, repr(file)),
                         (sample("round-returned.txt"), "ansi", "<tramostream.RoundFile: 1 round, 60 meters>"))

    def test_lines_of_the_file(self):
        lines = tramostream.rounds(sample("round-damaged.txt")).lines
        self.assertEqual(lines, list(tramostream.lines(sample("round-damaged.txt"))))
        self.assertEqual(lines[4].number, 5)

    def test_findings_of_a_meter(self):
        file = tramostream.rounds(generated(self.folder, "--returned", "--meters", "60", "--faults", "ReadingBelowPrevious"))
        [finding] = [finding for meter in file[0].meters for finding in meter.findings]
        self.assertEqual(finding.rule, "ReadingBelowPrevious")
        self.assertEqual(file.findings, [finding])

    def test_orphans(self):
        bytes_ = content("round-returned.txt")
        lines = bytes_.split(b"\r\n")
        gone = next(i for i, line in enumerate(lines) if line.startswith(b"1"))
        file = tramostream.rounds(b"\r\n".join(lines[:gone] + lines[gone + 1:]))
        self.assertGreater(len(file.orphans), 1)
        self.assertEqual(file.orphans[0].serial, "C12AB0100000")
        self.assertTrue(any(finding.rule == "LineWithoutMeter" for finding in file.findings))

    def test_meter_outlives_its_file(self):
        meter = tramostream.rounds(sample("round-returned.txt"))[0].meters[5]
        self.assertEqual(meter.subscriber.meterSerialNumber, meter.serial)

    def test_no_rounds(self):
        self.assertEqual(len(tramostream.rounds(sample("tags.txt"))), 0)
        self.assertEqual(len(tramostream.rounds(b"")), 0)


class Checks(TestCase):
    def tool(self, path, *options):
        """The findings of the tool, the number of errors and that of warnings."""
        report = json.loads(tramo("check", "--format", "json", *options, path, codes=(0, 1, 2)))["files"][0]
        return report["findings"], report["summary"]["errors"], report["summary"]["warnings"]

    def damaged(self):
        bytes_ = content("round-returned.txt")
        yield bytes_.replace(b"\r\n", b"\n")
        yield bytes_[:-300]
        yield bytes_.replace(b"  ", b" ")
        yield bytes_ + bytes_[:100]
        yield bytes_.decode("latin-1").encode()
        yield b"\n".join(line.rstrip() for line in bytes_.split(b"\n"))
        yield b"PK\x03\x04 no lines at all"
        yield b""
        yield content("round-returned-utf16.txt")[:-1]

    def compare(self, path, options, **arguments):
        findings, errors, warnings = self.tool(path, *options)
        ours = tramostream.check(path, **arguments)
        self.assertEqual((ours.errors, ours.warnings), (errors, warnings), path)
        if "--each" not in options:
            return ours
        shown = [(finding.severity, finding.rule, finding.line, finding.column, finding.end_column, finding.field, finding.message)
                 for finding in ours]
        self.assertEqual(shown, [(theirs["severity"], theirs["rule"], theirs.get("line"), theirs.get("column"), theirs.get("endColumn"),
                                  theirs.get("field"), theirs["message"]) for theirs in findings], path)
        return ours

    def test_samples(self):
        for name in ("round-returned.txt", "round-returned-utf16.txt", "round-broken.txt", "round-damaged.txt", "round-exported.txt",
                     "tags.txt", "parameters.txt", "amr-keys.txt"):
            with self.subTest(name=name):
                self.compare(sample(name), [])
                self.compare(sample(name), ["--each"], each=True)
                self.compare(sample(name), ["--each", "--strict"], each=True, strict=True)
        self.assertGreater(len(tramostream.check(sample("round-broken.txt"))), 80)

    def test_damaged_files(self):
        for number, bytes_ in enumerate(self.damaged()):
            with self.subTest(number=number):
                path = self.path(f"{number}.txt", bytes_)
                self.compare(path, [])
                self.compare(path, ["--each"], each=True)

    def test_severities_of_rules(self):
        path = sample("round-broken.txt")
        rules = {finding.rule: severity for finding, severity in zip(tramostream.check(path), ["off", "hint", "warning", "error"] * 9)}
        options = [word for rule, severity in rules.items() for word in ("--rule", f"{rule}={severity}")]
        self.assertGreater(len(rules), 9)
        ours = self.compare(path, ["--each", *options], each=True, rules=rules)
        self.assertEqual(ours.hints, sum(finding.severity == "hint" for finding in ours))
        self.assertGreater(ours.hints, 0)
        self.assertIn(f"{ours.hints} hint", repr(ours))
        with self.assertRaisesRegex(tramostream.UnknownNameError, 'unknown rule "CardOrdr"; did you mean "CardOrder"'):
            tramostream.check(path, rules={"CardOrdr": "off"})
        with self.assertRaisesRegex(tramostream.UnknownNameError, "expected"):
            tramostream.check(path, rules={"CardOrder": "none"})

    def test_findings_that_the_diagnosis_explains(self):
        bytes_ = content("round-returned.txt").replace(b"\r\n", b"\n")
        few, each = tramostream.check(bytes_), tramostream.check(bytes_, each=True)
        self.assertEqual(len(few.diagnosis), 1)
        self.assertLess(len(few), 5)
        self.assertGreater(len(each), 170)

    def test_findings_are_plain(self):
        findings = tramostream.check(sample("round-broken.txt"))
        finding = next(finding for finding in findings if finding.field == "meterWheels")
        self.assertEqual((finding.severity, finding.line, finding.column, finding.found), ("error", 16, 364, "VA"))
        self.assertTrue(str(finding).startswith("16:364: error: meterWheels: invalid integer"))
        self.assertEqual(findings[0], list(findings)[0])
        self.assertEqual(findings[:2], list(findings)[:2])
        self.assertIn("57 errors", repr(findings))

    def test_keys_are_not_shown(self):
        for finding in tramostream.check(sample("amr-keys.txt"), all=True):
            self.assertNotIn("0123456789ABCDEF", str(finding))

    def test_frame(self):
        try:
            import pandas  # noqa: F401
        except ImportError:
            self.skipTest("needs pandas")
        frame = tramostream.check(sample("round-broken.txt")).to_frame()
        self.assertEqual(len(frame), 91)
        self.assertEqual(str(frame.dtypes["line"]), "Int64")
        self.assertEqual(len(tramostream.check(sample("round-returned.txt")).to_frame()), 0)


class Format(TestCase):
    def test_is_that_of_the_tool(self):
        document = json.loads(tramo("explain", "--format", "json"))
        ours = tramostream.describe()
        for kind in document["kinds"]:
            if kind["line"] == "key":
                continue
            here = ours.kinds[kind["kind"]]
            self.assertEqual((here.letter, here.length), (kind.get("letter"), kind["length"]))
            fields = {field["field"]: field for field in kind["fields"] if "column" in field}
            self.assertEqual(list(here.fields), list(fields))
            for name, field in here.fields.items():
                theirs = fields[name]
                self.assertEqual((field.type, field.column, field.width, field.codes, field.read_into, field.required),
                                 (theirs["type"], theirs["column"], theirs["width"], theirs.get("codes", ""),
                                  theirs.get("readInto", ""), theirs.get("required", "")))
        named = {rule["rule"] for rule in document["rules"]}
        self.assertTrue(named <= set(ours.rules))
        self.assertTrue(set(ours.rules) - named <= {error["name"] for error in document["errors"]})

    def test_version(self):
        self.assertIn(tramostream.__version__, tramo("--version").decode())


class Main(TestCase):
    def test_runs_the_tool(self):
        environment = os.environ | {"PATH": os.path.dirname(TOOL)}
        done = subprocess.run([sys.executable, "-m", "tramostream", "--version"], env=environment, capture_output=True, text=True, check=True)
        self.assertIn(tramostream.__version__, done.stdout)

    def test_without_the_tool(self):
        done = subprocess.run([sys.executable, "-m", "tramostream", "--version"], env=os.environ | {"PATH": self.folder}, capture_output=True, text=True,
                              check=False)
        self.assertEqual(done.returncode, 2)
        self.assertIn("not installed", done.stderr)


if __name__ == "__main__":
    unittest.main()
