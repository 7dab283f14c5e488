"""The command line: help, version, typos."""
import subprocess
import unittest
from support import ENVIRONMENT, METER, ROUND, TRAMO, CliTest, lines


class Help(CliTest):
    def test_overview(self):
        for arguments in (["help"], ["--help"], ["-h"]):
            result = self.run_tool(*arguments)
            self.assertEqual((result.code, result.err), (0, ""))
            self.assertIn("tramo check samples/round-broken.txt", result.out)
        self.assertLess(result.out.index("Examples:"), result.out.index("Commands:"))
        self.assertLess(result.out.index("Commands:"), result.out.index("Options:"))

    def test_page_of_a_command(self):
        page = self.run_tool("help", "check").out
        for arguments in (["check", "--help"], ["check", "-h"], ["check", "f", "--help"], ["--help", "check"]):
            self.assertEqual(self.run_tool(*arguments).out, page)
        self.assertLess(page.index("Examples:"), page.index("Usage:"))
        for option in ("--all", "--strict", "--encoding", "--kind", "--format", "--max-findings", "--quiet", "--color"):
            self.assertIn(option, page)

    def test_version(self):
        self.assertRegex(self.run_tool("--version").out, r"^tramo \d+\.\d+\.\d+\n$")


class Typos(CliTest):
    def assert_usage(self, arguments, message, page="tramo help check"):
        result = self.run_tool(*arguments)
        self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {message}\ntramo: try \"{page}\"\n"))

    def test_commands(self):
        self.assert_usage([], "a command is missing", "tramo help")
        self.assert_usage(["chek"], 'unknown command "chek"; did you mean "check"?', "tramo help")
        self.assert_usage(["hlep"], 'unknown command "hlep"; did you mean "help"?', "tramo help")
        self.assert_usage(["frobnicate"], 'unknown command "frobnicate"', "tramo help")
        self.assert_usage(["help", "chck"], 'unknown command "chck"; did you mean "check"?', "tramo help")
        self.assert_usage(["--strict", "check"], 'the command must come first, before "--strict"', "tramo help")
        self.assert_usage([""], 'unknown command ""', "tramo help")
        for word, meant in (("--verison", "--version"), ("--versoin", "--version"), ("-version", "--version"), ("--hlep", "--help"), ("-help", "--help")):
            self.assert_usage([word], f'unknown option "{word}"; did you mean "{meant}"?', "tramo help")
        self.assert_usage(["--frobnicate"], 'unknown option "--frobnicate"', "tramo help")
        self.assert_usage(["-V"], 'unknown option "-V"', "tramo help")
        self.assert_usage(["--\x1b[31m"], r'unknown option "--\x1b[31m"', "tramo help")

    def test_options(self):
        self.assert_usage(["check"], 'check: a FILE is missing ("-" is the standard input)')
        self.assert_usage(["check", "--fromat", "json", "f"], 'check: unknown option "--fromat"; did you mean "--format"?')
        self.assert_usage(["check", "--fromat=json", "f"], 'check: unknown option "--fromat=json"; did you mean "--format"?')
        self.assert_usage(["check", "--frobnicate", "f"], 'check: unknown option "--frobnicate"')
        self.assert_usage(["check", "-x", "f"], 'check: unknown option "-x"')
        self.assert_usage(["check", "f", "--format", "xml"], 'check: --format: invalid value "xml"; expected text, json or sarif')
        self.assert_usage(["check", "f", "--encoding", "utf8"], 'check: --encoding: invalid value "utf8"; expected auto, ansi or utf16le')
        self.assert_usage(["check", "f", "--kind", "8"], 'check: --kind: invalid value "8"; expected auto, record, parameter, tag or key')
        self.assert_usage(["check", "f", "--color", "red"], 'check: --color: invalid value "red"; expected auto, always or never')
        self.assert_usage(["check", "f", "--format"], "check: --format needs a value")
        self.assert_usage(["check", "--verison", "f"], 'check: unknown option "--verison"')
        for number, expected in (*((word, "digits only") for word in ("-1", "x", "1x", "1.5")), ("18446744073709551616", "a smaller number")):
            self.assert_usage(["check", "f", "--max-findings", number],
                              f'check: --max-findings: invalid number of findings "{number}"; expected {expected}')


