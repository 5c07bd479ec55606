"""Checks of two-view movies: their boxes, samples, times and the pictures of both views."""

import hashlib
import json
import struct
from fractions import Fraction

import numpy as np

from closeness import check_near
from movie import Movie, tool
from spatial_movie import PPS, PREFIX_SEI, SPS, VPS, SpatialMovie, kind_and_layer, parameter_sets, psnr

# PSNR in dB of every frame against the nearly lossless eye, and by how much it exceeds that against the other eye.
OWN_EYE, CLOSER = 40.0, 6.0


class Eyes:
    """Luma of each eye of a recording, from its nearly lossless mono conversions."""

    def __init__(self, converter, recording, folder):
        self.luma = []
        for eye in ("left", "right"):
            output = folder / f"{eye}.mov"
            converter.run("--sbs-codec", "prores", "--output-format", "mono", "--mono-eye", eye, "--output", output,
                          recording.path, folder=folder).succeeded()
            self.luma.append(Movie(output).planes()[0] / np.float32(1023))

    def compare(self, number, luma, shown):
        """PSNR of each frame of `luma` (0 to 1) against eye `number`, and against the other eye."""
        assert len(luma) == len(shown), f"{len(luma)} frames, expected {len(shown)}"
        return psnr(luma, self.luma[number][shown], 1), psnr(luma, self.luma[1 - number][shown], 1)

    def check(self, views, shown):
        """Each view shows its eye, the frames with the numbers `shown`."""
        for number, view in enumerate(views):
            own, other = self.compare(number, view.planes[0] / view.peak, shown)
            assert own.min() > OWN_EYE, f"view {number}: {own.round(1)}"
            assert (own - other).min() > CLOSER, f"view {number}: {own.round(1)}, the other eye {other.round(1)}"


def check_description(movie):
    base = {kind_and_layer(unit) for unit in parameter_sets(movie.sample_entry.one("hvcC").content, header=22)}
    assert base == {(VPS, 0), (SPS, 0), (PPS, 0), (PREFIX_SEI, 0)}
    layered = {kind_and_layer(unit) for unit in parameter_sets(movie.sample_entry.one("lhvC").content, header=5)}
    assert layered == {(SPS, 1), (PPS, 1)}
    assert movie.sample_entry.one("vexu", "eyes", "stri").content[4] == 3
    assert 0 < struct.unpack(">I", movie.sample_entry.one("hfov").content)[0] < 180_000


def check_samples(movie, count, keys=None):
    """Both views in each sample; those listed as sync samples are the key pictures, numbered `keys` if given."""
    assert len(movie.samples) == count
    random_access = []
    for number, units in enumerate(movie.samples, 1):
        pictures = [kind_and_layer(unit) for unit in units if kind_and_layer(unit)[0] < VPS]
        assert [layer for _, layer in pictures] == [0, 1], f"sample {number}: {pictures}"
        random_access += [number] if 16 <= pictures[0][0] <= 23 else []
    table = movie.track.one("mdia", "minf", "stbl")
    listed = list(range(1, count + 1))  # without the table
    if table.all("stss"):
        listed = [number for [number] in struct.iter_unpack(">I", table.one("stss").content[8:])]
    assert listed == random_access
    assert keys is None or random_access == keys


def check_times(movie, rate, count):
    """Frame n is shown at n / rate in both views and for other players, and the movie ends with its last frame."""
    expected = [index / rate for index in range(count)]
    for view in movie.views:
        check_near(view.times, expected, 1e-3, "times of a view")
    found = json.loads(tool("ffprobe", "-v", "error", "-select_streams", "v", "-of", "json", "-show_entries",
                            "stream=avg_frame_rate,duration:frame=best_effort_timestamp_time", movie.path))
    check_near([float(frame["best_effort_timestamp_time"]) for frame in found["frames"]], expected, 1e-3, "frame times")
    [stream] = found["streams"]
    check_near(float(Fraction(stream["avg_frame_rate"])), rate, 1e-6 * rate, "frame rate")
    check_near(float(stream["duration"]), count / rate, 2e-3, "duration")


# What has been judged and was right.
RIGHT = set()


def check_movie(path, decoder, eyes, rate, count, keys=None, step=1):
    """The movie shows every `step`-th frame of the eyes. One that is byte for byte as an earlier one is not judged again."""
    judged = (hashlib.sha256(path.read_bytes()).digest(), id(eyes), rate, count, str(keys), step)
    if judged in RIGHT:
        return
    movie = SpatialMovie(path, decoder)
    check_description(movie)
    check_samples(movie, count, keys)
    check_times(movie, rate, count)
    eyes.check(movie.views, [index * step for index in range(count)])
    RIGHT.add(judged)
