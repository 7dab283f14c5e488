"""Findings about fields: what was found, what was expected, and where."""
import json
import unittest
from support import AMR, INFORMATION, METER, ROUND, CliTest, lines, put, sample_line

PREVIOUS_DATE, MINIMUM, READING_DATE = 384, 402, 426   # columns of a meter subscriber line
EXTENDED_AMR = sample_line(b"4")
READING = "the reading has a date but lacks an index, a status, a method or (after a previous index) a consumption, or has one of the first three without a date"


class ParseErrors(CliTest):
    def assert_error(self, line, column, message, **more):
        """Checks that the line has a finding at that column with that message."""
        result = self.check(lines(line), **more)
        self.assertIn(f"f:1:{column}: error: {message}", result.findings)
        self.assertEqual(result.code, 1)
        return result

    def assert_reported_at(self, line, column, reported, message):
        """Checks that a note on the column that the format reports follows the finding, and that there is no other note."""
        out = self.assert_error(line, column, message).out.splitlines()
        notes = [at for at, text in enumerate(out) if " note: " in text]
        self.assertEqual([out[at] for at in notes], [f"f:1:{column}: note: the format reports this error at column {reported}"])
        self.assertEqual(out[notes[0] - 3], f"f:1:{column}: error: {message}", "the excerpt is between them")

    def test_dates(self):
        for text, why in (
                ("20241301", "there is no month 13"), ("20240001", "there is no month 00"), ("20240100", "there is no day 00"), ("20240132", "January has 31 days"),
                ("20240431", "April has 30 days"), ("20240230", "February 2024 has 29 days"),
                ("20230229", "February 2023 has 28 days"), ("19000229", "February 1900 has 28 days"),
                ("20000230", "February 2000 has 29 days"), ("2024011", "expected 8 digits (YYYYMMDD), found 7"),
                ("2024-1-1", 'expected 8 digits (YYYYMMDD), found "-" at column 388'),
                (" 2024011", 'expected 8 digits (YYYYMMDD), found " " at column 384'),
                ("2024011O", 'expected 8 digits (YYYYMMDD), found "O" at column 391'),
                ("19691231", "it is before 1970-01-01 00:00 UTC"), ("20380120", "it is after 2038-01-19 03:14 UTC"),
                ("99991231", "it is after 2038-01-19 03:14 UTC"), ("00000101", "it is before 1970-01-01 00:00 UTC")):
            with self.subTest(text):
                self.assert_error(put(METER, PREVIOUS_DATE, text.encode().ljust(8)), PREVIOUS_DATE,
                                  f'meterPreviousReadingDate: invalid date "{text}" [ParseDate 0x01B]: {why}')

    def test_dates_and_times(self):
        for text, why in (
                ("202402300900", "February 2024 has 29 days"), ("202401012400", "there is no hour 24"), ("202401012360", "there is no minute 60"),
                ("20240101", "expected 12 digits (YYYYMMDDhhmm), found 8"), ("202413012400", "there is no month 13"),
                ("2024010112:0", 'expected 12 digits (YYYYMMDDhhmm), found ":" at column 436'),
                ("203801190315", "it is after 2038-01-19 03:14 UTC")):
            with self.subTest(text):
                self.assert_error(put(METER, READING_DATE, text.encode().ljust(12)), READING_DATE,
                                  f'meterReadingDate: invalid date and time "{text}" [ParseDateTime 0x01A]: {why}')

    def test_earliest_date_depends_on_the_time_zone(self):
        line = put(METER, PREVIOUS_DATE, b"19700101")
        self.assertEqual(len(self.check(lines(line), env={"TZ": "America/New_York"}).findings), 0)
        self.assert_error(line, PREVIOUS_DATE, 'meterPreviousReadingDate: invalid date "19700101" [ParseDate 0x01B]: '
                          "it is before 1970-01-01 00:00 UTC", env={"TZ": "Europe/Paris"})

    def test_integers(self):
        for text, found in (("VA", '"V"'), ("x1", '"x"'), ("-", "nothing"), ("+-", '"-"')):
            with self.subTest(text):
                self.assert_error(put(METER, 392, text.encode().ljust(10)), 392,
                                  f'meterPreviousReadingIndex: invalid integer "{text}" [ParseInteger 0x001]: expected a digit, found {found}')

    def test_decimal_numbers(self):
        for text, what in (
                ("douze", 'invalid decimal number "{}" [ParseDouble 0x004]: expected a digit, found "d"'),
                ("-", 'invalid decimal number "{}" [ParseDouble 0x004]: expected a digit, found nothing'),
                (".", 'invalid decimal number "{}" [ParseDouble 0x004]: expected a digit, found "."'),
                (".e5", 'invalid decimal number "{}" [ParseDouble 0x004]: expected a digit, found "."'),
                ("1e999", 'decimal number "{}" is out of range [ParseDouble 0x004]'), ("-1e999", 'decimal number "{}" is out of range [ParseDouble 0x004]'),
                ("1e-400", 'decimal number "{}" is out of range [ParseDouble 0x004]')):
            with self.subTest(text):
                self.assert_error(put(METER, MINIMUM, text.encode().ljust(12)), MINIMUM, f'meterMinEstimatedConsumption: {what.format(text)}')

    def test_a_decimal_comma_is_shown_unchanged(self):
        self.assert_error(put(METER, MINIMUM, b",x          "), MINIMUM, 'meterMinEstimatedConsumption: invalid decimal number ",x" '
                          '[ParseDouble 0x004]: expected a digit, found ","')

    def test_year(self):
        self.assert_error(put(METER, 380, b"ABCD"), 380, 'meterInstallationYear: invalid year "ABCD" [ParseInteger 0x001]: expected 4 digits (YYYY)')

    def test_codes(self):
        self.assert_error(put(METER, 448, b"5"), 448, 'meterReadingStatus: invalid code "5" [ParseReadStatus 0x012]: expected 1, 2, 3 or 4')
        self.assert_error(put(METER, 459, b"m"), 459, 'meterReadingMethod: invalid code "m" [ParseReadMethod 0x013]: expected M, T or A')
        self.assert_error(put(METER, 507, b"w"), 507, 'meterFluidType: invalid code "w" [ParseFluidType 0x011]: expected W, C, E, G, H or T')

    def test_both_columns_when_they_differ(self):
        self.assert_reported_at(put(METER, 195, b"20231340"), 195, 194,
                                'meterHistory3ReadingDate: invalid date "20231340" [ParseDate 0x01B]: there is no month 13')
        self.assert_reported_at(put(METER, 364, b"VA"), 364, 352,
                                'meterWheels: invalid integer "VA" [ParseInteger 0x001]: expected a digit, found "V"')
        self.assert_reported_at(put(ROUND, 499, b"20240231"), 499, 8,
                                'roundImportDate: invalid date "20240231" [ParseDate 0x01B]: February 2024 has 29 days')
        self.assertNotIn("note: ", self.check(lines(put(METER, 448, b"5"))).out)

    def test_the_field_is_marked(self):
        result = self.assert_error(put(METER, READING_DATE, b"202402300900"), READING_DATE,
                                   'meterReadingDate: invalid date and time "202402300900" [ParseDateTime 0x01A]: February 2024 has 29 days')
        self.assertIn("     1 | ...   32.000000   96.000000202402300900      60541        56AAB...\n"
                      "       |                            ^~~~~~~~~~~~ columns 426-437\n", result.out)

    def test_marks_at_both_ends_of_the_line(self):
        result = self.check(lines(put(INFORMATION, 2, b"x")))
        self.assertIn("     1 | 9x   1   60                   ...\n       |  ^~~~~ columns 2-6\n", result.out)
        result = self.check(lines(put(METER, 507, b"Q")))
        self.assertIn("     1 | ...           2024011617300QAG07 \n       |                            ^ column 507\n", result.out)

    def test_findings_of_a_line_come_in_its_order(self):
        findings = self.check(lines(put(put(put(METER, 507, b"Q"), 2, b"xxxx"), 195, b"20231340"))).findings
        columns = [int(finding.split(":")[2]) for finding in findings]
        self.assertEqual(columns, sorted(columns))
        self.assertEqual(len(columns), 3)

    def test_blank_fields_are_not_errors(self):
        self.assert_findings(lines(put(put(METER, 2, b"    "), 364, b"  ")))


