#!/usr/bin/env python3
"""The installer for Windows, as far as it can be tried without Windows, Wine or a Qt for Windows."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
SCRIPTS = ROOT / "packaging/windows"
NOTE = "Built from the stand-in release set: not for a machine"


def run(script, *arguments, **environment):
    return subprocess.run([SCRIPTS / script, *arguments], env={**os.environ, **environment}, text=True,
                          capture_output=True, check=False)


class InAFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content, encoding="utf-8")
        return path


class TheInstaller(InAFolder):
    def packed(self, name, *arguments):
        self.write("tree/annealing-db-updater.exe", "the program")
        self.write("tree/licenses/Qt.txt", "a licence")
        out = self.folder / f"{name}.exe"
        done = run("pack", self.folder / "tree", "1.2.3", "D.02n", out, *arguments)
        self.assertEqual(0, done.returncode, done.stderr + done.stdout)
        return out.read_bytes()

    def properties(self, installer):
        """The strings of its version resource."""
        text = installer.decode("utf-16-le", "ignore") + installer[1:].decode("utf-16-le", "ignore")
        return {name: match[1] for name in ("ProductVersion", "FileVersion", "Comments")
                if (match := re.search(name + "\0+([^\0]+)\0", text))}

    def test_names_the_programs_version_and_the_sets_in_its_properties(self):
        self.assertEqual({"ProductVersion": "1.2.3, release set D.02n", "FileVersion": "1.2.3"},
                         self.properties(self.packed("plain")))

    def test_says_in_its_properties_what_a_person_must_know(self):
        self.assertEqual(NOTE, self.properties(self.packed("noted", NOTE))["Comments"])

    def test_is_the_same_twice_whenever_its_files_were_made(self):
        first = self.packed("first")
        os.utime(self.folder / "tree/annealing-db-updater.exe", (0, 0))
        self.assertEqual(first, self.packed("second"))

    def test_is_another_for_another_note(self):
        self.assertNotEqual(self.packed("first"), self.packed("second", NOTE))


class TheFirstPage(unittest.TestCase):
    def test_begins_with_what_a_person_must_know(self):
        script = (SCRIPTS / "installer.nsi").read_text(encoding="utf-8")
        self.assertRegex(script, r'MUI_WELCOMEPAGE_TEXT "\$\{NOTICE\}')
        self.assertRegex(script, r'!define NOTICE "\$\{NOTE\}\.')


class WrongCalls(unittest.TestCase):
    def refused(self, part, script, *arguments):
        done = run(script, *arguments)
        self.assertEqual((2, 1), (done.returncode, len(done.stderr.splitlines())), done.stderr)
        self.assertIn(part, done.stderr)

    def test_get_one_line(self):
        whole = ["--release-set", str(ROOT), "--program-version", "1.0.0", "--set-version", "D.02n",
                 "--out", "/nowhere"]

        def but(name, value):
            return [value if before == name else word for before, word in zip([None, *whole], whole)]

        self.refused("are needed", "build-installer")
        self.refused("unknown word '--fast'", "build-installer", *whole, "--fast")
        self.refused("--out needs a value", "build-installer", "--out")
        self.refused("is no version", "build-installer", *but("--program-version", "1.0"))
        self.refused("there is no folder", "build-installer", *but("--release-set", "/nowhere"))
        self.refused("unknown word", "build-qt", "--fast")
        self.refused("needs a path", "build-qt", "--sources")
        self.refused("three or four words", "fetch-source", "qt6-base")
        self.refused("there is no /nowhere", "fetch-source", "qt6-base", "6.4.2-2", "/tmp", "/nowhere")
        self.refused("four or five words", "pack", "tree")

    def test_help_is_a_screenful(self):
        for script in ("build-installer", "build-qt", "fetch-source", "pack"):
            done = run(script, "--help")
            self.assertEqual(0, done.returncode)
            self.assertIn(script, done.stdout)
            self.assertLess(len(done.stdout.splitlines()), 24)


class QtForWindows(InAFolder):
    def folder_of(self, script, cache):
        done = subprocess.run([script, "--print-folder"], env={**os.environ, "XDG_CACHE_HOME": str(cache)}, text=True,
                              capture_output=True, check=True)
        return pathlib.Path(done.stdout.strip())

    def test_is_kept_in_the_cache(self):
        folder = self.folder_of(SCRIPTS / "build-qt", self.folder)
        self.assertEqual(self.folder / "annealing-db-updater", folder.parent)

    def test_is_another_with_other_options(self):
        script, toolchain = "packaging/windows/build-qt", "cmake/mingw-w64.cmake"
        licences = "packaging/windows/copy-licences"
        folders = {self.folder_of(ROOT / script, self.folder)}
        for path, old, new in ((script, "textodfwriter", ""), (script, "QT_BUILD_TESTS=OFF", "QT_BUILD_TESTS=ON"),
                               (toolchain, "-Wl,--no-insert-timestamp", ""), (licences, "BSD-3-Clause.txt", "")):
            for name in (script, toolchain, licences):
                text = (ROOT / name).read_text(encoding="utf-8")
                self.write(name, text.replace(old, new) if name == path else text).chmod(0o755)
            folders.add(self.folder_of(self.folder / script, self.folder))
        self.assertEqual(5, len(folders))

    def test_is_built_only_once(self):
        folder = self.folder_of(SCRIPTS / "build-qt", self.folder)
        folder.mkdir(parents=True)
        done = run("build-qt", XDG_CACHE_HOME=str(self.folder))
        self.assertEqual((0, f"{folder}\n"), (done.returncode, done.stdout))
        self.assertRegex(done.stderr, rf"{re.escape(str(folder))} \(\S+\)")

    def test_brings_the_licences_of_what_was_compiled_alone(self):
        self.write("qtbase/src/zlib/qt_attribution.json", json.dumps({"Id": "zlib", "LicenseFile": "LICENSE"}))
        self.write("qtbase/src/zlib/LICENSE", "zlib's")
        self.write("qtbase/src/kernel/qt_attribution.json", json.dumps(
            [{"Id": "read", "Files": "one.h, two.c", "LicenseFile": "LICENSE"},
             {"Id": "resource", "Files": "profile@2x.icc"},
             {"Id": "left-out", "Files": "three.c", "LicenseFile": "LICENSE"}, {"Id": "below", "Path": "deep"}]))
        self.write("qtbase/src/kernel/LICENSE", "its own")
        self.write("qtbase/src/kernel/deep/x.c", "")
        self.write("qtbase/util/gradients/qt_attribution.json", json.dumps(
            {"Id": "webgradients", "Files": "webgradients.css", "LicenseFile": "LICENSE"}))
        self.write("qtbase/util/gradients/LICENSE", "theirs")
        for name in ("LGPL-3.0-only", "GPL-3.0-only", "BSD-3-Clause", "MIT"):
            self.write(f"qtbase/LICENSES/{name}.txt", name)
        self.write("out/licenses/older.txt", "of an older Qt")
        self.write("build-qtbase/inputs", "src/a.obj\nsrc/b.c\n'../qtbase/src/kernel/profile@2x.icc'\n")
        self.write("build-qtbase/deps", "src/a.obj: #deps 3\n    ../qtbase/src/kernel/two.c\n"
                   "    ../qtbase/src/kernel/deep/x.c\n    ../qtbase/src/gui/painting/webgradients.cpp\n\n"
                   "other/tool.obj: #deps 1\n    ../qtbase/src/zlib/inflate.c\n    ../qtbase/src/kernel/three.c\n")
        self.write("bin/ninja", "#!/bin/sh\ncat \"$2/$5\"\n").chmod(0o755)
        done = run("copy-licences", str(self.folder / "qtbase"), str(self.folder / "out/licenses"),
                   PATH=f"{self.folder}/bin:{os.environ['PATH']}")
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertEqual(["BSD-3-Clause.txt", "GPL-3.0-only.txt", "LGPL-3.0-only.txt", "read.txt", "webgradients.txt"],
                         sorted(path.name for path in (self.folder / "out/licenses").iterdir()))
        parts = json.loads((self.folder / "out/parts.json").read_text(encoding="utf-8"))
        self.assertEqual(["read", "resource", "below", "webgradients"], [part["id"] for part in parts])

    def test_takes_a_source_from_a_folder_or_a_file(self):
        self.write("qtserialport-6.4.2/CMakeLists.txt", "a source")
        tarball = self.folder / "qtserialport-6.4.2.tar.xz"
        subprocess.run(["tar", "-C", self.folder, "-cJf", tarball, "qtserialport-6.4.2"], check=True)
        other = self.folder / "named otherwise/qtserialport-everywhere-src-6.4.2.tar.xz"
        other.parent.mkdir()
        shutil.copy(tarball, other)
        for sources in (self.folder, tarball, other):
            unpacked = self.folder / f"unpacked-{sources.name}"
            done = run("fetch-source", "qt6-serialport", "6.4.2-2", unpacked, sources)
            self.assertEqual(0, done.returncode, done.stderr)
            self.assertEqual("a source", (unpacked / "CMakeLists.txt").read_text(encoding="utf-8"))


if __name__ == "__main__":
    unittest.main()
