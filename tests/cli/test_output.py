"""The formats of the report, and text that must never reach a terminal."""
import os
import pty
import re
import subprocess
import time
import unittest
from support import AMR, ENVIRONMENT, METER, ROUND, TRAMO, CliTest, lines, put, read_all, run_on_terminal, utf16

BROKEN = lines(put(ROUND, 499, b"20241301"), put(put(METER, 507, b"Q"), 2, b"x   "), put(METER, 1, b"8"))
SUMMARY = """\
f: 4 errors, 0 warnings
  read: 3 lines, 1542 bytes, ANSI, in TIME s
  lines:
         1  0  round
         1  1  meter subscriber
         1     unknown line
  findings:
         1  roundImportDate (round)
         1  subscriberCardOrder (meter subscriber)
         1  meterFluidType (meter subscriber)
         1  LineLetterUnknown
"""


class Text(CliTest):
    def test_summary(self):
        self.assertTrue(self.check(BROKEN).masked.endswith("\n\n" + SUMMARY))

    def test_good_file_has_only_a_summary(self):
        self.assertEqual(self.check(lines(ROUND, AMR), "--rule", "LineWithoutMeter=off").masked, """\
f: no errors or warnings
  read: 2 lines, 1028 bytes, ANSI, in TIME s
  lines:
         1  0  round
         1  2  AMR
""")

    def test_most_frequent_findings_come_first(self):
        fluid, status = put(METER, 507, b"Q"), put(METER, 380, b"ABCD")
        report = self.check(lines(status, fluid, fluid, fluid)).out
        self.assertIn("  findings:\n         3  meterFluidType (meter subscriber)\n         1  meterInstallationYear (meter subscriber)\n", report)

    def test_quiet(self):
        result = self.check(BROKEN, "-q")
        self.assertEqual((result.out, result.code), ("f: 4 errors, 0 warnings in 3 lines\n", 1))
        self.assertEqual(self.check(lines(ROUND), "--quiet").out, "f: no errors or warnings in 1 line\n")

    def test_max_findings_lists_some_and_counts_all(self):
        result = self.check(BROKEN, "--max-findings", "3")
        self.assertEqual(len(result.findings), 3)
        self.assertTrue(result.masked.endswith("... and 1 more finding not listed\n\n" + SUMMARY))
        result = self.check(BROKEN, "--max-findings=0")
        self.assertEqual((result.masked, result.code), ("... and 4 more findings not listed\n\n" + SUMMARY, 1))
        self.assertEqual(len(self.check(BROKEN, "--max-findings", "18446744073709551615").findings), 4)

    def test_several_files(self):
        self.write("a", BROKEN)
        self.write("b", lines(ROUND))
        result = self.run_tool("check", "a", "b", cwd=self.folder)
        self.assertIn("\n\nb: no errors or warnings\n", result.out)
        self.assertTrue(result.out.endswith("\n\nin all 2 files: 4 errors, 0 warnings\n"))
        self.assertEqual(self.run_tool("check", "-q", "a", "missing", "b", cwd=self.folder).out,
                         "a: 4 errors, 0 warnings in 3 lines\nb: no errors or warnings in 1 line\n"
                         "in all 3 files: 4 errors, 0 warnings, 1 file not read\n")


class Colours(CliTest):
    def on_terminal(self, *arguments, env=None):
        """Returns the output of the tool on a terminal."""
        self.code, text = run_on_terminal(arguments, cwd=self.folder, **(env or {}))
        return text

    def test_on_a_terminal(self):
        self.write("f", BROKEN)
        text = self.on_terminal("check", "f")
        self.assertIn("\x1b[1mf:1:499:\x1b[0m \x1b[1;31merror:\x1b[0m roundImportDate: ", text)
        self.assertEqual(self.code, 1)
        self.assertEqual(re.sub(r"\x1b\[[0-9;]*m", "", text).splitlines()[0], self.check(BROKEN).out.splitlines()[0])

    def test_not_elsewhere(self):
        self.assertNotIn("\x1b", self.check(BROKEN).out)

    def test_no_color(self):
        self.write("f", BROKEN)
        self.assertNotIn("\x1b", self.on_terminal("check", "f", env={"NO_COLOR": "1"}))
        self.assertIn("\x1b", self.on_terminal("check", "f", env={"NO_COLOR": ""}))
        self.assertNotIn("\x1b", self.on_terminal("check", "f", env={"TERM": "dumb"}))

    def test_chosen(self):
        self.write("f", BROKEN)
        self.assertIn("\x1b[1;31merror:", self.check(BROKEN, "--color", "always", env={"NO_COLOR": "1"}).out)
        self.assertIn("\x1b[1;31merror:", self.check(BROKEN, "--colour=always").out)
        self.assertNotIn("\x1b", self.on_terminal("check", "--color", "never", "f"))

    def test_json_and_sarif_have_none(self):
        for form in ("json", "sarif"):
            self.assertNotIn("\x1b", self.check(BROKEN, "--format", form, "--color", "always").out)