class IgnoredText(CliTest):
    """Text that is not part of a value: a warning, with its own columns."""

    def assert_ignored(self, line, column, message):
        self.assert_findings(lines(line), f"1:{column}: warning: {message}")

    def test_after_an_integer(self):
        for text, value, ignored in (("6O54", "6", "O54"), ("60541x", "60541", "x"), ("6054.5", "6054", ".5"), ("60 54", "60", "54"),
                                     ("1e3", "1", "e3"), ("0x1A", "0", "x1A"), ("6054 m3", "6054", "m3"), ("+7-", "7", "-")):
            with self.subTest(text):
                self.assert_ignored(put(METER, 438, text.encode().rjust(10)), 448 - len(ignored),
                                    f'meterReadingIndex: "{text}" is read as {value} [TextIgnored]: "{ignored}" after the number is ignored')

    def test_after_a_decimal(self):
        for text, value, ignored in (("1,5 m3", "1.5", "m3"), ("1.234,5", "1.234", ",5"), ("12e", "12", "e"), ("1..5", "1", ".5"),
                                     ("0x1Ag", "26", "g")):
            with self.subTest(text):
                self.assert_ignored(put(METER, MINIMUM, text.encode().ljust(12)), MINIMUM + text.index(ignored, 1),
                                    f'meterMinEstimatedConsumption: "{text}" is read as {value} [TextIgnored]: "{ignored}" after the number is ignored')

    def test_digits_that_a_decimal_cannot_hold(self):
        self.assert_ignored(put(AMR, 260, b"9007199254740993"), 275, 'previousMeterIndex: "9007199254740993" is read as '
                            '9007199254740992 [TextIgnored]: "3" is lost: a decimal number holds about 16 digits')
        self.assert_findings(lines(put(AMR, 260, b"9007199254740992")))

    def test_years(self):
        for text in ("20x4", "224", "0000", "1901", "2039"):
            self.assert_ignored(put(METER, 380, text.encode().ljust(4)), 380,
                                f'meterInstallationYear: "{text}" is read as no year [TextIgnored]: expected 4 digits (YYYY), from 1902 to 2038')

    def test_flags(self):
        self.assert_ignored(put(METER, 506, b"Y"), 506, 'meterAuthorizedChange: "Y" is read as 0 [TextIgnored]: expected 1 or 0')
        self.assert_ignored(put(EXTENDED_AMR, 94, b"X"), 94, 'fraudAlarm: "X" is read as 0 [TextIgnored]: expected 1 or 0')

    def test_alarm_flags(self):
        for text, column, read, why in (
                ("010G", 286, "no flag", 'expected 4 hexadecimal digits, found "G" at column 289'),
                ("ZZZZ", 286, "no flag", 'expected 4 hexadecimal digits, found "Z" at column 286'),
                ("0xG1", 286, "no flag", 'expected 4 hexadecimal digits, found "x" at column 287'),
                ("1G00", 287, "1 flag", 'expected 4 hexadecimal digits, found "G" at column 287'),
                ("00F0", 288, "no flag", '"F" matches no flag')):
            with self.subTest(text):
                findings = self.check(lines(put(AMR, 286, text.encode()))).findings
                self.assertEqual(findings, [f'f:1:{column}: warning: previousAlarms: "{text}" is read as {read} [TextIgnored]: {why}'])

    def test_no_finding_for_a_number_that_is_also_kept_as_text(self):
        self.assert_ignored(put(AMR, 232, b"0.5 L     "), 236, 'pulseWeight: "0.5 L" is read as 0.5 [TextIgnored]: "L" after the number is ignored')
        self.assert_ignored(put(AMR, 456, b"Y"), 456, 'externalAMR: "Y" is read as 0 [TextIgnored]: expected 1 or 0')

    def test_a_number_read_into_another_field(self):
        self.assert_ignored(put(INFORMATION, 7, b"  60x"), 11, 'meterNumber: "60x" is read as 60 [TextIgnored]: "x" after the number is ignored')
        self.assert_ignored(put(INFORMATION, 2, b"   1x"), 6, 'roundNumber: "1x" is read as 1 [TextIgnored]: "x" after the number is ignored')

    def test_a_zero_ends_a_number(self):
        zero = "1:{}: error: line contains {} [ZeroCharacter]: fields with a zero character are not checked"
        self.assert_findings(lines(put(METER, 438, b"     6" + b"\0" + b"054")), zero.format(444, "1 zero character"),
                             '1:445: warning: meterReadingIndex: "6\\x00054" is read as 6 [TextIgnored]: "054" after the number is ignored')
        self.assert_findings(lines(put(METER, 438, b"6054\0\0\0\0\0\0")), zero.format(442, "6 zero characters, the first at column 442"))

    def test_outside_of_fields(self):
        self.assert_ignored(put(INFORMATION, 20, b"a b"), 20, '"a b" is outside all fields [TextIgnored]: it is ignored')
        self.assert_ignored(put(INFORMATION, 12, b"x" * 501), 12, f'"{"x" * 40}"... is outside all fields [TextIgnored]: it is ignored')
        self.assert_ignored(b"FUFuite".ljust(22) + b"x", 23, '"x" is outside all fields [TextIgnored]: it is ignored')

    def test_spaces_are_not_reported(self):
        for text in (b"        6054", b"6054        ", b"\t6054\t      ", b"   +6054    "):
            self.assert_findings(lines(put(put(METER, MINIMUM, text), MINIMUM + 12, text)))
        self.assert_findings(lines(put(INFORMATION, 20, b"\t")))

    def test_an_unreadable_field_has_no_other_finding(self):
        findings = self.check(lines(put(METER, 364, b"x1"))).findings
        self.assertEqual(len(findings), 1)
        findings = self.check(lines(put(METER, 438, b"99999999999999999999x"[:10])), "--rule", "IndexAboveWheels=off").findings
        self.assertEqual(findings, [])
        findings = self.check(lines(put(EXTENDED_AMR, 76, b"1e999x   "))).findings
        self.assertEqual([f for f in findings if "TextIgnored" in f], [])

    def test_the_ignored_text_is_marked(self):
        result = self.check(lines(put(METER, 438, b"      6O54")))
        self.assertIn("     1 | ...00000202401160835      6O541        56AAB          ...\n"
                      "       |                            ^~~ columns 445-447\n", result.out)

    def test_formats_for_programs(self):
        content = lines(put(METER, 438, b"      6O54"), put(AMR, 480, b"x"))
        findings = self.check(content, "--format", "json").json["files"][0]["findings"]
        self.assertEqual(findings, [
            {"severity": "warning", "rule": "TextIgnored", "line": 1, "column": 445, "endColumn": 448, "kind": "meter subscriber",
             "field": "meterReadingIndex", "found": "      6O54",
             "message": 'meterReadingIndex: "6O54" is read as 6 [TextIgnored]: "O54" after the number is ignored'},
            {"severity": "warning", "rule": "TextIgnored", "line": 2, "column": 480, "endColumn": 481,
             "message": '"x" is outside all fields [TextIgnored]: it is ignored'}])
        run = self.check(content, "--format", "sarif").json["runs"][0]
        self.assertEqual([(result["level"], result["locations"][0]["physicalLocation"]["region"]) for result in run["results"]],
                         [("warning", {"startLine": 1, "startColumn": 445, "endColumn": 448}),
                          ("warning", {"startLine": 2, "startColumn": 480, "endColumn": 481})])
        rule = run["tool"]["driver"]["rules"][run["results"][0]["ruleIndex"]]
        self.assertEqual((rule["id"], rule["defaultConfiguration"]["level"]), ("TextIgnored", "warning"))
        self.assertIn("part of no value", self.run_tool("explain", "TextIgnored").out)
        self.assertEqual(self.check(content, "--strict", "--format", "json").json["errors"], 2)

    def test_generated_rounds_have_none(self):
        path = self.path_of_sample("--meters", "2000", "--returned")
        self.assertNotIn("TextIgnored", self.run_tool("check", "--all", "--max-findings", "20", path).out)
        for name in ("round-exported.txt", "round-returned.txt", "tags.txt", "parameters.txt"):
            self.assertNotIn("TextIgnored", self.run_tool("check", "--all", "samples/" + name).out)

    def path_of_sample(self, *options):
        path = self.write("sample.txt", b"")
        self.assertEqual(self.run_tool("sample", *options, "-o", path).code, 0)
        return path


