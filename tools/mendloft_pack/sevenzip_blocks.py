"""The part of a 7z directory that describes how the contents are compressed and divided into files."""

from dataclasses import dataclass, field

from .sevenzip_values import DamagedArchive, Property, malformed

COPY, LZMA, AES = "Copy", "LZMA", "AES"
_METHODS = {
    b"\x00": COPY, b"\x21": "LZMA2", b"\x03\x01\x01": LZMA, b"\x03": "Delta",
    b"\x04": "BCJ", b"\x03\x03\x01\x03": "BCJ", b"\x03\x03\x01\x1b": "BCJ2",
    b"\x03\x04\x01": "PPMd", b"\x04\x01\x08": "Deflate", b"\x04\x01\x09": "Deflate64",
    b"\x04\x02\x02": "BZip2", b"\x06\xf1\x07\x01": AES,
}


@dataclass
class Coder:
    """One step of the compression. A method that is not known here is named by its bytes in hex."""

    method: str
    properties: bytes


@dataclass
class Block:
    """Contents that are compressed together. The format calls this a folder."""

    coders: list[Coder]
    main_output: int  # index of the output that is not the input of another coder: the contents
    outputs: int  # of all coders together
    size: int = 0  # of the contents, in bytes
    crc: int | None = None
    file_sizes: list[int] = field(default_factory=list)
    file_crcs: list[int | None] = field(default_factory=list)


def read_streams(reader):
    """Returns (position of the packed data after the first 32 bytes, sizes of the packed streams, blocks).

    Raises DamagedArchive, as everything here does.
    """
    pack_position, pack_sizes, blocks, divided = 0, [], [], False
    while (identifier := reader.number()) != Property.END:
        if identifier == Property.PACK_INFO:
            pack_position, pack_sizes = _read_pack_info(reader)
        elif identifier == Property.UNPACK_INFO:
            blocks = _read_blocks(reader)
        elif identifier == Property.SUBSTREAMS:
            _read_substreams(reader, blocks)
            divided = True
        else:
            raise malformed()
    if not divided:  # each block is one file
        for block in blocks:
            block.file_sizes, block.file_crcs = [block.size], [block.crc]
    return pack_position, pack_sizes, blocks


def _read_pack_info(reader):
    position, count, sizes = reader.number(), reader.count(), []
    while (identifier := reader.number()) != Property.END:
        if identifier == Property.SIZE:
            sizes = [reader.number() for _ in range(count)]
        elif identifier == Property.CRC:
            reader.digests(count)
        else:
            raise malformed()
    return position, sizes


def _read_blocks(reader):
    reader.skip_until(Property.FOLDER)
    count = reader.count()
    reader.inline()
    blocks = [_read_block(reader) for _ in range(count)]
    reader.expect(Property.CODER_SIZES)
    for block in blocks:
        block.size = [reader.number() for _ in range(block.outputs)][block.main_output]
    while (identifier := reader.number()) != Property.END:
        if identifier != Property.CRC:
            raise malformed()
        for block, crc in zip(blocks, reader.digests(count)):
            block.crc = crc
    return blocks


def _read_block(reader):
    """Reads the coders of a block and how they are connected.

    An input of a coder is either an output of another coder or a packed stream of the archive. All
    outputs but one are inputs of other coders.
    """
    coders, inputs, outputs = [], 0, 0
    for _ in range(reader.count()):
        flags = reader.byte()  # the length of the identifier; 0x10 and 0x20: more values follow
        identifier = reader.take(flags & 0x0F)
        coder_inputs = reader.count() if flags & 0x10 else 1
        coder_outputs = reader.count() if flags & 0x10 else 1
        properties = reader.take(reader.number()) if flags & 0x20 else b""
        coders.append(Coder(_METHODS.get(identifier, identifier.hex()), properties))
        inputs += coder_inputs
        outputs += coder_outputs
    bound = set()
    for _ in range(outputs - 1):
        reader.number()
        bound.add(reader.number())
    pack_streams = inputs - (outputs - 1)
    if pack_streams > 1:  # the archive leaves out the input of a single one
        for _ in range(pack_streams):
            reader.number()
    free = [index for index in range(outputs) if index not in bound]
    if len(free) != 1 or pack_streams < 1:
        raise DamagedArchive("its directory connects the coders of a block in an impossible way")
    return Block(coders, free[0], outputs)


def _read_substreams(reader, blocks):
    """Divides the blocks into files.

    The archive leaves out what follows from other values: the size of the last file in a block, and
    the checksum of a file that fills a block whose checksum it has.
    """
    counts, identifier = [1] * len(blocks), reader.number()
    if identifier == Property.STREAM_COUNTS:
        counts = [reader.count() for _ in blocks]
        identifier = reader.number()
    for block, count in zip(blocks, counts):
        known = [reader.number() for _ in range(count - 1)] if identifier == Property.SIZE else []
        if count and sum(known) > block.size or len(known) < count - 1:
            raise DamagedArchive("its directory holds impossible sizes")
        block.file_sizes = known + [block.size - sum(known)] if count else []
        block.file_crcs = [block.crc] if count == 1 else [None] * count
    if identifier == Property.SIZE:
        identifier = reader.number()
    if identifier == Property.CRC:
        unknown = [block for block in blocks if len(block.file_crcs) != 1 or block.crc is None]
        digests = iter(reader.digests(sum(len(block.file_crcs) for block in unknown)))
        for block in unknown:
            block.file_crcs = [next(digests) for _ in block.file_crcs]
        identifier = reader.number()
    if identifier != Property.END:
        raise malformed()
