"""Writers of bits."""


class HighBitsFirst:
    """Bits that fill each unit from its highest bit."""

    def __init__(self):
        self._parts = []
        self._count = 0

    def __len__(self):
        return self._count

    def add(self, value, count):
        if count:
            self._parts.append(f"{value:0{count}b}")
            self._count += count

    def pad(self, unit):
        """Adds zeros up to a multiple of that many bits."""
        self.add(0, -self._count % unit)

    def bytes(self, unit=8):
        """Returns units of 8 or 16 bits, the lower byte of a unit first."""
        self.pad(unit)
        data = int("".join(self._parts) or "0", 2).to_bytes(self._count // 8, "big")
        if unit == 8:
            return data
        swapped = bytearray(data)
        swapped[0::2], swapped[1::2] = data[1::2], data[0::2]
        return bytes(swapped)


class LowBitsFirst:
    """Bits that fill each byte from its lowest bit."""

    def __init__(self):
        self._parts = []

    def add(self, value, count):
        """Adds a number, its lowest bit first."""
        if count:
            self._parts.append(f"{value:0{count}b}"[::-1])

    def add_code(self, code, count):
        """Adds a code, its highest bit first."""
        if count:
            self._parts.append(f"{code:0{count}b}")

    def bytes(self):
        text = "".join(self._parts)
        return int(text[::-1] or "0", 2).to_bytes((len(text) + 7) // 8, "little")
