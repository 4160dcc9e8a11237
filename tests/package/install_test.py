"""The installed files, and what the bill of materials and the checksums say about them."""

import hashlib
import json
import os
import shutil
import unittest

from support import BUILD, DOCUMENTS, PackageTest, files_below, installed, run, succeed

FILES = [
    "bin/files/inf/InfInstallerx64.exe",
    "bin/files/inf/InfInstallerx86.exe",
    "bin/libmendloft.dll",
    "include/mendloft/mendloft.h",
    "lib/cmake/mendloft/mendloft-config-version.cmake",
    "lib/cmake/mendloft/mendloft-config.cmake",
    "lib/libmendloft.dll.a",
    "lib/mendloft.lib",
    "lib/pkgconfig/mendloft.pc",
    "share/doc/mendloft/CHANGELOG.md",
    "share/doc/mendloft/SHA256SUMS",
    "share/doc/mendloft/THIRD-PARTY-NOTICES.md",
    "share/doc/mendloft/docs/driver-archive.md",
    "share/doc/mendloft/docs/host-guide.md",
    "share/doc/mendloft/docs/inf-installer.md",
    "share/doc/mendloft/docs/mendloftctl.md",
    "share/doc/mendloft/docs/results.md",
    "share/doc/mendloft/docs/security.md",
    "share/doc/mendloft/examples/c/CMakeLists.txt",
    "share/doc/mendloft/examples/c/linked.c",
    "share/doc/mendloft/examples/c/loaded.c",
    "share/doc/mendloft/examples/cpp/CMakeLists.txt",
    "share/doc/mendloft/examples/cpp/smallest.cpp",
    "share/doc/mendloft/examples/cpp/threaded.cpp",
    "share/doc/mendloft/examples/csharp/Host.cs",
    "share/doc/mendloft/examples/python/host.py",
    "share/doc/mendloft/licences/7-Zip.txt",
    "share/doc/mendloft/licences/GCC-runtime.txt",
    "share/doc/mendloft/licences/GPL-3.0.txt",
    "share/doc/mendloft/licences/LGPL-2.1.txt",
    "share/doc/mendloft/licences/mingw-w64-runtime.txt",
    "share/doc/mendloft/sbom.spdx.json",
    "tools/mendloft-pack",
    "tools/mendloft_pack/__init__.py",
    "tools/mendloft_pack/archive.py",
    "tools/mendloft_pack/checks.py",
    "tools/mendloft_pack/command_line.py",
    "tools/mendloft_pack/findings.py",
    "tools/mendloft_pack/inf.py",
    "tools/mendloft_pack/layout.py",
    "tools/mendloft_pack/names.py",
    "tools/mendloft_pack/sevenzip_blocks.py",
    "tools/mendloft_pack/sevenzip_format.py",
    "tools/mendloft_pack/sevenzip_packed_directory.py",
    "tools/mendloft_pack/sevenzip_program.py",
    "tools/mendloft_pack/sevenzip_values.py",
]
# Present only if the build found what it takes to make them.
OPTIONAL = {
    "bin/mendloftctl.exe",
    "lib/mendloft.lib",
    "share/doc/mendloft/licences/CLI11.txt",
    "share/doc/mendloft/licences/nlohmann-json.txt",
}
WITH_MENDLOFTCTL = {"CLI11": "BSD-3-Clause", "JSON for Modern C++": "MIT"}


def sha256(file):
    return hashlib.sha256(file.read_bytes()).hexdigest()


class Installation(PackageTest):

    def test_holds_these_files(self):
        self.assertEqual([file for file in FILES if file not in OPTIONAL],
                         [file for file in files_below(installed()) if file not in OPTIONAL])

    def test_holds_the_import_library_for_visual_studio_where_llvm_can_make_it(self):
        has_tool = bool(shutil.which("llvm-dlltool") or shutil.which("llvm-dlltool-14"))

        self.assertEqual(has_tool, (installed() / "lib/mendloft.lib").exists())

    def test_holds_the_library_as_it_was_built(self):
        self.assertEqual(sha256(BUILD / "bin/libmendloft.dll"),
                         sha256(installed() / "bin/libmendloft.dll"))

    @unittest.skipIf("MENDLOFT_COVERAGE:BOOL=ON" in (BUILD / "CMakeCache.txt").read_text(),
                     "a library that measures coverage contains the path of its counters")
    def test_does_not_contain_the_path_of_the_build(self):
        for name in files_below(installed()):
            with self.subTest(name):
                self.assertNotIn(str(BUILD).encode(), (installed() / name).read_bytes())

    def test_has_the_licence_of_every_linked_component(self):
        opening_words = {
            "7-Zip": "7-Zip source code",
            "LGPL-2.1": "GNU LESSER GENERAL PUBLIC LICENSE",
            "GCC-runtime": "GCC RUNTIME LIBRARY EXCEPTION",
            "GPL-3.0": "GNU GENERAL PUBLIC LICENSE",
            "mingw-w64-runtime": "mingw-w64-libraries/winpthreads",
        }
        if (BUILD / "bin/mendloftctl.exe").exists():
            opening_words |= {"CLI11": "University of Cincinnati", "nlohmann-json": "Niels Lohmann"}
        for name, words in opening_words.items():
            with self.subTest(name):
                text = (installed() / DOCUMENTS / "licences" / f"{name}.txt").read_text("utf-8")
                self.assertIn(words, text)

    def test_is_the_same_when_it_is_repeated(self):
        sums = installed() / DOCUMENTS / "SHA256SUMS"
        before = sums.read_text()

        succeed("cmake", "--install", BUILD, "--prefix", installed())

        self.assertEqual(before, sums.read_text())

    def test_describes_only_its_own_files_in_a_folder_that_holds_others(self):
        (self.work / "bin").mkdir()
        (self.work / "bin/other.exe").write_text("not ours")

        succeed("cmake", "--install", BUILD, "--prefix", self.work)

        self.assertNotIn("other.exe", (self.work / DOCUMENTS / "SHA256SUMS").read_text())

    def test_can_be_placed_below_another_root(self):
        succeed("cmake", "--install", BUILD, "--prefix", "/opt/mendloft",
                env={**os.environ, "DESTDIR": str(self.work)})

        self.assertEqual(files_below(installed()), files_below(self.work / "opt/mendloft"))
        self.assertEqual(
            [line.split("  ")[1] for line in self.sums(installed())],
            [line.split("  ")[1] for line in self.sums(self.work / "opt/mendloft")])

    def sums(self, folder):
        return (folder / DOCUMENTS / "SHA256SUMS").read_text().splitlines()


