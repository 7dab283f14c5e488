"""Calls of single codecs: the requests to the driver, and the expected results."""
import values
from wire import plain, word

FORMS = ("%Y%m%d", "%Y%m%d%H%M", "%Y")
READ_CODES = {codes.reader: codes for codes in (
    values.LINE_TYPES, values.FLUIDS, values.AREA_TYPES, values.READ_METHODS, values.READ_STATUSES, values.ALARMS,
    values.ENQUIRY_AREA_TYPES, values.ENQUIRY_AREA_MODES)}
READ_CODE_TEXTS = {name + " text": READ_CODES[name] for name in ("toFluidType", "toTramoType", "toReadMethod", "toReadStatus")}
WRITE_CODES = {"fromFluidType" if codes is values.FLUIDS else codes.writer: codes for codes in READ_CODES.values()}
BYTES = [b"a", b"\xc3\xa9", b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\x80", b"\xc3", b"\xe2\x82", b"\xc0\x80", b"\xed\xa0\x80",
         b"\xff", b"\0", b"\xf4\x90\x80\x80", b"\xf0\x9f\x98", b"\xe0\x80\xaf", b"\xef\xbf\xbf", b"\xf8\x88\x80\x80\x80"]


def place(text, width):
    """The columns around a field that was written."""
    return "##" + text + "##" + "#" * (width - len(text))


def number(read, changed=lambda text: text):
    def expected(host, text):
        value = read(host, text)
        return [value is not None, -77 if value is None else value, changed(text)]
    return expected


def double(host, text):
    value, changed = values.read_double(host, text)
    return [value is not None, -77.0 if value is None else value, changed]


def hexadecimal(host, text):
    succeeds, value = values.read_hexadecimal(host, text)
    return [succeeds, -77 if value is None else value, text]


def code(host, codes, character, whole=None):
    value = codes.read(host, character, whole)
    return [value is not None, "#" if value is None else value]


def written_code(host, codes, value):
    text = codes.write(host, value)
    return [text is not None, place(text or "", 1)]


def text_place(host, text, width):
    if len(text) > width:
        return [False, place("", width)]
    return [True, place(text.ljust(width) if text else "", width)]


def only_digits(text):
    return text != "" and all(character in "0123456789" for character in text)


EXPECTED = {
    "toInt": number(values.read_int),
    "toLong": number(values.read_long),
    "toLongLong": number(values.read_long_long),
    "toDouble": double,
    "hexStrToInt": hexadecimal,
    "toDate": number(values.read_date),
    "toDateTime": number(values.read_date_time),
    "toYear": lambda host, text: [True, values.read_year(host, text)],
    "fromInt": lambda host, value, width: [True, place(values.fitted(str(value), width), width)],
    "fromLong": lambda host, value, width: [True, place(values.fitted(str(value), width), width)],
    "fromLongLong": lambda host, value, width: [True, place(values.fitted(str(value), width), width)],
    "fromWString": text_place,
    "fromDouble": lambda host, value, width, decimals: [
        True, place(values.fitted(values.double_text(value, decimals), width), width)],
    "fromDate": lambda host, value, form: [True, place(values.date_text(host, value, form), 12)],
    "rtrim": lambda host, text: [text.rstrip(values.BLANKS)] * 2,
    "ltrim": lambda host, text: [text.lstrip(values.BLANKS)] * 2,
    "resize": lambda host, text, width, trim: [text[:width].rstrip(values.BLANKS) if trim else text[:width]],
    "is_number": lambda host, text: [only_digits(text), only_digits(values.narrowed(text))],
    "toBool": lambda host, character: [True, values.read_flag(character)],
    "fromBool": lambda host, value: [True, place(values.flag_text(value), 1), True, values.flag_text(value)],
    "stringFromReadMethod": lambda host, value: written_text(host, value),
    "toAmrAlarm": lambda host, text: [True, values.read_alarm_flags(host, text)],
    "fromAmrAlarms": lambda host, flags: [True, place(values.alarm_flags_text(flags), 5)],
    "reverseByBlock": lambda host, text, size: [values.reversed_by_block(text, size)],
    "to_wstring": lambda host, data: [values.from_utf8(data.encode("latin-1"))],
    "strToTime": lambda host, form, text: [values.str_to_time(host, form, text)],
}
EXPECTED |= {name: lambda host, character, codes=codes: code(host, codes, character) for name, codes in READ_CODES.items()}
EXPECTED |= {name: lambda host, text, codes=codes: code(host, codes, text[:1] or "\0", text)
             for name, codes in READ_CODE_TEXTS.items()}
EXPECTED |= {name: lambda host, value, codes=codes: written_code(host, codes, value) for name, codes in WRITE_CODES.items()}


def written_text(host, value):
    """Its failure message names it, not the function that writes the code."""
    codes = values.Codes({}, values.READ_METHODS.written_as, "", "stringFromReadMethod")
    text = codes.write(host, value)
    return [text is not None, text or "##"]


