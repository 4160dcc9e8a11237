"""Makes small Windows programs, of which only the header and the imports mean anything."""

import struct

_BASE = 0x1000  # where the one section is loaded
_SECTION = 0x400  # where it is in the file


class _Section:
    """The content of the section. Each part of it is known by the address where it is loaded."""

    def __init__(self):
        self._content = b""

    def add(self, content):
        self._content += content
        return _BASE + len(self._content) - len(content)

    def content(self):
        return self._content


def _functions(section, functions, is_64_bit):
    """The address of the table of `functions`, in which a number imports by number."""
    form, by_number = ("Q", 1 << 63) if is_64_bit else ("I", 1 << 31)
    entries = [by_number | function if isinstance(function, int)
               else section.add(b"\0\0" + function.encode() + b"\0") for function in functions]
    return section.add(struct.pack(f"<{len(entries) + 1}{form}", *entries, 0))


def _descriptors(section, imports, is_64_bit, is_delayed):
    """The address of a table of descriptors, or 0 without any."""
    descriptors = b""
    for module, functions in imports.items():
        names = _functions(section, functions, is_64_bit)
        module_name = section.add(module.encode() + b"\0")
        descriptors += (struct.pack("<8I", 1, module_name, 0, 0, names, 0, 0, 0) if is_delayed
                        else struct.pack("<5I", names, 0, 0, module_name, names))
    return section.add(descriptors + bytes(32)) if imports else 0


def made_program(imports=None, delayed=None, os_version=(4, 0), subsystem_version=(4, 0),
                 is_64_bit=False):
    """The content of a program. Imports are given as {module: [function or number, ...]}."""
    section = _Section()
    directories = [0] * 32
    directories[2] = _descriptors(section, imports or {}, is_64_bit, is_delayed=False)
    directories[26] = _descriptors(section, delayed or {}, is_64_bit, is_delayed=True)
    optional = bytearray(112 if is_64_bit else 96)
    struct.pack_into("<H", optional, 0, 0x20B if is_64_bit else 0x10B)
    struct.pack_into("<2H", optional, 40, *os_version)
    struct.pack_into("<2H", optional, 48, *subsystem_version)
    optional += struct.pack("<32I", *directories)
    header = b"MZ" + bytes(58) + struct.pack("<I", 64) + b"PE\0\0"
    header += struct.pack("<2H12x2H", 0x8664 if is_64_bit else 0x14C, 1, len(optional), 0) + optional
    size = len(section.content())
    header += struct.pack("<8s4I16x", b".idata", size, _BASE, size, _SECTION)
    return header.ljust(_SECTION, b"\0") + section.content()
