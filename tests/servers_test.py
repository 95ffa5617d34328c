"""The whole path through real web servers: form, settings file, signal, redirect; and what nobody may reach.

The servers are those of docs/deploy.md, started from its files with its commands."""
import glob
import http.client
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import unittest
from concurrent.futures import ThreadPoolExecutor

from harness import FORM_TYPE, IS_ROOT, PROGRAM, Demo, Device, GuardedTest, settings_text, wait_until

REPOSITORY = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
AS_USER = {"user": 65534, "group": 65534, "extra_groups": []} if IS_ROOT else {}
POST_ONLY = re.compile(r" *# POST only.*\n(?: *<If .*\n.*\n)?.*\n")  # what the guide says to delete
ON_A_DEVICE = {"ROOT": "/opt/thermostat", "RUN": "/run/thermostat", "ADDRESS": "0.0.0.0", "PORT": "80"}


def fill(text, values):
    return re.sub("@([A-Z]+)@", lambda word: values[word[1]], text)


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


class HttpTest(GuardedTest):
    program, sends_body_apart = "saveSettings", False

    def request(self, method, path, body=b"", **headers):
        """The status code, where the answer leads, and its body."""
        lines = ["%s /%s HTTP/1.1" % (method, path), "Host: x", "Connection: close", "Content-Length: %d" % len(body)]
        lines += [name.replace("_", "-") + ": " + text for name, text in headers.items() if text]
        head = "\r\n".join([*lines, "", ""]).encode()
        with socket.create_connection(("127.0.0.1", self.port)) as connection:
            if body and self.sends_body_apart:
                connection.sendall(head)
                # The server's end of the connection, in the kernel's table, with nothing left to read.
                ours = r" \w+:%04X \w+:%04X 01 \w+:0+ " % (self.port, connection.getsockname()[1])
                wait_until(lambda: re.search(ours, read("/proc/net/tcp")))
                connection.sendall(body)
            else:
                connection.sendall(head + body)
            answer = http.client.HTTPResponse(connection, method=method)
            answer.begin()
            return answer.status, answer.getheader("Location"), answer.read()

    def save(self, form, referer="", kind=FORM_TYPE):
        return self.request("POST", self.program, form, Referer=referer, Content_Type=kind)


