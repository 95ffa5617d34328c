"""zusettings from outside: what it prints, refuses and saves; forms posted at the same time."""
import json
import os
import subprocess
import threading
import unittest

from harness import BUILD, IS_ROOT, Device, GuardedTest, needs_strace, settings_text

ZUSETTINGS = os.path.abspath(os.environ.get("ZUSETTINGS", f"{BUILD}/tools/zusettings"))
DESCRIPTION = {"revision": 1, "refusals": [], "settings": [
    {"name": "mode", "label": "Mode", "help": "", "type": "choice", "default": "auto", "value": "auto",
     "choices": [{"value": "auto", "label": "Automatic"}, {"value": "heat", "label": "Heat"}]},
    {"name": "room", "label": "Room", "help": "\u00e9\ud83d\ude00\"\\\b", "type": "text", "default": "",
     "value": "", "minimumLength": 0, "maximumLength": 4, "pattern": "[a-z\u00e9]*"},
    {"name": "target", "label": "Target", "help": "", "type": "number", "default": "20", "value": "20",
     "minimum": "5", "maximum": "30", "step": "0.5", "unit": "\u00b0C"},
    {"name": "eco", "label": "Eco", "help": "", "type": "switch", "default": "off", "value": "off"}]}
OLD = settings_text((b"other", b"1"), (b"target", b"21"))


