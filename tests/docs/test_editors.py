"""Checks that editors and hooks understand the tool's output.

The quick tests apply the problem matcher and check the other files; those that need Vim and pre-commit run if TRAMO_EDITORS
is set (tests/docs/run).
"""
import json
import os
import re
import subprocess
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests/cli"))
import sarif                                                                      # noqa: E402
from support import ENVIRONMENT, TRAMO, CliTest, sample                           # noqa: E402

FULL = unittest.skipUnless(os.environ.get("TRAMO_EDITORS"), "only where TRAMO_EDITORS is set")


def read(*path):
    with open(os.path.join(ROOT, *path), encoding="utf-8") as file:
        return file.read()


class Editors(CliTest):
    """Four files with findings of each form, and one without findings."""

    def setUp(self):
        super().setUp()
        self.write("broken.txt", sample("round-broken.txt"))
        self.write("damaged lines.txt", sample("round-damaged.txt"))
        self.write("good.txt", sample("round-returned.txt"))
        self.write("empty.txt", b"")
        self.names = ["broken.txt", "damaged lines.txt", "good.txt", "empty.txt"]
        results = self.run_tool("check", "--each", "--format", "sarif", *self.names, cwd=self.folder).json["runs"][0]["results"]
        self.expected = [self.place(result) for result in results]
        self.assertEqual(len(self.expected), 91 + 8 + 1)

    @staticmethod
    def place(result):
        at = result["locations"][0]["physicalLocation"]
        region = at.get("region", {})
        return (at["artifactLocation"]["uri"].replace("%20", " "), region.get("startLine", 0), region.get("startColumn", 0),
                result["level"], result["message"]["text"])

    def environment(self):
        return ENVIRONMENT | {"PATH": f"{os.path.dirname(TRAMO)}:{os.environ['PATH']}", "HOME": self.folder}


class VsCode(Editors):
    @staticmethod
    def matched(pattern, line):
        """The data that the editor reads from a line. Without a line number, it accepts the line only if the pattern is for files."""
        if not (match := re.match(pattern["regexp"], line)):
            return None
        parts = {part: match[pattern[part]] for part in ("file", "line", "column", "severity", "message") if part in pattern}
        if not parts.get("line") and pattern.get("kind") != "file":
            return None
        return parts["file"], int(parts.get("line") or 0), int(parts.get("column") or 0), parts["severity"], parts["message"]

    def test_problem_matcher(self):
        (task,) = json.loads(read("editors/vscode/tasks.json"))["tasks"]
        command = [self.folder if part == "${file}" else part for part in task["args"]]
        self.assertEqual(command[:-1], ["check", "--each", "--color", "never"])
        output = self.run_tool(*command[:-1], *self.names, cwd=self.folder).out
        found = []
        for line in output.splitlines():
            matches = [match for matcher in task["problemMatcher"] if (match := self.matched(matcher["pattern"], line))]
            self.assertLessEqual(len(matches), 1, line)
            found += matches
        notes = [place for place in found if place[3] == "note"]
        self.assertEqual(len(notes), len([place for place in self.expected if "the format reports this error at" in place[4]]))
        self.assertGreater(len(notes), 0)
        for note in notes:
            *place, _, finding = found[found.index(note) - 1]
            self.assertEqual(note[:3], tuple(place), "a note follows its finding")
            self.assertNotIn(note[4], finding)
        found = [place for place in found if place[3] != "note"]
        self.assertEqual([place[:4] for place in found], [place[:4] for place in self.expected])
        for (*_, message), (*_, said) in zip(found, self.expected):
            self.assertIn(re.sub(r" \[\w+( 0x\w+)?\].*", "", message).strip(), said)


