"""What 7-Zip's own console program lists in an archive, and what it unpacks from it."""

import os
import re
import subprocess
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

from programs import NATIVE_7ZZ

# The kinds of archives, by the type that the program shows for one at the start of a file. The first word of
# a kind is that type. A 7z archive may also start later: its kind is "7z".
KINDS_AT_START = {"7z": "7z at the start", "lzma86": "lzma86", "lzma": "lzma", "cab": "cab", "zip": "zip"}
# The name for an item without a name: the program derives it from the archive, the library has its own.
NAMELESS, CONTENT = "archive~", "[content]"


def seven_zip(command, kind, archive, *options, memory=None):
    """Runs the program with a wrong password. It may allocate `memory` bytes, or any number if None.

    It looks for an archive of that kind anywhere in the first 8 MB of the file.
    """
    type_option = "-t" + kind.partition(" ")[0]
    limit = ["prlimit", f"--as={memory}"] if memory else []
    process = subprocess.run(
        [*limit, NATIVE_7ZZ, command, "-y", "-bd", "-mmt=off", "-sccUTF-8", "-pwrong", type_option, *options, archive],
        stdin=subprocess.DEVNULL, capture_output=True, timeout=300, text=True, errors="surrogateescape", check=False)
    if process.returncode not in (0, 1, 2, 8):  # the documented codes that concern archives
        raise RuntimeError(f"{process.args} ended with {process.returncode}:\n{process.stderr}")
    return process


def program_methods():
    """Returns the names of the methods that the program has for 7z archives."""
    listing = subprocess.run([NATIVE_7ZZ, "i"], capture_output=True, text=True, check=True).stdout
    codecs = listing.partition("\nCodecs:\n")[2].partition("\n\n")[0]
    return {line.split()[-1] for line in codecs.splitlines()}


def lacks_memory(kind, archive, memory):
    """Whether that much memory is too little for the program."""
    process = seven_zip("t", kind, archive, memory=memory)
    return "Can't allocate required memory" in process.stdout + process.stderr


def type_of(archive, types):
    """Returns the type as which the program opens an archive if only these are allowed, or None."""
    found = re.search("^Type = (.*)", seven_zip("l", types, archive, "-slt").stdout, re.MULTILINE)
    return found and found[1].lower()


def kind_of(archive):
    """Returns the kind as which the library has to open an archive, or None.

    It recognises a format by the start of the file, and tries 7z last, anywhere in the file. What it
    extracts may start anywhere too. No file can start as two formats, so their order does not matter.
    """
    # Told the type, the program opens a few more archives than if it finds the type itself.
    types = ("*", *KINDS_AT_START)
    at_start = filter(None, (KINDS_AT_START.get(type_of(archive, f"{each}:s0")) for each in types))
    return next(at_start, None) or type_of(archive, "7z")


def files_below(folder):
    """Returns the files and folders below a folder by their relative path."""
    return {str(Path(parent, name).relative_to(folder)): Path(parent, name)
            for parent, folders, files in os.walk(folder) for name in folders + files}


@dataclass
class Item:
    name: str
    is_folder: bool
    encrypted: bool
    methods: set[str]
    crc: int | None  # of the content


def read_item(block, names):
    """Reads an item from the program's listing, which starts with its name.

    `names` maps a listed name to the real one where they differ.
    """
    name = block.partition("\n")[0]
    return Item(names.get(name, name), bool(re.search(r"^(Folder = \+|Attributes = D)", block, re.MULTILINE)),
                "\nEncrypted = +" in block,
                set(re.findall(r"\w+", " ".join(re.findall(r"^Method = (.*)", block, re.MULTILINE)))),
                next((int(crc, 16) for crc in re.findall(r"^CRC = (\w+)$", block, re.MULTILINE)), None))


class Reference:
    """What the program unpacks from an archive, into `folder`, which must not exist."""

    def __init__(self, kind, archive, folder):
        process = seven_zip("x", kind, archive, f"-o{folder}")
        complaints = {line.rpartition(" : ")[2] for line in process.stderr.split("\n")
                      if line.startswith("ERROR: ")}
        found = files_below(folder)
        self.kind, self.archive, self.code = kind, archive, process.returncode
        self.names = complaints | found.keys()
        # The files that it wrote without a complaint.
        self.whole = {name: path for name, path in found.items()
                      if name not in complaints and path.is_file() and not path.is_symlink()}

    @cached_property
    def items(self):
        """All items, in the order of the archive."""
        listing = seven_zip("l", self.kind, self.archive, "-slt").stdout.partition("\n----------\n")[2]
        # The program lists a line break as an underscore.
        broken = {name.replace("\n", "_"): name for name in self.names if "\n" in name}
        return [read_item(block, broken) for block in re.split(r"^Path = ", listing, flags=re.MULTILINE)[1:]]

    def up_to(self, name):
        """Returns the items up to and including the last one of that name, or all if there is none."""
        last = max((at for at, item in enumerate(self.items) if item.name == name), default=len(self.items))
        return self.items[:last + 1]
