"""Another project uses the library: as a subfolder; installed, with CMake and with pkg-config."""
import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from harness import ROOT, GuardedTest

OUTSIDE = os.path.join(ROOT, "tests", "outside")
WARNINGS = ["-Wall", "-Wextra", "-Werror"]


def output_of(*command, **options):
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
                         **options)
    if run.returncode != 0:
        raise AssertionError(" ".join(command) + "\n" + run.stdout)
    return run.stdout


def build_with_pkg_config(folder, config):
    """Compiles and links with the flags of zu.pc alone, and includes every installed header."""
    def ask(*question):
        return output_of("pkg-config", *question, "zu", env={**os.environ, "PKG_CONFIG_PATH": config}).split()

    os.mkdir(folder)
    headers = [word for name in os.listdir(*ask("--variable=includedir")) for word in ("-include", name)]
    flags = [*WARNINGS, *ask("--cflags")]
    output_of(os.environ.get("CC", "cc"), *flags, "-c", f"{OUTSIDE}/fromC.c", cwd=folder)
    output_of(os.environ.get("CXX", "c++"), "-std=c++17", *flags, *headers, f"{OUTSIDE}/main.cpp", "fromC.o",
              *ask("--libs"), "-o", "outside", cwd=folder)


class InstallTest(GuardedTest):
    def build_with_cmake(self, folder, *options, flags=()):
        """The library adds no compiler flags, warnings or options to the project."""
        said = output_of("cmake", "-G", "Unix Makefiles", "-S", OUTSIDE, "-B", folder,
                         "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DCMAKE_BUILD_TYPE=Release",
                         "-DCMAKE_C_FLAGS_RELEASE=-O1", "-DCMAKE_CXX_FLAGS_RELEASE=-O1", *options)
        self.assertRegex(said, "flags: Release -O1; other version: 0?\n")
        variables = output_of("cmake", "-N", "-L", folder)
        self.assertEqual(re.findall(r"^(?!(?:CMAKE|ZU|zu|pugixml)_|LIBRARY)\w+:", variables, re.M), [])
        self.assertNotIn("warning", output_of("cmake", "--build", folder, "-j2"))
        for compiled in json.loads(pathlib.Path(folder, "compile_commands.json").read_text()):
            used = {word for word in compiled["command"].split() if re.match("-(?![Ioc]|isystem)", word)}
            if compiled["file"].startswith(OUTSIDE):
                self.assertEqual(used - {"-std=gnu++17"}, {"-O1", *WARNINGS, *flags})
            else:
                self.assertIn(ROOT + "/libraries/src/", compiled["file"])
                self.assertEqual({word for word in used if word.startswith("-O")}, {"-O1"})
        self.assertNotIn("-Wl,-z", pathlib.Path(folder, "CMakeFiles/outside.dir/link.txt").read_text())

    def check_program(self, folder, backend, headers, needed, **options):
        program = os.path.join(folder, "outside")
        said = output_of(program, **options)
        self.assertRegex(said, rf"^{backend}\n{headers}/zutl_SmartArray\.h \(\d+\): ")
        self.assertEqual(re.findall(r"NEEDED.*\[(libzu\..*)\]", output_of("readelf", "-d", program)), needed)

    def check_all_ways(self, backend, needed, *options):
        with tempfile.TemporaryDirectory() as scratch:
            inside, place, moved, found, plain = (os.path.join(scratch, name) for name in (
                "inside", "place", "moved", "found", "plain"))
            self.build_with_cmake(inside, f"-DLIBRARY={ROOT}", "-DZU_INSTALL=ON",
                                  f"-DZU_XML_BACKEND={backend}", *options,
                                  flags=[f"-ffile-prefix-map={ROOT}/="])
            self.check_program(inside, backend, "libraries/src/misc", needed)
            output_of("cmake", "--install", inside, "--prefix", place)
            os.rename(place, moved)
            unwanted = re.compile(re.escape(os.fsencode(ROOT)) + b"|gnu.lto")
            files = [path for path in pathlib.Path(moved).rglob("*") if path.is_file()]
            self.assertEqual([path for path in files if unwanted.search(path.read_bytes())], [])
            self.build_with_cmake(found, f"-DCMAKE_PREFIX_PATH={moved}")
            self.check_program(found, backend, f"{moved}/include/zu", needed)
            build_with_pkg_config(plain, f"{moved}/lib/pkgconfig")
            self.check_program(plain, backend, f"{moved}.*/include/zu", needed,
                               env={"LD_LIBRARY_PATH": f"{moved}/lib"})

    def test_static(self):
        self.check_all_ways(os.environ.get("XML_BACKEND", "none"), [])

    def test_shared(self):
        self.check_all_ways("none", ["libzu.so.1"], "-DBUILD_SHARED_LIBS=ON")


if __name__ == "__main__":
    unittest.main()
