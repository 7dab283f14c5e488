"""Checks that programs and libraries are built with protection against overflows: check.py FILE..."""
import re
import subprocess
import sys
import unittest


def readelf(option, path):
    return subprocess.run(["readelf", option, path], stdout=subprocess.PIPE, check=True, text=True).stdout


class Hardening(unittest.TestCase):
    paths = []

    def each(self):
        self.assertTrue(self.paths)
        for path in self.paths:
            with self.subTest(path):
                yield path

    def test_code_may_lie_anywhere(self):
        for path in self.each():
            self.assertRegex(readelf("-hW", path), r"Type: +DYN ")

    def test_what_the_loader_writes_is_read_only_afterwards(self):
        for path in self.each():
            self.assertIn("GNU_RELRO", readelf("-lW", path))
            self.assertRegex(readelf("-dW", path), r"FLAGS_1.*\bNOW\b|\bBIND_NOW\b")

    def test_the_stack_is_no_code(self):
        for path in self.each():
            stack = re.search(r"GNU_STACK.*", readelf("-lW", path)).group()
            self.assertIn(" RW ", stack)
            self.assertNotIn("RWE", stack)

    def test_the_stack_is_watched(self):
        for path in self.each():
            self.assertIn("__stack_chk_fail", readelf("-sW", path))

    def test_the_c_library_checks_sizes(self):
        for path in self.each():
            self.assertRegex(readelf("-sW", path), r"__(?!stack)\w+_chk@")


if __name__ == "__main__":
    Hardening.paths = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
