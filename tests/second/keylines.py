"""Generated key lines, and the expected results."""
import json

from keyline import KeyLine, NUMBERS, ORDER, TEXTS, utf8
from values import utf16_units
from wire import plain, shown

TEXT_VALUES = ['""', '"A"', '"12AB0001"', r'"a\"b\\\/\b\f\n\r\t"', r'"\u00e9\u20AC"', r'"\ud83d\ude00"', r'"\ud83d"',
               r'"\ud83dx"', r'"\ud83d\u0041"', r'"\udc00"', r'"x\uDFFFy"', r'"\u0000"', r'"\u12"', r'"\x"', '"\t"', '"é€😀"',
               '"\x7f\x80"', '"\ud800"', '"\udc00"', '"\0"', '"open', "'single'"]
NUMBER_VALUES = """0 -0 -1 1 12345678 2147483647 2147483648 -2147483648 -2147483649 3000000000 4294967295 4294967296
    9223372036854775807 18446744073709551615 18446744073709551616 99999999999999999999999 1.0 1.5 1e3 -1E+2 0.0 1e400 01 +1 -
    .5 5. 1e 0x10 NaN Infinity -Infinity""".split()
OTHER_VALUES = ["true", "false", "null", "[]", "{}", "[1,2]", '{"a":[{}]}', "[[[[]]]]", "[1,]", "{,}", '{"a"}', "[1 2]", "tru",
                "nul", "[", "]", "", '{"a":1,"a":{"b":[1,"x",null]}}', "[[],{},[[]]]", '[{"a":[]},0]']
BLANKS = ["", "", "", " ", "\t", "\n", "\r", "  ", "\f", "\xa0"]


def value(make, name):
    random = make.random
    if make.chance(0.75):
        if name in NUMBERS:
            return str(random.randint(-2**31, 2**31 - 1)) if make.chance(0.7) else random.choice(NUMBER_VALUES)
        if make.chance(0.8):
            return json.dumps(make.characters(random.randint(0, 40)), ensure_ascii=make.chance(0.5))
        return random.choice(TEXT_VALUES)
    return random.choice(random.choice((TEXT_VALUES, NUMBER_VALUES, OTHER_VALUES)))


def name(make):
    random = make.random
    known = random.choice(ORDER)
    return random.choice((known,) * 12 + (known.upper(), known + "x", "", known[:-1], known + "\\u0000", "é",
                                          "\\u0073erialNumber", "a\\tb", "\\ud800"))


def blank(make):
    return make.random.choice(BLANKS[:7] if make.chance(0.97) else BLANKS)


def line(make):
    random = make.random
    names = list(ORDER) if make.chance(0.5) else [name(make) for _ in range(random.randint(0, 14))]
    members = [f'{blank(make)}"{each}"{blank(make)}:{blank(make)}{value(make, each)}{blank(make)}' for each in names]
    if make.chance(0.5):  # a valid line
        members = [f'"{each}":' + (str(random.randint(-2, 2**31 - 1)) if each in NUMBERS else json.dumps(make.characters(32)))
                   for each in random.sample(ORDER, random.randint(0, 10))]
    text = utf16_units("{" + ",".join(members) + "}")
    if make.chance(0.05):
        depth = random.choice((10, 100, 3000))
        text = '{"deep":' + "[" * depth + "]" * (depth + random.choice((0, 0, -1, 1))) + "}"
    if make.chance(0.02):
        size = 65536 + random.choice((-2, -1, 0, 1, 2))
        character = random.choice(("x", "é", "€"))
        text = text[:-1].rstrip() + ("," if len(text) > 2 else "") + '"big":"'
        rest = size - len(utf8(text)) - 2
        text += character * (rest // len(character.encode())) + "y" * (rest % len(character.encode())) + '"}'
    for _ in range(random.choice((0, 0, 0, 1, 2))):
        at = random.randint(0, len(text))
        damage = random.randint(0, 3)
        if damage == 0:
            text = utf16_units(make.with_character(text, at))
        elif damage == 1:
            text = text[:at]
        elif damage == 2:
            text = text[:at] + random.choice('{}[],:"\\ ;\r\0') + text[at:]
        else:
            text = text[:at] + text[at + 1:]
    return random.choice(("", "", ";", "; ", ";;", " ", "\ufeff")) + text + random.choice(("", "", "\r", "\r\n", " ", " \r", "x"))


def request(make):
    text = line(make)
    data = bytes_of(text)
    return "\t".join(("key", shown(text), shown(data.decode("latin-1")))), text


def bytes_of(text):
    """The JSON text of the line, in UTF-8."""
    return utf8(text.removeprefix(";").removesuffix("\r"))


def expected(host, text):
    key = KeyLine(text)
    answer = {"error": key.error, "remarks": plain(key.remarks), "line": plain(key.line), "model": plain(key.model()),
              "said": ["", ""]}
    if not key.error:
        answer["ofJson"] = answer["model"]
    return answer
