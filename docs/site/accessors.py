#!/usr/bin/env python3
"""Doxygen's filter for headers. Lines keep their numbers.

Puts the description of the field from docs/format.md before each accessor of a record. Columns, widths and codes are only in the
records' tables, from which format.md is generated. An accessor that belongs to no field has a comment after its line. Without
that comment, it gets a reference without a target, which Doxygen reports.

Leaves out what has no contract of its own: copy and move operations without a comment, the types that make a class an iterator
for the standard library, and protected members, which are for friends: no class of a caller derives from a class that has some.

A comment after several members of one line describes all of them. In the header for C, ordinary comments are the documentation.
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


# A constructor or assignment from an object of the same class.
COPY_OR_MOVE = re.compile(
    r"\s+(?:(\w+)\((?:const )?\1&&?(?: \w+)?\)|(\w+)& operator=\((?:const )?\2&&?(?: \w+)?\))(?: noexcept)?;"
)
ITERATOR_TYPE = re.compile(r"\s+using (?:value_type|difference_type|reference|pointer|iterator_(?:category|concept)) = [^;]+;")


MEMBERS = re.compile(r"( +)((?:const )?[\w:]+(?:<[^;]*>)?[ ])([^;,<>()]+(?:, [^;,<>()]+)+); +(?:///<|/\*\*<) (.*?)(?: \*/)?")


def several(line):
    """Gives each member of a line its comment: doxygen gives it to the last one."""
    if found := MEMBERS.fullmatch(line):
        indent, kind, names, comment = found.groups()
        return indent + " ".join(f"{kind}{name}; /**< {comment} */" for name in names.split(", "))
    return line


def public(lines):
    """Replaces what the reference leaves out by empty lines."""
    previous = ""
    for line in lines:
        commented = previous.lstrip().startswith("///") and not previous.rstrip().endswith("@{")
        previous = line
        if line == "protected:":
            line = "private:"
        if ITERATOR_TYPE.fullmatch(line) or not commented and COPY_OR_MOVE.fullmatch(line):
            line = ""
        yield several(line)


def in_c(text):
    """Turns the comments of the header for C into documentation: a comment before several functions describes all of them."""
    text = re.sub(r"^/\* (?!---)", "/** ", text, flags=re.M)
    text = re.sub(r"^(.*[;,\d]) +/\* (.*) \*/$", r"\1 /**< \2 */", text, flags=re.M)
    text = text.replace("\n */\n", "\n * @file tramostream/c.h */\n", 1)
    several_functions = r"^(/\*\* (?:(?!\*/)[\s\S])*)\*/\n((?:TRAMO_EXPORT.*\n(?: +.*\n)*){2,})$"
    return re.sub(several_functions, r"\1@{ */\n\2/** @} */", text, flags=re.M)


def main(path):
    with open(path, encoding="utf-8") as header:
        text = header.read()
    model = re.search(r"^class TRAMO_EXPORT (\w+Model) \{", text, re.M)
    said = sentences() if model else {}
    accessors = False
    if os.path.basename(path) == "c.h":
        text = in_c(text)
    for line in public(text.splitlines()):
        accessors = model and ("clang-format off" in line or accessors and "clang-format on" not in line)
        print(documented(line, model[1], said) if accessors else line)


main(sys.argv[1])
