"""Shared by the tests of the page. TRAMO is the path of the tool; WORK is a folder for reports and pictures."""
import base64
import functools
import http.server
import json
import os
import pathlib
import re
import subprocess
import tempfile
import threading
import time
import unittest

from selenium import webdriver
from selenium.webdriver.common import utils
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

ROOT = pathlib.Path(__file__).resolve().parents[2]
TRAMO = os.path.abspath(os.environ["TRAMO"])
WORK = pathlib.Path(os.environ.get("WORK") or tempfile.mkdtemp()).resolve()
SAMPLES = sorted((ROOT / "samples").glob("*.txt"))
ENVIRONMENT = {"PATH": os.environ["PATH"], "TZ": "UTC", "LC_ALL": "C.UTF-8"}
WAIT = 20  # seconds, on a busy machine


def tramo(*arguments, codes=(0, 1), **more):
    """Returns what the tool writes to the standard output."""
    done = subprocess.run([TRAMO, *map(str, arguments)], capture_output=True, env=ENVIRONMENT, **more)
    if done.returncode not in codes:
        raise AssertionError(f"tramo {arguments} ended with {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode()


@functools.cache
def sample(*options):
    """Returns the path of a generated round."""
    path = WORK / ("round" + "".join(re.sub(r"\W", "", str(option)) for option in options) + ".txt")
    tramo("sample", *options, "--force", "-o", path)
    return path


@functools.cache
def report(*arguments):
    """Returns the path of the report of these files, written with these options."""
    name = "-".join(re.sub(r"\W", "", pathlib.Path(str(one)).stem) for one in arguments)
    path = WORK / f"report-{name}.html"
    path.unlink(missing_ok=True)
    tramo("report", *arguments, "-o", path)
    return path


def checked(path, *options):
    """Returns what `tramo check --format json` says about a file: findings of lines, and the diagnosis of the whole file."""
    about = {rule["rule"]: rule.get("about") for rule in json.loads(tramo("explain", "--format", "json"))["rules"]}
    file = json.loads(tramo("check", *options, "--format", "json", path))["files"][0]
    whole = [one for one in file["findings"] if about.get(one["rule"]) == "file"]
    return [one for one in file["findings"] if about.get(one["rule"]) != "file"], whole, file["summary"]


class Driver(Service):
    """The driver by its address, and the browser by a pipe (below): a minimal system does not know the name "localhost"."""
    service_url = property(lambda self: f"http://127.0.0.1:{self.port}")

    def is_connectable(self):
        return utils.is_connectable(self.port, "127.0.0.1")


def chromium(width=1400, height=900, dark=False, language="en-GB", downloads=None):
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--remote-debugging-pipe", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--disable-dev-shm-usage",
                     "--force-device-scale-factor=1", f"--lang={language}", f"--window-size={width},{height}"):
        options.add_argument(argument)
    options.add_experimental_option("prefs", {"intl.accept_languages": language})
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    driver = webdriver.Chrome(options=options, service=Driver("/usr/bin/chromedriver"))
    driver.set_script_timeout(60)
    resize(driver, width, height)
    scheme(driver, dark)
    if downloads:
        driver.execute_cdp_cmd("Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(downloads)})
    return driver


def resize(driver, width, height):
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})


def scheme(driver, dark):
    features = [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})


class PageTest(unittest.TestCase):
    """Has one browser for all tests of the class."""
    options = {}

    @classmethod
    def setUpClass(cls):
        cls.driver = chromium(**cls.options)

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()

    def open(self, path, view=""):
        """Opens a report and waits until it is ready."""
        self.driver.get("about:blank")
        self.driver.get(path.as_uri() + ("#" + view if view else ""))
        self.until(lambda: self.js("return document.documentElement.dataset.ready || !!document.querySelector('.message')"))
        self.assertEqual([], self.all(".message"), "the page shows a message instead of the round")
        self.settle()

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def settle(self):
        """Waits until two pictures were painted after what was asked for."""
        self.driver.execute_async_script("const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done, 30)))")

    def until(self, condition):
        end = time.monotonic() + WAIT
        while not (result := condition()):
            self.assertLess(time.monotonic(), end, "nothing happened")
            time.sleep(0.02)
        return result

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        found = self.all(selector)
        self.assertTrue(found, f"there is no {selector}")
        return found[0]

    def text(self, selector):
        return self.js("return document.querySelector(arguments[0])?.textContent", selector)

    def texts(self, selector):
        return self.js("return [...document.querySelectorAll(arguments[0])].map((one) => one.textContent)", selector)

    def click(self, selector):
        self.one(selector).click()
        self.settle()

    def press(self, *keys):
        for key in keys:
            self.driver.switch_to.active_element.send_keys(key)
        self.settle()

    def tab(self, view):
        self.click(f".tabs [data-view={view}]")

    def number(self, selector):
        return int(re.sub(r"\D", "", self.text(selector)))

    def complaints(self):
        """Returns what the browser has complained about since the last call."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def picture(self, name):
        folder = WORK / "pictures"
        folder.mkdir(exist_ok=True)
        self.driver.save_screenshot(str(folder / f"{name}.png"))

    def pdf(self):
        result = self.driver.execute_cdp_cmd("Page.printToPDF", {"printBackground": True, "paperWidth": 8.27, "paperHeight": 11.69})
        return base64.b64decode(result["data"])


class Listener:
    """A server that remembers each request."""
    def __enter__(self):
        self.requests = []
        requests = self.requests

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                requests.append(self.path)
                self.send_response(204)
                self.end_headers()
            do_POST = do_HEAD = do_OPTIONS = do_GET

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.server.server_close()


def run():
    unittest.main(verbosity=1)
