"""Which test programs look at which source, the quick ones first."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Program:
    """A test program and the tests of it that are left out because they only take long."""

    name: str
    left_out: str = ""

    @property
    def arguments(self):
        return [f"--gtest_filter=-{self.left_out}"] if self.left_out else []


_PLATFORM = Program("platform_tests")
_REPAIR = Program("repair_tests")
_INSTALL = Program("install_tests")
_TELNET = Program("telnet_tests", "ThousandPortTests.*")
_ARCHIVE = Program("archive_tests")
_LIBRARY = Program("library_tests")
# Of these, only the one that loads the library over and over.
_PROOF = Program("proof_tests", "Sweep.*:SteadySetup.*:SteadyState.OfA*:SteadyState.OfFifty*:SteadyState.OfM*")
_TOOL = Program("mendloftctl_tests")

# The first row whose beginning matches a source's path counts.
_ROWS = [
    ("src/exports/exports.cpp", [_LIBRARY]),
    ("src/exports/dll_main.cpp", [_LIBRARY]),
    ("src/exports/entry_point.cpp", [_LIBRARY, _PROOF]),
    ("src/core/boolean_argument.h", [_INSTALL]),
    ("src/core/driver_packages.cpp", [_INSTALL, _TOOL]),
    ("src/core/", [_REPAIR, _INSTALL]),
    ("src/archive/", [_ARCHIVE]),
    ("src/install/", [_INSTALL]),
    ("src/platform/", [_PLATFORM, _REPAIR]),
    ("src/repair/", [_REPAIR]),
    ("src/staging/", [_REPAIR]),
    ("src/telnet/", [_TELNET]),
]


def programs_for(file):
    """The test programs for a source, in the order in which they are run; none for one that no
    program is named for."""
    return next((programs for start, programs in _ROWS if file.startswith(start)), [])
