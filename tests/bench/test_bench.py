#!/usr/bin/env python3
"""test_bench.py BUILD_DIR: what measures, works: the peers drive a board, and the table says what was measured."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import measure
import report

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()


def figures(median=30, cpu=0.5):
    job = {"median": median, "p99": 90, "seconds": 85.0, "cpuSeconds": cpu, "idleBytes": 30 << 20, "peakBytes": 38 << 20}
    peer = {"median": 25, "p99": 60}
    growth = {f"growth {part}/{count}/{size}": {"ns": 1e3 * count * size / 1024, "bytes": count * size}
              for part in ("parse", "open", "block") for count in (1, 64) for size in (1024, 1 << 20)}
    return {"machine": "a machine", "commit": "0123456", "rounds": 1, "workers": True, "decodedBytes": 614400,
            "jobFloor": 84.0, "parts": {"send/itself": {"ns": 3000}, "send/memcpy": {"ns": 1500}},
            "opening": {"full": 4.0, "empty": 3.0, "loop": 2.0}, "latency": {"16": {"seconds": 360, "floor": 358}},
            "jobs": {"program": job, "repainting": {**job, "cpuSeconds": 2.0}, "pingpong": peer, "qtpingpong": peer},
            "growth": growth}


class Parts(unittest.TestCase):
    def test_eachPartHasItsFloor(self):
        done = subprocess.run([BUILD / "bin/bench_parts", "--benchmark_list_tests"], check=True, capture_output=True,
                              text=True)
        names = [name.removesuffix("/real_time") for name in done.stdout.split("\n") if name]
        kinds = {}
        for part, kind in (name.split("/", 1) for name in names if not name.startswith("growth ")):
            kinds.setdefault(part, set()).add(kind)
        self.assertEqual(set(kinds), {"parse five images", "build a data line", "build a block line",
                                      "checksum and send", "receive and handle an acknowledgement"})
        for part, its in kinds.items():
            self.assertIn("itself", its, part)
            self.assertGreater(len(its), 1, part)
        self.assertEqual({name.split("/")[0] for name in names if name.startswith("growth ")},
                         {"growth parse", "growth open", "growth block"})


class Peers(unittest.TestCase):
    def drive(self, program):
        measure.PEER_PAGES, measure.PEER_BLOCKS, measure.PORT = 1, 2, 61
        with tempfile.TemporaryDirectory() as work:
            bench = measure.Bench(BUILD, measure.ROOT / "res", pathlib.Path(work))
            turnaround = bench.peer(program)
            board = json.loads((pathlib.Path(work) / "report.json").read_text())["boards"][0]
        self.assertEqual({key: board["lines"][key] for key in "EDPIF"}, {"E": 1, "D": 64, "P": 1, "I": 1, "F": 2})
        self.assertEqual(board["notObeyed"], {})
        self.assertGreater(turnaround["lines"], 60)

    def test_systemCallsAloneDriveABoard(self):
        self.drive("pingpong")

    def test_theToolkitWithoutAWindowDrivesABoard(self):
        self.drive("qtpingpong")


class Table(unittest.TestCase):
    def rows(self, **changes):
        return {row.split("|")[1].strip(): row for row in report.table(figures(**changes)).splitlines()[3:]}

    def test_saysWhereAnAimIsMet(self):
        self.assertIn("| 30 µs | minimal C ping-pong | 25 µs | 1.20 | 1.5 | yes |",
                      report.table(figures()))
        self.assertIn("| 1.60 | 1.5 | **no** |", report.table(figures(median=40)))

    def test_saysWhatTheProcessorTimeIsARatioOf(self):
        self.assertIn("0.25 | 0.33 | yes", self.rows(cpu=0.5)["Processor time of the job"])
        self.assertIn("0.50 | 0.33 | **no**", self.rows(cpu=1.0)["Processor time of the job"])

    def test_growthIsGivenForAByte(self):
        parsing = next(row for row in report.growth_table(figures()) if row.startswith("| Parsing"))
        self.assertEqual(parsing, "| Parsing, ns a byte | 0.98 | 0.98 | 0.98 | 0.98 |")

    def test_theDocumentHasAPlaceForIt(self):
        document = report.DOCUMENT.read_text(encoding="utf-8")
        self.assertEqual((document.count(report.BEGIN), document.count(report.END)), (1, 1))


if __name__ == "__main__":
    unittest.main()
