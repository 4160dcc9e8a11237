"""The comparison finds every difference, and excuses only those with a proven reason."""

import shutil
import subprocess
import sys
import tempfile
import unittest
import warnings
import zipfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))

import comparison
from comparison import Comparison, judge
from mutations import mutant
from programs import NATIVE_7ZZ
from reference import Reference, kind_of
from seeds import LONG, seeds
from windows_side import Outcome

MB = 1 << 20
INVALID_NAME = 0x8007007B


class ComparisonTest(unittest.TestCase):
    def setUp(self):
        self.place = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.place)
        self.archive = self.place / "archive"
        self.out = self.place / "out"

    def zip(self, *names):
        """Makes a ZIP of these files, in this order. The content of each is its name."""
        with zipfile.ZipFile(self.archive, "w") as archive:
            for name in names:
                archive.writestr(name, name)

    def unpack(self, kind):
        """Fills "out" as a perfect library would; returns the reference."""
        reference = Reference(kind, self.archive, self.place / "reference")
        shutil.copytree(self.place / "reference", self.out)
        return reference

    def compare(self, reference, result=0, peak=MB, refused=0):
        return Comparison(Outcome(result, peak, refused, 0), reference, self.place)

    # ---- differences that are reported

    def test_equal_files_are_counted_and_are_no_problem(self):
        self.zip("one.txt", "two.txt")

        found = self.compare(self.unpack("zip"))

        self.assertEqual(([], {"compared": 2}), (found.problems, found.counts))

    def test_one_different_byte_is_a_problem(self):
        self.zip("one.txt", "two.txt")
        reference = self.unpack("zip")
        (self.out / "two.txt").write_bytes(b"two.txT")

        self.assertEqual(["two.txt differs (result 0x0), but 7-Zip unpacks it without a complaint"],
                         self.compare(reference).problems)

    def test_a_missing_file_is_a_problem(self):
        self.zip("one.txt", "two.txt")
        reference = self.unpack("zip")
        (self.out / "two.txt").unlink()

        self.assertEqual(["two.txt is missing (result 0x0), but 7-Zip unpacks it without a complaint"],
                         self.compare(reference).problems)

    def test_a_file_that_7_zip_does_not_know_is_a_problem(self):
        self.zip("one.txt")
        reference = self.unpack("zip")
        (self.out / "two.txt").write_text("two.txt")

        self.assertEqual(["two.txt exists, but 7-Zip does not know it"], self.compare(reference).problems)

    def test_a_file_that_7_zip_leaves_out_without_a_complaint_is_a_problem(self):
        self.zip("one.txt", "two.txt")
        reference = self.unpack("zip")
        del reference.whole["two.txt"]
        reference.names.remove("two.txt")

        self.assertEqual(["two.txt exists, but 7-Zip leaves it out"], self.compare(reference).problems)

    def test_a_file_that_7_zip_complains_about_is_not_compared(self):
        self.zip("one.txt", "two.txt")
        self.archive.write_bytes(self.archive.read_bytes().replace(b"two.txttwo.txt", b"two.txtTWO.TXT"))
        reference = self.unpack("zip")
        (self.out / "two.txt").unlink()

        found = self.compare(reference)

        self.assertEqual(([], {"compared": 1}), (found.problems, found.counts))

    def test_a_failure_is_a_problem_when_the_archive_is_undamaged(self):
        self.zip("one.txt")

        self.assertEqual(["the result is 0x80004005, but 7-Zip has no complaint"],
                         self.compare(self.unpack("zip"), result=0x80004005).problems)

    def test_an_exception_is_a_problem_when_the_archive_is_undamaged(self):
        self.zip("one.txt")

        self.assertEqual(["the result is an exception, but 7-Zip has no complaint"],
                         self.compare(self.unpack("zip"), result=None).problems)

    def test_memory_that_the_archive_does_not_need_is_a_problem(self):
        self.zip("one.txt")

        self.assertEqual(["104857600 bytes are allocated, but 7-Zip needs fewer"],
                         self.compare(self.unpack("zip"), peak=100 * MB).problems)

    # ---- differences that are excused

    def test_names_that_windows_refuses_excuse_the_items_after_them(self):
        self.zip("one.txt", "2?.txt", "three.txt")
        reference = self.unpack("zip")
        (self.out / "2?.txt").unlink()
        (self.out / "three.txt").unlink()

        found = self.compare(reference, INVALID_NAME)

        self.assertEqual(([], {"compared": 1, comparison.STOPPED_BY_NAME: 2}), (found.problems, found.counts))

    def test_names_that_windows_refuses_excuse_nothing_before_them(self):
        self.zip("one.txt", "2?.txt")
        reference = self.unpack("zip")
        shutil.rmtree(self.out)

        self.assertEqual(["one.txt is missing (result 0x8007007b), but 7-Zip unpacks it without a complaint"],
                         self.compare(reference, INVALID_NAME).problems)

    def test_names_that_windows_refuses_excuse_nothing_with_another_result(self):
        self.zip("2?.txt", "three.txt")
        reference = self.unpack("zip")
        (self.out / "three.txt").unlink()

        self.assertEqual(["three.txt is missing (result 0x0), but 7-Zip unpacks it without a complaint"],
                         self.compare(reference).problems)

    def test_a_path_through_a_file_excuses_the_items_after_it(self):
        self.zip("one.txt", "usb", "usb/two.txt", "three.txt")
        reference = self.unpack("zip")
        (self.out / "three.txt").unlink()

        found = self.compare(reference, 0x80070003)

        self.assertEqual(([], {"compared": 2, comparison.STOPPED_BY_NAME: 1}), (found.problems, found.counts))

    def replaced_after_a_refused_name(self):
        """Makes a ZIP with a refused name between two files of one name; returns the reference."""
        with zipfile.ZipFile(self.archive, "w") as archive, warnings.catch_warnings():
            warnings.simplefilter("ignore")  # about the name that is there twice
            for name, content in (("one.txt", "first"), ("2?.txt", "2"), ("one.txt", "second")):
                archive.writestr(name, content)
        reference = self.unpack("zip")
        (self.out / "2?.txt").unlink()
        return reference

    def test_names_that_windows_refuses_excuse_a_file_that_is_not_replaced_after_them(self):
        reference = self.replaced_after_a_refused_name()
        (self.out / "one.txt").write_bytes(b"first")

        found = self.compare(reference, INVALID_NAME)

        self.assertEqual(([], {comparison.STOPPED_BY_NAME: 2}), (found.problems, found.counts))

    def test_names_that_windows_refuses_do_not_excuse_other_content(self):
        reference = self.replaced_after_a_refused_name()
        (self.out / "one.txt").write_bytes(b"other")

        self.assertEqual(["one.txt differs (result 0x8007007b), but 7-Zip unpacks it without a complaint"],
                         self.compare(reference, INVALID_NAME).problems)

    def test_a_file_that_replaces_a_folder_excuses_the_files_in_it(self):
        self.zip("usb/one.txt", "usb", "two.txt")
        reference = self.unpack("zip")
        shutil.rmtree(self.out / "usb")
        (self.out / "usb").write_text("usb")

        found = self.compare(reference)

        self.assertEqual(([], {"compared": 1, comparison.IN_FORMER_FOLDER: 1}), (found.problems, found.counts))

    def test_names_with_a_line_break_are_names_that_windows_refuses(self):
        self.zip("one\n.txt", "two.txt")
        reference = self.unpack("zip")
        shutil.rmtree(self.out)

        found = self.compare(reference, INVALID_NAME)

        self.assertEqual(([], {comparison.STOPPED_BY_NAME: 2}), (found.problems, found.counts))

    def test_a_file_with_an_odd_name_is_found_by_its_content(self):
        self.zip("one...", "two.txt")
        reference = self.unpack("zip")
        (self.out / "one...").rename(self.out / "one")

        found = self.compare(reference)

        self.assertEqual(([], {"compared": 1, comparison.OTHER_NAME: 1}), (found.problems, found.counts))

    def test_an_odd_name_does_not_excuse_other_content(self):
        self.zip("one...")
        reference = self.unpack("zip")
        (self.out / "one...").rename(self.out / "one").write_bytes(b"other")

        self.assertEqual(["one... is missing (result 0x0), but 7-Zip unpacks it without a complaint"],
                         self.compare(reference).problems)

    def test_an_item_with_the_name_of_a_device_needs_no_file(self):
        self.zip("usb/nul.txt")
        reference = self.unpack("zip")
        (self.out / "usb" / "nul.txt").unlink()

        found = self.compare(reference)

        self.assertEqual(([], {comparison.DEVICE: 1}), (found.problems, found.counts))

    def test_names_that_differ_only_in_case_share_a_file(self):
        self.zip("one.txt", "ONE.txt")
        reference = self.unpack("zip")
        (self.out / "one.txt").unlink()

        found = self.compare(reference)

        self.assertEqual(([], {"compared": 1, comparison.CLASH: 1}), (found.problems, found.counts))

    def test_an_encrypted_item_excuses_the_items_after_it(self):
        for name, options in (("1.txt", ()), ("2.txt", ("-psecret",)), ("3.txt", ())):
            (self.place / name).write_text(name)
            subprocess.run([NATIVE_7ZZ, "a", "-bd", "-tzip", *options, f"{self.archive}.", name], cwd=self.place,
                           stdout=subprocess.DEVNULL, check=True)
        reference = self.unpack("zip")
        shutil.rmtree(self.out)

        found = self.compare(reference, 0x80004004)

        self.assertEqual((["1.txt is missing (result 0x80004004), but 7-Zip unpacks it without a complaint"],
                          {comparison.STOPPED_BY_PASSWORD: 1}), (found.problems, found.counts))

    def test_a_dictionary_too_large_for_a_32_bit_process_excuses_its_item(self):
        self.archive.write_bytes(b"\x5d\x00\x00\x00\x60" + seeds("lzma")[0].data[5:])
        reference = self.unpack("lzma")
        shutil.rmtree(self.out)

        found = self.compare(reference, 0x8007000E, refused=0x60000080)

        self.assertEqual(([], {comparison.NO_MEMORY: 1}), (found.problems, found.counts))

    def test_a_refused_block_excuses_no_item_that_does_not_need_it(self):
        self.archive.write_bytes(seeds("lzma")[0].data)
        reference = self.unpack("lzma")
        shutil.rmtree(self.out)

        self.assertEqual(["archive~ is missing (result 0x8007000e), but 7-Zip unpacks it without a complaint",
                          "the result is 0x8007000e, but 7-Zip has no complaint"],
                         self.compare(reference, 0x8007000E, refused=0x60000080).problems)

    def test_a_method_without_a_decoder_excuses_its_item(self):
        with zipfile.ZipFile(self.archive, "w") as archive:
            archive.writestr("one.txt", LONG, zipfile.ZIP_BZIP2)
            archive.writestr("two.txt", LONG, zipfile.ZIP_DEFLATED)
        reference = self.unpack("zip")
        (self.out / "one.txt").write_bytes(b"")

        found = self.compare(reference)

        self.assertEqual(([], {"compared": 1, comparison.NO_DECODER: 1}), (found.problems, found.counts))

    # ---- other functions that the tests rely on

    def test_the_kind_is_the_first_that_the_library_recognises(self):
        kinds = {}
        for kind in ("7z", "zip", "cab", "lzma", "lzma86", "xz"):
            self.archive.write_bytes(seeds(kind)[0].data)
            kinds[kind] = kind_of(self.archive)
        self.archive.write_bytes(b"MZ" + seeds("7z")[0].data)
        kinds["after a program"] = kind_of(self.archive)

        self.assertEqual({"7z": "7z at the start", "zip": "zip", "cab": "cab", "lzma": "lzma",
                          "lzma86": "lzma86", "xz": None, "after a program": "7z"}, kinds)

    def test_the_items_are_those_of_an_archive_anywhere_in_the_file(self):
        self.zip("one.txt", "two.txt")
        self.archive.write_bytes(b"MZ" + self.archive.read_bytes())

        reference = Reference("zip", self.archive, self.place / "reference")

        self.assertEqual((None, ["one.txt", "two.txt"]),
                         (kind_of(self.archive), [item.name for item in reference.items]))

    def test_a_file_that_7_zip_does_not_open_must_not_be_unpacked(self):
        self.archive.write_bytes(seeds("xz")[0].data)

        self.assertEqual((None, [], {}), judge(Outcome(1, MB, 0, 0), self.place, self.place))
        self.assertEqual((None, ["the library opens it, but 7-Zip's program does not"], {}),
                         judge(Outcome(0, MB, 0, 0), self.place, self.place))

    def test_a_mutant_is_the_same_every_time(self):
        first = mutant("7z", 3)
        seeds.cache_clear()

        self.assertEqual(first, mutant("7z", 3))


if __name__ == "__main__":
    unittest.main()
