"""Shared by the tests of the driver archive. Importing it makes the packages in tools/ importable."""

import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parents[2]
DRIVERS = ROOT / "resources" / "drivers"
PACKER = ROOT / "tools" / "mendloft-pack"
SEVEN_ZIP = shutil.which("7zz") or shutil.which("7z")
sys.path.insert(0, str(ROOT / "tools"))


class PackTest(unittest.TestCase):
    """A test with a work folder that holds a complete tree of driver packages."""

    def setUp(self):
        self.work = Path(tempfile.mkdtemp(prefix="mendloft-pack-test-"))
        self.addCleanup(shutil.rmtree, self.work)
        self.tree = self.work / "packages"
        shutil.copytree(DRIVERS, self.tree)
        self.archive = self.work / "driver.7z"

    def pack(self, *arguments, **environment):
        """Runs mendloft-pack; the result has returncode, stdout and stderr."""
        return subprocess.run([sys.executable, PACKER, *arguments], cwd=self.work, text=True,
                              encoding="utf-8", stdin=subprocess.DEVNULL, capture_output=True,
                              env={**os.environ, **environment}, check=False)

    def make(self, **environment):
        return self.pack("make", self.tree, self.archive, **environment)

    def made(self):
        """Makes the archive from the tree, which must have no problems, and returns its bytes."""
        result = self.make()
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        return self.archive.read_bytes()

    def complete_tree(self):
        """Adds the empty folders, which git does not store."""
        for folder in ("applekis", "applersm", "appleusbdevice"):
            (self.tree / folder / "x86").mkdir(exist_ok=True)

    def seven_zip(self, *options):
        """Packs the tree with 7-Zip alone, and so in ways that mendloft-pack avoids."""
        subprocess.run([SEVEN_ZIP, "a", "-t7z", "-bd", *options, self.archive, "*"], cwd=self.tree,
                       stdin=subprocess.DEVNULL, capture_output=True, check=True)

    def another_seven_zip(self, script, name="7zz"):
        """Returns a program that stands in for 7-Zip and runs a shell script. It is alone in its folder."""
        program = self.work / "programs" / name
        program.parent.mkdir(exist_ok=True)
        program.write_text("#!/bin/sh\n" + script, encoding="ascii")
        program.chmod(0o755)
        return program

    def assertProblems(self, result, *problems):
        """Asserts that the run failed with exactly these problems, in any order."""
        self.assertEqual(1, result.returncode, result.stdout + result.stderr)
        *printed, count = [line.split(": ", 2)[2] for line in result.stderr.splitlines()
                        if ": remark: " not in line]
        self.assertEqual(sorted(problems), sorted(printed))
        self.assertEqual(f"{len(problems)} problem" + ("s" if len(problems) > 1 else ""), count)

    def assertRemarks(self, result, *remarks):
        """Asserts that the run printed exactly these remarks, in any order."""
        printed = [line.partition(": remark: ")[2] for line in result.stderr.splitlines()
                if ": remark: " in line]
        self.assertEqual(sorted(remarks), sorted(printed))


def technical_listing(archive):
    """Returns (properties of the archive, properties of each item by path), as 7-Zip lists them."""
    text = subprocess.run([SEVEN_ZIP, "l", "-slt", archive], text=True, capture_output=True,
                          check=True).stdout
    head, _, tail = text.partition("\n----------\n")
    blocks = [dict(re.findall(r"^(.+?) = (.*)$", block, re.MULTILINE))
              for block in [head.rpartition("\n--\n")[2], *tail.strip().split("\n\n")]]
    return blocks[0], {block["Path"]: block for block in blocks[1:]}


def reseal(data):
    """Corrects the two checksums at the start of a 7z archive after a change to its directory."""
    data = bytearray(data)
    offset, size = struct.unpack_from("<QQ", data, 12)
    struct.pack_into("<I", data, 28, zlib.crc32(data[32 + offset:32 + offset + size]))
    struct.pack_into("<I", data, 8, zlib.crc32(data[12:32]))
    return bytes(data)


def rename_item(data, old, new):
    """Renames an item in an uncompressed directory. The new name must be as long as the old one."""
    old, new = ((name + "\0").encode("utf-16-le") for name in (old, new))
    if len(old) != len(new) or data.count(old) != 1:
        raise ValueError("cannot rename in place")
    return reseal(data.replace(old, new))


def set_attributes(data, old, new):
    """Replaces the attributes of the only item that has them."""
    old, new = struct.pack("<I", old), struct.pack("<I", new)
    at = data.rindex(old)
    return reseal(data[:at] + new + data[at + 4:])
