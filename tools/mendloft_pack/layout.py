"""The layout of the driver archive. Everything else takes it from here.

Paths have forward slashes and are relative to the root of the archive. As on Windows, case does not
matter in names: `key` returns the form of a path to compare.
"""

# The folders of the driver packages and the files in them. Three packages exist for x64 only. Their
# x86 folders exist as well, but are empty.
_PACKAGES = {
    "usb/x64": ("usbaapl64.inf", "USBAAPL64.CAT", "usbaapl64.sys", "usbaaplrc.dll"),
    "usb/x86": ("usbaapl.inf", "USBAAPL.CAT", "usbaapl.sys", "usbaaplrc.dll", "usbaapl.PNF"),
    "net/x64": ("netaapl64.inf", "netaapl64.cat", "netaapl64.sys", "WdfCoInstaller01009.dll"),
    "net/x86": ("netaapl.inf", "netaapl.cat", "netaapl.sys", "WdfCoInstaller01009.dll"),
    "applekis/x64": ("AppleKIS.inf", "applekis.cat", "AppleKIS.sys", "AppleKISInterface.dll"),
    "applekis/x86": (),
    "applersm/x64": ("AppleRSM.inf", "applersm.cat", "AppleRSM.sys", "AppleRSMInterface.dll"),
    "applersm/x86": (),
    "appleusbdevice/x64": ("AppleUsb.inf", "appleusb.cat", "AppleKmdfFilter.sys",
                           "AppleLowerFilter.sys", "AppleUsbFilter.dll"),
    "appleusbdevice/x86": (),
}

# A text file for people, at the root. The library never reads it.
NOTE = "path.txt"

READ_ONLY_FILES = frozenset({"usb/x86/usbaapl.PNF"})

# The library writes the archive under this name into the folder that it unpacks it into.
ARCHIVE_NAME = "driver.7z"

FILES = (NOTE,) + tuple(f"{folder}/{name}" for folder, names in _PACKAGES.items() for name in names)
EMPTY_FOLDERS = tuple(folder for folder, names in _PACKAGES.items() if not names)
FOLDERS = tuple(sorted({part for folder in _PACKAGES for part in (folder, folder.split("/")[0])}))


def key(path):
    """Returns the same text for all paths that Windows takes for the same."""
    # Windows compares character by character, so a letter that becomes two in upper case stays as it is.
    return "".join(c.upper() if len(c.upper()) == 1 else c for c in path)


_SPELLINGS = {key(path): path for path in FILES + FOLDERS}


def spelling(path):
    """Returns a path as the layout spells it. Parts that are not in the layout stay as they are."""
    parent, slash, name = path.rpartition("/")
    own = (spelling(parent) if parent else "") + slash + name
    return _SPELLINGS.get(key(path), own)


def architecture(path):
    """Returns "x64" or "x86" if the path is directly in a folder of that name, otherwise None."""
    parent = path.rpartition("/")[0].rpartition("/")[2].lower()
    return parent if parent in ("x64", "x86") else None
