"""What a Windows program or library imports, and which Windows it demands, read from its file."""

import dataclasses
import struct

# The number of each directory, the size of a descriptor in it, and where in the descriptor the
# addresses of the module's name and of the names of its functions are.
_DIRECTORIES = {"import": (1, 20, 12, 0), "delay import": (13, 32, 4, 16)}
_PE32_PLUS = 0x20B


@dataclasses.dataclass(frozen=True, order=True)
class Import:
    """A function of a module, the module in lower case. A function that is imported by its number is
    named "#" and the number."""

    module: str
    function: str


class PeFile:
    """Reads a file of the format PE32 or PE32+. A file that is neither, or is damaged, raises
    ValueError or struct.error."""

    def __init__(self, content):
        self._content = content
        (header,) = self._unpack("<I", 0x3C)
        if content[:2] != b"MZ" or content[header:header + 4] != b"PE\0\0":
            raise ValueError("not a Windows program")
        (sections, optional_size) = self._unpack("<2xH12xH", header + 4)
        self._optional = header + 24
        self._is_64_bit = self._unpack("<H", self._optional) == (_PE32_PLUS,)
        start = self._optional + optional_size
        self._sections = [self._unpack("<8x4I", start + 40 * i) for i in range(sections)]

    def os_version(self):
        """The oldest Windows that the header allows, as (major, minor)."""
        return self._unpack("<2H", self._optional + 40)

    def subsystem_version(self):
        """The same of the subsystem, which is the version that Windows compares with its own."""
        return self._unpack("<2H", self._optional + 48)

    def imports(self):
        """All imports, those included that Windows resolves at the first call."""
        return {found for kind in _DIRECTORIES for found in self._imports(kind)}

    def _imports(self, kind):
        number, size, name_at, functions_at = _DIRECTORIES[kind]
        directories = self._optional + (112 if self._is_64_bit else 96)
        (address,) = self._unpack("<I", directories + 8 * number)
        while address:
            descriptor = self._at(address, size)
            (name,) = struct.unpack_from("<I", descriptor, name_at)
            if name == 0:
                return
            if kind == "delay import" and descriptor[0] & 1 == 0:
                raise ValueError("delay imports with absolute addresses")
            module = self._text(name).lower()
            (functions,) = struct.unpack_from("<I", descriptor, functions_at)
            for function in self._functions(functions):
                yield Import(module, function)
            address += size

    def _functions(self, address):
        size, form = (8, "<Q") if self._is_64_bit else (4, "<I")
        while True:
            (entry,) = struct.unpack(form, self._at(address, size))
            if entry == 0:
                return
            is_number = entry >> (8 * size - 1)
            yield f"#{entry & 0xFFFF}" if is_number else self._text(entry + 2)
            address += size

    def _text(self, address):
        start = self._offset(address)
        return self._content[start:self._content.index(b"\0", start)].decode("ascii")

    def _at(self, address, size):
        start = self._offset(address)
        return self._content[start:start + size]

    def _offset(self, address):
        """Where in the file is what Windows loads at `address`."""
        for _, start, stored, place in self._sections:
            if start <= address < start + stored:
                return address - start + place
        raise ValueError(f"nothing in the file is loaded at {address:#x}")

    def _unpack(self, form, place):
        return struct.unpack_from(form, self._content, place)
