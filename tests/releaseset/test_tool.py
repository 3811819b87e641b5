#!/usr/bin/python3
"""test_tool.py TOOL RES SCREENS: the commands of the release set tool as they are called."""

import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import converters
import sets

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from job_lines import expected_lines, image

TOOL, RES, SCREENS = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
LINES_BEFORE_THE_FIRMWARE = 3


def run(*arguments, **options):
    return subprocess.run([TOOL, *map(str, arguments)], capture_output=True, text=True, **options)


def literals(path):
    """The array's bytes, read without the tool."""
    return image(path)[0]


def png(width, height, rgba):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + rgba[at : at + width * 4] for at in range(0, len(rgba), width * 4))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


class Scratch(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)

    def set(self, name, files=None):
        return sets.rewrite(self.folder / name, files)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content.encode() if isinstance(content, str) else content)
        return path

    def convert(self, source, target, *options):
        result = run("convert", *options, source, self.folder / target)
        self.assertEqual((result.returncode, result.stderr, result.stdout), (0, "", ""))
        return self.folder / target


class Calls(Scratch):
    def test_wrong_calls_end_with_two_and_one_line(self):
        for call in ([], ["eat"], ["check"], ["check", "no-such-folder"], ["check", "--loud", RES],
                     ["check", RES, RES], ["convert", "one.c"], ["convert", "--name"], ["sheet", RES], ["diff", RES],
                     ["diff", RES, "no-such-folder"], ["check", "--previous", "no-such-folder", RES],
                     ["check", RES, "--previous"]):
            with self.subTest(call):
                result = run(*call)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, r"\Arelease-set: [^\n]+\n\Z")

    def test_help_is_given_before_and_after_a_command(self):
        for call in (["--help"], ["-h"], ["check", "--help"], ["diff", "-h"]):
            with self.subTest(call):
                result = run(*call)
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertIn("release-set check", result.stdout)


