"""tramo explain: kinds, fields and errors of the format; the reference page."""
import json
import os
import re
import subprocess
import unittest
from support import AMR, ENVIRONMENT, METER, ROOT, TRAMO, CliTest, lines, on_terminal, put
from test_show import plain

CODES = {0x001, 0x003, 0x004, *range(0x011, 0x01C), *range(0x101, 0x105), 0x111, 0x112, 0x113, 0x115, 0x117, 0x119, 0x11A,
         0x11B, 0x11C, 0x201, 0x202, 0x203}
KINDS = ("round", "meter subscriber", "AMR", "meter change", "extended AMR", "enquiry definition", "enquiry result",
         "extended data", "record information", "tag", "parameter", "key")


class ExplainTest(CliTest):
    def explain(self, *arguments, **run):
        result = self.run_tool("explain", *arguments, **run)
        self.assertEqual((result.code, result.err), (0, ""), arguments)
        return result.out

    def entries(self, *arguments):
        """Returns the labelled rows of one field."""
        found = {}
        for label, words in re.findall(r"^  (\S.{0,7}?) {2,}(\S.*)$", self.explain(*arguments), re.M):
            found.setdefault(label, words)
        return found

    def assert_refused(self, argument, message):
        result = self.run_tool("explain", argument)
        self.assertEqual((result.code, result.out, result.err),
                         (2, "", f'tramo: explain: {message}\ntramo: try "tramo help explain"\n'))


class Overview(ExplainTest):
    def test_lists_every_kind_and_code(self):
        out = self.explain()
        for kind in KINDS:
            self.assertRegex(out, rf"(?m)^  \S  {kind} ")
        self.assertEqual({int(code, 16) for code in re.findall(r"^  (0x\w{3})  [A-Z]", out, re.M)}, CODES)


