#!/usr/bin/python3
"""test_check.py TOOL SCHEMA: what the check says of good and faulty sets, line by line, and that it and
the schema agree on manifests."""

import copy
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import jsonschema

import converters
import sets

TOOL, SCHEMA = sys.argv[1], pathlib.Path(sys.argv[2])

# What a schema cannot say: it does not compare one entry with another.
BEYOND_A_SCHEMA = "is also the number of"

MANIFEST = {
    "Images": [
        {"FileName": "dot.c", "ImageName": 0, "ImageVersion": 1},
        {"FileName": "dot.c", "ImageName": 1, "ImageVersion": 0},
    ],
    "Version": "T.01",
}
KINDS = [None, True, 1.0, "1", [], {}, sets.MISSING]
NUMBERS = KINDS + [-1, 0, 255, 256, 1.5, 1e12]
NAMES = KINDS + ["", "../dot.c", "a/../dot.c", "/dot.c", "..dot.c", "a/b/dot.c", "a\n/../dot.c", ".."]
VALUES = {
    (): [MANIFEST, [], [1], {}],
    ("Images",): KINDS + [[1], [{}]],
    ("Version",): KINDS + [""],
    ("Images", 0): KINDS,
    ("Images", 0, "FileName"): NAMES,
    ("Images", 1, "ImageName"): NUMBERS,
    ("Images", 1, "ImageVersion"): NUMBERS,
    ("Other",): [None],
    ("Images", 0, "Other"): [None],
}


def with_value(path, value):
    """MANIFEST with the value at `path` replaced, or taken out."""
    if not path:
        return value
    manifest = copy.deepcopy(MANIFEST)
    place = manifest
    for key in path[:-1]:
        place = place[key]
    if value is sets.MISSING:
        del place[path[-1]]
    else:
        place[path[-1]] = value
    return manifest


def line_of(finding):
    place = finding["file"]
    for number in (finding["line"], finding["column"]):
        place += f":{number}" if number else ""
    key = finding["key"] + ": " if finding["key"] else ""
    return f"{place}: {finding['severity']}: {key}{finding['text']}"


def check(folder, *options):
    """Run beside the set, which is named as a person would."""
    return subprocess.run([TOOL, "check", *options, folder.name], cwd=folder.parent, capture_output=True, text=True)


class Scratch(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name) / "set"


class Sets(Scratch):
    def test_check_says_what_is_wrong_and_nothing_else(self):
        for name, (files, expected) in sets.SETS.items():
            with self.subTest(name):
                result = check(sets.rewrite(self.folder, files), "--quiet")
                code = 1 if any(": error: " in line for line in expected) else 0
                self.assertEqual((result.stderr.splitlines(), result.stdout, result.returncode), (expected, "", code))

    def test_accepts_what_converters_write_in_the_plain_form(self):
        for name, (text, line) in converters.FORMS.items():
            if not line:
                with self.subTest(name):
                    result = check(sets.rewrite(self.folder, {"dot.c": text}), "--quiet")
                    self.assertEqual((result.stderr, result.returncode), ("", 0))

    def test_json_holds_the_same_findings(self):
        for name in ("plain", "malformed JSON", "nested header", "number missing", "two faulty numbers"):
            with self.subTest(name):
                files, expected = sets.SETS[name]
                report = json.loads(check(sets.rewrite(self.folder, files), "--json").stdout)
                self.assertEqual([line_of(finding) for finding in report["findings"]], expected)
                self.assertEqual(report["errors"], sum(": error: " in line for line in expected))
                self.assertEqual(report["warnings"], sum(": warning: " in line for line in expected))


class Schema(Scratch):
    def setUp(self):
        super().setUp()
        sets.write(self.folder)
        schema = json.loads(SCHEMA.read_text())
        jsonschema.Draft202012Validator.check_schema(schema)
        self.validator = jsonschema.Draft202012Validator(schema)

    def check_accepts(self, text):
        (self.folder / "settings.json").write_text(text)
        return not any(
            finding["file"] == "settings.json" and finding["severity"] == "error"
            and BEYOND_A_SCHEMA not in finding["text"]
            for finding in json.loads(check(self.folder, "--json").stdout)["findings"])

    def test_agrees_with_the_check_on_every_key_with_every_kind_of_value(self):
        verdicts = set()
        for path, values in VALUES.items():
            for value in values:
                text = json.dumps(with_value(path, value))
                with self.subTest(text):
                    accepted = self.check_accepts(text)
                    errors = [error.message for error in self.validator.iter_errors(json.loads(text))]
                    self.assertEqual(accepted, not errors, errors)
                    verdicts.add(accepted)
        self.assertEqual(verdicts, {True, False})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
