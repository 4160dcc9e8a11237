#!/usr/bin/env python3
"""Damaged copies of the seeds. A group of seeds and a number always give the same one.

    mutations.py GROUP NUMBER FILE    writes one of them, to examine what a test reports
"""

import random
import struct
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "archive"))

from seeds import seeds
from writers.seven_zip import directory, reseal


# ---- the parts of an archive that are not content

def zip_directory(data):
    end = data.rindex(b"PK\5\6")
    size, start = struct.unpack_from("<II", data, end + 12)
    areas, at = [(start, start + size), (end, len(data))], start
    while at < start + size:
        lengths = struct.unpack_from("<HHH", data, at + 28)
        local, = struct.unpack_from("<I", data, at + 42)
        areas.append((local, local + 30 + lengths[0]))
        at += 46 + sum(lengths)
    return areas


def cabinet_directory(data):
    return [(0, struct.unpack_from("<I", data, 36)[0] + 8)]


DIRECTORY = {
    "7z": lambda data: [(12, 32), directory(data)],
    "zip": zip_directory,
    "cab": cabinet_directory,
    "lzma": lambda data: [(0, 13)],
    "lzma86": lambda data: [(0, 14)],
    "xz": lambda data: [(0, 24), (len(data) - 28, len(data))],
}


# ---- the kinds of damage: each changes `data`, a bytearray, between `start` and `end`

NUMBERS = (0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000,
           0xFFFFFFFE, 0xFFFFFFFF, 1 << 32, (1 << 63) - 1, (1 << 64) - 1)


def flip_bits(source, data, start, end):
    for _ in range(source.choice((1, 1, 1, 2, 3, 8, 16))):
        data[source.randrange(start, end)] ^= 1 << source.randrange(8)


def set_bytes(source, data, start, end):
    for _ in range(source.choice((1, 1, 2, 4))):
        data[source.randrange(start, end)] = source.choice((0, 1, 0x7F, 0x80, 0xFF, source.randrange(256)))


def set_number(source, data, start, end):
    size = source.choice((1, 2, 4, 4, 8))
    at = source.randrange(start, end)
    number = source.choice((*NUMBERS, source.getrandbits(8 * size))) & (1 << 8 * size) - 1
    data[at:at + size] = number.to_bytes(size, "little")


def run(source, start, end):
    first = source.randrange(start, end)
    return first, min(end, first + source.choice((1, 2, 4, 8, 16, 64, 500)))


def overwrite(source, data, start, end):
    first, last = run(source, start, end)
    data[first:last] = source.randbytes(last - first)


def fill(source, data, start, end):
    first, last = run(source, start, end)
    data[first:last] = bytes([source.choice((0, 0, 0xFF))]) * (last - first)


def delete(source, data, start, end):
    first, last = run(source, start, end)
    del data[first:last]


def duplicate(source, data, start, end):
    first, last = run(source, start, end)
    data[last:last] = data[first:last]


def move(source, data, start, end):
    first, last = run(source, start, end)
    piece = data[first:last]
    del data[first:last]
    at = source.randrange(start, end)
    data[at:at] = piece


def truncate(source, data, start, end):
    del data[source.randrange(start, end):]


def append(source, data, _start, _end):
    data += source.randbytes(source.choice((1, 4, 100)))


def prepend(source, data, _start, _end):
    data[:0] = source.randbytes(source.choice((1, 4, 100)))


def set_dictionary(source, data, _start, end):
    """Sets one of the dictionary sizes of the Lzma format, up to the largest."""
    at = end - 12  # the size of the content follows it
    size = source.choice((2, 3)) << source.randrange(11, 31)
    data[at:at + 4] = min(size, 0xFFFFFFFF).to_bytes(4, "little")


ANYWHERE = (flip_bits, flip_bits, set_bytes, set_number, overwrite, fill, delete, duplicate, move,
            truncate, truncate, append, prepend)
IN_DIRECTORY = (flip_bits, flip_bits, flip_bits, set_bytes, set_number, set_number, overwrite, fill,
                delete, duplicate)
OF_THE_FORMAT = {"lzma": (set_dictionary,) * 8, "lzma86": (set_dictionary,) * 8}


def splice(source, group, data):
    """Joins the start of one archive and the rest of another."""
    other = source.choice(seeds(group)).data
    cut = source.randrange(min(len(data), len(other)))
    return bytearray(data[:cut] + other[source.choice((cut, source.randrange(len(other)))):])


def damage_directory(source, group, data):
    kind = group.partition("-")[0]
    start, end = source.choice(DIRECTORY[kind](data))
    directory_end, size = DIRECTORY[kind](data)[-1][1], len(data)
    for _ in range(source.choice((1, 1, 2))):
        if start < len(data):
            source.choice(IN_DIRECTORY + OF_THE_FORMAT.get(kind, ()))(source, data, start, min(end, len(data)))
    if kind == "7z" and source.random() < 0.9:
        reseal(data, directory_end + len(data) - size)
    return data


def damage_anywhere(source, _group, data):
    for _ in range(source.choice((1, 1, 2, 4))):
        if len(data) > 0:
            source.choice(ANYWHERE)(source, data, 0, len(data))
    return data


def limit_sizes(data):
    """Lowers the sizes of the items in a Zip file to less than 16 MB."""
    for signature, size_at in ((b"PK\3\4", 22), (b"PK\1\2", 24)):
        at = data.find(signature)
        while at >= 0:
            if at + size_at + 4 <= len(data):
                data[at + size_at + 3] = 0
            at = data.find(signature, at + 1)


def mutant(group, number):
    """Returns a damaged archive of a group of seeds."""
    source = random.Random(f"{group}/{number}")
    data = bytearray(source.choice(seeds(group)).data)
    way = source.choices((damage_directory, damage_anywhere, splice), (6, 5, 1))[0]
    data = way(source, group, data)
    if group == "zip-implode":
        # 7-Zip's decoder does not notice the end of its input. It writes as many bytes as the size says.
        limit_sizes(data)
    return bytes(data)


def main(arguments):
    group, number, file = arguments
    Path(file).write_bytes(mutant(group, int(number)))


if __name__ == "__main__":
    main(sys.argv[1:])
