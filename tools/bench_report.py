#!/usr/bin/env python3
"""Writes performance.md and performance.svg from what the benchmarks have printed.

    tools/bench_report.py RESULTS FOLDER

RESULTS holds NAME.txt for each program, instructions.tsv and versions; tools/bench makes them. A line that is in
none of the common forms is shown as it was printed."""

import pathlib
import re
import statistics
import sys
import textwrap

WIDTH = 116
RATE = r"([\w.]+) +([\d.]+) MB/s"
COMPARED = re.compile(r"(.+?) +ours +([\d.]+) MB/s((?:  +[\w.]+ +[\d.]+ MB/s)+)  ratio +([\d.]+)$")
PUBLIC = re.compile(r"(.+?) +public +([\d.]+) MB/s  core +([\d.]+) MB/s((?:  +[\w.]+ +[\d.]+ / +[\d.]+)+)$")
SESSION = re.compile(r" +(\S+) +processor +([\d.]+) ms, ratio +([\d.]+)   wall +([\d.]+) ms, ratio +([\d.]+)$")
MEMORY = re.compile(r"(.+?) +([\d.]+) times the message$")
START = re.compile(r"(first message in .+?) +([\d.]+) ms$")

TITLES = {
    "door": "Messages, texts and objects through the library",
    "mail": "Mail sessions beside libcurl",
    "mime": "MIME classes",
    "coding": "Codings by script",
    "charset": "Character sets",
    "start": "Start",
    "calls": "Small calls",
    "queue": "The queue runner",
    "automation": "Calls through the interface and through dispatch",
    "front": "The front end of mail.h",
    "growth": "Time at n and at 2n for inputs made to be slow",
}
# A program of more comparisons than this is drawn as one bar a peer, the median of its rows.
MOST_BARS = 24


class Program:
    """The rows of one program, by their forms."""

    def __init__(self, name, text):
        self.name = name
        self.compared, self.public, self.sessions, self.memory, self.start, self.other = [], [], [], [], [], []
        session = None
        for line in text.splitlines():
            if match := COMPARED.match(line):
                peers = [(peer, float(rate)) for peer, rate in re.findall(RATE, match[3])]
                self.compared.append((match[1], float(match[2]), peers))
            elif match := PUBLIC.match(line):
                peers = [(peer, float(ours), float(core))
                         for peer, ours, core in re.findall(r"([\w.]+) +([\d.]+) / +([\d.]+)", match[4])]
                self.public.append((match[1], float(match[2]), float(match[3]), peers))
            elif match := SESSION.match(line):
                if session:
                    self.other.remove(session)
                    self.sessions.append((session, []))
                    session = None
                self.sessions[-1][1].append((match[1], *map(float, match.groups()[1:])))
            elif match := MEMORY.match(line):
                self.memory.append((match[1], match[2]))
            elif match := START.match(line):
                self.start.append((match[1], match[2]))
            elif line.strip():
                self.other.append(line)
                session = line


def table(head, rows):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" + "--:|" * (len(head) - 1)
    for row in rows:
        yield "| " + " | ".join(row) + " |"
    yield ""


def number(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.2f}" if value < 10 else f"{value:.1f}"


def comparisons(program):
    """Tables of rows that have the same peers."""
    kinds = {}
    for row in program.compared:
        kinds.setdefault(tuple(peer for peer, _ in row[2]), []).append(row)
    for peers, rows in kinds.items():
        yield from table(["Row", "Tessolt, MB/s", *(f"against {peer}" for peer in peers)],
                         ([label, number(ours), *(f"{ours / rate:.2f}" for _, rate in rates)]
                          for label, ours, rates in rows))
    kinds = {}
    for row in program.public:
        kinds.setdefault(tuple(peer for peer, *_ in row[3]), []).append(row)
    for peers, rows in kinds.items():
        yield from table(["Row", "public, MB/s", "core, MB/s", *(f"against {peer}" for peer in peers)],
                         ([label, number(public), number(core),
                           *(f"{ours:.2f} (core {inner:.2f})" for _, ours, inner in ratios)]
                          for label, public, core, ratios in rows))


def sessions(program):
    """One table; the last column of a session is the peer, and has a ratio of 1 to itself."""
    rows = []
    for label, columns in program.sessions:
        peer = columns[-1][0]
        rows += [[label, name, number(own), f"{own_ratio:.2f}", number(wall), f"{wall_ratio:.2f}"]
                 for name, own, own_ratio, wall, wall_ratio in columns if name != peer]
        own, wall = columns[-1][1], columns[-1][3]
        rows.append([label, peer, number(own), "1", number(wall), "1"])
    if rows:
        yield from table(["Session", "who", "processor, ms", "ratio", "elapsed, ms", "ratio"], rows)


