"""tramo show: lines as tables."""
import os
import re
import subprocess
import unittest
from support import AMR, ENVIRONMENT, INFORMATION, METER, ROOT, ROUND, TRAMO, CliTest, lines, on_terminal, put, rules_by_subject, sample, sample_line, utf16

LONE = "\ud83d"


def plain(text):
    return re.sub(r"\x1b\[[0-9;]*m", "", text)


class ShowTest(CliTest):
    def show(self, content, *arguments, **run):
        self.write("f", content)
        return self.run_tool("show", "f", *arguments, cwd=self.folder, **run)

    def rows(self, content, *arguments):
        """Returns the rows by field: columns, value and text as one string."""
        return dict((match[2], (match[1].strip(), match[3].strip()))
                    for match in re.finditer(r"^( {2}.{7})  ( {0,2}\w+) *(.*)$", self.show(content, *arguments).out, re.M)
                    if "error:" not in match[0] and "warning:" not in match[0])


class Meters(ShowTest):
    """--meter: a meter with everything that the file says about it."""
    SERIAL = "C12AB0100000"

    def meter_rows(self, content, *arguments):
        """The rows as (place, label, text)."""
        out = self.show(content, "--meter", self.SERIAL, *arguments).out
        return re.findall(r"^ *(\d*:?\d*)  (\S.*?|  reading|  earlier) {2,}(\S.*)$", out, re.M)

    def texts(self, content, label):
        return [text for _, found, text in self.meter_rows(content) if found.strip() == label]

    def assert_row(self, content, *row):
        self.assertIn(row, self.meter_rows(content))

    def test_the_sample(self):
        result = self.run_tool("show", "--meter", self.SERIAL, "samples/round-returned.txt", env={"TZ": "UTC"})
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertTrue(result.out.startswith(f"""\
samples/round-returned.txt:4  meter {self.SERIAL}, read
        1  round             T0412, TOURNÉE CENTRE 04-12
      4:6  Nom               ABONNÉ 0001
     4:36  Adresse           126 Rue des Érables
"""), result.out)
        for row in ("4:426  reading           6054 on 2024-01-16 08:35, status 1, method A, user code AG07",
                    "4:449  consumption       56 as written and as computed", "4:384  previous reading  5998 on 2023-07-12",
                    "4:157  earlier reading   consumption 69 on 2023-07-11, type R", "5:72  radio module      4C30000000",
                    "5:354    reading         6062.5 on 2024-01-16", "6:146    earlier         6030 on 2023-09-01 00:00, alarms 2",
                    "5:286  previous alarms   LeakPastOrCurrent", "5:388  alarms            LeakPastOrCurrent, LeakCurrent",
                    "6:95  alarms            leak",
                    "7:14  place             48.49992, -1.60015, altitude 112.5, accuracy 2.5, updated on 2024-01-16"):
            self.assertRegex(result.out, rf"(?m)^ *{re.escape(row)}$")
        self.assertTrue(result.out.endswith("  lines             4 (meter subscriber), 5 (AMR), 6 (extended AMR), 7 (extended data)\n"))

    def test_answers_and_changes(self):
        result = self.run_tool("show", "--meter", "C12AB0101665", "samples/round-returned.txt")
        for row in ("133:2  meter change      C12AB0101665 -> N24000500045 on 2024-01-17, index 3, wheels 5",
                    "134:25  Accès             B of ABCD, on 2024-01-16", "134:57  Pression          35, on 2024-01-16",
                    "134:89  Remarque          mode U, on 2024-01-16"):
            self.assertRegex(result.out, rf"(?m)^ *{re.escape(row)}$")

    def test_both_encodings_and_the_standard_input(self):
        texts = {}
        for name in ("round-returned.txt", "round-returned-utf16.txt"):
            content = sample(name)
            texts[name] = self.show(content, "--meter", self.SERIAL).out
            piped = self.run_tool("show", "--meter", self.SERIAL, "-", stdin=content)
            self.assertEqual((piped.code, piped.out), (0, texts[name].replace("f:4  ", "<stdin>:4  ", 1)))
        self.assertEqual(*texts.values())

    def test_consumption_as_written_and_as_computed(self):
        plain = put(put(METER, 392, b"       100"), 438, b"       120")
        rolled = put(put(METER, 392, b"    999990"), 438, b"         5")
        for meter, written, text in ((plain, b"        20", "20 as written and as computed"), (plain, b"        21", "21 as written, 20 as computed"),
                                     (plain, b"", "not written, 20 as computed"),
                                     (rolled, b"        15", "15 as written and as computed with a roll-over"),
                                     (rolled, b"", "not written, 15 as computed with a roll-over"),
                                     (put(rolled, 364, b"  "), b"        15", "15 as written"),
                                     (put(rolled, 378, b" 7"), b"", "not written, 9000015 as computed with a roll-over"),
                                     (put(plain, 392, b" " * 10), b"        20", "20 as written")):
            with self.subTest(text=text):
                self.assertEqual(self.texts(lines(ROUND, put(meter, 449, written.rjust(10))), "consumption"), [text])

    def test_a_meter_without_a_reading(self):
        unread = put(METER, 426, b" " * 34)
        result = self.show(lines(ROUND, unread), "--meter", self.SERIAL)
        self.assertIn(f"meter {self.SERIAL}, not read\n", result.out)
        self.assertEqual(self.texts(lines(ROUND, unread), "reading"), [])
        self.assert_row(lines(ROUND, put(unread, 438, b"      6054")), "2:438", "index, no date", "6054")
        undated = put(put(put(METER, 364, b" 4"), 384, b"        " + b"      9990"), 438, b"         5")
        self.assert_row(lines(ROUND, undated), "2:392", "previous, no date", "9990")
        self.assert_row(lines(ROUND, put(undated, 449, b" " * 10)), "2:449", "consumption", "not written, 15 as computed with a roll-over")

    def test_text_outside_of_all_areas(self):
        bare = put(ROUND, 256, b" " * 220)
        self.assertIn("ABONN", self.texts(lines(bare, METER), "other text")[0])

    def test_a_radio_module_without_a_current_reading(self):
        silent = put(AMR, 354, b" " * 34)
        self.assert_row(lines(ROUND, METER, silent), "3:72", "radio module", "4C30000000")
        self.assertEqual([label for _, label, _ in self.meter_rows(lines(ROUND, METER, silent)) if label.startswith("  ")], ["  earlier"])

    def test_findings_of_its_lines(self):
        broken = put(METER, 438, b"       x  ")
        result = self.show(lines(ROUND, broken, put(AMR, 242, b"y")), "--meter", self.SERIAL)
        self.assertEqual(result.code, 1)
        self.assertRegex(result.out, r"\n +2:438  error +meterReadingIndex: invalid integer")
        self.assertRegex(result.out, r"\n +3:242  error +maxIndex: invalid integer")

    def test_findings_of_areas_and_pages(self):
        overlapping = put(ROUND, 272, b"120")
        answer = sample_line(b"6")
        result = self.show(lines(overlapping, put(METER, 352, answer[2:14]), answer), "--meter", answer[2:14].decode())
        self.assertEqual(result.code, 1)
        self.assertRegex(result.out, r"\n +1:\d+  warning +meter area 1 .* \[AreaOutside\]")
        self.assertRegex(result.out, r'\n +3:2  warning +enquiry page "1" is not defined \[PageUndefined\]')

    def test_notes_about_lines_that_may_be_lost(self):
        other = put(AMR, 26, b"C12AB010000O")
        result = self.show(lines(ROUND, METER, other, AMR[:500]), "--meter", self.SERIAL)
        self.assertEqual(result.code, 0)
        self.assertTrue(result.out.endswith(f"""
note: f:4: the line is too short; it contains "{self.SERIAL}"
note: f:3:26: AMR line belongs to no meter [LineWithoutMeter]: its round has no meter subscriber line with the serial number "C12AB010000O"
"""), result.out)
        many = self.show(lines(ROUND, METER, *[other] * 7), "--meter", self.SERIAL).out
        self.assertEqual((many.count("note: f:"), many.splitlines()[-1]), (5, "note: 2 lines more belong to no meter"))

    def test_each_meter_with_the_number(self):
        result = self.show(lines(ROUND, METER, METER, AMR), "--meter", self.SERIAL)
        self.assertEqual(re.findall(r"^f:(\d+)  meter|^  +lines +(.*)$", result.out, re.M),
                         [("2", ""), ("", "2 (meter subscriber)"), ("3", ""), ("", "3 (meter subscriber), 4 (AMR)")])

    def test_a_corrected_and_a_new_number(self):
        change = put(put(sample_line(b"3"), 2, self.SERIAL.encode()), 14, b"N24000500007")
        content = lines(ROUND, put(METER, 366, b"C12AB0100009"), change)
        for number in ("C12AB0100009", "N24000500007"):
            self.assertIn(f"f:2  meter {self.SERIAL}, read\n", self.show(content, "--meter", number).out)

    def test_only_findings_are_coloured(self):
        area = put(ROUND, 256, b"error".ljust(16))
        broken = put(METER, 438, b"       x  ")
        out = self.show(lines(area, broken), "--meter", self.SERIAL, "--color", "always").out
        self.assertEqual(re.findall(r"\x1b\[1;31m(\w+) *\x1b\[0m  (\w+)", out), [("error", "meterReadingIndex")])
        self.assertIn("\x1b[0m  error             GARAGE\n", out)

    def test_fits_the_terminal(self):
        path = self.write("f", lines(ROUND, METER, AMR))
        out = plain(on_terminal(["show", "--meter", self.SERIAL, path], 50))
        self.assertLessEqual(max(map(len, out.splitlines()[1:])), 50)
        self.assertIn("2:426  reading           6054 on", out)

    def test_hostile_text_is_shown_harmlessly(self):
        result = self.show(lines(put(ROUND, 2, b"\x1b[31mX\x07"), METER), "--meter", self.SERIAL)
        self.assertIn(r"\x1b[31mX\x07", result.out)
        self.assertNotIn("\x1b[31mX", result.out)

    def test_refused(self):
        self.write("f", lines(ROUND, METER))
        self.write("orphan", lines(ROUND, put(METER, 352, b"C99         "), AMR, METER[:99]))
        for arguments, message in ((["C12AB010000", "f"], 'f: has no meter with the serial number "C12AB010000"; did you mean "C12AB0100000"?'),
                                   (["c12ab-0100000", "f"], 'f: has no meter with the serial number "c12ab-0100000"; did you mean "C12AB0100000"?'),
                                   ([self.SERIAL, "orphan"], f'orphan: has no meter with the serial number "{self.SERIAL}" (1 malformed line '
                                    "could not be searched); line 3 (AMR) has it, but no meter subscriber line"),
                                   ([self.SERIAL, "f", "1"], "show: --meter shows all lines of a meter; it takes no line numbers"),
                                   ([self.SERIAL, "--raw", "f"], "show: --meter cannot be combined with --all or --raw"),
                                   (["", "f"], "show: --meter: expected a serial number"),
                                   ([self.SERIAL, "nowhere"], "nowhere: No such file or directory")):
            result = self.run_tool("show", "--meter", *arguments, cwd=self.folder)
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertTrue(result.err.startswith(f"tramo: {message}\n"), result.err)

    def test_a_file_that_ends_early(self):
        result = self.show(utf16(lines(ROUND, METER).decode("latin-1")) + b"x", "--meter", self.SERIAL)
        self.assertEqual((result.code, result.err), (1, "tramo: f:3: the line ends with half of a UTF-16 character\n"))


