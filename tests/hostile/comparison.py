"""Compares what the library made of an archive with what 7-Zip's own console program makes of it."""

import filecmp
import os
import re
import resource
import subprocess
from collections import Counter
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

# The program looks for an archive of the type anywhere in the first 8 MB unless told otherwise. The
# library knows all formats but 7z by what is at the very beginning.
TYPE_OPTION = {"7z": "-t7z", "zip": "-tzip:s0", "cab": "-tcab:s0", "lzma": "-tlzma:s0",
               "lzma86": "-tlzma86:s0", "xz": "-txz:s0"}
# What an item without a name is called: by the program after the archive, and by the library.
NAMELESS, CONTENT = "archive~", "[content]"


def seven_zip(command, kind, archive, *options, memory=None):
    """Runs the program; `memory` is how many bytes it may allocate. It gets an empty password."""
    limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (memory, memory))) if memory else None
    return subprocess.run(["7zz", command, "-y", "-bd", "-mmt=off", "-sccUTF-8", TYPE_OPTION[kind], *options,
                           archive], stdin=subprocess.DEVNULL, capture_output=True, timeout=300, text=True,
                          errors="replace", preexec_fn=limit, check=False)


def lacks_memory(kind, archive, memory):
    process = seven_zip("t", kind, archive, memory=memory)
    return "Can't allocate required memory" in process.stdout + process.stderr


def files_below(folder):
    """The files and folders by their path in the folder."""
    return {str(Path(parent, name).relative_to(folder)): Path(parent, name)
            for parent, folders, files in os.walk(folder) for name in folders + files}


@dataclass
class Item:
    name: str
    encrypted: bool


class Reference:
    """What the program made of an archive. Unpacks into `folder`, which must not exist."""

    def __init__(self, kind, archive, folder):
        process = seven_zip("x", kind, archive, f"-o{folder}")
        complaints = {line.rpartition(" : ")[2] for line in process.stderr.splitlines()
                      if line.startswith("ERROR: ")}
        found = files_below(folder)
        self.kind, self.archive, self.code = kind, archive, process.returncode
        self.names = complaints | found.keys()
        # What it wrote and had nothing to say against.
        self.whole = {name: path for name, path in found.items()
                      if name not in complaints and path.is_file() and not path.is_symlink()}

    @cached_property
    def items(self):
        """All items in the archive's order."""
        listing = seven_zip("l", self.kind, self.archive, "-slt").stdout.partition("\n----------\n")[2]
        return [Item(block.split("\n")[0], "\nEncrypted = +" in block)
                for block in re.split(r"^Path = ", listing, flags=re.MULTILINE)[1:]]

    def before(self, name):
        """The items before the one of that name, and it."""
        names = [item.name for item in self.items]
        return self.items[:names.index(name) + 1] if name in names else self.items


FORBIDDEN = re.compile(r'[<>:"|?*\\\x00-\x1f\ud800-\udfff\ue000-\uf8ff]')
DEVICES = {"con", "prn", "aux", "nul", *(f"{port}{n}" for port in ("com", "lpt") for n in range(1, 10))}


def is_device(name):
    return any(part.partition(".")[0].rstrip(" ").lower() in DEVICES for part in name.split("/"))


def is_odd(name):
    """Whether Windows does not take a path as it is."""
    return is_device(name) or any(part == "" or part[-1] in " ." or FORBIDDEN.search(part)
                                  for part in name.split("/"))


E_ABORT, E_OUTOFMEMORY = 0x80004004, 0x8007000E
# What comes of a name that Windows refuses, or that it takes for another's.
NAME_FAILURES = {0x80070002, 0x80070003, 0x80070005, 0x8007007B, 0x80070091, 0x65F}
# Bytes. Smaller blocks are to be had in a 32-bit process; and what a coder takes without a dictionary.
A_LARGE_BLOCK, MOST_OF_ITS_OWN = 512 << 20, 32 << 20
ADDRESS_SPACE = 2 << 30  # bytes that a 32-bit process has

