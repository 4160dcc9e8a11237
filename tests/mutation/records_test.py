"""The choice of mutants, the table of explanations, the stored results and the report."""

import shutil
import tempfile
import unittest
from pathlib import Path

import support
from mutation import coverage, equivalent
from mutation.choice import code_size, spread
from mutation.equivalent import Table, WrongTable
from mutation.operators import mutants
from mutation.report import summary
from mutation.results import CAUGHT, NOT_COMPILED, SURVIVED, Result, ResultFile, key_of
from mutation.workspace import outcome

_TEXT = "{\n    a = 1;\n    b = 1;\n}\n"
_ROW = """\
# a comment
file: src/x.cpp
line: a = 1;
change: integer:0 1 -> 2
why: nobody reads it,
  and nobody ever will
"""


def two_mutants():
    """Returns the first mutant of each of two lines."""
    found = mutants("src/x.cpp", _TEXT)
    return [next(one for one in found if one.id == name)
            for name in ("src/x.cpp:2:integer:0", "src/x.cpp:3:integer:0")]


class Choice(unittest.TestCase):

    def test_takes_mutants_of_each_file_in_proportion_to_its_size(self):
        order = spread({"large": [("large", n) for n in range(90)],
                        "small": [("small", n) for n in range(90)]}, {"large": 20, "small": 10}, "1")
        self.assertEqual(20, sum(1 for file, _ in order[:30] if file == "large"))

    def test_is_the_same_for_the_same_seed_only(self):
        everything = {"x": list(range(50))}
        self.assertEqual(spread(everything, {"x": 1}, "1"), spread(everything, {"x": 1}, "1"))
        self.assertNotEqual(spread(everything, {"x": 1}, "1"), spread(everything, {"x": 1}, "2"))

    def test_leaves_out_no_mutant(self):
        self.assertEqual(list(range(50)), sorted(spread({"x": list(range(50))}, {"x": 3}, "1")))

    def test_counts_lines_of_code(self):
        self.assertEqual(2, code_size("// why\nint a;\n\n  // more\nint b;  // here\n"))


class Coverage(unittest.TestCase):

    def test_knows_every_source(self):
        for path in (support.ROOT / "src").rglob("*.cpp"):
            self.assertTrue(coverage.programs_for(str(path.relative_to(support.ROOT))), path)

    def test_prefers_the_most_specific_row(self):
        self.assertEqual(["library_tests"],
                         [program.name for program in coverage.programs_for("src/exports/exports.cpp")])

    def test_leaves_out_tests_with_a_filter(self):
        self.assertEqual(["--gtest_filter=-A.B:C.*"], coverage.Program("x", "A.B:C.*").arguments)


class Explanations(unittest.TestCase):

    def test_are_found_by_the_text_of_the_line(self):
        table = Table(equivalent.read(_ROW))
        first, second = two_mutants()
        self.assertEqual("nobody reads it, and nobody ever will", table.why(first))
        self.assertIsNone(table.why(second))

    def test_are_stale_when_the_line_is_gone(self):
        table = Table(equivalent.read(_ROW))
        first, second = two_mutants()
        self.assertEqual([], table.stale([first]))
        self.assertEqual(["a = 1;"], [row.line for row in table.stale([second])])

    def test_need_a_reason(self):
        with self.assertRaises(WrongTable):
            equivalent.read(_ROW.partition("why")[0])

    def test_must_not_explain_a_mutant_twice(self):
        with self.assertRaises(WrongTable):
            Table(equivalent.read(_ROW + "\n" + _ROW))

    def test_in_the_repository_are_about_existing_mutants(self):
        table = (support.ROOT / "tools" / "mutation" / "equivalent.txt").read_text(encoding="utf-8")
        everything = []
        for path in (support.ROOT / "src").rglob("*.*"):
            if path.suffix in (".cpp", ".h"):
                everything += mutants(str(path.relative_to(support.ROOT)),
                                      path.read_text(encoding="utf-8"))
        self.assertEqual([], Table(equivalent.read(table)).stale(everything))