class Tables(ShowTest):
    def test_a_whole_line(self):
        result = self.run_tool("show", "samples/tags.txt", "2")
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertEqual(result.out, 'samples/tags.txt:2  tag\n'
                                     '      1-2  code   "AB"\n'
                                     '     3-22  label  "Absent"\n')

    def test_values(self):
        rows = self.rows(lines(METER))
        self.assertEqual(rows["meterReadingDate"], ("426-437", '2024-01-16 08:35  "202401160835"'))
        self.assertEqual(rows["meterPreviousReadingDate"], ("384-391", '2023-07-12        "20230712"'))
        self.assertEqual(rows["meterInstallationYear"], ("380-383", '2008              "2008"'))
        self.assertEqual(rows["meterMinEstimatedConsumption"], ("402-413", '32                "   32.000000"'))
        self.assertEqual(rows["meterAuthorizedChange"], ("506", 'no                "0"'))
        self.assertEqual(rows["meterFluidType"], ("507", 'H                 "H"'))
        self.assertEqual(rows["meterSerialNumber"], ("352-363", '"C12AB0100000"'))

    def test_dates_are_local(self):
        for zone in ("America/New_York", "Asia/Tokyo", "Europe/Paris"):
            out = self.show(lines(METER), env={"TZ": zone}).out
            self.assertIn("2024-01-16 08:35", out)
            self.assertIn("2023-07-12 ", out)

    def test_alarms_by_name(self):
        rows = self.rows(lines(AMR))
        self.assertEqual(rows["previousAlarms"], ("286-289", '1 set       "0200"'))
        self.assertEqual(rows["currentAlarms"], ("388-391", '2 set       "8200"'))
        flags = [name.strip() for name in rows if name.startswith("  ")]
        self.assertEqual(flags, ["previousAlarmLeakPastOrCurrent", "currentAlarmLeakPastOrCurrent", "currentAlarmLeakCurrent"])
        rows = self.rows(lines(put(AMR, 286, b"0000")))
        self.assertEqual(rows["previousAlarms"][1], 'none set    "0000"')

    def test_blank_fields_only_on_demand(self):
        few, many = self.rows(lines(METER)), self.rows(lines(METER), "--all")
        self.assertNotIn("meterMessage", few)
        self.assertEqual(many["meterMessage"], ("464-493", "-"))
        self.assertEqual(len(many), 36)
        self.assertEqual(self.rows(lines(put(METER, 506, b" ")), "--all")["meterAuthorizedChange"], ("506", "yes (default)"))
        amr = self.rows(lines(AMR), "--all")
        self.assertEqual(amr["pulseWeightStr"], ("232-241", '"  0.010000"'))
        self.assertEqual(amr["  previousAlarmFraudPastOrCurrent"], ("", "no"))
        self.assertEqual(amr["  currentAlarmText"], ("", '"8200"'))

    def test_a_text_read_into_another_field(self):
        self.assertEqual(self.rows(lines(INFORMATION))["meterNumber"][1].split("  ")[0], "read into roundNumber")

    def test_findings_follow_their_field(self):
        result = self.show(lines(put(put(METER, 195, b"20231340"), 232, b" " * 120)))
        self.assertEqual(result.code, 1)
        text = result.out.splitlines()
        at = next(i for i, line in enumerate(text) if "meterHistory3ReadingDate" in line)
        self.assertRegex(text[at], 'unreadable +"20231340"$')
        self.assertEqual(text[at + 1], '           error: invalid date "20231340" [ParseDate 0x01B]: there is no month 13; '
                                       'the format reports this error at column 194')
        at = next(i for i, line in enumerate(text) if "meterInformation " in line)
        self.assertRegex(text[at], "232-351  meterInformation +-$")
        self.assertEqual(text[at + 1], "           warning: missing value [MandatoryMissing 0x201]: it is empty")

    def test_findings_of_the_line_precede_its_fields(self):
        result = self.show(METER + b"\n")
        self.assertEqual(result.out.splitlines()[1], "  error: line ends with LF alone [LineEndWithoutCR]: expected CR LF")
        self.assertEqual(result.code, 1)

    def test_agrees_with_check(self):
        for name in ("round-broken.txt", "round-damaged.txt", "round-returned.txt", "amr-keys.txt", "tags.txt"):
            found = [line for line in self.run_tool("show", f"samples/{name}").out.splitlines()
                     if re.match(r" +(error|warning): ", line)]
            self.assertEqual(len(found), len(self.run_tool("check", "--each", f"samples/{name}").findings), name)

    def test_utf16(self):
        ansi, wide = (self.run_tool("show", f"samples/{name}.txt").out for name in ("round-returned", "round-returned-utf16"))
        self.assertEqual(wide.replace("round-returned-utf16", "round-returned"), ansi)

    def test_text_cannot_steer_a_terminal(self):
        line = put(METER, 464, b"\x1b[31mred\x07")
        result = self.show(lines(line))
        self.assertIn(r'"\x1b[31mred\x07"', result.out)
        self.assertNotIn("\x1b", result.out)
        self.assertNotIn("\x1b", self.show(lines(line), "--raw").out)
        hostile = self.write("\x1b[31mf", lines(METER))
        self.assertNotIn("\x1b", self.run_tool("show", hostile).out)

    def test_surrogates(self):
        line = METER.decode("latin-1")
        line = line[:463] + "\U0001F600" + LONE + line[466:]
        result = self.show(utf16(line + "\r\n"))
        self.assertIn('"\U0001F600\\ud83d"', result.out)


