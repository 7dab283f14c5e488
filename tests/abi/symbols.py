"""Checks that the shared library exports only the names of its headers: symbols.py LIBRARY FOLDER_OF_HEADERS"""
import glob
import os
import re
import subprocess
import sys
import unittest


def run(*command, text=None):
    return subprocess.run(command, input=text, stdout=subprocess.PIPE, check=True, text=True).stdout


def without_arguments(name, brackets):
    """The name without its parameters or template arguments."""
    opening, closing = brackets
    kept, depth = "", 0
    for character in name:
        depth += (character == opening) - (character == closing)
        if depth == 0 and character != closing:
            kept += character
    return kept


def plain(symbol):
    """tramo::get of "tramo::FieldValue tramo::get<M>(M const&, tramo::Field const&)"."""
    name = re.sub(r"^(typeinfo|typeinfo name|vtable|VTT|guard variable) for ", "", symbol)
    name = re.sub(r"\[abi:\w+\]| const$", "", name).replace("operator<", "operator ").replace("operator>", "operator ")
    return without_arguments(without_arguments(name, "<>"), "()").strip().split(" ")[-1]


class Symbols(unittest.TestCase):
    library = headers = ""

    def setUp(self):
        lines = run("nm", "-D", "--defined-only", self.library).splitlines()
        self.symbols = run("c++filt", text="\n".join(line.split()[-1].split("@")[0] for line in lines)).splitlines()
        self.assertGreater(len(self.symbols), 100)
        # Except instantiated templates of the C++ library, and the linker's own names.
        others = re.compile(r"(std|__gnu_cxx)::|(_edata|_end|__bss_start)$")
        self.own = {name for name in map(plain, self.symbols) if not others.match(name)}

    def test_names_are_those_of_the_headers(self):
        known = set()
        for path in glob.glob(os.path.join(self.headers, "*.h")):
            with open(path, encoding="utf-8") as file:
                known |= set(re.findall(r"\w+", re.sub("//.*", "", file.read())))
        unknown = [name for name in self.own if not set(re.findall(r"\w+", name)) <= known]
        self.assertEqual(sorted(unknown), [])

    def test_what_is_private_is_not_among_them(self):
        private = [name for name in self.own if re.search(r"\b(State|ModelAccess|TableParts|table|Record)\b", name)]
        self.assertEqual(sorted(private), [])

    def test_what_users_call_is_among_them(self):
        for name in ("iFileStream::open", "oFileStream::putLine", "StrConv::toDate", "MeterSubscriberTramoModel::toTramoLine",
                     "tramo::AnyRecord::kind", "tramo::get", "tramo::parseKeyLine", "TramoStreamExceptions::read_exception"):
            self.assertIn(name, self.own)


if __name__ == "__main__":
    Symbols.library, Symbols.headers = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
