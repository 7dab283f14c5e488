"""Output that cannot be written, and input of a size that must neither fill the memory nor take forever."""
import os
import random
import subprocess
import tempfile
import time
import unittest
from support import ENVIRONMENT, METER, ROUND, TRAMO, CliTest, lines, put

BAD = put(put(METER, 426, b"202402300900"), 507, b"Q")   # three findings
SANITIZED = any("asan" in name.lower() for name in os.environ) or b"__asan_init" in open(TRAMO, "rb").read()


class FullDisk(CliTest):
    def test_every_output(self):
        self.write("f", lines(*[BAD] * 500))
        with open("/dev/full", "wb") as full:
            for arguments in (["check", "f"], ["check", "-q", "f"], ["check", "--format", "json", "f"], ["check", "--format", "sarif", "f"],
                              ["check", "--help"], ["help"], ["help", "check"], ["--version"]):
                done = subprocess.run([TRAMO, *arguments], stdout=full, stderr=subprocess.PIPE, cwd=self.folder, env=ENVIRONMENT)
                self.assertEqual((done.returncode, done.stderr),
                                 (3, b"tramo: cannot write the standard output: No space left on device\n"), arguments)

    def test_closed_standard_output(self):
        path = self.write("f", lines(BAD))
        done = subprocess.run([TRAMO, "check", path], stderr=subprocess.PIPE, env=ENVIRONMENT, preexec_fn=lambda: os.close(1))
        self.assertEqual((done.returncode, done.stderr), (3, b"tramo: cannot write the standard output: Bad file descriptor\n"))
        with open(path, "rb") as file:
            self.assertEqual(file.read(), lines(BAD))

    def test_closed_error_output(self):
        done = subprocess.run([TRAMO, "check", "missing"], stdout=subprocess.PIPE, env=ENVIRONMENT, preexec_fn=lambda: os.close(2))
        self.assertEqual(done.returncode, 2)

    def test_reader_that_has_gone(self):
        self.write("f", lines(*[BAD] * 5000))
        process = subprocess.Popen([TRAMO, "check", "f"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder, env=ENVIRONMENT)
        self.assertTrue(process.stdout.readline().startswith(b"f:1:426: error"))
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()
        self.assertEqual(process.wait(10), 3)


class Size(CliTest):
    def memory(self, *arguments):
        """The peak of the memory that is really used, in bytes, and the seconds taken."""
        with tempfile.TemporaryFile() as out:
            start = time.monotonic()
            process = subprocess.Popen([TRAMO, *arguments], stdout=out, cwd=self.folder, env=ENVIRONMENT)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            return usage.ru_maxrss * 1024, time.monotonic() - start, out.seek(0, 2)

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_many_findings_take_no_memory(self):
        few, many = lines(BAD), lines(*[BAD] * 50000)
        for form in ("text", "json", "sarif"):
            self.write("f", few)
            least, _, _ = self.memory("check", "--format", form, "f")
            self.write("f", many)
            most, seconds, written = self.memory("check", "--format", form, "f")
            self.assertGreater(written, 150000 * 100)
            self.assertLess(most - least, 1.25 * len(many) + (4 << 20), form)
            self.assertLess(seconds, 30)

    def test_findings_are_counted_to_the_last(self):
        summary = self.check(lines(*[BAD] * 40000), "--format", "json", "-q").json["files"][0]["summary"]
        self.assertEqual((summary["errors"], summary["warnings"], summary["findingsNotListed"]), (80000, 40000, 120000))

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_long_line(self):
        self.write("f", lines(ROUND, METER) + b"1" * 20_000_000 + b"\r\n" + lines(METER))
        result = self.run_tool("check", "f", cwd=self.folder)
        self.assertEqual(result.findings, [
            "f:3:513: error: line has 20000000 characters, 512 expected (LineTooLong): 19999488 too many; without its last 19999488 "
            "characters, it has 9 errors and 3 warnings, the first at columns 157-164 (meterHistory1ReadingDate)"])
        self.assertLess(len(result.out), 1000)

    def test_many_short_lines(self):
        result = self.check(b"\n" * 100000, "-q")
        self.assertEqual(result.out, "f: 100000 errors, 0 warnings in 100000 lines\n")

    def test_garbage(self):
        numbers = random.Random(20240131)
        for size in (1, 2, 3, 511, 514, 5000, 40000):
            for mark in (b"", b"\xff\xfe"):
                for form in ("text", "json", "sarif"):
                    result = self.check(mark + numbers.randbytes(size), "--format", form)
                    self.assertIn(result.code, (0, 1, 2))

    def test_garbage_in_good_lines(self):
        numbers = random.Random(20240201)
        damaged = b""
        for _ in range(2000):
            line = bytearray(numbers.choice((ROUND, METER)))
            for _ in range(numbers.randrange(1, 40)):
                line[numbers.randrange(1, 512)] = numbers.choice(b"\0\x1b 09AZaz-+.,\x7f\x85\xe9\xff")
            damaged += bytes(line) + b"\r\n"
        document = self.check(damaged, "--format", "json").json
        self.assertEqual(document["files"][0]["summary"]["lines"], 2000)
        self.assertEqual(document["errors"] + document["warnings"], len(document["files"][0]["findings"]))


if __name__ == "__main__":
    unittest.main()
