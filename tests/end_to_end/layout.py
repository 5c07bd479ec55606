"""Sizes and positions in an output picture, computed from the options."""

import math
from dataclasses import dataclass

PADDINGS = {"none": None, "4x3": (4, 3), "16x9": (16, 9)}


def padded_size(eye_size, padding):
    if PADDINGS[padding] is None:
        return tuple(eye_size)
    across, down = PADDINGS[padding]
    unit = max(math.ceil(eye_size[0] / across), math.ceil(eye_size[1] / down))
    unit += unit % 2
    return across * unit, down * unit


@dataclass
class Layout:
    """`kind` is full, half, left or right (the last two are mono)."""

    eye_size: tuple
    kind: str = "full"
    padding: str = "none"

    @property
    def box(self):
        return padded_size(self.eye_size, self.padding)

    @property
    def size(self):
        return self.box[0] * (2 if self.kind == "full" else 1), self.box[1]

    @property
    def eyes(self):
        return ("left", "right") if self.kind in ("full", "half") else (self.kind,)

    @property
    def pads(self):
        return tuple((box - eye) // 2 // 2 * 2 for box, eye in zip(self.box, self.eye_size))

    def place(self, position, eye):
        """From rectified eye image coordinates to picture coordinates."""
        x, y = position[0] + self.pads[0], position[1] + self.pads[1]
        if self.kind == "half":
            # A column is the mean of two neighbours, so its centre is between theirs.
            x = (x - 0.5) / 2
            return (x + (self.box[0] // 2 if eye == "right" else 0), y)
        return (x + (self.box[0] if self.kind == "full" and eye == "right" else 0), y)

    def options(self):
        if self.kind in ("left", "right"):
            words = ["--output-format", "mono", "--mono-eye", self.kind]
        else:
            words = ["--sbs-mode", self.kind]
        return words + ["--sbs-aspect-ratio-padding", self.padding]
