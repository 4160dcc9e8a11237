"""The picture in docs/architecture.md matches the includes of the sources, and no include points
upwards in it."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PICTURE = re.compile(r"^```mermaid\n(.*?)^```", re.DOTALL | re.MULTILINE)
ARROWS = re.compile(r"^ *(\w+) --> (.+)$", re.MULTILINE)
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"]+)[>"]', re.MULTILINE)

FOLDERS = {path.name: path for parent in ("src", "tools") for path in (ROOT / parent).iterdir()
           if any(path.glob("*.h")) or any(path.glob("*.cpp"))}
# What is outside these folders but also in the picture: first part of an include, name there.
OUTSIDE = {"7zip": "sevenzip", "mendloft": "header"}


def drawn(text):
    """The arrows of the picture: for each folder, in the order of the lines, its targets."""
    picture = PICTURE.search(text)
    return {start: set(ends.split(" & ")) for start, ends in ARROWS.findall(picture.group(1))}


def included(sources):
    """Where sources include from, apart from system headers. An include of ours that does not begin
    with one of the folders is named whole, as it would hide where it leads."""
    found = set()
    for bracket, header in (include for text in sources for include in INCLUDE.findall(text)):
        folder = header.split("/")[0]
        if folder in OUTSIDE:
            found.add(OUTSIDE[folder])
        elif bracket == '"':
            found.add(folder if folder in FOLDERS else header)
    return found


def upward(arrows):
    """The arrows from one line of the picture to the same line or one before it."""
    lines = list(arrows)
    return [(start, end) for start, ends in arrows.items() for end in sorted(ends)
            if end in lines and lines.index(end) <= lines.index(start)]


def sources_of(folder):
    return [path.read_text() for path in sorted(FOLDERS[folder].rglob("*"))
            if path.suffix in (".h", ".cpp")]


class Picture(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.arrows = drawn((ROOT / "docs/architecture.md").read_text())

    def test_shows_every_folder(self):
        self.assertEqual(set(FOLDERS), set(self.arrows) | {"platform"})

    def test_shows_the_includes_of_every_folder(self):
        for folder in FOLDERS:
            with self.subTest(folder=folder):
                self.assertEqual(included(sources_of(folder)) - {folder},
                                 self.arrows.get(folder, set()))

    def test_has_no_arrow_that_goes_up(self):
        self.assertEqual([], upward(self.arrows))

    def test_shows_the_path_of_a_call(self):
        way = ["exports", "install", "repair", "staging", "archive", "sevenzip"]
        for start, end in zip(way, way[1:]):
            self.assertIn(end, self.arrows[start])


class Reading(unittest.TestCase):

    def test_finds_the_arrows_of_a_picture(self):
        text = "x --> y\n```mermaid\nflowchart TD\n    a --> b & c\n    b --> c\n```\n"
        self.assertEqual({"a": {"b", "c"}, "b": {"c"}}, drawn(text))

    def test_finds_an_arrow_that_goes_up(self):
        self.assertEqual([("b", "a")], upward({"a": {"b"}, "b": {"a", "c"}, "c": {"d"}}))

    def test_finds_an_arrow_from_a_folder_to_itself(self):
        self.assertEqual([("a", "a")], upward({"a": {"a"}}))

    def test_finds_includes_from_folders_and_from_outside(self):
        text = '#include <7zip/IDecl.h>\n#include <windows.h>\n#include "platform/paths.h"\n'
        self.assertEqual({"sevenzip", "platform"}, included([text]))

    def test_finds_includes_however_they_are_written(self):
        self.assertEqual({"exports"}, included(['  #\tinclude  "exports/x.h"\n']))

    def test_names_an_include_that_hides_where_it_leads(self):
        self.assertEqual({"../exports/x.h"}, included(['#include "../exports/x.h"\n']))


if __name__ == "__main__":
    unittest.main()
