"""Tables: rows as columns, without other packages, as an Arrow stream, or as a pandas DataFrame."""
from __future__ import annotations

import copy
import difflib
import os
import threading
from typing import TYPE_CHECKING, Any, Dict, Iterator, List, Mapping, Optional, Sequence, Tuple, cast

from . import _core
from ._errors import MissingPackageError, UnknownNameError
from ._source import Opened, path_bytes

if TYPE_CHECKING:
    import pandas

    from ._source import Path, Source

_INTEGERS = {"i": "Int32", "l": "Int64", "s": "Int16"}
_TEXTS = ("u", "S")
_MALFORMED = "malformed lines"  # the name of their table


def counted(number: int, thing: str) -> str:
    """ "1 row", "2 rows"."""
    return f"{number} {thing}{'' if number == 1 else 's'}"


def numpy_and_pandas() -> Tuple[Any, Any]:
    """The packages that frames are made with, imported when the first frame is."""
    try:
        import numpy
        import pandas
    except ImportError as missing:
        raise MissingPackageError(f"frames need pandas and numpy: {missing}", name=missing.name) from missing
    return numpy, pandas


def names_of(names: Sequence[str], argument: str) -> List[str]:
    """The names as a list; a single text is not one."""
    if isinstance(names, str):
        raise TypeError(f'{argument} is a list of names: ["{names}"]')
    return list(names)


def fields_of(columns: Optional[Sequence[str]]) -> Optional[List[str]]:
    """The names of fields; None: all. Every table has the column "line"."""
    if columns is None:
        return None
    names = [name for name in names_of(columns, "columns") if name != "line"]
    if not names:
        raise UnknownNameError("columns names no field")
    return names


def expect_strings(strings: str) -> None:
    """Raises UnknownNameError unless texts can be held so."""
    if strings not in ("object", "category"):
        raise UnknownNameError(f'unknown kind of strings "{strings}"; expected "object" or "category"')


class Table:
    """The records of a kind, or other rows, as columns. Immutable.

    ``len(table)`` is the number of rows. ``table[name]`` is a column as a list, with None where a value is absent;
    ``table.buffer(name)`` is one of numbers without a copy for each value. Packages that know the Arrow PyCapsule interface
    (polars, pyarrow, DuckDB, pandas 3) take the whole table without a copy: ``polars.DataFrame(table)``.
    """

    def __init__(self, core: _core.Table, name: str, path: Optional[str], encoding: str) -> None:
        self._core = core
        self._formats = dict(core.columns())
        self.name = name
        self.path = path
        self.encoding = encoding

    @property
    def columns(self) -> List[str]:
        """The names of the columns, "line" first."""
        return list(self._formats)

    def __len__(self) -> int:
        return len(self._core)

    def __repr__(self) -> str:
        return f"<tramostream.Table {self.name!r}: {counted(len(self), 'row')}, {counted(len(self._formats), 'column')}>"

    def __iter__(self) -> Iterator[str]:
        """The names of the columns, as of a DataFrame."""
        return iter(self._formats)

    def _index(self, name: str) -> int:
        if not isinstance(name, str):
            raise TypeError(f"a column is named by a str, not {type(name).__name__}")
        try:
            return self.columns.index(name)
        except ValueError:
            closest = difflib.get_close_matches(str(name), self.columns, 1)
            raise UnknownNameError(f'the table has no column "{name}"' + (f'; did you mean "{closest[0]}"?' if closest else "")) from None

    def __getitem__(self, name: str) -> List[Any]:
        return self._core.to_list(self._index(name))

    def buffer(self, name: str) -> memoryview:
        """The values of a column of numbers, flags or times as a memoryview: those of absent rows are 0. Days and seconds since
        1970-01-01 are local."""
        return memoryview(cast(bytes, self._core.values(self._index(name))))

    def absent(self, name: str) -> Optional[memoryview]:
        """Which rows have no value in this column, a bool for each; None: all have one."""
        mask = self._core.absent(self._index(name))
        return None if mask is None else memoryview(cast(bytes, mask))

    def to_dict(self) -> Dict[str, List[Any]]:
        """All columns as lists."""
        return {name: self[name] for name in self._formats}

    def to_frame(self, strings: str = "object") -> pandas.DataFrame:
        """The table as a pandas DataFrame; see read()."""
        expect_strings(strings)
        return _frame_of(self, strings, drop=False)

    def __arrow_c_schema__(self) -> object:
        """The Arrow PyCapsule interface: a capsule named "arrow_schema"."""
        return self._core.arrow_schema()

    def __arrow_c_stream__(self, requested_schema: Optional[object] = None) -> object:
        """The Arrow PyCapsule interface: a capsule named "arrow_array_stream". The requested schema is not used."""
        return self._core.arrow_stream()