def section(program):
    yield f"## {TITLES.get(program.name, program.name)}"
    yield ""
    yield from comparisons(program)
    yield from sessions(program)
    if program.other:
        yield from ["```", *program.other, "```", ""]


def report(programs, instructions, versions):
    date, processor, *peers = versions
    yield from ["# Performance", "",
                *textwrap.wrap(f"Made by `tools/bench` on {date}, on {processor.strip()}, with {', '.join(peers)}.",
                               WIDTH, break_on_hyphens=False), "",
                "![Speed as a multiple of the peers'](performance.svg)", "",
                *textwrap.wrap("A ratio is the peer's time divided by ours: above 1, ours is faster. Public means the "
                               "installed headers and the shared library, core the classes behind them. Times are "
                               "processor time, medians of runs in turn; where a column says elapsed, they are "
                               "wall-clock time.", WIDTH), ""]
    for program in programs:
        if program.compared or program.public or program.sessions or program.other:
            yield from section(program)
    memory = [row for program in programs for row in program.memory]
    if memory:
        yield from ["## Memory", "", "The peak of a process over what it had before, as a multiple of the message.", ""]
        yield from table(["Row", "times the message"], memory)
    start = [row for program in programs for row in program.start]
    if start:
        yield from ["## Start", "",
                    "Processor time in a process of its own for each, which has just loaded the library.", ""]
        yield from table(["Row", "ms"], start)
    if instructions:
        yield from ["## Instructions", "",
                    "Of a hundred small calls each, counted by callgrind with AVX2: a figure that a busy machine",
                    "leaves alone, so that a change of the code shows.", ""]
        yield from table(["Row", "instructions a call"],
                         ([row, f"{int(count) / 100:,.0f}"] for row, count in instructions))


def bars(programs):
    """(label, ratio) for the chart, the rows of the library's users first."""
    for program in programs:
        for label, _, _, ratios in program.public:
            for peer, ratio, _ in ratios:
                yield f"{label} / {peer}", ratio
        for label, columns in program.sessions:
            # Where the way is long, what counts is the time that passes.
            _, _, own, _, elapsed = columns[0]
            yield f"{label} / {columns[-1][0]}", elapsed if "round trip" in label else own
    for program in programs:
        rows = [(label, peer, ours / rate) for label, ours, rates in program.compared for peer, rate in rates]
        if len(rows) <= MOST_BARS:
            yield from ((f"{label} / {peer}", ratio) for label, peer, ratio in rows)
            continue
        for peer in dict.fromkeys(peer for _, peer, _ in rows):
            ratios = [ratio for _, name, ratio in rows if name == peer]
            yield f"{program.name}: {len(ratios)} rows, median / {peer}", statistics.median(ratios)


def draw(values, path):
    import matplotlib
    matplotlib.use("svg")
    matplotlib.rcParams["svg.hashsalt"] = "performance"
    matplotlib.rcParams["svg.fonttype"] = "none"
    from matplotlib import pyplot

    figure, axes = pyplot.subplots(figsize=(9, 0.8 + 0.19 * len(values)))
    colours = ["#2a7f62" if ratio >= 1 else "#b5523b" for _, ratio in values]
    places = range(len(values), 0, -1)
    # From 1 on: what is slower goes to the left.
    axes.barh(places, [ratio - 1 for _, ratio in values], color=colours, left=1)
    axes.set_yticks(places, [label for label, _ in values], fontsize=7)
    axes.set_ylim(0.3, len(values) + 0.7)
    axes.set_xscale("log", base=2)
    axes.xaxis.set_major_formatter("{x:g}")
    axes.axvline(1, color="black", linewidth=0.8)
    for place, (_, ratio) in zip(places, values):
        axes.annotate(f"{ratio:.2g}", (ratio, place), xytext=(2 if ratio >= 1 else -2, 0),
                      textcoords="offset points", ha="left" if ratio >= 1 else "right", va="center", fontsize=6)
    axes.set_xlabel("Speed as a multiple of the peer's")
    axes.spines[["top", "right"]].set_visible(False)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    results, folder = map(pathlib.Path, sys.argv[1:])
    names = sorted((path.stem for path in results.glob("*.txt")),
                   key=lambda name: (list(TITLES).index(name) if name in TITLES else len(TITLES), name))
    programs = [Program(name, (results / f"{name}.txt").read_text()) for name in names]
    counted = results / "instructions.tsv"
    instructions = [line.split("\t") for line in counted.read_text().splitlines()] if counted.exists() else []
    versions = (results / "versions").read_text().splitlines()
    lines = "\n".join(report(programs, instructions, versions)).rstrip()
    (folder / "performance.md").write_text(lines + "\n")
    values = list(bars(programs))
    if values:
        draw(values, folder / "performance.svg")


if __name__ == "__main__":
    main()
