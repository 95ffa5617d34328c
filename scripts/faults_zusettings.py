"""The second half of scripts/faults: each system call of zusettings fails once, or kills it."""
import collections
import os
import signal
import subprocess
import sys

import faults
from harness import Device, settings_text

TOOL = os.environ["ZUSETTINGS"]
OLD = settings_text((b"a", b"1"), (b"b", b"2"))
ERRORS = {**faults.ERRORS, "chdir": "EACCES EIO ENOMEM", "lseek": "EINVAL", "pread64": "EIO", "statx": "EIO",
          "renameat2": "EACCES EPERM EROFS EBUSY EIO ENOSPC EDQUOT ENOMEM EINVAL ENOSYS ENOENT",
          "access": "EACCES", "ioctl": "ENOTTY"}
BEGIN = r"^rt_sigaction\(SIGXFSZ"  # the tool's own first call

Change = collections.namedtuple("Change", "title arguments new exists runs", defaults=(True, False))
Outcome = collections.namedtuple("Outcome", "status word settings signalled left calls")
CHANGES = [Change("set", ["set", "b=3", "c=4"], settings_text((b"a", b"1"), (b"b", b"3"), (b"c", b"4"))),
           Change("set, no settings yet", ["set", "b=3"], settings_text((b"b", b"3")), exists=False),
           Change("unset, and signal", ["unset", "a"], settings_text((b"b", b"2")), runs=True)]


class Bench(faults.Bench):
    def change(self, change, *injected):
        if change.runs:  # a killall that outlived the last run must not find this application
            self.device = Device(self.cleanups)
        self.clear()
        if change.exists:
            self.device.write("settings_xml.txt", OLD)
        self.device.write("state.json", b'{"settings": [%s]}' % b", ".join(
            b'{"name": "%s", "type": "number", "default": "0"}' % name for name in (b"a", b"b", b"c")))
        application = self.device.application() if change.runs else None
        command = [*self.tracer(*injected), TOOL, "-d", self.device.html, *change.arguments]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              timeout=faults.GUARD, check=False)
        signalled = self.was_signalled(application) if application else False
        return Outcome(done.returncode, done.stdout.decode().strip(), self.device.settings, signalled,
                       self.device.extra_files() - {"state.json"}, self.calls())

    def check(self, change, what, outcome, right, began):
        old = OLD if change.exists else None
        saved = outcome.settings == change.new
        truths = {0: saved and outcome.signalled and outcome.word in ("", "restarted"), 1: outcome.word == "",
                  3: saved and outcome.word != "restarted", -signal.SIGKILL: True}
        complaints = []
        if outcome.settings not in (old, change.new):
            complaints.append(f"settings file: {outcome.settings!r}")
        if not began and outcome.status not in truths:
            complaints += ["touched before it began"] * (outcome.settings != old)
        elif not truths.get(outcome.status, False):
            complaints.append(f"ended with {outcome.status}, {outcome.word!r}; saved: {saved}, "
                              f"signalled: {outcome.signalled}")
        if outcome.left and outcome.status != -signal.SIGKILL and "unlink" not in what:
            complaints.append(f"left {outcome.left}")
        if outcome.left:
            os.unlink(self.device.path("state.json"))
            complaints += self.next_save_complaints()
        if what.startswith("EINTR") and began and outcome[:4] != right[:4]:
            complaints.append(f"an interruption changed the outcome: {outcome[:4]}")
        kind = what.split()[0]
        self.record("killed at a call" if kind == "killed" else kind, change, what, complaints)


def strike(bench, change):
    right = bench.change(change)
    if (right.status, right.settings) != (0 if change.runs else 3, change.new):
        sys.exit(f"zusettings {change.title}: {right[:4]}")
    for name, ordinal, line in faults.chosen(right.calls):
        for error in faults.errors_of(name, line, ERRORS):
            outcome = bench.change(change, f"{name}:error={error}:when={ordinal}")
            where = faults.place_of(name, outcome.calls, BEGIN)
            if where is None:
                continue  # the process table has become shorter
            bench.check(change, f"{error} {name} call {ordinal}", outcome, right, "start" not in where)
        outcome = bench.change(change, f"{name}:signal=KILL:when={ordinal}")
        bench.check(change, f"killed at {name} call {ordinal}", outcome, right, True)


def main():
    bench = Bench()
    try:
        for change in CHANGES:
            strike(bench, change)
    finally:
        bench.cleanups.doCleanups()
    print("zusettings:")
    faults.print_table(bench)
    return bool(bench.broken)


sys.exit(main())
