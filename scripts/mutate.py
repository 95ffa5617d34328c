"""Tests the tests with mutants. A mutant is the source with one change; a test kills it by failing."""
import argparse
import collections
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile

WORK = os.path.abspath("build/mutate")
TREE, BUILD = os.path.join(WORK, "tree"), os.path.join(WORK, "build")
LIBRARY_TESTS = ["tests/zu_tests", "tests/allocation_tests", "tests/xml_backend_tests"]
PROGRAM = "app/saveSettings"
ENVIRONMENT = {**os.environ, "SAVESETTINGS": os.path.join(BUILD, PROGRAM)}
LIMIT = 60  # seconds for each test program; unchanged, each takes less than a tenth of it

Mutant = collections.namedtuple("Mutant", "path start end text")

# Hidden from the patterns below: comments, literals, directives.
MASKED = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\''
                    r'|^[ \t]*#[^\n]*|static_assert\([^;]*;', re.S | re.M)
CHARACTER = re.compile(r"'(?:\\.|[^'\\\n])+'")

# Each operator, with the blanks of clang-format's layout, and its replacements.
OPERATORS = {
    " == ": [" != "], " != ": [" == "], " < ": [" <= ", " >= "], " <= ": [" < ", " > "],
    " > ": [" >= ", " <= "], " >= ": [" > ", " < "], " + ": [" - "], " - ": [" + "], " * ": [" / "],
    " / ": [" * "], " % ": [" / "], " += ": [" -= ", " = "], " -= ": [" += "], "++": ["--"], "--": ["++"],
    " && ": [" || "], " || ": [" && "], " & ": [" | "], " | ": [" & "], " << ": [" >> "], " >> ": [" << "],
    " ? ": [" || true ? ", " && false ? "],
}
OPERATOR = re.compile("|".join(re.escape(operator) for operator in sorted(OPERATORS, key=len, reverse=True)))
NEGATION = re.compile(r"(?<![\w)])!(?=[\w(])")
WORDS = {"true": "false", "false": "true", "break": "continue", "continue": "break", "begin": "end",
         "min": "max", "max": "min"}