class Lines(ShowTest):
    def numbers(self, *arguments):
        result = self.run_tool("show", "samples/round-returned.txt", *arguments)
        return [int(match) for match in re.findall(r"^samples/round-returned\.txt:(\d+)  ", result.out, re.M)]

    def test_chosen(self):
        self.assertEqual(self.numbers("3"), [3])
        self.assertEqual(self.numbers("3-5"), [3, 4, 5])
        self.assertEqual(self.numbers("170-"), [170, 171, 172])
        self.assertEqual(self.numbers(), list(range(1, 173)))

    def test_headings_are_separated_by_blank_lines(self):
        out = self.run_tool("show", "samples/tags.txt", "1-2").out
        self.assertEqual(out.count("\n\n"), 1)
        self.assertIn("\n\nsamples/tags.txt:2  tag\n", out)

    def test_out_of_range(self):
        for word, missing in (("6", 6), ("4-9", 6), ("9-", 9), ("7-9", 7), ("5-6", 6)):
            result = self.run_tool("show", "samples/tags.txt", word)
            self.assertEqual((result.code, result.err), (2, f"tramo: samples/tags.txt: has 5 lines; there is no line {missing}\n"))

    def test_no_lines(self):
        for word in ("0", "x", "-3", "3-x", "3--5", "1.5", "99999999999999999999", ""):
            result = self.run_tool("show", "samples/tags.txt", "--", word)
            self.assertEqual((result.code, result.out), (2, ""), word)
            self.assertIn("; expected 3, 3-5 or 3-, counted from 1", result.err)
        self.assertIn('invalid lines "5-3"; the last line is before the first', self.run_tool("show", "samples/tags.txt", "5-3").err)

    def test_only_the_lines_shown_count(self):
        faulty = [line.split(":")[1] for line in self.run_tool("check", "samples/round-broken.txt").findings]
        first_faulty = faulty[0]
        self.assertNotIn("172", faulty)
        self.assertEqual(self.run_tool("show", "samples/round-broken.txt", first_faulty).code, 1)
        self.assertEqual(self.run_tool("show", "samples/round-broken.txt", "172").code, 0)

    def test_text_at_the_end_that_cannot_be_read(self):
        result = self.show(utf16("AB" + "x" * 21 + "\r\n\uffff" + "y" * 5), "--kind", "tag")
        self.assertEqual(result.code, 1)
        self.assertIn("6 characters from line 2 on cannot be read", result.err)
        result = self.show(utf16("AB" + "x" * 21 + "\r\n") + b"z", "--kind", "tag")
        self.assertIn("half of a UTF-16 character", result.err)


