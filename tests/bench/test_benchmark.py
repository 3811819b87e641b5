#!/usr/bin/env python3
"""test_benchmark.py BUILD_DIR: the benchmark runs, and its table has what was measured."""

import contextlib
import io
import json
import pathlib
import sys
import unittest

import benchmark

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()


def job(share=30.0, seconds=84.0):
    return {"seconds": seconds, "lineSeconds": 60.0, "shares": [share] * 100, "cpuSeconds": 4.0,
            "idleBytes": 30 << 20, "peakBytes": 38 << 20}


def figures(**program):
    peer = {"seconds": 70.0, "lineSeconds": 58.0, "shares": [25.0] * 100}
    growth = [{"images": count, "bytes": size, "openingNanoseconds": 5 * count * size, "heldBytes": 2 * count * size,
               "blockNanoseconds": 6000} for size in (1024, 1 << 20) for count in (1, 64)]
    return {"floor": 82.0, "peer_bare": peer, "peer_qt": peer, "jobs": [job(**program)] * 2,
            "dialog": {"openingMilliseconds": [99.0, 5.0, 5.0], "growth": growth}}


class Programs(unittest.TestCase):
    def setUp(self):
        self.benchmark = benchmark.Benchmark(BUILD, benchmark.ROOT / "res", port=61, paced=False)
        self.enterContext(contextlib.redirect_stdout(io.StringIO()))

    def updates_a_board(self, peer):
        """A peer that leaves anything out fails, by the board's verdict."""
        outcome = self.benchmark.peer(peer)
        lines = json.loads((self.benchmark.work / "report.json").read_text())["boards"][0]["lines"]
        self.assertEqual(len(outcome["shares"]), sum(lines[word] for word in benchmark.ANSWERED))
        self.assertGreater(min(outcome["shares"]), 0)

    def test_system_calls_alone_update_a_board(self):
        self.updates_a_board("peer_bare")

    def test_the_toolkit_without_a_window_updates_a_board(self):
        self.updates_a_board("peer_qt")

    def test_opens_the_dialog_and_lets_it_grow(self):
        dialog = self.benchmark.dialog(2, display=False)
        self.assertEqual(len(dialog["openingMilliseconds"]), 2)
        largest = dialog["growth"][-1]
        self.assertEqual((largest["images"], largest["bytes"]), (64, 1 << 20))
        self.assertGreaterEqual(largest["heldBytes"], 64 << 20)
        for entry in dialog["growth"]:
            self.assertGreater(entry["blockNanoseconds"], 0)


class Table(unittest.TestCase):
    def rows(self, **program):
        return {row.split("|")[1].strip(): row for row in benchmark.report(figures(**program)).splitlines()
                if row.startswith("|") and "system calls" not in row}

    def test_says_where_an_aim_is_met(self):
        self.assertIn("| 30 µs | Qt without a window | 25 µs | 1.20 | 1.5 | yes |",
                      self.rows()["Own share of a turnaround, median"])
        self.assertIn("| 1.60 | 1.5 | **no** |", self.rows(share=40.0)["Own share of a turnaround, median"])
        self.assertIn("| 1.02 | 1.03 | yes |", self.rows()["Update job"])
        self.assertIn("| 1.10 | 1.03 | **no** |", self.rows(seconds=90.2)["Update job"])

    def test_leaves_the_first_opening_out(self):
        self.assertIn("| 5.0 ms |", self.rows()["Opening the dialog, from the click to the picture"])

    def test_gives_growth_for_a_byte(self):
        self.assertEqual(self.rows()["Opening, ns a byte"], "| Opening, ns a byte | 5.0 | 5.0 | 5.0 | 5.0 |")

    def test_has_a_place_in_the_document(self):
        document = benchmark.DOCUMENT.read_text(encoding="utf-8")
        self.assertEqual((document.count(benchmark.BEGIN), document.count(benchmark.END)), (1, 1))


if __name__ == "__main__":
    unittest.main()