WORD = re.compile(rf"\b(?:{'|'.join(WORDS)})\b")
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(?=[uUlL]*\b(?![\w.']))")
CONDITION = re.compile(r"\b(?:if|while) \(")
# An assignment, a call, an increment, a jump; a declaration begins with two words.
STATEMENT = re.compile(r"^[ \t]+((?:[\w:]+(?:\.|->|\(|\[| \S?= )|[*+-]|throw |return;|continue;|delete)"
                       r"[^\n;{}]*;)$", re.M)


def closing(text, start):
    """The position of the parenthesis that closes the one before `start`."""
    depth = 1
    while depth:
        depth += {"(": 1, ")": -1}.get(text[start], 0)
        start += 1
    return start - 1


def mutants_of(path):
    source = read(path).decode()
    text = MASKED.sub(lambda match: re.sub(r"[^\n]", "\1", match[0]), source)
    for match in OPERATOR.finditer(text):
        for other in OPERATORS[match[0]]:
            yield Mutant(path, *match.span(), other)
    for match in NEGATION.finditer(text):
        yield Mutant(path, *match.span(), "")
    for match in WORD.finditer(text):
        yield Mutant(path, *match.span(), WORDS[match[0]])
    for match in NUMBER.finditer(text):
        value = int(match[0], 8 if re.match("0[0-7]", match[0]) else 0)
        for other in (value + 1, value - 1) if value else (1,):
            yield Mutant(path, *match.span(), str(other))
    for match in CHARACTER.finditer(source):
        if text[match.start()] == "\1" and source[match.start() - 1:match.start()] not in ('"', "'"):
            yield Mutant(path, *match.span(), "'#'" if match[0] != "'#'" else "'$'")
    for match in CONDITION.finditer(text):
        for value in ("true", "false"):
            yield Mutant(path, match.end(), closing(text, match.end()), value)
    for match in STATEMENT.finditer(text):
        yield Mutant(path, *match.span(1), ";")


def copy_tree():
    """Updates the copy; unchanged files are not written, so they are not built again."""
    listed = subprocess.run(["git", "ls-files", "-z"], stdout=subprocess.PIPE, check=True, text=True).stdout
    names = [name for name in listed.split("\0") if os.path.isfile(name)]
    for name in names:
        os.makedirs(os.path.dirname(os.path.join(TREE, name)), exist_ok=True)
        if not os.path.exists(os.path.join(TREE, name)) or read(name) != read(name, "."):
            shutil.copy(name, os.path.join(TREE, name))
    return names


def read(path, folder=TREE):
    with open(os.path.join(folder, path), "rb") as file:
        return file.read()


def write(path, content):
    with open(os.path.join(TREE, path), "wb") as file:
        file.write(content)


def configure():
    # Optimised, so that changes without effect give the same program.
    flags = [f"-DCMAKE_{language}_FLAGS=-O1" for language in ("C", "CXX")]
    launcher = [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")]
    options = ["-DCMAKE_BUILD_TYPE=None", "-DZU_HARDENING=OFF", *flags, *launcher]
    subprocess.run(["cmake", "-S", TREE, "-B", BUILD, *options], stdout=subprocess.DEVNULL, check=True)


def build():
    """Returns the bytes of each program; None if the source does not compile."""
    programs = [*LIBRARY_TESTS, PROGRAM]
    targets = ["--target", *map(os.path.basename, programs)]
    done = run(["cmake", "--build", BUILD, "--parallel", str(os.cpu_count()), *targets], 10 * LIMIT)
    return {program: read(program, BUILD) for program in programs} if done == 0 else None


def limit_resources():
    # The tests themselves write a sparse file of 4 GiB and reserve twice that of memory.
    limits = ((resource.RLIMIT_CORE, 0), (resource.RLIMIT_FSIZE, 5 << 30), (resource.RLIMIT_AS, 12 << 30))
    for kind, most in limits:
        resource.setrlimit(kind, (most, most))


def run(command, limit, **options):
    """Returns the exit status, or None after `limit` seconds. Ends and removes all that the command left."""
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as scratch:
        os.chmod(scratch, 0o1777)
        quiet = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL)
        process = subprocess.Popen(command, **quiet, start_new_session=True, preexec_fn=limit_resources,
                                   env={**ENVIRONMENT, "TMPDIR": scratch}, **options)
        try:
            return process.wait(timeout=limit)
        except subprocess.TimeoutExpired:
            return None
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()


def isolation():
    """Returns a command that hides other processes, which a mutant may signal; empty if not allowed."""
    wrap = ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc"]
    done = subprocess.run([*wrap, "true"], stderr=subprocess.DEVNULL, check=False)
    return wrap if done.returncode == 0 else []


def killer(programs, originals, wrap):
    """Returns the first test that fails, of those whose program has changed; None if all pass."""
    for test in LIBRARY_TESTS:
        command = [os.path.join(BUILD, test), "--gtest_fail_fast"]
        if programs[test] != originals.get(test) and run([*wrap, *command], LIMIT) != 0:
            return test
    command = [sys.executable, "-B", os.path.join(TREE, "tests", "program_test.py"), "--failfast"]
    if programs[PROGRAM] != originals.get(PROGRAM) and run([*wrap, *command], LIMIT, cwd=TREE) != 0:
        return "program_test.py"
    return None


def try_out(mutant, originals, wrap):
    source = read(mutant.path).decode()
    write(mutant.path, (source[:mutant.start] + mutant.text + source[mutant.end:]).encode())
    try:
        programs = build()
        if programs is None:
            return "does not compile"
        if programs == originals:
            return "the same program"
        test = killer(programs, originals, wrap)
        return "killed by " + test if test else "SURVIVED"
    finally:
        write(mutant.path, source.encode())


def describe(mutant):
    source = read(mutant.path).decode()
    line = source.count("\n", 0, mutant.start) + 1
    first, last = source.rfind("\n", 0, mutant.start) + 1, source.find("\n", mutant.end)
    change = f"[{source[mutant.start:mutant.end]} -> {mutant.text}]"
    changed = source[first:mutant.start] + change + source[mutant.end:last]
    return f"{mutant.path}:{line}: {' '.join(changed.split())}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--count", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("paths", nargs="*", default=["app/", "libraries/"])
    arguments = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("stopped"))

    names = copy_tree()
    configure()
    originals, wrap = build(), isolation()
    failed = killer(originals, {}, wrap) if originals else "the build"
    if failed:
        return "Fails without any change: " + failed
    sources = [name for name in names
               if name.startswith(tuple(arguments.paths)) and name.endswith((".cpp", ".h"))]
    chosen = [mutant for name in sources for mutant in mutants_of(name)]
    random.Random(arguments.seed).shuffle(chosen)
    results, survivors, tested = collections.Counter(), [], 0
    for mutant in chosen:
        if tested >= arguments.count:
            break
        result = try_out(mutant, originals, wrap)
        results[result] += 1
        tested += result.startswith(("killed", "SURV"))
        print(f"{result:32} {describe(mutant)}", file=sys.stderr, flush=True)
        survivors += [describe(mutant)] * (result == "SURVIVED")
    print(f"of {len(chosen)} possible changes:")
    for result, count in sorted(results.items()):
        print(f"{count:5} {result}")
    for survivor in survivors:
        print(survivor)
    return 0


if __name__ == "__main__":
    sys.exit(main())