class Checksums(PackageTest):

    def test_are_right_for_every_file_except_their_own(self):
        expected = [f"{sha256(installed() / name)}  {name}" for name in files_below(installed())
                    if name != f"{DOCUMENTS}/SHA256SUMS"]

        self.assertEqual(expected,
                         (installed() / DOCUMENTS / "SHA256SUMS").read_text().splitlines())

    def test_are_accepted_by_sha256sum(self):
        result = run("sha256sum", "--check", "--strict", "--quiet", f"{DOCUMENTS}/SHA256SUMS",
                     cwd=installed())

        self.assertEqual((0, ""), (result.returncode, result.stdout))


class BillOfMaterials(PackageTest):

    def setUp(self):
        super().setUp()
        self.bill = json.loads((installed() / DOCUMENTS / "sbom.spdx.json").read_text())

    def test_has_what_spdx_requires_of_a_document(self):
        self.assertEqual(("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT", "libmendloft-1.0.0"),
                         tuple(self.bill[key]
                               for key in ("spdxVersion", "dataLicense", "SPDXID", "name")))
        self.assertRegex(self.bill["documentNamespace"], r"^https://[^#]+$")
        self.assertRegex(self.bill["creationInfo"]["created"],
                         r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")

    def test_names_every_linked_component_and_its_licence(self):
        has_mendloftctl = (BUILD / "bin/mendloftctl.exe").exists()

        licences = {package["name"]: package["licenseDeclared"]
                    for package in self.bill["packages"]}

        self.assertEqual({
            "libmendloft": "NOASSERTION",
            "7-Zip": "LGPL-2.1-or-later AND BSD-3-Clause AND BSD-2-Clause",
            "GCC runtime libraries": "GPL-3.0-or-later WITH GCC-exception-3.1",
            "mingw-w64 runtime": "ZPL-2.1 AND LicenseRef-gdtoa",
            "winpthreads": "MIT AND BSD-3-Clause",
        } | (WITH_MENDLOFTCTL if has_mendloftctl else {}), licences)

    def test_names_the_version_of_every_component(self):
        for package in self.bill["packages"]:
            with self.subTest(package["name"]):
                self.assertRegex(package["versionInfo"], r"^\d+(\.\d+)*$")

    def test_lists_every_file_except_itself_and_the_checksums(self):
        names = [file["fileName"] for file in self.bill["files"]]

        self.assertEqual([f"./{name}" for name in files_below(installed())
                          if not name.endswith(("sbom.spdx.json", "SHA256SUMS"))], names)

    def test_has_the_right_checksums(self):
        for file in self.bill["files"]:
            content = (installed() / file["fileName"]).read_bytes()
            self.assertEqual({"SHA1": hashlib.sha1(content).hexdigest(),
                              "SHA256": hashlib.sha256(content).hexdigest()},
                             {entry["algorithm"]: entry["checksumValue"]
                              for entry in file["checksums"]})

    def test_refers_only_to_its_own_elements(self):
        elements = [self.bill, *self.bill["packages"], *self.bill["files"]]
        identifiers = [element["SPDXID"] for element in elements]

        self.assertEqual(len(identifiers), len(set(identifiers)))
        for identifier in identifiers:
            self.assertRegex(identifier, r"^SPDXRef-[A-Za-z0-9.-]+$")
        for relationship in self.bill["relationships"]:
            self.assertIn(relationship["spdxElementId"], identifiers)
            self.assertIn(relationship["relatedSpdxElement"], identifiers)

    def test_contains_the_licences_that_spdx_does_not_list(self):
        self.assertEqual(["LicenseRef-gdtoa"],
                         [entry["licenseId"] for entry in self.bill["hasExtractedLicensingInfos"]])
