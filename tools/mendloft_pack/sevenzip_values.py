"""The values that a 7z directory consists of, and the identifiers of the properties in it."""

import enum
import struct

# An archive begins with this many bytes: its signature, and where its directory is.
START_SIZE = 32


class DamagedArchive(Exception):
    """The file is not a 7z archive, is damaged, or uses something that this reader does not know."""


class Property(enum.IntEnum):
    """What comes next in a directory. The format calls these property identifiers."""

    END = 0x00
    HEADER = 0x01
    ARCHIVE_PROPERTIES = 0x02
    MAIN_STREAMS = 0x04
    FILES = 0x05
    PACK_INFO = 0x06
    UNPACK_INFO = 0x07
    SUBSTREAMS = 0x08
    SIZE = 0x09
    CRC = 0x0A
    FOLDER = 0x0B
    CODER_SIZES = 0x0C
    STREAM_COUNTS = 0x0D
    EMPTY_STREAM = 0x0E
    EMPTY_FILE = 0x0F
    ANTI = 0x10
    NAMES = 0x11
    ATTRIBUTES = 0x15
    ENCODED_HEADER = 0x17


class Reader:
    """Reads values one after the other from the bytes of a directory, or of a part of it.

    Every method raises DamagedArchive when the bytes end before the value does.
    """

    def __init__(self, data, origin=0):
        self._data = data
        self._read = 0
        self._origin = origin

    @property
    def position(self):
        """Where the next value starts. A part counts from the start of the whole directory."""
        return self._origin + self._read

    def part(self, size):
        """Returns a reader of the next `size` bytes and moves past them."""
        origin = self.position
        return Reader(self.take(size), origin)

    def take(self, count):
        """Returns the next `count` bytes."""
        if count > len(self._data) - self._read:
            raise DamagedArchive("its directory ends too early")
        self._read += count
        return self._data[self._read - count:self._read]

    def rest(self):
        """Returns all remaining bytes."""
        return self.take(len(self._data) - self._read)

    def byte(self):
        """Returns the next byte as a number."""
        return self.take(1)[0]

    def number(self):
        """Returns a number of one to nine bytes: the leading ones of the first byte count the others."""
        first, mask, value = self.byte(), 0x80, 0
        for index in range(8):
            if not first & mask:
                return value | (first & (mask - 1)) << (8 * index)
            value |= self.byte() << (8 * index)
            mask >>= 1
        return value

    def count(self):
        """Returns the number of things that follow, if the remaining bytes can hold as many.

        Damage can make the number huge, and callers allocate for it. Each thing takes at least one
        byte, except that one of them may take none.
        """
        value = self.number()
        if value > len(self._data) - self._read + 1:
            raise DamagedArchive("its directory holds an impossible number")
        return value

    def bits(self, count):
        """Returns booleans that stand eight to a byte, the first in the highest bit."""
        packed = self.take((count + 7) // 8)
        return [bool(packed[index // 8] & 0x80 >> index % 8) for index in range(count)]

    def bits_or_all(self, count):
        """Returns booleans that a single byte replaces when all of them are true."""
        return [True] * count if self.byte() else self.bits(count)

    def integer(self):
        """Returns a number of exactly four bytes."""
        return struct.unpack("<I", self.take(4))[0]

    def digests(self, count):
        """Returns the CRC-32 of each of `count` things, None where the archive has none."""
        return [self.integer() if defined else None for defined in self.bits_or_all(count)]

    def inline(self):
        """Reads where the data of a property is, which must be right here."""
        if self.byte():
            raise DamagedArchive("its directory keeps data in additional streams")

    def expect(self, identifier):
        """Reads the next identifier, which must be this one."""
        if self.number() != identifier:
            raise malformed()

    def skip_until(self, identifier):
        """Skips other properties until this one has been read."""
        while (found := self.number()) != identifier:
            if found == Property.END:
                raise DamagedArchive("its directory lacks a part")
            self.take(self.number())


def malformed():
    """Returns the exception for properties that do not belong where they are."""
    return DamagedArchive("its directory is malformed")
