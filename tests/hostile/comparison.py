"""Compares what the library made of an archive with what 7-Zip's own console program makes of it."""

import filecmp
import os
import re
import resource
import shutil
import subprocess
from collections import Counter
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

# The program looks for an archive of the type anywhere in the first 8 MB unless told otherwise. The
# library knows all formats but 7z by what is at the very beginning.
TYPE_OPTION = {"7z at the start": "-t7z:s0", "lzma86": "-tlzma86:s0", "lzma": "-tlzma:s0",
               "cab": "-tcab:s0", "zip": "-tzip:s0", "7z": "-t7z"}  # in the order of the library's attempts
# What an item without a name is called: by the program after the archive, and by the library.
NAMELESS, CONTENT = "archive~", "[content]"


def seven_zip(command, kind, archive, *options, memory=None):
    """Runs the program; `memory` is how many bytes it may allocate. It gets a password that is wrong."""
    limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (memory, memory))) if memory else None
    process = subprocess.run(
        ["7zz", command, "-y", "-bd", "-mmt=off", "-sccUTF-8", "-pwrong", TYPE_OPTION[kind], *options, archive],
        input="", capture_output=True, timeout=300, text=True, errors="surrogateescape", preexec_fn=limit,
        check=False)
    if process.returncode not in (0, 1, 2, 8):  # those of its documentation that tell of archives
        raise RuntimeError(f"{process.args} ended with {process.returncode}:\n{process.stderr}")
    return process


def lacks_memory(kind, archive, memory):
    process = seven_zip("t", kind, archive, memory=memory)
    return "Can't allocate required memory" in process.stdout + process.stderr


def kind_of(archive):
    """The key in TYPE_OPTION with which the program opens an archive, or None."""
    return next((kind for kind in TYPE_OPTION
                 if "\nType = " in seven_zip("l", kind, archive, "-slt").stdout), None)


def files_below(folder):
    """The files and folders by their path in the folder."""
    return {str(Path(parent, name).relative_to(folder)): Path(parent, name)
            for parent, folders, files in os.walk(folder) for name in folders + files}


@dataclass
class Item:
    name: str
    is_folder: bool
    encrypted: bool
    methods: set[str]


def read_item(block, names):
    """Reads what the program lists of an item, from its name on; `names` are those listed differently."""
    name = block.partition("\n")[0]
    return Item(names.get(name, name), bool(re.search(r"^(Folder = \+|Attributes = D)", block, re.MULTILINE)),
                "\nEncrypted = +" in block,
                set(re.findall(r"\w+", " ".join(re.findall(r"^Method = (.*)", block, re.MULTILINE)))))


