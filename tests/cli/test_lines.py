"""What is wrong with whole lines: said once, without the field errors that follow from it."""
import unittest
from support import AMR, INFORMATION, METER, ROUND, CliTest, lines, put, utf16

TAG = b"FUFuite                "
PARAMETER = b"VERSION 4.2".ljust(40)
KEY = b'{"serialNumber":"4C30000000","wmBusKey_Mode5":"5627BD973F6190D6FFA4AA3918619D1B"}'
SHORT = "error: line has {} characters, 512 expected (LineTooShort): "


class Lines(CliTest):
    def after(self, line, end=b"\r\n"):
        """A file of good lines with this one behind them, as line 3."""
        return lines(ROUND, METER) + line + end

    def assert_line(self, line, *expected, end=b"\r\n", **more):
        return self.assert_findings(self.after(line, end), *(f"3:{text}" for text in expected), **more)

    def test_good_lines(self):
        self.assert_findings(lines(ROUND, METER, INFORMATION))

    def test_too_short_because_blanks_were_trimmed(self):
        trimmed = put(METER, 508, b"     ").rstrip()
        self.assert_line(trimmed, " " + SHORT.format(507) + "trailing blanks were probably trimmed")

    def test_too_short_in_a_text_may_be_trimmed_blanks(self):
        self.assert_line(METER[:300].rstrip(), " error: line has 280 characters, 512 expected (LineTooShort): "
                         "trailing blanks were probably trimmed")

    def test_too_short_inside_a_field_that_is_no_text(self):
        self.assert_line(METER[:430], " " + SHORT.format(430) + "it ends inside meterReadingDate")

    def test_too_short_at_the_end_of_a_field_that_is_no_text(self):
        self.assert_line(METER[:437], " " + SHORT.format(437) + "trailing blanks were probably trimmed")

    def test_too_short_although_it_ends_with_blanks(self):
        self.assert_line(METER[:150], " " + SHORT.format(150) + "characters are missing")

    def test_too_short_with_lf_alone(self):
        self.assert_line(METER[:430], " " + SHORT.format(430) + "it ends inside meterReadingDate, and it ends with LF alone",
                         end=b"\n")

    def test_too_short_at_the_end_of_the_file(self):
        self.assert_line(METER[:430], " " + SHORT.format(430) + "the file ends inside it", end=b"")

    def test_one_character(self):
        self.assert_line(b"1", " error: line has 1 character, 512 expected (LineTooShort): trailing blanks were probably trimmed")

    def test_damaged_line_hides_field_errors(self):
        self.assert_line(put(METER, 426, b"202402300900")[:500], " " + SHORT.format(500) + "it ends inside meterLastUpdateDate")

    def test_too_long_by_blanks(self):
        self.assert_line(put(METER, 459, b"Z") + b"   ",
                         "513: error: line has 515 characters, 512 expected (LineTooLong): 3 too many, all of them blanks")

    def test_too_long_with_another_line_end(self):
        told = "513: error: line has 514 characters, 512 expected (LineTooLong): 2 too many"
        self.assert_line(METER + b"xy", told + ", and it ends with LF alone", end=b"\n")
        self.assert_line(METER + b"xy", told + ", and it has no line end", end=b"")

    def test_too_long_by_one_blank(self):
        self.assert_line(METER + b" ", "513: error: line has 513 characters, 512 expected (LineTooLong): 1 too many, a blank")

    def test_too_long_hides_field_errors(self):
        self.assert_line(METER[:100] + b"xyz" + METER[100:],
                         "513: error: line has 515 characters, 512 expected (LineTooLong): 3 too many")

    def test_too_long_because_it_is_utf8(self):
        self.assert_line(METER.decode("latin-1").encode("utf-8"), "513: error: line has 515 characters, 512 expected (LineTooLong): "
                         "3 too many, because it is UTF-8 read as ANSI")

    def test_two_lines_run_together_without_line_end(self):
        self.assert_line(METER + METER, "513: error: line has 1024 characters, 512 expected (LineTooLong): 512 too many")

    def test_two_lines_run_together_without_lf(self):
        self.assert_line(METER + b"\r" + METER, "513: error: line has 1025 characters, 512 expected (LineTooLong): 513 too many, "
                         "behind a CR without LF at column 513: lines have run together")

    def test_two_carriage_returns(self):
        self.assert_line(METER + b"\r", "513: error: line has 513 characters, 512 expected (LineTooLong): 1 too many, "
                         "more than one CR before the LF")

    def test_empty(self):
        self.assert_line(b"", " error: line is empty (LineEmpty)")
        self.assert_line(b"", " error: line is empty (LineEmpty)", end=b"\n")

    def test_lf_alone_still_has_its_fields_checked(self):
        self.assert_line(put(ROUND, 499, b"20241301"),
                         " error: line ends with LF alone (LineEndWithoutCR): CR LF expected",
                         '499: error: roundImportDate: "20241301" is no date (ParseDate 0x01B): month 13; field at 499-506, '
                         'reported at 8', end=b"\n")

    def test_something_in_the_place_of_the_cr(self):
        for character in (b" ", b"x"):
            self.assert_line(METER + character, " error: line ends with LF alone (LineEndWithoutCR): CR LF expected, "
                             f'"{character.decode()}" stands in the place of the CR', end=b"\n")

    def test_last_line_without_line_end(self):
        self.assert_line(METER, " error: the last line has no line end (LineEndMissing): CR LF expected", end=b"")

    def test_last_line_with_cr_alone(self):
        self.assert_line(METER, " error: the last line ends with CR alone (LineEndMissing): CR LF expected", end=b"\r")

    def test_unknown_letter(self):
        for letter, shown in ((b"8", "8"), (b"A", "A"), (b" ", " "), (b"\xe9", "\u00e9"), (b"\x1b", "\\x1b")):
            self.assert_line(put(METER, 1, letter), f'1: error: unknown record letter "{shown}" (LineLetterUnknown): '
                             "one of 0, 1, 2, 3, 4, 5, 6, 7, 9 expected")

    def test_zero_character(self):
        self.assert_line(put(METER, 240, b"\0"), "240: error: line holds 1 zero character (ZeroCharacter): "
                         "fields with a zero are not checked")

    def test_zero_characters_are_told_once_and_the_other_fields_checked(self):
        self.assert_line(put(put(put(METER, 402, b"x\0"), 240, b"\0\0"), 507, b"Q"),
                         "240: error: line holds 3 zero characters, the first at column 240 (ZeroCharacter): "
                         "fields with a zero are not checked",
                         '507: error: meterFluidType: "Q" is no code of this field (ParseFluidType 0x011): W, C, E, G, H or T '
                         "expected")

    def test_line_of_zeros_has_no_letter_to_speak_of(self):
        self.assert_line(b"\0" * 512, "1: error: line holds 512 zero characters, the first at column 1 (ZeroCharacter): "
                         "fields with a zero are not checked")

    def test_excerpts(self):
        result = self.check(self.after(METER + b"xy"))
        self.assertIn("     3 | ...     2024011617300HAG07 xy\n"
                      "       |                            ^~ columns 513-514\n", result.out)
        result = self.check(self.after(METER[:30]))
        self.assertIn("     3 | 1   1ABONN\u00c9 0001              \n\nf: 1 error, 0 warnings", result.out)


