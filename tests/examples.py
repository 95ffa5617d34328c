"""The programs in a guide, kept working: `extract DOC OUTDIR` takes them out for the build and prints their files,
`check PROGRAM EXPECTED` runs one in a folder of its own and compares what it prints."""
import difflib
import os
import re
import subprocess
import sys
import tempfile

EXAMPLES = 10
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
GUARD = 120  # seconds that no example needs; nothing is measured by them


def examples(text):
    """Pairs of a program and what it prints; the first block of text behind a program is its output."""
    blocks = [(kind, body) for kind, body in BLOCK.findall(text) if kind in ("cpp", "text")]
    if [kind for kind, _ in blocks] != ["cpp", "text"] * EXAMPLES:
        order = " ".join(kind for kind, _ in blocks)
        sys.exit(f"{EXAMPLES} programs are wanted, each with its output behind it; the blocks are: {order}")
    bodies = [body for _, body in blocks]
    return zip(bodies[::2], bodies[1::2])


def write_changed(path, text):
    """Leaves a file that is up to date alone, so that nothing is built again for it."""
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            if file.read() == text:
                return
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def extract(document, folder):
    with open(document, encoding="utf-8") as file:
        text = file.read()
    os.makedirs(folder, exist_ok=True)
    sources = []
    for number, (program, output) in enumerate(examples(text), 1):
        stem = os.path.join(folder, f"example_{number}")
        write_changed(stem + ".cpp", program)
        write_changed(stem + ".txt", output)
        sources.append(stem + ".cpp")
    print(";".join(sources), end="")


def check(program, expected):
    with open(expected, encoding="utf-8") as file:
        wanted = file.read()
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run([os.path.abspath(program)], cwd=folder, stdout=subprocess.PIPE, timeout=GUARD, check=True)
    printed = run.stdout.decode("utf-8", "backslashreplace")
    if printed != wanted:
        lines = (text.splitlines(keepends=True) for text in (wanted, printed))
        sys.exit("".join(difflib.unified_diff(*lines, "in the guide", "printed")))


if __name__ == "__main__":
    {"extract": extract, "check": check}[sys.argv[1]](*sys.argv[2:])