class ServerTests:
    public, to_own_page = "html", (302, "/index.html?success=stopped")

    def setUp(self):
        super().setUp()
        self.device = Device(self)
        self.public_folder = os.path.join(self.device.home, self.public)
        self.run_folder = os.path.join(self.device.scratch, "run")
        for folder in (os.path.dirname(os.path.join(self.public_folder, self.program)), self.run_folder):
            os.makedirs(folder, exist_ok=True)
        for name in ("index.html", "page.js"):
            self.device.write(os.path.join(self.public_folder, name), b"<form> of " + name.encode())
        shutil.copy(PROGRAM, self.device.path("saveSettings"))
        for folder in (self.device.html, self.run_folder) if IS_ROOT else ():
            os.chown(folder, AS_USER["user"], AS_USER["group"])

    def serve(self, opened=False):
        with socket.socket() as listener:
            listener.bind(("127.0.0.1", 0))
            self.port = listener.getsockname()[1]
        self.page = "http://127.0.0.1:%d/index.html" % self.port
        values = {"ROOT": self.device.home, "RUN": self.run_folder, "ADDRESS": "127.0.0.1", "PORT": str(self.port)}
        guide, cuts = read(REPOSITORY, "docs/deploy.md"), 0
        for name in [self.configuration] + ["gateway.sh"] * (self.public == "www"):
            self.assertIn("(../demo/servers/%s)" % name, guide)
            place = os.path.join(self.public_folder, self.program) if name == "gateway.sh" else "../" + name
            text = fill(read(REPOSITORY, "demo/servers", name), values)
            opened_text, count = POST_ONLY.subn("", text)
            cuts += count
            self.device.write(place, (opened_text if opened else text).encode())
            os.chmod(self.device.path(place), 0o755)
        self.assertEqual(cuts, 1)
        for command in self.commands:
            self.assertIn("\n    " + fill(command, ON_A_DEVICE) + "\n", guide)
            with open(os.path.join(self.run_folder, "output"), "ab") as log:
                process = subprocess.Popen(fill(command, values).split(), stdout=log, stderr=log, cwd=self.run_folder,
                                           start_new_session=True, **AS_USER)
            self.addCleanup(process.wait)
            self.addCleanup(os.killpg, process.pid, signal.SIGTERM)
            listens = self.run_folder + "/fcgi.sock" if "unix:" in command else ":%04X 00000000:0000 0A " % self.port
            wait_until(lambda: process.poll() is not None or listens in read("/proc/net/unix") + read("/proc/net/tcp"))
            self.assertIsNone(process.poll(), read(self.run_folder, "output"))

    def test_form_reaches_the_application_and_each_answer_the_browser(self):
        self.serve()
        for kind, size in (("text/plain", 200000), (FORM_TYPE + "; charset=UTF-8", 3)):
            self.assertEqual(self.save(b"x" * size, kind=kind), (200, None, b"Unknown request type.\n"))
        self.assertIsNone(self.device.settings)
        application = self.device.application(**AS_USER)
        answer = self.save(b"target=22.5&note=a%3Cb", self.page + "?tab=3&success=false")
        self.assertEqual(answer[:2], (302, self.page + "?success=restarted&tab=3"))
        self.assertEqual(application.wait(), -signal.SIGUSR1)
        self.assertEqual(self.device.settings, settings_text((b"note", b"a<b"), (b"target", b"22.5")))
        for value, referer, expected in ((b"1", self.page, (302, self.page + "?success=stopped")),
                                         (b"2", "", (302, "?success=stopped")),
                                         (b"3", "/index.html", self.to_own_page)):
            self.assertEqual(self.save(b"a=" + value, referer)[:2], expected)
            self.assertEqual(self.device.settings, settings_text((b"a", value)))
        self.save(b"a=4", "/" + self.program)  # a server that follows the answer itself shall not save again
        self.assertEqual(self.device.settings, settings_text((b"a", b"4")))

    def test_get_where_it_is_opened(self):
        self.serve(opened=True)
        application = self.device.application(**AS_USER)
        answer = self.request("GET", self.program + "?Target=21&flag", Referer=self.page)
        self.assertEqual(answer[:2], (302, self.page + "?success=restarted"))
        self.assertEqual(application.wait(), -signal.SIGUSR1)
        self.assertEqual(self.device.settings, settings_text((b"flag", b"flag"), (b"target", b"21")))
        self.assertEqual(self.save(b"a=1")[:2], (302, "?success=stopped"))

    def test_only_post_reaches_the_program_and_only_the_page_is_served(self):
        self.serve()
        self.save(b"target=20")
        for name in ("settings_xml.txt.123", "settings_xml.txt~"):
            self.device.write(name, self.device.settings)
        for path, name in (("", b"index.html"), ("page.js", b"page.js")):
            self.assertEqual(self.request("GET", path), (200, None, b"<form> of " + name))
        ways = ("%s", "%s/", "/%s", "%s/x", "./%s", "x/../%s", self.program.replace("s", "%%73", 1) + "%.0s")
        requests = [(method, way % self.program + query) for method in ("GET", "HEAD", "PUT", "get") for way in ways
                    for query in ("?target=9", "?success=restarted")]
        requests += [("GET", way.replace("NAME", name)) for name in ("settings_xml.txt", "pid.cgi") for way in (
            "NAME", "/NAME", "./NAME", "x/../NAME", "NAME/", "NAME?x", "NAME%00", "NAME%00.html", "NAME/x.html",
            "NAME.123", "NAME~", "%2eNAME", "%2e/NAME", name.replace(".", "%2e"), name.replace("i", "%69"),
            name.upper(), "../html/NAME", "%2e%2e/html/NAME", "cgi-bin/../../html/NAME", "cgi-bin/NAME")]
        requests += [("GET", up + "/" + self.configuration) for up in ("..", "%2e%2e", "x/../..")]
        for method, path in requests:
            with self.subTest(method=method, path=path):
                code, _, content = self.request(method, path)
                self.assertIn(code, (400, 403, 404, 405, 501))
                self.assertIsNone(re.search(rb'<Settings>|^zd\w+$|"@" signs|\x7fELF', content))
        self.assertEqual(self.device.settings, settings_text((b"target", b"20")))

    def test_forty_posts_at_once(self):
        self.serve()
        notes = [bytes([97 + number % 26]) * (1 + number * 500) for number in range(40)]
        with ThreadPoolExecutor(len(notes)) as pool:
            answers = {answer[:2] for answer in pool.map(lambda note: self.save(b"note=" + note, self.page), notes)}
        self.assertEqual(answers, {(302, self.page + "?success=stopped")})
        self.assertTrue(self.device.settings in {settings_text((b"note", note)) for note in notes}, "torn settings")
        self.assertEqual(glob.glob(self.device.path() + "?*"), [])


GATEWAY = {"public": "www", "program": "cgi-bin/saveSettings"}
for file, commands, more in [
        ("lighttpd.conf", ["lighttpd -D -f @ROOT@/lighttpd.conf"], {}),
        ("nginx.conf", ["fcgiwrap -s unix:@RUN@/fcgi.sock -p @ROOT@/html/saveSettings",
                        "nginx -e @RUN@/server.log -c @ROOT@/nginx.conf"], {}),
        ("apache.conf", ["apache2 -DFOREGROUND -f @ROOT@/apache.conf"], {"to_own_page": (200, None)}),
        ("busybox.conf", ["busybox httpd -f -p @ADDRESS@:@PORT@ -c @ROOT@/busybox.conf"], GATEWAY),
        ("mini-httpd.conf", ["mini_httpd -D -C @ROOT@/mini-httpd.conf"], {**GATEWAY, "sends_body_apart": True})]:
    name = file.partition(".")[0]
    globals()[name] = type(name, (ServerTests, HttpTest), {"configuration": file, "commands": commands, **more})


class DemoTest(HttpTest):
    def test_it_saves_and_ends_without_a_trace(self):
        for server, number, group in (("lighttpd", signal.SIGINT, True), ("nginx", signal.SIGTERM, False)):
            with self.subTest(server=server):
                demo = Demo(server)
                self.addCleanup(demo.stop)
                self.port = demo.port
                self.assertIn(b"<form", self.request("GET", "")[2])
                self.assertEqual(self.save(b"target=22.5&note=a%3Cb%26c", demo.url)[:2],
                                 (302, demo.url[:-1] + "?success=restarted"))
                wanted = {"target": 22.5, "note": "a<b&c"}.items()
                wait_until(lambda: wanted <= json.loads(self.request("GET", "state.json")[2])["settings"].items())
                self.assertIn(demo.application, demo.session())
                self.assertEqual(demo.stop(number, group), (0, set()))
                self.assertFalse(os.path.exists(os.path.dirname(demo.directory)))
                with socket.socket() as listener:
                    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                    listener.bind(("127.0.0.1", demo.port))


if __name__ == "__main__":
    unittest.main()
