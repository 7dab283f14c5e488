"""The viewer opens files that are dropped or chosen, and saves what it makes of them. VIEWER is its path."""
import base64
import gzip
import json
import os
import pathlib
import re
import shutil
import time
import zipfile

from selenium.webdriver.common.by import By
from support import Listener, PageTest, ROOT, SAMPLES, WORK, chromium, checked, run, sample, tramo
from test_module import with_memory_of

VIEWER = pathlib.Path(os.environ["VIEWER"]).resolve()
DOWNLOADS = WORK / "downloads-viewer"
FOLDER = WORK / "dropped"
ROUND = ROOT / "samples/round-returned.txt"
LARGEST = 700_000  # bytes of the page


def made(name, content):
    FOLDER.mkdir(exist_ok=True)
    path = FOLDER / name
    path.write_bytes(content)
    return path


class ViewerTest(PageTest):
    options = {"downloads": DOWNLOADS}

    @classmethod
    def setUpClass(cls):
        shutil.rmtree(DOWNLOADS, ignore_errors=True)
        DOWNLOADS.mkdir(parents=True)
        cls.listener = Listener().__enter__()
        super().setUpClass()

    @classmethod
    def tearDownClass(cls):
        super().tearDownClass()
        cls.listener.__exit__()

    def setUp(self):
        self.start()

    def start(self, page=VIEWER):
        self.driver.get("about:blank")
        self.driver.get_log("performance")
        self.driver.get(page.as_uri())
        self.until(lambda: self.js("return document.documentElement.dataset.ready"))

    def choose(self, path):
        self.one("input[type=file]").send_keys(str(path))

    def drop(self, *paths):
        """Drops files in the middle of the page, as the system does."""
        for kind in "dragEnter", "dragOver", "drop":
            self.driver.execute_cdp_cmd("Input.dispatchDragEvent", {
                "type": kind, "x": 300, "y": 300, "data": {"items": [], "files": [str(path) for path in paths], "dragOperationsMask": 1}})

    def shown(self, path, opens=None):
        """Opens a file and waits until it is shown."""
        self.js("document.querySelectorAll('.drop .problem').forEach((one) => one.remove())")
        (opens or self.choose)(path)
        self.until(lambda: self.js("return document.documentElement.dataset.opened") or self.all(".problem"))
        self.assertEqual([], self.texts(".drop .problem"))
        self.settle()

    def refused(self, path, opens=None):
        """Returns why a file is not shown."""
        (opens or self.choose)(path)
        self.until(lambda: self.all(".drop .problem"))
        return " ".join(self.texts(".drop .problem, .drop .why"))

    def saved(self, name):
        path = DOWNLOADS / name
        self.until(path.exists)
        content = path.read_bytes()
        path.unlink()
        return content

    def open_dialog(self, label):
        """Opens the dialog of a button of the heading."""
        next(button for button in self.all(".acts button, .drop button") if button.text.startswith(label)).click()
        self.until(lambda: self.all("dialog.job[open]"))

    def press_button(self, label):
        next(button for button in self.all("dialog.job button") if button.text == label).click()


