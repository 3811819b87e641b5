#!/usr/bin/python3
"""test_parts.py SOURCE_DIR: the list of what is in a package."""

import copy
import hashlib
import importlib.machinery
import importlib.util
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1)).resolve()
RELEASE = "program 1.2.3\nset D.03a\nversion 1.2.3+d.03a\nnote {}\ninstaller x\n"
LIBRARIES = ["Qt6Core.dll", "Qt6Gui.dll", "Qt6Widgets.dll", "Qt6SerialPort.dll", "platforms/qwindows.dll",
             "styles/qwindowsvistastyle.dll", "libstdc++-6.dll", "libgcc_s_seh-1.dll", "libwinpthread-1.dll"]
INSTALLER = "annealing-db-updater_1.2.3_D.03a_windows-x64.exe"


def module(path):
    loader = importlib.machinery.SourceFileLoader("check_parts", str(path))
    loaded = importlib.util.module_from_spec(importlib.util.spec_from_loader("check_parts", loader))
    loader.exec_module(loaded)
    return loaded


CHECK = module(SOURCE / "tests/packaging/check-parts")


class InAFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.write("set/settings.json", json.dumps({"Images": [{"FileName": "0.c"}], "Version": "D.03a"}))
        for name in ("fw1.bin", "Address.bin", "0.c", "letter.txt"):
            self.write("set/" + name, name)

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content, encoding="utf-8")
        return path

    def called(self, file, *words, note=""):
        return subprocess.run(
            [SOURCE / "packaging/write-parts", file, self.folder / "out.spdx.json",
             "--release-set", self.folder / "set",
             "--release", self.write("release.txt", RELEASE.format(note)), *words],
            text=True, capture_output=True, check=False,
            env={**os.environ, "SOURCE_DATE_EPOCH": "1700000000",
                 "PATH": f"{self.folder}/bin:{os.environ['PATH']}"})

    def parts(self, *words, **options):
        done = self.called(*words, **options)
        self.assertEqual(0, done.returncode, done.stderr)
        content = json.loads((self.folder / "out.spdx.json").read_text(encoding="utf-8"))
        self.assertEqual([], CHECK.faults(content))
        return content

    def windows(self):
        for name in LIBRARIES:
            self.write("tree/" + name, name)
        self.write("qt/parts.json", json.dumps([
            {"name": "zlib", "id": "zlib", "version": "1.2", "licence": "Zlib", "licenceName": "", "copyright": "(c)"},
            {"name": "MD4", "id": "md4", "version": "", "licence": "", "licenceName": "Public Domain", "copyright": ""},
            {"name": "A profile", "id": "icc", "version": "", "licence": "ICC License", "licenceName": "",
             "licenceFile": "icc.txt", "copyright": ""},
            {"name": "Raster", "id": "raster", "version": "", "licence": "FTL or GPL-2.0", "licenceName": "",
             "copyright": ""}]))
        self.write("qt/licenses/icc.txt", "You may.")
        # The compiler for Windows is not there where the tests alone are run.
        self.write("bin/dpkg-query", "#!/bin/sh\necho 12.2.0-14\n").chmod(0o755)
        return self.write(INSTALLER, ""), "--tree", self.folder / "tree", "--qt", self.folder / "qt"

    def debian(self, depends="libc6 (>= 2.34), libqt6core6 (>= 6.4.0), libqt6serialport6, libstdc++6 (>= 12)"):
        self.write("deb/DEBIAN/control", "Package: x\nVersion: 1\nArchitecture: amd64\nMaintainer: x <x@x>\n"
                   f"Description: x\nDepends: {depends}\n")
        file = self.folder / "annealing-db-updater_1.2.3+d.03a_amd64.deb"
        subprocess.run(["dpkg-deb", "--root-owner-group", "-b", self.folder / "deb", file],
                       check=True, capture_output=True)
        return file

    @staticmethod
    def related(content, kind):
        return {entry["relatedSpdxElement"].removeprefix("SPDXRef-") for entry in content["relationships"]
                if entry["relationshipType"] == kind}


