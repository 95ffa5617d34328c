"""The whole path through real web servers with curl: form, settings file, signal, redirect; and what nobody may reach."""
import glob
import json
import os
import re
import signal
import socket
import subprocess
import unittest

from harness import FORM_TYPE, Demo, GuardedTest, settings_text, wait_until


class ServerTests:
    server = None

    def setUp(self):
        super().setUp()
        self.demo = Demo(self.server)
        self.addCleanup(self.demo.stop)
        self.settings = os.path.join(self.demo.directory, "html", "settings_xml.txt")

    def start_curl(self, path, *options):
        return subprocess.Popen(["curl", "-s", "--noproxy", "*", "--path-as-is", "-w", "\\n%{http_code} %header{location}",
                                 *options, self.demo.url + path], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def curl(self, path, *options, body=b""):
        """The status code, where the answer leads, and its body."""
        content, _, end = self.start_curl(path, *options).communicate(body)[0].rpartition(b"\n")
        code, _, location = end.decode().partition(" ")
        return int(code), location, content

    def save(self, form, referer="", kind=FORM_TYPE):
        return self.curl("saveSettings", "--referer", referer, "-H", "Content-Type: " + kind, "--data-binary", "@-", body=form)

    def saved(self):
        with open(self.settings, "rb") as file:
            return file.read()

    def test_form_reaches_the_application_and_the_browser_its_page(self):
        page = self.demo.url + "index.html"
        for form, referer, location, settings in [
                (b"target=22.5&note=a%3Cb%26c", page, page + "?success=restarted", {"target": 22.5, "note": "a<b&c"}),
                (b"Target=17&mode=off", page + "?tab=3&success=false", page + "?success=restarted&tab=3",
                 {"target": 17, "mode": "off", "note": "a<b&c"})]:
            with self.subTest(form=form):
                self.assertEqual(self.save(form, referer)[:2], (302, location))
                wait_until(lambda: settings.items() <= json.loads(self.curl("state.json")[2])["settings"].items())
        self.assertEqual(self.saved(), settings_text((b"mode", b"off"), (b"target", b"17")))
        code, location, _ = self.save(b"target=18")
        self.assertEqual((code, location.partition("?")[2]), (302, "success=restarted"))

    def test_stopped_application(self):
        os.kill(self.demo.application, signal.SIGKILL)
        wait_until(lambda: not os.path.exists("/proc/%d" % self.demo.application))
        page = self.demo.url + "x"
        others = ["killall", "-q", "-0", "thermostat"]
        before, answer = subprocess.call(others), self.save(b"target=19", page)
        if 0 in (before, subprocess.call(others)):
            self.skipTest("somebody else's thermostat runs on this machine")
        self.assertEqual(answer[:2], (302, page + "?success=stopped"))
        self.assertEqual(self.saved(), settings_text((b"target", b"19")))

    def test_refused_post_with_a_body_is_answered(self):
        for kind, size in (("text/plain", 200000), (FORM_TYPE + "; charset=UTF-8", 3)):
            self.assertEqual(self.save(b"x" * size, kind=kind), (200, "", b"Unknown request type.\n"))
        self.assertFalse(os.path.exists(self.settings))

    def test_only_post_reaches_the_program_and_only_the_page_is_served(self):
        self.save(b"target=20")
        for name in ("settings_xml.txt.123", "settings_xml.txt~"):
            with open(os.path.join(os.path.dirname(self.settings), name), "wb") as sibling:
                sibling.write(self.saved())
        code, _, page = self.curl("")
        self.assertEqual((code, page), (200, self.curl("index.html")[2]))
        self.assertIn(b"<form", page)
        program = ("saveSettings", "saveSettings/", "/saveSettings", "%73aveSettings", "saveSettings/x", "./saveSettings", "x/../saveSettings")
        methods = (["-G"], ["--head"], ["-X", "PUT"], ["-X", "get"])
        requests = [(path + "?target=9", *method) for path in program for method in methods]
        requests += [(path.replace("NAME", name),) for name in ("settings_xml.txt", "pid.cgi") for path in (
            "NAME", "/NAME", "./NAME", "x/../NAME", "NAME/", "NAME?x", "NAME%00", "NAME%00.html", "NAME/x.html", "NAME.123",
            "NAME~", "%2eNAME", "%2e/NAME", name.replace(".", "%2e"), name.replace("i", "%69"), name.upper())]
        for path, *method in [*requests, ("../thermostat",), ("%2e%2e/thermostat",)]:
            with self.subTest(path=path, method=method):
                code, _, content = self.curl(path, *method)
                self.assertIn(code, (400, 403, 404, 405, 501))
                self.assertIsNone(re.search(rb"<Settings>|^thermostat$|\x7fELF", content))
        self.assertEqual(self.saved(), settings_text((b"target", b"20")))

    def test_forty_posts_at_once(self):
        notes = [b"note=" + bytes([97 + number % 26]) * (1 + number * 500) for number in range(40)]
        posts = [self.start_curl("saveSettings", "--referer", self.demo.url, "--data-binary", "@-") for _ in notes]
        for process, note in zip(posts, notes):
            process.stdin.write(note)
            process.stdin.close()
        answers = [(process.stdout.read(), process.stdout.close(), process.wait())[0] for process in posts]
        self.assertEqual(answers, [b"\n302 %s?success=restarted" % self.demo.url[:-1].encode()] * len(notes))
        self.assertTrue(self.saved() in {settings_text((b"note", note[5:])) for note in notes}, "a torn settings file")
        self.assertEqual(glob.glob(self.settings + "?*"), [])

    def test_the_demo_ends_without_a_trace(self):
        for number, group in ((signal.SIGINT, True), (signal.SIGTERM, False)):
            with self.subTest(signal=number):
                demo = self.demo if group else Demo(self.server)
                self.assertIn(demo.application, demo.session())
                self.assertEqual(demo.stop(number, group), (0, set()))
                self.assertFalse(os.path.exists(os.path.dirname(demo.directory)))
                with socket.socket() as listener:
                    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                    listener.bind(("127.0.0.1", demo.port))


class LighttpdTest(ServerTests, GuardedTest):
    server = "lighttpd"


class NginxTest(ServerTests, GuardedTest):
    server = "nginx"


if __name__ == "__main__":
    unittest.main()
