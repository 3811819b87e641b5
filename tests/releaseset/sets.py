"""One good release set, and a table of sets that differ from it with what the check says of each."""

import json
import pathlib
import shutil

DOT = bytes([0xA5, 0x18, 0x84, 0x18, 0x00, 0xF8, 0xFF, 0xFF])  # 2 by 2 pixels

ROWS = """\
0xa5, 0x18, 0x84, 0x18,
0x00, 0xf8, 0xff, 0xff,
"""
ARRAY = "Dot_map[] = {\n" + ROWS + "};\n"
DESCRIPTOR = """
const lv_img_dsc_t Dot = {
  .header.cf = LV_IMG_CF_TRUE_COLOR,
  .header.always_zero = 0,
  .header.reserved = 0,
  .header.w = 2,
  .header.h = 2,
  .data_size = 4 * LV_COLOR_SIZE / 8,
  .data = Dot_map,
};
"""
SOURCE = ARRAY + DESCRIPTOR
IMAGE = {"FileName": "dot.c", "ImageName": 0, "ImageVersion": 1}
MANIFEST = {"Images": [IMAGE], "Version": "T.01"}
FIRMWARE = bytes(0x1000) + bytes(range(64))
ADDRESS = b"\x00\x14\x00\x00"
GOOD = {"settings.json": json.dumps(MANIFEST), "dot.c": SOURCE, "fw1.bin": FIRMWARE, "Address.bin": ADDRESS}

FOLDER = object()  # a folder in place of a file
MISSING = object()  # a key that is taken out


def write(folder, differences=None):
    """Makes the good set with `differences` in a new `folder`: a text or bytes for a file's name,
    None for a file that is not there, or FOLDER."""
    folder = pathlib.Path(folder)
    for name, content in {**GOOD, **(differences or {})}.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if content is FOLDER:
            path.mkdir()
        elif content is not None:
            path.write_bytes(content.encode() if isinstance(content, str) else content)
    return folder


def rewrite(folder, differences=None):
    shutil.rmtree(folder, ignore_errors=True)
    return write(folder, differences)


def changed(entries, changes):
    return {key: value for key, value in {**entries, **changes}.items() if value is not MISSING}


def manifest(**changes):
    return {"settings.json": json.dumps(changed(MANIFEST, changes))}


def images(*entries):
    return manifest(Images=list(entries))


def image(**changes):
    return images(changed(IMAGE, changes))


def array(old, new):
    """The good source with `old` in its array replaced."""
    assert old in ARRAY, old
    return {"dot.c": ARRAY.replace(old, new) + DESCRIPTOR}


def descriptor(old, new):
    assert old in DESCRIPTOR, old
    return {"dot.c": ARRAY + DESCRIPTOR.replace(old, new)}


def sized(width, height):
    text = DESCRIPTOR.replace(".w = 2", f".w = {width}").replace(".h = 2", f".h = {height}")
    return {"dot.c": "Dot_map[] = {\n" + "0x00, " * (width * height * 2) + "\n};\n" + text}


def firmware(content):
    return {"fw1.bin": content}


def address(*values):
    return {"Address.bin": bytes(values)}


BRANCHES = """\
#if LV_COLOR_DEPTH == 1 || LV_COLOR_DEPTH == 8
  /*Pixel format: Red: 3 bit, Green: 3 bit, Blue: 2 bit*/
  0x05, 0x04,
  0xe0, 0xff,
#endif
#if LV_COLOR_DEPTH == 16 && LV_COLOR_16_SWAP == 0
  /*Pixel format: Red: 5 bit, Green: 6 bit, Blue: 5 bit*/
  0xa5, 0x18, 0x84, 0x18,
  0x00, 0xf8, 0xff, 0xff,
#endif
#if LV_COLOR_DEPTH == 16 && LV_COLOR_16_SWAP != 0
  /*Pixel format: Red: 5 bit, Green: 6 bit, Blue: 5 bit BUT the 2  color bytes are swapped*/
  0x18, 0xa5, 0x18, 0x84,
  0xf8, 0x00, 0xff, 0xff,
#endif
#if LV_COLOR_DEPTH == 32
  /*Pixel format: Fix 0xFF: 8 bit, Red: 8 bit, Green: 8 bit, Blue: 8 bit*/
  0x29, 0x14, 0x19, 0xff, 0x21, 0x10, 0x19, 0xff,
  0x00, 0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
#endif
"""

