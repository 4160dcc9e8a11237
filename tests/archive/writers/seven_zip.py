"""The two headers of 7z archives."""

import struct
import zlib


def directory(data):
    """Returns where the directory of an archive starts and ends. It is at the end of an undamaged archive."""
    offset, size = struct.unpack_from("<QQ", data, 12)
    return 32 + offset, 32 + offset + size


def reseal(data, directory_end):
    """Corrects the checksums in the bytearray of an archive after a change to its directory."""
    start, _ = directory(data)
    if start <= directory_end <= len(data):
        struct.pack_into("<QI", data, 20, directory_end - start, zlib.crc32(data[start:directory_end]))
    struct.pack_into("<I", data, 8, zlib.crc32(data[12:32]))


def with_method(stored, number, properties=b""):
    """Returns an archive whose last block has another method. In `stored` it has one byte, and so do all."""
    start, _ = directory(stored)
    one_coder = b"\1\1\0"  # one coder; its number has one byte; the number
    at = stored.index(one_coder, start)
    while stored.startswith(one_coder, at + len(one_coder)):
        at += len(one_coder)
    coder = bytes([1, 0x24 if properties else 4]) + number.to_bytes(4, "big")
    if properties:
        coder += bytes([len(properties)]) + properties
    data = bytearray(stored[:at] + coder + stored[at + len(one_coder):])
    reseal(data, len(data))
    return bytes(data)
