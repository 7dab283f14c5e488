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
from support import Keys, Listener, PageTest, ROOT, SAMPLES, WORK, chromium, checked, resize, run, sample, tramo
from test_layout import CUT, OUTSIDE
from test_module import with_memory_of

VIEWER = pathlib.Path(os.environ["VIEWER"]).resolve()
DOWNLOADS = WORK / "downloads-viewer"
FOLDER = WORK / "dropped"
ROUND = ROOT / "samples/round-returned.txt"
EXPORTED = ROOT / "samples/round-exported.txt"
LARGEST = 700_000  # bytes of the page


def made(name, content):
    FOLDER.mkdir(exist_ok=True)
    path = FOLDER / name
    path.write_bytes(content)
    return path


def squeezed(text):
    """Returns a line as the page shows it, without what stands for spaces."""
    return re.sub(r"[\s\u2420\u00b7]", "", text)


def with_lost_characters(name="lost-characters.txt"):
    """Returns the path of a returned round in which every fourth line lacks a character."""
    lines = ROUND.read_bytes().split(b"\r\n")
    for at in range(3, 60, 4):
        lines[at] = lines[at][:80] + lines[at][81:]
    return made(name, b"\r\n".join(lines))


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

    def choose(self, *paths):
        self.send(self.one("input[type=file]"), *paths)

    def compare(self, path):
        """Opens a second file beside the first."""
        self.send(self.all(".acts input[type=file]")[1], path)

    def send(self, field, *paths):
        """Chooses files in the system's dialog, which begins without any."""
        self.js("arguments[0].value = ''", field)
        field.send_keys("\n".join(map(str, paths)))

    def drop(self, *paths):
        """Drops files in the middle of the page, as the system does."""
        for kind in "dragEnter", "dragOver", "drop":
            self.driver.execute_cdp_cmd("Input.dispatchDragEvent", {
                "type": kind, "x": 300, "y": 300, "data": {"items": [], "files": [str(path) for path in paths], "dragOperationsMask": 1}})

    def shown(self, *paths, opens=None):
        """Opens files and waits until they are shown."""
        self.js("""document.querySelectorAll('.drop .problem').forEach((one) => one.remove());
                   delete document.documentElement.dataset.opened""")
        (opens or self.choose)(*paths)
        self.until(lambda: self.js("return document.documentElement.dataset.opened") or self.all(".problem"))
        self.assertEqual([], self.texts(".drop .problem"))
        self.settle()

    def refused(self, *paths, opens=None):
        """Returns why files are not shown."""
        (opens or self.choose)(*paths)
        self.until(lambda: self.all(".drop .problem"))
        return " ".join(self.texts(".drop .problem, .drop .why"))

    def saved(self, name):
        path = DOWNLOADS / name
        # The browser makes an empty file, writes another one, and puts that in its place.
        self.until(lambda: path.exists() and not any(DOWNLOADS.glob("*.crdownload")))
        if path.stat().st_size == 0:
            time.sleep(1)
        content = path.read_bytes()
        path.unlink()
        return content

    def open_dialog(self, label):
        """Opens the dialog of a button of the heading."""
        next(button for button in self.all(".acts button, .drop button") if button.text.startswith(label)).click()
        self.until(lambda: self.all("dialog.job[open]"))

    def select(self, selector, value):
        """Chooses an option of a list by its value."""
        self.js("""const list = document.querySelector(arguments[0]);
                   list.value = arguments[1];
                   list.dispatchEvent(new Event('change', { bubbles: true }))""", selector, str(value))
        self.settle()

    def press_button(self, label):
        button = next(button for button in self.all("dialog.job button") if button.text == label)
        self.js("arguments[0].scrollIntoView({ block: 'center' })", button)
        button.click()


class Files(ViewerTest):
    def test_each_sample_is_shown_with_the_findings_of_the_check(self):
        for path in SAMPLES:
            with self.subTest(path.name):
                self.start()
                self.shown(path, opens=self.drop)
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
        self.shown(ROOT / "samples/tags.txt", opens=self.drop)
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

    def test_an_empty_file_is_refused(self):
        self.assertIn("is empty", self.refused(made("nothing.txt", b"")))

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
        self.shown(path, opens=self.drop)
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


