"""Reads the directory of a 7z archive, and rewrites the attributes in it.

The listing that the 7-Zip program prints has its names cleaned for a terminal, so that an unsafe
one can look harmless. Here every name is what the archive holds.
"""

import struct
import zlib
from dataclasses import dataclass, field

_SIGNATURE = b"7z\xbc\xaf\x27\x1c"
_START_SIZE = 32

_END, _HEADER, _ARCHIVE_PROPERTIES, _ADDITIONAL_STREAMS, _MAIN_STREAMS, _FILES = range(6)
_PACK_INFO, _UNPACK_INFO, _SUBSTREAMS, _SIZE, _CRC, _FOLDER, _CODER_SIZES = range(6, 13)
_STREAM_COUNTS, _EMPTY_STREAM, _EMPTY_FILE, _ANTI, _NAMES = range(13, 18)
_ATTRIBUTES = 0x15
_ENCODED_HEADER = 0x17

_LZMA, _AES = "LZMA", "AES"
_METHODS = {
    b"\x00": "Copy", b"\x21": "LZMA2", b"\x03\x01\x01": _LZMA, b"\x03": "Delta",
    b"\x04": "BCJ", b"\x03\x03\x01\x03": "BCJ", b"\x03\x03\x01\x1b": "BCJ2",
    b"\x03\x04\x01": "PPMd", b"\x04\x01\x08": "Deflate", b"\x04\x01\x09": "Deflate64",
    b"\x04\x02\x02": "BZip2", b"\x06\xf1\x07\x01": _AES,
}


class DamagedArchive(Exception):
    """The file is no 7z archive, is damaged, or uses what this reader does not know."""


@dataclass(frozen=True)
class Item:
    """One file or folder of an archive."""

    path: str
    is_folder: bool
    size: int  # bytes
    crc: int | None  # CRC-32 of the content, when the archive tells
    attributes: int | None  # Windows attributes, when the archive tells


@dataclass
class _Coder:
    method: str
    properties: bytes


@dataclass
class _Block:
    """A compressed block; 7-Zip's own word for it is folder."""

    coders: list[_Coder]
    main_output: int  # index of the stream that comes out at the end of the chain of coders
    outputs: int
    pack_streams: int
    size: int = 0
    crc: int | None = None
    file_sizes: list[int] = field(default_factory=list)
    file_crcs: list[int | None] = field(default_factory=list)