class Files(ViewerTest):
    def test_each_sample_is_shown_with_the_findings_of_the_check(self):
        for path in SAMPLES:
            with self.subTest(path.name):
                self.start()
                self.shown(path, self.drop)
                file = json.loads(tramo("check", "--format", "json", path))["files"][0]
                source = self.js("return document.querySelector('.facts').textContent")
                self.assertIn(f"{file['summary']['lines']} line", source)
                self.assertIn(path.name, self.driver.title + source)
                bad = file["summary"]["errors"] + file["summary"]["warnings"]
                if bad:
                    self.assertEqual(bad, self.number(".tabs [data-view=findings] .tab-n"))
                self.assertEqual([], self.complaints())

    def test_findings_and_meters_are_those_of_a_report_and_of_the_check(self):
        self.shown(ROOT / "samples/round-broken.txt")
        findings, _, summary = checked(ROOT / "samples/round-broken.txt")
        self.tab("findings")
        text = self.js("return document.querySelector('.view-findings').textContent")
        for one in findings:
            why = one["message"].split(": ", 1)[1] if one.get("field") and one["message"].startswith(one["field"] + ": ") else one["message"]
            self.assertIn(re.sub(r" \[\w+( 0x\w+)?\]", "", why).split("; the format reports")[0], text)
        self.assertGreater(summary["errors"], 20)
        # The text of a line comes from the worker.
        self.until(lambda: self.js("return document.querySelector('.f-item .raw, .f-raw code, .f-raw .line, .f-raw *')?.textContent.length > 100"))

    def test_values_of_a_meter_are_those_of_the_export(self):
        self.shown(ROUND)
        rows = [json.loads(line) for line in tramo("export", ROUND, "--to", "jsonl", "--only", "meter-subscriber").splitlines()]
        self.tab("meters")
        chosen = rows[7]
        self.js("location.hash = '#meters/' + arguments[0]", chosen["meterSerialNumber"])
        self.settle()
        text = re.sub(r"[\s,\u202f\u00a0]", "", self.js("return document.querySelector('.view-meters').textContent"))
        self.assertIn(chosen["meterSerialNumber"], text)
        self.assertIn(str(chosen["meterReadingIndex"]), text)

    def test_a_second_file_replaces_the_first(self):
        self.shown(ROUND)
        self.tab("meters")
        self.js("delete document.documentElement.dataset.opened")
        self.shown(ROOT / "samples/tags.txt", self.drop)
        self.assertIn("tags.txt", self.text(".facts"))
        self.assertEqual([], self.complaints())

    def test_a_file_that_is_none_is_named_with_a_way_on(self):
        png = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==")
        for name, content, words in (("round.zip", b"PK\x03\x04" + bytes(300), "ZIP"), ("round.pdf", b"%PDF-1.7\n" + b"x" * 500, "PDF"),
                                     ("round.png", png * 20, "PNG"), ("round.gz", gzip.compress(ROUND.read_bytes()), "gzip")):
            with self.subTest(name):
                self.start()
                text = self.refused(made(name, content))
                self.assertIn(name, text)
                self.assertIn(words.lower(), text.lower())
                self.assertEqual([], self.complaints())
                self.shown(ROUND)

    def test_an_empty_file_and_several_files_are_refused(self):
        self.assertIn("is empty", self.refused(made("nothing.txt", b"")))
        self.drop(ROUND, ROOT / "samples/tags.txt")
        self.until(lambda: "one file at a time" in (self.text(".toast") or ""))

    def test_text_that_is_no_exchange_file_is_shown_as_such(self):
        self.choose(made("letter.txt", b"Dear all,\r\nthe meters are in the cellar.\r\n" * 50))
        self.until(lambda: self.js("return document.documentElement.dataset.opened") or self.all(".drop .problem"))
        self.assertEqual([], self.complaints())
        self.assertNotEqual("", self.text("#app"))

    def test_hostile_names_and_texts_stay_text(self):
        lines = ROUND.read_bytes().decode("latin-1").split("\r\n")
        lines[0] = lines[0][:7] + "<img src=x onerror=hack()>".ljust(30)[:30] + lines[0][37:]
        path = made("<img src=x onerror=hack()> \u202egnp.txt", "\r\n".join(lines).encode("latin-1"))
        self.js("window.hack = () => { window.hacked = true; }")
        self.shown(path, self.drop)
        for view in "overview", "meters", "findings":
            self.tab(view)
        self.assertEqual(0, self.js("return document.querySelectorAll('#app img').length"))
        self.assertIsNone(self.js("return window.hacked ?? null"))
        self.assertIn("\\u202e", self.text(".facts"))
        self.assertNotIn("\u202e", self.js("return document.documentElement.textContent + document.title"))
        self.assertEqual([], self.complaints())

    def test_keys_are_masked(self):
        path = ROOT / "samples/amr-keys.txt"
        clear, masked = ([json.loads(line) for line in tramo("export", path, "--to", "jsonl", *more).splitlines()] for more in (["--show-keys"], []))
        keys = {row[name] for row, shown in zip(clear, masked) for name in row if shown.get(name) == "***"}
        self.assertGreater(len(keys), 3)
        self.shown(path)
        for view in self.js("return [...document.querySelectorAll('.tabs a')].map((tab) => tab.dataset.view)"):
            self.tab(view)
            text = self.js("return document.documentElement.textContent")
            for key in keys:
                self.assertNotIn(key, text)


