"""Checks and exports on many threads and of ranges of lines have the same results in the same order."""
import contextlib
import json
import os
import random
import re
import shutil
import sqlite3
import subprocess
import unittest
import unittest.mock
from support import AMR, ENVIRONMENT, INFORMATION, METER, ROUND, TRAMO, CliTest, about_lines, lines, put, sample, utf16

MANY = ("1", "2", "8")
FORMS = ([], ["--format", "json"], ["--format", "sarif"], ["-q"], ["--max-findings", "7"], ["--max-findings", "700"],
         ["--strict", "--all"], ["--color", "always"])


def without_time(text):
    return re.sub(rb'in \d+\.\d{3} s|"seconds":[0-9.e+-]+', b"TIME", text)


def damaged(count, seed=1):
    """Returns a file with this number of lines, some of them malformed. It is several times larger than a piece."""
    rng = random.Random(seed)
    text = bytearray()
    for _ in range(count):
        line = bytearray(rng.choice((METER, METER, AMR, INFORMATION)))
        kind = rng.randrange(30)
        if kind == 0:
            line[rng.randrange(512)] = rng.randrange(256)
        elif kind == 1:
            line = line[:rng.randrange(512)]
        elif kind == 2:
            line[rng.randrange(1, 512)] = 10
        elif kind == 3:
            line = line.rstrip()
        elif kind == 4:
            line = line * rng.randrange(2, 5)
        elif kind == 5:
            line = bytearray(rng.randrange(40)) + b"\n" * rng.randrange(40)
        text += line + (b"\n" if kind == 6 else b"\r\n")
    return bytes(text)


