"""Writing files."""
from __future__ import annotations

import dataclasses
import os
from types import TracebackType
from typing import TYPE_CHECKING, Any, Iterable, Mapping, Optional, Type, Union

from . import _core
from ._errors import FieldError
from ._format import describe
from ._source import path_bytes
from ._tables import counted

if TYPE_CHECKING:
    import pandas

    from ._source import Path


class Writer:
    """Writes lines to a file, which appears whole, replacing one of that name, when the with statement ends without an exception;
    otherwise, everything stays as it was. A path that is not a regular file (a pipe, a device) is written directly.

        with tramostream.Writer("new.txt") as writer:
            writer.write("round", {"code": "T1"})
            writer.write("meter subscriber", {"meterSerialNumber": "C12", "meterReadingIndex": 6054})

    encoding: "ansi" (one byte for each character) or "utf16le". private: a new file can be read and written by its owner only.

    Raises OSError if the file cannot be written. Not to be used by several threads at once.
    """

    def __init__(self, path: Path, encoding: str = "ansi", *, private: bool = False) -> None:
        self._core = _core.open_writer(path_bytes(path), encoding, private)
        self._encoding = encoding
        self.path = os.fsdecode(path)
        self.lines = 0
        """The number of lines written so far."""

    def __repr__(self) -> str:
        return f"<tramostream.Writer {self.path!r}: {counted(self.lines, 'line')}>"

    def __enter__(self) -> Writer:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        if kind is None:
            self.commit()
        else:
            self.abandon()

    def write(self, kind: Union[str, _core.Line], values: Union[Mapping[str, Any], object] = None) -> None:
        """Write a line: one that has been read or made, as it stands; or a new one of a kind with these values, from a mapping or
        a dataclass. Fields without a value and those with None or NA are blank; the key "line" is ignored.

        Values: str, int, float, bool, datetime.date, datetime.datetime (naive: local time), None. Raises FieldError if a value does
        not fit, with the number of the line, the field and the reason; EncodingError if the encoding has no such character;
        UnknownNameError for an unknown kind or field. Then, the line is not written, and the writer can be used on.
        """
        if isinstance(kind, _core.Line):
            self._core.put(kind)
        else:
            self._core.put(self._line(kind, _items(values)))
        self.lines += 1

    def write_frame(self, kind: str, frame: pandas.DataFrame) -> None:
        """Write a line for each row of a frame, whose columns are fields of the kind, in the order of the rows."""
        self.write_frames({kind: frame})

    def write_frames(self, frames: Mapping[str, pandas.DataFrame]) -> None:
        """Write a line for each row of all frames, by kind, as read() returns them: in the order of their column "line", if every
        frame has one, otherwise a frame after the other. A column that the format never writes is ignored if another one has the
        same columns in the line."""
        if not isinstance(frames, Mapping):
            raise TypeError(f"expected a mapping from record kinds to frames, not {type(frames).__name__}")
        rows = [(kind, row) for kind, frame in frames.items() for row in _rows(_core.kind_name(kind), frame)]
        if all("line" in frame.columns for frame in frames.values()):
            rows.sort(key=lambda row: int(row[1]["line"]))
        for kind, row in rows:
            self.write(kind, row)

    def commit(self) -> None:
        """Make the file appear. Must be the last call; the with statement calls it."""
        self._core.commit()

    def abandon(self) -> None:
        """Leave everything as it was; the with statement calls it after an exception."""
        self._core.abandon()

    def _line(self, kind: str, items: Iterable[tuple[str, Any]]) -> _core.Line:
        line = _core.new_line(kind, self._encoding)
        for name, value in items:
            if name == "line":
                continue
            try:
                line[name] = _plain(value)
            except FieldError as error:
                raise FieldError(self.lines + 1, error.field, error.reason) from None
        return line


def _items(values: Any) -> Iterable[tuple[str, Any]]:
    if values is None:
        return ()
    if isinstance(values, Mapping):
        return values.items()
    if dataclasses.is_dataclass(values) and not isinstance(values, type):
        return ((field.name, getattr(values, field.name)) for field in dataclasses.fields(values))
    raise TypeError(f"expected a mapping or a dataclass, not {type(values).__name__}")


def _plain(value: Any) -> Any:
    """The value without the types of numpy and pandas."""
    kind = type(value).__name__
    if kind in ("NAType", "NaTType"):
        return None
    if kind == "Timestamp":
        return value.to_pydatetime(warn=False)
    if type(value).__module__ == "numpy":
        return value.item()
    return value


def _rows(kind: str, frame: pandas.DataFrame) -> Iterable[Mapping[str, Any]]:
    """The rows of a frame; what pandas takes for absent is None."""
    if not hasattr(frame, "columns") or not hasattr(frame, "iloc"):
        raise TypeError(f"expected a DataFrame, not {type(frame).__name__}")
    fields = describe().kinds[kind].fields.values()
    shown_again = {one.name for one in fields for other in fields
                   if one.written == "never" and one is not other and one.column == other.column}
    names, columns = [], []
    for position, label in enumerate(frame.columns):
        if label not in shown_again:
            column = frame.iloc[:, position]
            names.append(str(label))
            columns.append([None if absent else value for value, absent in zip(column.array, column.isna())])
    return (dict(zip(names, row)) for row in zip(*columns))
