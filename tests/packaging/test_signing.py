#!/usr/bin/env python3
"""test_signing.py SOURCE_DIR: what --sign has signed, by a certificate made for the test."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1)).resolve()
WINDOWS = SOURCE / "packaging/windows"


def run(*command, **options):
    return subprocess.run([str(word) for word in command], text=True, capture_output=True, check=False, **options)


class Signing(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.made = pathlib.Path(tempfile.mkdtemp())
        cls.signer = cls.made / "signer"
        subprocess.run([SOURCE / "tests/packaging/make-test-signer", cls.signer], check=True)
        cls.command = f"'{cls.signer}/sign'"
        cls.program = cls.made / "program.exe"
        subprocess.run(["makensis", "-V1", f"-DICON={SOURCE}/packaging/icon/annealing-db-updater.ico",
                        "-DVERSION=1.2.3", f"-DOUT={cls.program}", WINDOWS / "set-latency.nsi"], check=True)

    @classmethod
    def tearDownClass(cls):
        run("gpgconf", "--homedir", cls.signer / "gnupg", "--kill", "all")
        shutil.rmtree(cls.made)

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=self.made)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.signer / "signed").unlink(missing_ok=True)

    def copied(self, name):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        return pathlib.Path(shutil.copy(self.program, path))

    def text(self, name, content):
        path = self.folder / name
        path.write_text(content)
        return path

    def verifies(self, program):
        return run("osslsigncode", "verify", "-CAfile", self.signer / "certificate.pem", "-in", program).returncode == 0

    def sums_verify(self, sums, signature):
        return run("gpg", "--homedir", self.signer / "gnupg", "--verify", signature, sums).returncode == 0


class Sign(Signing):
    def sign(self, command, *files):
        return run(SOURCE / "packaging/sign", command, *files)

    def stops(self, command, file, line):
        before = file.read_bytes()
        done = self.sign(command, file)
        self.assertEqual((1, ""), (done.returncode, done.stdout))
        self.assertIn(line, done.stderr)
        self.assertEqual(before, file.read_bytes())
        self.assertEqual([file.name], [each.name for each in self.folder.iterdir()])

    def test_signs_programs_in_place_and_other_files_beside_them(self):
        program, sums = self.copied("two words.exe"), self.text("SHA256SUMS", "sums\n")
        self.assertFalse(self.verifies(program))
        done = self.sign(self.command, program, sums)
        self.assertEqual((0, ""), (done.returncode, done.stdout), done.stderr)
        self.assertTrue(self.verifies(program))
        self.assertEqual("sums\n", sums.read_text())
        self.assertTrue(self.sums_verify(sums, self.folder / "SHA256SUMS.asc"))

    def test_a_changed_byte_is_noticed(self):
        program, sums = self.copied("a.exe"), self.text("SHA256SUMS", "sums\n")
        self.assertEqual(0, self.sign(self.command, program, sums).returncode)
        content = bytearray(program.read_bytes())
        content[len(content) // 2] ^= 1
        program.write_bytes(content)
        sums.write_text("sumz\n")
        self.assertFalse(self.verifies(program))
        self.assertFalse(self.sums_verify(sums, self.folder / "SHA256SUMS.asc"))

    def test_a_command_that_fails_stops_it(self):
        self.stops(f"{self.command} \"$1\"; exit 7 #", self.copied("a.exe"), "the command ended with 7 for a.exe")

    def test_a_command_that_signs_nothing_stops_it(self):
        self.stops("true", self.copied("a.exe"), "the command has not signed a.exe")

    def test_sums_without_a_signature_stop_it(self):
        self.stops("true", self.text("SHA256SUMS", "x"), "the command has written no SHA256SUMS.asc or SHA256SUMS.sig")

    def test_the_command_may_have_words_of_its_own(self):
        self.assertEqual(0, self.sign(f"sh -eu -c '\"{self.signer}/sign\" \"$0\"'", self.copied("a.exe")).returncode)

    def test_a_wrong_call_ends_with_2(self):
        self.assertEqual(2, self.sign("true").returncode)


class TheInstaller(Signing):
    def pack(self, command):
        self.copied("tree/annealing-db-updater.exe")
        self.copied("tree/helpers/helper.exe")
        self.copied("tree/platforms/library.dll")
        return run(WINDOWS / "pack", "--sign", command, self.folder / "tree", "1.2.3", "D.02n",
                   self.folder / "updater_x64.exe")

    def test_is_signed_after_its_uninstaller_and_that_after_the_programs(self):
        done = self.pack(self.command)
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertEqual(["annealing-db-updater.exe", "helper.exe", "library.dll", "uninstall.exe", "updater_x64.exe"],
                         (self.signer / "signed").read_text().split())
        for name in ("tree/annealing-db-updater.exe", "tree/platforms/library.dll", "updater_x64.exe"):
            self.assertTrue(self.verifies(self.folder / name), name)

    def test_does_not_come_about_where_the_command_fails_for_any_of_them(self):
        for name in ("annealing-db-updater.exe", "uninstall.exe", "updater_x64.exe"):
            with self.subTest(name):
                done = self.pack(f"! expr match \"$1\" '.*/{name}$' >/dev/null && {self.command}")
                self.assertNotEqual(0, done.returncode)
                self.assertIn(f"for {name}", done.stderr)
                self.assertFalse((self.folder / "updater_x64.exe").exists())


if __name__ == "__main__":
    unittest.main()
