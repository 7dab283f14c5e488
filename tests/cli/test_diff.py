"""tramo diff: compares two files by meter and field."""
import os
import re
import subprocess
import unittest
from support import AMR, ENVIRONMENT, INFORMATION, METER, ROOT, ROUND, TRAMO, CliTest, lines, put, sample, sample_line, utf16

RESULT, LOCATED, QUESTION = (sample_line(letter) for letter in (b"6", b"7", b"5"))
KEY = sample("amr-keys.txt").splitlines()[0]


def meter(number):
    return put(METER, 352, b"M%011d" % number)


class Diff(CliTest):
    def diff(self, old, new, *options, **run):
        self.write("a", old)
        self.write("b", new)
        return self.run_tool("diff", *options, "a", "b", cwd=self.folder, **run)

    def assert_equal(self, old, new, *options):
        result = self.diff(old, new, *options)
        self.assertEqual((result.out, result.err, result.code), ("a -> b: no differences\n", "", 0))

    def assert_changes(self, old, new, expected, *options):
        """Returns the report without its summary."""
        result = self.diff(old, new, *options)
        self.assertEqual(result.out.partition("\na -> b: ")[0], expected)
        self.assertEqual((result.err, result.code), ("", 1))

    def assert_field(self, old, new, expected, *options):
        """Returns the only field that differs in a file of one line."""
        out = self.diff(lines(old), lines(new), *options).out.partition("\na -> b: ")[0]
        self.assertEqual([line.strip() for line in out.splitlines() if line.startswith("      ")], [expected])


class Equal(Diff):
    def test_same_file(self):
        for name in sorted(os.listdir(os.path.join(ROOT, "samples"))):
            if name.endswith(".txt"):
                self.assert_equal(sample(name), sample(name))
                self.assert_equal(sample(name), sample(name), "--exact")
        self.assert_equal(b"", b"")

    def test_encodings(self):
        self.assert_equal(sample("round-returned.txt"), sample("round-returned-utf16.txt"), "--exact")

    def test_moved_lines(self):
        text = sample("round-returned.txt").splitlines(keepends=True)
        self.assert_equal(b"".join(text), b"".join(reversed(text[:50])) + b"".join(text[50:]))
        self.assert_equal(lines(meter(1), meter(2), ROUND), lines(ROUND, meter(2), meter(1)), "--exact")

    def test_a_rewritten_file(self):
        path = self.write("old", sample("round-returned.txt"))
        self.assertEqual(self.run_tool("rewrite", "--force", path, "-o", os.path.join(self.folder, "new")).code, 0)
        with open(os.path.join(self.folder, "new"), "rb") as file:
            new = file.read()
        self.assertNotEqual(new, sample("round-returned.txt"))
        self.assert_equal(sample("round-returned.txt"), new)
        self.assert_equal(new, sample("round-returned.txt"))

    def test_padding_and_changes_of_form(self):
        area = ROUND[:255] + b"AREA            " + b"  0" + b" 5" + b"N" + ROUND[277:]
        for old, new in ((put(METER, 2, b"1   "), put(METER, 2, b"   1")), (area, put(area, 277, b"1")),
                         (put(ROUND, 30, b" 3"), put(ROUND, 30, b"  ")), (put(AMR, 232, b"0.5       "), put(AMR, 232, b"0,50      ")),
                         (INFORMATION, put(INFORMATION, 2, b"   60     ")), (put(RESULT, 500, b"unread"), RESULT)):
            self.assert_equal(lines(old), lines(new))
            self.assert_equal(lines(new), lines(old))
            self.assertEqual(self.diff(lines(old), lines(new), "--exact").code, 1)

    def test_line_endings(self):
        self.assert_equal(lines(ROUND, METER), ROUND + b"\n" + METER)

    def test_form_of_key_lines(self):
        self.assert_equal(lines(KEY), lines(b";" + KEY.replace(b",", b" , ")))


