"""The checks of a driver archive. Each reports everything that it finds, not just the first problem."""

import zlib
from dataclasses import dataclass

from . import layout, names
from .inf import Inf, NotInf

READ_ONLY, FOLDER, FILE = 0x01, 0x10, 0x20
# Read-only, hidden, system, folder, archive, normal, not indexed. The flag of a link is not among them,
# and neither are the Unix modes that 7-Zip stores in the high half.
_PLAIN = 0x01 | 0x02 | 0x04 | 0x10 | 0x20 | 0x80 | 0x2000

_METHODS = frozenset({"LZMA2", "BCJ"})


@dataclass(frozen=True)
class Entry:
    """A file or a folder in a driver archive, or in a folder that will be packed into one."""

    path: str
    is_folder: bool
    size: int  # bytes


def check_tree(entries, findings):
    """Checks the names, and that nothing of the layout is missing."""
    _check_names(entries, findings)
    found = {layout.key(entry.path): entry for entry in entries}
    for path in layout.FILES:
        entry = found.get(layout.key(path))
        if entry is None:
            findings.problem(path, "missing")
        elif entry.is_folder:
            findings.problem(path, "is a folder but must be a file")
        elif entry.size == 0:
            findings.problem(path, "is empty")
    for path in layout.FOLDERS:
        entry = found.get(layout.key(path))
        if entry is not None and not entry.is_folder:
            findings.problem(path, "is a file but must be a folder")
        elif entry is None and path in layout.EMPTY_FOLDERS:
            findings.problem(path, "missing (an empty folder needs an item of its own)")
    _remark_extras(entries, findings)


def _check_names(entries, findings):
    seen = {}
    files = {layout.key(entry.path) for entry in entries if not entry.is_folder}
    for entry in entries:
        shown = names.printable(entry.path)
        if danger := names.danger(entry.path):
            findings.problem(shown, f"unsafe name: {danger}")
        key = layout.key(entry.path)
        if key in seen:
            findings.problem(shown, f"occurs twice (also as {names.printable(seen[key])})")
        seen[key] = entry.path
        if key == layout.key(layout.ARCHIVE_NAME):
            findings.problem(shown, "would overwrite the archive while it is being unpacked")
        parent = entry.path.rpartition("/")[0]
        if parent and layout.key(parent) in files:
            findings.problem(shown, f"is below {names.printable(parent)}, which is a file")


def _remark_extras(entries, findings):
    known = {layout.key(path) for path in layout.FILES + layout.FOLDERS}
    for entry in entries:
        shown = names.printable(entry.path)
        parent = entry.path.rpartition("/")[0]
        if layout.spelling(parent) in layout.EMPTY_FOLDERS:
            findings.remark(shown, "extra; this folder is empty in the layout, so that "
                                   "32-bit systems find no driver in this package")
        elif layout.key(entry.path) not in known:
            kind = "extra folder" if entry.is_folder else f"extra file, {entry.size} bytes"
            findings.remark(shown, kind)
        elif layout.spelling(entry.path) != entry.path:
            findings.remark(shown, f"spelled {layout.spelling(entry.path)} in the layout")


def check_inf_files(contents, findings):
    """Checks the INF files in x64 and x86 folders, also those that are not in the layout.

    `contents` maps the path of each file of the archive to its bytes.
    """
    present = {layout.key(path) for path in contents}
    for path, data in contents.items():
        if not path.lower().endswith(".inf") or not layout.architecture(path) or not data:
            continue
        shown, parent = names.printable(path), path.rpartition("/")[0]
        try:
            inf = Inf(data)
        except NotInf as error:
            findings.problem(shown, f"not an INF file: {error}")
            continue
        for problem in inf.problems(layout.architecture(path)):
            findings.problem(shown, problem)
        catalogs = inf.catalogs()
        if catalogs and not any(layout.key(f"{parent}/{name}") in present for name in catalogs):
            named = names.printable(", ".join(catalogs))
            findings.problem(shown, f"its catalog is not beside it: {named}")


def check_attributes(items, findings):
    """Checks that all items have plain Windows attributes, and that the right files are read-only."""
    for item in items:
        shown = names.printable(item.path)
        if item.attributes is None:
            findings.problem(shown, "has no attributes")
            continue
        if item.attributes & ~_PLAIN:
            findings.problem(shown, f"attributes 0x{item.attributes:x} are not plain Windows "
                                    f"attributes (0x{item.attributes & ~_PLAIN:x} is not allowed)")
        if bool(item.attributes & FOLDER) != item.is_folder:
            kind = "folder" if item.is_folder else "file"
            findings.problem(shown, f"attributes 0x{item.attributes:x} are not those of a {kind}")
        path = layout.spelling(item.path)
        is_read_only, wanted = bool(item.attributes & READ_ONLY), path in layout.READ_ONLY_FILES
        if path in layout.FILES and is_read_only != wanted:
            findings.problem(shown, "must be read-only" if wanted else "must not be read-only")


def check_compression(methods, findings):
    """Checks for one solid block with LZMA2 after BCJ; `methods` has the methods of each block."""
    if len(methods) != 1:
        findings.problem("compression", f"{len(methods)} blocks instead of one (solid) block")
    for used in sorted({" ".join(sorted(used)) for used in methods if used != _METHODS}):
        findings.problem("compression", f"a block uses {used} instead of LZMA2 with BCJ")


def split_contents(items, stream, findings):
    """Returns a mapping from paths to contents, and checks the checksums.

    `stream` is all contents joined, in the order of the items; that is how 7-Zip unpacks to a pipe.
    """
    contents, position = {}, 0
    for item in items:
        if item.is_folder:
            continue
        data = stream[position:position + item.size]
        position += item.size
        if len(data) != item.size or item.crc is not None and zlib.crc32(data) != item.crc:
            findings.problem(names.printable(item.path), "its content is damaged")
        contents[item.path] = data
    if position != len(stream):
        findings.problem("content", f"{len(stream)} bytes were unpacked instead of {position}")
    return contents
