"""The settings page in a real browser, on the demo device."""
import json
import os
import tempfile
import unittest
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select

from harness import Demo, GuardedTest, wait_until


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

    def element(self, name):
        return self.browser.find_element(By.ID, name)

    def state(self):
        with urllib.request.urlopen(self.demo.url + "state.json") as answer:
            return json.load(answer)["settings"]

    def open(self, query=""):
        self.browser.get(self.demo.url + query)
        wait_until(self.element("settings").is_displayed)

    def set_by_script(self, name, value):
        self.browser.execute_script("arguments[0].value = arguments[1]; arguments[0].dispatchEvent("
                                    "new Event('input', {bubbles: true}))", self.element(name), value)

    def assert_form_shows(self, settings):
        value = {name: self.element(name).get_property("value") for name in settings}
        self.assertEqual({**value, "target": float(value["target"]), "brightness": int(value["brightness"]),
                          "away": self.element("away").is_selected()}, settings)

    def test_settings_survive_the_round_trip(self):
        self.open()
        self.assert_form_shows(self.state())
        for room, note, target, mode, brightness in [
                ("a<b&c \"ü", "1 + 1 = 2", 21.5, "auto", 35), ("100%41 </room>", "</note><mode>off</mode> €%&+=;#", 5, "cool", 0)]:
            with self.subTest(room=room):
                for name, text in (("room", room), ("note", note), ("target", str(target))):
                    self.element(name).clear()
                    self.element(name).send_keys(text)
                Select(self.element("mode")).select_by_value(mode)
                self.element("away").click()
                self.set_by_script("brightness", brightness)
                wanted = {"room": room, "note": note, "target": target, "mode": mode, "brightness": brightness,
                          "away": self.element("away").is_selected()}
                self.element("save").click()
                wait_until(lambda: self.state() == wanted)
                wait_until(lambda: self.browser.current_url.endswith("?success=restarted"))
                # What the page remembers of the save must not stand in for what the device tells.
                self.open()
                self.assert_form_shows(wanted)

    def test_each_status_word_has_its_banner(self):
        self.open("?success=other")
        self.assertFalse(self.element("banner").is_displayed())
        texts = set()
        for word in ("restarted", "running", "stopped", "false"):
            self.open("?success=" + word)
            wait_until(self.element("banner").is_displayed)
            texts.add(self.element("banner-title").text)
        self.assertEqual(len(texts - {""}), 4, texts)

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
