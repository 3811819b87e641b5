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
        self.assertFalse(PACKAGES.exists())

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

    def other_picture(self):
        """Changes image 1, whose version stays, in a set of its own version."""
        source = self.set / "1.c"
        text = source.read_text()
        at = text.index("0x", text.index("{"))
        source.write_text(text[:at] + ("0xff" if text[at:at + 4] != "0xff" else "0xfe") + text[at + 4:])
        self.manifest(Version="D.03a")

    KEPT = ("settings.json: error: Images[1].ImageVersion: image 1 (1.c) has changed and its version is still 1, "
            'so a board keeps the image it has; write "ImageVersion": 2\n')

    def test_stop_it_when_an_image_has_changed_and_kept_its_version(self):
        self.other_picture()
        self.stops("--release-set", self.set, "--previous", TREE / "res", line=self.KEPT)

    def test_are_built_with_an_image_that_kept_its_version_when_that_is_asked_for_and_the_notes_say_it_first(self):
        self.other_picture()
        done = package("--release-set", self.set, "--previous", TREE / "res", "--allow-kept-versions")
        self.assertEqual(0, done.returncode, done.stderr)
        notes, = PACKAGES.glob("release-notes_*.txt")
        self.assertTrue(notes.read_text().startswith(
            "MACHINES THAT HAVE THE PREVIOUS RELEASE SET KEEP THE OLD PICTURE OF THESE IMAGES:\n\n" + self.KEPT + "\n"))

    def test_are_not_released_where_the_sums_cannot_be_signed(self):
        done = package("--release-set", TREE / "res", "--sign", "exit 7 #")
        self.assertEqual(1, done.returncode, done.stderr)
        self.assertIn("the command ended with 7 for SHA256SUMS\n./package: not released: ", done.stderr)
        self.assertFalse(PACKAGES.exists())

    def test_are_released_with_signed_sums(self):
        signer = self.set.parent / "signer"
        subprocess.run([TREE / "tests/packaging/make-test-signer", signer], check=True)
        self.addCleanup(subprocess.run, ["gpgconf", "--homedir", signer / "gnupg", "--kill", "all"])
        done = package("--release-set", TREE / "res", "--previous", TREE / "res", "--sign", signer / "sign")
        self.assertEqual(0, done.returncode, done.stderr)
        subprocess.run(["gpg", "--homedir", signer / "gnupg", "--quiet", "--verify", PACKAGES / "SHA256SUMS.asc",
                        PACKAGES / "SHA256SUMS"], check=True)
        notes, = PACKAGES.glob("release-notes_*.txt")
        self.assertIn("\nSigned: SHA256SUMS", notes.read_text())

    def test_become_files_of_their_version_with_notes_and_sums(self):
        self.manifest(Version="D.03a")
        (self.set / "letter.txt").write_text("no part of the set")
        done = package("--release-set", self.set, "--previous", TREE / "res")
        self.assertEqual(0, done.returncode, done.stderr)
        architecture = subprocess.check_output(["dpkg", "--print-architecture"], text=True).strip()
        names = [f"annealing-db-updater{tools}_{VERSION}+d.03a_{architecture}" for tools in ("-dev-tools", "")]
        files = [*(name + ending for name in names for ending in (".deb", ".spdx.json")),
                 f"release-notes_{VERSION}+d.03a.txt"]
        self.assertEqual(sorted([*files, "SHA256SUMS"]), sorted(file.name for file in PACKAGES.iterdir()))
        self.assertNotIn("letter", subprocess.check_output(["dpkg-deb", "-c", PACKAGES / files[0]], text=True))
        subprocess.run([TREE / "tests/packaging/check-parts", *PACKAGES.glob("*.spdx.json")], check=True)
        sums = (PACKAGES / "SHA256SUMS").read_text()
        self.assertEqual(files, [line.split()[1] for line in sums.splitlines()])
        notes = (PACKAGES / files[-1]).read_text()
        self.assertIn(f"{VERSION}, release set D.03a", notes)
        self.assertIn("\nNot signed.\n", notes)
        self.assertIn("set: version D.02n -> D.03a\nfirmware: page 0x1000: 7 bytes\n", notes)
        for told in (done.stdout, notes, subprocess.check_output(["dpkg-deb", "-f", PACKAGES / files[2]], text=True)):
            self.assertNotIn("NOT FOR A MACHINE", told)


if __name__ == "__main__":
    unittest.main()
