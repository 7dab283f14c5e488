"""Lines, one after the other."""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, Iterator, Mapping, Optional

from . import _core
from ._source import Opened

if TYPE_CHECKING:
    from ._source import Source


def lines(source: Source, encoding: Optional[str] = None) -> Iterator[_core.Line]:
    """Iterate over all lines of a file, also malformed ones; memory does not grow with the file.

    A line has its fields as attributes (``line.meterReadingIndex``) and as items (``line["meterReadingIndex"]``): int, float, bool,
    str, datetime.date, naive local datetime.datetime; None: absent, or the text cannot be parsed. Its other attributes are number,
    offset (bytes), kind (None: malformed, or a key line), fault (a sentence; None: not malformed), text, bytes (without the line
    ending), ending, encoding. A field that the kind does not have is an AttributeError, as an item an UnknownNameError.

    Raises OSError if the file cannot be read, UnknownNameError for an unknown encoding.
    """
    return Opened(source, encoding).reader


def new_line(kind: str, values: Optional[Mapping[str, Any]] = None, encoding: str = "ansi") -> _core.Line:
    """Make a line of a kind with these values; its other fields are blank. Raises FieldError if a value does not fit."""
    line = _core.new_line(kind, encoding)
    for name, value in (values or {}).items():
        line[name] = value
    return line
