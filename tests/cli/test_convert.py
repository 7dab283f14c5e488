"""convert: the same characters in another encoding, or nothing."""
import os
import subprocess
import unittest
from support import ENVIRONMENT, METER, ROOT, ROUND, TRAMO, CliTest, lines, sample, utf16

EVERY_BYTE = bytes(range(256)) + b"\r\r\n\n" + b"no line end"


class Convert(CliTest):
    def convert(self, content, to, *options, **run):
        """Converts a file "f" to a file "out"; returns its content, or None."""
        self.write("f", content)
        self.result = self.run_tool("convert", "f", "--encoding", to, "-o", "out", *options, cwd=self.folder, **run)
        self.assertEqual(self.result.out, "")
        return self.read("out") if os.path.exists(os.path.join(self.folder, "out")) else None

    def read(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def assert_refused(self, content, *messages, to="ansi", options=()):
        """Checks that nothing is written, and that an old file is kept."""
        self.write("out", b"old")
        self.assertEqual(self.convert(content, to, *options), b"old")
        expected = "".join(f"tramo: f{message}\n" for message in [*messages, ": nothing was written"])
        self.assertEqual((self.result.err, self.result.code), (expected, 1))
        self.assertEqual(sorted(os.listdir(self.folder)), ["f", "out"])

    def assert_converted(self, content, to, expected, *options):
        self.assertEqual(self.convert(content, to, *options), expected)
        self.assertEqual((self.result.err, self.result.code), ("", 0))


class Exact(Convert):
    def test_samples_in_both_directions(self):
        for name in sorted(os.listdir(os.path.join(ROOT, "samples"))):
            content = sample(name)
            if name.endswith(".txt") and not content.startswith(b"\xff\xfe"):
                self.assert_converted(content, "utf16le", utf16(content.decode("latin-1")))
                self.assert_converted(utf16(content.decode("latin-1")), "ansi", content)

    def test_the_samples_in_both_encodings(self):
        self.assert_converted(sample("round-returned.txt"), "utf16le", sample("round-returned-utf16.txt"))
        self.assert_converted(sample("round-returned-utf16.txt"), "ansi", sample("round-returned.txt"))

    def test_every_byte_and_every_line_ending(self):
        for content in (EVERY_BYTE, EVERY_BYTE + b"\r", EVERY_BYTE + b"\r\n", b"\n", b"\r", b"\n\r\n\n", b"a\x00b\r\n"):
            text = utf16(content.decode("latin-1"))
            self.assert_converted(content, "utf16le", text, "--from", "ansi")
            self.assert_converted(text, "ansi", content, "--from", "utf16le")
            self.assert_converted(content, "ansi", content, "--from", "ansi")
            self.assert_converted(text, "utf16le", text, "--from", "utf16le")

    def test_every_character_that_utf16_has(self):
        # U+FFFF ends the text only where it begins a line
        text = utf16("a" + "".join(map(chr, range(0x10000))) + "\U0001f600\r\n")
        self.assert_converted(text, "utf16le", text)

    def test_empty(self):
        self.assert_converted(b"", "ansi", b"")
        self.assert_converted(b"", "utf16le", b"\xff\xfe")
        self.assert_converted(b"\xff\xfe", "ansi", b"")

    def test_onto_itself(self):
        path = self.write("f", sample("round-returned.txt"))
        self.assertEqual(self.run_tool("convert", path, "--encoding", "utf16le", "-o", path).code, 0)
        self.assertEqual(self.read("f"), sample("round-returned-utf16.txt"))
        self.assertEqual(self.run_tool("convert", path, "--encoding", "ansi", "-o", path).code, 0)
        self.assertEqual(self.read("f"), sample("round-returned.txt"))

    def test_from_standard_input_to_standard_output(self):
        done = subprocess.run([TRAMO, "convert", "-", "--encoding=utf16le", "-o", "-"], input=lines(ROUND), capture_output=True, env=ENVIRONMENT)
        self.assertEqual((done.stdout, done.stderr, done.returncode), (utf16(lines(ROUND).decode("latin-1")), b"", 0))


    def test_a_large_file_takes_only_the_space_of_its_size(self):
        part = sample("round-returned.txt")
        content = part * ((1 << 20) // len(part) + 1)  # so large that its space is reserved
        self.assert_converted(content, "utf16le", utf16(content.decode("latin-1")))
        self.assert_takes_its_size("out")
        self.assert_converted(content, "ansi", content)
        self.assert_takes_its_size("out")

    def assert_takes_its_size(self, name):
        """Windows does not report the blocks of a file."""
        facts = os.stat(os.path.join(self.folder, name))
        self.assertLessEqual(getattr(facts, "st_blocks", 0) * 512, facts.st_size + (1 << 17))


class Refused(Convert):
    def test_a_character_is_reported_with_line_column_and_field(self):
        bad = METER.decode("latin-1")[:464] + "\u20ac" + METER.decode("latin-1")[465:]
        self.assert_refused(utf16(ROUND.decode("latin-1") + "\r\n" + bad + "\r\n"),
                            ':2:465: U+20AC "\u20ac" in meterMessage (meter subscriber) cannot be written in ANSI')

    def test_a_character_in_a_malformed_line_has_no_field(self):
        self.assert_refused(utf16("1 short \u0100\r\n"), ':1:9: U+0100 "\u0100" cannot be written in ANSI')

    def test_pairs_halves_and_invisible_characters(self):
        self.assert_refused(utf16("x\U0001f600\ud83d\u202e\r\n"),
                            ':1:2: U+1F600 "\U0001f600" cannot be written in ANSI',
                            ':1:4: U+D83D "\\ud83d" cannot be written in ANSI',
                            ':1:5: U+202E "\\u202e" cannot be written in ANSI')

    def test_many_are_counted(self):
        self.write("f", utf16("\u0100" * 25 + "\r\n"))
        result = self.run_tool("convert", "f", "--encoding", "ansi", "-o", "-", cwd=self.folder)
        messages = result.err.splitlines()
        self.assertEqual((result.raw, len(messages), result.code), (b"", 12, 1))
        self.assertEqual(messages[9:], ['tramo: f:1:10: U+0100 "\u0100" cannot be written in ANSI', "tramo: ... and 15 more",
                                        "tramo: f: nothing was written"])

    def test_characters_of_key_lines_are_not_shown(self):
        self.assert_refused(utf16('{"serialNumber":"\u0416"}\r\n'), ":1:18: a character cannot be written in ANSI")

    def test_odd_last_byte(self):
        for to in ("ansi", "utf16le"):
            self.assert_refused(utf16("a\r\n") + b"x", ": the file ends with half of a UTF-16 character", to=to)

    def test_text_after_its_end(self):
        self.assert_refused(utf16("a\r\n\uffffbc\r\n"), to="utf16le", *[
            ": 5 characters from line 2 on cannot be read, because that line begins with U+FFFF"])

    def test_ansi_that_would_be_taken_for_utf16(self):
        self.assert_refused(utf16("\xff\xfe"), ": the text begins with the characters FF FE, which would make an ANSI file look like UTF-16")


class Failures(Convert):
    def test_usage(self):
        for message, *arguments in (
                ('a FILE is missing ("-" is the standard input)', "--encoding", "ansi", "-o", "x"),
                ('unexpected argument "b"; expected one FILE', "a", "b", "--encoding", "ansi", "-o", "x"),
                ("--encoding is missing; expected ansi or utf16le", "a", "-o", "x"),
                ('-o OUT is missing ("-" is the standard output)', "a", "--encoding", "ansi"),
                ('--encoding: invalid value "utf8"; expected ansi or utf16le', "a", "--encoding", "utf8", "-o", "x"),
                ('--from: invalid value "x"; expected auto, ansi or utf16le', "a", "--encoding", "ansi", "--from", "x", "-o", "x"),
                ('unknown option "--encodign"; did you mean "--encoding"?', "a", "--encodign", "ansi", "-o", "x")):
            result = self.run_tool("convert", *arguments)
            self.assertEqual((result.code, result.out, result.err),
                             (2, "", f'tramo: convert: {message}\ntramo: try "tramo help convert"\n'))

    def test_help_begins_with_two_examples(self):
        page = self.run_tool("convert", "--help").out
        self.assertEqual(page, self.run_tool("help", "convert").out)
        self.assertIn("\n\nExamples:\n  tramo convert ", page)

    def test_unreadable(self):
        for path, reason in (("missing", "No such file or directory"), (self.folder, "is a directory")):
            result = self.run_tool("convert", path, "--encoding", "ansi", "-o", "out", cwd=self.folder)
            self.assertEqual((result.code, result.out, result.err), (2, "", f"tramo: {path}: {reason}\n"))
            self.assertFalse(os.path.exists(os.path.join(self.folder, "out")))

    def test_not_written(self):
        path = self.write("f", lines(ROUND))
        for out, reason in (("/dev/full", "No space left on device"), (self.folder, "Is a directory"),
                            (self.folder + "/no/out", "No such file or directory")):
            result = self.run_tool("convert", path, "--encoding", "ansi", "-o", out)
            self.assertEqual((result.code, result.err), (3, f"tramo: cannot write {out}: {reason}\n"))
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TRAMO, "convert", path, "--encoding", "ansi", "-o", "-"], stdout=full, stderr=subprocess.PIPE, env=ENVIRONMENT)
        self.assertEqual((done.returncode, done.stderr), (3, b"tramo: cannot write the standard output: No space left on device\n"))

    def test_standard_output_is_written_after_the_whole_input_is_checked(self):
        path = self.write("f", utf16(("x" * 512 + "\r\n") * 2000 + "\u0100\r\n"))   # larger than any buffer
        result = self.run_tool("convert", path, "--encoding", "ansi", "-o", "-")
        self.assertEqual((result.raw, result.code), (b"", 1))
        done = subprocess.run([TRAMO, "convert", path, "--encoding", "utf16le", "-o", "-"], capture_output=True, env=ENVIRONMENT)
        self.assertEqual((done.stdout, done.returncode), (self.read("f"), 0))

    def test_a_full_disk_for_held_output(self):
        path = self.write("f", lines(ROUND))
        result = self.run_tool("convert", path, "--encoding", "ansi", "-o", "-", env={"TMPDIR": "/nowhere"})
        self.assertEqual((result.code, result.raw, result.err),
                         (3, b"", "tramo: cannot write a temporary file in /nowhere: No such file or directory\n"))

    def test_the_result_is_not_kept_in_memory(self):
        path = self.write("f", lines(METER) * 40000)
        process = subprocess.Popen([TRAMO, "convert", path, "--encoding", "utf16le", "-o", path + "16"], env=ENVIRONMENT)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual((process.returncode, os.path.getsize(path + "16")), (0, 2 * os.path.getsize(path) + 2))
        with open(TRAMO, "rb") as program:
            if b"__asan_init" not in program.read():
                self.assertLess(usage.ru_maxrss * 1024, 2 * os.path.getsize(path))   # the input may be in memory, but not the result

    def test_closed_pipe(self):
        path = self.write("f", lines(METER) * 2000)
        process = subprocess.Popen([TRAMO, "convert", path, "--encoding", "ansi", "-o", "-"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=ENVIRONMENT)
        process.stdout.close()
        self.assertEqual((process.stderr.read(), process.wait()), (b"", 3))
        process.stderr.close()


if __name__ == "__main__":
    unittest.main()
