"""Help pages and the words that people read: pages fit a terminal and begin with examples that work, all texts use the usual
terms, and the commands that they name exist."""
import glob
import os
import re
import subprocess
import unittest
from support import ENVIRONMENT, ROOT, TRAMO, CliTest, sample

# The exit codes of the first two examples of each page. 1: the file has findings.
CODES = {"": [1, 0], "anonymize": [0, 0], "check": [1, 1], "convert": [0, 0], "diff": [1, 1], "explain": [0, 0], "export": [0, 0], "import": [0, 1],
         "keys": [0, 0], "reconcile": [0, 1], "repair": [1, 1], "report": [0, 0], "rewrite": [1, 1], "sample": [0, 0], "show": [1, 1], "stats": [0, 0]}

# Terms to avoid, as regular expressions, each with the term to use.
RETIRED = {
    "tells": "reports, lists, describes", "told": "reported", "made-up": "sample", "anew": "normalize, overwrite",
    "plain file": "regular file", "what is no": "a main clause", "(?<!there )is no": "is not", "(?<!there )are no": "are not", "is none of": "expected a, b or c",
    "nothing found": "no errors or warnings", "nothing was found": "no errors or warnings", "something was found": "errors or warnings",
    "damaged line": "malformed line", "damaged lines": "malformed lines", "line end": "line ending", "line ends(?! with)": "line endings",
    "behind": "after", "in front": "before, leading", "whole number": "integer", "passed over": "skipped", "is too much": "unexpected argument",
    "of a key line no": "values of key lines are never shown", "nobody is": "without an error",
    "on the error output": "on the standard error", "stands": "is", "stand": "are",
    "has it that": "requires", "(the|its|a) mark": "byte order mark (BOM)", "blanks": "spaces", "cut on the right": "truncated", "is cut": "is truncated",
    "kinds? of lines?": "record kind", "kinds? of records?": "record kind", "record types?": "record kind", "own writer": "normalize", "whatever": "every, each",
    "not to be had": "cannot be opened", "may be asked by": "thread-safe", "on a blank line": "default value", "(?<!page )faults?": "error, warning, hint",
    "remarks?": "message, report", "held against": "compared with", "holds? against": "compares with", "takes away": "removes", "taken away": "removed",
    "nobody": "a subject who does something", "be it": "whether", "the one who": "a noun", "the ones of": "those of", "whoever": "who, or a noun",
    "what is (missing|there|shown|left|known)": "a noun", "for its own": "separate", "all the same": "still"}

# Pages for people, below the project's folder.
PROSE = ("README.md", "CONTRIBUTING.md", "CHANGELOG.md", "samples/README.md", *(f"docs/{os.path.basename(path)}" for path in glob.glob(f"{ROOT}/docs/*.md")))

# Command lines that end with a message on the standard error.
MISTAKES = (
    [], ["chek"], ["frobnicate"], ["--verison"], ["help", "chck"], ["help", "--completion", "tcsh"], ["check"], ["check", "--lines", "x", "f"],
    ["check", "--lines", "5-3", "f"], ["check", "--format", "xml", "f"], ["check", "--max-findings", "x", "f"], ["check", "--threads", "2000", "f"],
    ["check", "--seek", "f"], ["check", "--color", "f", "f"], ["check", "missing"], ["check", "."], ["check", "bare"], ["check", "big-endian"],
    ["check", "--encoding", "utf16le", "f"], ["check", "--lines", "2", "--seek", "bare"], ["check", "--lines", "20-21", "--seek", "cut"],
    ["anonymize", "f"], ["anonymize", "--key", "f", "f"], ["anonymize", "--key", "missing", "f", "-o", "x"], ["anonymize", "--key", "f", "f", "./f", "-o", "x"],
    ["anonymize", "--key", "short", "f", "-o", "x"], ["anonymize", "--new-key", "x", "f"], ["anonymize", "--key", "f", "f", "-o", "f"],
    ["convert", "f"], ["convert", "f", "--encoding", "ansi"], ["convert", "f", "g", "--encoding", "ansi", "-o", "x"], ["convert", "euro", "--encoding", "ansi", "-o", "x"],
    ["diff", "f"], ["diff", "-", "-"], ["explain", "8:3"], ["explain", "f:x"], ["explain", "0x"], ["explain", "0x002"], ["explain", "ParsDate"],
    ["explain", "1:x"], ["explain", "key:x"], ["explain", "--markdown", "1"], ["explain", "f:9"], ["export", "f"], ["export", "f", "--to", "xml"],
    ["export", "f", "--to", "sqlite"], ["export", "f", "--to", "xlsx"], ["export", "f", "--to", "sqlite", "-o", "x", "--findings", "y"],
    ["export", "f", "--to", "csv", "--findings", "-"], ["export", "cut", "--to", "jsonl", "-o", "x"], ["export", "f", "--to", "jsonl", "--bom"],
    ["export", "f", "--to", "jsonl", "-o", "f"], ["import", "f"], ["import", "f", "--from", "jsonl"], ["import", "f", "--from", "jsonl", "--encoding", "ansi"],
    ["import", "f", "--from", "csv", "--encoding", "ansi"], ["import", "f", "--from", "sqlite", "--encoding", "ansi"],
    ["import", "-", "--from", "sqlite", "--encoding", "ansi"], ["keys"], ["keys", "f"], ["reconcile", "f"], ["reconcile", "-", "-"], ["report", "f"], ["report", "f", "-o", "-", "--open"], ["report", "f", "-o", "f"], ["report", "f", "-o", "x", "--lang", "xx"], ["report", "f", "-o", "x", "--without", "all"], ["repair", "f", "--log", "x"], ["repair", "f", "--accept", "x"], ["rewrite", "f"], ["rewrite", "f", "--dry-run", "--format", "xml"],
    ["sample"], ["sample", "x", "-o", "y"], ["sample", "--faults", "2", "-o", "y"], ["sample", "--faults", "0.1", "-o", "-"],
    ["sample", "--differences", "0.1", "-o", "y"], ["sample", "--returned", "--differences", "0.1", "-o", "-"],
    ["sample", "--meters", "0", "-o", "y"], ["sample", "--kinds", "zebra", "-o", "y"], ["sample", "--meters", "1", "--kinds", "6", "-o", "y"],
    ["show"], ["show", "f", "1", "2"], ["show", "f", "x"], ["show", "f:1:999"], ["stats", "missing"])

