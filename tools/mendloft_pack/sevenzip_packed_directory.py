"""Unpacks the directory of a 7z archive that is itself compressed, as 7-Zip does by default."""

import struct
import zlib

from .sevenzip_blocks import AES, COPY, LZMA, read_streams
from .sevenzip_values import START_SIZE, DamagedArchive

try:
    import lzma
except ImportError:  # some builds of Python lack it, and few archives need it
    lzma = None


def unpack_directory(data, reader):
    """Returns the bytes of the directory.

    `data` is the complete archive. The reader is at the description of where the directory is and how
    it is compressed. Raises DamagedArchive for anything but one block with the method LZMA or Copy,
    the only ones that 7-Zip uses for a directory.
    """
    pack_position, pack_sizes, blocks = read_streams(reader)
    if len(blocks) != 1 or len(pack_sizes) != 1 or len(blocks[0].coders) != 1:
        if any(coder.method == AES for block in blocks for coder in block.coders):
            raise DamagedArchive("its directory is encrypted")
        raise DamagedArchive("its directory is compressed in a way that is not known here")
    block = blocks[0]
    start = START_SIZE + pack_position
    packed = data[start:start + pack_sizes[0]]
    directory = _decompress(block.coders[0], packed, block.size)
    if len(directory) != block.size or block.crc is not None and zlib.crc32(directory) != block.crc:
        raise DamagedArchive("its directory is damaged")
    return directory


def _decompress(coder, packed, size):
    if coder.method == COPY:
        return packed
    if coder.method != LZMA or len(coder.properties) != 5:
        raise DamagedArchive(f"its directory is compressed with {coder.method}: not known here")
    if lzma is None:
        raise DamagedArchive("its directory is packed, and this Python has no lzma")
    packing, dictionary = struct.unpack("<BI", coder.properties)
    filters = [{"id": lzma.FILTER_LZMA1, "dict_size": max(dictionary, 4096), "lc": packing % 9,
                "lp": packing // 9 % 5, "pb": packing // 45}]
    try:
        return lzma.LZMADecompressor(lzma.FORMAT_RAW, filters=filters).decompress(packed, size)
    except (lzma.LZMAError, ValueError, OverflowError, MemoryError):
        raise DamagedArchive("its directory is damaged") from None
