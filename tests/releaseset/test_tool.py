#!/usr/bin/python3
"""test_tool.py TOOL SETS RES: the commands of the release set tool as they are called."""

import json
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

TOOL, SETS, RES = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
DOT = bytes([0xA5, 0x18, 0x84, 0x18, 0x00, 0xF8, 0xFF, 0xFF])


def run(*arguments):
    return subprocess.run([TOOL, *map(str, arguments)], capture_output=True, text=True)


def literals(text):
    """The array's bytes, read without the tool."""
    body = text[text.index("{") + 1 : text.index("}")]
    return bytes(int(word, 16) for word in body.split(",") if word.strip())


class Scratch(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.addCleanup(self.scratch.cleanup)
        self.folder = pathlib.Path(self.scratch.name)

    def copy_of(self, name, source=None):
        target = self.folder / name
        shutil.copytree(source or SETS / "good-plain", target)
        return target


class Calls(Scratch):
    def test_wrongCallsEndWithTwoAndTheUsage(self):
        for call in ([], ["eat"], ["check"], ["check", "no-such-folder"], ["check", "--loud", RES],
                     ["check", RES, RES], ["convert", "one.c"], ["sheet", RES], ["diff", RES],
                     ["diff", RES, "no-such-folder"]):
            with self.subTest(call):
                result = run(*call)
                self.assertEqual(result.returncode, 2)
                self.assertIn("usage: release-set", result.stderr)
                self.assertEqual(result.stdout, "")

    def test_helpIsGivenBeforeAndBehindACommand(self):
        for call in (["--help"], ["-h"], ["check", "--help"], ["diff", "-h"]):
            with self.subTest(call):
                result = run(*call)
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertIn("usage: release-set", result.stdout)


class Check(Scratch):
    def test_tableShowsEveryImageTheFirmwareAndTheTimes(self):
        result = run("check", RES)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        rows = [line.split() for line in result.stdout.splitlines()]
        self.assertIn(["3_2.c", "3", "2", "340", "230", "156,400", "611"], rows)
        self.assertIn(["6.c", "6", "1", "220", "165", "72,600", "284"], rows)
        for text in ("D.02n", "913,408 bytes, 223 pages", "0x1400", "latency of 16 ms"):
            self.assertIn(text, result.stdout)

    def test_jsonHoldsTheSame(self):
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

    def test_jobTimeIsHeldAgainstAnIndependentCount(self):
        job = json.loads(run("check", "--json", RES).stdout)["jobMilliseconds"]
        lines = list(lines_of_a_job())
        crcs = [crc(line[1:].encode()) for line in lines]
        out = sum(len(line) + 1 + len(f"{value:X}") + (value >= 0x1000)
                  for line, value in zip(lines, crcs))
        self.assertEqual(job["bytesOut"], out)
        self.assertEqual(job["exchanges"], len(lines) - 1)  # nothing answers the last line
        self.assertEqual(job["lineEnds"], 3 * sum(value < 0x1000 for value in crcs))
        self.assertEqual(job["wire"], (out + job["bytesBack"]) * 10 * 1000 // 921600)
        self.assertEqual(job["fixedWaits"], (19 + 7 + 3) * 500)
        without = job["fixedWaits"] + job["wire"] + job["lineEnds"]
        self.assertEqual(job["totalAtLatency"], {
            str(latency): without + latency * job["exchanges"] for latency in (0, 1, 16)})

    def test_jobTimeIsNearTheSimulatedOne(self):
        # A simulated board with its own times of about 40 ms a page needs 81, 101 and 362 s.
        job = json.loads(run("check", "--json", RES).stdout)["jobMilliseconds"]
        for latency, simulated in (("0", 81), ("1", 101), ("16", 362)):
            total = job["totalAtLatency"][latency] / 1000 + 223 * 0.04
            self.assertAlmostEqual(total / simulated, 1, delta=0.04)


def crc(data):
    value = 0xFFFF
    for byte in data:
        value ^= byte
        for _ in range(8):
            value = value >> 1 ^ (0x8408 if value & 1 else 0)
    return value


def lines_of_a_job():
    firmware = (RES / "fw1.bin").read_bytes().ljust(0xE0000, b"\xff")
    for page in range(0x1000, 0xE0000, 0x1000):
        yield f"$E,{page:X},1"
        for at in range(0, 0x1000, 64):
            data = firmware[page + at : page + at + 64]
            yield f"$D,{at:X}," + ",".join(f"{byte:02X}" for byte in data)
        yield f"$P,{page:X},1000"
    for entry in json.loads((RES / "settings.json").read_text())["Images"]:
        data = literals((RES / entry["FileName"]).read_text())
        width, height = (340, 230) if len(data) == 156400 else (220, 165)
        yield f"$I,{entry['ImageName']:02X},{entry['ImageVersion']:02X},{width:02X},{height:02X}"
        for at in range(0, len(data), 256):
            block = ",".join(f"{byte:02X}" for byte in data[at : at + 256])
            yield f"$F,{at // 256:02X},{block}"
    yield "$X"


class Convert(Scratch):
    def convert(self, source, target, *options):
        result = run("convert", *options, source, target)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return target

    def test_pictureToSourceAndBackIsExact(self):
        for name in ("0.c", "5.c"):
            for dither in ([], ["--dither"]):
                with self.subTest(name=name, dither=dither):
                    picture = self.convert(RES / name, self.folder / "back.png")
                    again = self.convert(picture, self.folder / "again.c", *dither)
                    self.assertEqual(literals(again.read_text()), literals((RES / name).read_text()))

    def test_sourceHasTheUsualForm(self):
        source = self.convert(SETS / "good-plain" / "dot.c", self.folder / "out.c")
        self.assertEqual(source.read_text(), """dot_2x2_map[] = {
0xa5, 0x18, 0x84, 0x18,
0x00, 0xf8, 0xff, 0xff,
};

const lv_img_dsc_t dot_2x2 = {
  .header.cf = LV_IMG_CF_TRUE_COLOR,
  .header.always_zero = 0,
  .header.reserved = 0,
  .header.w = 2,
  .header.h = 2,
  .data_size = 4 * LV_COLOR_SIZE / 8,
  .data = dot_2x2_map,
};
""")

    def test_everyShapeThatAConverterWritesGivesTheSameBytes(self):
        shapes = sorted(SETS.glob("good-*/dot.c")) + [SETS / "comment-in-array" / "dot.c",
                                                      SETS / "decimal-literal" / "dot.c",
                                                      SETS / "capital-prefix" / "dot.c"]
        self.assertGreater(len(shapes), 9)
        for shape in shapes:
            with self.subTest(shape.parent.name):
                out = self.convert(shape, self.folder / "out.c")
                self.assertEqual(literals(out.read_text()), DOT)

    def test_conditionalBlocksGiveThePlainFormOfThe16BitBlock(self):
        target = self.copy_of("set")
        self.convert(SETS / "conditional-blocks" / "dot.c", target / "dot.c")
        self.assertEqual(literals((target / "dot.c").read_text()), DOT)
        self.assertEqual(run("check", target).returncode, 0)

    def test_conditionalBlocksOfAWholeScreenAreToldInOneLine(self):
        target = self.copy_of("set")
        blocks = (("LV_COLOR_DEPTH == 1 || LV_COLOR_DEPTH == 8", 1),
                  ("LV_COLOR_DEPTH == 16 && LV_COLOR_16_SWAP == 0", 2),
                  ("LV_COLOR_DEPTH == 16 && LV_COLOR_16_SWAP != 0", 2),
                  ("LV_COLOR_DEPTH == 32", 4))
        body = "".join(f"#if {condition}\n  /*Pixel format*/\n" + "0x1f, " * (340 * 230 * size)
                       + "\n#endif\n" for condition, size in blocks)
        source = (target / "dot.c").read_text().replace(".header.w = 2", ".header.w = 340")
        source = source.replace(".header.h = 2", ".header.h = 230")
        (target / "dot.c").write_text("Dot_map[] = {\n" + body + source[source.index("};"):])
        result = run("check", "--quiet", target)
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn("dot.c:2: error: 4 conditional blocks", result.stderr)
        self.assertIn("703800 instead of 156400", result.stderr)
        self.convert(target / "dot.c", target / "dot.c")
        self.assertEqual(run("check", "--quiet", target).stderr, "")

    def test_nearestLevelWithoutDitheringAndAMixWithIt(self):
        # 8 by 8 pixels of one colour between two levels of red: 20 is 2.43 levels of 31.
        picture = self.folder / "grey.ppm"
        picture.write_bytes(b"P6 8 8 255\n" + bytes([20, 0, 0]) * 64)
        reds = [byte >> 3 for byte in literals(self.convert(picture, self.folder / "a.c").read_text())[1::2]]
        self.assertEqual(set(reds), {2})
        mixed = self.convert(picture, self.folder / "b.c", "--dither")
        reds = [byte >> 3 for byte in literals(mixed.read_text())[1::2]]
        self.assertEqual(set(reds), {2, 3})
        self.assertAlmostEqual(sum(reds) / len(reds), 20 * 31 / 255, delta=0.05)

    def test_whatCannotBeConvertedIsTold(self):
        (self.folder / "empty.c").write_text("")
        (self.folder / "text.png").write_text("no picture")
        for source, target, text in (
            (self.folder / "none.png", "out.c", "none.png: "),
            (self.folder / "text.png", "out.c", "text.png: "),
            (self.folder / "empty.c", "out.png", "empty.c: there is no array of bytes"),
            (SETS / "wrong-byte-count" / "dot.c", "out.png", "8 bytes are not 2 x 3 pixels"),
            (SETS / "good-plain" / "dot.c", "no/such/folder/out.c", "out.c: "),
            (SETS / "good-plain" / "dot.c", "no/such/folder/out.png", "out.png: "),
        ):
            with self.subTest(source=source, target=target):
                result = run("convert", source, self.folder / target)
                self.assertEqual(result.returncode, 1)
                self.assertIn(text, result.stderr)
                self.assertFalse((self.folder / target).exists())


def size_of_png(path):
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    return struct.unpack(">II", data[16:24])


class Sheet(Scratch):
    def test_sheetHoldsEveryImageInItsSize(self):
        result = run("sheet", RES, self.folder / "sheet.png")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        width, height = size_of_png(self.folder / "sheet.png")
        self.assertGreater(width, 3 * 340)
        self.assertGreater(height, 230 + 165)

    def test_sheetIsDrawnOfAFaultySetAsWell(self):
        result = run("sheet", SETS / "wrong-byte-count", self.folder / "sheet.png")
        self.assertEqual(result.returncode, 1)
        self.assertIn("dot.c: error: 8 bytes", result.stderr)
        self.assertGreater(size_of_png(self.folder / "sheet.png")[0], 200)


class Diff(Scratch):
    def lines(self, before, after, code=1):
        result = run("diff", before, after)
        self.assertEqual((result.returncode, result.stderr), (code, ""))
        return result.stdout.splitlines()

    def edit(self, folder, name, old, new):
        path = folder / name
        text = path.read_text()
        self.assertIn(old, text)
        path.write_text(text.replace(old, new))

    def test_sameSetsHaveNoDifferences(self):
        self.assertEqual(self.lines(RES, self.copy_of("same", RES), code=0), [])

    def test_aFaultIsToldWithItsSet(self):
        before, after = SETS / "wrong-byte-count", SETS / "no-array"
        result = run("diff", before, after)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{before}/dot.c: error: 8 bytes", result.stderr)
        self.assertIn(f"{after}/dot.c: error: there is no array", result.stderr)

    def test_versionsAndPixelsOfAnImage(self):
        after = self.copy_of("after")
        self.edit(after, "settings.json", '"ImageVersion": 1', '"ImageVersion": 2')
        self.edit(after, "settings.json", "T.01", "T.02")
        self.edit(after, "dot.c", "0x84, 0x18", "0x85, 0x18")
        self.assertEqual(self.lines(SETS / "good-plain", after), [
            "set: version T.01 -> T.02",
            "image 0: version 1 -> 2; 1 of 4 pixels, within 1 x 1 at (1, 0)"])

    def test_pixelsThatChangeUnderOneVersionAreWarnedOf(self):
        after = self.copy_of("after")
        self.edit(after, "dot.c", "0x00, 0xf8", "0x00, 0x00")
        self.assertEqual(self.lines(SETS / "good-plain", after), [
            "image 0: 1 of 4 pixels, within 1 x 1 at (0, 1); "
            "version is still 1, so a board keeps the image it has"])

    def test_imagesThatCameAndWent(self):
        after = self.copy_of("after")
        self.edit(after, "settings.json", '"ImageName": 0', '"ImageName": 7')
        self.assertEqual(self.lines(SETS / "good-plain", after),
                         ["image 0: gone, dot.c", "image 7: new, dot.c"])

    def test_pagesOfTheFirmwareAndTheStartAddress(self):
        after = self.copy_of("after", RES)
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
