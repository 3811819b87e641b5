#!/usr/bin/env python3
"""test_replay.py VIRTUAL-BOARD PROGRAM RELEASE_SET FIRST_PORT TEST...: logs of the real program, recorded
on virtual boards that fail, play again on the real program: the same lines, the same end.

PROGRAM is an updater with RELEASE_SET, that of the logs in tests/doctor/logs. The ports of the mocked bus
have numbers from FIRST_PORT on. By hand also EachFault: a job with each fault by itself, for half an hour.
"""

import concurrent.futures
import pathlib
import queue
import re
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
LOGS = HERE.parent / "doctor/logs"
FAULTS = HERE.parent / "faults"
VIRTUAL_BOARD, PROGRAM, RELEASE_SET = sys.argv[1:4]
FIRST_PORT = int(sys.argv[4])
del sys.argv[1:5]

AT_ONCE = 3  # a job mostly waits
MOST_PORTS = 3  # in a log
WIRE = re.compile(rb"updater\.wire: (\S+) (TX|RX) (.*)")
JOB = re.compile(rb"updater\.job: Job (\w+)")
NEVER_ENDS = 25  # seconds, then the job is taken to stand

FREE_PORTS = queue.Queue()
for worker in range(AT_ONCE):
    FREE_PORTS.put(FIRST_PORT + worker * MOST_PORTS)


class Played:
    """A run of the program on virtual boards with `options`, which presses `jobs` as tests/replay/play
    has them."""

    def __init__(self, folder, jobs, *options):
        port = FREE_PORTS.get()
        command = [HERE / "play", folder, jobs, VIRTUAL_BOARD, "--first-port", str(port), *options, "--", PROGRAM]
        try:
            done = subprocess.run(command, stderr=subprocess.PIPE, check=False)
        finally:
            FREE_PORTS.put(port)
        self.code = done.returncode
        self.log = pathlib.Path(folder) / "updater.log"
        self.verdict = (pathlib.Path(folder) / "verdict").read_text()
        self.errors = done.stderr.decode()


def lines_of(log):
    """The lines of each port of a log, the first port's first; without the log's last line where it was cut."""
    ports = {}
    for line in log.read_bytes().split(b"\n")[:-1]:
        if wire := WIRE.search(line):
            ports.setdefault(wire[1], []).append((wire[2], wire[3]))
    return list(ports.values())


def jobs_of(log):
    """What `play` is to press for the jobs of a log: the dialog of each but the last is closed when as many
    lines are out as were then, that of the last too when the log has no lines."""
    names, sent = [], []
    for line in log.read_bytes().split(b"\n"):
        if job := JOB.search(line):
            names.append(job[1].decode())
            sent.append(sent[-1] if sent else 0)
        elif (wire := WIRE.search(line)) and wire[2] == b"TX":
            sent[-1] += 1
    words = [f"{name}:{count}" for name, count in zip(names, sent)]
    if sent and sent[-1] > 0:
        words[-1] = names[-1]
    return " ".join(words)


