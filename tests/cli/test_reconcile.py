"""reconcile: what a round brought back, and every difference that must be looked at, and no other.

TRAMO_RECONCILE=all compares all the pairs of the goal: 500 and more differences in each of 12 pairs."""
import csv
import io
import json
import os
import unittest
from collections import Counter
from support import METER, ROUND, CliTest, lines, put, sample, sample_line, utf16

ALL = os.environ.get("TRAMO_RECONCILE") == "all"
AMR, PAGE, PLACE, ANSWER, CHANGE = (sample_line(letter) for letter in (b"2", b"5", b"7", b"6", b"3"))
SERIAL = METER[351:363].decode().strip()


def of_meter(line, column):
    """Returns a line of another meter as one of METER."""
    return put(line, column, METER[351:363])


class Reconcile(CliTest):
    def reconcile(self, exported, returned, *options, code=None):
        self.write("exported", exported)
        self.write("returned", returned)
        result = self.run_tool("reconcile", "exported", "returned", *options, cwd=self.folder)
        self.assertEqual(result.err, "")
        if code is not None:
            self.assertEqual(result.code, code, result.out)
        return result

    def differences(self, exported, returned, plausible=True):
        """Returns the differences; of lines written for another rule, without what is not plausible about them."""
        report = self.reconcile(exported, returned, "--format", "json").json
        found = [{name: difference[name] for name in ("what", "meter", "kind", "field") if name in difference} for difference in report["toLookAt"]]
        self.assertEqual(len(found), report["differences"])
        return [difference for difference in found if plausible or difference["what"] != "implausible"]

    def assert_clean(self, exported, returned):
        self.assertEqual(self.differences(exported, returned), [])
        self.assertIn("nothing must be looked at", self.reconcile(exported, returned, code=0).out)

    def assert_no_difference(self, exported, returned):
        self.assertEqual(self.differences(exported, returned, plausible=False), [])

    def assert_difference(self, returned, exported=None, **expected):
        """One difference from an exported round of a meter."""
        self.assertEqual(self.differences(exported or lines(ROUND, METER), returned, plausible=False), [expected])
        self.assertRegex(self.reconcile(exported or lines(ROUND, METER), returned, code=1).out, r"\n\d+ differences? must be looked at\n")


class Pairs(Reconcile):
    def sample(self, name, *options):
        self.run_tool("sample", "-o", name, "--force", *options, cwd=self.folder)
        return self.content(os.path.join(self.folder, name))

    def test_known_differences(self):
        """Finds all of them, and no other."""
        expected_in_all = 0
        for seed in range(12 if ALL else 3):
            for encoding in ("ansi", "utf16le") if seed == 0 else ("ansi",):
                common = ["--meters", "6000" if ALL else "1200", "--seed", str(seed), "--encoding", encoding]
                exported, returned = self.sample("e", *common), self.sample("r", *common, "--returned", "--differences", "0.12")
                expected = [json.loads(line) for line in self.content(os.path.join(self.folder, "r.expected.jsonl")).splitlines()]
                key = lambda difference: json.dumps(difference, sort_keys=True)
                found = Counter(map(key, self.differences(exported, returned, plausible=False)))
                self.assertEqual(found, Counter(map(key, expected)))
                self.assertGreater(len(expected), 500 if ALL else 80)
                self.assertEqual({difference["what"] for difference in expected} - {"fieldChanged"},
                                 {"meterMissing", "meterAdded", "lineMissing", "lineOfNobody"})
                expected_in_all += len(expected)
        self.assertGreater(expected_in_all, 6000 if ALL else 300)

    def test_rounds_without_differences(self):
        for seed in range(30 if ALL else 6):
            common = ["--meters", "300", "--seed", str(seed)]
            exported, returned = self.sample("e", *common), self.sample("r", *common, "--returned")
            self.assert_clean(exported, returned)
            self.assert_clean(exported, utf16(returned.decode("latin-1")))
            self.assert_clean(exported, exported)

    def test_samples(self):
        self.assert_clean(sample("round-exported.txt"), sample("round-returned.txt"))
        self.assert_clean(sample("round-exported.txt"), sample("round-returned-utf16.txt"))

    def test_anonymized_pairs_have_the_same_differences(self):
        exported, returned = self.sample("e", "--meters", "300"), self.sample("r", "--meters", "300", "--returned", "--differences", "0.3")
        self.write("key", b"a key of the tests")
        self.assertEqual(self.run_tool("anonymize", "--key", "key", "e", "r", "-o", "all", cwd=self.folder).code, 0)
        without = lambda found: [{name: difference[name] for name in difference if name != "meter"} for difference in found]
        self.assertEqual(without(self.differences(exported, returned)),
                         without(self.differences(*(self.content(os.path.join(self.folder, "all", name)) for name in ("e", "r")))))

    def test_options_of_sample(self):
        for words in (["--differences", "0.1", "-o", "x"], ["--differences", "0.1", "--returned", "-o", "-"], ["--differences", "2", "--returned", "-o", "x"],
                      ["--differences", "0.1", "--faults", "0.1", "--returned", "-o", "x"]):
            self.assertEqual(self.run_tool("sample", *words, cwd=self.folder).code, 2, words)
        self.assertEqual(os.listdir(self.folder), [])


