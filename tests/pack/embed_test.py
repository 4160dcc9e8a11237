"""How the build packs, verifies and embeds the driver archive.

A small separate project includes resources/, so that nothing else is built.
"""

import os
import re
import shutil
import subprocess
import unittest

from support import ROOT, SEVEN_ZIP, PackTest, rename_item

PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(mendloft VERSION 1.2.3 DESCRIPTION "A description" LANGUAGES RC)
add_subdirectory("${SOURCES}/resources" resources)
"""


class Embedding(PackTest):

    def setUp(self):
        super().setUp()
        # A space in the paths must not matter.
        self.source, self.build = self.work / "the sources", self.work / "the build"
        (self.source / "tools").mkdir(parents=True)
        shutil.copytree(ROOT / "resources", self.source / "resources")
        shutil.copytree(ROOT / "tools", self.source / "tools", dirs_exist_ok=True)
        (self.source / "CMakeLists.txt").write_text(PROJECT, encoding="utf-8")

    def cmake(self, *arguments):
        return subprocess.run(["cmake", *arguments], cwd=self.work, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False)

    def configure(self, **variables):
        return self.cmake("-S", self.source, "-B", self.build, "-G", "Ninja",
                          f"-DCMAKE_TOOLCHAIN_FILE={ROOT}/cmake/mingw32.cmake",
                          f"-DSOURCES={self.source}",
                          *(f"-D{name}={value}" for name, value in variables.items()))

    def configured(self, **variables):
        result = self.configure(**variables)
        self.assertEqual(0, result.returncode, result.stdout)
        return result.stdout

    def built(self):
        result = self.cmake("--build", self.build)
        self.assertEqual(0, result.returncode, result.stdout)
        return result.stdout

    def packed(self):
        return (self.build / "resources/driver.7z").read_bytes()

    def resource_script(self, target):
        """Returns a compiled resource, converted back to a script."""
        compiled, = self.build.glob(f"resources/CMakeFiles/{target}.dir/*.rc.*")
        return subprocess.run(["i686-w64-mingw32-windres", "-J", "coff", "-O", "rc", compiled],
                              text=True, capture_output=True, check=True).stdout

    def test_embeds_the_stand_ins_unless_told_otherwise(self):
        self.assertIn("-- Driver archive: stand-in packages from resources/drivers",
                      self.configured())

        self.built()

        self.made()
        self.assertEqual(self.archive.read_bytes(), self.packed())

    def test_embeds_the_archive_as_type_driver_102_in_simplified_chinese(self):
        self.configured()
        self.built()

        script = self.resource_script("mendloft_resources")

        self.assertEqual(["LANGUAGE 4, 2"], re.findall("^LANGUAGE.*$", script, re.MULTILINE))
        self.assertEqual(['102 "DRIVER"'], re.findall('^.*"DRIVER"$', script, re.MULTILINE)[1:])
        first, second = (int(word, 16) for word in re.findall(r"0x([0-9a-f]+)L", script)[:2])
        self.assertEqual(self.packed()[:8],
                         first.to_bytes(4, "little") + second.to_bytes(4, "little"))

    def test_embeds_the_version_of_the_project(self):
        self.configured()
        self.built()

        script = self.resource_script("mendloft_version_resource")

        self.assertIn("FILEVERSION 1, 2, 3, 0", script)
        self.assertIn('VALUE "ProductVersion", "1.2.3"', script)
        self.assertIn('VALUE "OriginalFilename", "libmendloft.dll"', script)

    def test_embeds_the_archive_of_the_owner(self):
        (self.tree / "owner.txt").write_text("mine", encoding="ascii")
        self.make()

        self.assertIn(f"-- Driver archive: {self.archive}",
                      self.configured(MENDLOFT_DRIVER_ARCHIVE=self.archive))
        self.assertIn("owner.txt: extra file, 4 bytes", self.built())

        self.assertEqual(self.archive.read_bytes(), self.packed())

    def test_accepts_a_path_relative_to_the_current_folder(self):
        self.made()

        self.assertIn(f"-- Driver archive: {self.archive}",
                      self.configured(MENDLOFT_DRIVER_ARCHIVE="driver.7z"))

    def test_stops_at_a_bad_archive_and_lists_what_is_missing(self):
        data = rename_item(self.made(), "usb/x64/usbaapl64.sys", "usb/x64/usbaapl64.old")
        self.archive.write_bytes(rename_item(data, "net/x86/netaapl.cat", "net/x86/netaapl.old"))
        self.configured(MENDLOFT_DRIVER_ARCHIVE=self.archive)

        result = self.cmake("--build", self.build)

        self.assertNotEqual(0, result.returncode)
        self.assertIn(f"{self.archive}: usb/x64/usbaapl64.sys: missing\n", result.stdout)
        self.assertIn(f"{self.archive}: net/x86/netaapl.cat: missing\n", result.stdout)
        self.assertFalse((self.build / "resources/driver.7z").exists())

    def test_stops_at_a_missing_archive(self):
        result = self.configure(MENDLOFT_DRIVER_ARCHIVE="/no/such.7z")

        self.assertNotEqual(0, result.returncode)
        self.assertIn("MENDLOFT_DRIVER_ARCHIVE names no file: /no/such.7z", result.stdout)

    def configure_with_programs(self, folder):
        """Configures with no programs but those of the folder, and those that CMake itself needs."""
        return self.configure(CMAKE_PROGRAM_PATH=folder,
                              CMAKE_FIND_USE_SYSTEM_ENVIRONMENT_PATH="OFF",
                              CMAKE_FIND_USE_CMAKE_SYSTEM_PATH="OFF",
                              Python3_EXECUTABLE=shutil.which("python3"),
                              CMAKE_MAKE_PROGRAM=shutil.which("ninja"),
                              CMAKE_RC_COMPILER=shutil.which("i686-w64-mingw32-windres"),
                              CMAKE_C_COMPILER=shutil.which("i686-w64-mingw32-gcc"),
                              CMAKE_CXX_COMPILER=shutil.which("i686-w64-mingw32-g++"))

    def test_packs_with_7z_where_there_is_no_7zz(self):
        log = self.work / "arguments"
        program = self.another_seven_zip(f'echo "$@" >>{log}; exec {SEVEN_ZIP} "$@"\n', name="7z")
        result = self.configure_with_programs(program.parent)
        self.assertEqual(0, result.returncode, result.stdout)

        self.built()

        self.assertRegex(log.read_text(encoding="utf-8"), "^a .*-m1=LZMA2")

    def test_names_the_package_of_a_missing_7zip(self):
        result = self.configure_with_programs("/")

        self.assertNotEqual(0, result.returncode)
        self.assertIn("7-Zip's program (7zz or 7z) is missing", result.stdout)
        self.assertIn("apt-get install 7zip", result.stdout)

    def test_rebuilds_nothing_without_a_change(self):
        self.configured()
        self.built()

        self.assertIn("ninja: no work to do.", self.built())

    def test_verifies_the_archive_of_the_owner_once(self):
        self.made()
        os.utime(self.archive, (1000000000, 1000000000))
        self.configured(MENDLOFT_DRIVER_ARCHIVE=self.archive)
        self.built()

        self.assertIn("ninja: no work to do.", self.built())

    def test_packs_and_embeds_again_when_a_file_of_a_package_changes(self):
        self.configured()
        self.built()
        before = self.packed(), self.resource_script("mendloft_resources")
        with open(self.source / "resources/drivers/path.txt", "ab") as note:
            note.write(b"one more line\r\n")

        self.built()

        self.assertNotEqual(before[0], self.packed())
        self.assertNotEqual(before[1], self.resource_script("mendloft_resources"))

    def test_packs_again_when_a_file_is_added_or_removed(self):
        self.configured()
        self.built()
        (self.source / "resources/drivers/extra.txt").write_text("extra", encoding="ascii")
        self.assertIn("extra.txt: extra file, 5 bytes", self.built())
        (self.source / "resources/drivers/extra.txt").unlink()
        (self.source / "resources/drivers/net/x64/netaapl64.sys").unlink()

        result = self.cmake("--build", self.build)

        self.assertNotEqual(0, result.returncode)
        self.assertIn("net/x64/netaapl64.sys: missing\n", result.stdout)

    def test_embeds_again_when_the_archive_of_the_owner_changes(self):
        self.made()
        self.configured(MENDLOFT_DRIVER_ARCHIVE=self.archive)
        self.built()
        (self.tree / "owner.txt").write_text("mine", encoding="ascii")
        self.make()

        self.built()

        self.assertEqual(self.archive.read_bytes(), self.packed())


if __name__ == "__main__":
    unittest.main()
