"""Compares what the library unpacked from an archive with what 7-Zip's own console program unpacks."""

import filecmp
import re
import shutil
import zlib
from collections import Counter
from pathlib import Path

from reference import CONTENT, NAMELESS, Reference, files_below, kind_of, lacks_memory


def is_earlier_item(items, file):
    """Whether the file is an item that the last of the items would have replaced."""
    names = {item.name.lower() for item in items[-1:]}
    return file.is_file() and zlib.crc32(file.read_bytes()) in {
        item.crc for item in items[:-1] if item.name.lower() in names}


FORBIDDEN = re.compile(r'[<>:"|?*\\\x00-\x1f\ud800-\udfff\ue000-\uf8ff]')
DEVICES = {"con", "prn", "aux", "nul", *(f"{port}{n}" for port in ("com", "lpt") for n in range(1, 10))}


def is_device(name):
    return any(part.partition(".")[0].rstrip(" ").lower() in DEVICES for part in name.split("/"))


def is_odd(name):
    """Whether Windows refuses or changes a path."""
    return is_device(name) or any(part == "" or part[-1] in " ." or FORBIDDEN.search(part)
                                  for part in name.split("/"))


def parents(name):
    """Returns the folders that a path leads through, in lower case."""
    return [str(parent).lower() for parent in Path(name).parents]


# Methods that the program can decode and the library cannot.
NOT_DECODED = {"BZip2", "PPMD", "PPC", "IA64", "ARM", "ARMT", "ARM64", "RISCV", "SPARC"}

E_ABORT, E_OUTOFMEMORY = 0x80004004, 0x8007000E
# The results for a name that Windows refuses, and for a path that leads through a file.
NAME_FAILURES = {0x80070002, 0x80070003, 0x80070005, 0x8007007B, 0x80070091, 0x65F}
# Sizes in bytes.
A_LARGE_BLOCK = 512 << 20  # a 32-bit process gets every smaller block
MOST_OF_ITS_OWN = 32 << 20  # all that a coder needs besides its dictionary
ADDRESS_SPACE = 2 << 30  # of a 32-bit process

# The reasons for not comparing a file by its name. The figures list them after a number of files.
OTHER_NAME = "found under another name, because Windows changes the one in the archive"
DEVICE = "with the name of a device, so no file is written"
NO_NAME = "without a name, so no file is written"
CLASH = "replaced by another whose name differs only in case"
IN_FORMER_FOLDER = "in a folder that a later file has replaced"
STOPPED_BY_NAME = "at or after an item whose path Windows refuses, which ends the extraction"
STOPPED_BY_PASSWORD = "after an encrypted item, which ends the extraction"
NO_DECODER = "compressed with a method that the library does not support"
NO_MEMORY = "that need a larger block of memory than a 32-bit process can get"


class Comparison:
    """Compares the outcome of one archive with the reference.

    `place` is the folder that contains "archive", and "out" if the library has unpacked anything.
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
                                 f"{self.outcome.text()}), but 7-Zip unpacks it without a complaint")

    def _excuse(self, name, file, mine):
        items = self.reference.up_to(name)
        missing, empty = mine is None, mine is None or mine.stat().st_size == 0
        not_reached = missing or is_earlier_item(items, mine)
        excuses = {
            NO_MEMORY: lambda: empty and self._lacked_memory(),
            NO_DECODER: lambda: empty and any(item.methods & NOT_DECODED for item in items[-1:]),
            CLASH: lambda: not missing and self.names[name.lower()] > 1,
            NO_NAME: lambda: missing and name == NAMELESS and self.reference.kind not in ("lzma", "lzma86"),
            OTHER_NAME: lambda: missing and self._is_elsewhere(name, file),
            IN_FORMER_FOLDER: lambda: missing and self._is_below_file(name),
            DEVICE: lambda: missing and is_device(name),
            STOPPED_BY_NAME: lambda: not_reached and self._was_stopped_by_name(items),
            STOPPED_BY_PASSWORD: lambda: not_reached and self._was_stopped_by_password(items),
        }
        return next((reason for reason, holds in excuses.items() if holds()), None)

    def _was_stopped_by_name(self, items):
        files = {item.name.lower() for item in items if not item.is_folder}
        return self.outcome.result in NAME_FAILURES and any(
            is_odd(item.name) or files.intersection(parents(item.name)) for item in items)

    def _was_stopped_by_password(self, items):
        return self.outcome.result == E_ABORT and any(item.encrypted for item in items)

    def _lacked_memory(self):
        """Whether the library was refused a large block that the program needs too."""
        block = self.outcome.refused
        if block == 0 and self.outcome.result == E_OUTOFMEMORY:
            block = ADDRESS_SPACE  # so large that 7-Zip fails without trying to allocate it
        return block >= A_LARGE_BLOCK and lacks_memory(self.reference.kind, self.archive, block)

    def _is_below_file(self, name):
        return any(self.mine[parent].is_file() for parent in parents(name) if parent in self.mine)

    def _is_elsewhere(self, name, file):
        in_code_page = self.reference.kind in ("zip", "cab") and not name.isascii()
        return (is_odd(name) or in_code_page) and any(
            path.is_file() and filecmp.cmp(path, file, shallow=False)
            for other, path in self.mine.items() if other not in self.names)

    def _judge_names(self):
        """Reports files that 7-Zip does not know or leaves out, unless Windows may have changed their names."""
        strangers = self.mine.keys() - self.names.keys() - ({CONTENT} if NAMELESS in self.names else set())
        if not strangers or any(is_odd(item.name) or not item.name.isascii() for item in self.reference.items):
            return
        listed = {key for item in self.reference.items for key in (item.name.lower(), *parents(item.name))}
        self.problems += [f"{name} exists, but 7-Zip does not know it" for name in sorted(strangers - listed)]
        if self.reference.code == 0:
            self.problems += [f"{name} exists, but 7-Zip leaves it out" for name in sorted(strangers & listed)]

    def _judge_result(self):
        if self.reference.code != 0 or self.outcome.result == 0:
            return
        items = self.reference.items
        if not (self._was_stopped_by_name(items) or self._was_stopped_by_password(items)
                or self._lacked_memory()):
            self.problems.append(f"the result is {self.outcome.text()}, but 7-Zip has no complaint")

    def _judge_memory(self):
        """Reports large allocations that the archive does not need, as for a dictionary."""
        if self.outcome.peak > MOST_OF_ITS_OWN and not lacks_memory(
                self.reference.kind, self.archive, self.outcome.peak):
            self.problems.append(f"{self.outcome.peak} bytes are allocated, but 7-Zip needs fewer")


def judge(outcome, place, scratch):
    """Compares one archive. Returns (its kind or None, the problems, a Counter of files)."""
    kind = kind_of(place / "archive")
    if kind is None:
        unpacked = outcome.result == 0 or (place / "out").exists()
        return None, ["the library opens it, but 7-Zip's program does not"] if unpacked else [], Counter()
    comparison = Comparison(outcome, Reference(kind, place / "archive", scratch / place.name), place)
    shutil.rmtree(scratch / place.name, ignore_errors=True)
    return kind, comparison.problems, comparison.counts


def count_lines(counts):
    """Returns the figures of one or more comparisons as lines of text."""
    excused = counts - Counter(compared=counts["compared"])
    return [f"  files that 7-Zip unpacks whole: {counts['compared']} equal, {excused.total()} not compared",
            *(f"    {times} {reason}" for reason, times in excused.most_common())]
