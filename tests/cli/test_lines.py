"""Findings about whole lines: reported once, without the field errors that they cause."""
import random
import re
import unittest
from support import AMR, INFORMATION, METER, ROUND, CliTest, about_lines, lines, put, utf16

TAG = b"FUFuite                "
PARAMETER = b"VERSION 4.2".ljust(40)
KEY = b'{"serialNumber":"4C30000000","wmBusKey_Mode5":"5627BD973F6190D6FFA4AA3918619D1B"}'
SHORT = "error: line has {} characters, expected 512 [LineTooShort]: "
LONG = "error: line has {} characters, expected 512 [LineTooLong]: "

# The findings in a line that is padded or shortened to the length of its kind.
CLEAN = "no errors or warnings"
NO_SERIAL_NUMBER = "1 warning, at columns 352-363 (meterSerialNumber)"
UNFINISHED = "1 warning, at columns 426-437 (meterReadingDate)"


def padded(spaces, found):
    return f"padded with {spaces} space{'s' * (spaces > 1)} at its end, it has {found}"


def without(extra, found):
    return f"without its {extra}, it has {found}"


class Lines(CliTest):
    def after(self, line, end=b"\r\n"):
        """Returns a file with two valid lines and this one as line 3."""
        return lines(AMR, AMR) + line + end

    def assert_line(self, line, *expected, end=b"\r\n", **more):
        return self.assert_findings(self.after(line, end), *(f"3:{text}" for text in expected), **more)

    def test_good_lines(self):
        self.assert_findings(lines(ROUND, METER, put(INFORMATION, 7, b"    1")))

    def test_too_short(self):
        self.assert_line(put(METER, 508, b"     ").rstrip(), " " + SHORT.format(507) + padded(5, CLEAN))
        self.assert_line(METER[:300].rstrip(), " " + SHORT.format(280) + padded(232, NO_SERIAL_NUMBER))
        self.assert_line(METER[:437], " " + SHORT.format(437) + padded(75, UNFINISHED))
        self.assert_line(METER[:150], " " + SHORT.format(150) + padded(362, "2 warnings, the first at columns 232-351 (meterInformation)"))

    def test_too_short_inside_a_number(self):
        self.assert_line(METER[:430], " " + SHORT.format(430) + "it ends inside meterReadingDate (426-437); " +
                         padded(82, "1 error, at columns 426-437 (meterReadingDate)"))
        self.assert_line(METER[:404], " " + SHORT.format(404) + "it ends inside meterMinEstimatedConsumption (402-413); " + padded(108, CLEAN))

    def test_too_short_with_lf_alone(self):
        self.assert_line(METER[:256], " " + SHORT.format(256) + "it ends with LF alone; " + padded(256, NO_SERIAL_NUMBER), end=b"\n")

    def test_too_short_at_the_end_of_the_file(self):
        for end in (b"", b"\r"):
            self.assert_line(METER[:256], " " + SHORT.format(256) + "the file ends here; " + padded(256, NO_SERIAL_NUMBER), end=end)

    def test_one_character(self):
        self.assert_line(b"1", " error: line has 1 character, expected 512 [LineTooShort]: " +
                         padded(511, "3 warnings, the first at columns 6-155 (subscriberInformation)"))

    def test_too_short_without_a_letter(self):
        self.assert_line(b"x", " error: line has 1 character, expected 512 [LineTooShort]: " + padded(511, "1 error, at column 1"))

    def test_a_malformed_line_has_no_field_errors(self):
        self.assert_line(put(METER, 426, b"202402300900")[:500], " " + SHORT.format(500) +
                         padded(12, "2 errors and 1 warning, the first at columns 426-437 (meterReadingDate)"))

    def test_too_long_by_spaces(self):
        self.assert_line(put(METER, 459, b"Z") + b"   ", "513: " + LONG.format(515) + "3 too many, all of them spaces; without its last "
                         "3 characters, it has 1 error and 1 warning, the first at column 459 (meterReadingMethod)")

    def test_too_long_with_another_line_ending(self):
        told = "513: " + LONG.format(514) + "2 too many; " + without("last 2 characters", CLEAN)
        self.assert_line(METER + b"xy", told + "; it ends with LF alone", end=b"\n")
        self.assert_line(METER + b"xy", told + "; it has no line ending", end=b"")

    def test_too_long_by_one_character(self):
        told, warned = "513: " + LONG.format(513) + "1 too many", "{} errors and {} warnings, the first at columns {}"
        self.assert_line(METER + b" ", told + ", a space; " + without("last character", CLEAN))
        self.assert_line(METER + b"x", told + "; " + without("last character", CLEAN))
        for extra in (b"x", b" ", b"1"):
            self.assert_line(extra + METER, told + ", a space; " + without("first character", CLEAN))
            for place, errors, warnings, first in ((150, 8, 11, "157-164 (meterHistory1ReadingDate)"), (300, 5, 8, "384-391 (meterPreviousReadingDate)")):
                self.assert_line(METER[:place] + extra + METER[place:],
                                 told + ", a space; " + without("last character", warned.format(errors, warnings, first)))

    def test_too_long_hides_field_errors(self):
        self.assert_line(METER[:100] + b"xyz" + METER[100:], "513: " + LONG.format(515) + "3 too many; " + without(
            "last 3 characters", "9 errors and 8 warnings, the first at columns 157-164 (meterHistory1ReadingDate)"))

    def test_too_long_because_it_is_utf8(self):
        self.assert_line(METER.decode("latin-1").encode("utf-8"), "513: " + LONG.format(515) + "3 too many; read as UTF-8, it has 512 characters")

    def test_two_lines_joined_without_a_line_ending(self):
        self.assert_line(METER + METER, "513: " + LONG.format(1024) + "512 too many; " + without("last 512 characters", CLEAN))

    def test_two_lines_run_together_without_lf(self):
        self.assert_line(METER + b"\r" + METER, "513: " + LONG.format(1025) + "513 too many, after a CR without LF at column 513; " +
                         without("last 513 characters", CLEAN))

    def test_two_carriage_returns(self):
        self.assert_line(METER + b"\r", "513: " + LONG.format(513) + "1 too many, more than one CR before the LF; " +
                         without("last character", CLEAN))

    def test_empty(self):
        self.assert_line(b"", " error: line is empty [LineEmpty]")
        self.assert_line(b"", " error: line is empty [LineEmpty]", end=b"\n")

    def test_fields_are_checked_if_a_line_ends_with_lf(self):
        self.assert_line(put(ROUND, 499, b"20241301"),
                         " error: line ends with LF alone [LineEndWithoutCR]: expected CR LF",
                         '499: error: roundImportDate: invalid date "20241301" [ParseDate 0x01B]: there is no month 13', end=b"\n",
                         options=("--rule", "LineBeforeRound=off", "--rule", "LineWithoutMeter=off"))

    def test_another_character_instead_of_cr(self):
        for character in (b" ", b"x"):
            self.assert_line(METER + character, " error: line ends with LF alone [LineEndWithoutCR]: expected CR LF, "
                             f'found "{character.decode()}" in place of the CR', end=b"\n")

    def test_last_line_without_line_ending(self):
        self.assert_line(METER, " error: the last line has no line ending [LineEndMissing]: expected CR LF", end=b"")

    def test_last_line_with_cr_alone(self):
        self.assert_line(METER, " error: the last line ends with CR alone [LineEndMissing]: expected CR LF", end=b"\r")

    def test_unknown_letter(self):
        for letter, shown in ((b"8", "8"), (b"A", "A"), (b" ", " "), (b"\xe9", "\u00e9"), (b"\x1b", "\\x1b")):
            self.assert_line(put(METER, 1, letter), f'1: error: unknown record letter "{shown}" [LineLetterUnknown]: '
                             "expected 0, 1, 2, 3, 4, 5, 6, 7 or 9")

    def test_zero_character(self):
        self.assert_line(put(METER, 240, b"\0"), "240: error: line contains 1 zero character [ZeroCharacter]: "
                         "fields with a zero character are not checked")

    def test_zero_characters_are_reported_once_and_other_fields_are_checked(self):
        self.assert_line(put(put(put(METER, 402, b"x\0"), 240, b"\0\0"), 507, b"Q"),
                         "240: error: line contains 3 zero characters, the first at column 240 [ZeroCharacter]: "
                         "fields with a zero character are not checked",
                         '507: error: meterFluidType: invalid code "Q" [ParseFluidType 0x011]: expected W, C, E, G, H or T')

    def test_a_line_of_zero_characters_has_no_letter(self):
        self.assert_line(b"\0" * 512, "1: error: line contains 512 zero characters, the first at column 1 [ZeroCharacter]: "
                         "fields with a zero character are not checked")

    def test_excerpts(self):
        result = self.check(self.after(METER + b"xy"), "--each")
        self.assertIn("     3 | ...     2024011617300HAG07 xy\n"
                      "       |                            ^~ columns 513-514\n", result.out)
        result = self.check(self.after(METER[:30]), "--each")
        self.assertIn("     3 | 1   1ABONN\u00c9 0001              \n\nf: 2 errors, 0 warnings", result.out)


