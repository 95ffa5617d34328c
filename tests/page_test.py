"""The settings page in a real browser, with a real web server and the gateway."""
import itertools
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from harness import GUARD, ROOT, ServedTest, end, read, settings_text, wait_until

PAGE = os.environ.get("PAGE", os.path.join(ROOT, "page"))
AXE = os.path.join(ROOT, "build/axe/node_modules/axe-core/axe.min.js")
VIOLATIONS = """;const done = arguments[0]; axe.run().then(
    ({violations}) => done(violations.map(({id, nodes}) => [id, nodes.map(({target}) => target)])),
    error => done(String(error)))"""
POLICY = ("default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
          "form-action 'self'; base-uri 'none'; frame-ancestors 'none'")
SETTINGS = [
    {"name": "target", "label": "Target temperature", "help": "What the room is heated to.", "type": "number",
     "default": "20", "value": "21.5", "minimum": "5", "maximum": "30", "step": "0.1", "unit": "°C"},
    {"name": "action", "label": "Room", "help": "Shown on the display.", "type": "text", "default": "Hall",
     "value": "Hall", "minimumLength": 1, "maximumLength": 20, "pattern": "[^<]*"},
    {"name": "mode", "label": "Mode", "help": "", "type": "choice", "default": "auto", "value": "auto",
     "choices": [{"value": "auto", "label": "Automatic"}, {"value": "eco", "label": "Save energy"},
                 {"value": "off", "label": "Off"}]},
    {"name": "away", "label": "Nobody is at home", "help": "Saves energy until you switch this off.",
     "type": "switch", "default": "off", "value": "off"},
    {"name": "offset", "label": "Sensor correction", "type": "number", "default": "0", "value": "0"}]
IN_USE = {setting["name"]: setting["value"] for setting in SETTINGS}
OTHER = {"target": "20.3", "action": "1 + 1 = 100%41 & ü€", "mode": "eco", "away": "on", "offset": "-.25"}


