"""Streams of the two-view encoder: both views decoded, times, key pictures, parameter sets, bit rate."""

import dataclasses
import itertools
import json
import subprocess

import numpy as np
import pytest

from bit_stream import PPS, SPS, VPS, VideoParameterSet, kind_and_layer, nal_units
from encoder_client import Request
from eyes import make_pairs, samples_of
from spatial_movie import View, psnr

# PSNR in dB of each frame against its own eye, and by how much it exceeds that against the other eye.
OWN_EYE, CLOSER = 38.0, 12.0
SLICES = range(32)
KEY_SLICES = (19, 20)  # IDR
MULTIVIEW_MAIN = 6


def write_stream(result, folder):
    stream = folder / "movie.hevc"
    stream.write_bytes(result.parameter_sets + b"".join(unit.left + unit.right for unit in result.units))
    return stream


def check_views(stream, decoder, request, pairs):
    """Each view shows its eye in every frame, chroma included."""
    peak = (1 << request.depth) - 1
    for number in range(2):
        view = View(decoder, stream, number)
        assert view.pixel_format == ("yuv420p10le" if request.depth == 10 else "yuv420p")
        assert len(view.planes[0]) == len(pairs)
        for plane in range(3):
            own = psnr(view.planes[plane], np.stack([pair[number].planes[plane] for pair in pairs]), peak)
            other = psnr(view.planes[plane], np.stack([pair[1 - number].planes[plane] for pair in pairs]), peak)
            assert own.min() > OWN_EYE, f"view {number}, plane {plane}: {own.round(1)}"
            assert (own - other).min() > CLOSER, f"view {number}, plane {plane}: {own.round(1)}, other {other.round(1)}"


def check_units(result, request, delay):
    """Order and times of units, key pictures at their distance, slices of the one view and then of the other."""
    assert sorted(unit.pts for unit in result.units) == list(range(len(result.units)))
    assert [unit.dts for unit in result.units] == [number - delay for number in range(len(result.units))]
    for unit in result.units:
        assert unit.pts >= unit.dts
        assert unit.key == (unit.pts % request.key_distance == 0)
        for layer, data in enumerate((unit.left, unit.right)):
            kinds = {kind_and_layer(nal_unit) for nal_unit in nal_units(data)}
            assert kinds and {kind[1] for kind in kinds} == {layer} and {kind[0] for kind in kinds} <= set(SLICES)
            if layer == 0:
                assert all((kind[0] in KEY_SLICES) == unit.key for kind in kinds)
    # No picture comes before a key picture that is shown after it.
    for index, unit in enumerate(result.units):
        if unit.key:
            assert all(other.pts < unit.pts for other in result.units[:index])
            assert all(other.pts > unit.pts for other in result.units[index + 1:])


def encode_and_check(encoder, decoder, request, count, delay, folder):
    pairs = make_pairs(request, count)
    result = encoder.encode(request, samples_of(pairs))
    check_units(result, request, delay)
    check_views(write_stream(result, folder), decoder, request, pairs)
    return result


# Frames that decoders hold back: these presets have several B-frames in a row with references to B-frames.
DELAY = {"ultrafast": 2, "superfast": 2, "faster": 2, "": 2}


@pytest.mark.parametrize("count", range(1, 9))
@pytest.mark.parametrize("depth", (8, 10))
def test_few_pairs(encoder, view_decoder, tmp_path, depth, count):
    request = Request(96, 80, depth, preset=("ultrafast", "superfast")[count % 2])
    encode_and_check(encoder, view_decoder, request, count, DELAY[request.preset], tmp_path)


@pytest.mark.parametrize("depth", (8, 10))
@pytest.mark.parametrize("b_frames, delay", ((0, 0), (1, 1), (2, 2), (4, 2), (8, 2)))
def test_numbers_of_b_frames(encoder, view_decoder, tmp_path, depth, b_frames, delay):
    request = Request(96, 80, depth, b_frames=b_frames, preset="superfast")
    encode_and_check(encoder, view_decoder, request, 14, delay, tmp_path)


@pytest.mark.parametrize("depth", (8, 10))
@pytest.mark.parametrize("preset, distance", (("ultrafast", 7), ("superfast", 2), ("", 12), ("ultrafast", 24)))
def test_key_pictures_at_their_distance(encoder, view_decoder, tmp_path, depth, preset, distance):
    request = Request(128, 64, depth, key_distance=distance, preset=preset)
    encode_and_check(encoder, view_decoder, request, 26, DELAY[preset], tmp_path)


@pytest.mark.parametrize("depth", (8, 10))
def test_key_pictures_alone(encoder, view_decoder, tmp_path, depth):
    request = Request(64, 64, depth, key_distance=1, bits_per_second=20_000_000)
    result = encode_and_check(encoder, view_decoder, request, 5, 0, tmp_path)
    [first] = [unit for unit in nal_units(result.parameter_sets) if kind_and_layer(unit) == (VPS, 0)]
    assert VideoParameterSet(first).base.profile == (1 if depth == 8 else 2)


def test_scene_cuts_inside_a_group(encoder, view_decoder, tmp_path):
    request = Request(96, 96, key_distance=40, bits_per_second=8_000_000)
    scenes = [make_pairs(request, 70)[first:first + 5] for first in (0, 30, 60)]
    pairs = [pair for scene in scenes for pair in scene]
    inverted = make_pairs(request, 5)
    for eye in itertools.chain.from_iterable(inverted):
        eye.planes = [255 - plane for plane in eye.planes]
    pairs += inverted
    result = encoder.encode(request, samples_of(pairs))
    check_units(result, request, 2)
    check_views(write_stream(result, tmp_path), view_decoder, request, pairs)


