"""Shared by the outside tests: a device in a temporary folder, requests to its program, the served demo."""
import collections
import fcntl
import os
import re
import secrets
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.abspath(os.environ.get("BUILD_DIR", os.path.join(ROOT, "build/release")))
PROGRAM = os.path.abspath(os.environ.get("SAVESETTINGS", f"{BUILD}/app/saveSettings"))
GUARD = 500  # seconds that no test needs, even on a busy machine
IS_ROOT = os.geteuid() == 0
FORM_TYPE = "application/x-www-form-urlencoded"
IS_EMULATED = bool(os.environ.get("PROGRAM_RUNNER"))  # its calls and its memory are then the emulator's
CAN_TRACE = bool(shutil.which("strace")) and subprocess.run(
    ["strace", "-qqo", os.devnull, "true"], check=False).returncode == 0
needs_strace = unittest.skipUnless(CAN_TRACE and not IS_EMULATED, "strace is missing or may not trace here")
USER = {"user": 65534, "group": 65534, "extra_groups": []} if IS_ROOT else {}
POST_ONLY = re.compile(r" *# POST only.*\n(?: *<If .*\n.*\n)?.*\n")  # what the guide says to delete
HOST_NAMES = re.compile(r"(# Host names.*\n(?:.*\n){0,2}?[^#\n]*?['\"(])(\.?\*)")  # what it says to replace
ON_A_DEVICE = {"ROOT": "/opt/thermostat", "RUN": "/run/thermostat", "ADDRESS": "0.0.0.0", "PORT": "80",
               "NAME": "thermostat", "USER": "thermostat"}
UNITS = os.path.join(ROOT, "packaging", "systemd")

Answer = collections.namedtuple("Answer", "status output settings")


def get(query, **more):
    return {"REQUEST_METHOD": "GET", "QUERY_STRING": query, **more}


def post(length, **more):
    return {"REQUEST_METHOD": "POST", "CONTENT_TYPE": FORM_TYPE, "CONTENT_LENGTH": str(length), **more}


def settings_text(*fields):
    lines = (b"  <%s>%s</%s>\n" % (key, value, key) for key, value in fields)
    return b"<Settings>\n" + b"".join(lines) + b"</Settings>\n"


def redirect(word, before=b"", after=b""):
    return b"Location: %s?success=%s%s\r\n\r\n" % (before, word.encode(), after)


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def is_sanitized(program=PROGRAM):
    with open(program, "rb") as file:
        return b"__asan_init" in file.read()


def access_list(mode, user, permissions=6):
    """Returns the kernel's ACL: the mode's entries, and one for a user. The group's bits are the mask."""
    entries = [(1, mode >> 6, -1), (2, permissions, user), (4, mode >> 3, -1), (16, mode >> 3, -1),
               (32, mode, -1)]
    packed = (struct.pack("<HHi", tag, bits & 7, who) for tag, bits, who in entries)
    return struct.pack("<I", 2) + b"".join(packed)


class GuardedTest(unittest.TestCase):
    """Raises in a test that hangs, so that its cleanups still run."""

    def setUp(self):
        def give_up(*_):
            signal.alarm(GUARD)
            raise TimeoutError("hangs")

        signal.signal(signal.SIGALRM, give_up)
        signal.alarm(GUARD)
        self.addCleanup(signal.alarm, 0)


def wait_until(condition):
    while not condition():
        time.sleep(0.02)


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


def is_in_state(pid, state):
    """Returns true if the process is in this state: "S" sleeps, "T" is stopped."""
    with open(f"/proc/{pid}/stat", "rb") as status:
        return status.read().rpartition(b") ")[2][:1] == state.encode()


def is_sleeping(pid):
    return is_in_state(pid, "S")


def end(process):
    with process:  # closes its pipes, and waits
        process.kill()


