"""50,000 meters are ready in 500 ms, and no frame of scrolling takes 16 ms of work. The best of some runs counts: the machine may be busy."""
import os

from support import PageTest, report, run, sample

READY = float(os.environ.get("TRAMO_READY_MS", 500))
FRAME = 16
RUNS = 6
WATCH = """
    window.work = [];
    const later = window.requestAnimationFrame;
    window.requestAnimationFrame = (act) => later((now) => { const start = performance.now(); act(now); window.work.push(performance.now() - start); });"""
SCROLL = """
    const done = arguments[1], grid = document.querySelector('.grid'), step = arguments[0];
    let n = 0;
    window.work = [];
    (function next() { grid.scrollTop += step; if (++n < 80) setTimeout(() => requestAnimationFrame(next)); else done(window.work); })();"""


class Speed(PageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.path = report(sample("--meters", 50000, "--returned"))
        cls.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": WATCH})

    def test_ready(self):
        times = []
        for _ in range(RUNS):
            self.open(self.path)
            times.append(self.js("""return performance.getEntriesByName('ready')[0].startTime -
                performance.getEntriesByType('navigation')[0].responseEnd"""))
        print("ready after", [round(time) for time in times], "ms")
        self.assertEqual("50,000", self.text("[data-view=meters] .tab-n"))
        self.assertLessEqual(min(times), READY)

    def test_scrolling(self):
        self.open(self.path, "meters")
        for step in 100, 3000, 60000:
            best = min(self.frames(step) for _ in range(3))
            print(f"scrolling by {step}: {best:.1f} ms of work in the slowest frame but two")
            self.assertLess(best, FRAME)

    def frames(self, step):
        self.js("document.querySelector('.grid').scrollTop = 0")
        self.settle()
        return sorted(self.driver.execute_async_script(SCROLL, step))[-3]

    def test_search_is_lazy(self):
        self.open(self.path, "meters")
        self.assertEqual("50,000 meters", self.text(".shown"))
        self.one(".search").send_keys("C17AB3921982")
        self.until(lambda: self.text(".shown") != "50,000 meters")
        self.assertRegex(self.text(".shown"), r"^\d+ of 50,000$")


if __name__ == "__main__":
    run()
