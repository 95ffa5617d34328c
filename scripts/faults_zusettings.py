"""The second half of scripts/faults: each system call of zusettings fails once, and it is killed at each."""
import collections
import os
import re
import signal
import subprocess
import sys
import unittest

import faults
from harness import Device, end, settings_text

GUARD = 60  # seconds; what takes longer hangs
TOOL = os.environ["ZUSETTINGS"]
OLD = settings_text((b"a", b"1"), (b"b", b"2"))
ERRORS = {**faults.ERRORS, "chdir": "EACCES EIO ENOMEM", "lseek": "EINVAL", "pread64": "EIO", "statx": "EIO",
          "renameat2": "EACCES EPERM EROFS EBUSY EIO ENOSPC EDQUOT ENOMEM EINVAL ENOSYS ENOENT", "access": "EACCES", "ioctl": "ENOTTY"}
BEGIN = r"^rt_sigaction\(SIGXFSZ"  # the tool's own first call

Change = collections.namedtuple("Change", "title arguments new exists runs", defaults=(True, False))
Outcome = collections.namedtuple("Outcome", "status word settings signalled left calls")
CHANGES = [Change("set", ["set", "b=3", "c=4"], settings_text((b"a", b"1"), (b"b", b"3"), (b"c", b"4"))),
           Change("set, no settings yet", ["set", "b=3"], settings_text((b"b", b"3")), exists=False),
           Change("unset, and signal", ["unset", "a"], settings_text((b"b", b"2")), runs=True)]


class Bench:
    def __init__(self):
        self.cleanups = unittest.TestCase()
        self.device = Device(self.cleanups)
        self.trace = os.path.join(self.device.scratch, "trace")
        self.tried, self.broken = collections.Counter(), []

    def run(self, change, fault=None):
        if change.runs:  # a killall that outlived the last run must not find this application
            self.device = Device(self.cleanups)
        for name in self.device.extra_files() | {"settings_xml.txt"}:
            if os.path.lexists(self.device.path(name)):
                os.unlink(self.device.path(name))
        if change.exists:
            self.device.write("settings_xml.txt", OLD)
        self.device.write("state.json", b'{"settings": [%s]}' % b", ".join(
            b'{"name": "%s", "type": "number", "default": "0"}' % name for name in (b"a", b"b", b"c")))
        application = self.device.application() if change.runs else None
        command = ["strace", "-y", "-s", "0", "-o", self.trace, "-e", "signal=none", *(["-e", "inject=" + fault] if fault else []),
                   TOOL, "-d", self.device.html, *change.arguments]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=GUARD, check=False)
        signalled = False
        if application:
            application.terminate()
            signalled = application.wait() == -signal.SIGUSR1
            end(application)
        with open(self.trace, encoding="ascii", errors="replace") as lines:
            calls = [line for line in lines if re.match(r"\w+\(", line)]
        return Outcome(done.returncode, done.stdout.decode().strip(), self.device.settings, signalled,
                       self.device.extra_files() - {"state.json"}, calls)

    def check(self, change, what, outcome, began):
        old = OLD if change.exists else None
        saved = outcome.settings == change.new
        truths = {0: saved and outcome.signalled and outcome.word in ("", "restarted"), 1: outcome.word == "",
                  3: saved and outcome.word != "restarted", -signal.SIGKILL: True}
        complaints = []
        if outcome.settings not in (old, change.new):
            complaints.append("settings file: %r" % outcome.settings)
        if not began and outcome.status not in truths:
            complaints += ["touched before it began"] * (outcome.settings != old)
        elif not truths.get(outcome.status, False):
            complaints.append("ended with %s, %r; saved: %s, signalled: %s" % (outcome.status, outcome.word, saved, outcome.signalled))
        if outcome.left and outcome.status != -signal.SIGKILL and "unlink" not in what:
            complaints.append("left %s" % outcome.left)
        if outcome.left:
            self.device.save(b"a=1")
            complaints += ["the next save left %s" % left for left in [self.device.extra_files() - {"state.json"}] if left]
        self.tried[what.split()[0]] += 1
        self.broken += ["zusettings %s, %s: %s" % (change.title, what, complaint) for complaint in complaints]


def strike(bench, change):
    right = bench.run(change)
    if (right.status, right.settings) != (0 if change.runs else 3, change.new):
        sys.exit("zusettings %s: %s" % (change.title, right[:4]))
    counts, began = collections.Counter(), False
    for line in right.calls:
        name = line.partition("(")[0]
        counts[name] += 1
        began = began or re.match(BEGIN, line) is not None
        if name in faults.NEVER_FAIL or "/proc/" in line and "cmdline" in line:
            continue
        for error in faults.errors_of(name, line) if name in faults.ERRORS else ERRORS[name].split():
            outcome = bench.run(change, "%s:error=%s:when=%d" % (name, error, counts[name]))
            bench.check(change, "%s %s call %d" % (error, name, counts[name]), outcome, began)
            if error == "EINTR" and began and outcome[:4] != right[:4]:
                bench.broken.append("zusettings %s: an interruption of %s changed the outcome: %s" % (change.title, name, outcome[:4]))
        outcome = bench.run(change, "%s:signal=KILL:when=%d" % (name, counts[name]))
        bench.check(change, "killed at %s call %d" % (name, counts[name]), outcome, began)


def main():
    bench = Bench()
    try:
        for change in CHANGES:
            strike(bench, change)
    finally:
        bench.cleanups.doCleanups()
    for title in sorted(bench.tried):
        print("%-40s %8d" % ("zusettings: " + title, bench.tried[title]))
    for line in bench.broken:
        print("BROKEN " + line)
    sys.exit(1 if bench.broken else 0)


main()
