"""The programs in a guide, kept working: `extract DOC OUTDIR` takes them out for the build and prints their files,
`check PROGRAM EXPECTED` runs one in a folder of its own and compares what it prints."""
import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

EXAMPLES = 10
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
GUARD = 120  # seconds that no example needs; nothing is measured by them


def examples(text):
    """Pairs of a program and what it prints; the first block of text behind a program is its output."""
    kinds, bodies = zip(*(block for block in BLOCK.findall(text) if block[0] in ("cpp", "text")))
    if kinds != ("cpp", "text") * EXAMPLES:
        sys.exit(f"{EXAMPLES} programs are wanted, each with its output behind it; the blocks are: {kinds}")
    return zip(bodies[::2], bodies[1::2])


def write_changed(path, text):
    """Leaves a file that is up to date alone, so that nothing is built again for it."""
    file = pathlib.Path(path)
    if not file.exists() or file.read_text(encoding="utf-8") != text:
        file.write_text(text, encoding="utf-8")


def extract(document, folder):
    os.makedirs(folder, exist_ok=True)
    stems = []
    for number, bodies in enumerate(examples(pathlib.Path(document).read_text(encoding="utf-8")), 1):
        stems.append(os.path.join(folder, f"example_{number}"))
        for suffix, body in zip((".cpp", ".txt"), bodies):
            write_changed(stems[-1] + suffix, body)
    print(";".join(stem + ".cpp" for stem in stems), end="")


def check(program, expected):
    wanted = pathlib.Path(expected).read_text(encoding="utf-8")
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run([os.path.abspath(program)], cwd=folder, stdout=subprocess.PIPE, timeout=GUARD, check=True)
    printed = run.stdout.decode("utf-8", "backslashreplace")
    if printed != wanted:
        lines = (text.splitlines(keepends=True) for text in (wanted, printed))
        sys.exit("".join(difflib.unified_diff(*lines, "in the guide", "printed")))


if __name__ == "__main__":
    {"extract": extract, "check": check}[sys.argv[1]](*sys.argv[2:])
