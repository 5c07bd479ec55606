"""NAL units of an Annex B stream, and what a video parameter set says of its layers."""

import re

VPS, SPS, PPS = 32, 33, 34


def nal_units(stream):
    """The units without start codes; nothing else may be in the stream."""
    assert stream.startswith((b"\0\0\1", b"\0\0\0\1"))
    return [part.rstrip(b"\0") for part in re.split(b"\0*\0\0\1", stream)[1:]]


def kind_and_layer(unit):
    return unit[0] >> 1 & 63, (unit[0] & 1) << 5 | unit[1] >> 3


class Bits:
    def __init__(self, unit):
        payload = re.sub(b"\0\0\3", b"\0\0", unit[2:])
        self.bits = "".join(f"{byte:08b}" for byte in payload)
        self.position = 0

    def take(self, count):
        assert self.position + count <= len(self.bits), "the set ends early"
        self.position += count
        return int(self.bits[self.position - count:self.position] or "0", 2)

    def golomb(self):
        zeros = 0
        while self.take(1) == 0:
            zeros += 1
        return (1 << zeros) - 1 + self.take(zeros)

    def align(self):
        self.position += -self.position % 8


class Profile:
    def __init__(self, bits):
        self.tier, self.profile = bits.take(3) & 1, bits.take(5)
        bits.take(32)
        bits.take(4)
        self.flags = f"{bits.take(44):044b}"
        self.level = bits.take(8)

    def __repr__(self):
        return f"profile {self.profile}, tier {self.tier}, level {self.level}"


class VideoParameterSet:
    """Of two layers with one temporal layer each, in the order of the standard's syntax tables 7.3.2.1 and F.7.3.2.1."""

    def __init__(self, unit):
        bits = Bits(unit)
        bits.take(6)
        self.layers = bits.take(6) + 1
        assert bits.take(3) == 0
        bits.take(17)
        self.base = Profile(bits)
        bits.take(1)  # whether each temporal layer has the numbers that follow; there is one
        self.buffered, self.reordered, _ = bits.golomb() + 1, bits.golomb(), bits.golomb()
        highest = bits.take(6)
        self.layer_sets = [[bits.take(1) for _ in range(highest + 1)] for _ in range(bits.golomb())]
        if bits.take(1):  # timing
            bits.take(64)
            if bits.take(1):
                bits.golomb()
            assert bits.golomb() == 0, "buffering parameters, which are not read here"
        assert bits.take(1) == 1, "no extension"
        bits.align()
        self.base_level_again = bits.take(8)
        splitting = bits.take(1)
        self.scalability = [kind for kind in range(16) if bits.take(1)]
        lengths = [bits.take(3) + 1 for _ in range(len(self.scalability) - splitting)]
        own_numbers = bits.take(1)
        self.layer_number = bits.take(6) if own_numbers else 1
        self.dimensions = [] if splitting else [bits.take(length) for length in lengths]
        length = bits.take(4)
        self.view_ids = [bits.take(length) for _ in range(2)]
        self.depends_on_base = bits.take(1)
        if not self.depends_on_base:
            assert bits.golomb() == 0, "further layer sets, which are not read here"
        if bits.take(1):
            bits.take(3 * 2)  # temporal layers of either layer
        if bits.take(1):
            bits.take(3 * self.depends_on_base)  # temporal layers that are referred to
        bits.take(1)  # which layers are referred to
        assert bits.golomb() >= 2, "no profile for the second layer"
        assert bits.take(1) == 1, "the second layer has no profile"
        self.second = Profile(bits)