class Large(ViewerTest):
    def test_a_round_of_50000_meters_is_shown_and_can_be_cancelled(self):
        path = sample("--meters", 50000, "--returned", "--seed", 3)
        self.choose(path)
        self.until(lambda: self.all("dialog.going-on progress"))
        self.one("dialog.going-on button").click()
        self.until(lambda: "Cancelled" in " ".join(self.texts(".problem, .toast")))
        self.assertEqual([], self.all("dialog.going-on"))
        begin = time.monotonic()
        self.choose(path)
        while not self.js("return document.documentElement.dataset.opened"):
            self.assertLess(time.monotonic(), begin + 300)
            time.sleep(0.2)
        self.assertEqual(50000, self.number(".tabs [data-view=meters] .tab-n"))
        print(f"50,000 meters: opened in {self.js('return document.documentElement.dataset.opened')} ms")

    def test_memory_that_runs_out_is_said_and_the_page_lives_on(self):
        page = VIEWER.read_text()
        before, code, after = re.fullmatch(r'(.*<script type="text/plain" id="tramo-module">)([^<]*)(</script>.*)', page, re.S).groups()
        small = with_memory_of(gzip.decompress(base64.b64decode(code)), 160)
        other = WORK / "small-viewer.html"
        other.write_text(before + base64.b64encode(gzip.compress(small)).decode() + after)
        self.start(other)
        text = self.refused(sample("--meters", 20000, "--returned", "--seed", 4))
        self.assertIn("memory", text)
        self.assertEqual([], self.all("dialog.going-on"))
        self.shown(ROUND)


class Saving(ViewerTest):
    def form(self, name, what=""):
        self.shown(ROUND)
        self.open_dialog("Save as")
        self.js("document.querySelector('dialog.job select').value = arguments[0]", what)
        self.click(f"dialog.job input[value={name}]")
        self.press_button("Save")

    def test_json_lines_are_those_of_the_tool(self):
        self.form("jsonl")
        self.assertEqual(tramo("export", ROUND, "--to", "jsonl"), self.saved("round-returned.jsonl").decode())

    def test_a_table_of_a_kind_is_that_of_the_tool(self):
        self.form("csv", "meter subscriber")
        expected = tramo("export", ROUND, "--to", "csv", "--only", "meter-subscriber")
        self.assertEqual(expected, self.saved("round-returned-meter-subscriber.csv").decode())

    def test_all_tables_are_a_zip_file(self):
        self.form("csv")
        path = WORK / "tables.zip"
        path.write_bytes(self.saved("round-returned.zip"))
        folder = WORK / "tables"
        shutil.rmtree(folder, ignore_errors=True)
        tramo("export", ROUND, "--to", "csv", "-o", folder)
        with zipfile.ZipFile(path) as archive:
            self.assertIsNone(archive.testzip())
            self.assertEqual({file.name: file.read_bytes() for file in folder.iterdir()}, {name: archive.read(name) for name in archive.namelist()})

    def test_a_converted_file_is_that_of_the_tool(self):
        new = WORK / "converted-viewer.txt"
        tramo("convert", "--encoding", "utf16le", ROUND, "-o", new, "--force")
        self.form("utf16")
        self.assertEqual(new.read_bytes(), self.saved("round-returned-utf16.txt"))

    def test_a_repaired_file_and_its_proofs_are_those_of_the_tool(self):
        path, new, log = ROOT / "samples/round-damaged.txt", WORK / "mended.txt", WORK / "mended.jsonl"
        tramo("repair", path, "-o", new, "--log", log, "--force")
        self.shown(path)
        self.open_dialog("Repair")
        self.press_button("Save the repaired file")
        self.assertEqual(new.read_bytes(), self.saved("round-damaged-repaired.txt"))
        self.press_button("Save the changes with their proofs")
        self.assertEqual(log.read_bytes(), self.saved("round-damaged-repaired.jsonl"))
        self.js("delete document.documentElement.dataset.opened")
        self.press_button("Open the repaired file")
        self.until(lambda: self.js("return document.documentElement.dataset.opened"))
        self.assertIn("round-damaged-repaired.txt", self.text(".facts"))

    def test_a_file_without_lines_can_be_repaired_if_it_has_another_encoding(self):
        path = made("big-endian.txt", b"\xfe\xff" + ROUND.read_bytes().decode("latin-1").encode("utf-16-be"))
        self.refused(path)
        self.until(lambda: any(button.text.startswith("Repair") for button in self.all(".drop button")))
        self.open_dialog("Repair")
        self.press_button("Open the repaired file")
        self.until(lambda: self.js("return document.documentElement.dataset.opened"))
        self.assertEqual(60, self.number(".tabs [data-view=meters] .tab-n"))


