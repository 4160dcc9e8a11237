"""The public header: it compiles as C from C99 on and as C++, and declares exactly the exports."""

import re
import shutil
import unittest

from support import GCC, GXX, ROOT, STRICT, PackageTest, installed, succeed

HEADER = (ROOT / "include/mendloft/mendloft.h").read_text()
EXPORTS = (ROOT / "src/exports/libmendloft.def").read_text().split("EXPORTS")[1].split()
CLANG = shutil.which("clang")

USE = """\
#include <mendloft/mendloft.h>
#include <mendloft/mendloft.h>

MendloftPortTestFunction portTest = AMDPortTest;
MendloftFolderFunction folder = MendloftFolder;
MendloftSetupFunction setUp[] = {SetUpUSBDriver, SetUpNetDriver, SetUpKisDriver, SetUpRSMDriver,
                                 SetUpAppleUSBDeviceDriver};
int results[] = {kMendloftFoldersGone, kMendloftFoldersFailed, kMendloftFoldersOldSystem,
                 kMendloftFoldersBuilt, kMendloftSetupToolRan, kMendloftSetupInfMissing,
                 kMendloftSetupToolMissing, kMendloftSetupToolNotStarted};
"""


class Header(PackageTest):

    def compile(self, file, command, standards):
        source = self.work / file
        source.write_text(USE)
        for standard in standards:
            with self.subTest(standard):
                succeed(*command, f"-std={standard}", *STRICT, f"-I{installed() / 'include'}",
                        "-fsyntax-only", source)

    def test_compiles_as_c(self):
        self.compile("use.c", [GCC], ["c99", "c11", "c17", "c2x"])

    def test_compiles_as_cpp(self):
        self.compile("use.cpp", [GXX], ["c++98", "c++11", "c++17", "c++20"])

    @unittest.skipUnless(CLANG, "clang is missing: scripts/setup --extras")
    def test_compiles_for_visual_studio(self):
        visual_studio = [CLANG, "--target=i686-pc-windows-msvc", "-ffreestanding"]
        self.compile("use.c", visual_studio, ["c99", "c17"])
        self.compile("use.cpp", visual_studio, ["c++14", "c++20"])

    def test_declares_every_export_and_nothing_else(self):
        declared = re.findall(r"^(?:bool|int32_t) __cdecl (\w+)\(int32_t \w+\);", HEADER, re.M)

        self.assertEqual(sorted(EXPORTS), sorted(declared))

    def test_numbers_the_results(self):
        numbers = dict(re.findall(r"(kMendloft\w+) = (-?\d+)", HEADER))

        self.assertEqual({
            "kMendloftFoldersGone": "0",
            "kMendloftFoldersFailed": "1",
            "kMendloftFoldersOldSystem": "2",
            "kMendloftFoldersBuilt": "4",
            "kMendloftSetupToolRan": "0",
            "kMendloftSetupInfMissing": "-1",
            "kMendloftSetupToolMissing": "-2",
            "kMendloftSetupToolNotStarted": "-3",
        }, numbers)
