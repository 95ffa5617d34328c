#!/usr/bin/python3
"""Measures and prints tables: report.py BUILD PART [--quick] [--page PAGE CHART]. PART is library, request,
growth or all. With --page, updates the page. Ends with 1 if an operation grows too fast."""
import json
import os
import re
import statistics
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE + "/request")
import measure  # noqa: E402

LIMIT, OURS, OPERATIONS = "by hand", "ours", "ours, public operations"
CORE = 500  # million instructions a second: a small ARM core
MOST_GROWTH = 16  # at 8 n; a sorted container and colder caches give up to 13, the square of the input 64
MB = 1 << 20
# Job: what its time is divided by and how many of these it has, the targets, how many a use takes, the use.
JOBS = {
    "url parse, set, print": ("url", 1, {OURS: 1.1}, 1, "in each request"),
    "form of 30 fields": ("field", 30, {OURS: 1.3, OPERATIONS: 1.7}, 30, "in each request"),
    "form of 20 000 fields": ("field", 20000, {OURS: 1.1}, 20000, "for a hostile form"),
    "settings text of 30 fields, parsed and checked": ("field", 30, {OURS: 4}, 30, "after each save"),
    "percent-decoding, 2 % escapes": ("byte", MB, {OURS: 1.15}, 1000, "for a note of 1 KB"),
    "percent-decoding, 20 % escapes": ("byte", MB, {OURS: 1.25}, 1000, "for a note of 1 KB"),
    "escaping": ("byte", MB, {OURS: 1.6}, 1000, "for a text of 1 KB"),
    "unescaping": ("byte", MB, {OURS: 1.5}, 1000, "for a text of 1 KB"),
    "map of 10 000 strings to binary": ("element", 10000, {OURS: 1.0}, 100, "to save 100 settings"),
    "map of 10 000 strings from binary": ("element", 10000, {OURS: 1.15}, 100, "to load 100 settings"),
    "list of 10 000 strings to binary": ("element", 10000, {OURS: 1.5}, 100, "to save 100 texts"),
    "list of 10 000 strings from binary": ("element", 10000, {OURS: 1.15}, 100, "to load 100 texts"),
    "100 000 numbers as records, write": ("record", 100000, {OURS: 1.2}, 1000, "for 1000 samples"),
    "100 000 numbers as records, read": ("record", 100000, {OURS: 1.15}, 1000, "for 1000 samples"),
}
ROWS = [(job, contender, job + contender.replace(OURS, "", 1), target)
        for job, (_, _, targets, _, _) in JOBS.items() for contender, target in targets.items()]
# What is compared of the request, and the target for ours.
REQUEST = {"ratio": 1.05, "µs": None, "instructions": 165000, "calls": 40, "faults": 36, "size, KB": 870,
           "memory, KB": 850, "ARM": None}


def number(value):
    return "%.*f" % (0 if value >= 100 else 1 if value >= 10 else 2, value)


def on_core(instructions):
    microseconds = instructions / CORE
    return number(microseconds) + " µs" if microseconds < 1000 else number(microseconds / 1000) + " ms"


def table(headings, rows):
    rule = ["---"] + ["---:"] * (len(headings) - 1)
    return "\n".join("| " + " | ".join(row) + " |" for row in [headings, rule, *rows])


def run_benchmarks(build, pattern, repetitions, least_time):
    """Returns {name: processor times of one run in ns}; the contenders take turns at random."""
    printed = subprocess.check_output(
        [build + "/benchmarks/library_bench", "--benchmark_filter=" + pattern, "--benchmark_format=json",
         "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=%g" % least_time,
         "--benchmark_repetitions=%d" % repetitions], stderr=subprocess.DEVNULL)
    times = {}
    for run in json.loads(printed)["benchmarks"]:
        if run["run_type"] == "iteration":
            times.setdefault(run["run_name"], []).append(run["cpu_time"])
    return times


def measure_library(build, quick):
    """Returns {job: {contender: ns for a piece}} and {job: {contender: instructions on ARM for a piece}}."""
    jobs, arm = {job: {} for job in JOBS}, {job: {} for job in JOBS}
    for name, times in run_benchmarks(build, "-^growth", 3 if quick else 21, 0.02).items():
        job, contender = name.split("/")
        jobs[job][contender] = statistics.median(times) / JOBS[job][1]
    emulated = [*measure.emulator(build), build + "/armhf/benchmarks/countedJobs"]
    run = subprocess.run(emulated, check=True, text=True, capture_output=True)
    counts = measure.instructions(run.stderr)
    for line, before, after in zip(run.stdout.splitlines(), counts[0::2], counts[1::2]):
        job, contender = line.split("\t")
        arm[job][contender] = (after - before) / JOBS[job][1]
    return jobs, arm


def measure_growth(build, quick):
    """Returns {operation: (n, µs at n, µs at 8 n)}: the shortest times."""
    shortest = {}
    for _ in range(3):  # a disturbed measurement is repeated
        for name, times in sorted(run_benchmarks(build, "^growth/", 3 if quick else 7, 0.002).items()):
            _, operation, n = name.split("/")
            each = shortest.setdefault(operation, {})
            each[int(n)] = min(each.get(int(n), float("inf")), *(time / 1000 for time in times))
        growth = {operation: (min(each), each[min(each)], each[max(each)])
                  for operation, each in shortest.items()}
        if not too_fast(growth):
            break
    return growth


