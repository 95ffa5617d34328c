"""The whole path through real web servers: form, settings file, signal, redirect; and what they must refuse.

The servers are those of docs/deploy.md, started from its files as its systemd units start them."""
import contextlib
import http.client
import json
import os
import re
import shlex
import shutil
import signal
import socket
import stat
import subprocess
import unittest

from harness import (FORM_TYPE, IS_ROOT, ON_A_DEVICE, ROOT, UNITS, USER, Demo, Device, GuardedTest,
                     ServedTest, fill, read, settings_text, unit_values, wait_until)

SLOW_CLIENTS = 100


class HttpTest(GuardedTest):
    sends_body_apart = False  # the server takes a body only after it has read the header

    @property
    def host(self):
        return f"127.0.0.1:{self.port}"

    def head(self, method, path, **headers):
        lines = {"Host": self.host, "Connection": "close"}
        lines.update((name.replace("_", "-"), value) for name, value in headers.items())
        written = [f"{name}: {value}" for name, value in lines.items() if value]
        return "\r\n".join([f"{method} /{path} HTTP/1.1", *written, "", ""]).encode()

    def send(self, head, body=b"", then_end=False):
        """Returns the whole answer; None if the server closes the connection without one."""
        with socket.create_connection(("127.0.0.1", self.port)) as connection:
            try:
                connection.sendall(head if self.sends_body_apart else head + body)
                if body and self.sends_body_apart:
                    # Waits until the kernel's table shows no unread bytes at the server's end.
                    unread = rf" \w+:{self.port:04X} \w+:{connection.getsockname()[1]:04X} 01 \w+:0*[1-9A-F]"
                    wait_until(lambda: not re.search(unread, read("/proc/net/tcp")))
                    with contextlib.suppress(ConnectionError):
                        connection.sendall(body)
                if then_end:
                    connection.shutdown(socket.SHUT_WR)
                answer = http.client.HTTPResponse(connection, method=head.partition(b" ")[0].decode())
                answer.begin()
                answer.content = answer.read()
                return answer
            except (ConnectionError, http.client.BadStatusLine):
                return None

    def request(self, method, path, body=b"", **headers):
        """Returns the status code, the address it redirects to, and the body."""
        answer = self.send(self.head(method, path, Content_Length=str(len(body)), **headers), body)
        return answer.status, answer.getheader("Location"), answer.content

    def save(self, form, referer=None, kind=FORM_TYPE, **headers):
        headers = {"Referer": self.page if referer is None else referer, "Content_Type": kind, **headers}
        return self.request("POST", self.program, form, **headers)


