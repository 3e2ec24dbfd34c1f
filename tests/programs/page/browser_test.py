#!/usr/bin/python3
"""Drives the page in a real browser, as an artist does.

usage: browser_test.py COMMAND SCENE [--screenshots FOLDER | unittest's arguments]

COMMAND is the built focusfall, SCENE a picture of `focusfall demo`. With --screenshots it
takes the pictures of docs/page.md instead. Needs chromium, chromium-driver and
python3-selenium.
"""

import argparse
import os
import shlex
import shutil
import subprocess
import sys
import unittest

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from page_in_browser import ARGUMENTS, Page, PageTest, eventually


class BrowserTest(PageTest):
    def test_a_click_sets_the_focus_to_the_depth_under_it(self):
        page = self.open("scene.exr", "--set", "MaxBlurSize=3")
        before = self.pixels()
        self.click(page, 760, 400)
        eventually(lambda: page.state()["mark"], "a mark")
        mark = page.state()["mark"]
        self.assertLessEqual(abs(mark["x"] - 760), 2)
        self.assertLessEqual(abs(mark["y"] - 400), 2)
        pixel = page.ask(f"pixel?x={mark['x']}&y={mark['y']}")
        self.assertAlmostEqual(page.value("FocusPosition"), pixel["depth"], delta=0.5)
        self.assertLess(abs(pixel["diameter"]), 0.5)
        self.settle(page)
        self.assertNotEqual(self.pixels(), before)
        shown = float(self.control("FocusPosition", "input[type=text]").get_property("value"))
        self.assertAlmostEqual(shown, page.value("FocusPosition"), delta=0.5)
        # what the line below tells of the place is about the new focus
        eventually(lambda: "blur 0 px" in self.find("#loupe").text, "the place is sharp")

    def test_controls_are_hidden_and_follow_each_other(self):
        page = self.open("scene.exr")
        self.assertFalse(self.find('[data-id="FStop"]').is_displayed())
        self.choose("SettingsType", "Advanced")
        eventually(lambda: self.find('[data-id="FStop"]').is_displayed(), "a lens")
        self.assertFalse(self.find('[data-id="MaxBlurSize"]').is_displayed())
        self.type("FocalLength", "50")
        self.type("FStop", "2.5")
        aperture = self.find("#control-ApertureDiameter")
        eventually(lambda: aperture.get_property("value") == "20", "the aperture follows")
        self.type("ApertureDiameter", "10")
        eventually(lambda: self.find("#control-FStop").get_property("value") == "5",
                   "the f-stop follows")
        self.assertEqual(page.value("FStop"), 5)

    def test_another_tool_brings_its_controls_and_its_picture(self):
        page = self.open("scene.exr", "--focus-at", "760,400", "--set", "MaxBlurSize=4")
        fast = self.pixels()
        self.find("#tool").send_keys("layered")
        eventually(lambda: self.control("HiddenFill").is_displayed(), "its own page")
        self.settle(page)
        self.assertNotEqual(self.pixels(), fast)
        self.assertEqual(self.find("#control-MaxBlurSize").get_property("value"), "4")
        self.type("MaxBlurSize", "5")  # the new panel edits the new tool
        eventually(lambda: page.value("MaxBlurSize") == 5, "the edit")
        self.find("#undo").click()
        eventually(lambda: page.value("MaxBlurSize") == 4, "undo")
        self.find("#undo").click()
        eventually(lambda: page.state()["tool"] == "fast", "the tool before")
        self.settle(page)
        self.assertEqual(self.pixels(), fast)
        self.assertFalse(self.browser.find_elements(By.CSS_SELECTOR, "[data-id=HiddenFill]"))
        self.assertEqual(self.find("#tool").get_property("value"), "fast")

    def test_what_is_refused_is_told_and_goes_from_its_field(self):
        page = self.open("scene.exr", "--set", "MaxBlurSize=3")
        self.type("MaxBlurSize", "3.5")
        self.type("MaxBlurSize", "large")
        eventually(lambda: "MaxBlurSize" in self.find("#message").text, "the reason")
        self.settle(page)  # the picture of the edit before comes, and leaves it there
        self.assertIn("MaxBlurSize", self.find("#message").text)
        field = self.find("#control-MaxBlurSize")
        eventually(lambda: field.get_property("value") == "3.5", "what the tool has")
        self.type("MaxBlurSize", "4")
        eventually(lambda: page.value("MaxBlurSize") == 4, "a number")
        self.assertFalse(self.find("#message").is_displayed())

    def test_the_kernel_follows_the_style(self):
        self.open("scene.exr")
        kernel = self.find('[data-id="BlurStyle"] .kernel')
        eventually(kernel.is_displayed, "a kernel")
        white = lambda: self.browser.execute_script(
            "const canvas = document.querySelector('.kernel');"
            "const data = canvas.getContext('2d')"
            "    .getImageData(0, 0, canvas.width, canvas.height).data;"
            "let sum = 0; for (let i = 0; i < data.length; i += 4) sum += data[i];"
            "return sum / data.length;")
        disk = white()
        self.find("[data-id=BlurStyle] select").send_keys("Polygon")
        eventually(lambda: 0.7 * disk < white() < 0.92 * disk, "a hexagon")

    def test_undo_restores_picture_and_panel(self):
        page = self.open("scene.exr", "--focus-at", "760,400", "--set", "MaxBlurSize=3")
        before = self.pixels()
        self.type("MaxBlurSize", "8")
        eventually(lambda: page.value("MaxBlurSize") == 8, "the edit")
        self.settle(page)
        self.assertNotEqual(self.pixels(), before)
        # the field still has the keyboard, and nothing was typed into it since
        self.find("#control-MaxBlurSize").send_keys(Keys.CONTROL, "z")
        eventually(lambda: page.value("MaxBlurSize") == 3, "undo")
        self.settle(page)
        self.assertEqual(self.pixels(), before)
        self.assertEqual(self.find("#control-MaxBlurSize").get_property("value"), "3")
        self.find("#redo").click()
        eventually(lambda: page.value("MaxBlurSize") == 8, "redo")

    def test_the_last_of_300_slider_events_is_shown_and_nothing_renders_after(self):
        page = self.open("scene.exr", "--focus-at", "760,400")
        self.browser.set_script_timeout(60)
        pictures = self.browser.execute_async_script(
            "const done = arguments[0];"
            "const slider = document.getElementById('control-MaxBlurSize-slider');"
            "const seen = new Set();"
            "let i = 0;"
            "const timer = setInterval(() => {"
            "  slider.value = 100 + 2 * i;"
            "  slider.dispatchEvent(new Event('input'));"
            "  const shown = window.focusfall.picture.shown;"
            "  seen.add(shown.version + shown.detail);"
            "  if (++i === 300) { clearInterval(timer); done(seen.size); }"
            "}, 1000 / 60);")
        last = float(self.find("#control-MaxBlurSize").get_property("value"))
        eventually(lambda: page.value("MaxBlurSize") == last, "the last value")
        self.settle(page)
        self.assertFalse(page.state()["busy"])
        self.assertGreater(pictures, 2)  # some on the way, however slow the machine
        print(f"{pictures} pictures during 300 slider events", file=sys.stderr)

    def test_a_reload_keeps_the_state_and_two_pages_do_not_mix(self):
        page = self.open("scene.exr", "--set", "MaxBlurSize=3")
        shutil.copy(self.folder / "scene.exr", self.folder / "other.exr")
        other = Page(self.folder, "other.exr")
        self.addCleanup(other.stop)
        first = self.browser.current_window_handle
        self.browser.switch_to.new_window("tab")
        self.browser.get(other.address)
        self.settle(other)
        self.assertEqual(self.find("#file").text, "other.exr")
        self.type("MaxBlurSize", "1.5")
        eventually(lambda: other.value("MaxBlurSize") == 1.5, "the other's edit")
        self.browser.close()
        self.browser.switch_to.window(first)
        self.assertEqual(page.value("MaxBlurSize"), 3)

        self.type("MaxBlurSize", "6.5")
        eventually(lambda: page.value("MaxBlurSize") == 6.5, "the edit")
        self.find('#views input[value="focus"] + span').click()
        self.browser.refresh()
        self.settle(page)
        self.assertEqual(self.find("#control-MaxBlurSize").get_property("value"), "6.5")
        self.assertTrue(self.find('#views input[value="focus"]').is_selected())

    def test_what_leaves_the_page_makes_the_very_picture(self):
        page = self.open("scene.exr", "--set", "MaxBlurSize=3")
        self.click(page, 760, 400)
        eventually(lambda: page.state()["mark"], "a mark")
        self.find("[data-id=BlurStyle] select").send_keys("Polygon")
        eventually(lambda: page.value("BlurStyle") == 1, "hexagons")
        self.find("#save").click()
        name = self.find("#file-name")
        name.clear()
        name.send_keys("look.json", Keys.ENTER)
        eventually((self.folder / "look.json").exists, "the settings")
        eventually(lambda: "look.json" in self.find("#message").text, "the notice")
        eventually(lambda: not self.find("#file-dialog").is_displayed(), "the dialog closes")
        self.find("#render").click()
        name.clear()
        name.send_keys("page.exr", Keys.ENTER)
        eventually((self.folder / "page.exr").exists, "the picture")
        eventually(lambda: "done" in self.find("#progress output").text, "the end")

        line = shlex.split(page.ask("line?output=line.exr")["line"])
        for command in (line, ["focusfall", "render", "scene.exr", "-o", "saved.exr",
                               "--settings", "look.json"]):
            subprocess.run([ARGUMENTS.command, *command[1:], "--quiet"],
                           cwd=self.folder, check=True)
        # the headers tell when a picture was made, the ends hold pixels alone
        ends = {(self.folder / name).read_bytes()[-2_000_000:]
                for name in ("page.exr", "line.exr", "saved.exr")}
        self.assertEqual(len(ends), 1)

    def test_a_shot_has_frames_and_keys(self):
        for frame in range(1, 6):
            link = self.folder / f"shot.{frame:04}.exr"
            if not link.exists():
                os.link(self.folder / "scene.exr", link)
        page = self.open("shot.####.exr", "--frames", "1-5", "--set", "MaxBlurSize=3")
        self.assertTrue(self.find("#timeline").is_displayed())
        self.click(page, 760, 400)
        eventually(lambda: page.state()["mark"], "a mark")
        near = page.value("FocusPosition")
        self.find("#key").click()
        eventually(lambda: len(self.browser.find_elements(By.CSS_SELECTOR, ".key")) == 1, "a key")
        for _ in range(4):
            before = page.state()["frame"]
            self.find("#next").click()
            eventually(lambda: page.state()["frame"] == before + 1, "the next frame")
        self.settle(page)
        self.click(page, 300, 980)
        eventually(lambda: len(self.browser.find_elements(By.CSS_SELECTOR, ".key")) == 2, "a key")
        far = page.value("FocusPosition")
        self.assertNotAlmostEqual(near, far, delta=1)
        keys = lambda: page.state()["values"]["FocusPosition"]["keys"]
        self.assertEqual(keys()[0], [1, near])
        self.find('.key[data-frame="1"]').send_keys(Keys.ARROW_RIGHT)
        eventually(lambda: keys()[0] == [2, near], "the key moves")
        # the mark that moved has the keyboard
        eventually(lambda: self.browser.switch_to.active_element.get_attribute("data-frame") == "2",
                   "the moved key")
        self.browser.switch_to.active_element.send_keys(Keys.ARROW_LEFT)
        eventually(lambda: keys()[0] == [1, near], "the key moves back")
        page.ask("frame", {"frame": 3})
        self.assertAlmostEqual(page.value("FocusPosition"), (near + far) / 2, delta=1)
        self.find("#between").send_keys("Smooth")
        eventually(lambda: page.state()["values"]["FocusPosition"]["keys"][-1] == "smooth",
                   "a curve")
        self.find("#play").click()
        seen = set()
        eventually(lambda: seen.add(self.find("#frame-number").text) or len(seen) == 5,
                   "all frames play")
        self.find("#play").click()

    def test_everything_has_a_name_and_the_keyboard_reaches_it(self):
        page = self.open("scene.exr")
        nameless = self.browser.execute_script(
            "return [...document.querySelectorAll('input, select, button')].filter((field) =>"
            "  !field.labels?.length && !field.ariaLabel && !field.textContent.trim()"
            "  && !field.getAttribute('aria-labelledby')).map((field) => field.outerHTML);")
        self.assertEqual(nameless, [])
        slider = self.find("#control-MaxBlurSize-slider")
        before = page.value("MaxBlurSize")
        slider.send_keys(Keys.ARROW_RIGHT)
        eventually(lambda: page.value("MaxBlurSize") > before, "a step of the slider")
        self.find("#viewport").send_keys(Keys.ARROW_RIGHT, Keys.ARROW_DOWN, Keys.ENTER)
        eventually(lambda: page.state()["mark"], "a focus by the keyboard")
        eventually(lambda: "blur" in self.find("#loupe").text, "the loupe")
        self.settle(page)
        before = self.pixels()
        self.find("#viewport").send_keys(Keys.SHIFT, Keys.ARROW_RIGHT)
        eventually(lambda: self.pixels() != before, "another part of the picture")
        self.find("#viewport").send_keys("w")
        eventually(lambda: self.browser.execute_script(
            "return Boolean(window.focusfall.picture.right.picture);"), "the input beside it")
        self.settle(page)
        before = self.pixels()
        self.find("#viewport").send_keys(Keys.CONTROL, Keys.ARROW_LEFT)
        eventually(lambda: self.pixels() != before, "another place of the line")
        ActionChains(self.browser).click(self.find("h1")).key_down(Keys.SHIFT).send_keys(
            "3").key_up(Keys.SHIFT).perform()
        self.assertTrue(self.find('#views input[value="depth"]').is_selected())
        faults = [entry["message"] for entry in self.browser.get_log("browser")
                  if entry["level"] == "SEVERE" and page.address in entry["message"]]
        self.assertEqual(faults, [])


