#!/usr/bin/env python3
"""That the project configures for Windows: with this computer's compiler and with names in
place of Qt, so it shows what the project's own files say there, and no more."""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
RESOURCE_COMPILER = shutil.which("x86_64-w64-mingw32-windres") or "true"


def configured(folder):
    """The build files, and the install rules of what lies beside the programs."""
    compiler = shutil.which("g++") or shutil.which("c++")
    done = subprocess.run(
        ["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", "-Wno-dev", "-DCMAKE_SYSTEM_NAME=Windows",
         f"-DCMAKE_CXX_COMPILER={compiler}", "-DCMAKE_CXX_COMPILER_WORKS=ON",
         "-DCMAKE_RC_COMPILER=" + RESOURCE_COMPILER,
         "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON",
         f"-DQt6_DIR={ROOT / 'tests/packaging/otherqt'}"],
        text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode:
        raise AssertionError(done.stdout)
    folder = pathlib.Path(folder)
    return (folder / "build.ninja").read_text(), (folder / "packaging/windows/cmake_install.cmake").read_text()


class WindowsBuild(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_windows_gets_a_program_without_console_with_version_and_icon(self):
        build, install = configured(self.folder)
        link = build[build.index("build bin/annealing-db-updater.exe"):].split("\n\n")[0]
        self.assertIn("-mwindows", link)
        self.assertIn("annealing-db-updater.rc", link)
        self.assertIn(f'VALUE "FileVersion", "{VERSION}"', (self.folder / "app/annealing-db-updater.rc").read_text())
        for name in ("Qt6Core.dll", "Qt6SerialPort.dll", "libstdc++-6.dll", "plugins/platforms/qwindows.dll",
                     "licences.txt"):
            self.assertIn(name, install)

    def test_windows_properties_say_which_set_and_what_a_person_must_know(self):
        configured(self.folder)
        resource = (self.folder / "app/annealing-db-updater.rc").read_text()
        self.assertIn(f'VALUE "ProductVersion", "{VERSION}, release set D.02n"', resource)
        self.assertIn('VALUE "Comments", "Built from the stand-in release set: not for a machine"', resource)

    def test_windows_gets_the_doctor_with_its_own_name(self):
        build, _ = configured(self.folder)
        link = build[build.index("build bin/annealing-db-updater-doctor.exe"):].split("\n\n")[0]
        self.assertIn("-mwindows", link)
        self.assertIn("FactsWindows.cpp", build)
        self.assertNotIn("FactsLinux.cpp", build)
        for file in ("annealing-db-updater-doctor.rc", "cmake_install.cmake"):
            self.assertIn("annealing-db-updater-doctor.exe", (self.folder / "doctor" / file).read_text())

    def test_windows_gets_nothing_that_only_linux_has(self):
        build, _ = configured(self.folder)
        for name in ("virtual-board", "umockdev", "udev", "/tests/"):
            self.assertNotIn(name, build.replace(str(ROOT / "tests/packaging/otherqt"), ""), name)


if __name__ == "__main__":
    unittest.main()
