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
samples/round-returned.txt: 54 of 60 meters read (90 %), 6 not read
  round T0412, TOURNÉE CENTRE 04-12
  read from 2024-01-16 08:15 to 2024-01-17 13:43
  60 meters
        54   90 %  read
         6   10 %  not read
                   C15AB0100111, C16AB0100481, C17AB0100851, C18AB0101221,
                   C19AB0101591, C20AB0101961
  54 readings by method
        36   67 %  method A
        18   33 %  method M
  54 readings by status
        46   85 %  status 1
         8   15 %  status 2
  54 readings by agent
        54  100 %  AG07: 2 days, 27.0 a day
  total consumption, in the unit of the meters
       943         fluid H, in 5 readings
      5201         fluid W, in 49 readings
  54 readings compared with the estimate
         0    0 %  below the estimate
        49   91 %  within the estimate
         5    9 %  above the estimate
  54 readings compared with the previous reading
        54  100 %  consumption as computed
         0    0 %  other consumption
  54 readings by day
        36   67 %  2024-01-16  ########################################
        18   33 %  2024-01-17  ####################
  40 radio modules
        35   88 %  with a current reading
         5   12 %  without a current reading
  alarms, as a share of the lines of their kind
        10   25 %  previousAlarmLeakPastOrCurrent (AMR)
        10   25 %  currentAlarmLeakPastOrCurrent (AMR)
        10   25 %  currentAlarmLeakCurrent (AMR)
        10   50 %  leakAlarm (extended AMR)
  about meters
        30   50 %  located
         3    5 %  changed
        15   25 %  with enquiry results
        40         areas answered
  172 lines
        40   23 %  AMR
         2    1 %  enquiry definition
        15    9 %  enquiry result
        20   12 %  extended AMR
        30   17 %  extended data
         3    2 %  meter change
        60   35 %  meter subscriber
         1    1 %  record information
         1    1 %  round
