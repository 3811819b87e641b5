#!/usr/bin/python3
"""test_schema.py TOOL SCHEMA SETS: the check and the schema agree on every manifest of the sets."""

import copy
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import jsonschema

TOOL, SCHEMA, SETS = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])

# What a schema cannot say: it does not compare one entry with another.
BEYOND_A_SCHEMA = "is also the number of"

GOOD = {
    "Images": [
        {"FileName": "dot.c", "ImageName": 0, "ImageVersion": 1},
        {"FileName": "dot.c", "ImageName": 1, "ImageVersion": 0},
    ],
    "Version": "T.01",
}
KINDS = [None, True, 1.0, "1", [], {}, ...]
NUMBERS = KINDS + [-1, 0, 255, 256, 1.5, 1e12]
NAMES = KINDS + ["", "../dot.c", "a/../dot.c", "/dot.c", "..dot.c", "a/b/dot.c", "a\n/../dot.c", ".."]
VALUES = {
    (): [[], [1], {}],
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
    """GOOD with the value at `path` replaced, or taken out where the value is Ellipsis."""
    if not path:
        return value
    manifest = copy.deepcopy(GOOD)
    place = manifest
    for key in path[:-1]:
        place = place[key]
    if value is ...:
        del place[path[-1]]
    else:
        place[path[-1]] = value
    return manifest


def variants():
    yield GOOD
    for path, values in VALUES.items():
        for value in values:
            yield with_value(path, value)


class Agreement(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        schema = json.loads(SCHEMA.read_text())
        jsonschema.Draft202012Validator.check_schema(schema)
        cls.validator = jsonschema.Draft202012Validator(schema)
        cls.scratch = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls.scratch.name) / "set"
        shutil.copytree(SETS / "good-plain", cls.folder)

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def check_accepts(self, text):
        (self.folder / "settings.json").write_text(text)
        run = subprocess.run([TOOL, "check", "--json", self.folder], capture_output=True, text=True)
        return not any(
            finding["file"] == "settings.json" and finding["severity"] == "error"
            and BEYOND_A_SCHEMA not in finding["text"]
            for finding in json.loads(run.stdout)["findings"])

    def agree(self, text):
        accepted = self.check_accepts(text)
        errors = [error.message for error in self.validator.iter_errors(json.loads(text))]
        self.assertEqual(accepted, not errors, f"{text}\nschema: {errors}")
        return accepted

    def test_agreeOnTheManifestsOfTheSets(self):
        verdicts = set()
        for path in sorted(SETS.glob("*/settings.json")):
            if "malformed" not in path.parent.name:
                with self.subTest(path.parent.name):
                    verdicts.add(self.agree(path.read_text()))
        self.assertEqual(verdicts, {True, False})

    def test_agreeOnEveryKeyWithEveryKindOfValue(self):
        for manifest in variants():
            text = json.dumps(manifest)
            with self.subTest(text):
                self.agree(text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
