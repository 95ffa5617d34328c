"""Cuts the power of virtual machines that save forms, and checks what each file system then holds."""

import argparse
import collections
import concurrent.futures
import dataclasses
import os
import random
import shutil
import signal
import struct
import sys

from emulator import (Emulator, Kernel, Machine, Monitor, busybox, flash_tools, output, program,
                      scratch_folder)

MEGABYTE = 1 << 20
BLOCK = 4096
SECTOR = 512
DISK_SIZE = 64 * MEGABYTE  # f2fs wants about 40
FLASH_SIZE = 4 * MEGABYTE
ERASE_BLOCK = 64 << 10
MODULES = ["virtio_pci", "virtio_blk", "zstd", "crc32_generic", "crc32c_generic", "loop", "ext4", "f2fs",
           "mtdram", "ubifs", "jffs2"]
# One erase block, which holds the marks of what is saved to flash, and four parts; see init.sh.
MODULE_PARAMETERS = {
    "mtdram": f"total_size={ERASE_BLOCK + 4 * FLASH_SIZE >> 10} erase_size={ERASE_BLOCK >> 10}"}
MAKE_DISK = {"ext4": "mke2fs -q -t ext4 -b 4096 -J size=4".split(), "f2fs": ["mkfs.f2fs", "-q"]}
CONTROL_STATES = 30
FILE_SYSTEMS = ["ext4", "f2fs", "ubifs", "jffs2"]


@dataclasses.dataclass(frozen=True)
class Subject:
    """A file system and the program that saves to it. A `fault` is one that the rig must find."""

    file_system: str
    program: str = "saveSettings"
    options: str = ""
    prepare: str = "prepare"  # the command that prepares its medium
    fault: str = ""

    def __str__(self):
        return f"{self.file_system} {self.program}" if self.fault else self.file_system


CONTROLS = [
    Subject("ext4", "noDirectorySyncProgram", fault="lost"),
    Subject("f2fs", "noDirectorySyncProgram", fault="lost"),
    Subject("ubifs", "noDirectorySyncProgram", fault="lost"),
    Subject("ext4", "noSyncProgram", "noauto_da_alloc,commit=1", fault="torn"),
    Subject("ubifs", "noSyncProgram", fault="torn"),
    # JFFS2 loses nothing without a sync. A symbolic link makes the program write in place.
    Subject("jffs2", "saveSettings", prepare="prepare_link", fault="not-renamed"),
]


@dataclasses.dataclass
class State:
    """What a power cut has left on a medium, which is the slot of that number in the image of all."""

    subject: Subject
    started: int
    confirmed: int
    how: str
    form: int = 0
    left_overs: int = 0
    next_save: str = "not checked"

    def verdict(self):
        if self.form == -2:
            return "unmountable"
        if self.form == -1:
            return "torn"
        if self.form < self.confirmed:
            return "lost"
        if self.form > self.started:
            return "invented"
        return self.next_save


# --- What a disk may hold after a power cut ---


def read_log(path):
    """Yields (offset, data, flushes) for each write and flush that the blklogwrites driver has recorded."""
    with open(path, "rb") as file:
        file.seek(SECTOR)  # the super block
        while len(head := file.read(SECTOR)) == SECTOR:
            sector, count, flags, _ = struct.unpack_from("<QQQQ", head)
            data = file.read(count * SECTOR)
            if (count == 0 and flags == 0) or len(data) < count * SECTOR:
                return  # the end, or an entry that is incomplete because of the cut
            if flags > 1:
                raise ValueError(f"neither a write nor a flush: flags {flags}")
            yield sector * SECTOR, data, flags == 1


def blocks_of(path):
    """Returns a write of (offset, data) for each block of a file that is not zero."""
    with open(path, "rb") as file:
        contents = iter(lambda: file.read(BLOCK), b"")
        return [(number * BLOCK, content) for number, content in enumerate(contents) if any(content)]


