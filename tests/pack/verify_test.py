"""mendloft-pack verify, list and manifest."""

import hashlib
import os
import subprocess
import unittest

from support import SEVEN_ZIP, PackTest, rename_item, set_attributes


class Verify(PackTest):

    def verify(self, *options):
        return self.pack("verify", self.archive, *options)

    def test_accepts_the_output_of_make(self):
        self.made()

        result = self.verify()

        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertRegex(result.stdout,
                         r"driver\.7z: correct: 31 files, \d+ bytes, packed into \d+\n$")

    def test_refuses_the_unix_attributes_that_7zip_stores(self):
        self.complete_tree()
        for path in self.tree.rglob("*"):
            path.chmod(0o755 if path.is_dir() else 0o644)
        self.seven_zip("-m0=BCJ", "-m1=LZMA2", "-ms=on")

        result = self.verify()

        self.assertEqual(1, result.returncode)
        self.assertIn("path.txt: attributes 0x81a48020 are not plain Windows attributes "
                      "(0x81a48000 is not allowed)", result.stderr)
        self.assertIn("usb: attributes 0x41ed8010 are not plain Windows attributes "
                      "(0x41ed8000 is not allowed)", result.stderr)
        self.assertIn("usb/x86/usbaapl.PNF: must be read-only", result.stderr)
        self.assertIn(": 47 problems\n", result.stderr)

    def test_refuses_an_archive_without_attributes(self):
        self.complete_tree()
        self.seven_zip("-m0=BCJ", "-m1=LZMA2", "-ms=on", "-mtr=off")

        result = self.verify()

        self.assertEqual(1, result.returncode)
        self.assertIn("usb/x86/usbaapl.PNF: has no attributes\n", result.stderr)
        self.assertEqual(46, result.stderr.count(": has no attributes\n"))
        self.assertIn(": 46 problems\n", result.stderr)

    def test_refuses_a_compiled_inf_that_is_not_read_only(self):
        self.archive.write_bytes(set_attributes(self.made(), 0x21, 0x20))

        self.assertProblems(self.verify(), "usb/x86/usbaapl.PNF: must be read-only")

    def test_refuses_another_file_that_is_read_only(self):
        data = set_attributes(self.made(), 0x21, 0x80)
        self.archive.write_bytes(set_attributes(data, 0x20, 0x21))  # the last item that has 0x20

        self.assertProblems(self.verify(), "usb/x86/usbaapl.PNF: must be read-only",
                            "usb/x86/usbaaplrc.dll: must not be read-only")

    def test_refuses_a_link(self):
        self.archive.write_bytes(set_attributes(self.made(), 0x21, 0x421))

        self.assertProblems(self.verify(), "usb/x86/usbaapl.PNF: attributes 0x421 are not plain "
                                           "Windows attributes (0x400 is not allowed)")

    def test_refuses_the_attributes_of_a_folder_on_a_file(self):
        self.archive.write_bytes(set_attributes(self.made(), 0x21, 0x11))

        self.assertProblems(self.verify(),
                            "usb/x86/usbaapl.PNF: attributes 0x11 are not those of a file")

    def test_refuses_other_methods_and_more_than_one_block(self):
        self.complete_tree()
        self.seven_zip("-m0=LZMA", "-ms=off")

        result = self.verify()

        self.assertIn("compression: 31 blocks instead of one (solid) block", result.stderr)
        self.assertEqual(1, result.stderr.count("a block uses LZMA instead of LZMA2 with BCJ"))

    def test_refuses_lzma2_without_bcj(self):
        self.seven_zip("-m0=LZMA2", "-ms=on")

        result = self.verify()

        self.assertIn("compression: a block uses LZMA2 instead of LZMA2 with BCJ", result.stderr)

    def test_refuses_missing_items_for_the_empty_folders(self):
        self.complete_tree()
        (self.tree / "applersm/x86").rmdir()
        self.seven_zip("-m0=BCJ", "-m1=LZMA2")

        result = self.verify()

        self.assertIn("applersm/x86: missing (an empty folder needs an item of its own)\n",
                      result.stderr)
        self.assertEqual(1, result.stderr.count("missing"))

    def test_lists_every_item_missing_from_an_empty_archive(self):
        subprocess.run([SEVEN_ZIP, "a", "-t7z", self.archive, "-x!*", "*"], cwd=self.tree,
                       capture_output=True, check=False)

        result = self.verify()

        self.assertEqual(34, result.stderr.count(": missing"))
        self.assertIn("compression: 0 blocks instead of one (solid) block", result.stderr)
        self.assertIn(": 35 problems\n", result.stderr)


