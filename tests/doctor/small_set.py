#!/usr/bin/env python3
"""small_set.py DIR: makes the release set of the recorded logs in DIR, anew where it is there: five images
of four blocks each, so that a whole job's log is small."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "releaseset"))
import sets

IMAGES = 5
WIDTH, HEIGHT = 32, 16  # 1024 bytes

source = sets.sized(WIDTH, HEIGHT)["dot.c"]
entries = [{"FileName": f"{i}.c", "ImageName": i, "ImageVersion": 1} for i in range(IMAGES)]
sets.rewrite(
    sys.argv[1],
    {
        **sets.manifest(Images=entries, Version="T.09"),
        **{entry["FileName"]: source for entry in entries},
        "dot.c": None,
    },
)
