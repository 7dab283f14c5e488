"""The encoding of texts and values between this script and the driver, as in wire.h."""
import functools
import math
import re
import struct

SPECIAL = re.compile(r'[^ !#-;=-\[\]-~]')


@functools.lru_cache(10000)
def shown(text):
    """The text in printable ASCII."""
    return SPECIAL.sub(lambda character: f"<{ord(character[0]):x}>", text)


def bits(number):
    """The 64 bits of a decimal number; none for not-a-number."""
    if math.isnan(number):
        return "-nan" if math.copysign(1, number) < 0 else "nan"
    return f"{struct.unpack('>Q', struct.pack('>d', number))[0]:x}"


def plain(value):
    """The value as in the driver's JSON."""
    if isinstance(value, str):
        return shown(value)
    if isinstance(value, float):
        return bits(value)
    if isinstance(value, (list, tuple)):
        return [plain(each) for each in value]
    if isinstance(value, dict):
        return {name: plain(each) for name, each in value.items()}
    return value


def word(value):
    """The value as an argument in a request."""
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, float):
        return f"{struct.unpack('>Q', struct.pack('>d', value))[0]:x}"
    return shown(value) if isinstance(value, str) else str(value)
