"""tramo sample: what its rounds hold is what rounds of real meters hold."""
import json
import os
import statistics
import unittest
from collections import Counter, defaultdict
from datetime import date, datetime
from functools import wraps
from itertools import pairwise
from support import CliTest, some

METRE = 1 / 111320  # of latitude, in degrees
WEST = 0.6626       # a degree of longitude, in degrees of latitude
SHAPES = (("--seed", "0", "--meters", "60"), ("--seed", "1016", "--meters", "1000"), ("--seed", "4", "--meters", "3000"))


def number(line, column, width):
    """A number of a line, the column counted from 1; None where it is blank."""
    text = line[column - 1:column - 1 + width].strip()
    return int(text) if text else None


def subscribers(content):
    return [line for line in content.split(b"\r\n") if line[:1] == b"1"]


class Rounds(CliTest):
    def make(self, *options):
        result = self.run_tool("sample", *options, "-o", "f", cwd=self.folder)
        self.assertEqual((result.code, result.out, result.err), (0, "", ""))
        with open(os.path.join(self.folder, "f"), "rb") as file:
            return file.read()

    def records(self, options):
        """A returned round: its records by kind, as an export has them."""
        if options not in self.known:
            self.make(*options, "--returned")
            result = self.run_tool("export", "--to", "jsonl", "f", "-o", "-", cwd=self.folder)
            self.assertEqual(result.code, 0)
            kinds = self.known[options] = defaultdict(list)
            for row in map(json.loads, result.out.splitlines()):
                kinds[row.get("kind")].append(row)
            self.assertEqual(len(kinds["meter subscriber"]), int(options[-1]))
        return self.known[options]

    known = {}


def of_each_shape(test):
    """The test of a round's records, made with each of the SHAPES."""
    @wraps(test)
    def run(self):
        for options in SHAPES:
            with self.subTest(options=options):
                test(self, self.records(options))
    return run


def street(meter):
    """The street of a meter subscriber's address."""
    return meter["subscriberInformation"][30:75].split(", appt")[0].lstrip("0123456789").removeprefix(" bis").strip()


class Distinct(Rounds):
    def test_fifty_thousand_meters_are_distinct(self):
        content = self.make("--meters", "50000", "--returned")
        meters = subscribers(content)
        self.assertEqual(len(meters), 50000)
        for what, texts in {
                "address": [line[35:80] for line in meters], "subscriber": [line[5:155] for line in meters],
                "name": [line[5:35] for line in meters], "serial number": [line[351:363] for line in meters],
                "line but serial number, order and name": [line[35:351] + line[363:] for line in meters],
                "place": [line[13:45] for line in content.split(b"\r\n") if line[:1] == b"7"]}.items():
            with self.subTest(what):
                self.assertGreater(len(texts), 20000)
                self.assertEqual([text for text, times in Counter(texts).items() if times > 1], [])
        pairs = [(line[391:401], line[448:458]) for line in meters if line[448:458].strip()]
        self.assertGreater(len(pairs), 40000)
        self.assertEqual(len(set(pairs)), len(pairs))
        for column in (72, 88):
            serials = [line[column - 1:column + 15] for line in content.split(b"\r\n") if line[:1] == b"2"]
            self.assertEqual(len(set(serials)), len(serials))

    def test_no_reading_exceeds_its_wheels(self):
        seeds = some([1016, *range(200, 0, -1)])
        turned = 0
        for seed in seeds:
            for line in subscribers(self.make("--seed", str(seed), "--meters", "150", "--returned", "--kinds", "1")):
                wheels, previous, index, consumption = (number(line, *at) for at in ((364, 2), (392, 10), (438, 10), (449, 10)))
                self.assertLess(previous, 10 ** wheels)
                if index is not None:
                    self.assertLess(index, 10 ** wheels)
                    self.assertEqual(index, (previous + consumption) % 10 ** wheels)
                    turned += index < previous
        self.assertTrue(0.003 < turned / (150 * len(seeds)) < 0.02, turned)


