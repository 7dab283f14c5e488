"""The rules about rounds: each finds its faults and nothing else, and valid files have no findings."""
import json
import os
import random
import subprocess
import unittest
from support import TRAMO, CliTest

# How many files each test makes: TRAMO_FILES faults of each rule, and three times as many valid files; or a few.
FILES = int(os.environ.get("TRAMO_FILES", 0))
SAMPLES = os.path.abspath("samples")
TYPOGRAPHIC = "’“”–…€œŒ"


def rules():
    """Returns the rules about rounds, in their order."""
    out = subprocess.run([TRAMO, "explain", "--format", "json"], capture_output=True, check=True).stdout
    return [rule["rule"] for rule in json.loads(out)["rules"] if rule.get("about") == "rounds"]


def key(finding):
    return str([finding.get(name) for name in ("line", "column", "rule", "code", "kind", "field")])


class Rounds(CliTest):
    def make(self, *options):
        return self.run_tool("sample", *options, "--force", "-o", "f", cwd=self.folder).code

    def content(self, name="f"):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def write(self, content, name="f"):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(content)

    def check(self, *options, name="f"):
        result = self.run_tool("check", "--format", "json", *options, name, cwd=self.folder)
        return result.json["files"][0]

    def found(self, *options):
        return sorted(map(key, self.check(*options)["findings"]))

    def expected(self):
        return sorted(map(key, map(json.loads, self.content("f.expected.jsonl").decode().splitlines())))


class Faults(Rounds):
    """Each rule finds the faults that sample makes for it, where they are, and no other rule finds anything."""

    def test_each_rule_finds_its_faults(self):
        self.assertGreaterEqual(len(rules()), 23)
        for number, rule in enumerate(rules()):
            made = 0
            for seed in range(10 * (FILES or 2)):
                options = ["--seed", str(seed * 100 + number), "--meters", str(40 + seed * 7 % 160), "--faults", rule]
                if seed % 2:
                    options += ["--encoding", "utf16le"]
                if seed % 5 or self.make(*options):   # some rules have faults in exported rounds, too
                    if self.make(*options, "--returned"):
                        continue
                made += 1
                self.assertEqual(self.found(), self.expected(), options)
                self.assertTrue(self.expected(), options)
                if made == (FILES or 2):
                    break
            self.assertEqual(made, FILES or 2, rule)

    def test_names_no_rule_twice(self):
        self.assertEqual(len(set(rules())), len(rules()))

    def test_says_what_is_wrong_with_the_command_line(self):
        for options, message in ((["--faults", "LineMovd"], 'did you mean "LineMoved"?'),
                                 (["--faults", "PositionFar"], "this round has no place for an error that PositionFar finds; try --returned"),
                                 (["--faults", "CardOrder", "--meters", "1001"], "--faults CardOrder needs one round"),
                                 (["--faults", "1.5"], "expected a number from 0 to 1 or a rule about rounds")):
            result = self.run_tool("sample", *options, "-o", "x", cwd=self.folder)
            self.assertEqual(result.code, 2)
            self.assertIn(message, result.err)
            self.assertFalse(os.path.exists(os.path.join(self.folder, "x")))


class ValidFiles(Rounds):
    """No rule about rounds says anything about valid files of all kinds."""

    def typographic(self, seed):
        """Replaces letters of texts in UTF-16 by some that Windows-1252 has, but Latin-1 has not."""
        chosen = random.Random(seed)
        lines = self.content().decode("utf-16").split("\r\n")
        for number, line in enumerate(lines):
            if line[:1] == "1":
                at = 5 + chosen.randrange(20)
                lines[number] = line[:at] + chosen.choice(TYPOGRAPHIC) + line[at + 1:]
        self.write(b"\xff\xfe" + "\r\n".join(lines).encode("utf-16-le"))

    def test_have_no_findings(self):
        for seed in range(3 * FILES or 24):
            kind = seed % 8
            if kind < 5:
                options = ["--seed", str(seed), "--meters", str(1 + seed * 37 % 2200)]
                self.assertEqual(self.make(*options, *(["--returned"] if seed % 3 else []),
                                           *(["--encoding", "utf16le"] if kind in (3, 4) else [])), 0)
                if kind == 4:
                    self.typographic(seed)
            elif kind == 5:
                self.write(b"".join(b"%02dTag %-17d\r\n" % (i, seed * 7 + i) for i in range(1 + seed % 40)))
            elif kind == 6:
                self.write(b"".join(b"KEY%05dVal\x92ue \xe9 %-23d\r\n" % (i, seed + i) for i in range(1 + seed % 40)))
            else:
                with open(os.path.join(SAMPLES, "amr-keys.txt"), "rb") as file:
                    self.write(b"".join(file.readlines()[:1 + seed % 8]))
            checked = self.check()
            self.assertEqual(checked["findings"], [], (seed, kind))
            self.assertGreater(checked["summary"]["lines"], 0)


