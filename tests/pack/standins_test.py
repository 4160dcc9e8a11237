"""The stand-in packages in the default archive."""

import re
import unittest

from support import DRIVERS
from mendloft_pack.inf import Inf

ROOT = "C:\\Windows\\System32\\DriverStore\\FileRepository\\"


class StandIns(unittest.TestCase):

    def inf_files(self):
        files = sorted(DRIVERS.rglob("*.inf"))
        self.assertEqual(7, len(files))
        return files

    def test_end_every_line_with_cr_lf(self):
        for file in DRIVERS.rglob("*.*"):
            data = file.read_bytes()
            self.assertEqual(data.count(b"\n"), data.count(b"\r\n"), file)
            self.assertTrue(data.endswith(b"\r\n"), file)

    def test_can_be_installed_on_their_architecture(self):
        for file in self.inf_files():
            self.assertEqual([], list(Inf(file.read_bytes()).problems(file.parent.name)), file)

    def test_match_no_device_but_their_own(self):
        ids = set()
        for file in self.inf_files():
            models = re.search(r"\[Standin(\.NTamd64)?\]\n(.*)\n\n", file.read_text("ascii"))
            hardware = re.findall(r"^%Device% = Standin_Install,(ROOT\\MENDLOFT_STANDIN_[A-Z]+)$",
                                  models[2] if models else "", re.MULTILINE)
            self.assertEqual(1, len(hardware), file)
            ids.update(hardware)
        self.assertEqual(5, len(ids))

    def test_add_no_service_and_copy_nothing_into_system_folders(self):
        for file in self.inf_files():
            text = file.read_text("ascii")
            self.assertEqual(["AddService = ,2"], re.findall(r"^AddService.*$", text, re.MULTILINE))
            folders = re.findall(r"^\w*DestDir = (\d+),", text, re.MULTILINE)
            self.assertEqual(["16422"], folders, file)  # a folder below the program files

    def test_list_every_file_that_they_copy(self):
        for file in self.inf_files():
            text = file.read_text("ascii")
            copied = re.search(r"\[Standin_Files\]\n((?:.+\n)+)", text)[1].split()
            listed = re.search(r"\[SourceDisksFiles\.\w+\]\n((?:.+\n)+)", text)[1]
            self.assertEqual(copied, re.findall(r"^(\S+) = 1$", listed, re.MULTILINE))
            for name in copied:
                self.assertTrue((file.parent / name).exists(), name)

    def test_name_the_binary_file_that_each_of_them_replaces(self):
        binaries = [file for file in DRIVERS.rglob("*.*") if file.suffix not in (".inf", ".txt")]
        self.assertEqual(23, len(binaries))
        for file in binaries:
            self.assertRegex(file.read_text("ascii"),
                             f"^This text stands in for {re.escape(file.name)}, ")


class Note(unittest.TestCase):

    def test_lists_the_driver_store_folders_of_each_system(self):
        version, *blocks = (DRIVERS / "path.txt").read_text("ascii").rstrip("\n").split("\n\n")

        self.assertEqual("Apple software: none (stand-in packages 1.0)", version)
        self.assertEqual([
            "win7 32\n"
            + ROOT + "usbaapl.inf_x86_neutral_b11f4eb7484c8d3b\n"
            + ROOT + "netaapl.inf_x86_neutral_84f98e613445a1f8",
            "win7 64\n"
            + ROOT + "usbaapl64.inf_amd64_neutral_c0e4d8c2aef471b7\n"
            + ROOT + "usbaapl64.inf_amd64_neutral_14c8400756ec0e3b\n"
            + ROOT + "netaapl64.inf_amd64_neutral_56f23639c9617984",
            "win10 win8 32\n"
            + ROOT + "usbaapl.inf_x86_e165816441187e06\n"
            + ROOT + "usbaapl.inf_x86_b11f4eb7484c8d3b\n"
            + ROOT + "netaapl.inf_x86_84f98e613445a1f8",
            "win10 win8 64\n"
            + ROOT + "usbaapl64.inf_amd64_c0e4d8c2aef471b7\n"
            + ROOT + "netaapl64.inf_amd64_56f23639c9617984",
            "xp\n"
            + ROOT + "usbaapl.inf_x86_e165816441187e06\n"
            + ROOT + "netaapl.inf_x86_84f98e613445a1f8",
        ], blocks)


if __name__ == "__main__":
    unittest.main()