class MandatoryFindings(CliTest):
    def test_missing_values_are_warnings(self):
        self.assert_findings(lines(put(ROUND, 2, b" " * 8)), "1:2: warning: code: missing value [MandatoryMissing 0x201]: it is empty")

    def test_those_that_the_model_reports_as_parse_errors_are_warnings_too(self):
        self.assert_findings(lines(put(METER, 352, b" " * 12)),
                             "1:352: warning: meterSerialNumber: missing value [MandatoryMissing 0x201]: it is empty")
        self.assert_findings(lines(put(METER, 384, b" " * 8)),
                             "1:384: warning: meterPreviousReadingDate: inconsistent values [MandatoryInconsistent 0x202]: "
                             "the previous reading has a date but no index, or an index but no date")

    def test_strict_makes_them_errors(self):
        self.assert_findings(lines(put(ROUND, 2, b" " * 8)), "1:2: error: code: missing value [MandatoryMissing 0x201]: it is empty",
                             options=["--strict"])

    def test_inconsistent_groups(self):
        self.assert_findings(lines(put(METER, 448, b" ")), f"1:426: warning: meterReadingDate: inconsistent values [MandatoryInconsistent 0x202]: {READING}")

    def test_both_columns_when_they_differ(self):
        # The fourth subscriber area of a round is reported one column to the left of its label.
        result = self.assert_findings(lines(put(put(ROUND, 432, b" " * 16), 448, b"105  ")),
                                      "1:432: warning: subscriberInformationLabelArea4: inconsistent values [MandatoryInconsistent 0x202]: "
                                      "its area has some of position, length and type, but not all of them")
        self.assertIn("\nf:1:432: note: the format reports this error at column 431\n", result.out)

    def test_a_wide_field_is_marked_in_part(self):
        result = self.check(lines(put(METER, 6, b" " * 150)))
        self.assertEqual([f.removeprefix("f:") for f in result.findings],
                         ["1:6: warning: subscriberInformation: missing value [MandatoryMissing 0x201]: it is empty"])
        self.assertIn("       |      ^" + "~" * 39 + " columns 6-155\n", result.out)