class Places(ShowTest):
    """FILE:LINE and FILE:LINE:COLUMN, as check prints them."""

    def shown(self, word, **run):
        return self.run_tool("show", word, cwd=self.folder, **run)

    def test_a_line(self):
        by_number = self.run_tool("show", "samples/round-broken.txt", "10")
        for word in ("samples/round-broken.txt:10", "samples/round-broken.txt:10:"):
            result = self.run_tool("show", word)
            self.assertEqual((result.code, result.out, result.err), (1, by_number.out, ""))
        self.assertEqual(self.run_tool("show", "--all", "samples/round-broken.txt:10").out,
                         self.run_tool("show", "--all", "samples/round-broken.txt", "10").out)

    def test_a_field(self):
        for column in (195, 200, 202):
            result = self.run_tool("show", f"samples/round-broken.txt:10:{column}")
            self.assertEqual((result.code, result.err), (1, ""))
            self.assertEqual(result.out, "samples/round-broken.txt:10  meter subscriber\n"
                             '  195-202  meterHistory3ReadingDate  unreadable  "20231340"\n'
                             '           error: invalid date "20231340" [ParseDate 0x01B]: there is no month 13; the format reports this error at column 194\n')
        self.assertEqual(self.run_tool("show", "samples/round-broken.txt:10:203").code, 0)   # findings at other columns do not count

    def test_blank_and_missing_fields(self):
        self.write("f", lines(METER))
        self.assertEqual(self.shown("f:1:464").out, "f:1  meter subscriber\n  464-493  meterMessage  -\n")
        self.assertEqual(self.shown("f:1:1").out, "f:1  meter subscriber\n  column 1: the letter of its kind\n")
        self.write("f", b"AB".ljust(23) + b"\r\n")
        self.assertEqual(self.shown("f:1:23").out, "f:1  tag\n  column 23: no field\n")

    def test_fields_that_share_a_column_and_flags(self):
        self.write("f", lines(AMR))
        self.assertEqual(re.findall(r"(?m)^  +[-0-9]+  (\w+)", self.shown("f:1:232").out), ["pulseWeight", "pulseWeightStr"])
        self.assertEqual(re.findall(r"(?m)^ {2}.{7}  ( *\w+)", self.shown("f:1:388").out),
                         ["currentAlarms", "  currentAlarmLeakPastOrCurrent", "  currentAlarmLeakCurrent"])

    def test_raw_marks_the_column(self):
        self.write("f", lines(METER))
        for column in (1, 10, 195, 300, 470, 512):
            out = self.run_tool("show", "--raw", f"f:1:{column}", cwd=self.folder).out.splitlines()
            at = next(i for i, line in enumerate(out) if line.strip() == "^")
            first = int(out[at - 1][:6])
            self.assertEqual(first + out[at].index("^") - 8, column)
            self.assertEqual(sum("^" in line for line in out), 1)
            self.assertTrue(out[at - 2].lstrip().startswith("."))
        self.write("f", utf16("AB\u6c34\u6c34" + "x" * 19 + "\r\n"))
        self.assertIn("AB\u6c34\u6c34xx", self.run_tool("show", "--raw", "--kind", "tag", "f:1:4", cwd=self.folder).out)
        self.assertIn("\n            ^^\n", self.run_tool("show", "--raw", "--kind", "tag", "f:1:4", cwd=self.folder).out)

    def test_a_column_in_a_blank_field_is_marked(self):
        self.write("f", lines(b"1" + b" " * 511))
        self.assertEqual(self.run_tool("show", "--raw", "f:1:250", cwd=self.folder).out.splitlines()[3:8], [
            "   101  blank up to 200", " " * 8 + "....:..210....:..220....:..230....:..240....:..250....:..260....:..270....:..280....:..290....:..300",
            "   201  " + " " * 100, " " * 57 + "^", "   301  blank up to 500"])

    def test_names_with_colons(self):
        self.write("a", lines(ROUND, METER))
        self.write("C:\\x.txt", lines(METER, AMR))
        self.write("a:10", lines(METER, ROUND, AMR))
        self.assertTrue(self.shown("C:\\x.txt:2").out.startswith("C:\\x.txt:2  AMR\n"))
        self.assertTrue(self.shown("C:\\x.txt:2:232").out.startswith("C:\\x.txt:2  AMR\n  232-241"))
        self.assertEqual(self.shown("C:\\x.txt").out.count("C:\\x.txt:"), 2)
        self.assertTrue(self.shown("a:2").out.startswith("a:2  meter"))
        self.assertEqual(self.shown("a:10").out.count("a:10:"), 3)      # its whole name
        self.assertTrue(self.shown("a:10:3").out.startswith("a:10:3  AMR\n"))
        self.assertTrue(self.shown("a:1:3").out.startswith("a:1  round\n      2-9  code"))
        self.assertTrue(self.shown("./a:1").out.startswith("./a:1  round\n"))
        self.assertEqual(self.run_tool("show", "a:10", "1", cwd=self.folder).out.count("a:10:1"), 1)

    def test_stdin(self):
        self.assertTrue(self.shown("-:2", stdin=lines(ROUND, METER)).out.startswith("<stdin>:2  meter subscriber\n"))
        self.assertEqual(self.shown("-:1:2", stdin=lines(ROUND)).out, '<stdin>:1  round\n      2-9  code  "T0412"\n')

    def test_places_that_do_not_exist(self):
        self.write("f", lines(METER, METER[:300]))
        for word, message in (("f:3", "f: has 2 lines; there is no line 3"), ("f:1:513", "f: line 1 has 512 characters; there is no column 513"),
                              ("f:2:301", "f: line 2 has 300 characters; there is no column 301"), ("g:1", "g: No such file or directory"),
                              ("g:1:2:", "g: No such file or directory"), ("f:0", "f:0: No such file or directory"),
                              ("f:x", "f:x: No such file or directory"), ("f:-1", "f:-1: No such file or directory"),
                              ("f:99999999999999999999", "f:99999999999999999999: No such file or directory"),
                              ("f:1:99999999999", "f:1: No such file or directory"), (":1", ":1: No such file or directory")):
            result = self.shown(word)
            self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {message}\n"), word)

    def test_key_lines_have_no_columns(self):
        self.assertEqual(self.run_tool("show", "samples/amr-keys.txt:1:300").out, self.run_tool("show", "samples/amr-keys.txt", "1").out)
        self.write("f", b'{"serialNumber": 1 2}\r\n')
        self.assertIn("KeyLineUnreadable", self.shown("f:1:20").out)

    def test_every_place_that_check_prints(self):
        self.write("f", lines(ROUND, METER, put(METER, 240, b"\0"), b" " + METER, METER[:256], METER[:430], METER.replace(b" ", b"\xa0"),
                              put(METER, 1, b"x"), b"", put(AMR, 290, b"\0"), put(INFORMATION, 2, b"zz"), METER[:256] + b"\r" + METER) + METER + b"\n" + METER)
        self.write("tags", b"AB\r\n" + b"AB".ljust(25) + b"\r\n")
        places = 0
        for name in ("f", "tags", *(os.path.join(ROOT, "samples", name) for name in ("round-broken.txt", "round-damaged.txt"))):
            for place, rule in re.findall(r"(?m)^(\S+:\d+(?::\d+)?): (?:error|warning): .*? \[(\w+)[ \]]", self.run_tool("check", "--each", name, cwd=self.folder).out):
                if rules_by_subject()[rule]:
                    continue
                places += 1
                for word in (place, place + ":"):
                    for command, code in (("show", 1), ("explain", 0)):
                        result = self.run_tool(command, word, cwd=self.folder)
                        self.assertEqual((result.code, result.err), (code, ""), (command, word))
                        self.assertIn(f"[{rule}", result.out)
        self.assertGreater(places, 90)


