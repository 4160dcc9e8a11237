"""The methods that the comparison excuses as not decoded are not registered in the library's 7-Zip."""

import sys
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))

from comparison import NOT_DECODED
from reference import program_methods
from windows_side import Workspace, registered_methods


class Methods(unittest.TestCase):
    def test_excused_as_not_decoded_are_those_that_only_the_program_has(self):
        workspace = Workspace()
        self.addCleanup(workspace.close)

        self.assertEqual(program_methods() - registered_methods(), NOT_DECODED)


if __name__ == "__main__":
    unittest.main()
