"""mendloft-pack make."""

import os
import shutil
import stat
import subprocess
import unittest

from support import SEVEN_ZIP, PackTest, technical_listing

LAYOUT = """
applekis applekis/x64 applekis/x86 applersm applersm/x64 applersm/x86
appleusbdevice appleusbdevice/x64 appleusbdevice/x86 net net/x64 net/x86 usb usb/x64 usb/x86
path.txt
usb/x64/usbaapl64.inf usb/x64/USBAAPL64.CAT usb/x64/usbaapl64.sys usb/x64/usbaaplrc.dll
usb/x86/usbaapl.inf usb/x86/USBAAPL.CAT usb/x86/usbaapl.sys usb/x86/usbaaplrc.dll
usb/x86/usbaapl.PNF
net/x64/netaapl64.inf net/x64/netaapl64.cat net/x64/netaapl64.sys net/x64/WdfCoInstaller01009.dll
net/x86/netaapl.inf net/x86/netaapl.cat net/x86/netaapl.sys net/x86/WdfCoInstaller01009.dll
applekis/x64/AppleKIS.inf applekis/x64/applekis.cat applekis/x64/AppleKIS.sys
applekis/x64/AppleKISInterface.dll
applersm/x64/AppleRSM.inf applersm/x64/applersm.cat applersm/x64/AppleRSM.sys
applersm/x64/AppleRSMInterface.dll
appleusbdevice/x64/AppleUsb.inf appleusbdevice/x64/appleusb.cat
appleusbdevice/x64/AppleKmdfFilter.sys appleusbdevice/x64/AppleLowerFilter.sys
appleusbdevice/x64/AppleUsbFilter.dll
""".split()


class MadeArchive(PackTest):
    """The archive as the 7-Zip program lists it."""

    def setUp(self):
        super().setUp()
        self.made()
        self.properties, self.items = technical_listing(self.archive)

    def test_holds_the_layout_and_nothing_else(self):
        self.assertEqual(sorted(LAYOUT), sorted(self.items))

    def test_is_one_solid_block_with_lzma2_after_bcj(self):
        self.assertEqual("7z", self.properties["Type"])
        self.assertEqual("+", self.properties["Solid"])
        self.assertEqual("1", self.properties["Blocks"])
        self.assertRegex(self.properties["Method"], r"^LZMA2:\d+[kmg]? BCJ$")

    def test_keeps_the_empty_folders(self):
        for folder in ("applekis/x86", "applersm/x86", "appleusbdevice/x86"):
            self.assertEqual("D", self.items[folder]["Attributes"])

    def test_has_a_read_only_compiled_inf(self):
        self.assertEqual("RA", self.items["usb/x86/usbaapl.PNF"]["Attributes"])

    def test_has_plain_windows_attributes_on_everything_else(self):
        attributes = {item["Attributes"] for path, item in self.items.items()
                      if path != "usb/x86/usbaapl.PNF"}

        self.assertEqual({"D", "A"}, attributes)

    def test_has_one_fixed_time_everywhere(self):
        self.assertEqual({"2001-01-01 00:00:00"}, {
            item["Modified"].partition(".")[0] for item in self.items.values()})

    def test_unpacks_to_identical_files(self):
        unpacked = self.work / "unpacked"

        subprocess.run([SEVEN_ZIP, "x", self.archive, f"-o{unpacked}"], capture_output=True, check=True)

        for source in self.tree.rglob("*.*"):
            self.assertEqual(source.read_bytes(),
                             (unpacked / source.relative_to(self.tree)).read_bytes())