class Device:
    """An application's folder as a device has it: <base>/<name>/html, with the name in "pid.cgi".

    The name is random, so tests that run at the same time never signal each other's processes.
    """

    def __init__(self, test, suffix="", web="html", marker=b"%s", base=None, settings=None):
        self.test, self.name = test, f"zd{secrets.token_hex(5)}{suffix}"
        self.scratch = test.enterContext(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
        os.chmod(self.scratch, 0o755)
        self.home = os.path.join(base or self.scratch, self.name)
        self.html = os.path.join(self.home, web)
        os.makedirs(self.html)
        test.addCleanup(shutil.rmtree, self.home)
        for name, content in (("pid.cgi", marker), ("settings_xml.txt", settings)):
            if content is not None:
                self.write(name, content.replace(b"%s", self.name.encode()))

    def path(self, name="settings_xml.txt"):
        return os.path.join(self.html, name)

    def write(self, name, content, mode=None):
        with open(self.path(name), "wb") as file:
            file.write(content)
        if mode:
            os.chmod(self.path(name), mode)

    @property
    def settings(self):
        if not os.path.isfile(self.path()):
            return None
        with open(self.path(), "rb") as file:
            return file.read()

    def extra_files(self):
        return set(os.listdir(self.html)) - {"pid.cgi", "settings_xml.txt"}

    @property
    def errors(self):
        """What the requests have printed on standard error."""
        return read(self.scratch, "errors")

    def application(self, *argv, process_name=None, **options):
        """Starts a process of the application's name: `cat`, which SIGUSR1 kills."""
        link = os.path.join(tempfile.mkdtemp(dir=self.scratch), process_name or self.name)
        os.chmod(os.path.dirname(link), 0o755)
        os.symlink(shutil.which("cat"), link)
        process = subprocess.Popen([*(argv or ["/some/path/" + self.name]), "-"], executable=link,
                                   stdin=subprocess.PIPE, stderr=subprocess.DEVNULL, **options)
        self.test.addCleanup(end, process)
        # Popen returns before the kernel has set the new program's name and arguments.
        wait_until(lambda: read(f"/proc/{process.pid}/cmdline") or process.poll() is not None)
        return process

    def start(self, env, wrap=(), program=PROGRAM, stdin=subprocess.PIPE, **options):
        """Starts a request with PATH and these variables alone, without those whose value is None."""
        env = {"PATH": "/usr/bin:/bin", **({"ASAN_OPTIONS": "detect_leaks=0"} if wrap else {}), **env}
        env = {name: value for name, value in env.items() if value is not None}
        with open(os.path.join(self.scratch, "errors"), "ab") as errors:
            options = {"stderr": errors, **options}
            process = subprocess.Popen([*wrap, program], cwd=self.html, env=env, stdin=stdin,
                                       stdout=subprocess.PIPE, **options)
        self.test.addCleanup(end, process)
        return process

    def run(self, env, body=b"", **options):
        process = self.start(env, **options)
        output, _ = process.communicate(body)
        return Answer(process.returncode, output, self.settings)

    def save(self, form, **options):
        return self.run(post(len(form)), form, **options)


def fill(text, values):
    return re.sub("@([A-Z]+)@", lambda word: values[word[1]], text)


def unit_values(unit, key):
    return re.findall(f"^{key}=(.*)$", read(UNITS, unit), re.M)


class ServedTest(GuardedTest):
    """A device with a server of docs/deploy.md, started from its files as its systemd units start it."""

    configuration = "lighttpd.conf"  # the server's file in demo/servers
    scripts = ()  # the scripts there that it runs
    units = ["lighttpd"]  # the names of the systemd units that start it
    program = "saveSettings"  # the path to post to
    gateway_is_public = True  # gateway.sh is below the public folder
    user = USER

    def setUp(self):
        super().setUp()
        self.device = Device(self)
        self.public_folder = os.path.join(self.device.home, "www")
        self.run_folder = os.path.join(self.device.scratch, "run")
        for folder in (os.path.dirname(os.path.join(self.public_folder, self.program)), self.run_folder):
            os.makedirs(folder, exist_ok=True)
        shutil.copy(PROGRAM, self.device.path("saveSettings"))
        # Files belong to another user than the server's, except the settings and the folders for new files.
        os.chmod(self.device.html, 0o1775)
        if self.user:
            os.chown(self.device.html, 0, self.user["group"])
            os.chown(self.run_folder, self.user["user"], self.user["group"])

    def serve(self, opened=False, hosts=None):
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}/"
        self.page = self.url + "index.html"
        values = {"ROOT": self.device.home, "RUN": self.run_folder,
                  "ADDRESS": "127.0.0.1", "PORT": str(self.port)}
        guide, cuts, named = read(ROOT, "docs/deploy.md"), 0, 0
        for name in (self.configuration, *self.scripts):
            self.assertIn(f"(../demo/servers/{name})", guide)
            text = fill(read(ROOT, "demo/servers", name), values)
            opened_text, count = POST_ONLY.subn("", text)
            cuts += count
            text = opened_text if opened else text
            if hosts:
                wanted = " ".join(hosts) if name == "gateway.sh" else "|".join(map(re.escape, hosts))
                text, count = HOST_NAMES.subn(lambda found: found[1] + wanted, text)
                named += count
            is_program = name == "gateway.sh" and self.gateway_is_public
            place = os.path.join(self.public_folder, self.program) if is_program else f"../{name}"
            self.device.write(place, text.encode(), 0o755)
        self.assertEqual((cuts, named > 0), (1, bool(hosts)))
        for unit in self.units:
            self.start(f"settings-{unit}.service", values, guide)

    def start(self, unit, values, guide):
        command, = unit_values(unit, "ExecStart")
        shown = re.sub("^/usr/s?bin/", "", fill(command, ON_A_DEVICE))
        self.assertIn(f"\n    {shown}\n", guide)
        umask, = unit_values(unit, "UMask")
        with open(os.path.join(self.run_folder, "output"), "ab") as log:
            self.server = subprocess.Popen(fill(command, values).split(), stdout=log, stderr=log, **self.user,
                                           cwd=self.run_folder, umask=int(umask, 8), start_new_session=True)
        self.addCleanup(self.server.wait)
        self.addCleanup(os.killpg, self.server.pid, signal.SIGTERM)
        address = f":{self.port:04X} 00000000:0000 0A "
        listens = f"{self.run_folder}/fcgi.sock" if "unix:" in command else address
        wait_until(lambda: self.server.poll() is not None or
                   listens in read("/proc/net/unix") + read("/proc/net/tcp"))
        self.assertIsNone(self.server.poll(), read(self.run_folder, "output"))


