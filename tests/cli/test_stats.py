"""tramo stats: the summary of a round."""
import os
import subprocess
import unittest
from support import AMR, ENVIRONMENT, METER, ROUND, TRAMO, CliTest, lines, put, sample, sample_line, utf16

EXTENDED, LOCATED, CHANGE, ENQUIRY = (sample_line(letter) for letter in (b"4", b"7", b"3", b"6"))


class Stats(CliTest):
    def stats(self, content, *options, **run):
        self.write("f", content)
        return self.run_tool("stats", *options, "f", cwd=self.folder, **run)

    def numbers(self, *content):
        result = self.stats(lines(*content), "--format", "json")
        self.assertEqual((result.code, result.err), (0, ""))
        return result.json["files"][0]

    def test_text(self):
        result = self.run_tool("stats", "samples/round-returned.txt", env={"LC_ALL": "C"})
        self.assertEqual((result.code, result.err, result.out), (0, "", """\
samples/round-returned.txt
  lines 172
        40  AMR
         2  enquiry definition
        15  enquiry result
        20  extended AMR
        30  extended data
         3  meter change
        60  meter subscriber
         1  record information
         1  round
  meters 60
        54  read
         6  not read
  readings
        36  method A
        18  method M
        46  status 1
         8  status 2
         0  consumption below the estimate
        49  consumption within the estimate
         5  consumption above the estimate
  radio modules 40
        35  with a current reading
  alarms
        10  previousAlarmLeakPastOrCurrent (AMR)
        10  currentAlarmLeakPastOrCurrent (AMR)
        10  currentAlarmLeakCurrent (AMR)
        10  leakAlarm (extended AMR)
  about meters
        30  located
         3  changed
        15  with enquiry results
        40  areas answered
  read from 2024-01-16T08:15 to 2024-01-17T13:43
        36  2024-01-16  ########################################
        18  2024-01-17  ####################
"""))

    def test_exported_round_is_not_read(self):
        result = self.run_tool("stats", "samples/round-exported.txt")
        self.assertIn("  meters 60\n         0  read\n        60  not read\n  radio modules 40\n         0  with a current reading\n", result.out)
        self.assertNotIn("read from", result.out)

    def test_blocks_in_a_locale_that_has_them(self):
        content = lines(METER, METER, put(METER, 426, b"20240120"))
        self.assertIn("2024-01-20  " + "█" * 20 + "\n", self.stats(content, env={"LC_ALL": "C.UTF-8"}).out)
        self.assertIn("2024-01-20  " + "#" * 20 + "\n", self.stats(content, env={"LC_ALL": "C", "LANG": "fr_FR.UTF-8"}).out)
        self.assertIn("█", self.stats(content, env={"LC_ALL": "", "LANG": "fr_FR.utf8"}).out)

    def test_many_days_are_shown_by_months_and_years(self):
        days = [put(METER, 426, b"2024%02d%02d" % (month, day)) for month in (1, 2) for day in range(1, 17)]
        out = self.stats(lines(*days), env={"LC_ALL": "C"}).out
        self.assertIn("\n        16  2024-01     ####", out)
        self.assertNotIn("2024-01-02  ", out)
        self.assertEqual(len(self.numbers(*days)["readingsByDay"]), 32)
        months = [put(METER, 426, b"20%02d%02d" % (year, month)) for year in (21, 22, 23) for month in range(1, 13)]
        self.assertIn("\n        12  2021        ####", self.stats(lines(*months), env={"LC_ALL": "C"}).out)

    def test_consumption_against_the_estimate(self):
        def meter(consumption, least, most):
            return put(put(put(METER, 449, b"%10s" % consumption), 402, b"%12s" % least), 414, b"%12s" % most)
        for meters, expected in (((b"5", b"5.0", b"7.0"), "withinEstimate"), ((b"7", b"5.0", b"7.0"), "withinEstimate"),
                                 ((b"4", b"4.5", b"7.0"), "belowEstimate"), ((b"8", b"5.0", b"7.5"), "aboveEstimate"),
                                 ((b"", b"5.0", b"7.0"), "notCompared"), ((b"5", b"", b"7.0"), "notCompared"),
                                 ((b"5", b"5.0", b""), "notCompared")):
            with self.subTest(meters=meters):
                counts = self.numbers(meter(*meters))["consumption"]
                self.assertEqual({name for name, count in counts.items() if count}, {expected})

    def test_numbers_that_are_none(self):
        for text in (b"nan", b"inf", b"-inf", b"1e999"):
            with self.subTest(text=text):
                self.numbers(put(put(METER, 402, b"%-12s" % text), 414, b"%-12s" % text), put(LOCATED, 14, b"%-16s" % text))

    def test_readings_by_method_and_status(self):
        found = self.numbers(METER, put(METER, 459, b"T"), put(METER, 459, b"M"), put(METER, 459, b" "), put(METER, 448, b"4"))
        self.assertEqual(found["readingsByMethod"], {"": 1, "A": 2, "M": 1, "T": 1})
        self.assertEqual(found["readingsByStatus"], {"4": 1, chr(METER[447]): 4})
        self.assertEqual(found["meters"], {"lines": 5, "meters": 1, "read": 1, "unread": 0, "readLines": 5})

    def test_meters_are_counted_by_serial_number(self):
        def meter(serial, date=b"202401161200"):
            return put(put(METER, 352, serial.ljust(12)), 426, date.ljust(12))
        # M-1 has three lines, two of which are read; M-2 has one that is not read; two meters have no serial number.
        content = meter(b"M-1"), meter(b"M-2", b""), meter(b"M-1", b""), meter(b"M-1"), meter(b""), meter(b"", b"")
        self.assertEqual(self.numbers(*content)["meters"], {"lines": 6, "meters": 2, "read": 1, "unread": 1, "readLines": 3})
        self.assertIn("  meters 2, in 6 lines\n         1  read, in 3 lines\n         1  not read\n         2  lines without a serial number\n",
                      self.stats(lines(*content)).out)
        self.assertIn("  meters 1\n         1  read\n         0  not read\n  readings\n", self.stats(lines(METER)).out)

    def test_radio_modules_are_counted_by_serial_number(self):
        first, second, unread, unknown = (put(AMR, 72, serial.ljust(16)) for serial in (b"R-1", b"R-2", b"R-3", b""))
        unread = put(unread, 354, b" " * 8)
        self.assertEqual(self.numbers(first, first, second, unread, unknown)["radioModules"],
                         {"lines": 5, "modules": 3, "read": 2, "readLines": 4})
        self.assertIn("  radio modules 3, in 5 lines\n         2  with a current reading, in 4 lines\n         1  line without a serial number\n",
                      self.stats(lines(first, first, second, unread, unknown)).out)

    def test_a_meter_in_two_files_is_one_meter(self):
        files = "samples/round-exported.txt", "samples/round-returned.txt"
        total = self.run_tool("stats", "--format", "json", *files).json["total"]
        serials = set()
        for name in files:
            serials |= {line[351:363].rstrip() for line in sample(os.path.basename(name)).split(b"\r\n") if line[:1] == b"1"}
        self.assertEqual(total["meters"] | {"read": 0, "unread": 0, "readLines": 0},
                         {"lines": 120, "meters": len(serials), "read": 0, "unread": 0, "readLines": 0})
        self.assertEqual(total["meters"]["read"] + total["meters"]["unread"], len(serials))

    def test_alarms_by_name(self):
        found = self.numbers(put(AMR, 388, b"0100"), put(AMR, 388, b"0001"), put(put(AMR, 286, b"FF0F"), 388, b"0000"),
                             put(EXTENDED, 94, b"100001"))
        alarms = {(alarm["kind"], alarm["field"]): alarm["lines"] for alarm in found["alarms"]}
        self.assertEqual(alarms[("AMR", "currentAlarmFraudPastOrCurrent")], 1)
        self.assertEqual(alarms[("AMR", "currentAlarmBackFlowCurrent")], 1)
        self.assertEqual(len([field for kind, field in alarms if field.startswith("previousAlarm")]), 12)
        self.assertEqual({field for kind, field in alarms if kind == "extended AMR"}, {"fraudAlarm", "clockFaultAlarm"})

    def test_located_needs_both_coordinates(self):
        found = self.numbers(LOCATED, LOCATED, put(LOCATED, 14, b" " * 16), put(LOCATED, 30, b" " * 16), put(LOCATED, 2, b" " * 12))
        self.assertEqual(found["located"], {"lines": 3, "meters": 1})

    def test_several_lines_about_a_meter(self):
        self.assertIn("         1  changed, in 2 lines\n", self.stats(lines(CHANGE, CHANGE)).out)
        self.assertEqual(self.numbers(CHANGE, put(CHANGE, 2, b"X"))["changed"], {"lines": 2, "meters": 2})

    def test_enquiries(self):
        blank = put(ENQUIRY, 23, b" " * 160)
        for areas, answered in ((((23, b"HB"),), 1), (((55, b"N 21"),), 1), (((87, b"U"),), 0), (((23, b"HB"), (151, b"U x")), 2)):
            line = blank
            for area in areas:
                line = put(line, *area)
            self.assertEqual(self.numbers(line)["enquiryResults"], {"lines": 1, "meters": 1, "areasAnswered": answered})

    def test_malformed_lines_are_counted(self):
        result = self.stats(lines(METER, METER[:300], b"", put(METER, 1, b"8"), put(METER, 426, b"202402300900")))
        self.assertIn("         3  of them malformed, not read\n         1  unreadable values, taken as absent\n"
                      "  meters 1, in 2 lines\n         1  read\n         0  not read\n", result.out)
        self.assertEqual(result.code, 0)

    def test_several_files(self):
        self.write("a", lines(METER, LOCATED))
        self.write("b", lines(METER, LOCATED, put(LOCATED, 2, b"X")))
        result = self.run_tool("stats", "--format", "json", "a", "b", cwd=self.folder).json
        self.assertEqual([file["located"]["meters"] for file in result["files"]], [1, 2])
        self.assertEqual((result["total"]["lines"], result["total"]["located"]), (5, {"lines": 3, "meters": 2}))
        self.assertIn("\n\nin all 2 files\n  lines 5\n", self.run_tool("stats", "a", "b", cwd=self.folder).out)

    def test_total_of_all_numbers(self):
        one = self.run_tool("stats", "--format", "json", "samples/round-returned.txt").json["total"]
        two = self.run_tool("stats", "--format", "json", *["samples/round-returned.txt"] * 2).json["total"]
        for name, value in one.items():
            if isinstance(value, int):
                self.assertEqual(two[name], 2 * value, name)
            elif isinstance(value, dict):
                of_meters = {"meters": ("meters", "read", "unread"), "radioModules": ("modules", "read")}.get(name, ("meters",))
                self.assertEqual(two[name], {k: v * (1 if k in of_meters else 2) for k, v in value.items()}, name)
        self.assertEqual([alarm["lines"] for alarm in two["alarms"]], [2 * alarm["lines"] for alarm in one["alarms"]])

    def test_utf16_and_standard_input(self):
        plain = self.stats(sample("round-returned.txt")).out
        self.assertEqual(self.stats(utf16(sample("round-returned.txt").decode("latin-1"))).out, plain)
        self.assertEqual(self.run_tool("stats", "-", stdin=sample("round-returned.txt")).out, plain.replace("f\n", "<stdin>\n", 1))

    def test_other_kinds_of_lines(self):
        self.assertEqual(self.run_tool("stats", "samples/amr-keys.txt").out, "samples/amr-keys.txt\n  lines 8\n         8  key line\n")

    def test_empty_file(self):
        self.assertEqual((self.stats(b"").out, self.stats(b"").code), ("f\n  lines 0\n", 0))

    def test_unreadable_files(self):
        self.write("f", lines(METER))
        result = self.run_tool("stats", "missing", ".", "f", cwd=self.folder)
        self.assertEqual((result.code, result.err), (2, "tramo: missing: No such file or directory\ntramo: .: is a directory\n"))
        self.assertTrue(result.out.startswith("f\n  lines 1\n"))

    def test_other_time_zone(self):
        content = lines(METER)
        self.assertEqual(self.stats(content, env={"TZ": "America/New_York"}).out, self.stats(content).out)

    def test_refused_output(self):
        self.write("f", lines(ROUND, METER))
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TRAMO, "stats", "f"], stdout=full, stderr=subprocess.PIPE, env=ENVIRONMENT, cwd=self.folder)
        self.assertEqual((done.returncode, done.stderr), (3, b"tramo: cannot write the standard output: No space left on device\n"))
        reading, writing = os.pipe()
        os.close(reading)
        done = subprocess.run([TRAMO, "stats", "f"], stdout=writing, stderr=subprocess.PIPE, env=ENVIRONMENT, cwd=self.folder)
        os.close(writing)
        self.assertEqual((done.returncode, done.stderr), (3, b""))

    def test_usage(self):
        result = self.run_tool("stats")
        self.assertEqual((result.code, result.out), (2, ""))
        self.assertIn("a FILE is missing", result.err)
        page = self.run_tool("stats", "--help")
        self.assertEqual(page.code, 0)
        self.assertTrue(page.out.splitlines()[3].startswith("  tramo stats samples/round-returned.txt  "))


if __name__ == "__main__":
    unittest.main()
