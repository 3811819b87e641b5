#!/usr/bin/env python3
"""test_replacing.py SOURCE_DIR: what the installer replaces, under Wine and with a file in place of the updater.
./package windows --check calls it; the question in the installer's window is in check-as-a-person."""

import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
SCRIPTS = ROOT / "packaging/windows"
STAND_IN = "Built from the stand-in release set: not for a machine"
INSTALLED, NOT_REMOVED, REFUSED, NOT_WRITTEN = 0, 2, 3, 4
UNINSTALL = r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\annealing-db-updater"

# Pairs whose order is easily got wrong; each is compared both ways round.
PAIRS = [
    ("1.1.0+d.02n", "1.1.0+D.02N"), ("1.1.0~standin+d.02n", "1.1.0+d.02n"), ("1.1.0~standin+d.02n", "1.1.0+a.01"),
    ("1.1.1~standin+d.02n", "1.1.0+d.02n"), ("1.10.0+d.02n", "1.9.0+d.02n"), ("1.1.0+d.2", "1.1.0+d.02"),
    ("1.1.0+d.10", "1.1.0+d.9"), ("1.1.0+d.02", "1.1.0+d.02n"), ("1.1.0+d.02a", "1.1.0+d.02n"),
    ("1.1.0+d02", "1.1.0+d.02"), ("1.1.0+d+02", "1.1.0+d.02"), ("1.1.0+2026", "1.1.0+d.02"),
    ("1.1.0+202611221200", "1.1.0+202511221300"), ("1.1.0+99999999998", "1.1.0+99999999999"),
    ("1.1.0+1.0", "1.1.0+1"), ("1.1.0+1a", "1.1.0+1.a"), ("1.1.0+000", "1.1.0+0"), ("1.1.0", "1.1.0+0"),
]

COMPARE = """\
Unicode true
Target amd64-unicode
!include "LogicLib.nsh"
!include "%s/versions.nsh"
OutFile "%s"
SilentInstall silent
Section
    FileOpen $8 "$EXEDIR\\rows.txt" r
    FileOpen $9 "$EXEDIR\\orders.txt" w
    ${Do}
        FileRead $8 $7
        ${IfThen} $7 == "" ${|} ${Break} ${|}
        ; Two words of 40 characters each, without the blanks that fill them up.
        StrCpy $5 40
        ${Do}
            IntOp $5 $5 - 1
            StrCpy $6 $7 1 $5
        ${LoopWhile} $6 == " "
        IntOp $5 $5 + 1
        StrCpy $left $7 $5
        StrCpy $5 80
        ${Do}
            IntOp $5 $5 - 1
            StrCpy $6 $7 1 $5
        ${LoopWhile} $6 == " "
        IntOp $5 $5 - 39
        StrCpy $right $7 $5 40
        Call CompareVersions
        ${If} $order < 0
            FileWrite $9 "lt$\\n"
        ${ElseIf} $order > 0
            FileWrite $9 "gt$\\n"
        ${Else}
            FileWrite $9 "eq$\\n"
        ${EndIf}
    ${Loop}
    FileClose $9
SectionEnd
"""


def random_versions(count):
    """Of what a release's name is made of, and seldom more than a few characters, so that many are nearly equal."""
    chance = random.Random(23)
    pieces = ["0", "1", "9", "10", "007", "a", "n", "z", ".", "+", "d", "~standin"]
    return ["1." + "".join(chance.choices(pieces, k=chance.randint(1, 5))) for _ in range(count)]


def debians_order(left, right):
    for order in ("lt", "gt"):
        command = ["dpkg", "--compare-versions", left.lower(), order, right.lower()]
        if subprocess.run(command, check=False).returncode == 0:
            return order
    return "eq"


class UnderWine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        (cls.folder / "home").mkdir()
        cls.environment = {
            **os.environ, "HOME": str(cls.folder / "home"), "WINEPREFIX": str(cls.folder / "prefix"),
            "WINEARCH": "win64", "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d",
            "PATH": os.environ["PATH"] + ":/usr/lib/wine"}
        cls.environment.pop("DISPLAY", None)
        cls.wine("wineboot", "-i")

    @classmethod
    def tearDownClass(cls):
        subprocess.run(["wineserver", "-k"], env=cls.environment, check=False, capture_output=True)
        shutil.rmtree(cls.folder)

    @classmethod
    def wine(cls, *words, timeout=None):
        return subprocess.run(["wine64", *map(str, words)], env=cls.environment, text=True, capture_output=True,
                              check=False, timeout=timeout)


