"""The lines that a job has to send, computed from the release set alone."""

import json
import re

PAGES = range(0x1000, 0xE0000, 0x1000)


def shifted(value):
    """Eight steps of CRC-16/MCRF4XX, bit by bit."""
    for _ in range(8):
        value = value >> 1 ^ 0x8408 if value & 1 else value >> 1
    return value


TABLE = [shifted(byte) for byte in range(256)]


def crc(text):
    value = 0xFFFF
    for byte in text.encode():
        value = value >> 8 ^ TABLE[(value ^ byte) & 0xFF]
    return value


def framed(text):
    return f"${text}*{crc(text):X}"


def image(path):
    text = path.read_text()
    array = text[text.index("{"):text.index("}")]
    tokens = (token.strip() for token in re.split("[{,]", array))
    data = bytes(int(token, 16) & 0xFF for token in tokens if token.startswith("0x"))
    width, height = (int(re.search(rf"\.header\.{key}\s*=\s*(\d+)", text)[1]) for key in "wh")
    return data, width, height


def hex_bytes(data):
    return "".join(f",{byte:02X}" for byte in data)


def firmware_lines(release_set):
    flash = (release_set / "fw1.bin").read_bytes().ljust(PAGES.stop, b"\xff")
    for page in PAGES:
        yield framed(f"E,{page:X},1")
        for offset in range(0, 0x1000, 64):
            start = page + offset
            yield framed(f"D,{offset:X}{hex_bytes(flash[start:start + 64])}")
        yield framed(f"P,{page:X},1000")


def image_lines(release_set):
    manifest = json.loads((release_set / "settings.json").read_text())
    for entry in manifest["Images"]:
        data, width, height = image(release_set / entry["FileName"])
        number, version = entry.get("ImageName", 0), entry.get("ImageVersion", 0)
        yield framed(f"I,{number:02X},{version:02X},{width:02X},{height:02X}")
        for block in range((len(data) + 255) // 256):
            yield framed(f"F,{block:02X}{hex_bytes(data[block * 256:block * 256 + 256])}")


def expected_lines(job, release_set):
    yield framed("MVER")
    yield framed("BOOTLOADM")
    yield "$G"
    if job == "update":
        yield from firmware_lines(release_set)
    if job in ("update", "images"):
        yield from image_lines(release_set)
    if job == "erase":
        yield framed("A,1")
    yield framed("X")