class ServerTests:
    """The tests of every server; its class defines the differences."""

    passes_origin = True  # the program is given the header Origin
    sends_headers = True  # the server can add headers to what it serves

    def setUp(self):
        super().setUp()
        for name in ("index.html", "page.js"):
            self.device.write(os.path.join(self.public_folder, name), b"<form> of " + name.encode())

    def check_saved(self, form, *fields, word="stopped", referer=None, **headers):
        """One form: the redirect and the settings file."""
        self.assertEqual(self.save(form, referer, **headers)[:2], (302, f"{self.page}?success={word}"))
        self.assertEqual(self.device.settings, settings_text(*fields))

    def test_form_reaches_the_application_and_each_answer_the_browser(self):
        self.serve()
        for kind, size in (("text/plain", 60000), (FORM_TYPE + "; charset=UTF-8", 3)):
            self.assertEqual(self.save(b"x" * size, kind=kind), (200, None, b"Unknown request type.\n"))
        self.assertIsNone(self.device.settings)
        application = self.device.application(**USER)
        answer = self.save(b"target=22.5&note=a%3Cb", self.page + "?tab=3&success=false")
        self.assertEqual(answer[:2], (302, self.page + "?success=restarted&tab=3"))
        self.assertEqual(application.wait(), -signal.SIGUSR1)
        self.assertEqual(self.device.settings, settings_text((b"note", b"a<b"), (b"target", b"22.5")))
        self.assertEqual(stat.S_IMODE(os.stat(self.device.path()).st_mode), 0o600)
        self.check_saved(b"a=1", (b"a", b"1"))
        for referer in ("", "/index.html") if self.passes_origin else ():
            self.assertEqual(self.save(b"a=2", referer)[:2], (302, referer + "?success=stopped"))
        # A server that follows the redirect itself must not save again.
        self.save(b"a=4", ("" if self.passes_origin else f"http://{self.host}") + f"/{self.program}")
        self.assertEqual(self.device.settings, settings_text((b"a", b"4")))
        answer = self.save(b"a=5", self.page + "?q=" + 8000 * "x")
        self.assertIn(answer[0], (302,) if self.configuration == "nginx.conf" else (302, 400, 413, 414, 431))

    def test_get_where_it_is_opened(self):
        self.serve(opened=True)
        answer = self.request("GET", self.program + "?Target=21&flag", Referer=self.page)
        self.assertEqual(answer[:2], (302, self.page + "?success=stopped"))
        self.assertEqual(self.device.settings, settings_text((b"flag", b"flag"), (b"target", b"21")))
        self.check_saved(b"a=1", (b"a", b"1"))

    def test_other_sites_save_nothing(self):
        self.serve(hosts=["127.0.0.1", "device.local"])
        own = f"http://{self.host}"
        for origin in (own, "", own.replace("http", "https")):
            with self.subTest(origin=origin):
                self.check_saved(b"a=%d" % len(origin), (b"a", b"%d" % len(origin)), Origin=origin)
        self.assertEqual(self.save(b"a=20", "http://device.local/", Host="device.local",
                                   Origin="http://device.local")[0], 302)
        before = self.device.settings
        self.assertEqual(before, settings_text((b"a", b"20")))
        for origin in ("http://evil.example", "null", own + ".evil.example", "http://127.0.0.1",
                       "http://127.0.0.1:1", own + "@evil.example", "file://"):
            referer = self.page
            if not self.passes_origin or origin == "null":
                referer = "" if origin == "null" else origin + "/index.html"
            with self.subTest(origin=origin):
                self.assertEqual(self.save(b"target=9", referer, Origin=origin)[0], 403)
                self.assertEqual(self.device.settings, before)
            self.device.write("settings_xml.txt", before)
        evil = "http://evil.example"
        with self.subTest("DNS rebinding"):
            self.assertEqual(self.save(b"target=9", evil + "/", Host="evil.example", Origin=evil)[0], 403)
        self.assertEqual(self.device.settings, before)

    def test_broken_bodies_save_nothing(self):
        self.serve()
        self.save(b"a=20")
        before, form = self.device.settings, b"target=9"
        for name, more, body, then_end, taken in (
                ("no length", {}, form, True, ()),
                ("no length, open", {}, b"", False, ()),
                ("chunked", {"Transfer_Encoding": "chunked"}, b"8\r\ntarget=9\r\n0\r\n\r\n", False, (302,)),
                ("too large", {"Content_Length": "65537"}, b"a=" + 65535 * b"x", False, ()),
                ("huge", {"Content_Length": "9" * 25}, form, True, ()),
                ("negative", {"Content_Length": "-1"}, form, True, ()),
                ("dropped in mid-body", {"Content_Length": "30"}, form, True, ()),
                ("dropped before the body", {"Content_Length": "30"}, b"", True, ())):
            with self.subTest(name):
                head = self.head("POST", self.program, Referer=self.page, Content_Type=FORM_TYPE, **more)
                answer = self.send(head, body, then_end)
                if answer and answer.status in taken:
                    self.assertEqual(self.device.settings, settings_text((b"target", b"9")))
                else:
                    self.assertIn(answer.status if answer else 400, (400, 403, 411, 413))
                    self.assertEqual(self.device.settings, before)
            self.device.write("settings_xml.txt", before)
        self.assertEqual(self.save(b"a=" + 65534 * b"x")[0], 302)

    def test_headers_and_listings(self):
        self.serve()
        images = os.path.join(self.public_folder, "images")
        os.mkdir(images)
        self.device.write(os.path.join(images, "secret.png"), b"")
        os.chmod(images, 0o311)
        self.addCleanup(os.chmod, images, 0o755)
        page = self.send(self.head("GET", ""))
        if self.configuration != "mini-httpd.conf":  # which has its version compiled in
            self.assertNotRegex(page.getheader("Server", ""), r"\d")
        if self.sends_headers:
            self.assertEqual(page.getheader("X-Content-Type-Options"), "nosniff")
            self.assertEqual(page.getheader("Referrer-Policy"), "same-origin")
            self.assertIn("frame-ancestors 'none'", page.getheader("Content-Security-Policy"))
        for folder in ("images", os.path.dirname(self.program) or "images"):
            self.assertNotRegex(self.request("GET", f"{folder}/")[2], b"saveSettings|secret.png")

    def test_slow_clients_do_not_block_others(self):
        self.serve()
        starts = [b"POST /", self.head("POST", self.program, Content_Length="99", Content_Type=FORM_TYPE,
                                       Referer=self.page) + b"a="]
        slow = []
        for number in range(SLOW_CLIENTS):
            slow.append(socket.create_connection(("127.0.0.1", self.port)))
            self.addCleanup(slow[-1].close)
            slow[-1].sendall(starts[number % len(starts)])
        self.check_saved(b"a=1", (b"a", b"1"))
        established = rf" \w+:{self.port:04X} \w+:\w+ 01 "
        self.assertRegex(read("/proc/net/tcp"), established)
        wait_until(lambda: self.processes() < SLOW_CLIENTS / 2)
        self.check_saved(b"a=2", (b"a", b"2"))

    def processes(self):
        """Counts the server's first process and its descendants."""
        tree = subprocess.check_output(["pstree", "-pT", str(self.server.pid)], text=True)
        return len(re.findall(r"\(\d+\)", tree))

    def test_only_post_reaches_the_program_and_only_the_page_is_served(self):
        self.serve()
        self.save(b"target=20")
        for name in ("settings_xml.txt.123", "settings_xml.txt~"):
            self.device.write(name, self.device.settings)
        for path, name in (("", b"index.html"), ("page.js", b"page.js")):
            self.assertEqual(self.request("GET", path), (200, None, b"<form> of " + name))
        program = self.program
        ways = (program, f"{program}/", f"/{program}", f"{program}/x", f"./{program}", f"x/../{program}",
                program.replace("s", "%73", 1))
        requests = [(method, way + query) for method in ("GET", "HEAD", "PUT", "get") for way in ways
                    for query in ("?target=9", "?success=restarted")]
        for name in ("settings_xml.txt", "pid.cgi"):
            ways = ("NAME", "/NAME", "./NAME", "x/../NAME", "NAME/", "NAME?x", "NAME%00", "NAME%00.html",
                    "NAME/x.html", "NAME.123", "NAME~", "%2eNAME", "%2e/NAME", name.replace(".", "%2e"),
                    name.replace("i", "%69"), name.upper(), "../html/NAME", "%2e%2e/html/NAME",
                    "cgi-bin/../../html/NAME", "cgi-bin/NAME")
            requests += [("GET", way.replace("NAME", name)) for way in ways]
        requests += [("GET", f"{up}/{self.configuration}") for up in ("..", "%2e%2e", "x/../..")]
        for method, path in requests:
            with self.subTest(method=method, path=path):
                code, _, content = self.request(method, path)
                self.assertIn(code, (400, 403, 404, 405, 501))
                self.assertIsNone(re.search(rb'<Settings>|^zd\w+$|"@" signs|\x7fELF', content))
        self.assertEqual(self.device.settings, settings_text((b"target", b"20")))


