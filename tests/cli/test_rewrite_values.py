"""rewrite by a second implementation of the format: what it writes has the same values, and what it refuses would not."""
import datetime
import decimal
import math
import os
import random
import re
import sys
import unittest
from support import ROOT, CliTest

sys.path.insert(0, os.path.join(ROOT, "tests", "second"))
import lines as made   # noqa: E402
import records         # noqa: E402
import values          # noqa: E402

HOST = values.Host(datetime.timezone.utc)
SPACE = values.BLANKS + "\0"
DECIMAL = re.compile(r"[ \t\n\v\f\r]*[+-]?(?:0[xX](?:[0-9a-fA-F]+[.,]?[0-9a-fA-F]*|[.,][0-9a-fA-F]+)(?:[pP][+-]?[0-9]+)?"
                     r"|(?:[0-9]+[.,]?[0-9]*|[.,][0-9]+)(?:[eE][+-]?[0-9]+)?|inf(?:inity)?|nan(?:\([0-9a-zA-Z_]*\))?)", re.IGNORECASE)
WHOLE = re.compile(r"[ \t\n\v\f\r]*[+-]?[0-9]+")
HEXADECIMAL = re.compile(r"[ \t\n\v\f\r]*[+-]?(?:0[xX])?[0-9a-fA-F]+")


def is_whole(pattern, text):
    """Returns whether one of these patterns matches the whole text."""
    found = pattern.match(text)
    return found is not None and not text[found.end():].strip(SPACE)


def keeps_digits(text):
    """Returns whether a double has all digits of that decimal."""
    number = text.strip(SPACE).replace(",", ".")
    if not re.fullmatch(r"[+-]?[0-9.]+([eE][+-]?[0-9]+)?", number) or float(number) in (0, math.inf, -math.inf):
        return True
    digits = len(decimal.Decimal(number).normalize().as_tuple().digits)
    with decimal.localcontext() as context:
        context.prec = digits
        return context.create_decimal(float(number)) == decimal.Decimal(number)


def is_read(text, kind):
    """Returns whether the value of a field has all of its text, which is readable and not blank."""
    if kind == "whole":
        return is_whole(WHOLE, text)
    if kind == "decimal":
        return is_whole(DECIMAL, text) and keeps_digits(text)
    if kind == "flag":
        return text in "01"
    if kind == "year":
        return values.read_year(HOST, text) != values.NO_YEAR
    if kind == "alarm flags":
        word = values.reversed_by_block(text, 2)
        return is_whole(HEXADECIMAL, word) and values.read_hexadecimal(HOST, word)[1] < 4096
    return True


def members(record, line):
    """Returns the values of a line, without texts that are also read as a number."""
    model = record(HOST, line)
    kinds = {column: kind for column, _, kind in made.LAYOUTS[record]}
    got = {}
    for name, value in model.member.items():
        column, _, kind = model.cut_of.get(name, (0, 0, ""))
        if kind != "text" or kinds[column] == "text":
            got[name] = repr(value + 0.0) if isinstance(value, float) else value
    return got, model.parse_errors


def losses(record, before, after):
    """Returns descriptions of the losses from one line to the other."""
    (old, _), (new, faults) = members(record, before), members(record, after)
    if old != new:
        yield f"another value: {[(name, old[name], new[name]) for name in old if old[name] != new[name]]}"
    layout = made.LAYOUTS[record]
    outside = set(range(1 + len(record.LETTER), record.LENGTH + 1)) - {at for first, width, _ in layout for at in range(first, first + width)}
    if vanished := [at for at in outside if before[at - 1].strip(SPACE) and not after[at - 1].strip(SPACE)]:
        yield f"text outside of fields, at {min(vanished)}"
    if before[record.LENGTH:].strip(SPACE):
        yield "a character behind the line"
    for column, width, kind in layout:
        text, there = before[column - 1:column - 1 + width].rstrip(values.BLANKS), after[column - 1:column - 1 + width].rstrip(values.BLANKS)
        if text == there or not text.strip(SPACE):
            continue
        if kind != "text" and not is_read(text, kind):
            yield f"text of a {kind} at {column}: {text!r}"
        # By itself: another field may have given its value.
        alone = members(record, record.LETTER.ljust(column - 1) + text.ljust(width).ljust(record.LENGTH - column + 1))
        if alone[1]:
            yield f"unreadable text at {column}: {text!r}"
        if record is records.RecordInformation and text.strip(SPACE) and (not there or int(there) != alone[0]["RoundNumber"]):
            yield f"a counter at {column}"
    if any(error[1] < 0x100 for error in faults if error not in members(record, before)[1]):
        yield f"it can be read no more: {faults}"


class Values(CliTest):
    def lines_of(self, record, seed, count):
        make = made.Maker(random.Random(f"{seed} {record.__name__}"), made.Zone(datetime.timezone.utc), made.sample_lines())
        while count:
            line = make.line(record).removesuffix("\n").removesuffix("\r")
            units = "".join(character for character in line if character <= "\uffff" and character != "\n")
            same = units.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "surrogatepass")   # no surrogates became a pair
            is_key_line = not record.LETTER and any(sign in line for sign in ("{", '"}', '":"', '","'))
            if not is_key_line and line == same and len(line) == record.LENGTH and line.startswith(record.LETTER) and line[:1] not in "\ufeff\uffff":
                count -= 1
                yield line

    def rewritten(self, content, *options):
        source = self.write("source", b"\xff\xfe" + "".join(line + "\r\n" for line in content).encode("utf-16-le", "surrogatepass"))
        result = self.run_tool("rewrite", source, "-o", source + ".new", *options)
        self.assertIn(result.code, (0, 1), result.err)
        with open(source + ".new", "rb") as file:
            text = file.read().decode("utf-16-le", "surrogatepass").removeprefix("\ufeff")
        return result, [line.removesuffix("\r") for line in text.split("\n")[:-1]]

    def test_rewritten_lines_keep_their_values_and_copied_ones_would_not(self):
        for record in records.RECORDS:
            content = list(self.lines_of(record, "values", 400))
            result, written = self.rewritten(content)
            forced_result, forced = self.rewritten(content, "--force")
            self.assertEqual((len(written), len(forced)), (len(content), len(content)))
            copied = changed = 0
            for before, after, by_force in zip(content, written, forced):
                with self.subTest(record=record.__name__, line=before):
                    self.assertIn(after, (before, by_force))
                    self.assertEqual(by_force, record(HOST, before).build()[0][:record.LENGTH])
                    lost = list(losses(record, before, by_force))
                    if after != before:
                        self.assertEqual(lost, [], "it was written without asking")
                    elif by_force != before:
                        self.assertNotEqual(lost, [], "it was copied without need")
                    copied += by_force != after
                    changed += after != before
            self.assertIn(f": {changed} of {len(content)} lines changed" + (f", {copied} copied because of a loss" if copied else "\n"), result.err)
            self.assertEqual((result.code, forced_result.code), (1 if copied else 0, 0))
            if record not in (records.Tag, records.Parameter):
                self.assertGreater(copied, 20, record)
                self.assertGreater(changed, 0, record)


if __name__ == "__main__":
    unittest.main()
