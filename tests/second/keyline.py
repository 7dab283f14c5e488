"""Key lines of the format: the ten values in a JSON object. An independent implementation, see values.py."""
import re

TEXTS = ("serialNumber", "hardwareVersion", "firmwareVersion", "wmBusKey_Mode5", "wmBusKey_Mode7", "wmBusKeyExchangeKey")
NUMBERS = ("wmBusAddress_MeterId", "wmBusAddress_ManufacturerId", "wmBusAddress_Version", "wmBusAddress_DeviceType")
ORDER = TEXTS[:3] + NUMBERS + TEXTS[3:]
LONGEST = 65536
UNKNOWN, DUPLICATE, WRONG_TYPE, OUT_OF_RANGE = range(4)

NUMBER = re.compile(r"-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?")
ESCAPES = {'"': '"', "\\": "\\", "/": "/", "b": "\b", "f": "\f", "n": "\n", "r": "\r", "t": "\t"}


class NoKeyLine(Exception):
    pass


class Json:
    """A JSON text, read strictly from left to right. Values are ("text", ...), ("number", its digits), ("other",)."""

    def __init__(self, text):
        self.text, self.at = text, 0

    def next(self):
        return self.text[self.at:self.at + 1]

    def skip_blanks(self):
        self.at = re.compile(r"[ \t\n\r]*").match(self.text, self.at).end()

    def expect(self, text):
        if not self.text.startswith(text, self.at):
            raise NoKeyLine
        self.at += len(text)

    def accept(self, text):
        if not self.text.startswith(text, self.at):
            return False
        self.at += len(text)
        return True

    def escaped_unit(self):
        digits = re.compile(r"\\u([0-9A-Fa-f]{4})").match(self.text, self.at)
        if not digits:
            raise NoKeyLine
        self.at = digits.end()
        return int(digits[1], 16)

    def string(self):
        self.expect('"')
        result = ""
        while not self.accept('"'):
            character = self.next()
            if not character or character < " ":
                raise NoKeyLine
            if character != "\\":
                result += character
                self.at += 1
            elif self.text[self.at + 1:self.at + 2] in ESCAPES and self.at + 1 < len(self.text):
                result += ESCAPES[self.text[self.at + 1]]
                self.at += 2
            else:
                unit = self.escaped_unit()
                if 0xD800 <= unit < 0xDC00:
                    low = self.escaped_unit()
                    if not 0xDC00 <= low < 0xE000:
                        raise NoKeyLine
                    result += chr(unit) + chr(low)
                elif 0xDC00 <= unit < 0xE000:
                    result += "\ufffd\ufffd\ufffd"
                else:
                    result += chr(unit)
        return result

    def scalar(self):
        character = self.next()
        if character == '"':
            return "text", self.string()
        if character in "tfn" and character:
            self.expect({"t": "true", "f": "false", "n": "null"}[character])
            return ("other",)
        number = NUMBER.match(self.text, self.at)
        if not number or abs(float(number[0])) == float("inf"):
            raise NoKeyLine
        self.at = number.end()
        return "number", number[0]

    def value(self):
        """Reads nested values without recursion: they may be deep."""
        if not self.next() or self.next() not in "[{":
            return self.scalar()
        closing = []
        while True:
            self.skip_blanks()
            # A value follows, or an opened container ends immediately.
            if self.accept("["):
                closing.append("]")
                self.skip_blanks()
                if not self.accept("]"):
                    continue
                closing.pop()
            elif self.accept("{"):
                closing.append("}")
                self.skip_blanks()
                if not self.accept("}"):
                    self.name()
                    continue
                closing.pop()
            else:
                self.scalar()
            # After a complete value, another one follows or its container ends.
            while closing:
                self.skip_blanks()
                if self.accept(","):
                    if closing[-1] == "}":
                        self.skip_blanks()
                        self.name()
                    break
                self.expect(closing.pop())
            else:
                return ("other",)

    def name(self):
        name = self.string()
        self.skip_blanks()
        self.expect(":")
        return name

    def members(self):
        """Of the object that is the whole text."""
        self.skip_blanks()
        self.expect("{")
        members = []
        self.skip_blanks()
        if not self.accept("}"):
            while True:
                self.skip_blanks()
                name = self.name()
                self.skip_blanks()
                members.append((name, self.value()))
                self.skip_blanks()
                if not self.accept(","):
                    break
            self.expect("}")
        self.skip_blanks()
        if self.at != len(self.text):
            raise NoKeyLine
        return members


def json_of(line):
    """The JSON text of the line as 16-bit units, without the optional characters around it."""
    text = line[1:] if line.startswith(";") else line
    text = text[:-1] if text.endswith("\r") else text
    if "\0" in text:
        raise NoKeyLine
    try:
        whole = text.encode("utf-16-le", "surrogatepass").decode("utf-16-le")
    except UnicodeDecodeError:
        raise NoKeyLine from None
    if len(whole.encode("utf-8")) > LONGEST:
        raise NoKeyLine
    return text


class KeyLine:
    def __init__(self, line):
        self.values = {name: "" for name in TEXTS} | {name: -1 for name in NUMBERS}
        self.line = line
        self.remarks, self.error = [], False
        try:
            members = Json(json_of(line)).members()
        except NoKeyLine:
            self.error = True
            return
        seen = set()
        for name, value in members:
            if name not in ORDER:
                self.remarks.append((UNKNOWN, name))
            elif name in seen:
                self.remarks.append((DUPLICATE, name))
            elif name in TEXTS:
                self.take_text(name, value)
            else:
                self.take_number(name, value)
            seen.add(name)

    def take_text(self, name, value):
        if value[0] == "text":
            self.values[name] = value[1]
        else:
            self.remarks.append((WRONG_TYPE, name))

    def take_number(self, name, value):
        if value[0] != "number" or not re.fullmatch("-?[0-9]+", value[1]):
            self.remarks.append((WRONG_TYPE, name))
        elif not -2**31 <= int(value[1]) < 2**31:
            self.remarks.append((OUT_OF_RANGE, name))
        else:
            self.values[name] = int(value[1])

    def model(self):
        def label(name):
            return name[0].upper() + name[1:]
        ordered = [(name, self.values[name]) for name in ORDER]
        return {
            "shown": "AMRKeyTramoModel[" + ",".join(f"{label(name)}{value}" for name, value in ordered) + "]",
            "mandatory": [(index, 0x201) for index, (_, value) in enumerate(ordered) if value in ("", -1)],
            "parse": [],
            "values": [value for _, value in ordered],
        }


def utf8(units):
    """The bytes of the text, even if it is malformed."""
    return units.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "replace").encode("utf-8")
