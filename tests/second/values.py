"""The values of the format: how the text of a field is read, and how a value is written.

An independent implementation of the format, deliberately small and slow: it defines the meaning of a field in the simplest way
that Python offers, and the library is compared with it.
"""
import datetime
import math
import re
from fractions import Fraction

BLANKS = " \t\n\v\f\r"
NO_YEAR = LOWEST = -2**31
UNSET = "!"
EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


class Host:
    """The parts of the machine that a value needs: its time zone, and a console for messages."""

    def __init__(self, zone):
        self.zone = zone
        self.narrow, self.wide = "", ""

    def say(self, message):
        self.wide += message


# ---- Whole numbers ----------------------------------------------------------------------------------------------

def read_whole(host, name, text, size):
    """A number with the given number of bits at the beginning of the text, or None."""
    digits = re.match(r"[ \t\n\v\f\r]*([+-]?[0-9]+)", text)
    if digits and -2**(size - 1) <= int(digits[1]) < 2**(size - 1):
        return int(digits[1])
    host.say(f"{name}: {text} cannot be converted.\n")
    return None


def read_int(host, text):
    return read_whole(host, "toInt", text, 32)


def read_long(host, text):
    return read_whole(host, "toLong", text, 32)


def read_long_long(host, text):
    return read_whole(host, "toLongLong", text, 64)


def read_hexadecimal(host, text):
    """Returns whether that succeeds, and the number; None for an empty text."""
    if not text:
        return True, None
    sign, digits = re.match(r"[ \t\n\v\f\r]*([+-]?)(?:0[xX])?([0-9A-Fa-f]*)", text).groups()
    number = int(sign + digits, 16) if digits else 0
    nearest = max(-2**31, min(number, 2**31 - 1))
    if digits and number == nearest:
        return True, number
    host.say(f"hexStrToInt ({text}), Parse failed\n\n")
    return False, nearest


def fitted(text, width):
    """A number in its columns: truncated on the right, padded on the left."""
    return text[:width].rjust(width)


# ---- Decimal numbers --------------------------------------------------------------------------------------------

DECIMAL = re.compile(r"""
    [ \t\n\v\f\r]* (?P<sign> [+-]?) (?:
        (?P<infinity> inf (?:inity)? )
      | (?P<none> nan (?: \( [0-9A-Za-z_]* \) )? )
      | 0x (?= \.? [0-9a-f]) (?P<hex_whole> [0-9a-f]* ) (?: \. (?P<hex_part> [0-9a-f]* ) )? (?: p (?P<power> [+-]? [0-9]+ ) )?
      | (?= \.? [0-9]) (?P<whole> [0-9]* ) (?: \. (?P<part> [0-9]* ) )? (?: e (?P<exponent> [+-]? [0-9]+ ) )?
    )""", re.VERBOSE | re.ASCII | re.IGNORECASE)


class OutOfRange(Exception):
    pass


def nearest_double(digits, base, power):
    """The double that is nearest to digits x base^power."""
    if digits == 0:
        return 0.0
    size = len(str(digits)) + power if base == 10 else digits.bit_length() + power
    if not -2000 < size < 2000:
        raise OutOfRange
    number = digits * Fraction(base) ** power
    try:
        value = float(number)
    except OverflowError:
        raise OutOfRange from None
    smallest = Fraction(1, 2**1022)
    # Below the smallest normal number, digits are lost, unless there are none to lose. A value that rounds up to it is not below.
    if number < smallest - Fraction(1, 2**1076) and Fraction(value) != number:
        raise OutOfRange
    return value


def read_double(host, text):
    """The number or None, and the text with points for commas."""
    text = text.replace(",", ".")
    found = DECIMAL.match(text)
    try:
        if not found:
            raise OutOfRange
        if found["infinity"]:
            value = math.inf
        elif found["none"]:
            value = math.nan
        elif found["hex_whole"] is not None:
            part = found["hex_part"] or ""
            value = nearest_double(int(found["hex_whole"] + part, 16), 2, int(found["power"] or 0) - 4 * len(part))
        else:
            part = found["part"] or ""
            value = nearest_double(int(found["whole"] + part), 10, int(found["exponent"] or 0) - len(part))
    except OutOfRange:
        host.say(f"toDouble: {text} cannot be converted.\n")
        return None, text
    return math.copysign(value, -1 if found["sign"] == "-" else 1), text


def double_text(value, decimals):
    """As "%f" prints it; six decimals if their number is negative."""
    if math.isnan(value):
        return "-nan" if math.copysign(1, value) < 0 else "nan"
    return "%.*f" % (6 if decimals < 0 else decimals, value)


# ---- Flags ------------------------------------------------------------------------------------------------------

def read_flag(character):
    return character == "1"


def flag_text(value):
    return "1" if value else "0"


# ---- Dates ------------------------------------------------------------------------------------------------------

def clock(moment, zone):
    """The local time at the given number of seconds after 1970."""
    return (EPOCH + datetime.timedelta(seconds=moment)).astimezone(zone)


def moment_of(host, year, month=1, day=1, hour=0, minute=0):
    """The seconds since 1970 of a local time; None if it is invalid or 32 bits cannot hold it."""
    try:
        wall = datetime.datetime(year, month, day, hour, minute)
    except ValueError:
        return None
    if not 1900 < year < 2040:
        return None
    # For a repeated time, fold 0 is the first one. For a skipped time, fold 0 is the later one.
    moment, second = (int((wall.replace(tzinfo=host.zone, fold=fold) - EPOCH).total_seconds()) for fold in (0, 1))
    if clock(moment, host.zone).replace(tzinfo=None) != wall:
        moment = moment_of_skipped(host.zone, wall, moment, second)
    return moment if -2**31 <= moment < 2**31 else None