class Check(Scratch):
    def test_table_shows_every_image_the_firmware_and_the_times(self):
        result = run("check", RES)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        rows = [line.split() for line in result.stdout.splitlines()]
        self.assertIn(["3_2.c", "3", "2", "340", "230", "156,400", "611"], rows)
        self.assertIn(["6.c", "6", "1", "220", "165", "72,600", "284"], rows)
        for text in ("D.02n", "913,408 bytes, 223 pages", "0x1400", "latency of 16 ms"):
            self.assertIn(text, result.stdout)

    def test_json_holds_the_same(self):
        report = json.loads(run("check", "--json", RES).stdout)
        self.assertEqual(report["version"], "D.02n")
        self.assertEqual([image["bytes"] for image in report["images"]],
                         [156400, 156400, 156400, 72600, 72600])
        firmware = (RES / "fw1.bin").read_bytes()
        pages = [firmware[at : at + 4096] for at in range(0, len(firmware), 4096)]
        self.assertEqual(report["firmware"], {
            "size": len(firmware), "pages": len(pages),
            "pagesAll00": pages.count(bytes(4096)), "pagesAllFF": pages.count(b"\xff" * 4096)})
        self.assertEqual(report["startAddress"], 0x1400)
        self.assertEqual((report["errors"], report["warnings"]), (0, 0))

    def test_job_time_agrees_with_an_independent_count(self):
        job = json.loads(run("check", "--json", RES).stdout)["jobMilliseconds"]
        lines = list(expected_lines("update", RES))[LINES_BEFORE_THE_FIRMWARE:]
        unended = sum(len(line) - line.index("*") < len("*FFFF") for line in lines)
        out = sum(len(line) + 1 for line in lines) - unended
        self.assertEqual(job["bytesOut"], out)
        self.assertEqual(job["exchanges"], len(lines) - 1)  # nothing answers the last line
        self.assertEqual(job["lineEnds"], 3 * unended)
        self.assertEqual(job["wire"], (out + job["bytesBack"]) * 10 * 1000 // 921600)
        self.assertEqual(job["fixedWaits"], (19 + 7 + 3) * 500)
        without = job["fixedWaits"] + job["wire"] + job["lineEnds"]
        self.assertEqual(job["totalAtLatency"], {
            str(latency): without + latency * job["exchanges"] for latency in (0, 1, 16)})


class ConvertSources(Scratch):
    def test_source_has_the_plain_form(self):
        source = self.convert(self.file("dot.c", sets.SOURCE), "out.c")
        self.assertEqual(source.read_text(), sets.SOURCE.replace("Dot_map", "dot_2x2_map").replace("Dot", "dot_2x2"))

    def test_every_form_of_every_version_gives_the_plain_form(self):
        plain = self.convert(self.file("dot.c", sets.SOURCE), "plain.c").read_text()
        for name, (text, _) in converters.FORMS.items():
            with self.subTest(name):
                self.assertEqual(self.convert(self.file("dot.c", text), "out.c").read_text(), plain)

    def test_what_is_no_rgb565_picture_is_refused_by_name(self):
        for name, (text, said) in converters.REFUSED.items():
            with self.subTest(name):
                result = run("convert", self.file("dot.c", text), self.folder / "out.c")
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertRegex(result.stderr, r"\Arelease-set: [^\n]+/dot\.c(:\d+)?: [^\n]+\n\Z")
                self.assertIn(said, result.stderr)
                self.assertFalse((self.folder / "out.c").exists())

    def test_command_that_the_check_names_mends_the_set(self):
        path = {**os.environ, "PATH": str(pathlib.Path(TOOL).parent) + ":" + os.environ["PATH"]}
        cases = [("set", name, {"dot.c": text}, f"dot.c:{line}: error: ")
                 for name, (text, line) in converters.FORMS.items() if line]
        cases += [("set", name, files, said.partition("error")[0]) for name, (files, said) in sets.MENDED.items()]
        cases += [(folder, "nested header", sets.MENDED["nested header"][0], "")
                  for folder in ("the customer's set", "-set", "./two words")]
        for folder, name, files, begins in cases:
            with self.subTest(name, folder=folder):
                self.set(folder, files)
                refused = run("check", "--quiet", "--", folder, cwd=self.folder)
                self.assertEqual(refused.returncode, 1)
                [said] = refused.stderr.splitlines()
                self.assertTrue(said.startswith(begins), said)
                command = said[said.index("release-set convert "):]
                subprocess.run(command, shell=True, check=True, cwd=self.folder, env=path)
                mended = run("check", "--quiet", "--", folder, cwd=self.folder)
                self.assertEqual((mended.returncode, mended.stderr), (0, ""))
                self.assertEqual(literals(self.folder / folder / "dot.c"), sets.DOT)

    def test_check_does_not_name_a_command_that_would_fail(self):
        for name, (text, said) in converters.REFUSED.items():
            with self.subTest(name):
                result = run("check", "--quiet", self.set("set", {"dot.c": text}))
                self.assertNotIn("release-set convert", result.stderr)


class ConvertPictures(Scratch):
    def test_screens_of_the_stand_in_give_its_sources_byte_for_byte(self):
        for entry in json.loads((RES / "settings.json").read_text())["Images"]:
            with self.subTest(entry["FileName"]):
                source = RES / entry["FileName"]
                title = source.read_text().partition("_")[0]
                made = self.convert(SCREENS / f"{title}.png", "made.c")
                self.assertEqual(made.read_bytes(), source.read_bytes())

    def test_every_pixel_survives_the_way_through_a_picture(self):
        pixels = bytes(byte for value in range(0x10000) for byte in (value & 0xFF, value >> 8))
        text = sets.DESCRIPTOR.replace(".w = 2", ".w = 256").replace(".h = 2", ".h = 256")
        source = self.file("all.c", "all_map[] = {\n" + converters.literals(pixels) + "};\n" + text)
        picture = self.convert(source, "all.png")
        for dither in ([], ["--dither"]):
            with self.subTest(dither=dither):
                self.assertEqual(literals(self.convert(picture, "again.c", *dither)), pixels)

    def test_pixels_are_low_byte_first_and_without_transparency(self):
        picture = self.file("dot.png", png(4, 1, bytes.fromhex("ff0000ff 00ff00ff 0000ffff ff000000")))
        self.assertEqual(literals(self.convert(picture, "dot.c")), bytes.fromhex("00f8 e007 1f00 00f8"))

    def test_nearest_level_without_dithering_and_a_mix_with_it(self):
        # 8 by 8 pixels of one colour between two levels of red: 20 is 2.43 levels of 31.
        picture = self.file("red.ppm", b"P6 8 8 255\n" + bytes([20, 0, 0]) * 64)
        reds = [byte >> 3 for byte in literals(self.convert(picture, "a.c"))[1::2]]
        self.assertEqual(set(reds), {2})
        reds = [byte >> 3 for byte in literals(self.convert(picture, "b.c", "--dither"))[1::2]]
        self.assertEqual(set(reds), {2, 3})
        self.assertAlmostEqual(sum(reds) / len(reds), 20 * 31 / 255, delta=0.05)

    def test_name_goes_into_the_symbol(self):
        picture = self.file("1 dot-2x1.png", png(2, 1, bytes(8)))
        for options, symbol in (([], "_1_dot_2x1_2x1"), (["--name", "Main menu_2x1"], "Main_menu_2x1_2x1")):
            with self.subTest(options):
                text = self.convert(picture, "out.c", *options).read_text()
                self.assertTrue(text.startswith(f"{symbol}_map[] = {{\n"), text)

    def test_what_cannot_be_converted_is_reported(self):
        self.file("dot.c", sets.SOURCE)
        self.file("empty.c", "")
        self.file("text.png", "no picture")
        for source, target, text in (
            ("none.png", "out.c", "none.png: "),
            ("none.c", "out.c", "none.c: "),
            ("text.png", "out.c", "text.png: "),
            ("empty.c", "out.png", "empty.c: there is no array of bytes"),
            ("dot.c", "no/such/folder/out.c", "out.c: "),
            ("dot.c", "no/such/folder/out.png", "out.png: "),
        ):
            with self.subTest(source=source, target=target):
                result = run("convert", self.folder / source, self.folder / target)
                self.assertEqual(result.returncode, 1)
                self.assertIn(text, result.stderr)
                self.assertFalse((self.folder / target).exists())


def size_of_png(path):
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    return struct.unpack(">II", data[16:24])


class Sheet(Scratch):
    def test_sheet_holds_every_image_in_its_size(self):
        result = run("sheet", RES, self.folder / "sheet.png")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        width, height = size_of_png(self.folder / "sheet.png")
        self.assertGreater(width, 3 * 340)
        self.assertGreater(height, 230 + 165)

    def test_sheet_names_what_it_shows(self):
        sheets = set()
        for number in (1, 2):
            shown = self.set("set", sets.image(ImageName=number))
            self.assertEqual(run("sheet", shown, self.folder / "sheet.png").returncode, 0)
            sheets.add((self.folder / "sheet.png").read_bytes())
        self.assertEqual(len(sheets), 2)

    def test_sheet_needs_no_display(self):
        bare = {key: value for key, value in os.environ.items() if key not in ("DISPLAY", "WAYLAND_DISPLAY")}
        result = run("sheet", RES, self.folder / "sheet.png", env={**bare, "QT_QPA_PLATFORM": "xcb"})
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_sheet_is_drawn_of_a_faulty_set_as_well(self):
        faulty = self.set("set", sets.SETS["wrong number of bytes"][0])
        result = run("sheet", faulty, self.folder / "sheet.png")
        self.assertEqual(result.returncode, 1)
        self.assertIn("dot.c: error: 8 bytes", result.stderr)
        self.assertGreater(size_of_png(self.folder / "sheet.png")[0], 200)


class CheckAsTheNextRelease(Scratch):
    SECOND = {"FileName": "other.c", "ImageName": 1, "ImageVersion": 255}

    def says(self, before, after, *lines):
        result = run("check", "--quiet", "--previous", self.set("before", before), self.set("after", after))
        self.assertEqual((result.returncode, result.stderr.splitlines()), (1 if lines else 0, [*lines]))

    def test_every_image_that_changed_and_kept_its_version_is_an_error_with_what_to_write(self):
        two = sets.images(sets.IMAGE, self.SECOND)
        still = "so a board keeps the image it has; write \"ImageVersion\":"
        other = {"other.c": sets.sized(4, 1)["dot.c"]}
        self.says({**two, "other.c": sets.SOURCE}, {**two, **sets.array("0x84", "0x85"), **other},
                  "settings.json: error: Images[0].ImageVersion: image 0 (dot.c) has changed and its version is "
                  f"still 1, {still} 2",
                  "settings.json: error: Images[1].ImageVersion: image 1 (other.c) has changed and its version is "
                  f"still 255, {still} 0")

    def test_an_image_of_another_version_may_change(self):
        changed = sets.array("0x84", "0x85")
        self.says({}, {**changed, **sets.image(ImageVersion=2)})
        self.says(sets.image(ImageVersion=2), {**changed, **sets.image(ImageVersion=1)})

    def test_an_image_that_is_the_same_keeps_its_version_wherever_it_lies(self):
        self.says({}, {})
        self.says({}, {**sets.image(FileName="other.c"), "dot.c": None, "other.c": sets.SOURCE})

    def test_numbers_that_came_or_went_had_no_version(self):
        self.says({}, {**sets.array("0x84", "0x85"), **sets.image(ImageName=7)})

    def test_another_shape_of_the_same_bytes_is_a_change(self):
        self.says({}, sets.descriptor(".w = 2,\n  .header.h = 2", ".w = 4,\n  .header.h = 1"),
                  "settings.json: error: Images[0].ImageVersion: image 0 (dot.c) has changed and its version is "
                  "still 1, so a board keeps the image it has; write \"ImageVersion\": 2")

    def test_is_in_the_json_too(self):
        after = self.set("after", sets.array("0x84", "0x85"))
        result = run("check", "--json", "--previous", self.set("before"), after)
        self.assertEqual(result.returncode, 1)
        self.assertIn("Images[0].ImageVersion", result.stdout)


class Diff(Scratch):
    def lines(self, before, after, code=1):
        result = run("diff", before, after)
        self.assertEqual((result.returncode, result.stderr), (code, ""))
        return result.stdout.splitlines()

    def test_same_sets_have_no_differences(self):
        self.assertEqual(self.lines(RES, shutil.copytree(RES, self.folder / "same"), code=0), [])

    def test_a_fault_is_reported_with_its_set(self):
        before = self.set("before", sets.SETS["wrong number of bytes"][0])
        after = self.set("after", sets.SETS["no array"][0])
        result = run("diff", before, after)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{before}/dot.c: error: 8 bytes", result.stderr)
        self.assertIn(f"{after}/dot.c: error: there is no array", result.stderr)

    def test_what_one_set_has_and_another_has_not(self):
        other = {"FileName": "other.c", "ImageName": 1, "ImageVersion": 1}
        for name, before, after, lines in (
            ("versions and pixels", {},
             {**sets.manifest(Version="T.02", Images=[{**sets.IMAGE, "ImageVersion": 2}]),
              **sets.array("0x84, 0x18", "0x85, 0x18")},
             ["set: version T.01 -> T.02",
              "image 0: version 1 -> 2; 1 of 4 pixels, within 1 x 1 at (1, 0)"]),
            ("pixels under one version", {}, sets.array("0x00, 0xf8", "0x00, 0x00"),
             ["image 0: 1 of 4 pixels, within 1 x 1 at (0, 1); "
              "version is still 1, so a board keeps the image it has"]),
            ("another shape under one version", {},
             sets.descriptor(".w = 2,\n  .header.h = 2", ".w = 4,\n  .header.h = 1"),
             ["image 0: size 2 x 2 -> 4 x 1; version is still 1, so a board keeps the image it has"]),
            ("images that came and went", {}, sets.image(ImageName=7),
             ["image 0: gone, dot.c", "image 7: new, dot.c"]),
            ("file, size and order of images",
             {**sets.images(sets.IMAGE, other), "other.c": sets.SOURCE},
             {**sets.images({**other, "FileName": "new.c"}, sets.IMAGE), "new.c": sets.sized(4, 1)["dot.c"]},
             ["image 1: file other.c -> new.c; size 2 x 2 -> 4 x 1; other pixels; "
              "version is still 1, so a board keeps the image it has",
              "order of images: 0 1 -> 1 0"]),
        ):
            with self.subTest(name):
                self.assertEqual(self.lines(self.set("before", before), self.set("after", after)), lines)

    def test_pages_of_the_firmware_and_the_start_address(self):
        after = shutil.copytree(RES, self.folder / "after")
        firmware = bytearray((RES / "fw1.bin").read_bytes())
        firmware[0x3000] ^= 1
        firmware[0x8FFE] ^= 1
        firmware[0x8FFF] ^= 1
        (after / "fw1.bin").write_bytes(firmware + b"\x00")
        (after / "Address.bin").write_bytes(b"\x00\x15\x00\x00")
        self.assertEqual(self.lines(RES, after), [
            "start address: 0x1400 -> 0x1500",
            "firmware: bytes 913408 -> 913409",
            "firmware: page 0x3000: 1 bytes",
            "firmware: page 0x8000: 2 bytes",
            "firmware: page 0xDF000: 1 bytes"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
