"""Extracts the programs of a guide, and the output shown for each, for the build: examples.py GUIDE FOLDER.

Prints the programs' files."""
import pathlib
import re
import sys

guide, folder = map(pathlib.Path, sys.argv[1:])
blocks = re.findall(r"^```(cpp|text)\n(.*?)^```$", guide.read_text(encoding="utf-8"), re.M | re.S)
if [kind for kind, _ in blocks] != ["cpp", "text"] * 11:
    sys.exit(f"expected eleven programs, each followed by its output, not {[kind for kind, _ in blocks]}")
folder.mkdir(parents=True, exist_ok=True)
files = [folder / f"example_{number}.{suffix}" for number in range(1, 12) for suffix in ("cpp", "txt")]
for file, (_, text) in zip(files, blocks):
    if not file.exists() or file.read_text(encoding="utf-8") != text:  # or make would build it again
        file.write_text(text, encoding="utf-8")
print(*files[::2], sep=";", end="")
