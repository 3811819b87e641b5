#!/usr/bin/python3
"""test_build.py TOOL MODULES: what a release set does to the build that compiles it in."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import sets

TOOL, MODULES = sys.argv[1:]
PROJECT = pathlib.Path(__file__).parent / "smallproject"


class Build(unittest.TestCase):
    """One build tree for all tests: to find the compiler takes longer than all the rest."""

    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.set = pathlib.Path(scratch.name) / "set"
        cls.tree = pathlib.Path(scratch.name) / "build"

    def configure(self, name, folder=None):
        if not folder:
            sets.rewrite(self.set, sets.SETS[name][0])
        (self.tree / "program").unlink(missing_ok=True)
        shutil.rmtree(self.tree / "CMakeFiles" / "program.dir", ignore_errors=True)
        return subprocess.run(
            ["cmake", "-G", "Ninja", "-S", PROJECT, "-B", self.tree, f"-DTOOL={TOOL}",
             f"-DMODULES={MODULES}", f"-DRELEASE_SET={folder or self.set}"], capture_output=True, text=True)

    def assert_configured(self, name):
        result = self.configure(name)
        self.assertEqual(result.returncode, 0, result.stderr)

    def build(self):
        return subprocess.run(["ninja", "-C", self.tree, "-j1"], capture_output=True, text=True)

    def has(self, resource):
        return subprocess.run([self.tree / "program", resource]).returncode == 0

    def assert_built(self):
        result = self.build()
        self.assertEqual(result.returncode, 0, result.stdout)

    def assert_stopped(self, name):
        result = self.build()
        self.assertNotEqual(result.returncode, 0)
        [line] = sets.SETS[name][1]
        self.assertIn(line + "\n", result.stdout)
        self.assertNotIn("main.cpp", result.stdout)
        self.assertFalse((self.tree / "program").exists())

    def test_good_set_is_compiled_in(self):
        self.assert_configured("image in a folder")
        self.assert_built()
        for name in ("settings.json", "fw1.bin", "Address.bin", "images/dot.c"):
            self.assertTrue(self.has(f":/res/{name}"), name)

    def test_errors_stop_the_build_with_their_lines(self):
        for name in ("word in the array", "malformed JSON", "images not an array", "file name leads out",
                     "firmware unreadable"):
            with self.subTest(name):
                self.assert_configured(name)
                self.assert_stopped(name)

    def test_warnings_do_not_stop_the_build(self):
        self.assert_configured("image not named")
        result = self.build()
        self.assertEqual(result.returncode, 0)
        self.assertIn("other.c: warning: ", result.stdout)

    def test_missing_file_is_found_once_it_is_there(self):
        self.assert_configured("image missing")
        self.assert_stopped("image missing")
        (self.set / "dot.c").write_text(sets.SOURCE)
        self.assert_built()
        self.assertTrue(self.has(":/res/dot.c"))

    def test_changed_file_is_checked_again(self):
        self.assert_configured("plain")
        self.assert_built()
        (self.tree / "program").unlink()
        (self.set / "dot.c").write_text(sets.SETS["comma missing"][0]["dot.c"])
        self.assert_stopped("comma missing")

    def test_folder_that_is_not_there_is_named(self):
        result = self.configure("plain", folder="/no/such/set")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("there is no folder /no/such/set", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
