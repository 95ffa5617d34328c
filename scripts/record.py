#!/usr/bin/python3
"""Runs a command and puts what it prints into docs/reliability.md: scripts/record.py COMMAND [ARGUMENT...]

The document must have a block that begins with the line "$ COMMAND ARGUMENT...". Lines that end in "..." are
progress messages and are left out.
"""
import pathlib
import re
import subprocess
import sys

DOCUMENT = pathlib.Path(__file__).resolve().parent.parent / "docs/reliability.md"


def main(command):
    line = "$ " + " ".join(command)
    block = re.compile(rf"(?<=^```text\n){re.escape(line)}\n.*?(?=^```$)", re.M | re.S)
    if not block.search(DOCUMENT.read_text("utf-8")):
        sys.exit(f"{DOCUMENT.name} has no block for {line}")
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        printed = [text for text in process.stdout if not text.endswith("...\n")]
    if process.returncode != 0:
        sys.exit(f"{line} failed with exit status {process.returncode}; the document is unchanged")
    output = f"{line}\n" + "".join(printed)
    DOCUMENT.write_text(block.sub(lambda _: output, DOCUMENT.read_text("utf-8")), "utf-8")


if __name__ == "__main__":
    main(sys.argv[1:])