class ZusettingsTest(GuardedTest):
    def setUp(self):
        super().setUp()
        self.device = Device(self, settings=OLD)

    def run_tool(self, *arguments, **options):
        done = subprocess.run([ZUSETTINGS, "-d", self.device.html, *arguments], capture_output=True,
                              check=False, **options)
        return done.returncode, done.stdout.decode(errors="surrogateescape"), done.stderr.decode()

    def describe(self, text=None):
        self.device.write("state.json", json.dumps(DESCRIPTION).encode() if text is None else text)

    def test_shows_settings(self):
        for described, arguments, output in (
                (False, ["list"], "other=1\ntarget=21\n"), (False, ["get", "target"], "21\n"),
                (True, ["list"], "eco=off\nmode=auto\nother=1\nroom=\ntarget=21\n"),
                (True, ["get", "mode"], "auto\n"), (True, ["-j", "get", "target"], '"21"\n')):
            if described:
                self.describe()
            self.assertEqual(self.run_tool(*arguments), (0, output, ""), arguments)
        self.assertEqual(json.loads(self.run_tool("--json", "list")[1]),
                         {"eco": "off", "mode": "auto", "other": "1", "room": "", "target": "21"})
        self.device.write("settings_xml.txt", settings_text((b"a", b"\x1b[2J\n"), (b"b", b"\xff")))
        self.assertEqual(self.run_tool("get", "b")[1].encode(errors="surrogateescape"), b"\xff\n")
        self.assertTrue(self.run_tool("list")[1].startswith("a=\\x1B[2J\\n\nb=\\xFF\n"))
        os.unlink(self.device.path())
        self.assertEqual(self.run_tool("get", "target"), (0, "20\n", ""))

    def test_saves_and_prints_the_status_word(self):
        self.describe()
        new = ((b"eco", b"on"), (b"other", b"1"), (b"room", "é".encode()), (b"target", b"5.5"))
        self.assertEqual(self.run_tool("set", "target=5.5", "eco=on", "room=é"), (3, "stopped\n", ""))
        self.assertEqual(self.device.settings, settings_text(*new))
        application = self.device.application()
        self.assertEqual(self.run_tool("unset", "eco", "mode"), (0, "restarted\n", ""))
        self.assertNotEqual(application.wait(), 0)
        self.assertEqual(self.device.settings, settings_text(*new[1:]))
        self.device.application()
        self.assertEqual(self.run_tool("--json", "apply"), (0, '"restarted"\n', ""))
        os.unlink(self.device.path("pid.cgi"))
        status, word, reason = self.run_tool("apply")
        self.assertEqual((status, word), (3, "false\n"))
        self.assertIn("pid.cgi", reason)
        os.unlink(self.device.path())
        self.assertEqual(self.run_tool("set", "target=6")[:2], (3, "false\n"))
        self.assertEqual(self.device.settings, settings_text((b"target", b"6")))

    def test_refuses_what_the_application_would(self):
        self.describe()
        for arguments, reason in (
                (["set", "target=99", "eco=on"], "target: 99 is above 30"),
                (["set", "mode=x"], "mode: x is not one of auto, heat"),
                (["set", "room=abcde"], "room: 5 characters, more than 4"),
                (["set", "room=A"], "room: A does not match [a-z\u00e9]*"),
                (["set", "humidity=1"], "humidity: no such setting"),
                (["unset", "target", "humidity"], "humidity: no such setting"),
                (["get", "humidity"], "humidity: no such setting"),
                (["--force", "set", "a>b</a=1", "a=</a>\n"],
                 "settings_xml.txt: these names and values would be ambiguous in it")):
            self.assertEqual(self.run_tool(*arguments), (1, "", f"zusettings: {reason}\n"), arguments)
            self.assertEqual(self.device.settings, OLD, arguments)
        self.assertEqual(self.run_tool("-f", "set", "target=99", "humidity=1")[0], 3)
        fields = ((b"humidity", b"1"), (b"other", b"1"), (b"target", b"99"))
        self.assertEqual(self.device.settings, settings_text(*fields))

    def test_refuses_files_that_it_cannot_use(self):
        for text in (b"", b"[]", b'{"settings": [}', b'{"settings": [{"name": "a\\ud800"}]}', b"[" * 100000,
                     b'{"settings": []} x', b'{"settings": [{"name": "A"}]}', b'{"a": 01}', b'{"a": "\n"}',
                     b'{"a": tru}', b'{"a": 1.}'):
            self.describe(text)
            self.assertEqual(self.run_tool("set", "a=1")[:2], (1, ""), text[:40])
        os.unlink(self.device.path("state.json"))
        for text in (b"", OLD[:-1], b"<Settings>\n"):
            self.device.write("settings_xml.txt", text)
            self.assertEqual(self.run_tool("set", "a=1"),
                             (1, "", "zusettings: settings_xml.txt: is not a whole settings file\n"))
            self.assertEqual(self.device.settings, text)
        self.assertEqual(self.run_tool("-d", "none", "list"),
                         (1, "", "zusettings: none: No such file or directory\n"))

    def test_answers_wrong_usage(self):
        for arguments in ("", "get", "get a b", "set", "set a", "unset", "list a", "apply a", "help",
                          "-x list"):
            status, output, usage = self.run_tool(*arguments.split())
            self.assertEqual((status, output), (2, ""), arguments)
            self.assertIn("Usage: zusettings [OPTION]... list", usage)
        self.assertIn("Exits with 0", self.run_tool("--help")[1])
        self.assertRegex(self.run_tool("--version")[1], r"^zusettings \d+\.\d+\.\d+\n$")
        with open("/dev/full", "wb") as full:
            for arguments, status in ((["--help"], 0), (["-d", self.device.html, "list"], 1)):
                done = subprocess.run([ZUSETTINGS, *arguments], stdout=full, stderr=subprocess.DEVNULL,
                                      check=False)
                self.assertEqual(done.returncode, status)

    def test_loses_no_form_that_is_posted_meanwhile(self):
        def change():
            for number in range(200):
                self.run_tool("set", f"tool={number}")

        changes = threading.Thread(target=change)
        changes.start()
        posted = 0
        while changes.is_alive():
            posted += 1
            self.device.save(b"form=%d" % posted)
            fields = dict(line.strip().split(b">", 1) for line in self.device.settings.splitlines()[1:-1])
            self.assertEqual(fields[b"<form"], b"%d</form" % posted + b">")
        changes.join()

    @needs_strace
    def test_saves_where_names_cannot_be_exchanged(self):
        for error in ("EINVAL", "ENOSYS"):
            for settings in (OLD, None):
                if settings is None:
                    os.unlink(self.device.path())
                tracer = ["strace", "-qqo", "/dev/null", "-e", f"inject=renameat2:error={error}"]
                env = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}  # it cannot run under a tracer
                done = subprocess.run([*tracer, ZUSETTINGS, "-d", self.device.html, "set", "a=1"], env=env,
                                      stdout=subprocess.DEVNULL, check=False)
                self.assertEqual(done.returncode, 3)
                kept = ((b"other", b"1"), (b"target", b"21")) if settings else ()
                self.assertEqual(self.device.settings, settings_text((b"a", b"1"), *kept))
            self.device.write("settings_xml.txt", OLD)

    @unittest.skipUnless(IS_ROOT, "needs root")
    def test_leaves_a_file_that_the_server_may_replace(self):
        os.chown(self.device.html, 1234, 1235)
        for given in ("pid.cgi", "."):
            os.unlink(self.device.path())
            os.chown(self.device.path(given), 1236, 1237)
            self.run_tool("set", "a=1")
            status = os.stat(self.device.path())
            self.assertEqual((status.st_uid, status.st_gid), (1236, 1237))
            if given == "pid.cgi":
                os.unlink(self.device.path("pid.cgi"))


if __name__ == "__main__":
    unittest.main()
