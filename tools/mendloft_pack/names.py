"""Tells which item names are safe to unpack on Windows."""

import re

_FORBIDDEN = re.compile(r'[\x00-\x1f<>:"|?*\\]')
_DEVICE = re.compile(
    r"(CON|PRN|AUX|NUL|CONIN\$|CONOUT\$|(COM|LPT)[0-9\u00b9\u00b2\u00b3])\s*(\..*)?$",
    re.IGNORECASE)


def danger(path):
    """Returns why a path is not safe to unpack, or None if it is."""
    if not path:
        return "it is empty"
    if any("\ud800" <= character <= "\udfff" for character in path):
        return "it is not Unicode text"
    return next(filter(None, map(_danger_in_part, path.split("/"))), None)


def _danger_in_part(part):
    if not part:
        return "it starts or ends with a slash, or has two slashes in a row"
    if part in (".", ".."):
        return f'it contains the step "{part}"'
    if found := _FORBIDDEN.search(part):
        return f"Windows forbids the character {printable(found.group())} in names"
    if part.endswith((".", " ")):
        return "a part of it ends with a dot or a space, which Windows drops"
    return f'"{part}" is a device name on Windows' if _DEVICE.match(part) else None


def printable(path):
    """Returns a path that is safe to print: unprintable characters become escapes.

    Names come from archives, and a terminal would obey the control characters in them.
    """
    return "".join(c if c.isprintable() else ascii(c)[1:-1] for c in path) or '""'
