"""An emulated 32-bit ARM board with Debian's kernel, busybox httpd and the demo's thermostat."""

import argparse
import os
import signal
import socket
import sys
import time
import urllib.error
import urllib.parse
import urllib.request

from emulator import Emulator, Kernel, busybox, foreign, program, scratch_folder

ROOT = "opt/thermostat"
MODULES = ["virtio_mmio", "virtio_net"]
INIT = """#!/bin/sh
/bin/busybox --install -s /bin
mount -t proc none /proc
mount -t devtmpfs none /dev
while read -r module parameters; do insmod "$module"; done </modules
ip link set lo up
ip address add 10.0.2.15/24 dev eth0
ip link set eth0 up
/opt/thermostat/thermostat /opt/thermostat/html &
httpd -p 80 -c /opt/thermostat/busybox.conf
echo serving
wait
echo failed: the thermostat has ended
"""


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read().replace("@ROOT@", f"/{ROOT}")


def board_files(build, demo):
    """Returns the board's root file system, with the layout of docs/deploy.md for busybox httpd."""
    def text(content, mode=0o100644):
        return (mode, content.encode())

    folders = ("proc", "opt", ROOT, f"{ROOT}/html", f"{ROOT}/www", f"{ROOT}/www/cgi-bin")
    files = {name: (0o040755, b"") for name in folders}
    files["init"] = text(INIT, 0o100755)
    files[f"{ROOT}/thermostat"] = program(f"{build}/demo/thermostat")
    files[f"{ROOT}/html/saveSettings"] = program(f"{build}/app/saveSettings")
    files[f"{ROOT}/busybox.conf"] = text(read(f"{demo}/servers/busybox.conf"))
    files[f"{ROOT}/www/cgi-bin/saveSettings"] = text(read(f"{demo}/servers/gateway.sh"), 0o100755)
    files[f"{ROOT}/www/state.json"] = (0o120777, b"../html/state.json")
    for name in os.listdir("page"):
        content = read(f"page/{name}")
        content = content.replace('action="saveSettings"', 'action="cgi-bin/saveSettings"')
        files[f"{ROOT}/www/{name}"] = text(content)
    return files


class NoRedirect(urllib.request.HTTPRedirectHandler):
    def redirect_request(self, *_):
        return None


def request(url, form=None):
    """Returns the status, the address it redirects to, and the body."""
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}), NoRedirect)
    page = urllib.parse.urljoin(url, "/")
    try:
        answer = opener.open(urllib.request.Request(url, form, {"Referer": page}), timeout=30)
    except urllib.error.HTTPError as error:
        answer = error
    with answer:
        return answer.status, answer.headers.get("Location"), answer.read().decode()


def check(url):
    """Checks page, form and signal; ends the script if something is wrong."""
    def expect(what, expected, actual):
        if actual != expected:
            sys.exit(f"{what}: expected {expected}, got {actual}")
        print(f"{what}: {actual}")

    expect("page with a form", True, "<form" in request(url + "/")[2])
    expect("settings file over the network", 404, request(url + "/settings_xml.txt")[0])
    expect("value before", False, "27.5" in request(url + "/state.json")[2])
    answer = request(url + "/cgi-bin/saveSettings", b"target=27.5&mode=eco")
    expect("answer to the form", (302, f"{url}?success=restarted"), answer[:2])
    late = time.monotonic() + 30
    while "27.5" not in request(url + "/state.json")[2] and time.monotonic() < late:
        time.sleep(0.1)
    expect("the thermostat uses the value", True, "27.5" in request(url + "/state.json")[2])


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))  # ends the board, too
    parser = argparse.ArgumentParser(prog="scripts/board", description=__doc__)
    parser.add_argument("--check", action="store_true", help="check page, form and signal, then end")
    parser.add_argument("--port", type=int, help="port on 127.0.0.1; by default a free one")
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--work", required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    port = options.port or free_port()
    apt_options = foreign(f"{options.work}/apt", "armhf")
    kernel = Kernel(f"{options.work}/kernel", "linux-image-armmp", MODULES, {}, apt_options)
    files = {**busybox(f"{options.work}/busybox", apt_options), **board_files(options.build, "demo")}
    with scratch_folder() as folder:
        arguments = ["-machine", "virt", "-cpu", "cortex-a15", "-m", "256",
                     *kernel.boot(folder, files, "console=ttyAMA0"),
                     "-netdev", f"user,id=network,hostfwd=tcp:127.0.0.1:{port}-:80",
                     "-device", "virtio-net-device,netdev=network"]
        with Emulator("arm", arguments) as board:
            for words in board.words():
                if words[0] == "serving":
                    break
            url = f"http://127.0.0.1:{port}"
            if options.check:
                return check(url)
            print(f"The thermostat of the ARM board is at {url}/\nCtrl-C ends it.", flush=True)
            board.process.wait()


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        pass
