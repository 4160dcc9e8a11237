"""Compares the library with 7-Zip's own program on archives from elsewhere.

MENDLOFT_OUTSIDE_ARCHIVES names a folder. Every file in and below it is tested as an archive. If the
variable is not set, the tests skip.
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
SECONDS = 900  # for each archive


@unittest.skipUnless(FOLDER, "MENDLOFT_OUTSIDE_ARCHIVES is not set: it names a folder of archives to unpack with "
                             "the library and with 7-Zip's program")
class OutsideArchives(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.workspace = Workspace()
        self.addCleanup(self.workspace.close)
        self.scratch = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.scratch)

    def test_are_unpacked_as_by_7_zip(self):
        archives = sorted(path for path in Path(FOLDER).rglob("*") if path.is_file())
        for number, archive in enumerate(archives):
            shutil.copyfile(archive, self.workspace.make_place(number))
        run = self.workspace.run(len(archives), SECONDS)

        self.assertEqual(0, run.code, f"ended after {len(run.outcomes)} archives:\n{run.output[-2000:]}")
        self.assertEqual(len(archives), len(run.outcomes))
        total = Counter()
        for number, (archive, outcome) in enumerate(zip(archives, run.outcomes)):
            with self.subTest(archive=str(archive)):
                total += self.check(archive, outcome, self.workspace.place(number))
        self.assertGreater(total["compared"], 0, f"nothing to compare in {FOLDER}")

    def check(self, archive, outcome, place):
        kind, problems, counts = judge(outcome, place, self.scratch)
        print(f"\n{archive.relative_to(FOLDER)}: {kind or 'not opened'}, result {outcome.text()}",
              *count_lines(counts), sep="\n", flush=True)
        self.assertEqual([], problems)
        return counts


if __name__ == "__main__":
    unittest.main()
