"""tramo rewrite: the changes of a file that the library reads and writes."""
import os
import subprocess
import unittest
from support import AMR, ENVIRONMENT, INFORMATION, METER, ROUND, TRAMO, CliTest, lines, put, sample, utf16

BROKEN_LONGITUDE = 'longitude: invalid decimal number "abc.600150000000" [ParseDouble 0x004]: expected a digit, found "a"'
RESULT = next(line for line in sample("round-returned.txt").split(b"\r\n") if line[:1] == b"6")
LOCATED = next(line for line in sample("round-returned.txt").split(b"\r\n") if line[:1] == b"7")


class Rewrite(CliTest):
    def dry_run(self, content, *options, **run):
        self.write("f", content)
        return self.run_tool("rewrite", "--dry-run", "f", *options, cwd=self.folder, **run)

    def rewrite(self, content, *options):
        """Rewrites a file "f" to a file "out"; returns its content, or None."""
        self.write("f", content)
        self.result = self.run_tool("rewrite", "f", "-o", "out", *options, cwd=self.folder)
        self.assertEqual(self.result.out, "")
        return self.read("out") if os.path.exists(os.path.join(self.folder, "out")) else None

    def read(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def assert_change(self, line, *expected, after=None):
        """Checks the dry run on a file of that line, and its rewritten form."""
        result = self.dry_run(lines(line))
        self.assertEqual(result.out, "f: 1 of 1 line would change\n  changes:\n" + "".join(f"         1  {words}\n" for words in expected))
        self.assertEqual((result.err, result.code), ("", 1))
        if after is not None:
            self.assertEqual(self.rewrite(lines(line)), lines(after))
            self.assertEqual((self.result.err, self.result.code), ("tramo: f: 1 of 1 line changed\n", 0))

    def assert_loss(self, line, *expected, forced, told=None):
        """Checks the dry run on a file of that line, which is copied unchanged, and its form with --force."""
        content = lines(line)
        result = self.dry_run(content)
        self.assertEqual(result.out, "f: 0 of 1 line would change\n  1 line would be copied because of a loss\n  losses:\n"
                         + "".join(f"         1  {words}\n" for words in expected))
        self.assertEqual((result.err, result.code), ("", 1))
        self.assertEqual(self.rewrite(content), content)
        *losses, summary = self.result.err.splitlines()
        self.assertEqual((self.result.code, summary), (1, "tramo: f: 0 of 1 line changed, 1 copied because of a loss; --force rewrites it"))
        self.assertEqual(len(losses), len(expected))
        if told is not None:
            self.assertEqual(losses, [f"tramo: f:1:{each}" for each in told])
        self.assertEqual(self.rewrite(content, "--force"), lines(forced))
        self.assertEqual((self.result.err, self.result.code), ("tramo: f: 1 of 1 line changed, 1 with a loss\n", 0))

    def assert_unchanged(self, content, what):
        result = self.dry_run(content)
        self.assertEqual((result.out, result.err, result.code), (f"f: nothing would change in {what}\n", "", 0))
        self.assertEqual(self.rewrite(content), content)
        self.assertEqual((self.result.err, self.result.code), (f"tramo: f: 0 of {what} changed\n", 0))


class Changes(Rewrite):
    def test_none(self):
        self.assert_unchanged(lines(ROUND, METER, AMR, RESULT, LOCATED), "5 lines")
        for name in ("amr-keys.txt", "tags.txt", "parameters.txt"):
            os.remove(os.path.join(self.folder, "out"))
            content = sample(name)
            self.assert_unchanged(content, f"{len(content.splitlines())} lines")
        self.assert_unchanged(b"", "0 lines")

    def test_changed_codes_are_counted_by_their_new_code(self):
        area = [ROUND[:255] + b"AREA            " + b"  0" + b" 5" + code + ROUND[277:] for code in (b"N", b"A", b"N", b"1")]
        self.assertEqual(self.dry_run(lines(*area)).out, """\
f: 0 of 4 lines would change
  3 lines would be copied because of a loss
  losses:
         1  meterInformationTypeArea1 (round), column 277: "A" becomes "2"; line 2: "A" becomes "2"
         2  meterInformationTypeArea1 (round), column 277: "N" becomes "1"; line 1: "N" becomes "1"
""")

    def test_absent_values_may_go(self):
        self.assert_change(put(ROUND, 30, b"-1"), 'defaultMeterWheels (round), columns 30-31: is not written unless it is above 3; '
                           'line 1: "-1" becomes blank', after=put(ROUND, 30, b"  "))

    def test_numbers_and_decimals(self):
        self.assert_change(put(METER, 2, b"1   "), 'subscriberCardOrder (meter subscriber), columns 2-5: is written in another form; '
                           'line 1: "1   " becomes "   1"', after=put(METER, 2, b"   1"))
        self.assert_change(put(LOCATED, 14, b"48,5            "), 'latitude (extended data), columns 14-29: is written in another form; '
                           'line 1: "48,5            " becomes " 48.500000000000"', after=put(LOCATED, 14, b" 48.500000000000"))

    def test_zero_characters_after_a_number(self):
        self.assert_change(put(METER, 2, b"12\0\0"), 'subscriberCardOrder (meter subscriber), columns 2-5: is written in another form; '
                           'line 1: "12\\x00\\x00" becomes "  12"', after=put(METER, 2, b"  12"))

    def test_white_space_outside_of_all_fields(self):
        self.assert_change(put(LOCATED, 100, b"\t"), 'outside of fields (extended data), column 100: the text there is not read; '
                           'line 1: "\\x09" becomes blank', after=LOCATED)

    def test_line_endings(self):
        content = ROUND + b"\n" + METER + b"\r\n" + AMR
        self.assertEqual(self.dry_run(content).out, """\
f: 2 of 3 lines would change
  changes:
         1  LF alone becomes CR LF; line 1
         1  no line ending becomes CR LF; line 3
""")
        self.assertEqual(self.rewrite(content), lines(ROUND, METER, AMR))

    def test_a_rewritten_file_stays_as_it_is(self):
        self.assertEqual(self.dry_run(sample("round-returned.txt")).code, 1)
        self.assert_unchanged(self.rewrite(sample("round-returned.txt"), "--force"), "172 lines")

    def test_shared_columns_are_reported_for_the_written_field(self):
        self.assert_change(put(AMR, 232, b"0.5       "), 'pulseWeight (AMR), columns 232-241: is written in another form; '
                           'line 1: "0.5       " becomes "  0.500000"')
        self.assert_unchanged(lines(put(AMR, 232, b"-1        ")), "1 line")


class Losses(Rewrite):
    def test_counters_of_a_record_information_line(self):
        self.assert_loss(
            INFORMATION,
            'roundNumber (record information), columns 2-6: becomes another value; line 1: "    1" becomes "   60"',
            'meterNumber (record information), columns 7-11: is read as roundNumber, and not written; line 1: "   60" becomes blank',
            told=('2: roundNumber (record information): "    1" becomes "   60"',
                  '7: meterNumber (record information): "   60" is read as roundNumber, and not written'),
            forced=put(INFORMATION, 2, b"   60     "))
        for counter in (b"    1", b"   60"):
            self.assert_loss(put(INFORMATION, 2, counter * 2), 'meterNumber (record information), columns 7-11: is read as roundNumber, '
                             f'and not written; line 1: "{counter.decode()}" becomes blank', forced=put(INFORMATION, 2, counter + b"     "))
        self.assert_unchanged(lines(put(INFORMATION, 2, b"   60     ")), "1 line")

    def test_ignored_text(self):
        self.assert_loss(put(METER, 438, b"      6O54"), 'meterReadingIndex (meter subscriber), columns 438-447: is read in part; '
                         'line 1: "6O54" is read as 6: "O54" after the number is ignored',
                         told=('445: meterReadingIndex: "6O54" is read as 6 [TextIgnored]: "O54" after the number is ignored',),
                         forced=put(METER, 438, b"         6"))
        self.assert_loss(put(METER, 506, b"Y"), 'meterAuthorizedChange (meter subscriber), column 506: is read in part; '
                         'line 1: "Y" is read as 0: expected 1 or 0', forced=put(METER, 506, b"0"))
        self.assert_loss(put(METER, 380, b"20x4"), 'meterInstallationYear (meter subscriber), columns 380-383: is read in part; '
                         'line 1: "20x4" is read as no year: expected 4 digits (YYYY), from 1902 to 2038', forced=put(METER, 380, b"    "))
        self.assert_loss(put(AMR, 286, b"00F0"), 'previousAlarms (AMR), columns 286-289: is read in part; '
                         'line 1: "00F0" is read as no flag: "F" matches no flag', forced=put(AMR, 286, b"0000"))
        self.assert_loss(put(AMR, 232, b"0.5 L     "), 'pulseWeight (AMR), columns 232-241: is read in part; '
                         'line 1: "0.5 L" is read as 0.5: "L" after the number is ignored', forced=put(AMR, 232, b"  0.500000"))
        self.assert_unchanged(lines(put(AMR, 456, b"Y")), "1 line")   # kept as text

    def test_unreadable_text(self):
        self.assert_loss(put(METER, 2, b"x   "), 'subscriberCardOrder (meter subscriber), columns 2-5: cannot be read; '
                         'line 1: invalid integer "x": expected a digit, found "x"',
                         told=('2: subscriberCardOrder: invalid integer "x" [ParseInteger 0x001]: expected a digit, found "x"',),
                         forced=put(METER, 2, b"    "))
        self.assert_unchanged(lines(put(AMR, 232, b"abc       ")), "1 line")   # kept as text

    def test_codes(self):
        area = ROUND[:255] + b"AREA            " + b"  0" + b" 5" + b"N" + ROUND[277:]
        self.assert_loss(area, 'meterInformationTypeArea1 (round), column 277: "N" becomes "1"; line 1: "N" becomes "1"',
                         forced=put(area, 277, b"1"))
        self.assert_loss(put(METER, 459, b"T"), 'meterReadingMethod (meter subscriber), column 459: "T" is not written '
                         'unless there is a reading date; line 1: "T" becomes blank',
                         told=('459: meterReadingMethod (meter subscriber): "T" is not written unless there is a reading date',),
                         forced=put(METER, 459, b" "))

    def test_values_that_are_not_written(self):
        self.assert_loss(put(ROUND, 30, b" 3"), 'defaultMeterWheels (round), columns 30-31: is not written unless it is above 3; '
                         'line 1: " 3" becomes blank', forced=put(ROUND, 30, b"  "))
        line = put(METER, 384, b" " * 8)
        self.assert_loss(line, *(f'{field} (meter subscriber), columns {first}-{first + 9}: is not written unless {condition} and it is '
                                 f'0 or more; line 1: "{line[first - 1:first + 9].decode()}" becomes blank' for field, first, condition in (
                                     ("meterPreviousReadingIndex", 392, "there is a previous reading date"),
                                     ("meterReadingConsumption", 449, "there is both a reading date and a previous reading date"))),
                         forced=put(put(line, 392, b" " * 10), 449, b" " * 10))

    def test_decimals_that_are_cut(self):
        self.assert_loss(put(LOCATED, 46, b"1.23456 "), 'altitude (extended data), columns 46-53: becomes another value; '
                         'line 1: "1.23456 " becomes "   1.235"', told=('46: altitude (extended data): "1.23456 " becomes "   1.235"',),
                         forced=put(LOCATED, 46, b"   1.235"))

    def test_zero_character_after_alarm_flags(self):
        line = put(put(AMR, 286, b"0000"), 290, b" " * 64)
        self.assertEqual(line[251:259].strip().isdigit(), True)   # the previous reading has a date
        self.assert_loss(line, 'previousAlarms (AMR), column 290: a zero is written after it; line 1: blank becomes "\\x00"',
                         forced=put(line, 290, b"\0"))

    def test_text_outside_of_all_fields(self):
        self.assert_loss(put(INFORMATION, 2, b"   60     " + b"x" * 50),
                         'outside of fields (record information), columns 12-61: the text there is not read; '
                         'line 1: "' + "x" * 40 + '"... is outside all fields: it is ignored',
                         forced=put(INFORMATION, 2, b"   60     " + b" " * 50))

    def test_a_character_in_the_place_of_the_carriage_return(self):
        content = METER + b"x\n"
        self.assertEqual(self.rewrite(content), content)
        self.assertEqual((self.result.code, self.result.err.splitlines()[0]), (1, 'tramo: f:1:513: "x" is outside of fields, and not read'))
        self.assertEqual(self.rewrite(content, "--force"), lines(METER))
        self.assertEqual(self.rewrite(METER + b" \n"), lines(METER))
        self.assertEqual(self.result.code, 0)

    def test_only_the_form_of_other_lines_changes(self):
        content = put(METER, 2, b"1   ") + b"\n" + put(put(METER, 2, b"2   "), 438, b"      6O54") + b"\n" + put(METER, 2, b"3   ") + b"\r\n"
        expected = put(METER, 2, b"   1") + b"\r\n" + put(put(METER, 2, b"2   "), 438, b"      6O54") + b"\n" + put(METER, 2, b"   3") + b"\r\n"
        self.assertEqual(self.rewrite(content), expected)
        self.assertEqual((self.result.code, self.result.err.splitlines()[1:]),
                         (1, ["tramo: f: 2 of 3 lines changed, 1 copied because of a loss; --force rewrites it"]))
        self.assertEqual(self.dry_run(content).out, """\
f: 2 of 3 lines would change
  1 line would be copied because of a loss
  losses:
         1  meterReadingIndex (meter subscriber), columns 438-447: is read in part; line 2: "6O54" is read as 6: "O54" after the number is ignored
  changes:
         2  subscriberCardOrder (meter subscriber), columns 2-5: is written in another form; line 1: "1   " becomes "   1"
         1  LF alone becomes CR LF; line 1
""")
        self.assertEqual(self.dry_run(content, "--force").out, """\
f: 3 of 3 lines would change, 1 with a loss
  losses:
         1  meterReadingIndex (meter subscriber), columns 438-447: is read in part; line 2: "6O54" is read as 6: "O54" after the number is ignored
  changes:
         3  subscriberCardOrder (meter subscriber), columns 2-5: is written in another form; line 1: "1   " becomes "   1"
         2  LF alone becomes CR LF; line 1
""")

    def test_are_reported(self):
        result = self.dry_run(sample("round-damaged.txt"))
        self.assertEqual((result.code, result.out), (1, """\
f: 1 of 173 lines would change
  4 malformed lines would be copied
  1 line would be copied because of a loss
  losses:
         1  LineEmpty; line 20: line is empty
         1  LineTooLong; line 12: line has 514 characters, expected 512
         2  LineTooShort; line 6: line has 233 characters, expected 512
         1  roundNumber (record information), columns 2-6: becomes another value; line 172: "    1" becomes "   60"
         1  meterNumber (record information), columns 7-11: is read as roundNumber, and not written; line 172: "   60" becomes blank
  changes:
         1  LF alone becomes CR LF; line 25
"""))

    def test_malformed_lines_are_copied_even_by_force(self):
        content = lines(put(METER, 2, b"1   "), b"short")
        for options in ((), ("--force",)):
            self.assertEqual(self.rewrite(content, *options), lines(put(METER, 2, b"   1"), b"short"))
            self.assertEqual((self.result.code, self.result.err), (1, """\
tramo: f:2: line has 5 characters, expected 512 [LineTooShort]: padded with 507 spaces at its end, it has 1 error, at column 1
tramo: f: 1 of 2 lines changed, 1 malformed line copied
"""))

    def test_many_are_counted(self):
        content = sample("round-broken.txt")
        self.assertEqual(self.rewrite(content), content)
        messages = self.result.err.splitlines()
        self.assertEqual((len(messages), messages[-2]), (12, "tramo: ... and 85 more"))
        self.assertIn(f"tramo: f:7:30: {BROKEN_LONGITUDE}", messages)
        self.assertEqual(messages[-1], "tramo: f: 0 of 172 lines changed, 1 malformed line copied, 57 copied because of a loss; --force rewrites them")

    def test_forced(self):
        self.assertEqual(self.dry_run(self.rewrite(sample("round-broken.txt"), "--force"), "--force").out,
                         "f: 0 of 172 lines would change\n  1 malformed line would be copied\n  losses:\n"
                         '         1  LineLetterUnknown; line 55: unknown record letter "8"\n')

    def test_lines_that_cannot_be_copied(self):
        round_line = ROUND.decode("latin-1") + "\r\n"
        for content, message in ((utf16(round_line) + b"x", "the file ends with half of a UTF-16 character"),
                                 (utf16(round_line + "\uffffbc"), "3 characters from line 2 on cannot be read, because that line begins with U+FFFF")):
            self.assertIsNone(self.rewrite(content, "--force"))
            self.assertEqual((self.result.code, self.result.err), (1, f"tramo: f: {message}\ntramo: f: nothing was written\n"))
            result = self.dry_run(content)
            self.assertEqual((result.code, result.err), (1, f"tramo: f: {message}\n"))


class Encoding(Rewrite):
    def test_encoding_is_kept_or_selected(self):
        ansi, wide = lines(ROUND, METER), utf16(lines(ROUND, METER).decode("latin-1"))
        for content, options, expected in ((ansi, (), ansi), (wide, (), wide), (ansi, ("--encoding", "utf16le"), wide),
                                           (wide, ("--encoding", "ansi"), ansi), (wide, ("--encoding", "same"), wide)):
            self.assertEqual(self.rewrite(content, *options), expected)

    def test_values_that_do_not_fit(self):
        line = METER.decode("latin-1")[:464] + "\u20ac" + METER.decode("latin-1")[465:]
        self.assertIsNone(self.rewrite(utf16(line + "\r\n"), "--encoding", "ansi"))
        self.assertEqual((self.result.code, self.result.err),
                         (1, 'tramo: f:1:465: U+20AC "\u20ac" in meterMessage (meter subscriber) cannot be written in ANSI\n'
                             "tramo: f: nothing was written\n"))


class Forms(Rewrite):
    def test_json(self):
        report = self.dry_run(lines(METER, put(METER, 2, b"1   "), put(METER, 2, b"x   "), b"short") + ROUND, "--format", "json")
        self.assertEqual((report.code, report.err), (1, ""))
        document = report.json
        self.assertEqual((document["file"], document["encoding"], document["lines"], document["linesChanged"], document["losses"]),
                         ("f", "ANSI", 5, 2, 2))
        self.assertEqual(document["linesCopied"], 2)
        self.assertEqual(document["changes"], [
            {"kind": "meter subscriber", "field": "subscriberCardOrder", "column": 2, "endColumn": 6, "what": "unreadable", "loss": True,
             "lines": 1, "example": {"line": 3, "before": "x   ", "after": "    "}},
            {"kind": "meter subscriber", "field": "subscriberCardOrder", "column": 2, "endColumn": 6, "what": "respelled", "loss": False,
             "lines": 1, "example": {"line": 2, "before": "1   ", "after": "   1"}}])
        self.assertEqual(document["damagedLines"], [
            {"rule": "LineTooShort", "lines": 1, "firstLine": 4, "message": "line has 5 characters, expected 512"}])
        self.assertEqual(document["lineEnds"], [{"found": "no line end", "lines": 1, "firstLine": 5}])

    def test_terminal_is_safe(self):
        self.assertIn('"\\x1b[2J" is outside all fields', self.dry_run(lines(put(INFORMATION, 100, b"\x1b[2J"))).out)

    def test_standard_streams(self):
        result = self.run_tool("rewrite", "-", "-o", "-", stdin=lines(put(AMR, 232, b"0.5       ")))
        self.assertEqual((result.raw, result.err, result.code),
                         (lines(put(AMR, 232, b"  0.500000")), "tramo: <stdin>: 1 of 1 line changed\n", 0))


class Failures(Rewrite):
    def test_usage(self):
        for message, *arguments in (
                ('a FILE is missing ("-" is the standard input)', "--dry-run"),
                ('unexpected argument "b"; expected one FILE', "a", "b", "--dry-run"),
                ("expected either --dry-run or -o OUT", "a"),
                ("expected either --dry-run or -o OUT", "a", "--dry-run", "-o", "x"),
                ('--format: invalid value "xml"; expected text or json', "a", "--dry-run", "--format", "xml"),
                ('unknown option "--dryrun"; did you mean "--dry-run"?', "a", "--dryrun")):
            result = self.run_tool("rewrite", *arguments)
            self.assertEqual((result.code, result.out, result.err),
                             (2, "", f'tramo: rewrite: {message}\ntramo: try "tramo help rewrite"\n'))

    def test_help_begins_with_two_examples(self):
        page = self.run_tool("rewrite", "--help").out
        self.assertIn("\n\nExamples:\n  tramo rewrite ", page)

    def test_unreadable(self):
        for path, reason in (("missing", "No such file or directory"), (self.folder, "is a directory")):
            for how in (["--dry-run"], ["-o", "out"]):
                result = self.run_tool("rewrite", path, *how, cwd=self.folder)
                self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {path}: {reason}\n"))

    def test_not_written(self):
        path = self.write("f", lines(ROUND))
        result = self.run_tool("rewrite", path, "-o", "/dev/full")
        self.assertEqual((result.code, result.err), (3, "tramo: cannot write /dev/full: No space left on device\n"))
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TRAMO, "rewrite", "--dry-run", path], stdout=full, stderr=subprocess.PIPE, env=ENVIRONMENT)
        self.assertEqual(done.returncode, 3)

    def test_closed_pipe(self):
        path = self.write("f", lines(METER) * 2000)
        process = subprocess.Popen([TRAMO, "rewrite", path, "-o", "-"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=ENVIRONMENT)
        process.stdout.close()
        self.assertEqual((process.stderr.read(), process.wait()), (b"", 3))
        process.stderr.close()


if __name__ == "__main__":
    unittest.main()