class Pairs(ViewerTest):
    """The exported and the returned file of a round."""
    def brought(self):
        """Returns the text of the view of what came back."""
        self.tab("brought")
        return self.text(".view-brought")

    def compare_with_tool(self, exported, returned):
        expected = json.loads(tramo("reconcile", "--format", "json", exported, returned))
        text = self.brought()
        self.assertIn(exported.name, text)
        self.assertIn(returned.name, text)
        self.assertLess(text.index(exported.name), text.index(returned.name))
        numbers = self.js("""return Object.fromEntries([...document.querySelectorAll('.view-brought .numbers > div')]
            .map((one) => [one.querySelector('dt').textContent, one.querySelector('b').textContent]))""")
        [one] = expected["rounds"]
        names = {"Read": "read", "Unread": "unread", "Missing": "missing", "Added": "added"}
        self.assertEqual({name: str(one[key]) for name, key in names.items() if one[key]},
                         {name: number for name, number in numbers.items() if name in names})
        sentences = self.texts(".view-brought table td[lang=en]")
        self.assertEqual([one["sentence"] for one in expected["toLookAt"]][:50], sentences)
        self.assertEqual(str(expected["differences"]), self.texts(".view-brought .panel .h-note")[-1])

    def test_both_orders_of_a_drop_show_what_the_tool_says(self):
        for files in (EXPORTED, ROUND), (ROUND, EXPORTED):
            with self.subTest([file.name for file in files]):
                self.start()
                self.shown(*files, opens=self.drop)
                self.compare_with_tool(EXPORTED, ROUND)
                self.assertEqual([], self.complaints())

    def test_differences_are_those_of_the_tool(self):
        exported, returned = sample("--seed", 3), sample("--seed", 3, "--returned", "--differences", 0.3)
        self.shown(returned, exported)
        self.compare_with_tool(exported, returned)

    def test_a_file_is_compared_with_the_one_that_is_open(self):
        for first, second in (EXPORTED, ROUND), (ROUND, EXPORTED):
            with self.subTest(first.name):
                self.start()
                self.shown(first)
                self.assertEqual([], self.all(".tabs [data-view=brought]"))
                self.shown(second, opens=self.compare)
                self.assertEqual("page", self.one(".tabs [data-view=brought]").get_attribute("aria-current"))
                self.assertIn("round-returned.txt is what came back of round-exported.txt", self.text(".toast"))
                self.compare_with_tool(EXPORTED, ROUND)
                self.assertNotIn("Compare", " ".join(self.texts(".acts button")))

    def test_lines_are_those_of_their_file(self):
        returned = sample("--seed", 3, "--returned", "--differences", 0.3)
        self.shown(returned, sample("--seed", 3))
        lines = returned.read_bytes().decode("latin-1").split("\r\n")
        self.tab("meters")
        meter = json.loads(tramo("export", returned, "--to", "jsonl", "--only", "meter-subscriber").splitlines()[9])
        self.js("location.hash = '#meters/' + arguments[0]", meter["meterSerialNumber"])
        self.settle()
        self.js("document.querySelectorAll('details.d-line').forEach((one) => { one.open = true; })")
        self.until(lambda: self.all(".d-line .raw-text"))
        self.assertIn(squeezed(lines[meter["line"] - 1]), [squeezed(text) for text in self.texts(".d-line .raw-text")])

    def test_the_same_file_twice_and_files_of_other_rounds_are_no_pair(self):
        for first, second in ((ROUND, ROUND), (ROUND, sample("--seed", 9, "--returned")), (ROUND, ROOT / "samples/tags.txt")):
            with self.subTest(second.name):
                self.start()
                self.shown(first)
                self.shown(second, opens=self.compare)
                self.assertEqual([], self.all(".tabs [data-view=brought]"))
                self.assertIn("Neither file", self.text(".toast"))
                names = self.texts(".acts select option")
                self.assertEqual([first.name, second.name if first != second else f"{first.name} (2)"], names[1:])
                self.assertEqual([], self.complaints())

    def test_several_files_are_shown_together(self):
        files = [EXPORTED, ROOT / "samples/tags.txt", ROOT / "samples/round-broken.txt"]
        self.shown(*files, opens=self.drop)
        self.assertEqual(["All 3 files", *(file.name for file in files)], self.texts(".acts select option"))
        errors = sum(checked(file)[2][severity] for file in files for severity in ("errors", "warnings"))
        self.assertEqual(errors, self.number(".tabs [data-view=findings] .tab-n"))
        self.tab("findings")
        self.until(lambda: self.all(".f-raw .raw-text"))
        self.assertIn(squeezed(self.text(".f-raw .raw-text")), [squeezed(line) for line in files[2].read_bytes().decode("latin-1").split("\r\n")])

    def test_a_second_file_that_is_none_leaves_the_first_open(self):
        archive = made("round.zip", b"PK\x03\x04" + bytes(300))
        for second, words in ((archive, ["round.zip", "ZIP"]), (made("nothing.txt", b""), ["nothing.txt is empty"])):
            with self.subTest(second.name):
                self.start()
                self.shown(ROUND)
                self.tab("meters")
                self.compare(second)
                self.until(lambda: self.all("dialog.job[open] .problem"))
                for word in words:
                    self.assertIn(word, self.text("dialog.job"))
                self.press_button("Close")
                self.assertEqual("meters", self.js("return document.body.dataset.view"))
                self.assertIn(ROUND.name, self.text(".facts"))
                self.open_dialog("Save as")
                self.click("dialog.job input[value=jsonl]")
                self.press_button("Save")
                self.assertEqual(tramo("export", ROUND, "--to", "jsonl"), self.saved("round-returned.jsonl").decode())
                self.assertEqual([], self.complaints())

    def test_of_a_drop_the_files_that_can_be_shown_are(self):
        self.drop(ROUND, made("round.zip", b"PK\x03\x04" + bytes(300)), made("nothing.txt", b""), EXPORTED)
        self.until(lambda: self.js("return document.documentElement.dataset.opened"))
        self.until(lambda: self.all("dialog.job[open] .problem"))
        self.assertEqual(["nothing.txt is empty.", "round.zip cannot be shown."], self.texts("dialog.job .problem"))
        self.press_button("Close")
        self.compare_with_tool(EXPORTED, ROUND)

    def test_when_none_can_be_shown_each_is_named(self):
        text = self.refused(made("round.zip", b"PK\x03\x04" + bytes(300)), made("nothing.txt", b""), made("a.pdf", b"%PDF-1.7\n" + b"x" * 500))
        for word in "round.zip", "ZIP", "nothing.txt is empty", "a.pdf", "PDF":
            self.assertIn(word, text)
        self.shown(ROUND)

    def test_a_second_file_in_another_encoding_is_repaired_and_compared(self):
        other = made("big-endian.txt", b"\xfe\xff" + ROUND.read_bytes().decode("latin-1").encode("utf-16-be"))
        self.shown(EXPORTED)
        self.compare(other)
        self.until(lambda: self.all("dialog.job[open] .problem"))
        self.press_button("Repair…")
        self.until(lambda: len(self.all("dialog.job[open]")) == 2)
        self.press_button("Open the repaired file")
        self.until(lambda: self.all(".tabs [data-view=brought]"))
        self.assertEqual([], self.all("dialog"))
        self.assertIn("big-endian-repaired.txt", self.brought())

    def test_a_second_file_is_cancelled(self):
        large = sample("--meters", 50000, "--returned", "--seed", 3)
        self.shown(ROUND)
        self.tab("findings")
        self.compare(large)
        self.until(lambda: self.all("dialog.going-on progress"))
        time.sleep(0.3)
        self.one("dialog.going-on button").click()
        self.until(lambda: "Cancelled" in (self.text(".toast") or ""))
        self.assertEqual([], self.all("dialog"))
        self.assertIn(ROUND.name, self.text(".facts"))
        self.assertEqual("findings", self.js("return document.body.dataset.view"))
        self.shown(EXPORTED, opens=self.compare)
        self.compare_with_tool(EXPORTED, ROUND)

    def test_a_file_that_is_dropped_while_another_is_read_is_shown(self):
        self.choose(sample("--meters", 50000, "--returned", "--seed", 3))
        self.until(lambda: self.all("dialog.going-on progress"))
        self.shown(ROUND, EXPORTED, opens=self.drop)
        self.assertEqual([], self.all("dialog"))
        self.compare_with_tool(EXPORTED, ROUND)

    def test_files_of_one_name_are_told_apart(self):
        folder = FOLDER / "other"
        folder.mkdir(parents=True, exist_ok=True)
        shutil.copy(EXPORTED, folder / ROUND.name)
        self.shown(ROUND)
        self.shown(folder / ROUND.name, opens=self.compare)
        self.assertIn("round-returned.txt is what came back of round-returned.txt (2).", self.text(".toast"))
        self.open_dialog("Save as")
        self.click("dialog.job input[value=jsonl]")
        self.press_button("Save")
        self.assertEqual(tramo("export", ROUND, "--to", "jsonl"), self.saved("round-returned.jsonl").decode())

    def test_the_file_to_save_is_chosen(self):
        self.shown(ROUND, EXPORTED)
        for value, name, files in ((1, ROUND.name, [ROUND]), (0, EXPORTED.name, [EXPORTED]), (-1, "All 2 files", [EXPORTED, ROUND])):
            with self.subTest(name):
                self.open_dialog("Save as")
                select = self.one("dialog.job select")
                self.assertEqual("1", select.get_property("value"), "what came back is chosen")
                self.select("dialog.job select", value)
                self.assertEqual(name, self.js("return arguments[0].selectedOptions[0].textContent", select))
                self.assertEqual(len(files) > 1, self.one("dialog.job input[value=utf16]").get_property("disabled"))
                self.click("dialog.job input[value=jsonl]")
                self.press_button("Save")
                expected = tramo("export", *(file.name for file in files), "--to", "jsonl", cwd=ROOT / "samples")
                self.assertEqual(expected, self.saved(files[0].stem + ("-and-others" if len(files) > 1 else "") + ".jsonl").decode())
                self.press_button("Close")

    def test_an_exchange_file_is_made_of_one_file(self):
        self.shown(ROUND, EXPORTED)
        self.open_dialog("Save as")
        self.click("dialog.job input[value=utf16]")
        self.select("dialog.job select", -1)
        self.assertTrue(self.one("dialog.job input[value=csv]").is_selected())