class _Reader:
    def __init__(self, data):
        self._data = data
        self.position = 0

    def take(self, count):
        if count > len(self._data) - self.position:
            raise DamagedArchive("its directory ends too early")
        self.position += count
        return self._data[self.position - count:self.position]

    def byte(self):
        return self.take(1)[0]

    def number(self):
        """A number of one to nine bytes: the leading ones of the first byte count the others."""
        first, mask, value = self.byte(), 0x80, 0
        for index in range(8):
            if not first & mask:
                return value | (first & (mask - 1)) << (8 * index)
            value |= self.byte() << (8 * index)
            mask >>= 1
        return value

    def count(self):
        """A number of things that take at least one byte each, but for one that may take none."""
        value = self.number()
        if value > len(self._data) - self.position + 1:
            raise DamagedArchive("its directory tells an impossible number")
        return value

    def bits(self, count):
        packed = self.take((count + 7) // 8)
        return [bool(packed[index // 8] & 0x80 >> index % 8) for index in range(count)]

    def bits_or_all(self, count):
        return [True] * count if self.byte() else self.bits(count)

    def integer(self):
        return struct.unpack("<I", self.take(4))[0]

    def digests(self, count):
        return [self.integer() if defined else None for defined in self.bits_or_all(count)]

    def inline(self):
        if self.byte():
            raise DamagedArchive("its directory keeps data in additional streams")

    def expect(self, identifier):
        if self.number() != identifier:
            raise DamagedArchive("its directory does not read as one")

    def skip_until(self, identifier):
        """Skips properties of no interest up to the one with this identifier."""
        while (found := self.number()) != identifier:
            if found == _END:
                raise DamagedArchive("its directory lacks a part")
            self.take(self.number())


def _read_block(reader):
    coders, inputs, outputs = [], 0, 0
    for _ in range(reader.count()):
        flags = reader.byte()
        identifier = reader.take(flags & 0x0F)
        coder_inputs = reader.count() if flags & 0x10 else 1
        coder_outputs = reader.count() if flags & 0x10 else 1
        properties = reader.take(reader.number()) if flags & 0x20 else b""
        coders.append(_Coder(_METHODS.get(identifier, identifier.hex()), properties))
        inputs += coder_inputs
        outputs += coder_outputs
    bound = set()
    for _ in range(outputs - 1):
        reader.number()
        bound.add(reader.number())
    pack_streams = inputs - (outputs - 1)
    if pack_streams > 1:
        for _ in range(pack_streams):
            reader.number()
    free = [index for index in range(outputs) if index not in bound]
    if len(free) != 1 or pack_streams < 1:
        raise DamagedArchive("its directory binds the coders of a block in no sensible way")
    return _Block(coders, free[0], outputs, pack_streams)


def _read_blocks(reader):
    reader.skip_until(_FOLDER)
    count = reader.count()
    reader.inline()
    blocks = [_read_block(reader) for _ in range(count)]
    reader.expect(_CODER_SIZES)
    for block in blocks:
        block.size = [reader.number() for _ in range(block.outputs)][block.main_output]
    while (identifier := reader.number()) != _END:
        if identifier != _CRC:
            raise DamagedArchive("its directory does not read as one")
        for block, crc in zip(blocks, reader.digests(count)):
            block.crc = crc
    return blocks


def _read_substreams(reader, blocks):
    counts, identifier = [1] * len(blocks), reader.number()
    if identifier == _STREAM_COUNTS:
        counts = [reader.count() for _ in blocks]
        identifier = reader.number()
    for block, count in zip(blocks, counts):
        known = [reader.number() for _ in range(count - 1)] if identifier == _SIZE else []
        if count and sum(known) > block.size or len(known) < count - 1:
            raise DamagedArchive("its directory tells impossible sizes")
        block.file_sizes = known + [block.size - sum(known)] if count else []
        block.file_crcs = [block.crc] if count == 1 else [None] * count
    if identifier == _SIZE:
        identifier = reader.number()
    if identifier == _CRC:
        unknown = [block for block in blocks if len(block.file_crcs) != 1 or block.crc is None]
        digests = iter(reader.digests(sum(len(block.file_crcs) for block in unknown)))
        for block in unknown:
            block.file_crcs = [next(digests) for _ in block.file_crcs]
        identifier = reader.number()
    if identifier != _END:
        raise DamagedArchive("its directory does not read as one")


def _read_streams(reader):
    """Returns (position of the packed data, sizes of the packed streams, blocks)."""
    pack_position, pack_sizes, blocks, divided = 0, [], [], False
    while (identifier := reader.number()) != _END:
        if identifier == _PACK_INFO:
            pack_position, count = reader.number(), reader.count()
            while (part := reader.number()) != _END:
                if part == _SIZE:
                    pack_sizes = [reader.number() for _ in range(count)]
                elif part == _CRC:
                    reader.digests(count)
                else:
                    raise DamagedArchive("its directory does not read as one")
        elif identifier == _UNPACK_INFO:
            blocks = _read_blocks(reader)
        elif identifier == _SUBSTREAMS:
            _read_substreams(reader, blocks)
            divided = True
        else:
            raise DamagedArchive("its directory does not read as one")
    if not divided:
        for block in blocks:
            block.file_sizes, block.file_crcs = [block.size], [block.crc]
    return pack_position, pack_sizes, blocks


def _read_names(data, count):
    try:
        names = data.decode("utf-16-le").split("\0")
    except UnicodeDecodeError:
        raise DamagedArchive("its directory holds a name that is no text") from None
    if len(names) != count + 1 or names[-1]:
        raise DamagedArchive("its directory does not hold as many names as items")
    return names[:-1]


def _unpack_header(data, reader):
    """Unpacks a directory that is itself compressed, as 7-Zip does it: with LZMA or stored."""
    pack_position, pack_sizes, blocks = _read_streams(reader)
    if len(blocks) != 1 or len(pack_sizes) != 1 or len(blocks[0].coders) != 1:
        if any(coder.method == _AES for block in blocks for coder in block.coders):
            raise DamagedArchive("its directory is encrypted")
        raise DamagedArchive("its directory is compressed in a way that is not known here")
    block = blocks[0]
    start = _START_SIZE + pack_position
    packed = data[start:start + pack_sizes[0]]
    header = _decompress(block.coders[0], packed, block.size)
    if len(header) != block.size or block.crc is not None and zlib.crc32(header) != block.crc:
        raise DamagedArchive("its directory is damaged")
    return header


def _decompress(coder, packed, size):
    if coder.method == "Copy":
        return packed
    if coder.method != _LZMA or len(coder.properties) != 5:
        raise DamagedArchive(f"its directory is compressed with {coder.method}: not known here")
    try:
        import lzma  # some builds of Python lack it, and few archives need it
    except ImportError:
        raise DamagedArchive("its directory is packed, and this Python has no lzma") from None
    packing, dictionary = struct.unpack("<BI", coder.properties)
    filters = [{"id": lzma.FILTER_LZMA1, "dict_size": max(dictionary, 4096), "lc": packing % 9,
                "lp": packing // 9 % 5, "pb": packing // 45}]
    try:
        return lzma.LZMADecompressor(lzma.FORMAT_RAW, filters=filters).decompress(packed, size)
    except (lzma.LZMAError, ValueError, OverflowError, MemoryError):
        raise DamagedArchive("its directory is damaged") from None


class Directory:
    """The directory of a 7z archive that is given as its bytes. Raises DamagedArchive."""

    def __init__(self, data):
        self.items = []
        self.methods = []  # of each block, the set of the names of its methods
        self._attributes_at = None  # where the attributes start, when they can be rewritten
        self._header_at, header = self._locate(data)
        reader = _Reader(header)
        self._is_plain = True
        identifier = reader.number() if header else _END
        while identifier == _ENCODED_HEADER:
            self._is_plain = False
            reader = _Reader(header := _unpack_header(data, reader))
            identifier = reader.number()
        if header and identifier != _HEADER:
            raise DamagedArchive("its directory does not read as one")
        if header:
            self._read(reader)

    @property
    def is_encrypted(self):
        return any(_AES in methods for methods in self.methods)

    @staticmethod
    def _locate(data):
        if not data.startswith(_SIGNATURE):
            raise DamagedArchive("it is not a 7z archive")
        if len(data) < _START_SIZE:
            raise DamagedArchive("it ends within its first 32 bytes")
        crc, offset, size, header_crc = struct.unpack("<IQQI", data[8:_START_SIZE])
        if zlib.crc32(data[12:_START_SIZE]) != crc:
            raise DamagedArchive("its first 32 bytes are damaged")
        end = _START_SIZE + offset + size
        if end > len(data):
            raise DamagedArchive(f"it is cut off: {len(data)} bytes are there, {end} should be")
        if end < len(data):
            raise DamagedArchive(f"{len(data) - end} bytes that do not belong to it follow its end")
        header = data[_START_SIZE + offset:end]
        if zlib.crc32(header) != header_crc:
            raise DamagedArchive("its directory is damaged")
        return _START_SIZE + offset, header

    def _read(self, reader):
        blocks = []
        while (identifier := reader.number()) != _END:
            if identifier == _ARCHIVE_PROPERTIES:
                while reader.number() != _END:
                    reader.take(reader.number())
            elif identifier == _MAIN_STREAMS:
                _, _, blocks = _read_streams(reader)
            elif identifier == _FILES:
                self._read_files(reader, blocks)
            else:
                raise DamagedArchive("its directory does not read as one")
        self.methods = [frozenset(coder.method for coder in block.coders) for block in blocks]

    def _read_files(self, reader, blocks):
        count = reader.count()
        names, attributes, empty, empty_files = None, [None] * count, [False] * count, None
        while (identifier := reader.number()) != _END:
            size = reader.number()
            start = reader.position
            part = _Reader(reader.take(size))
            if identifier == _NAMES:
                part.inline()
                names = _read_names(part.take(size - 1), count)
            elif identifier == _EMPTY_STREAM:
                empty = part.bits(count)
            elif identifier == _EMPTY_FILE:
                empty_files = part.bits(sum(empty))
            elif identifier == _ANTI and any(part.bits(sum(empty))):
                raise DamagedArchive("it holds items that delete files")
            elif identifier == _ATTRIBUTES:
                defined = part.bits_or_all(count)
                part.inline()
                if self._is_plain and all(defined):
                    self._attributes_at = self._header_at + start + part.position
                attributes = [part.integer() if known else None for known in defined]
        if names is None:
            raise DamagedArchive("its directory holds no names")
        sizes = [size for block in blocks for size in block.file_sizes]
        crcs = [crc for block in blocks for crc in block.file_crcs]
        if len(sizes) != count - sum(empty):
            raise DamagedArchive("its directory does not hold as many contents as files")
        contents, folders = iter(zip(sizes, crcs)), iter(empty_files or [False] * sum(empty))
        for index in range(count):
            is_folder = empty[index] and not next(folders)
            item_size, crc = (0, None) if empty[index] else next(contents)
            self.items.append(Item(names[index], is_folder, item_size, crc, attributes[index]))

    def with_attributes(self, data, attributes):
        """Returns the archive's bytes with new attributes: a number for each item, in order."""
        if self._attributes_at is None:
            raise DamagedArchive("its attributes cannot be rewritten in place")
        data = bytearray(data)
        struct.pack_into(f"<{len(attributes)}I", data, self._attributes_at, *attributes)
        struct.pack_into("<I", data, 28, zlib.crc32(data[self._header_at:]))
        struct.pack_into("<I", data, 8, zlib.crc32(data[12:_START_SIZE]))
        return bytes(data)
