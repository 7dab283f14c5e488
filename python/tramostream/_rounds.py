"""Rounds of meters, with everything that belongs to a meter."""
from __future__ import annotations

import datetime
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Callable, Iterator, List, NamedTuple, Optional, Sequence, Tuple, TypeVar, Union, overload

from . import _core
from ._check import Finding
from ._source import Opened
from ._tables import Table, counted, expect_strings, numpy_and_pandas

if TYPE_CHECKING:
    import pandas

    from ._source import Source


class Origin(NamedTuple):
    """Where a value stands: the number of the line, the first column, both 1-based, and the width in characters."""

    line: int
    column: int
    width: int


@dataclass(frozen=True)
class Area:
    """A labelled part of a free text of each meter subscriber line, as the round line defines it."""

    of: str
    """The text: "subscriber" or "meter"."""
    number: int
    label: str
    position: int
    """Of its first character in the text, 0-based."""
    length: int
    type: Optional[str]


@dataclass(frozen=True)
class AreaText:
    """The text of an area in one meter's line; label None: text outside of all areas."""

    label: Optional[str]
    text: str
    origin: Origin


@dataclass(frozen=True)
class Reading:
    """A reading of a meter. Index and consumption have no unit in the format."""

    at: datetime.datetime
    """Local, without a time zone; of the previous reading, the midnight of its day."""
    index: Optional[int]
    consumption: Optional[int]
    status: Optional[str]
    method: Optional[str]
    agent: Optional[str]
    origin: Origin


@dataclass(frozen=True)
class HistoryItem:
    """An earlier reading, one of four slots of the meter subscriber line."""

    slot: int
    type: Optional[str]
    day: Optional[datetime.date]
    consumption: Optional[int]
    origin: Origin


@dataclass(frozen=True)
class ModuleReading:
    """What a radio module has recorded; slot 0: the reading of the line, otherwise an earlier one."""

    slot: int
    at: Optional[datetime.datetime]
    index: Optional[float]
    alarms: Optional[str]
    origin: Origin


@dataclass(frozen=True)
class Alarm:
    """An alarm that is set."""

    name: str
    is_previous: bool
    field: str
    origin: Origin


@dataclass(frozen=True)
class MeterChange:
    """A meter that replaced another one."""

    old_serial: Optional[str]
    new_serial: Optional[str]
    new_index: Optional[int]
    new_wheels: Optional[int]
    day: Optional[datetime.date]
    origin: Origin


@dataclass(frozen=True)
class Answer:
    """An answer of an enquiry with its question; question None: the round does not define it."""

    page: str
    area: int
    question: Optional[str]
    type: Optional[str]
    list: Optional[str]
    mode: Optional[str]
    code: Optional[str]
    result: Optional[str]
    day: Optional[datetime.date]
    origin: Origin


@dataclass(frozen=True)
class Place:
    """Where a meter is, in degrees."""

    latitude: float
    longitude: float
    altitude: Optional[float]
    accuracy: Optional[float]
    day: Optional[datetime.date]
    origin: Origin


@dataclass(frozen=True)
class Orphan:
    """A line that belongs to no meter, although its kind does, and why, as a sentence."""

    line: _core.Line
    serial: Optional[str]
    reason: str


_T = TypeVar("_T")


def _made(kind: Callable[..., _T], values: Tuple[Any, ...]) -> _T:
    """The object of values of which the last one is its origin."""
    return kind(*values[:-1], Origin(*values[-1]))


class Meter:
    """A meter of a round: its meter subscriber line and the lines that belong to it.

    serial: its serial number; empty: none. state: "read" or "unread". reading, previous: Reading; None: none.
    difference: of the two indexes, counting a roll-over by the wheels; None: unknown.
    """

    def __init__(self, core: _core.Meter) -> None:
        self._core = core
        serial, state, reading, previous, difference = core.facts()
        self.serial: str = serial
        self.state: str = state
        self.reading = None if reading is None else _made(Reading, reading)
        self.previous = None if previous is None else _made(Reading, previous)
        self.difference: Optional[int] = difference

    def __repr__(self) -> str:
        return f"<tramostream.Meter {self.serial!r}: {self.state}>"

    @property
    def subscriber(self) -> _core.Line:
        """A copy of its meter subscriber line."""
        return self.lines[0]

    @property
    def lines(self) -> List[_core.Line]:
        """Copies of its lines: the meter subscriber line, then the others in their order."""
        return self._core.lines()

    @property
    def areas(self) -> List[AreaText]:
        """The areas that are not blank, in the order of the round line, then what is outside of all areas."""
        return [_made(AreaText, values) for values in self._core.areas()]

    def area(self, label: str) -> Optional[str]:
        """The text of the first area with this label that is not blank; None: there is none."""
        return next((area.text for area in self.areas if area.label == label), None)

    @property
    def alarms(self) -> List[Alarm]:
        """The alarms that are set, in the order of the lines and fields."""
        return [_made(Alarm, values) for values in self._core.alarms()]

    @property
    def history(self) -> List[HistoryItem]:
        """The slots that are not blank, by number."""
        return [_made(HistoryItem, values) for values in self._core.history()]

    @property
    def module_readings(self) -> List[ModuleReading]:
        """Of all radio modules, in the order of the lines and slots."""
        return [_made(ModuleReading, values) for values in self._core.module_readings()]

    @property
    def changes(self) -> List[MeterChange]:
        """The changes of the meter."""
        return [_made(MeterChange, values) for values in self._core.changes()]

    @property
    def answers(self) -> List[Answer]:
        """The areas of enquiries that have an answer."""
        return [_made(Answer, values) for values in self._core.answers()]

    @property
    def findings(self) -> List[Finding]:
        """What is not plausible about the meter, such as a reading below the previous one; without what only other meters show."""
        return [Finding(*values) for values in self._core.findings()]

    @property
    def place(self) -> Optional[Place]:
        """Where it is: of the last line that says so."""
        values = self._core.place()
        return None if values is None else _made(Place, values)


