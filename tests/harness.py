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
PROGRAM = os.path.abspath(os.environ.get("SAVESETTINGS", "build/app/saveSettings"))
GUARD = 500  # seconds that no test needs, even on a busy machine
IS_ROOT = os.geteuid() == 0
FORM_TYPE = "application/x-www-form-urlencoded"
IS_EMULATED = bool(os.environ.get("PROGRAM_RUNNER"))  # its calls and its memory are then the emulator's
CAN_TRACE = bool(shutil.which("strace")) and subprocess.run(
    ["strace", "-qqo", os.devnull, "true"], check=False).returncode == 0
needs_strace = unittest.skipUnless(CAN_TRACE and not IS_EMULATED, "strace is missing or may not trace here")

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
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def is_in_state(pid, state):
    """Returns true if the process is in this state: "S" sleeps, "T" is stopped."""
    with open(f"/proc/{pid}/stat", "rb") as status:
        return status.read().rpartition(b") ")[2][:1] == state.encode()


def is_sleeping(pid):
    return is_in_state(pid, "S")


def end(process):
    process.kill()
    process.wait()
    for pipe in filter(None, (process.stdin, process.stdout)):
        pipe.close()


class Device:
    """An application's folder as a device has it: <base>/<name>/html, with the name in "pid.cgi".

    The name is random, so tests that run at the same time never signal each other's processes.
    """

    def __init__(self, test, suffix="", web="html", marker=b"%s", base=None, settings=None):
        self.test, self.name = test, f"zd{secrets.token_hex(5)}{suffix}"
        self.scratch = tempfile.mkdtemp()
        os.chmod(self.scratch, 0o755)
        self.home = os.path.join(base or self.scratch, self.name)
        self.html = os.path.join(self.home, web)
        for folder in (self.scratch, self.home):
            test.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        os.makedirs(self.html)
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
             "--build", os.environ.get("BUILD_DIR", "build")],
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