class Malformed(ShowTest):
    def test_short(self):
        result = self.show(lines(ROUND, METER[:300], ROUND), "2")
        self.assertEqual(result.code, 1)
        self.assertTrue(result.out.startswith("f:2  malformed meter subscriber line\n"))
        self.assertIn("     1  1   1ABONN\u00c9 0001", result.out)
        self.assertIn("error: line has 300 characters, expected 512 [LineTooShort]", result.out)

    def test_long(self):
        out = self.show(lines(ROUND, METER + b"xx", ROUND), "2").out
        self.assertIn("error: columns 513-514: line has 514 characters, expected 512 [LineTooLong]: 2 too many", out)

    def test_unknown_letter(self):
        out = self.show(lines(ROUND, put(METER, 1, b"8"), ROUND), "2").out
        self.assertTrue(out.startswith("f:2  malformed record line\n"))
        self.assertIn('error: column 1: unknown record letter "8"', out)

    def test_empty(self):
        self.assertEqual(self.show(lines(ROUND, b"", ROUND), "2").out, "f:2  empty line\n  error: line is empty [LineEmpty]\n")

    def test_unknown_kind(self):
        out = self.show(lines(b"hello"), "1").out
        self.assertTrue(out.startswith("f:1  line of unknown type\n"))
        self.assertIn("     1  hello\n", out)


