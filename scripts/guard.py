#!/usr/bin/python3
"""Compares the costs of one request with recorded limits: scripts/guard.py [BUILD FOLDER].

Counts instructions in user mode (callgrind), system calls (strace) and the size of the stripped program; it
measures no time. pid.cgi does not name the application, so the machine's process table does not count. Exits
with 1 if a limit is exceeded."""
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LIMITS = ROOT + "/benchmarks/limits.txt"
FORM = "&".join(f"Setting_{i:02}_Zone=living%20room%20{i}%26kitchen" for i in range(30))


def request(program, folder, *prefix):
    environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded",
                   "CONTENT_LENGTH": str(len(FORM)),
                   "HTTP_REFERER": "http://192.168.1.20/html/settings.html?page=3"}
    done = subprocess.run([*prefix, program], cwd=folder, env=environment, input=FORM.encode(), check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    with open(folder + "/settings_xml.txt") as file:
        if b"success=false" not in done.stdout or file.read().count("</setting_") != 30:
            sys.exit(f"scripts/guard.py: the request failed: {done.stdout!r}")
    return done.stderr.decode()


def measure(program):
    with tempfile.TemporaryDirectory() as top:
        folder = top + "/device/html"
        os.makedirs(folder)
        with open(folder + "/pid.cgi", "w") as marker:
            marker.write("/opt/other/bin/other\n")
        request(program, folder)  # creates the settings file
        counted = request(program, folder, "/usr/bin/valgrind", "--tool=callgrind",
                          "--callgrind-out-file=/dev/null")
        request(program, folder, "/usr/bin/strace", "-f", "-qq", "-o", top + "/trace")
        subprocess.run(["strip", "-o", top + "/stripped", program], check=True)
        with open(top + "/trace") as trace:
            calls = sum(1 for line in trace if "+++" not in line)
        return {"instructions": int(re.search(r"Collected : (\d+)", counted).group(1)), "calls": calls,
                "size": os.path.getsize(top + "/stripped")}


def main():
    build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else ROOT + "/build/release")
    measured = measure(build + "/app/saveSettings")
    exceeded = False
    with open(LIMITS) as file:
        for line in file:
            if line.startswith("#"):
                continue
            what, limit = line.split()
            is_above = measured[what] > int(limit)
            exceeded |= is_above
            print(f"{what:13} {measured[what]:8}  limit {limit:>8}{'  EXCEEDED' if is_above else ''}")
    sys.exit(exceeded)


main()
