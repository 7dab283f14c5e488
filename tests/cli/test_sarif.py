"""SARIF: documents follow the rules of the standard, and the rules detect violations."""
import copy
import os
import unittest
import sarif
from support import INFORMATION, METER, ROUND, CliTest, file_rules, lines, put

# The rules about rounds, in their order, and those whose findings are hints.
ROUNDS = ["RoundMissing", "LineBeforeRound", "MeterInTwoRounds", "MeterDuplicate", "LineWithoutMeter", "LineMoved",
          "InformationMissing", "InformationUnlike", "CardOrder", "AreaIncomplete", "AreaOutside", "AreaOverlap", "PageUndefined",
          "AnswerAreaUndefined", "AnswerTooLong", "AnswerNotInList", "DateInFuture", "ReadingAfterUpdate", "ReadingBeforePrevious",
          "ReadingBeforeInstallation", "IndexAboveWheels", "ReadingBelowPrevious", "ConsumptionUnlike", "ConsumptionFarFromEstimate",
          "EstimateInverted", "HistoryUnordered", "LeakWithoutConsumption", "FraudWithoutConsumption", "ChangeToSameMeter",
          "ChangeBeforePrevious", "PositionAtZero", "PositionOutside", "PositionFar"]
HINTS = {"LineMoved", "InformationUnlike", "CardOrder", "AnswerNotInList", "DateInFuture", "ConsumptionFarFromEstimate", "HistoryUnordered"}

DAMAGED = lines(put(ROUND, 499, b"20241301"), put(METER, 507, b"Q"), put(METER, 1, b"8"), METER[:300], b"", METER + b"xyz",
                put(METER, 240, b"\0"), put(ROUND, 2, b" " * 8)) + METER


class Documents(CliTest):
    def sarif(self, content, *options):
        document = self.check(content, "--each", "--format", "sarif", *options).json
        sarif.validate(document)
        run = document["runs"][0]
        run["results"] = [result for result in run["results"] if result["ruleId"] not in {*file_rules(), *ROUNDS}]
        return run

    def test_findings(self):
        run = self.sarif(DAMAGED)
        self.assertEqual([result["ruleId"] for result in run["results"]], [
            "ParseDate", "ParseFluidType", "LineLetterUnknown", "LineTooShort", "LineEmpty", "LineTooLong", "ZeroCharacter",
            "MandatoryMissing", "LineEndMissing"])
        first = run["results"][0]
        self.assertEqual(first["level"], "error")
        self.assertEqual(first["message"]["text"], 'roundImportDate: invalid date "20241301" [ParseDate 0x01B]: there is no month 13; '
                         "the format reports this error at column 8")
        self.assertEqual(first["locations"], [{
            "physicalLocation": {"artifactLocation": {"uri": "f"}, "region": {"startLine": 1, "startColumn": 499, "endColumn": 507}},
            "logicalLocations": [{"name": "roundImportDate", "fullyQualifiedName": "round.roundImportDate", "kind": "member"}]}])
        self.assertEqual(run["results"][7]["level"], "warning")
        self.assertEqual(run["columnKind"], "utf16CodeUnits")
        self.assertEqual(run["artifacts"], [{"location": {"uri": "f"}, "length": len(DAMAGED)}])
        self.assertEqual(run["invocations"], [{"executionSuccessful": True, "exitCode": 1, "toolExecutionNotifications": []}])

    def test_findings_about_whole_lines_have_no_column(self):
        for result in self.sarif(DAMAGED)["results"]:
            region = result["locations"][0]["physicalLocation"]["region"]
            whole = result["ruleId"] in ("LineTooShort", "LineEmpty", "LineEndMissing")
            self.assertEqual("startColumn" in region, not whole, result)

    def test_findings_about_a_whole_file_have_no_line(self):
        (result,) = self.sarif(b"")["results"]
        self.assertEqual((result["ruleId"], "region" in result["locations"][0]["physicalLocation"]), ("FileEmpty", False))

    def test_no_errors_or_warnings(self):
        run = self.sarif(lines(ROUND, put(INFORMATION, 7, b"     ")))
        self.assertEqual((run["results"], run["invocations"][0]["exitCode"]), ([], 0))

    def test_every_rule_is_described(self):
        rules = self.sarif(lines(ROUND))["tool"]["driver"]["rules"]
        levels = {rule["id"]: rule["defaultConfiguration"]["level"] for rule in rules}
        self.assertEqual({name for name, level in levels.items() if level == "warning"},
                         {name for name in levels if name.startswith("Mandatory")} | {
                             "FileEmpty", "ZeroBehindAlarmFlags", "KeyMemberIgnored", "TextIgnored", "KeyLineDuplicate",
                             "KeyNotHexadecimal"} | set(ROUNDS) - HINTS)
        self.assertEqual({name for name, level in levels.items() if level == "note"}, HINTS)
        names = [rule["id"] for rule in rules]
        self.assertEqual(names[-61:-26], ["KeyLineDuplicate", "KeyNotHexadecimal", *ROUNDS])
        self.assertEqual(names[-26:], [
            "NotExchangeFile", "NulBlock", "CutOff", "TextIsUtf8", "TextIsUtf8Twice", "Utf16NoBom", "Utf16BigEndian", "DosText", "MacText",
            "LineEndingsLf", "LineEndingsCr", "LineEndingsCrCrLf", "DoubleSpaced", "LastLineEnding", "CtrlZ", "BlankLines", "Trimmed",
            "Wrapped", "RightPartLost", "Quoted", "LeadingSpace", "Tabs", "NoBreakSpaces", "SpacesCollapsed", "CharacterLost",
            "CharacterAdded"])
        self.assertEqual({rule["id"] for rule in rules if "help" in rule}, set(names[-59:]))
        self.assertIn("ParseDateTime", levels)
        self.assertNotIn("BuildDate", levels)
        strict = self.sarif(lines(ROUND), "--strict")["tool"]["driver"]["rules"]
        self.assertEqual({rule["defaultConfiguration"]["level"] for rule in strict if rule["id"] not in HINTS}, {"error"})

    def test_strict(self):
        self.assertEqual({result["level"] for result in self.sarif(DAMAGED, "--strict")["results"]}, {"error"})

    def test_max_findings(self):
        self.assertEqual(self.sarif(DAMAGED, "--max-findings", "2")["results"], [])  # both are about the file
        run = self.sarif(put(METER, 1, b"8") + b"\r\n" + lines(put(METER, 507, b"Q")) * 8, "--max-findings", "2")
        self.assertEqual(len(run["results"]), 2)
        (note,) = run["invocations"][0]["toolExecutionNotifications"]
        self.assertEqual((note["level"], note["message"]["text"]), ("note", "7 more findings not listed"))

    def test_unreadable_file(self):
        self.write("f", DAMAGED)
        result = self.run_tool("check", "--format", "sarif", "f", "missing", cwd=self.folder)
        sarif.validate(result.json)
        (invocation,) = result.json["runs"][0]["invocations"]
        self.assertEqual((result.code, invocation["exitCode"], invocation["executionSuccessful"]), (2, 2, False))
        (note,) = invocation["toolExecutionNotifications"]
        self.assertEqual((note["level"], note["message"]["text"]), ("error", "The file cannot be read: No such file or directory"))

    def test_names_of_files(self):
        os.mkdir(f"{self.folder}/sub")
        for name, uri in (("a b", "a%20b"), ("50%", "50%25"), ("a:b", "a%3Ab"), ("\u00e9#?", "%C3%A9%23%3F"), ("sub/../f-1_2.~x", "sub/../f-1_2.~x")):
            self.write(os.path.basename(name), DAMAGED)
            document = self.run_tool("check", "--format", "sarif", name, cwd=self.folder).json
            sarif.validate(document)
            self.assertEqual(document["runs"][0]["artifacts"][0]["location"]["uri"], uri)
        document = self.run_tool("check", "--format", "sarif", f"{self.folder}/a b").json
        sarif.validate(document)
        self.assertEqual(document["runs"][0]["artifacts"][0]["location"]["uri"], f"file://{self.folder}/a%20b")
        document = self.run_tool("check", "--format", "sarif", "-", stdin=DAMAGED).json
        sarif.validate(document)
        self.assertEqual(document["runs"][0]["artifacts"][0]["location"]["uri"], "%3Cstdin%3E")

    def test_samples(self):
        names = ("round-broken.txt", "round-damaged.txt", "round-returned-utf16.txt", "tags.txt", "parameters.txt", "amr-keys.txt")
        for options in ((), ("--all",)):
            sarif.validate(self.run_tool("check", "--format", "sarif", *options, *(f"samples/{name}" for name in names)).json)