class PreCommit(Editors):
    def test_hook_runs_the_tool(self):
        hook = dict(re.findall(r"^(?:- |  )(\w+): (.*)$", read(".pre-commit-hooks.yaml"), re.M))
        self.assertEqual((hook["id"], hook["language"], hook["files"]), ("tramo-check", "system", "^$"))
        program, *arguments = hook["entry"].split()
        self.assertEqual(program, "tramo")
        self.assertEqual(self.run_tool(*arguments, "good.txt", cwd=self.folder).code, 0)
        self.assertEqual(self.run_tool(*arguments, "good.txt", "broken.txt", cwd=self.folder).code, 1)

    @FULL
    def test_commit(self):
        def git(*arguments, cwd):
            return subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=a@b", *arguments], cwd=cwd, text=True,
                                  env=self.environment(), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120, check=False)
        hooks = os.path.join(self.folder, "hooks")
        for name in (hooks, os.path.join(self.folder, "work")):
            os.makedirs(os.path.join(name, "rounds"))
            git("init", "-q", cwd=name)
        with open(os.path.join(hooks, ".pre-commit-hooks.yaml"), "w", encoding="utf-8") as file:
            file.write(read(".pre-commit-hooks.yaml"))
        git("add", ".", cwd=hooks)
        self.assertEqual(git("commit", "-q", "-m", "hooks", cwd=hooks).returncode, 0)
        git("tag", "v1.1.0", cwd=hooks)

        work = os.path.join(self.folder, "work")
        (config,) = re.findall(r"```yaml\n(.*?)```", read("docs/editors.md"), re.S)
        with open(os.path.join(work, ".pre-commit-config.yaml"), "w", encoding="utf-8") as file:
            file.write(config.replace("REPOSITORY", hooks))
        done = subprocess.run(["pre-commit", "install"], cwd=work, env=self.environment(), capture_output=True, text=True,
                              timeout=120, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

        self.write("work/rounds/good.txt", sample("round-returned.txt"))
        self.write("work/notes.txt", b"no exchange file\n")
        git("add", ".", cwd=work)
        done = git("commit", "-m", "good", cwd=work)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertRegex(done.stdout, r"tramo check\.+Passed")
        self.write("work/rounds/bad.txt", sample("round-broken.txt"))
        git("add", ".", cwd=work)
        done = git("commit", "-m", "bad", cwd=work)
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertRegex(done.stdout, r"tramo check\.+Failed")
        self.assertIn("rounds/bad.txt:1:499: error: roundImportDate", done.stdout)


class CodeScanning(Editors):
    def test_workflow(self):
        (command,) = re.findall(r"^ +run: (tramo .*)$", read("editors/ci/code-scanning.yml"), re.M)

        def status():
            return subprocess.run(["bash", "-e", "-c", command], cwd=self.folder, env=self.environment(), capture_output=True,
                                  timeout=60, check=False).returncode
        os.mkdir(os.path.join(self.folder, "rounds"))
        for name, content, results in (("good", sample("round-returned.txt"), 0), ("bad", sample("round-broken.txt"), 91)):
            self.write(f"rounds/{name}.txt", content)
            self.assertEqual(status(), 0)
            with open(os.path.join(self.folder, "tramo.sarif"), encoding="utf-8") as file:
                document = json.load(file)
            sarif.validate(document)
            self.assertEqual(len(document["runs"][0]["results"]), results)
        for name in ("good", "bad"):
            os.remove(os.path.join(self.folder, f"rounds/{name}.txt"))
        self.assertNotEqual(status(), 0, "a check that failed is no success")


class Vim(Editors):
    @FULL
    def test_make(self):
        files = " ".join(name.replace(" ", "\\ ") for name in self.names)
        script = [f"set runtimepath^={ROOT}/editors/vim", "compiler tramo", f"silent make! {files}",
                  "let list = map(getqflist(), {_, e -> [e.bufnr ? bufname(e.bufnr) : '', e.lnum, e.col, e.type, e.text]})",
                  "exe 'cc ' .. (indexof(list, {_, e -> e[4] =~ '^meterFluidType'}) + 1)",
                  "call writefile([json_encode([list, strcharpart(getline('.'), charcol('.') - 1, 1)])], 'list')",
                  "qa!"]
        self.write("script.vim", "\n".join(script).encode())
        subprocess.run(["vim", "-Nu", "NONE", "-es", "-S", "script.vim"], cwd=self.folder, timeout=60, stdin=subprocess.DEVNULL,
                       env=self.environment() | {"LC_ALL": "C.UTF-8"}, check=False)
        with open(os.path.join(self.folder, "list"), encoding="utf-8", errors="replace") as file:
            found, character = json.load(file)
        levels = {"e": "error", "w": "warning"}
        self.assertTrue(all(text.startswith("the format reports") for *_, kind, text in found if kind == "n"))
        found = [entry for entry in found if entry[3] != "n"]
        self.assertEqual([(name, row, column, levels[kind.lower()]) for name, row, column, kind, _ in found],
                         [place[:4] for place in self.expected])
        self.assertIn('roundImportDate: invalid date "20240231"', found[0][4])
        self.assertEqual(character, "Q", "columns are those of characters, also behind an accented letter")


if __name__ == "__main__":
    unittest.main()