class Order(Rounds):
    """Other orders of lines, and what is missing together with something else."""

    def lines(self, *options):
        self.assertEqual(self.make("--returned", "--meters", "30", *options), 0)
        return self.content().split(b"\r\n")[:-1]

    def rules_found(self, lines, *options):
        self.write(b"".join(line + b"\r\n" for line in lines))
        return [finding["rule"] for finding in self.check(*options)["findings"]]

    def test_lines_by_kind_are_no_moved_lines(self):
        lines = self.lines()
        self.assertEqual(self.rules_found(sorted(lines, key=lambda line: line[:1])), [])

    def test_lines_before_their_meter_belong_to_it(self):
        lines = self.lines()
        middle = [line for line in lines if line[:1] not in (b"0", b"9")]
        self.assertEqual(self.rules_found([lines[0], *reversed(middle), lines[-1]], "--rule", "CardOrder=off", "--rule", "LineMoved=off"), [])

    def test_unreadable_meter_explains_lines_without_meter(self):
        lines = self.lines()
        meters = [number for number, line in enumerate(lines) if line[:1] == b"1" and lines[number + 1][:1] == b"2"]
        for change in (lambda line: b"", lambda line: line[:300], lambda line: b"M" + line[1:], lambda line: line + b"  "):
            changed = list(lines)
            changed[meters[3]] = change(lines[meters[3]])
            found = self.check_lines(changed)
            self.assertFalse(set(found) & set(rules()), found)
        changed = list(lines)
        changed[meters[3]] = lines[meters[3]][:351] + b"OTHER       " + lines[meters[3]][363:]
        self.assertEqual(set(self.rules_found(changed)), {"LineWithoutMeter"})

    def check_lines(self, lines):
        return self.rules_found(lines, "--each")

    def test_unreadable_last_lines_explain_a_missing_end(self):
        lines = self.lines()
        self.assertEqual(self.rules_found(lines[:-1]), ["InformationMissing"])
        self.assertNotIn("InformationMissing", self.rules_found([*lines[:-1], lines[-1][:200]]))

    def test_unreadable_round_line_explains_a_missing_one(self):
        lines = self.lines()
        self.assertEqual(self.rules_found(lines[1:]), ["RoundMissing"])
        self.assertNotIn("RoundMissing", self.rules_found([lines[0][:200], *lines[1:]]))

    def test_noise_is_no_finding(self):
        """What is usual in the field: several rounds, unread meters without a reason, other history dates, other radio indexes."""
        self.assertEqual(self.make("--returned", "--meters", "2300"), 0)
        lines = self.content().split(b"\r\n")[:-1]
        number = next(i for i, line in enumerate(lines) if line[:1] == b"1" and line[156:164].strip() and lines[i + 1][:1] == b"2")
        lines[number] = lines[number][:156] + b"20230701" + lines[number][164:]
        if lines[number + 1][361:377].strip():
            lines[number + 1] = lines[number + 1][:361] + b"%16s" % b"12345.000000" + lines[number + 1][377:]
        self.assertEqual(self.rules_found(lines), [])


