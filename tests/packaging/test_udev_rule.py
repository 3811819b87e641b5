#!/usr/bin/env python3
"""What the udev rule does, by udev's own interpreter of rules, on computers with various adapters."""

import pathlib
import re
import sys
import unittest

import mocked_computer
from mocked_computer import Adapter

RULE = pathlib.Path(sys.argv.pop(1)) / "packaging/linux/60-annealing-db-updater.rules"


def event(adapter, device, action="add"):
    """What udev would do for the event, step by step."""
    done = mocked_computer.run([adapter], ["udevadm", "test", f"--action={action}", device], [RULE])
    return "\n".join(line for line in done.stdout.splitlines() if "Reading rules" not in line)


def by_rule(said):
    """The lines that come from the rule's own file."""
    return "\n".join(line for line in said.splitlines() if RULE.name in line)


@unittest.skipUnless(mocked_computer.available(), "this computer gives tests no mounts of their own")
class TheRule(unittest.TestCase):
    def test_comes_after_the_ports_groups_and_before_the_access_for_the_seat(self):
        self.assertGreater(int(RULE.name[:2]), 50)
        self.assertLess(int(RULE.name[:2]), 73)

    def sets_latency(self, adapter, action="add"):
        timer = re.escape(f"{adapter.serial}/latency_timer")
        # udev 252's words, and 257's.
        said = by_rule(event(adapter, adapter.serial, action))
        return re.search(rf"ATTR ?['{{]{timer}['}}](=| writing )['\"]1['\"]", said)

    def test_sets_the_latency_to_1_ms(self):
        for action in ("add", "bind", "change"):
            self.assertTrue(self.sets_latency(Adapter(), action), action)

    def test_leaves_the_latency_of_others_alone(self):
        for adapter in (Adapter(manufacturer="Prolific"), Adapter(driver="pl2303")):
            self.assertFalse(self.sets_latency(adapter), adapter)

    def test_does_nothing_for_an_adapter_that_goes(self):
        for action in ("remove", "unbind"):
            self.assertFalse(self.sets_latency(Adapter(), action), action)

    def test_opens_the_port_to_the_person_at_the_seat_and_to_a_group(self):
        adapter = Adapter()
        said = event(adapter, adapter.tty)
        self.assertRegex(said, r"TAGS=.*:uaccess:")
        self.assertRegex(said, r"RUN 'uaccess'")
        self.assertRegex(by_rule(said), r"MODE 0660")
        self.assertRegex(by_rule(said), r"GROUP \d+")

    def test_takes_every_manufacturer_that_the_program_takes(self):
        adapter = Adapter(manufacturer="Old FTDI Ltd")
        self.assertRegex(event(adapter, adapter.tty), r"TAGS=.*:uaccess:")

    def test_leaves_the_ports_of_others_alone(self):
        for maker in ("Prolific", "ftdi"):
            adapter = Adapter(manufacturer=maker)
            said = event(adapter, adapter.tty)
            self.assertNotRegex(said, r"TAGS=.*:uaccess:")
            self.assertNotIn("ID_MM_PORT_IGNORE", said)
            self.assertEqual("", by_rule(said))

    def test_keeps_modemmanager_away(self):
        adapter = Adapter()
        self.assertIn("ID_MM_PORT_IGNORE=1", event(adapter, adapter.tty))
        self.assertIn("ID_MM_DEVICE_IGNORE=1", event(adapter, adapter.usb))

    def test_is_understood_whole(self):
        adapter = Adapter()
        for device in (adapter.usb, adapter.serial, adapter.tty):
            self.assertFalse(re.search(RULE.name + r":\d+.*([Ii]nvalid|[Uu]nknown|[Ff]ail)", event(adapter, device)))


if __name__ == "__main__":
    unittest.main()
