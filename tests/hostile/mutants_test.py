"""Thousands of damaged archives: the library survives them, and loses nothing that 7-Zip can save.

MENDLOFT_MUTANTS is how many of each format are tried (150 unless set).
"""

import os
import sys
import tempfile
import unittest
from collections import Counter
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))

from comparison import count_lines, judge
from mutations import mutant
from windows_side import Workspace

COUNT = int(os.environ.get("MENDLOFT_MUTANTS", "150"))
MOST_TOUCHED = 256 << 20  # bytes of memory
NO_ARCHIVE = 1


def listed(counter):
    return ", ".join(f"{key} {times}" for key, times in counter.most_common())


class Mutants(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.workspace = Workspace()
        self.addCleanup(self.workspace.close)

    def library(self, kind):
        """Lets the library unpack the mutants, and checks what has to be true whatever they are."""
        for number in range(COUNT):
            self.workspace.make_place(number).write_bytes(mutant(kind, number))
        run = self.workspace.run(COUNT)

        self.assertEqual(0, run.code, f"died with {kind}/{len(run.outcomes)}:\n{run.output[-2000:]}")
        self.assertEqual(COUNT, len(run.outcomes))
        self.assertEqual(run.handles[0], run.handles[1], "handles at half, and at the end")
        self.assertEqual(run.live[0], run.live[1], "bytes not given back at half, and at the end")
        self.assertLess(run.touched, MOST_TOUCHED)
        self.assertEqual([], self.workspace.strangers(), "changed outside of the destinations")
        return run

    def check(self, kind):
        """Asserts that the library saves from each mutant what 7-Zip saves; prints the figures."""
        run = self.library(kind)
        problems, kinds, counts = [], Counter(), Counter()
        with tempfile.TemporaryDirectory() as scratch:
            for number, outcome in enumerate(run.outcomes):
                opened_as, found, files = judge(outcome, self.workspace.place(number), Path(scratch))
                problems += [f"{kind}/{number}: {problem}" for problem in found]
                kinds[opened_as or "nothing"] += 1
                counts += files
        self.report(kind, run, kinds, counts)
        self.assertEqual([], problems)
        self.assertGreater(counts["compared"], COUNT // 20, "the mutants are too damaged to tell anything")

    def report(self, kind, run, kinds, counts):
        results = Counter(each.text() for each in run.outcomes)
        peak = max(range(COUNT), key=lambda number: run.outcomes[number].peak)
        slowest = max(range(COUNT), key=lambda number: run.outcomes[number].milliseconds)
        print(f"\n{kind}: {COUNT} mutants",
              f"  results: {listed(results)}",
              f"  opened as: {listed(kinds)}",
              *count_lines(counts),
              f"  memory: at most {run.outcomes[peak].peak >> 20} MB allocated ({kind}/{peak}), "
              f"{run.touched >> 20} MB touched",
              f"  slowest: {run.outcomes[slowest].milliseconds} ms ({kind}/{slowest})", sep="\n", flush=True)

    def test_7z(self):
        self.check("7z")

    def test_zip(self):
        self.check("zip")

    def test_cab(self):
        self.check("cab")

    def test_lzma(self):
        self.check("lzma")

    def test_lzma86(self):
        self.check("lzma86")

    def test_xz(self):
        """It is no format of the library, although the decoder is there for the other formats."""
        run = self.library("xz")

        self.assertEqual({NO_ARCHIVE}, {outcome.result for outcome in run.outcomes})
        self.assertEqual([], list(self.workspace.folder.glob("*/out")))
        self.report("xz", run, Counter(nothing=COUNT), Counter())


if __name__ == "__main__":
    unittest.main()
