"""Parts of a file, which can be read independently: by several threads, processes or machines."""
from __future__ import annotations

import os
from typing import TYPE_CHECKING, List, NamedTuple, Optional, Sequence

from . import _core
from ._source import path_bytes
from ._tables import read

if TYPE_CHECKING:
    import pandas

    from ._source import Path


class Part(NamedTuple):
    """A part of a file: whole lines. Can be pickled."""

    path: str
    encoding: str
    offset: int
    """Of its first byte."""
    size: int
    """In bytes."""
    first_line: int
    """The number of its first line in the file."""

    def content(self) -> bytes:
        """The bytes of the part."""
        with open(self.path, "rb") as file:
            file.seek(self.offset)
            return file.read(self.size)

    def read(self, kind: str, columns: Optional[Sequence[str]] = None, strings: str = "object") -> pandas.DataFrame:
        """The records of a kind in this part, with the numbers that their lines have in the file; see read()."""
        frame = read(self.content(), self.encoding, types=[kind], columns=columns, strings=strings)[kind]
        frame["line"] += self.first_line - 1
        frame.attrs["path"] = self.path
        return frame


def parts(path: Path, bytes_per_part: int = 64 << 20, encoding: Optional[str] = None) -> List[Part]:
    """Cut a file into parts of about this size, at the ends of lines. Reads the file once, to count its lines.

    Raises OSError if the file cannot be read.
    """
    if isinstance(path, bytes):
        raise TypeError("expected a path, not bytes; os.fsdecode() makes a str of a path")
    name = os.fsdecode(path)
    found, places = _core.split_file(path_bytes(path), bytes_per_part, encoding)
    return [Part(name, found, *place) for place in places]
