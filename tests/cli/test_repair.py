"""tramo repair: what it shows, writes and logs, and its exit codes."""
import json
import os
import stat
import subprocess
import unittest
from support import ENVIRONMENT, ROUND, METER, TRAMO, CliTest, lines, sample, utf16


def trimmed(content):
    return b"\r\n".join(line.rstrip(b" ") for line in content.split(b"\r\n"))


class Repair(CliTest):
    def setUp(self):
        super().setUp()
        self.good = sample("round-returned.txt")

    def repair(self, content, *options, **run):
        self.write("f", content)
        return self.run_tool("repair", *options, "f", cwd=self.folder, **run)

    def mended(self, content, *options):
        result = self.repair(content, "-o", "new", *options)
        return result, self.content(os.path.join(self.folder, "new"))

    def lossy(self):
        """Returns the round with a line that lost a character, and the number of the line."""
        content = self.good.split(b"\r\n")
        content[3] = content[3][:40] + content[3][41:]
        return b"\r\n".join(content)

    def test_a_dry_run_shows_what_would_change_and_writes_nothing(self):
        result = self.repair(trimmed(self.good))
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertEqual(result.out, "f: trailing spaces were removed from 169 of 172 lines; padded, all of them are valid [Trimmed]\n\n"
                                     "f: 169 of 172 lines would be mended\n  Trimmed            169 lines: 4, 5, 6, ...\n"
                                     "f: no errors would be left\nf: help: tramo repair -o NEW f\n")
        self.assertEqual(os.listdir(self.folder), ["f"])

    def test_the_mended_file_is_the_good_one(self):
        for damaged in (trimmed(self.good), self.good.replace(b"\r\n", b"\n"), self.good.decode("latin-1").encode(), self.good + b"\x1a",
                        self.good.decode("latin-1").encode("utf-16-be"), self.good[:-2], self.good.replace(b"\r\n", b"\r\r\n")):
            result, new = self.mended(damaged)
            if new.startswith(b"\xff\xfe"):
                new = new[2:].decode("utf-16-le").encode("latin-1")
            self.assertEqual((result.code, result.out), (0, ""))
            self.assertEqual(new, self.good)
            self.assertRegex(result.err, r"\Atramo: f: (\d+ of \d+ lines?|the file) mended \([A-Za-z0-9, ]+\)\n\Z")

    def test_a_good_file_is_copied(self):
        for content in (self.good, sample("round-returned-utf16.txt"), sample("tags.txt"), sample("parameters.txt"), sample("amr-keys.txt")):
            result, new = self.mended(content)
            os.remove(os.path.join(self.folder, "new"))
            self.assertEqual((result.code, result.err), (0, "tramo: f: nothing to mend; copied\n"))
            self.assertEqual(new, content)

    def test_errors_of_fields_are_left_byte_for_byte(self):
        content = sample("round-broken.txt")
        result, new = self.mended(content)
        self.assertEqual((result.code, new), (1, content))
        self.assertIn("tramo: f: 57 errors, 34 warnings left; to see them, run: tramo check new\n", result.err)

    def test_a_torn_line_stays_as_it_is(self):
        for end in (b"", b"\n", b"\r\n"):
            torn = self.good.replace(b"\r\n", b"\n")[:-513 + 300] + end
            result, new = self.mended(torn)
            self.assertEqual(result.code, 1)
            self.assertEqual(new, self.good[:-514] + torn[171 * 513:])

    def test_wrapped_lines_keep_their_blank_parts(self):
        wrapped = b"".join(line[i:i + 100] + b"\r\n" for line in self.good.split(b"\r\n")[:-1] for i in range(0, 512, 100))
        result, new = self.mended(wrapped)
        self.assertEqual((result.code, new), (0, self.good))

    def test_halves_of_lines_are_not_joined(self):
        halves = b"".join(line[:256] + b"\r\n" for line in self.good.split(b"\r\n")[:-1])
        result, new = self.mended(halves)
        self.assertEqual((result.code, new), (1, halves))

    def test_spaces_after_a_line_are_the_first_proposal(self):
        content = self.good.split(b"\r\n")
        content[11] += b"  "
        result = self.repair(b"\r\n".join(content))
        self.assertIn("f:12: proposal 12:1: 2 spaces at the end of the line\n", result.out)
        result, new = self.mended(b"\r\n".join(content), "--accept", "12:1")
        self.assertEqual((result.code, new), (0, self.good))

    def test_proposals(self):
        content = self.lossy()
        result = self.repair(content)
        self.assertEqual(result.code, 1)
        self.assertIn("f:4: proposal 4:1: 1 character was lost in subscriberInformation\n    before | ...", result.out)
        self.assertRegex(result.out, r"\n    after  \| .*\n +\| +\^~+ columns \d+-\d+ move\n")
        self.assertIn("f: help: --accept 4:1 takes the first proposal for line 4; --reference EXPORTED proves more\n", result.out)
        result, new = self.mended(content)
        self.assertEqual((result.code, new), (1, content))
        self.assertIn("tramo: f: proposals are left for line 4; to see them, run: tramo repair f\n", result.err)

    def test_an_accepted_proposal(self):
        result, new = self.mended(self.lossy(), "--accept", "4:1")
        self.assertEqual(result.code, 0, result.err)
        self.assertIn("tramo: f: 1 proposal accepted\n", result.err)
        self.assertEqual(len(new), len(self.good))
        self.assertEqual(new[514 * 3 + 160:], self.good[514 * 3 + 160:])
        self.assertEqual(self.run_tool("check", "-q", "new", cwd=self.folder).code, 0)

    def test_wrong_proposals(self):
        for option in ("5:1", "4:9", "4:0", "x", "4", "4:1x", ":", "4:99999999999999999999"):
            result = self.repair(self.lossy(), "-o", "new", "--accept", option)
            self.assertEqual((result.code, result.out), (2, ""), option)
            self.assertEqual(os.listdir(self.folder), ["f"])
        result = self.repair(self.lossy(), "--accept", "4:1", "--accept", "4:2")
        self.assertEqual(result.code, 2)

    def test_with_the_exported_round(self):
        self.write("exported", sample("round-exported.txt"))
        result, new = self.mended(self.lossy(), "--reference", "exported")
        self.assertEqual((result.code, new), (0, self.good))
        self.assertEqual(result.err, "tramo: f: 1 of 172 lines mended (CharacterLost)\n")
        self.write("exported", utf16(sample("round-exported.txt").decode("latin-1")))
        result, new = self.mended(self.lossy(), "--reference", "exported")
        self.assertEqual((result.code, new), (0, self.good))

    def test_a_useless_reference(self):
        for content in (b"", b"x", sample("tags.txt")):
            self.write("exported", content)
            result = self.repair(self.lossy(), "--reference", "exported", "-o", "new")
            self.assertEqual((result.code, result.out), (2, ""))
        self.assertEqual(self.repair(self.good, "--reference", "none").code, 2)

    def test_the_log(self):
        damaged = trimmed(self.good).replace(b"\r\n", b"\n")
        result, _ = self.mended(damaged, "--log", "log")
        self.assertEqual(result.code, 0)
        path = os.path.join(self.folder, "log")
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        steps = [json.loads(line) for line in self.content(path).splitlines()]
        self.assertEqual(sum(step["rule"] == "LineEndingsLf" for step in steps), 172)
        self.assertEqual(sum(step["rule"] == "Trimmed" for step in steps), 169)
        # The steps make the good file of the damaged one.
        text = [line + "\n" for line in damaged.decode("latin-1").split("\n")[:-1]]
        begins = [sum(map(len, text[:i])) for i in range(len(text))]
        for step in steps:
            line, column = text[step["line"] - 1], step["column"] - 1
            self.assertEqual((step["offset"], line[column:column + len(step["before"])]), (begins[step["line"] - 1], step["before"]))
            self.assertTrue(step["proof"])
            text[step["line"] - 1] = line[:column] + step["after"] + line[column + len(step["before"]):]
        self.assertEqual("".join(text), self.good.decode("latin-1"))

    def test_keys_are_masked(self):
        keys = sample("amr-keys.txt")
        result, new = self.mended(keys.replace(b"\r\n", b"\n"), "--log", "log")
        self.assertEqual((result.code, new), (0, keys))
        log = self.content(os.path.join(self.folder, "log"))
        self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.folder, "new")).st_mode), 0o600)
        for line in keys.split(b"\r\n")[:-1]:
            for value in json.loads(line).values():
                if isinstance(value, str) and len(value) == 32:
                    self.assertNotIn(value.encode(), log + result.err.encode())

    def test_never_in_place(self):
        path = self.write("f", trimmed(self.good))
        os.symlink("f", os.path.join(self.folder, "link"))
        os.link(path, os.path.join(self.folder, "hard"))
        for out in ("f", "./f", "link", "hard", os.path.join(self.folder, "f")):
            for option in ("-o", "--log"):
                words = ["repair", option, out, *(["-o", "new"] if option == "--log" else []), "f"]
                result = self.run_tool(*words, cwd=self.folder)
                self.assertEqual(result.code, 2, words)
                self.assertIn("write to another file", result.err)
        self.assertEqual(self.content(path), trimmed(self.good))
        self.assertEqual(sorted(os.listdir(self.folder)), ["f", "hard", "link"])

    def test_the_log_needs_an_output_of_its_own(self):
        for options in (["--log", "log"], ["--log", "-", "-o", "-"], ["--log", "new", "-o", "new"]):
            self.assertEqual(self.repair(self.good, *options).code, 2)

    def test_streams(self):
        done = subprocess.run([TRAMO, "repair", "-o", "-", "-"], input=trimmed(self.good), capture_output=True, env=ENVIRONMENT)
        self.assertEqual((done.returncode, done.stdout), (0, self.good))
        self.assertEqual(done.stderr, b"tramo: <stdin>: 169 of 172 lines mended (Trimmed)\n")

    def test_other_formats(self):
        for content in (b"PK\3\4 round.txt", b"\0" * 5000, b"%PDF-1.7\n"):
            result = self.repair(content, "-o", "new")
            self.assertEqual((result.code, result.out), (1, ""))
            self.assertIn("tramo: f: nothing was written\n", result.err)
            self.assertFalse(os.path.exists(os.path.join(self.folder, "new")))
            self.assertIn("f: nothing can be mended\n", self.repair(content).out)

    def test_hostile_content(self):
        for content in (b"", b"\n", b"\r", b"\xff\xfe", b"\xff\xfe\xff\xff", b"\xff\xfea", b"\xfe\xff", b"\xef\xbb\xbf", b"\x1a", b"1", b"\0",
                        b"\n" * 3000, b"\r" * 3000, lines(ROUND, b"\x1b[31m" + METER), lines(ROUND, METER[:300] + b"\0" * 40 + METER[340:]),
                        utf16("\ud800") + self.good[:1027], utf16("1" * 512 + "\r\n\uffffrest\r\n"), b'"' * 600, b"\t" * 100 + b"\r\n" + METER):
            result = self.repair(content, "-o", "new", "--log", "log", "--force")
            self.assertIn(result.code, (0, 1), result.err)
            self.assertNotIn("\x1b", result.err)
            self.assertNotIn("\x1b", self.repair(content).out)
            if result.code == 0 and os.path.exists(os.path.join(self.folder, "new")):
                self.assertNotIn(" error: ", self.run_tool("check", "new", cwd=self.folder).out)


if __name__ == "__main__":
    unittest.main()
