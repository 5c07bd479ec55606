"""Judges movies by the checks of the end-to-end tests; every check runs, whatever the others find."""

import traceback
from dataclasses import dataclass, field
from pathlib import Path

import numpy as np

import bit_stream
import boxes
from expectations import (HDR_COLOURS, SDR_COLOURS, check_colours, check_flash_and_click, check_format,
                          check_frame_numbers, check_targets, check_timing, layout_of)
from movie import Movie
from spatial_checks import check_description, check_samples, check_times
from spatial_movie import PREFIX_SEI, VPS, SpatialMovie, kind_and_layer, parameter_sets

# PSNR in dB of every frame against the nearly lossless eye, and by how much it exceeds that against the other eye.
OWN_EYE, CLOSER = 38.0, 6.0
# Achieved bit rate over the one asked for. Plain scenes need less, so there is no lower bound.
HIGHEST_RATE = 1.6


@dataclass
class Judgement:
    """What one movie gives: sentences about failures, measured values and, for two views, what was unknown."""

    failures: list = field(default_factory=list)
    values: list = field(default_factory=list)
    observations: list = field(default_factory=list)

    def check(self, what, check, *arguments):
        """Runs a check; the values that it returns are reported."""
        try:
            self.values += check(*arguments) or []
        except Exception as mistake:  # pylint: disable=broad-except; a broken movie may break the reader anywhere
            place = traceback.extract_tb(mistake.__traceback__)[-1]
            text = str(mistake) or f"{type(mistake).__name__}: {place.line}"
            self.failures.append(f"{what}: {text.strip()} ({Path(place.filename).name}:{place.lineno})")


