#!/usr/bin/env python3
"""What the doctor prints on computers with various adapters: that it finds what is there. What it says of
it is tried in tests/doctor."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

import mocked_computer
from mocked_computer import Adapter

ROOT, DOCTOR = pathlib.Path(sys.argv.pop(1)), str(pathlib.Path(sys.argv.pop(1)).resolve())
RULE = ROOT / "packaging/linux/60-annealing-db-updater.rules"
RULE_IN_USE = f"/run/udev/rules.d/{RULE.name}"
AS_NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]


def doctor(*adapters, rules=(RULE,), before=(), script=":"):
    """(exit code, lines) of the doctor on a computer with `adapters`, after `script` has run there."""
    command = ["bash", "-c", f'{script}\n"$@"', "-", *before, DOCTOR, "--text"]
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
        for topic, found in (("adapter", "FTDI FT232R USB UART A10K0001"), ("driver", "ftdi_sio"),
                             ("access", "may open /dev/ttyUSB0"), ("holder", "no program"), ("latency", " 1 ms"),
                             ("rule", RULE_IN_USE)):
            self.says(lines, f"ok  {topic}: ", found)

    def test_asks_for_the_cable_when_none_is_there(self):
        code, lines = doctor()
        self.assertEqual(1, code)
        self.says(lines, "do  adapter: none")

    def test_says_which_adapter_is_not_taken(self):
        code, lines = doctor(Adapter(port="ttyUSB3", manufacturer="Prolific"))
        self.assertEqual(1, code)
        self.says(lines, "do  adapter: no FTDI", "only /dev/ttyUSB3 (Prolific)")

    def test_finds_an_adapter_without_a_port(self):
        code, lines = doctor(Adapter(port=""))
        self.assertEqual(1, code)
        self.says(lines, "do  driver: ", "modprobe ftdi_sio")

    def test_counts_several_adapters(self):
        code, lines = doctor(Adapter(latency=1), Adapter(port="ttyUSB1", latency=1))
        self.assertEqual(0, code)
        self.says(lines, "ok  adapter: there are 2")

    def test_finds_a_slow_latency(self):
        code, lines = doctor(Adapter(latency=16))
        self.assertEqual(1, code)
        self.says(lines, "do  latency: /dev/ttyUSB0", "16 ms")

    @unittest.skipUnless(os.geteuid() == 0, "needs a second person")
    def test_finds_what_this_person_may_not_open_and_who_is_not_seen(self):
        code, lines = doctor(Adapter(latency=1), before=AS_NOBODY)
        self.assertEqual(1, code)
        self.says(lines, "do  access: ", "may not open /dev/ttyUSB0", "sudo adduser")
        self.says(lines, "?   holder: ", "no program of nobody holds")

    def test_finds_who_holds_the_port(self):
        code, lines = doctor(Adapter(latency=1), script="sleep 30 3<>/dev/ttyUSB0 & trap \"kill $!\" EXIT")
        self.assertEqual(1, code)
        self.says(lines, "do  holder: sleep (process ", "holds /dev/ttyUSB0; close that program")

    @unittest.skipUnless(os.geteuid() == 0, "needs a second person")
    def test_finds_the_lock_of_another_persons_program_while_it_runs_and_after(self):
        for process, says in (("$!", "sleep (process "),
                              ("4194305", "a program that has ended left the lock /var/lock/")):
            code, lines = doctor(Adapter(latency=1, mode=0o666), before=AS_NOBODY,
                                 script="sleep 30 & trap \"kill $!\" EXIT; mkdir -p /run/lock; "
                                        f"echo {process} >/run/lock/LCK..ttyUSB0")
            self.assertEqual(1, code)
            self.says(lines, "do  holder: ", says)

    def test_finds_that_the_rule_is_missing(self):
        if pathlib.Path("/usr/lib/udev/rules.d", RULE.name).exists():
            self.skipTest("the package is installed on this computer")
        code, lines = doctor(Adapter(latency=1), rules=())
        self.assertEqual(1, code)
        self.says(lines, "do  rule: ", "not installed")

    def test_finds_that_the_rule_is_switched_off(self):
        code, lines = doctor(Adapter(latency=1), script=f": >{RULE_IN_USE}")
        self.assertEqual(1, code)
        self.says(lines, f"do  rule: {RULE_IN_USE} is empty")

    def test_changes_nothing(self):
        done = mocked_computer.run([Adapter()], [
            "bash", "-c", '"$0" --text; cat /sys/bus/usb-serial/devices/ttyUSB0/latency_timer', DOCTOR])
        self.assertEqual("16", done.stdout.splitlines()[-1])


class ItsCall(unittest.TestCase):
    def call(self, *words):
        return subprocess.run([DOCTOR, *words], capture_output=True, text=True, check=False)

    def test_help_is_a_screenful(self):
        done = self.call("--help")
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        self.assertIn("Exit code", done.stdout)

    def test_gets_one_line_and_exit_code_2_when_it_is_wrong(self):
        for words in (["--fix"], ["--text", "/nowhere.log"], ["--text", DOCTOR, DOCTOR], ["--picture", "x.png"],
                      ["--picture", "x.txt", DOCTOR]):
            done = self.call(*words)
            self.assertEqual((2, "", 1), (done.returncode, done.stdout, len(done.stderr.splitlines())), words)
            self.assertTrue(done.stderr.startswith("annealing-db-updater-doctor: "), done.stderr)

    def test_says_of_another_file_that_it_is_no_log(self):
        done = self.call("--text", DOCTOR)
        self.assertEqual((1, 1), (done.returncode, len(done.stdout.splitlines())))
        self.assertTrue(done.stdout.startswith("do  log: "), done.stdout)

    def test_prints_where_there_is_no_screen(self):
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run([DOCTOR], capture_output=True, text=True, check=False, env={"HOME": folder})
        self.assertIn("rule: ", done.stdout)


if __name__ == "__main__":
    unittest.main()
