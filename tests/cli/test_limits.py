"""Outputs that cannot be written, and limits of memory and time for large inputs."""
import os
import random
import subprocess
import sys
import tempfile
import time
import unittest
from support import ENVIRONMENT, INFORMATION, METER, ROUND, TRAMO, CliTest, lines, put

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
        process = subprocess.Popen([TRAMO, "check", "--each", "f"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder, env=ENVIRONMENT)
        self.assertTrue(process.stdout.readline().startswith(b"f:1:426: error"))
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()
        self.assertEqual(process.wait(10), 3)


class Size(CliTest):
    def memory(self, *arguments):
        """Returns the peak of used memory in bytes, and the seconds."""
        with tempfile.TemporaryFile() as out:
            start = time.monotonic()
            process = subprocess.Popen([TRAMO, *arguments], stdout=out, cwd=self.folder, env=ENVIRONMENT)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            return usage.ru_maxrss * 1024, time.monotonic() - start, out.seek(0, 2)

    def own_memory(self, *arguments):
        """Returns the peak of used memory in bytes. The system counts the memory of the process that starts the tool, too, so
        that a small one has to."""
        start = ("import os, sys; _, _, usage = os.wait4(os.posix_spawn(sys.argv[1], sys.argv[1:], os.environ), 0); "
                 "print(usage.ru_maxrss * 1024, file=sys.stderr)")
        done = subprocess.run([sys.executable, "-I", "-S", "-c", start, TRAMO, *arguments], capture_output=True, cwd=self.folder,
                              env=ENVIRONMENT, check=True)
        return int(done.stderr)

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_many_meters_need_little_memory(self):
        few, many = 1000, 100000
        used = []
        for meters in (few, many):
            self.write("f", lines(*(put(METER, 352, b"%-12d" % meter) for meter in range(meters))))
            self.assertEqual(self.run_tool("stats", "--format", "json", "f", cwd=self.folder).json["files"][0]["meters"]["meters"], meters)
            used.append(self.own_memory("stats", "f"))
        self.assertLess((used[1] - used[0]) / (many - few), 50)   # bytes for a serial number of 12 characters, and growth

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_many_findings_need_little_memory(self):
        few, many = lines(BAD), lines(*[BAD] * 50000)
        for form in ("text", "json", "sarif"):
            self.write("f", few)
            least, _, _ = self.memory("check", "--each", "--format", form, "f")
            self.write("f", many)
            most, seconds, written = self.memory("check", "--each", "--format", form, "f")
            self.assertGreater(written, 150000 * 100)
            self.assertLess(most - least, 1.25 * len(many) + (4 << 20), form)
            self.assertLess(seconds, 30)

    def test_findings_are_counted_to_the_last(self):
        summary = self.check(lines(*[BAD] * 40000), "--format", "json", "-q").json["files"][0]["summary"]
        self.assertEqual((summary["errors"], summary["warnings"], summary["findingsNotListed"]), (80000, 40000, 120000))

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_long_line(self):
        self.write("f", lines(ROUND, METER) + b"1" * 20_000_000 + b"\r\n" + lines(INFORMATION))
        result = self.run_tool("check", "f", cwd=self.folder)
        self.assertEqual([finding for finding in result.findings if "[InformationUnlike]" not in finding], [
            "f:3:513: error: line has 20000000 characters, expected 512 [LineTooLong]: 19999488 too many; without its last 19999488 "
            "characters, it has 9 errors and 3 warnings, the first at columns 157-164 (meterHistory1ReadingDate)"])
        self.assertLess(len(result.out), 1000)

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_memory_for_a_long_line(self):
        """At most the line, in the form of its file, and 64 MiB. TRAMO_LONG_LINE is its length in MB."""
        size = int(os.environ.get("TRAMO_LONG_LINE", "24")) * 1_000_000
        bound, whole_test = 64 << 20, "TRAMO_LONG_LINE" in os.environ
        good = lines(ROUND, METER, METER)
        text = b"1" + b"ab 4567\xe9" * (size // 8)
        wide = lambda content: content.decode("latin-1").encode("utf-16-le")
        self.write("small", good)
        self.write("ansi", good + text + b"\r\n" + good)
        self.write("open", good + text)
        self.write("utf16", b"\xff\xfe" + wide(good + text[:len(text) // 2] + b"\r\n" + good))
        del text
        reads = [["check"], ["check", "--format", "json"], ["check", "--format", "sarif"], ["show", "--raw"], ["stats"], ["keys"],
                 ["diff", "small"], ["diff", "--format", "json", "small"], ["rewrite", "--dry-run"], ["repair"], ["repair", "-o", "repaired"], ["explain", "--"],
                 ["rewrite", "-o", "rewritten"], ["anonymize", "--key", "small", "-o", "anonymized"], ["reconcile", "small"], ["convert", "--encoding", "utf16le", "-o", "converted"],
                 ["export", "--to", "csv", "--only", "text"], ["export", "--to", "csv", "-o", "tables", "--force"],
                 ["export", "--to", "jsonl", "-o", "rows.jsonl"], ["export", "--to", "sqlite", "-o", "rows.db"],
                 ["export", "--to", "xlsx", "-o", "rows.xlsx"]]
        for file, encoding in (("ansi", "ansi"), ("open", "ansi"), ("utf16", "utf16le")):
            for words in reads:
                if file != "ansi" and not whole_test and words[0] not in ("check", "rewrite", "export"):
                    continue
                for threads in (["-j", "1"], ["-j", "4"]) if words[0] in ("check", "export") and whole_test else ([],):
                    with self.subTest(file=file, words=words + threads):
                        name = file + ":4:7" if words[0] == "explain" else file
                        most = self.memory_apart(*words, name, *threads, codes=(0, 1))
                        self.assertLess(most, bound)   # does not keep the line in memory
            for form, rows in (("jsonl", "rows.jsonl"), ("csv", "tables"), ("sqlite", "rows.db")):
                with self.subTest(file=file, form=form):
                    most = self.memory_apart("import", rows, "--from", form, "--encoding", encoding, "-o", "back", codes=(0,))
                    whole = sum(os.path.getsize(os.path.join(path, name)) for path, _, names in os.walk(os.path.join(self.folder, rows))
                                for name in names) or os.path.getsize(os.path.join(self.folder, rows))
                    self.assertLess(most, whole + bound)
                    self.assert_same_text("back", "rewritten")

    def assert_same_text(self, a, b):
        """Except for the line ending of the last line."""
        with open(os.path.join(self.folder, a), "rb") as one, open(os.path.join(self.folder, b), "rb") as other:
            while True:
                x, y = one.read(1 << 20), other.read(1 << 20)
                if len(x) < 1 << 20:
                    self.assertTrue(x.rstrip(b"\r\n\0") == y.rstrip(b"\r\n\0"), "another text")
                    return
                self.assertTrue(x == y, "another text")

    def memory_apart(self, *arguments, codes):
        """Starts the tool from a small process, because its memory before exec counts, too."""
        script = ("import os, subprocess, sys\n"
                  "p = subprocess.Popen(sys.argv[1:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)\n"
                  "_, status, usage = os.wait4(p.pid, 0)\n"
                  "print(os.waitstatus_to_exitcode(status), usage.ru_maxrss * 1024)\n")
        done = subprocess.run([sys.executable, "-c", script, TRAMO, *arguments], capture_output=True, cwd=self.folder, env=ENVIRONMENT)
        code, most = map(int, done.stdout.split())
        self.assertIn(code, codes)
        return most

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_memory_for_equal_lines_of_a_diff(self):
        """At most 64 bytes for each line of the old file, in any order and encoding."""
        self.run_tool("sample", "--meters", "12000", "--returned", "-o", "old", cwd=self.folder)
        with open(os.path.join(self.folder, "old"), "rb") as file:
            text = file.read().splitlines(keepends=True)
        self.write("small", b"".join(text[:100]))
        self.write("same", b"".join(text[:-1]))
        self.write("turned", b"".join(reversed(text)))
        self.write("utf16", b"\xff\xfe" + b"".join(text).decode("latin-1").encode("utf-16-le"))
        least = self.memory_apart("diff", "small", "small", codes=(0,))
        for new, code in (("same", 1), ("turned", 1), ("utf16", 0)):
            for format in ("text", "json"):
                with self.subTest(new=new, format=format):
                    most = self.memory_apart("diff", "--format", format, "old", new, codes=(code,))
                    self.assertLess(most - least, 64 * len(text) + (2 << 20))

    @unittest.skipIf(SANITIZED, "sanitizers need memory of their own")
    def test_memory_for_exports_of_records_and_rounds(self):
        """Exports of records hold a few lines; tables of rounds hold all, in at most three times the size of the file."""
        self.run_tool("sample", "--meters", "16000", "--returned", "-o", "large", cwd=self.folder)
        self.write("small", lines(ROUND, METER))
        size = os.path.getsize(os.path.join(self.folder, "large"))
        self.assertGreater(size, 20 << 20)
        for options in (["jsonl"], ["csv"], ["sqlite", "--table", "records"], ["csv", "--table", "meters"], ["jsonl", "--table", "answers"], ["geojson"], ["sqlite"]):
            words = ["export", "-j", "1", "--force", "-o", "tables" if options == ["csv"] else "rows", "--to", *options]
            with self.subTest(words=words):
                least = self.memory_apart(*words, "small", codes=(0,))
                most = self.memory_apart(*words, "large", codes=(0,))
                streams = options in (["jsonl"], ["csv"], ["sqlite", "--table", "records"])
                self.assertLess(most - least, 8 << 20 if streams else 3 * size)

    def test_memory_to_show_a_meter(self):
        """Holds the file, and little for each line."""
        content = lines(ROUND, *(put(METER, 352, b"%-12d" % meter) for meter in range(20000)))
        self.write("f", content)
        self.assertLess(self.memory_apart("show", "--meter", "5", "f", codes=(0,)), 2 * len(content) + (16 << 20))

    def test_many_short_lines(self):
        result = self.check(b"\n" * 100000, "-q", "--each")
        self.assertEqual(result.out, "f: 100001 errors, 0 warnings in 100000 lines\n")

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
        document = self.check(damaged, "--each", "--format", "json").json
        self.assertEqual(document["files"][0]["summary"]["lines"], 2000)
        self.assertEqual(document["errors"] + document["warnings"] + document["hints"], len(document["files"][0]["findings"]))


if __name__ == "__main__":
    unittest.main()
