"""Reads the directory of a 7z archive, and rewrites the attributes in it.

The listing that the 7-Zip program prints has its names cleaned for a terminal, so an unsafe name can
look harmless there. Here every name is exactly what the archive holds.
"""

import struct
import zlib
from dataclasses import dataclass

from .sevenzip_blocks import AES, read_streams
from .sevenzip_packed_directory import unpack_directory
from .sevenzip_values import START_SIZE, DamagedArchive, Property, Reader, malformed

_SIGNATURE = b"7z\xbc\xaf\x27\x1c"


@dataclass(frozen=True)
class Item:
    """One file or folder of an archive."""

    path: str
    is_folder: bool
    size: int  # bytes
    crc: int | None  # CRC-32 of the content; None when the archive has none
    attributes: int | None  # Windows attributes; None when the archive has none


class _ItemProperties:
    """The properties of all items, which the directory lists property by property."""

    def __init__(self, count):
        self._count = count
        self._names = None
        self._attributes = [None] * count
        self._have_no_content = [False] * count
        self._are_empty_files = None  # of the items without content; the others are folders
        self.attributes_at = None  # position of the attributes in the directory if every item has them

    def read(self, identifier, reader):
        """Reads one property; the reader holds just that. Skips properties of no interest here."""
        if identifier == Property.NAMES:
            reader.inline()
            self._names = _read_names(reader.rest(), self._count)
        elif identifier == Property.EMPTY_STREAM:
            self._have_no_content = reader.bits(self._count)
        elif identifier == Property.EMPTY_FILE:
            self._are_empty_files = reader.bits(sum(self._have_no_content))
        elif identifier == Property.ANTI and any(reader.bits(sum(self._have_no_content))):
            raise DamagedArchive("it holds items that delete files")
        elif identifier == Property.ATTRIBUTES:
            defined = reader.bits_or_all(self._count)
            reader.inline()
            self.attributes_at = reader.position if all(defined) else None
            self._attributes = [reader.integer() if known else None for known in defined]

    def items(self, contents):
        """Returns the items. `contents` has (size, CRC) of each content, in order."""
        empty = self._have_no_content
        are_files = self._are_empty_files or [False] * sum(empty)
        if self._names is None:
            raise DamagedArchive("its directory holds no names")
        if len(contents) != self._count - sum(empty):
            raise DamagedArchive("its directory does not hold as many contents as files")
        if len(are_files) != sum(empty):
            raise malformed()
        remaining_contents, remaining_kinds = iter(contents), iter(are_files)
        items = []
        for index, name in enumerate(self._names):
            is_folder = empty[index] and not next(remaining_kinds)
            size, crc = (0, None) if empty[index] else next(remaining_contents)
            items.append(Item(name, is_folder, size, crc, self._attributes[index]))
        return items


def _read_names(data, count):
    try:
        names = data.decode("utf-16-le").split("\0")
    except UnicodeDecodeError:
        raise DamagedArchive("its directory holds a name that is not text") from None
    if len(names) != count + 1 or names[-1]:
        raise DamagedArchive("its directory does not hold as many names as items")
    return names[:-1]


class Directory:
    """The directory of a 7z archive that is given as its bytes. Raises DamagedArchive."""

    def __init__(self, data):
        self.items = []
        self.methods = []  # of each block, the set of the names of its methods
        self._attributes_at = None  # where the attributes start, when they can be rewritten
        self._header_at, header = self._locate(data)
        if not header:
            return  # an archive of nothing
        reader = Reader(header)
        is_plain = True
        identifier = reader.number()
        while identifier == Property.ENCODED_HEADER:
            is_plain = False
            reader = Reader(unpack_directory(data, reader))
            identifier = reader.number()
        if identifier != Property.HEADER:
            raise malformed()
        attributes_at = self._read(reader)
        if is_plain and attributes_at is not None:
            self._attributes_at = self._header_at + attributes_at

    @property
    def is_encrypted(self):
        """Whether the contents of any file are encrypted."""
        return any(AES in methods for methods in self.methods)

    @staticmethod
    def _locate(data):
        """Returns (position, bytes) of the directory, both as they are in the file."""
        if not data.startswith(_SIGNATURE):
            raise DamagedArchive("it is not a 7z archive")
        if len(data) < START_SIZE:
            raise DamagedArchive("it ends within its first 32 bytes")
        crc, offset, size, header_crc = struct.unpack("<IQQI", data[8:START_SIZE])
        if zlib.crc32(data[12:START_SIZE]) != crc:
            raise DamagedArchive("its first 32 bytes are damaged")
        end = START_SIZE + offset + size
        if end > len(data):
            raise DamagedArchive(f"it is cut off after {len(data)} of {end} bytes")
        if end < len(data):
            raise DamagedArchive(f"it is followed by {len(data) - end} bytes that do not belong to it")
        header = data[START_SIZE + offset:end]
        if zlib.crc32(header) != header_crc:
            raise DamagedArchive("its directory is damaged")
        return START_SIZE + offset, header

    def _read(self, reader):
        """Fills `items` and `methods`; returns the position of the attributes, or None."""
        blocks, attributes_at = [], None
        while (identifier := reader.number()) != Property.END:
            if identifier == Property.ARCHIVE_PROPERTIES:
                while reader.number() != Property.END:
                    reader.take(reader.number())
            elif identifier == Property.MAIN_STREAMS:
                _, _, blocks = read_streams(reader)
            elif identifier == Property.FILES:
                attributes_at = self._read_items(reader, blocks)
            else:
                raise malformed()
        self.methods = [frozenset(coder.method for coder in block.coders) for block in blocks]
        return attributes_at

    def _read_items(self, reader, blocks):
        properties = _ItemProperties(reader.count())
        while (identifier := reader.number()) != Property.END:
            properties.read(identifier, reader.part(reader.number()))
        self.items += properties.items(
            [content for block in blocks for content in zip(block.file_sizes, block.file_crcs)])
        return properties.attributes_at

    def with_attributes(self, data, attributes):
        """Returns the archive's bytes with new attributes: a number for each item, in order.

        Raises DamagedArchive unless the directory is uncompressed and all its items have attributes.
        """
        if self._attributes_at is None:
            raise DamagedArchive("its attributes cannot be rewritten in place")
        data = bytearray(data)
        struct.pack_into(f"<{len(attributes)}I", data, self._attributes_at, *attributes)
        struct.pack_into("<I", data, 28, zlib.crc32(data[self._header_at:]))
        struct.pack_into("<I", data, 8, zlib.crc32(data[12:START_SIZE]))
        return bytes(data)