def disk_states(subject, image, wanted, chance):
    """Yields (state, writes that make it) at random points of the log, and at its end.

    Of the blocks written since the last flush, the state has none, all or some."""
    events = list(read_log(image + ".log"))
    is_mark = [offset == DISK_SIZE for offset, _, _ in events]
    first = is_mark.index(True) + 1  # from here on a save was started
    points = chance.sample(range(first, len(events)), min(wanted, len(events) - first) - 1)
    durable, pending, marks, done = blocks_of(image + ".base"), [], (0, 0), 0
    for point in [*sorted(points), len(events)]:
        for (offset, data, flushes), mark in zip(events[done:point], is_mark[done:point]):
            if mark:
                marks = struct.unpack_from("<QQ", data)
                continue
            pending.append((offset, data))
            if flushes:
                durable, pending = durable + pending, []
        done = point
        kept = chance.choice([0, 1, chance.random()]) if pending else 1
        writes = list(durable)
        for offset, data in pending:
            for start in range(0, len(data), BLOCK):
                if chance.random() < kept:
                    writes.append((offset + start, data[start:start + BLOCK]))
        how = f"point {point} of {len(events)}, {kept:.2f} of {len(pending)} writes"
        yield State(subject, *marks, how), writes


# --- One cut ---


class Cut:
    """One machine whose power is cut, and one that checks what that has left."""

    def __init__(self, kernel, programs, subjects, wanted, chance):
        self.kernel, self.programs, self.wanted, self.chance = kernel, programs, wanted, chance
        self.states = []
        self.disks = [subject for subject in subjects if subject.file_system in MAKE_DISK]
        self.flashes = [subject for subject in subjects if subject.file_system not in MAKE_DISK]

    def run(self):
        with scratch_folder() as self.folder:
            with open(f"{self.folder}/states", "wb") as self.image:
                self.save()
                for number, subject in enumerate(self.disks):
                    for state, writes in disk_states(subject, self.disk(number), self.wanted, self.chance):
                        slot = self.add(state)
                        for offset, data in writes:
                            os.pwrite(self.image.fileno(), data, slot + offset)
                self.image.truncate(len(self.states) * DISK_SIZE)
            self.check()
        return self.states

    def disk(self, number):
        return f"{self.folder}/disk{number}"

    def add(self, state):
        self.states.append(state)
        return (len(self.states) - 1) * DISK_SIZE

    def boot(self, plan, disks, log):
        files = {"plan": (0o100644, "\n".join(plan).encode()), **self.programs}
        return Machine(self.kernel, self.folder, files, disks, log)

    def save(self):
        prepare, save = [], []

        def add(subject, device, marks, offset):
            folder = f"/m{len(save)}"
            prepare.append(f"{subject.prepare} {folder} {subject.file_system} {device} {subject.options}")
            save.append(f"save {folder} /{subject.program} {marks} {offset} &")

        for number, subject in enumerate(self.disks):
            disk = self.disk(number)
            with open(disk + ".base", "wb") as file:
                file.truncate(DISK_SIZE)
            output(*MAKE_DISK[subject.file_system], disk + ".base")
            shutil.copyfile(disk + ".base", disk)
            os.truncate(disk, DISK_SIZE + BLOCK)
            device = f"vd{'abcd'[number]}"
            add(subject, device, f"/dev/{device}", DISK_SIZE)
        for number, subject in enumerate(self.flashes):
            add(subject, number + 1, "/dev/mtd0", number * BLOCK)
        disks = [self.disk(number) for number in range(len(self.disks))]
        with self.boot([*prepare, *save, "wait"], disks, log=True) as machine:
            saving = 0
            for words in machine.words():
                if words[0] == "flash":
                    flash = int(words[1], 16)
                saving += words[0] == "saving"
                if saving == len(save):
                    break
            self.interrupt(machine, flash)

    def interrupt(self, machine, flash):
        """Stops the machine at random instants to copy the flash; leaves it off at the last one."""
        seconds = self.chance.uniform(2, 5)
        with Monitor(machine) as monitor:
            for instant in range(self.wanted):
                machine.run_for(self.chance.expovariate(self.wanted / seconds))
                if not self.flashes:
                    continue
                monitor.run("stop")
                marks = monitor.memory(flash, ERASE_BLOCK)
                for number, subject in enumerate(self.flashes):
                    marked = struct.unpack_from("<QQ", marks, number * BLOCK)
                    state = State(subject, *marked, f"instant {instant}")
                    content = monitor.memory(flash + ERASE_BLOCK + number * FLASH_SIZE, FLASH_SIZE)
                    os.pwrite(self.image.fileno(), content, self.add(state))
                if instant < self.wanted - 1:
                    monitor.run("cont")
        machine.cut()

    def check(self):
        plan = []
        for number, state in enumerate(self.states):
            size = DISK_SIZE if state.subject in self.disks else FLASH_SIZE
            plan.append(f"check {number} {state.subject.file_system} {number * DISK_SIZE} {size}")
        with self.boot(plan, [f"{self.folder}/states"], log=False) as machine:
            for words in machine.words():
                if words[0] == "state":
                    state = self.states[int(words[1])]
                    state.form, state.left_overs, state.next_save = int(words[2]), int(words[3]), words[4]
        for state in self.states:
            if state.verdict() != "good" and not state.subject.fault:
                print(f"{state.subject}: {state.verdict()}: form {state.form} of "
                      f"{state.confirmed}..{state.started}, {state.how}", flush=True)


