"""Checks the result of a conversion with programs other than the converter."""

from fractions import Fraction

import numpy as np

from closeness import check_near
from layout import Layout
from movie import Movie
from picture_reading import brightest_times, click_times, locate_target, read_frame_numbers

SDR_COLOURS = ("bt709", "bt709", "bt709")
HDR_COLOURS = ("bt2020", "arib-std-b67", "bt2020nc")


def check_format(movie, codec, ten_bit, layout):
    video = movie.video
    expected = {
        ("prores", False): ("prores", "Standard", "yuv422p10le", "apcn"),
        ("prores", True): ("prores", "Standard", "yuv422p10le", "apcn"),
        ("h264", False): ("h264", "High", "yuv420p", "avc1"),
        ("hevc", False): ("hevc", "Main", "yuv420p", "hvc1"),
        ("hevc", True): ("hevc", "Main 10", "yuv420p10le", "hvc1"),
    }[codec, ten_bit]
    assert (video["codec_name"], video["profile"], video["pix_fmt"], video["codec_tag_string"]) == expected
    assert (video["width"], video["height"]) == layout.size


def check_colours(movie, colours, colour_range="tv"):
    video = movie.video
    assert (video["color_primaries"], video["color_transfer"], video["color_space"]) == colours
    if video["codec_name"] != "prores":  # ProRes does not store the range
        assert video["color_range"] == colour_range


def check_timing(movie, rate, frame_count):
    assert Fraction(movie.video["avg_frame_rate"]) == Fraction(*rate)
    assert len(movie.frame_times) == frame_count
    expected = [index * rate[1] / rate[0] for index in range(frame_count)]
    check_near(movie.frame_times, expected, 1e-3, "frame times")
    check_near(float(movie.video["duration"]), frame_count * rate[1] / rate[0], 2e-3, "duration")


def check_frame_numbers(luma, recording, layout, numbers):
    for eye in layout.eyes:
        assert read_frame_numbers(luma, recording, layout, eye) == list(numbers), f"{eye} eye"


def target_offsets(luma, recording, layout, eye, frame):
    """Name to (found, expected) position of each target that is completely inside the picture."""
    offsets = {}
    scale = (layout.eye_size[0] - 1) / (recording.rig.grid[0] - 1), (layout.eye_size[1] - 1) / (recording.rig.grid[1] - 1)
    for name, point in recording.points(frame).items():
        expected = layout.place(recording.rig.rectified_position(point, eye, layout.eye_size), eye)
        [entry] = [entry for entry in recording.truth["frames"] if entry["frame"] == frame]
        [truth] = [target for target in entry["points"] if target["name"] == name]
        distance = np.linalg.norm(point - recording.rig.camera(eye).position)
        radius = 1.7 * truth["core_radius_m"] / distance * recording.rig.fx
        across = radius * scale[0] / (2 if layout.kind == "half" else 1)
        down = radius * scale[1]
        found = locate_target(luma, expected, (across, down))
        if found is not None:
            offsets[name] = (found, np.array(expected))
    return offsets


def check_targets(luma, recording, layout, frame, tolerance=0.4):
    """Every target is where its true position projects to. Off the axis the image of a disc is not symmetric about
    that of its centre, hence the tolerance; rows of both eyes are compared more strictly."""
    by_eye = {eye: target_offsets(luma, recording, layout, eye, frame) for eye in layout.eyes}
    for eye, offsets in by_eye.items():
        assert len(offsets) >= 5, f"only {sorted(offsets)} found for the {eye} eye"
        for name, (found, expected) in offsets.items():
            assert np.abs(found - expected).max() < tolerance, f"{eye} {name}: {found}, expected {expected}"
    if len(by_eye) == 2:
        for name in set(by_eye["left"]) & set(by_eye["right"]):
            rows = by_eye["left"][name][0][1] - by_eye["right"][name][0][1]
            assert abs(rows) < 0.25, f"{name} is {rows:.3f} rows higher in one eye"


def check_flash_and_click(movie, luma, rate, flash_times):
    """Flashes are at the expected times, and each click is within half a frame of its flash."""
    half_frame = rate[1] / rate[0] / 2
    flashes = brightest_times(luma, movie.frame_times)
    check_near(flashes, flash_times, half_frame, "flashes")
    clicks = click_times(*movie.sound())
    assert len(clicks) == len(flashes), f"clicks at {clicks}, flashes at {flashes}"
    for flash, click in zip(flashes, clicks):
        assert abs(flash - click) < half_frame, f"click at {click:.4f} s, flash at {flash:.4f} s"


def check_movie(path, recording, layout, codec, ten_bit, numbers=None, flash_times=None, rate=None):
    """All of the above for a conversion whose frame n shows the recording's frame numbers[n]."""
    numbers = range(recording.frame_count) if numbers is None else numbers
    flash_times = recording.flash_times if flash_times is None else flash_times
    rate = rate or recording.rate
    movie = Movie(path)
    check_format(movie, codec, ten_bit, layout)
    check_colours(movie, HDR_COLOURS if ten_bit else SDR_COLOURS)
    check_timing(movie, rate, len(numbers))
    luma, _, _ = movie.planes()
    check_frame_numbers(luma, recording, layout, numbers)
    check_targets(luma[0], recording, layout, numbers[0])
    check_flash_and_click(movie, luma, rate, flash_times)
    return movie, luma


# Far more than these small pictures need, and far less than the default, which makes libx265 slow.
BITRATES = ("--sdr-bitrate", "8M", "--hdr-bitrate", "8M")


def layout_of(recording, kind="full", padding="none", eye_size=None):
    return Layout(eye_size or recording.eye_size, kind, padding)