class Different(Diff):
    def test_fields(self):
        new = put(put(put(meter(1), 426, b"202401160835"), 438, b"      6054"), 459, b"A")
        old = put(put(put(meter(1), 426, b" " * 12), 438, b" " * 10), 459, b"M")
        self.assert_changes(lines(ROUND, old), lines(new, ROUND), """\
meter M00000000001
  changed  meter subscriber, line 2 -> 1
      meterReadingDate:    absent -> 2024-01-16T08:35
      meterReadingIndex:   absent -> 6054
      meterReadingMethod:  "M" -> "A"
""")

    def test_two_values_that_would_both_be_lost(self):
        self.assert_field(put(ROUND, 30, b" 2"), put(ROUND, 30, b" 3"), "defaultMeterWheels:  2 -> 3")

    def test_unreadable_values(self):
        self.assert_field(put(METER, 2, b"x1  "), put(METER, 2, b"   1"), 'subscriberCardOrder:  unreadable "x1" -> 1')
        self.assert_field(put(METER, 2, b"x1  "), put(METER, 2, b"x2  "), 'subscriberCardOrder:  unreadable "x1" -> unreadable "x2"')
        self.assert_field(put(METER, 2, b"x1  "), put(METER, 2, b"    "), 'subscriberCardOrder:  unreadable "x1" -> absent')

    def test_a_number_that_is_never_read(self):
        out = self.diff(lines(put(INFORMATION, 7, b"   60")), lines(put(INFORMATION, 7, b"   61"))).out
        self.assertIn('meterNumber:  "   60" -> "   61"', out)

    def test_fields_that_share_columns_are_listed_once(self):
        self.assert_field(put(AMR, 232, b"0.5       "), put(AMR, 232, b"0.25      "), "pulseWeight:  0.5 -> 0.25")
        self.assert_field(put(QUESTION, 511, b" 1"), put(QUESTION, 511, b" 2"), 'orderStr:  " 1" -> " 2"')

    def test_long_texts_are_shown_on_separate_lines(self):
        old, new = put(METER, 44, b"x" * 60), put(METER, 44, b"y" * 60)
        rows = self.diff(lines(old), lines(new)).out.splitlines()
        self.assertEqual(rows[2].index('"'), rows[3].index('"'))
        self.assertTrue(rows[3].lstrip().startswith('-> "'))

    def test_added_and_removed_lines(self):
        self.assert_changes(lines(meter(1), meter(2)), lines(meter(2), meter(3)), """\
meter M00000000001
  removed  meter subscriber, line 1
meter M00000000003
  added    meter subscriber, line 2
""")

    def test_lines_of_a_meter_are_grouped(self):
        located = put(LOCATED, 2, b"M00000000001")
        self.assert_changes(lines(meter(1), meter(2)), lines(put(meter(1), 2, b"   7"), put(meter(2), 2, b"   7"), located), """\
meter M00000000001
  changed  meter subscriber, line 1 -> 1
      subscriberCardOrder:  1 -> 7
  added    extended data, line 3
meter M00000000002
  changed  meter subscriber, line 2 -> 2
      subscriberCardOrder:  1 -> 7
""")

    def test_full_lists_the_fields_of_added_lines(self):
        located = put(LOCATED, 14, b" 48.5           ")
        self.assertRegex(self.diff(b"", lines(located), "--full").out, r"\n      latitude: +48\.5\n")
        self.assertRegex(self.diff(lines(located), b"", "--full").out, r"\n      latitude: +48\.5\n")
        self.assertNotIn("latitude", self.diff(b"", lines(located)).out)

    def test_pages_are_distinguished(self):
        first, second = put(RESULT, 2, b"1"), put(RESULT, 2, b"2")
        result = self.diff(lines(first, second), lines(second), "--format", "json").json
        self.assertEqual([(c["what"], c["oldLine"]) for c in result["changes"]], [("removed", 1)])
        result = self.diff(lines(put(QUESTION, 2, b"1"), put(QUESTION, 2, b"2")), lines(put(QUESTION, 2, b"2")), "--format", "json").json
        self.assertEqual([(c["what"], c["oldLine"]) for c in result["changes"]], [("removed", 1)])

    def test_same_keys_are_paired_in_order(self):
        def order(number):
            return put(meter(1), 2, b"%4d" % number)
        self.assert_changes(lines(order(1), order(2), order(3)), lines(order(1), order(4)), """\
meter M00000000001
  changed  meter subscriber, line 2 -> 2
      subscriberCardOrder:  2 -> 4
  removed  meter subscriber, line 3
""")

    def test_tags_and_parameters(self):
        tags = sample("tags.txt").splitlines()
        changed = put(tags[0], 3, b"ANOTHER LABEL       ")
        out = self.diff(lines(*tags), lines(*tags[1:], changed)).out
        self.assertIn("  changed  tag, line 1 -> 5\n      label:  ", out)
        parameters = sample("parameters.txt").splitlines()
        out = self.diff(lines(*parameters), lines(*parameters[:-1], put(parameters[-1], 9, b"other".ljust(32)))).out
        self.assertIn("  changed  parameter, line 4 -> 4\n      value:  ", out)

    def test_malformed_lines(self):
        self.assert_changes(lines(ROUND, meter(1), b"1 cut"), lines(ROUND, meter(1)[:300], b"1 cut"), """\
meter M00000000001
  removed  meter subscriber, line 2
malformed line
  added    malformed line, line 2
      %s...
""" % ('"' + meter(1)[:60].decode("latin-1") + '"'))

    def test_the_round_from_the_field(self):
        result = self.run_tool("diff", "--summary", "--format", "json", "samples/round-exported.txt", "samples/round-returned.txt")
        summary = result.json["summary"]
        self.assertEqual((summary["changed"], summary["added"], summary["removed"], summary["meters"], result.code), (94, 68, 0, 59, 1))
        kinds = {kind["kind"]: (kind["changed"], kind["added"], kind["removed"]) for kind in summary["byKind"]}
        self.assertEqual(kinds, {"AMR": (40, 0, 0), "enquiry result": (0, 15, 0), "extended AMR": (0, 20, 0),
                                 "extended data": (0, 30, 0), "meter change": (0, 3, 0), "meter subscriber": (54, 0, 0)})
        fields = {(field["kind"], field["field"]): field["lines"] for field in summary["byField"]}
        self.assertEqual(fields[("meter subscriber", "meterReadingDate")], 54)
        self.assertEqual(fields[("AMR", "currentReadingDate")], 35)


