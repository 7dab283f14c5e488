"""Dask DataFrames: files of any size, in parts, on several threads, processes or machines.

    import tramostream.dask

    readings = tramostream.dask.read(["round-1.txt", "round-2.txt"], "meter subscriber", ["meterReadingIndex"])
    readings.meterReadingIndex.mean().compute()
"""
from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any, Iterable, Optional, Sequence, Union

from ._errors import MissingPackageError
from ._parts import Part, parts
from ._tables import read as read_frames

if TYPE_CHECKING:
    import pandas

    from ._source import Path


def read(paths: Union[Path, Iterable[Path]], kind: str, columns: Optional[Sequence[str]] = None, *, encoding: Optional[str] = None,
         bytes_per_part: int = 64 << 20, strings: str = "object") -> Any:
    """Read the records of a kind in one or many files into a Dask DataFrame: a partition for each part of a file. The column
    "line" counts in each file; the column "path" is the file, if there are several.

    Raises as tramostream.read(); MissingPackageError without dask.
    """
    try:
        from dask import dataframe
    except ImportError as missing:
        raise MissingPackageError(f"tramostream.dask needs dask: {missing}", name=missing.name) from missing
    files = [paths] if isinstance(paths, (str, os.PathLike)) else list(paths)
    pieces = [part for path in files for part in parts(path, bytes_per_part, encoding)]
    names_files = len(files) > 1
    empty = read_frames(b"", types=[kind], columns=columns, strings=strings)[kind]
    if names_files:
        empty.insert(0, "path", "")
        empty["path"] = empty["path"].astype("string")
    if not pieces:
        return dataframe.from_pandas(empty, npartitions=1)
    return dataframe.from_map(_read_part, pieces, kind=kind, columns=None if columns is None else list(columns),
                                   strings=strings, names_files=names_files, meta=empty)


def _read_part(part: Part, kind: str, columns: Optional[Sequence[str]], strings: str, names_files: bool) -> pandas.DataFrame:
    frame = part.read(kind, columns, strings)
    if names_files:
        frame.insert(0, "path", part.path)
        frame["path"] = frame["path"].astype("string")
    return frame
