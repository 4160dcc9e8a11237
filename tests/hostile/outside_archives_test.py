"""Compares the library with 7-Zip's own program on archives from elsewhere.

MENDLOFT_OUTSIDE_ARCHIVES names the folder that holds them; every file in and below it is taken for an
archive. Without it there is nothing to test.
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

from comparison import count_lines, judge
from windows_side import Workspace

FOLDER = os.environ.get("MENDLOFT_OUTSIDE_ARCHIVES")
SECONDS = 900  # that one archive may take


@unittest.skipUnless(FOLDER, "MENDLOFT_OUTSIDE_ARCHIVES is not set: it names a folder of archives that the library "
                             "and 7-Zip's program are to unpack alike")
class OutsideArchives(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.workspace = Workspace()
        self.addCleanup(self.workspace.close)
        self.scratch = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.scratch)

    def test_are_unpacked_as_7_zip_unpacks_them(self):
        archives = sorted(path for path in Path(FOLDER).rglob("*") if path.is_file())
        for number, archive in enumerate(archives):
            shutil.copyfile(archive, self.workspace.make_place(number))
        run = self.workspace.run(len(archives), SECONDS)

        self.assertEqual(0, run.code, f"died behind archive {len(run.outcomes)}:\n{run.output[-2000:]}")
        self.assertEqual(len(archives), len(run.outcomes))
        total = Counter()
        for number, (archive, outcome) in enumerate(zip(archives, run.outcomes)):
            with self.subTest(archive=str(archive)):
                total += self.check(archive, outcome, self.workspace.place(number))
        self.assertGreater(total["compared"], 0, f"nothing to compare in {FOLDER}")

    def check(self, archive, outcome, place):
        kind, problems, counts = judge(outcome, place, self.scratch)
        print(f"\n{archive.relative_to(FOLDER)}: {kind or 'nothing that the library opens'}, result {outcome.text()}",
              *count_lines(counts), sep="\n", flush=True)
        self.assertEqual([], problems)
        return counts


if __name__ == "__main__":
    unittest.main()
