"""Files and functions stay small enough to be read in one go, and there are neither too few
comments nor too many."""

import ast
import pathlib
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
LONGEST_FILE = 250
LONGEST_FUNCTION = 60  # of Python; clang-tidy has the same limit for C++
# The smallest and the largest share of whole-line comments among the lines that are not blank.
SHARES = {"src": (0.14, 0.20), "tools/common": (0.10, 1), "tools/inf_installer": (0.10, 1),
          "tools/mendloftctl": (0.10, 1)}


def is_text_of_ours(path):
    return path.is_file() and path.suffix in ("", ".h", ".cpp", ".py", ".def") and \
        "__pycache__" not in path.parts


def share_of_comments(texts):
    """The share of whole-line C++ comments among the lines that are not blank."""
    lines = [line.strip() for text in texts for line in text.splitlines() if line.strip()]
    return sum(line.startswith("//") for line in lines) / len(lines)


def long_functions(text):
    functions = (node for node in ast.walk(ast.parse(text)) if isinstance(node, ast.FunctionDef))
    return [node.name for node in functions if node.end_lineno - node.lineno >= LONGEST_FUNCTION]


class Sizes(unittest.TestCase):

    def test_of_files_stay_small(self):
        paths = [path for folder in ("src", "include", "tools")
                 for path in (ROOT / folder).rglob("*") if is_text_of_ours(path)]
        self.assertGreater(len(paths), 100)
        for path in paths:
            with self.subTest(path=path.relative_to(ROOT)):
                self.assertLessEqual(len(path.read_text().splitlines()), LONGEST_FILE)

    def test_of_functions_in_python_stay_small(self):
        for path in (ROOT / "tools").rglob("*.py"):
            with self.subTest(path=path.relative_to(ROOT)):
                self.assertEqual([], long_functions(path.read_text()))

    def test_of_comments_are_neither_too_few_nor_too_many(self):
        for folder, (least, most) in SHARES.items():
            texts = [path.read_text() for path in (ROOT / folder).rglob("*")
                     if path.suffix in (".h", ".cpp")]
            with self.subTest(folder=folder):
                share = share_of_comments(texts)
                self.assertGreaterEqual(share, least)
                self.assertLessEqual(share, most)


class Measuring(unittest.TestCase):

    def test_counts_comments_on_lines_of_their_own(self):
        self.assertEqual(0.5, share_of_comments(["// why\n\nint a;  // not this one\n  // more\nb"]))

    def test_finds_a_function_that_is_too_long(self):
        text = "def short():\n    pass\n\n\ndef long():\n" + "    pass\n" * LONGEST_FUNCTION
        self.assertEqual(["long"], long_functions(text))


if __name__ == "__main__":
    unittest.main()
