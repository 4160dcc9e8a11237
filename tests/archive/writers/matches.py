"""Splits content into literals and matches with earlier content."""

from collections import namedtuple

Match = namedtuple("Match", "distance length")
SHORTEST = 3


def _equal_length(content, at, earlier, limit):
    length = 0
    while length < limit and content[at + length] == content[earlier + length]:
        length += 1
    return length


def tokens(content, window, longest, block=None):
    """Returns a list for each block: literals, which are numbers, and matches.

    A match may refer to an earlier block, but ends with its own. Without a block size there is one block.
    """
    block = block or len(content) or 1
    last_places, blocks = {}, []
    for start in range(0, len(content), block):
        end = min(start + block, len(content))
        found, at = [], start
        while at < end:
            earlier = last_places.get(content[at:at + SHORTEST])
            length = 0
            if earlier is not None and at - earlier <= window:
                length = _equal_length(content, at, earlier, min(longest, end - at))
            step = length if length >= SHORTEST else 1
            found.append(Match(at - earlier, length) if length >= SHORTEST else content[at])
            for place in range(at, at + step):
                last_places[content[place:place + SHORTEST]] = place
            at += step
        blocks.append(found)
    return blocks
