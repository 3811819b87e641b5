#!/usr/bin/env python3
"""benchmark.py BUILD_DIR

Measures the updater beside a floor and two peers, prints the table and writes it to docs/performance.md.
`./bench` builds what is measured first.
"""

import argparse
import contextlib
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = ROOT / "docs/performance.md"
BEGIN, END = "<!-- begin of the figures: written by ./bench -->", "<!-- end of the figures -->"

JOBS = 2  # of the program, one after each peer
OPENINGS = 11  # the first is left out: it loads what all later ones find in memory
WORKERS = pathlib.Path("/sys/devices/virtual/workqueue/cpumask")
PORT = 60  # the adapter is ttyUSB60, which no real or tested one uses
ANSWERED = "EDPF"  # the words of the lines that leave on a reply, and not on a tick

TICK = 0.5  # seconds between two steps of a session
TICKS_TO_FIRST_LINE = 2  # from the click
TICKS_TO_FIRMWARE = 19  # from the click to the first erase line; the board boots meanwhile
TICKS_TO_IMAGES = 6  # between the last page and the first image
PAGES = 223
ERASE, PROGRAM = 0.045, 0.012  # seconds a page, the virtual board's with --line-rate
MEGABYTE = 1 << 20


class Benchmark:
    """The programs of a build."""

    def __init__(self, build, release_set, port=PORT, paced=True):
        self.build, self.bin, self.release_set, self.port = build, build / "bin", release_set, port
        self.work = build / "benchmark"
        self.work.mkdir(exist_ok=True)
        self.board = ["--release-set", release_set, "--first-port", str(port), "--expect", "update",
                      "--report", self.work / "report.json", *(["--line-rate"] if paced else [])]
        processors = sorted(os.sched_getaffinity(0))
        self.first_mask = 1 << processors[0]
        # The board and what is measured share a processor; the display's server has the other one.
        preload = f"LD_PRELOAD={self.bin / 'libreply_times.so'}:libumockdev-preload.so.0"
        self.measured = ["taskset", "-c", str(processors[0]), "env", preload, f"REPLY_TIMES={self.work}/"]
        self.beside = ["taskset", "-c", str(processors[-1])]

    @contextlib.contextmanager
    def kernel_workers_beside_the_board(self):
        """Binds the kernel's workers, which carry a pseudo terminal's bytes, to the board's processor where that is
        allowed: otherwise each line waits until another processor wakes up."""
        try:
            before = WORKERS.read_text()
            WORKERS.write_text(f"{self.first_mask:x}\n")
        except OSError:
            say("the kernel's workers cannot be bound to a processor: expect longer jobs")
            yield
            return
        try:
            yield
        finally:
            WORKERS.write_text(before)

    def peer(self, program):
        """An update job of the peer `program`."""
        say(f"an update job of {program}")
        subprocess.run([*self.measured, self.bin / "virtual-board", *self.board, "--timeout", "300", "--",
                        self.bin / program, f"/dev/ttyUSB{self.port}", self.release_set],
                       check=True, stdout=subprocess.DEVNULL)
        return self.outcome(program)

    def job(self):
        """An update job of the program, its window up."""
        say("an update job of the program")
        out = self.work / "job"
        environment = {**os.environ, "JOB_PREFIX": " ".join(map(str, self.measured)), "JOB_TIMEOUT": "300"}
        subprocess.run([*self.beside, ROOT / "demo/headless-job", "update", self.build, out, *self.board],
                       env=environment, check=True, stdout=subprocess.DEVNULL)
        return {**self.outcome("annealing-db-updater"),
                "cpuSeconds": sum(int(line.split()[0]) for line in (out / "schedstat").read_text().splitlines()) / 1e9,
                "idleBytes": kilobytes(out / "idle", "VmRSS"), "peakBytes": kilobytes(out / "process", "VmHWM")}

    def outcome(self, program):
        """What the job took: its seconds, those of its lines without the waits, and the own shares in microseconds."""
        phases = json.loads((self.work / "report.json").read_text())["boards"][0]["phaseSeconds"]
        shares = [line.split() for line in (self.work / program).read_text().splitlines()]
        # A peer ends with its last line, and may have ended before the board has heard it.
        finished = phases.get("finished", phases["images end"])
        return {"seconds": finished - phases["first line"] + TICKS_TO_FIRST_LINE * TICK,
                "lineSeconds": phases["firmware ends"] - phases["firmware begins"]
                + phases["images end"] - phases["images begin"],
                "shares": [int(nanoseconds) / 1e3 for word, nanoseconds in shares if word in ANSWERED]}

    def dialog(self, openings, display=True):
        """What measure_dialog prints."""
        say("opening the dialog, and how that grows")
        with contextlib.ExitStack() as stack:
            environment = stack.enter_context(self.display()) if display else {"QT_QPA_PLATFORM": "offscreen"}
            log = stack.enter_context(open(self.work / "dialog.log", "w", encoding="utf-8"))
            done = subprocess.run([*self.measured[:3], self.bin / "measure_dialog", self.release_set, str(openings)],
                                  env={**os.environ, **environment}, check=True, stdout=subprocess.PIPE, stderr=log)
        return json.loads(done.stdout)

    @contextlib.contextmanager
    def display(self):
        """Starts a display and returns the environment of programs that use it."""
        read, write = os.pipe()
        server = subprocess.Popen([*self.beside, "Xvfb", "-displayfd", str(write), "-screen", "0", "800x600x24",
                                   "-nolisten", "tcp"], pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        try:
            yield {"DISPLAY": f":{os.read(read, 16).decode().strip()}", "QT_QPA_PLATFORM": "xcb"}
        finally:
            os.close(read)
            server.terminate()
            server.wait()

    def job_floor(self):
        """The seconds that no program can save: the protocol's waits, the bytes on the wire, the board's own times."""
        done = subprocess.run([self.bin / "release-set", "check", "--json", self.release_set],
                              check=True, stdout=subprocess.PIPE)
        milliseconds = json.loads(done.stdout)["jobMilliseconds"]
        return ((TICKS_TO_FIRMWARE + TICKS_TO_IMAGES) * TICK + PAGES * (ERASE + PROGRAM)
                + (milliseconds["wire"] + milliseconds["lineEnds"]) / 1e3)


def say(text):
    print(f"{time.strftime('%H:%M:%S')}  {text}", flush=True)


def kilobytes(path, key):
    return int(re.search(rf"^{key}:\s*(\d+) kB", path.read_text(), re.MULTILINE)[1]) * 1024


def percentile(values, share):
    return sorted(values)[int(share * (len(values) - 1))]


def measure(benchmark):
    figures = {"floor": benchmark.job_floor(), "jobs": []}
    with benchmark.kernel_workers_beside_the_board():
        for peer in ("peer_bare", "peer_qt"):
            figures[peer] = benchmark.peer(peer)
            figures["jobs"].append(benchmark.job())
        figures["dialog"] = benchmark.dialog(OPENINGS)
    return figures


def row(what, value, other, reference, unit, aim=None):
    digits = 0 if unit == "µs" else 1
    verdict = "| |" if aim is None else f"| {aim} | {'yes' if value / reference <= aim else '**no**'} |"
    return (f"| {what} | {value:.{digits}f} {unit} | {other} | {reference:.{digits}f} {unit} "
            f"| {value / reference:.2f} {verdict}")


def heading(*names):
    return [f"| {' | '.join(names)} |", "|---" * len(names) + "|"]


def comparisons(figures):
    jobs, bare, qt = figures["jobs"], figures["peer_bare"], figures["peer_qt"]
    shares = [share for job in jobs for share in job["shares"]]
    rows = [row("Update job", statistics.mean(job["seconds"] for job in jobs), "waits, wire and board",
                figures["floor"], "s", 1.03),
            row("Its lines, without the waits", statistics.mean(job["lineSeconds"] for job in jobs),
                "system calls alone", bare["lineSeconds"], "s")]
    for name, share in (("median", 0.5), ("99th percentile", 0.99)):
        value = percentile(shares, share)
        rows += [row(f"Own share of a turnaround, {name}", value, "Qt without a window",
                     percentile(qt["shares"], share), "µs", 1.5),
                 row(f"Own share of a turnaround, {name}", value, "system calls alone",
                     percentile(bare["shares"], share), "µs")]
    return rows


def facts(figures):
    jobs = figures["jobs"]
    opening = statistics.median(figures["dialog"]["openingMilliseconds"][1:])
    return [f"| Opening the dialog, from the click to the picture | {opening:.1f} ms |",
            f"| Processor time of an update job | {statistics.mean(job['cpuSeconds'] for job in jobs):.1f} s |",
            f"| Memory while the main window waits | {jobs[-1]['idleBytes'] / MEGABYTE:.0f} MB |",
            f"| Memory of an update job, at most | {max(job['peakBytes'] for job in jobs) / MEGABYTE:.0f} MB |"]


def growth(figures):
    """The rows of the growth: a linear figure is the same in each column."""
    sets = figures["dialog"]["growth"]

    def size(entry):
        return entry["images"] * entry["bytes"]

    names = [f"{entry['images']} of {entry['bytes'] // 1024} KB" for entry in sets]
    cells = (("Opening, ns a byte", [entry["openingNanoseconds"] / size(entry) for entry in sets]),
             ("Memory held, bytes a byte", [entry["heldBytes"] / size(entry) for entry in sets]),
             ("An acknowledged block, µs", [entry["blockNanoseconds"] / 1e3 for entry in sets]))
    return [*heading("Images", *names),
            *(f"| {name} | {' | '.join(f'{value:.1f}' for value in values)} |" for name, values in cells)]


def machine():
    model = next((line.split(":", 1)[1].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                  if line.startswith("model name")), platform.machine())
    return f"{model}, {len(os.sched_getaffinity(0))} processors, Linux {platform.release().split('-')[0]}"


def commit():
    done = subprocess.run(["git", "-C", ROOT, "describe", "--always", "--dirty", "--exclude", "*"],
                          stdout=subprocess.PIPE, text=True, check=False)
    return done.stdout.strip() or "no commit"


def report(figures):
    return "\n".join([
        f"Commit {commit()}, on {machine()}.", "",
        *heading("What", "Measured", "Against", "Measured", "Ratio", "Aim", "Met"), *comparisons(figures), "",
        *heading("Fact", "Measured"), *facts(figures), "", *growth(figures)])


def write(text):
    document = DOCUMENT.read_text(encoding="utf-8")
    before, rest = document.split(BEGIN)
    after = rest.split(END)[1]
    DOCUMENT.write_text(f"{before}{BEGIN}\n\n{text}\n\n{END}{after}", encoding="utf-8")
    print(f"written to {DOCUMENT.relative_to(ROOT)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    text = report(measure(Benchmark(parser.parse_args().build.resolve(), ROOT / "res")))
    print(text)
    write(text)


if __name__ == "__main__":
    sys.exit(main())