class Raw(ShowTest):
    def test_ruler(self):
        self.assertEqual(self.run_tool("show", "--raw", "samples/tags.txt", "1").out,
                         "samples/tags.txt:1  tag\n"
                         "        ....:...10....:...20...\n"
                         "     1  FUFuite                \n")

    def test_characters_are_below_their_columns(self):
        out = self.show(lines(METER), "--raw", "1").out.splitlines()
        text = "".join(line[8:] for number, line in enumerate(out[1:]) if number % 2 and "blank up to" not in line)
        self.assertIn("ABONN\u00c9 0001", text)
        for ruler, line in zip(out[1::2], out[2::2]):
            if "blank up to" in ruler + line:
                break
            first = int(line[:6])
            for ten in re.finditer(r"\d+", ruler):
                self.assertEqual(first + ten.end() - 1 - 8, int(ten[0]))

    def test_characters_that_are_not_visible_have_a_picture_each(self):
        out = self.show(b"AB\xa0\t\0\x1b\x7f\x9b" + b"x" * 15 + b"\r\n", "--raw", "--kind", "tag").out.splitlines()
        self.assertEqual(out[1:3], ["        ....:...10....:...20...", "     1  AB\u2423\u2409\u2400\u241b\u2421\ufffd" + "x" * 15])
        self.assertIn(r'"\xa0x"', self.show(lines(put(METER, 464, b"\xa0x"))).out)

    def test_wide_characters_widen_the_ruler(self):
        out = self.show(utf16("AB\u6c34\u6c34" + "x" * 19 + "\r\n"), "--raw", "--kind", "tag").out.splitlines()
        self.assertEqual(out[1], "        ......:...10....:...20...")
        self.assertEqual(out[2], "     1  AB\u6c34\u6c34" + "x" * 19)

    def test_spaces_are_abbreviated(self):
        out = self.show(lines(sample("round-returned.txt").split(b"\r\n")[1]), "--raw").out
        self.assertIn("\n   101  blank up to 300\n", out)


