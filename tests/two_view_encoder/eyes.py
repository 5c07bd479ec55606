"""Pictures of two eyes that move and differ, and their samples as the encoder takes them."""

import functools

import numpy as np


@functools.cache
def texture(size):
    """A smooth field with values from 0 to 1."""
    random = np.random.default_rng(7)
    field = np.zeros((size, size))
    for cell in (32, 16, 8):
        coarse = random.random((size // cell + 2, size // cell + 2))
        at = np.arange(size) / cell
        low, part = at.astype(int), at % 1
        rows = coarse[low] * (1 - part)[:, None] + coarse[low + 1] * part[:, None]
        field += (rows[:, low] * (1 - part) + rows[:, low + 1] * part) * cell
    field -= field.min()
    return field / field.max()


class Eye:
    """The planes of one picture, in the request's depth."""

    def __init__(self, request, number, view, noise=0.0):
        side = 1024
        rows = (np.arange(request.height)[:, None] + 2 * number) % side
        columns = (np.arange(request.width)[None, :] + 3 * number + (23 * view)) % side
        luma = texture(side)[rows, columns]
        if noise:
            luma = luma * (1 - noise) + noise * np.random.default_rng(2 * number + view).random(luma.shape)
        half = luma[::2, ::2]
        peak = (1 << request.depth) - 1
        self.depth = request.depth
        self.planes = [np.round(plane * peak).astype(np.uint16)
                       for plane in (0.1 + 0.8 * luma, 0.3 + 0.4 * half, 0.7 - 0.4 * half)]

    def samples(self):
        """Planar 4:2:0 for 8 bits, P010 for 10."""
        if self.depth == 8:
            return b"".join(plane.astype(np.uint8).tobytes() for plane in self.planes)
        luma, first, second = self.planes
        chroma = np.stack([first, second], axis=-1)
        return b"".join((plane << 6).astype("<u2").tobytes() for plane in (luma, chroma))


def make_pairs(request, count, noise=0.0):
    """Left and right eye of each pair."""
    return [tuple(Eye(request, number, view, noise) for view in range(2)) for number in range(count)]


def samples_of(pairs):
    return [tuple(eye.samples() for eye in pair) for pair in pairs]