@pytest.mark.parametrize("width, height", ((16, 16), (16, 128), (34, 18), (48, 48), (64, 48), (130, 66)))
def test_small_and_odd_sizes(encoder, view_decoder, tmp_path, width, height):
    for depth in (8, 10):
        request = Request(width, height, depth, bits_per_second=2_000_000, preset="faster")
        encode_and_check(encoder, view_decoder, request, 4, 2, tmp_path)


def test_no_pairs(encoder):
    result = encoder.encode(Request(), [])
    assert result.parameter_sets and result.done == 0


@pytest.mark.parametrize("depth, profile", ((8, 1), (10, 2)))
def test_parameter_sets(encoder, depth, profile):
    units = nal_units(encoder.encode(Request(1920, 1080, depth, rate=(60000, 1001), bits_per_second=8_000_000),
                                     []).parameter_sets)
    assert sorted(kind_and_layer(unit) for unit in units) == [(VPS, 0), (SPS, 0), (SPS, 1), (PPS, 0), (PPS, 1)]
    [sets] = [VideoParameterSet(unit) for unit in units if kind_and_layer(unit)[0] == VPS]
    assert (sets.layers, sets.layer_sets, sets.layer_number) == (2, [[1, 1]], 1)
    assert (sets.base.profile, sets.second.profile) == (profile, MULTIVIEW_MAIN)
    assert (sets.base.tier, sets.second.tier) == (0, 0)
    # 1920x1080 at 60 pictures per second
    assert (sets.base.level, sets.base_level_again, sets.second.level) == (123, 123, 123)
    assert (sets.scalability, sets.view_ids, sets.depends_on_base) == ([1], [0, 1], 1)
    assert sets.reordered == 2 and sets.buffered <= 6
    # The reader itself, which also judges movies of drivers that nobody has seen.
    [whole] = [unit for unit in units if kind_and_layer(unit)[0] == VPS]
    for size in (2, 8, len(whole) // 2):
        with pytest.raises(AssertionError, match="the set ends early"):
            VideoParameterSet(whole[:size])


@pytest.mark.parametrize("bits_per_second, level", ((1_000_000, 93), (11_000_000, 120), (21_000_000, 150),
                                                    (50_000_000, 156)))
def test_level_fits_the_rate_of_both_views(encoder, bits_per_second, level):
    """A size and picture rate of level 3.1 (93), which ends at 10 Mbit/s in the main tier."""
    result = encoder.encode(Request(960, 960, bits_per_second=bits_per_second), [])
    [sets] = [VideoParameterSet(unit) for unit in nal_units(result.parameter_sets) if kind_and_layer(unit)[0] == VPS]
    assert (sets.base.level, sets.second.level, sets.base.tier) == (level, level, 0)


@pytest.mark.parametrize("depth, colors, full_range, words", (
    (8, (1, 1, 1), 0, ("bt709", "bt709", "bt709", "tv")),
    (10, (9, 16, 9), 0, ("bt2020", "smpte2084", "bt2020nc", "tv")),
    (10, (9, 18, 9), 1, ("bt2020", "arib-std-b67", "bt2020nc", "pc"))))
def test_colors_and_rate_of_the_left_view(encoder, tmp_path, depth, colors, full_range, words):
    request = Request(64, 64, depth, rate=(24000, 1001), colors=colors, full_range=full_range)
    stream = write_stream(encoder.encode(request, samples_of(make_pairs(request, 3))), tmp_path)
    found = json.loads(subprocess.run(
        ["ffprobe", "-v", "quiet", "-f", "hevc", "-of", "json", "-show_streams", stream], capture_output=True, check=True).stdout)
    [video] = found["streams"]
    assert tuple(video[name] for name in ("color_primaries", "color_transfer", "color_space", "color_range")) == words
    assert video["chroma_location"] == "left"
    assert video["r_frame_rate"] == "24000/1001"
    assert video["profile"] == ("Main" if depth == 8 else "Main 10")


@pytest.mark.parametrize("depth, preset", ((8, "ultrafast"), (10, "ultrafast"), (8, "")))
def test_bit_rate_is_that_of_both_views(encoder, depth, preset):
    request = Request(128, 96, depth, bits_per_second=700_000, preset=preset)
    pairs = samples_of(make_pairs(request, 150, noise=0.1))
    bits = [8 * (len(unit.left) + len(unit.right)) for unit in encoder.encode(request, pairs).units]
    assert sum(bits) * 30 / len(pairs) == pytest.approx(request.bits_per_second, rel=0.1)
    # x265 has to get to know the pictures.
    settled = bits[len(bits) // 2:]
    assert sum(settled) * 30 / len(settled) == pytest.approx(request.bits_per_second, rel=0.07)


def test_rate_does_not_change_the_times(encoder):
    request = Request(64, 64, preset="superfast")
    pairs = samples_of(make_pairs(request, 10))
    times = [[(unit.pts, unit.dts) for unit in encoder.encode(dataclasses.replace(request, rate=rate), pairs).units]
             for rate in ((24000, 1001), (60, 1))]
    assert times[0] == times[1]