class Keys(ShowTest):
    SECRET = re.compile("[0-9A-F]{32}")

    def test_keys_are_masked(self):
        for options in ([], ["--raw"], ["--all"]):
            result = self.run_tool("show", "samples/amr-keys.txt", *options)
            self.assertEqual(result.code, 0)
            self.assertNotRegex(result.out, self.SECRET)
        self.assertEqual(self.run_tool("show", "samples/amr-keys.txt").out.count("********"), 24)

    def test_keys_on_demand(self):
        secrets = self.SECRET.findall(sample("amr-keys.txt").decode())
        for options in ([], ["--raw"]):
            out = self.run_tool("show", "samples/amr-keys.txt", "--show-keys", *options).out
            # The ruler splits the raw text.
            text = "".join(line[8:] for line in out.splitlines() if re.match(r" +\d+  ", line)) if options else out
            for secret in secrets:
                self.assertIn(secret, text)

    def test_values(self):
        out = self.run_tool("show", "samples/amr-keys.txt", "1").out
        self.assertRegex(out, r"(?m)^ +wmBusAddress_ManufacturerId +11290$")
        self.assertRegex(out, r'(?m)^ +serialNumber +"4C30000000"$')

    def test_absent_values(self):
        result = self.show(b'{"serialNumber":"1"}\r\n')
        self.assertEqual(result.code, 1)
        self.assertRegex(result.out, r"wmBusKey_Mode5 +-\n +warning: missing value \[MandatoryMissing 0x201\]")

    def test_malformed_lines_show_no_keys(self):
        line = sample("amr-keys.txt").split(b"\r\n")[0]
        for damaged in (line[:-1], line[1:], line + b"}", b"x" + line):
            for options in ([], ["--raw"]):
                self.assertNotRegex(self.show(lines(damaged), *options).out, self.SECRET)

    def test_the_end_of_a_key_line_followed_by_text_shows_no_key(self):
        content = sample("round-returned.txt") + b'AD946118DC6A65234FB32"}\r\r\n'
        self.write("f", content)
        for command in ("check", "show"):
            self.assertNotIn("AD946118", self.run_tool(command, "f", cwd=self.folder).out)

    def test_pieces_of_key_lines_show_no_keys(self):
        key = self.SECRET.findall(sample("amr-keys.txt").decode())[0].encode()
        self.assertEqual(len(key), 32)
        for length in (23, 40, 32):
            piece = key.ljust(length, b"0")[:length]
            content = sample("amr-keys.txt") + lines(piece)
            for options in ([], ["--raw"]):
                self.assertNotIn(piece[:23].decode(), self.show(content, *options).out)
            self.assertNotIn(piece[:23].decode(), self.run_tool("explain", "f:9:1", cwd=self.folder).out)