class AlarmFlags(CliTest):
    def test_the_zero_behind_them_is_named(self):
        self.assert_findings(lines(put(put(AMR, 290, b"\0"), 392, b"\0")), *(
            f"1:{column}: warning: line holds a zero character behind {flags} (ZeroBehindAlarmFlags): "
            "the format writes one there when nothing follows, and reads it as a text"
            for column, flags in ((290, "previousAlarms"), (392, "currentAlarms"))))

    def test_other_zeros_are_still_errors(self):
        self.assert_findings(lines(put(put(AMR, 290, b"\0"), 291, b"\0")),
                             "1:290: warning: line holds a zero character behind previousAlarms (ZeroBehindAlarmFlags): "
                             "the format writes one there when nothing follows, and reads it as a text",
                             "1:291: error: line holds 1 zero character (ZeroCharacter): fields with a zero are not checked")

    def test_in_other_kinds_of_lines_it_is_a_zero(self):
        self.assert_findings(lines(put(METER, 290, b"\0")),
                             "1:290: error: line holds 1 zero character (ZeroCharacter): fields with a zero are not checked")


class Utf16(CliTest):
    def test_lone_surrogates(self):
        meter = METER.decode("latin-1")
        self.assert_findings(utf16(put(meter, 240, "\ud800") + "\r\n" + put(meter, 240, "\udc00\ud800") + "\r\n"),
                             "1:240: error: line holds 1 half surrogate pair (SurrogateAlone): each needs its other half beside it",
                             "2:240: error: line holds 2 half surrogate pairs, the first at column 240 (SurrogateAlone): "
                             "each needs its other half beside it")

    def test_surrogate_pairs_are_text(self):
        self.assert_findings(utf16(put(METER.decode("latin-1"), 240, "\ud83d\ude00") + "\r\n"))

    def test_odd_last_byte(self):
        self.assert_findings(utf16(METER.decode("latin-1") + "\r\n") + b"1",
                             "1: error: the file ends with half of a UTF-16 character (LastByteOdd): the last byte is not read")

    def test_text_behind_a_line_that_begins_with_the_end_of_file_character(self):
        meter = METER.decode("latin-1") + "\r\n"
        self.assert_findings(utf16(meter + "\uffff" + meter + meter),
                             "2:1: error: a line that begins with U+FFFF ends the text (TextUnread): "
                             "1029 characters from here on cannot be read")

    def test_end_of_file_character_elsewhere_is_text(self):
        self.assert_findings(utf16(put(METER.decode("latin-1"), 240, "\uffff") + "\r\n"))

    def test_end_of_file_character_at_the_very_beginning(self):
        self.assert_findings(utf16("\uffff\r\n"), "1:1: error: a line that begins with U+FFFF ends the text (TextUnread): "
                             "3 characters from here on cannot be read")


