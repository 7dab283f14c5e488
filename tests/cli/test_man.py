"""Manual pages: man accepts them, they have the text of the help pages, and they are installed."""
import os
import re
import subprocess
import unittest
from support import ENVIRONMENT, TRAMO, CliTest
from test_complete import commands

BUILD = os.path.dirname(os.path.dirname(TRAMO))


def words(text):
    return re.findall(r"\S+", text.replace("‐", "-"))


class Manual(CliTest):
    def source(self, *page):
        result = self.run_tool("help", "--man", *page)
        self.assertEqual((result.code, result.err), (0, ""))
        return result.out

    def rendered(self, *page):
        path = self.write("page", self.source(*page).encode())
        done = subprocess.run(["man", "--warnings=w", "-l", path], capture_output=True, timeout=60,
                              env=ENVIRONMENT | {"LC_ALL": "C.UTF-8", "MANWIDTH": "80", "MANPAGER": "cat", "MAN_KEEP_FORMATTING": ""})
        self.assertEqual((done.returncode, done.stderr), (0, b""), page)
        return done.stdout.decode()

    def assert_has(self, text, part):
        self.assertIn(" ".join(words(part)), " ".join(words(text)))

    def test_command(self):
        for command in commands():
            if command == "help":
                continue
            with self.subTest(command):
                shown, page = self.rendered(command), self.run_tool("help", command).out
                self.assertEqual(re.findall(r"^[A-Z][A-Z ]+$", shown, re.M),
                    ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"])
                self.assertLessEqual(max(map(len, shown.splitlines())), 80)
                # The manual page contains every word of the help page, except the headings.
                for word in set(words(re.sub(r"^(Examples|Usage|Options|Exit codes):", "", page, flags=re.M))):
                    self.assertIn(word, words(shown), command)

    def test_rows_and_examples(self):
        shown = self.rendered("import")
        self.assert_has(shown, "--encoding WHAT of OUT: ansi (a byte for each character up to U+00FF), utf16le -o, --output OUT")
        self.assert_has(shown, "tramo export samples/round-returned.txt --to jsonl | tramo import - --from jsonl")
        self.assert_has(self.rendered("check"), r"are printed as \x1b or \u202e;")

    def test_tool(self):
        shown = self.rendered()
        for command in commands():
            self.assertIn(command if command == "help" else f"tramo-{command}(1)", words(shown.replace(",", " ")))

    def test_format(self):
        shown = self.rendered("format")
        reference = self.run_tool("explain", "--markdown").out
        fields = re.findall(r"^\| [\d-]+ \| `(\w+)`", reference, re.M)
        self.assertGreater(len(fields), 300)
        self.assertEqual([name for name in fields if name not in words(shown)], [])
        for heading in re.findall(r"^## (.*)", reference, re.M):
            self.assertRegex(shown, f"(?m)^{heading.upper()}$")
        self.assertNotRegex(shown, r"[|`]|\*\*|\]\(")
        self.assertLessEqual(max(map(len, shown.splitlines())), 80)

    def test_unknown_page(self):
        result = self.run_tool("help", "--man", "chek")
        self.assertEqual((result.code, result.out), (2, ""))
        self.assertIn('unknown command "chek"; did you mean "check"?', result.err)

    def test_installed(self):
        done = subprocess.run(["cmake", "--install", BUILD, "--component", "tool", "--prefix", self.folder],
                              capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        expected = {f"man/man1/tramo-{name}.1": ["--man", name] for name in commands() if name != "help"} | {
            "man/man1/tramo.1": ["--man"], "man/man5/tramo-format.5": ["--man", "format"],
            "bash-completion/completions/tramo": ["--completion", "bash"],
            "zsh/site-functions/_tramo": ["--completion", "zsh"],
            "fish/vendor_completions.d/tramo.fish": ["--completion", "fish"]}
        share = os.path.join(self.folder, "share")
        found = {os.path.relpath(os.path.join(folder, name), share) for folder, _, names in os.walk(share) for name in names}
        self.assertEqual(found, set(expected))
        for path, arguments in expected.items():
            with open(os.path.join(share, path), encoding="utf-8") as file:
                self.assertEqual(file.read(), self.run_tool("help", *arguments).out, path)
        installed = subprocess.run([os.path.join(self.folder, "bin", "tramo"), "help"], capture_output=True, text=True,
                                   env=ENVIRONMENT, timeout=60)
        self.assertEqual((installed.stdout, installed.stderr), (self.run_tool("help").out, ""))


if __name__ == "__main__":
    unittest.main()