class PageTest(ServedTest):
    user = {}  # the server may signal the application, which is not started as another user

    @classmethod
    def setUpClass(cls):
        # Chromium may still be writing to its folder when it is asked to end.
        home = cls.enterClassContext(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        for option in ("headless", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run",
                       "disable-sync", "disable-background-networking", "disable-component-update",
                       "disable-dev-shm-usage", "no-proxy-server", f"user-data-dir={home}/profile"):
            options.add_argument(f"--{option}")
        env = {**os.environ, "HOME": home, "TMPDIR": home}
        service = Service("/usr/bin/chromedriver", env=env)
        cls.browser = cls.enterClassContext(webdriver.Chrome(service=service, options=options))
        cls.browser.implicitly_wait(GUARD)
        cls.browser.set_script_timeout(GUARD)

    def setUp(self):
        super().setUp()
        shutil.copytree(PAGE, self.public_folder, dirs_exist_ok=True)
        self.publish(SETTINGS)
        self.assertIn(POLICY, read(ROOT, "demo/servers", self.configuration))
        self.serve()
        self.browser.get("about:blank")
        self.browser.get_log("browser")  # what the last test left

    def publish(self, settings, **members):
        state = {"revision": 1, "settings": settings, "refusals": [], **members}
        self.device.write("state.json", json.dumps(state).encode())

    def state(self):
        return json.loads(read(self.device.path("state.json")))

    def in_use(self):
        return {setting["name"]: setting["value"] for setting in self.state()["settings"]}

    def start_application(self, file=None):
        """Starts one. The gateway finds it by its first argument, killall by the name of its executable."""
        link = os.path.join(tempfile.mkdtemp(dir=self.device.scratch), file or self.device.name)
        os.symlink(sys.executable, link)
        before = self.state()["revision"]
        script = os.path.join(ROOT, "tests/page_application.py")
        process = subprocess.Popen([self.device.name, "-B", script, self.device.html], executable=link)
        self.addCleanup(end, process)
        wait_until(lambda: self.state()["revision"] != before)
        return process

    def open(self, address=""):
        self.browser.get(self.url + address)
        wait_until(self.element("settings").is_displayed)

    def element(self, name):
        return self.browser.find_element(By.ID, name)

    def control(self, name):
        return self.browser.find_element(By.CSS_SELECTOR, f'[data-control="{name}"]')

    def note(self, name, kind="error"):
        return self.element(self.control(name).get_attribute("id") + "-" + kind).text

    def active(self):
        return self.browser.switch_to.active_element

    def enter(self, values):
        for name, value in values.items():
            control = self.control(name)
            if control.tag_name == "select":
                Select(control).select_by_value(value)
            elif control.get_attribute("type") == "checkbox":
                if control.is_selected() != (value == "on"):
                    control.click()
            else:
                control.clear()
                control.send_keys(value)

    def entered(self):
        values = {name: self.control(name).get_property("value") for name in IN_USE}
        return {**values, "away": "on" if self.control("away").is_selected() else "off"}

    def assert_banner(self, title, text="", entries=()):
        wait_until(lambda: self.element("banner-title").text == title)
        self.assertIn(text, self.element("banner-text").text)
        shown = self.browser.execute_script(
            "return [...document.querySelectorAll('#banner-list li')].map(({textContent}) => textContent)")
        self.assertEqual(shown, list(entries))
        self.assertEqual(self.active().get_attribute("id"), "banner")

    def complaints(self):
        """Returns what the browser logs, such as violations of the policy, except for the missing icon."""
        messages = [entry["message"] for entry in self.browser.get_log("browser")]
        return [message for message in messages if "favicon.ico" not in message]

    def has_changes(self):
        return self.browser.execute_script(
            "return !dispatchEvent(new Event('beforeunload', {cancelable: true}))")

    def save(self, values, title, *more):
        self.enter(values)
        self.browser.find_element(By.CSS_SELECTOR, "#settings button").click()
        self.assert_banner(title, *more)

    def show(self, width, height=800, dark=False):
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def test_each_type_has_its_control_label_and_help(self):
        self.open()
        for name, attributes, label, hint in (
                ("target", {"type": "number", "min": "5", "max": "30", "step": "0.1", "inputmode": "decimal"},
                 "Target temperature", "What the room is heated to. 5 to 30 °C, in steps of 0.1."),
                ("action", {"type": "text"}, "Room", "Shown on the display. 1 to 20 characters."),
                ("mode", {"type": "select-one"}, "Mode", ""),
                ("away", {"type": "checkbox", "role": "switch"}, "Nobody is at home",
                 "Saves energy until you switch this off."),
                ("offset", {"type": "number", "step": "any", "min": "", "max": ""}, "Sensor correction", "")):
            with self.subTest(name=name):
                control = self.control(name)
                self.assertEqual({key: control.get_attribute(key) for key in attributes}, attributes)
                self.assertEqual((control.accessible_name, self.note(name, "hint")), (label, hint))
        options = [option.text for option in Select(self.control("mode")).options]
        self.assertEqual(options, ["Automatic", "Save energy", "Off"])
        self.assertEqual(self.entered(), IN_USE)
        self.assertEqual(self.complaints(), [])

    def test_values_survive_the_round_trip(self):
        self.start_application()
        self.open()
        for wanted in (OTHER, {**IN_USE, "action": "\"+'%2B=;#\\😀"}):
            with self.subTest(wanted=wanted):
                self.save(wanted, "Saved and applied")
                fields = sorted((name.encode(), value.encode()) for name, value in wanted.items())
                self.assertEqual(self.device.settings, settings_text(*fields))
                self.assertEqual(self.in_use(), wanted)
                self.assertEqual((self.entered(), self.has_changes()), (wanted, False))

    def test_limits_are_those_of_the_application(self):
        self.open()
        number, text = {"type": "number", "default": "1"}, {"type": "text"}
        for setting, good, bad in (
                (number, ["0", "-0", "007", ".5", "1.50000000", "99999999999.9999999", "-99999999999.999"],
                 ["", "-", ".", "5.", "+1", "1e3", "0x1", " 1", "1,5", "٣", "0.00000001", "100000000000",
                  "-100000000000", "9" * 99]),
                ({**number, "minimum": "0.1", "maximum": "0.9", "step": "0.1"}, ["0.1", "0.3", "0.7", "0.90"],
                 ["0", "0.05", "0.35", "1"]),
                ({**number, "minimum": "1", "step": "2"}, ["1", "3", "99999999999"], ["2", "0", "-1"]),
                ({**number, "step": "0.3"}, ["0.9", "-0.3", "0"], ["1", "-0.4"]),
                ({**number, "maximum": "-5", "step": "0"}, ["-5", "-5.0000001"], ["-4.9999999"]),
                (text, ["", "+", "<b>\"&"], ["two\nlines", "\t", "\r", "\x7f", "\x9f", "\ud800"]),
                ({**text, "minimumLength": 2, "maximumLength": 3}, ["äö", "😀😀😀"], ["", "😀", "four"]),
                ({**text, "pattern": "[a-z]+\\d{2}"}, ["a12", ""], ["a1", "xA12", "a123"]),
                ({**text, "pattern": "(("}, ["left to the application"], []),
                ({"type": "choice", "choices": [{"value": "a"}, {"value": ""}]}, ["a", ""], ["A", "b"])):
            for value in good + bad:
                with self.subTest(setting=setting, value=value):
                    reason = self.browser.execute_async_script(
                        "const [setting, value, done] = arguments; import('./check.js').then("
                        "({ reasonAgainst }) => done(reasonAgainst(setting, JSON.parse(value))))",
                        setting, json.dumps(value))
                    self.assertEqual(reason == "", value in good, reason)

    def test_what_is_beyond_the_limits_is_not_posted(self):
        self.open()
        for name, value, reason in (
                ("target", "30.1", "30.1 is above 30."),
                ("target", "4", "4 is below 5."),
                ("target", "20.55", "20.55 is not in steps of 0.1 from 5."),
                ("target", "e", "Please enter a number with up to 7 decimals."),
                ("action", "", "Please enter some text."),
                ("action", "a<b", "This is not in the expected format."),
                ("action", "x" * 21, "21 characters, but only 20 can be stored.")):
            with self.subTest(name=name, value=value):
                self.enter({name: value})
                self.element("save").click()
                self.assertEqual((self.note(name), self.active()), (reason, self.control(name)))
                self.assertEqual(self.control(name).get_attribute("aria-invalid"), "true")
                self.enter({name: IN_USE[name]})
                self.assertEqual(self.note(name), "")
                self.assertEqual(self.control(name).get_attribute("aria-invalid"), "false")
        self.assertIsNone(self.device.settings)

    def test_what_the_application_refuses_is_shown_with_the_reason(self):
        self.start_application()
        self.open()
        refusals = ["action: room 13 brings bad luck", "target: 13 brings bad luck"]
        wanted = {**OTHER, "target": "13", "action": "room 13"}
        self.save(wanted, "Saved, but not everything was accepted", "keeps its own", refusals)
        self.assertEqual(self.entered(), wanted)
        self.assertEqual([self.note("action"), self.note("target")], refusals)
        self.assertEqual((self.note("target", "now"), self.note("mode", "now")), ("In use: 21.5 °C", ""))
        self.open()
        self.assert_banner("The application refused some settings", "", reversed(refusals))
        self.assertEqual(self.entered(), {**OTHER, "target": "21.5", "action": "Hall"})
        self.assertEqual(self.note("target"), refusals[1])
        self.save({}, "Saved and applied")
        self.assertEqual(self.note("target"), "")

    def test_each_status_word_is_shown(self):
        for word, title in (("restarted", "Saved and applied"), ("running", "Saved, but not in use yet"),
                            ("stopped", "Saved, but the application is not running"),
                            ("false", "It is not certain that anything was saved")):
            with self.subTest(word=word):
                self.publish(SETTINGS)
                application = self.start_application("other" if word == "running" else None)
                if word == "stopped":
                    end(application)
                if word == "false":
                    os.remove(self.device.path("pid.cgi"))
                self.open()
                self.save(OTHER, title)
                self.assertEqual(self.entered(), OTHER)
                self.assertEqual(self.in_use(), OTHER if word == "restarted" else IN_USE)
                self.assertEqual(self.has_changes(), word == "false")
                end(application)
                os.remove(self.device.path())
                # The redirect of a plain form shows it, too, but only once.
                self.publish(SETTINGS)
                self.open("?tab=3&success=" + word)
                self.assert_banner("Saved" if word == "restarted" else title)
                self.assertEqual(self.browser.current_url, self.url + "?tab=3")

    def test_settings_without_confirmation_are_listed(self):
        application = self.start_application()
        self.open()
        application.send_signal(signal.SIGSTOP)
        self.save({"mode": "off"}, "Saved", "Waiting for the application")
        self.assertEqual((self.element("settings").get_property("inert"), self.has_changes()), (True, True))
        self.assert_banner("Saved, but not confirmed", "", ["Mode"])
        self.assertEqual(self.note("mode", "now"), "In use: Automatic")

    def test_failure_of_the_server_is_shown(self):
        self.open()
        os.remove(self.device.path("saveSettings"))
        self.save({"mode": "off"}, "It is not certain that anything was saved", "status 404")
        self.assertEqual((self.control("mode").get_property("value"), self.has_changes()), ("off", True))
        self.save({"mode": "eco"}, "It is not certain that anything was saved")  # the form can be used again

    def test_warns_before_leaving_with_changes(self):
        self.open()
        for name, other in OTHER.items():
            with self.subTest(name=name):
                self.enter({name: other})
                self.assertTrue(self.has_changes())
                self.enter({name: IN_USE[name]})
                self.assertFalse(self.has_changes())
        self.enter(OTHER)
        self.element("discard").click()
        self.assert_banner("Changes discarded")
        self.assertEqual((self.entered(), self.has_changes()), (IN_USE, False))
        self.element("defaults").click()
        self.assert_banner("Defaults restored")
        self.assertEqual((self.entered(), self.has_changes()), ({**IN_USE, "target": "20"}, True))

    def test_unreadable_state_is_reported_and_can_be_read_again(self):
        choice = b'{"settings": [{"name": "a", "value": "1", "type": "choice"%s}]}'
        for content in (None, b"", b"{", b"[]", b"null", b'{"settings": {}}', b'{"settings": [null]}',
                        b'{"settings": [{"name": "a", "value": 1}]}', choice % b"",
                        choice % b', "choices": [null]'):
            with self.subTest(content=content):
                if content is None:
                    os.remove(self.device.path("state.json"))
                else:
                    self.device.write("state.json", content)
                self.browser.get(self.url)
                self.assert_banner("The settings cannot be read",
                                   "has not published" if content is None else "cannot read")
                self.assertFalse(self.element("settings").is_displayed())
                self.publish(SETTINGS)
                self.element("retry").click()
                wait_until(self.element("settings").is_displayed)
                self.assertEqual((self.entered(), self.element("banner").is_displayed()), (IN_USE, False))

    def test_strings_of_the_state_are_only_text(self):
        evil = "</p><img src=x onerror=\"document.title='hit'\"><script>document.title='hit'</script>\u202e\0"
        members = ("label", "help", "default", "value", "unit", "minimum", "maximum", "step", "minimumLength",
                   "maximumLength")
        settings = [{**dict.fromkeys(members, evil), "name": evil + kind, "type": kind, "pattern": "(",
                     "choices": [{"value": evil, "label": evil}]}
                    for kind in ("text", "number", "choice", "switch", evil)]
        own = ("__proto__", "constructor", "elements", "submit", "")  # members of every object, or of a form
        settings += [{**SETTINGS[1], "name": name, "label": None} for name in own]
        names = [setting["name"] for setting in settings]
        self.publish(settings, refusals=[{"name": name, "value": evil, "reason": evil} for name in names])
        self.open()
        self.assert_banner("The application refused some settings", "", [evil] * len(settings))
        for selector, count in (("#fields .field", len(settings)), ("img, p *", 0)):
            script = "return document.querySelectorAll(arguments[0]).length"
            self.assertEqual(self.browser.execute_script(script, selector), count)
        self.assertEqual(self.browser.title, "Settings")
        self.assertEqual([self.control(name).get_property("value") for name in own], ["Hall"] * len(own))
        self.assertEqual(self.complaints(), [])

    def test_works_with_the_keyboard_alone(self):
        def press(keys):
            ActionChains(self.browser).send_keys(keys).perform()
            return self.active()

        self.start_application()
        self.show(1100)
        self.open()
        self.assertEqual(press(Keys.TAB).rect["x"], 8)  # the link past the header comes into view
        press(Keys.ENTER)
        for name, keys in (("target", Keys.ARROW_UP * 3), ("action", "Workshop & lab"), ("mode", Keys.DOWN),
                           ("away", Keys.SPACE), ("offset", "-0.5")):
            reached = press(Keys.TAB)
            self.assertEqual(reached, self.control(name))
            self.assertEqual(reached.value_of_css_property("outline-style"), "solid")
            press(keys)
        for name in ("save", "discard", "defaults"):
            self.assertEqual(press(Keys.TAB).get_attribute("id"), name)
        ActionChains(self.browser).key_down(Keys.SHIFT).send_keys(Keys.TAB * 2).key_up(Keys.SHIFT).perform()
        press(Keys.ENTER)
        self.assert_banner("Saved and applied")
        self.assertEqual(self.in_use(), {"target": "21.8", "action": "Workshop & lab", "mode": "eco",
                                         "away": "on", "offset": "-0.5"})
        if "SCREENSHOT" in os.environ:
            self.show(900)
            self.show(900, self.browser.execute_script("return document.documentElement.scrollHeight"))
            self.browser.save_screenshot(os.environ["SCREENSHOT"])

    def test_is_accessible(self):
        axe = read(AXE)  # scripts/test installs it
        settings = [*SETTINGS[:4], {**SETTINGS[4], "unit": "mg/m³ in dry air", "label": "Longword" * 10}]
        refusals = [{"name": "action", "value": "x" * 64, "reason": "action: " + "x" * 64 + " is not free"}]
        words = ("restarted", "running", "false", "", None)
        for dark, width, word in itertools.product((False, True), (1100, 360), words):
            with self.subTest(dark=dark, width=width, word=word):
                self.publish(settings, refusals=refusals)
                if word is None:
                    os.remove(self.device.path("state.json"))
                self.show(width, dark=dark)
                self.browser.get(self.url + (f"?success={word}" if word else ""))
                wait_until(self.element("banner").is_displayed)
                if word is not None:
                    self.enter({"target": "99"})
                self.assertEqual(self.browser.execute_script(
                    "return [innerWidth, matchMedia('(prefers-color-scheme: dark)').matches]"), [width, dark])
                self.assertFalse(self.browser.execute_script(
                    "const root = document.documentElement; return root.scrollWidth > root.clientWidth"))
                self.assertEqual(self.browser.execute_async_script(axe + VIOLATIONS), [])

    def test_the_custom_page_of_the_guide_works(self):
        guide = read(ROOT, "docs/page.md")
        for name, language in (("own.html", "html"), ("night.js", "js")):
            text = re.search(f"```{language}\n(.*?)```", guide, re.S)[1]
            self.device.write(f"../www/{name}", text.encode())
        self.start_application()
        self.open("own.html")
        self.save({"target": "19", "mode": "off"}, "Saved and applied")
        self.assertEqual(self.in_use(), {**IN_USE, "target": "19", "mode": "off"})
        self.element("night").click()
        wait_until(lambda: self.element("night").text == "restarted")
        wait_until(lambda: self.in_use() == {**IN_USE, "target": "15", "mode": "eco"})


if __name__ == "__main__":
    unittest.main()
