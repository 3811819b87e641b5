#!/usr/bin/env python3
"""test_package.py SOURCE_DIR BUILD_DIR: the Debian packages, made from what is built in BUILD_DIR, and how
releases are named."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD = map(pathlib.Path, (sys.argv.pop(1), sys.argv.pop(1)))
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (SOURCE / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
OWNER = dict(re.findall(r"^(\w+): (.*)$", (SOURCE / "packaging/owner.txt").read_text(encoding="utf-8"), re.MULTILINE))
METAINFO = f"metainfo/{OWNER['id']}.annealing_db_updater.metainfo.xml"
# What BUILD_DIR holds is the stand-in.
FULL_VERSION = f"{VERSION}~standin+d.02n"
SET_VERSION = "D.02n"
PROGRAM_FILES = {
    "usr/bin/annealing-db-updater", "usr/bin/annealing-db-updater-doctor",
    "usr/lib/udev/rules.d/60-annealing-db-updater.rules",
    "usr/share/applications/annealing-db-updater.desktop",
    "usr/share/applications/annealing-db-updater-doctor.desktop",
    f"usr/share/{METAINFO}",
    "usr/share/icons/hicolor/scalable/apps/annealing-db-updater.svg",
    *(f"usr/share/icons/hicolor/{size}x{size}/apps/annealing-db-updater.png"
      for size in (16, 22, 24, 32, 48, 64, 128, 256)),
    *(f"usr/share/man/man1/annealing-db-updater{name}.1.gz" for name in ("", "-doctor")),
    "usr/share/doc/annealing-db-updater/changelog.gz", "usr/share/doc/annealing-db-updater/copyright",
}
TOOL_FILES = {
    "usr/bin/virtual-board", "usr/bin/release-set",
    "usr/share/man/man1/virtual-board.1.gz", "usr/share/man/man1/release-set.1.gz",
    "usr/share/doc/annealing-db-updater-dev-tools/changelog.gz",
    "usr/share/doc/annealing-db-updater-dev-tools/copyright",
}
RELEASE_SET = "usr/share/annealing-db-updater-dev-tools/release-set/"


def output(*command, **options):
    done = subprocess.run([str(word) for word in command], text=True, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    if done.returncode:
        raise AssertionError(f"{command[0]} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def packed(folder, **environment):
    """The Debian packages, in `folder`."""
    output("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", folder,
           env={**os.environ, "SOURCE_DATE_EPOCH": "1700000000", **environment})


class ThePackages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        packed(cls.folder)
        cls.program, = cls.folder.glob("annealing-db-updater_*.deb")
        cls.tools, = cls.folder.glob("annealing-db-updater-dev-tools_*.deb")
        cls.root = cls.folder / "root"
        for package in (cls.program, cls.tools):
            output("dpkg-deb", "-x", package, cls.root)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    @staticmethod
    def field(package, name):
        return output("dpkg-deb", "-f", package, name).strip()

    @staticmethod
    def files(package):
        listed = [line.split(maxsplit=5) for line in output("dpkg-deb", "-c", package).splitlines()]
        return {path.removeprefix("./").split(" -> ")[0] for mode, *_, path in listed if not mode.startswith("d")}

    def test_hold_what_belongs_to_them_and_nothing_else(self):
        self.assertEqual(PROGRAM_FILES, self.files(self.program))
        tools = {name for name in self.files(self.tools) if not name.startswith(RELEASE_SET)}
        self.assertEqual(TOOL_FILES, tools)

    def test_bring_the_release_set_for_the_virtual_board(self):
        self.assertEqual("", output(self.root / "usr/bin/release-set", "check", "--quiet", self.root / RELEASE_SET))

    def test_depend_on_what_is_loaded_while_the_program_runs(self):
        for library in ("libqt6widgets6", "libqt6serialport6", "qt6-qpa-plugins"):
            self.assertIn(library, self.field(self.program, "Depends"))
        self.assertIn("umockdev,", self.field(self.tools, "Depends"))
        self.assertNotIn("umockdev", self.field(self.program, "Depends"))

    def test_carry_both_versions_everywhere(self):
        self.assertEqual(FULL_VERSION, self.field(self.program, "Version"))
        self.assertEqual(FULL_VERSION, self.field(self.tools, "Version"))
        share = self.root / "usr/share"
        self.assertIn(f"X-AppVersion={FULL_VERSION}\n",
                      (share / "applications/annealing-db-updater.desktop").read_text())
        self.assertIn(f'<release version="{FULL_VERSION}"',
                      (share / METAINFO).read_text())
        for changelog in share.glob("doc/*/changelog.gz"):
            self.assertIn(f" ({FULL_VERSION}) ", output("zcat", changelog).splitlines()[0])

    def test_name_the_owner_everywhere(self):
        maintainer = f"{OWNER['name']} <{OWNER['email']}>"
        for package in (self.program, self.tools):
            self.assertEqual(maintainer, self.field(package, "Maintainer"))
            self.assertEqual(OWNER["homepage"], self.field(package, "Homepage"))
        share = self.root / "usr/share"
        for papers in share.glob("doc/*"):
            self.assertIn(f"Upstream-Contact: {maintainer}\n", (papers / "copyright").read_text())
            self.assertIn(f" -- {maintainer}  ", output("zcat", papers / "changelog.gz"))
        metainfo = (share / METAINFO).read_text()
        for told in (f"<id>{OWNER['id']}.annealing_db_updater</id>", f'<developer id="{OWNER["id"]}">',
                     f"<name><![CDATA[{OWNER['name']}]]></name>", f'<url type="homepage">{OWNER["homepage"]}</url>'):
            self.assertIn(told, metainfo)

    def test_say_of_the_stand_in_that_it_is_not_for_a_machine(self):
        self.assertTrue(self.program.name.endswith("_not-for-a-machine.deb"), self.program.name)
        for package in (self.program, self.tools):
            self.assertIn("~standin+", package.name)
            self.assertIn("NOT FOR A MACHINE", self.field(package, "Description"))
        self.assertIn("(stand-in, not for a machine)", self.field(self.program, "Description").splitlines()[0])
        desktop = (self.root / "usr/share/applications/annealing-db-updater.desktop").read_text()
        self.assertIn("Name=Annealing DB Updater (stand-in, not for a machine)\n", desktop)

    def test_say_so_while_they_are_installed(self):
        output("dpkg-deb", "-e", self.program, self.folder / "control")
        answers = self.folder / "dpkg-query"
        for version, told in ((FULL_VERSION, True), (f"{VERSION}+d.02n", False)):
            answers.write_text(f"#!/bin/sh\necho '{version}'\n")
            answers.chmod(0o755)
            said = output(self.folder / "control/postinst", "configure",
                          env={**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"})
            self.assertEqual(told, "NOT FOR A MACHINE" in said, version)

    def test_of_the_stand_in_replace_no_release_for_machines(self):
        output("dpkg-deb", "-e", self.program, self.folder / "control")
        real, newer = f"{VERSION}+d.02n", f"{VERSION}1~standin+d.02n"
        for words, code in ((["upgrade", real, newer], 1), (["upgrade", real, f"{VERSION}+d.03a"], 0),
                            (["upgrade", FULL_VERSION, newer], 0), (["upgrade", FULL_VERSION, real], 0),
                            (["install", real, newer], 0), (["install"], 0), (["abort-upgrade", newer], 0)):
            done = subprocess.run([self.folder / "control/preinst", *words], text=True, capture_output=True,
                                  check=False)
            self.assertEqual(code, done.returncode, words)
            self.assertEqual(code == 1, "remove the release first" in done.stderr, words)

    def test_are_the_same_twice(self):
        again = self.folder / "again"
        packed(again, TZ="Pacific/Auckland", LC_ALL="C")
        for package in (self.program, self.tools):
            self.assertEqual(package.read_bytes(), (again / package.name).read_bytes(), package.name)

    def test_please_lintian(self):
        self.assertEqual("", output("lintian", "--allow-root", "--fail-on", "error,warning",
                                    self.program, self.tools))

    def test_have_valid_desktop_entries(self):
        for entry in (self.root / "usr/share/applications").iterdir():
            output("desktop-file-validate", entry)

    def test_have_valid_metainfo(self):
        output("appstreamcli", "validate", "--no-net", "--pedantic",
               self.root / "usr/share" / METAINFO)

    def test_have_man_pages_without_a_mistake(self):
        for page in (self.root / "usr/share/man/man1").iterdir():
            self.assertEqual("", output("sh", "-c", f"man --warnings -E UTF-8 -l '{page}' >/dev/null"))

    def test_bring_icons_of_their_sizes(self):
        for icon in (self.root / "usr/share/icons/hicolor").glob("*x*/apps/*.png"):
            width, height = icon.parts[-3].split("x")
            self.assertIn(f"{width} x {height}", output("file", icon))


def release_of(version, stand_in=False):
    """What ./package knows of a release set."""
    with tempfile.TemporaryDirectory() as folder:
        release_set = pathlib.Path(folder) / "set"
        release_set.mkdir()
        (release_set / "settings.json").write_text(json.dumps({"Images": [], "Version": version}))
        firmware = b"\0" * 100 + b"something else\n"
        (release_set / "fw1.bin").write_bytes((SOURCE / "res/fw1.bin").read_bytes() if stand_in else firmware)
        output("cmake", f"-DPROJECT_VERSION={VERSION}", "-DUPDATER_RELEASE_DATE=2026-11-22",
               f"-DRELEASE_SET={release_set}",
               "-P", SOURCE / "cmake/ReleaseName.cmake", cwd=folder)
        lines = (pathlib.Path(folder) / "packaging/release.txt").read_text().splitlines()
    return dict(line.split(" ", 1) for line in lines)


class TheOwner(unittest.TestCase):
    def test_stands_in_one_file(self):
        for value in (OWNER["email"], OWNER["homepage"], OWNER["id"]):
            done = subprocess.run(["git", "-C", SOURCE, "grep", "--untracked", "-lF", value], text=True, check=False,
                                  capture_output=True)
            self.assertEqual("packaging/owner.txt\n", done.stdout, value)


class TheRelease(unittest.TestCase):
    def test_is_named_by_both_versions(self):
        self.assertEqual({"program": VERSION, "day": "2026-11-22", "set": "D.02n",
                          "version": f"{VERSION}+d.02n", "note": "",
                          "installer": f"annealing-db-updater_{VERSION}_D.02n_windows-x64.exe"}, release_of("D.02n"))

    def test_knows_the_stand_in_by_its_firmware_wherever_it_lies(self):
        release = release_of("E.01+a", stand_in=True)
        self.assertEqual(f"{VERSION}~standin+e.01+a", release["version"])
        self.assertEqual("Built from the stand-in release set: not for a machine", release["note"])
        self.assertEqual(f"annealing-db-updater_{VERSION}_E.01+a_stand-in-not-for-a-machine_windows-x64.exe",
                         release["installer"])

    def test_has_no_name_for_a_version_that_cannot_be_part_of_one(self):
        for version in ("D 02", "D.02-1", "D.02~n", "D/02", "../x", "D_02", ".02", "Dü"):
            release = release_of(version)
            self.assertEqual(("", "", version), (release["version"], release["installer"], release["set"]))

    def test_upgrades_from_stand_in_to_real_set_to_newer_set_to_newer_program(self):
        versions = [FULL_VERSION, f"{VERSION}+d.02n", f"{VERSION}+d.02o", f"{VERSION}+d.03a",
                    f"{VERSION}1~standin+d.02n"]
        for older, newer in zip(versions, versions[1:]):
            output("dpkg", "--compare-versions", older, "lt", newer)


class AWrongCall(unittest.TestCase):
    def test_gets_one_line_and_exit_code_2(self):
        for words in (["linux"], ["--release-set"], ["--release-set", "/nowhere"], ["--previous", str(SOURCE / "run")],
                      ["windows", "all"], ["--checks"], ["--allow-kept-versions"], ["--sign"],
                      ["all", "--release-set", BUILD.resolve().parent.name],
                      ["all", "--release-set", SOURCE / "res", "more"]):
            done = subprocess.run([SOURCE / "package", *words], text=True, capture_output=True, check=False,
                                  cwd=BUILD)
            self.assertEqual((2, ""), (done.returncode, done.stdout), words)
            self.assertRegex(done.stderr, r"\A\./package: .* \(see \./package --help\)\n\Z")


class TheLog(unittest.TestCase):
    def test_begins_with_the_version(self):
        done = subprocess.run(["timeout", "2", BUILD / "bin/annealing-db-updater"], text=True, check=False,
                              env={"QT_QPA_PLATFORM": "offscreen", "PATH": "/usr/bin"}, stderr=subprocess.PIPE)
        first = done.stderr.splitlines()[0]
        self.assertRegex(first, rf'"?Annealing DB Updater"? "?{re.escape(VERSION)}"?$')


@unittest.skipUnless(shutil.which("x86_64-w64-mingw32-windres"), "no compiler for Windows resources")
class TheWindowsResource(unittest.TestCase):
    def test_holds_version_and_icon(self):
        template = (SOURCE / "packaging/windows/annealing-db-updater.rc.in").read_text()
        major, minor, patch = VERSION.split(".")
        values = {"UPDATER_SET_VERSION": SET_VERSION, "UPDATER_NOTE": "",
                  "PROJECT_SOURCE_DIR": str(SOURCE.resolve()), "PROJECT_VERSION": VERSION,
                  "DESCRIPTION": "x", "TARGET": "x",
                  "PROJECT_VERSION_MAJOR": major, "PROJECT_VERSION_MINOR": minor, "PROJECT_VERSION_PATCH": patch}
        with tempfile.TemporaryDirectory() as folder:
            # The header of the system's own kit is not here; its few names are.
            (pathlib.Path(folder) / "winver.h").write_text(
                "#define VS_VERSION_INFO 1\n#define VOS_NT_WINDOWS32 0x40004L\n#define VFT_APP 1L\n")
            source = pathlib.Path(folder) / "program.rc"
            source.write_text(re.sub(r"@(\w+)@", lambda match: values[match[1]], template))
            output("x86_64-w64-mingw32-windres", "--preprocessor=gcc", "--preprocessor-arg=-E",
                   "--preprocessor-arg=-xc", "-I", folder, "-O", "res", source, f"{folder}/program.res")
            data = (pathlib.Path(folder) / "program.res").read_bytes()
        self.assertIn(f"{VERSION}, release set {SET_VERSION}".encode("utf-16-le"), data)
        self.assertGreater(len(data), (SOURCE / "packaging/icon/annealing-db-updater.ico").stat().st_size)


if __name__ == "__main__":
    unittest.main()