class Make(PackTest):

    def test_prints_how_much_it_packed(self):
        result = self.make()

        self.assertRegex(result.stdout,
                         r"driver\.7z: correct: 31 files, \d+ bytes, packed into \d+\n$")

    def test_gives_the_same_bytes_twice(self):
        self.assertEqual(self.made(), self.made())

    def test_gives_the_same_bytes_whatever_the_times_modes_and_order_of_the_files(self):
        first = self.made()
        copy = self.work / "copy"
        for source in sorted(self.tree.rglob("*.*"), reverse=True):
            target = copy / source.relative_to(self.tree)
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, target)
            os.utime(target, (1234567890, 1234567890))
            target.chmod(stat.S_IRUSR)

        self.pack("make", copy, self.archive)

        self.assertEqual(first, self.archive.read_bytes())

    def test_takes_the_time_from_source_date_epoch(self):
        self.make(SOURCE_DATE_EPOCH="1000000000")

        self.assertRegex(technical_listing(self.archive)[1]["path.txt"]["Modified"],
                         r"^2001-09-09 01:46:40")

    def test_refuses_a_source_date_epoch_that_is_not_a_number(self):
        result = self.make(SOURCE_DATE_EPOCH="yesterday")

        self.assertEqual(3, result.returncode)
        self.assertIn("SOURCE_DATE_EPOCH is not a number of seconds since 1970: yesterday",
                      result.stderr)
        self.assertFalse(self.archive.exists())

    def test_lists_every_missing_file_at_once(self):
        (self.tree / "usb/x64/USBAAPL64.CAT").unlink()
        (self.tree / "net/x86/netaapl.sys").unlink()
        (self.tree / "path.txt").unlink()

        result = self.make()

        self.assertProblems(
            result,
            "usb/x64/USBAAPL64.CAT: missing",
            "usb/x64/usbaapl64.inf: its catalog is not beside it: USBAAPL64.CAT",
            "net/x86/netaapl.sys: missing",
            "path.txt: missing")

    def test_lists_problems_of_different_kinds_together(self):
        (self.tree / "usb/x86/usbaapl.sys").write_bytes(b"")
        (self.tree / "net/x64/netaapl64.inf").write_text("no INF file", encoding="ascii")
        (self.tree / "applekis/x64/AppleKIS.sys").unlink()
        (self.tree / "applekis/x64/AppleKIS.sys").mkdir()
        shutil.rmtree(self.tree / "applersm")
        (self.tree / "applersm").write_text("a file", encoding="ascii")
        (self.tree / "link").symlink_to("path.txt")
        (self.tree / "driver.7z").write_text("an archive", encoding="ascii")

        result = self.make()

        self.assertProblems(
            result,
            "usb/x86/usbaapl.sys: is empty",
            "net/x64/netaapl64.inf: not an INF file: "
            "has a line before its first section: no INF file",
            "applekis/x64/AppleKIS.sys: is a folder but must be a file",
            "applersm: is a file but must be a folder",
            "applersm/x64/AppleRSM.inf: missing",
            "applersm/x64/applersm.cat: missing",
            "applersm/x64/AppleRSM.sys: missing",
            "applersm/x64/AppleRSMInterface.dll: missing",
            "applersm/x86: is below applersm, which is a file",
            "link: neither a file nor a folder",
            "driver.7z: would overwrite the archive while it is being unpacked")

    def test_leaves_no_file_behind_when_there_is_a_problem(self):
        (self.tree / "path.txt").unlink()

        self.make()

        self.assertEqual([self.tree], list(self.work.iterdir()))

    def test_leaves_nothing_but_the_archive_behind(self):
        self.made()

        self.assertEqual([self.archive, self.tree], sorted(self.work.iterdir()))

    def test_leaves_an_older_archive_alone_when_there_is_a_problem(self):
        before = self.made()
        (self.tree / "path.txt").unlink()

        self.make()

        self.assertEqual(before, self.archive.read_bytes())

    def test_replaces_an_older_archive(self):
        before = self.made()
        (self.tree / "path.txt").write_text("another note", encoding="ascii")

        self.assertNotEqual(before, self.made())

    def test_packs_extra_files_and_remarks_on_them(self):
        (self.tree / "readme.txt").write_text("for owners", encoding="ascii")
        (self.tree / "usb/x64/more").mkdir()
        (self.tree / "usb/x64/more/über.txt").write_text("more", encoding="ascii")

        result = self.make()

        self.assertEqual(0, result.returncode)
        self.assertRemarks(result, "readme.txt: extra file, 10 bytes", "usb/x64/more: extra folder",
                           "usb/x64/more/über.txt: extra file, 4 bytes")
        self.assertEqual("4", technical_listing(self.archive)[1]["usb/x64/more/über.txt"]["Size"])

    def test_packs_names_in_any_script_in_any_locale(self):
        (self.tree / "名前.txt").write_text("x", encoding="ascii")

        result = self.make(LC_ALL="POSIX")

        self.assertEqual(0, result.returncode, result.stderr)
        self.assertIn("名前.txt", technical_listing(self.archive)[1])

    def test_packs_names_that_look_like_options_or_lists(self):
        for name in ("-sdel", "@list", ".hidden"):
            (self.tree / name).write_text(name, encoding="ascii")

        self.assertEqual(0, self.make().returncode)

        self.assertLess({"-sdel", "@list", ".hidden"}, set(technical_listing(self.archive)[1]))

    def test_remarks_on_a_file_in_a_folder_that_should_be_empty(self):
        (self.tree / "applekis/x86").mkdir(exist_ok=True)
        (self.tree / "applekis/x86/AppleKIS.sys").write_text("32-bit", encoding="ascii")

        result = self.make()

        self.assertEqual(0, result.returncode)
        self.assertRemarks(result, "applekis/x86/AppleKIS.sys: extra; this folder is empty in "
                                   "the layout, so that 32-bit systems find no driver in this package")

    def test_gives_names_the_spelling_of_the_layout(self):
        (self.tree / "usb").rename(self.tree / "USB")
        (self.tree / "USB/x64/USBAAPL64.CAT").rename(self.tree / "USB/x64/usbaapl64.cat")

        result = self.make()

        self.assertEqual(0, result.returncode)
        self.assertIn("USB/x64/usbaapl64.cat: spelled usb/x64/USBAAPL64.CAT in the layout",
                      result.stderr)
        self.assertEqual(sorted(LAYOUT), sorted(technical_listing(self.archive)[1]))

    def test_refuses_two_names_that_are_the_same_on_windows(self):
        (self.tree / "PATH.TXT").write_text("another", encoding="ascii")

        result = self.make()

        self.assertProblems(result, "path.txt: occurs twice (also as PATH.TXT)")

    def test_refuses_names_that_windows_forbids(self):
        for name in ("a:b", "back\\slash", "question?", "dot.", "blank ", "nul.txt", "tab\t"):
            (self.tree / name).write_text("x", encoding="ascii")

        result = self.make()

        self.assertProblems(
            result,
            "a:b: unsafe name: Windows forbids the character : in names",
            "back\\slash: unsafe name: Windows forbids the character \\ in names",
            "question?: unsafe name: Windows forbids the character ? in names",
            "dot.: unsafe name: a part of it ends with a dot or a space, which Windows drops",
            "blank : unsafe name: a part of it ends with a dot or a space, which Windows drops",
            'nul.txt: unsafe name: "nul.txt" is a device name on Windows',
            "tab\\t: unsafe name: Windows forbids the character \\t in names")

    def test_refuses_a_name_that_is_not_text(self):
        with open(os.path.join(os.fsencode(self.tree), b"\xff"), "wb"):
            pass

        self.assertProblems(self.make(), "\\udcff: unsafe name: it is not Unicode text")

    def test_accepts_paths_relative_to_the_current_folder(self):
        result = self.pack("make", "packages", "made.7z")

        self.assertEqual(0, result.returncode, result.stderr)
        self.assertTrue((self.work / "made.7z").exists())

    def test_fails_without_the_folder(self):
        result = self.pack("make", "nowhere", self.archive)

        self.assertEqual(3, result.returncode)
        self.assertEqual("mendloft-pack: cannot read nowhere: No such file or directory\n",
                         result.stderr)

    def test_fails_without_the_target_folder(self):
        result = self.pack("make", self.tree, "nowhere/driver.7z")

        self.assertEqual(3, result.returncode)
        self.assertEqual(
            "mendloft-pack: cannot write nowhere/driver.7z: No such file or directory\n",
            result.stderr)