class Content(Rounds):
    @of_each_shape
    def test_history_leads_to_the_previous_index(self, kinds):
        for meter in kinds["meter subscriber"]:
            history = [[meter.get(f"meterHistory{slot}{what}") for what in ("ReadingDate", "Consumption", "ReadingType")] for slot in range(1, 5)]
            slots = [(day, used or 0, kind) for day, used, kind in history if day]  # an export leaves 0 out
            self.assertTrue(slots == [slot for slot in slots if slot[2] in ("R", "E") and slot[1] >= 0] != [], history)
            self.assertEqual(history[len(slots):], [[None] * 3] * (4 - len(slots)))
            dates = [date.fromisoformat(day) for day, _, _ in slots]
            self.assertEqual(meter["meterPreviousReadingDate"], slots[0][0])
            for later, earlier in pairwise(dates):
                self.assertTrue(150 < (later - earlier).days < 215, dates)
            self.assertLessEqual(int(meter["meterInstallationYear"]), dates[-1].year)
            self.assertLess(sum(used for _, used, _ in slots), meter["meterPreviousReadingIndex"])
            if "meterReadingDate" in meter:
                self.assertGreater(meter["meterReadingDate"], slots[0][0])

    @of_each_shape
    def test_estimates_include_the_usual_consumption(self, kinds):
        within = 0
        for meter in kinds["meter subscriber"]:
            least, most = meter["meterMinEstimatedConsumption"], meter["meterMaxEstimatedConsumption"]
            self.assertTrue(0 < least < most, meter)
            if "meterReadingDate" not in meter:
                continue
            is_usual = least <= meter["meterReadingConsumption"] <= most
            within += is_usual
            self.assertEqual(meter["meterReadingStatus"], "1" if is_usual else "2")
        self.assertGreater(within, 0.8 * len(kinds["meter subscriber"]))

    @of_each_shape
    def test_radio_and_meter_readings_agree(self, kinds):
        meters = {meter["meterSerialNumber"]: meter for meter in kinds["meter subscriber"]}
        for module in kinds["AMR"]:
            meter = meters[module["meterSerialNumber"]]
            self.assertEqual(module["meterMaxIndex"], 10 ** meter["meterWheels"] - 1)
            self.assertEqual(int(module["previousMeterIndex"]), meter["meterPreviousReadingIndex"])
            self.assertEqual(round(module["previousMeterIndex"] * 100), module["previousAmrIndex"])
            self.assertEqual(module["previousReadingDate"], meter["meterPreviousReadingDate"])
            self.assertEqual("currentReadingDate" in module, meter.get("meterReadingMethod") == "A")
            self.assertNotEqual("currentReadingDate" in module, "lastReadFailDate" in module)
            if "currentReadingDate" in module:
                self.assertEqual(int(module["currentMeterIndex"]), meter["meterReadingIndex"])
                self.assertEqual(module["currentReadingDate"], meter["meterReadingDate"][:10])
        for months in kinds["extended AMR"]:
            meter = meters[months["meterSerialNumber"]]
            self.assertEqual((int(months["meterIndex"]), months["readingDate"]), (meter["meterReadingIndex"], meter["meterReadingDate"]))
            slots = [(months[f"history{slot}DateTime"], months[f"history{slot}Index"]) for slot in range(1, 19) if f"history{slot}DateTime" in months]
            slots.append((months["readingDate"], months["meterIndex"]))
            for (earlier, before), (later, after) in pairwise(slots):
                self.assertLess(earlier, later)
                self.assertLess((after - before) % 10 ** meter["meterWheels"], 3000)  # only turning over goes back
        self.assertGreater(len(kinds["extended AMR"]), len(meters) // 5)

    def test_consumption_is_spread_as_that_of_people(self):
        content = self.make("--meters", "5000", "--returned", "--kinds", "1")
        everyone = [number(line, 449, 10) for line in subscribers(content) if line[448:458].strip()]
        people = [number(line, 449, 10) for line in subscribers(content) if line[448:458].strip() and line[5:11] == "ABONNÉ".encode("latin-1")]
        self.assertGreater(len(people), 0.85 * len(everyone))
        self.assertTrue(0.02 < people.count(0) / len(people) < 0.1, people.count(0))
        cuts = statistics.quantiles(people, n=20)
        self.assertTrue(30 < cuts[9] < 55, cuts)
        self.assertTrue(2 < cuts[18] / cuts[9] < 4, cuts)
        self.assertGreater(statistics.mean(people), 1.1 * cuts[9])
        # One hill, low at both ends.
        hill = Counter(used // 10 for used in people)
        self.assertTrue(hill[1] < hill[3] > hill[6] > hill[9] > hill[14], hill)
        self.assertGreater(sum(used > 300 for used in everyone), 40)
        self.assertGreater(len(set(everyone)), 250)

    def test_consumption_follows_the_seasons(self):
        """The eleventh round is read at the end of March: the half years are one winter and one summer."""
        last = subscribers(self.make("--meters", "11000", "--kinds", "1"))[10000:]
        summer, winter = (sum(number(line, column, 10) or 0 for line in last if line[203 - 1:203 + 9].strip()) for column in (165, 184))
        self.assertTrue(1.15 < summer / winter < 1.5, (summer, winter))

    @of_each_shape
    def test_agents_go_along_streets_in_working_hours(self, kinds):
        read = [meter for meter in kinds["meter subscriber"] if "meterReadingDate" in meter]
        by_agent = defaultdict(list)
        for meter in read:
            by_agent[meter["meterReadingUserCode"]].append(datetime.fromisoformat(meter["meterReadingDate"]))
            self.assertEqual(meter["meterLastUpdateDate"][:10], meter["meterReadingDate"][:10])
            self.assertGreater(meter["meterLastUpdateDate"], meter["meterReadingDate"])
        rounds = len(kinds["round"])
        self.assertEqual(len(by_agent), 2 * rounds)
        for times in by_agent.values():
            self.assertGreater(len(times), len(read) / rounds / 10)
            self.assertEqual(times, sorted(times))
            for time in times:
                self.assertLess(time.weekday(), 5)
                self.assertTrue(8 <= time.hour < 17 and not 12 <= time.hour < 13, time)
            breaks = [(after - before).seconds > 20 * 60 for before, after in pairwise(times)]
            self.assertLess(sum(breaks), 2 + len(times) / 20)
        imported = {row["roundImportDate"] for row in kinds["round"]}
        self.assertEqual(len(imported), rounds)
        if rounds == 1 and len(read) > 500:
            self.assertGreater(len({meter["meterReadingDate"][:10] for meter in read}), 2)
        streets = [street(meter) for meter in kinds["meter subscriber"]]
        changes = sum(before != after for before, after in pairwise(streets))
        self.assertEqual(changes + 1, len(set(streets)))  # no street is left before it is done
        self.assertLess(changes, len(streets) / 9)

    @of_each_shape
    def test_houses_are_along_the_streets_of_a_town(self, kinds):
        street_of = {meter["meterSerialNumber"]: street(meter) for meter in kinds["meter subscriber"]}
        streets = defaultdict(list)
        places = []
        for row in kinds["extended data"]:
            place = (row["longitude"] * WEST / METRE, row["latitude"] / METRE)
            places.append(place)
            streets[street_of[row["meterSerialNumber"]]].append(place)
        self.assertEqual(len(set(places)), len(places))
        tried = 0
        for houses in streets.values():
            if len(houses) < 8:
                continue
            tried += 1
            x, y = zip(*houses)
            # How far houses are from the line through them: both sides of a street.
            a, b, c = statistics.pvariance(x), statistics.pvariance(y), statistics.covariance(x, y) * (len(x) - 1) / len(x)
            across = ((a + b) / 2 - (((a - b) / 2) ** 2 + c * c) ** 0.5) ** 0.5
            along = ((a + b) / 2 + (((a - b) / 2) ** 2 + c * c) ** 0.5) ** 0.5
            self.assertLess(across, 16)
            self.assertTrue(along < 80 and across < along, (across, along))
        self.assertGreaterEqual(tried, len(places) // 40)
        # The next meter is near, and the way goes on: a round is some streets wide.
        for (x, y), (u, v) in pairwise(places[:400]):
            self.assertLess(((x - u) ** 2 + (y - v) ** 2) ** 0.5, 700)
        self.assertTrue(all(30 < row["altitude"] < 150 for row in kinds["extended data"]))

    @of_each_shape
    def test_texts_are_those_of_different_people_and_fit(self, kinds):
        letters = set()
        for meter in kinds["meter subscriber"]:
            text = meter["subscriberInformation"].ljust(150)
            name, address, town, phone = text[:30], text[30:75], text[75:105], text[105:119]
            letters |= set(text + meter["meterInformation"])
            self.assertRegex(name, r"^(ABONNÉ|RÉSIDENCE|COMMERCE|ATELIER|ÉCOLE|FERME) [0-9]{7} *$")
            self.assertRegex(address, r"^[0-9]{1,2}( bis)? [A-ZÀ-Ý][\w' -]+\w(, appt [0-9]{1,3})? *$")
            self.assertRegex(town, r"^[A-ZÀ-Ý]+ EXEMPLE[A-ZÀ-Ý'-]* +$")
            self.assertRegex(phone, r"^(00 00( [0-9]{2}){3}| {14})$")
            self.assertEqual(text[119:], " " * 31)
        self.assertGreaterEqual(len({letter for letter in letters if letter > "\x7f"}), 2 if len(kinds["meter subscriber"]) < 100 else 4)
        self.assertEqual(len({row["code"] for row in kinds["round"]}), len(kinds["round"]))

    @of_each_shape
    def test_every_kind_of_field_work_is_included(self, kinds):
        meters = kinds["meter subscriber"]
        share = {kind: len(rows) / len(meters) for kind, rows in kinds.items()}
        self.assertTrue(0.5 < share["AMR"] < 0.8, share)
        if len(meters) < 1000:
            return
        self.assertTrue(0.01 < share["meter change"] < 0.05, share)
        self.assertTrue(0.15 < share["enquiry result"] < 0.4, share)
        self.assertTrue(0.4 < share["extended data"] < 0.6, share)
        self.assertTrue(0.02 < sum("meterReadingDate" not in meter for meter in meters) / len(meters) < 0.1)
        changed = {row["oldMeterSerialNumber"] for row in kinds["meter change"]}
        self.assertTrue(all(meter["meterAuthorizedChange"] and "meterReadingDate" in meter for meter in meters
                            if meter["meterSerialNumber"] in changed))
        self.assertEqual({answer["pageNumber"] for answer in kinds["enquiry result"]}, {"1", "2"})
        self.assertTrue(any(int(module.get("currentAlarms", "0"), 16) & 0x80 for module in kinds["AMR"]))


if __name__ == "__main__":
    unittest.main()
