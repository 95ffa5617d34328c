"""What scripts/load runs: many requests at once, every answer and every text of the settings file checked."""
import collections
import http.client
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests"))
from harness import FORM_TYPE, Demo, Device, end, post, redirect, settings_text  # noqa: E402

AT_ONCE = 200
CONNECTIONS = 8
SIZES = (0, 12, 300, 3000, 30000, 60000)  # bytes that a form has besides its number; the server takes 64 KB


def filler(number):
    return b"%06d" % number * (SIZES[number % len(SIZES)] // 6)


def form(number):
    """The number alone tells the whole form, so a text that mixes two of them shows."""
    return b"fill=%s&number=%d&target=%d.5" % (filler(number), number, 10 + number % 15)


def text(number):
    return settings_text((b"fill", filler(number)), (b"number", b"%d" % number), (b"target", b"%d.5" % (10 + number % 15)))


class Reader(threading.Thread):
    """Reads the settings file over and over while others write it."""

    def __init__(self, path):
        super().__init__(daemon=True)
        self.path, self.reads, self.torn, self.done = path, 0, [], threading.Event()

    def look(self):
        with open(self.path, "rb") as file:
            content = file.read()
        number = re.search(rb"^  <number>(\d+)</number>$", content, re.M)
        return int(number[1]) if number and content == text(int(number[1])) else None

    def run(self):
        while not self.done.is_set():
            self.reads += 1
            try:
                if self.look() is None:
                    self.torn.append("a torn settings file")
            except OSError as error:
                self.torn.append(str(error))
            time.sleep(0.001)  # the writers shall have the machine

    def finish(self):
        self.done.set()
        self.join()
        return self.torn


def in_threads(count, work):
    """Runs work(number) in as many threads, together; gives what they raised."""
    raised, gate = [], threading.Barrier(count)

    def run(number):
        try:
            gate.wait()
            work(number)
        except Exception as error:  # pylint: disable=broad-except
            raised.append(repr(error))

    threads = [threading.Thread(target=run, args=(number,)) for number in range(count)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return raised


def start_application(cleanups, device):
    """One that lives through SIGUSR1: an ignored signal stays ignored in the program that is started."""
    link = os.path.join(tempfile.mkdtemp(dir=device.scratch), device.name)
    os.symlink(shutil.which("sleep"), link)
    process = subprocess.Popen(["/some/path/" + device.name, "3600"], executable=link,
                               preexec_fn=lambda: signal.signal(signal.SIGUSR1, signal.SIG_IGN))
    cleanups.addCleanup(end, process)
    return process


def at_the_same_time(cleanups):
    """All requests have begun, and wait for their bodies, before the first body is sent. `killall` notes how it ended."""
    device = Device(cleanups, settings=text(0))
    application = start_application(cleanups, device)
    device.write("../killall", b'#!/bin/sh\n/usr/bin/killall "$@"\nended=$?\necho $ended >>../ended\nexit $ended\n')
    os.chmod(device.path("../killall"), 0o755)
    requests = [device.start(post(len(form(number)), PATH=device.home + ":/usr/bin:/bin")) for number in range(AT_ONCE)]
    reader = Reader(device.path())
    reader.start()
    answers = collections.Counter()

    def serve(number):
        output, _ = requests[number].communicate(form(number), timeout=240)
        answers[output if requests[number].returncode == 0 else "status %s" % requests[number].returncode] += 1

    broken = in_threads(AT_ONCE, serve) + reader.finish()
    with open(device.path("../ended"), encoding="ascii") as ended:
        signals = ended.read().split()
    if answers[redirect("restarted")] != AT_ONCE:
        broken.append("answers: %s" % answers)
    if signals != ["0"] * AT_ONCE or application.poll() is not None:
        broken.append("%d of %d signals were sent" % (signals.count("0"), len(signals)))
    if reader.look() is None or device.extra_files():
        broken.append("left: %s" % sorted(device.extra_files()))
    return AT_ONCE, reader.reads, broken


class Client:
    """One connection's requests to the served program."""

    def __init__(self, demo, word, numbers):
        self.demo, self.word, self.numbers, self.broken, self.answered = demo, word, numbers, [], 0

    def revision(self):
        with open(os.path.join(self.demo.directory, "html", "state.json"), encoding="utf-8") as file:
            return json.load(file)["revision"]

    def took_over(self, before):
        deadline = time.monotonic() + 60
        while self.revision() <= before:
            if time.monotonic() > deadline:
                return False
            time.sleep(0.002)
        return True

    def send(self, number, connection):
        before = self.revision() if self.word == "restarted" else None
        connection.request("POST", "/saveSettings", form(number), {"Content-Type": FORM_TYPE, "Referer": self.demo.url + "p?n=%d" % number})
        answer = connection.getresponse()
        answer.read()
        expected = self.demo.url + "p?n=%d&success=%s" % (number, self.word)
        if (answer.status, answer.getheader("Location")) != (302, expected):
            self.broken.append("request %d: %s %s" % (number, answer.status, answer.getheader("Location")))
        elif before is not None and not self.took_over(before):
            self.broken.append("request %d: the application was not signalled" % number)
        self.answered += 1

    def run(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.demo.port, timeout=60)
        for number in self.numbers:
            self.send(number, connection)
        connection.close()


def behind_server(demo, word, count):
    path = os.path.join(demo.directory, "html", "settings_xml.txt")
    first = Client(demo, word, [0])
    first.run()  # there is a settings file before the reader begins
    reader = Reader(path)
    reader.start()
    clients = [Client(demo, word, range(1 + start, count, CONNECTIONS)) for start in range(CONNECTIONS)]
    broken = in_threads(CONNECTIONS, lambda number: clients[number].run()) + reader.finish()
    clients.append(first)
    broken += [line for client in clients for line in client.broken]
    if sum(client.answered for client in clients) != count:
        broken.append("of %d requests %d were answered" % (count, sum(client.answered for client in clients)))
    last = reader.look()
    if last is None:
        broken.append("a torn settings file at the end")
    elif word == "restarted":
        with open(os.path.join(demo.directory, "html", "state.json"), encoding="utf-8") as file:
            target = next(setting["value"] for setting in json.load(file)["settings"] if setting["name"] == "target")
        if float(target) != 10.5 + last % 15:
            broken.append("the application runs with %s, not with what was saved last" % target)
    left = [name for name in os.listdir(os.path.dirname(path)) if name.startswith(".settings_xml.txt.")]
    return count, reader.reads, broken + left


def main():
    cleanups, rows = unittest.TestCase(), []
    requests = max(CONNECTIONS + 1, int(os.environ["REQUESTS"]))
    try:
        rows.append(("%d at the same time, restarted" % AT_ONCE, *at_the_same_time(cleanups)))
        demo = Demo("lighttpd")
        signal.alarm(0)
        cleanups.addCleanup(demo.stop)
        rows.append(("lighttpd, %d at a time, restarted" % CONNECTIONS, *behind_server(demo, "restarted", requests)))
        os.kill(demo.application, signal.SIGKILL)
        while os.path.exists("/proc/%d" % demo.application):
            time.sleep(0.02)
        rows.append(("lighttpd, %d at a time, stopped" % CONNECTIONS, *behind_server(demo, "stopped", max(100, requests // 10))))
    finally:
        cleanups.doCleanups()
    print("%-36s %9s %12s %7s" % ("load", "requests", "file reads", "broken"))
    for title, count, reads, broken in rows:
        print("%-36s %9d %12d %7d" % (title, count, reads, len(broken)))
    for title, _, _, broken in rows:
        for line in broken[:20]:
            print("BROKEN %s: %s" % (title, line))
    return any(broken for *_, broken in rows)


if __name__ == "__main__":
    sys.exit(main())