class VerifyHostileNames(PackTest):
    """Changes names in the archive itself, because no packer would write them."""

    def renamed(self, old, new):
        self.archive.write_bytes(rename_item(self.made(), old, new))
        return self.pack("verify", self.archive)

    def test_refuses_a_step_upwards(self):
        result = self.renamed("usb/x64/usbaapl64.sys", "../../../usbaapl4.sys")

        self.assertProblems(result, "usb/x64/usbaapl64.sys: missing",
                            '../../../usbaapl4.sys: unsafe name: it contains the step ".."')

    def test_refuses_a_step_upwards_with_backslashes(self):
        result = self.renamed("usb/x64/usbaapl64.sys", "..\\..\\..\\usbaapl4.sys")

        self.assertProblems(result, "usb/x64/usbaapl64.sys: missing",
                            "..\\..\\..\\usbaapl4.sys: unsafe name: "
                            "Windows forbids the character \\ in names")

    def test_refuses_an_absolute_path(self):
        result = self.renamed("usb/x64/usbaapl64.sys", "/indows/usbaapl64.sys")

        self.assertProblems(result, "usb/x64/usbaapl64.sys: missing",
                            "/indows/usbaapl64.sys: unsafe name: it starts or ends with a slash, "
                            "or has two slashes in a row")

    def test_refuses_a_drive(self):
        result = self.renamed("usb/x64/usbaapl64.sys", "C:/indows/usbaapl.sys")

        self.assertProblems(result, "usb/x64/usbaapl64.sys: missing",
                            "C:/indows/usbaapl.sys: unsafe name: "
                            "Windows forbids the character : in names")

    def test_prints_no_control_characters(self):
        result = self.renamed("usb/x64/usbaapl64.sys", "usb/x64/\x1b[2Japl64.sys")

        self.assertProblems(result, "usb/x64/usbaapl64.sys: missing",
                            "usb/x64/\\x1b[2Japl64.sys: unsafe name: "
                            "Windows forbids the character \\x1b in names")

    def test_refuses_a_name_that_would_overwrite_the_archive_itself(self):
        (self.tree / "extras.7z").write_text("x", encoding="ascii")
        self.make()
        self.archive.write_bytes(rename_item(self.archive.read_bytes(), "extras.7z", "Driver.7Z"))

        result = self.pack("verify", self.archive)

        self.assertProblems(result,
                            "Driver.7Z: would overwrite the archive while it is being unpacked")

    def test_refuses_a_second_item_of_the_same_name(self):
        result = self.renamed("usb/x64/usbaaplrc.dll", "USB/X64/USBAAPL64.SYS")

        self.assertProblems(result, "usb/x64/usbaaplrc.dll: missing",
                            "USB/X64/USBAAPL64.SYS: occurs twice (also as usb/x64/usbaapl64.sys)")


class VerifyDamage(PackTest):

    def verify(self, data):
        self.archive.write_bytes(data)
        return self.pack("verify", self.archive)

    def test_reports_where_a_truncated_archive_should_end(self):
        data = self.made()

        result = self.verify(data[:-1])

        self.assertProblems(result, f"archive: it is cut off after {len(data) - 1} of "
                                    f"{len(data)} bytes")

    def test_refuses_a_few_first_bytes(self):
        data = self.made()
        for length in (0, 1, 5):
            self.assertProblems(self.verify(data[:length]), "archive: it is not a 7z archive")
        for length in (6, 31):
            self.assertProblems(self.verify(data[:length]),
                                "archive: it ends within its first 32 bytes")

    def test_refuses_a_flipped_bit_in_the_first_32_bytes(self):
        data = bytearray(self.made())
        data[14] ^= 1

        self.assertProblems(self.verify(data), "archive: its first 32 bytes are damaged")

    def test_refuses_a_flipped_bit_in_the_directory(self):
        data = bytearray(self.made())
        data[-20] ^= 1

        self.assertProblems(self.verify(data), "archive: its directory is damaged")

    def test_refuses_a_flipped_bit_in_the_files(self):
        data = bytearray(self.made())
        data[600] ^= 1

        result = self.verify(data)

        self.assertEqual(1, result.returncode)
        self.assertIn("archive: 7-Zip cannot unpack it: Data Error (31 times)", result.stderr)

    def test_compares_every_file_with_its_checksum(self):
        self.made()
        size = sum(path.stat().st_size for path in self.tree.rglob("*.*"))
        program = self.another_seven_zip(f"head -c {size} /dev/zero\n")

        result = self.pack("--7zz", program, "verify", self.archive)

        self.assertEqual(31, result.stderr.count(": its content is damaged\n"))
        self.assertNotIn("were unpacked", result.stderr)

    def test_compares_the_size_of_what_is_unpacked(self):
        self.made()
        size = sum(path.stat().st_size for path in self.tree.rglob("*.*"))
        program = self.another_seven_zip(f'{SEVEN_ZIP} "$@"; echo')

        result = self.pack("--7zz", program, "verify", self.archive)

        self.assertProblems(result, f"content: {size + 1} bytes were unpacked instead of {size}")

    def test_refuses_bytes_after_the_end(self):
        result = self.verify(self.made() + b"more")

        self.assertProblems(result, "archive: it is followed by 4 bytes that do not belong to it")

    def test_refuses_another_format(self):
        subprocess.run([SEVEN_ZIP, "a", "-tzip", "x.zip", "packages"], cwd=self.work,
                       capture_output=True, check=True)

        result = self.pack("verify", "x.zip")

        self.assertProblems(result, "archive: it is not a 7z archive")

    def test_refuses_encrypted_files(self):
        self.seven_zip("-m0=BCJ", "-m1=LZMA2", "-psecret")

        self.assertIn("archive: it is encrypted", self.pack("verify", self.archive).stderr)

    def test_refuses_an_encrypted_directory(self):
        self.seven_zip("-psecret", "-mhe=on")

        result = self.pack("verify", self.archive)

        self.assertProblems(result, "archive: its directory is encrypted")

    def test_fails_without_the_archive(self):
        result = self.pack("verify", "nowhere.7z")

        self.assertEqual(3, result.returncode)
        self.assertEqual("mendloft-pack: cannot read nowhere.7z: No such file or directory\n",
                         result.stderr)


