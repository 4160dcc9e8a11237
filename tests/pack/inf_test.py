"""The reader of INF files."""

import unittest

import support  # pylint: disable=unused-import
from mendloft_pack.inf import Inf, NotInf

VERSION = """[Version]
Signature="$Windows NT$"
Class=USB
ClassGuid={36FC9E60-C465-11CF-8056-444553540000}
Provider=%P%
CatalogFile=a.cat
DriverVer=01/02/2003,4.5.6.7
"""


def problems(text, architecture="x64"):
    return list(Inf(text.encode("latin-1")).problems(architecture))


class InfArchitecture(unittest.TestCase):

    def test_x64_is_supported_by_ntamd64(self):
        self.assertEqual([], problems(
            VERSION + "[Manufacturer]\n%M%=Apple,NTamd64\n[Apple.NTamd64]\n"))

    def test_x64_is_supported_by_ntamd64_with_a_windows_version(self):
        self.assertEqual([], problems(
            VERSION + "[Manufacturer]\n%M%=Apple, NTx86, NTamd64.10.0...16299\n"
                      "[Apple.NTamd64.10.0...16299]\n"))

    def test_x64_is_not_supported_by_an_undecorated_section(self):
        self.assertEqual(
            ["[Manufacturer] leads to no models section for x64 (such as [Models.NTamd64])"],
            problems(VERSION + "[Manufacturer]\n%M%=Apple\n[Apple]\n"))

    def test_x64_is_not_supported_by_a_section_that_the_manufacturer_does_not_name(self):
        self.assertEqual(
            ["[Manufacturer] leads to no models section for x64 (such as [Models.NTamd64])"],
            problems(VERSION + "[Manufacturer]\n%M%=Apple,NTarm64\n[Apple.NTarm64]\n"
                               "[Apple.NTamd64]\n"))

    def test_x64_is_not_supported_by_a_section_that_is_named_but_missing(self):
        self.assertEqual(
            ["[Manufacturer] leads to no models section for x64 (such as [Models.NTamd64])"],
            problems(VERSION + "[Manufacturer]\n%M%=Apple,NTamd64\n[Apple.NTx86]\n"))

    def test_x86_is_supported_by_an_undecorated_section(self):
        self.assertEqual([], problems(VERSION + "[Manufacturer]\n%M%=Apple\n[Apple]\n", "x86"))

    def test_x86_is_supported_by_a_line_with_only_the_name_of_the_section(self):
        self.assertEqual([], problems(VERSION + "[Manufacturer]\nApple\n[Apple]\n", "x86"))

    def test_x86_is_supported_by_ntx86_and_by_nt_for_any_architecture(self):
        for decoration in ("NTx86", "ntX86.6.1", "NT", "NT.5.1"):
            self.assertEqual([], problems(
                f"{VERSION}[Manufacturer]\n%M%=Apple,{decoration}\n[apple.{decoration}]\n", "x86"))

    def test_x86_is_not_supported_by_ntamd64(self):
        self.assertEqual(
            ["[Manufacturer] leads to no models section for x86 (such as [Models.NTx86])"],
            problems(VERSION + "[Manufacturer]\n%M%=Apple,NTamd64\n[Apple.NTamd64]\n", "x86"))


class InfVersion(unittest.TestCase):
    MODELS = "[Manufacturer]\n%M%=Apple,NTamd64\n[Apple.NTamd64]\n"

    def test_every_missing_entry_is_reported(self):
        self.assertEqual(
            ["[Version] has no Signature", "[Version] has no Class", "[Version] has no ClassGuid",
             "[Version] has no Provider", "[Version] has no DriverVer",
             "[Version] has no CatalogFile"],
            problems("[Version]\n" + self.MODELS))

    def test_an_entry_without_a_value_counts_as_missing(self):
        self.assertEqual(["[Version] has no Class"],
                         problems(VERSION.replace("Class=USB", 'Class=""') + self.MODELS))

    def test_an_unknown_signature_is_refused(self):
        self.assertEqual(['[Version] has the unknown Signature "$Windows 3$"'],
                         problems(VERSION.replace("Windows NT", "Windows 3") + self.MODELS))

    def test_the_case_of_a_signature_does_not_matter(self):
        self.assertEqual([], problems(VERSION.replace("$Windows NT$", "$CHICAGO$") + self.MODELS))

    def test_a_catalog_may_be_named_for_an_architecture(self):
        text = VERSION.replace("CatalogFile=", "CatalogFile.NTamd64 = ")

        self.assertEqual([], problems(text + self.MODELS))
        self.assertEqual(["a.cat"], Inf(text.encode("latin-1")).catalogs())

    def test_a_missing_manufacturer_is_refused(self):
        self.assertEqual(["has no [Manufacturer] section"], problems(VERSION))


class InfText(unittest.TestCase):
    TEXT = VERSION + "[Manufacturer]\n%M%=Apple,NTamd64\n[Apple.NTamd64]\n"

    def test_is_read_in_every_encoding_of_windows(self):
        for data in (b"\xef\xbb\xbf" + self.TEXT.encode("utf-8"), self.TEXT.encode("utf-16"),
                     b"\xfe\xff" + self.TEXT.encode("utf-16-be"), self.TEXT.encode("latin-1")):
            self.assertEqual([], list(Inf(data).problems("x64")))

    def test_is_read_with_both_line_endings(self):
        for end in ("\n", "\r\n"):
            self.assertEqual([], problems(self.TEXT.replace("\n", end)))

    def test_has_comments_that_end_with_the_line(self):
        self.assertEqual([], problems(self.TEXT.replace("USB", "USB ; [Broken")))

    def test_may_have_a_semicolon_between_quotes(self):
        inf = Inf(VERSION.replace("a.cat", '"a;b.cat"').encode("latin-1"))

        self.assertEqual(["a;b.cat"], inf.catalogs())

    def test_continues_after_a_backslash_at_the_end_of_a_line(self):
        self.assertEqual([], problems(self.TEXT.replace("Apple,NT", "Apple, \\\n  NT")))

    def test_may_divide_a_section_in_two(self):
        self.assertEqual([], problems(
            self.TEXT.replace("Class=USB", "[Strings]\na=b\n[VERSION]\nClass=USB")))

    def test_is_refused_without_a_version_section(self):
        with self.assertRaisesRegex(NotInf, r"^has no \[Version\] section$"):
            Inf(b"[Manufacturer]\r\n")

    def test_is_refused_with_zero_bytes(self):
        with self.assertRaisesRegex(NotInf, "^is not a text file$"):
            Inf(b"[Version]\0\0\0")

    def test_is_refused_with_a_broken_section_line(self):
        for line in ("[Version", "[Version] x"):
            with self.assertRaisesRegex(NotInf, r"^has a broken section line: \[Version"):
                Inf(line.encode("ascii"))

    def test_is_refused_with_text_before_the_first_section(self):
        with self.assertRaisesRegex(NotInf, "^has a line before its first section: MZ$"):
            Inf(b"MZ\r\n[Version]\r\n")


if __name__ == "__main__":
    unittest.main()
