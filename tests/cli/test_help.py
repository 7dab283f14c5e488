"""The help pages: they fit a terminal, begin with examples, and the examples work."""
import os
import re
import subprocess
import unittest
from support import ENVIRONMENT, ROOT, TRAMO, CliTest

# What the first two examples of each page exit with. 1: there is something to be found in that file.
CODES = {"": [1, 0], "check": [1, 1], "convert": [0, 0], "diff": [1, 1], "explain": [0, 0], "export": [0, 0], "import": [0, 1],
         "keys": [0, 0], "rewrite": [1, 1], "sample": [0, 0], "show": [1, 1], "stats": [0, 0]}


class Pages(CliTest):
    def setUp(self):
        super().setUp()
        os.symlink(os.path.join(ROOT, "samples"), os.path.join(self.folder, "samples"))
        os.mkdir(os.path.join(self.folder, "bin"))
        os.symlink(TRAMO, os.path.join(self.folder, "bin", "tramo"))

    def page(self, command):
        result = self.run_tool("help", *command.split())
        self.assertEqual((result.code, result.err), (0, ""))
        if command:
            self.assertEqual(self.run_tool(command, "--help").out, result.out)
            self.assertEqual(self.run_tool(command, "-h").out, result.out)
        return result.out

    def examples(self, command):
        """The command lines, each on one line."""
        block = self.page(command).split("\n\nExamples:\n")[1].split("\n\n")[0]
        joined = re.sub(r"[|] *\n +", "| ", block)
        return [line[2:].split("  ")[0].rstrip() for line in joined.split("\n") if re.match("  [^ ]", line)]

    def test_all_commands(self):
        self.assertEqual(set(CODES) - {""}, set(re.findall(r"^  (\w+) ", self.page("").split("\nCommands:\n")[1].split("\n\n")[0], re.M)) - {"help"})

    def test_form(self):
        for command in CODES:
            page = self.page(command)
            places = [page.index(heading) for heading in ("\n\nExamples:\n", "\n\nUsage: tramo", "\n\nOptions:\n", "\n\nExit codes:\n")]
            self.assertEqual(places, sorted(places), command)
            self.assertEqual([line for line in page.splitlines() if len(line) > 80 or line != line.rstrip() or "\t" in line], [], command)
            self.assertTrue(page.isascii())
            self.assertIn("-h, --help ", page)

    def test_first_line_is_the_purpose(self):
        """A page begins with what the overview says of its command, and may add to it."""
        for name, purpose in re.findall(r"^  (\w+) +(.*)", self.page("").split("\nCommands:\n")[1].split("\n\n")[0], re.M):
            if name != "help":
                first = self.page(name).splitlines()[0]
                self.assertTrue(first.startswith(purpose[0].upper() + purpose[1:]) and first.endswith("."), (purpose, first))

    def test_first_examples_work(self):
        for command, codes in CODES.items():
            for example, code in zip(self.examples(command), codes, strict=False):
                with self.subTest(example):
                    self.assertIn("tramo " + command, example)
                    self.assert_runs(example, code)

    def test_other_examples_on_samples_work(self):
        for command in CODES:
            for example in self.examples(command)[2:]:
                if "samples/" in example and "ssh" not in example:
                    with self.subTest(example):
                        self.assert_runs(example, None)

    def assert_runs(self, example, code):
        done = subprocess.run(["bash", "-c", "set -o pipefail; " + example], capture_output=True, cwd=self.folder, timeout=60,
                              env=ENVIRONMENT | {"PATH": os.path.join(self.folder, "bin") + ":" + ENVIRONMENT["PATH"]})
        self.assertIn(done.returncode, (0, 1) if code is None else (code,), done.stderr)
        self.assertTrue(done.stdout or "-o " in example)
        for written in re.findall(r"-o ([a-z0-9.-]+)", example):
            if written != "-":
                self.assertTrue(os.path.exists(os.path.join(self.folder, written)), written)


if __name__ == "__main__":
    unittest.main()