def asked_group(rate):
    """Frames in a group of pictures: two seconds of whole frames."""
    return max(2 * (rate[0] // rate[1]), 1)


def check_keys(keys, group):
    """The first sample is a key, and none is further from the last one than a group."""
    places = [index for index, key in enumerate(keys) if key]
    assert places and places[0] == 0, f"key frames at {places}"
    distances = np.diff([*places, len(keys)])
    assert distances.max() <= group, f"key frames at {places}, asked for every {group}"
    return [f"key frames at {places}, asked for every {group}"]


def check_rate(size, seconds, asked):
    achieved = 8 * size / seconds
    assert achieved <= HIGHEST_RATE * asked, f"{achieved / 1e6:.2f} Mbit/s, asked for {asked / 1e6:.2f}"
    return [f"bit rate {achieved / 1e6:.2f} Mbit/s, asked for {asked / 1e6:.2f}"]


def check_pictures(eyes, number, luma):
    own, other = eyes.compare(number, luma, list(range(len(luma))))
    eye = ("left", "right")[number]
    assert own.min() > OWN_EYE, f"{eye} eye: lowest PSNR {own.min():.2f} dB in frame {own.argmin()}, expected {OWN_EYE}"
    assert (own - other).min() > CLOSER, f"the {eye} eye is as near to the other eye ({other.max():.2f} dB)"
    return [f"{eye} eye: PSNR at least {own.min():.2f} dB, on average {own.mean():.2f} dB"]


def judge_side_by_side(path, recording, eyes, codec, bits, asked, group=None):
    """`group` is the longest distance of key frames, if it is not that of the converter's own encoders."""
    result, movie, layout = Judgement(), Movie(path), layout_of(recording)
    count, rate = recording.frame_count, recording.rate
    result.check("format", check_format, movie, codec, bits == 10, layout)
    result.check("colours", check_colours, movie, HDR_COLOURS if bits == 10 else SDR_COLOURS)
    result.check("frame times", check_timing, movie, rate, count)
    result.check("key frames", lambda: check_keys(movie.key_frames, group or asked_group(rate)))
    result.check("boxes", check_stereo_box, path)
    result.check("bit rate", lambda: check_rate(sum(boxes.sample_sizes(video_track(path))), count * rate[1] / rate[0],
                                                asked))
    result.check("decoding", movie_planes, movie)
    if result.failures and result.failures[-1].startswith("decoding"):
        return result
    luma, width = movie.luma, layout.eye_size[0]
    result.check("frame numbers", check_frame_numbers, luma, recording, layout, range(count))
    result.check("geometry", check_geometry, luma[0], recording, layout)
    result.check("sound", check_flash_and_click, movie, luma, rate, recording.flash_times)
    peak = 1023 if luma.dtype == np.uint16 else 255
    for number in (0, 1):
        result.check("pictures", lambda n=number: check_pictures(
            eyes, n, luma[:, :, n * width:(n + 1) * width] / np.float32(peak)))
    return result


def check_geometry(luma, recording, layout):
    # How far the centre of a disc's image is from the image of its centre grows with the picture.
    check_targets(luma, recording, layout, 0, tolerance=0.4 * max(1, layout.eye_size[0] / 640))


def movie_planes(movie):
    movie.luma = movie.planes()[0]


def video_track(path):
    [track] = boxes.tracks(boxes.read_boxes(path), "vide")
    return track


def check_stereo_box(path):
    marks = [box.content for box in boxes.sample_entry(video_track(path)).children if box.kind == "st3d"]
    assert marks == [b"\0\0\0\0\2"], f"st3d boxes {marks}, expected one for side by side, left first"


def judge_spatial(path, recording, eyes, decoder, bits, asked):
    result, movie = Judgement(), SpatialMovie(path, decoder)
    count, rate = recording.frame_count, recording.rate
    plain = Movie(path)
    result.check("boxes", check_description, movie)
    result.check("layers", check_samples, movie, count)
    result.check("video parameter set", check_video_parameter_set, movie)
    result.check("colours", check_colours, plain, HDR_COLOURS if bits == 10 else SDR_COLOURS)
    result.check("frame times", check_times, movie, rate[0] / rate[1], count)
    result.check("key frames", lambda: check_keys(plain.key_frames, asked_group(rate)))
    result.check("bit rate", check_layer_rates, movie, count * rate[1] / rate[0], asked)
    result.check("sound", lambda: check_flash_and_click(plain, movie.views[0].planes[0], rate, recording.flash_times))
    for number, eye in enumerate(("left", "right")):
        result.check("frame numbers", lambda n=number, e=eye: check_frame_numbers(
            movie.views[n].planes[0], recording, layout_of(recording, e), range(count)))
        result.check("pictures", lambda n=number: check_pictures(
            eyes, n, movie.views[n].planes[0] / np.float32(movie.views[n].peak)))
    try:
        result.observations = observations(movie)
    except Exception as mistake:  # pylint: disable=broad-except; the checks above have named what is wrong
        result.observations = [f"could not be read: {mistake}"]
    return result


def check_video_parameter_set(movie):
    [unit] = [unit for unit in parameter_sets(movie.sample_entry.one("hvcC").content, header=22)
              if kind_and_layer(unit)[0] == VPS]
    found = bit_stream.VideoParameterSet(unit)
    assert found.layers == 2 and found.depends_on_base == 1, f"{found.layers} layers"
    assert sorted(found.view_ids) == [0, 1], f"view ids {found.view_ids}"
    return [f"layer 0 {found.base}; layer 1 {found.second}"]


def layer_bytes(movie):
    sizes = [0, 0]
    for units in movie.samples:
        for unit in units:
            sizes[kind_and_layer(unit)[1]] += 4 + len(unit)
    return sizes


def check_layer_rates(movie, seconds, asked):
    sizes = layer_bytes(movie)
    per_layer = [f"{8 * size / seconds / 1e6:.2f}" for size in sizes]
    assert min(sizes) > 0, "a layer is empty"
    return check_rate(sum(sizes), seconds, asked) + [f"bit rate of layers 0 and 1: {' and '.join(per_layer)} Mbit/s"]


def observations(movie):
    """What no public document says of drivers, as this one does it."""
    kinds = [[kind_and_layer(unit) for unit in units] for units in movie.samples]
    text = [" ".join(f"{kind}/{layer}" for kind, layer in sample) for sample in kinds]
    keys, right_keys = ([index for index, sample in enumerate(kinds)
                         if any(layer == number and 16 <= kind <= 23 for kind, layer in sample)] for number in (0, 1))
    messages = [sum(kind == PREFIX_SEI and layer == number for sample in kinds for kind, layer in sample)
                for number in (0, 1)]
    table = movie.track.one("mdia", "minf", "stbl")
    found = [f"NAL units (type/layer) of the first samples: {'; '.join(text[:4])}",
             f"key pictures of the left view: {keys}, of the right view: {right_keys}",
             f"messages in layers 0 and 1: {messages[0]} and {messages[1]} in {len(kinds)} samples",
             f"B-frames: {'yes' if table.all('ctts') else 'no'}"]
    for name, header in (("hvcC", 22), ("lhvC", 5)):
        for unit in parameter_sets(movie.sample_entry.one(name).content, header):
            kind, layer = kind_and_layer(unit)
            found += [f"{name} type {kind} layer {layer}: {unit.hex()}"] if kind != PREFIX_SEI else []
    return found
