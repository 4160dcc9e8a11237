"""The archive for the benchmarks."""

import subprocess
import sys
import unittest
from pathlib import Path

from support import ROOT, PackTest

sys.path.insert(0, str(ROOT / "bench"))
import make_bench_archive as bench


def program(size):
    """Returns the bytes of a file that has only the two signatures of a program, and this size."""
    return (b"MZ".ljust(60, b"\0") + (64).to_bytes(4, "little") + b"PE\0\0").ljust(size, b"\0")


class BenchArchive(PackTest):

    def run_script(self, *arguments):
        return subprocess.run([sys.executable, ROOT / "bench/make_bench_archive.py", *arguments],
                              cwd=self.work, text=True, capture_output=True, check=False)

    def test_holds_programs_of_33_megabytes_in_the_layout(self):
        (self.work / "programs").mkdir()
        for index in range(30):
            (self.work / f"programs/{index}.dll").write_bytes(program(1_500_000 + index))

        result = self.run_script(self.archive, "--search", self.work / "programs")

        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertRegex(result.stdout, r"driver\.7z: 31 files, 22 of them programs; "
                                        r"3301\d{4} bytes packed into \d+ \(\d+\.\d : 1\)\n$")
        self.assertEqual(0, self.pack("verify", self.archive).returncode)

    def test_holds_the_requested_number_of_bytes(self):
        (self.work / "programs").mkdir()
        for index in range(60):
            (self.work / f"programs/{index}.dll").write_bytes(program(10_000 + 1_000 * index))

        result = self.run_script(self.archive, "--search", self.work / "programs",
                                 "--unpacked", "1000000")

        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertRegex(result.stdout, r"driver\.7z: 31 files, 22 of them programs; "
                                        r"10\d{5} bytes packed into ")

    def test_is_not_made_from_too_few_programs(self):
        (self.work / "one.dll").write_bytes(program(33_000_000))

        result = self.run_script(self.archive, "--search", self.work)

        self.assertEqual(1, result.returncode)
        self.assertIn("cannot find 22 Windows program files with a total of about 33000000 bytes", result.stderr)
        self.assertFalse(self.archive.exists())


class Choice(PackTest):

    def test_recognises_a_program_by_its_signatures(self):
        for name, data, wanted in (("a.dll", program(100), True), ("b.dll", b"MZ", False),
                                   ("c.dll", program(100).replace(b"PE", b"NE"), False),
                                   ("d.dll", b"X" * 100, False)):
            (self.work / name).write_bytes(data)
            self.assertIs(wanted, bench.is_program(self.work / name), name)

    def test_takes_one_file_of_each_size_in_order(self):
        for name, size in (("b.dll", 200), ("a.dll", 200), ("c.EXE", 100), ("d.txt", 300)):
            (self.work / name).write_bytes(program(size))

        self.assertEqual([(100, self.work / "c.EXE"), (200, self.work / "a.dll")],
                         bench.program_files([self.work]))

    def test_takes_the_neighbours_with_the_nearest_total_size(self):
        programs = [(size, Path(str(size)))
                    for size in (1, 10_000_000, 12_000_000, 21_500_000, 40_000_000)]

        self.assertEqual(programs[2:4], bench.choose(programs, 2))
        self.assertEqual([], bench.choose(programs, 6))
        self.assertEqual(programs[0:2], bench.choose(programs, 2, 9_000_000))


if __name__ == "__main__":
    unittest.main()
