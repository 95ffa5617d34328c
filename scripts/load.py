"""Makes many requests at once, and checks every answer and every text of the settings file."""
import collections
import concurrent.futures
import http.client
import json
import os
import re
import signal
import sys
import threading
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests"))
from harness import FORM_TYPE, Demo, Device, post, redirect, settings_text, wait_until  # noqa: E402

AT_ONCE = 200
CONNECTIONS = 8
SIZES = (0, 12, 300, 3000, 30000, 60000)  # of the first field; the server accepts 64 KB


def filler(number):
    return b"%06d" % number * (SIZES[number % len(SIZES)] // 6)


def form(number):
    """Returns form `number`. The number determines it, so a mixture of two is detected."""
    return b"fill=%s&number=%d&target=%d.5" % (filler(number), number, 10 + number % 15)


def text(number):
    target = b"%d.5" % (10 + number % 15)
    return settings_text((b"fill", filler(number)), (b"number", b"%d" % number), (b"target", target))


class Reader(threading.Thread):
    """Reads the settings file repeatedly while requests replace it."""

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
            time.sleep(0.001)  # leaves the processor to the writers

    def finish(self):
        self.done.set()
        self.join()
        return self.torn


def in_threads(count, work):
    """Runs work(number) in `count` threads; returns what they raised."""
    with concurrent.futures.ThreadPoolExecutor(count) as pool:
        done = [pool.submit(work, number) for number in range(count)]
    return [repr(each.exception()) for each in done if each.exception()]


def at_the_same_time(cleanups):
    """Starts all requests before it sends the first body. `killall` records its exit status."""
    device = Device(cleanups, settings=text(0))
    application = device.application(preexec_fn=lambda: signal.signal(signal.SIGUSR1, signal.SIG_IGN))
    script = b'#!/bin/sh\n/usr/bin/killall "$@"\nended=$?\necho $ended >>../ended\nexit $ended\n'
    device.write("../killall", script, 0o755)
    path = f"{device.home}:/usr/bin:/bin"
    requests = [device.start(post(len(form(number)), PATH=path)) for number in range(AT_ONCE)]
    reader = Reader(device.path())
    reader.start()
    answers = collections.Counter()

    def serve(number):
        output, _ = requests[number].communicate(form(number), timeout=240)
        status = requests[number].returncode
        answers[output if status == 0 else f"status {status}"] += 1

    broken = in_threads(AT_ONCE, serve) + reader.finish()
    with open(device.path("../ended"), encoding="ascii") as ended:
        signals = ended.read().split()
    if answers[redirect("restarted")] != AT_ONCE:
        broken.append(f"answers: {answers}")
    if signals != ["0"] * AT_ONCE or application.poll() is not None:
        broken.append(f"{signals.count('0')} of {len(signals)} signals were sent")
    if reader.look() is None or device.extra_files():
        broken.append(f"left: {sorted(device.extra_files())}")
    return AT_ONCE, reader.reads, broken


def state(demo):
    with open(os.path.join(demo.directory, "html", "state.json"), encoding="utf-8") as file:
        return json.load(file)


def took_over(demo, before):
    deadline = time.monotonic() + 60
    while state(demo)["revision"] <= before:
        if time.monotonic() > deadline:
            return False
        time.sleep(0.002)
    return True


def send(demo, word, number, connection):
    """Posts form `number`; returns what is wrong, if anything."""
    before = state(demo)["revision"]
    page = f"{demo.url}p?n={number}"
    headers = {"Content-Type": FORM_TYPE, "Referer": page}
    connection.request("POST", "/saveSettings", form(number), headers)
    answer = connection.getresponse()
    answer.read()
    location = answer.getheader("Location")
    if (answer.status, location) != (302, f"{page}&success={word}"):
        return [f"request {number}: {answer.status} {location}"]
    if word == "restarted" and not took_over(demo, before):
        return [f"request {number}: the application was not signalled"]
    return []


def through_server(demo, word, count):
    path = os.path.join(demo.directory, "html", "settings_xml.txt")
    reader, broken = Reader(path), []

    def serve(numbers):
        connection = http.client.HTTPConnection("127.0.0.1", demo.port, timeout=60)
        for number in numbers:
            broken.extend(send(demo, word, number, connection))
        connection.close()

    serve([0])  # there is a settings file before the reader begins
    reader.start()
    broken += in_threads(CONNECTIONS, lambda start: serve(range(1 + start, count, CONNECTIONS)))
    broken += reader.finish()
    last = reader.look()
    if last is None:
        broken.append("a torn settings file at the end")
    elif word == "restarted":
        values = {setting["name"]: setting["value"] for setting in state(demo)["settings"]}
        if float(values["target"]) != 10.5 + last % 15:
            broken.append(f"the application runs with {values['target']}, not with what was saved last")
    left = [name for name in os.listdir(os.path.dirname(path)) if name.startswith(".settings_xml.txt.")]
    return count, reader.reads, broken + left


def main():
    cleanups, rows = unittest.TestCase(), []
    requests = max(CONNECTIONS + 1, int(os.environ["REQUESTS"]))
    try:
        rows.append((f"{AT_ONCE} at the same time, restarted", *at_the_same_time(cleanups)))
        demo = Demo("lighttpd")
        signal.alarm(0)
        cleanups.addCleanup(demo.stop)
        title = f"lighttpd, {CONNECTIONS} at a time"
        rows.append((f"{title}, restarted", *through_server(demo, "restarted", requests)))
        os.kill(demo.application, signal.SIGKILL)
        wait_until(lambda: not os.path.exists(f"/proc/{demo.application}"))
        requests = max(100, requests // 10)
        rows.append((f"{title}, stopped", *through_server(demo, "stopped", requests)))
    finally:
        cleanups.doCleanups()
    print(f"{'load':36} {'requests':>9} {'file reads':>12} {'broken':>7}")
    for title, count, reads, broken in rows:
        print(f"{title:36} {count:9} {reads:12} {len(broken):7}")
    for title, _, _, broken in rows:
        for line in broken[:20]:
            print(f"BROKEN {title}: {line}")
    return any(broken for *_, broken in rows)


if __name__ == "__main__":
    sys.exit(main())
