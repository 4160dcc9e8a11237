#!/usr/bin/env python3
"""Undamaged archives, which together use every decoder in the library.

    seeds.py            prints the names of their groups
    seeds.py FOLDER     writes all of them there, to examine them
"""

import lzma
import os
import random
import struct
import subprocess
import sys
import tempfile
from collections import namedtuple
from functools import cache, partial
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "archive"))

from make_archives import TIME, lzma86, machine_code
from programs import NATIVE_7ZZ
from writers import cabinet, implode, lzfse, lzx, quantum, seven_zip, shrink, zip_file, zstd

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
LONG_TREE = {"long.bin": LONG, **TREE}

# `files` is what the library unpacks, with the result `result`.
Seed = namedtuple("Seed", "name data files result", defaults=(0,))


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

    def pack(self, *options, names=(".",)):
        archive = self.folder / "archive"
        archive.unlink(missing_ok=True)
        subprocess.run([NATIVE_7ZZ, "a", "-bd", "-mmt=off", *options, f"{archive}.", *names], cwd=self.tree,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
        return archive.read_bytes()


SEVEN_ZIP = {
    "lzma2": ("-m0=BCJ", "-m1=LZMA2"),
    "lzma": ("-m0=LZMA",),
    "copy": ("-m0=Copy",),
    "bcj2": ("-m0=BCJ2", "-m1=LZMA", "-m2=LZMA", "-m3=LZMA", "-mb0:1", "-mb0s1:2", "-mb0s2:3"),
    "deflate": ("-m0=Deflate",),
    "delta": ("-m0=Delta:4", "-m1=LZMA2"),
    "separate": ("-ms=off", "-m0=LZMA2", "-mta=on"),
}
MORE_SEVEN_ZIP = {
    "deflate64": ("-m0=Deflate64",),
    "swap2": ("-m0=Swap2", "-m1=LZMA2"),
    "swap4": ("-m0=Swap4", "-m1=Deflate64"),
    "only-swap2": ("-m0=Swap2",),
    "only-swap4": ("-m0=Swap4",),
    "delta-copy": ("-m0=Delta:3", "-m1=Copy"),
    "bcj-deflate": ("-m0=BCJ", "-m1=Deflate"),
}
ZIP = ("Copy", "Deflate", "Deflate64", "LZMA")
XZ_FILTERS = ("BCJ", "PPC", "IA64", "ARM", "ARMT", "SPARC", "ARM64", "RISCV", "Delta:4")
XZ_CHECKS = {"no-check": lzma.CHECK_NONE, "crc32": lzma.CHECK_CRC32, "crc64": lzma.CHECK_CRC64,
             "sha256": lzma.CHECK_SHA256}

ENCRYPTED = random.Random(5).randbytes(4_000)  # nothing decrypts it
NO_ARCHIVE = 1
E_ABORT = 0x80004004  # the answer to the request for a password
AES256CBC, AES_OF_7Z = 0x06F00181, 0x06F10701  # numbers of methods in 7z archives
AES_PROPERTIES = bytes([0xC0 | 19, 0xFF]) + bytes(32)  # 2 to the power of 19 rounds, salt and first vector
# Fields of Zip items.
WINZIP_AES = {f"aes{64 + 64 * size}": struct.pack("<HHH2sBH", 0x9901, 7, 2, b"AE", size, 8) for size in (1, 2, 3)}
STRONG = struct.pack("<HHHHHH", 0x17, 8, 2, 0x660E, 128, 1)


def seven_zip_seeds(packer):
    return [Seed(f"{name}-{header}", packer.pack("-t7z", f"-mhc={header}", *method), TREE)
            for name, method in SEVEN_ZIP.items() for header in ("off", "on")]


def more_seven_zip_seeds(packer):
    found = [Seed(name, packer.pack("-t7z", "-mhc=off", *method), TREE) for name, method in MORE_SEVEN_ZIP.items()]
    # Each file is a block of its own. The last one gets the method; no file is created for it.
    stored = packer.pack("-t7z", "-mhc=off", "-m0=Copy")
    before = {name: content for name, content in TREE.items() if name != "usb/two.sys"}
    return found + [
        Seed("aes256cbc", seven_zip.with_method(stored, AES256CBC), before),
        Seed("7zaes", seven_zip.with_method(stored, AES_OF_7Z, AES_PROPERTIES), before, E_ABORT)]


def zip_seeds(packer):
    return [Seed(method, packer.pack("-tzip", f"-mm={method}"), TREE) for method in ZIP]


def ppmd_seeds(packer):
    return [Seed(f"ppmd-{order}-{memory}", packer.pack("-tzip", "-mm=PPMd", f"-mo={order}", f"-mmem={memory}"), TREE)
            for order, memory in ((2, "1m"), (8, "2m"), (16, "16m"))]


def xz_in_zip_seeds(packer):
    """Seeds with each filter, and with each check."""
    def compress(content, filter_name):
        (packer.tree / "content").write_bytes(content)
        try:
            return packer.pack("-txz", f"-mf={filter_name}", names=("content",))
        finally:
            (packer.tree / "content").unlink()

    writers = {name: partial(compress, filter_name=name) for name in XZ_FILTERS}
    writers.update({name: partial(lzma.compress, check=check) for name, check in XZ_CHECKS.items()})
    return [Seed(name, zip_file.zip_file(TREE, zip_file.Method(95, writer)), TREE)
            for name, writer in writers.items()]


def password_seeds():
    """Seeds with each kind of encryption. The library refuses to give a password, so nothing decrypts them."""
    last = "net/three.dll"

    def seed(name, number, flags=0, extra=b""):
        method = zip_file.Method(number, lambda _: ENCRYPTED, zip_file.ENCRYPTED | flags, extra)
        return Seed(name, zip_file.zip_file(TREE, method, stored=TREE.keys() - {last}), {**TREE, last: b""}, E_ABORT)

    return [seed("zipcrypto", 8), seed("zipcrypto-stored", 0), seed("strong", 8, zip_file.STRONG, STRONG),
            *(seed(name, 99, extra=extra) for name, extra in WINZIP_AES.items())]


def written_zip_seeds(number, compress):
    """Returns seeds whose content a writer of ours compresses."""
    method = zip_file.Method(number, compress)
    return [Seed("tree", zip_file.zip_file(TREE, method), TREE),
            Seed("long", zip_file.zip_file(LONG_TREE, method), LONG_TREE)]


def implode_seeds():
    """Seeds with both sizes of the window, with and without codes for literals."""
    both = implode.LARGE_WINDOW | implode.LITERAL_CODES
    return [Seed(f"flags{flags}", zip_file.zip_file(files, zip_file.Method(
        implode.METHOD, partial(implode.compress, flags=flags), flags)), files)
            for flags, files in ((0, TREE), (implode.LARGE_WINDOW, TREE), (implode.LITERAL_CODES, TREE),
                                 (both, LONG_TREE))]


def cabinet_seeds(methods):
    """Returns seeds for {name: method} with one block, and with two."""
    return [Seed(f"{name}-{len(files)}", cabinet.cabinet(files, method), files)
            for files in (TREE, LONG_TREE) for name, method in methods.items()]


def single_file_seeds():
    """Seeds of the formats without names."""
    alone = [{"id": lzma.FILTER_LZMA1, "preset": 6, "dict_size": size} for size in (1 << 16, 1 << 20)]
    contents = (TREE["usb/two.sys"], LONG)
    named = {content: {"[Content]": content} for content in contents}
    return {
        "lzma": [Seed(f"{len(content)}-{coder['dict_size']}",
                      lzma.compress(content, lzma.FORMAT_ALONE, filters=[coder]), named[content])
                 for content in contents for coder in alone],
        "lzma86": [Seed(f"{len(content)}-{filtered}", lzma86(content, filtered), named[content])
                   for content in contents for filtered in (False, True)],
        "xz": [Seed(str(len(content)), lzma.compress(content, lzma.FORMAT_XZ), {}, NO_ARCHIVE) for content in contents],
    }


def _windows(writer, *sizes):
    return {f"window{bits}": cabinet.with_window(writer, bits) for bits in sizes}


# The name of a group starts with the format.
GROUPS = {
    "7z": seven_zip_seeds,
    "7z-more": more_seven_zip_seeds,
    "zip": zip_seeds,
    "zip-shrink": lambda _: written_zip_seeds(shrink.METHOD, shrink.compress),
    "zip-implode": lambda _: implode_seeds(),
    "zip-ppmd": ppmd_seeds,
    "zip-xz": xz_in_zip_seeds,
    "zip-zstd": lambda _: written_zip_seeds(zstd.METHOD, zstd.compress),
    "zip-lzfse": lambda _: written_zip_seeds(lzfse.METHOD, lzfse.compress),
    "zip-password": lambda _: password_seeds(),
    "cab": lambda _: cabinet_seeds({"stored": cabinet.STORED, "mszip": cabinet.MSZIP}),
    "cab-lzx": lambda _: cabinet_seeds(_windows(lzx, 15, 18, 21)),
    "cab-quantum": lambda _: cabinet_seeds(_windows(quantum, 10, 15, 21)),
    **{name: lambda _, name=name: single_file_seeds()[name] for name in ("lzma", "lzma86", "xz")},
}


@cache
def seeds(group):
    """Returns the seeds of a group."""
    with tempfile.TemporaryDirectory() as folder:
        return GROUPS[group](Packer(folder))


def main(arguments):
    if not arguments:
        print(*GROUPS, sep="\n")
        return
    for group in GROUPS:
        for seed in seeds(group):
            Path(arguments[0], f"{group}.{seed.name}").write_bytes(seed.data)


if __name__ == "__main__":
    main(sys.argv[1:])
