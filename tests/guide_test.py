"""Follows docs/application.md: runs its commands, builds its program, and compares what is printed."""
import contextlib
import os
import re
import secrets
import signal
import subprocess
import tempfile
import time
import unittest

from harness import BUILD, ROOT, GuardedTest, free_port, read


class GuideTest(GuardedTest):
    def setUp(self):
        super().setUp()
        scratch = self.enterContext(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
        self.folder, self.prefix = os.path.join(scratch, "new"), os.path.join(scratch, "installed")
        os.mkdir(self.folder)
        text = read(ROOT, "docs/application.md")
        # The machine may already use these: the name, by which killall finds processes, the port, the prefix.
        name = f"ket{secrets.token_hex(4)}"
        for old, new in (("kettle", name), ("8080", str(free_port())), ("/usr/local", self.prefix)):
            text = text.replace(old, new)
        self.blocks = re.findall(r"^```(sh|cpp|text)\n(.*?)^```$", text, re.M | re.S)
        self.program = re.search(r"Save it as `(.*?)`", text)[1]
        self.env = {**os.environ, "PATH": f"{self.prefix}/bin:" + os.environ["PATH"],
                    "PKG_CONFIG_PATH": f"{self.prefix}/lib/pkgconfig"}

    def run_block(self, commands):
        with tempfile.TemporaryFile("w+") as output:
            process = subprocess.Popen(["bash", "-c", commands], cwd=self.folder, env=self.env,
                                       stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                       start_new_session=True)
            self.addCleanup(self.end_group, process.pid)
            status = process.wait()
            output.seek(0)
            return status, output.read()

    @staticmethod
    def end_group(leader):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(leader, signal.SIGTERM)

    def test_it_can_be_followed(self):
        kinds = [kind for kind, _ in self.blocks]
        self.assertEqual(kinds, ["sh", "sh", "cpp", "sh"] + ["sh", "text"] * 4)
        self.assertIn("cmake --install", self.blocks[0][1])  # replaced by an installation of this build
        subprocess.run(["cmake", "--install", BUILD, "--prefix", self.prefix], stdout=subprocess.DEVNULL,
                       check=True)
        for number, (kind, block) in enumerate(self.blocks[1:], 1):
            if kind == "cpp":
                with open(os.path.join(self.folder, self.program), "w", encoding="utf-8") as file:
                    file.write(block)
            elif kind == "sh":
                expected = self.blocks[number + 1][1] if kinds[number + 1:number + 2] == ["text"] else ""
                until = time.monotonic() + 60  # for processes that are starting
                while (outcome := self.run_block(block)) != (0, expected) and expected:
                    if time.monotonic() > until:
                        break
                    time.sleep(0.5)
                self.assertEqual(outcome, (0, expected), block)


if __name__ == "__main__":
    unittest.main()
