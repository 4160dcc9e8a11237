#!/usr/bin/env python3
"""Makes the archives for the tests of the extraction.

    make_archives.py 7ZZ FOLDER

7ZZ is 7-Zip's console program. FOLDER is replaced: it receives the archives, and a folder "tree" with
the contents of most of them. The contents are the same every time.
"""

import lzma
import os
import random
import shutil
import struct
import subprocess
import sys
import zipfile
from pathlib import Path

sys.dont_write_bytecode = True

from writers.cabinet import MSZIP, STORED, cabinet

TIME = 1262304000  # 2010-01-01 00:00:00 UTC


def machine_code(size, seed):
    """Returns bytes that compress to some degree, and that the x86 and delta filters change."""
    source = random.Random(seed)
    code = bytearray()
    while len(code) < size:
        code += bytes([0x55, 0x8B, 0xEC, 0xE8]) + struct.pack("<i", source.randrange(-5000, 5000))
        code += bytes(source.randrange(256) for _ in range(source.randrange(4)))
    return bytes(code[:size])


TREE = {
    "path.txt": b"win10 win8 64\r\n",
    "usb/x64/usbaapl64.inf": b"; driver\r\n[Version]\r\n" * 50,
    "usb/x64/usbaapl64.sys": machine_code(150_000, 1),
    "usb/x64/usbaaplrc.dll": machine_code(70_000, 2),
    "usb/x86/usbaapl.inf": b"; driver\r\n[Version]\r\n" * 40,
    "usb/x86/usbaapl.PNF": machine_code(5_000, 3),
    "usb/x86/empty.txt": b"",
    "net/\u00fcml\u00e4ut \u65e5\u672c.txt": b"names are not ASCII\r\n",
}
READ_ONLY = "usb/x86/usbaapl.PNF"
EMPTY_FOLDERS = ("applekis/x86", "applersm/x86")
SAMPLE = machine_code(100_000, 4)  # the content of archives without item names


def write_tree(folder):
    for name, content in TREE.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_bytes(content)
    for name in EMPTY_FOLDERS:
        (folder / name).mkdir(parents=True)
    for path in folder.rglob("*"):
        os.utime(path, (TIME, TIME))
        path.chmod(0o755 if path.is_dir() else 0o644)
    (folder / READ_ONLY).chmod(0o444)


class SevenZip:
    def __init__(self, program, tree):
        self.program = program
        self.tree = tree

    def run(self, *arguments):
        subprocess.run([self.program, *map(str, arguments)], cwd=self.tree, check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, "LC_ALL": "C.UTF-8"})

    def pack(self, archive, *options):
        self.run("a", "-bd", *options, archive, ".")


def seven_zip_archives(pack, folder):
    """Makes 7z archives of the tree with every method and option that the library has to read."""
    def archive(name, *options):
        pack.pack(folder / f"{name}.7z", "-t7z", *options)

    archive("drivers", "-ms=on", "-m0=BCJ", "-m1=LZMA2")
    archive("lzma", "-m0=LZMA")
    archive("copy", "-m0=Copy")
    archive("delta", "-m0=Delta:4", "-m1=LZMA2")
    archive("bcj2", "-m0=BCJ2", "-m1=LZMA", "-m2=LZMA", "-m3=LZMA", "-mb0:1", "-mb0s1:2", "-mb0s2:3")
    archive("deflate", "-m0=Deflate")
    archive("deflate64", "-m0=Deflate64")
    archive("separate", "-ms=off", "-m0=LZMA2")
    archive("all-times", "-mtc=on", "-mta=on", "-m0=LZMA2")
    archive("no-times", "-mtm=off", "-m0=LZMA2")
    archive("ppmd", "-m0=PPMd")
    archive("encrypted", "-psecret", "-m0=LZMA2")
    archive("encrypted-names", "-psecret", "-mhe=on", "-m0=LZMA2")
    pack.run("a", "-bd", "-t7z", folder / "folders.7z", *EMPTY_FOLDERS)
    pack.run("a", "-bd", "-t7z", folder / "empty.7z", "path.txt")
    pack.run("d", "-bd", folder / "empty.7z", "path.txt")


def zip_archives(pack, folder):
    for method in ("Copy", "Deflate", "Deflate64", "LZMA"):
        pack.pack(folder / f"{method.lower()}.zip", "-tzip", f"-mm={method}")
    pack.pack(folder / "encrypted.zip", "-tzip", "-psecret")
    with zipfile.ZipFile(folder / "without-folders.zip", "w") as archive:
        archive.writestr(zipfile.ZipInfo("plain.txt"), b"plain")
        archive.writestr(zipfile.ZipInfo("deep/deeper/deepest.txt"), b"deep")


def lzma86(content, filtered):
    """Returns an archive in 7-Zip's format Lzma86: an Lzma file after a byte for the use of the x86 filter."""
    coder = {"id": lzma.FILTER_LZMA1, "preset": 6, "lc": 3, "lp": 0, "pb": 2, "dict_size": 1 << 20}
    filters = ([{"id": lzma.FILTER_X86}] if filtered else []) + [coder]
    packed = lzma.compress(content, lzma.FORMAT_RAW, filters=filters)
    header = struct.pack("<BBIQ", int(filtered), (2 * 5 + 0) * 9 + 3, 1 << 20, len(content))
    return header + packed


def single_file_archives(folder):
    (folder / "sample.lzma").write_bytes(lzma.compress(SAMPLE, lzma.FORMAT_ALONE))
    (folder / "sample.xz").write_bytes(lzma.compress(SAMPLE, lzma.FORMAT_XZ))
    (folder / "sample.lzma86").write_bytes(lzma86(SAMPLE, filtered=False))
    (folder / "sample-x86.lzma86").write_bytes(lzma86(SAMPLE, filtered=True))


def cab_archives(folder):
    files = {name: content for name, content in TREE.items() if name.isascii()}
    (folder / "stored.cab").write_bytes(cabinet(files, STORED, [READ_ONLY]))
    (folder / "mszip.cab").write_bytes(cabinet(files, MSZIP, [READ_ONLY]))


def damaged_archives(folder):
    """Makes archives that are truncated, damaged, empty or not archives at all, from the 7z archives."""
    good = (folder / "drivers.7z").read_bytes()

    def flipped(position):
        return good[:position] + bytes([good[position] ^ 0x10]) + good[position + 1:]

    (folder / "truncated.7z").write_bytes(good[:len(good) // 2])
    (folder / "flipped-data.7z").write_bytes(flipped(40_000))
    (folder / "flipped-header.7z").write_bytes(flipped(len(good) - 20))
    (folder / "nothing.7z").write_bytes(b"")
    (folder / "text.7z").write_bytes(b"This is no archive.\r\n" * 20)
    (folder / "behind-a-program.7z").write_bytes(b"MZ" + b"stub " * 100 + good)
    stored = (folder / "copy.7z").read_bytes()
    (folder / "wrong-sum.7z").write_bytes(stored.replace(b"win10 win8 64", b"win10 win8 65"))


def main():
    program, folder = sys.argv[1], Path(sys.argv[2]).resolve()
    shutil.rmtree(folder, ignore_errors=True)
    tree = folder / "tree"
    tree.mkdir(parents=True)
    write_tree(tree)
    (folder / "sample.bin").write_bytes(SAMPLE)
    pack = SevenZip(program, tree)
    seven_zip_archives(pack, folder)
    zip_archives(pack, folder)
    single_file_archives(folder)
    cab_archives(folder)
    damaged_archives(folder)


if __name__ == "__main__":
    main()
