"""axe-core finds nothing in any view, light and dark, wide and narrow. AXE is the path of axe.min.js."""
import os
import unittest

from support import PageTest, ROOT, report, resize, run, sample, scheme

AXE = os.environ.get("AXE")
SAMPLES = ROOT / "samples"


class AxeChecks:
    """What a page test needs to ask axe-core."""
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        with open(AXE, encoding="utf-8") as file:
            cls.axe = file.read()

    def violations(self):
        if not self.js("return !!window.axe"):
            self.driver.execute_cdp_cmd("Runtime.evaluate", {"expression": self.axe})
        return self.driver.execute_async_script("""
            const done = arguments[0];
            axe.run(document, {resultTypes: ['violations']}).then((result) => done(result.violations.flatMap(
                (one) => one.nodes.map((node) => one.id + ': ' + node.target.join(' ') + ' ' + (node.any[0]?.message ?? one.help)))), (e) => done([String(e)]));""")

    def check(self, name):
        self.settle()
        self.assertEqual([], self.violations(), name)


@unittest.skipUnless(AXE, "AXE is not set")
class Axe(AxeChecks, PageTest):
    def views(self, path):
        self.open(path)
        for view in self.js("return [...document.querySelectorAll('.tabs a')].map((tab) => tab.dataset.view)"):
            self.tab(view)
            self.check(view)
            if view == "meters" and self.all(".g-body .g-row"):
                self.js("document.querySelectorAll('.g-body .g-row')[2].firstChild.click()")
                self.settle()
                self.js("document.querySelectorAll('.d-line summary')[0].click(); document.querySelector('.opt input')?.click()")
                self.until(lambda: self.all(".d-line .raw"))
                self.check("meter")
                self.js("document.querySelector('.d-nav button:last-child').click()")
                if self.one(".menu summary").is_displayed():
                    self.click(".menu summary")
                    self.check("columns")
                    self.click(".menu summary")
                self.one(".search").send_keys("no such meter")
                self.until(lambda: self.js("return !document.querySelector('.g-empty').hidden"))
                self.check("no match")

    def everywhere(self, *files):
        for width in 1400, 360:
            resize(self.driver, width, 900)
            for dark in False, True:
                scheme(self.driver, dark)
                with self.subTest(width=width, dark=dark):
                    self.views(report(*files))

    def test_a_round_with_errors(self):
        self.everywhere(sample("--meters", 1200, "--returned", "--faults", 0.03))

    def test_a_damaged_file(self):
        self.everywhere(SAMPLES / "round-damaged.txt")

    def test_a_sound_round(self):
        self.everywhere(SAMPLES / "round-returned.txt")

    def test_two_files_that_were_compared(self):
        self.everywhere(sample("--meters", 300), sample("--meters", 300, "--returned", "--differences", 0.05))

    def test_files_without_meters(self):
        for name in "tags.txt", "parameters.txt", "amr-keys.txt":
            self.everywhere(SAMPLES / name)

    def test_an_empty_page(self):
        path = report(SAMPLES / "tags.txt")
        empty = path.with_name("empty.html")
        text = path.read_text()
        first = text.index('<script type="text/plain"')
        empty.write_text(text[:first] + text[text.index('<script type="module">', first):])
        self.driver.get(empty.as_uri())
        self.until(lambda: self.all(".message"))
        self.check("empty")


if __name__ == "__main__":
    run()
