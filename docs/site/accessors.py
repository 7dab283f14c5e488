#!/usr/bin/env python3
"""Doxygen's filter for headers: puts the description of the field from docs/format.md before each accessor of a record.

Columns, widths and codes are only in the records' tables, from which format.md is generated. An accessor that belongs to no
field has a comment after its line. Without that comment, it gets a reference without a target, which Doxygen reports. Lines
keep their numbers.
"""
import os
import re
import sys

FORMAT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "format.md")


def key(name):
    return name.replace("_", "").replace("Externam", "External").lower()


def sentences():
    """Returns the description of each field, by class and name."""
    found, model = {}, None
    with open(FORMAT, encoding="utf-8") as page:
        for line in page:
            if named := re.match(r"`(\w+Model)`", line):
                model = named[1]
            cells = re.findall(r"[^|]+", line.strip("|\n "))
            if len(cells) >= 4 and (field := re.fullmatch(r" `(\w+)` ", cells[1])):
                found[model, key(field[1])] = sentence(*(cell.strip() for cell in cells))
    return found


def sentence(columns, field, kind, default, written="", read="-", write="-", missing="-"):
    if not written:  # a member of a key line, which is a secret or not
        return f"Member {field}: {kind}{', a secret' if default == 'yes' else ''}."
    said = [kind, f"absent: {default}"]
    if columns != "-":
        said.append(f"written {written}")
    for error, when in ((read, "it cannot be read"), (write, "it cannot be written")):
        said += [f"{error} when {when}"] if error != "-" else []
    said += [missing] if missing != "-" else []
    return (f"Column{'s' if '-' in columns else ''} {columns}: " if columns != "-" else "") + "; ".join(said) + "."


def documented(line, model, said):
    line, _, comment = line.partition("  ///< ")

    def with_comment(accessor):
        text = comment or said.get((model, key(accessor[2])), "@ref there_is_no_such_field")
        return f"/** {text} */ {accessor[0]}"
    return re.sub(r"(?<![\w:])[\w:]+(?: long| int)* (get|is|set)([A-Z]\w+)\(", with_comment, line)


def main(path):
    with open(path, encoding="utf-8") as header:
        text = header.read()
    model = re.search(r"^class TRAMO_EXPORT (\w+Model) \{", text, re.M)
    said = sentences() if model else {}
    accessors = False
    for line in text.splitlines():
        accessors = model and ("clang-format off" in line or accessors and "clang-format on" not in line)
        print(documented(line, model[1], said) if accessors else line)


main(sys.argv[1])
