"""Runs what the benchmarks measure: parts, openings of the dialog, peers and whole jobs on a virtual board."""

import contextlib
import itertools
import json
import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/support"))
from job_lines import firmware_lines, image_lines

WORKERS = pathlib.Path("/sys/devices/virtual/workqueue/cpumask")
PORT = 60  # the adapter is ttyUSB60, so that a real or a tested one is not in the way
PEER_PAGES = 28  # a page is 66 lines; with the blocks below the mix of a whole job
PEER_BLOCKS = 300
TICK = 0.5  # seconds between two steps of a session
TICKS_TO_FIRST_LINE = 2  # from the click to the first probing line


class Bench:
    """The programs of a build, and which processor each of them runs on."""

    def __init__(self, build, release_set, work):
        self.bin = build / "bin"
        self.build = build
        self.release_set = release_set
        self.work = work
        processors = sorted(os.sched_getaffinity(0))
        self.on_first = ["taskset", "-c", str(processors[0])]
        self.on_last = ["taskset", "-c", str(processors[-1])]
        self.first_mask = 1 << processors[0]
        work.mkdir(parents=True, exist_ok=True)

    @contextlib.contextmanager
    def kernel_workers_beside_the_program(self):
        """The workers that carry a pseudo terminal's bytes run on the program's processor: True where it is allowed."""
        try:
            before = WORKERS.read_text()
            WORKERS.write_text(f"{self.first_mask:x}\n")
        except OSError:
            yield False
            return
        try:
            yield True
        finally:
            WORKERS.write_text(before)

    def parts(self, pattern, repetitions):
        """Google Benchmark's results by name: nanoseconds (the median of the repetitions) and counters."""
        out = self.work / "parts.json"
        command = [*self.on_first, self.bin / "bench_parts", f"--benchmark_filter={pattern}",
                   f"--benchmark_out={out}", "--benchmark_out_format=json"]
        if repetitions > 1:
            command += [f"--benchmark_repetitions={repetitions}", "--benchmark_enable_random_interleaving=true"]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        unit = {"ns": 1, "us": 1e3, "ms": 1e6}
        results = {}
        for row in json.loads(out.read_text())["benchmarks"]:
            if repetitions > 1 and row.get("aggregate_name") != "median":
                continue
            results[row["run_name"].removesuffix("/real_time")] = {
                "ns": row["real_time"] * unit[row["time_unit"]], "bytes": row.get("bytes")}
        return results

    def openings(self, program, count):
        """Milliseconds of `count` openings of the dialog, and of the bare loop over the images."""
        done = subprocess.run([*self.on_first, self.bin / program, str(count)], check=True, capture_output=True)
        return json.loads(done.stdout)

    def peer(self, program):
        """The turnaround in microseconds, median and 99th percentile, of a program that sends the lines of a job."""
        lines = self.work / "lines"
        firmware = itertools.islice(firmware_lines(self.release_set), PEER_PAGES * 66)
        images = itertools.islice(image_lines(self.release_set), 1 + PEER_BLOCKS)
        sent = [line + "\n" for line in itertools.chain(firmware, images)]
        lines.write_text("".join(sent))
        report = self.work / "report.json"
        # The board's verdict is no matter here: only a part of the job is sent.
        subprocess.run([*self.on_first, self.bin / "virtual-board", "--line-rate", "--release-set", self.release_set,
                        "--first-port", str(PORT), "--report", report, "--timeout", "60",
                        "--", self.bin / program, f"/dev/ttyUSB{PORT}", lines],
                       stdout=subprocess.DEVNULL, check=False)
        figures = turnaround(json.loads(report.read_text())["boards"][0])
        if figures["lines"] < len(sent):
            raise RuntimeError(f"{program} sent {figures['lines']} lines of {len(sent)}")
        return figures

    def job(self, program, latency=0):
        """A mode 0 job of the whole program, its window up; fails when the board is not exact in the end."""
        out = self.work / "job"
        report = self.work / "report.json"
        environment = {**os.environ, "JOB_PREFIX": " ".join(self.on_first), "JOB_TIMEOUT": "600",
                       "JOB_PROGRAM": str(self.bin / program)}
        subprocess.run([*self.on_last, ROOT / "demo/headless-job", "update", self.build, out, "--line-rate",
                        "--adapter-latency", str(latency), "--release-set", self.release_set,
                        "--first-port", str(PORT), "--expect", "update", "--report", report],
                       env=environment, check=True, stdout=subprocess.DEVNULL)
        board = json.loads(report.read_text())["boards"][0]
        phases = board["phaseSeconds"]
        return {**turnaround(board),
                "seconds": phases["finished"] - phases["first line"] + TICKS_TO_FIRST_LINE * TICK,
                "cpuSeconds": processor_seconds(out / "schedstat"),
                "idleBytes": kilobytes(out / "idle", "VmRSS"),
                "peakBytes": kilobytes(out / "process", "VmHWM")}

    def job_floor(self, latency=0):
        """Seconds that no program can save: what the job prescribes, the wire, and the board's own times."""
        done = subprocess.run([self.bin / "release-set", "check", "--json", self.release_set],
                              check=True, capture_output=True)
        job = json.loads(done.stdout)
        waits = (WAITS_TO_FIRMWARE + WAITS_TO_IMAGES) * TICK
        wire = (job["jobMilliseconds"]["wire"] + job["jobMilliseconds"]["lineEnds"]) / 1e3
        board = PAGES * (ERASE + PROGRAM)
        return waits + wire + board + job["jobMilliseconds"]["exchanges"] * latency / 1e3

    def decoded_bytes(self):
        done = subprocess.run([self.bin / "release-set", "check", "--json", self.release_set],
                              check=True, capture_output=True)
        return sum(image["bytes"] for image in json.loads(done.stdout)["images"])


WAITS_TO_FIRMWARE = 19  # ticks from the click to the first erase line; the board boots meanwhile
WAITS_TO_IMAGES = 6  # whole ticks between the last page and the first image
PAGES = 223  # that are written, however long the firmware's file is
ERASE, PROGRAM = 0.045, 0.012  # seconds a page, the virtual board's at line rate


def turnaround(board):
    figures = board["turnaroundMicroseconds"]
    return {"median": figures["p50"], "p99": figures["p99"], "lines": figures["count"]}


def processor_seconds(path):
    """Over all threads of the program."""
    return sum(int(line.split()[0]) for line in path.read_text().splitlines()) / 1e9


def kilobytes(path, key):
    return int(re.search(rf"^{key}:\s*(\d+) kB", path.read_text(), re.MULTILINE)[1]) * 1024


@contextlib.contextmanager
def display(bench):
    """A display of our own, its server on the processor that the programs leave free."""
    read, write = os.pipe()
    server = subprocess.Popen([*bench.on_last, "Xvfb", "-displayfd", str(write), "-screen", "0", "800x600x24",
                               "-nolisten", "tcp"], pass_fds=[write], stderr=subprocess.DEVNULL)
    os.close(write)
    try:
        number = os.read(read, 16).decode().strip()
        os.environ.update(DISPLAY=f":{number}", QT_QPA_PLATFORM="xcb")
        yield
    finally:
        os.close(read)
        server.terminate()
        server.wait()
        os.environ.pop("DISPLAY", None)
        os.environ.pop("QT_QPA_PLATFORM", None)


def say(text):
    print(f"{time.strftime('%H:%M:%S')}  {text}", flush=True)
