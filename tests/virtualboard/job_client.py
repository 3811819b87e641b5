#!/usr/bin/env python3
"""job_client.py update|images|erase RELEASE_SET [--crash]

A bare updater without windows, ticks or waits, so that the virtual board is tested without the
program that it is to test. It works on the first adapter, sends a line again when no answer came for
a while, and gives up after some tries.
"""

import glob
import os
import pathlib
import select
import sys
import termios
import time
import tty

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from job_lines import expected_lines

ANSWER_TIMEOUT = 0.3  # seconds
MOST_TRIES = 20


class Port:
    """The adapter's port, opened at a rate and set back when it is closed, as drivers do."""

    def __init__(self, path, rate):
        self.descriptor = os.open(path, os.O_RDWR | os.O_NOCTTY)
        self.before = termios.tcgetattr(self.descriptor)
        tty.setraw(self.descriptor, termios.TCSANOW)
        settings = termios.tcgetattr(self.descriptor)
        settings[4] = settings[5] = rate
        termios.tcsetattr(self.descriptor, termios.TCSANOW, settings)
        self.received = b""

    def close(self):
        try:
            termios.tcsetattr(self.descriptor, termios.TCSANOW, self.before)
        except termios.error:
            pass  # unplugged
        os.close(self.descriptor)

    def send(self, line):
        # With fewer than four digits of checksum the updater's lines have no line feed.
        ended = "*" not in line or len(line) - line.index("*") == 5
        os.write(self.descriptor, (line + "\n" * ended).encode())

    def wait_for(self, answer, timeout):
        """Whether a line that begins so has come in time."""
        end = time.monotonic() + timeout
        while True:
            while b"\n" in self.received:
                line, self.received = self.received.split(b"\n", 1)
                if line.startswith(answer.encode()):
                    return True
            left = max(end - time.monotonic(), 0)
            if not select.select([self.descriptor], [], [], left)[0]:
                return False
            arrived = os.read(self.descriptor, 4096)
            if not arrived:
                raise OSError("unplugged")
            self.received += arrived

    def ask(self, line, answer):
        for _ in range(MOST_TRIES):
            self.send(line)
            if self.wait_for(answer, ANSWER_TIMEOUT):
                return
        sys.exit(f"job_client: no {answer} to {line[:20]}")


def captured(path, version_line, bootloader_line):
    for _ in range(MOST_TRIES):
        port = Port(path, termios.B19200)
        port.ask(version_line, "$MVERR,")
        port.send(bootloader_line)  # closing must not lose it
        port.close()
        port = Port(path, termios.B921600)
        if port.wait_for("$Bootloader", 1.5):
            return port
        port.close()
    sys.exit("job_client: no bootloader")


def answer_to(line):
    word = line[1]
    if word == "A":
        return "$AACK,0"
    if word == "F":
        return "$FACK," + line.split("*")[0].split(",")[1] + ","
    return f"${word}ACK"


def main(job, release_set):
    lines = expected_lines(job, pathlib.Path(release_set))
    path = sorted(glob.glob("/dev/ttyUSB*"))[0]
    port = captured(path, next(lines), next(lines))
    port.send(next(lines))
    port.wait_for("$GACK", ANSWER_TIMEOUT)
    for line in lines:
        if line.startswith("$X"):
            port.send(line)
        else:
            port.ask(line, answer_to(line))
        if line.startswith("$A") and not port.wait_for("$AACK,1", 5):
            sys.exit("job_client: the images were not erased")
    termios.tcdrain(port.descriptor)
    port.close()


if __name__ == "__main__":
    if sys.argv[3:] == ["--crash"]:
        os.abort()
    try:
        main(*sys.argv[1:])
    except OSError as error:
        sys.exit(f"job_client: no port: {error}")