class Demo:
    """A running scripts/demo. It leads a session, which identifies its processes.

    Every demo's application has the same name, by which killall finds it. A lock allows one demo at a time.
    """

    def __init__(self, server):
        self.turn = open(shutil.which("killall"), "rb")
        signal.alarm(0)  # waiting for the lock is not hanging
        fcntl.flock(self.turn, fcntl.LOCK_EX)
        signal.alarm(GUARD)
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}/"
        self.process = subprocess.Popen(
            [os.path.join(ROOT, "scripts", "demo"), "--server", server, "--port", str(self.port),
             "--build", BUILD],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, start_new_session=True,
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))  # ignored in background jobs
        said = ""
        while not said.endswith(f"\nThe thermostat is at {self.url}\n"):
            line = self.process.stdout.readline()
            if not line:
                self.stop()
                raise RuntimeError("scripts/demo ended before it served the page")
            said += line
        self.directory = re.search("^Application directory: (.+)$", said, re.M)[1]
        self.application = int(re.search("^Application process: (.+)$", said, re.M)[1])

    def session(self):
        """Returns the living processes that the demo started."""
        found = set()
        for pid in map(int, filter(str.isdigit, os.listdir("/proc"))):
            try:
                found.update({pid} if os.getsid(pid) == self.process.pid != pid else ())
            except ProcessLookupError:
                pass
        return found

    def stop(self, number=signal.SIGINT, group=True):
        """Stops it as Ctrl-C does, or as a supervisor; returns its status and the processes it left."""
        if self.process.returncode is None:
            (os.killpg if group else os.kill)(self.process.pid, number)
        try:
            return self.process.wait(), self.session()
        finally:
            for pid in self.session():
                os.kill(pid, signal.SIGKILL)
            end(self.process)
            self.turn.close()
