"""Generates lines: valid ones from the whole range of each field's values, and malformed ones."""
import datetime
import os
import struct

import keyline
import records
import values
from wire import shown, word

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
STRANGERS = "é ÿ\x80\xa0\x85 ı٣７०０𝟘\ud83d\ude00\ud800\udfff\uffff\ufffe\u2003\u3000\u0130\u0139\u012c\u0141\0\1\t\n\v\f\r\x1b\x7f"
# The fields of a line are exactly as they are written, or in all readable forms, including unusual ones, or also unrealistic.
MANNERS = ("strict", "strict", "loose", "hostile")
WRONG_LETTERS = "8!a:/ \0\xff\u0100\u0131é\u2003\U00010031"
PRINTABLE = [chr(code) for code in range(0x20, 0x7F)]
DECIMALS = """0 -0 -1 -0,5 0,0000001 5. .5 1e308 1.8e308 2.3e-308 2e-308 5e-324 0x1p-1074 0x1.8p3 0X.8 0x 0xg inf -Infinity INF
    nan -nan NaN(7) nan( infinit 1e 1e+ 1,5,5 1..5 0.000000499 0.0005 0.0015 -.0004 999999.9999995 1e22
    0e999999 123456789""".split()
SMALL = "0123456789 ABCabc+-.,eExX()nNiIfFaApPtyTY'\"<>\\/;"


def transitions(zone):
    """The instants from 1902 to 2037 at which the clocks of the zone change."""
    found = []
    day = 86400

    def offset(moment):
        return values.clock(moment, zone).utcoffset()

    for before in range(-2145916800, 2145916800, 7 * day):
        if offset(before) != offset(before + 7 * day):
            early, late = before, before + 7 * day
            while late - early > 1:
                middle = (early + late) // 2
                early, late = (middle, late) if offset(middle) == offset(before) else (early, middle)
            found.append(late)
    return found


class Zone:
    def __init__(self, zone):
        self.zone = zone
        self.changes = transitions(zone) or [0]


