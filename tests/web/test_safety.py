"""Hostile text stays text, keys stay secret, and nothing leaves the page."""
import csv
import io
import json
import time

from support import Listener, PageTest, ROOT, WORK, report, run, sample, tramo

DOWNLOADS = WORK / "downloads-safety"
UNSEEN = "[...Array(32).keys()].map((c) => String.fromCharCode(c)).filter((c) => c !== '\\n').join('') + '\\u202e\\u2066\\u200b\\u00ad\\ufeff'"


def fields():
    kinds = json.loads(tramo("explain", "--format", "json"))["kinds"]
    return {field["field"]: field for kind in kinds if kind["kind"] in ("round", "meter subscriber") for field in kind["fields"]}


class Hostile(PageTest):
    options = {"downloads": DOWNLOADS}
    texts = ["<img src=URL/img onerror=hacked()>", "<script>hacked()</script>", "=HYPERLINK(\"URL/csv\")", "+1+cmd|' /C calc'!A0", "@SUM(1)",
             "a\u202egnp.exe", "zero\u200bwidth\u2066", "\x1b[31mred\x07", "&lt;b&gt;&amp;", "javascript:hacked()", "</script><script>hacked()", "{{title}}", "${hacked()}"]

    @classmethod
    def setUpClass(cls):
        DOWNLOADS.mkdir(exist_ok=True)
        cls.listener = Listener().__enter__()
        cls.path = WORK / "hostile.txt"
        cls.path.write_bytes(cls.content())
        super().setUpClass()

    @classmethod
    def tearDownClass(cls):
        super().tearDownClass()
        cls.listener.__exit__()

    @classmethod
    def content(cls):
        """Returns a round whose names, messages and areas are the hostile texts."""
        lines = sample("--meters", 60, "--returned", "--encoding", "utf16le").read_bytes().decode("utf-16").split("\r\n")
        at = fields()
        texts = [text.replace("URL", cls.listener.url) for text in cls.texts]
        def put(line, name, text):
            first, width = at[name]["column"] - 1, at[name]["width"]
            return line[:first] + text[:width].ljust(width) + line[first + width:]
        out, k = [], 0
        for line in lines:
            if line[:1] == "0":
                line = put(put(line, "name", texts[0]), "message", texts[1])
            elif line[:1] == "1":
                line = put(put(line, "subscriberInformation", texts[k % len(texts)].ljust(30) + texts[(k + 1) % len(texts)]), "meterMessage", texts[(k + 2) % len(texts)])
                k += 1
            out.append(line)
        return b"\xff\xfe" + "\r\n".join(out).encode("utf-16-le")

    def setUp(self):
        self.open(report(self.path))

    def everywhere(self):
        """Goes through all views and details."""
        for view in "overview", "meters", "findings":
            self.tab(view)
            yield view
        self.tab("meters")
        for k in range(5):
            self.js(f"document.querySelectorAll('.g-body .g-row')[{k}].querySelector('.g-cell').click()")
            self.js("document.querySelectorAll('.d-line summary').forEach((one) => one.click())")
            self.settle()
            yield f"meter {k}"

    def test_no_text_becomes_an_element_or_runs(self):
        self.js("window.hacked = () => { window.wasHacked = true; }")
        for where in self.everywhere():
            self.assertEqual(0, self.js("return document.querySelectorAll('#app img, #app script, #app iframe, #app b b, #app a[href^=javascript]').length"), where)
            self.assertIsNone(self.js("return window.wasHacked ?? null"), where)
        self.assertIn("<img src=", self.text("h1"))
        self.assertEqual([], self.complaints())
        self.assertEqual([], self.listener.requests)

    def test_characters_that_cannot_be_seen_are_escapes_in_texts_titles_and_labels(self):
        script = f"""
            const bad = new RegExp('[' + ({UNSEEN}).replace(/[\\]\\\\]/g, '') + ']'), out = [];
            for (const e of document.querySelectorAll('#app *')) {{
                for (const name of ['title', 'aria-label', 'placeholder']) if (bad.test(e.getAttribute(name) ?? '')) out.push(name + ': ' + e.getAttribute(name));
                for (const node of e.childNodes) if (node.nodeType === 3 && bad.test(node.data)) out.push(node.data);
            }}
            if (bad.test(document.title)) out.push(document.title);
            return out;"""
        found = ""
        for where in self.everywhere():
            self.assertEqual([], self.js(script), where)
            found += self.js("return document.body.textContent")
        self.assertIn("a\\u202egnp.exe", found)
        self.assertIn("zero\\u200bwidth\\u2066", found)

    def test_csv_and_clipboard_have_no_formulas_and_no_hidden_characters(self):
        self.tab("meters")
        self.js("for (const box of document.querySelectorAll('.menu-box input')) if (!box.checked) box.click()")
        self.js("[...document.querySelectorAll('.tools .btn')].find((one) => one.textContent === 'CSV').click()")
        path = self.until(lambda: next(DOWNLOADS.glob("*.csv"), None))
        rows = list(csv.reader(io.StringIO(path.read_bytes().decode("utf-8-sig"))))
        cells = [cell for row in rows for cell in row]
        self.assertTrue(any(cell.startswith("'=HYPERLINK") for cell in cells))
        self.assertTrue(any("\\u202e" in cell for cell in cells))
        for cell in cells:
            self.assertNotRegex(cell, r"^[=+@]|^-[^\d]")
            self.assertNotRegex(cell, "[\x00-\x08\x0b\x0c\x0e-\x1f\u202e\u200b\u2066]")
        self.driver.execute_cdp_cmd("Browser.grantPermissions", {"permissions": ["clipboardReadWrite", "clipboardSanitizedWrite"]})
        self.js("window.copied = null; navigator.clipboard.writeText = async (text) => { window.copied = text; }")
        self.js("[...document.querySelectorAll('.tools .btn')].find((one) => one.textContent === 'Copy').click()")
        text = self.until(lambda: self.js("return window.copied"))
        self.assertNotRegex(text, "[\x00-\x08\x0b\x0c\x0e-\x1f\u202e\u200b\u2066]")
        self.assertNotRegex(text, r"(?m)(^|\t)[=+@]")