"""))

    def test_exported_round_is_not_read(self):
        result = self.run_tool("stats", "samples/round-exported.txt")
        self.assertTrue(result.out.startswith("samples/round-exported.txt: 0 of 60 meters read (0 %), 60 not read\n"))
        self.assertIn("  60 meters\n         0    0 %  read\n        60  100 %  not read\n"
                      "  40 radio modules\n         0    0 %  with a current reading\n        40  100 %  without a current reading\n", result.out)
        self.assertNotIn("read from", result.out)
        self.assertNotIn("reading by", result.out)

    def first_line(self, *content):
        return self.stats(lines(*content)).out.split("\n")[0]

    def test_first_line_shows_how_far_the_round_is(self):
        unread = put(METER, 426, b" " * 12)
        nameless = put(METER, 352, b" " * 12)
        module = put(AMR, 354, b"20240116")
        for content, expected in (
                ((METER,), "f: 1 of 1 meter read (100 %)"),
                ((METER, put(unread, 352, b"M-2         ")), "f: 1 of 2 meters read (50 %), 1 not read"),
                ((nameless, put(unread, 352, b" " * 12), nameless), "f: 2 of 3 meter lines without a serial number read (67 %)"),
                ((module, put(put(module, 72, b"R-2"), 354, b" " * 8)), "f: 1 of 2 radio modules with a current reading (50 %), no meters"),
                ((LOCATED,), "f: 1 line, no meters"),
                ((), "f: no lines")):
            with self.subTest(expected):
                self.assertEqual(self.first_line(*content), expected)

    def meters(self, count, read):
        unread = put(METER, 426, b" " * 12)
        return [put(METER if k < read else unread, 352, b"%-12d" % k) for k in range(count)]

    def test_only_all_is_100_percent_and_only_none_is_0(self):
        for read, share in ((0, "0 %"), (1, "<1 %"), (200, "50 %"), (399, ">99 %"), (400, "100 %")):
            with self.subTest(read):
                self.assertTrue(self.first_line(*self.meters(400, read)).startswith(f"f: {read} of 400 meters read ({share})"))

    def test_the_last_unread_meters_are_listed(self):
        def listed(count, read):
            return [line.strip() for line in self.stats(lines(*self.meters(count, read))).out.split("\n") if line.startswith(" " * 19)]
        self.assertEqual(listed(3, 1), ["1, 2"])
        self.assertEqual(listed(3, 3), [])
        self.assertEqual(len(", ".join(listed(21, 1)).split(", ")), 20)
        self.assertEqual(listed(22, 1), [])  # too many
        self.assertEqual(listed(3, 0), [])   # nothing is read yet

    def test_readings_by_agent(self):
        agents = [put(put(METER, 508, code.ljust(5)), 426, date) for code, date in (
            (b"AG1", b"202401160800"), (b"AG2", b"202401160800"), (b"AG2", b"202401161000"), (b"AG2", b"202401170800"), (b"", b"202401160800"))]
        out = self.stats(lines(*agents)).out
        self.assertIn("  5 readings by agent\n         3   60 %  AG2: 2 days, 1.5 a day\n         1   20 %  without user code: 1 day, 1.0 a day\n"
                      "         1   20 %  AG1: 1 day, 1.0 a day\n", out)
        self.assertEqual(self.numbers(*agents)["readingsByUserCode"], {"": 1, "AG1": 1, "AG2": 3})
        self.assertNotIn("agent", self.stats(lines(agents[-1])).out)
        many = [put(METER, 508, b"%-5d" % k) for k in range(25)]
        self.assertIn("         5   20 %  of 5 other agents\n", self.stats(lines(*many)).out)

    def test_consumption_is_added_up_by_fluid(self):
        def meter(fluid, consumption):
            return put(put(METER, 507, fluid), 449, b"%10s" % consumption)
        content = meter(b"W", b"5"), meter(b"W", b"9999999999"), meter(b"H", b"3"), meter(b"H", b""), meter(b"H", b"-7"), meter(b"?", b"1")
        self.assertEqual(self.numbers(*content)["consumptionByFluid"], [
            {"fluid": "", "readings": 1, "total": 1}, {"fluid": "H", "readings": 1, "total": 3},
            {"fluid": "W", "readings": 2, "total": 10000000004}])
        self.assertIn("\n  10000000004         fluid W, in 2 readings\n", self.stats(lines(*content)).out)

    def test_rounds(self):
        self.assertEqual(self.numbers(ROUND, ROUND, put(ROUND, 2, b"X       "))["rounds"],
                         [{"code": "T0412", "name": "TOURNÉE CENTRE 04-12"}, {"code": "X", "name": "TOURNÉE CENTRE 04-12"}])
        self.assertIn("\n  2 rounds\n", self.stats(lines(ROUND, put(ROUND, 2, b"X       "))).out)
        self.assertIn("\n  round T0412, \\x1b[2J\n", self.stats(lines(put(ROUND, 10, b"\x1b[2J".ljust(20)))).out)

    def test_shares_only_of_what_they_are_a_part_of(self):
        self.assertIn("         1   50 %  located\n", self.stats(lines(*self.meters(2, 2), put(LOCATED, 2, b"1".ljust(12)))).out)
        self.assertIn("         1         located\n", self.stats(lines(*self.meters(2, 2), put(LOCATED, 2, b"X".ljust(12)))).out)

    def test_blocks_in_a_locale_that_has_them(self):
        content = lines(METER, METER, put(METER, 426, b"20240120"))
        self.assertIn("2024-01-20  " + "█" * 20 + "\n", self.stats(content, env={"LC_ALL": "C.UTF-8"}).out)
        self.assertIn("2024-01-20  " + "#" * 20 + "\n", self.stats(content, env={"LC_ALL": "C", "LANG": "fr_FR.UTF-8"}).out)
        self.assertIn("█", self.stats(content, env={"LC_ALL": "", "LANG": "fr_FR.utf8"}).out)

    def test_many_days_are_shown_by_months_and_years(self):
        days = [put(METER, 426, b"2024%02d%02d" % (month, day)) for month in (1, 2) for day in range(1, 17)]
        out = self.stats(lines(*days), env={"LC_ALL": "C"}).out
        self.assertIn("\n        16   50 %  2024-01     ####", out)
        self.assertNotIn("2024-01-02  ", out)
        self.assertEqual(len(self.numbers(*days)["readingsByDay"]), 32)
        months = [put(METER, 426, b"20%02d%02d" % (year, month)) for year in (21, 22, 23) for month in range(1, 13)]
        self.assertIn("\n        12   33 %  2021        ####", self.stats(lines(*months), env={"LC_ALL": "C"}).out)

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

    def test_consumption_as_computed(self):
        def meter(previous, index, written, wheels=b" 4", corrected=b"  "):
            with_indexes = put(put(put(METER, 392, b"%10s" % previous), 438, b"%10s" % index), 449, b"%10s" % written)
            return put(put(with_indexes, 364, wheels), 378, corrected)
        for line, expected in ((meter(b"5", b"7", b"2"), {"same": 1}), (meter(b"5", b"7", b"3"), {"other": 1}), (meter(b"5", b"7", b""), {"notCompared": 1}),
                               (meter(b"", b"7", b"2"), {"notCompared": 1}), (meter(b"9995", b"3", b"8"), {"same": 1, "rollOvers": 1}),
                               (meter(b"9995", b"3", b"-8"), {"other": 1, "rollOvers": 1}),
                               (meter(b"9995", b"3", b"8", b" 3"), {"notCompared": 1}), (meter(b"9995", b"3", b"8", b" 4", b" 5"), {"other": 1, "rollOvers": 1}),
                               (meter(b"9995", b"3", b"8", b" 4", b" 0"), {"same": 1, "rollOvers": 1})):
            with self.subTest(expected=expected):
                counts = self.numbers(line)["consumptionAsComputed"]
                self.assertEqual({name: count for name, count in counts.items() if count}, expected)
        out = self.stats(lines(meter(b"9995", b"3", b"8"), meter(b"5", b"7", b"3"), meter(b"5", b"7", b""))).out
        self.assertIn("""\
  3 readings compared with the previous reading
         1   33 %  consumption as computed
         1   33 %  other consumption
         1   33 %  without consumption or an index
         1   33 %  computed with a roll-over
