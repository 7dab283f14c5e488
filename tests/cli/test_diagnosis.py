"""The report of what happened to a whole file, before the findings of its lines."""
import unittest
from support import METER, ROUND, CliTest, file_rules, lines, put, sample, utf16

LF = "f: error: lines end in LF instead of CR LF [LineEndingsLf]: all 172 lines"


class Diagnosis(CliTest):
    def setUp(self):
        super().setUp()
        self.good = sample("round-returned.txt")
        self.unix = self.good.replace(b"\r\n", b"\n")

    def test_it_comes_first_with_a_remedy(self):
        damaged = put(self.unix, 507 + 513 * 3, b"Q")
        out = self.check(damaged).out.splitlines()
        self.assertEqual(out[0], LF)
        self.assertTrue(out[1].startswith("f: help: run: tramo repair -o NEW FILE"), out[1])
        self.assertTrue(out[2].startswith("f:4:507: error: meterFluidType: invalid code"), out[2])

    def test_explained_findings_are_neither_listed_nor_counted(self):
        result = self.check(self.unix)
        self.assertEqual((result.code, result.all_findings), (1, [LF]))
        self.assertIn("\nf: 1 error, 0 warnings\n", result.out)
        self.assertNotIn("LineEndWithoutCR", result.out)
        self.assertEqual(self.check(self.unix, "-q").out, "f: 1 error, 0 warnings in 172 lines\n")

    def test_each_lists_every_finding_of_every_line(self):
        for option in ("--each", "--all"):
            result = self.check(self.unix, option)
            self.assertEqual(len([line for line in result.findings if "[LineEndWithoutCR]" in line]), 172)
            self.assertEqual(result.diagnosis, [LF])
        self.assertIn("\nf: 173 errors, 0 warnings\n", self.check(self.unix, "--each").out)

    def test_findings_of_many_lines_are_one(self):
        content = lines(ROUND, *[put(METER, 507, b"Q")] * 11)
        result = self.check(content)
        self.assertEqual(len(result.findings), 1)
        self.assertIn("\nf: note: 10 more lines have the same finding, the next are 3 and 4; --each lists all\n", result.out)
        self.assertIn("\nf: 11 errors, 0 warnings\n", result.out)
        (finding,) = self.check(content, "--format", "json").json["files"][0]["findings"]
        self.assertEqual((finding["line"], finding["count"], finding["examples"]), (2, 11, [2, 3, 4]))
        (found,) = self.check(content, "--format", "sarif").json["runs"][0]["results"]
        self.assertEqual(found["occurrenceCount"], 11)
        self.assertEqual(len(self.check(lines(ROUND, *[put(METER, 507, b"Q")] * 10)).findings), 10)

    def test_json_and_sarif(self):
        document = self.check(self.unix, "--format", "json").json
        (finding,) = document["files"][0]["findings"]
        self.assertEqual((finding["rule"], finding["count"], finding["examples"]), ("LineEndingsLf", 172, [1, 2, 3]))
        self.assertTrue(finding["help"])
        self.assertNotIn("line", finding)
        self.assertEqual((document["errors"], document["exitCode"]), (1, 1))
        (found,) = self.check(self.unix, "--format", "sarif").json["runs"][0]["results"]
        self.assertEqual((found["ruleId"], found["occurrenceCount"]), ("LineEndingsLf", 172))

    def test_other_formats(self):
        result = self.check(b"PK\3\4 round.txt")
        self.assertEqual((result.code, result.err), (1, ""))
        self.assertEqual(result.all_findings, ["f: error: this is a ZIP archive, not an exchange file [NotExchangeFile]"])

    def test_a_line_that_lost_a_character(self):
        content = self.good.split(b"\r\n")
        content[3] = content[3][:40] + content[3][41:]
        result = self.check(b"\r\n".join(content))
        self.assertEqual(result.all_findings, [
            "f:4: error: line 4 lacks 1 character, most likely in subscriberInformation: every field after column 6 is shifted [CharacterLost]"])

    def test_large_files_have_the_same_diagnosis_with_any_number_of_threads(self):
        for content in (self.unix * 8, b"".join(line.rstrip() + b"\r\n" for line in self.good.split(b"\r\n")[:-1]) * 8, utf16("x") + self.good * 8):
            one = self.check(content, "-j", "1").masked
            for threads in ("2", "7"):
                self.assertEqual(self.check(content, "-j", threads).masked, one)

    def test_good_files_have_none(self):
        for name in ("round-exported.txt", "round-returned.txt", "round-returned-utf16.txt", "tags.txt", "parameters.txt", "amr-keys.txt"):
            self.assertEqual(self.check(sample(name) * (1 if "utf16" in name else 9), "-q", "--rule", "MeterInTwoRounds=off").code, 0, name)

    def test_a_part_of_a_file_is_not_diagnosed(self):
        self.assertEqual(self.check(self.unix, "--lines", "1-5").diagnosis, [])

    def test_a_remedy_names_commands_that_exist(self):
        commands = self.run_tool("help").out
        for rule in file_rules():
            out = self.run_tool("explain", rule).out
            self.assertIn("  remedy", out)
            for words in out.split("tramo ")[1:]:
                self.assertIn(f"\n  {words.split()[0].strip(';,.')} ", commands)


if __name__ == "__main__":
    unittest.main()
