"""Cabinets with one folder."""

import struct
import zlib
from collections import namedtuple

BLOCK = 0x8000

# `compress` returns the compressed blocks of a content.
Method = namedtuple("Method", "number compress")


def blocks_of(content):
    return [content[start:start + BLOCK] for start in range(0, len(content), BLOCK)]


def _deflate(plain):
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    return b"CK" + packer.compress(plain) + packer.flush()


STORED = Method(0, blocks_of)
MSZIP = Method(1, lambda content: [_deflate(plain) for plain in blocks_of(content)])


def with_window(writer, bits):
    """Returns the method of the module `lzx` or `quantum` with a window of 2 to the power of `bits` bytes."""
    return Method(bits << 8 | writer.METHOD, lambda content: writer.compress(content, bits))


def _entries(files, read_only):
    dos_date, dos_time = (2010 - 1980) << 9 | 1 << 5 | 1, 0
    entries, position = b"", 0
    for name, data in files.items():
        attributes = 0x21 if name in read_only else 0x20
        entries += struct.pack("<IIHHHH", len(data), position, 0, dos_date, dos_time, attributes)
        entries += name.replace("/", "\\").encode("ascii") + b"\0"
        position += len(data)
    return entries


def cabinet(files, method, read_only=()):
    """Returns a cabinet. The names must be ASCII."""
    content = b"".join(files.values())
    data = [struct.pack("<IHH", 0, len(packed), len(plain)) + packed
            for plain, packed in zip(blocks_of(content), method.compress(content), strict=True)]
    entries = _entries(files, read_only)
    files_at = 36 + 8
    data_at = files_at + len(entries)
    header = struct.pack("<4sIIIIIBBHHHHH", b"MSCF", 0, data_at + sum(map(len, data)), 0, files_at, 0, 3, 1, 1,
                         len(files), 0, 0x4D4C, 0)
    return b"".join([header, struct.pack("<IHH", data_at, len(data), method.number), entries, *data])