# Reports. Other tests check their messages about fields.
REPORTS = (
    ["--version"], ["check", "f"], ["check", "-q", "f", "f"], ["diff", "f", "f"], ["diff", "f", "cut"], ["diff", "--exact", "f", "unix"], ["explain", "f:1"],
    ["show", "f"], ["show", "cut", "3"], ["reconcile", "f", "f"], ["reconcile", "f", "cut"], ["stats", "f", "cut"], ["keys", "keys.txt"], ["rewrite", "--dry-run", "f"])


def retired(text):
    """Returns the terms to avoid in a text that people read, except in file names, options, and JSON."""
    text = text.replace("\\-", "-").replace("\\&", "")  # of manual pages
    words = " ".join(re.sub(r"\S*samples/\S+|\S*round-damaged\S*|\"kind\":\S+|--\S+", "", text).lower().split())
    return [f"{match[0]!r} in \"{words[max(0, match.start() - 40):match.end() + 40]}\": {better}"
            for phrase, better in RETIRED.items() for match in re.finditer(rf"\b(?:{phrase})\b", words)]


def code_and_prose(page):
    """Splits a page in Markdown: the code without output, and the prose without targets of links."""
    block = r"^```(\S*)\n(.*?)^```$|^((?: {4}\S[^\n]*\n)+)"
    prose = re.sub(block, "", page, flags=re.M | re.S)
    code = [fenced or indented for language, fenced, indented in re.findall(block, page, re.M | re.S) if language != "text"]
    return "\n".join(code + re.findall(r"`([^`]+)`", prose)), re.sub(r"`[^`]+`|\]\([^)]*\)", "", prose)


def command_lines(code):
    """Returns the arguments of each call of the tool in a text of code."""
    return [call.split() for call in re.findall(r"(?:^|[\s(\"'])(?:\./)?tramo ((?:[^|;&()<>`\"'\n]|\\\n)*)", code)]