class Maker:
    def __init__(self, random, zone, samples):
        self.random, self.zone, self.samples = random, zone, samples
        self.manner = "loose"

    def chance(self, probability):
        return self.random.random() < probability

    # ---- Texts of fields -----------------------------------------------------------------------------------------

    def characters(self, count, strange=0.0):
        text = self.random.choices(PRINTABLE, k=count)
        if strange:
            text = [self.random.choice(STRANGERS) if self.chance(strange) else character for character in text]
        return "".join(text)

    def text(self, width):
        length = self.random.choice((0, 1, width - 1, width, width, self.random.randint(0, width)))
        text = self.characters(length, self.random.choice((0, 0, 0.1)))
        return self.random.choice((text, text, text, " " + text, text + "\t", " \f" + text))[:width].ljust(width)

    def whole(self, width):
        digits = self.random.randint(1, width)
        number = str(self.random.randint(0, 10**digits - 1))
        if self.manner == "strict":
            return number.rjust(width)
        number = self.random.choice((number, number, number, "0", "9" * width, number.zfill(width), "-" + number, "+" + number,
                                     "-0", number + "X", number + " 1", "2147483647"[-width:], "4294967296"[-width:]))
        return self.placed(number, width)

    def decimal(self, width):
        random = self.random
        if self.manner == "strict":
            number = random.uniform(0, 10 ** random.randint(0, max(1, width - 3)))
            return f"{number:.{random.randint(0, 12)}f}"[:width].rjust(width)
        if self.chance(0.5):
            number = random.choice(DECIMALS + ["9" * width])
        else:
            number = random.choice(("{0:.{2}f}", "{0!r}", "{1!r}", "{0:.0f}", "{1:.{2}f}", "{2}e{3}")).format(
                random.uniform(-200, 1000), random.random(), random.randint(0, 12), random.randint(-330, 330))
        number = number.removeprefix("0") if self.chance(0.1) else number
        if self.chance(0.3):
            number = number.replace(".", ",")
        return self.placed(number, width)

    def placed(self, number, width):
        number = number[:width]
        return self.random.choice((number.rjust(width), number.rjust(width), number.ljust(width), number.center(width)))

    def moment(self):
        """A random local time, or one at a change of the clocks."""
        if self.chance(0.3):
            change = self.random.choice(self.zone.changes)
            at = change + self.random.choice((-86400, -3601, -3600, -1800, -60, -1, 0, 1, 60, 1800, 3599, 3600, 7200, 86400))
            return datetime.datetime(1970, 1, 1) + datetime.timedelta(
                seconds=at) + values.clock(self.random.choice((change - 1, change)), self.zone.zone).utcoffset()
        at = self.random.choice((self.random.randint(0, 2**31 - 1), self.random.randint(0, 2**31 - 1), 0, 2**31 - 1,
                                 self.random.randint(-2**31, 2**31), self.random.randint(-86400, 86400),
                                 2**31 - self.random.randint(-86400, 86400), self.random.randint(2**31, 2**37)))
        return datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=at)

    def date(self, form):
        at = self.moment()
        if self.manner == "strict":
            at = datetime.datetime.fromtimestamp(self.random.randint(0, 2**31 - 90000), self.zone.zone)
        text = f"{at.year:04}{at.month:02}{at.day:02}{at.hour:02}{at.minute:02}"
        text = text[:{"date": 8, "date and time": 12, "year": 4}[form]]
        if self.manner == "strict" or not self.chance(0.15):
            return text
        return self.random.choice((
            text[:4] + "0229" + text[8:], text[:4] + "0230" + text[8:], text[:4] + "1301" + text[8:],
            text[:4] + "0001" + text[8:], text[:6] + "00" + text[8:], text[:6] + "31" + text[8:], text[:8] + "2400",
            text[:8] + "2360", text[:8] + "2359",
            "0000" + text[4:], "9999" + text[4:], "1900" + text[4:], "1901" + text[4:], "2038" + text[4:], " " + text[1:],
            text[:-1] + " ", "+" + text[1:], "-" + text[1:], "".join(chr(ord(digit) + 0x100) for digit in text),
            "".join(chr(ord(digit) - 0x30 + 0xFF10) for digit in text)))[:len(text)].ljust(len(text))

    def field(self, width, kind):
        """A field's text; as wide as the field."""
        if self.chance(0.12):
            return " " * width
        if self.manner == "hostile" and self.chance(0.2):
            return self.random.choice((self.characters(width, 0.2), "".join(self.random.choice(SMALL) for _ in range(width)),
                                       self.random.choice(STRANGERS) * width, "!" * width))
        if isinstance(kind, values.Codes):
            if self.manner == "strict" or self.chance(0.9):
                return self.random.choice(list(kind.read_as))
            near = ord(self.random.choice(list(kind.read_as))) + self.random.choice((-1, 1, 32, 0x100))
            return self.random.choice((chr(near), "!"))
        if kind == "text":
            return self.text(width)
        if kind == "whole":
            return self.whole(width)
        if kind == "decimal":
            return self.decimal(width)
        if kind == "flag":
            return self.random.choice("01") if self.chance(0.9) else self.characters(1, 0.3)
        if kind == "alarm flags":
            flags = f"{self.random.randint(0, 0xFFFF):04X}"
            return flags if self.manner == "strict" or self.chance(0.7) else self.random.choice((
                flags.lower(), flags[:2] + "0F", "0000", "FF0F", flags[:3] + " ", " " + flags[1:], flags[:1], flags[:2],
                "-" + flags[1:], flags[:2] + "0x", "0x" + flags[2:], "x10x", "0x0x", "GG" + flags[2:], flags[:2] + "-1",
                flags[:2] + " 1")).ljust(4)
        return self.date(kind)

    # ---- Lines ---------------------------------------------------------------------------------------------------

    def made(self, record):
        line = [" "] * record.LENGTH
        for column, width, kind in LAYOUTS[record]:
            line[column - 1:column - 1 + width] = self.field(width, kind)
        return (record.LETTER + "".join(line)[len(record.LETTER):])[:record.LENGTH]

    def fields_of(self, record):
        return self.random.choice(LAYOUTS[record])

    def damaged(self, record, line):
        """The line with one more random error."""
        column, width, kind = self.fields_of(record)
        start, end = column - 1, column - 1 + width
        at = self.random.randint(0, len(line))
        near = min(len(line), self.random.randint(start, end))
        damage = self.random.randint(0, 13)
        if damage == 0:  # one character, anywhere or in a field
            return self.with_character(line, self.random.choice((at, near)))
        if damage == 1:  # several
            for _ in range(self.random.randint(2, 12)):
                line = self.with_character(line, self.random.randint(0, len(line)))
            return line
        if damage == 2:  # shifted to the right
            return line[:near] + self.characters(self.random.randint(1, 3)) + line[near:]
        if damage == 3:  # shifted to the left
            return line[:near] + line[near + self.random.randint(1, 3):]
        if damage == 4:
            return line[:at]
        if damage == 5:
            return line + self.characters(self.random.randint(1, 40), 0.1)
        if damage == 6:  # a field of spaces, of zeros, of nothing
            return line[:start] + self.random.choice((" ", "0", "\0", "\t", "!", "\u2003")) * width + line[end:]
        if damage == 7:  # a field of unexpected characters
            return line[:start] + "".join(self.random.choice(STRANGERS) for _ in range(width)) + line[end:]
        if damage == 8:  # a sign or a point at an odd place
            return line[:near] + self.random.choice("+-.,eE") + line[near + 1:]
        if damage == 9:  # the content of another field
            other, other_width, _ = self.fields_of(record)
            return line[:start] + line[other - 1:other - 1 + other_width][:width].ljust(width) + line[end:]
        if damage == 10:  # digits of other scripts
            base = self.random.choice((0x660, 0x966, 0xFF10, 0x130, 0x1D7D8))
            return line[:start] + "".join(chr(base + ord(c) - 48) if "0" <= c <= "9" else c for c in line[start:end]) + line[end:]
        if damage == 11:
            return self.random.choice(WRONG_LETTERS + "012345679") + line[1:]
        if damage == 12:  # trailing spaces removed from the line or from a field
            return line.rstrip() if self.chance(0.5) else line[:start] + line[start:end].strip().ljust(width) + line[end:]
        return line[:start] + line[start:end].swapcase() + line[end:]

    def with_character(self, line, at):
        there = line[at:at + 1] or " "
        character = self.random.choice((
            self.random.choice(SMALL), self.random.choice(STRANGERS), chr(max(0, ord(there) + self.random.choice((-1, 1)))),
            chr(ord(there) ^ 1 << self.random.randint(0, 7)), chr(self.random.randint(0, 0x7F)),
            chr(self.random.randint(0, 0xFFFF)), chr(self.random.randint(0x10000, 0x10FFFF))))
        return line[:at] + character + line[at + 1:]

    def line(self, record):
        ours = self.samples.get(record.LETTER) if record.LETTER else None
        self.manner = self.random.choice(MANNERS)
        line = self.random.choice(ours) if ours and self.chance(0.1) else self.made(record)
        if self.chance(0.5):
            for _ in range(self.random.choice((1, 1, 1, 2, 3, 6))):
                line = self.damaged(record, line)
        return line + self.random.choice(("", "\r", "\r\n")) if self.chance(0.9) else line

    # ---- Values for setters --------------------------------------------------------------------------------------

    def change(self, record):
        name, default = self.random.choice(MEMBERS[record])
        width = WIDTHS[record].get(name, 8) + self.random.choice((-1, 0, 0, 1, 1, 8))
        return name, self.value(name, default, 64 if name in record.LONG_LONG else 32, width)

    def value(self, name, default, size, width=8):
        """Of the type of the default, of so many bits, or so many characters."""
        random = self.random
        if isinstance(default, bool):
            return self.chance(0.5)
        if isinstance(default, float):
            return random.choice((0.0, -0.0, -1.0, -0.5, 1e-7, 0.5, random.uniform(-10, 1e6), random.uniform(-1e3, 1e3), 1e15,
                                  1e300, -1e300, float("inf"), float("-inf"), float("nan"),
                                  5e-324, round(random.uniform(0, 999), 4),
                                  struct.unpack(">d", random.randbytes(8))[0]))
        if isinstance(default, int):
            numbers = (-1, 0, 1, 2, 3, 4, 9, 10, 99, 100, random.randint(0, 99999), random.randint(0, 2**31 - 1),
                       2**(size - 1) - 1)
            if "ManufacturerRaw" in name:
                return random.choice([abs(number) for number in numbers])
            return random.choice(numbers + (-2, -2**(size - 1), random.randint(-2**(size - 1), 2**(size - 1) - 1),
                                            random.choice(self.zone.changes) + random.randint(-3600, 3600)))
        if default == values.UNSET or name == "Type":
            return self.random.choice("!0123456789 WCEGHTABDHNYdnMTARUx\xe9\u0141")
        text = self.text(max(1, width))
        return text.rstrip(" ") if self.chance(0.3) else text

    # ---- Requests ------------------------------------------------------------------------------------------------

    def record_request(self, record):
        if record.CAN_BE_EMPTY and self.chance(0.02):
            line, words = None, ["empty", record.model(), ""]
        else:
            line = self.line(record)
            words = ["record", record.model(), shown(line)]
        changes = [self.change(record) for _ in range(self.random.randint(1, 10))] if self.chance(0.4) else []
        return "\t".join(words + [f"{name}={word(value)}" for name, value in changes]), line, changes


def of_blank_line(record):
    return record(values.Host(datetime.timezone.utc), record.LETTER.ljust(record.LENGTH))


def layout(record):
    """The columns, widths and kinds of the fields of a record, found by reading a blank line."""
    # A field that is read twice has the kind that is not plain text.
    kinds = {}
    for column, width, kind in of_blank_line(record).fields.cuts:
        if kind != "text" or column not in kinds:
            kinds[column] = (column, width, kind)
    return list(kinds.values())


LAYOUTS = {record: layout(record) for record in records.RECORDS}
MEMBERS = {record: list(of_blank_line(record).member.items()) for record in records.RECORDS}
WIDTHS = {record: {name: cut[1] for name, cut in of_blank_line(record).cut_of.items()} for record in records.RECORDS}


def sample_lines():
    """Lines of the sample files by their letter."""
    lines = {}
    for name in ("round-exported.txt", "round-returned.txt", "round-broken.txt", "round-damaged.txt"):
        with open(os.path.join(ROOT, "samples", name), encoding="latin-1", newline="") as file:
            for line in file.read().split("\r\n"):
                lines.setdefault(line[:1], []).append(line)
    return lines
