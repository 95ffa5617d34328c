"""The built program has every protection that the build asks for."""
import os
import re
import unittest

from harness import (BUILD, IS_EMULATED, PROGRAM, Device, GuardedTest, is_sanitized, is_sleeping, post, read,
                     wait_until)
from install_test import output_of

# Some checks are on the library, because the program may contain none of the relevant calls.
LIBRARY = f"{BUILD}/libraries/libzu.a"


def readelf(option, file=PROGRAM):
    return output_of("readelf", "-W", option, file)


@unittest.skipIf(is_sanitized(), "sanitizers are built without hardening")
class HardeningTest(unittest.TestCase):
    def test_is_position_independent(self):
        self.assertRegex(readelf("--file-header"), r"Type: +DYN \(Position-Independent Executable file\)")

    def test_relocations_are_resolved_before_main(self):
        dynamic = readelf("--dynamic")
        self.assertRegex(dynamic, r"\(FLAGS\) .*\bBIND_NOW\b")
        self.assertRegex(dynamic, r"\(FLAGS_1\) .*\bNOW\b.*\bPIE\b")

    def test_stack_and_buffers_are_protected(self):
        self.assertRegex(readelf("--symbols"), r" __stack_chk_fail\b")
        self.assertRegex(readelf("--symbols", LIBRARY), r"\bUND +__vsnprintf_chk\b")

    def test_indirect_jumps_are_protected(self):
        machine = re.search(r"Machine: +(.+)", readelf("--file-header"))[1]
        marks = {"Advanced Micro Devices X86-64": (r"\bIBT, SHSTK\b", r"\bendbr64\b"),
                 "AArch64": (r"\bBTI, PAC\b", r"\b(paciasp|bti)\b")}
        if machine not in marks:
            self.skipTest(f"no such protection on {machine}")
        note, landing = marks[machine]
        # Not the program's note, which the linker omits if the C library's objects have none.
        objects = re.split(r"^File: ", readelf("--notes", LIBRARY), flags=re.M)[1:]
        self.assertEqual([each.split("\n")[0] for each in objects if not re.search(note, each)], [])
        self.assertRegex(output_of("objdump", "--disassemble=main", PROGRAM), r"<main>:\n.*" + landing)


@unittest.skipIf(is_sanitized() or IS_EMULATED, "the memory is not the program's alone")
class RunningTest(GuardedTest):
    """The memory of a running program, as the kernel maps it."""

    PROGRAMS = [PROGRAM] + list(filter(None, [os.environ.get("DYNAMIC_PROGRAM")]))

    def memory(self, program):
        """Returns each page's protection in a request that waits for its body, and the file's address."""
        request, file = Device(self).start(post(5), program=program), os.path.realpath(program)
        wait_until(lambda: is_sleeping(request.pid) and os.readlink(f"/proc/{request.pid}/exe") == file)
        maps = read(f"/proc/{request.pid}/maps")
        found = re.findall(r"^(\w+)-(\w+) (\S+) \S+ \S+ \S+ *(.*)", maps, re.M)
        pages = {page: flags for begin, end, flags, _ in found
                 for page in range(int(begin, 16), int(end, 16), 4096)}
        return pages, min(int(begin, 16) for begin, *_, name in found if name == file)

    def check(self, pattern, option, rounding):
        """All pages of a part that readelf shows are read-only; `rounding` is added to its end."""
        for program in self.PROGRAMS:
            with self.subTest(program):
                found = re.search(pattern, readelf(option, program), re.M)
                begin, size = (int(number, 16) for number in found.groups())
                pages, base = self.memory(program)
                last = (base + begin + size + rounding) // 4096 * 4096
                flags = {pages[page] for page in range((base + begin) // 4096 * 4096, last, 4096)}
                self.assertEqual(flags, {"r--p"})

    def test_relocated_data_is_read_only(self):
        self.check(r"GNU_RELRO +0x\w+ (0x\w+) 0x\w+ 0x\w+ (0x\w+) ", "--segments", 0)

    def test_read_only_data_is_not_executable(self):
        self.check(r" \.rodata +PROGBITS +(\w+) \w+ (\w+) ", "--sections", 4095)

    def test_no_memory_is_both_writable_and_executable(self):
        for program in self.PROGRAMS:
            pages, _ = self.memory(program)
            self.assertEqual([page for page, flags in pages.items() if "w" in flags and "x" in flags], [])


if __name__ == "__main__":
    unittest.main()