class Terminal(ShowTest):
    def test_no_line_is_wider_than_the_terminal(self):
        for columns in (80, 120):
            for name in ("round-returned.txt", "round-broken.txt", "round-damaged.txt", "tags.txt", "amr-keys.txt"):
                for options in ([], ["--all"], ["--raw"]):
                    out = plain(on_terminal(["show", f"samples/{name}", *options], columns))
                    self.assertLessEqual(max(map(len, out.splitlines())), columns, (name, options))

    def test_wide_characters_count_twice(self):
        path = self.write("f", utf16("\u6c34e\u0301" * 8 + "\u6c34" * 15 + " " + "\r\n"))
        for columns in (40, 60, 80):
            text = plain(on_terminal(["show", "--kind", "parameter", path], columns)).splitlines()[1:]
            widths = [sum(2 if c == "\u6c34" else 1 for c in line) for line in text]
            self.assertLessEqual(max(widths), columns, text)
            self.assertEqual("".join(text).count("\u6c34"), 23)

    def test_a_pipe_receives_whole_texts(self):
        self.assertIn('"ABONN\u00c9 0001                   126 Rue des \u00c9rables', self.show(lines(METER)).out)

    def test_colours(self):
        coloured = on_terminal(["show", "samples/round-broken.txt", "1"], 120)
        self.assertIn("\x1b[1;31merror", coloured)
        self.assertNotIn("\x1b", on_terminal(["show", "samples/round-broken.txt", "1"], 120, NO_COLOR="1"))
        self.assertNotIn("\x1b", on_terminal(["show", "--color", "never", "samples/round-broken.txt", "1"], 120))
        self.assertIn("\x1b[1m", self.show(lines(METER), "--color", "always").out)
        self.assertEqual(plain(self.show(lines(METER), "--color", "always").out), self.show(lines(METER)).out)


class Surroundings(ShowTest):
    def test_stdin(self):
        by_name = self.run_tool("show", "samples/tags.txt", "3").out
        self.assertEqual(self.run_tool("show", "-", "3", stdin=sample("tags.txt")).out.replace("<stdin>", "samples/tags.txt"), by_name)

    def test_files_that_cannot_be_read(self):
        for path, reason in (("missing", "No such file or directory"), (".", "is a directory")):
            result = self.run_tool("show", path, cwd=self.folder)
            self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {path}: {reason}\n"))

    def test_empty_file(self):
        result = self.show(b"")
        self.assertEqual((result.code, result.out, result.err), (1, "", "tramo: f is empty\n"))
        self.assertEqual(self.show(b"", "1").code, 2)

    def test_full_disk_and_closed_pipe(self):
        for line in ("", " 1"):
            done = subprocess.run(f'"{TRAMO}" show samples/round-returned.txt{line} > /dev/full', shell=True, cwd=ROOT,
                                  env=ENVIRONMENT, capture_output=True, timeout=60)
            self.assertEqual(done.returncode, 3)
            self.assertIn(b"cannot write the standard output", done.stderr)
        big = self.write("big", sample("round-returned.txt") * 20)
        done = subprocess.run(f'("{TRAMO}" show {big}; echo $? >&2) | head -1', shell=True, cwd=ROOT, env=ENVIRONMENT,
                              capture_output=True, timeout=60)
        self.assertEqual(done.stderr, b"3\n")

    def test_usage(self):
        for arguments, message in ((["show"], 'a FILE is missing ("-" is the standard input)'),
                                   (["show", "a", "1", "b"], 'unexpected argument "b"; expected one FILE'),
                                   (["show", "--rwa", "a"], 'unknown option "--rwa"; did you mean "--raw"?')):
            result = self.run_tool(*arguments)
            self.assertEqual((result.code, result.err), (2, f"tramo: show: {message}\ntramo: try \"tramo help show\"\n"))

    def test_help(self):
        page = self.run_tool("show", "--help").out
        self.assertEqual(page, self.run_tool("help", "show").out)
        self.assertLess(page.index("Examples:"), page.index("Usage:"))
        self.assertTrue(all(len(line) <= 80 for line in page.splitlines()))


if __name__ == "__main__":
    unittest.main()
