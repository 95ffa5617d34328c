"""The Debian packages: built, judged by lintian, installed by dpkg in a system of their own, used, and removed."""
import fnmatch
import glob
import gzip
import os
import pathlib
import re
import shutil
import tempfile
import unittest

from harness import GuardedTest
from install_test import ROOT, build_with_pkg_config, output_of

NEEDED = ["dpkg", "dpkg-shlibdeps", "fakeroot", "file", "lintian", "pkg-config"]
VERSION = re.search(r"^project\(.* VERSION (\S+)", pathlib.Path(ROOT, "CMakeLists.txt").read_text("utf-8"), re.M)[1]
CONTENTS = {
    "savesettings": ["/usr/bin/saveSettings", "/usr/bin/zudump", "/usr/share/man/man1/zudump.1.gz", "/usr/share/man/man8/saveSettings.8.gz",
                     *("/usr/share/doc/savesettings/examples/" + name for folder, prefix in (("demo/servers", ""), ("packaging/systemd", "systemd/"))
                       for name in (prefix + file for file in os.listdir(os.path.join(ROOT, folder)))),
                     "/usr/share/doc/savesettings/examples/inittab"],
    "libzu-dev": ["/usr/include/zu/zutl_String.h", "/usr/lib/*/libzu.a", "/usr/lib/*/cmake/zu/zuConfig.cmake", "/usr/lib/*/pkgconfig/zu.pc"],
}


@unittest.skipUnless(all(map(shutil.which, NEEDED)), "one of %s is missing" % ", ".join(NEEDED))
class PackageTest(GuardedTest):
    def dpkg(self, *arguments):
        """Acts on an empty system, which takes the packages of the real one for installed."""
        return output_of("fakeroot", "dpkg", "--root=" + self.system, "--log=/dev/null", *arguments,
                         env={**os.environ, "PATH": "/usr/sbin:/usr/bin:/sbin:/bin"})

    def test_packages(self):
        scratch = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, scratch)
        build, self.system = os.path.join(scratch, "build"), os.path.join(scratch, "system")
        output_of("cmake", "-S", ROOT, "-B", build, "-DCMAKE_INSTALL_PREFIX=/usr", "-DZU_BUILD_TESTS=OFF", "-DZU_BUILD_DEMO=OFF")
        output_of("cmake", "--build", build, "-j2")
        output_of("cpack", cwd=build, umask=0o077)
        packages = glob.glob(build + "/*.deb")
        output_of("lintian", "--allow-root", "--fail-on=error", *packages, env={**os.environ, "TMPDIR": scratch})

        os.makedirs(self.system + "/var/lib/dpkg/info")
        os.mkdir(self.system + "/var/lib/dpkg/updates")
        shutil.copy("/var/lib/dpkg/status", self.system + "/var/lib/dpkg")
        self.dpkg("--install", *packages)
        for package, contents in CONTENTS.items():
            installed = self.dpkg("--listfiles", package).splitlines()
            self.assertEqual([wanted for wanted in contents if not fnmatch.filter(installed, wanted)], [])

        self.assertEqual(output_of(self.system + "/usr/bin/saveSettings", "--version", env={}), "saveSettings %s\n" % VERSION)
        with gzip.open(self.system + CONTENTS["savesettings"][3], "rt") as manual:
            self.assertEqual(set(re.findall(r"saveSettings (\d[\d.]+\d)", manual.read())), {VERSION})
        self.assertIn("--json", output_of(self.system + "/usr/bin/zudump", "--help"))
        build_with_pkg_config(os.path.join(scratch, "plain"), *glob.glob(self.system + "/usr/lib/*/pkgconfig"))
        self.assertIn("zutl_SmartArray.h", output_of(os.path.join(scratch, "plain", "outside")))

        self.dpkg("--purge", *CONTENTS)
        self.assertEqual([name for name in os.listdir(self.system) if name != "var"], [])


if __name__ == "__main__":
    unittest.main()
