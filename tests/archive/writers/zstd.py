"""Zstandard: matches, Huffman codes for literals and finite-state entropy for everything else."""

import struct
from collections import Counter, namedtuple
from itertools import zip_longest

from . import fse
from .huffman import code_lengths
from .matches import tokens
from .xxh64 import xxh64

METHOD = 93
BLOCK = 6_000
LONGEST = 2_000
RAW, COMPRESSED = 0, 2  # kinds of blocks and of literals
LITERAL_BITS = 11  # the longest code of a literal
WEIGHT_TABLE_BITS = 6

# A number is coded as a symbol and further bits. `extra` is the number of these bits for each symbol.
Numbers = namedtuple("Numbers", "first extra usual usual_bits bits")

# The usual shares are those that a block may refer to instead of describing its own.
LENGTHS_OF_LITERALS = Numbers(
    0, [0] * 16 + [1] * 4 + [2, 2, 3, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16],
    [4, 3] + [2] * 11 + [1] * 3 + [2] * 9 + [3, 2] + [1] * 5 + [-1] * 4, 6, 9)
LENGTHS_OF_MATCHES = Numbers(
    3, [0] * 32 + [1] * 4 + [2, 2, 3, 3, 4, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16],
    [1, 4, 3] + [2] * 6 + [1] * 37 + [-1] * 7, 6, 9)
OFFSETS = Numbers(1, list(range(32)), [1] * 6 + [2] * 3 + [1] * 15 + [-1] * 5, 5, 8)


# ---- literals

def _weights(lengths):
    last = max(symbol for symbol, length in enumerate(lengths) if length)
    return [length and max(lengths) + 1 - length for length in lengths[:last + 1]]


def _described_weights(weights):
    """Returns the description of all weights but the last, which follows from the others."""
    weights = weights[:-1]
    if len(weights) <= 128:
        return bytes([127 + len(weights)]) + bytes(
            high << 4 | low for high, low in zip_longest(weights[::2], weights[1::2], fillvalue=0))
    counts = Counter(weights)
    shares = fse.shares_of([counts[weight] for weight in range(max(weights) + 1)], WEIGHT_TABLE_BITS)
    table = fse.spread_table(shares, WEIGHT_TABLE_BITS)
    # Two states take turns.
    walks = [fse.walk(table, weights[first::2]) for first in (0, 1)]
    fields = [(state, WEIGHT_TABLE_BITS) for state, _ in walks]
    for at in range(len(weights)):
        steps = walks[at % 2][1]
        fields += steps[at // 2:at // 2 + 1]
    data = fse.describe(shares, WEIGHT_TABLE_BITS) + fse.backward_bytes(fields)
    return bytes([len(data)]) + data


def _codes(lengths):
    """Returns {symbol: (code, length)}: longer codes are lower, and codes of one length ascend."""
    longest, codes, first = max(lengths), {}, 0
    for length, symbol in sorted((-length, symbol) for symbol, length in enumerate(lengths) if length):
        codes[symbol] = (first >> longest + length, -length)
        first += 1 << longest + length
    return codes


def _literals(data):
    """Returns the first section of a block."""
    lengths = code_lengths([data.count(byte) for byte in range(256)], LITERAL_BITS)
    if len(data) < 64 or len(set(_weights(lengths))) == 1:
        return (RAW | 3 << 2 | len(data) << 4).to_bytes(3, "little") + data
    codes = _codes(lengths)
    quarter = (len(data) + 3) // 4
    streams = [fse.backward_bytes([codes[byte] for byte in data[start:start + quarter]])
               for start in range(0, len(data), quarter)]
    packed = _described_weights(_weights(lengths)) + struct.pack("<3H", *map(len, streams[:3])) + b"".join(streams)
    return (COMPRESSED | 2 << 2 | len(data) << 4 | len(packed) << 18).to_bytes(4, "little") + packed


# ---- sequences of literals and a match

def _sequences(block):
    """Returns the literals of a block, and (number of literals, offset, length of match) for each match."""
    literals, sequences, run, former = bytearray(), [], 0, None
    for token in block:
        if isinstance(token, int):
            literals.append(token)
            run += 1
        else:
            offset = 1 if run and token.distance == former else token.distance + 3
            sequences.append((run, offset, token.length))
            run, former = 0, token.distance
    return bytes(literals), sequences


def _table(numbers, symbols, described):
    """Returns how the table is given (0 usual, 1 one symbol, 2 described), its bits, table and description."""
    if not described:
        return 0, numbers.usual_bits, fse.spread_table(numbers.usual, numbers.usual_bits), b""
    if len(set(symbols)) == 1:
        return 1, 0, [fse.Entry(symbols[0], 0, 0)], bytes(symbols[:1])
    counts = Counter(symbols)
    shares = fse.shares_of([counts[symbol] for symbol in range(max(symbols) + 1)], numbers.bits)
    return 2, numbers.bits, fse.spread_table(shares, numbers.bits), fse.describe(shares, numbers.bits)


def _sequence_section(sequences, described):
    count = len(sequences)
    header = bytes([count]) if count < 128 else bytes([128 + (count >> 8), count & 0xFF])
    if count == 0:
        return header
    kinds = (LENGTHS_OF_LITERALS, OFFSETS, LENGTHS_OF_MATCHES)
    coded = [[fse.with_extra_bits(numbers.extra, value - numbers.first) for numbers, value in zip(kinds, sequence)]
             for sequence in sequences]
    columns = [[each[kind][0] for each in coded] for kind in range(3)]
    tables = [_table(numbers, symbols, described) for numbers, symbols in zip(kinds, columns)]
    walks = [fse.walk(table[2], symbols) for table, symbols in zip(tables, columns)]
    fields = [(walked[0], table[1]) for walked, table in zip(walks, tables)]
    for at, (literal, offset, match) in enumerate(coded):
        fields += [offset[1:], match[1:], literal[1:]]
        if at + 1 < count:
            fields += [walks[kind][1][at] for kind in (0, 2, 1)]
    modes = tables[0][0] << 6 | tables[1][0] << 4 | tables[2][0] << 2
    return header + bytes([modes]) + b"".join(table[3] for table in tables) + fse.backward_bytes(fields)


# ---- blocks

def compress(content):
    """Returns a frame. Its blocks take turns at having described tables, the usual ones and none."""
    blocks = tokens(content, len(content), LONGEST, BLOCK)
    frame = struct.pack("<IBI", 0xFD2FB528, 2 << 6 | 1 << 5 | 1 << 2, len(content))
    for number, block in enumerate(blocks):
        plain = content[number * BLOCK:(number + 1) * BLOCK]
        kind, data = RAW, plain
        if number % 3 != 2:
            literals, sequences = _sequences(block)
            packed = _literals(literals) + _sequence_section(sequences, number % 3 == 0)
            if len(packed) < len(plain):
                kind, data = COMPRESSED, packed
        frame += (int(number == len(blocks) - 1) | kind << 1 | len(data) << 3).to_bytes(3, "little") + data
    return frame + struct.pack("<I", xxh64(content) & 0xFFFFFFFF)
