#!/usr/bin/python3
"""Prints what was measured and writes the page: report.py RESULTS [PAGE CHART]. RESULTS is the folder of library.tsv,
request.tsv and growth.tsv; a part that was not measured is left out of what is printed."""
import os
import string
import subprocess
import sys

import chart

HERE = os.path.dirname(os.path.abspath(__file__))
LIMIT, OURS = "by hand", "ours"
# What of the request is compared, its heading, and the target as a ratio or as a number.
REQUEST = (("time", "processor time, µs", 1.05, None), ("instructions", "instructions", None, 165000),
           ("calls", "calls", None, 40), ("faults", "faults", None, 36), ("size", "size, KB", None, 870),
           ("memory", "memory, KB", None, 850))


class Job:
    def __init__(self, name, unit, limit, target):
        self.name, self.unit, self.limit, self.target, self.times = name, unit, limit, float(target), {}

    def ratio(self, contender=OURS):
        return self.times[contender] / self.times[LIMIT]

    def peers(self):
        return {name: self.ratio(name) for name in self.times if name != OURS and not name.startswith(LIMIT)}

    def floor(self):
        """What the interface alone costs a loop written by hand, as a text; empty where that was not measured."""
        floors = [name for name in self.times if name.startswith(LIMIT + ", ")]
        return ", ".join("%.2f (%s)" % (self.ratio(name), name[len(LIMIT) + 2:]) for name in floors)


def lines_of(path):
    if not os.path.exists(path):
        return []
    with open(path) as file:
        return [line.rstrip("\n").split("\t") for line in file]


def read_library(path):
    jobs = {}
    for name, unit, limit, target, contender, time in lines_of(path):
        jobs.setdefault(name, Job(name, unit, limit, target)).times[contender] = float(time)
    return list(jobs.values())


def read_request(path):
    """{(table, contender): {what: value}}"""
    values = {}
    for table, contender, what, value in lines_of(path):
        number = float(value) / 1024 if what == "size" else float(value)
        values.setdefault((table, contender), {})[what] = number
    return values


def table(headings, rows):
    rule = ["---"] + ["---:"] * (len(headings) - 1)
    return "\n".join("| " + " | ".join(row) + " |" for row in [headings, rule, *rows])


def number(value):
    if value >= 1000:
        return "{:,.0f}".format(value).replace(",", " ")
    return "%.0f" % value if value >= 100 else "%.1f" % value if value >= 10 else "%.2f" % value


def library_table(jobs):
    rows = []
    for job in jobs:
        peers = ", ".join("%s %.2f" % item for item in sorted(job.peers().items(), key=lambda item: item[1]))
        rows.append([job.name, "%s ns/%s" % (number(job.times[LIMIT]), job.unit), "%.2f" % job.ratio(),
                     "%.2f" % job.target, job.floor(), peers])
    return table(["Job", "limit", "ours", "target", "interface", "peers"], rows)


def request_columns(values, contender):
    return {**values.get(("request", contender), {}), **values.get(("100", contender), {})}


def request_table(values):
    names = [name for size, name in values if size == "100"]
    limit = request_columns(values, "static C")["time"]
    rows = []
    for name in names:
        columns = request_columns(values, name)
        cells = ["%.0f" % columns[what] if what in columns else "" for what, *_ in REQUEST]
        rows.append([name, "%.2f" % (columns["time"] / limit), *cells])
    targets = ["%.0f" % absolute if absolute else "" for _, _, _, absolute in REQUEST]
    rows.append(["*target for ours*", "1.05", *targets])
    return table(["Program", "ratio of time"] + [heading for _, heading, *_ in REQUEST], rows)


def times_table(values, sizes):
    names = list(dict.fromkeys(name for size, name in values if size in sizes and name != "empty program"))
    rows = [[name] + ["%s µs, %.2f" % (number(values[size, name]["time"]),
                                       values[size, name]["time"] / values[size, "static C"]["time"])
                      for size in sizes] for name in names]
    return table(["Program"] + [heading_of(size) for size in sizes], rows)


def heading_of(size):
    return "signalled" if size == "signal" else size + " processes"


def growth_table(rows):
    cells = [[name, n, number(float(small)), number(float(large)), "%.1f" % (float(large) / float(small))]
             for name, n, small, large in rows]
    return table(["Operation and input", "n", "µs at n", "µs at 8 n", "ratio"], cells)


def missed(jobs, values):
    reasons = {row[0]: row[1] for row in lines_of(HERE + "/reasons.txt") if len(row) == 2}
    found = [(job.name, "%.2f instead of %.2f" % (job.ratio(), job.target)) for job in jobs
             if round(job.ratio(), 2) > job.target]
    ours, limit = request_columns(values, OURS), request_columns(values, "static C")
    for what, heading, ratio, absolute in REQUEST:
        got, wanted = (ours[what] / limit[what], ratio) if ratio else (ours[what], absolute)
        if round(got, 2) > wanted:
            found.append(("request, " + heading.split(",")[0], "%s instead of %s" % (number(got), number(wanted))))
    if not found:
        return "None in this run."
    return "\n".join("- %s: %s.%s" % (name, text, " " + reasons[name] if name in reasons else "")
                     for name, text in found)


def machine():
    def first_line(*command):
        return subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout.decode().splitlines()[0]
    with open("/etc/os-release") as file:
        release = dict(line.rstrip().split("=", 1) for line in file if "=" in line)
    return "%d cores, %s, %s, `-O2`, %s" % (os.cpu_count(), os.uname().machine.replace("_", "-"),
                                           release["PRETTY_NAME"].strip('"'), first_line("g++", "--version"))


def write_page(page, svg, jobs, values, growth):
    with open(HERE + "/performance.md.in") as file:
        template = string.Template(file.read())
    limits = "\n".join("- %s: %s" % (job.name, job.limit) for job in jobs)
    text = template.substitute(machine=machine(), request_table=request_table(values),
                               tables_table=times_table(values, ["100", "1000", "5000"]),
                               signal_table=times_table(values, ["signal"]), library_table=library_table(jobs),
                               limits=limits, missed=missed(jobs, values), growth_table=growth_table(growth))
    with open(page, "w") as file:
        file.write(text)
    time = {name: values["100", name]["time"] for size, name in values if size == "100"}
    request = ("request, processor time", time[OURS] / time["static C"], 1.05, "cgicc", time["cgicc"] / time["static C"])
    bars = [request] + [(job.name, job.ratio(), job.target, *min(job.peers().items(), key=lambda item: item[1]))
                        for job in jobs]
    with open(svg, "w") as file:
        file.write(chart.draw(bars))


def main():
    results = sys.argv[1]
    jobs = read_library(results + "/library.tsv")
    values = read_request(results + "/request.tsv")
    growth = lines_of(results + "/growth.tsv")
    if values:
        print(request_table(values), times_table(values, ["100", "1000", "5000"]), times_table(values, ["signal"]),
              sep="\n\n", end="\n\n")
    if jobs:
        print(library_table(jobs), end="\n\n")
    if growth:
        print(growth_table(growth))
    if len(sys.argv) > 3:
        write_page(sys.argv[2], sys.argv[3], jobs, values, growth)


main()
