"""The reader of 7z directories."""

import random
import struct
import subprocess
import unittest
import zlib

from support import SEVEN_ZIP, PackTest, reseal, technical_listing
from mendloft_pack.sevenzip_format import Directory
from mendloft_pack.sevenzip_values import DamagedArchive

MUTATIONS = 4000


class DirectoryReader(PackTest):
    """Reads what 7-Zip packs in many ways, and compares it with 7-Zip's own listing."""

    def check(self, *options):
        """Packs with these options and compares the items; returns the directory."""
        (self.tree / "empty.txt").write_bytes(b"")
        (self.tree / "empty folder").mkdir()
        self.seven_zip(*options)
        properties, listed = technical_listing(self.archive)

        directory = Directory(self.archive.read_bytes())

        self.assertEqual(sorted(listed), sorted(item.path for item in directory.items))
        for item in directory.items:
            expected = listed[item.path]
            self.assertEqual(expected["Attributes"].startswith("D"), item.is_folder)
            self.assertEqual(int(expected["Size"]), item.size)
            self.assertEqual(expected["CRC"], "" if item.crc is None else f"{item.crc:08X}")
        self.assertEqual(int(properties["Blocks"]), len(directory.methods))
        return directory

    def test_reads_a_plain_directory(self):
        self.check("-mhc=off")

    def test_reads_a_compressed_directory(self):
        self.check("-mhc=on")

    def test_reads_an_archive_with_many_blocks(self):
        self.assertEqual(31, len(self.check("-ms=off").methods))

    def test_reads_a_block_with_several_packed_streams(self):
        self.assertEqual({frozenset({"BCJ2", "LZMA2", "LZMA"})},
                         set(self.check("-m0=BCJ2", "-m1=LZMA2", "-m2=LZMA", "-m3=LZMA", "-mb0:1",
                                        "-mb0s1:2", "-mb0s2:3").methods))

    def test_names_the_methods(self):
        for method in ("Copy", "LZMA", "LZMA2", "PPMd", "Deflate", "Deflate64", "BZip2"):
            self.archive.unlink(missing_ok=True)
            self.seven_zip(f"-m0={method}")

            directory = Directory(self.archive.read_bytes())

            self.assertEqual({frozenset({method})}, set(directory.methods))

    def test_skips_access_and_creation_times(self):
        self.check("-mtc=on", "-mta=on", "-mtm=on")

    def test_reads_an_archive_without_times_and_attributes(self):
        self.seven_zip("-mtm=off", "-mtr=off")

        items = Directory(self.archive.read_bytes()).items

        self.assertEqual({None}, {item.attributes for item in items})

    def test_reads_an_archive_without_items(self):
        start = struct.pack("<QQI", 0, 0, 0)
        data = b"7z\xbc\xaf\x27\x1c\0\4" + struct.pack("<I", zlib.crc32(start)) + start

        self.assertEqual(([], []), (Directory(data).items, Directory(data).methods))

    def test_refuses_more_items_without_content_than_its_list_of_empty_files_has(self):
        names = "a\0b\0".encode("utf-16-le")
        without_content, empty_files = 14, 15
        header = bytes([1, 5, 2, without_content, 1, 0b10000000, empty_files, 1, 0b10000000,
                        without_content, 1, 0b11000000, 17, len(names) + 1, 0, *names, 0, 0])
        start = struct.pack("<QQI", 0, len(header), zlib.crc32(header))
        data = b"7z\xbc\xaf\x27\x1c\0\4" + struct.pack("<I", zlib.crc32(start)) + start + header

        with self.assertRaisesRegex(DamagedArchive, "^its directory is malformed$"):
            Directory(data)

    def test_raises_nothing_but_its_own_error_whatever_the_directory_holds(self):
        data = self.made()
        offset, size = struct.unpack_from("<QQ", data, 12)
        random_numbers = random.Random(7)
        refused = 0
        for _ in range(MUTATIONS):
            damaged = bytearray(data)
            for _ in range(random_numbers.randint(1, 3)):
                at = 32 + offset + random_numbers.randrange(size)
                damaged[at] = random_numbers.choice(
                    (0, 1, 0x7F, 0x80, 0xFF, random_numbers.randrange(256)))
            try:
                Directory(reseal(damaged))
            except DamagedArchive:
                refused += 1
        self.assertGreater(refused, MUTATIONS // 20)
        self.assertLess(refused, MUTATIONS)

    def test_refuses_a_directory_that_is_cut_off_at_any_place(self):
        data = self.made()
        offset, size = struct.unpack_from("<QQ", data, 12)
        for length in range(1, size):
            short = bytearray(data[:32 + offset + length])
            struct.pack_into("<Q", short, 20, length)
            with self.assertRaises(DamagedArchive, msg=f"at {length} of {size} bytes"):
                Directory(reseal(short))


class AttributesRewriter(PackTest):

    def test_changes_the_attributes_and_nothing_else(self):
        (self.tree / "empty folder").mkdir()
        self.seven_zip("-mhc=off")
        before = Directory(data := self.archive.read_bytes())

        changed = before.with_attributes(data, list(range(len(before.items))))

        after = Directory(changed)
        self.assertEqual(list(range(len(before.items))), [item.attributes for item in after.items])
        self.assertEqual([item.path for item in before.items], [item.path for item in after.items])
        self.archive.write_bytes(changed)
        subprocess.run([SEVEN_ZIP, "t", self.archive], capture_output=True, check=True)

    def test_refuses_a_compressed_directory(self):
        self.seven_zip("-mhc=on")
        directory = Directory(data := self.archive.read_bytes())

        with self.assertRaisesRegex(DamagedArchive, "^its attributes cannot be rewritten"):
            directory.with_attributes(data, [0] * len(directory.items))


if __name__ == "__main__":
    unittest.main()
