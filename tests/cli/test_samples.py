"""The report on every sample, word for word. UPDATE=1 stores the current reports."""
import os
import unittest
from support import HERE, CliTest, before_field_work, sample

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
                result = self.run_tool("check", "--each", f"samples/{name}")
                self.compare(name, result.masked)
                self.assertEqual((result.code, result.err), (code, ""))

    def test_the_exported_and_the_returned_round_agree(self):
        """Without the results of the field work, the returned round is the exported one, byte for byte."""
        exported, returned = (sample(f"round-{state}.txt") for state in ("exported", "returned"))
        self.assertEqual(before_field_work(returned).split(b"\r\n"), exported.split(b"\r\n"))
        self.assertEqual(sample("round-returned-utf16.txt").decode("utf-16"), returned.decode("latin-1"))

    def test_diff_shows_only_the_results_of_the_field_work(self):
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

    def test_reading_does_not_change_the_file(self):
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