class Prose(CliTest):
    """Pages and generated references use the usual terms and name commands that exist."""

    def text(self, page):
        with open(os.path.join(ROOT, page), encoding="utf-8") as file:
            return file.read()

    def kinds(self):
        kinds = re.findall(r"^  [0-9-]  ([a-zA-Z ]+?)  ", self.run_tool("explain").out, re.M)
        self.assertGreater(len(kinds), 10)
        return kinds

    def generated(self):
        """The descriptions of the format that the tool prints, by command."""
        kinds, codes = self.kinds(), re.findall(r"^  (0x\w+) ", self.run_tool("explain").out, re.M)
        self.assertGreater(len(codes), 20)
        fields = [f"{kind}:{name}" for kind in kinds for name in re.findall(r"^ +[\d-]+  (\w+)", self.run_tool("explain", kind).out, re.M)]
        self.assertGreater(len(fields), 250)
        for what in ["", *kinds, *codes, *fields]:
            result = self.run_tool("explain", *([what] if what else []))
            self.assertEqual((result.code, result.err), (0, ""), what)
            yield f"explain {what}", result.out

    def test_terms(self):
        self.assertGreater(len(PROSE), 10)
        self.assertEqual([(page, term) for page in PROSE for term in retired(code_and_prose(self.text(page))[1])], [])

    def test_record_kinds(self):
        """The names of record kinds have one spelling."""
        forms = [kind.replace(" ", other) for kind in self.kinds() if " " in kind for other in ("-", "")]
        forms += ["(?<!meter )subscriber lines?", "AMR keys?", "AMR-keys?"]
        found = re.compile(rf"\b(?:{'|'.join(forms)})\b", re.I)
        self.assertEqual([(page, match) for page in PROSE for match in found.findall(code_and_prose(self.text(page))[1])], [])

    def test_terms_of_the_format(self):
        self.assertEqual([(command, term) for command, text in self.generated() for term in retired(text)], [])

    def test_commands_exist(self):
        overview = self.run_tool("help").out
        helps = {name: self.run_tool("help", name).out for name in CODES if name}
        options = {name: set(re.findall(r"(?:^  |, )(--?[a-z][a-z-]*)", text.split("\nOptions:\n")[1], re.M)) for name, text in helps.items()}
        options["help"] = set(re.findall(r'"(--[a-z]+)', overview))
        called = set()
        for page, text in [("help", overview.split("\n", 1)[1]), *helps.items(), *((page, code_and_prose(self.text(page))[0]) for page in PROSE)]:
            for command, *arguments in command_lines(text):
                call = f"{page}: tramo {command} {' '.join(arguments)}"
                if re.fullmatch("[A-Z]+|--[a-z]+", command):
                    self.assertIn(command, overview, call)
                    continue
                self.assertIn(command, options, call)
                called.add(command)
                given = [re.match("--[a-z-]+|-[a-z]", argument.strip("[]")) for argument in arguments]
                self.assertLessEqual({option[0] for option in given if option}, options[command], call)
                if command == "help" and arguments and arguments[0][0].islower():
                    self.assertIn(arguments[0], options, call)
        self.assertEqual(called, set(options))


class Words(CliTest):
    """Help, messages and reports use the usual terms, and a remedy that they name can be run."""

    def setUp(self):
        super().setUp()
        self.write("f", sample("tags.txt"))
        self.write("unix", sample("tags.txt").replace(b"\r\n", b"\n"))
        self.write("bare", b"x" * 300000)
        self.write("big-endian", b"\xfe\xff\x00a")
        self.write("euro", b"\xff\xfe\xac\x20\r\x00\n\x00")
        self.write("cut", sample("round-damaged.txt"))
        self.write("keys.txt", sample("amr-keys.txt"))

    def test_pages(self):
        for command in CODES:
            self.assertEqual(retired(self.run_tool("help", *command.split()).out), [], command)
            self.assertEqual(retired(self.run_tool("help", "--man", *command.split()).out), [], command)
        for shell in ("bash", "zsh", "fish"):
            described = re.findall(r"\[[^]]*\]|-d '[^']*'|'[a-z]+:[^']*'", self.run_tool("help", "--completion", shell).out)
            self.assertEqual(retired("\n".join(described)), [], shell)

    def test_messages(self):
        for arguments in MISTAKES:
            with self.subTest(arguments):
                result = self.run_tool(*arguments, cwd=self.folder)
                self.assertIn(result.code, (0, 1, 2) if arguments[0:1] in (["keys"], ["export"]) else (1, 2))
                self.assertTrue(result.err.startswith("tramo: "), result.err)
                self.assertEqual(retired(result.err), [])

    def test_reports(self):
        for arguments in REPORTS:
            with self.subTest(arguments):
                result = self.run_tool(*arguments, cwd=self.folder)
                self.assertTrue(result.out)
                self.assertEqual(retired(result.out), [])

    def test_commands_that_messages_name_work(self):
        named = set()
        for arguments in MISTAKES:
            named |= set(re.findall(r'"tramo ([a-z ]+)"', self.run_tool(*arguments, cwd=self.folder).err))
        self.assertGreater(len(named), len(CODES))
        for command in named:
            if command != "check":   # of the file that the message is about
                self.assertEqual(self.run_tool(*command.split(), cwd=self.folder).code, 0, command)


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
        """Returns the command lines, each on one line."""
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

    def test_help_of_help_is_the_overview(self):
        for words in (("help", "help"), ("help", "--help"), ("help", "-h")):
            result = self.run_tool(*words)
            self.assertEqual((result.code, result.err, result.out), (0, "", self.page("")), words)

    def test_first_line_is_the_purpose(self):
        """A page begins with the text of its command in the overview, and may add to it."""
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
        self.assertTrue(done.stdout or "-o " in example or "--new-key " in example)
        for written in re.findall(r"-o ([a-z0-9.-]+)", example):
            if written != "-":
                self.assertTrue(os.path.exists(os.path.join(self.folder, written)), written)


if __name__ == "__main__":
    unittest.main()
