"""Unusual inputs: missing and unreadable files, pipes, other encodings; and that no temporary files remain."""
import os
import re
import signal
import subprocess
import tempfile
import time
import unittest
from support import ENVIRONMENT, INFORMATION, METER, ROUND, TRAMO, CliTest, lines, put, sample, utf16

GOOD = lines(ROUND, put(INFORMATION, 7, b"     "))
READABLE = "only ANSI and UTF-16 little-endian (FF FE) can be read"


class Unreadable(CliTest):
    def assert_unreadable(self, path, reason, *options):
        result = self.run_tool("check", *options, path, cwd=self.folder)
        self.assertEqual((result.code, result.findings, result.err), (2, [], f"tramo: {path}: {reason}\n"))

    def test_missing(self):
        self.assert_unreadable("missing", "No such file or directory")
        self.assert_unreadable("f/g/h", "No such file or directory")
        self.write("f", GOOD)
        self.assert_unreadable("f/g", "Not a directory")

    def test_directory(self):
        os.mkdir(os.path.join(self.folder, "folder"))
        self.assert_unreadable("folder", "is a directory")

    @unittest.skipIf(os.geteuid() == 0, "root may read everything")
    def test_not_permitted(self):
        os.chmod(self.write("f", GOOD), 0)
        self.assert_unreadable("f", "Permission denied")

    def test_dangling_and_endless_links(self):
        os.symlink("nowhere", os.path.join(self.folder, "dangling"))
        os.symlink("endless", os.path.join(self.folder, "endless"))
        self.assert_unreadable("dangling", "No such file or directory")
        self.assert_unreadable("endless", "Too many levels of symbolic links")

    def test_the_other_files_are_still_checked(self):
        self.write("good", GOOD)
        result = self.run_tool("check", "-q", "missing", "good", ".", cwd=self.folder)
        self.assertEqual(result.out, "good: no errors or warnings in 2 lines\nin all 3 files: no errors or warnings, 2 files not read\n")
        self.assertEqual(result.err, "tramo: missing: No such file or directory\ntramo: .: is a directory\n")
        self.assertEqual(result.code, 2)

    def test_link_to_a_file(self):
        self.write("good", GOOD)
        os.symlink("good", os.path.join(self.folder, "link"))
        self.assertEqual(self.run_tool("check", "-q", "link", cwd=self.folder).out, "link: no errors or warnings in 2 lines\n")

    def test_other_encodings(self):
        text = GOOD.decode("latin-1")
        for content, name in ((text.encode("utf-8-sig"), "UTF-8 (EF BB BF)"), (b"\xfe\xff" + text.encode("utf-16-be"), "big-endian UTF-16 (FE FF)"),
                              (b"\xff\xfe\0\0" + text.encode("utf-32-le"), "UTF-32 (FF FE 00 00)"),
                              (b"\0\0\xfe\xff" + text.encode("utf-32-be"), "big-endian UTF-32 (00 00 FE FF)")):
            self.write("f", content)
            self.assert_unreadable("f", f"begins with the byte order mark (BOM) of {name}; {READABLE}")

    def unmarked(self, file, *options, stdin=b""):
        """Returns the command in the message."""
        result = self.run_tool("check", *options, "--", file, cwd=self.folder, stdin=stdin)
        self.assertEqual((result.code, "[Utf16NoBom]" in result.out), (2, "utf16le" not in options))
        advice = re.fullmatch(r"tramo: (.*?): looks like (little|big)-endian UTF-16 without a byte order mark \(BOM\); save it as UTF-16 LE with a "
                              r"BOM, or run: ([^\n]*)\n", result.err)
        self.assertTrue(advice, result.err)
        return advice[3]

    def test_utf16_without_mark(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        os.mkdir(os.path.join(self.folder, "a b"))
        for encoding in ("utf-16-le", "utf-16-be"):
            for name in ("f", "f.txt", "it's", "-x", "$(touch hacked) `x`;\"&!#~*?[]{}\\.txt", "\u00e9t\u00e9", "a b/c", "NEW", "=x", "~"):
                content = GOOD.decode("latin-1").encode(encoding)
                self.write(name, content)
                command = self.unmarked(name)
                self.assertEqual(self.unmarked(name, "--encoding", "utf16le"), command)
                for shell in ("sh", "bash", "zsh", "fish"):
                    with self.subTest(name=name, encoding=encoding, shell=shell):
                        done = subprocess.run([shell, "-c", command], capture_output=True, cwd=self.folder, timeout=60,
                                              env=ENVIRONMENT | {"HOME": home.name})
                        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
                        with open(os.path.join(self.folder, name + ".utf16"), "rb") as file:
                            self.assertEqual(file.read(), utf16(GOOD.decode("latin-1")))
                        with open(os.path.join(self.folder, name), "rb") as file:
                            self.assertEqual(file.read(), content)
                        os.remove(os.path.join(self.folder, name + ".utf16"))
                os.remove(os.path.join(self.folder, name))
        self.assertEqual(os.listdir(self.folder), ["a b"])

    def test_utf16_without_mark_and_without_a_name_to_print(self):
        text = GOOD.decode("latin-1").encode("utf-16-le")
        for name in ("a\nb", "\x1b[31m", "\u202e"):
            self.write(name, text)
            self.assertEqual(self.unmarked(name), r"printf '\377\376' | cat - FILE > NEW")
        self.assertEqual(self.unmarked("-", stdin=text), r"printf '\377\376' | cat - FILE > NEW")
        self.assertEqual(self.unmarked("-", stdin=GOOD.decode("latin-1").encode("utf-16-be")),
                         r"printf '\376\377' | cat - FILE | iconv -f UTF-16BE -t UTF-16LE > NEW")

    def test_utf16_asked_for_without_mark(self):
        self.write("f", GOOD)
        self.assert_unreadable("f", "does not begin with the byte order mark (BOM) FF FE, which UTF-16 files need",
                               "--encoding", "utf16le")

    def test_no_line_ending_in_a_large_file(self):
        self.write("f", b"1" * 300000)
        self.assert_unreadable("f", "has no line ending in its first 262144 bytes; it is not an exchange file")


class Encodings(CliTest):
    def encoding(self, content, *options):
        return self.check(content, "--format", "json", *options).json["files"][0]["summary"]["encoding"]

    def test_by_the_mark(self):
        self.assertEqual(self.encoding(GOOD), "ANSI")
        self.assertEqual(self.encoding(utf16(GOOD.decode("latin-1"))), "UTF-16LE")
        self.assertEqual(self.encoding(b"\xff\xfe"), "UTF-16LE")

    def test_chosen(self):
        self.assertEqual(self.encoding(GOOD, "--encoding", "ansi"), "ANSI")
        self.assertEqual(self.encoding(utf16(GOOD.decode("latin-1")), "--encoding", "utf16le"), "UTF-16LE")
        self.assertEqual(self.encoding(utf16(GOOD.decode("latin-1")), "--encoding", "ansi"), "ANSI")

    def test_mark_read_as_ansi_when_asked_for(self):
        self.assert_findings(b"\xef\xbb\xbf" + GOOD, "1:513: error: line has 515 characters, expected 512 [LineTooLong]: 3 too many; "
                             "without its first 3 characters, it has no errors or warnings",
                             options=["--encoding", "ansi"])

    def test_high_bytes_are_text(self):
        self.assert_findings(lines(ROUND[:31] + bytes(range(0xA0, 0x100)) + ROUND[127:]))


class Empty(CliTest):
    def test_empty_files(self):
        for content in (b"", b"\xff\xfe"):
            result = self.assert_findings(content, " warning: the file is empty [FileEmpty]")
            self.assertIn(f"  read: 0 lines, {len(content)} bytes, ", result.out)
        self.assert_findings(b"", " error: the file is empty [FileEmpty]", options=["--strict"])

    def test_null_device(self):
        result = self.run_tool("check", "/dev/null")
        self.assertEqual((result.findings, result.code), (["/dev/null: warning: the file is empty [FileEmpty]"], 1))

    def test_a_file_of_size_0_with_text(self):
        result = self.run_tool("check", "/proc/self/status")
        self.assertNotIn("empty", result.out.splitlines()[0])
        self.assertRegex(result.out, r"  read: [1-9]\d* lines")

    def test_only_a_line_ending(self):
        self.assert_findings(b"\r\n", "1: error: line is empty [LineEmpty]")


class Pipes(CliTest):
    def setUp(self):
        super().setUp()
        self.temporary = os.path.join(self.folder, "tmp")
        os.mkdir(self.temporary)

    def run_here(self, *arguments, **more):
        result = self.run_tool(*arguments, env={"TMPDIR": self.temporary}, cwd=self.folder, **more)
        self.assertEqual(os.listdir(self.temporary), [])
        return result

    def test_standard_input(self):
        result = self.run_here("check", "-", stdin=sample("round-broken.txt"))
        expected = self.run_tool("check", "samples/round-broken.txt")
        self.assertEqual(result.masked, expected.masked.replace("samples/round-broken.txt", "<stdin>"))
        self.assertEqual(result.code, 1)
        self.assertEqual(self.run_here("check", "-q", "-", stdin=utf16(GOOD.decode("latin-1"))).out, "<stdin>: no errors or warnings in 2 lines\n")

    def test_empty_standard_input(self):
        self.assertEqual(self.run_here("check", "-", stdin=b"").findings, ["<stdin>: warning: the file is empty [FileEmpty]"])

    def test_closed_standard_input(self):
        done = subprocess.run([TRAMO, "check", "-"], capture_output=True, env=ENVIRONMENT, preexec_fn=lambda: os.close(0))
        self.assertEqual((done.returncode, done.stderr), (2, b"tramo: <stdin>: Bad file descriptor\n"))

    def test_rest_of_a_standard_input(self):
        path = self.write("f", b"header\n" + GOOD)
        with open(path, "rb", buffering=0) as file:
            file.read(7)
            done = subprocess.run([TRAMO, "check", "-q", "-"], stdin=file, capture_output=True, env=ENVIRONMENT)
        self.assertEqual(done.stdout, b"<stdin>: no errors or warnings in 2 lines\n")

    def test_fifo(self):
        path = os.path.join(self.folder, "fifo")
        os.mkfifo(path)
        writer = subprocess.Popen(["sh", "-c", f"cat '{self.write('f', GOOD)}' > '{path}'"])
        self.assertEqual(self.run_here("check", "-q", path).out, f"{path}: no errors or warnings in 2 lines\n")
        writer.wait()

    def test_process_substitution(self):
        self.write("f", GOOD)
        done = subprocess.run(["bash", "-c", f"'{TRAMO}' check -q <(cat f)"], capture_output=True, cwd=self.folder, env=ENVIRONMENT)
        self.assertRegex(done.stdout.decode(), r"^/dev/fd/\d+: no errors or warnings in 2 lines\n$")

    def test_a_full_disk_for_the_copy(self):
        result = self.run_tool("check", "-", stdin=GOOD, env={"TMPDIR": "/nowhere"})
        self.assertEqual((result.code, result.out, result.err),
                         (3, "", "tramo: cannot write a temporary file in /nowhere: No such file or directory\n"))

    def test_interrupted_while_it_reads(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            process = subprocess.Popen([TRAMO, "check", "-"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                       env=ENVIRONMENT | {"TMPDIR": self.temporary})
            process.stdin.write(GOOD)
            process.stdin.flush()
            time.sleep(0.1)
            process.send_signal(number)
            process.stdin.close()
            self.assertEqual(process.wait(10), -number)
            self.assertEqual(os.listdir(self.temporary), [])

    def test_the_copy_cannot_be_read_by_others(self):
        process = subprocess.Popen([TRAMO, "check", "-"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                   env=ENVIRONMENT | {"TMPDIR": self.temporary}, umask=0)
        process.stdin.write(GOOD)
        process.stdin.flush()
        copies = []
        for _ in range(200):
            time.sleep(0.01)
            folder = f"/proc/{process.pid}/fd"
            copies = [os.stat(f"{folder}/{fd}") for fd in os.listdir(folder) if os.readlink(f"{folder}/{fd}").startswith(self.temporary)]
            if copies:
                break
        process.stdin.close()
        process.wait(10)
        self.assertEqual([(copy.st_mode & 0o777, copy.st_nlink) for copy in copies], [(0o600, 0)])


class Traces(CliTest):
    def test_the_working_folder_stays_empty(self):
        self.write("empty", b"")
        self.write("bad", utf16("\uffff"))
        self.run_tool("check", "empty", "bad", "missing", cwd=self.folder)
        self.assertEqual(sorted(os.listdir(self.folder)), ["bad", "empty"])


if __name__ == "__main__":
    unittest.main()
