"""The settings page in a real browser, on the demo device."""
import itertools
import json
import os
import signal
import subprocess
import tempfile
import unittest
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from harness import GUARD, Demo, GuardedTest, end, wait_until

AXE = os.path.join(os.path.dirname(__file__), "../build/axe/node_modules/axe-core/axe.min.js")
VIOLATIONS = """;const done = arguments[0]; axe.run().then(
    ({violations}) => done(violations.map(({id, nodes}) => [id, nodes.map(({target}) => target)])), error => done(String(error)))"""


class PageTest(GuardedTest):
    def setUp(self):
        super().setUp()
        self.demo = Demo("lighttpd")
        self.addCleanup(self.demo.stop)
        # Chromium may still be writing to its folder when it is told to go.
        home = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(home.cleanup)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for option in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-sync",
                       "--disable-background-networking", "--disable-component-update", "--disable-dev-shm-usage",
                       "--no-proxy-server", "--user-data-dir=" + os.path.join(home.name, "profile")):
            options.add_argument(option)
        service = Service("/usr/bin/chromedriver", env={**os.environ, "HOME": home.name, "TMPDIR": home.name})
        self.browser = webdriver.Chrome(service=service, options=options)
        self.addCleanup(self.browser.quit)
        self.browser.implicitly_wait(GUARD)
        self.browser.set_script_timeout(GUARD)

    def element(self, name):
        return self.browser.find_element(By.ID, name)

    def state(self, key="settings"):
        with urllib.request.urlopen(self.demo.url + "state.json") as answer:
            return json.load(answer)[key]

    def open(self, query=""):
        self.browser.get(self.demo.url + query)
        wait_until(self.element("settings").is_displayed)

    def show(self, width, height=800, dark=False):
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def set_by_script(self, name, value):
        self.browser.execute_script("arguments[0].value = arguments[1]; arguments[0].dispatchEvent("
                                    "new Event('input', {bubbles: true}))", self.element(name), value)

    def await_outcome(self, word, title):
        wait_until(lambda: self.browser.current_url == self.demo.url + "?success=" + word)
        wait_until(lambda: self.element("banner-title").text == title)

    def save(self, values):
        for name in ("room", "note", "target"):
            self.element(name).clear()
            self.element(name).send_keys(str(values[name]))
        Select(self.element("mode")).select_by_value(values["mode"])
        if self.element("away").is_selected() != values["away"]:
            self.element("away").click()
        self.set_by_script("brightness", values["brightness"])
        self.element("save").click()

    def assert_form_shows(self, settings):
        value = {name: self.element(name).get_property("value") for name in settings}
        self.assertEqual({**value, "target": float(value["target"]), "brightness": int(value["brightness"]),
                          "away": self.element("away").is_selected()}, settings)

    def start_application(self, file):
        """The gateway finds a process by its first argument, killall by the file that it was started from."""
        link = os.path.join(tempfile.mkdtemp(dir=self.demo.directory), file)
        os.symlink("../thermostat", link)
        process = subprocess.Popen(["thermostat", os.path.join(self.demo.directory, "html")], executable=link)
        self.addCleanup(end, process)
        wait_until(lambda: self.state("process") == process.pid)
        return process

    def test_settings_survive_the_round_trip(self):
        self.open()
        self.assert_form_shows(self.state())
        for away, (room, note, target, mode, brightness) in enumerate([
                ("a<b&c \"ü", "1 + 1 = 2", 21.5, "auto", 35), ("100%41 </room>", "</note><mode>off</mode> €%&+=;#", 5, "cool", 0)]):
            with self.subTest(room=room):
                wanted = {"room": room, "note": note, "target": target, "mode": mode, "brightness": brightness, "away": bool(away)}
                self.save(wanted)
                self.await_outcome("restarted", "Saved and applied")
                self.assertEqual(self.state(), wanted)
                # What the page remembers of the save must not stand in for what the device tells.
                self.open("?success=other")
                self.assertFalse(self.element("banner").is_displayed())
                self.assert_form_shows(wanted)

    def test_each_outcome_of_a_save_is_told(self):
        stored = self.state()
        os.kill(self.demo.application, signal.SIGKILL)
        wait_until(lambda: self.demo.application not in self.demo.session())
        for target, (word, title, file) in enumerate([
                ("restarted", "Saved and applied", "thermostat"),
                ("running", "Saved, but not in use yet", "other"),
                ("stopped", "Saved, but the thermostat is not running", "thermostat"),
                ("false", "It is not certain that anything was saved", "thermostat")], 10):
            with self.subTest(word=word):
                application = self.start_application(file)
                self.assertEqual(self.state(), stored)  # what it could not be told it has taken over now
                self.open()
                if word == "stopped":
                    end(application)
                if word == "false":
                    os.remove(os.path.join(self.demo.directory, "html", "pid.cgi"))
                wanted = {"room": word, "note": title, "target": target, "mode": "cool" if target % 2 else "auto",
                          "brightness": target, "away": not stored["away"]}
                self.save(wanted)
                self.await_outcome(word, title)
                self.assert_form_shows(wanted)
                self.assertEqual(self.state(), wanted if word == "restarted" else stored)
                end(application)
                stored = wanted

    def test_the_keyboard_alone_will_do(self):
        def press(keys):
            ActionChains(self.browser).send_keys(keys).perform()
            return self.browser.switch_to.active_element

        self.show(1100)
        self.open()
        self.assertEqual(press(Keys.TAB).rect["x"], 8)  # the link past the header comes into view
        press(Keys.ENTER)
        for name, keys in (("room", "Workshop & lab"), ("note", "Vent opens at <18 °C: call \"Zoë\""), ("target", "21.5"),
                           ("mode", Keys.DOWN * 2), ("away", Keys.SPACE), ("brightness", Keys.RIGHT * 10), ("save", ""),
                           ("discard", "")):
            reached = press(Keys.TAB)
            self.assertEqual((reached.get_attribute("id"), reached.value_of_css_property("outline-style")), (name, "solid"))
            press(keys)
        self.element("discard").send_keys(Keys.SHIFT, Keys.TAB)
        press(Keys.ENTER)
        self.await_outcome("restarted", "Saved and applied")
        self.assertEqual(self.state(), {"room": "Workshop & lab", "note": "Vent opens at <18 °C: call \"Zoë\"",
                                        "target": 21.5, "mode": "auto", "away": True, "brightness": 70})
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "banner")
        if "SCREENSHOT" in os.environ:
            self.show(1100, self.browser.execute_script("return document.documentElement.scrollHeight"))
            self.browser.save_screenshot(os.environ["SCREENSHOT"])

    def test_nobody_is_shut_out(self):
        with open(AXE, encoding="utf-8") as file:  # scripts/test installs it
            axe = file.read()
        for dark, width, word in itertools.product((False, True), (1100, 360), ("restarted", "running", "false")):
            with self.subTest(dark=dark, width=width, word=word):
                self.show(width, dark=dark)
                self.open("?success=" + word)
                self.set_by_script("room", "")  # for a complaint below it
                self.assertEqual(self.browser.execute_script(
                    "return [innerWidth, matchMedia('(prefers-color-scheme: dark)').matches]"), [width, dark])
                self.assertEqual(self.browser.execute_script(
                    "return document.documentElement.scrollWidth - document.documentElement.clientWidth"), 0)
                self.assertEqual(self.browser.execute_async_script(axe + VIOLATIONS), [])

    def test_control_characters_are_refused_with_a_reason(self):
        self.open()
        before = self.state()
        for name, text in (("note", "two\nlines"), ("note", "tab\there"), ("room", "bell\a"), ("room", "delete\x7f")):
            with self.subTest(name=name, text=text):
                self.set_by_script(name, text)
                self.element("save").click()
                self.assertTrue(self.element(name + "-error").is_displayed())
                self.assertNotEqual(self.element(name + "-error").text, "")
                self.set_by_script(name, "fine")
                self.assertEqual(self.element(name + "-error").text, "")
        self.assertEqual((self.browser.current_url, self.state()), (self.demo.url, before))


if __name__ == "__main__":
    unittest.main()
