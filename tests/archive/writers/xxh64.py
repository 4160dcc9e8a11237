"""The hash function XXH64."""

import struct

MASK = (1 << 64) - 1
PRIMES = (0, 0x9E3779B185EBCA87, 0xC2B2AE3D27D4EB4F, 0x165667B19E3779F9, 0x85EBCA77C2B2AE63, 0x27D4EB2F165667C5)


def _rotate(value, count):
    return (value << count | value >> 64 - count) & MASK


def _round(lane, value):
    return _rotate((lane + value * PRIMES[2]) & MASK, 31) * PRIMES[1] & MASK


def _mix(lanes):
    hashed = sum(map(_rotate, lanes, (1, 7, 12, 18))) & MASK
    for lane in lanes:
        hashed = ((hashed ^ _round(0, lane)) * PRIMES[1] + PRIMES[4]) & MASK
    return hashed


def xxh64(data):
    """Returns the hash with the seed 0."""
    at, hashed = 0, PRIMES[5]
    if len(data) >= 32:
        lanes = [(PRIMES[1] + PRIMES[2]) & MASK, PRIMES[2], 0, -PRIMES[1] & MASK]
        for at in range(0, len(data) - 31, 32):
            lanes = list(map(_round, lanes, struct.unpack_from("<4Q", data, at)))
        at, hashed = at + 32, _mix(lanes)
    hashed = (hashed + len(data)) & MASK
    while len(data) - at >= 8:
        value, = struct.unpack_from("<Q", data, at)
        hashed = (_rotate(hashed ^ _round(0, value), 27) * PRIMES[1] + PRIMES[4]) & MASK
        at += 8
    if len(data) - at >= 4:
        value, = struct.unpack_from("<I", data, at)
        hashed = (_rotate(hashed ^ value * PRIMES[1] & MASK, 23) * PRIMES[2] + PRIMES[3]) & MASK
        at += 4
    for byte in data[at:]:
        hashed = _rotate(hashed ^ byte * PRIMES[5] & MASK, 11) * PRIMES[1] & MASK
    hashed = (hashed ^ hashed >> 33) * PRIMES[2] & MASK
    hashed = (hashed ^ hashed >> 29) * PRIMES[3] & MASK
    return hashed ^ hashed >> 32
