#!/usr/bin/env python3
"""Archives of every format, and damaged copies of them. A format and a number always give the same one.

    mutations.py FORMAT NUMBER FILE    writes one of them, to examine what a test reports
"""

import lzma
import os
import random
import struct
import subprocess
import sys
import tempfile
import zlib
from functools import cache
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "archive"))

from make_archives import TIME, lzma86, machine_code
from writers.cabinet import MSZIP, STORED, cabinet

# Small, so that thousands of archives unpack quickly, but enough for several blocks if a format has them.
TREE = {
    "path.txt": b"win10 win8 64\r\n",
    "usb/one.inf": b"; driver\r\n[Version]\r\n" * 50,
    "usb/two.sys": machine_code(6_000, 1),
    "usb/empty.txt": b"",
    "net/three.dll": machine_code(3_000, 2),
}
EMPTY_FOLDER = "none/x86"
LAST_ACCESS = 4102444800  # in 2100; an earlier time would change when the file is packed
LONG = machine_code(40_000, 3)

SEVEN_ZIP = {
    "lzma2": ("-m0=BCJ", "-m1=LZMA2"),
    "lzma": ("-m0=LZMA",),
    "copy": ("-m0=Copy",),
    "bcj2": ("-m0=BCJ2", "-m1=LZMA", "-m2=LZMA", "-m3=LZMA", "-mb0:1", "-mb0s1:2", "-mb0s2:3"),
    "deflate": ("-m0=Deflate",),
    "delta": ("-m0=Delta:4", "-m1=LZMA2"),
    "separate": ("-ms=off", "-m0=LZMA2", "-mta=on"),
}
ZIP = ("Copy", "Deflate", "Deflate64", "LZMA")


class Packer:
    """Packs TREE with 7-Zip's console program."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.tree = self.folder / "tree"
        for name, content in TREE.items():
            (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
            (self.tree / name).write_bytes(content)
        (self.tree / EMPTY_FOLDER).mkdir(parents=True)
        for path in list(self.tree.rglob("*")):
            path.chmod(0o755 if path.is_dir() else 0o644)
            os.utime(path, (LAST_ACCESS, TIME))

    def pack(self, *options):
        archive = self.folder / "archive"
        archive.unlink(missing_ok=True)
        subprocess.run(["7zz", "a", "-bd", "-mmt=off", *options, f"{archive}.", "."], cwd=self.tree,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
        return archive.read_bytes()


@cache
def sources():
    """Returns {format: list of undamaged archives}."""
    with tempfile.TemporaryDirectory() as folder:
        packer = Packer(folder)
        seven_zip = [packer.pack("-t7z", f"-mhc={header}", *method)
                     for method in SEVEN_ZIP.values() for header in ("off", "on")]
        zips = [packer.pack("-tzip", f"-mm={method}") for method in ZIP]
    alone = [{"id": lzma.FILTER_LZMA1, "preset": 6, "dict_size": size} for size in (1 << 16, 1 << 20)]
    return {
        "7z": seven_zip,
        "zip": zips,
        "cab": [cabinet(TREE, method) for method in (STORED, MSZIP)]
               + [cabinet({"long.bin": LONG, **TREE}, method) for method in (STORED, MSZIP)],
        "lzma": [lzma.compress(content, lzma.FORMAT_ALONE, filters=[coder])
                 for content in (TREE["usb/two.sys"], LONG) for coder in alone],
        "lzma86": [lzma86(content, filtered) for content in (TREE["usb/two.sys"], LONG)
                   for filtered in (False, True)],
        "xz": [lzma.compress(content, lzma.FORMAT_XZ) for content in (TREE["usb/two.sys"], LONG)],
    }


# ---- the parts of an archive that are not content

def seven_zip_directory(data):
    offset, size = struct.unpack_from("<QQ", data, 12)
    return [(12, 32), (32 + offset, 32 + offset + size)]


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
    "7z": seven_zip_directory,
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


def splice(source, kind, data):
    """Joins the start of one archive and the rest of another."""
    other = source.choice(sources()[kind])
    cut = source.randrange(min(len(data), len(other)))
    return bytearray(data[:cut] + other[source.choice((cut, source.randrange(len(other)))):])


def reseal(data, directory_end):
    """Corrects the checksums of a 7z archive, so that 7-Zip reads its damaged directory at all."""
    offset, = struct.unpack_from("<Q", data, 12)
    if 32 + offset <= directory_end <= len(data):
        struct.pack_into("<QI", data, 20, directory_end - 32 - offset,
                         zlib.crc32(data[32 + offset:directory_end]))
    struct.pack_into("<I", data, 8, zlib.crc32(data[12:32]))


def damage_directory(source, kind, data):
    start, end = source.choice(DIRECTORY[kind](data))
    directory_end, size = DIRECTORY[kind](data)[-1][1], len(data)
    for _ in range(source.choice((1, 1, 2))):
        if start < len(data):
            source.choice(IN_DIRECTORY + OF_THE_FORMAT.get(kind, ()))(source, data, start, min(end, len(data)))
    if kind == "7z" and source.random() < 0.9:
        reseal(data, directory_end + len(data) - size)
    return data


def damage_anywhere(source, _kind, data):
    for _ in range(source.choice((1, 1, 2, 4))):
        if len(data) > 0:
            source.choice(ANYWHERE)(source, data, 0, len(data))
    return data


def mutant(kind, number):
    """Returns a damaged archive of a format."""
    source = random.Random(f"{kind}/{number}")
    data = bytearray(source.choice(sources()[kind]))
    way = source.choices((damage_directory, damage_anywhere, splice), (6, 5, 1))[0]
    return bytes(way(source, kind, data))


def main(arguments):
    kind, number, file = arguments
    Path(file).write_bytes(mutant(kind, int(number)))


if __name__ == "__main__":
    main(sys.argv[1:])
