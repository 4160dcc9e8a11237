"""The library survives thousands of damaged archives, and unpacks every file that 7-Zip can unpack.

MENDLOFT_MUTANTS is the number of archives of each group of seeds (150 by default).
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
from seeds import GROUPS
from windows_side import Workspace

COUNT = int(os.environ.get("MENDLOFT_MUTANTS", "150"))
MOST_TOUCHED = 256 << 20  # bytes of memory
NO_ARCHIVE = 1


def listed(counter):
    return ", ".join(f"{key} {times}" for key, times in counter.most_common())


def leaks(kind, run):
    return ", ".join(f"{kind}/{number}: {outcome.left}" for number, outcome in enumerate(run.outcomes)
                     if number >= COUNT // 2 and outcome.left != 0)


class Mutants(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.workspace = Workspace()
        self.addCleanup(self.workspace.close)

    def library(self, kind):
        """Unpacks the mutants with the library, and checks what must hold for every archive."""
        for number in range(COUNT):
            self.workspace.make_place(number).write_bytes(mutant(kind, number))
        run = self.workspace.run(COUNT)

        self.assertEqual(0, run.code, f"ended at {kind}/{len(run.outcomes)}:\n{run.output[-2000:]}")
        self.assertEqual(COUNT, len(run.outcomes))
        self.assertEqual(run.handles[0], run.handles[1], "handles halfway and at the end")
        self.assertEqual(run.live[0], run.live[1], f"bytes not freed halfway and at the end: {leaks(kind, run)}")
        self.assertLess(run.touched, MOST_TOUCHED)
        self.assertEqual([], self.workspace.strangers(), "changed outside the destinations")
        return run

    def check(self, kind):
        """Compares the library with 7-Zip on all mutants of a group, and prints the figures."""
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
        self.assertGreater(counts["compared"], COUNT // 20, "the mutants are too damaged to prove anything")

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

    def check_no_archives(self, kind):
        """The library does not open this format, although other formats contain its decoder."""
        run = self.library(kind)

        self.assertEqual({NO_ARCHIVE}, {outcome.result for outcome in run.outcomes})
        self.assertEqual([], list(self.workspace.folder.glob("*/out")))
        self.report(kind, run, Counter(nothing=COUNT), Counter())


def _add_test(group):
    check = Mutants.check_no_archives if group == "xz" else Mutants.check
    setattr(Mutants, f"test_{group.replace('-', '_')}", lambda self: check(self, group))


for name in GROUPS:
    _add_test(name)

if __name__ == "__main__":
    unittest.main()
