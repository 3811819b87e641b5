#!/usr/bin/env python3
"""test_release_sets.py TREE: what ./package of TREE, where it was run before, does with other release
sets."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TREE = pathlib.Path(sys.argv.pop(1))
PACKAGES = TREE / "build/package/packages"
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (TREE / "CMakeLists.txt").read_text(encoding="utf-8"))[1]


def package(*words):
    return subprocess.run([TREE / "package", *words], text=True, capture_output=True, check=False)


class ReleaseSets(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.set = pathlib.Path(folder.name) / "set"
        shutil.copytree(TREE / "res", self.set)
        firmware = (self.set / "fw1.bin").read_bytes()
        (self.set / "fw1.bin").write_bytes(firmware.replace(b"STAND-IN FIRMWARE", b"OTHER    FIRMWARE"))

    def manifest(self, **changes):
        path = self.set / "settings.json"
        path.write_text(json.dumps({**json.loads(path.read_text()), **changes}))

    def stops(self, *words, line):
        done = package(*words)
        self.assertEqual(1, done.returncode, done.stderr)
        self.assertIn(line, done.stderr)
        self.assertEqual([], list(PACKAGES.iterdir()))

    def test_stop_it_with_the_lines_of_the_check_when_they_are_faulty(self):
        (self.set / "fw1.bin").unlink()
        self.stops("--release-set", self.set, line="fw1.bin: error: ")

    def test_stop_it_when_the_older_one_is_faulty(self):
        self.manifest(Version=2)
        self.stops("--previous", self.set, line="settings.json: error: Version")

    def test_stop_it_when_their_version_cannot_be_part_of_a_name(self):
        self.manifest(Version="D 02")
        self.stops("--release-set", self.set, line="the set's version 'D 02' cannot be part of a file's name")

    def test_stop_it_when_they_are_no_upgrade(self):
        for version in ("D.02n", "D.02N", "D.02a", "B.11"):
            with self.subTest(version):
                self.manifest(Version=version)
                self.stops("--release-set", self.set, "--previous", TREE / "res",
                           line=f"is version '{version}', {TREE}/res was 'D.02n': no upgrade")

    def test_become_files_of_their_version_with_notes_and_sums(self):
        self.manifest(Version="D.03a")
        (self.set / "letter.txt").write_text("no part of the set")
        done = package("--release-set", self.set, "--previous", TREE / "res")
        self.assertEqual(0, done.returncode, done.stderr)
        architecture = subprocess.check_output(["dpkg", "--print-architecture"], text=True).strip()
        files = [f"annealing-db-updater-dev-tools_{VERSION}+d.03a_{architecture}.deb",
                 f"annealing-db-updater_{VERSION}+d.03a_{architecture}.deb", f"release-notes_{VERSION}+d.03a.txt"]
        self.assertEqual(sorted([*files, "SHA256SUMS"]), sorted(file.name for file in PACKAGES.iterdir()))
        self.assertNotIn("letter", subprocess.check_output(["dpkg-deb", "-c", PACKAGES / files[0]], text=True))
        sums = (PACKAGES / "SHA256SUMS").read_text()
        self.assertEqual(files, [line.split()[1] for line in sums.splitlines()])
        notes = (PACKAGES / files[2]).read_text()
        self.assertIn(f"{VERSION}, release set D.03a", notes)
        self.assertIn("set: version D.02n -> D.03a\nfirmware: page 0x1000: 7 bytes\n", notes)
        for told in (done.stdout, notes, subprocess.check_output(["dpkg-deb", "-f", PACKAGES / files[1]], text=True)):
            self.assertNotIn("NOT FOR A MACHINE", told)


if __name__ == "__main__":
    unittest.main()