class Rounds(Diff):
    """Files without a common meter are different rounds."""
    SAYS = "a -> b: different rounds, no common meter\n"

    def test_no_common_meter(self):
        result = self.diff(lines(ROUND, meter(1)), lines(ROUND, meter(2)))
        self.assertEqual((result.out, result.code), (self.SAYS + """
meter M00000000001
  removed  meter subscriber, line 2
meter M00000000002
  added    meter subscriber, line 2

a -> b: 0 lines changed, 1 added, 1 removed; 2 meters differ
   changed     added   removed
         0         1         1  meter subscriber
""", 1))
        self.assertTrue(self.diff(lines(meter(1)), lines(meter(2)), "--summary").out.startswith(self.SAYS + "a -> b: 0 lines changed"))
        self.assertTrue(self.diff(lines(meter(1)), lines(meter(2)), "--format", "json").json["differentRounds"])
        self.assertTrue(self.diff(utf16(lines(meter(1)).decode("latin-1")), lines(meter(2))).out.startswith(self.SAYS))

    def test_a_common_meter(self):
        located = put(LOCATED, 2, b"M00000000001")
        for old, new in ((lines(meter(1), meter(2)), lines(meter(2), meter(3))), (lines(meter(1)), lines(put(meter(1), 2, b"   7"))),
                         (lines(meter(1)), lines(meter(2), located)), (lines(located, meter(2)), lines(meter(1))),
                         (lines(meter(1)), utf16(lines(meter(1), meter(2)).decode("latin-1")))):
            result = self.diff(old, new)
            self.assertNotIn("different rounds", result.out)
            self.assertIs(self.diff(old, new, "--format", "json").json["differentRounds"], False)

    def test_files_without_meters(self):
        for old, new in ((b"", lines(meter(1))), (lines(ROUND), lines(meter(1))), (lines(meter(1)), lines(put(meter(1), 352, b" " * 12))),
                         (lines(meter(1)), lines(KEY)), (lines(KEY), lines(Keys.CHANGED.replace(b"4C30000000", b"4C30000009")))):
            result = self.diff(old, new)
            self.assertEqual((result.code, "different rounds" in result.out), (1, False))