""", out)

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
        self.assertIn("  2 meters, in 6 lines\n         1   50 %  read, in 3 lines\n         1   50 %  not read\n         2         lines without a serial number\n",
                      self.stats(lines(*content)).out)
        self.assertIn("  1 meter\n         1  100 %  read\n         0    0 %  not read\n  1 reading by method\n", self.stats(lines(METER)).out)

    def test_radio_modules_are_counted_by_serial_number(self):
        first, second, unread, unknown = (put(AMR, 72, serial.ljust(16)) for serial in (b"R-1", b"R-2", b"R-3", b""))
        unread = put(unread, 354, b" " * 8)
        self.assertEqual(self.numbers(first, first, second, unread, unknown)["radioModules"],
                         {"lines": 5, "modules": 3, "read": 2, "readLines": 4})
        self.assertIn("  3 radio modules, in 5 lines\n         2   67 %  with a current reading, in 4 lines\n"
                      "         1   33 %  without a current reading\n         1         line without a serial number\n",
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
        self.assertIn("         1         changed, in 2 lines\n", self.stats(lines(CHANGE, CHANGE)).out)
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
        self.assertIn("  3 of 5 lines malformed and not read; see: tramo check f\n  1 value cannot be read and counts as absent; see: tramo check f\n"
                      "  1 meter, in 2 lines\n         1  100 %  read\n         0    0 %  not read\n", result.out)
        self.assertEqual(result.code, 0)

    def test_several_files(self):
        self.write("a", lines(METER, LOCATED))
        self.write("b", lines(METER, LOCATED, put(LOCATED, 2, b"X")))
        result = self.run_tool("stats", "--format", "json", "a", "b", cwd=self.folder).json
        self.assertEqual([file["located"]["meters"] for file in result["files"]], [1, 2])
        self.assertEqual((result["total"]["lines"], result["total"]["located"]), (5, {"lines": 3, "meters": 2}))
        self.assertIn("\n\nall 2 files: 1 of 1 meter read (100 %)\n", self.run_tool("stats", "a", "b", cwd=self.folder).out)

    def test_files_are_compared(self):
        self.write("a", lines(*self.meters(3, 1)))
        self.write("b", lines(*self.meters(4, 4)))
        self.write("c", lines(LOCATED))
        result = self.run_tool("stats", "a", "b", "c", "missing", cwd=self.folder)
        self.assertEqual(result.code, 2)
        self.assertIn("\n\nall 3 files: 4 of 4 meters read (100 %)\n", result.out)
        self.assertTrue(result.out.endswith("\n  meters read by file\n         1   33 %  of 3: a\n         4  100 %  of 4: b\n"))
        self.assertNotIn("all", self.run_tool("stats", "c", "missing", cwd=self.folder).out)

    def test_total_of_all_numbers(self):
        one = self.run_tool("stats", "--format", "json", "samples/round-returned.txt").json["total"]
        two = self.run_tool("stats", "--format", "json", *["samples/round-returned.txt"] * 2).json["total"]
        for name, value in one.items():
            if isinstance(value, int):
                self.assertEqual(two[name], 2 * value, name)
            elif isinstance(value, dict):
                of_meters = {"meters": ("meters", "read", "unread"), "radioModules": ("modules", "read")}.get(name, ("meters",))
                self.assertEqual(two[name], {k: v * (1 if k in of_meters else 2) for k, v in value.items()}, name)
        self.assertEqual(two["consumptionByFluid"], [one | {"readings": 2 * one["readings"], "total": 2 * one["total"]} for one in one["consumptionByFluid"]])
        self.assertEqual(two["rounds"], one["rounds"])
        self.assertEqual([alarm["lines"] for alarm in two["alarms"]], [2 * alarm["lines"] for alarm in one["alarms"]])

    def test_utf16_and_standard_input(self):
        plain = self.stats(sample("round-returned.txt")).out
        self.assertEqual(self.stats(utf16(sample("round-returned.txt").decode("latin-1"))).out, plain)
        self.assertEqual(self.run_tool("stats", "-", stdin=sample("round-returned.txt")).out, plain.replace("f:", "<stdin>:", 1))

    def test_other_kinds_of_lines(self):
        self.assertEqual(self.run_tool("stats", "samples/amr-keys.txt").out, "samples/amr-keys.txt: 8 lines, no meters\n  8 lines\n         8  100 %  key line\n")

    def test_empty_file(self):
        self.assertEqual((self.stats(b"").out, self.stats(b"").code), ("f: no lines\n", 0))

    def test_unreadable_files(self):
        self.write("f", lines(METER))
        result = self.run_tool("stats", "missing", ".", "f", cwd=self.folder)
        self.assertEqual((result.code, result.err), (2, "tramo: missing: No such file or directory\ntramo: .: is a directory\n"))
        self.assertTrue(result.out.startswith("f: 1 of 1 meter read (100 %)\n"))

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
