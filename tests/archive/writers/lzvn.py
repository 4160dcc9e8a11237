"""LZVN, the simpler of the two compressed kinds of blocks in LZFSE: commands with distances and literals."""

MOST = 271  # literals, or bytes of a match that goes on, of one command


def _literals(run):
    data = b""
    for start in range(0, len(run), MOST):
        part = run[start:start + MOST]
        data += (bytes([0xE0 | len(part)]) if len(part) < 16 else bytes([0xE0, len(part) - 16])) + part
    return data


def _match(match):
    if 10 < match.length <= 34 and match.distance < 1 << 14:
        rest = match.length - 3
        return bytes([0xA0 | rest >> 2, (match.distance & 0x3F) << 2 | rest & 3, match.distance >> 6])
    first = min(match.length, 10)
    high, low = match.distance >> 8, match.distance & 0xFF
    data = bytes([first - 3 << 3 | high, low]) if high < 6 else bytes([first - 3 << 3 | 7, low, high])
    for start in range(first, match.length, MOST):
        length = min(match.length - start, MOST)
        data += bytes([0xF0 | length]) if length < 16 else bytes([0xF0, length - 16])
    return data


def compress(block):
    """Returns the commands for tokens."""
    data, run = b"", b""
    for token in block:
        if isinstance(token, int):
            run += bytes([token])
        else:
            data += _literals(run) + _match(token)
            run = b""
    return data + _literals(run) + b"\6" + bytes(7)