class Round:
    """A round: its round line, and everything up to the next one.

    code, name: of the round line; empty: none. header: the round line; None: lines come before any round line.
    information: the last record information line; None: none. areas: those that are defined. pages: enquiry definition lines.
    meters: in the order of the file.
    """

    def __init__(self, core: _core.Round) -> None:
        code, name, header, information, areas, pages = core.facts()
        self.code: str = code
        self.name: str = name
        self.header: Optional[_core.Line] = header
        self.information: Optional[_core.Line] = information
        self.areas = [Area(*area) for area in areas]
        self.pages: List[_core.Line] = pages
        self.meters = [Meter(meter) for meter in core.meters()]

    def __repr__(self) -> str:
        return f"<tramostream.Round {self.code!r}: {counted(len(self.meters), 'meter')}>"

    def meter(self, serial: str) -> Optional[Meter]:
        """The first meter with this serial number; None: none."""
        return next((meter for meter in self.meters if meter.serial == serial), None)

    @property
    def read(self) -> int:
        """The number of meters that have been read."""
        return sum(meter.state == "read" for meter in self.meters)

    @property
    def unread(self) -> int:
        """The number of the others."""
        return len(self.meters) - self.read


class RoundFile(Sequence[Round]):
    """The rounds of a file: a sequence; see rounds()."""

    def __init__(self, opened: Opened) -> None:
        self._core = _core.read_rounds(opened.reader)
        self._rounds = [Round(core) for core in self._core.rounds()]
        self.path = opened.path
        self.encoding = self._core.encoding()

    @overload
    def __getitem__(self, index: int) -> Round: ...
    @overload
    def __getitem__(self, index: slice) -> List[Round]: ...
    def __getitem__(self, index: Union[int, slice]) -> Union[Round, List[Round]]:
        return self._rounds[index]

    def __len__(self) -> int:
        return len(self._rounds)

    def __iter__(self) -> Iterator[Round]:
        return iter(self._rounds)

    def __repr__(self) -> str:
        return f"<tramostream.RoundFile: {counted(len(self), 'round')}, {counted(sum(len(each.meters) for each in self), 'meter')}>"

    @property
    def lines(self) -> List[_core.Line]:
        """Copies of all lines of the file, in their order."""
        return self._core.lines()

    def to_table(self) -> Table:
        """What meters() makes a frame of, without pandas: a row for each meter."""
        return Table(self._core.meters(), "meters", self.path, self.encoding)

    @property
    def orphans(self) -> List[Orphan]:
        """The lines that belong to no meter, although their kinds do, in the order of the file."""
        return [Orphan(*values) for values in self._core.orphans()]

    @property
    def findings(self) -> List[Finding]:
        """What the rules about rounds find: lines that do not fit together, and readings that are not plausible. In the order of
        the file."""
        return [Finding(*values) for values in self._core.findings()]


def rounds(source: Source, encoding: Optional[str] = None) -> RoundFile:
    """Read a file as rounds of meters. The whole file is in memory.

    A line belongs to the nearest meter subscriber line above it in the same round that has its serial number, otherwise to the
    first one below it, otherwise to nobody. Raises as read().
    """
    return RoundFile(Opened(source, encoding))


def meters(source: Source, encoding: Optional[str] = None, *, strings: str = "object") -> pandas.DataFrame:
    """Read a file into a DataFrame with a row for each meter, in the order of the file.

    Columns: line, round (its code), the fields of the reading, state ("read" or "unread"), difference (of the two indexes,
    counting a roll-over by the wheels), alarms (how many are set), latitude and longitude (degrees), outsideOfAreas (text outside
    of all areas), then a column for each labelled area with its label as the name. Types, arguments and errors as in read().
    """
    numpy_and_pandas()
    expect_strings(strings)
    opened = Opened(source, encoding)
    core = _core.read_rounds(opened.reader)
    return Table(core.meters(), "meters", opened.path, core.encoding()).to_frame(strings)
