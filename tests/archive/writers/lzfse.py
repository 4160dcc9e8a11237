"""LZFSE, which Zip files have under the number of WinZip's AES.

The two kinds of compressed blocks take turns. There is no stored block: 7-Zip 26.02 takes it for damaged,
because its decoder does not count the bytes.
"""

import struct
from collections import Counter, namedtuple

from . import fse, lzvn
from .bits import LowBitsFirst
from .matches import tokens

METHOD = 99
BLOCK = 2_500
LONGEST = 2_000  # of a match
MOST_LITERALS = 315  # before a match

# A number is coded as a symbol and further bits. `extra` is the number of these bits for each symbol.
Numbers = namedtuple("Numbers", "extra state_bits")
KINDS = (Numbers([0] * 16 + [2, 3, 5, 8], 6),  # numbers of literals before a match
         Numbers([0] * 16 + [3, 5, 8, 11], 6),  # lengths of matches
         Numbers([count for count in range(16) for _ in range(4)], 8))  # distances
LITERALS = Numbers([0] * 256, 10)

# The bits (value, count) of the smallest shares, lowest bit first.
SMALL_SHARES = ((0, 2), (2, 2), (1, 3), (5, 3), (3, 5), (11, 5), (19, 5), (27, 5))


def _commands(block):
    """Returns the literals, and (number of literals, length of match, distance) of each command."""
    literals, commands, run = bytearray(), [], 0
    for token in block:
        if isinstance(token, int):
            literals.append(token)
            run += 1
            if run == MOST_LITERALS:
                commands.append((run, 0, 1))
                run = 0
        else:
            commands.append((run, token.length, token.distance))
            run = 0
    if run:
        commands.append((run, 0, 1))
    return bytes(literals) + bytes(-len(literals) % 4), commands


def _shares_and_table(numbers, symbols):
    """Returns a table whose states are in the order of their symbols."""
    counts = Counter(symbols)
    shares = fse.shares_of([counts[symbol] for symbol in range(len(numbers.extra))], numbers.state_bits)
    table = []
    for symbol, share in enumerate(shares):
        for state in range(share, 2 * share):
            count = numbers.state_bits + 1 - state.bit_length()
            table.append(fse.Entry(symbol, count, (state << count) - (1 << numbers.state_bits)))
    return shares, table


def _described(all_shares):
    bits = LowBitsFirst()
    for share in all_shares:
        if share < 8:
            bits.add(*SMALL_SHARES[share])
        elif share < 24:
            bits.add(7 | share - 8 << 4, 8)
        else:
            bits.add(15 | share - 24 << 4, 14)
    return bits.bytes()


def _coded_literals(literals):
    """Returns the shares, the first states, the data and its number of unused bits. Four states take turns."""
    shares, table = _shares_and_table(LITERALS, literals)
    walks = [fse.walk(table, literals[first::4], end=0) for first in range(4)]
    fields = [walks[at % 4][1][at // 4] for at in range(len(literals))]
    return shares, [state for state, _ in walks], *fse.backward_bytes(fields, marked=False)


def _coded_commands(commands):
    """Returns the shares, the first states, the data and its number of unused bits."""
    coded = [[fse.with_extra_bits(numbers.extra, value) for numbers, value in zip(KINDS, command)]
             for command in commands]
    all_shares, walks = [], []
    for kind, numbers in enumerate(KINDS):
        symbols = [each[kind][0] for each in coded]
        shares, table = _shares_and_table(numbers, symbols)
        all_shares += shares
        walks.append(fse.walk(table, symbols, end=0))
    fields = []
    for at, command in enumerate(coded):
        for (_, steps), (_, extra, count) in zip(walks, command):
            fields += [steps[at], (extra, count)]
    fields.append((0, 64))
    return all_shares, [state for state, _ in walks], *fse.backward_bytes(fields, marked=False)


def _ten_bits_each(states):
    return sum(state << 10 * at for at, state in enumerate(states))


def _with_states(block):
    literals, commands = _commands(block)
    literal_shares, literal_states, literal_data, literals_unused = _coded_literals(literals)
    shares, states, data, unused = _coded_commands(commands)
    description = _described(shares + literal_shares)
    fields = (len(literals) | len(literal_data) << 20 | len(commands) << 40 | 7 - literals_unused << 60,
              _ten_bits_each(literal_states) | len(data) << 40 | 7 - unused << 60,
              32 + len(description), _ten_bits_each(states))
    return struct.pack("<QQII", *fields) + description + literal_data + data


def compress(content):
    packed = b""
    for number, block in enumerate(tokens(content, (1 << 14) - 1, LONGEST, BLOCK)):
        if number % 2 == 0:
            kind, data = b"bvx2", _with_states(block)
        else:
            commands = lzvn.compress(block)
            kind, data = b"bvxn", struct.pack("<I", len(commands)) + commands
        packed += kind + struct.pack("<I", min(BLOCK, len(content) - number * BLOCK)) + data
    return packed + b"bvx$"
