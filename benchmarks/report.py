#!/usr/bin/python3
"""Measures and prints tables: report.py BUILD PART [--quick] [--page PAGE CHART]. PART is library, request, growth or all.
Ends with 1 if an operation grows faster than its input."""
import json
import os
import statistics
import string
import subprocess
import sys

import chart
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)) + "/request")
import measure  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
LIMIT, OURS, OPERATIONS = "by hand", "ours", "ours, public operations"
CORE = 500  # million instructions a second: a small ARM core
MOST_GROWTH = 16  # at 8 n; a sorted container and colder caches give up to 13, the square of the input 64
# Job: its piece, the targets of ours, what was written by hand, what it means on a small ARM core ("%s": the time there of
# so many pieces).
JOBS = {
    "url parse, set, print": ("url", {OURS: 1.1}, "strings and a map", 1, "%s in each request"),
    "form of 30 fields": ("field", {OURS: 1.3, OPERATIONS: 1.7}, "one pass into a `std::map`", 30, "%s in each request"),
    "settings file of 30 fields, read and checked": ("field", {OURS: 4}, "one buffer, each value checked where it is", 30,
                                                     "%s after each save"),
    "percent-decoding": ("byte", {OURS: 1.15}, "blocks of 16 bytes", 1000, "%s for a note of 1 KB"),
    "escaping": ("byte", {OURS: 1.6}, "blocks of 16 bytes", 1000, "%s for a text of 1 KB"),
    "unescaping": ("byte", {OURS: 1.5}, "blocks of 16 bytes", 1000, "%s for a text of 1 KB"),
    "map of 10 000 strings to binary": ("element", {OURS: 1.15}, "the length, then copy", 100, "%s to save 100 settings"),
    "map of 10 000 strings from binary": ("element", {OURS: 1.15}, "one pass into the container", 100,
                                          "%s to load 100 settings at the start"),
    "100 000 numbers as records, write": ("record", {OURS: 1.2}, "a growing buffer and virtual objects", 1000,
                                          "%s for 1000 samples"),
    "100 000 numbers as records, read": ("record", {OURS: 1.15}, "virtual objects", 1000, "%s for 1000 samples"),
}
# What of the request is compared: heading, and the target as a ratio to static C or as a number.
REQUEST = {"time": ("processor time, µs", 1.05, None), "instructions": ("instructions", None, 165000),
           "calls": ("calls", None, 40), "faults": ("faults", None, 36), "size": ("size, KB", None, 870),
           "memory": ("memory, KB", None, 850)}
TINY = {"time": 1.10, "size": 110}


def number(value):
    if value >= 1000:
        return "{:,.0f}".format(value).replace(",", " ")
    return "%.0f" % value if value >= 100 else "%.1f" % value if value >= 10 else "%.2f" % value


def on_core(instructions):
    microseconds = instructions / CORE
    if microseconds < 1:
        return number(microseconds * 1000) + " ns"
    return number(microseconds / 1000) + " ms" if microseconds >= 1000 else number(microseconds) + " µs"


def table(headings, rows):
    rule = ["---"] + ["---:"] * (len(headings) - 1)
    return "\n".join("| " + " | ".join(row) + " |" for row in [headings, rule, *rows])