class Readings(Diff):
    def test_only_the_fields_of_the_reading(self):
        old = put(put(meter(1), 426, b" " * 34), 2, b"   1")
        new = put(put(put(put(old, 2, b"   7"), 426, b"202401160835"), 438, b"      6054"), 459, b"A")
        self.assert_changes(lines(ROUND, old, AMR), lines(put(ROUND, 30, b" 3"), put(new, 508, b"AG09 "), put(AMR, 354, b" " * 30), KEY), """\
meter M00000000001
  changed  meter subscriber, line 2 -> 2
      meterReadingDate:      absent -> 2024-01-16T08:35
      meterReadingIndex:     absent -> 6054
      meterReadingMethod:    absent -> "A"
      meterReadingUserCode:  "AG07" -> "AG09"
""", "--only-readings")
        result = self.diff(lines(old), lines(put(old, 2, b"   7"), AMR, b"1 cut"), "--only-readings", "--exact")
        self.assertEqual((result.out, result.code), ("""\
malformed line
  added    malformed line, line 3
      "1 cut"

a -> b: 0 lines changed, 1 added, 0 removed; 0 meters differ
   changed     added   removed
         0         1         0  malformed line
""", 1))

    def test_no_differences(self):
        for options in ((), ("--summary",), ("--full",), ("--exact",)):
            result = self.diff(lines(meter(1)), lines(put(meter(1), 2, b"   7"), KEY, AMR).replace(b"\r\n", b"\n", 1), "--only-readings", *options)
            self.assertEqual((result.out, result.code), ("a -> b: no differences in readings\n", 0))

    def test_lines_of_one_file(self):
        unread = put(meter(2), 426, b" " * 34)
        result = self.diff(lines(meter(1)), lines(meter(1), put(unread, 508, b"     "), meter(3)), "--only-readings")
        self.assertTrue(result.out.startswith("meter M00000000003\n  added    meter subscriber, line 3\n      meterReadingDate: "), result.out)
        self.assertIn("1 meter differs\n", result.out)
        self.assertNotIn("M00000000002", result.out)

    def test_json_and_the_samples(self):
        result = self.run_tool("diff", "--only-readings", "--format", "json", "samples/round-exported.txt", "samples/round-returned.txt")
        document = result.json
        self.assertEqual((document["onlyReadings"], document["differentRounds"], result.code), (True, False, 1))
        fields = {"meterReading" + part for part in ("Date", "Index", "Status", "Consumption", "Method", "UserCode")}
        self.assertEqual({field["field"] for change in document["changes"] for field in change["fields"]}, fields)
        self.assertEqual(set(re.findall(r"meterReading\w+", self.run_tool("diff", "--help").out)), fields)
        self.assertEqual((document["summary"]["changed"], document["summary"]["added"], document["summary"]["meters"]), (54, 0, 54))


