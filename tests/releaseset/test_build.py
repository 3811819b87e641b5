#!/usr/bin/python3
"""test_build.py TOOL SETS MODULES: what a release set does to the build that compiles it in."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

TOOL, SETS, MODULES = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
PROJECT = pathlib.Path(__file__).parent / "smallproject"


class Build(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.set = pathlib.Path(scratch.name) / "set"
        self.tree = pathlib.Path(scratch.name) / "build"

    def configure(self, name):
        shutil.copytree(SETS / name, self.set)
        result = subprocess.run(
            ["cmake", "-G", "Ninja", "-S", PROJECT, "-B", self.tree, f"-DTOOL={TOOL}",
             f"-DMODULES={MODULES}", f"-DRELEASE_SET={self.set}"], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stderr)

    def build(self):
        return subprocess.run(["ninja", "-C", self.tree, "-j1"], capture_output=True, text=True)

    def has(self, resource):
        return subprocess.run([self.tree / "program", resource]).returncode == 0

    def assertBuilt(self):
        result = self.build()
        self.assertEqual(result.returncode, 0, result.stdout)

    def assertStopped(self, line):
        result = self.build()
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(line + "\n", result.stdout)
        self.assertNotIn("main.cpp", result.stdout)
        self.assertFalse((self.tree / "program").exists())

    def test_goodSetIsCompiledIn(self):
        self.configure("good-subfolder")
        self.assertBuilt()
        for name in ("settings.json", "fw1.bin", "Address.bin", "images/dot.c"):
            self.assertTrue(self.has(f":/res/{name}"), name)

    def test_errorsStopTheBuildWithTheirLines(self):
        for name in ("decimal-literal", "json-malformed", "images-not-an-array",
                     "file-name-leads-out", "unreadable-firmware"):
            with self.subTest(name):
                shutil.rmtree(self.set, ignore_errors=True)
                shutil.rmtree(self.tree, ignore_errors=True)
                self.configure(name)
                self.assertStopped((SETS / name / "expected.txt").read_text().strip())

    def test_warningsDoNotStopTheBuild(self):
        self.configure("image-not-named")
        result = self.build()
        self.assertEqual(result.returncode, 0)
        self.assertIn("other.c: warning: ", result.stdout)

    def test_missingFileIsFoundOnceItIsThere(self):
        self.configure("missing-image")
        self.assertStopped((SETS / "missing-image" / "expected.txt").read_text().strip())
        shutil.copy(SETS / "good-plain" / "dot.c", self.set)
        self.assertBuilt()
        self.assertTrue(self.has(":/res/dot.c"))

    def test_changedFileIsCheckedAgain(self):
        self.configure("good-plain")
        self.assertBuilt()
        (self.tree / "program").unlink()
        shutil.copy(SETS / "capital-prefix" / "dot.c", self.set)
        self.assertStopped((SETS / "capital-prefix" / "expected.txt").read_text().strip())

    def test_folderThatIsNotThereIsTold(self):
        result = subprocess.run(
            ["cmake", "-G", "Ninja", "-S", PROJECT, "-B", self.tree, f"-DTOOL={TOOL}",
             f"-DMODULES={MODULES}", "-DRELEASE_SET=/no/such/set"], capture_output=True, text=True)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("there is no folder /no/such/set", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