class OtherLines(CliTest):
    def test_tags(self):
        self.assert_findings(lines(b"FUFuite".ljust(23), b"  Fuite".ljust(23), b"FU".ljust(23)),
                             "2:1: warning: code: missing value [MandatoryMissing 0x201]: it is empty",
                             "3:3: warning: label: missing value [MandatoryMissing 0x201]: it is empty")

    def test_parameters(self):
        self.assert_findings(lines(b"VERSION 4.2".ljust(40), b"".ljust(40)),
                             "2:1: warning: key: missing value [MandatoryMissing 0x201]: it is empty",
                             "2:9: warning: value: missing value [MandatoryMissing 0x201]: it is empty")


class KeyLines(CliTest):
    VALUES = {"serialNumber": "4C30", "hardwareVersion": "2.0", "firmwareVersion": "1.0", "wmBusAddress_MeterId": 1,
              "wmBusAddress_ManufacturerId": 2, "wmBusAddress_Version": 3, "wmBusAddress_DeviceType": 4,
              "wmBusKey_Mode5": "SECRET5", "wmBusKey_Mode7": "SECRET7", "wmBusKeyExchangeKey": "SECRETX"}

    def line(self, **changes):
        return json.dumps(self.VALUES | changes).encode()

    def assert_line(self, line, *expected):
        for options in ((), ("--format", "json"), ("--format", "sarif")):
            self.assertNotIn("SECRET", self.check(lines(line), *options).out)
        result = self.assert_findings(lines(line), *expected)
        self.assertNotIn("|", result.out)

    def test_good(self):
        self.assert_line(self.line())
        self.assert_line(b";" + self.line())

    def test_missing_values_are_listed(self):
        missing = " [MandatoryMissing 0x201]"
        self.assert_line(b"{}", *(f"1: warning: {name}: missing value{missing}" for name in self.VALUES))
        self.assert_line(self.line(serialNumber="", wmBusAddress_Version=-1), f"1: warning: serialNumber: missing value{missing}",
                         f"1: warning: wmBusAddress_Version: missing value{missing}")

    def test_ignored_members(self):
        def ignored(name, why):
            return f"1: warning: {name} is ignored [KeyMemberIgnored]: {why}"
        self.assert_line(self.line(extra=1), ignored('unknown member "extra"', "key lines have no member of this name"))
        self.assert_line(self.line()[:-1] + b',"serialNumber":"SECRET"}', ignored("serialNumber: value", "it occurs twice; the first one counts"))
        self.assert_line(self.line(hardwareVersion=2), ignored("hardwareVersion: value", "expected a string"),
                         "1: warning: hardwareVersion: missing value [MandatoryMissing 0x201]")
        self.assert_line(self.line(wmBusAddress_MeterId="SECRET"), ignored("wmBusAddress_MeterId: value", "expected an integer"),
                         "1: warning: wmBusAddress_MeterId: missing value [MandatoryMissing 0x201]")
        self.assert_line(self.line(wmBusAddress_MeterId=3000000000), ignored("wmBusAddress_MeterId: value", "expected an integer of 32 bits"),
                         "1: warning: wmBusAddress_MeterId: missing value [MandatoryMissing 0x201]")
        self.assert_line(self.line(**{"\x1b" * 50: 1}), ignored("unknown member", "key lines have no member of this name"))

    def test_unreadable(self):
        self.assert_line(self.line()[:-1], f"1:{len(self.line())}: error: malformed key line [KeyLineUnreadable]: "
                         "Missing a comma or '}' after an object member.")
        self.assert_line(b'{"a":SECRET}', "1:6: error: malformed key line [KeyLineUnreadable]: Invalid value.")

    def test_long(self):
        self.assert_line(self.line(x="y" * 70000)[:-1], "1:1: error: malformed key line [KeyLineUnreadable]: "
                         "The line is longer than 65536 bytes.")


class GoodLines(CliTest):
    """Reports of the format about valid lines are shown only on demand."""

    def test_not_shown(self):
        self.assert_findings(lines(ROUND, METER, put(INFORMATION, 7, b"    1")))

    def test_shown_with_all(self):
        slots = ["1:156: warning: meterHistory1ReadingType", "1:175: warning: meterHistory2ReadingType",
                 "1:194: warning: meterHistory3ReadingType"]
        findings = [f.removeprefix("f:") for f in self.check(lines(METER), "--all").findings]
        self.assertEqual(findings, [f"{slot}: inconsistent values [MandatoryInconsistent 0x202]: its history slot has a type, a date and a "
                                    "consumption of 0 or more; the format reports this on valid lines, too" for slot in slots])
        self.assert_findings(lines(INFORMATION), "1:7: warning: meterNumber: missing value [MandatoryMissing 0x201]: it is below 0; "
                             "the format reports this on valid lines, too",
                             options=["--all"])

    def test_help_gives_the_reason(self):
        page = " ".join(self.run_tool("help", "check").out.split())
        for word in ("--all", "valid lines", "history slot", "meter number", "0x202", "0x201"):
            self.assertIn(word, page)


if __name__ == "__main__":
    unittest.main()
