#!/usr/bin/env python3
"""bench.py [--rounds N] [--without-latency] [--keep FILE] BUILD_DIR

Measures the program and prints a table of ratios, each of two things that were measured in the same run. With
three rounds and the latencies it also writes the table and the plots into docs/. `./bench` builds what is measured
first.
"""

import argparse
import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys

import report
from measure import ROOT, Bench, display, say

ROUNDS_TO_WRITE = 3  # fewer are for a look, and leave the document alone
OPENINGS = 7  # per round; the first is left out, since it loads what every later one finds


def median(rows, key):
    return statistics.median(row[key] for row in rows)


def medians(rows):
    return {key: median(rows, key) for key in rows[0]}


def measure_opening(bench, rounds):
    full, empty, loop = [], [], []
    with display(bench):
        for _ in range(rounds):
            with_images = bench.openings("bench_opening", OPENINGS)
            without = bench.openings("bench_opening_empty", OPENINGS)
            full.append(statistics.median(with_images["opening"][1:]))
            loop.append(statistics.median(with_images["bareLoop"][1:]))
            empty.append(statistics.median(without["opening"][1:]))
    return {"full": statistics.median(full), "empty": statistics.median(empty), "loop": statistics.median(loop)}


def measure_jobs(bench, rounds):
    """Peers before each job, so that what slows the machine slows all of them."""
    runs = {"pingpong": [], "qtpingpong": [], "program": [], "repainting": []}
    for number in range(rounds):
        for kind, program in (("program", "annealing-db-updater"), ("repainting", "updater_repainting")):
            say(f"round {number + 1} of {rounds}: peers")
            for peer in ("pingpong", "qtpingpong"):
                runs[peer].append(bench.peer(peer))
            say(f"round {number + 1} of {rounds}: a whole job{', painting at every line' * (kind == 'repainting')}")
            runs[kind].append(bench.job(program))
    return {name: {**medians(rows), "rounds": rows} for name, rows in runs.items()}


def measure_latency(bench, latencies):
    jobs = {}
    for latency in latencies:
        say(f"a whole job with a latency timer of {latency} ms")
        jobs[latency] = {"seconds": bench.job("annealing-db-updater", latency)["seconds"],
                         "floor": bench.job_floor(latency)}
    return jobs


def machine():
    model = next((line.split(":", 1)[1].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                  if line.startswith("model name")), platform.machine())
    return f"{model}, {len(os.sched_getaffinity(0))} processors, Linux {platform.release().split('-')[0]}"


def commit():
    done = subprocess.run(["git", "-C", ROOT, "describe", "--always", "--dirty", "--exclude", "*"],
                          capture_output=True, text=True, check=False)
    return done.stdout.strip() or "no commit"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3, help="of peers and whole jobs, 4 minutes each (3)")
    parser.add_argument("--without-latency", action="store_true", help="leave out the jobs at 1 and 16 ms, 8 minutes; the document then stays as it is")
    parser.add_argument("--keep", type=pathlib.Path, help="write the raw figures here as JSON")
    parser.add_argument("--from", dest="source", type=pathlib.Path, help="do not measure: report these figures")
    parser.add_argument("--only-look-at-the-call", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.rounds < 1:
        parser.error("--rounds: one at least")
    if options.only_look_at_the_call:
        return

    if options.source:
        figures = json.loads(options.source.read_text())
    else:
        figures = measure(options)
    if options.keep:
        options.keep.write_text(json.dumps(figures, indent=1))
    table = report.table(figures)
    print(table)
    if figures["latency"] and figures["rounds"] >= ROUNDS_TO_WRITE:
        report.write(figures, table)


def measure(options):
    build = options.build.resolve()
    bench = Bench(build, ROOT / "res", build / "bench")
    figures = {"machine": machine(), "commit": commit(), "rounds": options.rounds,
               "decodedBytes": bench.decoded_bytes(), "jobFloor": bench.job_floor()}
    with bench.kernel_workers_beside_the_program() as allowed:
        figures["workers"] = allowed
        say("parts")
        figures["parts"] = bench.parts("^(parse|build|checksum|receive)", 5)
        say("opening the dialog")
        figures["opening"] = measure_opening(bench, max(options.rounds, 3))
        figures["jobs"] = measure_jobs(bench, options.rounds)
        figures["latency"] = {} if options.without_latency else measure_latency(bench, [1, 16])
    say("growth")
    figures["growth"] = bench.parts("^growth", 1)
    # As JSON has it, whether it is measured now or read from a file.
    return json.loads(json.dumps(figures))


if __name__ == "__main__":
    sys.exit(main())
