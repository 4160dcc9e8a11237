"""What 7-Zip's own console program lists in an archive, and what it unpacks from it."""

import os
import re
import resource
import subprocess
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

from programs import NATIVE_7ZZ

# The types of the program, in the order in which the library tries its formats.
TYPES = {"7z at the start": "7z", "lzma86": "lzma86", "lzma": "lzma", "cab": "cab", "zip": "zip", "7z": "7z"}
# The name for an item without a name: the program derives it from the archive, the library has its own.
NAMELESS, CONTENT = "archive~", "[content]"


def seven_zip(command, kind, archive, *options, memory=None, at_start=False):
    """Runs the program with a wrong password. It may allocate `memory` bytes, or any number if None.

    It looks for an archive of the type anywhere in the first 8 MB, or only at the start of the file.
    """
    type_option = f"-t{TYPES[kind]}" + (":s0" if at_start else "")
    limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (memory, memory))) if memory else None
    process = subprocess.run(
        [NATIVE_7ZZ, command, "-y", "-bd", "-mmt=off", "-sccUTF-8", "-pwrong", type_option, *options, archive],
        input="", capture_output=True, timeout=300, text=True, errors="surrogateescape", preexec_fn=limit,
        check=False)
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


def kind_of(archive):
    """Returns the key in TYPES of the type as which the library has to open an archive, or None.

    It recognises a format by the start of the file, and tries 7z last, anywhere in the file. What it
    extracts may start anywhere too.
    """
    return next((kind for kind in TYPES if "\nType = " in seven_zip(
        "l", kind, archive, "-slt", at_start=kind != "7z").stdout), None)


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
