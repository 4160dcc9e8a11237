"""Lengths of Huffman codes."""

import heapq
from itertools import count


def _unlimited_lengths(counts):
    order = count()
    heap = [(times, next(order), (symbol,)) for symbol, times in enumerate(counts) if times]
    heapq.heapify(heap)
    lengths = [0] * len(counts)
    while len(heap) > 1:
        first, second = heapq.heappop(heap), heapq.heappop(heap)
        for symbol in first[2] + second[2]:
            lengths[symbol] += 1
        heapq.heappush(heap, (first[0] + second[0], next(order), first[2] + second[2]))
    return lengths


def code_lengths(counts, longest):
    """Returns the length of the code of each symbol, 0 for those without a code. Two have one at least."""
    counts = list(counts)
    for symbol in (0, 1):
        if sum(map(bool, counts)) < 2:
            counts[symbol] = counts[symbol] or 1
    while max(lengths := _unlimited_lengths(counts)) > longest:
        counts = [times and times // 2 + 1 for times in counts]
    return lengths


def ascending_codes(lengths):
    """Returns {symbol: (code, length)}: shorter codes are lower, and codes of one length ascend."""
    codes, code, former = {}, 0, 0
    for length, symbol in sorted((length, symbol) for symbol, length in enumerate(lengths) if length):
        code <<= length - former
        codes[symbol] = (code, length)
        code, former = code + 1, length
    return codes
