"""The library unpacks the undamaged archives, and no decoder keeps memory."""

import re
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))

from comparison import judge
from reference import seven_zip
from seeds import GROUPS, seeds
from windows_side import Workspace, registered_methods


def summary(files):
    return {name: (len(content), hex(zlib.crc32(content))) for name, content in files.items()}


def content_of(folder):
    return {path.relative_to(folder).as_posix(): path.read_bytes()
            for path in folder.rglob("*") if path.is_file()}


class Seeds(unittest.TestCase):
    """All seeds are unpacked, and then all of them again."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.seeds = {f"{group}/{seed.name}": seed for group in GROUPS for seed in seeds(group)}
        cls.workspace = Workspace()
        cls.addClassCleanup(cls.workspace.close)
        for number, seed in enumerate([*cls.seeds.values()] * 2):
            cls.workspace.make_place(number).write_bytes(seed.data)
        cls.run_of_all = cls.workspace.run(2 * len(cls.seeds))

    def setUp(self):
        run = self.run_of_all
        self.assertEqual(0, run.code, f"ended after {len(run.outcomes)} of {list(self.seeds)}:\n{run.output[-2000:]}")

    def test_are_unpacked_whole(self):
        for number, (name, seed) in enumerate(self.seeds.items()):
            with self.subTest(seed=name):
                self.assertEqual(hex(seed.result), self.run_of_all.outcomes[number].text())
                self.assertEqual(summary(seed.files), summary(content_of(self.workspace.place(number) / "out")))

    def test_are_unpacked_as_by_7_zip(self):
        with tempfile.TemporaryDirectory() as scratch:
            for number, name in enumerate(self.seeds):
                with self.subTest(seed=name):
                    _, problems, _ = judge(self.run_of_all.outcomes[number], self.workspace.place(number),
                                           Path(scratch))
                    self.assertEqual([], problems)

    def test_leave_nothing_when_they_are_unpacked_again(self):
        run = self.run_of_all

        self.assertEqual({}, {name: outcome.left for name, outcome in
                              zip(self.seeds, run.outcomes[len(self.seeds):]) if outcome.left != 0}, "bytes")
        self.assertEqual(run.live[0], run.live[1], "bytes not freed halfway and at the end")
        self.assertEqual(run.handles[0], run.handles[1], "handles halfway and at the end")


class RegisteredMethods(unittest.TestCase):
    def test_have_a_seed(self):
        workspace = Workspace()
        self.addCleanup(workspace.close)
        used = set()
        for seed in [*seeds("7z"), *seeds("7z-more")]:
            workspace.place(0).write_bytes(seed.data)
            listing = seven_zip("l", "7z", workspace.place(0), "-slt").stdout
            used.update(re.findall(r"\w+", " ".join(re.findall(r"^Method = (.*)", listing, re.MULTILINE))))

        self.assertEqual(set(), registered_methods() - used)


if __name__ == "__main__":
    unittest.main()