class Alone(ViewerTest):
    def test_the_page_is_small_and_complete(self):
        page = VIEWER.read_text()
        self.assertLessEqual(len(page.encode()), LARGEST)
        self.assertEqual([], re.findall(r"""(?:src|href)=["']?(?!data:)[a-z]+:""", re.sub(r'<script type="text/plain".*?</script>', "", page, flags=re.S)))
        policy = re.search(r'Content-Security-Policy" content="([^"]*)"', page)[1]
        directives = dict(one.strip().split(" ", 1) for one in policy.split(";"))
        self.assertEqual("'none'", directives["default-src"])
        self.assertEqual("blob:", directives["worker-src"])
        self.assertRegex(directives["script-src"], r"^'sha256-[^ ]*' 'wasm-unsafe-eval'$")
        self.assertNotIn("unsafe-inline", policy)

    def test_no_request_leaves(self):
        self.shown(ROUND)
        for view in "meters", "findings", "overview":
            self.tab(view)
        requests = []
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                requests.append(message["params"]["request"]["url"])
        self.assertEqual([], [url for url in requests if not url.startswith(("file:", "blob:", "about:", "data:"))])

    def test_nothing_can_be_sent_from_the_page_or_its_worker(self):
        url = self.listener.url
        refused = self.driver.execute_async_script("""
            const [url, done] = arguments, results = [];
            const attempt = async (name, what) => { try { await what(); results.push(name); } catch { } };
            (async () => {
                await attempt('fetch', () => fetch(url + '/fetch', { mode: 'no-cors' }));
                await attempt('image', () => new Promise((resolve, reject) => { const image = new Image(); image.onload = resolve; image.onerror = reject; image.src = url + '/image'; }));
                await attempt('socket', () => new Promise((resolve, reject) => { const socket = new WebSocket(url.replace('http', 'ws')); socket.onopen = resolve; socket.onerror = reject; }));
                await attempt('worker', () => new Promise((resolve, reject) => {
                    const text = `fetch('${url}/worker', { mode: 'no-cors' }).then(() => postMessage('sent'), () => postMessage('refused'))`;
                    const worker = new Worker(URL.createObjectURL(new Blob([text])));
                    worker.onmessage = ({ data }) => data === 'sent' ? resolve() : reject();
                    worker.onerror = reject;
                }));
                navigator.sendBeacon(url + '/beacon', 'x');
                setTimeout(() => done(results), 300);
            })();""", url)
        self.assertEqual([], refused)
        self.assertEqual([], self.listener.requests)

    def test_it_speaks_french(self):
        driver = chromium(language="fr-FR")
        try:
            driver.get(VIEWER.as_uri())
            self.until(lambda: driver.execute_script("return document.documentElement.dataset.ready"))
            self.assertEqual("Déposez ici un fichier de relève", driver.find_element(By.CSS_SELECTOR, "h1").text)
        finally:
            driver.quit()


if __name__ == "__main__":
    run()