class Exact(Diff):
    def test_columns_and_line_endings(self):
        old, new = put(METER, 2, b"1   "), put(METER, 2, b"   1")
        self.assert_field(old, new, 'subscriberCardOrder:  "1   " -> "   1"', "--exact")
        self.assert_field(put(INFORMATION, 100, b"ab"), put(INFORMATION, 100, b"cd"), 'columns 100-101:  "ab" -> "cd"', "--exact")
        out = self.diff(ROUND + b"\n", ROUND + b"\r\n", "--exact").out
        self.assertIn("      line ending:  LF -> CR LF\n", out)

    def test_fields_that_share_columns_are_listed_once(self):
        self.assert_field(put(AMR, 232, b"0.5       "), put(AMR, 232, b"0,5       "), 'pulseWeight:  "0.5       " -> "0,5       "', "--exact")


class Keys(Diff):
    CHANGED = KEY.replace(b'"wmBusKey_Mode5":"5627', b'"wmBusKey_Mode5":"FFFF').replace(b'"1.0.0"', b'"1.0.9"')

    def test_are_masked(self):
        for options in ((), ("--full",), ("--format", "json"), ("--exact",), ("--summary",)):
            for old, new in ((KEY, self.CHANGED), (b"", KEY), (KEY, b""), (KEY, KEY[:-1])):
                result = self.diff(lines(old) if old else b"", lines(new) if new else b"", *options)
                self.assertEqual(result.code, 1)
                for secret in ("BD973F61", "58D7B156", "A4641313", "5627", "FFFF"):
                    self.assertNotIn(secret, result.out + result.err)
        self.assert_changes(lines(KEY), lines(self.CHANGED), """\
meter 4C30000000
  changed  key line, line 1 -> 1
      firmwareVersion:  "1.0.0" -> "1.0.9"
      wmBusKey_Mode5:   differs
""")

    def test_are_shown_when_asked_for(self):
        out = self.diff(lines(KEY), lines(self.CHANGED), "--show-keys").out
        self.assertIn('"5627BD973F6190D6FFA4AA3918619D1B" -> "FFFFBD973F6190D6FFA4AA3918619D1B"\n', out)

    def test_exact_form_without_the_text(self):
        self.assert_changes(lines(KEY), lines(KEY + b" "), """\
meter 4C30000000
  changed  key line, line 1 -> 1
      text:  differs
""", "--exact")


class Forms(Diff):
    def test_summary(self):
        result = self.diff(lines(meter(1), meter(2)), lines(put(meter(1), 2, b"   7"), meter(3)), "--summary")
        self.assertEqual((result.out, result.code), ("""\
a -> b: 1 line changed, 1 added, 1 removed; 3 meters differ
   changed     added   removed
         1         1         1  meter subscriber
  fields of changed lines:
         1  subscriberCardOrder (meter subscriber)
""", 1))

    def test_json(self):
        document = self.diff(lines(meter(1)), lines(put(meter(1), 2, b"   x"), b"1 cut"), "--format", "json").json
        self.assertEqual((document["old"], document["new"], document["exact"]), ("a", "b", False))
        self.assertEqual(document["changes"], [
            {"what": "changed", "kind": "meter subscriber", "meter": "M00000000001", "oldLine": 1, "newLine": 1,
             "fields": [{"field": "subscriberCardOrder", "column": 2, "old": "1", "newUnreadable": "   x"}]},
            {"what": "added", "kind": "damaged line", "newLine": 2, "text": "1 cut", "fields": []}])
        self.assertEqual(document["summary"]["byField"], [{"kind": "meter subscriber", "field": "subscriberCardOrder", "lines": 1}])
        empty = self.diff(lines(ROUND), lines(ROUND), "--format", "json")
        self.assertEqual((empty.json["changes"], empty.code), ([], 0))

    def test_colours(self):
        out = self.diff(lines(meter(1)), lines(meter(2)), "--color", "always").out
        self.assertIn("\x1b[1mmeter M00000000001\x1b[0m\n  \x1b[31mremoved\x1b[0m", out)
        self.assertIn("\x1b[32madded  \x1b[0m", out)
        self.assertNotIn("\x1b", self.diff(lines(meter(1)), lines(meter(2))).out)

    def test_terminal_is_safe(self):
        out = self.diff(lines(ROUND), lines(ROUND, put(meter(1), 352, b"\x1b[2J        "), b"1\x1b[31m cut")).out
        self.assertNotIn("\x1b", out)
        self.assertIn("meter \\x1b[2J\n", out)