class Kinds(CliTest):
    """Which kind a line is taken for."""

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
        self.assert_findings(lines(ROUND, METER, METER[:23]), "3: " + SHORT.format(23) + "characters are missing")

    def test_record_among_tags_is_a_record(self):
        self.assertEqual(self.kinds(lines(TAG, TAG, METER)), {"tag line": 2, "meter subscriber": 1})

    def test_short_line_among_tags_is_a_tag(self):
        self.assert_findings(lines(TAG, TAG, b"XYtrimmed"),
                             "3: error: line has 9 characters, 23 expected (LineTooShort): trailing blanks were probably trimmed")

    def test_short_line_among_parameters_is_a_parameter(self):
        self.assert_findings(lines(PARAMETER, PARAMETER, PARAMETER + b"!"),
                             "3:41: error: line has 41 characters, 40 expected (LineTooLong): 1 too many")

    def test_file_of_trimmed_records(self):
        meter = put(METER, 506, b"       ").rstrip()
        self.assert_findings(lines(ROUND.rstrip(), meter), "2: " + SHORT.format(505) + "trailing blanks were probably trimmed")
        self.assert_findings(lines(ROUND[:320].rstrip(), meter, meter),
                             *(f"{n}: {SHORT.format(size)}trailing blanks were probably trimmed" for n, size in ((1, 320), (2, 505), (3, 505))))

    def test_damage_before_the_first_good_line(self):
        self.assert_findings(lines(METER[:437], b"damage", METER, METER, METER),
                             "1: " + SHORT.format(437) + "trailing blanks were probably trimmed",
                             "2: error: line has 6 characters, 512 expected (LineTooShort): trailing blanks were probably trimmed")

    def test_no_exchange_file(self):
        told = "error: line has {} characters (LineKindUnknown): a record has 512, a parameter has 40, a tag has 23"
        self.assert_findings(b"first line\r\nsecond line\r\n\r\nlast", "1: " + told.format(10), "2: " + told.format(11),
                             "3: error: line is empty (LineEmpty)", "4: " + told.format(4))

    def test_kind_can_be_chosen(self):
        self.assert_findings(lines(TAG), "1: error: line has 23 characters, 40 expected (LineTooShort): characters are missing",
                             options=("--kind", "parameter"))
        self.assert_findings(lines(PARAMETER), "1:24: error: line has 40 characters, 23 expected (LineTooLong): 17 too many, all of them blanks",
                             options=("--kind", "tag"))
        self.assert_findings(lines(TAG), "1: error: line has 23 characters, 512 expected (LineTooShort): characters are missing",
                             options=("--kind", "record"))
        self.assertEqual(self.kinds(lines(KEY), "--kind", "key"), {"key line": 1})

    def test_lines_of_all_kinds_sum_up(self):
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
