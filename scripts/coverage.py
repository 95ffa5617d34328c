"""Prints the totals of an export of llvm-cov, and on standard error what was missed: coverage.py FILE.

llvm-cov's report has only the best covered instance of a template. Here, all its instances count."""
import collections
import json
import os
import re
import sys


def text(path, line, column, end_line, end_column):
    with open(path, encoding="utf-8") as file:
        lines = file.readlines()[line - 1:end_line]
    lines[-1] = lines[-1][:end_column - 1]
    lines[0] = lines[0][column - 1:]
    return f"{path}:{line}: {' '.join(''.join(lines).split())}"


def ours(places):
    return sorted(place for place in places if re.match("(app|libraries)/", place[0]))


def row(what, covered, total):
    print(f"{what:18} {covered:6} of {total:6} {100 * covered / total:6.1f} %")


def show(what, missed, total):
    row(what, total - len(missed), total)
    print("\n  ".join([f"{what}, missed:", *missed]), file=sys.stderr)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        coverage = json.load(file)["data"][0]
    functions, branches, decisions = collections.Counter(), {}, {}
    for function in coverage["functions"]:
        names = [os.path.relpath(name) for name in function["filenames"]]
        functions[names[0], function["regions"][0][0]] += function["count"]
        for *place, true, false, number, _, _ in function["branches"]:
            counts = branches.setdefault((names[number], *place), collections.Counter())
            counts.update({"true": true, "false": false})
        for *place, number, _, conditions in function["mcdc_records"]:
            known = decisions.setdefault((names[number], *place), conditions)
            decisions[(names[number], *place)] = [one or other for one, other in zip(known, conditions)]

    lines = coverage["totals"]["lines"]
    row("lines", lines["covered"], lines["count"])
    places = ours(functions)
    missed = [f"{path}:{line}" for path, line in places if not functions[path, line]]
    show("functions", missed, len(places))
    places = ours(branches)
    missed = [f"{text(*place)}: never {outcome}" for place in places for outcome in ("true", "false")
              if not branches[place][outcome]]
    show("branches", missed, 2 * len(places))
    places = ours(decisions)
    missed = [f"{text(*place)}: number {number}" for place in places
              for number, decided in enumerate(decisions[place], 1) if not decided]
    show("conditions (MC/DC)", missed, sum(len(decisions[place]) for place in places))


main()
