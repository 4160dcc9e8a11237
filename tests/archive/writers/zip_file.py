"""Zip files whose items are compressed by other writers."""

import struct
import zlib
from collections import namedtuple

DOS_DATE, DOS_TIME = (2010 - 1980) << 9 | 1 << 5 | 1, 0
ENCRYPTED, STRONG = 1, 0x40  # flags

# `compress` returns the stored form of a content, `extra` an extra field of the central directory.
Method = namedtuple("Method", "number compress flags extra", defaults=(0, b""))


STORED = Method(0, bytes)


def zip_file(files, method, stored=()):
    """Returns a Zip file. Empty files and those named are not compressed. The names must be ASCII."""
    items, directory = b"", b""
    for name, content in files.items():
        used = STORED if name in stored or not content else method
        packed = used.compress(content)
        fields = struct.pack("<HHHHHIIIH", 63, used.flags, used.number, DOS_TIME, DOS_DATE, zlib.crc32(content),
                             len(packed), len(content), len(name))
        directory += b"PK\1\2" + struct.pack("<H", 63) + fields + struct.pack(
            "<HHHHII", len(used.extra), 0, 0, 0, 0x20, len(items)) + name.encode("ascii") + used.extra
        items += b"PK\3\4" + fields + struct.pack("<H", 0) + name.encode("ascii") + packed
    end = struct.pack("<HHHHIIH", 0, 0, len(files), len(files), len(directory), len(items), 0)
    return items + directory + b"PK\5\6" + end