class MakeWithAnotherSevenZip(PackTest):

    def stand_in(self, script):
        return self.pack("--7zz", self.another_seven_zip(script), "make", self.tree, self.archive)

    def make_with_path(self, folder):
        """Makes the archive with the default program, which is looked up in only one folder."""
        return self.make(PATH=str(folder))

    def test_uses_7z_where_there_is_no_7zz(self):
        program = self.another_seven_zip(f'exec {SEVEN_ZIP} "$@"\n', name="7z")

        result = self.make_with_path(program.parent)

        self.assertEqual((0, ""), (result.returncode, result.stderr))

    def test_prefers_7zz_to_7z(self):
        self.another_seven_zip("exit 7\n", name="7z")
        program = self.another_seven_zip(f'exec {SEVEN_ZIP} "$@"\n', name="7zz")

        result = self.make_with_path(program.parent)

        self.assertEqual((0, ""), (result.returncode, result.stderr))

    def test_names_both_programs_and_the_package_where_there_is_neither(self):
        result = self.make_with_path(self.tree)

        self.assertEqual(3, result.returncode)
        self.assertEqual("mendloft-pack: the 7-Zip program 7zz or 7z is missing; "
                         "run scripts/setup, or: apt-get install 7zip\n", result.stderr)

    def test_names_the_package_of_a_missing_7zip(self):
        result = self.pack("--7zz", "no-such-7zz", "make", self.tree, self.archive)

        self.assertEqual(3, result.returncode)
        self.assertEqual("mendloft-pack: the 7-Zip program no-such-7zz is missing; "
                         "run scripts/setup, or: apt-get install 7zip\n", result.stderr)

    def test_reports_why_7zip_failed_and_writes_nothing(self):
        result = self.stand_in("echo 'ERROR: disk full' >&2; exit 2\n")

        self.assertEqual(3, result.returncode)
        self.assertEqual("mendloft-pack: 7-Zip could not pack: disk full\n", result.stderr)
        self.assertFalse(self.archive.exists())

    def test_reports_the_exit_code_of_7zip_when_it_gave_no_reason(self):
        result = self.stand_in("exit 7\n")

        self.assertEqual("mendloft-pack: 7-Zip could not pack: exit code 7\n", result.stderr)

    def test_detects_that_7zip_left_out_a_file(self):
        (self.tree / "extra.txt").write_text("extra", encoding="ascii")

        result = self.stand_in(f'rm -f extra.txt; exec {SEVEN_ZIP} "$@"\n')

        self.assertProblems(result, "archive: 7-Zip packed something other than the given files")
        self.assertFalse(self.archive.exists())

    def test_detects_an_unreadable_archive_from_7zip(self):
        result = self.stand_in(
            'for a; do case $a in */driver.7z) echo nonsense >"$a" ;; esac; done\n')

        self.assertEqual(3, result.returncode)
        self.assertEqual("mendloft-pack: cannot read what 7-Zip packed: "
                         "it is not a 7z archive\n", result.stderr)
        self.assertFalse(self.archive.exists())


if __name__ == "__main__":
    unittest.main()