class Rules(CliTest):
    """The checker itself: each of these errors makes a valid document invalid."""

    def test_errors_are_detected(self):
        good = self.check(DAMAGED, "--format", "sarif").json
        sarif.validate(good)

        def region(document):
            return document["runs"][0]["results"][0]["locations"][0]["physicalLocation"]["region"]
        slips = {
            "column 0": lambda d: region(d).update(startColumn=0),
            "line 0": lambda d: region(d).update(startLine=0),
            "column is text": lambda d: region(d).update(startColumn="1"),
            "ends before it starts": lambda d: region(d).update(endColumn=1),
            "no version": lambda d: d.pop("version"),
            "no driver name": lambda d: d["runs"][0]["tool"]["driver"].pop("name"),
            "no message": lambda d: d["runs"][0]["results"][0].pop("message"),
            "unknown level": lambda d: d["runs"][0]["results"][0].update(level="fatal"),
            "index of another rule": lambda d: d["runs"][0]["results"][0].update(ruleIndex=0),
            "rule twice": lambda d: d["runs"][0]["tool"]["driver"]["rules"].append(d["runs"][0]["tool"]["driver"]["rules"][0]),
            "unknown member": lambda d: d["runs"][0].update(result=[]),
            "blank in a URI": lambda d: d["runs"][0]["artifacts"][0]["location"].update(uri="a b"),
            "path as a URI": lambda d: d["runs"][0]["artifacts"][0]["location"].update(uri="/f"),
            "success is text": lambda d: d["runs"][0]["invocations"][0].update(executionSuccessful="yes"),
        }
        for name, slip in slips.items():
            document = copy.deepcopy(good)
            slip(document)
            with self.subTest(name), self.assertRaises(sarif.Invalid):
                sarif.validate(document)


if __name__ == "__main__":
    unittest.main()