class Rules(Reconcile):
    def test_what_may_change(self):
        returned = METER
        for column, text in ((366, b"X99AB0000001"), (378, b" 7"), (426, b"202402010830"), (438, b"      9999"), (448, b"2"), (449, b"       123"),
                             (459, b"M"), (462, b"CH"), (464, b"Chien".ljust(30)), (494, b"202402011700"), (508, b"AG99 ")):
            returned = put(returned, column, text)
            self.assert_no_difference(lines(ROUND, METER), lines(ROUND, put(METER, column, text)))
        module = of_meter(AMR, 26)
        other = put(put(put(module, 354, b"20240201"), 388, b"FF0F"), 457, b"202402010830 3")
        added = [of_meter(CHANGE, 2), of_meter(sample_line(b"4"), 18), of_meter(ANSWER, 3), of_meter(PLACE, 2)]
        self.assert_no_difference(lines(ROUND, METER, module), lines(ROUND, returned, other, *added))

    def test_implausible_readings(self):
        returned = put(METER, 438, b"         7")   # below the previous index
        found = self.reconcile(lines(ROUND, METER), lines(ROUND, returned), "--format", "json", code=1).json["toLookAt"]
        self.assertEqual({(difference["what"], difference["meter"], difference["returnedLine"]) for difference in found}, {("implausible", SERIAL, 2)})
        self.assertIn("ReadingBelowPrevious", {difference["rule"] for difference in found})
        self.assertIn("[ReadingBelowPrevious]", self.reconcile(lines(ROUND, METER), lines(ROUND, returned), code=1).out)

    def test_what_may_not_change(self):
        for column, text, field in ((2, b"   9", "subscriberCardOrder"), (6, b"DUPONT", "subscriberInformation"), (240, b"DUPONT", "meterInformation"),
                                    (364, b" 9", "meterWheels"), (380, b"1999", "meterInstallationYear"), (384, b"20230101", "meterPreviousReadingDate"),
                                    (392, b"         1", "meterPreviousReadingIndex"), (402, b"   99.000000", "meterMinEstimatedConsumption"),
                                    (460, b"ZZ", "subscriberMarkingCode"), (506, b"0", "meterAuthorizedChange"), (507, b"G", "meterFluidType"),
                                    (165, b"        99", "meterHistory1Consumption"), (364, b"  ", "meterWheels"), (384, b"20231340", "meterPreviousReadingDate")):
            if METER[column - 1:column - 1 + len(text)] == text:
                text = text.replace(b"0", b"1")
            self.assert_difference(lines(ROUND, put(METER, column, text)), what="fieldChanged", meter=SERIAL, kind="meter subscriber", field=field)
        module = of_meter(AMR, 26)
        for column, text, field in ((2, b"20200101", "installationDate"), (56, b"OTHER", "referance"), (104, b"FFFF", "data"), (260, b"        1.000000", "previousMeterIndex")):
            self.assert_difference(lines(ROUND, METER, put(module, column, text)), lines(ROUND, METER, module), what="fieldChanged", meter=SERIAL, kind="AMR", field=field)
        self.assert_difference(lines(put(ROUND, 10, b"OTHER"), METER), what="fieldChanged", kind="round", field="name")
        self.assert_difference(lines(put(ROUND, 2, b"OTHER   "), METER), what="fieldChanged", kind="round", field="code")
        self.assert_difference(lines(ROUND, put(PAGE, 3, b"OTHER"), METER), lines(ROUND, PAGE, METER), what="fieldChanged", kind="enquiry definition", field="labelA")

    def test_another_form_of_the_same_value(self):
        exported = put(put(METER, 2, b"1   "), 392, b"5998      ")
        self.assert_no_difference(lines(ROUND, exported), lines(ROUND, put(put(METER, 2, b"   1"), 392, b"      5998")))
        self.assert_no_difference(lines(put(ROUND, 277, b"A"), METER), lines(put(ROUND, 277, b"2"), METER))   # written as another code
        self.assert_no_difference(lines(ROUND, put(METER, 402, b"32          ")), lines(ROUND, put(METER, 402, b"   32.000000")))

    def test_lines_that_are_missing_or_were_added(self):
        module = of_meter(AMR, 26)
        self.assert_difference(lines(ROUND, METER), lines(ROUND, METER, module), what="lineMissing", meter=SERIAL, kind="AMR")
        self.assert_difference(lines(ROUND, METER, module), what="lineAdded", meter=SERIAL, kind="AMR")
        self.assert_difference(lines(ROUND, METER), lines(ROUND, METER, of_meter(PLACE, 2)), what="lineMissing", meter=SERIAL, kind="extended data")
        self.assert_difference(lines(ROUND, METER), lines(ROUND, PAGE, METER), what="lineMissing", kind="enquiry definition")
        self.assert_difference(lines(ROUND, PAGE, METER), what="lineAdded", kind="enquiry definition")
        self.assert_difference(lines(ROUND, METER, put(PLACE, 2, b"Z00000000001")), what="lineOfNobody", meter="Z00000000001", kind="extended data")

    def test_modules_in_another_order(self):
        one, two = of_meter(AMR, 26), put(of_meter(AMR, 26), 72, b"4C39999999      ")
        self.assert_no_difference(lines(ROUND, METER, one, two), lines(ROUND, METER, two, one))

    def test_meters(self):
        other = put(METER, 352, b"Z00000000001")
        self.assert_difference(lines(ROUND, METER), lines(ROUND, METER, other), what="meterMissing", meter="Z00000000001", kind="meter subscriber")
        self.assert_difference(lines(ROUND, METER, other), what="meterAdded", meter="Z00000000001", kind="meter subscriber")
        self.assert_no_difference(lines(ROUND, METER, other), lines(ROUND, other, METER))   # in another order
        self.assert_no_difference(lines(ROUND, METER, METER), lines(ROUND, METER, METER))   # twice
        self.assert_difference(lines(ROUND, METER), lines(ROUND, METER, METER), what="meterMissing", meter=SERIAL, kind="meter subscriber")

    def test_a_replaced_meter_under_its_new_serial_number(self):
        change = put(of_meter(CHANGE, 2), 14, b"N24000500007")
        for serial in (METER[351:363], b"N24000500007"):
            returned = lines(ROUND, put(METER, 352, serial), change)
            self.assert_no_difference(lines(ROUND, METER), returned)
            self.assertEqual(self.reconcile(lines(ROUND, METER), returned, "--format", "json").json["rounds"][0]["replaced"], 1)

    def test_several_rounds(self):
        second, meter = put(ROUND, 2, b"OTHER   "), put(METER, 352, b"Z00000000001")
        both = lines(ROUND, METER, second, meter)
        self.assert_no_difference(both, lines(second, meter, ROUND, METER))
        self.assertEqual(self.differences(both, lines(ROUND, METER), plausible=False), [{"what": "meterMissing", "meter": "Z00000000001", "kind": "meter subscriber"}])
        report = self.reconcile(both, lines(ROUND, METER), "--format", "json").json
        self.assertEqual([(part["wasExported"], part["cameBack"]) for part in report["rounds"]], [(True, True), (True, False)])

    def test_different_files(self):
        other = lines(put(ROUND, 2, b"OTHER   "), put(METER, 352, b"Z00000000001"))
        result = self.reconcile(lines(ROUND, METER), other, code=1)
        self.assertIn("the files have no meter in common: are they the same round?", result.out)

    def test_malformed_lines(self):
        self.assert_difference(lines(ROUND, METER, PLACE[:100] + b"x"), what="malformed")
        self.assert_no_difference(lines(ROUND, METER), lines(ROUND, METER, b""))

    def test_empty_files(self):
        self.assert_clean(b"", b"")
        self.assertEqual(self.differences(lines(ROUND, METER), b""), [{"what": "meterMissing", "meter": SERIAL, "kind": "meter subscriber"}])
        self.assertEqual(self.differences(b"", lines(ROUND, METER), plausible=False), [{"what": "meterAdded", "meter": SERIAL, "kind": "meter subscriber"}])


