"""A host in Python. It needs a 32-bit Python for Windows, and libmendloft.dll and the folder "files"
next to this file.

    host.py port NUMBER | host.py install | host.py remove
"""

import ctypes
import enum
import sys
from pathlib import Path


class FolderResult(enum.IntEnum):
    GONE = 0
    FAILED = 1
    OLD_SYSTEM = 2
    BUILT = 4


class SetupResult(enum.IntEnum):
    TOOL_RAN = 0
    INF_MISSING = -1
    TOOL_MISSING = -2
    TOOL_NOT_STARTED = -3


def load_mendloft():
    """Returns the library and declares the three functions that are used here."""
    if sys.platform != "win32" or ctypes.sizeof(ctypes.c_void_p) != 4:
        sys.exit("libmendloft.dll is a 32-bit library: run this with a 32-bit Python for Windows")
    # CDLL, because the functions are cdecl; WinDLL is for stdcall.
    library = ctypes.CDLL(str(Path(__file__).resolve().with_name("libmendloft.dll")))
    library.AMDPortTest.argtypes = [ctypes.c_int32]
    library.AMDPortTest.restype = ctypes.c_bool  # one byte; the default reads four
    library.MendloftFolder.argtypes = [ctypes.c_int32]
    library.MendloftFolder.restype = ctypes.c_int32
    library.SetUpUSBDriver.argtypes = [ctypes.c_int32]
    library.SetUpUSBDriver.restype = ctypes.c_int32
    return library


def set_up_usb(library, install):
    """Installs or removes the USB driver. Returns what the program ends with."""
    if install:
        # SetUpUSBDriver does not report that the driver archive could not be unpacked.
        folders = FolderResult(library.MendloftFolder(1))
        if folders is not FolderResult.BUILT:
            print(f"MendloftFolder: {folders.name}")
            return 1
    # ctypes lets other Python threads run until the call returns, when the installer tool has ended.
    result = SetupResult(library.SetUpUSBDriver(install))
    print(f"SetUpUSBDriver: {result.name}")
    return 0 if result is SetupResult.TOOL_RAN else 1


def main(arguments):
    match arguments:
        case ["port", number]:
            print("open" if load_mendloft().AMDPortTest(int(number)) else "closed")
            return 0
        case ["install" | "remove" as action]:
            return set_up_usb(load_mendloft(), action == "install")
    print("usage: host.py port NUMBER | host.py install | host.py remove", file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