class Lighttpd(ServerTests, HttpTest, ServedTest):
    configuration, units = "lighttpd.conf", ["lighttpd"]


class Nginx(ServerTests, HttpTest, ServedTest):
    configuration, units = "nginx.conf", ["fcgiwrap", "nginx"]


class Apache(ServerTests, HttpTest, ServedTest):
    configuration, units, scripts, gateway_is_public = "apache.conf", ["apache"], ["gateway.sh"], False


class Busybox(ServerTests, HttpTest, ServedTest):
    configuration, units, scripts = "busybox.conf", ["busybox"], ["gateway.sh", "guard.sh"]
    program, sends_headers = "cgi-bin/saveSettings", False


class MiniHttpd(ServerTests, HttpTest, ServedTest):
    configuration, units, scripts = "mini-httpd.conf", ["mini-httpd"], ["gateway.sh", "guard.sh"]
    sends_headers, passes_origin, sends_body_apart = False, False, True


class LauncherTest(GuardedTest):
    def test_units_are_valid(self):
        device, names = Device(self), os.listdir(UNITS)
        values = {**ON_A_DEVICE, "ROOT": device.home, "RUN": device.scratch, "NAME": device.name}
        for name in (device.name, "guard.sh"):
            shutil.copy("/bin/true", os.path.join(device.home, name))
        files = [os.path.join(device.scratch, name) for name in names]
        for name, file in zip(names, files):
            device.write(file, fill(read(UNITS, name), values).encode())
        run = subprocess.run(["systemd-analyze", "verify", "--man=no", *files], capture_output=True,
                             text=True, check=False)
        self.assertEqual((run.returncode, re.findall(f".*{device.scratch}.*", run.stderr)), (0, []))
        for name in names:
            found = [unit_values(name, key) for key in ("ProtectSystem", "ReadWritePaths", "UMask")]
            self.assertEqual(found, [["strict"], ["@ROOT@/html"], ["0077"]], name)

    def test_marker_is_removed_before_the_application_starts(self):
        device = Device(self)
        user = "root" if IS_ROOT else "nobody"
        values = {"ROOT": device.home, "RUN": device.scratch, "NAME": device.name, "USER": user}
        script = b"#!/bin/sh\ntest -e \"$1/pid.cgi\" && echo stale || echo none\numask\n"
        device.write(os.path.join(device.home, device.name), script, 0o755)
        unit = "settings-application.service"
        launchers = ["\n".join(["umask " + unit_values(unit, "UMask")[0], *unit_values(unit, "ExecStartPre"),
                                *unit_values(unit, "ExecStart")])]
        for line in re.findall("^::respawn:(su .*pid.cgi.*)$", read(ROOT, "packaging", "inittab"), re.M):
            launchers.append(line if IS_ROOT else shlex.split(line)[-1])
        for launcher in launchers:
            with self.subTest(launcher):
                device.write("pid.cgi", device.name.encode())
                run = subprocess.run(["sh", "-c", fill(launcher, values)], stdout=subprocess.PIPE, text=True,
                                     check=False)
                self.assertEqual(run.stdout, "none\n0077\n")


