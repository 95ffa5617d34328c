"""The Debian packages: built, checked by lintian, installed by dpkg in an empty system, used, and removed."""
import fnmatch
import glob
import gzip
import os
import re
import shutil
import tempfile
import unittest

from harness import ROOT, GuardedTest, read
from install_test import build_with_pkg_config, output_of

NEEDED = ["dpkg", "dpkg-shlibdeps", "fakeroot", "file", "lintian", "pkg-config"]
VERSION = re.search(r"^project\(.* VERSION (\S+)", read(ROOT, "CMakeLists.txt"), re.M)[1]
MANUAL, EXAMPLES = "/usr/share/man/man8/saveSettings.8.gz", "/usr/share/doc/savesettings/examples"
CONTENTS = {
    "savesettings": ["/usr/bin/saveSettings", "/usr/bin/zudump", "/usr/share/man/man1/zudump.1.gz", MANUAL,
                     f"{EXAMPLES}/inittab",
                     *(f"{EXAMPLES}/{name}" for name in os.listdir(f"{ROOT}/demo/servers")),
                     *(f"{EXAMPLES}/systemd/{name}" for name in os.listdir(f"{ROOT}/packaging/systemd"))],
    "libzu-dev": ["/usr/include/zu/zutl_String.h", "/usr/lib/*/libzu.a", "/usr/lib/*/pkgconfig/zu.pc",
                  "/usr/lib/*/cmake/zu/zuConfig.cmake"],
}


@unittest.skipUnless(all(map(shutil.which, NEEDED)), f"one of {NEEDED} is missing")
class PackageTest(GuardedTest):
    def dpkg(self, *arguments):
        """Runs dpkg on an empty system, in which the real one's packages count as installed."""
        return output_of("fakeroot", "dpkg", "--root=" + self.system, "--log=/dev/null", *arguments,
                         env={**os.environ, "PATH": "/usr/sbin:/usr/bin:/sbin:/bin"})

    def test_packages(self):
        scratch = self.enterContext(tempfile.TemporaryDirectory())
        build, self.system = os.path.join(scratch, "build"), os.path.join(scratch, "system")
        output_of("cmake", "-S", ROOT, "-B", build, "-DCMAKE_INSTALL_PREFIX=/usr", "-DZU_BUILD_TESTS=OFF",
                  "-DZU_BUILD_DEMO=OFF")
        output_of("cmake", "--build", build, "-j2")
        output_of("cpack", cwd=build, umask=0o077)
        packages = glob.glob(build + "/*.deb")
        output_of("lintian", "--allow-root", "--fail-on=error", *packages,
                  env={**os.environ, "TMPDIR": scratch})

        os.makedirs(self.system + "/var/lib/dpkg/info")
        os.mkdir(self.system + "/var/lib/dpkg/updates")
        shutil.copy("/var/lib/dpkg/status", self.system + "/var/lib/dpkg")
        self.dpkg("--install", *packages)
        for package, contents in CONTENTS.items():
            installed = self.dpkg("--listfiles", package).splitlines()
            self.assertEqual([wanted for wanted in contents if not fnmatch.filter(installed, wanted)], [])

        said = output_of(self.system + "/usr/bin/saveSettings", "--version", env={})
        self.assertEqual(said, f"saveSettings {VERSION}\n")
        with gzip.open(self.system + MANUAL, "rt") as manual:
            self.assertEqual(set(re.findall(r"saveSettings (\d[\d.]+\d)", manual.read())), {VERSION})
        self.assertIn("--json", output_of(self.system + "/usr/bin/zudump", "--help"))
        config, = glob.glob(f"{self.system}/usr/lib/*/pkgconfig")
        build_with_pkg_config(f"{scratch}/plain", config)
        self.assertIn("zutl_SmartArray.h", output_of(f"{scratch}/plain/outside"))

        self.dpkg("--purge", *CONTENTS)
        self.assertEqual([name for name in os.listdir(self.system) if name != "var"], [])


if __name__ == "__main__":
    unittest.main()