class Scan:
    """The records of one kind in a file, as an Arrow stream that reads the file while it is consumed: memory does not grow with
    the file. Each ``__arrow_c_stream__`` reads the file from its beginning. Malformed lines are skipped: ``malformed`` has them."""

    def __init__(self, path: Path, kind: str, columns: Optional[Sequence[str]] = None, rows_per_batch: int = 65536,
                 encoding: Optional[str] = None) -> None:
        if isinstance(path, bytes):
            raise TypeError("expected a path, not bytes; os.fsdecode() makes a str of a path")
        if rows_per_batch < 1:
            raise ValueError("a batch has at least one row")
        self._path = path_bytes(path)
        self._columns = fields_of(columns)
        self._rows = rows_per_batch
        self._encoding = encoding
        self.path = os.fsdecode(self._path)
        self.kind = _core.kind_name(kind)
        self._kind: Optional[str] = self.kind  # None: lines without fields
        _core.scan_schema(self._kind, self._columns)  # the names exist
        _core.open_reader(None, b"", encoding, False)  # so does the encoding

    def __repr__(self) -> str:
        return f"<tramostream.Scan {self.kind!r} of {self.path!r}>"

    @property
    def malformed(self) -> Scan:
        """The lines without fields, as ``tables(path).malformed`` has them, in a stream that reads the file once more."""
        scan = copy.copy(self)
        scan.kind, scan._kind, scan._columns = _MALFORMED, None, None
        return scan

    def __arrow_c_schema__(self) -> object:
        """As in Table."""
        return _core.scan_schema(self._kind, self._columns)

    def __arrow_c_stream__(self, requested_schema: Optional[object] = None) -> object:
        """As in Table. Raises OSError if the file cannot be opened; a later failure is an error of the stream."""
        return _core.scan_stream(self._path, self._kind, self._columns, self._rows, self._encoding)


def scan(path: Path, kind: str, columns: Optional[Sequence[str]] = None, rows_per_batch: int = 65536,
         encoding: Optional[str] = None) -> Scan:
    """Scan the records of one kind in a file of any size: ``duckdb.from_arrow(tramostream.scan("round.txt", "AMR"))``.

    columns, encoding: as in read(). rows_per_batch: at most so many rows are in memory at once.

    Raises UnknownNameError for an unknown kind, field or encoding; OSError, when the stream is made, if the file cannot be opened.
    """
    return Scan(path, kind, columns, rows_per_batch, encoding)


def _key_of(kind: str) -> str:
    """Returns the full name of a record kind. Raises KeyError if there is none of that name."""
    try:
        return _core.kind_name(kind)
    except UnknownNameError as unknown:
        raise KeyError(str(unknown)) from None


def _read_table(tables: Mapping[str, Table], kind: str) -> Table:
    if kind not in tables:
        raise KeyError(f'"{kind}" was not read: it is not in types, or has none of the columns')
    return tables[kind]


class Tables(Mapping[str, Table]):
    """The records of a file by kind, each kind as a Table; see tables()."""

    def __init__(self, opened: Opened, types: Optional[Sequence[str]], columns: Optional[Sequence[str]]) -> None:
        kinds = None if types is None else names_of(types, "types")
        names = fields_of(columns)
        made, malformed = _core.read_tables(opened.reader, kinds, names)
        self.path = opened.path
        self.encoding = opened.reader.encoding
        self._all = {kind: Table(core, kind, self.path, self.encoding) for kind, core in made.items()}
        self._wanted = None if kinds is None else {_core.kind_name(kind) for kind in kinds}
        self.malformed = Table(malformed, _MALFORMED, self.path, self.encoding)

    def __getitem__(self, kind: str) -> Table:
        return _read_table(self._all, _key_of(kind))

    def __iter__(self) -> Iterator[str]:
        return (kind for kind, table in self._all.items() if len(table) > 0 or (self._wanted and kind in self._wanted))

    def __len__(self) -> int:
        return sum(1 for _ in self)

    def __repr__(self) -> str:
        kinds = [f"{kind!r}: {counted(len(self._all[kind]), 'row')}" for kind in self]
        if len(self.malformed) > 0:
            kinds.append(f"malformed: {counted(len(self.malformed), 'line')}")
        return f"<{type(self).__name__}: {', '.join(kinds) or 'no lines'}>"


def tables(source: Source, encoding: Optional[str] = None, *, types: Optional[Sequence[str]] = None,
           columns: Optional[Sequence[str]] = None) -> Tables:
    """Read a file into a Table for each record kind, without other packages. Arguments and errors are those of read()."""
    return Tables(Opened(source, encoding), types, columns)