class Manifest(PackTest):

    def test_holds_checksum_size_and_path_of_every_file(self):
        note = (self.tree / "path.txt").read_bytes()
        self.made()

        result = self.pack("manifest", self.archive)

        self.assertEqual(0, result.returncode)
        lines = [line.split() for line in result.stdout.splitlines()]
        self.assertEqual(31, len(lines))
        self.assertEqual(sorted(lines, key=lambda line: line[2]), lines)
        self.assertIn([hashlib.sha256(note).hexdigest(), str(len(note)), "path.txt"], lines)

    def test_is_not_printed_for_an_archive_with_problems(self):
        self.archive.write_bytes(set_attributes(self.made(), 0x21, 0x20))

        result = self.pack("manifest", self.archive)

        self.assertEqual((1, ""), (result.returncode, result.stdout))

    def test_matches_its_own_archive(self):
        self.made()
        manifest = self.work / "manifest"
        manifest.write_text(self.pack("manifest", self.archive).stdout, encoding="utf-8")

        result = self.pack("verify", self.archive, "--manifest", manifest)

        self.assertEqual((0, ""), (result.returncode, result.stderr))

    def test_shows_every_difference_from_another_archive(self):
        (self.tree / "old file.txt").write_text("old", encoding="ascii")
        self.make()
        manifest = self.work / "manifest"
        manifest.write_text(self.pack("manifest", self.archive).stdout, encoding="utf-8")
        (self.tree / "old file.txt").unlink()
        (self.tree / "new file.txt").write_text("new", encoding="ascii")
        (self.tree / "usb/x64/usbaapl64.sys").write_text("changed", encoding="ascii")
        self.make()

        result = self.pack("verify", self.archive, "--manifest", manifest)

        self.assertProblems(result, "old file.txt: in the manifest but not in the archive",
                            "new file.txt: in the archive but not in the manifest",
                            "usb/x64/usbaapl64.sys: differs from the manifest")

    def test_must_exist_to_be_compared(self):
        self.made()

        result = self.pack("verify", self.archive, "--manifest", "nowhere")

        self.assertEqual(3, result.returncode)
        self.assertIn("cannot read nowhere", result.stderr)


class List(PackTest):

    def test_shows_attributes_sizes_and_paths(self):
        self.made()

        lines = self.pack("list", self.archive).stdout.splitlines()

        self.assertEqual(46, len(lines))
        self.assertIn("D....           applekis/x86", lines)
        size = os.path.getsize(self.tree / "usb/x86/usbaapl.PNF")
        self.assertIn(f".R..A {size:>9} usb/x86/usbaapl.PNF", lines)

    def test_shows_names_on_any_terminal(self):
        (self.tree / "über.txt").write_text("x", encoding="ascii")
        self.make()

        result = self.pack("list", self.archive, PYTHONIOENCODING="ascii")

        self.assertEqual(0, result.returncode, result.stderr)
        self.assertIn("\\xfcber.txt\n", result.stdout)


class CommandLine(PackTest):

    def test_has_help_on_the_exit_status(self):
        result = self.pack("--help")

        self.assertEqual(0, result.returncode)
        for line in ("  0  the archive is correct",
                     "  1  it has problems; each is listed on standard error",
                     "  2  the command line is wrong",
                     "  3  the work cannot be done: 7-Zip is missing, or a file cannot be read or "
                     "written"):
            self.assertIn(line + "\n", result.stdout)

    def test_is_refused_without_a_command(self):
        self.assertEqual(2, self.pack().returncode)

    def test_is_refused_with_an_unknown_command(self):
        self.assertEqual(2, self.pack("unpack", self.archive).returncode)


if __name__ == "__main__":
    unittest.main()
