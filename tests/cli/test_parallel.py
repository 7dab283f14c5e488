"""Checks pieces of a file as jobs: runs the commands of docs/parallel.md with GNU parallel."""
import os
import re
import shutil
import subprocess
import unittest
from support import ENVIRONMENT, METER, ROOT, TRAMO, CliTest, is_about_file, lines, put
from test_threads import damaged

with open(os.path.join(ROOT, "docs", "parallel.md"), encoding="utf-8") as page:
    COMMANDS = [line for line in re.findall(r"^    (.*)$", page.read(), re.MULTILINE) if " tramo check " in line]


def command_with(word):
    found = [command for command in COMMANDS if word in command]
    assert len(found) == 1, found
    return found[0]


@unittest.skipUnless(shutil.which("parallel"), "GNU parallel is not installed")
class Parallel(CliTest):
    def run_command(self, command):
        os.makedirs(os.path.join(self.folder, "bin"), exist_ok=True)
        if not os.path.lexists(os.path.join(self.folder, "bin", "tramo")):
            os.symlink(TRAMO, os.path.join(self.folder, "bin", "tramo"))
        path = os.path.join(self.folder, "bin") + os.pathsep + ENVIRONMENT["PATH"]
        return subprocess.run(["bash", "-c", command], cwd=self.folder, capture_output=True, text=True, timeout=100,
                              env=ENVIRONMENT | {"PATH": path, "HOME": self.folder})

    def findings(self, command):
        done = self.run_command(command)
        return done.returncode, [
            line for line in done.stdout.splitlines() if re.search(r": (error|warning): ", line) and not is_about_file(line)]

    def test_pieces_by_line_numbers(self):
        self.write("round.txt", damaged(3500, seed=4))
        code, findings = self.findings(command_with("wc -l"))
        whole = self.run_tool("check", "--each", "round.txt", cwd=self.folder).findings
        self.assertGreater(len(whole), 300)
        self.assertEqual(findings, whole)
        self.assertNotEqual(code, 0)

    def test_pieces_sought(self):
        self.write("round.txt", lines(*[METER if i % 3 else put(METER, 507, b"Q") for i in range(3400)]))
        code, findings = self.findings(command_with("--seek"))
        whole = self.run_tool("check", "--each", "round.txt", cwd=self.folder).findings
        self.assertGreater(len(whole), 300)
        self.assertEqual(findings, whole)
        self.assertNotEqual(code, 0)

    def test_a_line_feed_in_a_field_does_not_move_pieces(self):
        self.write("round.txt", lines(*[put(METER, 300 + i, b"\n") if i < 5 else put(METER, 507, b"Q") for i in range(2500)]))
        code, findings = self.findings(command_with("--seek"))
        whole = self.run_tool("check", "--each", "round.txt", cwd=self.folder).findings
        self.assertEqual([re.sub(r":\d+", "", finding, count=1) for finding in findings],
                         [re.sub(r":\d+", "", finding, count=1) for finding in whole])
        self.assertNotEqual(code, 0)

    def test_pieces_by_bytes(self):
        self.write("round.txt", lines(*[put(METER, 380, b"%04d" % i) for i in range(1900, 2100)],
                                      *[put(METER, 507, b"Q"), METER, METER[:-1], METER[:1]] * 900))
        code, findings = self.findings(command_with("--pipepart"))
        whole = self.run_tool("check", "--each", "round.txt", cwd=self.folder).findings
        self.assertGreater(len(whole), 2000)
        self.assertEqual([re.sub(r"^<stdin>:\d+", "round.txt", finding) for finding in findings],
                         [re.sub(r"^round.txt:\d+", "round.txt", finding) for finding in whole])
        self.assertNotEqual(code, 0)

    def test_good_file(self):
        self.write("round.txt", lines(METER) * 3000)
        for word in ("wc -l", "--seek", "--pipepart"):
            self.assertEqual(self.findings(command_with(word)), (0, []))

    def test_many_files(self):
        for i in range(5):
            self.write(f"{i}.txt", lines(METER))
        for command in COMMANDS[-2:]:
            done = self.run_command(command)
            self.assertEqual((done.returncode, done.stdout.count(": no errors or warnings in 1 line\n")), (0, 5))


if __name__ == "__main__":
    unittest.main()
