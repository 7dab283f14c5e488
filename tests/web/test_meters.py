"""Table, filters, search, sort, keys, details, and what is copied and saved, compared with `tramo export`."""
import csv
import io
import json
import time

from support import Keys, PageTest, WORK, report, run, sample, tramo

DOWNLOADS = WORK / "downloads"
ROUND = ("--meters", 2000, "--returned")


def exported(path):
    """Returns the meter subscriber lines of a file, by line number."""
    lines = map(json.loads, tramo("export", "--to", "jsonl", "-o", "-", path).splitlines())
    return {line["line"]: line for line in lines if line["kind"] == "meter subscriber"}


class Meters(PageTest):
    options = {"downloads": DOWNLOADS}

    @classmethod
    def setUpClass(cls):
        DOWNLOADS.mkdir(exist_ok=True)
        super().setUpClass()
        cls.file = sample(*ROUND)
        cls.meters = exported(cls.file)
        cls.read = [line for line in cls.meters.values() if "meterReadingDate" in line]

    def setUp(self):
        self.open(report(self.file), "meters")

    def shown(self):
        return self.number(".shown") if " of " not in self.text(".shown") else int(self.text(".shown").split(" of ")[0].replace(",", ""))

    def column(self, label):
        """Returns the texts of a column in the rows in sight, from top to bottom."""
        return self.js("""
            const k = [...document.querySelectorAll('.g-h')].findIndex((one) => one.firstChild.textContent === arguments[0]);
            const rows = [...document.querySelectorAll('.g-body .g-row:not([hidden])')];
            return rows.sort((a, b) => a.ariaRowIndex - b.ariaRowIndex).map((row) => row.children[k].textContent);""", label)

    def search(self, text):
        box = self.one(".search")
        box.clear()
        box.send_keys(text)
        time.sleep(0.3)
        self.settle()

    def select(self, columns):
        """Selects these columns and no others besides state and serial."""
        self.js("""
            for (const label of document.querySelectorAll('.menu-box label')) {
                const box = label.querySelector('input'), wanted = arguments[0].includes(label.querySelector('span').textContent);
                if (box.checked !== wanted) box.click();
            }""", columns)
        self.settle()

    def saved(self):
        for old in DOWNLOADS.glob("*.csv"):
            old.unlink()
        self.js("[...document.querySelectorAll('.tools .btn')].find((one) => one.textContent === 'CSV').click()")
        path = self.until(lambda: next(DOWNLOADS.glob("*.csv"), None))
        return path.read_bytes()

    def test_all_meters_are_counted(self):
        self.assertEqual(len(self.meters), self.shown())
        self.assertEqual(str(len(self.meters) + 1), self.one(".grid").get_attribute("aria-rowcount"))

    def test_each_filter_shows_as_many_meters_as_it_says(self):
        states = self.js("return [...document.querySelectorAll('.chip')].map((one) => one.dataset.state)")
        self.assertIn("outside", states)
        for state in states:
            with self.subTest(state):
                chip = f".chip[data-state={state}]"
                self.click(chip)
                self.assertEqual(self.number(chip + " .chip-n"), self.shown())
                self.assertEqual("true", self.one(chip).get_attribute("aria-pressed"))
                self.click(chip)
        self.assertEqual(len(self.meters), self.shown())

    def test_read_and_outside_the_estimate_are_those_of_the_file(self):
        outside = [line for line in self.read if "meterReadingConsumption" in line and "meterMinEstimatedConsumption" in line
                   and not line["meterMinEstimatedConsumption"] <= line["meterReadingConsumption"] <= line["meterMaxEstimatedConsumption"]]
        for state, lines in ("read", self.read), ("outside", outside):
            self.assertEqual(len(lines), self.number(f".chip[data-state={state}] .chip-n"))

    def test_two_filters_show_meters_with_both(self):
        self.click(".chip[data-state=outside]")
        first = self.shown()
        self.click(".chip[data-state=alarm]")
        self.assertLess(0, self.shown())
        self.assertLess(self.shown(), first)

    def test_search_finds_serial_number_and_address_without_accents(self):
        line = next(iter(self.meters.values()))
        self.search(line["meterSerialNumber"].lower())
        self.assertEqual([line["meterSerialNumber"]], self.column("Serial"))
        self.search("releve ete introuvable")
        self.assertEqual(0, self.shown())
        self.assertIn("No meter matches", self.text(".g-empty"))
        self.click(".g-empty .btn")
        self.assertEqual(len(self.meters), self.shown())
        place = "évier"
        expected = [line for line in self.meters.values() if place.upper() in line.get("meterInformation", "")]
        self.assertTrue(expected)
        self.search("evier")
        self.assertEqual(len(expected), self.shown())

    def test_sort_up_down_and_as_in_the_file(self):
        head = "[...document.querySelectorAll('.g-h')].find((one) => one.firstChild.textContent === 'Index')"
        order = [line.get("meterReadingIndex") for line in self.meters.values()]
        known = sorted(index for index in order if index is not None)
        shown = lambda: [text.replace(",", "") for text in self.column("Index")][:10]
        self.js(head + ".click()")
        self.settle()
        self.assertEqual([str(index) for index in known[:10]], shown())
        self.assertEqual("ascending", self.js(f"return {head}.ariaSort"))
        self.js(head + ".click()")
        self.settle()
        self.assertEqual([str(index) for index in known[::-1][:10]], shown())
        self.js(head + ".click()")
        self.settle()
        self.assertEqual([str(index) if index is not None else "" for index in order[:10]], shown())

    def test_rows_without_a_value_are_last_in_both_directions(self):
        head = "[...document.querySelectorAll('.g-h')].find((one) => one.firstChild.textContent === 'Index')"
        unread = len(self.meters) - len(self.read)
        for _ in range(2):
            self.js(head + ".click(); const box = document.querySelector('.grid'); box.scrollTop = box.scrollHeight")
            self.settle()
            self.assertEqual([""] * 5, self.column("Index")[-5:])
        self.assertLess(5, unread)

    def test_csv_has_the_values_of_the_export(self):
        self.select(["Index", "Consumption", "Read on", "Line", "Previous", "Wheels", "Year"])
        rows = list(csv.DictReader(io.StringIO(self.saved().decode("utf-8-sig"))))
        self.assertEqual(len(self.meters), len(rows))
        fields = {"Serial": "meterSerialNumber", "Index": "meterReadingIndex", "Consumption": "meterReadingConsumption",
                  "Previous": "meterPreviousReadingIndex", "Wheels": "meterWheels", "Year": "meterInstallationYear"}
        for row, (number, line) in zip(rows, self.meters.items()):
            self.assertEqual(str(number), row["Line"])
            for label, field in fields.items():
                if label not in row:
                    continue
                value, expected = row[label], line.get(field, "")
                self.assertEqual(expected, type(expected)(value) if value else "", (label, row))
            self.assertEqual(line.get("meterReadingDate", "").replace("T", " "), row["Read on"])

    def test_csv_has_the_rows_that_are_shown_in_their_order(self):
        self.click(".chip[data-state=outside]")
        self.js("[...document.querySelectorAll('.g-h')].find((one) => one.firstChild.textContent === 'Serial').click()")
        self.settle()
        rows = list(csv.DictReader(io.StringIO(self.saved().decode("utf-8-sig"))))
        self.assertEqual(self.shown(), len(rows))
        serials = [row["Serial"] for row in rows]
        self.assertEqual(sorted(serials), serials)
        self.assertEqual(self.column("Serial")[:10], serials[:10])

    def test_keys_move_open_step_and_close(self):
        focus = lambda: self.js("const e = document.activeElement, row = e.closest('[role=row]'); return row ? [+row.ariaRowIndex, +e.ariaColIndex] : null")
        self.press("/")
        self.assertEqual("search", self.driver.switch_to.active_element.get_attribute("type"))
        self.press(Keys.ARROW_DOWN)
        self.assertEqual([2, 1], focus())
        self.press(Keys.ARROW_DOWN, Keys.ARROW_DOWN, Keys.ARROW_RIGHT)
        self.assertEqual([4, 2], focus())
        self.press(Keys.END)
        self.assertEqual(int(self.one(".grid").get_attribute("aria-colcount")), focus()[1])
        self.press(Keys.HOME, Keys.PAGE_DOWN)
        self.assertLess(10, focus()[0])
        self.press(Keys.chord(Keys.CONTROL, Keys.END) if hasattr(Keys, "chord") else Keys.CONTROL + Keys.END)
        self.assertEqual(len(self.meters) + 1, focus()[0])
        self.press(Keys.CONTROL + Keys.HOME)
        self.assertEqual(2, focus()[0])
        self.press(Keys.ENTER)
        first, second = list(self.meters.values())[:2]
        self.assertEqual(first["meterSerialNumber"], self.text(".detail h2"))
        self.click(".d-nav [aria-label='Next meter']")
        self.assertEqual(second["meterSerialNumber"], self.text(".detail h2"))
        self.one(".detail h2").click()
        self.js("document.querySelector('.d-nav button:last-child').focus()")
        self.press(Keys.ESCAPE)
        self.assertEqual([], self.all(".detail"))
        self.assertEqual([3, 1], focus())
        self.press(Keys.ARROW_UP, Keys.ARROW_UP)
        self.assertEqual([1, 1], focus())
        self.press(Keys.ARROW_RIGHT, Keys.ENTER)
        self.assertEqual("ascending", self.driver.switch_to.active_element.get_attribute("aria-sort"))

    def test_only_one_cell_can_have_the_focus(self):
        count = lambda: self.js("return document.querySelectorAll('.grid [tabindex=\"0\"]').length")
        self.assertEqual(1, count())
        self.press("/", Keys.ARROW_DOWN, Keys.PAGE_DOWN, Keys.ARROW_RIGHT)
        self.assertEqual(1, count())

    def test_the_focus_stays_on_its_row_while_another_part_is_in_sight(self):
        self.press("/", Keys.ARROW_DOWN, Keys.ARROW_DOWN)
        before = self.js("return document.activeElement.closest('[role=row]').ariaRowIndex")
        self.js("document.querySelector('.grid').scrollTop = 20000")
        self.settle()
        self.assertEqual(before, self.js("return document.activeElement.closest('[role=row]')?.ariaRowIndex"))

    def test_the_address_names_the_view_and_the_meter(self):
        serial = list(self.meters.values())[40]["meterSerialNumber"]
        self.open(report(self.file), "meters/" + serial)
        self.until(lambda: self.all(".detail"))
        self.assertEqual(serial, self.text(".detail h2"))
        self.open(report(self.file), "meters/%E0%A4%A")
        self.assertEqual([], self.all(".detail"))

    def test_details_show_reading_and_raw_lines(self):
        number, line = next((number, line) for number, line in self.meters.items() if line.get("meterReadingIndex", 0) > 0)
        self.open(report(self.file), "meters/" + line["meterSerialNumber"])
        self.until(lambda: self.all(".detail"))
        self.assertIn(f"{line['meterReadingIndex']:,}", self.text(".trio"))
        self.js("document.querySelector('.d-line summary').click()")
        self.until(lambda: self.all(".d-line .raw"))
        text = self.js("return [...document.querySelectorAll('.d-line .raw-text .raw-f')].map((one) => one.textContent).join('')")
        content = self.file.read_bytes().decode("cp1252").split("\r\n")[number - 1]
        self.assertEqual(content.rstrip(), text.rstrip())

    def test_details_that_are_unpacked_later_show_the_history(self):
        line = next(line for line in self.read if line.get("meterHistory4Consumption"))
        self.open(report(self.file), "meters/" + line["meterSerialNumber"])
        self.until(lambda: self.all(".detail"))
        past = [(line[f"meterHistory{slot}ReadingDate"][:7], line[f"meterHistory{slot}Consumption"]) for slot in (4, 3, 2, 1)]
        past.append((line["meterReadingDate"][:7], line["meterReadingConsumption"]))
        self.assertEqual(", ".join(f"{month}: {value:,}" for month, value in past), self.one(".detail .cols").get_attribute("aria-label"))

    def test_a_round_can_be_chosen(self):
        self.js("const s = document.querySelector('.tools select'); s.value = '1'; s.dispatchEvent(new Event('change'))")
        self.settle()
        self.assertEqual(1000, self.shown())

    def test_a_link_to_an_online_map_exists_only_when_it_was_allowed(self):
        self.click(".chip[data-state=located]")
        self.press("/", Keys.ARROW_DOWN, Keys.ENTER)
        self.assertEqual([], self.all("a[href^=http]"))
        self.assertIn("another company", self.text(".opt"))
        self.js("document.querySelector('.opt input').click()")
        self.assertEqual(1, len(self.all("a[href^=http]")))
        self.js("document.querySelector('.opt input').click()")
        self.assertEqual([], self.all("a[href^=http]"))

    def test_implausible_is_what_a_rule_about_readings_finds(self):
        self.assertEqual([], self.all(".chip[data-state=implausible]"))
        self.open(report(sample("--returned", "--faults", "ReadingBelowPrevious")), "meters")
        self.assertEqual(1, self.number(".chip[data-state=implausible] .chip-n"))
        self.click(".chip[data-state=implausible]")
        serial = self.column("Serial")
        self.assertEqual(1, len(serial))
        self.tab("findings")
        self.assertIn(serial[0], self.text("[data-rule=ReadingBelowPrevious]"))


if __name__ == "__main__":
    run()
