"""What is wrong with a file."""
from __future__ import annotations

from typing import TYPE_CHECKING, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Union, overload

from . import _core
from ._source import Opened
from ._tables import numpy_and_pandas

if TYPE_CHECKING:
    import pandas

    from ._source import Source


class Finding(NamedTuple):
    """An error, a warning or a hint about a file, a line or a field; None: does not apply."""

    severity: str
    rule: str
    code: Optional[int]
    """Of the format."""
    line: Optional[int]
    """1-based; None: the whole file."""
    column: Optional[int]
    """1-based; None: the whole line."""
    end_column: Optional[int]
    """The column after the last."""
    reported_column: Optional[int]
    """The column that the format reports, if it is another one."""
    kind: Optional[str]
    field: Optional[str]
    found: Optional[str]
    """The text of the field."""
    message: str
    hint: Optional[str]
    """A remedy."""

    def __str__(self) -> str:
        place = ":".join(str(number) for number in (self.line, self.column) if number is not None)
        return f"{place + ': ' if place else ''}{self.severity}: {self.message}"


class Findings(Sequence[Finding]):
    """The findings of a file: a sequence, those about the whole file first, then those of its lines in their order.

    errors, warnings: their numbers. lines: the number of lines. diagnosis: the findings about the whole file.
    """

    def __init__(self, diagnosis: Iterable[Finding], of_lines: Iterable[Finding], lines: int, errors: int, warnings: int) -> None:
        self.diagnosis = list(diagnosis)
        self._all = [*self.diagnosis, *of_lines]
        self.lines = lines
        self.errors = errors
        self.warnings = warnings

    @overload
    def __getitem__(self, index: int) -> Finding: ...
    @overload
    def __getitem__(self, index: slice) -> List[Finding]: ...
    def __getitem__(self, index: Union[int, slice]) -> Union[Finding, List[Finding]]:
        return self._all[index]

    def __len__(self) -> int:
        return len(self._all)

    def __iter__(self) -> Iterator[Finding]:
        return iter(self._all)

    def __repr__(self) -> str:
        return f"<tramostream.Findings: {self.errors} errors, {self.warnings} warnings in {self.lines} lines>"

    def to_frame(self) -> pandas.DataFrame:
        """A row for each finding, a column for each attribute."""
        _, pandas = numpy_and_pandas()
        numbers = ("code", "line", "column", "end_column", "reported_column")
        data = {name: pandas.array([getattr(finding, name) for finding in self._all], dtype="Int64" if name in numbers else "string")
                for name in Finding._fields}
        return pandas.DataFrame(data)


def check(source: Source, encoding: Optional[str] = None, *, strict: bool = False, all: bool = False, each: bool = False) -> Findings:
    """Check a file: its findings are those of ``tramo check``.

    strict: missing and contradicting values are errors, not warnings.
    each: also findings of lines that a finding about the whole file explains.
    all: like each, and adds what the format reports on valid lines.

    Raises OSError if the file cannot be read, UnknownNameError for an unknown encoding.
    """
    reader = Opened(source, encoding, diagnose=True).reader
    diagnosis, of_lines, lines, errors, warnings = _core.check_file(reader, strict, all, each)
    return Findings(map(Finding._make, diagnosis), map(Finding._make, of_lines), lines, errors, warnings)