class Severities(Rounds):
    """--rule changes what findings are, or leaves them out."""

    def setUp(self):
        super().setUp()
        self.assertEqual(self.make("--returned", "--faults", "PositionAtZero"), 0)

    def severity(self, *options):
        checked = self.check(*options)
        return [finding["severity"] for finding in checked["findings"]], checked["summary"]

    def test_each_severity(self):
        for word, code in (("error", 1), ("warning", 1), ("hint", 0)):
            found, summary = self.severity("--rule", "PositionAtZero=" + word)
            self.assertEqual(found, [word])
            self.assertEqual({name: summary[name] for name in ("errors", "warnings", "hints")},
                             {name: int(name == word + "s") for name in ("errors", "warnings", "hints")})
            self.assertEqual(self.run_tool("check", "f", "--rule", "PositionAtZero=" + word, cwd=self.folder).code, code)
        self.assertEqual(self.severity("--rule", "PositionAtZero=off")[0], [])
        self.assertEqual(self.severity("--rule", "PositionAtZero=off", "--rule", "PositionAtZero=hint")[0], ["hint"])
        self.assertEqual(self.severity("--rule", "PositionAtZero=hint", "--rule", "PositionAtZero=off")[0], [])

    def test_strict_and_chosen_severities(self):
        self.assertEqual(self.severity("--strict")[0], ["error"])
        self.assertEqual(self.severity("--strict", "--rule", "PositionAtZero=warning")[0], ["warning"])

    def test_any_rule(self):
        """Also those of fields and of whole files."""
        with open(os.path.join(SAMPLES, "round-broken.txt"), "rb") as file:
            broken = file.read()
        self.write(broken)
        before = self.check("--each")["summary"]
        after = self.check("--each", "--rule", "ParseDouble=off", "--rule", "TextIgnored=hint")["summary"]
        self.assertEqual(before["errors"] - after["errors"], 31)
        self.assertEqual((before["warnings"] - after["warnings"], after["hints"]), (30, 30))
        self.write(broken.replace(b"\r\n", b"\n"))
        self.assertEqual(self.check()["findings"][0]["rule"], "LineEndingsLf")
        self.assertEqual(self.check("--rule", "LineEndingsLf=hint")["findings"][0]["severity"], "hint")
        self.assertIn("LineEndWithoutCR", [finding["rule"] for finding in self.check("--rule", "LineEndingsLf=off")["findings"]])

    def test_every_rule_can_be_off(self):
        everything = [word for rule in json.loads(self.run_tool("explain", "--format", "json").out)["rules"]
                      for word in ("--rule", rule["rule"] + "=off")]
        for name in ("round-broken.txt", "round-damaged.txt"):
            result = self.run_tool("check", "--each", *everything, os.path.join(SAMPLES, name))
            self.assertEqual(result.code, 0, result.out)

    def test_wrong_words(self):
        for word, message in (("PositionAtZro=off", 'unknown rule "PositionAtZro"; did you mean "PositionAtZero"?'),
                              ("Nonsense=off", 'unknown rule "Nonsense"; "tramo explain" lists the rules'),
                              ("PositionAtZero", "--rule: the severity is missing; expected PositionAtZero=off"),
                              ("PositionAtZero=loud", '--rule: invalid value "loud"; expected off, hint, warning or error')):
            result = self.run_tool("check", "--rule", word, "f", cwd=self.folder)
            self.assertEqual(result.code, 2)
            self.assertIn(message, result.err)

    def test_text_shows_hints_apart(self):
        result = self.run_tool("check", "f", "--rule", "PositionAtZero=hint", cwd=self.folder)
        self.assertRegex(result.out, r"(?m)^f:\d+:14: hint: the position is at latitude 0")
        self.assertIn("f: no errors or warnings, 1 hint\n", result.out)

    def test_explain_describes_each_rule(self):
        for rule in rules():
            result = self.run_tool("explain", rule)
            self.assertEqual(result.code, 0)
            for word in ("meaning", "severity", "remedy", f"tramo check --rule {rule}=off"):
                self.assertIn(word, result.out)


class Threads(Rounds):
    """Any number of threads gives the same report."""

    def test_same_report(self):
        parts = []
        for number, rule in enumerate(rules()):
            if rule not in ("RoundMissing", "InformationMissing", "LineBeforeRound", "InformationUnlike") and \
                    self.make("--returned", "--meters", "200", "--seed", str(number), "--faults", rule) == 0:
                parts.append(self.content())
        self.write(b"".join(parts))
        for options in ((), ("--each",), ("--format", "json", "--each"), ("--format", "sarif"), ("--max-findings", "7")):
            outputs = {self.without_time(self.run_tool("check", "f", *options, "-j", threads, cwd=self.folder).out)
                       for threads in ("1", "2", "7") for _ in range(2)}
            self.assertEqual(len(outputs), 1, options)
        self.assertGreater(len(self.check("--each")["findings"]), 20)

    @staticmethod
    def without_time(text):
        return "\n".join(line for line in text.split("\n") if " s" != line[-2:] and '"seconds"' not in line)


class Keys(Rounds):
    def test_key_lines_among_records_change_nothing(self):
        self.assertEqual(self.make("--returned", "--meters", "30"), 0)
        with open(os.path.join(SAMPLES, "amr-keys.txt"), "rb") as file:
            self.write(self.content() + file.read())
        self.assertEqual(self.check()["findings"], [])


if __name__ == "__main__":
    unittest.main()
