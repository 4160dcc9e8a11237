"""The ZIP that cpack makes."""

import hashlib
import os
import zipfile

from support import BUILD, PackageTest, files_below, installed, succeed

NAME = "libmendloft-1.0.0-win32"
A_TIME = "1700000000"  # 14 November 2023, 22:13:20 UTC


class Zip(PackageTest):

    def pack(self, folder="pack", **environment):
        succeed("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", self.work / folder,
                env={**os.environ, "SOURCE_DATE_EPOCH": A_TIME, **environment})
        return self.work / folder / f"{NAME}.zip"

    def test_holds_the_installed_files_in_one_folder(self):
        with zipfile.ZipFile(self.pack()) as archive:
            archive.extractall(self.work)

        self.assertEqual(files_below(installed()), files_below(self.work / NAME))
        for name in files_below(installed()):
            if not name.endswith(("sbom.spdx.json", "SHA256SUMS")):  # these contain the time
                self.assertEqual((installed() / name).read_bytes(),
                                 (self.work / NAME / name).read_bytes(), name)

    def test_comes_with_its_checksum(self):
        archive = self.pack()

        expected = f"{hashlib.sha256(archive.read_bytes()).hexdigest()}  {NAME}.zip\n"
        self.assertEqual(expected, archive.with_suffix(".zip.sha256").read_text())

    def test_has_sorted_entries_with_the_time_of_the_source_and_plain_permissions(self):
        with zipfile.ZipFile(self.pack()) as archive:
            entries = archive.infolist()

        self.assertEqual({((2023, 11, 14, 22, 13, 20), 0o100644)},
                         {(entry.date_time, entry.external_attr >> 16) for entry in entries})
        self.assertEqual(sorted(entry.filename for entry in entries),
                         [entry.filename for entry in entries])

    def test_is_bit_identical_when_it_is_packed_again_elsewhere(self):
        first = self.pack("here", TZ="UTC")
        second = self.pack("there", TZ="Asia/Tokyo")

        self.assertEqual(first.read_bytes(), second.read_bytes())
