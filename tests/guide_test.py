"""docs/application.md as it stands: its commands are run, its program is built, and what it says is printed is printed."""
import os
import re
import secrets
import signal
import socket
import subprocess
import tempfile
import time

from harness import GuardedTest

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.environ.get("BUILD_DIR", "build")


class GuideTest(GuardedTest):
    def setUp(self):
        super().setUp()
        scratch = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(scratch.cleanup)
        self.folder, self.prefix = os.path.join(scratch.name, "new"), os.path.join(scratch.name, "installed")
        os.mkdir(self.folder)
        with socket.socket() as listener:
            listener.bind(("127.0.0.1", 0))
            port = str(listener.getsockname()[1])
        with open(os.path.join(ROOT, "docs", "application.md"), encoding="utf-8") as file:
            text = file.read()
        # What the machine may have in use already: the name, which killall goes by, the port, and the place of programs.
        for old, new in (("kettle", "ket" + secrets.token_hex(4)), ("8080", port), ("/usr/local", self.prefix)):
            text = text.replace(old, new)
        self.blocks = re.findall(r"^```(sh|cpp|text)\n(.*?)^```$", text, re.M | re.S)
        self.program = re.search(r"Save it as `(.*?)`", text)[1]
        self.env = {**os.environ, "PATH": "%s/bin:%s" % (self.prefix, os.environ["PATH"]),
                    "PKG_CONFIG_PATH": os.path.join(self.prefix, "lib", "pkgconfig")}

    def run_block(self, commands):
        with tempfile.TemporaryFile("w+") as output:
            process = subprocess.Popen(["bash", "-c", commands], cwd=self.folder, env=self.env, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
            self.addCleanup(self.end_group, process.pid)
            status = process.wait()
            output.seek(0)
            return status, output.read()

    @staticmethod
    def end_group(leader):
        try:
            os.killpg(leader, signal.SIGTERM)
        except ProcessLookupError:
            pass

    def test_it_can_be_followed(self):
        kinds = [kind for kind, _ in self.blocks]
        self.assertEqual(kinds, ["sh", "sh", "cpp", "sh"] + ["sh", "text"] * 4)
        self.assertIn("cmake --install", self.blocks[0][1])  # of a build of its own; this one has all of it, too
        subprocess.run(["cmake", "--install", BUILD, "--prefix", self.prefix], stdout=subprocess.DEVNULL, check=True)
        for number, (kind, block) in enumerate(self.blocks[1:], 1):
            if kind == "cpp":
                with open(os.path.join(self.folder, self.program), "w", encoding="utf-8") as file:
                    file.write(block)
            elif kind == "sh":
                expected = self.blocks[number + 1][1] if kinds[number + 1:number + 2] == ["text"] else ""
                until = time.monotonic() + 60  # processes may take their time to start
                while (outcome := self.run_block(block)) != (0, expected) and expected and time.monotonic() < until:
                    time.sleep(0.5)
                self.assertEqual(outcome, (0, expected), block)


if __name__ == "__main__":
    import unittest
    unittest.main()