class References(ViewerTest):
    """A repair that compares with the exported file."""
    def setUp(self):
        super().setUp()
        self.lost = with_lost_characters()

    def expected(self, *options):
        new, log = WORK / "lost-mended.txt", WORK / "lost-mended.jsonl"
        tramo("repair", *options, self.lost, "-o", new, "--log", log, "--force")
        return new.read_bytes(), log.read_bytes()

    def compare_with_tool(self, *options):
        new, log = self.expected(*options)
        self.press_button("Save the repaired file")
        self.assertEqual(new, self.saved("lost-characters-repaired.txt"))
        self.press_button("Save the changes with their proofs")
        self.assertEqual(log, self.saved("lost-characters-repaired.jsonl"))

    def proven(self):
        return re.match(r"\d+", self.text("dialog.job [role=status]"))

    def test_the_exported_file_of_a_pair_is_offered(self):
        self.shown(self.lost, EXPORTED)
        self.open_dialog("Repair")
        self.assertEqual("Repair lost-characters.txt", self.text("dialog.job h2"))
        self.assertEqual("round-exported.txt", self.js("return document.querySelector('.choice-row select').selectedOptions[0].textContent"))
        self.assertTrue(self.proven())
        self.compare_with_tool("--reference", EXPORTED)
        self.assertNotEqual(self.expected(), self.expected("--reference", EXPORTED))
        self.select(".choice-row select", "")
        self.until(lambda: not self.proven())
        self.compare_with_tool()

    def test_an_exported_file_is_chosen_or_dropped(self):
        for opens in (lambda path: self.send(self.one("dialog.job input[type=file]"), path)), self.drop:
            self.start()
            self.shown(self.lost)
            self.open_dialog("Repair")
            self.assertFalse(self.proven())
            opens(EXPORTED)
            self.until(self.proven)
            self.compare_with_tool("--reference", EXPORTED)
            self.assertIn(self.lost.name, self.text(".facts"))

    def test_the_keyboard_alone_changes_the_exported_file(self):
        self.shown(self.lost, EXPORTED)
        button = next(button for button in self.all(".acts button") if button.text.startswith("Repair"))
        self.js("arguments[0].focus()", button)
        self.press(Keys.ENTER)
        self.until(lambda: self.all("dialog.job[open]"))
        focused = lambda: self.js("return document.activeElement.closest('label')?.textContent.match(/^(File|Exported file)/)?.[0]")
        self.assertEqual("File", focused())
        self.press(Keys.TAB)
        self.assertEqual("Exported file", focused())
        self.press(Keys.UP)
        self.until(lambda: not self.all("dialog.going-on") and not self.proven())
        self.assertEqual("Exported file", focused())
        self.press(Keys.TAB)
        self.assertEqual("Choose the exported file", self.js("return document.activeElement.getAttribute('aria-label')"))
        self.press(Keys.ESCAPE)
        self.assertEqual([], self.all("dialog"))
        self.assertEqual("Repair…", self.js("return document.activeElement.textContent"))

    def test_a_file_without_an_exported_round_is_refused(self):
        self.shown(self.lost)
        for other in made("round.zip", b"PK\x03\x04" + bytes(300)), ROOT / "samples/tags.txt", made("nothing.txt", b""):
            with self.subTest(other.name):
                self.open_dialog("Repair")
                self.drop(other)
                self.until(lambda: f"{other.name} has no lines of an exported round" in (self.text(".toast") or ""))
                self.assertEqual("", self.one("dialog.job .choice-row select").get_property("value"))
                self.assertEqual(["none"], self.texts("dialog.job .choice-row option"))
                self.compare_with_tool()
                self.press_button("Close")
                self.until(lambda: not self.all("dialog"))
                self.shown(self.lost, opens=self.drop)

    def test_the_repaired_file_takes_its_place_beside_the_exported_one(self):
        self.shown(EXPORTED, self.lost)
        self.open_dialog("Repair")
        self.js("delete document.documentElement.dataset.opened")
        self.press_button("Open the repaired file")
        self.until(lambda: self.js("return document.documentElement.dataset.opened"))
        self.tab("brought")
        self.assertIn("lost-characters-repaired.txt", self.text(".view-brought"))
        self.assertIn("round-exported.txt", self.text(".view-brought"))

    def test_the_file_to_repair_is_chosen(self):
        damaged = ROOT / "samples/round-damaged.txt"
        self.shown(ROOT / "samples/tags.txt", damaged)
        self.open_dialog("Repair")
        self.assertEqual("Repair round-damaged.txt", self.text("dialog.job h2"))
        self.select("dialog.job select", 0)
        self.until(lambda: self.text("dialog.job h2") == "Repair tags.txt")
        self.assertEqual("Nothing can be repaired with proof.", self.text("dialog.job [role=status]"))