class DemoTest(HttpTest):
    program = "saveSettings"

    def test_it_saves_and_leaves_nothing(self):
        for server, number, group in (("lighttpd", signal.SIGINT, True), ("nginx", signal.SIGTERM, False)):
            with self.subTest(server=server):
                demo = Demo(server)
                self.addCleanup(demo.stop)
                self.port, self.page = demo.port, demo.url
                page = self.request("GET", "")[2]
                self.assertIn(b"<form", page)
                for element in (b'name="referrer"\\s+content="same-origin"',
                                b"Content-Security-Policy\"\\s+content=\"default-src 'none'"):
                    self.assertRegex(page, b"<meta [^>]*" + element)
                self.assertEqual(self.save(b"target=22.5&note=a%3Cb%26c")[:2],
                                 (302, demo.url[:-1] + "?success=restarted"))
                wanted = {("target", "22.5"), ("note", "a<b&c")}
                wait_until(lambda: wanted <= {(setting["name"], setting["value"]) for setting in
                                              json.loads(self.request("GET", "state.json")[2])["settings"]})
                self.assertIn(demo.application, demo.session())
                self.assertEqual(demo.stop(number, group), (0, set()))
                self.assertFalse(os.path.exists(os.path.dirname(demo.directory)))
                socket.create_server(("127.0.0.1", demo.port)).close()  # the port is free


if __name__ == "__main__":
    unittest.main()