class Threads(CliTest):
    def assert_same(self, *arguments, **run):
        """Checks that any number of threads, and no -j, give the same result as one thread."""
        expected = self.run_tool("check", "--each", "-j", "1", *arguments, cwd=self.folder, **run)
        for threads in (["-j", "2"], ["--threads=8"], []):
            result = self.run_tool("check", "--each", *threads, *arguments, cwd=self.folder, **run)
            self.assertEqual((without_time(result.raw), result.err, result.code),
                             (without_time(expected.raw), expected.err, expected.code), threads)
        return expected

    def test_every_form_of_the_report(self):
        self.write("f", damaged(3000))
        for form in FORMS:
            with self.subTest(form=form):
                self.assertEqual(self.assert_same(*form, "f").code, 1)

    def test_utf16(self):
        self.write("f", utf16(damaged(1500).decode("latin-1")))
        self.assertIn(b"UTF-16", self.assert_same("f").raw)

    def test_utf16_that_ends_early(self):
        text = damaged(2000).decode("latin-1")
        middle = text.index("\n", len(text) // 2) + 1
        self.write("f", utf16(text[:middle] + "\uffff" + text[middle:]) + b"x")
        result = self.assert_same("f")
        self.assertEqual(len([f for f in result.findings if "[TextUnread]" in f]), 1)
        self.assertEqual(len([f for f in result.findings if "[LastByteOdd]" in f]), 1)
        line = text[:middle].count("\n") + 1
        self.assertIn(f"f:{line}:1: error: line begins with U+FFFF, which ends the text [TextUnread]: "
                      f"{len(text) - middle + 1} characters from here on cannot be read", result.out)

    def test_good_file(self):
        meters = [put(METER, 352, b"%-12d" % meter) for meter in range(1998)]
        self.write("f", lines(ROUND, *meters, put(INFORMATION, 7, b" 1998")))
        self.assertEqual(self.assert_same("-q", "f").out, "f: no errors or warnings in 2000 lines\n")
        for threads in (["-j3"], ["--threads", "64"], ["-j", "0"]):
            self.assertEqual(self.run_tool("check", "-q", *threads, "f", cwd=self.folder).out, "f: no errors or warnings in 2000 lines\n")

    def test_one_long_line_between_others(self):
        meters = lines(*(put(METER, 352, b"%-12d" % meter) for meter in range(500)))
        self.write("f", lines(ROUND) + b"1" * 1_000_000 + b"\r\n" + meters + b"1" * 300_000)
        result = self.assert_same("f")
        self.assertTrue(result.findings[0].startswith("f:2:513: error: line has 1000000 characters"))
        self.assertTrue(result.findings[1].startswith("f:503:513: error: line has 300000 characters"))

    def test_line_feeds_only(self):
        self.write("f", b"\n" * 40000)
        self.assertEqual(len(self.assert_same("f").findings), 40000)

    def test_many_files(self):
        names = []
        for i in range(40):
            names.append(f"f{i}")
            self.write(names[-1], damaged([0, 1, 3, 400, 700][i % 5], seed=i))
        names[7:7] = ["missing", "."]
        result = self.assert_same(*names)
        self.assertEqual(result.code, 2)
        self.assertEqual(result.err, "tramo: missing: No such file or directory\ntramo: .: is a directory\n")
        for form in FORMS:
            self.assert_same(*form, *names)

    def test_standard_input(self):
        self.assert_same("-", stdin=damaged(2000))

    def test_a_closed_pipe_for_the_report(self):
        self.write("f", b"\n" * 2_000_000)
        for threads in MANY:
            process = subprocess.Popen([TRAMO, "check", "--each", "-j", threads, "f"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                       cwd=self.folder, env=ENVIRONMENT)
            process.stdout.read(1000)
            process.stdout.close()
            self.assertEqual((process.stderr.read(), process.wait(timeout=30)), (b"", 3))
            process.stderr.close()

    def test_report_cannot_be_written(self):
        self.write("f", damaged(3000))
        for threads in MANY:
            with open("/dev/full", "wb") as full:
                done = subprocess.run([TRAMO, "check", "--each", "-j", threads, "f"], stdout=full, stderr=subprocess.PIPE, cwd=self.folder,
                                      env=ENVIRONMENT, timeout=30)
            self.assertEqual((done.returncode, done.stderr), (3, b"tramo: cannot write the standard output: No space left on device\n"))

    def test_copy_of_a_pipe_cannot_be_written(self):
        self.write("good", lines(ROUND))
        for threads in MANY:
            result = self.run_tool("check", "-q", "-j", threads, "good", "-", stdin=lines(METER), cwd=self.folder,
                                   env={"TMPDIR": os.path.join(self.folder, "missing")})
            self.assertEqual((result.code, result.out), (3, "good: no errors or warnings in 1 line\n"))

    def test_numbers_of_threads(self):
        self.write("f", lines(ROUND))
        for word, message in (("x", 'invalid number of threads "x"; expected digits only'), ("-1", 'invalid number of threads "-1"; expected digits only'),
                              ("1025", "1025 threads are too many; the maximum is 1024")):
            result = self.run_tool("check", f"--threads={word}", "f", cwd=self.folder)
            self.assertEqual((result.code, result.err.splitlines()[0]), (2, f"tramo: check: --threads: {message}"))
        self.assertEqual(self.run_tool("check", "-j1024", "f", cwd=self.folder).code, 0)


class Lines(CliTest):
    def findings(self, *options, content=None, code=1):
        if content is not None:
            self.write("f", content)
        result = self.run_tool("check", "--each", "--format", "json", *options, "f", cwd=self.folder)
        self.assertEqual((result.code, result.err), (code, ""))
        return result.json["files"][0]

    def test_are_known_by_their_numbers(self):
        self.write("f", lines(*[put(METER, 507, b"Q")] * 5))
        for option, numbers in (("2-3", [2, 3]), ("4-", [4, 5]), ("5", [5]), ("1-", [1, 2, 3, 4, 5]), ("3-99", [3, 4, 5])):
            file = self.findings("--lines", option)
            self.assertEqual([finding["line"] for finding in file["findings"]], numbers)
            self.assertEqual((file["summary"]["lines"], file["summary"]["bytes"]), (len(numbers), 514 * len(numbers)))

    def test_pieces_together_are_the_whole(self):
        for content in (damaged(1500, seed=2), utf16(damaged(800, seed=3).decode("latin-1")) + b"x", b"\n" * 9999, sample("amr-keys.txt"),
                        sample("round-damaged.txt"), utf16("a\n\uffffb\nc"), b"", utf16(""), utf16("\uffff")):
            whole = self.findings(content=content, code=unittest.mock.ANY)
            count = whole["summary"]["lines"]
            for step in {1 + count // 3, 1 + count // 7, max(1, count)}:
                pieces = [self.findings("--lines", f"{first}-{first + step - 1}", "-j", "2", code=unittest.mock.ANY)
                          for first in range(1, max(count, 1) + 1, step)]
                self.assertEqual([finding for piece in pieces for finding in piece["findings"]], about_lines(whole["findings"]))
                self.assertEqual(sum(piece["summary"]["lines"] for piece in pieces), count)

    def test_beyond_the_end(self):
        self.write("f", lines(ROUND, METER, METER))
        result = self.run_tool("check", "--lines", "4-9", "f", cwd=self.folder)
        self.assertEqual((result.code, result.out, result.err), (2, "", "tramo: f: has 3 lines; there is no line 4\n"))
        self.write("f", b"a\nb")
        result = self.run_tool("check", "--lines", "3", "f", cwd=self.folder)
        self.assertEqual(result.err, "tramo: f: has 2 lines; there is no line 3\n")
        self.write("f", utf16("a\nb\n\uffffc\nd\n"))
        result = self.run_tool("check", "--lines", "3", "f", cwd=self.folder)
        self.assertEqual(result.err, "tramo: f: has 2 lines that can be read; there is no line 3\n")

    def test_empty_file(self):
        self.assertEqual([f["rule"] for f in self.findings("--lines", "1-10", content=b"")["findings"]], ["FileEmpty"])
        self.assertEqual(self.run_tool("check", "--lines", "2-10", "f", cwd=self.folder).err,
                         "tramo: f: has 0 lines; there is no line 2\n")

    def test_findings_about_the_end_come_with_the_last_line(self):
        content = utf16("x\ny") + b"z"
        self.assertNotIn("LastByteOdd", [f["rule"] for f in self.findings("--lines", "1", content=content)["findings"]])
        self.assertIn("LastByteOdd", [f["rule"] for f in self.findings("--lines", "2")["findings"]])
        self.assertIn("LineKindUnknown", [f["rule"] for f in self.findings("--lines", "2")["findings"]])

    def test_of_several_files(self):
        self.write("a", lines(ROUND, METER, METER))
        self.write("b", lines(*[METER] * 1000))
        self.assertEqual(self.run_tool("check", "-q", "--lines", "2-900", "a", "b", cwd=self.folder).out,
                         "a: no errors or warnings in 2 lines\nb: no errors or warnings in 899 lines\nin all 2 files: no errors or warnings\n")

    def test_of_the_standard_input(self):
        result = self.run_tool("check", "--lines", "2", "-", stdin=lines(ROUND, put(METER, 507, b"Q")))
        self.assertTrue(result.findings[0].startswith("<stdin>:2:507: error: "))

    def test_the_kind_is_detected_at_the_beginning_of_the_file(self):
        self.write("f", sample("round-damaged.txt"))
        whole = about_lines(self.findings()["findings"])
        last = self.findings()["summary"]["lines"]
        for number in range(1, last + 1):
            self.assertEqual(self.findings("--lines", str(number), code=unittest.mock.ANY)["findings"],
                             [finding for finding in whole if finding.get("line") == number])

    def test_sarif_has_the_size_of_the_whole_file(self):
        self.write("f", lines(ROUND, METER))
        log = self.run_tool("check", "--format", "sarif", "--lines", "1", "f", cwd=self.folder).json
        self.assertEqual(log["runs"][0]["artifacts"][0]["length"], 1028)

    def test_wrong_words(self):
        self.write("f", lines(ROUND))
        for word in ("0", "x", "3-x", "-3", "3--4", "1,2", "99999999999999999999"):
            result = self.run_tool("check", f"--lines={word}", "f", cwd=self.folder)
            self.assertEqual((result.code, result.err.splitlines()[0]),
                             (2, f'tramo: check: --lines: invalid lines "{word}"; expected 3, 3-5 or 3-, counted from 1'))
        result = self.run_tool("check", "--lines=5-3", "f", cwd=self.folder)
        self.assertEqual(result.err.splitlines()[0], 'tramo: check: --lines: invalid lines "5-3"; the last line is before the first')

    def test_pieces_together_are_the_whole_export(self):
        self.write("f", damaged(1200, seed=5))
        whole = self.run_tool("export", "f", "--to", "jsonl", cwd=self.folder).out
        count = len(whole.splitlines())
        pieces = [self.run_tool("export", "f", "--to", "jsonl", "--lines", f"{first}-{first + 499}", cwd=self.folder).out
                  for first in range(1, count + 1, 500)]
        self.assertGreater(len(pieces), 2)
        self.assertEqual("".join(pieces), whole)
        result = self.run_tool("export", "f", "--to", "jsonl", "--lines", f"{count + 1}-", cwd=self.folder)
        self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: f: has {count} lines; there is no line {count + 1}\n"))

    def test_the_database_has_the_number_of_exported_lines(self):
        self.write("f", lines(*[METER] * 9))
        self.run_tool("export", "f", "--to", "sqlite", "-o", "db", "--lines", "3-6", cwd=self.folder)
        with contextlib.closing(sqlite3.connect(os.path.join(self.folder, "db"))) as database:
            self.assertEqual(database.execute("select lines from files").fetchall(), [(4,)])


class Seek(CliTest):
    """Lines are found by their length, without counting."""

    def findings(self, range_, *options, file="f", code=unittest.mock.ANY):
        result = self.run_tool("check", "--each", "--format", "json", "--lines", range_, *options, file, cwd=self.folder)
        self.assertEqual((result.code, result.err), (code, ""))
        return result.json["files"][0]

    def assert_refused(self, range_, why, command=("check",)):
        result = self.run_tool(*command, "--lines", range_, "--seek", "f", cwd=self.folder)
        self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: f: {why}\n"))

    def test_the_same_lines_as_by_counting(self):
        texts = [put(METER, 505, b"%05d" % i) if i % 3 else put(AMR, 1, b"9") for i in range(1, 1201)]
        end_missing = lines(*texts)[:-2]
        for content in (lines(*texts), utf16(lines(*texts).decode("latin-1")), end_missing, sample("tags.txt"), sample("parameters.txt")):
            self.write("f", content)
            for range_ in ("1", "1-", "2-3", "600-700", "1200", "1200-", "1199-1300", "1-1200"):
                if self.run_tool("check", "-q", "--lines", range_, "f", cwd=self.folder).code == 2:
                    continue
                sought, counted = self.findings(range_, "--seek"), self.findings(range_)
                for found in (sought, counted):
                    del found["summary"]["seconds"]
                self.assertEqual(sought, counted, range_)

    def test_the_range_is_the_text_between_its_borders(self):
        texts = [put(METER, 507, b"Q")] * 12
        texts[4] = put(texts[4], 100, b"\n")
        self.write("f", lines(*texts))
        numbers = [finding["line"] for finding in self.findings("1-6", "--seek")["findings"]]
        self.assertEqual(numbers, [1, 2, 3, 4, 5, 6, 7])  # one line more than in the range
        self.assertEqual([finding["line"] for finding in self.findings("7-8", "--seek")["findings"]], [7, 8])
        self.assertEqual(sum(self.findings(r, "--seek")["summary"]["bytes"] for r in ("1-4", "5-5", "6-11", "12-")), 12 * 514)

    def test_does_not_read_earlier_lines(self):
        size = 514 * 40_000_000  # a sparse file that takes more than a minute to read
        path = self.write("f", lines(*[METER] * 1000))
        with open(path, "r+b") as file:
            file.seek(size - 2 * 514 - 2)
            file.write(b"\r\n" + lines(METER, put(METER, 507, b"Q")))
        found = self.findings("39999999-", "--seek", code=1)
        self.assertEqual(([finding["line"] for finding in found["findings"]], found["summary"]["lines"]), ([40_000_000], 2))

    def test_a_border_must_follow_a_line_ending(self):
        self.write("f", lines(METER, METER[:-1], METER, METER))
        self.assert_refused("3", "line 3 does not begin after 2 lines of 514 bytes; omit --seek to count lines instead")
        self.assert_refused("1-2", "line 3 does not begin after 2 lines of 514 bytes; omit --seek to count lines instead")
        self.assert_refused("2-3", "line 4 does not begin after 3 lines of 514 bytes; omit --seek to count lines instead",
                            ("export", "--to", "jsonl"))
        self.write("f", METER + b"\n" + METER + b"\n")
        self.assert_refused("2", "line 2 does not begin after 1 line of 514 bytes; omit --seek to count lines instead")

    def test_beyond_the_end(self):
        self.write("f", lines(ROUND, METER, METER))
        self.assert_refused("4-9", "has 3 lines of 514 bytes; there is no line 4")
        self.assert_refused("9223372036854775807", "has 3 lines of 514 bytes; there is no line 9223372036854775807")

    def test_needs_lines_of_one_length(self):
        self.write("f", sample("amr-keys.txt"))
        self.assert_refused("2-3", "does not begin with lines of one length; omit --seek to count lines instead")

    def test_of_the_standard_input(self):
        result = self.run_tool("check", "--lines", "2", "--seek", "-", stdin=lines(ROUND, put(METER, 507, b"Q")))
        self.assertTrue(result.findings[0].startswith("<stdin>:2:507: error: "))

    def test_text_that_ends_within_the_range(self):
        self.write("f", utf16("".join(("x" * 40 + "\r\n", "\uffff" + "x" * 39 + "\r\n", "x" * 40 + "\r\n"))))
        self.assertIn("TextUnread", [finding["rule"] for finding in self.findings("2", "--seek")["findings"]])

    def test_export(self):
        self.write("f", lines(*[put(METER, 9, b"%04d" % i) for i in range(700)]))
        whole = self.run_tool("export", "f", "--to", "jsonl", cwd=self.folder).out
        pieces = [self.run_tool("export", "f", "--to", "jsonl", "--seek", "--lines", f"{first}-{first + 199}", cwd=self.folder).out
                  for first in range(1, 701, 200)]
        self.assertEqual("".join(pieces), whole)

    def test_needs_a_range(self):
        result = self.run_tool("check", "--seek", "f", cwd=self.folder)
        self.assertEqual((result.code, result.err.splitlines()[0]), (2, "tramo: check: --seek: needs --lines"))


class Pieces(CliTest):
    """Files are read in pieces. The border between two pieces must not change a line."""
    SIZE = 128 * 1024

    def assert_lines(self, texts, content):
        self.write("f", content)
        expected = [{"line": number, "kind": "text", "text": text} for number, text in enumerate(texts, 1)]
        for threads in ("1", "4"):
            result = self.run_tool("export", "f", "--to", "jsonl", "-j", threads, cwd=self.folder)
            self.assertEqual([json.loads(row) for row in result.out.splitlines()], expected)
            result = self.run_tool("check", "--each", "-j", threads, "f", "--format", "json", cwd=self.folder)
            numbers = [finding["line"] for finding in about_lines(result.json["files"][0]["findings"])]
            self.assertEqual(sorted(set(numbers)), list(range(1, len(texts) + 1)))

    def test_line_endings_at_their_borders(self):
        for encode, unit, mark in ((lambda text: text.encode("latin-1"), 1, 0), (utf16, 2, 2)):
            for shift in range(-3, 4):
                border = (2 * self.SIZE - mark) // unit + shift   # in characters
                texts = ["x" * 599] * (border // 601 - 2)         # lines of unknown kind
                texts += ["y" * (border - 601 * len(texts) - 2), "z", "", "last"]
                with self.subTest(unit=unit, shift=shift):
                    self.assert_lines(texts, encode("\r\n".join(texts)))

    def test_random_lines(self):
        rng = random.Random(7)
        for encode, letters in ((lambda t: t.encode("latin-1"), "ab \r\x00\u00ff"), (utf16, "ab \r\x00\u0a0a\u0a00\u010a\uffff")):
            for _ in range(3):
                texts = ["1"]
                while sum(map(len, texts)) < 400_000:
                    length = rng.choice((0, 1, 2, 3, 100, 700, 5000, 60_000))
                    texts.append("x" + "".join(rng.choices(letters, k=length)).rstrip("\r") if length else "")
                ends = [rng.choice(("\n", "\r\n")) for _ in texts]
                self.assert_lines(texts, encode("".join(map("".join, zip(texts, ends)))))


class Exports(CliTest):
    def exported(self, *arguments, **run):
        """Returns the output and the files of an export: a folder "out" with its contents."""
        out = os.path.join(self.folder, "out")
        shutil.rmtree(out, ignore_errors=True)
        os.mkdir(out)
        result = self.run_tool("export", *arguments, cwd=self.folder, **run)
        files = {}
        for folder, _, names in os.walk(out):
            for name in names:
                with open(os.path.join(folder, name), "rb") as file:
                    files[os.path.relpath(os.path.join(folder, name), out)] = file.read()
        if files.pop("db", None):
            with contextlib.closing(sqlite3.connect(os.path.join(out, "db"))) as connection:
                files["db"] = "\n".join(connection.iterdump())
        return result.code, result.raw, result.err, files

    def assert_same(self, *arguments, **run):
        expected = self.exported("-j", "1", *arguments, **run)
        for threads in (["-j", "2"], ["--threads=8"]):
            self.assertEqual(self.exported(*threads, *arguments, **run), expected)
        return expected

    def test_every_form(self):
        self.write("f", damaged(1500, seed=6) + sample("amr-keys.txt"))
        for options in (["--to", "jsonl"], ["--to", "jsonl", "-o", "out/a", "--findings", "out/b"], ["--to", "jsonl", "--show-keys"],
                        ["--to", "jsonl", "--only", "AMR"], ["--to", "csv", "-o", "out/a", "--findings", "out/b.csv"],
                        ["--to", "csv", "--only", "text"], ["--to", "sqlite", "-o", "out/db"], ["--to", "xlsx", "-o", "out/a.xlsx"]):
            with self.subTest(options=options):
                code, out, err, files = self.assert_same("f", *options)
                self.assertEqual(code, 1)
                self.assertRegex(err, r"tramo: \S+: \d+ lines (are malformed|have fields)")
                self.assertEqual(bool(out), not files)

    def test_utf16_that_ends_early(self):
        self.write("f", utf16(damaged(900).decode("latin-1") + "\n\uffff\n") + b"x")
        self.assertIn("cannot be read, because that line begins with U+FFFF", self.assert_same("f", "--to", "jsonl")[2])

    def test_standard_input(self):
        self.assert_same("-", "--to", "jsonl", stdin=damaged(900))

    def test_a_second_table_in_one_file(self):
        self.write("f", lines(*[METER] * 900) + lines(AMR, METER))
        self.assertEqual(self.assert_same("f", "--to", "csv", "-o", "out/a.csv")[0], 2)

    def test_output_cannot_be_written(self):
        self.write("f", lines(*[METER] * 3000))
        for threads in MANY:
            self.assertEqual(self.run_tool("export", "f", "--to", "jsonl", "-o", "/dev/full", "-j", threads, cwd=self.folder).err,
                             "tramo: cannot write /dev/full: No space left on device\n")
            process = subprocess.Popen([TRAMO, "export", "f", "--to", "jsonl", "-j", threads], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, cwd=self.folder, env=ENVIRONMENT)
            process.stdout.read(1000)
            process.stdout.close()
            self.assertEqual((process.stderr.read(), process.wait(timeout=30)), (b"", 3))
            process.stderr.close()


if __name__ == "__main__":
    unittest.main()
