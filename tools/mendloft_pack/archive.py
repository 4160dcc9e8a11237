"""Makes a driver archive from a folder, and examines one."""

import calendar
import os
import stat
import tempfile
from dataclasses import dataclass
from pathlib import Path

from . import checks, layout, names
from .findings import CannotWork, Findings
from .sevenzip_format import Directory
from .sevenzip_values import DamagedArchive

# Every item gets this time, so that the same files give the same bytes.
_DEFAULT_TIME = calendar.timegm((2001, 1, 1, 0, 0, 0))


@dataclass
class Examination:
    """What an archive holds, as far as it could be read, and what is wrong with it."""

    findings: Findings
    items: list
    contents: dict  # path -> bytes, for the files
    packed_size: int  # bytes


def examine(archive, sevenzip):
    """Reads a whole archive and runs every check on it.

    Raises CannotWork only when the file cannot be read or 7-Zip cannot be run. Whatever is wrong with
    the archive itself is among the findings.
    """
    try:
        data = archive.read_bytes()
    except OSError as error:
        raise CannotWork(f"cannot read {archive}: {error.strerror}") from error
    result = Examination(Findings(), [], {}, len(data))
    try:
        directory = Directory(data)
    except DamagedArchive as error:
        result.findings.problem("archive", str(error))
        return result
    result.items = directory.items
    entries = [checks.Entry(item.path, item.is_folder, item.size) for item in directory.items]
    checks.check_tree(entries, result.findings)
    checks.check_attributes(directory.items, result.findings)
    checks.check_compression(directory.methods, result.findings)
    _read_contents(archive, directory, sevenzip, result)
    return result


def _read_contents(archive, directory, sevenzip, result):
    if directory.is_encrypted:
        result.findings.problem("archive", "it is encrypted")
        return
    stream, complaint = sevenzip.contents(archive)
    if stream is None:
        result.findings.problem("archive", f"7-Zip cannot unpack it: {complaint}")
        return
    result.contents = checks.split_contents(directory.items, stream, result.findings)
    checks.check_inf_files(result.contents, result.findings)


def make(folder, archive, sevenzip):
    """Packs a folder into an archive and examines it.

    The archive is written under another name first and takes its own name only when it has no
    problems. Until then an older archive with that name stays as it is.
    """
    findings = Findings()
    tree = _read_tree(folder, findings)
    entries = [checks.Entry(path, data is None, len(data or b"")) for path, data in tree]
    checks.check_tree(entries, findings)
    checks.check_inf_files(_files(dict(tree)), findings)
    if findings.problems:
        return Examination(findings, [], {}, 0)
    spelt = {layout.spelling(path): data for path, data in tree}
    try:
        with tempfile.TemporaryDirectory(prefix=f".{archive.name}.", dir=archive.parent) as work:
            packed = _pack(spelt, Path(work), sevenzip)
            result = examine(packed, sevenzip)
            result.findings.remarks = findings.remarks  # these have the names of the owner's files
            if result.contents != _files(spelt):
                result.findings.problem("archive", "7-Zip packed something other than the given files")
            if not result.findings.problems:
                os.replace(packed, archive)
    except OSError as error:
        raise CannotWork(f"cannot write {archive}: {error.strerror}") from error
    return result


def _files(tree):
    return {path: data for path, data in tree.items() if data is not None}


def _read_tree(root, findings):
    """Returns (path, content) of everything in a folder; the content of a folder is None.

    Missing folders that are empty in the layout are added: git and many archive programs lose them.
    """
    tree = []

    def refuse(error):
        raise CannotWork(f"cannot read {error.filename}: {error.strerror}") from error

    try:
        for place, folders, files in os.walk(root, onerror=refuse):
            for name in folders + files:
                full = Path(place, name)
                path, mode = full.relative_to(root).as_posix(), full.lstat().st_mode
                if stat.S_ISDIR(mode):
                    tree.append((path, None))
                elif stat.S_ISREG(mode):
                    tree.append((path, full.read_bytes()))
                else:
                    findings.problem(names.printable(path), "neither a file nor a folder")
    except OSError as error:
        refuse(error)
    present = {layout.key(path) for path, _ in tree}
    tree += [(path, None) for path in layout.EMPTY_FOLDERS if layout.key(path) not in present]
    return sorted(tree, key=lambda entry: entry[0])


def _pack(tree, work, sevenzip):
    """Packs a mapping from paths to contents (None for folders); returns the archive's path."""
    staged, packed = work / "tree", work / layout.ARCHIVE_NAME
    staged.mkdir()
    for path, data in tree.items():
        target = staged / path
        if data is None:
            target.mkdir(parents=True, exist_ok=True)
        else:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(data)
    time = _item_time()
    for path in {*tree, *layout.FOLDERS}:
        os.utime(staged / path, (time, time))
    sevenzip.pack(staged, packed)
    _make_attributes_plain(packed)
    return packed


def _item_time():
    text = os.environ.get("SOURCE_DATE_EPOCH", "")
    if not text:
        return _DEFAULT_TIME
    if not text.isascii() or not text.isdecimal() or len(text) > 10:
        raise CannotWork(f"SOURCE_DATE_EPOCH is not a number of seconds since 1970: {text}")
    return int(text)


def _make_attributes_plain(archive):
    """Removes the Unix modes. 7-Zip stores them in the attributes, where Windows reads them as flags."""
    data = archive.read_bytes()
    try:
        directory = Directory(data)
        attributes = [_plain_attributes(item) for item in directory.items]
        archive.write_bytes(directory.with_attributes(data, attributes))
    except DamagedArchive as error:
        raise CannotWork(f"cannot read what 7-Zip packed: {error}") from error


def _plain_attributes(item):
    if item.is_folder:
        return checks.FOLDER
    return checks.FILE | (checks.READ_ONLY if item.path in layout.READ_ONLY_FILES else 0)
