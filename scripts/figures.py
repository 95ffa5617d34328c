"""Writes the sizes in the documents, or checks them: figures.py [--check] [PRESET...]

Builds the program with each preset, by default all that the tables of targets list, and puts its stripped
size into these tables; with the preset "release" also the other sizes named below. With --check it changes
nothing and fails if a document has another figure.
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
README, DEPLOY = ROOT / "README.md", ROOT / "docs/deploy.md"
GUIDE, APPLICATION = ROOT / "docs/library.md", ROOT / "docs/application.md"
DOCUMENTS = (README, DEPLOY)  # those with tables of presets
ROW = r"^\| `{}` \|.*\| ([0-9 ]+)(?: stripped)? \|$"  # a preset and its program's size


def run(*command):
    subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)


def is_stripped(program):
    described = subprocess.run(["file", "-b", str(program)], capture_output=True, text=True, check=True)
    return "not stripped" not in described.stdout


def stripped_size(program):
    stripped = program.with_suffix(".stripped")
    run(*(["cp"] if is_stripped(program) else ["objcopy", "--strip-all"]), str(program), str(stripped))
    return stripped.stat().st_size


def built_size(preset, target, *options):
    names = [option.strip("-").split("/")[0].replace("=", "-") for option in options]
    build = ROOT / "build" / "figures" / "-".join([preset, *names])
    run("cmake", "--preset", preset, "-B", str(build), *options)
    run("cmake", "--build", str(build), "-j", "2", "--target", pathlib.Path(target).name)
    return stripped_size(build / target)


def options_of(preset):
    if preset == "release":
        return []
    musl = [f"-DZU_MUSL={ROOT}/build/cross-deps/{preset}/usr"] if preset.startswith("tiny-") else []
    return ["-DZU_BUILD_TESTS=OFF", *musl]


def figures(presets):
    """Yields (document, pattern with the figure as its group, bytes)."""
    program = "app/saveSettings"
    for preset in presets:
        size = built_size(preset, program, *options_of(preset))
        for document in DOCUMENTS:
            if preset in presets_of(document):
                yield document, ROW.format(preset), size
        if preset != "release":
            continue
        yield README, r"^\| size, stripped: static, .*? \| ([0-9 ]+) bytes \|", size
        size = built_size(preset, program, "-DZU_STATIC_PROGRAM=OFF")
        yield README, r"^\| size, stripped: dynamic \| ([0-9 ]+) bytes \|", size
        example = "tests/example_6"
        size = built_size(preset, example)
        yield GUIDE, r"^\| `none`, the default \|.*\| ([0-9 ]+) bytes \|$", size
        size = built_size(preset, example, "-DZU_XML_BACKEND=pugixml")
        yield GUIDE, r"^\| `pugixml` \|.*\| ([0-9 ]+) bytes \|$", size
        size = built_size(preset, "demo/fan")
        yield APPLICATION, r"^\| dynamic \| ([0-9 ]+) bytes \|$", size
        size = built_size(preset, "demo/fan", "-DCMAKE_EXE_LINKER_FLAGS=-static")
        yield APPLICATION, r"^\| static \| ([0-9 ]+) bytes \|$", size


def presets_of(document):
    rows = re.findall(ROW.format("([a-z0-9-]+)"), document.read_text("utf-8"), re.M)
    return [preset for preset, _ in rows]


def main(arguments):
    is_check = "--check" in arguments
    presets = [argument for argument in arguments if argument != "--check"]
    presets = presets or sorted({preset for document in DOCUMENTS for preset in presets_of(document)})
    differs = False
    for document, pattern, size in figures(presets):
        text = document.read_text("utf-8")
        found = re.search(pattern, text, re.M)
        if found is None:
            sys.exit(f"{document.name} has no line for {pattern}")
        figure = f"{size:,}".replace(",", " ")
        if found[1] == figure:
            continue
        differs = True
        print(f"{document.relative_to(ROOT)}: {found[1]}, now {figure}: {found[0]}")
        if not is_check:
            document.write_text(text[:found.start(1)] + figure + text[found.end(1):], "utf-8")
    if is_check and differs:
        sys.exit("Figures differ: run scripts/figures and commit what it writes.")
    print(f"sizes of {', '.join(presets)}: {'checked' if is_check else 'written'}")


if __name__ == "__main__":
    main(sys.argv[1:])
