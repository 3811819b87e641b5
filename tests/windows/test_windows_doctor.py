#!/usr/bin/env python3
"""What the doctor for Windows says, against recorded answers of computers.

The rows are the doctor's own. There is no PowerShell here: what reads them is written a second time
below. On Windows, "annealing-db-updater-doctor.ps1 -Answers FILE" says the lines that FILE has under
"says".
"""

import json
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
DOCTOR = (ROOT / "packaging/windows/annealing-db-updater-doctor.ps1").read_text(encoding="ascii")
ON_LINUX = (ROOT / "packaging/linux/annealing-db-updater-doctor").read_text(encoding="utf-8")
ANSWERS = sorted((ROOT / "tests/windows/answers").glob("*.json"))
ROWS = [[part.strip() for part in line.split(" | ", 2)]
        for line in re.search(r"@'\n(.*?)\n'@", DOCTOR, re.DOTALL)[1].splitlines()]
CHIP = re.compile(re.search(r"^\$chip = '(.*)'$", DOCTOR, re.MULTILINE)[1], re.IGNORECASE)
NO_DRIVER = 28
CONDITION = re.compile(r"(\w+)([=<>])(\w+)")


def facts_of(answers):
    adapters, others, chips = 0, [], []
    for port in answers["ports"]:
        is_adapter = "FTDI" in port["manufacturer"]
        adapters += is_adapter
        maker = re.sub(r"^\((.*)\)$", r"\1", port["manufacturer"])
        named = f"{port['name']} ({maker})"
        others += [] if is_adapter else [named]
        chips += [named] if not is_adapter and CHIP.search(port["id"]) else []
        serial = re.search(r"\+([^+\\]+)\\", port["id"])
        yield {"about": "port", "adapter": "yes" if is_adapter else "no", "name": port["name"],
               "manufacturer": port["manufacturer"], "description": port["description"],
               "serial": serial[1] if serial else "", "opens": port["opens"],
               "latency": 16 if port["latency"] is None else port["latency"]}
    problems = [device["problem"] for device in answers["usb"]]
    faulty = [problem for problem in problems if problem not in (0, NO_DRIVER)]
    yield {"about": "computer", "adapters": adapters, "others": ", ".join(others) or "0", "usb": len(problems),
           "misnamed": len(chips) if adapters == 0 else 0, "chips": ", ".join(chips),
           "driverless": problems.count(NO_DRIVER), "faulty": len(faulty), "problem": (faulty or [0])[0],
           "portless": problems.count(0) if adapters == 0 and not chips else 0}


def holds(facts, condition):
    fact, operator, value = CONDITION.fullmatch(condition).groups()
    if operator == "=":
        return str(facts[fact]) == value
    return int(facts[fact]) < int(value) if operator == "<" else int(facts[fact]) > int(value)


def lines_of(facts):
    said = set()
    for about, conditions, line in ROWS:
        topic = line[4:].split(":")[0]
        if about == facts["about"] and topic not in said and all(holds(facts, c) for c in conditions.split()):
            said.add(topic)
            yield re.sub(r"\{(\w+)\}", lambda match: str(facts[match[1]]), line)


def says(answers):
    return [line for facts in facts_of(answers) for line in lines_of(facts)]


class TheDoctorForWindows(unittest.TestCase):
    def test_says_what_to_do_on_each_computer(self):
        self.assertTrue(ANSWERS)
        for path in ANSWERS:
            answers = json.loads(path.read_text(encoding="utf-8"))
            with self.subTest(path.stem):
                self.assertEqual(answers["says"], says(answers))

    def test_has_no_row_that_no_computer_shows(self):
        shown = {line for path in ANSWERS for line in says(json.loads(path.read_text(encoding="utf-8")))}
        for about, _, line in ROWS:
            pattern = re.sub(r"\\\{\w+\\\}", ".+", re.escape(line))
            self.assertTrue(any(re.fullmatch(pattern, text) for text in shown), f"{about}: {line}")

    def test_opens_no_port_but_an_adapters(self):
        self.assertEqual(["opens = if (Test-Adapter $device.Manufacturer) { Test-Port $parameters.PortName } else { $null }"],
                         [line.strip() for line in DOCTOR.splitlines() if re.search(r"(?<!function )Test-Port\b", line)])
        for _, conditions, _ in ROWS:
            if "opens=" in conditions:
                self.assertIn("adapter=yes", conditions.split())

    def test_says_its_own_failure_before_the_window_closes(self):
        _, tried, caught = re.split(r"^try \{$|^\} catch \{$", DOCTOR, flags=re.MULTILINE)
        self.assertIn("Get-Answers", tried)
        self.assertRegex(caught, r"(?ms)\$lines = @\('do  doctor: '.*^\}$.*^if \(\$Stay\)")

    def test_speaks_as_on_linux_where_the_same_is_meant(self):
        for text in ("plug in the machine's cable and switch the machine on",
                     "which the updater does not take; plug in the machine's own cable",
                     "and the updater talks to all of them; leave the cable of one machine plugged in, and unplug the others",
                     "which makes an update take minutes longer;", "hands answers on after "):
            self.assertIn(text, DOCTOR)
            self.assertIn(text, ON_LINUX)

    def test_changes_nothing(self):
        self.assertNotRegex(DOCTOR, r"\b(Set|New|Remove|Clear|Rename|Restart|Stop|Start|Invoke)-(?!Object|StrictMode)\w+")

    def test_can_be_read_by_every_powershell(self):
        # Without a byte order mark, the one of Windows takes a file for its own 8-bit text.
        self.assertTrue(DOCTOR.isascii())


if __name__ == "__main__":
    unittest.main()
