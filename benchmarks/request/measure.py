"""One settings request: times, counts and sizes of the program and of others that do the same job."""
import contextlib
import os
import random
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = os.path.dirname(os.path.abspath(__file__))
PROCESSES = 100  # in the process table; the form has about 1 KB
VALUES = ["10.0.%d.1" % i if i % 3 else "living%%20room%%20%d%%26kitchen" % i for i in range(30)]
FORM = "&".join("Setting_%02d_Zone=%s" % (i, VALUES[i]) for i in sorted(range(30), key=lambda i: i * 7 % 30))
ENVIRONMENT = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded",
               "CONTENT_LENGTH": str(len(FORM)), "PATH": "/usr/bin:/bin", "PARTS": HERE + "/parts.sh",
               "HTTP_REFERER": "http://192.168.1.20:8080/html/settings.html?lang=en&page=3&room=cellar"}
COMPILED = {"static C": "benchmarks/request_limit", "ours": "app/saveSettings",
            "ours, dynamic": "dynamic/app/saveSettings", "cgicc": "benchmarks/request_cgicc",
            "static C, musl": "tiny/benchmarks/request_limit", "ours, preset tiny": "tiny/app/saveSettings"}
SCRIPTS = {"haserl": ["/usr/bin/haserl", "--shell=/bin/sh", HERE + "/request.haserl"],
           "busybox sh": ["/usr/bin/busybox", "sh", HERE + "/request.sh"],
           "Perl": ["/usr/bin/perl", HERE + "/request.pl"],
           "Python": ["/usr/bin/python3", "-I", "-S", HERE + "/request.py"]}
CALLGRIND = ["/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
             "--trace-children=yes"]
STRACE = ["/usr/bin/strace", "-qq", "-e", "signal=none", "-o", "../trace"]


def instructions(printed):
    """Those that callgrind (one number for each process) or the emulator's plugin counted."""
    return [int(count) for count in re.findall(r"(?:Collected : |instructions: )(\d+)", printed)]


def emulator(build):
    """Counts the instructions of a program for ARM."""
    return ["/usr/bin/qemu-arm", "-plugin", build + "/benchmarks/countInstructions.so"]


def run(command):
    """The working directory is the program's."""
    with open("../body") as body:
        return subprocess.run(command, env=ENVIRONMENT, stdin=body, check=True, text=True,
                              capture_output=True)


def check(programs):
    """Everybody does the same job."""
    settings, results = Path("settings_xml.txt"), {}
    for name, command in programs.items():
        settings.write_text("old")
        results[name] = run(command).stdout.strip(), settings.read_text(), sorted(os.listdir())
        if results[name] != results["static C"] or not results[name][0].endswith("success=stopped"):
            sys.exit(f"{name} does another job:\n{results[name]}\nexpected:\n{results['static C']}")


def usage(command):
    files = [(os.POSIX_SPAWN_OPEN, 0, "../body", os.O_RDONLY, 0),
             (os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)]
    _, status, used = os.wait4(os.posix_spawn(command[0], command, ENVIRONMENT, file_actions=files), 0)
    return used if status == 0 else sys.exit("%s failed" % command)


def times(programs, repetitions, batch):
    """Processor time of one request in µs, user and system together: the 10th percentile of batches that take
    turns at random. What disturbs a measurement only ever adds to it."""
    found = {name: [] for name in programs}
    for _ in range(repetitions):
        for name in random.sample(list(programs), len(programs)):
            each = [usage(programs[name]) for _ in range(batch)]
            found[name].append(sum(used.ru_utime + used.ru_stime for used in each) / batch * 1e6)
    return {name: sorted(each)[len(each) // 10] for name, each in found.items()}


def system_calls(command):
    """Without those that read the command line of each process in the table: open, read and close."""
    run([*STRACE, "-f", *command])
    trace = Path("../trace").read_text().splitlines()
    lines = [line for line in trace if "resumed>" not in line and "+++" not in line]
    return len(lines) - 3 * sum(bool(re.search(r'\d+/cmdline".* = \d', line)) for line in lines)


def peak_memory(command):
    """In KB: what the kernel says of the process while its end is delayed."""
    delayed = [*STRACE, "-e", "inject=exit_group:delay_enter=2000000", *command]
    with open("../body") as body, subprocess.Popen(delayed, env=ENVIRONMENT, stdin=body,
                                                   stdout=subprocess.DEVNULL) as tracer:
        time.sleep(1.5)
        process = Path(f"/proc/{tracer.pid}/task/{tracer.pid}/children").read_text().split()[0]
        return int(re.search(r"VmHWM:\s*(\d+)", Path(f"/proc/{process}/status").read_text())[1])


def count(command):
    """The least of three runs, because processes that come and go add to it; of scripts, one run."""
    runs = range(3 if len(command) == 1 else 1)
    found = {"instructions": min(sum(instructions(run(CALLGRIND + command).stderr)) for _ in runs),
             "calls": min(system_calls(command) for _ in runs), "faults": usage(command).ru_minflt,
             "memory, KB": peak_memory(command)}
    if len(command) == 1:
        subprocess.run(["strip", "-o", "../stripped", command[0]], check=True)
        found["size, KB"] = os.path.getsize("../stripped") / 1024
    return found


@contextlib.contextmanager
def application():
    """Makes the directories of an application that does not run, and fills the process table."""
    for _ in range(PROCESSES - sum(name.isdigit() for name in os.listdir("/proc"))):
        subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "sleep", "infinity"])  # ends with this process
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:  # steadier than a disk
        directory = Path(folder, "benchStopped/html")
        directory.mkdir(parents=True)
        (directory / "pid.cgi").write_text("/opt/bin/benchStopped\n")
        (directory / "../body").write_text(FORM)
        with contextlib.chdir(directory):
            yield


def measure(build, quick):
    """Returns {program: {what: value}}."""
    compiled = {name: [build + "/" + path] for name, path in COMPILED.items()}
    with application():
        check({**compiled, **SCRIPTS})
        result = {name: count(command) for name, command in {**compiled, **SCRIPTS}.items()}
        time_of = {**times(compiled, 5 if quick else 40, 20), **times(SCRIPTS, 2 if quick else 20, 1)}
        for name, values in result.items():
            values.update({"µs": time_of[name], "ratio": time_of[name] / time_of["static C"]})
        for name in ("static C", "ours"):
            command = [*emulator(build), build + "/armhf/" + COMPILED[name]]
            result[name]["ARM"] = min(instructions(run(command).stderr)[-1] for _ in range(3))
    return result
