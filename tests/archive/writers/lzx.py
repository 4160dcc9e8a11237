"""LZX, a compression method of cabinets: matches, Huffman codes and a filter for x86 calls."""

import struct
from collections import Counter

from .bits import HighBitsFirst
from .huffman import ascending_codes, code_lengths
from .matches import tokens

METHOD = 3
CHUNK = 0x8000  # the content of a block of a cabinet; each of them ends with a whole 16-bit unit
PART = 3_001  # most bytes in a block of LZX; an odd number, because a stored block is padded then
VERBATIM, ALIGNED, STORED = 1, 2, 3
CALLS_END = 12_000_000  # calls are made absolute up to this offset
LONGEST = 257
LENGTH_CODES, LEVEL_CODES, ALIGNED_CODES = 249, 20, 8
ZEROS, MANY_ZEROS, SAME = 17, 18, 19  # level codes of runs


def _with_absolute_calls(content):
    """Replaces the relative targets of x86 calls, as the decoder undoes it."""
    data = bytearray(content)
    for start in range(0, len(data), CHUNK):
        at, end = start, min(start + CHUNK, len(data)) - 10
        while at < end:
            if data[at] == 0xE8 and at > 0:
                target, = struct.unpack_from("<i", data, at + 1)
                if -at <= target < CALLS_END - at:
                    struct.pack_into("<i", data, at + 1, target + at)
                elif CALLS_END - at <= target < CALLS_END:
                    struct.pack_into("<i", data, at + 1, target - CALLS_END)
                at += 4
            at += 1
    return bytes(data)