class Reference:
    """What the program made of an archive. Unpacks into `folder`, which must not exist."""

    def __init__(self, kind, archive, folder):
        process = seven_zip("x", kind, archive, f"-o{folder}")
        complaints = {line.rpartition(" : ")[2] for line in process.stderr.split("\n")
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
        # The program lists a line break as this.
        broken = {name.replace("\n", "_"): name for name in self.names if "\n" in name}
        return [read_item(block, broken) for block in re.split(r"^Path = ", listing, flags=re.MULTILINE)[1:]]

    def up_to(self, name):
        """The items before the last one of that name, and it; all when none is listed by that name."""
        last = max((at for at, item in enumerate(self.items) if item.name == name), default=len(self.items))
        return self.items[:last + 1]


FORBIDDEN = re.compile(r'[<>:"|?*\\\x00-\x1f\ud800-\udfff\ue000-\uf8ff]')
DEVICES = {"con", "prn", "aux", "nul", *(f"{port}{n}" for port in ("com", "lpt") for n in range(1, 10))}


def is_device(name):
    return any(part.partition(".")[0].rstrip(" ").lower() in DEVICES for part in name.split("/"))


def is_odd(name):
    """Whether Windows does not take a path as it is."""
    return is_device(name) or any(part == "" or part[-1] in " ." or FORBIDDEN.search(part)
                                  for part in name.split("/"))


def parents(name):
    """The folders that a path leads through, as keys."""
    return [str(parent).lower() for parent in Path(name).parents]


# What the program decodes and the library has no decoder for.
NOT_DECODED = {"BZip2", "PPMD", "PPC", "IA64", "ARM", "ARMT", "ARM64", "RISCV", "SPARC", "Swap2", "Swap4"}

E_ABORT, E_OUTOFMEMORY = 0x80004004, 0x8007000E
# What comes of a name that Windows refuses, and of one that leads through a file.
NAME_FAILURES = {0x80070002, 0x80070003, 0x80070005, 0x8007007B, 0x80070091, 0x65F}
# Bytes. Smaller blocks are to be had in a 32-bit process; and what a coder takes without a dictionary.
A_LARGE_BLOCK, MOST_OF_ITS_OWN = 512 << 20, 32 << 20
ADDRESS_SPACE = 2 << 30  # bytes that a 32-bit process has

# Why a file is not compared by its name.
OTHER_NAME = "found under another name, since Windows reads the one in the archive otherwise"
DEVICE = "with the name of a device, for which no file is written"
NO_NAME = "without a name, for which no file is written"
CLASH = "in whose place is another, which differs by case alone"
IN_FORMER_FOLDER = "in a folder whose place a later file has taken"
STOPPED_BY_NAME = "at or behind an item whose path Windows refuses, which ends the extraction"
STOPPED_BY_PASSWORD = "behind an encrypted item, which ends the extraction"
NO_DECODER = "packed with a method that the library does not know"
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
        for name, file in sorted(reference.whole.items()):
            self._compare(name, file)
        self._judge_names()
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
        items = self.reference.up_to(name)
        missing, empty = mine is None, mine is None or mine.stat().st_size == 0
        excuses = {
            NO_MEMORY: lambda: empty and self._lacked_memory(),
            NO_DECODER: lambda: empty and any(item.methods & NOT_DECODED for item in items[-1:]),
            CLASH: lambda: not missing and self.names[name.lower()] > 1,
            NO_NAME: lambda: missing and name == NAMELESS and self.reference.kind not in ("lzma", "lzma86"),
            OTHER_NAME: lambda: missing and self._is_elsewhere(name, file),
            IN_FORMER_FOLDER: lambda: missing and self._is_below_file(name),
            DEVICE: lambda: missing and is_device(name),
            STOPPED_BY_NAME: lambda: missing and self._was_stopped_by_name(items),
            STOPPED_BY_PASSWORD: lambda: missing and self._was_stopped_by_password(items),
        }
        return next((reason for reason, holds in excuses.items() if holds()), None)

    def _was_stopped_by_name(self, items):
        files = {item.name.lower() for item in items if not item.is_folder}
        return self.outcome.result in NAME_FAILURES and any(
            is_odd(item.name) or files.intersection(parents(item.name)) for item in items)

    def _was_stopped_by_password(self, items):
        return self.outcome.result == E_ABORT and any(item.encrypted for item in items)

    def _lacked_memory(self):
        """Whether a large block could not be had, without which the program does not manage either."""
        block = self.outcome.refused
        if block == 0 and self.outcome.result == E_OUTOFMEMORY:
            block = ADDRESS_SPACE  # so large that nobody was even asked for it
        return block >= A_LARGE_BLOCK and lacks_memory(self.reference.kind, self.archive, block)

    def _is_below_file(self, name):
        return any(self.mine[parent].is_file() for parent in parents(name) if parent in self.mine)

    def _is_elsewhere(self, name, file):
        in_code_page = self.reference.kind in ("zip", "cab") and not name.isascii()
        return (is_odd(name) or in_code_page) and any(
            path.is_file() and filecmp.cmp(path, file, shallow=False)
            for other, path in self.mine.items() if other not in self.names)

    def _judge_names(self):
        """The library may write nothing that 7-Zip does not know, except under a name that it reads otherwise."""
        strangers = self.mine.keys() - self.names.keys() - ({CONTENT} if NAMELESS in self.names else set())
        if not strangers or any(is_odd(item.name) or not item.name.isascii() for item in self.reference.items):
            return
        listed = {key for item in self.reference.items for key in (item.name.lower(), *parents(item.name))}
        self.problems += [f"{name} is there, and 7-Zip does not know it" for name in sorted(strangers - listed)]

    def _judge_result(self):
        if self.reference.code != 0 or self.outcome.result == 0:
            return
        items = self.reference.items
        if not (self._was_stopped_by_name(items) or self._was_stopped_by_password(items)
                or self._lacked_memory()):
            self.problems.append(f"the result is {self.outcome.text()}, and 7-Zip finds nothing wrong")

    def _judge_memory(self):
        """What is allocated has to be what the archive asks for, as a dictionary."""
        if self.outcome.peak > MOST_OF_ITS_OWN and not lacks_memory(
                self.reference.kind, self.archive, self.outcome.peak):
            self.problems.append(f"{self.outcome.peak} bytes are allocated, and 7-Zip manages with fewer")


def judge(outcome, place, scratch):
    """Compares one archive. Returns (the kind as in TYPE_OPTION or None, what is wrong, Counter of files)."""
    kind = kind_of(place / "archive")
    if kind is None:
        unpacked = outcome.result == 0 or (place / "out").exists()
        return None, ["the library opens it, and 7-Zip's program does not"] if unpacked else [], Counter()
    comparison = Comparison(outcome, Reference(kind, place / "archive", scratch / place.name), place)
    shutil.rmtree(scratch / place.name, ignore_errors=True)
    return kind, comparison.problems, comparison.counts


def count_lines(counts):
    """The files of one or many comparisons, for people."""
    excused = counts - Counter(compared=counts["compared"])
    return [f"  files that 7-Zip has whole: {counts['compared']} compared, {excused.total()} not",
            *(f"    {times} {reason}" for reason, times in excused.most_common())]