class ChangedOnTheWay(CliTest):
    """Lines that other programs have changed: the message states only what was tested, and guesses no cause."""

    TABS = " error: line has {} characters, expected 512 [LineTooShort]: it contains {} tab characters, the first at column {}; "

    def told(self, line):
        finding = self.check(lines(METER, METER, METER, line), "--each").findings[0]
        self.assertTrue(finding.startswith("f:4:"), finding)
        return finding.removeprefix("f:4:")

    def test_spaces_that_became_tabs(self):
        expandable = b"".join(cell.rstrip() + b"\t" if cell.endswith(b"  ") else cell for cell in (METER[i:i + 8] for i in range(0, 512, 8)))
        self.assertEqual(self.told(expandable), self.TABS.format(310, 36, 17) + "with tab stops every 8 columns, "
                         "it has 512 characters and no errors or warnings")
        broken = put(expandable, expandable.index(b"\t") + 1, b"x\t")
        self.assertIn("; padded with 202 spaces at its end, it has ", self.told(broken))
        self.assertEqual(self.told(re.sub(b"  +", b"\t", METER)), self.TABS.format(224, 18, 2) +
                         padded(288, "5 errors and 4 warnings, the first at columns 157-164 (meterHistory1ReadingDate)"))
        self.assertEqual(self.told(METER[:29] + b"\t" + METER[30:280]), " " + SHORT.format(280) + "it contains 1 tab character, at column 30; " +
                         padded(232, NO_SERIAL_NUMBER))

    def test_spaces_that_were_collapsed(self):
        self.assertEqual(self.told(re.sub(b" +", b" ", METER)), " " + SHORT.format(224) + padded(
            288, "5 errors and 4 warnings, the first at columns 157-164 (meterHistory1ReadingDate)"))

    def test_a_lost_character(self):
        self.assertEqual(self.told(METER[:100] + METER[101:]), " " + SHORT.format(511) + padded(
            1, "8 errors and 7 warnings, the first at columns 157-164 (meterHistory1ReadingDate)"))

    def test_the_message_agrees_with_a_check_of_the_repaired_line(self):
        numbers, tried = random.Random(9), {"padded": 0, "last": 0, "first": 0}
        for _ in range(150):
            line = METER if numbers.random() < 0.7 else AMR
            for _ in range(numbers.randint(1, 3)):
                at, count = numbers.randrange(len(line)), numbers.randint(1, 4)
                line = numbers.choice((line[:at] + line[at + count:], line[:at] + b"x \x001"[:count] + line[at:], line[:at + 1],
                                       put(line, at + 1, b"\xa0"), b" " * count + line))
            if len(line) == 512:
                continue
            told = self.told(line)
            claim = re.fullmatch(r".*[):;] (padded with (\d+) spaces?|without its (last|first)(?: (\d+) characters| character)).*, it has (.*)", told)
            how = claim[3] or "padded"
            tried[how] += 1
            count = int(claim[2] or claim[4] or 1)
            repaired = {"padded": line + b" " * count, "last": line[:-count], "first": line[count:]}[how]
            self.assertEqual(len(repaired), 512)
            report = self.check(lines(METER, METER, METER, repaired), "--format", "json", "--each").json
            found = about_lines(report["files"][0]["findings"])
            errors = [finding for finding in found if finding["severity"] == "error"]
            counts = [f"{n} {what}{'s' * (n > 1)}" for n, what in ((len(errors), "error"), (len(found) - len(errors), "warning")) if n]
            words = " and ".join(counts) or CLEAN
            if found:
                first = (errors or found)[0]
                last = first["endColumn"] - 1
                words += f", {'the first ' * (len(found) > 1)}at column{'s' * (last > first['column'])} {first['column']}"
                words += f"-{last}" * (last > first["column"]) + (f" ({first['field']})" if "field" in first else "")
            self.assertEqual(claim[5], words, (told, line))
        self.assertTrue(all(count > 5 for count in tried.values()), tried)

    def test_excerpts_tell_characters_apart_that_are_not_visible(self):
        out = self.check(lines(put(METER, 392, b"\xa0\t\0\x1b\x7f\x80 5998"))).out
        self.assertIn("200820230712␣␉␀␛␡\ufffd 5998  32.0", out)
        out = self.check(lines(put(METER, 392, b"\xa0\t\x1b  15998"))).out
        self.assertIn('f:1:392: error: meterPreviousReadingIndex: invalid integer "\\xa0\\x09\\x1b  15998"', out)
        self.assertIn("     1 | ...            200820230712␣␉␛  15998   32.000000   96.000000...\n"
                      "       |                            ^~~~~~~~~~ columns 392-401\n", out)

    def test_control_pictures_in_a_file_are_distinguished(self):
        out = self.check(utf16(put(put(METER.decode("latin-1"), 368, "␣␉"), 392, "x") + "\r\n")).out
        self.assertIn("\ufffd\ufffd", out)
        self.assertNotRegex(out, "[␣␉]")