class Json(ExplainTest):
    """The whole format as data, against the pages for people."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        done = subprocess.run([TRAMO, "explain", "--format", "json"], capture_output=True, check=True)
        cls.format = json.loads(done.stdout)

    def test_has_every_kind_with_the_fields_of_its_page(self):
        self.assertEqual([kind["kind"] for kind in self.format["kinds"]], list(KINDS))
        for kind in self.format["kinds"][:-1]:
            page = self.explain(kind["kind"])
            self.assertIn(kind["model"], page)
            rows = re.findall(r"^ +(-|\d+(?:-\d+)?)  (\w+)  +(\S.*)$", page, re.M)
            self.assertEqual([name for _, name, _ in rows if name != "field"], [field["field"] for field in kind["fields"]])
            for (columns, name, rest), field in zip(rows, kind["fields"], strict=True):
                first = field.get("column")
                last = first and first + field["width"] - 1
                shown = "-" if first is None else str(first) if last == first else f"{first}-{last}"
                self.assertEqual(columns, shown, name)
                if first is not None:
                    self.assertTrue(rest.endswith(field["written"]), (name, rest, field["written"]))

    def test_has_the_errors_that_fields_report(self):
        subscriber = self.format["kinds"][1]
        field = next(field for field in subscriber["fields"] if field["field"] == "meterHistory3ReadingDate")
        self.assertEqual(field["errors"], [
            {"code": 0x1B, "name": "ParseDate", "reportedColumn": 194, "when": "its text is invalid"},
            {"code": 0x115, "name": "BuildDate", "reportedColumn": 195, "when": "it cannot be written"}])
        method = next(field for field in subscriber["fields"] if field["field"] == "meterReadingMethod")
        self.assertEqual((method["codes"], method["codesWritten"]), ("MTA", "M A"))
        number = next(field for field in self.format["kinds"][8]["fields"] if field["field"] == "meterNumber")
        self.assertEqual(number["readInto"], "roundNumber")

    def test_has_every_error_and_rule(self):
        self.assertEqual({error["code"] for error in self.format["errors"]}, CODES)
        for rule in self.format["rules"]:
            if "code" in rule:  # an error of the format, which its name explains
                self.assertIn(rule["code"], CODES)
                continue
            self.assertIn(rule["description"], " ".join(self.explain(rule["rule"]).split()))

    def test_says_which_fields_define_areas(self):
        self.assertEqual(len(self.format["areas"]), 10)
        fields = {field["field"] for kind in self.format["kinds"][:2] for field in kind["fields"]}
        for area in self.format["areas"]:
            for member in ("of", "label", "position", "length", "type"):
                self.assertIn(area[member], fields)

    def test_shows_which_values_of_key_lines_are_secret(self):
        secret = [field["field"] for field in self.format["kinds"][-1]["fields"] if field.get("secret")]
        self.assertEqual(secret, ["wmBusKey_Mode5", "wmBusKey_Mode7", "wmBusKeyExchangeKey"])

    def test_describes_the_whole_format_only(self):
        for arguments in (["AMR"], ["--markdown"]):
            result = self.run_tool("explain", "--format", "json", *arguments)
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertIn("--format json", result.err)


class Kinds(ExplainTest):
    def test_by_letter_name_and_class(self):
        expected = self.explain("1")
        for word in ("meter subscriber", "meter-subscriber", "METER_SUBSCRIBER", "MeterSubscriberTramoModel"):
            self.assertEqual(self.explain(word), expected)
        self.assertEqual(self.explain("key"), self.explain("AMRKeyTramoModel"))

    def test_every_field(self):
        out = self.explain("1")
        self.assertIn("meter subscriber: MeterSubscriberTramoModel, 512 characters, letter 1 in column 1\n", out)
        self.assertRegex(out, r"(?m)^  378-379  meterCorrectedWheels +integer +when it is above 3$")
        self.assertEqual(len(re.findall(r"(?m)^ +\d+(-\d+)?  \w", out)), 36)
        amr = self.explain("2")
        self.assertIn("        -  previousAlarmLeakCurrent                flag, only shown\n", amr)

    def test_key(self):
        out = self.explain("key")
        self.assertRegex(out, r"(?m)^      7  wmBusKey_Mode5 +text, a key")
        self.assertEqual(self.explain("key:serialNumber"), out)


class Fields(ExplainTest):
    def test_by_column_and_name(self):
        expected = self.explain("1:195")
        for word in ("1:202", "1:meterHistory3ReadingDate", "meter-subscriber:METERHISTORY3READINGDATE", "meterHistory3ReadingDate"):
            self.assertEqual(self.explain(word), expected, word)
        self.assertTrue(expected.startswith("meter subscriber, columns 195-202: meterHistory3ReadingDate\n"))

    def test_description_of_a_field(self):
        field = self.entries("1:195")
        self.assertEqual(field["type"], "date YYYYMMDD")
        self.assertEqual(field["default"], "no date (0)")
        self.assertEqual(field["written"], "when its history slot has a date and a consumption of 0 or more")
        self.assertEqual(field["missing"], "is not an error")
        self.assertEqual(field["0x01B"], "ParseDate, when its text is invalid; reported at column 194, "
                                         "the column of meterHistory3ReadingType")
        self.assertEqual(field["0x115"], "BuildDate, when it cannot be written; reported at column 195")
        self.assertEqual(field["previous"], "194      meterHistory3ReadingType")
        self.assertEqual(field["next"], "203-212  meterHistory3Consumption")

    def test_types(self):
        for place, words in {"1:2": "integer of 32 bits", "1:438": "integer of 64 bits",
                             "1:402": "decimal number, written with 6 decimals", "7:14": "decimal number, written with 12 decimals",
                             "1:426": "date and time YYYYMMDDhhmm", "1:380": "year YYYY", "1:448": "code: 1, 2, 3, 4",
                             "1:506": "flag: 1 or 0", "1:460": "text of up to 2 characters", "1:194": "text of up to 1 character",
                             "2:286": "12 alarm flags as 4 hexadecimal digits"}.items():
            self.assertEqual(self.entries(place)["type"], words, place)

    def test_defaults(self):
        for place, words in {"1:2": "-1", "1:6": "empty", "1:380": "no year", "1:448": "not set", "1:506": "no", "2:2": "no date (0)", "2:354": "no date (-1)",
                             "2:286": "none set", "9:2": "1", "7:14": "0"}.items():
            self.assertEqual(self.entries(place)["default"], words, place)

    def test_particulars(self):
        for place, words in {"0:277": "A is written as 2, N is written as 1.", "1:459": "T cannot be written.",
                             "9:7": "Its text is read into roundNumber; the field itself never gets a value from a line.",
                             "5:342": "It is written 16 characters wide, over the next columns, whose own fields then overwrite it."}.items():
            self.assertEqual(self.entries(place)["special"], words, place)
        self.assertIn('A blank field is read as "1".', self.entries("1:506")["reading"])
        self.assertIn("A blank field keeps its default.", self.entries("1:2")["reading"])

    def test_mandatory_values(self):
        self.assertEqual(self.entries("0:2")["0x201"], "MandatoryMissing, when it is empty; reported at column 2")
        self.assertEqual(self.entries("1:156")["0x202"], "MandatoryInconsistent, when its history slot has a type, a date and a "
                         "consumption of 0 or more; reported at column 156; listed among the parse errors; valid lines report it, too")
        self.assertEqual(self.entries("4:85")["0x201"], "MandatoryMissing, when it is below 0; reported at column 96, the column of backflowAlarm")

    def test_all_fields_that_share_columns_are_explained(self):
        out = self.explain("2:232")
        self.assertIn("columns 232-241: pulseWeight\n", out)
        self.assertIn("columns 232-241: pulseWeightStr\n", out)

    def test_a_field_name_of_several_kinds(self):
        out = self.explain("meterSerialNumber")
        for kind in ("meter subscriber", "AMR", "extended AMR", "extended data"):
            self.assertRegex(out, rf"(?m)^{kind}, columns \d+-\d+: meterSerialNumber$")

    def test_columns_outside_of_fields(self):
        self.assertTrue(self.explain("1:1").startswith("meter subscriber, column 1: the letter of its kind\n"))
        out = self.explain("tag:23")
        self.assertTrue(out.startswith("tag, column 23: no field\n"))
        self.assertIn("  previous  3-22     label\n", out)

    def test_shown_fields(self):
        out = self.explain("2:previousAlarmLeakCurrent")
        self.assertIn("not in the line, only shown", out)
        self.assertIn("previousAlarms, columns 286-289", out)

    def test_every_field_can_be_explained(self):
        names = re.findall(r"(?m)^ +[-\d]+  (\w+)", "".join(self.explain(str(letter)) for letter in range(8) if letter != 8))
        self.assertGreater(len(names), 250)
        self.explain(*sorted(set(names)))

    def test_typos(self):
        self.assert_refused("1:meterSeralNumber", 'unknown field "meterSeralNumber" of meter subscriber lines; did you mean "meterSerialNumber"?')
        self.assert_refused("1:513", "meter subscriber lines have the columns 1 to 512")
        self.assert_refused("1:0", "meter subscriber lines have the columns 1 to 512")
        self.assert_refused("metr subscriber:3", 'unknown record kind "metr subscriber"; did you mean "meter subscriber"?')
        self.assert_refused("8:3", 'unknown record kind "8", and there is no such file; expected KIND:COLUMN, KIND:FIELD or FILE:LINE[:COLUMN]')
        self.assert_refused("ParsDate", '"ParsDate" is not a record kind, a field or an error; did you mean "ParseDate"?')
        self.assert_refused("\x1b[31m", r'"\x1b[31m" is not a record kind, a field or an error')
        self.assert_refused("key:nothing", 'unknown value "nothing" of a key line; "tramo explain key" lists all values')
        self.assert_refused("", '"" is not a record kind, a field or an error')


class Errors(ExplainTest):
    def test_by_code_and_name(self):
        expected = self.explain("0x01B")
        for word in ("0X1b", "0x1B", "ParseDate", "parsedate"):
            self.assertEqual(self.explain(word), expected)
        self.assertTrue(expected.startswith("0x01B ParseDate: invalid date (YYYYMMDD)\n"))

    def test_every_field_that_reports_it(self):
        out = self.explain("0x01B")
        self.assertRegex(out, r"(?m)^  499-506  roundImportDate +reported at column 8, the column of code$")
        self.assertRegex(out, r"(?m)^  384-391  meterPreviousReadingDate$")
        self.assertEqual(len(re.findall(r"^ +\d+(?:-\d+)?  \w", out, re.M)), 12)

    def test_every_code(self):
        of_no_field = set()
        for code in CODES:
            out = self.explain(f"0x{code:03X}")
            self.assertRegex(out, rf"^0x{code:03X} [A-Z]\w+: ")
            if "not for a field" in out:
                of_no_field.add(code)
        self.assertEqual(of_no_field, {0x015, 0x203})

    def test_findings_that_only_check_reports(self):
        self.assertIn("A line has fewer characters than its kind requires.", self.explain("LineTooShort"))

    def test_unknown_codes(self):
        self.assert_refused("0x002", 'unknown error code 0x002; "tramo explain" lists all codes')
        self.assert_refused("0x", 'invalid error code "0x"; expected a code such as 0x01B')
        self.assert_refused("0x01Bz", 'invalid error code "0x01Bz"; expected a code such as 0x01B')


class Places(ExplainTest):
    def test_a_field_in_a_file(self):
        self.write("f", lines(METER, put(METER, 195, b"20231340")))
        result = self.run_tool("explain", "f:2:195", cwd=self.folder)
        self.assertEqual(result.code, 0)
        self.assertTrue(result.out.startswith('f:2:195\n\n  text      "20231340"\n  error     meterHistory3ReadingDate: invalid date "20231340"'))
        self.assertTrue(result.out.endswith(self.explain("1:195")))

    def test_a_line_of_a_file(self):
        self.write("f", lines(METER, put(put(METER, 195, b"20231340"), 507, b"Q"), b" " + METER, METER[:300]) + METER)
        meter = self.explain("1")
        for word in ("f:1", "f:1:"):
            self.assertEqual(self.run_tool("explain", word, cwd=self.folder).out, "f:1\n\n  check     no errors or warnings\n\n" + meter)
        result = self.run_tool("explain", "f:2", cwd=self.folder)
        self.assertEqual(result.code, 0)
        self.assertTrue(result.out.startswith('f:2\n\n  error     meterHistory3ReadingDate: invalid date "20231340"'))
        self.assertIn('\n  error     meterFluidType: invalid code "Q"', result.out)
        self.assertTrue(result.out.endswith("\n\n" + meter))
        self.assertEqual(self.run_tool("explain", "f:3", cwd=self.folder).out, "f:3\n\n  error     line has 513 characters, expected 512 [LineTooLong]: "
                         "1 too many, a space; without its first character, it has no errors or warnings\n")
        out = self.run_tool("explain", "f:4", cwd=self.folder).out
        self.assertTrue(out.startswith("f:4\n\n  error     line has 300 characters, expected 512 [LineTooShort]"))
        self.assertTrue(out.endswith("\n\n" + meter))
        self.assertIn("  error     the last line has no line ending [LineEndMissing]", self.run_tool("explain", "f:5", cwd=self.folder).out)

    def test_a_column_after_the_end(self):
        self.write("f", lines(METER, METER + b"x"))
        out = self.run_tool("explain", "f:2:513", cwd=self.folder).out
        self.assertEqual(out, "f:2:513\n\n  error     line has 513 characters, expected 512 [LineTooLong]: 1 too many; without its last "
                         "character, it has no errors or warnings\n")

    def test_an_invalid_character(self):
        self.write("f", lines(METER, put(METER, 240, b"\0")))
        self.assertIn("  error     line contains 1 zero character [ZeroCharacter]", self.run_tool("explain", "f:2:240", cwd=self.folder).out)

    def test_colons_in_the_path(self):
        for name in ("a:1:2", "a:1", "C:\\x.txt"):
            self.write(name, lines(METER))
            self.assertIn('"C12AB0100000"', self.run_tool("explain", f"{name}:1:352", cwd=self.folder).out)
            self.assertTrue(self.run_tool("explain", f"{name}:1", cwd=self.folder).out.startswith(f"{name}:1\n\n  check "))

    def test_file_names_that_look_like_places(self):
        self.write("a:1", lines(METER))
        self.write("1", lines(METER))
        result = self.run_tool("explain", "a:1", cwd=self.folder)
        self.assertEqual((result.code, result.err.splitlines()[0]), (2, 'tramo: explain: "a:1" is a file; expected FILE:LINE[:COLUMN]'))
        self.write("a", lines(METER))
        self.assertTrue(self.run_tool("explain", "a:1", cwd=self.folder).out.startswith("a:1\n\n  check "))
        self.assertEqual(self.run_tool("explain", "1:1", cwd=self.folder).out, self.explain("1:1"))   # a kind before a file
        self.assertTrue(self.run_tool("explain", "./1:1", cwd=self.folder).out.startswith("./1:1\n\n  check "))

    def test_key_lines_show_nothing(self):
        out = self.explain("samples/amr-keys.txt:1:300")
        self.assertIn("its values have names, not columns", out)
        self.assertNotRegex(out, "[0-9A-F]{16}")

    def test_malformed_lines(self):
        self.write("f", lines(METER, METER[:300], METER))
        out = self.run_tool("explain", "f:2:195", cwd=self.folder).out
        self.assertIn("  error     line has 300 characters, expected 512 [LineTooShort]", out)
        self.assertTrue(out.endswith(self.explain("1:195")))

    def test_places_that_do_not_exist(self):
        for place, message in (("samples/tags.txt:6:1", "samples/tags.txt: has 5 lines; there is no line 6"),
                               ("samples/tags.txt:1:24", "samples/tags.txt: tag lines have the columns 1 to 23"),
                               ("missing:1:1", "missing: No such file or directory"), ("samples:1:1", "samples: is a directory")):
            result = self.run_tool("explain", place)
            self.assertEqual((result.code, result.err), (2, f"tramo: {message}\n"))

    def test_stdin(self):
        for words in (["--", "-:1:352"], ["-:1:352"]):
            self.assertIn('"C12AB0100000"', self.run_tool("explain", *words, stdin=lines(METER)).out)
        self.assertTrue(self.run_tool("explain", "-:1", stdin=lines(METER)).out.startswith("<stdin>:1\n\n  check "))


class Reference(ExplainTest):
    def setUp(self):
        super().setUp()
        self.page = self.explain("--markdown")

    def test_the_page_in_docs_is_up_to_date(self):
        with open(os.path.join(ROOT, "docs", "format.md"), encoding="utf-8") as file:
            self.assertEqual(file.read(), self.page, "write it with: tramo explain --markdown > docs/format.md")

    def test_depends_only_on_the_tables(self):
        for zone in ("Asia/Tokyo", "America/Sao_Paulo"):
            self.assertEqual(self.explain("--markdown", env={"TZ": zone, "LC_ALL": "C.UTF-8"}), self.page)

    def test_has_a_section_for_every_kind_and_links_to_it(self):
        for kind in KINDS:
            self.assertIn(f"\n## {kind}\n", self.page)
            self.assertIn(f"[{kind}](#{kind.lower().replace(' ', '-')})", self.page)

    def test_every_row_has_as_many_cells_as_its_table(self):
        cells = 0
        for line in self.page.splitlines():
            if not line.startswith("|"):
                cells = 0
                continue
            cells = cells or line.count("|")
            self.assertEqual(line.count("|"), cells, line)

    def test_has_every_field_and_code(self):
        for letter in "012345679":
            for name in re.findall(r"(?m)^ +[-\d]+  (\w+)", self.explain(letter)):
                self.assertIn(f" `{name}` |", self.page)
        self.assertEqual({int(code, 16) for code in re.findall(r"^\| (0x\w{3}) \| [A-Z]", self.page, re.M)}, CODES)

    def test_errors_at_other_columns(self):
        self.assertIn("| 195-202 | `meterHistory3ReadingDate` | date YYYYMMDD | no date (0) | when its history slot has a date and a "
                      "consumption of 0 or more | 0x01B at 194 | 0x115 | - |\n", self.page)

    def test_alarm_flags_agree_with_the_reader(self):
        flags = re.findall(r"^\| \d+ \| `(previous\w+|current\w+)` \| `(\w{4})` \|$", self.page, re.M)
        self.assertEqual(len(flags), 24)
        for name, text in flags:
            line = put(AMR, 286 if name.startswith("previous") else 388, text.encode())
            self.write("f", lines(line))
            shown = re.findall(r"^ {11}  (\w+)", self.run_tool("show", "f", cwd=self.folder).out, re.M)
            self.assertEqual([flag for flag in shown if flag.startswith(name[:7])], [name])


class Surroundings(ExplainTest):
    def test_no_line_is_wider_than_the_terminal(self):
        for columns in (80, 120):
            for arguments in ([], ["0"], ["1"], ["2"], ["4"], ["key"], ["0x117"], ["0x202"], ["1:195", "2:286", "5:342", "0:453"],
                              ["samples/round-broken.txt:10:195"]):
                out = plain(on_terminal(["explain", *arguments], columns))
                longest = max(out.splitlines(), key=len)
                self.assertLessEqual(len(longest), columns, (arguments, longest))

    def test_colours(self):
        self.assertIn("\x1b[1m", on_terminal(["explain", "1"], 80))
        self.assertNotIn("\x1b", on_terminal(["explain", "1", "--color", "never"], 80))
        self.assertEqual(plain(self.explain("1", "--color", "always")), self.explain("1"))

    def test_full_disk(self):
        for arguments in ("", "--markdown"):
            done = subprocess.run(f'"{TRAMO}" explain {arguments} > /dev/full', shell=True, cwd=ROOT, env=ENVIRONMENT, capture_output=True)
            self.assertEqual(done.returncode, 3)
            self.assertIn(b"cannot write the standard output", done.stderr)

    def test_usage(self):
        self.assert_refused("--markdwn", 'unknown option "--markdwn"; did you mean "--markdown"?')
        result = self.run_tool("explain", "--markdown", "1")
        self.assertEqual(result.code, 2)
        self.assertIn("it takes no argument", result.err)

    def test_help(self):
        page = self.explain("--help")
        self.assertEqual(page, self.run_tool("help", "explain").out)
        self.assertLess(page.index("Examples:"), page.index("Usage:"))
        self.assertTrue(all(len(line) <= 80 for line in page.splitlines()))


if __name__ == "__main__":
    unittest.main()
