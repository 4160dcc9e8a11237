"""Which test programs cover which source, the fast ones first."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Program:
    """A test program. `left_out` is a filter for tests that take long and catch nothing more."""

    name: str
    left_out: str = ""

    @property
    def arguments(self):
        """The arguments that leave those tests out."""
        return [f"--gtest_filter=-{self.left_out}"] if self.left_out else []


_PLATFORM = Program("platform_tests")
_REPAIR = Program("repair_tests")
_INSTALL = Program("install_tests")
_TELNET = Program("telnet_tests")
_ARCHIVE = Program("archive_tests")
_LIBRARY = Program("library_tests")
_RUNTIME = Program("runtime_tests")
_LOADING = Program("steady_state_tests", "SteadySetup.*:SteadyState.OfA*:SteadyState.OfFifty*:SteadyState.OfM*")
_TOOL = Program("mendloftctl_tests")

# The first row that the path of a source starts with applies.
_ROWS = [
    ("src/exports/exports.cpp", [_LIBRARY]),
    ("src/exports/dll_main.cpp", [_LIBRARY]),
    ("src/exports/entry_point.cpp", [_LIBRARY, _RUNTIME, _LOADING]),
    ("src/exports/gcc_runtime.", [_LIBRARY, _RUNTIME, _LOADING]),
    ("src/exports/host_exception.", [_REPAIR, _LIBRARY]),
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
    """Returns the test programs for a source in the order in which they run, or an empty list if no
    program covers it."""
    return next((programs for start, programs in _ROWS if file.startswith(start)), [])