def too_fast(growth):
    return [name for name, (_, small, large) in growth.items() if large / small > MOST_GROWTH]


def library_table(jobs, arm):
    rows = []
    for job, contender, heading, target in ROWS:
        piece, _, _, pieces, use = JOBS[job]
        ratios = {name: time / jobs[job][LIMIT] for name, time in jobs[job].items()}
        peers = ["%s %.2f" % (name, ratios[name]) for name in sorted(ratios, key=ratios.get)
                 if name not in (LIMIT, OURS, OPERATIONS)]
        limit, ours = arm[job][LIMIT], arm[job][contender]
        rows.append([heading, "%s ns/%s" % (number(jobs[job][LIMIT]), piece), "%.2f" % ratios[contender],
                     "%.2f" % target, ", ".join(peers), number(limit), number(ours), "%.2f" % (ours / limit),
                     on_core(ours * pieces) + " " + use])
    return table(["Job", "limit", "ours", "target", "peers", "ARM: limit", "ARM: ours", "ARM: ratio",
                  "on a small ARM core"], rows)


def request_table(request):
    scale = request[OURS]["ARM"] / request[OURS]["instructions"]  # what an instruction here is there
    rows = []
    for name, values in request.items():
        about = "about " + on_core(values["instructions"] * scale)
        there = on_core(values["ARM"]) if "ARM" in values else about
        rows.append([name, *(number(values[what]) if what in values else "" for what in REQUEST), there])
    rows.append(["*target for ours*", *(number(target) if target else "" for target in REQUEST.values()), ""])
    return table(["Program", *REQUEST, "on a small ARM core"], rows)


def growth_table(growth):
    return table(["Operation and input", "n", "µs at n", "µs at 8 n", "ratio"],
                 [[name, str(n), number(small), number(large), number(large / small)]
                  for name, (n, small, large) in growth.items()])


def missed(jobs, request):
    tiny = request["ours, preset tiny"]
    found = [(name, jobs[job][who] / jobs[job][LIMIT], target) for job, who, name, target in ROWS]
    found += [("request, " + what, request[OURS][what], target) for what, target in REQUEST.items() if target]
    found += [("tiny, ratio", tiny["µs"] / request["static C, musl"]["µs"], 1.10),
              ("tiny, size", tiny["size, KB"], 110)]
    with open(HERE + "/reasons.json") as file:
        reasons = json.load(file)
    return "\n".join("- %s: %s instead of %s. %s" % (name, number(got), number(target), reasons.get(name, ""))
                     for name, got, target in found if round(got, 2) > target) or "None in this run."


def machine():
    with open("/etc/os-release") as file:
        release = re.search('PRETTY_NAME="(.*)"', file.read())[1]
    compiler = subprocess.check_output(["g++", "--version"], text=True).splitlines()[0]
    return "This run: %d cores, %s, %s, `-O2`, %s." % (os.cpu_count(), os.uname().machine, release, compiler)


def chart(path, jobs):
    """Draws for each job a bar for ours and one for the best peer, both as ratios to the limit."""
    import matplotlib.figure
    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "performance"})
    figure = matplotlib.figure.Figure(figsize=(9, 7), layout="tight")
    axes = figure.subplots()
    for row, (job, times) in enumerate(reversed(jobs.items())):
        best = min(set(times) - {LIMIT, OURS, OPERATIONS}, key=times.get, default=LIMIT)
        for place, name, colour in ((row + 0.2, OURS, "#2f6f9f"), (row - 0.2, best, "#c9c9c9")):
            ratio = times[name] / times[LIMIT]
            axes.barh(place, ratio, 0.36, color=colour)
            axes.text(ratio, place, " %.2f %s" % (ratio, name), va="center")
        axes.plot([JOBS[job][2][OURS]] * 2, [row, row + 0.4], color="#b03030")
    axes.set(xscale="log", yticks=range(len(jobs)), yticklabels=reversed(jobs),
             title="Time as a multiple of the limit: ours, its target (red), the best peer")
    figure.savefig(path, metadata={"Date": None})


def update(path, parts):
    with open(path) as file:
        text = file.read()
    for name, content in parts.items():
        pattern = "(?s)(<!-- %s -->\n).*?(?=<!-- end -->)" % name
        text = re.sub(pattern, lambda found: found[1] + content + "\n", text)
    with open(path, "w") as file:
        file.write(text)


def main():
    build, part, quick = os.path.abspath(sys.argv[1]), sys.argv[2], "--quick" in sys.argv
    parts, growth = {"machine": machine()}, {}
    if part in ("all", "request"):
        request = measure.measure(build, quick)
        parts["request"] = request_table(request)
    if part in ("all", "library"):
        jobs, arm = measure_library(build, quick)
        parts["library"] = library_table(jobs, arm)
    if part == "all":
        parts["missed"] = missed(jobs, request)
    if part in ("all", "growth"):
        growth = measure_growth(build, quick)
        parts["growth"] = growth_table(growth)
    print(*parts.values(), sep="\n\n")
    if "--page" in sys.argv:
        update(sys.argv[-2], parts)
        chart(sys.argv[-1], jobs)
    if too_fast(growth):
        sys.exit("Grows faster than its input: " + ", ".join(too_fast(growth)))


main()
