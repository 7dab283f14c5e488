"""No width clips anything, paper has few pages, and light and dark show the same. Pictures for the eye are in WORK/pictures."""
import json
import re

from support import Keys, PageTest, WORK, report, resize, run, sample, scheme, tramo

WIDTHS = (360, 500, 700, 768, 1024, 1080, 1100, 1280, 1400, 1920, 2560)
PICTURES = (360, 1400, 2560)
BROKEN = ("--meters", 2000, "--returned", "--faults", 0.02)

# What reaches over the right edge of the window, or over its own scrolling part, although it is shown.
OUTSIDE = """
    const scrolls = (e) => /auto|scroll|hidden|clip/.test(getComputedStyle(e).overflowX);
    return [...document.querySelectorAll('body *')].filter((e) => {
        const box = e.getBoundingClientRect();
        if (!box.width || !box.height || box.right <= innerWidth + 1 || e.closest('.offscreen, .measure, .print, svg')) return false;
        for (let p = e.parentElement; p; p = p.parentElement) if (scrolls(p) && p !== document.body && p !== document.documentElement) return false;
        return true;
    }).map((e) => e.className + ': ' + e.textContent.slice(0, 40));"""

# Texts that are cut without dots: wider than their element.
CUT = """
    return [...document.querySelectorAll('.btn, .chip, .tabs a, .g-h, .look-t b, .big-t, .d-head h2, .trio b, .trio i, .legend li, .seg-ctl button, dt, h2')]
        .filter((e) => e.offsetParent && e.scrollWidth > e.clientWidth + 1 && getComputedStyle(e).display !== 'inline' && getComputedStyle(e).textOverflow !== 'ellipsis')
        .map((e) => e.className + ': ' + e.textContent);"""


class Widths(PageTest):
    def look(self, name, width):
        self.assertEqual([], self.js(OUTSIDE), (name, width))
        self.assertEqual([], self.js(CUT), (name, width))
        self.assertLessEqual(self.js("return document.documentElement.scrollWidth"), width, (name, width))
        if width not in PICTURES:
            return
        for dark in False, True:
            scheme(self.driver, dark)
            self.settle()
            self.picture(f"{name}-{width}-{'dark' if dark else 'light'}")
        scheme(self.driver, False)

    def test_no_width_clips_a_view(self):
        path = report(sample(*BROKEN))
        for width in WIDTHS:
            resize(self.driver, width, 900)
            self.open(path)
            self.look("overview", width)
            self.tab("findings")
            self.look("findings", width)
            self.tab("meters")
            self.look("meters", width)
            self.assertLessEqual(*self.js("const g = document.querySelector('.grid'); return [g.scrollWidth, g.clientWidth + 1]"), width)
            self.js("document.querySelectorAll('.g-body .g-row')[2].firstChild.click()")
            self.settle()
            self.look("meter", width)
            self.assertLessEqual(*self.js("const g = document.querySelector('.grid'); return [g.scrollWidth, g.clientWidth + 1]"), width)
            self.assertLessEqual(*self.js("const s = document.querySelector('.side'); return [s.scrollWidth, s.clientWidth + 1]"), width)

    def test_several_files_can_be_told_apart_at_every_width(self):
        path = report(*(sample("--meters", 20, "--seed", seed) for seed in (1, 2)))
        for width in WIDTHS:
            resize(self.driver, width, 900)
            self.open(path)
            self.look("two-files", width)
            self.assertTrue(self.one(".acts select").is_displayed(), width)

    def test_columns_without_room_are_counted_and_come_back(self):
        resize(self.driver, 1100, 900)
        self.open(report(sample(*BROKEN)), "meters")
        narrow = int(self.one(".grid").get_attribute("aria-colcount"))
        self.assertRegex(self.text(".menu summary"), r"Columns \(\d+ hidden\)")
        resize(self.driver, 2560, 900)
        self.until(lambda: int(self.one(".grid").get_attribute("aria-colcount")) > narrow)

    def test_a_narrow_screen_has_cards_and_shows_a_meter_on_the_whole_screen(self):
        resize(self.driver, 360, 780)
        self.open(report(sample(*BROKEN)), "meters")
        self.assertEqual("1", self.one(".grid").get_attribute("aria-colcount"))
        self.js("document.querySelector('.g-card').click()")
        self.settle()
        self.assertEqual(360, self.js("return document.querySelector('.sidebox').getBoundingClientRect().width"))
        self.assertEqual("H2", self.js("return document.activeElement.tagName"))
        self.press(Keys.ESCAPE)
        self.assertEqual([], self.all(".detail"))


class Paper(PageTest):
    def pages(self):
        return len(re.findall(rb"/Type\s*/Page\b", self.pdf()))

    def test_2000_meters_have_at_most_five_pages(self):
        for name, options in {"sound": BROKEN[:3], "broken": BROKEN, "bad": (*BROKEN[:3], "--faults", 0.3), "exported": BROKEN[:2],
                              "all-bad": (*BROKEN[:2], "--faults", 0.3)}.items():
            with self.subTest(name):
                self.open(report(sample(*options)))
                self.assertLessEqual(self.pages(), 5)
                (WORK / f"paper-{name}.pdf").write_bytes(self.pdf())

    def test_paper_names_each_unread_meter(self):
        for meters, dense in ((100, False), (250, False), (251, True), (2000, True)):
            with self.subTest(meters):
                path = sample("--meters", meters)
                self.open(report(path))
                self.js("dispatchEvent(new Event('beforeprint'))")
                serials = [json.loads(line)["meterSerialNumber"] for line in tramo("export", path, "--to", "jsonl", "--only", "meter-subscriber").splitlines()]
                self.assertEqual(serials, self.texts(".p-list li b"))
                self.assertEqual(dense, self.text(".p-list li") == serials[0])
                self.assertEqual(["Serial numbers only, without addresses."] if dense else [], self.texts(".p-sec .quiet"))
                self.js("dispatchEvent(new Event('afterprint'))")

    def test_paper_says_how_many_meters_it_leaves_out(self):
        self.open(report(sample("--meters", 6000)))
        self.js("dispatchEvent(new Event('beforeprint'))")
        self.assertEqual((5000, "1,000 more are in the file."), (len(self.all(".p-list li")), self.texts(".p-sec .quiet")[-1]))

    def test_small_type_on_paper_has_six_points_or_more(self):
        self.open(report(sample("--meters", 2000)))
        self.js("dispatchEvent(new Event('beforeprint'))")
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
        sizes = self.js("return [...document.querySelectorAll('.print .p-list b, .print .p-list li')].map((one) => parseFloat(getComputedStyle(one).fontSize))")
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": ""})
        self.assertGreaterEqual(min(sizes) * 0.75, 6)

    def test_paper_lists_unread_meters_and_findings(self):
        self.open(report(sample(*BROKEN)))
        unread = self.number(".legend li:last-child b")
        self.js("dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(unread, len(self.all(".p-list li")))
        self.assertLess(10, len(self.all(".p-finds li")))
        self.js("dispatchEvent(new Event('afterprint'))")
        self.assertEqual([], self.all(".print"))


class Motion(PageTest):
    def test_reduced_motion_has_no_transitions(self):
        self.open(report(sample(*BROKEN)))
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-reduced-motion", "value": "reduce"}]})
        moving = self.js("return [...document.querySelectorAll('*')].filter((e) => parseFloat(getComputedStyle(e).transitionDuration) > 0).length")
        self.assertEqual(0, moving)


if __name__ == "__main__":
    run()
