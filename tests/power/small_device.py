"""Measures the program on a small device: with an application in 16 MB of memory, and the time of a save."""

import argparse
import sys

from emulator import Kernel, Machine, busybox, output, program, scratch_folder
from power_cut import DISK_SIZE, FLASH_SIZE, MAKE_DISK, MODULE_PARAMETERS, MODULES

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


def measure_memory(kernel, files):
    """Prints a table; returns true if the application survived and the forms that fit were saved."""
    print("   free  application  request  confirmed  refused  no answer  the application is")
    passed = rows = 0
    for words in run(kernel, files, [f"memory ext4 vda 0 {DISK_SIZE} /saveSettings -"], ["ext4"]):
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
    media = ("tmpfs - 0 0", f"ext4 vda 0 {DISK_SIZE}", f"f2fs vdb 0 {DISK_SIZE}",
             f"ubifs flash 0 {FLASH_SIZE}", f"jffs2 flash {FLASH_SIZE} {FLASH_SIZE}")
    print(f"{'microseconds':12} {'write':>8} {'process':>8} {'unsignalled':>12} {'save':>8} "
          f"{'save / write':>13} {'save / (process + write)':>25}")
    plan = [f"time {medium} /saveSettings -" for medium in media]
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
    guest = program(f"{options.work}/guest")
    files = {"init": guest, "nothing": guest, "saveSettings": program(f"{options.build}/app/saveSettings")}
    measure_time(kernel, files)
    if not measure_memory(kernel, {**files, **busybox(f"{options.work}/busybox")}):
        sys.exit("The application was the victim, or a request was not served beside it.")


if __name__ == "__main__":
    main()
