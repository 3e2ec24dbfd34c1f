"""A browser with the page of `focusfall view` in it, and what tests ask of both."""

import argparse
import json
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

ARGUMENTS = argparse.Namespace()  # command and scene, of the line that began the tests
PATIENCE = 20.0  # seconds, on a machine that has other work


def started_browser(folder, width=1280, height=800):
    """A browser of its own, that talks to nobody but the page."""
    options = Options()
    for word in (
        "--headless=new",
        "--no-sandbox",
        f"--user-data-dir={folder}",
        "--disable-background-networking",
        "--disable-component-update",
        "--disable-sync",
        "--disable-quic",
        "--disable-gpu",
        "--no-first-run",
        "--hide-scrollbars",
        f"--window-size={width},{height}",
    ):
        options.add_argument(word)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


class Page:
    """`focusfall view LINE`, run in `folder`, and its state as another client sees it."""

    def __init__(self, folder, *line):
        # what a shell began in the background ignores SIGINT, as do its children
        self.process = subprocess.Popen(
            [ARGUMENTS.command, "view", "--no-browser", *line],
            cwd=folder, stdout=subprocess.PIPE, text=True,
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        self.address = self.process.stdout.readline().strip()
        assert self.address.startswith("http://127.0.0.1:"), self.address

    def ask(self, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        with urllib.request.urlopen(self.address + "api/" + path, data, PATIENCE) as answer:
            return json.load(answer)

    def state(self):
        return self.ask("state")

    def value(self, control):
        return self.state()["values"][control]["value"]

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        self.process.wait(PATIENCE)
        self.process.stdout.close()


def eventually(condition, what):
    """Waits until `condition` gives something true, and returns that."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.05)
    raise AssertionError(f"never happened: {what}")


class PageTest(unittest.TestCase):
    """One browser for all, and a folder with the scene in it."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="focusfall-page-"))
        shutil.copy(ARGUMENTS.scene, cls.folder / "scene.exr")
        cls.browser = started_browser(cls.folder / "browser")

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        shutil.rmtree(cls.folder, ignore_errors=True)

    def open(self, *line):
        page = Page(self.folder, *line)
        self.addCleanup(page.stop)
        self.browser.get(page.address)
        self.settle(page)
        return page

    def settle(self, page):
        """Waits until the page shows the newest picture in full."""
        def is_settled():
            version = page.state()["version"]
            shown = self.browser.execute_script(
                "const shown = window.focusfall?.picture.shown;"
                "return shown && [shown.version, shown.detail];")
            return shown == [version, "full"]
        eventually(is_settled, "the newest picture in full")
        self.browser.execute_async_script(
            "const done = arguments[0];"
            "requestAnimationFrame(() => requestAnimationFrame(() => done()));")

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def control(self, name, field="input"):
        return self.find(f'[data-id="{name}"] {field}')

    def type(self, name, text):
        field = self.find(f"#control-{name}")
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(text, Keys.ENTER)

    def choose(self, name, item):
        """Clicks an item of a button list."""
        self.find(f'[data-id="{name}"]').find_element(
            By.XPATH, f'.//span[text()="{item}"]').click()

    def box(self):
        return self.find("#viewport").rect

    def place(self, x, y):
        """Where the pixel of the picture is, from the middle of the viewport."""
        box, state = self.box(), self.size
        zoom = min(box["width"] / state[0], box["height"] / state[1])
        return (round((x + 0.5 - state[0] / 2) * zoom), round((y + 0.5 - state[1] / 2) * zoom))

    def click(self, page, x, y):
        state = page.state()
        self.size = (state["width"], state["height"])
        right, down = self.place(x, y)
        ActionChains(self.browser).move_to_element_with_offset(
            self.find("#viewport"), right, down).click().perform()

    def pixels(self):
        """What the canvas shows, as one number that any change alters."""
        return self.browser.execute_script(
            "const canvas = document.getElementById('canvas');"
            "const data = canvas.getContext('2d')"
            "    .getImageData(0, 0, canvas.width, canvas.height).data;"
            "let sum = 0; for (let i = 0; i < data.length; ++i)"
            "    sum = (sum * 31 + data[i]) % 4294967291;"
            "return sum;")
