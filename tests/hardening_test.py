"""The built program as the kernel and an attacker meet it: every protection that the build asks for is there."""
import os
import re
import unittest

from harness import PROGRAM, is_sanitized
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

    def test_relocated_data_is_read_only_before_the_program_runs(self):
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


if __name__ == "__main__":
    unittest.main()
