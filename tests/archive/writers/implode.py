"""Implode, an old compression method of Zip: matches and static codes of Shannon and Fano."""

from collections import Counter

from .bits import LowBitsFirst
from .huffman import code_lengths
from .matches import tokens

METHOD = 6
LARGE_WINDOW, LITERAL_CODES = 2, 4  # flags of the Zip item
LITERALS, LENGTHS, DISTANCES = 256, 64, 64  # each of these has a code


def _descending_codes(lengths):
    """Returns {symbol: (code, length)}: shorter codes are higher, and codes of one length descend."""
    codes, first = {}, 1 << 16
    for length, symbol in sorted((length, symbol) for symbol, length in enumerate(lengths)):
        first -= 1 << 16 - length
        codes[symbol] = (first >> 16 - length, length)
    return codes


def _add_codes(bits, counts, size):
    """Writes the lengths of the codes, as runs of equal ones; returns the codes."""
    lengths = code_lengths([counts[symbol] + 1 for symbol in range(size)], 16)
    runs = []
    for length in lengths:
        if runs and runs[-1][0] == length and runs[-1][1] < 16:
            runs[-1][1] += 1
        else:
            runs.append([length, 1])
    bits.add(len(runs) - 1, 8)
    for length, times in runs:
        bits.add(times - 1 << 4 | length - 1, 8)
    return _descending_codes(lengths)


def compress(content, flags):
    """Returns the compressed content for those flags."""
    low_bits = 7 if flags & LARGE_WINDOW else 6
    shortest = 3 if flags & LITERAL_CODES else 2
    longest = shortest + 63 + 255
    found, = tokens(content, DISTANCES << low_bits, longest) or [[]]
    matches = [token for token in found if not isinstance(token, int)]
    bits, literals = LowBitsFirst(), None
    if flags & LITERAL_CODES:
        literals = _add_codes(bits, Counter(token for token in found if isinstance(token, int)), LITERALS)
    lengths = _add_codes(bits, Counter(min(match.length - shortest, 63) for match in matches), LENGTHS)
    distances = _add_codes(bits, Counter(match.distance - 1 >> low_bits for match in matches), DISTANCES)
    for token in found:
        if isinstance(token, int):
            bits.add(1, 1)
            if literals:
                bits.add_code(*literals[token])
            else:
                bits.add(token, 8)
            continue
        bits.add(0, 1)
        bits.add(token.distance - 1 & (1 << low_bits) - 1, low_bits)
        bits.add_code(*distances[token.distance - 1 >> low_bits])
        length = token.length - shortest
        bits.add_code(*lengths[min(length, 63)])
        if length >= 63:
            bits.add(length - 63, 8)
    return bits.bytes()
