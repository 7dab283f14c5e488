"""tramo sample: sample rounds, in which check finds exactly the inserted errors."""
import hashlib
import json
import os
import subprocess
import unittest
from collections import Counter
from support import ENVIRONMENT, TRAMO, CliTest, about_lines, before_field_work, some

ENCODINGS = {"ansi": "latin-1", "utf16le": "utf-16"}


def key(finding):
    return tuple(finding.get(name) for name in ("line", "column", "rule", "code", "kind", "field"))


class Sample(CliTest):
    def make(self, *options, name="f", env=None):
        """Returns the bytes of a sample file."""
        result = self.run_tool("sample", *options, "-o", name, cwd=self.folder, env=env)
        self.assertEqual((result.code, result.out, result.err), (0, "", ""))
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def expected(self, name="f"):
        with open(os.path.join(self.folder, name + ".expected.jsonl"), encoding="ascii") as file:
            return [json.loads(line) for line in file]

    def found(self, name="f"):
        return about_lines(self.run_tool("check", "--each", "--format", "json", name, cwd=self.folder).json["files"][0]["findings"])

    def letters(self, content):
        return Counter(chr(line[0]) for line in content.split(b"\r\n")[:-1])

    def test_no_findings_without_faults(self):
        for options in ((), ("--returned",), ("--returned", "--encoding", "utf16le"), ("--returned", "--meters", "2500", "--seed", "9")):
            with self.subTest(options=options):
                self.make(*options)
                result = self.run_tool("check", "f", cwd=self.folder)
                self.assertEqual(result.code, 0, result.out[:2000])
                self.assertFalse(os.path.exists(os.path.join(self.folder, "f.expected.jsonl")))

    def test_check_finds_exactly_the_inserted_errors(self):
        rules, fields = set(), set()
        for encoding in ENCODINGS:
            for seed in range(6):
                for options in ((), ("--returned",)):
                    with self.subTest(encoding=encoding, seed=seed, options=options):
                        self.make("--meters", "400", "--seed", str(seed), "--faults", "0.6", "--encoding", encoding, *options)
                        expected = self.expected()
                        self.assertGreater(len(expected), 300)
                        self.assertEqual(Counter(map(key, expected)), Counter(map(key, self.found())))
                        rules |= {finding["rule"] for finding in expected}
                        fields |= {(finding.get("kind"), finding.get("field")) for finding in expected}
        self.assertLessEqual({"LineTooShort", "LineTooLong", "LineEmpty", "LineEndWithoutCR", "LineLetterUnknown", "ZeroCharacter",
                              "SurrogateAlone", "ParseInteger", "ParseDouble", "ParseDate", "ParseDateTime", "ParseFluidType",
                              "MandatoryMissing", "MandatoryInconsistent"}, rules)
        self.assertGreater(len(fields), 45)
        self.assertEqual({kind for kind, field in fields if kind},
                         {"round", "meter subscriber", "AMR", "meter change", "extended AMR", "enquiry definition", "enquiry result",
                          "extended data", "record information"})

    def test_few_lines_with_an_error_in_each(self):
        for meters in ("1", "2", "5"):
            for seed in some(range(20)):
                with self.subTest(meters=meters, seed=seed):
                    content = self.make("--meters", meters, "--seed", str(seed), "--faults", "1", "--returned")
                    expected = self.expected()
                    self.assertEqual(Counter(map(key, expected)), Counter(map(key, self.found())))
                    self.assertEqual({finding["line"] for finding in expected}, set(range(1, content.count(b"\n") + 1)))

    def test_rate(self):
        content = self.make("--meters", "5000", "--returned", "--faults", "0.05")
        damaged = len({finding["line"] for finding in self.expected()})
        self.assertAlmostEqual(damaged / content.count(b"\n"), 0.05, delta=0.01)

    def test_faults_change_the_lines_of_the_round_without_faults(self):
        plain, damaged = self.make("--meters", "300"), self.make("--meters", "300", "--faults", "0.3")
        differing = {number for number, (a, b) in enumerate(zip(plain.split(b"\n"), damaged.split(b"\n")), 1) if a != b}
        self.assertEqual(differing, {finding["line"] for finding in self.expected()})

    def test_returned_is_the_exported_round_after_the_field_work(self):
        for options in ((), ("--seed", "7"), ("--seed", "1016", "--meters", "9"), ("--seed", "99", "--meters", "2345")):
            with self.subTest(options=options):
                exported, returned = self.make(*options), self.make(*options, "--returned")
                self.assertEqual(before_field_work(returned).split(b"\r\n"), exported.split(b"\r\n"))
                self.assertGreater(len(returned), len(exported))

    def test_more_meters_do_not_change_the_first_ones(self):
        for options in ((), ("--returned",)):
            few, some, many = (self.make("--meters", meters, "--seed", "5", *options).splitlines() for meters in ("1", "77", "1100"))
            self.assertEqual(few[:-1], many[:len(few) - 1])
            self.assertEqual(some[:-1], many[:len(some) - 1])

    def test_other_options_do_not_move_the_faults(self):
        """--kinds, --returned and --meters do not change which lines have errors."""
        def damaged(*options):
            plain = self.make("--seed", "8", *options).split(b"\n")
            self.make("--seed", "8", "--faults", "0.2", *options)
            return {plain[finding["line"] - 1][351:363] for finding in self.expected()} - {b""}

        subscribers = damaged("--meters", "500", "--kinds", "1")
        self.assertGreater(len(subscribers), 60)
        self.assertEqual(damaged("--meters", "500", "--kinds", "1", "--returned"), subscribers)
        self.assertEqual(damaged("--meters", "700", "--kinds", "1") & {
            line[351:363] for line in self.make("--seed", "8", "--meters", "500", "--kinds", "1").splitlines()}, subscribers)
        all_lines = self.make("--seed", "8", "--meters", "500").split(b"\n")
        self.make("--seed", "8", "--meters", "500", "--faults", "0.2")
        found = {all_lines[finding["line"] - 1] for finding in self.expected()}
        self.assertEqual({line[351:363] for line in found if line[:1] == b"1"}, subscribers)

    def test_two_hundred_rounds_have_no_findings(self):
        names = []
        for seed in some([1016, *range(200, 0, -1)]):
            options = ("--seed", str(seed), "--meters", str(1 + seed * 37 % 1000), *(("--returned",) if seed % 2 else ()))
            names.append(f"f{seed}")
            self.make(*options, "--encoding", "utf16le" if seed % 4 > 1 else "ansi", name=names[-1])
        result = self.run_tool("check", "-q", *names, cwd=self.folder)
        self.assertEqual((result.code, [line for line in result.out.splitlines() if "no errors or warnings" not in line]), (0, []))

    def test_same_bytes_everywhere(self):
        """In every time zone, even if midnight or a whole day is missing."""
        options = ("--meters", "700", "--returned", "--seed", "3", "--faults", "0.1")
        first, expected = self.make(*options), self.expected()
        for zone in ("UTC", "America/Asuncion", "Pacific/Apia", "Asia/Kathmandu", "America/New_York", "XYZ+11:30"):
            self.assertEqual(self.make(*options, env={"TZ": zone, "LC_ALL": "C.UTF-8"}), first, zone)
            self.assertEqual(self.expected(), expected)
        self.assertEqual(hashlib.sha256(self.make("--meters", "700", "--returned", "--seed", "3")).hexdigest(), KNOWN)

    def test_seeds_differ(self):
        contents = {self.make("--seed", str(seed)) for seed in range(5)} | {self.make("--seed", str(2 ** 64 - 1))}
        self.assertEqual(len(contents), 6)

    def test_the_library_would_write_the_same(self):
        for options in ((), ("--returned",)):
            content = self.make("--meters", "1500", *options)
            self.assertEqual(self.run_tool("rewrite", "--force", "f", "-o", "g", cwd=self.folder).code, 0)
            with open(os.path.join(self.folder, "g"), "rb") as file:
                rewritten = file.read()
            differing = [a for a, b in zip(content.split(b"\r\n"), rewritten.split(b"\r\n")) if a != b]
            # The library does not read the meter number of record information.
            self.assertEqual({line[:1] for line in differing} - {b"9"}, set())
            self.assertEqual(len(rewritten), len(content))

    def test_both_encodings_have_the_same_text(self):
        for options in ((), ("--returned",)):
            ansi, wide = (self.make("--encoding", encoding, *options) for encoding in ENCODINGS)
            self.assertEqual(wide[:2], b"\xff\xfe")
            self.assertEqual(wide.decode("utf-16"), ansi.decode("latin-1"))

    def test_form_of_a_round(self):
        exported = self.letters(self.make("--meters", "100"))
        self.assertEqual((exported["0"], exported["1"], exported["5"], exported["9"]), (1, 100, 2, 1))
        self.assertEqual(set(exported), set("01259"))
        returned = self.letters(self.make("--meters", "400", "--returned"))
        self.assertEqual(set(returned), set("012345679"))
        content = self.make("--meters", "2500")
        self.assertEqual(self.letters(content)["0"], 3)
        self.assertEqual([line[:12].split() for line in content.split(b"\r\n") if line[:1] == b"9"],
                         [[b"9", b"1", b"1000"], [b"9", b"1", b"1000"], [b"9", b"1", b"500"]])

    def test_meters_differ(self):
        content = self.make("--meters", "3000", "--returned")
        serials = [line[351:363] for line in content.split(b"\r\n") if line[:1] == b"1"]
        self.assertEqual(len(set(serials)), 3000)
        about = [line[2:14] if line[:1] == b"6" else line[1:13] for line in content.split(b"\r\n") if line[:1] in (b"3", b"6", b"7")]
        self.assertGreater(len(about), 1000)
        self.assertLessEqual(set(about), set(serials))

    def test_kinds(self):
        returned = self.make("--returned", "--meters", "200")
        for list, letters in (("0", "0"), ("AMR,extended AMR", "24"), ("1,meter change,7", "137")):
            some = self.make("--returned", "--meters", "200", "--kinds", list)
            self.assertEqual(some, b"".join(line for line in returned.splitlines(True) if line[:1] in [c.encode() for c in letters]))

    def test_standard_output(self):
        done = subprocess.run([TRAMO, "sample", "--meters", "30", "-o", "-"], capture_output=True, env=ENVIRONMENT)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, self.make("--meters", "30"), b""))

    def test_usage(self):
        for words, message in (([], "-o FILE is missing"), (["-o", "f", "x"], 'unexpected argument "x"; sample reads no file'), (["-o", "-", "--faults", "0.1"], "--faults needs -o FILE"),
                               (["-o", "f", "--faults", "2"], 'invalid value "2"; expected a number from 0 to 1'), (["-o", "f", "--faults", "nan"], 'invalid value "nan"'),
                               (["-o", "f", "--meters", "0"], "--meters: expected a number from 1 to 9999999"), (["-o", "f", "--meters", "x"], 'invalid number of meters "x"'),
                               (["-o", "f", "--kinds", "AMRR"], 'did you mean "AMR"?'), (["-o", "f", "--kinds", "zebra"], 'invalid value "zebra"; expected round, '),
                               (["-o", "f", "--encoding", "utf8"], 'invalid value "utf8"; expected ansi or utf16le'), (["-o", "f", "--return"], 'did you mean "--returned"?')):
            with self.subTest(words=words):
                result = self.run_tool("sample", *words, cwd=self.folder)
                self.assertEqual((result.code, result.out), (2, ""))
                self.assertIn(message, result.err)
                self.assertEqual(os.listdir(self.folder), [])
        page = self.run_tool("sample", "--help")
        self.assertEqual(page.code, 0)
        self.assertTrue(page.out.splitlines()[3].startswith("  tramo sample --meters 1000 --returned -o round.txt"))

    def test_refused_output(self):
        for path, reason in (("/dev/full", "No space left on device"), ("missing/f", "No such file or directory"), (".", "Is a directory")):
            result = self.run_tool("sample", "-o", path, cwd=self.folder)
            self.assertEqual((result.code, result.err), (3, f"tramo: cannot write {path}: {reason}\n"))
        reading, writing = os.pipe()
        os.close(reading)
        done = subprocess.run([TRAMO, "sample", "-o", "-"], stdout=writing, stderr=subprocess.PIPE, env=ENVIRONMENT)
        os.close(writing)
        self.assertEqual((done.returncode, done.stderr), (3, b""))
        self.assertEqual(os.listdir(self.folder), [])


# The checksum of a file of 700 meters detects a change of the tool or the library that changes the bytes.
KNOWN = "f412800d4a181ee8cff9e7aa46e06bed6cfb89cd7cad5690661bed4fa7dc985c"

if __name__ == "__main__":
    unittest.main()
