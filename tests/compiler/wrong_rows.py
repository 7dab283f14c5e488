#!/usr/bin/env python3
"""Compiles records with mistakes in their rows, and checks that the compiler reports each mistake with one error in words.

usage: wrong_rows.py COMPILER [OPTION ...]
"""
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MOST_LINES = 20  # of one error

MODEL = """
#include "model/layout.h"
using namespace tramo;

enum class Other { Unset };
struct M {
    FieldText text;
    int number = 0;
    unsigned positive = 0;
    short small = 0;
    long long big = 0;
    float single = 0;
    double real = 0;
    bool flag = false;
    const wchar_t* pointer = nullptr;
    std::array<bool, 16> flags{};
    TF::MeterFluid fluid{};
    TF::ReadStatus status{};
    Other other{};
    struct Area { FieldText label; int size = 0; };
    std::array<Area, 3> areas;
    TagLine::tagLine_t line{};
    ErrorLists errors;
};
"""

# A kind, the types that it expects, and members of other types.
KINDS = [
    ("text", "tramo::FieldText", ["number", "real", "pointer", "areas"]),
    ("number", "int, long long or long32", ["text", "positive", "small", "real", "flag", "fluid"]),
    ("character", "int, long long or long32", ["text", "flag"]),
    ("date", "long32", ["text", "big", "real"]),
    ("dateTime", "long32", ["text", "big", "areas"]),
    ("year", "long32", ["text", "big", "small"]),
    ("flag", "bool", ["text", "number", "flags"]),
    ("characterFlag", "bool", ["text", "number"]),
    ("sixDecimals", "double", ["text", "number", "single"]),
    ("decimal", "double", ["text", "number", "single"]),
    ("alarms", "tramo::codec::AlarmFlags", ["text", "flag", "flags"]),
    ("tramoType", "TF::TramoType", ["text", "other"]),
    ("fluid", "TF::MeterFluid", ["text", "status", "other"]),
    ("readStatus", "TF::ReadStatus", ["text", "fluid"]),
    ("readMethod", "TF::ReadMethod", ["text", "status"]),
    ("alarm", "TF::AmrAlarms", ["text", "flags"]),
    ("enquiryAreaType", "TF::EnquiryAreaType", ["text", "other"]),
    ("enquiryAreaMode", "TF::EnquiryAreaMode", ["text", "number"]),
]


def wrong_values():
    """Rows, each with the sentence that is expected for it."""
    for kind, types, members in KINDS:
        decimals = "3, " if kind == "decimal" else ""
        for member in members:
            yield (f'{{1, 2, "field", {kind}<{decimals}&M::{member}>}}',
                   f"the member's type does not fit the kind '{kind}': expected {types}")
    for member in ("number", "areas, 0, &M::Area::size"):
        yield (f'{{1, 2, "field", text<&M::text>, {{.kept = keptText<&M::{member}>}}}}',
               "the member's type does not fit keptText: expected tramo::FieldText")


def wrong_columns():
    """Rows of one record, each with the sentence and the column that are expected for it."""
    yield '{1, 24, "field", text<&M::text>}', "a field lies outside its line", "1"
    yield '{1, 10, "field", text<&M::text>}, {7, 10, "next", text<&M::text>}', "two fields share a column", "7"


def errors_of(compiler, source):
    """The compiler's messages, split after each error."""
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "rows.cpp")
        with open(path, "w", encoding="utf-8") as file:
            file.write(source)
        done = subprocess.run([*compiler, "-std=c++20", "-fsyntax-only", f"-I{ROOT}", f"-I{ROOT}/include", path], text=True,
                              check=False, env=os.environ | {"LC_ALL": "C"}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    errors = [line for line in done.stdout.splitlines() if re.search(r"\berror: ", line)]
    return done.stdout, errors


def main(compiler):
    failures = []

    def expect(holds, words):
        if not holds:
            failures.append(words)

    version = subprocess.run([compiler[0], "--version"], text=True, check=True, stdout=subprocess.PIPE).stdout
    all_errors = [*compiler, "-ferror-limit=0" if "clang" in version else "-fmax-errors=0"]  # no limit
    values = list(wrong_values())
    text, errors = errors_of(all_errors, MODEL + "".join(
        f"constexpr Row<M> rows{k}[] = {{{row}}};\n" for k, (row, _) in enumerate(values)))
    expect(len(errors) == len(values), f"{len(values)} rows of a wrong kind: {len(errors)} errors")
    lines = len(text.splitlines())
    expect(lines <= MOST_LINES * len(values), f"{len(values)} rows of a wrong kind: {lines} lines of errors")
    for sentence in sorted({sentence for _, sentence in values}):
        wanted, found = [s for _, s in values].count(sentence), sum(sentence in error for error in errors)
        expect(found == wanted, f"{found} errors instead of {wanted}: {sentence}")

    for rows, sentence, column in wrong_columns():
        text, errors = errors_of(all_errors, MODEL + f"constexpr Row<M> rows[] = {{{rows}}};\n"
                                 'constexpr Record<M> record{0, "M", "m", rows};\nconst auto& all = checked<record>();\n')
        expect(len(errors) == 1 and sentence in errors[0], f"{len(errors)} errors: {sentence}")
        expect(re.search(rf"<\(?{column}\)?>", text), f"column {column} is not named: {sentence}")

    text, errors = errors_of(compiler, MODEL + 'constexpr Row<M> rows[] = {{1, 2, "field", number<&M::number>}};\n')
    expect(text == "", "a correct row is rejected")
    for failure in failures:
        print(failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
