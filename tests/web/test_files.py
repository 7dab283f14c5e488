"""Several files in one report, two files that are compared, files without meters, and the size of the page itself."""
import json
import re

from support import PageTest, ROOT, WORK, report, run, sample, tramo

MOST = 140 * 1024
SAMPLES = ROOT / "samples"
EXPORTED = ("--meters", 300)
RETURNED = ("--meters", 300, "--returned", "--differences", 0.05)


class Compared(PageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.files = sample(*EXPORTED), sample(*RETURNED)
        cls.said = json.loads(tramo("reconcile", "--format", "json", *cls.files))

    def setUp(self):
        self.open(report(*self.files), "brought")

    def test_numbers_are_those_of_reconcile(self):
        one = self.said["rounds"][0]
        numbers = [int(re.sub(r"\D", "", text)) for text in self.texts(".numbers dd b")]
        names = ["read", "unread", "missing", "added", "replaced", "corrected", "located", "answered"]
        self.assertEqual([one[name] for name in names if one[name] or name == "read"], numbers)

    def test_differences_are_those_of_reconcile(self):
        self.js("for (let more; (more = document.querySelector('.view-brought .more')) && !more.hidden; ) more.click()")
        rows = self.js("return [...document.querySelectorAll('.wide-rows tr')].map((row) => [row.children[0].textContent, row.children[1].textContent])")
        self.assertLess(5, len(rows))
        self.assertEqual(sorted(one.get("meter", "of the round as a whole") for one in self.said["toLookAt"]), sorted(row[0] for row in rows))
        self.assertEqual(str(len(rows)), self.text(".panel:last-child .h-note"))

    def test_a_difference_leads_to_its_meter(self):
        serial = self.text(".wide-rows .link")
        self.click(".wide-rows .link")
        self.assertEqual(serial, self.text(".detail h2"))

    def test_meters_are_those_that_came_back(self):
        self.assertEqual(self.said["rounds"][0]["returnedMeters"], self.number("[data-view=meters] .tab-n"))


class Several(PageTest):
    def test_a_file_can_be_chosen(self):
        broken, returned = SAMPLES / "round-broken.txt", sample("--meters", 300, "--returned")
        self.open(report(broken, returned))
        self.assertEqual(359, self.number("[data-view=meters] .tab-n"))
        choose = lambda k: self.js(f"const s = document.querySelector('.acts select'); s.value = '{k}'; s.dispatchEvent(new Event('change'))")
        for k, meters, findings in (0, 59, 91), (1, 300, 0), (-1, 359, 91):
            choose(k)
            self.settle()
            self.assertEqual(meters, self.number("[data-view=meters] .tab-n"))
            self.assertEqual(findings, self.number("[data-view=findings] .tab-n"))
            self.tab("meters")
            self.assertIn(str(meters), self.text(".shown"))
            self.tab("overview")

    def test_each_file_names_itself(self):
        broken, returned = SAMPLES / "round-broken.txt", SAMPLES / "round-returned.txt"
        self.open(report(broken, returned), "findings")
        self.assertIn("round-broken.txt", self.text(".f-item"))


class Samples(PageTest):
    def test_every_sample_opens_in_every_view(self):
        for path in sorted(SAMPLES.glob("*.txt")):
            with self.subTest(path.name):
                self.open(report(path))
                for view in "meters", "findings", "overview":
                    self.tab(view)
                self.assertIn(path.name, self.text(".facts"))
                self.assertEqual([], self.complaints())

    def test_tags_and_parameters_are_a_table(self):
        for name in "tags", "parameters":
            lines = (SAMPLES / f"{name}.txt").read_bytes().decode("cp1252").splitlines()
            self.open(report(SAMPLES / f"{name}.txt"))
            self.assertEqual(len(lines), len(self.all(".others tbody tr")))

    def test_damaged_data_is_a_message(self):
        whole = report(SAMPLES / "round-returned.txt").read_text()
        damaged = WORK / "damaged.html"
        for part in "summary", "meters", "history":
            with self.subTest(part):
                first = whole.index(f'id="tramo-{part}">') + 40
                damaged.write_text(whole[:first] + "!" + whole[first + 1:])
                self.driver.get(damaged.as_uri())
                self.until(lambda: self.all(".message"))
                self.assertIn("could not be read", self.text(".message"))


class Size(PageTest):
    def test_the_page_without_data_is_small(self):
        page = report(SAMPLES / "tags.txt").read_text()
        size = len(re.sub(r'<script type="text/plain".*?</script>\n?', "", page, flags=re.S).encode())
        print(f"the page without data: {size:,} bytes")
        self.assertLessEqual(size, MOST)


if __name__ == "__main__":
    run()
