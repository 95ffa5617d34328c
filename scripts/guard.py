#!/usr/bin/python3
"""Compares what one request costs with recorded limits, without timing anything: scripts/guard.py [BUILD FOLDER]. Counts
instructions in user mode (callgrind), system calls (strace) and the size of the stripped program. The application is not
named by pid.cgi, so the process table of the machine does not count. Ends with 1 if a limit is exceeded."""
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LIMITS = ROOT + "/benchmarks/limits.txt"
FORM = "&".join("Setting_%02d_Zone=living%%20room%%20%d%%26kitchen" % (i, i) for i in range(30))


def request(program, folder, *prefix):
    environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded",
                   "CONTENT_LENGTH": str(len(FORM)), "HTTP_REFERER": "http://192.168.1.20/html/settings.html?page=3"}
    done = subprocess.run([*prefix, program], cwd=folder, env=environment, input=FORM.encode(), check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    with open(folder + "/settings_xml.txt") as file:
        if b"success=false" not in done.stdout or file.read().count("</setting_") != 30:
            sys.exit("scripts/guard.py: the request failed: %r" % done.stdout)
    return done.stderr.decode()


def measure(program):
    with tempfile.TemporaryDirectory() as top:
        folder = top + "/device/html"
        os.makedirs(folder)
        with open(folder + "/pid.cgi", "w") as marker:
            marker.write("/opt/other/bin/other\n")
        request(program, folder)  # the settings file is there from now on
        counted = request(program, folder, "/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null")
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
            exceeded |= measured[what] > int(limit)
            print("%-13s %8d  limit %8s%s" % (what, measured[what], limit, "  EXCEEDED" if measured[what] > int(limit) else ""))
    sys.exit(exceeded)


main()