def arguments(make, function):
    random = make.random
    if function in ("fromInt", "fromLong", "fromLongLong"):
        size = 64 if function == "fromLongLong" else 32
        return make.value("", 0, size), random.randint(0, 24)
    if function == "fromDouble":
        return make.value("", 0.0, 64), random.randint(0, 40), random.choice((-1, 0, 1, 2, 3, 6, 12, 20))
    if function == "fromDate":
        return make.value("", 0, 32), random.choice(FORMS)
    if function == "fromWString":
        return make.text(random.randint(1, 20)).rstrip(random.choice((" ", ""))), random.randint(0, 20)
    if function == "resize":
        width = random.randint(0, 20)
        return make.text(width + 1), width, make.chance(0.5)
    if function == "fromBool":
        return (make.chance(0.5),)
    if function == "fromAmrAlarms":
        return (random.randint(0, 0xFFF),)
    if function == "reverseByBlock":
        return make.text(random.randint(1, 12)).rstrip(), random.randint(0, 5)
    if function == "to_wstring":
        return (b"".join(random.choice(BYTES) for _ in range(random.randint(0, 8))).decode("latin-1"),)
    if function == "strToTime":
        form = random.choice(FORMS * 5 + ("%Y-%m-%d %H:%M", "%d.%m.%Y", "%H%M", "%Y%j", "", "%", "x%Yx", "%m%Y"))
        at = make.moment()
        text = form
        for directive, part in (("Y", f"{at.year:04}"), ("m", f"{at.month:02}"), ("d", f"{at.day:02}"), ("H", f"{at.hour:02}"),
                                ("M", f"{at.minute:02}")):
            text = text.replace("%" + directive, part)
        if make.chance(0.3):
            text = values.narrowed(make.with_character(text, random.randint(0, len(text))))
        return form, text
    if function in WRITE_CODES or function == "stringFromReadMethod":
        return (make.value("", "!", 32),)
    if function in READ_CODES or function == "toBool":
        codes = READ_CODES.get(function, "flag")
        return (make.field(1, codes) if make.chance(0.7) else make.characters(1, 0.3),)
    if function in READ_CODE_TEXTS:
        text = make.field(1, READ_CODE_TEXTS[function]) + make.characters(random.randint(0, 3))
        text = text[random.choice((0, 0, 0, 1)):].replace("\0", "")
        if function == "toReadStatus text":
            text = "".join(character if character < "\x80" else "?" for character in text)
        return (text,)
    kind = {"toDate": "date", "toDateTime": "date and time", "toYear": "year", "toDouble": "decimal", "toAmrAlarm": "alarm flags",
            "hexStrToInt": "alarm flags"}.get(function, "whole")
    width = {"date": 8, "date and time": 12, "year": 4, "alarm flags": 4}.get(kind, random.randint(1, 26))
    text = make.field(width, kind)
    if make.chance(0.2):
        text = text.strip() + make.characters(random.randint(0, 3), 0.3)
    if make.chance(0.1):
        text = make.with_character(text, random.randint(0, len(text)))
    if kind == "whole" and make.chance(0.2):
        limit = random.choice((2**31, 2**63, 2**32, 2**64))
        text = random.choice(("", " ", "+", "-", "-", " -", "000")) + str(limit + random.randint(-2, 2))
    if function == "hexStrToInt" and make.chance(0.3):
        number = random.choice((2**31, 2**32, random.randint(0, 2**40))) + random.randint(-2, 2)
        text = random.choice(("", "-", "+", "0x", "-0X", " ")) + f"{number:x}"
    if kind == "decimal" and make.chance(0.3):
        text = near_limit(random)
    return (text,)


LIMITS = """2.2250738585072012e-308 2.2250738585072011e-308 4.9406564584124654e-324 2.4703282292062327e-324
    1.7976931348623158e308 1.7976931348623159e308 1e-999999999999 1e999999999999 0x1p99999999999 0x1p-99999999999 0e99999999999
    nan(_1a) nan() nan(-) infinity1""".split()


def near_limit(random):
    """At the limits of double, and where it loses digits."""
    if random.random() < 0.5:
        return random.choice(LIMITS)
    return random.choice((
        f"{random.randint(17976931348623150, 17976931348623170)}e292",
        f"{random.randint(22250738585072000, 22250738585072030)}e-324",
        f"{random.randint(1, 99)}e-{random.randint(322, 326)}",
        f"0x1.{random.randint(0, 2**56):014x}p{random.randint(-1080, 1026)}",
        f"0x0.{random.randint(0, 2**52):x}p-{random.randint(1000, 1080)}",
        f"0x{random.randint(0, 2**70):x}",
        f"{random.randint(0, 2**70)}",
        f"{random.random() * 10.0 ** random.randint(-320, 308)!r}",
        f"{random.randint(0, 10**30)}e{random.randint(-350, 320)}",
        f"9007199254740993.{'0' * random.randint(0, 30)}{random.randint(0, 1)}"))


def request(make):
    function = make.random.choice(list(EXPECTED))
    make.manner = make.random.choice(("strict", "loose", "loose", "hostile"))
    given = arguments(make, function)
    return "\t".join(["call", function] + [word(each) for each in given]), (function, given)


def expected(host, asked):
    function, given = asked
    result = EXPECTED[function](host, *given)
    return {"result": plain(result), "said": [plain(host.narrow), plain(host.wide)]}