class TheOrderOfVersions(UnderWine):
    def compare(self):
        script = self.folder / "compare.nsi"
        script.write_text(COMPARE % (SCRIPTS, self.folder / "compare.exe"))
        subprocess.run(["makensis", "-V2", "-WX", script], check=True)
        return self.folder / "compare.exe"

    def test_is_debians(self):
        chosen = random_versions(600)
        pairs = PAIRS + [(right, left) for left, right in PAIRS] + list(zip(chosen[::2], chosen[1::2]))
        (self.folder / "rows.txt").write_text("".join(f"{left:40}{right:40}\n" for left, right in pairs))
        self.assertEqual(0, self.wine(self.compare()).returncode)
        orders = (self.folder / "orders.txt").read_text().split()
        wanted = [debians_order(*pair) for pair in pairs]
        self.assertEqual({"lt", "gt", "eq"}, set(wanted))
        self.assertEqual([], [(pair, order) for pair, order, right in zip(pairs, orders, wanted, strict=True)
                              if order != right])

    def test_of_what_no_release_is_named_comes_to_an_end(self):
        (self.folder / "rows.txt").write_text(f"{'1.1.0-1':40}{'1.1.0-1':40}\n{'1.1.0_a':40}{'1.1.0-2':40}\n")
        self.assertEqual(0, self.wine(self.compare(), timeout=60).returncode)


class TheInstaller(UnderWine):
    def packed(self, version, set_version, note=""):
        tree = self.folder / "tree"
        tree.mkdir(exist_ok=True)
        (tree / "annealing-db-updater.exe").write_text("the program")
        (tree / "a.dll").write_text("a library")
        out = self.folder / f"{version}_{set_version}_{len(note)}_x64.exe"
        if not out.exists():
            subprocess.run([SCRIPTS / "pack", tree, version, set_version, out, note], check=True)
        return out

    def install(self, release, *options):
        return self.wine(self.packed(*release), "/S", *options).returncode

    def installed(self):
        lines = self.wine("reg", "query", UNINSTALL).stdout.splitlines()
        values = dict(line.split(maxsplit=2)[::2] for line in lines if len(line.split(maxsplit=2)) == 3)
        return values.get("DisplayVersion"), "Comments" in values

    def test_replaces_without_being_asked_what_is_older_or_a_stand_in_alone(self):
        real, stand_in = ("1.1.0", "D.02n"), ("1.1.0", "D.02n", STAND_IN)
        newer_set, newer_program = ("1.1.0", "D.03a"), ("1.2.0", "A.01")
        for present, new, code in [
                (stand_in, stand_in, INSTALLED), (stand_in, real, INSTALLED), (real, stand_in, REFUSED),
                (real, ("1.2.0", "D.03a", STAND_IN), REFUSED),  # newer, and still no release for a machine
                (real, real, INSTALLED), (real, newer_set, INSTALLED), (newer_set, real, REFUSED),
                (newer_set, newer_program, INSTALLED), (newer_program, newer_set, REFUSED),
                (("1.2.0", "D.02n", STAND_IN), real, REFUSED), (("1.2.0", "D.02n", STAND_IN), stand_in, REFUSED)]:
            with self.subTest(present=present, new=new):
                self.assertEqual(INSTALLED, self.install(present, "/REPLACE"))
                self.assertEqual(code, self.install(new))
                is_there = new if code == INSTALLED else present
                self.assertEqual(("+".join(is_there[:2]), len(is_there) == 3), self.installed())
                self.assertEqual(INSTALLED, self.install(new, "/REPLACE"))
                self.assertEqual("+".join(new[:2]), self.installed()[0])

    def test_that_cannot_write_a_file_leaves_what_the_next_one_removes(self):
        release, folder = ("1.1.0", "D.02n"), self.folder / "prefix/drive_c/half"
        library, uninstaller = folder / "a.dll", folder / "uninstall.exe"
        for in_the_way in (library, uninstaller):
            with self.subTest(in_the_way.name):
                (in_the_way / "in the way").mkdir(parents=True)
                self.assertEqual(NOT_WRITTEN, self.install(release, "/REPLACE", "/D=C:\\half"))
                shutil.rmtree(in_the_way)
                self.assertEqual(INSTALLED, self.install(release))
                self.assertEqual("a library", library.read_text())
                self.assertEqual(0, self.wine(uninstaller, "/S", "_?=C:\\half").returncode)
                uninstaller.unlink()

    def test_does_not_remove_a_version_whose_uninstaller_does_not_start(self):
        self.assertEqual(INSTALLED, self.install(("1.1.0", "D.02n"), "/REPLACE", "/D=C:\\elsewhere"))
        uninstaller = self.folder / "prefix/drive_c/elsewhere/uninstall.exe"
        whole = uninstaller.read_bytes()
        uninstaller.write_bytes(b"no program")
        self.assertEqual(NOT_REMOVED, self.install(("1.2.0", "D.02n"), "/REPLACE"))
        self.assertEqual("1.1.0+D.02n", self.installed()[0])
        uninstaller.write_bytes(whole)
        self.assertEqual(INSTALLED, self.install(("1.2.0", "D.02n")))


if __name__ == "__main__":
    unittest.main()
