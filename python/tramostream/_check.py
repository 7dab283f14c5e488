"""What is wrong with a file."""
from __future__ import annotations

import difflib
from typing import TYPE_CHECKING, Dict, Iterable, Iterator, List, Mapping, NamedTuple, Optional, Sequence, Union, overload

from . import _core
from ._errors import UnknownNameError
from ._format import describe
from ._source import Opened
from ._tables import counted, numpy_and_pandas

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

    errors, warnings, hints: their numbers. lines: the number of lines. diagnosis: the findings about the whole file.
    """

    def __init__(self, diagnosis: Iterable[Finding], of_lines: Iterable[Finding], lines: int, errors: int, warnings: int,
                 hints: int) -> None:
        self.diagnosis = list(diagnosis)
        self._all = [*self.diagnosis, *of_lines]
        self.lines = lines
        self.errors = errors
        self.warnings = warnings
        self.hints = hints

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
        found = [counted(self.errors, "error"), counted(self.warnings, "warning")]
        if self.hints:
            found.append(counted(self.hints, "hint"))
        return f"<tramostream.Findings: {', '.join(found)} in {counted(self.lines, 'line')}>"

    def to_frame(self) -> pandas.DataFrame:
        """A row for each finding, a column for each attribute."""
        _, pandas = numpy_and_pandas()
        numbers = ("code", "line", "column", "end_column", "reported_column")
        data = {name: pandas.array([getattr(finding, name) for finding in self._all], dtype="Int64" if name in numbers else "string")
                for name in Finding._fields}
        return pandas.DataFrame(data)


def check(source: Source, encoding: Optional[str] = None, *, strict: bool = False, all: bool = False, each: bool = False,
          rules: Optional[Mapping[str, str]] = None) -> Findings:
    """Check a file: its findings are those of ``tramo check``.

    strict: missing and contradicting values are errors, not warnings.
    each: also findings of lines that a finding about the whole file explains.
    all: like each, and adds what the format reports on valid lines.
    rules: other severities of the findings of rules: ``{"CardOrder": "off"}``, "hint", "warning" or "error"; describe().rules has
    the names.

    Raises OSError if the file cannot be read, UnknownNameError for an unknown encoding, rule or severity.
    """
    reader = Opened(source, encoding, diagnose=True).reader
    diagnosis, of_lines, *numbers = _core.check_file(reader, strict, all, each, _severities(rules or {}))
    return Findings(map(Finding._make, diagnosis), map(Finding._make, of_lines), *numbers)


def _severities(rules: Mapping[str, str]) -> Dict[str, str]:
    """The mapping as a dict. Every name is known."""
    for name, severity in rules.items():
        known = describe().rules
        if name not in known:
            closest = difflib.get_close_matches(str(name), known, 1)
            raise UnknownNameError(f'unknown rule "{name}"' + (f'; did you mean "{closest[0]}"?' if closest else ""))
        if severity not in ("off", "hint", "warning", "error"):
            raise UnknownNameError(f'unknown severity "{severity}"; expected "off", "hint", "warning" or "error"')
    return dict(rules)
