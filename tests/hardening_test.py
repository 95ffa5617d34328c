"""The built program as the kernel and an attacker meet it: every protection that the build asks for is there."""
import os
import re
import unittest

from harness import IS_EMULATED, PROGRAM, Device, GuardedTest, is_sanitized, is_sleeping, post, wait_until
from install_test import output_of

# The library is looked at beside the program, which may need none of its calls.
LIBRARY = os.path.join(os.environ.get("BUILD_DIR", "build"), "libraries", "libzu.a")


def readelf(option, file=PROGRAM):
    return output_of("readelf", "-W", option, file)


@unittest.skipIf(is_sanitized(), "sanitizers are built without hardening")
class HardeningTest(unittest.TestCase):
    def setUp(self):
        # Type, flags of each segment.
        self.segments = re.findall(r"^  (\w+) +(?:0x\w+ +){5}([RWE ]{3}) 0x", readelf("--segments"), re.M)
        self.symbols = {line.split()[7].partition("@")[0] for line in readelf("--symbols").splitlines() if len(line.split()) > 7}
        self.assertTrue(self.segments and self.symbols)

    def test_is_position_independent(self):
        self.assertRegex(readelf("--file-header"), r"Type: +DYN \(Position-Independent Executable file\)")

    def test_linker_marks_relocated_data(self):
        self.assertIn("GNU_RELRO", dict(self.segments))
        dynamic = readelf("--dynamic")
        self.assertRegex(dynamic, r"\(FLAGS\) .*\bBIND_NOW\b")
        self.assertRegex(dynamic, r"\(FLAGS_1\) .*\bNOW\b.*\bPIE\b")

    def test_no_memory_is_both_writable_and_executable(self):
        self.assertEqual(dict(self.segments)["GNU_STACK"], "RW ")
        self.assertEqual([segment for segment in self.segments if "W" in segment[1] and "E" in segment[1]], [])

    def test_functions_guard_their_stack_and_calls_of_the_c_library_their_buffers(self):
        self.assertIn("__stack_chk_fail", self.symbols)
        self.assertRegex(readelf("--symbols", LIBRARY), r"\bUND +__vsnprintf_chk\b")

    def test_jumps_land_only_where_they_may(self):
        machine = re.search(r"Machine: +(.+)", readelf("--file-header"))[1]
        marks = {"Advanced Micro Devices X86-64": (r"\bIBT, SHSTK\b", r"\bendbr64\b"), "AArch64": (r"\bBTI, PAC\b", r"\b(paciasp|bti)\b")}
        if machine not in marks:
            self.skipTest("no such protection on " + machine)
        note, landing = marks[machine]
        # Not the program's note: the linker leaves it out when the C library's own objects have none.
        objects = re.split(r"^File: ", readelf("--notes", LIBRARY), flags=re.M)[1:]
        self.assertEqual([each.split("\n")[0] for each in objects if not re.search(note, each)], [])
        self.assertRegex(output_of("objdump", "--disassemble=main", PROGRAM), r"<main>:\n.*" + landing)


@unittest.skipIf(is_sanitized() or IS_EMULATED, "its memory is not as the program was built")
class RunningTest(GuardedTest):
    """The memory of a running program, as the kernel maps it."""

    PROGRAMS = [PROGRAM] + list(filter(None, [os.environ.get("DYNAMIC_PROGRAM")]))

    @staticmethod
    def memory(test, program):
        """Of a request that waits for its body: the protection of each page, and the address that the file begins at."""
        request = Device(test).start(post(5), program=program)
        wait_until(lambda: is_sleeping(request.pid) and os.readlink("/proc/%d/exe" % request.pid) == os.path.realpath(program))
        with open("/proc/%d/maps" % request.pid, encoding="ascii") as maps:
            found = [re.match(r"(\w+)-(\w+) (\S+) \S+ \S+ \S+ *(.*)", line).groups() for line in maps]
        pages = {page: flags for begin, end, flags, _ in found for page in range(int(begin, 16), int(end, 16), 4096)}
        return pages, min(int(begin, 16) for begin, *_, file in found if file == os.path.realpath(program))

    def check(self, pattern, option, rounding):
        """The pages of what readelf shows are readable and no more; `rounding` is added before its last page is cut off."""
        for program in self.PROGRAMS:
            with self.subTest(program):
                begin, size = (int(number, 16) for number in re.search(pattern, readelf(option, program), re.M).groups())
                pages, base = self.memory(self, program)
                last = (base + begin + size + rounding) // 4096 * 4096
                flags = {pages[page] for page in range((base + begin) // 4096 * 4096, last, 4096)}
                self.assertEqual(flags, {"r--p"})

    def test_relocated_data_is_read_only(self):
        self.check(r"GNU_RELRO +0x\w+ (0x\w+) 0x\w+ 0x\w+ (0x\w+) ", "--segments", 0)

    def test_read_only_data_is_not_executable(self):
        self.check(r" \.rodata +PROGBITS +(\w+) \w+ (\w+) ", "--sections", 4095)

    def test_no_memory_is_both_writable_and_executable(self):
        for program in self.PROGRAMS:
            pages, _ = self.memory(self, program)
            self.assertEqual([page for page, flags in pages.items() if "w" in flags and "x" in flags], [])


if __name__ == "__main__":
    unittest.main()
