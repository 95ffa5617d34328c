#!/usr/bin/python3
"""Measures one settings request: measure.py BUILD TSV [--quick]. BUILD holds the programs; the file gets a line for each
measured value: table size, contender, what, value. Before anything is measured every contender has to give the same
answer and the same settings file."""
import contextlib
import os
import re
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
COMPILED = ("static C", "ours", "ours, preset tiny", "ours, dynamic", "cgicc")
STOPPED, RUNNING = "benchStopped", "benchDevice"  # names of applications: one that does not run, one that does
TABLES = (100, 1000, 5000)
COUNTED_RUNS = 3
REFERER = "http://192.168.1.20:8080/html/settings.html?lang=en&page=3&tab=network"


def form(count=30):
    """About 1 KB."""
    values = ["10.0.%d.1" % i if i % 3 else "living%%20room%%20%d%%26kitchen" % i for i in range(count)]
    order = sorted(range(count), key=lambda i: i * 7 % count)
    return "&".join("Setting_%02d_Zone=%s" % (i, values[i]) for i in order).encode()


class Bench:
    def __init__(self, build, quick):
        self.bin = os.path.join(build, "benchmarks")
        self.quick = quick
        self.results = []
        shell = "/usr/bin/busybox"
        self.contenders = {
            "static C": [self.bin + "/request_limit"],
            "ours": [os.path.join(build, "app", "saveSettings")],
            "ours, preset tiny": [os.path.join(build, "tiny", "app", "saveSettings")],
            "ours, dynamic": [os.path.join(build, "dynamic", "app", "saveSettings")],
            "cgicc": [self.bin + "/request_cgicc"],
            "haserl": ["/usr/bin/haserl", "--shell=/bin/sh", HERE + "/request.haserl"],
            "busybox sh": [shell, "sh", HERE + "/request.sh"],
            "Perl": ["/usr/bin/perl", HERE + "/request.pl"],
            "Python": ["/usr/bin/python3", "-I", "-S", HERE + "/request.py"],
        }
        self.floor = {"empty program": [self.bin + "/request_floor"]}

    def environment(self):
        return {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded",
                "CONTENT_LENGTH": str(len(form())), "HTTP_REFERER": REFERER, "PATH": "/usr/bin:/bin",
                "PARTS": HERE + "/parts.sh"}

    def run(self, command, where, prefix=()):
        with open(self.body, "rb") as body:
            return subprocess.run([*prefix, *command], cwd=where, env=self.environment(), stdin=body, check=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def check(self, where):
        """Everybody does the same job."""
        expected = None
        for name, command in self.contenders.items():
            with open(where + "/settings_xml.txt", "w") as old, open(where + "/settings_xml.txt.999999", "w"):
                old.write("old")
            answer = self.run(command, where).stdout.strip()
            with open(where + "/settings_xml.txt", "rb") as file:
                got = answer, file.read(), sorted(os.listdir(where))
            expected = expected or got
            if got != expected:
                sys.exit("%s does another job:\n%s\nexpected:\n%s" % (name, got, expected))

    def note(self, table, name, what, value):
        self.results.append("%s\t%s\t%s\t%s" % (table, name, what, value))

    def times(self, where, table, contenders, rounds, batch):
        arguments = [self.bin + "/runRequests", str(rounds), str(batch), self.body]
        for position, (name, command) in enumerate(contenders.items()):
            arguments += (["--"] if position else []) + [name, *command]
        printed = subprocess.run(arguments, cwd=where, env=self.environment(), check=True, stdout=subprocess.PIPE)
        for line in printed.stdout.decode().splitlines():
            name, time, faults, memory = line.split("\t")
            for what, value in (("time", time), ("faults", faults), ("memory", memory)):
                self.note(table, name, what, value)

    def counts(self, where):
        for name, command in {**self.contenders, **self.floor}.items():
            # The least of some runs: other processes that come and go in the table add to it.
            for what, count in (("instructions", self.instructions), ("calls", self.system_calls)):
                self.note("request", name, what, min(count(command, where) for _ in range(COUNTED_RUNS)))
            if name in COMPILED or name in self.floor:
                self.note("request", name, "size", self.stripped_size(command[0]))

    def instructions(self, command, where):
        valgrind = ("/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", "--trace-children=yes")
        printed = self.run(command, where, valgrind).stderr.decode()
        return sum(int(count) for count in re.findall(r"Collected : (\d+)", printed))

    def system_calls(self, command, where):
        """Beyond the three with which the command line of each process in the table is read; musl takes a fourth, to
        mark the file as one that is closed when another program is started."""
        with tempfile.NamedTemporaryFile("r") as trace:
            self.run(command, where, ("/usr/bin/strace", "-f", "-qq", "-e", "signal=none", "-o", trace.name))
            lines = [line for line in trace if "resumed>" not in line and "+++" not in line]
        processes = sum(bool(re.search(r'"/proc/\d+/cmdline".* = \d', line)) for line in lines)
        marks = sum("F_SETFD, FD_CLOEXEC" in line for line in lines)
        return len(lines) - 3 * processes - min(marks, processes)

    def stripped_size(self, path):
        with tempfile.NamedTemporaryFile() as stripped:
            subprocess.run(["strip", "-o", stripped.name, path], check=True)
            return os.path.getsize(stripped.name)

    @contextlib.contextmanager
    def process(self, command):
        process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        try:
            if process.stdout.readline() != b"ready\n":
                sys.exit("cannot start %s" % command)
            yield
        finally:
            process.stdin.close()
            process.wait()

    def measure(self, folder):
        self.body = folder + "/body"
        with open(self.body, "wb") as body:
            body.write(form())
        for name in (STOPPED, RUNNING):
            os.makedirs("%s/%s/html" % (folder, name))
            with open("%s/%s/html/pid.cgi" % (folder, name), "w") as marker:
                marker.write("/opt/%s/bin/%s\n" % (name, name))
        stopped, running = ("%s/%s/html" % (folder, name) for name in (STOPPED, RUNNING))
        device = "%s/%s/%s" % (folder, RUNNING, RUNNING)
        shutil.copy(self.bin + "/sleepers", device)
        self.check(stopped)
        compiled = {name: self.contenders[name] for name in COMPILED}
        scripts = {name: self.contenders[name] for name in self.contenders if name not in compiled}
        rounds = 20 if self.quick else 100
        for table in TABLES:
            with self.process([self.bin + "/sleepers", str(table)]):
                most = max(2, rounds * 100 // (100 + table // 5))
                self.times(stopped, table, {**self.floor, **compiled} if table == TABLES[0] else compiled, most, 20)
                self.times(stopped, table, scripts, max(2, most // 10), 2)
                if table == TABLES[0]:
                    self.counts(stopped)
                    with self.process([device]):
                        self.times(running, "signal", compiled, max(2, most // 5), 5)
        return "\n".join(self.results) + "\n"


def main():
    build, output = sys.argv[1:3]
    shared_memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # steadier than a disk
    with tempfile.TemporaryDirectory(dir=shared_memory) as folder:
        results = Bench(os.path.abspath(build), "--quick" in sys.argv).measure(folder)
    with open(output, "w") as file:
        file.write("".join(results))


main()