class Failures(Diff):
    def test_usage(self):
        for message, *arguments in (
                ("expected two files, OLD and NEW", "a"), ("expected two files, OLD and NEW", "a", "b", "c"),
                ("only one of the files can be the standard input", "-", "-"),
                ('--format: invalid value "xml"; expected text or json', "a", "b", "--format", "xml"),
                ('unknown option "--exakt"; did you mean "--exact"?', "a", "b", "--exakt")):
            result = self.run_tool("diff", *arguments)
            self.assertEqual((result.code, result.out, result.err), (2, "", f'tramo: diff: {message}\ntramo: try "tramo help diff"\n'))

    def test_help_begins_with_two_examples(self):
        page = self.run_tool("diff", "--help").out
        self.assertIn("\n\nExamples:\n  tramo diff ", page)

    def test_unreadable(self):
        good = self.write("good", lines(ROUND))
        for pair, bad, reason in (((good, "missing"), "missing", "No such file or directory"), (("missing", good), "missing", "No such file or directory"),
                                  ((good, self.folder), self.folder, "is a directory")):
            result = self.run_tool("diff", *pair, cwd=self.folder)
            self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {bad}: {reason}\n"))

    def test_an_unreadable_end_is_not_equal(self):
        content = utf16(ROUND.decode("latin-1") + "\r\n")
        result = self.diff(content, content + b"x")
        self.assertEqual((result.code, result.err), (2, "tramo: b: the file ends with half of a UTF-16 character\n"))

    def test_standard_input(self):
        path = self.write("f", lines(ROUND))
        for pair in (("-", path), (path, "-")):
            self.assertEqual(self.run_tool("diff", *pair, stdin=lines(ROUND)).code, 0)
            self.assertEqual(self.run_tool("diff", *pair, stdin=lines(METER)).code, 1)

    def test_output_that_fails(self):
        old, new = self.write("a", b"".join(lines(meter(i)) for i in range(3000))), self.write("b", b"")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TRAMO, "diff", old, new], stdout=full, stderr=subprocess.PIPE, env=ENVIRONMENT)
        self.assertEqual((done.returncode, done.stderr), (3, b"tramo: cannot write the standard output: No space left on device\n"))
        process = subprocess.Popen([TRAMO, "diff", old, new], stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=ENVIRONMENT)
        process.stdout.close()
        self.assertEqual((process.stderr.read(), process.wait()), (b"", 3))
        process.stderr.close()

    def diff_with_a_change_between(self, change):
        """Changes the old file after the tool has read it, before it reads the new one."""
        old = self.write("old", lines(*map(meter, range(1000))))
        new = os.path.join(self.folder, "new")
        os.mkfifo(new)
        process = subprocess.Popen([TRAMO, "diff", "old", "new"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   cwd=self.folder, env=ENVIRONMENT)
        with open(new, "wb") as file:   # waits until the tool opens it
            change(old)
            file.write(lines(*map(meter, range(1000))))
        out, err = process.communicate()
        return process.returncode, out.decode(), err.decode()

    def test_old_file_that_is_overwritten_meanwhile(self):
        def overwrite(path):
            with open(path, "r+b") as file:
                file.seek(514 * 700 + 300)
                file.write(b"X")
        self.assertEqual(self.diff_with_a_change_between(overwrite),
                         (2, "", "tramo: old: changed while it was read; run the command again when the file is complete\n"))

    def test_old_file_that_is_replaced_meanwhile(self):
        def replace(path):
            with open(path + ".next", "wb") as file:
                file.write(lines(meter(5)))
            os.replace(path + ".next", path)
        self.assertEqual(self.diff_with_a_change_between(replace)[:2], (0, "old -> new: no differences\n"))


if __name__ == "__main__":
    unittest.main()