# Why a file is not compared by its name.
OTHER_NAME = "found under another name, since Windows reads the one in the archive otherwise"
DEVICE = "with the name of a device, for which no file is written"
NO_NAME = "without a name, for which no file is written"
CLASH = "in whose place is another, which differs by case alone"
STOPPED_BY_NAME = "at or behind an item whose name Windows refuses, which ends the extraction"
STOPPED_BY_PASSWORD = "behind an encrypted item, which ends the extraction"
NO_MEMORY = "that take a larger block of memory than a 32-bit process can have"


class Comparison:
    """Holds one archive's outcome against the reference.

    `place` is the folder that holds "archive" and, when the library has unpacked any of it, "out".
    """

    def __init__(self, outcome, reference, place):
        self.outcome, self.reference = outcome, reference
        self.archive = place / "archive"
        self.mine = {name.lower(): path for name, path in files_below(place / "out").items()}
        self.names = Counter(name.lower() for name in reference.names)
        self.problems, self.counts = [], Counter()
        for name, file in reference.whole.items():
            self._compare(name, file)
        self._judge_result()
        self._judge_memory()

    def _compare(self, name, file):
        mine = self.mine.get(CONTENT if name == NAMELESS else name.lower())
        if mine is not None and mine.is_file() and filecmp.cmp(mine, file, shallow=False):
            self.counts["compared"] += 1
        elif reason := self._excuse(name, file, mine):
            self.counts[reason] += 1
        else:
            self.problems.append(f"{name} {'is missing' if mine is None else 'differs'} (result "
                                 f"{self.outcome.text()}), and 7-Zip has it whole")

    def _excuse(self, name, file, mine):
        if (mine is None or mine.stat().st_size == 0) and self._lacked_memory():
            return NO_MEMORY
        if mine is not None:
            return CLASH if self.names[name.lower()] > 1 else None
        if name == NAMELESS:
            return NO_NAME
        if (is_odd(name) or self._has_code_page(name)) and self._is_elsewhere(file):
            return OTHER_NAME
        if is_device(name):
            return DEVICE
        if self._was_stopped_by_name(self.reference.before(name)):
            return STOPPED_BY_NAME
        if self._was_stopped_by_password(self.reference.before(name)):
            return STOPPED_BY_PASSWORD
        return None

    def _has_code_page(self, name):
        return self.reference.kind in ("zip", "cab") and not name.isascii()

    def _was_stopped_by_name(self, items):
        return self.outcome.result in NAME_FAILURES and any(is_odd(item.name) for item in items)

    def _was_stopped_by_password(self, items):
        return self.outcome.result == E_ABORT and any(item.encrypted for item in items)

    def _lacked_memory(self):
        """Whether a large block could not be had, without which the program does not manage either."""
        block = self.outcome.refused
        if block == 0 and self.outcome.result == E_OUTOFMEMORY:
            block = ADDRESS_SPACE  # so large that nobody was even asked for it
        return block >= A_LARGE_BLOCK and lacks_memory(self.reference.kind, self.archive, block)

    def _is_elsewhere(self, file):
        return any(path.is_file() and filecmp.cmp(path, file, shallow=False)
                   for name, path in self.mine.items() if name not in self.names)

    def _judge_result(self):
        items = self.reference.items if self.reference.code == 0 and self.outcome.result != 0 else None
        if items is not None and not (self._was_stopped_by_name(items) or self._was_stopped_by_password(items)
                                      or self._lacked_memory()):
            self.problems.append(f"the result is {self.outcome.text()}, and 7-Zip finds nothing wrong")

    def _judge_memory(self):
        """What is allocated has to be what the archive asks for, as a dictionary."""
        if self.outcome.peak > MOST_OF_ITS_OWN and not lacks_memory(
                self.reference.kind, self.archive, self.outcome.peak):
            self.problems.append(f"{self.outcome.peak} bytes are allocated, and 7-Zip manages with fewer")