class Replays(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def play_again(self, log, name):
        jobs = jobs_of(log)
        options = ["--stop-when-done", "1", "--timeout", "120"] if ":" not in jobs.split()[-1:][0] else []
        return Played(self.folder / name, jobs, "--replay", log, *options)

    def same_again(self, log, name):
        """Why the log does not play again as it was; empty when it does."""
        again = self.play_again(log, name)
        if again.code != 0:
            return f"{name}: {again.verdict}{again.errors}"
        # One repeat more or fewer is no difference.
        if "sent once" in again.verdict:
            return ""
        then, now = lines_of(log), lines_of(again.log)
        # What came after the log's end is not in it.
        now = [port[: len(recorded)] for port, recorded in zip(now, then)]
        if then != now:
            return f"{name}: other lines: {then} {now}"
        could_not = b"Could not open"
        if (could_not in log.read_bytes()) != (could_not in again.log.read_bytes()):
            return f"{name}: the port's opening"
        return ""

    def all_same(self, cases):
        """`cases` are functions that say what is wrong."""
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            wrong = [text for text in pool.map(lambda case: case(), cases) if text]
        self.assertEqual([], wrong, "\n".join(wrong))

    def recorded_and_same_again(self, name, job, *options):
        first = Played(
            self.folder / f"{name}-then",
            job,
            *("--release-set", RELEASE_SET, "--stop-when-done", "3", "--timeout", str(NEVER_ENDS)),
            *options,
        )
        if not lines_of(first.log) or "fault" not in first.verdict:
            return f"{name}: nothing was recorded: {first.verdict}{first.errors}"
        return self.same_again(first.log, name)

    def faults_play_again(self, rows):
        self.all_same(
            [
                lambda job=job, options=options, number=number: self.recorded_and_same_again(
                    f"{number} {job} {' '.join(options)}".replace("/", "_"), job, *options
                )
                for number, (job, *options) in enumerate(rows)
            ]
        )


class RecordedLogs(Replays):
    """The log of every cause that the doctor knows."""

    def test_play_again_as_they_were(self):
        logs = sorted(log for log in LOGS.glob("*.log") if JOB.search(log.read_bytes()))
        self.assertGreater(len(logs), 0)
        self.all_same([lambda log=log: self.same_again(log, log.stem) for log in logs])


class AllFaults(Replays):
    """Every fault of the virtual board, as many as can be in one job."""

    def test_play_again_as_they_were(self):
        faults = [
            ("images", "--fault-file", f"{self.small_plan()}"),
            ("erase", "--fault-file", f"{FAULTS}/all-erase.txt"),
            ("images", "--fault", "delay-reply word=FACK at=6 by=1800ms", "--fault", "restart word=F at=12"),
            ("images", "--fault", "unplug word=F at=6"),
            ("update", "--fault", "corrupt-command word=D at=70", "--fault", "silence word=D at=90"),
        ]
        self.faults_play_again(faults)

    def small_plan(self):
        plan = self.folder / "plan.txt"
        plan.write_text(
            """
            drop-command word=MVER at=1
            corrupt-command word=BOOTLOADM at=1
            drop-command word=I at=1
            drop-reply word=IACK at=2
            drop-command word=F at=3
            split-reply word=FACK at=4
            join-lines word=FACK at=5
            garbage word=F at=8
            long-line word=F at=10
            announce word=F at=11
            double-reply word=FACK at=9 by=100ms
            silence for=2s word=F at=16
            """
        )
        return plan


class EachFault(Replays):
    """By hand: each fault by itself, in each job."""

    COMMANDS = {"update": "D at=70", "images": "F at=7", "erase": "A at=1"}
    REPLIES = {"update": "DACK at=70", "images": "FACK at=7", "erase": "AACK at=1"}

    def test_plays_again_as_it_was(self):
        faults = [
            (job, "--fault", f"{fault} word={places[job]}")
            for job in self.COMMANDS
            for places, faults in (
                (self.COMMANDS, "drop-command corrupt-command garbage long-line announce restart unplug silence"),
                (self.REPLIES, "drop-reply split-reply join-lines delay-reply double-reply"),
            )
            for fault in faults.split()
        ]
        faults += [(job, "--fault", f"silence for=3s word={place}") for job, place in self.COMMANDS.items()]
        faults += [
            (job, "--fault", f"{fault} by={by} word={place}")
            for job, place in self.REPLIES.items()
            for fault in ("delay-reply", "double-reply")
            for by in ("100ms", "1s", "1600ms", "1900ms", "2100ms", "2500ms")
        ]
        self.faults_play_again(faults)


class ChangedLogs(Replays):
    LOG = LOGS / "job-complete.images.log"

    def test_a_log_that_is_cut_anywhere_plays_as_far_as_it_goes(self):
        content = self.LOG.read_bytes()
        first = content.index(b" TX ")
        cuts = [first + 3, first + 200, (first + len(content)) // 2, len(content) - 300]
        self.all_same([lambda cut=cut: self.same_again(self.changed(cut, content[:cut]), f"cut {cut}") for cut in cuts])

    def test_differs_at_a_line_that_is_another_one(self):
        lines = self.LOG.read_bytes().split(b"\n")
        sent = [number for number, line in enumerate(lines, 1) if b" TX " in line]
        numbers = sent[1], sent[len(sent) // 2], sent[-1]
        self.all_same([lambda number=number: self.differs_at(lines, number) for number in numbers])

    def differs_at(self, lines, number):
        """Why the replay of a log whose line `number` has another checksum does not say so."""
        last = lines[number - 1][-1:]
        other = [*lines]
        other[number - 1] = lines[number - 1][:-1] + (b"0" if last != b"0" else b"1")
        again = self.play_again(self.changed(f"line {number}", b"\n".join(other)), f"differs {number}")
        says = f"difference     log line {number}: " in again.verdict and "VERDICT: DIFFERS" in again.verdict
        return "" if says and again.code == 1 else again.verdict + again.errors

    def changed(self, name, content):
        log = self.folder / f"{name}.log"
        log.write_bytes(content)
        return log


if __name__ == "__main__":
    unittest.main()