class Progress(CliTest):
    def test_clears_the_line_on_the_terminal(self):
        master, terminal = pty.openpty()
        process = subprocess.Popen([TRAMO, "check", "-q", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=terminal, env=ENVIRONMENT)
        os.close(terminal)
        time.sleep(0.8)   # short work shows no progress
        out = process.communicate(b"\n" * 10000)[0]
        shown = read_all(master).decode()
        self.assertEqual(out.decode(), "<stdin>: 1 error, 0 warnings in 10000 lines\n")
        self.assertRegex(shown, r"^(\r<stdin> \d+ (KB|%)\x1b\[K)+\r\x1b\[K$")

    def test_no_error_elsewhere(self):
        process = subprocess.Popen([TRAMO, "check", "-q", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=ENVIRONMENT)
        time.sleep(0.8)
        self.assertEqual(process.communicate(b"\n" * 10000), (b"<stdin>: 1 error, 0 warnings in 10000 lines\n", b""))


class Hostile(CliTest):
    """Characters of a file or its name that would control a terminal or reverse text."""

    FORBIDDEN = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]")

    def assert_harmless(self, text):
        self.assertIsNone(self.FORBIDDEN.search(text), ascii(text))

    def test_control_characters_of_the_file(self):
        content, codes = b"", [*range(0, 10), *range(11, 32), *range(127, 161), 173]
        for code in codes:
            content += lines(put(put(METER, 392, bytes([code]) * 10), 240, bytes([code]) * 3), put(METER, 1, bytes([code])))
        for options in ((), ("--format", "json"), ("--format", "sarif"), ("--all",)):
            self.assert_harmless(self.check(content, *options).out)
            out = self.check(content, "--each", *options).out
            self.assert_harmless(out)
            self.assertGreater(len(out.splitlines()), len(codes))

    def test_they_are_visible(self):
        self.assertIn('f:1:392: error: meterPreviousReadingIndex: invalid integer "\\x1b[31m"', self.check(lines(put(METER, 392, b"\x1b[31m     "))).out)
        self.assertIn('invalid integer "\\x9b2J"', self.check(lines(put(METER, 392, b"\x9b2J       "))).out)

    def test_other_white_space_is_visible(self):
        told = "f:1:392: error: meterPreviousReadingIndex: "
        self.assertIn(told + 'invalid integer "\\xa0\\xa05998"', self.check(lines(put(METER, 392, b"\xa0\xa05998    "))).out)
        for space in "\xa0\u1680\u2000\u2003\u200a\u202f\u205f":
            escape = f"\\u{ord(space):04x}".replace("\\u00", "\\x")
            out = self.check(utf16(put(METER.decode("latin-1"), 392, space + "12       ") + "\r\n")).out
            self.assertIn(f'{told}invalid integer "{escape}12"', out)
            self.assertNotIn(space, out)
        for form in ("json", "sarif"):
            self.assertIn(r'\"\\xa012\"', self.check(lines(put(METER, 392, b"\xa012       ")), "--format", form).out)

    def test_marks_that_turn_text_around(self):
        for mark in "\u202e\u2066\u200f\u061c\ufeff\u2028":
            line = put(put(METER.decode("latin-1"), 392, mark + "12       "), 500, mark)
            for options in ((), ("--format", "json"), ("--format", "sarif")):
                result = self.check(utf16(line + "\r\n"), *options)
                self.assert_harmless(result.out)
            self.assertIn(f'invalid integer "\\u{ord(mark):04x}12"', self.check(utf16(line + "\r\n")).out)

    def test_file_names(self):
        for name, shown in (("a\x1b[31mb", "a\\x1b[31mb"), ("a\nb", "a\\x0ab"), ("a\u202eb", "a\\u202eb"), ("\u00e9t\u00e9", "\u00e9t\u00e9"),
                            ("a b", "a b"), ("\U0001f600", "\U0001f600")):
            self.write(name, BROKEN)
            for arguments in ((), ("-q",), ("--format", "json"), ("--format", "sarif")):
                result = self.run_tool("check", *arguments, name, cwd=self.folder)
                self.assert_harmless(result.out)
                self.assertEqual(result.code, 1)
                if "--format" not in arguments:
                    self.assertTrue(result.out.startswith(shown + ":"), result.out[:40])
            missing = self.run_tool("check", name + "?", cwd=self.folder)
            self.assertEqual(missing.err, f"tramo: {shown}?: No such file or directory\n")
            self.assertEqual(self.run_tool("check", "--format", "json", name, cwd=self.folder).json["files"][0]["file"], name)

    def test_a_file_name_that_is_not_utf8(self):
        path = os.path.join(os.fsencode(self.folder), b"a\xe9b")
        with open(path, "wb") as file:
            file.write(BROKEN)
        result = self.run_tool("check", b"a\xe9b", cwd=self.folder)
        self.assertTrue(result.out.startswith("a\\xe9b:1:499: error:"))
        self.assertEqual(self.run_tool("check", "--format", "json", b"a\xe9b", cwd=self.folder).json["files"][0]["file"], "a\ufffdb")

    def test_arguments(self):
        for arguments in (["\x1b[31m"], ["check", "--\x1b[31m"], ["check", "--format", "\x1b[31m", "f"], ["help", "\x1b"], ["check", "--max-findings=\x1b", "f"]):
            result = self.run_tool(*arguments)
            self.assert_harmless(result.err)
            self.assertEqual(result.code, 2)

    def test_the_marker_is_below_the_field(self):
        meter = METER.decode("latin-1")
        for text, width in (("\x1b\x07\u202e", 3), ("\u6c34\u8868", 4), ("e\u0301", 2), ("\ud83d\ude00", 2), ("\uac00", 2), ("\u00e9", 1)):
            content = utf16(put(put(meter, 370, text), 392, "x" + " " * 9) + "\r\n")
            out = self.check(content).out.splitlines()
            place = next(i for i, line in enumerate(out) if line.startswith("f:1:392: error"))
            excerpt, mark = out[place + 1:place + 3]
            before = excerpt[:excerpt.index("x")]
            columns = sum(2 if c in "\u6c34\u8868\uac00" else 1 for c in before)
            self.assertEqual(mark.index("^"), columns, ascii((excerpt, mark)))
            self.assertEqual(columns, len("     1 | ...") + 24 - len(text) + width)


class Json(CliTest):
    def test_document(self):
        result = self.check(BROKEN, "--format", "json")
        document = result.json
        self.assertEqual((document["tool"], document["errors"], document["warnings"], document["exitCode"], document["filesRead"]),
                         ("tramo", 4, 0, 1, 1))
        file = document["files"][0]
        self.assertEqual(file["file"], "f")
        self.assertEqual(file["findings"][0], {
            "severity": "error", "rule": "ParseDate", "code": 27, "line": 1, "column": 499, "endColumn": 507, "reportedColumn": 8,
            "kind": "round", "field": "roundImportDate", "found": "20241301",
            "message": 'roundImportDate: invalid date "20241301" [ParseDate 0x01B]: there is no month 13; the format reports this error at column 8'})
        self.assertEqual(file["findings"][3]["rule"], "LineLetterUnknown")
        summary = file["summary"]
        self.assertGreaterEqual(summary.pop("seconds"), 0)
        self.assertEqual(summary, {
            "encoding": "ANSI", "bytes": 1542, "lines": 3, "errors": 4, "warnings": 0, "hints": 0, "findingsNotListed": 0,
            "linesByKind": [
                {"letter": "0", "kind": "round", "lines": 1},
                {"letter": "1", "kind": "meter subscriber", "lines": 1},
                {"kind": "unknown line", "lines": 1}],
            "findingsByField": [
                {"field": "roundImportDate", "kind": "round", "errors": 1, "warnings": 0, "hints": 0},
                {"field": "subscriberCardOrder", "kind": "meter subscriber", "errors": 1, "warnings": 0, "hints": 0},
                {"field": "meterFluidType", "kind": "meter subscriber", "errors": 1, "warnings": 0, "hints": 0},
                {"rule": "LineLetterUnknown", "errors": 1, "warnings": 0, "hints": 0}]})

    def test_one_finding_per_line(self):
        out = self.check(BROKEN, "--format", "json").out
        self.assertEqual(sum('"rule":"' in line and '"severity"' in line for line in out.splitlines()), 4)

    def test_found_text_is_exact(self):
        for text, found in (('a"\\b', 'a"\\b'), ("\x1b[31m", "\x1b[31m"), ("\u202e\u20ac", "\u202e\u20ac"), ("\ud83d\ude00x", "\U0001f600x"), ("\ud800x", "\ufffdx"), ("\x7f", "\x7f")):
            result = self.check(utf16(put(METER.decode("latin-1"), 392, text.ljust(10)) + "\r\n"), "--format", "json")
            self.assertEqual([f["found"] for f in result.json["files"][0]["findings"] if f.get("field") == "meterPreviousReadingIndex"], [found])
            self.assertTrue(result.out.isascii())

    def test_unreadable_files_are_in_the_document(self):
        self.write("f", BROKEN)
        result = self.run_tool("check", "--format", "json", "missing", "f", cwd=self.folder)
        self.assertEqual((result.code, result.json["exitCode"], result.json["filesUnreadable"]), (2, 2, 1))
        self.assertEqual(result.json["files"][0], {"file": "missing", "unreadable": "No such file or directory"})

    def test_quiet_and_max_findings(self):
        for options, listed in ((("-q",), 0), (("--max-findings", "1"), 1)):
            file = self.check(BROKEN, "--format", "json", *options).json["files"][0]
            self.assertEqual((len(file["findings"]), file["summary"]["findingsNotListed"]), (listed, 4 - listed))


if __name__ == "__main__":
    unittest.main()