# --- The campaign ---


def guest_files(work, name):
    """Returns the files of every guest, and its program of this name."""
    return {**busybox(f"{work}/busybox"), **flash_tools(f"{work}/mtd-utils"), name: program(f"{work}/{name}"),
            "init": program("tests/power/init.sh")}


def report(subjects, states, cuts):
    """Prints the figures; returns true if all states are good, or have the expected fault."""
    passed = True
    print(f"{'':30} {'cuts':>5} {'states':>6} {'in a save':>9} {'left-over':>9} "
          f"{'lost':>5} {'torn':>5} {'other':>5}")
    for subject in subjects:
        mine = [state for state in states if state.subject == subject]
        verdicts = collections.Counter(state.verdict() for state in mine)
        good, lost, torn = (verdicts[verdict] for verdict in ("good", "lost", "torn"))
        in_save = sum(state.started > state.confirmed for state in mine)
        left = sum(state.left_overs > 0 for state in mine)
        print(f"{subject!s:30} {cuts:5} {len(mine):6} {in_save:9} {left:9} {lost:5} {torn:5} "
              f"{len(mine) - good - lost - torn:5}")
        as_expected = verdicts[subject.fault] > 0 if subject.fault else good == len(mine) > 0
        if not as_expected:
            print(f"    failed: {subject}: {dict(verdicts)}; expected: {subject.fault or 'good'}")
        passed = passed and as_expected
    return passed


def read_options():
    parser = argparse.ArgumentParser(prog="scripts/power-cut", description=__doc__)
    parser.add_argument("--cuts", type=int, default=2, metavar="N", help="power cuts (default: 2)")
    parser.add_argument("--states", type=int, default=60, metavar="N",
                        help="states to check on each file system, over all cuts (default: 60)")
    parser.add_argument("--file-systems", nargs="+", default=FILE_SYSTEMS, choices=FILE_SYSTEMS,
                        metavar="NAME", help="of " + ", ".join(FILE_SYSTEMS) + " (default: all)")
    parser.add_argument("--seed", type=int, default=1, metavar="S", help="for all that is chosen at random")
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--work", required=True, help=argparse.SUPPRESS)
    return parser.parse_args()


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # ends the machines, too
    options = read_options()
    kernel = Kernel(f"{options.work}/kernel", "linux-image-amd64", MODULES, MODULE_PARAMETERS)
    names = {"saveSettings"} | {control.program for control in CONTROLS}
    programs = {name: program(f"{options.build}/app/{name}") for name in sorted(names)}
    programs.update(guest_files(options.work, "forms"))
    subjects = [Subject(name) for name in options.file_systems]
    controls = [control for control in CONTROLS if control.file_system in options.file_systems]
    wanted = -(-options.states // options.cuts)
    runs = [(controls, CONTROL_STATES)] + [(subjects, wanted)] * options.cuts
    states, done = [], 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        cuts = []
        for number, run in enumerate(runs):
            cut = Cut(kernel, programs, *run, random.Random(f"{options.seed} {number}"))
            cuts.append(pool.submit(cut.run))
        try:
            for number, cut in enumerate(concurrent.futures.as_completed(cuts), 1):
                checked = [state for state in cut.result() if not state.subject.fault]
                good = sum(state.verdict() == "good" for state in checked)
                what = f"{good} of {len(checked)} states good" if checked else "controls"
                print(f"machine {number} of {len(cuts)}: {what}", file=sys.stderr, flush=True)
                states += cut.result()
                done += bool(checked)
        except BaseException:
            pool.shutdown(wait=False, cancel_futures=True)
            for process in list(Emulator.running):
                process.kill()
            raise
    passed = report(subjects, states, done)
    passed = report(controls, states, 1) and passed
    sys.exit(0 if passed else 1)


if __name__ == "__main__":
    main()
