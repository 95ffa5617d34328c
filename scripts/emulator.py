"""Virtual machines with Debian's kernel: their parts are downloaded and unpacked, not installed."""

import glob
import json
import os
import re
import shutil
import socket
import subprocess
import tempfile
import threading
import time


def output(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


def scratch_folder():
    """Returns a temporary folder, in memory if there is enough."""
    memory = "/dev/shm"
    roomy = os.path.isdir(memory) and shutil.disk_usage(memory).free > 8 << 30
    return tempfile.TemporaryDirectory(prefix="virtual-", dir=memory if roomy else None)


def archive(files):
    """Returns a cpio archive (newc) of {name: (mode, bytes)}."""
    parts = []
    for name, (mode, content) in {**files, "TRAILER!!!": (0, b"")}.items():
        fields = (0, mode, 0, 0, 1, 0, len(content), 0, 0, 0, 0, len(name) + 1, 0)
        head = b"070701" + b"".join(b"%08X" % field for field in fields) + name.encode() + b"\0"
        for part in (head, content):
            parts.append(part + b"\0" * (-len(part) % 4))
    return b"".join(parts)


def program(path):
    with open(path, "rb") as file:
        return (0o100755, file.read())


def unpack(folder, package, apt_options=()):
    """Downloads a Debian package and unpacks it, without installing it."""
    os.makedirs(folder, exist_ok=True)
    output("apt-get", "-qq", *apt_options, "-o", "APT::Sandbox::User=root", "download", package, cwd=folder)
    output("dpkg-deb", "-x", glob.glob(f"{folder}/{package}_*.deb")[0], folder)


def foreign(folder, architecture):
    """Returns apt's options for packages of another architecture, which apt itself need not know."""
    folder = os.path.abspath(folder)
    for name in ("lists/partial", "archives/partial"):
        os.makedirs(f"{folder}/{name}", exist_ok=True)
    settings = {"APT::Architecture": architecture, "APT::Architectures": architecture,
                "APT::Sandbox::User": "root", "Dir::Cache": folder,
                "Dir::State": folder, "Dir::State::status": "/dev/null"}
    options = [word for name, value in settings.items() for word in ("-o", f"{name}={value}")]
    subprocess.run(["apt-get", "-qq", *options, "update"], check=False,
                   stderr=subprocess.DEVNULL)  # some sources may lack the architecture
    return options


def busybox(folder, apt_options=()):
    """Returns the files of a static busybox, as a shell and killall."""
    if not os.path.exists(f"{folder}/bin/busybox"):
        unpack(folder, "busybox-static", apt_options)
    return {"bin": (0o040755, b""), "bin/busybox": program(f"{folder}/bin/busybox"),
            "bin/sh": (0o120777, b"busybox"), "bin/killall": (0o120777, b"busybox")}


def flash_tools(folder):
    """Returns the files of mtd-utils for flash devices, with the libraries that they load."""
    if not os.path.exists(f"{folder}/usr/sbin/mtdpart"):
        unpack(folder, "mtd-utils")
    tools = [f"{folder}/usr/sbin/{name}" for name in ("mtdpart", "ubiattach", "ubidetach", "ubimkvol")]
    libraries = re.findall(r"(/\S+) \(", output("ldd", *tools))
    return {"lib": (0o040755, b""), "lib64": (0o120777, b"lib"),
            **{f"bin/{os.path.basename(path)}": program(path) for path in tools},
            **{f"lib/{os.path.basename(path)}": program(path) for path in libraries}}


class Kernel:
    """The newest kernel of a Debian meta package, and modules to load with their parameters."""

    def __init__(self, folder, package, modules, parameters, apt_options=()):
        if not glob.glob(f"{folder}/boot/vmlinuz-*"):
            depends = output("apt-cache", *apt_options, "depends", "--no-recommends", package)
            images = [word for word in depends.split() if word.startswith("linux-image-") and word != package]
            unpack(folder, images[0], apt_options)
        self.image = glob.glob(f"{folder}/boot/vmlinuz-*")[0]
        version = os.path.basename(self.image).removeprefix("vmlinuz-")
        output("/sbin/depmod", "-b", folder, version)
        shown = output("/sbin/modprobe", "-d", folder, "-S", version, "--all", "--show-depends", *modules)
        loads = [line.split()[1] for line in shown.splitlines() if line.startswith("insmod")]
        paths = {path: "/" + os.path.basename(path) for path in loads}  # each once, in this order
        self.files = {name.lstrip("/"): program(path) for path, name in paths.items()}
        lines = [f"{name} {parameters.get(name[1:-3], '')}" for name in paths.values()]
        self.files["modules"] = (0o100644, "\n".join([*lines, ""]).encode())

    def boot(self, folder, files, parameters):
        """Returns the emulator's arguments to boot with the modules and `files` in the initramfs."""
        with open(f"{folder}/initramfs", "wb") as file:
            file.write(archive({**self.files, **files}))
        return ["-kernel", self.image, "-initrd", f"{folder}/initramfs",
                "-append", f"quiet panic=-1 {parameters}"]


class Emulator:
    """A running machine without hardware acceleration. The guest reports with words, such as "done"."""

    running = set()

    def __init__(self, name, arguments):
        command = [f"qemu-system-{name}", "-accel", "tcg", "-nodefaults", "-no-user-config", "-no-reboot",
                   "-display", "none", "-serial", "stdio", *arguments]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                                        errors="replace")
        self.running.add(self.process)

    def words(self):
        """Yields the words of each line that the guest prints; raises if it fails or takes an hour."""
        late = threading.Timer(3600, self.process.kill)
        late.start()
        try:
            line = ""
            for line in self.process.stdout:
                words = line.split() or [""]
                if words[0] == "failed":
                    raise RuntimeError(f"the guest: {line.strip()}")
                yield words
                if words[0] == "done":
                    return
            raise RuntimeError(f"the machine has ended, or taken too long: {line.strip()}")
        finally:
            late.cancel()

    def run_for(self, seconds):
        """Waits until the guest has used that much processor time, however busy the host is."""
        end = self.processor_time() + seconds
        while self.processor_time() < end:
            time.sleep(0.002)

    def processor_time(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as file:
            user, system = file.read().rpartition(")")[2].split()[11:13]
        return (int(user) + int(system)) / os.sysconf("SC_CLK_TCK")

    def cut(self):
        """Cuts the power; raises if the guest has failed before."""
        self.process.kill()
        self.process.wait()
        rest = self.process.stdout.read()
        if "failed" in rest:
            raise RuntimeError(f"the guest: {rest.strip()}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        self.running.discard(self.process)


class Machine(Emulator):
    """A PC with disks."""

    def __init__(self, kernel, folder, files, disks, log=False, arguments=()):
        """Boots with `files` in the initramfs. `disks` are images; `log` records each to NAME.log."""
        self.folder = folder
        arguments = [*arguments, "-machine", "pc", "-m", "192",
                     "-qmp", f"unix:{folder}/qmp,server=on,wait=off",
                     *kernel.boot(folder, files, "console=ttyS0 no_timer_check mitigations=off norandmaps")]
        for number, disk in enumerate(disks):
            node = f"node-name=disk{number},file.driver=file,file.filename={disk},file.cache.no-flush=on,"
            if log:
                open(disk + ".log", "wb").close()
                node += ("driver=blklogwrites,log-sector-size=512,log.driver=file,log.cache.no-flush=on,"
                         f"log.filename={disk}.log")
            else:
                node += "driver=raw"
            arguments += ["-blockdev", node,
                          "-device", f"virtio-blk-pci,drive=disk{number},discard=off,write-zeroes=off"]
        super().__init__("x86_64", arguments)


class Monitor:
    """Controls a machine from outside."""

    def __init__(self, machine):
        self.folder = machine.folder
        self.connection = socket.socket(socket.AF_UNIX)
        self.connection.connect(f"{self.folder}/qmp")
        self.replies = self.connection.makefile()
        self.replies.readline()  # greeting
        self.run("qmp_capabilities")

    def run(self, command, **arguments):
        self.connection.sendall(json.dumps({"execute": command, "arguments": arguments}).encode())
        for line in self.replies:
            reply = json.loads(line)
            if "error" in reply:
                raise RuntimeError(reply["error"]["desc"])
            if "return" in reply:  # after events
                return
        raise RuntimeError("the machine has ended")

    def memory(self, address, size):
        """Returns the kernel's memory in the stopped machine."""
        path = f"{self.folder}/copied"
        signed = address - (1 << 64) if address >> 63 else address
        self.run("memsave", val=signed, size=size, filename=path)
        with open(path, "rb") as file:
            return file.read()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.replies.close()
        self.connection.close()
