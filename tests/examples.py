"""Takes the programs of a guide, and what each is said to print, out for the build: examples.py GUIDE FOLDER. Prints the
programs' files."""
import pathlib
import re
import sys

guide, folder = map(pathlib.Path, sys.argv[1:])
blocks = re.findall(r"^```(cpp|text)\n(.*?)^```$", guide.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL)
if [kind for kind, _ in blocks] != ["cpp", "text"] * 11:
    sys.exit("expected eleven programs, each followed by its output, not %s" % [kind for kind, _ in blocks])
folder.mkdir(parents=True, exist_ok=True)
files = [folder / ("example_%d.%s" % (1 + number // 2, "txt" if number % 2 else "cpp")) for number in range(len(blocks))]
for file, (_, text) in zip(files, blocks):
    if not file.exists() or file.read_text(encoding="utf-8") != text:  # else nothing is to be built again
        file.write_text(text, encoding="utf-8")
print(*files[::2], sep=";", end="")