# Spellings of the same image that the updater reads as they are.
SPELLINGS = {
    "plain": {},
    "comments around the array": {"dot.c": "/* Made. */\n" + ARRAY + "// the descriptor\n/* follows */" + DESCRIPTOR},
    "CR LF": {"dot.c": SOURCE.replace("\n", "\r\n")},
    "no comma at the end": array(",\n}", "}"),
    "digits of one place": array("0x00", "0x0"),
    "a literal a line": array(", 0x", ",\n  0x"),
    "one line": array(",\n0x", ", 0x"),
    "upper-case digits": array("0xa5", "0xA5"),
}

# Spellings that a C compiler reads and the updater does not. The command mends the set when it is typed
# where the check was.
MEND = "; mend it with: release-set convert set/dot.c set/dot.c"
COMMENT = "error: a comment inside the array merges with the literals beside it" + MEND
MENDED = {
    "capital prefix": (
        array("0x", "0X"), 'dot.c:2: error: "0Xa5" is dropped, because it does not begin with 0x' + MEND),
    "decimal literal": (
        array("0x18, 0x84", "24, 0x84"), 'dot.c:2: error: "24" is dropped, because it does not begin with 0x' + MEND),
    "decimal literals": (
        array("0x00, 0xf8, 0xff", "0, 0xf8, 255"),
        'dot.c:3: error: "0" is dropped, because it does not begin with 0x' + MEND),
    "comment in the array": (array("0x00", "/* second row */\n0x00"), "dot.c:3: " + COMMENT),
    "comment at a line's end": (array("0x18,\n", "0x18, // first row\n"), "dot.c:2: " + COMMENT),
    "preprocessor line in the array": (
        array("0x00", "#pragma second row\n0x00"),
        "dot.c:3: error: a preprocessor line inside the array merges with the literals beside it" + MEND),
    "brace in a comment": (
        {"dot.c": "/* made\n   by {tool} */\n" + SOURCE},
        'dot.c:2: error: a "{" before the array is taken for its start' + MEND),
    "comment before the width": (
        descriptor(".header.w", "/* pixels */ .header.w"),
        "dot.c:10: error: the updater reads 8 bytes for 0 x 2 pixels instead of 8 for 2 x 2" + MEND),
    "conditional branches": (
        array(ROWS, BRANCHES),
        "dot.c:2: error: 4 conditional branches in the array, of which every literal would be sent "
        "(32 instead of 8 bytes)" + MEND),
    "nested header": (
        descriptor(".header.w = 2,\n  .header.h = 2", ".header = { .w = 2, .h = 2 }"),
        "dot.c:10: error: the descriptor nests its header, and width and height are not read from there" + MEND),
}

NUMBER = "write a whole number from 0 to 255"
EXPORT = "but the board shows every image as RGB565; export the picture in that"
KEYS = "remove it or write one of FileName, ImageName, ImageVersion"
FIRST_PAGE = ("fw1.bin: error: the first page is not empty, but it belongs to the bootloader and is not sent; "
              "write an image whose offset is the flash address")
NOT_CLOSED = 'dot.c:1: error: the array that begins here is not closed; end it with "};"'
NO_ARRAY = "dot.c: error: there is no array of bytes; convert the picture again"
NO_BYTE = "is not a byte between commas; write 0x and two hexadecimal digits"
FOURTH = "the fourth byte must be 00 and each other below 80"

