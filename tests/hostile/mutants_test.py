"""Thousands of damaged archives: the library survives them, and loses nothing that 7-Zip can save.

MENDLOFT_MUTANTS is how many of each format are tried (200 unless set).
"""

import os
import shutil
import sys
import tempfile
import unittest
from collections import Counter
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))

from comparison import Workspace, compare, run_library, run_program  # noqa: E402
from mutations import mutant  # noqa: E402

COUNT = int(os.environ.get("MENDLOFT_MUTANTS", "200"))
MOST_TOUCHED = 256 << 20  # bytes of memory
NO_ARCHIVE = 1


class Mutants(unittest.TestCase):
    def setUp(self):
        self.workspace = Workspace()
        self.addCleanup(self.workspace.close)

    def library(self, kind):
        """Lets the library unpack the mutants, and checks what has to be true whatever they are."""
        for number in range(COUNT):
            (self.workspace.folder / str(number)).mkdir()
            (self.workspace.folder / str(number) / "archive").write_bytes(mutant(kind, number))
        run = run_library(self.workspace.folder, COUNT, self.workspace.drive_c)

        self.assertEqual(0, run.code, f"died with {kind}/{len(run.outcomes)}:\n{run.output[-2000:]}")
        self.assertEqual(COUNT, len(run.outcomes))
        self.assertEqual(run.handles[0], run.handles[1], "handles at half, and at the end")
        self.assertLess(abs(run.live[1] - run.live[0]), 4096, "bytes left behind in the second half")
        self.assertLess(run.touched, MOST_TOUCHED)
        self.assertEqual([], self.workspace.strangers(), "changed outside of the destinations")
        for number in range(COUNT):
            self.assertLessEqual(set(os.listdir(self.workspace.folder / str(number))), {"archive", "out"},
                                 f"{kind}/{number}")
        return run

    def check(self, kind):
        run = self.library(kind)
        problems, counts = [], Counter()
        with tempfile.TemporaryDirectory() as folder:
            for number, outcome in enumerate(run.outcomes):
                mine = self.workspace.folder / str(number)
                reference = run_program(kind, mine / "archive", Path(folder) / "out")
                found, counted = compare(kind, outcome, reference, mine / "out")
                problems += [f"{kind}/{number}: {problem}" for problem in found]
                counts += counted
                shutil.rmtree(Path(folder) / "out", ignore_errors=True)
        self.report(kind, run, counts)
        self.assertEqual([], problems)
        self.assertGreater(counts["compared"], COUNT // 20, "the mutants are too damaged to tell anything")

    def report(self, kind, run, counts):
        results = Counter("threw" if each.result is None else f"{each.result:#x}" for each in run.outcomes)
        peak = max(range(COUNT), key=lambda number: run.outcomes[number].peak)
        slowest = max(range(COUNT), key=lambda number: run.outcomes[number].milliseconds)
        print(f"\n{kind}: {COUNT} mutants; results {dict(results.most_common())}; files {dict(counts)}; "
              f"at most {run.outcomes[peak].peak >> 20} MB allocated ({kind}/{peak}), "
              f"{run.touched >> 20} MB touched; longest {run.outcomes[slowest].milliseconds} ms "
              f"({kind}/{slowest})", flush=True)

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

    def test_xz_is_no_format_of_the_library(self):
        run = self.library("xz")

        self.assertEqual({NO_ARCHIVE}, {outcome.result for outcome in run.outcomes})
        self.assertEqual([], list(self.workspace.folder.glob("*/out")))


if __name__ == "__main__":
    unittest.main()