class Outcome(unittest.TestCase):

    def test_is_empty_for_a_program_that_passed(self):
        self.assertEqual(("", ""), outcome(0, "[  PASSED  ] 3 tests.\n"))

    def test_names_the_first_failing_test(self):
        self.assertEqual(("failed A.B/Usb", "A.B/Usb"),
                         outcome(1, "x\n[  FAILED  ] A.B/Usb (1 ms)\n[  FAILED  ] C.D (1 ms)\n"))

    def test_distinguishes_a_time_out_from_a_crash(self):
        self.assertEqual(("timed out", ""), outcome(124, ""))
        self.assertEqual(("crashed (exit code 134)", ""), outcome(134, "wine: Unhandled"))


class Results(unittest.TestCase):

    def setUp(self):
        folder = Path(tempfile.mkdtemp(prefix="mendloft-mutation-test-"))
        self.addCleanup(shutil.rmtree, folder)
        self.path = folder / "results.jsonl"
        self.results = ResultFile(self.path)
        self.first, self.second = two_mutants()

    def add(self, mutant, result, how=""):
        self.results.add(Result(*key_of(mutant), result, how, 1.5))

    def report(self, table=""):
        return summary([self.first, self.second], self.results, Table(equivalent.read(table)))

    def test_outlive_the_run(self):
        self.add(self.first, SURVIVED)
        self.add(self.first, CAUGHT, "timed out")
        again = ResultFile(self.path)
        self.assertEqual("timed out", again.get(self.first).how)
        self.assertIsNone(again.get(self.second))

    def test_can_be_forgotten(self):
        self.add(self.first, SURVIVED)
        self.results.forget(self.first)
        self.assertIsNone(self.results.get(self.first))
        self.assertIsNone(ResultFile(self.path).get(self.first))

    def test_do_not_apply_to_a_changed_line(self):
        self.add(self.first, SURVIVED)
        changed = mutants("src/x.cpp", _TEXT.replace("a =", "c ="))
        self.assertEqual([], [one for one in changed if self.results.get(one)])

    def test_are_good_when_everything_is_caught(self):
        self.add(self.first, CAUGHT, "failed A.B")
        self.add(self.second, CAUGHT, "crashed (exit code 3)")
        lines, right = self.report()
        self.assertTrue(right)
        self.assertIn("Caught by: crashed 1, failed 1", lines)
        self.assertTrue(lines[-1].startswith("2 of 2 caught (100.0 %)"), lines[-1])

    def test_are_bad_with_an_unexplained_survivor(self):
        self.add(self.first, CAUGHT, "failed A.B")
        self.add(self.second, SURVIVED)
        lines, right = self.report()
        self.assertFalse(right)
        self.assertTrue(lines[-1].startswith("1 of 2 caught (50.0 %); survivors: 0 explained, "
                                             "1 unexplained;"), lines[-1])

    def test_count_an_explained_survivor_as_a_survivor(self):
        self.add(self.first, SURVIVED)
        self.add(self.second, CAUGHT, "failed A.B")
        lines, right = self.report(_ROW)
        self.assertTrue(right)
        self.assertTrue(lines[-1].startswith("1 of 2 caught (50.0 %); survivors: 1 explained, "
                                             "0 unexplained;"), lines[-1])
        self.assertEqual("Without what no test can catch: 1 of 1 caught (100.0 %)", lines[-2])

    def test_are_bad_with_an_explanation_of_a_caught_mutant(self):
        self.add(self.first, CAUGHT, "failed A.B")
        self.assertFalse(self.report(_ROW)[1])

    def test_do_not_count_what_does_not_compile(self):
        self.add(self.first, NOT_COMPILED)
        self.add(self.second, CAUGHT, "failed A.B")
        lines, _ = self.report()
        self.assertEqual("1 of 1 caught (100.0 %); survivors: 0 explained, 0 unexplained; 1 more did "
                         "not compile", lines[-1])


if __name__ == "__main__":
    unittest.main()
