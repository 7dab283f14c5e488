"""The format as data."""
from __future__ import annotations

from typing import Dict, NamedTuple, Optional

from . import _core


class Field(NamedTuple):
    """A field of a record kind."""

    name: str
    type: str
    """text, integer, decimal, date, dateTime, year, code, flag or alarmFlags."""
    column: int
    """Of the first character, 1-based."""
    width: int
    """In characters."""
    decimals: int
    """Digits written after the decimal point; -1: six."""
    codes: str
    """Of a code, the characters that can be read."""
    read_into: str
    """The field that receives the value; empty: this one."""
    written: str
    """When the value is written: "always", "never" or a clause."""
    required: str
    """When its absence is a finding, a clause; empty: never."""


class Kind(NamedTuple):
    """A kind of line with fixed columns."""

    name: str
    letter: Optional[str]
    """In column 1; None: none."""
    length: int
    """In characters, without the line ending."""
    fields: Dict[str, Field]


class Rule(NamedTuple):
    """A rule that findings refer to."""

    name: str
    code: Optional[int]
    severity: str
    description: str
    remedy: Optional[str]


class Format(NamedTuple):
    """All kinds of lines by name, and all rules by name."""

    kinds: Dict[str, Kind]
    rules: Dict[str, Rule]


def describe() -> Format:
    """Describe the format: ``describe().kinds["meter subscriber"].fields["meterReadingIndex"].column``."""
    kinds, rules = _core.describe_format()
    return Format({name: Kind(name, letter, length, {field[0]: Field(*field) for field in fields})
                   for name, letter, length, fields in kinds},
                  {rule[0]: Rule(*rule) for rule in rules})
