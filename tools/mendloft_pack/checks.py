"""What makes a driver archive right. Each check reports all that it finds, not the first only."""

import zlib
from dataclasses import dataclass

from . import layout, names
from .inf import Inf, NotInf

READ_ONLY, FOLDER, FILE = 0x01, 0x10, 0x20
# Read-only, hidden, system, folder, archive, normal, not indexed. The mark of a link is not among
# them, and neither are the Unix modes that 7-Zip keeps in the high half.
_PLAIN = 0x01 | 0x02 | 0x04 | 0x10 | 0x20 | 0x80 | 0x2000

_METHODS = frozenset({"LZMA2", "BCJ"})


@dataclass(frozen=True)
class Entry:
    """A file or a folder of a driver archive, or of a folder that is to become one."""

    path: str
    is_folder: bool
    size: int  # bytes


def check_tree(entries, findings):
    """Checks the names, and that everything of the layout is there."""
    _check_names(entries, findings)
    found = {layout.key(entry.path): entry for entry in entries}
    for path in layout.FILES:
        entry = found.get(layout.key(path))
        if entry is None:
            findings.problem(path, "missing")
        elif entry.is_folder:
            findings.problem(path, "is a folder, and must be a file")
        elif entry.size == 0:
            findings.problem(path, "is empty")
    for path in layout.FOLDERS:
        entry = found.get(layout.key(path))
        if entry is not None and not entry.is_folder:
            findings.problem(path, "is a file, and must be a folder")
        elif entry is None and path in layout.EMPTY_FOLDERS:
            findings.problem(path, "missing (an empty folder, with an item of its own)")
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
            findings.problem(shown, f"there twice (also as {names.printable(seen[key])})")
        seen[key] = entry.path
        if key == layout.key(layout.ARCHIVE_NAME):
            findings.problem(shown, "would overwrite the archive while it is being unpacked")
        parent = entry.path.rpartition("/")[0]
        if parent and layout.key(parent) in files:
            findings.problem(shown, f"lies below {names.printable(parent)}, which is a file")


def _remark_extras(entries, findings):
    known = {layout.key(path) for path in layout.FILES + layout.FOLDERS}
    for entry in entries:
        shown = names.printable(entry.path)
        parent = entry.path.rpartition("/")[0]
        if layout.spelling(parent) in layout.EMPTY_FOLDERS:
            findings.remark(shown, "extra; the layout has this folder empty, so that "
                                   "32-bit systems find no driver of this package")
        elif layout.key(entry.path) not in known:
            kind = "extra folder" if entry.is_folder else f"extra file, {entry.size} bytes"
            findings.remark(shown, kind)
        elif layout.spelling(entry.path) != entry.path:
            findings.remark(shown, f"spelt {layout.spelling(entry.path)} in the layout")


def check_inf_files(contents, findings):
    """Checks the INF files of the packages; `contents` maps the path of each file to its bytes.

    An INF file that is not in the layout is one of these too when it lies in an x64 or x86 folder.
    """
    present = {layout.key(path) for path in contents}
    for path, data in contents.items():
        if not path.lower().endswith(".inf") or not layout.architecture(path) or not data:
            continue
        shown, parent = names.printable(path), path.rpartition("/")[0]
        try:
            inf = Inf(data)
        except NotInf as error:
            findings.problem(shown, f"no INF file: {error}")
            continue
        for problem in inf.problems(layout.architecture(path)):
            findings.problem(shown, problem)
        catalogs = inf.catalogs()
        if catalogs and not any(layout.key(f"{parent}/{name}") in present for name in catalogs):
            named = names.printable(", ".join(catalogs))
            findings.problem(shown, f"its catalog does not lie beside it: {named}")


def check_attributes(items, findings):
    """Checks that items carry plain Windows attributes, and the right files are read-only."""
    for item in items:
        shown = names.printable(item.path)
        if item.attributes is None:
            findings.problem(shown, "has no attributes")
            continue
        if item.attributes & ~_PLAIN:
            findings.problem(shown, f"attributes 0x{item.attributes:x} are no plain Windows "
                                    f"attributes (0x{item.attributes & ~_PLAIN:x} is too much)")
        if bool(item.attributes & FOLDER) != item.is_folder:
            kind = "folder" if item.is_folder else "file"
            findings.problem(shown, f"attributes 0x{item.attributes:x} do not fit a {kind}")
        path = layout.spelling(item.path)
        is_read_only, wanted = bool(item.attributes & READ_ONLY), path in layout.READ_ONLY_FILES
        if path in layout.FILES and is_read_only != wanted:
            findings.problem(shown, "must be read-only" if wanted else "must not be read-only")


def check_compression(methods, findings):
    """Checks for one solid block of LZMA2 behind BCJ; `methods` has the methods of each block."""
    if len(methods) != 1:
        findings.problem("compression", f"{len(methods)} blocks, and not one (solid) block")
    for used in sorted({" ".join(sorted(used)) for used in methods if used != _METHODS}):
        findings.problem("compression", f"a block uses {used}, and not LZMA2 with BCJ")


def split_contents(items, stream, findings):
    """Returns a mapping from paths to contents, cut from all contents one behind the other."""
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
        findings.problem("content", f"{len(stream)} bytes came out, and not {position}")
    return contents
