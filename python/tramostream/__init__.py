"""Exchange files of meter reading: data frames, Arrow streams, records, rounds, findings and written files.

    import tramostream

    frames = tramostream.read("round.txt")                  # a DataFrame for each record kind
    meters = tramostream.meters("round.txt")                # a row for each meter
    for line in tramostream.lines("round.txt"):             # a line after the other
        print(line.number, line.kind)
    for finding in tramostream.check("round.txt"):          # what is wrong with it
        print(finding)

A source is a path (str or PathLike), the bytes of a file (bytes, bytearray, memoryview), or a file that is open for reading
bytes. Absent values are None, or NA in frames. Nothing is ever printed. While a file is read, other threads run.
"""
from __future__ import annotations

from ._check import Finding, Findings, check
from ._core import Line, version
from ._errors import EncodingError, Error, FieldError, MissingPackageError, UnknownNameError
from ._format import Field, Format, Kind, Rule, describe
from ._lines import lines, new_line
from ._parts import Part, parts
from ._rounds import (Alarm, Answer, Area, AreaText, HistoryItem, Meter, MeterChange, ModuleReading, Origin, Orphan, Place, Reading,
                      Round, RoundFile, meters, rounds)
from ._tables import Frames, Scan, Table, Tables, read, scan, tables
from ._writer import Writer

__version__ = version()

__all__ = [
    "Alarm", "Answer", "Area", "AreaText", "EncodingError", "Error", "Field", "FieldError", "Finding", "Findings", "Format", "Frames",
    "HistoryItem", "Kind", "Line", "Meter", "MeterChange", "MissingPackageError", "ModuleReading", "Origin", "Orphan", "Part", "Place",
    "Reading", "Round", "RoundFile", "Rule", "Scan", "Table", "Tables", "UnknownNameError", "Writer", "check", "describe", "lines",
    "meters", "new_line", "parts", "read", "rounds", "scan", "tables",
]