def take_screenshots(folder):
    """The page at a laptop's size and at that of a wide screen."""
    test = PageTest()
    test.setUpClass()
    for frame in range(1, 25):
        os.link(test.folder / "scene.exr", test.folder / f"shot.{frame:04}.exr")
    lens = ("--settings", "full-frame", "--set", "FocalLength=60", "--set", "FStop=2.8")
    shows = {
        "first": ((), {}),
        "focus": ((), {"view": "focus"}),
        "wipe": ((), {"wipe": "input"}),
        "shot": (("--set", "FocusPosition=1:640,10:640,20:1800,smooth"), {}),
    }
    for width, height in ((1280, 800), (2560, 1440)):
        # the page itself in this size, without the browser's own bars
        test.browser.set_window_size(width, height)
        bars = height - test.browser.execute_script("return innerHeight")
        test.browser.set_window_size(width, height + bars)
        for name, (edits, look) in shows.items():
            line = ("shot.####.exr", "--frames", "1-24") if name == "shot" else ("scene.exr",)
            focus = () if edits else ("--focus-at", "760,400")
            page = Page(test.folder, *line, *lens, *focus, *edits)
            test.browser.get(page.address)
            test.browser.execute_script(
                "sessionStorage.setItem('look', JSON.stringify(arguments[0]));", look)
            test.browser.refresh()
            test.settle(page)
            if not edits:
                test.click(page, 760, 400)
            test.settle(page)
            test.browser.save_screenshot(f"{folder}/page-{name}-{width}.png")
            page.stop()
    test.doClassCleanups()
    test.tearDownClass()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("command")
    parser.add_argument("scene")
    parser.add_argument("--screenshots")
    known, rest = parser.parse_known_args(namespace=ARGUMENTS)
    known.command = os.path.abspath(known.command)
    known.scene = os.path.abspath(known.scene)
    if known.screenshots:
        return take_screenshots(known.screenshots)
    return unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