class AlarmFlags(CliTest):
    def test_the_zero_after_alarm_flags_is_reported(self):
        self.assert_findings(lines(put(put(AMR, 290, b"\0"), 392, b"\0")), *(
            f"1:{column}: warning: line contains a zero character after {flags} [ZeroBehindAlarmFlags]: "
            "the format writes one there when nothing follows, and reads it back as text"
            for column, flags in ((290, "previousAlarms"), (392, "currentAlarms"))))

    def test_other_zeros_are_still_errors(self):
        self.assert_findings(lines(put(put(AMR, 290, b"\0"), 291, b"\0")),
                             "1:290: warning: line contains a zero character after previousAlarms [ZeroBehindAlarmFlags]: "
                             "the format writes one there when nothing follows, and reads it back as text",
                             "1:291: error: line contains 1 zero character [ZeroCharacter]: fields with a zero character are not checked")

    def test_in_other_kinds_it_is_a_zero_character(self):
        self.assert_findings(lines(put(METER, 290, b"\0")),
                             "1:290: error: line contains 1 zero character [ZeroCharacter]: fields with a zero character are not checked")


class Utf16(CliTest):
    def test_unpaired_surrogates(self):
        meter = METER.decode("latin-1")
        self.assert_findings(utf16(put(meter, 240, "\ud800") + "\r\n" + put(meter, 240, "\udc00\ud800") + "\r\n"),
                             "1:240: error: line contains 1 unpaired surrogate [SurrogateAlone]: surrogates are valid in pairs only",
                             "2:240: error: line contains 2 unpaired surrogates, the first at column 240 [SurrogateAlone]: "
                             "surrogates are valid in pairs only")

    def test_surrogate_pairs_are_text(self):
        self.assert_findings(utf16(put(METER.decode("latin-1"), 240, "\ud83d\ude00") + "\r\n"))

    def test_odd_last_byte(self):
        self.assert_findings(utf16(METER.decode("latin-1") + "\r\n") + b"1",
                             "1: error: the file ends with half of a UTF-16 character [LastByteOdd]: its last byte is ignored")

    def test_text_after_a_line_that_begins_with_the_end_of_file_character(self):
        meter = METER.decode("latin-1") + "\r\n"
        self.assert_findings(utf16(meter + "\uffff" + meter + meter),
                             "2:1: error: line begins with U+FFFF, which ends the text [TextUnread]: "
                             "1029 characters from here on cannot be read")

    def test_end_of_file_character_elsewhere_is_text(self):
        self.assert_findings(utf16(put(METER.decode("latin-1"), 240, "\uffff") + "\r\n"))

    def test_end_of_file_character_at_the_very_beginning(self):
        self.assert_findings(utf16("\uffff\r\n"), "1:1: error: line begins with U+FFFF, which ends the text [TextUnread]: "
                             "3 characters from here on cannot be read")


