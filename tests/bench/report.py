"""Makes the table of ratios, the plots, and the part of docs/performance.md that holds them."""

import subprocess
import sys

from measure import ROOT

DOCUMENT = ROOT / "docs/performance.md"
PICTURES = ROOT / "docs/pictures"
BEGIN, END = "<!-- begin of the figures: written by ./bench -->", "<!-- end of the figures -->"
KILOBYTE = 1024


def ratio(value, floor, aim=None):
    """As text, with whether the aim is met."""
    text = f"{value / floor:.2f}"
    if aim is not None:
        text += f" | {aim} | " + ("yes" if value / floor <= aim else "**no**")
    else:
        text += " | | "
    return text


def row(what, value, floor_name, floor, unit, aim=None):
    digits = 0 if unit == "µs" and floor >= 10 else 2
    return (f"| {what} | {value:.{digits}f} {unit} | {floor_name} | {floor:.{digits}f} {unit} | "
            f"{ratio(value, floor, aim)} |")


def aims(figures):
    jobs, opening = figures["jobs"], figures["opening"]
    program, floor = jobs["program"], jobs["pingpong"]
    megabyte = KILOBYTE * KILOBYTE
    memory = (program["idleBytes"] + figures["decodedBytes"]) / megabyte
    return [
        row("Turnaround, median", program["median"], "minimal C ping-pong", floor["median"], "µs", 1.5),
        row("Turnaround, 99th percentile", program["p99"], "minimal C ping-pong", floor["p99"], "µs", 2),
        row("Turnaround, median", program["median"], "Qt without a window", jobs["qtpingpong"]["median"], "µs"),
        row("Turnaround, 99th percentile", program["p99"], "Qt without a window", jobs["qtpingpong"]["p99"], "µs"),
        row("Update job", program["seconds"], "waits, wire and board", figures["jobFloor"], "s", 1.03),
        row("Opening the dialog, five images", opening["full"], "2 bare loops and an empty dialog",
            2 * opening["loop"] + opening["empty"], "ms", 1),
        row("Processor time of the job", program["cpuSeconds"], "painting at every line",
            jobs["repainting"]["cpuSeconds"], "s", 0.33),
        row("Memory of the job, at most", program["peakBytes"] / megabyte, "idle window and decoded images",
            memory, "MB", 1.3),
    ]


def parts(figures):
    rows = []
    by_part = {}
    for name, value in figures["parts"].items():
        part, kind = name.split("/", 1)
        by_part.setdefault(part, {})[kind] = value["ns"] / 1e3
    for part, kinds in by_part.items():
        itself = kinds.pop("itself")
        rows += [row(part.capitalize(), itself, kind, floor, "µs") for kind, floor in kinds.items()]
    return rows


def latencies(figures):
    seconds = {"0": {"seconds": figures["jobs"]["program"]["seconds"], "floor": figures["jobFloor"]},
               **figures["latency"]}
    return [row(f"Update job, latency timer at {latency} ms", job["seconds"], "waits, wire, board, timer",
                job["floor"], "s") for latency, job in seconds.items()]


def heading(*names):
    return [f"| {' | '.join(names)} |", "|---" * len(names) + "|"]


def table(figures):
    workers = "" if figures["workers"] else "; the kernel's workers could not be bound to a processor"
    columns = ("What", "Measured", "Against", "Measured", "Ratio", "Aim", "Met")
    return "\n".join([
        f"Commit {figures['commit']}, on {figures['machine']}; medians of {figures['rounds']} rounds, the latency timers "
        f"of 1 and 16 ms one job each{workers}.", "",
        *heading(*columns), *aims(figures), *latencies(figures), *parts(figures)])


def series(figures, part):
    """By size of an image: (number of images, nanoseconds, bytes) in order."""
    by_size = {}
    for name, value in figures["growth"].items():
        title, count, size = name.rsplit("/", 2)
        if title == f"growth {part}":
            by_size.setdefault(int(size), []).append((int(count), value["ns"], value["bytes"]))
    return {size: sorted(rows) for size, rows in sorted(by_size.items())}


def plot(name, title, ylabel, by_size, column, scale="set logscale y 10"):
    """A picture of one figure against the number of images, a line for each size of an image."""
    blocks, lines = [], []
    for size, rows in by_size.items():
        label = f"{size // KILOBYTE} KB" if size < KILOBYTE * KILOBYTE else f"{size // KILOBYTE ** 2} MB"
        blocks.append("\n".join(f"{entry[0]} {entry[column]}" for entry in rows))
        lines.append(f"$data{len(blocks)} using 1:2 with linespoints pointtype 7 pointsize 0.5 title '{label} each'")
    data = "\n".join(f"$data{i + 1} << E\n{block}\nE" for i, block in enumerate(blocks))
    script = f"""
{data}
set terminal svg size 560,360 font 'sans,12' background '#ffffff'
set output '{PICTURES / name}'
set title '{title}'
set xlabel 'images'
set ylabel '{ylabel}'
set logscale x 2
{scale}
set format y '%g'
set key outside right top
set grid
plot {', '.join(lines)}
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def scaled(by_size, column, factor):
    return {size: [(*entry[:column], entry[column] * factor, *entry[column + 1:]) for entry in rows]
            for size, rows in by_size.items()}


def growth_table(figures):
    """Per decoded byte, or per block: what is linear stays the same from the first to the last column."""
    rows = heading("Images", "1 × 1 KB", "64 × 1 KB", "1 × 1 MB", "64 × 1 MB")
    for part, title, column, each in (("parse", "Parsing, ns a byte", 1, True), ("open", "Opening, ns a byte", 1, True),
                                      ("open", "Memory held, bytes a byte", 2, True),
                                      ("block", "An acknowledged block, ns", 1, False)):
        by_size = series(figures, part)
        cells = []
        for size in (min(by_size), max(by_size)):
            for entry in (by_size[size][0], by_size[size][-1]):
                cells.append(f"{entry[column] / (entry[0] * size if each else 1):.2f}")
        rows.append(f"| {title} | {' | '.join(cells)} |")
    return rows


def write(figures, text):
    if figures["growth"]:
        plot("growth-parse.svg", "Parsing the images", "milliseconds", scaled(series(figures, "parse"), 1, 1e-6), 1)
        plot("growth-open.svg", "Opening the dialog", "milliseconds", scaled(series(figures, "open"), 1, 1e-6), 1)
        plot("growth-memory.svg", "Memory that the dialog holds", "megabytes",
             scaled(series(figures, "open"), 2, 1 / KILOBYTE ** 2), 2)
        plot("growth-block.svg", "An acknowledged block in the last image", "microseconds",
             scaled(series(figures, "block"), 1, 1e-3), 1, "set yrange [0:*]")
        text += "\n\n" + "\n".join(growth_table(figures))
    document = DOCUMENT.read_text(encoding="utf-8")
    before, rest = document.split(BEGIN)
    after = rest.split(END)[1]
    DOCUMENT.write_text(f"{before}{BEGIN}\n\n{text}\n\n{END}{after}", encoding="utf-8")
    print(f"written to {DOCUMENT.relative_to(ROOT)}", file=sys.stderr)
