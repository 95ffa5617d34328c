#!/usr/bin/python3
# The same job in Python.
import contextlib
import fcntl
import os
import subprocess
import sys
import time
from urllib.parse import unquote_to_bytes as decode

FILE = b"settings_xml.txt"


def save(settings):
    temporary = b".%s.saving-%016x" % (FILE, time.monotonic_ns())
    descriptor = os.open(temporary, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
    fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
    text = b"".join(b"  <%s>%s</%s>\n" % (name, settings[name], name) for name in sorted(settings))
    os.write(descriptor, b"<Settings>\n" + text + b"</Settings>\n")
    os.fchmod(descriptor, os.stat(FILE).st_mode & 0o777)
    os.fsync(descriptor)
    os.rename(temporary, FILE)
    os.fsync(os.open(".", os.O_RDONLY))


def is_running(name):
    for process in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError), open("/proc/%s/cmdline" % process, "rb", buffering=0) as file:
            if file.read(256).split(b"\0")[0].rpartition(b"/")[2] == name:
                return True
    return False


def restart():
    with open("pid.cgi", "rb") as marker:
        mentioned = marker.read()
    parts = os.getcwdb().split(b"/")
    if len(parts) < 3 or parts[-1] != b"html" or parts[-2] not in mentioned:
        return "false"
    if not is_running(parts[-2]):
        return "stopped"
    return "restarted" if subprocess.call([b"killall", b"-SIGUSR1", parts[-2]]) == 0 else "running"


settings = {}
for field in os.read(0, int(os.environ["CONTENT_LENGTH"])).split(b"&"):
    name, _, value = field.partition(b"=")
    settings.setdefault(decode(name.lower()), decode(value))
save(settings)
page, _, query = os.environ["HTTP_REFERER"].partition("?")
parameters = [each for each in query.split("&") if not each.startswith("success=")]
sys.stdout.write("Location: %s?%s\r\n\r\n" % (page, "&".join(parameters + ["success=" + restart()])))
