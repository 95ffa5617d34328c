#!/usr/bin/python3
"""Measures and prints tables: report.py BUILD PART [--quick] [--page PAGE CHART]. PART is library, request,
growth or all. With --page, updates the page. Ends with 1 if an operation grows too fast."""
import json
import os
import platform
import re
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE + "/request")
import measure  # noqa: E402

LIMIT, OURS, OPERATIONS = "by hand", "ours", "ours, public operations"
NO_PEERS = {LIMIT, OURS, OPERATIONS}
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
    """Returns {name: median of the processor times in ns}; the contenders take turns at random."""
    printed = subprocess.check_output(
        [build + "/benchmarks/library_bench", "--benchmark_filter=" + pattern, "--benchmark_format=json",
         "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true",
         f"--benchmark_min_time={least_time}", f"--benchmark_repetitions={repetitions}"],
        stderr=subprocess.DEVNULL)
    return {run["run_name"]: run["cpu_time"] for run in json.loads(printed)["benchmarks"]
            if run["aggregate_name"] == "median"}


def measure_library(build, quick):
    """Returns {job: {contender: ns for a piece}} and {job: {contender: instructions on ARM for a piece}}."""
    jobs, arm = {job: {} for job in JOBS}, {job: {} for job in JOBS}
    for name, time in run_benchmarks(build, "-^growth", 3 if quick else 21, 0.02).items():
        job, contender = name.split("/")
        jobs[job][contender] = time / JOBS[job][1]
    emulated = [*measure.emulator(build), build + "/armhf/benchmarks/countedJobs"]
    run = subprocess.run(emulated, check=True, text=True, capture_output=True)
    counts = measure.instructions(run.stderr)
    for line, before, after in zip(run.stdout.splitlines(), counts[0::2], counts[1::2]):
        job, contender = line.split("\t")
        arm[job][contender] = (after - before) / JOBS[job][1]
    return jobs, arm


def measure_growth(build, quick):
    """Returns {operation: {n: ns}} for two n each."""
    growth = {}
    for _ in range(3):  # a disturbed measurement is repeated
        for name, time in run_benchmarks(build, "^growth/", 3 if quick else 7, 0.002).items():
            _, operation, n = name.split("/")
            times = growth.setdefault(operation, {})
            times[int(n)] = min(time, times.get(int(n), time))
        if not too_fast(growth):
            break
    return growth


def too_fast(growth):
    return [name for name, times in growth.items() if times[max(times)] / times[min(times)] > MOST_GROWTH]


def library_table(jobs, arm):
    rows = []
    for job, contender, heading, target in ROWS:
        piece, _, _, pieces, use = JOBS[job]
        ratios = {name: time / jobs[job][LIMIT] for name, time in jobs[job].items()}
        peers = [f"{name} {ratios[name]:.2f}" for name in sorted(ratios.keys() - NO_PEERS, key=ratios.get)]
        limit, ours = arm[job][LIMIT], arm[job][contender]
        rows.append([heading, f"{number(jobs[job][LIMIT])} ns/{piece}", f"{ratios[contender]:.2f}",
                     f"{target:.2f}", ", ".join(peers), number(limit), number(ours), f"{ours / limit:.2f}",
                     f"{on_core(ours * pieces)} {use}"])
    return table(["Job", "limit", "ours", "target", "peers", "ARM: limit", "ARM: ours", "ARM: ratio",
                  "on a small ARM core"], rows)


def request_table(request):
    scale = request[OURS]["ARM"] / request[OURS]["instructions"]  # what an instruction here is there
    rows = []
    for name, values in request.items():
        there = "" if "ARM" in values else "about "
        there += on_core(values.get("ARM", values["instructions"] * scale))
        rows.append([name, *(number(values[what]) if what in values else "" for what in REQUEST), there])
    rows.append(["*target for ours*", *(number(target) if target else "" for target in REQUEST.values()), ""])
    return table(["Program", *REQUEST, "on a small ARM core"], rows)


def growth_table(growth):
    rows = []
    for name, times in sorted(growth.items()):
        (n, small), (_, large) = sorted(times.items())
        rows.append([name, str(n), *map(number, (small / 1000, large / 1000, large / small))])
    return table(["Operation and input", "n", "µs at n", "µs at 8 n", "ratio"], rows)


def missed(jobs, request):
    tiny, tiny_limit = request["ours, preset tiny"], request["static C, musl"]
    found = [(name, jobs[job][who] / jobs[job][LIMIT], target) for job, who, name, target in ROWS]
    found += [("request, " + what, request[OURS][what], target) for what, target in REQUEST.items() if target]
    found += [("tiny, ratio", tiny["µs"] / tiny_limit["µs"], 1.10), ("tiny, size", tiny["size, KB"], 110)]
    with open(HERE + "/reasons.json") as file:
        reasons = json.load(file)
    return "\n".join(f"- {name}: {number(got)} instead of {number(target)}. {reasons.get(name, '')}"
                     for name, got, target in found if round(got, 2) > target) or "None in this run."


def machine():
    release = platform.freedesktop_os_release()["PRETTY_NAME"]
    compiler = subprocess.check_output(["g++", "--version"], text=True).splitlines()[0]
    return f"This run: {os.cpu_count()} cores, {platform.machine()}, {release}, `-O2`, {compiler}."


def chart(path, jobs):
    """Draws for each job a bar for ours and one for the best peer, both as ratios to the limit."""
    import matplotlib.figure
    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "performance"})
    figure = matplotlib.figure.Figure(figsize=(9, 7), layout="tight")
    axes = figure.subplots()
    for row, (job, times) in enumerate(reversed(jobs.items())):
        best = min(times.keys() - NO_PEERS, key=times.get, default=LIMIT)
        for place, name, colour in ((row + 0.2, OURS, "#2f6f9f"), (row - 0.2, best, "#c9c9c9")):
            ratio = times[name] / times[LIMIT]
            axes.bar_label(axes.barh(place, ratio, 0.36, color=colour), [f" {ratio:.2f} {name}"])
        axes.vlines(JOBS[job][2][OURS], row, row + 0.4, color="#b03030")
    axes.set(xscale="log", yticks=range(len(jobs)), yticklabels=reversed(jobs),
             title="Time as a multiple of the limit: ours, its target (red), the best peer")
    figure.savefig(path, metadata={"Date": None})


def update(path, parts):
    with open(path) as file:
        text = file.read()
    for name, content in parts.items():
        text = re.sub(f"(?s)(?<=<!-- {name} -->\n).*?(?=<!-- end -->)", lambda _: content + "\n", text)
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
