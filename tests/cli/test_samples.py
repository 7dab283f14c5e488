"""The report on every sample, word for word. UPDATE=1 writes down what the tool says now."""
import os
import unittest
from support import HERE, CliTest, sample

# What the field work fills in, as columns counted from 1: of a meter subscriber the reading, the corrected serial number
# and wheels, and what the agent notes; of an AMR line the current reading and the failed attempts.
FIELD_WORK = {b"1": [(366, 379), (426, 459), (462, 505), (508, 512)], b"2": [(354, 455), (457, 470)]}
BROUGHT_BACK = (b"3", b"4", b"6", b"7")  # kinds of lines that only a returned round has


def before_field_work(line):
    for first, last in FIELD_WORK.get(line[:1], []):
        line = line[:first - 1] + b" " * (last - first + 1) + line[last:]
    return line

SAMPLES = {
    "round-exported.txt": 0, "round-returned.txt": 0, "round-returned-utf16.txt": 0, "round-broken.txt": 1,
    "round-damaged.txt": 1, "tags.txt": 0, "parameters.txt": 0, "amr-keys.txt": 0,
}


class Samples(CliTest):
    def compare(self, name, text):
        path = os.path.join(HERE, "expected", name)
        if os.environ.get("UPDATE"):
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        with open(path, encoding="utf-8") as file:
            self.assertEqual(file.read(), text)

    def test_reports_are_as_written_down(self):
        for name, code in SAMPLES.items():
            with self.subTest(name):
                result = self.run_tool("check", f"samples/{name}")
                self.compare(name, result.masked)
                self.assertEqual((result.code, result.err), (code, ""))

    def test_the_exported_and_the_returned_round_are_one(self):
        """Without what the field work adds, the returned round is the exported one, byte for byte."""
        exported, returned = (sample(f"round-{state}.txt").split(b"\r\n") for state in ("exported", "returned"))
        self.assertEqual([before_field_work(line) for line in returned if line[:1] not in BROUGHT_BACK], exported)
        utf16 = sample("round-returned-utf16.txt").decode("utf-16")
        self.assertEqual(utf16, sample("round-returned.txt").decode("latin-1"))

    def test_diff_shows_what_the_round_brings_and_nothing_else(self):
        result = self.run_tool("diff", "--summary", "--format", "json", "samples/round-exported.txt", "samples/round-returned.txt")
        changed = {}
        for field in result.json["summary"]["byField"]:
            changed.setdefault(field["kind"], set()).add(field["field"])
        self.assertEqual(changed, {
            "meter subscriber": {"meterCorrectedSerialNumber", "meterCorrectedWheels", "meterReadingDate", "meterReadingIndex",
                                 "meterReadingStatus", "meterReadingConsumption", "meterReadingMethod", "meterMarkingCode",
                                 "meterMessage", "meterLastUpdateDate", "meterReadingUserCode"},
            "AMR": {"currentReadingDate", "currentMeterIndex", "currentAmrIndex", "currentAmrStatus", "lastReadFailDate",
                    "readFailCount", "currentAlarms"},
        })

    def test_reports_do_not_depend_on_locale_or_time_zone(self):
        for name in ("round-returned.txt", "round-broken.txt"):
            plain = self.run_tool("check", f"samples/{name}").masked
            for env in ({"LC_ALL": "C.UTF-8"}, {"LC_ALL": "fr_FR.UTF-8", "LANG": "fr_FR.UTF-8"}, {"TZ": "Europe/Paris"},
                        {"TZ": "America/Sao_Paulo"}, {"TZ": "Pacific/Kiritimati"}):
                with self.subTest(name=name, env=env):
                    self.assertEqual(self.run_tool("check", f"samples/{name}", env=env).masked, plain)

    def test_reading_changes_nothing(self):
        before = {name: os.stat(f"samples/{name}") for name in SAMPLES}
        self.run_tool("check", *(f"samples/{name}" for name in SAMPLES))
        for name, stat in before.items():
            now = os.stat(f"samples/{name}")
            self.assertEqual((stat.st_mtime_ns, stat.st_size), (now.st_mtime_ns, now.st_size), name)

    def test_the_same_text_in_utf16_has_the_same_findings(self):
        with open("samples/round-broken.txt", encoding="latin-1", newline="") as file:
            text = file.read()
        self.write("ansi", text.encode("latin-1"))
        self.write("utf16", b"\xff\xfe" + text.encode("utf-16-le"))
        ansi, wide = (self.run_tool("check", name, cwd=self.folder).findings for name in ("ansi", "utf16"))
        self.assertEqual([f.removeprefix("ansi") for f in ansi], [f.removeprefix("utf16") for f in wide])
        self.assertGreater(len(ansi), 10)


if __name__ == "__main__":
    unittest.main()