class Reports(Reconcile):
    def test_numbers(self):
        report = self.reconcile(sample("round-exported.txt"), sample("round-returned.txt"), "--format", "json", code=0).json["rounds"][0]
        old = [line for line in sample("round-returned.txt").split(b"\r\n") if line]
        read = [line for line in old if line[:1] == b"1" and line[425:437].strip()]
        meters = [line for line in old if line[:1] == b"1"]
        self.assertEqual((report["exportedMeters"], report["read"], report["unread"]), (len(meters), len(read), len(meters) - len(read)))
        count = lambda first, last: {key: number for key, number in Counter(line[first - 1:last].decode().strip() for line in read).items()}
        self.assertEqual((report["byStatus"], report["byMethod"], report["byAgent"]), (count(448, 448), count(459, 459), count(508, 512)))
        self.assertEqual({day.replace("-", ""): number for day, number in report["byDay"].items()}, count(426, 433))
        self.assertEqual(report["located"], len({line[1:13] for line in old if line[:1] == b"7"}))
        self.assertEqual(report["answered"], len({line[2:14] for line in old if line[:1] == b"6"}))
        self.assertEqual(report["replaced"], sum(line[:1] == b"3" for line in old))
        self.assertEqual([meter["state"] for meter in report["meters"]].count("read"), len(read))

    def test_csv(self):
        result = self.reconcile(sample("round-exported.txt"), sample("round-broken.txt"), "--format", "csv", code=1)
        rows = list(csv.DictReader(io.StringIO(result.raw.decode())))
        self.assertEqual(len(rows), 60)
        self.assertEqual(Counter(row["state"] for row in rows), {"read": 52, "unread": 7, "missing": 1})
        self.assertTrue(all(None not in row and None not in row.values() for row in rows))
        self.assertIn('meterWheels has changed from "5" to "VA"', [row["toLookAt"] for row in rows])
        formula = put(put(METER, 352, b"=1+1        "), 508, b"@SUM ")
        self.assertIn(",\\u003d1+1,", self.reconcile(lines(ROUND, formula), lines(ROUND, formula), "--format", "csv", code=0).raw.decode())

    def test_a_long_list(self):
        exported = b"".join(lines(put(METER, 352, b"Z%011d" % number)) for number in range(100))
        result = self.reconcile(lines(ROUND) + exported, lines(ROUND), code=1)
        self.assertIn("\n  ... and 60 more; --all lists them\n", result.out)
        self.assertEqual(self.reconcile(lines(ROUND) + exported, lines(ROUND), "--all").out.count("did not come back"), 100)

    def test_text_is_harmless(self):
        meter = put(put(METER, 6, b"\x1b[31mred"), 352, b"\x1b]0;x\x07Z")
        for form in ("text", "json", "csv"):
            result = self.reconcile(lines(ROUND, METER), lines(ROUND, meter), "--format", form)
            self.assertNotIn(b"\x1b", result.raw)
        changed = self.reconcile(lines(ROUND, METER), lines(ROUND, put(METER, 6, b"\x1b[31mred")))
        self.assertNotIn(b"\x1b", changed.raw)
        self.assertIn("\\x1b[31mred", changed.out)

    def test_key_lines_are_not_shown(self):
        keys = sample("amr-keys.txt")
        for form in ("text", "json", "csv"):
            self.assertNotIn(b"5627BD", self.reconcile(keys, keys, "--format", form).raw)


if __name__ == "__main__":
    unittest.main()