def moment_of_skipped(zone, wall, forward, back):
    """Moves by the length of the gap: forward, or back if only that leads into summer time and stays on the same day."""
    is_only_summer = clock(back, zone).dst() and not clock(forward, zone).dst()
    return back if is_only_summer and clock(back, zone).date() == wall.date() else forward


DIRECTIVES = {"Y": 4, "m": 2, "d": 2, "H": 2, "M": 2}


def str_to_time(host, form, text):
    """Bytes as characters below 256, up to the first zero. Missing parts have their lowest value; a missing year does not fit."""
    form, text = form.split("\0")[0], text.split("\0")[0]
    found = {}
    at = 0
    position = 0
    while position < len(form):
        if form[position] == "%":
            position += 1
            directive = form[position:position + 1]
            if directive not in DIRECTIVES:
                return LOWEST
            digits = text[at:at + DIRECTIVES[directive]]
            if not re.fullmatch("[0-9]{%d}" % DIRECTIVES[directive], digits):
                return LOWEST
            found[directive] = int(digits)
            at += len(digits)
        elif text[at:at + 1] == form[position]:
            at += 1
        else:
            return LOWEST
        position += 1
    if at != len(text):
        return LOWEST
    moment = moment_of(host, found.get("Y", 0), found.get("m", 1), found.get("d", 1), found.get("H", 0), found.get("M", 0))
    return LOWEST if moment is None else moment


def narrowed(text):
    return "".join(chr(ord(character) & 0xFF) for character in text)


def moment_in(host, form, text):
    """Only the low eight bits of each character count. Checks the whole text, even after a zero."""
    text = narrowed(text)
    return LOWEST if "\0" in text else str_to_time(host, form, text)


def read_date(host, text):
    moment = moment_in(host, "%Y%m%d", text)
    return None if moment < 0 else moment


def read_date_time(host, text):
    moment = moment_in(host, "%Y%m%d%H%M", text)
    return None if moment < 0 else moment


def read_year(host, text):
    return moment_in(host, "%Y", text)


def date_text(host, moment, form):
    at = clock(moment, host.zone)
    parts = {"%Y": f"{at.year:04}", "%m": f"{at.month:02}", "%d": f"{at.day:02}", "%H": f"{at.hour:02}", "%M": f"{at.minute:02}"}
    return re.sub("%[YmdHM]", lambda directive: parts[directive[0]], form)


# ---- Codes ------------------------------------------------------------------------------------------------------

class Codes:
    """The codes that can be read, each with its value, and the values that can be written, each with its code."""

    def __init__(self, read, written, reader, writer):
        self.read_as, self.written_as, self.reader, self.writer = read, written, reader, writer

    def read(self, host, character, whole=None):
        """`whole` is the text in the message."""
        if character in self.read_as:
            return self.read_as[character]
        host.say(f"{self.reader} ({character if whole is None else whole}), Parse failed\n\n")
        return None

    def write(self, host, value):
        """Returns the code, an empty text for no value, or None."""
        if value == UNSET:
            return ""
        if value in self.written_as:
            return self.written_as[value]
        host.say(f"{self.writer} ({value}), Parse failed\n\n")
        return None


def unchanged(codes):
    return {code: code for code in codes}


LINE_TYPES = Codes(unchanged("012345679"), unchanged("012345679"), "toLineType", "fromLineType")
FLUIDS = Codes(unchanged("WCEGHT") | {" ": "W"}, unchanged("WCEGHT "), "toFluidType", "toFluidType")
AREA_TYPES = Codes(unchanged("12ABDHNYdn"), unchanged("12BDHYdn") | {"A": "2", "N": "1"}, "toTramoType", "fromTramoType")
READ_METHODS = Codes(unchanged("MTA"), unchanged("MA"), "toReadMethod", "fromReadMethod")
READ_STATUSES = Codes(unchanged("1234"), unchanged("1234"), "toReadStatus", "fromReadStatus")
ALARMS = Codes(unchanged("01234567"), unchanged("01234567"), "toAmrAlarms", "fromAmrAlarm")
ENQUIRY_AREA_TYPES = Codes(unchanged("CNA"), unchanged("CNA"), "toEnquryAreaType", "fromEnquryAreaType")
ENQUIRY_AREA_MODES = Codes(unchanged("HNRU"), unchanged("HNRU"), "toEnquiryAreaMode", "fromEnquiryAreaMode")


# ---- Twelve alarm flags -----------------------------------------------------------------------------------------

def reversed_by_block(text, size):
    """The blocks in reverse order; the last one may be short."""
    if size == 0:
        return text
    return "".join(reversed([text[start:start + size] for start in range(0, len(text), size)]))


def read_alarm_flags(host, text):
    """The flags, the first one in the lowest bit."""
    return (read_hexadecimal(host, reversed_by_block(text, 2))[1] or 0) & 0xFFF


def alarm_flags_text(flags):
    """Flags 1 to 8, flags 9 to 12, and a zero after them."""
    return f"{flags & 0xFF:02X}{flags >> 8:02X}\0"


# ---- Texts ------------------------------------------------------------------------------------------------------

def from_utf8(data):
    """Each byte that belongs to no valid character becomes U+FFFD; characters above U+FFFF become two."""
    text = ""
    while data:
        for size in (1, 2, 3, 4):
            try:
                character = data[:size].decode("utf-8")
            except UnicodeDecodeError:
                continue
            if len(character) == 1:
                break
        else:
            character, size = "\ufffd", 1
        text += utf16_units(character)
        data = data[size:]
    return text


def utf16_units(text):
    """Each character above U+FFFF as its two halves."""
    units = text.encode("utf-16-le", "surrogatepass")
    return "".join(chr(units[i] | units[i + 1] << 8) for i in range(0, len(units), 2))
