"""Tables: rows as columns, without other packages, as an Arrow stream, or as a pandas DataFrame."""
from __future__ import annotations

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
        return f"<tramostream.Table {self.name!r}: {len(self)} rows, {len(self._formats)} columns>"

    def _index(self, name: str) -> int:
        try:
            return self.columns.index(name)
        except ValueError:
            raise UnknownNameError(f'the table has no column "{name}"') from None

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
        return _frame_of(self, strings, drop=False)

    def __arrow_c_schema__(self) -> object:
        """The Arrow PyCapsule interface: a capsule named "arrow_schema"."""
        return self._core.arrow_schema()

    def __arrow_c_stream__(self, requested_schema: Optional[object] = None) -> object:
        """The Arrow PyCapsule interface: a capsule named "arrow_array_stream". The requested schema is not used."""
        return self._core.arrow_stream()


class Scan:
    """The records of one kind in a file, as an Arrow stream that reads the file while it is consumed: memory does not grow with
    the file. Each ``__arrow_c_stream__`` reads the file from its beginning. Malformed lines are skipped."""

    def __init__(self, path: Path, kind: str, columns: Optional[Sequence[str]] = None, rows_per_batch: int = 65536) -> None:
        self._path = path_bytes(path)
        self._columns = None if columns is None else names_of(columns, "columns")
        self._rows = rows_per_batch
        self.kind = _core.kind_name(kind)

    def __arrow_c_schema__(self) -> object:
        """As in Table."""
        return _core.scan_schema(self.kind, self._columns)

    def __arrow_c_stream__(self, requested_schema: Optional[object] = None) -> object:
        """As in Table. Raises OSError if the file cannot be opened; a later failure is an error of the stream."""
        return _core.scan_stream(self._path, self.kind, self._columns, self._rows)


def scan(path: Path, kind: str, columns: Optional[Sequence[str]] = None, rows_per_batch: int = 65536) -> Scan:
    """Scan the records of one kind in a file of any size: ``duckdb.from_arrow(tramostream.scan("round.txt", "AMR"))``."""
    return Scan(path, kind, columns, rows_per_batch)


class Tables(Mapping[str, Table]):
    """The records of a file by kind, each kind as a Table; see tables()."""

    def __init__(self, opened: Opened, types: Optional[Sequence[str]], columns: Optional[Sequence[str]]) -> None:
        kinds = None if types is None else names_of(types, "types")
        names = None if columns is None else [name for name in names_of(columns, "columns") if name != "line"]
        if names == []:
            raise UnknownNameError("columns names no field")
        made, malformed = _core.read_tables(opened.reader, kinds, names)
        self.path = opened.path
        self.encoding = opened.reader.encoding
        self._all = {kind: Table(core, kind, self.path, self.encoding) for kind, core in made.items()}
        self._wanted = None if kinds is None else {_core.kind_name(kind) for kind in kinds}
        self.malformed = Table(malformed, "malformed lines", self.path, self.encoding)

    def __getitem__(self, kind: str) -> Table:
        try:
            return self._all[_core.kind_name(kind)]
        except UnknownNameError as unknown:
            raise KeyError(str(unknown)) from None

    def __iter__(self) -> Iterator[str]:
        return (kind for kind, table in self._all.items() if len(table) > 0 or (self._wanted and kind in self._wanted))

    def __len__(self) -> int:
        return sum(1 for _ in self)

    def __repr__(self) -> str:
        return f"<{type(self).__name__}: {', '.join(f'{kind!r}: {len(self._all[kind])} rows' for kind in self)}>"


def tables(source: Source, encoding: Optional[str] = None, *, types: Optional[Sequence[str]] = None,
           columns: Optional[Sequence[str]] = None) -> Tables:
    """Read a file into a Table for each record kind, without other packages. Arguments and errors are those of read()."""
    return Tables(Opened(source, encoding), types, columns)


class Frames(Mapping[str, "pandas.DataFrame"]):
    """The records of a file by kind, each kind as a DataFrame; see read(). A frame is made when it is first asked for."""

    def __init__(self, of: Tables, strings: str) -> None:
        self._tables: Optional[Tables] = of
        self._kinds = list(of)
        self._strings = strings
        self._made: Dict[str, pandas.DataFrame] = {}
        self._malformed = of.malformed
        self._lock = threading.Lock()
        self.path = of.path
        self.encoding = of.encoding

    def __getitem__(self, kind: str) -> pandas.DataFrame:
        assert self._tables is not None
        table = self._tables[kind]
        with self._lock:
            if table.name not in self._made:
                self._made[table.name] = _frame_of(table, self._strings, drop=True)
            return self._made[table.name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._kinds)

    def __len__(self) -> int:
        return len(self._kinds)

    def __repr__(self) -> str:
        return repr(self._tables).replace("Tables", "Frames", 1)

    @property
    def malformed(self) -> pandas.DataFrame:
        """The lines without fields: "line", "fault" (why; NA: a key line), "text" (the whole line; NA: it may hold keys)."""
        return self._malformed.to_frame(self._strings)


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
    if strings not in ("object", "category"):
        raise UnknownNameError(f'unknown kind of strings "{strings}"; expected "object" or "category"')
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