class Parts(InAFolder):
    def test_have_an_id_each(self):
        names = ["a_b.c", "a-b.c", "a b.c", "ä.c", "ö.c"]
        self.write("set/settings.json", json.dumps({"Images": [{"FileName": name} for name in names], "Version": "1"}))
        for name in names:
            self.write("set/" + name, name)
        content = self.parts(self.debian())
        self.assertEqual(len(names) + 3, len({file["SPDXID"] for file in content["files"]}))

    def test_of_the_installer_are_program_set_libraries_and_what_others_wrote_in_qt(self):
        content = self.parts(*self.windows())
        named = {entry["name"]: entry for entry in content["packages"]}
        self.assertEqual(("1.2.3+d.03a", INSTALLER), tuple(
            named["annealing-db-updater"][key] for key in ("versionInfo", "packageFileName")))
        for name in LIBRARIES:
            self.assertEqual(hashlib.sha256(name.encode()).hexdigest(), named[name]["checksums"][0]["checksumValue"])
            self.assertEqual("12.2.0-14", named[name]["versionInfo"])
        self.assertEqual(
            ("Zlib", "LicenseRef-public-domain", "LicenseRef-icc", "FTL OR GPL-2.0-only"),
            tuple(named[name]["licenseDeclared"] for name in ("qt-zlib", "qt-md4", "qt-icc", "qt-raster")))
        self.assertIn({"licenseId": "LicenseRef-icc", "extractedText": "You may."},
                      content["hasExtractedLicensingInfos"])
        self.assertEqual(len(content["packages"]) - 1, len(self.related(content, "CONTAINS")))

    def test_of_a_debian_package_are_program_set_and_what_it_depends_on(self):
        content = self.parts(self.debian())
        self.assertEqual({"libc6", "libqt6core6", "libqt6serialport6", "libstdc-2b--2b-6"},
                         self.related(content, "DEPENDS_ON"))
        self.assertEqual({"release-set"}, self.related(content, "CONTAINS"))
        licences = {entry["name"]: entry["licenseDeclared"] for entry in content["packages"]}
        self.assertEqual("LGPL-3.0-only", licences["libqt6core6"])

    def test_have_the_hashes_of_the_sets_files_and_of_no_other(self):
        content = self.parts(self.debian())
        self.assertEqual(["./0.c", "./Address.bin", "./fw1.bin", "./settings.json"],
                         [file["fileName"] for file in content["files"]])
        self.assertEqual(hashlib.sha256(b"fw1.bin").hexdigest(), content["files"][2]["checksums"][1]["checksumValue"])

    def test_say_what_a_person_must_know(self):
        self.assertIn("not for a machine", json.dumps(self.parts(self.debian(), note="not for a machine")))

    def test_are_the_same_twice_and_others_for_another_set(self):
        first = self.parts(self.debian())
        self.assertEqual(first, self.parts(self.debian()))
        self.write("set/fw1.bin", "other")
        self.assertNotEqual(first["documentNamespace"], self.parts(self.debian())["documentNamespace"])

    def test_of_unknown_origin_stop_it(self):
        self.assertIn("the licence of libother1", self.called(self.debian("libc6, libother1")).stderr)
        windows = self.windows()
        self.write("tree/other.dll", "")
        self.assertIn("of unknown origin: other.dll", self.called(*windows).stderr)


class TheCheck(InAFolder):
    def test_finds_what_is_wrong(self):
        good = self.parts(self.debian())
        for part, change in [
                ("spdxVersion", lambda content: content.update(spdxVersion="SPDX-2.2")),
                ("SPDXRef-nothing", lambda content: content["documentDescribes"].append("SPDXRef-nothing")),
                ("given twice", lambda content: content["packages"].append(content["packages"][2])),
                ("MIT-ish", lambda content: content["packages"][2].update(licenseDeclared="MIT-ish")),
                ("LicenseRef-proprietary is not known", lambda content: content.update(hasExtractedLicensingInfos=[])),
                ("copyrightText", lambda content: content["packages"][0].pop("copyrightText")),
                ("packageVerificationCode", lambda content: content["packages"][1].pop("packageVerificationCode")),
                ("does not match", lambda content: content["files"][0]["checksums"][0].update(checksumValue="0"))]:
            with self.subTest(part):
                bad = copy.deepcopy(good)
                change(bad)
                self.assertIn(part, "\n".join(CHECK.faults(bad)))


if __name__ == "__main__":
    unittest.main()