class Frames(Mapping[str, "pandas.DataFrame"]):
    """The records of a file by kind, each kind as a DataFrame; see read(). A frame is made when it is first asked for. Can be
    pickled: a process can read a file for another one."""

    def __init__(self, of: Tables, strings: str) -> None:
        self._tables = of._all
        self._kinds = list(of)
        self._shown = repr(of).replace("Tables", "Frames", 1)
        self._strings = strings
        self._made: Dict[str, pandas.DataFrame] = {}
        self._malformed: Optional[Table] = of.malformed
        self._malformed_frame: Optional[pandas.DataFrame] = None
        self._lock = threading.Lock()
        self.path = of.path
        self.encoding = of.encoding

    def __getitem__(self, kind: str) -> pandas.DataFrame:
        name = _key_of(kind)
        with self._lock:
            if name not in self._made:
                self._made[name] = _frame_of(_read_table(self._tables, name), self._strings, drop=True)
            return self._made[name]

    def __getstate__(self) -> Dict[str, Any]:
        for kind in self._tables:
            self[kind]  # makes the frame
        return {**vars(self), "_malformed_frame": self.malformed, "_tables": {}, "_malformed": None, "_lock": None}

    def __setstate__(self, state: Dict[str, Any]) -> None:
        vars(self).update(state, _lock=threading.Lock())

    def __iter__(self) -> Iterator[str]:
        return iter(self._kinds)

    def __len__(self) -> int:
        return len(self._kinds)

    def __repr__(self) -> str:
        return self._shown

    @property
    def malformed(self) -> pandas.DataFrame:
        """The lines without fields: "line", "fault" (why; NA: a key line), "text" (the whole line; NA: it may hold keys)."""
        with self._lock:
            if self._malformed_frame is None:
                assert self._malformed is not None
                self._malformed_frame = self._malformed.to_frame(self._strings)
            return self._malformed_frame


def read(source: Source, encoding: Optional[str] = None, *, types: Optional[Sequence[str]] = None,
         columns: Optional[Sequence[str]] = None, strings: str = "object") -> Frames:
    """Read a file into a pandas DataFrame for each record kind: ``read("round.txt")["meter subscriber"]``.

    source: a path, the bytes of a file, or a file that is open for reading bytes.
    encoding: "ansi" or "utf16le"; None: the byte order mark decides.
    types: only these record kinds, by name or letter in any spelling; None: all.
    columns: only these fields, in this order, of each kind that has some of them; None: all.
    strings: how texts are held: "object" (Python's strings), "category".

    Each frame has the column "line", the number of the line in the file, and a column for each field with the type of the field:
    Int32, Int64 and Float64 for numbers, boolean for flags, datetime64 without a time zone for local dates and times, Int16 for
    years, and texts for texts, codes ("4") and alarm flags ("0082"). A value that is absent or cannot be parsed is NA.
    ``frame.attrs`` has "path", "encoding" and "kind". Malformed lines are in ``Frames.malformed``.

    Raises OSError if the file cannot be read, UnknownNameError for an unknown kind, field or encoding, MissingPackageError
    without pandas.
    """
    numpy_and_pandas()
    expect_strings(strings)
    return Frames(tables(source, encoding, types=types, columns=columns), strings)


def _frame_of(table: Table, strings: str, drop: bool) -> pandas.DataFrame:
    numpy, pandas = numpy_and_pandas()
    unit, per_second = ("s", 1) if int(pandas.__version__.split(".")[0]) >= 2 else ("ns", 1_000_000_000)
    core = table._core
    data: Dict[str, Any] = {}
    for index, (name, form) in enumerate(core.columns()):
        if form in _TEXTS:
            data[name] = _texts_of(core, index, strings, numpy, pandas)
        elif form == "tdD":
            data[name] = numpy.asarray(core.times(index, 86400 * per_second)).view(f"datetime64[{unit}]")
        elif form == "tss:":
            data[name] = numpy.asarray(core.times(index, per_second)).view(f"datetime64[{unit}]")
        elif name == "line":
            data[name] = numpy.asarray(core.values(index))
        else:
            values, mask = numpy.asarray(core.values(index)), core.absent(index)
            absent = numpy.zeros(len(values), bool) if mask is None else numpy.asarray(mask)
            array = {"g": pandas.arrays.FloatingArray, "b": pandas.arrays.BooleanArray}.get(form, pandas.arrays.IntegerArray)
            data[name] = array(values, absent)
        if drop:
            core.drop(index)
    frame = pandas.DataFrame(data, copy=False)
    frame.attrs.update(path=table.path, encoding=table.encoding, kind=table.name)
    return frame


def _texts_of(core: _core.Table, index: int, strings: str, numpy: Any, pandas: Any) -> Any:
    if strings == "category":
        codes, texts = core.categories(index)
        return pandas.Categorical.from_codes(numpy.asarray(codes), texts)
    objects = numpy.empty(len(core), dtype=object)
    core.fill_texts(index, objects, pandas.NA)
    strings_of = getattr(pandas.arrays.StringArray, "_simple_new", None)
    if strings_of is None:
        return pandas.arrays.StringArray(objects)
    return strings_of(objects, pandas.StringDtype("python"))  # does not look at each object again: a seventh of the time
