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
INSTALLED, REFUSED = 0, 3
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
    def wine(cls, *words):
        return subprocess.run(["wine64", *map(str, words)], env=cls.environment, text=True, capture_output=True,
                              check=False)


class TheOrderOfVersions(UnderWine):
    def test_is_debians(self):
        chosen = random_versions(600)
        pairs = PAIRS + [(right, left) for left, right in PAIRS] + list(zip(chosen[::2], chosen[1::2]))
        (self.folder / "rows.txt").write_text("".join(f"{left:40}{right:40}\n" for left, right in pairs))
        script = self.folder / "compare.nsi"
        script.write_text(COMPARE % (SCRIPTS, self.folder / "compare.exe"))
        subprocess.run(["makensis", "-V2", "-WX", script], check=True)
        self.assertEqual(0, self.wine(self.folder / "compare.exe").returncode)
        orders = (self.folder / "orders.txt").read_text().split()
        wanted = [debians_order(*pair) for pair in pairs]
        self.assertEqual({"lt", "gt", "eq"}, set(wanted))
        self.assertEqual([], [(pair, order) for pair, order, right in zip(pairs, orders, wanted, strict=True)
                              if order != right])


class TheInstaller(UnderWine):
    def packed(self, version, set_version, note=""):
        tree = self.folder / "tree"
        tree.mkdir(exist_ok=True)
        (tree / "annealing-db-updater.exe").write_text("the program")
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


if __name__ == "__main__":
    unittest.main()
