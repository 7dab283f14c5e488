"""The exceptions of tramostream. A file that cannot be opened, read or written is an OSError, as everywhere in Python."""
from __future__ import annotations

from . import _core


class Error(ValueError):
    """The base of the exceptions below."""


class FieldError(Error):
    """A value does not fit into its field. Nothing has been changed.

    line: the number of the line; 0: of a line that is in no file.
    field: the name of the field.
    reason: a sentence that names the field, what was expected and what was found.
    """

    def __init__(self, line: int, field: str, reason: str) -> None:
        super().__init__(line, field, reason)
        self.line = line
        self.field = field
        self.reason = reason

    def __str__(self) -> str:
        return f"line {self.line}: {self.reason}" if self.line else self.reason


class UnknownNameError(Error):
    """The format has no such record kind, field or encoding. The message names the closest one."""


class EncodingError(Error):
    """The encoding of the file that is written has no such character."""


class MissingPackageError(ImportError):
    """A package that this function needs is not installed: pandas, numpy or dask."""


_core.set_errors(FieldError, UnknownNameError, EncodingError)
