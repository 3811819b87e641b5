#!/usr/bin/env python3
"""job_client.py update|images|erase RELEASE_SET

A bare updater without windows, ticks or waits, so that the virtual board is tested without the
program that it is to test. It works on the first adapter and gives up when an answer does not come.
"""

import glob
import os
import pathlib
import select
import sys
import termios
import tty

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from job_lines import expected_lines

ANSWER_TIMEOUT = 5  # seconds


def send(port, line):
    # With fewer than four digits of checksum the updater's lines have no line feed.
    ended = "*" not in line or len(line) - line.index("*") == 5
    os.write(port, (line + "\n" * ended).encode())


def wait_for(port, answer):
    """Until a line that begins so has come."""
    line = b""
    while not (line.startswith(answer.encode()) and line.endswith(b"\n")):
        line = b"" if line.endswith(b"\n") else line
        if not select.select([port], [], [], ANSWER_TIMEOUT)[0]:
            sys.exit(f"job_client: no {answer}")
        line += os.read(port, 1)


def set_rate(port, rate):
    settings = termios.tcgetattr(port)
    settings[4] = settings[5] = rate
    termios.tcsetattr(port, termios.TCSANOW, settings)


def answer_to(line):
    if line.startswith("$F"):
        return "$FACK," + line.split("*")[0].split(",")[1] + ","
    return {"$MVER": "$MVERR,", "$BOOTLOADM": "$Bootloader", "$A,1": "$AACK,1"}.get(
        line.split("*")[0], f"{line[:2]}ACK")


def main(job, release_set):
    port = os.open(sorted(glob.glob("/dev/ttyUSB*"))[0], os.O_RDWR | os.O_NOCTTY)
    tty.setraw(port, termios.TCSANOW)
    set_rate(port, termios.B19200)
    for line in expected_lines(job, pathlib.Path(release_set)):
        send(port, line)
        if line.startswith("$BOOTLOADM"):
            set_rate(port, termios.B921600)
        if not line.startswith("$X"):
            wait_for(port, answer_to(line))
    termios.tcdrain(port)


if __name__ == "__main__":
    main(*sys.argv[1:])
