"""The layout of the driver archive has what the library looks for in it."""

import re
import unittest

from support import ROOT

from mendloft_pack import layout

TEXT = r'L"([^"]+)"'


def read(path):
    """Returns a source of the library."""
    return (ROOT / "src" / path).read_text("utf-8")


def pairs(field):
    """Returns the pairs of texts, for 64-bit and for 32-bit Windows, that each package has there."""
    found = re.findall(rf"\.{field} = \{{{TEXT}, {TEXT}\}}", read("core/driver_packages.cpp"))
    return [tuple(text.replace("\\\\", "/").strip("/") for text in pair) for pair in found]


class Layout(unittest.TestCase):

    def test_has_the_folders_of_the_packages(self):
        folders = {folder for pair in pairs("stagedFolder") for folder in pair}

        self.assertEqual({folder for folder in layout.FOLDERS if "/" in folder}, folders)

    def test_has_the_inf_file_of_each_package_whose_folder_is_not_empty(self):
        names = zip(pairs("stagedFolder"), pairs("infName"), strict=True)
        infs = {f"{folder}/{inf}" for folders, infs in names
                for folder, inf in zip(folders, infs) if folder not in layout.EMPTY_FOLDERS}

        self.assertEqual(7, len(infs))
        self.assertEqual({path for path in layout.FILES if path.endswith(".inf")}, infs)

    def test_knows_the_name_of_the_archive_file(self):
        [name] = re.findall(rf"kStagedArchiveName = {TEXT}", read("staging/driver_staging.h"))

        self.assertEqual(layout.ARCHIVE_NAME, name.strip("\\"))


if __name__ == "__main__":
    unittest.main()