class Widths(ViewerTest):
    def test_nothing_is_clipped_at_any_width(self):
        lost = with_lost_characters("lost-characters-with-a-long-name-of-a-file-from-the-field.txt")
        for width in 360, 500, 768, 1024, 1400:
            resize(self.driver, width, 900)
            self.start()
            self.look("empty", width)
            self.shown(ROUND)
            self.look("one", width)
            self.shown(lost, EXPORTED, made("round.zip", b"PK\x03\x04" + bytes(300)))
            self.until(lambda: self.all("dialog.job[open] .problem"))
            self.look("not shown", width)
            self.press_button("Close")
            for label in "Save as", "Repair":
                self.open_dialog(label)
                self.until(lambda: label != "Repair" or self.all("dialog.job .job-acts"))
                self.look(label, width)
                self.press_button("Close")
            self.shown(lost, ROOT / "samples/tags.txt", EXPORTED)
            self.look("several", width)

    def look(self, name, width):
        self.assertEqual([], self.js(OUTSIDE), (name, width))
        self.assertEqual([], self.js(CUT), (name, width))
        self.assertEqual([], self.js("return [...document.querySelectorAll('dialog, .choice, .proposal')].filter((e) => e.scrollWidth > e.clientWidth + 1).map((e) => e.textContent)"), (name, width))


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
        large = sample("--meters", 20000, "--returned", "--seed", 4)
        text = self.refused(large)
        self.assertIn("memory", text)
        self.assertEqual([], self.all("dialog.going-on"))
        self.shown(ROUND)
        self.compare(large)
        self.until(lambda: self.all("dialog.job[open] .problem"))
        self.assertIn("memory", self.text("dialog.job .problem"))
        self.press_button("Close")
        self.assertIn(ROUND.name, self.text(".facts"))


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
