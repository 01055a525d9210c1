"""A short run over all peers and shapes, at small sizes, has every figure in its table, its files and its plot."""

import csv
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["BENCH_SOURCE"])
BUILD = pathlib.Path(os.environ["BENCH_BUILD"])
SIZES = ("10", "100")
SECONDS = "8"

sys.path.insert(0, str(SOURCE))
import bench  # noqa: E402
from peers import OURS_ONLY, PEERS  # noqa: E402


class BenchRuns(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = tempfile.TemporaryDirectory()
        command = [sys.executable, "-B", SOURCE / "bench.py", "--build", BUILD, "--out", cls.out.name]
        command += ["--seconds", SECONDS, "--sizes", " ".join(SIZES)]
        cls.done = subprocess.run(command, capture_output=True, text=True, timeout=240)

    @classmethod
    def tearDownClass(cls):
        cls.out.cleanup()

    def rows(self, name):
        with open(pathlib.Path(self.out.name) / name, newline="") as file:
            return list(csv.DictReader(file))

    def test_ends_well(self):
        self.assertEqual(self.done.returncode, 0, self.done.stdout + self.done.stderr)

    def test_every_figure_is_there(self):
        figures = {(row["cpu"], row["vsans"], row["shape"], row["peer"]): row for row in self.rows("ratios.csv")}
        runs = [("pinned", size) for size in SIZES] + [("unpinned", SIZES[-1])]
        wanted = {(*run, shape, peer.name) for run in runs for shape in bench.SHAPES for peer in PEERS}
        wanted |= {("pinned", SIZES[-1], shape, OURS_ONLY.name) for shape in bench.OURS_SHAPES}
        self.assertEqual(set(figures), wanted)
        for key, row in figures.items():
            self.assertGreater(float(row["us_per_varbind"]), 0, key)
            self.assertGreater(float(row["agent_cpu_us"]), 0, key)
            if row["peer"] != OURS_ONLY.name:
                self.assertGreater(float(row["ratio"]), 0, key)

    def test_what_is_behind_an_agent_is_counted(self):
        behind = {peer.name for peer in PEERS if peer.has_switch or peer.program or peer.asks_child}
        for row in self.rows("ratios.csv"):
            if row["peer"] in behind and row["shape"].startswith("set"):
                self.assertGreater(float(row["manager_cpu_us"]), 0, row)

    def test_every_move_has_its_trap(self):
        storms = [row for row in self.rows("raw.csv") if row["shape"] == bench.TRAPS]
        self.assertEqual(len(storms), 1)
        self.assertGreater(int(storms[0]["requests"]), 0)
        self.assertEqual(storms[0]["requests"], storms[0]["varbinds"])

    def test_the_table_and_the_plot_name_every_peer(self):
        plot = (pathlib.Path(self.out.name) / "ratios.svg").read_text()
        for peer in PEERS:
            self.assertIn(peer.label, self.done.stdout)
            self.assertIn(peer.label, plot)


if __name__ == "__main__":
    unittest.main()
