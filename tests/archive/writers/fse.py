"""Finite-state entropy: symbols are coded as states of a table, which a decoder reads backwards.

A table is a list with an entry for each state: the symbol that it stands for, and the number of bits that
a decoder reads and adds to a base to get the next state.
"""

from collections import namedtuple

from .bits import LowBitsFirst

Entry = namedtuple("Entry", "symbol count base")


def with_extra_bits(extra, value):
    """Returns the symbol of a number, the further bits and their number, which `extra` names for each symbol."""
    symbol = 0
    while value >= 1 << extra[symbol]:
        value -= 1 << extra[symbol]
        symbol += 1
    return symbol, value, extra[symbol]


def walk(table, symbols, end=None):
    """Returns the first state, and the bits (value, count) that lead from each symbol to the next.

    The last step leads to the state `end`, or is left out.
    """
    state, steps = end, []
    for symbol in reversed(symbols):
        former = next(number for number, entry in enumerate(table) if entry.symbol == symbol and (
            state is None or entry.base <= state < entry.base + (1 << entry.count)))
        if state is not None:
            steps.append((state - table[former].base, table[former].count))
        state = former
    return state, steps[::-1]


def backward_bytes(fields, marked=True):
    """Returns bytes from which a decoder reads the fields (value, count), starting at the end.

    With a mark, a 1 before the first field. Without one, also returns the number of unused bits.
    """
    text = "".join(f"{value:0{count}b}" for value, count in fields if count)
    text = "1" + text if marked else text
    data = int(text or "0", 2).to_bytes((len(text) + 7) // 8, "little")
    return data if marked else (data, -len(text) % 8)


def spread_table(shares, size_bits):
    """Returns the table of Zstandard for the symbols' shares of the states. -1 is a share of less than one."""
    size, rare = 1 << size_bits, [symbol for symbol, share in enumerate(shares) if share == -1]
    symbols = [None] * (size - len(rare)) + rare[::-1]
    at = 0
    for symbol, share in enumerate(shares):
        for _ in range(max(share, 0)):
            symbols[at] = symbol
            at = (at + (size >> 1) + (size >> 3) + 3) % size
            while at >= size - len(rare):
                at = (at + (size >> 1) + (size >> 3) + 3) % size
    following, table = [abs(share) for share in shares], []
    for symbol in symbols:
        count = size_bits + 1 - following[symbol].bit_length()
        table.append(Entry(symbol, count, (following[symbol] << count) - size))
        following[symbol] += 1
    return table


def shares_of(counts, size_bits):
    """Returns shares in proportion to the counts. At most half of the symbols may be rare."""
    size, total = 1 << size_bits, sum(counts)
    shares = [times and max(times * size // total, 1) for times in counts]
    while sum(shares) != size:
        shares[shares.index(max(shares))] += 1 if sum(shares) < size else -1
    return shares


def describe(shares, size_bits):
    """Returns the description of a table in Zstandard."""
    bits, left, at = LowBitsFirst(), 1 << size_bits, 0
    bits.add(size_bits - 5, 4)
    while left > 0:
        count = (left + 1).bit_length()
        short = (1 << count) - 2 - left  # that many values need a bit less
        value = shares[at] + 1
        if value < short:
            bits.add(value, count - 1)
        else:
            bits.add(value if value < 1 << count - 1 else value + short, count)
        left -= abs(shares[at])
        at += 1
        if value == 1:
            zeros = next(end for end in range(at, len(shares)) if shares[end] != 0) - at
            at += zeros
            for _ in range(zeros // 3):
                bits.add(3, 2)
            bits.add(zeros % 3, 2)
    return bits.bytes()
