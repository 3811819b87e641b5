#!/usr/bin/env python3
"""check_transcript.py JOB RELEASE_SET TRANSCRIPT

Compares what a virtual board heard during a job with the lines that the job has to send, computed
by support/job_lines.py from the release set alone: every line, in order, with its checksum.
"""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from job_lines import expected_lines

TICK = 0.5  # seconds between two steps of a session


def heard(transcript):
    """(time, line) of every line that the board heard."""
    for row in transcript.read_text().splitlines():
        match = re.match(r"\s*([\d.]+) board 0 -> (.*)", row)
        if match:
            yield float(match[1]), match[2]


def check_waits(job, lines):
    """The prescribed waits: only their lower bound, since a busy machine makes them longer."""
    times = {}
    for time, line in lines:
        times.setdefault(line.split(",")[0].split("*")[0], []).append(time)
    # From which line to which, and the least number of whole ticks between them.
    start, end, ticks = {"update": ("$P", "$I", 6), "images": ("$G", "$I", 9),
                         "erase": ("$G", "$A", 3)}[job]
    if end not in times:  # a set without images
        return None
    waited = times[end][0] - times[start][-1]
    if waited < (ticks - 0.5) * TICK:
        return f"the first {end} came {waited:.2f} s after the line before it, too early"
    return None


def main(job, release_set, transcript):
    lines = list(heard(pathlib.Path(transcript)))
    expected = list(expected_lines(job, pathlib.Path(release_set)))
    for index, (want, (time, got)) in enumerate(zip(expected, lines)):
        if want != got:
            return f"line {index + 1}, at {time} s, is\n  {got}\nand should be\n  {want}"
    if len(expected) != len(lines):
        return f"{len(lines)} lines instead of {len(expected)}"
    return check_waits(job, lines)


if __name__ == "__main__":
    problem = main(*sys.argv[1:])
    if problem:
        sys.exit(problem)
    print("every line is as it should be")