def _position_slots():
    """Returns (first distance + 2, number of further bits) of each slot."""
    slots, first = [], 0
    for slot in range(50):
        count = min(max(slot // 2 - 1, 0), 17)
        slots.append((first, count))
        first += 1 << count
    return slots


SLOTS = _position_slots()


def _slots_of(window_bits):
    return 2 * (window_bits if window_bits < 20 else 17 + (1 << window_bits - 18))


class _Symbols:
    """Turns tokens into symbols of the three codes. Remembers the last three distances."""

    def __init__(self):
        self.repeated = [1, 1, 1]

    def of(self, token):
        """Returns the main symbol, the length symbol or None, the further bits and their number."""
        if isinstance(token, int):
            return token, None, 0, 0
        slot, rest, count = self._slot(token.distance)
        length = min(token.length - 2, 7)
        return 256 + 8 * slot + length, token.length - 9 if length == 7 else None, rest, count

    def _slot(self, distance):
        if distance in self.repeated:
            slot = self.repeated.index(distance)
            self.repeated[slot], self.repeated[0] = self.repeated[0], distance
            return slot, 0, 0
        self.repeated = [distance, *self.repeated[:2]]
        slot = max(at for at, (first, _) in enumerate(SLOTS) if first <= distance + 2)
        first, count = SLOTS[slot]
        return slot, distance + 2 - first, count


def _level_symbols(lengths, former):
    """Returns a list of (symbol, further bits, their number) for the lengths of the codes of a block."""
    symbols, at = [], 0
    while at < len(lengths):
        run = next((end for end in range(at, len(lengths)) if lengths[end] != lengths[at]), len(lengths)) - at
        change = (former[at] - lengths[at]) % 17
        if run < 4 or (lengths[at] != 0 and run > 5):
            step = 1
            symbols.append((change, 0, 0))
        elif lengths[at] != 0:
            step = run
            symbols += [(SAME, run - 4, 1), (change, 0, 0)]
        elif run < 20:
            step = run
            symbols.append((ZEROS, run - 4, 4))
        else:
            step = min(run, 51)
            symbols.append((MANY_ZEROS, step - 20, 5))
        at += step
    return symbols


def _add_levels(bits, lengths, former):
    symbols = _level_symbols(lengths, former)
    counts = Counter(symbol for symbol, _, _ in symbols)
    levels = code_lengths([counts[symbol] for symbol in range(LEVEL_CODES)], 15)
    for level in levels:
        bits.add(level, 4)
    codes = ascending_codes(levels)
    for symbol, rest, count in symbols:
        bits.add(*codes[symbol])
        bits.add(rest, count)


class _Writer:
    def __init__(self, window_bits):
        self._symbols = _Symbols()
        self._main = [0] * (256 + 8 * _slots_of(window_bits))
        self._lengths = [0] * LENGTH_CODES
        self.bits = HighBitsFirst()

    def add_stored(self, plain):
        """Adds a block that is not compressed."""
        self._add_header(STORED, len(plain))
        self.bits.add(0, 16 - len(self.bits) % 16)
        data = struct.pack("<3I", *self._symbols.repeated) + plain + b"\0" * (len(plain) % 2)
        for low, high in zip(data[::2], data[1::2]):
            self.bits.add(high << 8 | low, 16)

    def add_compressed(self, kind, part):
        """Adds a block of tokens."""
        size = sum(1 if isinstance(token, int) else token.length for token in part)
        symbols = [self._symbols.of(token) for token in part]
        self._add_header(kind, size)
        aligned = None
        if kind == ALIGNED:
            counts = Counter(rest & 7 for _, _, rest, count in symbols if count >= 3)
            lengths = code_lengths([counts[low] for low in range(ALIGNED_CODES)], 7)
            for length in lengths:
                self.bits.add(length, 3)
            aligned = ascending_codes(lengths)
        main, lengths = self._add_codes(symbols)
        for symbol, length, rest, count in symbols:
            self.bits.add(*main[symbol])
            if length is not None:
                self.bits.add(*lengths[length])
            if aligned and count >= 3:
                self.bits.add(rest >> 3, count - 3)
                self.bits.add(*aligned[rest & 7])
            else:
                self.bits.add(rest, count)

    def _add_header(self, kind, size):
        self.bits.add(kind, 3)
        self.bits.add(size, 24)

    def _add_codes(self, symbols):
        """Writes the lengths of the codes; returns the codes."""
        main_counts = Counter(symbol for symbol, _, _, _ in symbols)
        length_counts = Counter(length for _, length, _, _ in symbols)
        main = code_lengths([main_counts[symbol] for symbol in range(len(self._main))], 16)
        lengths = code_lengths([length_counts[length] for length in range(LENGTH_CODES)], 16)
        _add_levels(self.bits, main[:256], self._main)
        _add_levels(self.bits, main[256:], self._main[256:])
        _add_levels(self.bits, lengths, self._lengths)
        self._main, self._lengths = main, lengths
        return ascending_codes(main), ascending_codes(lengths)


def _split(chunk):
    """Splits the tokens of a chunk into lists of at most PART bytes."""
    parts, size = [[]], 0
    for token in chunk:
        length = 1 if isinstance(token, int) else token.length
        if size + length > PART:
            parts.append([])
            size = 0
        parts[-1].append(token)
        size += length
    return parts


def compress(content, window_bits):
    """Returns the compressed blocks of a cabinet. The window has 2 to the power of 15 to 21 bytes."""
    content = _with_absolute_calls(content)
    writer, chunks, at, kinds = _Writer(window_bits), [], 0, 0
    writer.bits.add(1, 1)
    writer.bits.add(CALLS_END, 32)
    for chunk in tokens(content, (1 << window_bits) - 3, LONGEST, CHUNK):
        for part in _split(chunk):
            size = sum(1 if isinstance(token, int) else token.length for token in part)
            kind = (VERBATIM, ALIGNED, STORED)[kinds % 3]
            if kind == STORED:
                writer.add_stored(content[at:at + size])
            else:
                writer.add_compressed(kind, part)
            at, kinds = at + size, kinds + 1
        chunks.append(writer.bits.bytes(16))
        writer.bits = HighBitsFirst()
    return chunks
