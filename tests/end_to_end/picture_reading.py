"""Reads frame numbers, targets and flashes from decoded pictures."""

import numpy as np


def _mean_around(luma, x, y):
    column, row = int(round(x)), int(round(y))
    return float(luma[max(row - 1, 0):row + 2, max(column - 1, 0):column + 2].mean())


def read_frame_number(luma, recording, layout, eye):
    """The number on the board. The reference squares set the threshold, so that flashes do no harm."""
    board = recording.truth["number_board"]

    def brightness(point):
        position = recording.rig.rectified_position(np.array(point), eye, layout.eye_size)
        return _mean_around(luma, *layout.place(position, eye))

    white, black = brightness(board["white"]), brightness(board["black"])
    assert white - black > 0.1 * np.iinfo(luma.dtype).max * (1 if luma.dtype == np.uint8 else 1 / 64), "no board"
    bits = [brightness(point) for point in board["bits"]]
    return sum(1 << index for index, bit in enumerate(bits) if bit > (white + black) / 2)


def read_frame_numbers(luma_frames, recording, layout, eye):
    return [read_frame_number(luma, recording, layout, eye) for luma in luma_frames]


def locate_target(luma, expected, radius):
    """Centroid of the white core near `expected` (x, y); `radius` (across, down) is that of the black disc.

    Weights are what stands above the middle between the disc's black and the core's white.
    """
    across, down = radius
    x0, y0 = int(round(expected[0])), int(round(expected[1]))
    left, top = x0 - int(across), y0 - int(down)
    if left < 0 or top < 0:
        return None
    window = luma[top:top + 2 * int(down) + 1, left:left + 2 * int(across) + 1].astype(np.float64)
    if window.shape != (2 * int(down) + 1, 2 * int(across) + 1):
        return None
    rows, columns = np.mgrid[0:window.shape[0], 0:window.shape[1]]
    inside = ((columns - across) / across)**2 + ((rows - down) / down)**2 <= 1.0
    low, high = np.percentile(window[inside], 10), window[inside].max()
    weights = np.clip(window - (low + 0.2 * (high - low)), 0, None) * inside
    total = weights.sum()
    return np.array([left + (weights * columns).sum() / total, top + (weights * rows).sum() / total])


def brightest_times(luma_frames, times):
    """Times of the frames that are much brighter than the others: the flashes."""
    means = np.array([float(frame.mean()) for frame in luma_frames])
    usual = np.median(means)
    return [time for mean, time in zip(means, times) if mean > 1.4 * usual]


def click_times(samples, rate):
    """Onsets of the clicks: first samples far louder than the tone, at most one per half second."""
    loud = np.flatnonzero(np.abs(samples) > 0.3)
    onsets = []
    for index in loud:
        if not onsets or index - onsets[-1] > rate // 2:
            onsets.append(index)
    return [index / rate for index in onsets]