class Silent(PageTest):
    WAYS = {
        "fetch": "fetch(url).catch(() => 0)",
        "XMLHttpRequest": "const x = new XMLHttpRequest(); try { x.open('GET', url); x.send(); } catch {}",
        "WebSocket": "try { new WebSocket(url.replace('http', 'ws')); } catch {}",
        "EventSource": "try { new EventSource(url); } catch {}",
        "beacon": "try { navigator.sendBeacon(url, 'x'); } catch {}",
        "image": "new Image().src = url",
        "style": "const l = document.createElement('link'); l.rel = 'stylesheet'; l.href = url; document.head.append(l)",
        "prefetch": "const l = document.createElement('link'); l.rel = 'prefetch'; l.href = url; document.head.append(l)",
        "script": "const s = document.createElement('script'); s.src = url; document.head.append(s)",
        "frame": "const f = document.createElement('iframe'); f.src = url; document.body.append(f)",
        "form": "const f = document.createElement('form'); f.action = url; document.body.append(f); f.submit()",
        "font": "new FontFace('x', `url(${url})`).load().catch(() => 0)",
        "worker": "try { new Worker(url); } catch {}",
    }

    def test_nothing_can_be_sent(self):
        with Listener() as listener:
            self.open(report(sample("--meters", 60, "--returned")))
            for name, way in self.WAYS.items():
                with self.subTest(name):
                    self.js(f"const url = arguments[0]; {way}", listener.url + "/" + name)
                    time.sleep(0.1)
            time.sleep(0.5)
            self.assertEqual([], listener.requests)

    def test_the_listener_hears_a_page_that_may_send(self):
        with Listener() as listener:
            page = WORK / "open.html"
            page.write_text(f"<!doctype html><img src='{listener.url}/image'>")
            self.driver.get(page.as_uri())
            self.until(lambda: listener.requests)

    def test_using_the_page_requests_nothing(self):
        self.driver.get_log("performance")
        self.complaints()
        self.open(report(sample("--meters", 300, "--returned", "--faults", 0.05)))
        for view in "meters", "findings", "overview":
            self.tab(view)
        self.pdf()
        urls = set()
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                urls.add(message["params"]["request"]["url"].split(":")[0])
        self.assertLessEqual(urls, {"file", "about", "blob", "data"})
        self.assertEqual([], self.complaints())

    def test_the_policy_allows_nothing_but_the_page_itself(self):
        page = report(sample("--meters", 60, "--returned")).read_text()
        policy = page.split('http-equiv="Content-Security-Policy" content="', 1)[1].split('"', 1)[0]
        self.assertTrue(policy.startswith("default-src 'none'; script-src 'sha256-"))
        self.assertNotIn("unsafe", policy)
        self.assertNotIn("http", policy)


class Secrets(PageTest):
    keys = ROOT / "samples" / "amr-keys.txt"

    def secrets(self):
        found = [json.loads(line) for line in self.keys.read_text("cp1252").splitlines() if line.startswith("{")]
        texts = {value for line in found for name, value in line.items() if isinstance(value, str) and len(value) == 32}
        self.assertTrue(texts)
        return texts

    def test_keys_are_not_in_the_page(self):
        path = report(self.keys)
        self.open(path)
        data = self.js("return document.documentElement.outerHTML")
        for view in "overview", "meters", "findings":
            self.tab(view)
            data += self.js("return document.body.textContent")
        for secret in self.secrets():
            self.assertNotIn(secret, data)
            self.assertNotIn(secret, path.read_text())


if __name__ == "__main__":
    run()