# What is wrong, how it differs from the good set, and every line that the check says.
CHECKED = [(name, files, []) for name, files in SPELLINGS.items()] + [
    (name, files, [line]) for name, (files, line) in MENDED.items()] + [
    ("comma missing", array("0x18,\n", "0x18\n"), [f'dot.c:3: error: "0x00" {NO_BYTE}']),
    ("digit that is none", array("0xa5", "0xg1"), [f'dot.c:2: error: "0xg1" {NO_BYTE}']),
    ("literal of two bytes", array("0xa5", "0x18a5"), [f'dot.c:2: error: "0x18a5" {NO_BYTE}']),
    ("word in the array", array("0xa5", "BLACK"), [f'dot.c:2: error: "BLACK" {NO_BYTE}']),
    ("comment that changes no byte", array("{\n", "{ /* */\n"), []),
    ("array cut off", {"dot.c": "Dot_map[] = {\n0xa5, 0x18,"}, [NOT_CLOSED]),
    ("array not closed", array("};\n", ""), [NOT_CLOSED]),
    ("empty image file", {"dot.c": ""}, [NO_ARRAY]),
    ("no array", {"dot.c": "nothing\n"}, [NO_ARRAY]),
    ("wrong number of bytes", descriptor(".h = 2", ".h = 3"),
     ["dot.c: error: 8 bytes are not 2 x 3 pixels of 2 bytes; correct .header.w and .header.h or "
      "convert the picture again"]),
    ("width missing", descriptor(".header.w = 2,", ""),
     ['dot.c: error: the image has no .header.w; write ".header.w = N," into the descriptor']),
    ("height missing", descriptor(".header.h = 2,", ""),
     ['dot.c: error: the image has no .header.h; write ".header.h = N," into the descriptor']),
    ("largest width", sized(4095, 1), []),
    ("width too large", sized(4096, 1),
     ["dot.c:9: error: .header.w is 4096, which the header line cannot carry; it must be 1 to 4095"]),
    ("height too large", sized(1, 4096),
     ["dot.c:10: error: .header.h is 4096, which the header line cannot carry; it must be 1 to 4095"]),
    ("no width", sized(0, 1),
     ["dot.c:9: error: .header.w is 0, which the header line cannot carry; it must be 1 to 4095"]),
    ("other colour format", descriptor("TRUE_COLOR", "INDEXED_8BIT"),
     [f"dot.c:7: warning: the colour format is LV_IMG_CF_INDEXED_8BIT, {EXPORT}"]),
    ("other colour format with more bytes", {"dot.c": ARRAY.replace("};", "0x00\n};")
                                             + DESCRIPTOR.replace("TRUE_COLOR", "INDEXED_8BIT")},
     [f"dot.c:8: error: the colour format is LV_IMG_CF_INDEXED_8BIT, {EXPORT}"]),
    ("other colour format in a nested header", descriptor(
        ".header.cf = LV_IMG_CF_TRUE_COLOR,", ".header = { .cf = LV_COLOR_FORMAT_L8 },"),
     [f"dot.c:7: error: the colour format is LV_COLOR_FORMAT_L8, {EXPORT}"]),

    ("image in a folder", {**image(FileName="images/dot.c"), "dot.c": None, "images/dot.c": SOURCE}, []),
    ("image missing", {"dot.c": None},
     ["dot.c: error: there is no such file; put it into the set or correct Images[0].FileName"]),
    ("image named twice", images(IMAGE, {**IMAGE, "ImageName": 1}),
     ["dot.c: warning: Images[1] names the file a second time; is another one meant?"]),
    ("image not named", {"other.c": SOURCE},
     ["other.c: warning: no entry of the manifest names it, so it is not sent; add one or remove the file"]),

    ("manifest missing", {"settings.json": None},
     ["settings.json: error: there is no such file; write the manifest there"]),
    ("malformed JSON", {"settings.json": '{\n    "Images": [{\n'},
     ["settings.json:3:1: error: malformed JSON (unterminated object); correct the text there"]),
    ("malformed JSON after an umlaut", {"settings.json": '{"Version": "ü" "Images": []}'},
     ["settings.json:1:18: error: malformed JSON (unterminated object); correct the text there"]),
    ("an array for a manifest", {"settings.json": "[]", "dot.c": None},
     ["settings.json: error: the manifest is an array; write an object with Images and Version"]),
    ("key in lower case", manifest(Version=MISSING, version="T.01"),
     ["settings.json: error: version: unknown key; remove it or write one of Images, Version",
      "settings.json: error: Version: is missing; write the set's version as a text"]),
    ("unknown key", manifest(Comment="x"),
     ["settings.json: error: Comment: unknown key; remove it or write one of Images, Version"]),
    ("unknown key of an image", image(Width=2), [f"settings.json: error: Images[0].Width: unknown key; {KEYS}"]),
    ("version empty", manifest(Version=""), ["settings.json: error: Version: is empty; write the set's version"]),
    ("version missing", manifest(Version=MISSING),
     ["settings.json: error: Version: is missing; write the set's version as a text"]),
    ("version not a text", manifest(Version=2),
     ["settings.json: error: Version: is the number 2; write the set's version as a text"]),
    ("images missing", manifest(Images=MISSING),
     ["settings.json: error: Images: is missing; write an array with an entry for each image"]),
    ("images not an array", manifest(Images={}),
     ["settings.json: error: Images: is an object; write an array with an entry for each image"]),
    ("no images", {**images(), "dot.c": None},
     ["settings.json: error: Images: there are no images; add an entry for each"]),
    ("entry not an object", {**images("dot.c"), "dot.c": None},
     ["settings.json: error: Images[0]: is a text; write an object with FileName, ImageName and ImageVersion"]),
    ("file name empty", {**image(FileName=""), "dot.c": None},
     ["settings.json: error: Images[0].FileName: is empty; write the image's file name"]),
    ("file name missing", {**image(FileName=MISSING), "dot.c": None},
     ["settings.json: error: Images[0].FileName: is missing; write the image's file name"]),
    ("file name not a text", {**image(FileName=5), "dot.c": None},
     ["settings.json: error: Images[0].FileName: is the number 5; write the image's file name"]),
    ("absolute file name", {**image(FileName="/dot.c"), "dot.c": None},
     ['settings.json: error: Images[0].FileName: "/dot.c" leads out of the set; put the file into its folder']),
    ("file name leads out", {**image(FileName="../dot.c"), "dot.c": None},
     ['settings.json: error: Images[0].FileName: "../dot.c" leads out of the set; put the file into its folder']),
    ("number given twice", {**images(IMAGE, {**IMAGE, "FileName": "other.c"}), "other.c": SOURCE},
     ["settings.json: error: Images[1].ImageName: 0 is also the number of Images[0]; give each image its own"]),
    ("number missing", image(ImageName=MISSING),
     [f"settings.json: warning: Images[0].ImageName: is missing and counts as 0; {NUMBER}"]),
    ("largest numbers", image(ImageName=255, ImageVersion=255), []),
    ("number too large", image(ImageName=256),
     [f"settings.json: error: Images[0].ImageName: is the number 256; {NUMBER}"]),
    ("number negative", image(ImageName=-1),
     [f"settings.json: error: Images[0].ImageName: is the number -1; {NUMBER}"]),
    ("number a fraction", image(ImageName=1.5),
     [f"settings.json: error: Images[0].ImageName: is the number 1.5; {NUMBER}"]),
    ("number a text", image(ImageName="0"), [f"settings.json: error: Images[0].ImageName: is a text; {NUMBER}"]),
    ("number null", image(ImageName=None), [f"settings.json: error: Images[0].ImageName: is null; {NUMBER}"]),
    ("two faulty numbers", images({**IMAGE, "ImageName": -1}, {**IMAGE, "FileName": "other.c", "ImageName": -1})
     | {"other.c": SOURCE},
     [f"settings.json: error: Images[0].ImageName: is the number -1; {NUMBER}",
      f"settings.json: error: Images[1].ImageName: is the number -1; {NUMBER}"]),
    ("image version too large", image(ImageVersion=300),
     [f"settings.json: error: Images[0].ImageVersion: is the number 300; {NUMBER}"]),
    ("image version a truth value", image(ImageVersion=True),
     [f"settings.json: error: Images[0].ImageVersion: is a truth value; {NUMBER}"]),

    ("firmware missing", firmware(None), ["fw1.bin: error: there is no such file; put it into the set"]),
    ("firmware unreadable", firmware(FOLDER), ["fw1.bin: error: the file cannot be read; put it into the set"]),
    ("firmware empty", firmware(b""),
     ["fw1.bin: error: 0 bytes do not reach past the first page, so nothing of it would be sent; "
      "write the whole flash image from address 0"]),
    ("firmware too short", firmware(bytes(0x1000)),
     ["fw1.bin: error: 4096 bytes do not reach past the first page, so nothing of it would be sent; "
      "write the whole flash image from address 0"]),
    ("longest firmware", firmware(FIRMWARE.ljust(0xE0000, b"\0")), []),
    ("firmware too long", firmware(FIRMWARE.ljust(0xE0001, b"\0")),
     ["fw1.bin: error: 1 bytes lie past 0xDFFFF, the end of the firmware's flash, and would not be sent; "
      "shorten the image"]),
    ("firmware's first page erased", firmware(b"\xff" * 0x1000 + FIRMWARE[0x1000:]), []),
    ("firmware's first page not empty", firmware(bytes(0xFFF) + b"\1" + FIRMWARE[0x1000:]), [FIRST_PAGE]),

    ("start address missing", {"Address.bin": None},
     ["Address.bin: error: there is no such file; put it into the set"]),
    ("start address too long", address(0, 0x14, 0, 0, 0),
     ["Address.bin: error: 5 bytes; write the start address as 4 bytes, the low one first"]),
    ("start address too short", address(0, 0x14, 0),
     ["Address.bin: error: 3 bytes; write the start address as 4 bytes, the low one first"]),
    ("start address filled up", address(0, 0x14, 0x80, 0),
     [f"Address.bin: error: the updater builds 0xFF801400 from the bytes of 0x801400; {FOURTH}"]),
    ("start address without its fourth byte", address(0, 0x14, 0, 1),
     [f"Address.bin: error: the updater builds 0x11400 from the bytes of 0x1001400; {FOURTH}"]),
]

SETS = {name: (files, lines) for name, files, lines in CHECKED}
