"""Quantum, a compression method of cabinets: adaptive models and an arithmetic coder."""

from .bits import HighBitsFirst
from .matches import tokens

METHOD = 2
BLOCK = 0x8000

STEP, MOST = 8, 3800  # what a symbol gains by each use; the sum at which all are halved
FIRST_SORT, NEXT_SORT = 4, 50  # halvings before the symbols are sorted
LITERALS = 64  # in each of four models, which are the selectors 0 to 3
POSITIONS = (24, 36, 42)  # slots for matches of 3, of 4 and of more bytes
REACH_OF_3 = 4096  # the largest distance with the slots for 3 bytes
LENGTHS, FIRST_LENGTH = 27, 5
LONGEST = 259


class _Coder:
    """The arithmetic coder: the code is a number in [_low, _low + _range) that grows at its lower end."""

    def __init__(self):
        self._low, self._range = 0, 0x10000
        self._order = [("code", 0, 16)]

    def code(self, start, end, total):
        """Codes a symbol that has this part of [0, total)."""
        offset = start * self._range // total
        width = end * self._range // total - offset
        self._low += offset
        low = self._low & 0xFFFF
        high, shift = low + width - 1, 0
        while (low ^ high) & 0x8000 == 0 or low & ~high & 0x4000:
            low, high, shift = low << 1, high << 1 | 1, shift + 1
        self._low, self._range = self._low << shift, width << shift
        self._order.append(("code", 0, shift))

    def direct(self, value, count):
        """Adds bits as they are, after the bits of the code that are known to the decoder by now."""
        self._order.append(("direct", value, count))

    def bytes(self):
        left = sum(count for kind, _, count in self._order if kind == "code")
        bits = HighBitsFirst()
        for kind, value, count in self._order:
            if kind == "code":
                left -= count
                value = self._low >> left & (1 << count) - 1
            bits.add(value, count)
        bits.add(0, 2)
        return bits.bytes()


class _Model:
    """Symbols and how often each was used."""

    def __init__(self, count, first=0):
        self._symbols = list(range(first, first + count))
        self._sums = list(range(count, -1, -1))  # of the uses of a symbol and all after it
        self._until_sort = FIRST_SORT

    def code(self, coder, symbol):
        if self._sums[0] > MOST:
            self._halve()
        at, total = self._symbols.index(symbol), self._sums[0]
        coder.code(self._sums[at + 1], self._sums[at], total)
        for place in range(at + 1):
            self._sums[place] += STEP

    def _halve(self):
        self._until_sort -= 1
        if self._until_sort == 0:
            self._until_sort = NEXT_SORT
            self._sort()
            return
        least = 1
        for place in reversed(range(len(self._symbols))):
            self._sums[place] = max(self._sums[place] >> 1, least)
            least = self._sums[place] + 1

    def _sort(self):
        uses = [(this - after + 1) >> 1 for this, after in zip(self._sums, self._sums[1:])]
        symbols, count = self._symbols, len(uses)
        for i in range(count):  # this order of exchanges decides the order of equal symbols
            for k in range(i + 1, count):
                if uses[i] < uses[k]:
                    uses[i], uses[k] = uses[k], uses[i]
                    symbols[i], symbols[k] = symbols[k], symbols[i]
        for place in reversed(range(count)):
            self._sums[place] = self._sums[place + 1] + uses[place]


def _with_direct_bits(value):
    """Returns the slot of a distance or of a rest of a length, the bits after it and their number."""
    if value < 4:
        return value, 0, 0
    count = value.bit_length() - 2
    return 2 * count + 2 + (value >> count & 1), value & (1 << count) - 1, count


def _length_slot(length):
    """Returns the symbol of the length of a match from 5 on, the bits after it and their number."""
    if length < 11:
        return length, 0, 0
    if length == LONGEST:
        return 31, 0, 0
    rest = length - 3
    count = rest.bit_length() - 3
    return 4 * count + 3 + (rest >> count & 3) + 4, rest & (1 << count) - 1, count


class _Models:
    def __init__(self, window_bits):
        self._selectors = _Model(7)
        self._literals = [_Model(LITERALS, first) for first in range(0, 256, LITERALS)]
        self._positions = [_Model(min(2 * window_bits or 1, most)) for most in POSITIONS]
        self._lengths = _Model(LENGTHS, FIRST_LENGTH)

    def code(self, coder, token):
        """Codes a literal or a match."""
        if isinstance(token, int):
            self._selectors.code(coder, token // LITERALS)
            self._literals[token // LITERALS].code(coder, token)
            return
        kind = min(token.length - 3, 2)
        self._selectors.code(coder, 4 + kind)
        if kind == 2:
            slot, rest, count = _length_slot(token.length)
            self._lengths.code(coder, slot)
            coder.direct(rest, count)
        slot, rest, count = _with_direct_bits(token.distance - 1)
        self._positions[kind].code(coder, slot)
        coder.direct(rest, count)


def _in_reach(content, window_bits):
    """Returns the tokens of each block, without the short matches that are too far away."""
    blocks, at = [], 0
    for block in tokens(content, 1 << window_bits, LONGEST, BLOCK):
        blocks.append([])
        for token in block:
            length = 1 if isinstance(token, int) else token.length
            far = length == 3 and token.distance > REACH_OF_3
            blocks[-1] += content[at:at + 3] if far else [token]
            at += length
    return blocks


def compress(content, window_bits):
    """Returns the compressed blocks of a cabinet. The window has 2 to the power of 10 to 21 bytes."""
    models, blocks = _Models(window_bits), []
    for block in _in_reach(content, window_bits):
        coder = _Coder()
        for token in block:
            models.code(coder, token)
        blocks.append(coder.bytes())
    return blocks