def run_benchmarks(build, pattern, quick, repetitions, least_time):
    """{name: processor times in ns for a piece}"""
    output = build + "/library.json"
    subprocess.run([build + "/benchmarks/library_bench", "--benchmark_filter=" + pattern, "--benchmark_out=" + output,
                    "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=%g" % least_time,
                    "--benchmark_repetitions=%d" % (3 if quick else repetitions)],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    times = {}
    with open(output) as file:
        for run in json.load(file)["benchmarks"]:
            if run["run_type"] == "iteration":
                times.setdefault(run["run_name"], []).append(run["cpu_time"] / run["pieces"])
    return times


def measure_library(build, quick):
    """{job: {contender: ns for a piece}}"""
    jobs = {}
    for name, times in run_benchmarks(build, "^[^g]", quick, 21, 0.02).items():
        job, contender = name.split("/", 1)
        jobs.setdefault(job, {})[contender] = statistics.median(times)
    return jobs


def measure_arm(build):
    """{job: {contender: instructions for a piece}}"""
    program = build + "/armhf/benchmarks/countedJobs"
    command = [*measure.emulator(build), program]
    jobs = {}
    for line in subprocess.run(["/usr/bin/qemu-arm", program], check=True, stdout=subprocess.PIPE).stdout.decode().splitlines():
        job, contender, pieces = line.split("\t")
        once, none = (measure.instructions(subprocess.run([*command, job, contender, times], check=True,
                                                          stderr=subprocess.PIPE).stderr.decode()) for times in "10")
        jobs.setdefault(job, {})[contender] = (once - none) / float(pieces)
    return jobs


def measure_growth(build, quick):
    """[(operation, n, µs at n, µs at 8 n)]; the shortest times, because what disturbs only ever adds."""
    shortest, rows = {}, []
    for _ in range(3):  # a disturbed measurement is repeated
        for name, times in run_benchmarks(build, "^growth/", quick, 7, 0.002).items():
            shortest[name] = min([shortest.get(name, float("inf")), *(time / 1000 for time in times)])
        sizes = {}
        for name, time in shortest.items():
            operation, n = name.split("/", 1)[1].rsplit("/", 1)
            sizes.setdefault(operation, []).append((int(n), time))
        rows = [(operation, str(small[0]), small[1], large[1]) for operation, (small, large) in
                ((operation, sorted(both)) for operation, both in sizes.items())]
        if not too_fast(rows):
            break
    return rows


def too_fast(rows):
    return [name for name, _, small, large in rows if large / small > MOST_GROWTH]


def library_table(jobs, arm):
    rows = []
    for job, (piece, targets, _, pieces, use) in JOBS.items():
        times = jobs[job]
        for contender, target in targets.items():
            peers = sorted((time / times[LIMIT], name) for name, time in times.items() if name != LIMIT and name not in targets)
            means = use % on_core(arm[job][contender] * pieces)
            rows.append([job + contender.replace(OURS, "", 1), "%s ns/%s" % (number(times[LIMIT]), piece),
                         "%.2f" % (times[contender] / times[LIMIT]), "%.2f" % target,
                         ", ".join("%s %.2f" % (name, ratio) for ratio, name in peers), means])
    return table(["Job", "limit", "ours", "target", "peers", "on a small ARM core"], rows)


def arm_table(arm, request):
    rows = [["request, 100 processes", "", *(number(request["arm"][name]["instructions"]) for name in ("static C", OURS)),
             "%.2f" % (request["arm"][OURS]["instructions"] / request["arm"]["static C"]["instructions"]),
             on_core(request["arm"][OURS]["instructions"])]]
    for job, (piece, targets, _, pieces, _) in JOBS.items():
        for contender in targets:
            counts = arm[job]
            rows.append([job + contender.replace(OURS, "", 1), "one " + piece, number(counts[LIMIT]), number(counts[contender]),
                         "%.2f" % (counts[contender] / counts[LIMIT]), on_core(counts[contender])])
    return table(["Job", "of", "limit, instructions", "ours, instructions", "ratio", "time of ours"], rows)


def request_table(request):
    values, arm = request["100"], request["arm"]
    rows = []
    # What an instruction here is there, by the program that was counted on both.
    scale = arm[OURS]["instructions"] / values[OURS]["instructions"]
    for name, columns in values.items():
        cells = ["%.0f" % columns[what] if what in columns else "" for what in REQUEST]
        rows.append([name, "%.2f" % (columns["time"] / values["static C"]["time"]), *cells,
                     ("" if name in arm else "about ") + on_core(arm.get(name, {}).get("instructions", columns["instructions"] * scale))])
    targets = ["%.0f" % absolute if absolute else "" for _, _, absolute in REQUEST.values()]
    rows.append(["*target for ours*", "1.05", *targets, ""])
    return table(["Program", "ratio of time"] + [heading for heading, *_ in REQUEST.values()] + ["on a small ARM core"], rows)


def times_table(request):
    columns = [each for each in request if each != "arm"]
    rows = [[name] + ["%s µs, %.2f" % (number(request[each][name]["time"]), request[each][name]["time"] / request[each]["static C"]["time"])
                      if name in request[each] else "" for each in columns] for name in request["signalled"]]
    return table(["Program"] + [each if each == "signalled" else each + " processes" for each in columns], rows)


def growth_table(rows):
    return table(["Operation and input", "n", "µs at n", "µs at 8 n", "ratio"],
                 [[name, n, number(small), number(large), "%.1f" % (large / small)] for name, n, small, large in rows])


def missed(jobs, request):
    with open(HERE + "/reasons.json") as file:
        reasons = json.load(file)
    found = [(job + contender.replace(OURS, "", 1), jobs[job][contender] / jobs[job][LIMIT], target)
             for job, (_, targets, *_) in JOBS.items() for contender, target in targets.items()]
    values = request["100"]
    for what, (heading, ratio, absolute) in REQUEST.items():
        found.append(("request, " + heading.split(",")[0], values[OURS][what] / (values["static C"][what] if ratio else 1), ratio or absolute))
    found.append(("tiny, processor time", values["ours, preset tiny"]["time"] / values["static C"]["time"], TINY["time"]))
    found.append(("tiny, size", values["ours, preset tiny"]["size"], TINY["size"]))
    return "\n".join("- %s: %s instead of %s. %s" % (name, number(got), number(wanted), reasons.get(name, ""))
                     for name, got, wanted in found if round(got, 2) > wanted) or "None in this run."


def machine():
    with open("/etc/os-release") as file:
        release = dict(line.rstrip().split("=", 1) for line in file if "=" in line)
    compiler = subprocess.run(["g++", "--version"], stdout=subprocess.PIPE, check=True).stdout.decode().splitlines()[0]
    return "%d cores, %s, %s, `-O2`, %s" % (os.cpu_count(), os.uname().machine.replace("_", "-"), release["PRETTY_NAME"].strip('"'), compiler)


def chart_of(jobs, request):
    time = {name: columns["time"] for name, columns in request["100"].items()}
    bars = [("request, processor time", time[OURS] / time["static C"], 1.05, "cgicc", time["cgicc"] / time["static C"])]
    for job, (_, targets, *_) in JOBS.items():
        ratios = {name: value / jobs[job][LIMIT] for name, value in jobs[job].items()}
        peer = min((name for name in ratios if name != LIMIT and name not in targets), key=ratios.get, default=None)
        if peer is None:
            continue  # nothing to draw it beside
        bars.append((job, ratios[OURS], targets[OURS], peer, ratios[peer]))
    return chart.draw(bars)


def main():
    build, part = os.path.abspath(sys.argv[1]), sys.argv[2]
    quick = "--quick" in sys.argv
    parts = {"machine": machine()}
    jobs = request = {}
    if part in ("all", "request"):
        request = measure.measure(build, quick)
        parts.update(request_table=request_table(request), times_table=times_table(request))
    if part in ("all", "library"):
        jobs, arm = measure_library(build, quick), measure_arm(build)
        parts.update(library_table=library_table(jobs, arm), limits="\n".join("- %s: %s" % (job, each[2]) for job, each in JOBS.items()))
    if part == "all":
        parts.update(arm_table=arm_table(arm, request), missed=missed(jobs, request))
    growth = measure_growth(build, quick) if part in ("all", "growth") else []
    if growth:
        parts["growth_table"] = growth_table(growth)
    print("\n\n".join(text for name, text in parts.items() if name.endswith("_table") or name == "missed"))
    if "--page" in sys.argv:
        page, svg = sys.argv[-2:]
        with open(HERE + "/performance.md.in") as template, open(page, "w") as file:
            file.write(string.Template(template.read()).substitute(parts, core=CORE))
        with open(svg, "w") as file:
            file.write(chart_of(jobs, request))
    if too_fast(growth):
        sys.exit("Grows faster than its input: " + ", ".join(too_fast(growth)))


main()
