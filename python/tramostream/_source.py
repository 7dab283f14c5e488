"""What a file can be: a path, bytes in memory, or an open file."""
from __future__ import annotations

import os
from typing import IO, TYPE_CHECKING, Any, Optional, Union

from . import _core

if TYPE_CHECKING:
    from os import PathLike

    Path = Union[str, PathLike[str], PathLike[bytes]]
    Source = Union[Path, bytes, bytearray, memoryview, IO[bytes]]


class Opened:
    """A reader and the path of its file, None: not a file with a path."""

    def __init__(self, source: Source, encoding: Optional[str], diagnose: bool = False) -> None:
        self.path: Optional[str] = None
        if isinstance(source, (str, os.PathLike)):
            self.path = os.fsdecode(source)
            self.reader = _core.open_reader(path_bytes(source), None, encoding, diagnose)
        elif isinstance(source, (bytes, bytearray, memoryview)):
            self.reader = _core.open_reader(None, source, encoding, diagnose)
        else:
            self.reader = _core.open_reader(None, read_all(source), encoding, diagnose)
            name = getattr(source, "name", None)
            self.path = os.fsdecode(name) if isinstance(name, (str, bytes)) else None


def path_bytes(path: Path) -> bytes:
    """The path in the encoding of the file system."""
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError("embedded null byte in a path")
    return encoded


def read_all(file: Any) -> bytes:
    """The rest of an open file."""
    read = getattr(file, "read", None)
    if read is None:
        raise TypeError(f"expected a path, bytes or an open file, not {type(file).__name__}")
    content = read()
    if isinstance(content, str):
        raise TypeError('the file is open for text; open it with mode "rb"')
    if not isinstance(content, (bytes, bytearray, memoryview)):
        raise TypeError(f"read() returned {type(content).__name__}, not bytes")
    return bytes(content)