class OptionsWithoutValues(CliTest):
    """An option without a value uses the next FILE as its value."""

    def assert_usage(self, arguments, message):
        result = self.run_tool(*arguments, cwd=self.folder)
        self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {arguments[0]}: {message}\ntramo: try \"tramo help {arguments[0]}\"\n"))

    def test_color(self):
        for name, word in (("f", "f"), ("a b", "'a b'"), ("it's", r"'it'\''s'"), ("x\x1b[31m", r"'x\x1b[31m'"), ("-", "-")):
            if name != "-":
                self.write(name, lines(ROUND))
            shown = name.replace("\x1b", r"\x1b")
            for command in ("check", "diff", "explain", "show"):
                for option in ("--color", "--colour"):
                    for others in ([], ["f"], ["f", "f"]):
                        self.assert_usage([command, option, name, *others], f'--color needs auto, always or never; "{shown}" is a file: '
                                          f"write --color=always {word}")
            self.assertEqual(self.run_tool("check", "--color", name, "--help", cwd=self.folder).code, 0)

    def test_an_invalid_color_that_is_not_a_file(self):
        for others in ([], ["f"]):
            self.assert_usage(["check", "--color", "red", *others], '--color: invalid value "red"; expected auto, always or never')
        self.write("always", lines(ROUND))
        self.assertEqual(self.run_tool("check", "-q", "--color", "always", "always", cwd=self.folder).code, 0)

    def test_the_advice_works(self):
        self.write("it's", lines(ROUND))
        command = self.run_tool("check", "--color", "it's", cwd=self.folder).err.splitlines()[0].split(": write ")[1]
        done = subprocess.run(["sh", "-c", f"'{TRAMO}' check -q {command}"], cwd=self.folder, capture_output=True, env=ENVIRONMENT)
        self.assertEqual((done.returncode, done.stdout), (0, b"\x1b[1mit's:\x1b[0m no errors or warnings in 1 line\n"))

    def test_other_options(self):
        self.write("f", lines(ROUND))
        missing = 'a FILE is missing ("-" is the standard input); "f" is the value of '
        for command, option, more in (("check", "--format", []), ("check", "--max-findings", []), ("show", "--kind", []), ("stats", "--format", []),
                                      ("convert", "--output", ["--encoding", "ansi"]), ("export", "--only", ["--to", "jsonl"])):
            self.assert_usage([command, *more, option, "f"], missing + option)
        self.assert_usage(["check", "--format", "g"], 'a FILE is missing ("-" is the standard input)')


class Arguments(CliTest):
    def setUp(self):
        super().setUp()
        self.write("f", lines(ROUND, ROUND))

    def test_options_may_be_anywhere(self):
        for arguments in (["-q", "f"], ["f", "-q"], ["--quiet", "--all", "--format=text", "--max-findings=0", "f"]):
            self.assertTrue(self.run_tool("check", *arguments, cwd=self.folder).out.startswith("f: "))

    def test_the_last_of_two_options_counts(self):
        result = self.run_tool("check", "--format", "json", "-q", "--format", "text", "-q", "f", cwd=self.folder)
        self.assertEqual((result.out, result.err), ("f: no errors or warnings in 2 lines\n", ""))

    def test_names_that_look_like_options(self):
        for name in ("-q", "--strict", "-x"):
            self.write(name, lines(ROUND))
            self.assertEqual(self.run_tool("check", "-q", "--", name, cwd=self.folder).out, f"{name}: no errors or warnings in 1 line\n")
            self.assertEqual(self.run_tool("check", "-q", "./" + name, cwd=self.folder).out, f"./{name}: no errors or warnings in 1 line\n")

    def test_names_that_look_like_lists(self):
        for name in ("a,b", "[a,b]", "a b", "check", "help", "'a'", '"a"', "%d{}", "a=b"):
            self.write(name, lines(ROUND))
            self.assertEqual(self.run_tool("check", "-q", name, cwd=self.folder).out, f"{name}: no errors or warnings in 1 line\n")


if __name__ == "__main__":
    unittest.main()
