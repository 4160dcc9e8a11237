"""Names that are safe to unpack on Windows, and the spelling of the layout."""

import unittest

import support  # pylint: disable=unused-import
from mendloft_pack import layout
from mendloft_pack.names import danger, printable


class Danger(unittest.TestCase):

    def test_is_not_in_ordinary_names(self):
        for path in ("path.txt", "usb/x64/USBAAPL64.CAT", "über/名前.inf", "a b/.hidden", "...x",
                     "con1", "console.txt", "com.txt", "nulls"):
            self.assertIsNone(danger(path), path)

    def test_is_in_device_names(self):
        for path in ("CON", "usb/nul", "aux.inf", "prn .txt", "com1", "LPT9.x.y", "com\u00b2",
                     "CONIN$"):
            self.assertIn("is a device name on Windows", danger(path) or "", path)

    def test_is_in_steps_and_empty_parts(self):
        for path in ("", "..", "../x", "x/..", "x/./y", "/x", "x/", "x//y"):
            self.assertIsNotNone(danger(path), path)

    def test_is_in_characters_and_endings_that_windows_does_not_accept(self):
        for path in ("a<b", "a>b", "a:b", 'a"b', "a|b", "a?b", "a*b", "a\\b", "a\x00b", "a\x1fb",
                     "x./y", "x /y", "\ud800"):
            self.assertIsNotNone(danger(path), path)


class Printable(unittest.TestCase):

    def test_leaves_printable_characters(self):
        self.assertEqual("usb/über 名前", printable("usb/über 名前"))

    def test_escapes_unprintable_characters(self):
        self.assertEqual("a\\n\\x1b\\u202e\\udc80", printable("a\n\x1b\u202e\udc80"))

    def test_shows_an_empty_name(self):
        self.assertEqual('""', printable(""))


class Spelling(unittest.TestCase):

    def test_is_that_of_the_layout_for_every_part_in_it(self):
        self.assertEqual("usb/x64/USBAAPL64.CAT", layout.spelling("USB/X64/usbaapl64.cat"))
        self.assertEqual("applekis/x86/Other.txt", layout.spelling("AppleKIS/X86/Other.txt"))

    def test_is_unchanged_elsewhere(self):
        self.assertEqual("Other/USB", layout.spelling("Other/USB"))

    def test_keeps_names_of_different_length_apart(self):
        self.assertNotEqual(layout.key("stra\u00dfe"), layout.key("strasse"))


if __name__ == "__main__":
    unittest.main()
