"""The finished programs import nothing that the oldest Windows that may load them lacks. The table of
functions is windows_functions.txt. MENDLOFT_BUILD is the folder of the build."""

import os
import pathlib
import struct
import unittest

from import_gate import findings, read_table, version_of
from pe_file import Import, PeFile
from support import made_program

TABLE = pathlib.Path(__file__).resolve().with_name("windows_functions.txt")
FUNCTIONS = read_table(TABLE.read_text(encoding="ascii"))
# The oldest Windows that has to load each program. The library has an answer for a Windows before
# Vista. The programs next to it are for Windows that the library works on, so Vista is old enough.
OLDEST = {"libmendloft.dll": (5, 1), "mendloftctl.exe": (6, 0),
          "files/inf/InfInstallerx86.exe": (6, 0), "files/inf/InfInstallerx64.exe": (6, 0)}


def built(name):
    return PeFile((pathlib.Path(os.environ["MENDLOFT_BUILD"]) / "bin" / name).read_bytes())


class FinishedPrograms(unittest.TestCase):

    def test_can_be_loaded_by_the_oldest_windows(self):
        for name, oldest in OLDEST.items():
            with self.subTest(program=name):
                self.assertEqual([], findings(built(name), FUNCTIONS, oldest))

    def test_are_read_whole(self):
        for name in OLDEST:
            with self.subTest(program=name):
                imports = built(name).imports()
                self.assertLessEqual({Import("kernel32.dll", "CloseHandle"),
                                      Import("msvcrt.dll", "malloc"),
                                      Import("shlwapi.dll", "PathFileExistsW")}, imports)


class Table(unittest.TestCase):

    def test_is_in_order(self):
        rows = [line for line in TABLE.read_text(encoding="ascii").splitlines() if line and line[0] != "#"]
        self.assertEqual(sorted(rows), rows)

    def test_names_modules_as_the_gate_looks_them_up(self):
        for entry in FUNCTIONS:
            self.assertRegex(entry.module, r"^[a-z0-9]+\.dll$")

    def test_names_versions_that_exist(self):
        existing = {version_of(text) for text in ("5.1", "5.2", "6.0", "6.1", "6.2", "6.3", "10.0")}
        self.assertLessEqual(set(FUNCTIONS.values()), existing)


class Gate(unittest.TestCase):

    def assertFindings(self, expected, content, oldest=(5, 1)):
        table = read_table("# A comment.\n\na.dll Old 5.1\na.dll New 6.0\nb.dll Newer 10.0\n")
        self.assertEqual(expected, findings(PeFile(content), table, oldest))

    def test_lets_pass_what_is_old_enough(self):
        self.assertFindings([], made_program({"a.dll": ["Old"]}, {"A.DLL": ["Old"]}))
        self.assertFindings([], made_program({"a.dll": ["Old", "New"]}), oldest=(6, 0))

    def test_lets_pass_a_program_without_imports(self):
        self.assertFindings([], made_program())

    def test_stops_a_function_that_is_too_new(self):
        self.assertFindings(["a.dll New is new in Windows 6.0", "b.dll Newer is new in Windows 10.0"],
                            made_program({"a.dll": ["Old", "New"], "B.dll": ["Newer"]}))

    def test_stops_an_unknown_function(self):
        self.assertFindings(["a.dll Unknown is not in the table"],
                            made_program({"a.dll": ["Old", "Unknown"]}))

    def test_stops_a_known_function_of_another_module(self):
        self.assertFindings(["b.dll Old is not in the table"], made_program({"b.dll": ["Old"]}))

    def test_stops_a_function_whose_name_differs_in_case(self):
        self.assertFindings(["a.dll old is not in the table"], made_program({"a.dll": ["old"]}))

    def test_stops_a_function_that_is_imported_by_its_number(self):
        self.assertFindings(["a.dll #7 is not in the table"], made_program({"a.dll": [7, "Old"]}))

    def test_stops_a_delayed_function(self):
        self.assertFindings(["a.dll New is new in Windows 6.0", "b.dll Unknown is not in the table"],
                            made_program({"a.dll": ["Old"]}, {"a.dll": ["New"], "b.dll": ["Unknown"]}))

    def test_stops_a_64_bit_program_in_the_same_way(self):
        self.assertFindings(["a.dll #7 is not in the table", "a.dll New is new in Windows 6.0",
                             "b.dll Unknown is not in the table"],
                            made_program({"a.dll": ["Old", "New", 7]}, {"b.dll": ["Unknown"]},
                                         is_64_bit=True))

    def test_stops_a_header_that_demands_a_newer_windows(self):
        self.assertFindings(["the header demands subsystem 6.0"],
                            made_program(subsystem_version=(6, 0)))
        self.assertFindings(["the header demands Windows 5.2"],
                            made_program(os_version=(5, 2), subsystem_version=(5, 1)))

    def test_refuses_a_file_that_is_no_program(self):
        for content in (b"", b"MZ", bytes(1000), made_program()[:200]):
            with self.subTest(size=len(content)):
                with self.assertRaises((ValueError, struct.error)):
                    PeFile(content).imports()

    def test_refuses_imports_that_are_not_in_the_file(self):
        content = made_program({"a.dll": ["Old"]})
        with self.assertRaises((ValueError, struct.error)):
            PeFile(content[:-40]).imports()

    def test_refuses_a_table_with_two_rows_for_a_function(self):
        with self.assertRaises(ValueError):
            read_table("a.dll Old 5.1\na.dll Old 6.0\n")


if __name__ == "__main__":
    unittest.main()
