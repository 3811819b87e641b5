#!/usr/bin/env python3
"""What the doctor says on computers with various adapters."""

import os
import pathlib
import subprocess
import sys
import unittest

import mocked_computer
from mocked_computer import Adapter

ROOT = pathlib.Path(sys.argv.pop(1))
DOCTOR = str(ROOT / "packaging/linux/annealing-db-updater-doctor")
RULE = ROOT / "packaging/linux/60-annealing-db-updater.rules"
RULE_IN_USE = f"/run/udev/rules.d/{RULE.name}"
AS_NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]


def doctor(*adapters, rules=(RULE,), before=(), script=""):
    """(exit code, lines) of the doctor on a computer with `adapters`, after `script` has run there."""
    command = ["bash", "-c", f'{script}\n"$@"', "-", *before, DOCTOR] if script or before else [DOCTOR]
    done = mocked_computer.run(adapters, command, rules)
    return done.returncode, done.stdout.splitlines()


@unittest.skipUnless(mocked_computer.available(), "this computer gives tests no mounts of their own")
class TheDoctor(unittest.TestCase):
    def says(self, lines, beginning, *parts):
        found = [line for line in lines if line.startswith(beginning)]
        self.assertEqual(1, len(found), lines)
        for part in parts:
            self.assertIn(part, found[0])

    def test_finds_nothing_to_do_where_all_is_well(self):
        code, lines = doctor(Adapter(latency=1))
        self.assertEqual((0, []), (code, [line for line in lines if not line.startswith("ok  ")]))
        for topic in ("adapter", "access", "holder", "latency", "rule"):
            self.says(lines, f"ok  {topic}: ")

    def test_asks_for_the_cable_when_none_is_there(self):
        code, lines = doctor()
        self.assertEqual(1, code)
        self.says(lines, "do  adapter: none", "plug in the machine's cable")

    def test_says_which_adapter_is_not_taken(self):
        code, lines = doctor(Adapter(port="ttyUSB3", manufacturer="Prolific"))
        self.assertEqual(1, code)
        self.says(lines, "do  adapter: no FTDI", "only ttyUSB3")

    def test_finds_an_adapter_without_a_port(self):
        code, lines = doctor(Adapter(port=""))
        self.assertEqual(1, code)
        self.says(lines, "do  adapter: ", "no serial port", "modprobe ftdi_sio")

    def test_warns_of_several_adapters(self):
        code, lines = doctor(Adapter(latency=1), Adapter(port="ttyUSB1", latency=1))
        self.assertEqual(1, code)
        self.says(lines, "do  adapter: there are 2", "unplug")

    def test_finds_a_slow_latency(self):
        code, lines = doctor(Adapter(latency=16))
        self.assertEqual(1, code)
        self.says(lines, "do  latency: /dev/ttyUSB0", "16 ms",
                  "echo 1 | sudo tee /sys/bus/usb-serial/devices/ttyUSB0/latency_timer")

    @unittest.skipUnless(os.geteuid() == 0, "needs a second person")
    def test_finds_a_port_that_this_person_may_not_open(self):
        code, lines = doctor(Adapter(latency=1), before=AS_NOBODY)
        self.assertEqual(1, code)
        self.says(lines, "do  access: ", "may not open /dev/ttyUSB0", "sudo adduser")

    def test_finds_who_holds_the_port(self):
        code, lines = doctor(Adapter(latency=1), script="sleep 30 3<>/dev/ttyUSB0 & trap \"kill $!\" EXIT")
        self.assertEqual(1, code)
        self.says(lines, "do  holder: sleep (process ", "holds /dev/ttyUSB0; close that program")

    def test_finds_that_the_rule_is_missing(self):
        if pathlib.Path("/usr/lib/udev/rules.d", RULE.name).exists():
            self.skipTest("the package is installed on this computer")
        code, lines = doctor(Adapter(latency=1), rules=())
        self.assertEqual(1, code)
        self.says(lines, "do  rule: ", "not installed", "install the package")

    def test_finds_that_the_rule_is_switched_off(self):
        code, lines = doctor(Adapter(latency=1), script=f": >{RULE_IN_USE}")
        self.assertEqual(1, code)
        self.says(lines, f"do  rule: {RULE_IN_USE} is empty", "delete it")

    def test_changes_nothing(self):
        done = mocked_computer.run(
            [Adapter()], ["bash", "-c", '"$0"; cat /sys/bus/usb-serial/devices/ttyUSB0/latency_timer', DOCTOR])
        self.assertEqual("16", done.stdout.splitlines()[-1])


class ItsCall(unittest.TestCase):
    def test_help_is_a_screenful(self):
        done = subprocess.run([DOCTOR, "--help"], capture_output=True, text=True, check=True)
        self.assertIn("Exit code", done.stdout)

    def test_refuses_an_unknown_word(self):
        done = subprocess.run([DOCTOR, "--fix"], capture_output=True, text=True, check=False)
        self.assertEqual((2, 1), (done.returncode, len(done.stderr.splitlines())))


if __name__ == "__main__":
    unittest.main()