class Kinds(CliTest):
    """The detected kind of a line."""

    def kinds(self, content, *options):
        report = self.check(content, "--format", "json", *options).json["files"][0]["summary"]["linesByKind"]
        return {entry["kind"]: entry["lines"] for entry in report}

    def test_by_length_and_first_character(self):
        mixed = lines(TAG, PARAMETER, KEY, b";" + KEY, ROUND, METER, INFORMATION)
        self.assertEqual(self.kinds(mixed), {"tag line": 1, "parameter line": 1, "key line": 2, "round": 1,
                                             "meter subscriber": 1, "record information": 1})

    def test_tag_among_records_is_a_tag(self):
        self.assertEqual(self.kinds(lines(ROUND, METER, METER, TAG)), {"round": 1, "meter subscriber": 2, "tag line": 1})

    def test_record_cut_to_the_length_of_a_tag_is_a_record(self):
        self.assert_findings(lines(ROUND, AMR, METER[:23]), "3: " + SHORT.format(23) + padded(489, "2 warnings, the first at columns 232-351 (meterInformation)"))

    def test_record_among_tags_is_a_record(self):
        self.assertEqual(self.kinds(lines(TAG, TAG, METER)), {"tag line": 2, "meter subscriber": 1})

    def test_short_line_among_tags_is_a_tag(self):
        self.assert_findings(lines(TAG, TAG, b"XYtrimmed"),
                             "3: error: line has 9 characters, expected 23 [LineTooShort]: " + padded(14, CLEAN))

    def test_short_line_among_parameters_is_a_parameter(self):
        self.assert_findings(lines(PARAMETER, PARAMETER, PARAMETER + b"!"),
                             "3:41: error: line has 41 characters, expected 40 [LineTooLong]: 1 too many; " + without("last character", CLEAN))

    def test_file_of_trimmed_records(self):
        meter = put(METER, 506, b"       ").rstrip()
        trimmed = SHORT.format(505) + padded(7, CLEAN)
        self.assert_findings(lines(ROUND.rstrip(), meter), "2: " + trimmed)
        self.assert_findings(lines(ROUND[:320].rstrip(), meter, meter), "1: " + SHORT.format(320) + padded(192, "1 warning, at columns 300-315 (meterInformationLabelArea3)"),
                             "2: " + trimmed, "3: " + trimmed)

    def test_damage_before_the_first_good_line(self):
        self.assert_findings(lines(METER[:437], b"damage", METER, METER, METER),
                             "1: " + SHORT.format(437) + padded(75, UNFINISHED), "2: " + SHORT.format(6) + padded(506, "1 error, at column 1"))

    def test_not_an_exchange_file(self):
        told = "error: line has {} characters [LineKindUnknown]: expected 512 (record), 40 (parameter) or 23 (tag)"
        self.assert_findings(b"first line\r\nsecond line\r\n\r\nlast", "1: " + told.format(10), "2: " + told.format(11),
                             "3: error: line is empty [LineEmpty]", "4: " + told.format(4))

    def test_kind_can_be_chosen(self):
        self.assert_findings(lines(TAG), "1: error: line has 23 characters, expected 40 [LineTooShort]: " + padded(17, "1 warning, at columns 9-40 (value)"),
                             options=("--kind", "parameter"))
        self.assert_findings(lines(PARAMETER), "1:24: error: line has 40 characters, expected 23 [LineTooLong]: 17 too many, all of them spaces; " + without("last 17 characters", CLEAN),
                             options=("--kind", "tag"))
        self.assert_findings(lines(TAG), "1: " + SHORT.format(23) + padded(489, "1 error, at column 1"),
                             options=("--kind", "record"))
        self.assertEqual(self.kinds(lines(KEY), "--kind", "key"), {"key line": 1})

    def test_counts_of_all_kinds_add_up(self):
        content = lines(ROUND, METER, b"", TAG, b"junk", KEY, put(METER, 1, b"x"))
        self.assertEqual(sum(self.kinds(content).values()), 7)

    def test_keys_are_never_shown(self):
        secret = "5627BD973F6190D6FFA4AA3918619D1B"
        for line in (KEY, KEY + b"\0", KEY[:-3], b"x" + KEY, b";" + KEY + b"\r"):
            for options in ((), ("--format", "json"), ("--format", "sarif"), ("--all",), ("--strict",)):
                for end in (b"\r\n", b"\n", b""):
                    self.assertNotIn(secret, self.check(lines(KEY, KEY) + line + end, *options).out)


if __name__ == "__main__":
    unittest.main()
