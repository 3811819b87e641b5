#!/usr/bin/python3
"""check_set.py TOOL SET: holds what the check says of a small set against its expected.txt."""

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile


def complete(source: pathlib.Path, target: pathlib.Path) -> None:
    """Copies a set; a file NAME.size says how long NAME is to be made, which keeps the tree small."""
    shutil.copytree(source, target)
    (target / "expected.txt").unlink()
    for size in target.glob("*.size"):
        with open(size.with_suffix(""), "r+b") as file:
            file.truncate(int(size.read_text()))
        size.unlink()


def line_of(finding: dict) -> str:
    place = finding["file"]
    for number in (finding["line"], finding["column"]):
        place += f":{number}" if number else ""
    key = finding["key"] + ": " if finding["key"] else ""
    return f"{place}: {finding['severity']}: {key}{finding['text']}"


def main() -> int:
    tool, source = sys.argv[1], pathlib.Path(sys.argv[2])
    expected = (source / "expected.txt").read_text().splitlines()
    code = 1 if any(": error: " in line for line in expected) else 0
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch) / "set"
        complete(source, folder)
        plain = subprocess.run([tool, "check", "--quiet", folder], capture_output=True, text=True)
        machine = subprocess.run([tool, "check", "--json", folder], capture_output=True, text=True)
    told = [line_of(finding) for finding in json.loads(machine.stdout)["findings"]]
    for name, is_so, should in (
        ("lines", plain.stderr.splitlines(), expected),
        ("output besides", plain.stdout, ""),
        ("exit code", plain.returncode, code),
        ("lines in JSON", told, expected),
        ("exit code with JSON", machine.returncode, code),
    ):
        if is_so != should:
            print(f"{name}:\n  is     {is_so}\n  should {should}")
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
