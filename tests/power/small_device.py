"""Measures the program on a small device: with an application in 16 MB of memory, and the time of a save."""

import argparse
import sys

from emulator import Kernel, Machine, output, program, scratch_folder
from power_cut import DISK_SIZE, MAKE_DISK, MODULE_PARAMETERS, MODULES, guest_files

ROOMY = 8192  # KB; while the application holds no more than this, requests must be served
LARGE = 65536  # bytes of a form; beyond this, the kernel may choose the request as its victim
SMALL_PROCESSOR = ["-icount", "shift=3"]  # a clock of 125 million instructions a second


def run(kernel, files, plan, disks=(), arguments=()):
    """Yields the words of what the guest prints."""
    with scratch_folder() as folder:
        paths = []
        for name in disks:
            paths.append(f"{folder}/{name}")
            with open(paths[-1], "wb") as file:
                file.truncate(DISK_SIZE)
            output(*MAKE_DISK[name], paths[-1])
        files = {**files, "plan": (0o100644, "\n".join(plan).encode())}
        with Machine(kernel, folder, files, paths, arguments=arguments) as machine:
            yield from machine.words()


def measurement(name, file_system, device):
    """Returns the guest's commands for a measurement on this medium."""
    return [f"prepare /{file_system} {file_system} {device}", f"cd /{file_system}/app/html",
            f"/small {name} /saveSettings {file_system}", "cd /"]


def measure_memory(kernel, files):
    """Prints a table; returns true if the application survived and the forms that fit were saved."""
    print("   free  application  request  confirmed  refused  no answer  the application is")
    passed = rows = 0
    for words in run(kernel, files, measurement("memory", "ext4", "vda"), ["ext4"]):
        if words[0] != "memory":
            continue
        free, held, length, confirmed, refused, unanswered = map(int, words[1:7])
        print(f"{free:4} KB  {held:8} KB  {length >> 10:4} KB {confirmed:10} {refused:8} {unanswered:10}  "
              f"{words[7]}")
        is_served = confirmed > 0 if length > LARGE else refused == unanswered == 0
        rows += 1
        passed += words[7] == "alive" and (held > ROOMY or is_served)
    return passed == rows > 0


def measure_time(kernel, files):
    """Prints the mean times, and their ratio to the time of a process that only writes."""
    media = (("tmpfs", "none"), ("ext4", "vda"), ("f2fs", "vdb"), ("ubifs", "1"), ("jffs2", "2"))
    print(f"{'microseconds':12} {'write':>8} {'process':>8} {'unsignalled':>12} {'save':>8} "
          f"{'save / write':>13} {'save / (process + write)':>25}")
    plan = [line for medium in media for line in measurement("time", *medium)]
    for words in run(kernel, files, plan, ["ext4", "f2fs"], SMALL_PROCESSOR):
        if words[0] == "time":
            write, process, unsignalled, save = map(int, words[2:])
            print(f"{words[1]:12} {write:8} {process:8} {unsignalled:12} {save:8} {save / write:13.1f} "
                  f"{save / (process + write):25.1f}")


def main():
    parser = argparse.ArgumentParser(prog="scripts/small-device", description=__doc__)
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--work", required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    kernel = Kernel(f"{options.work}/kernel", "linux-image-amd64", MODULES, MODULE_PARAMETERS)
    files = guest_files(options.work, "small")
    files.update({"nothing": files["small"], "saveSettings": program(f"{options.build}/app/saveSettings")})
    measure_time(kernel, files)
    if not measure_memory(kernel, files):
        sys.exit("The application was the victim, or a request was not served beside it.")


if __name__ == "__main__":
    main()
