#!/usr/bin/python3
# The same job in Python.
import os, signal, subprocess, sys
from urllib.parse import unquote_to_bytes

FILE = b"settings_xml.txt"


def decode(text):
    return unquote_to_bytes(text)


def runs(pid):
    try:
        os.kill(pid, 0)
    except ProcessLookupError:
        return False
    except PermissionError:
        pass
    return pid != os.getpid()


def save(settings):
    text = b"<Settings>\n" + b"".join(b"  <%s>%s</%s>\n" % (k, settings[k], k) for k in sorted(settings)) + b"</Settings>\n"
    for name in os.listdir(b"."):
        base, _, pid = name.rpartition(b".")
        if base == FILE and pid.isdigit() and not runs(int(pid)):
            os.unlink(name)
    sibling = FILE + b".%d" % os.getpid()
    descriptor = os.open(sibling, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o666)
    os.write(descriptor, text)
    os.fsync(descriptor)
    os.rename(sibling, FILE)
    os.close(descriptor)


def is_running(name):
    for pid in os.listdir("/proc"):
        if pid.isdigit():
            try:
                descriptor = os.open("/proc/" + pid + "/cmdline", os.O_RDONLY)
            except OSError:
                continue
            command = os.read(descriptor, 256)
            os.close(descriptor)
            if command.split(b"\0")[0].rpartition(b"/")[2] == name:
                return True
    return False


def restart():
    with open("pid.cgi", "rb") as marker:
        mentioned = marker.read()
    parts = os.fsencode(os.getcwd()).split(b"/")
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
status = restart()
page, _, query = os.environ["HTTP_REFERER"].partition("?")
parameters = dict(pair.split("=", 1) for pair in query.split("&"))
parameters["success"] = status
query = "&".join(name + "=" + parameters[name] for name in sorted(parameters))
sys.stdout.write("Location: %s?%s\r\n\r\n" % (page, query))
