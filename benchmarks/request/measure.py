"""One settings request: times, counts and sizes of the program and of others that do the same job."""
import contextlib
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
COMPILED = ("static C", "ours", "ours, preset tiny", "ours, dynamic", "cgicc")
STOPPED, RUNNING = "benchStopped", "benchDevice"  # names of applications: one that does not run, one that does
TABLES = (100, 1000)
REFERER = "http://192.168.1.20:8080/html/settings.html?lang=en&page=3&tab=network"


def form(count=30):
    """About 1 KB."""
    values = ["10.0.%d.1" % i if i % 3 else "living%%20room%%20%d%%26kitchen" % i for i in range(count)]
    return "&".join("Setting_%02d_Zone=%s" % (i, values[i]) for i in sorted(range(count), key=lambda i: i * 7 % count))


def instructions(printed):
    """Those that callgrind or the emulator's plugin counted, children included."""
    return sum(int(count) for count in re.findall(r"(?:Collected : |instructions: )(\d+)", printed))


def emulator(build):
    """Counts the instructions of a program for ARM."""
    return ["/usr/bin/qemu-arm", "-plugin", build + "/benchmarks/countInstructions.so"]


class Request:
    def __init__(self, build, folder):
        self.build, self.bin, self.folder = build, build + "/benchmarks", folder
        app = "/app/saveSettings"
        self.compiled = dict(zip(COMPILED, ([self.bin + "/request_limit"], [build + app], [build + "/tiny" + app],
                                            [build + "/dynamic" + app], [self.bin + "/request_cgicc"])))
        self.scripts = {"haserl": ["/usr/bin/haserl", "--shell=/bin/sh", HERE + "/request.haserl"],
                        "busybox sh": ["/usr/bin/busybox", "sh", HERE + "/request.sh"],
                        "Perl": ["/usr/bin/perl", HERE + "/request.pl"],
                        "Python": ["/usr/bin/python3", "-I", "-S", HERE + "/request.py"]}
        self.floor = {"empty program": [self.bin + "/request_floor"]}
        self.arm = {"static C": build + "/armhf/benchmarks/request_limit", "ours": build + "/armhf" + app}
        self.environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded",
                            "CONTENT_LENGTH": str(len(form())), "HTTP_REFERER": REFERER, "PATH": "/usr/bin:/bin",
                            "PARTS": HERE + "/parts.sh"}
        self.values = {}  # table: contender: what: value
        for name in (STOPPED, RUNNING):
            os.makedirs("%s/%s/html" % (folder, name))
            with open("%s/%s/html/pid.cgi" % (folder, name), "w") as marker:
                marker.write("/opt/%s/bin/%s\n" % (name, name))
            with open("%s/%s/body" % (folder, name), "w") as body:
                body.write(form())
        self.stopped, self.running = ("%s/%s/html" % (folder, name) for name in (STOPPED, RUNNING))

    def run(self, command, prefix=()):
        with open(self.stopped + "/../body", "rb") as body:
            return subprocess.run([*prefix, *command], cwd=self.stopped, env=self.environment, stdin=body, check=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def check(self):
        """Everybody does the same job."""
        expected = None
        for name, command in {**self.compiled, **self.scripts}.items():
            with open(self.stopped + "/settings_xml.txt", "w") as old:
                old.write("old")
            answer = self.run(command).stdout.strip()
            with open(self.stopped + "/settings_xml.txt", "rb") as file:
                got = answer, file.read(), sorted(os.listdir(self.stopped))
            expected = expected or got
            if got != expected:
                sys.exit("%s does another job:\n%s\nexpected:\n%s" % (name, got, expected))

    def note(self, table, name, **values):
        self.values.setdefault(table, {}).setdefault(name, {}).update(values)

    def times(self, table, where, repetitions, batches):
        """batches: pairs of a batch's size and the contenders; all take turns at random."""
        output = self.folder + "/times.json"
        arguments = ["--benchmark_out=" + output, "--benchmark_repetitions=%d" % repetitions,
                     "--benchmark_enable_random_interleaving=true"]
        for size, contenders in batches:
            for name, command in contenders.items():
                arguments += ["--", str(size), name, *command]
        subprocess.run([self.bin + "/request_bench", *arguments], cwd=where, env=self.environment, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        runs = {}
        with open(output) as file:
            for run in json.load(file)["benchmarks"]:
                if run["run_type"] == "iteration":
                    runs.setdefault(run["run_name"].split("/iterations")[0], []).append(run)
        for name, each in runs.items():
            times = sorted(run["real_time"] for run in each)
            self.note(table, name, time=times[len(times) // 10] / 1000, faults=each[0]["faults"], memory=each[0]["memory"])

    def counts(self):
        callgrind = ("/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", "--trace-children=yes")
        for name, command in {**self.compiled, **self.scripts, **self.floor}.items():
            # The least of some runs: other processes that come and go in the table add to it.
            runs = range(1 if name in self.scripts else 3)
            self.note("100", name, calls=min(self.system_calls(command) for _ in runs),
                      instructions=min(instructions(self.run(command, callgrind).stderr.decode()) for _ in runs))
            if name not in self.scripts:
                self.note("100", name, size=self.stripped_size(command[0]) / 1024)
        for name, program in self.arm.items():
            runs = [instructions(self.run([program], emulator(self.build)).stderr.decode()) for _ in range(3)]
            self.note("arm", name, instructions=min(runs))

    def system_calls(self, command):
        """Beyond those with which the command line of each process in the table is read: its open, read and close."""
        with tempfile.NamedTemporaryFile("r") as trace:
            self.run(command, ("/usr/bin/strace", "-f", "-qq", "-e", "signal=none", "-o", trace.name))
            lines = [line for line in trace if "resumed>" not in line and "+++" not in line]
        processes = sum(bool(re.search(r'"(/proc/)?\d+/cmdline".* = \d', line)) for line in lines)
        return len(lines) - 3 * processes

    def stripped_size(self, path):
        with tempfile.NamedTemporaryFile() as stripped:
            subprocess.run(["strip", "-o", stripped.name, path], check=True)
            return os.path.getsize(stripped.name)

    @contextlib.contextmanager
    def process(self, command):
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
            if process.stdout.readline() != b"ready\n":
                sys.exit("cannot start %s" % command)
            yield
            process.stdin.close()

    def measure(self, quick):
        self.check()
        device = "%s/%s/%s" % (self.folder, RUNNING, RUNNING)
        shutil.copy(self.bin + "/sleepers", device)
        repetitions = 5 if quick else 40
        for table in TABLES:
            with self.process([self.bin + "/sleepers", str(table)]):
                size = 2000 // table
                first = table == TABLES[0]
                self.times(str(table), self.stopped, repetitions, [(size, {**self.floor, **self.compiled} if first else self.compiled)])
                self.times(str(table), self.stopped, max(2, repetitions // 8), [(1, self.scripts)])
                if first:
                    self.counts()
                    with self.process([device]):
                        self.times("signalled", self.running, repetitions, [(3, self.compiled)])
        order = [*self.floor, *self.compiled, *self.scripts]
        return {table: {name: self.values[table][name] for name in order if name in self.values[table]}
                for table in [*map(str, TABLES), "signalled", "arm"]}


def measure(build, quick):
    shared_memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # steadier than a disk
    with tempfile.TemporaryDirectory(dir=shared_memory) as folder:
        return Request(build, folder).measure(quick)
