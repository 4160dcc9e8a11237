"""Shrink, an old compression method of Zip: LZW whose table is partly cleared when it is full."""

from .bits import LowBitsFirst

METHOD = 1
SPECIAL, MORE_BITS, CLEAR = 256, 1, 2
FIRST, END = 257, 1 << 13  # codes of the table
LEAST_BITS = 9


class _Table:
    """The strings of the table, as the decoder has them."""

    def __init__(self):
        self._codes = {}  # by (code of the string without its last byte, last byte)
        self._entries = {}  # the reverse
        self._next = FIRST

    def find(self, prefix, byte):
        return self._codes.get((prefix, byte))

    def is_full(self):
        while self._next in self._entries:
            self._next += 1
        return self._next >= END

    def add(self, prefix, byte):
        """Adds a string. Without its prefix the decoder still uses a code up, but for no known string."""
        if prefix < SPECIAL or prefix in self._entries:
            self._codes[prefix, byte] = self._next
        self._entries[self._next] = (prefix, byte)

    def clear(self):
        """Removes the strings with which no other begins."""
        prefixes = {prefix for prefix, _ in self._entries.values()}
        for code in self._entries.keys() - prefixes:
            self._codes.pop(self._entries.pop(code), None)
        self._next = FIRST


class _Writer:
    def __init__(self):
        self._bits, self._size = LowBitsFirst(), LEAST_BITS

    def add(self, code):
        """Adds a code, after switching to longer ones if it needs that."""
        while code >> self._size:
            self.add_special(MORE_BITS)
            self._size += 1
        self._bits.add(code, self._size)

    def add_special(self, command):
        self._bits.add(SPECIAL, self._size)
        self._bits.add(command, self._size)

    def bytes(self):
        return self._bits.bytes()


def compress(content):
    """Returns the compressed content, which must not be empty."""
    writer, table, code = _Writer(), _Table(), content[0]
    for byte in content[1:]:
        longer = table.find(code, byte)
        if longer is not None:
            code = longer
            continue
        writer.add(code)
        if table.is_full():
            writer.add_special(CLEAR)
            table.clear()
        if not table.is_full():
            table.add(code, byte)
        code = byte
    writer.add(code)
    return writer.bytes()
