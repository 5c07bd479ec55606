"""Pictures and colours, compared with OpenCV's remap on maps computed here."""

import cv2
import numpy as np
import pytest

from expectations import (HDR_COLOURS, SDR_COLOURS, check_colours, layout_of, target_offsets)
from movie import Movie

NEARLY_LOSSLESS = ("--sdr-bitrate", "40M", "--hdr-bitrate", "40M")
# Mean error and 99th percentile in code values of the output.
BOUNDS = {("hevc", 8): (0.4, 2), ("hevc", 10): (1.5, 6), ("prores", 8): (4, 16), ("prores", 10): (2.5, 16)}


def remapped(plane, map_x, map_y, fill):
    image = cv2.remap(plane.astype(np.float32), map_x.astype(np.float32), map_y.astype(np.float32),
                      cv2.INTER_LANCZOS4, borderMode=cv2.BORDER_CONSTANT, borderValue=fill)
    return np.clip(image, 0, np.iinfo(plane.dtype).max if plane.dtype == np.uint8 else 1023)


@pytest.mark.parametrize("codec", ["hevc", "prores"])
@pytest.mark.parametrize("bits", [8, 10])
def test_eyes_agree_with_remap_by_opencv(converter, shelf, tmp_path, bits, codec):
    recording = shelf.get("--size", "480x480", "--seconds", 0.5, *(("--codec", "hevc10") if bits == 10 else ()))
    output = tmp_path / "out.mov"
    converter.run("--software", "--sbs-codec", codec, *NEARLY_LOSSLESS, "--output", output, recording.path,
                  folder=tmp_path).succeeded()
    result = Movie(output).planes()
    scale = (4 if bits == 8 else 1) if codec == "prores" else 1
    width, height = recording.eye_size
    for stream, eye in enumerate(("left", "right")):
        source = Movie(recording.path).planes(stream)
        map_x, map_y = recording.rig.maps(eye, (width, height))
        covered = (map_x >= 8) & (map_y >= 8) & (map_x <= width - 9) & (map_y <= height - 9)
        for frame in (0, 9):
            expected = remapped(source[0][frame], map_x, map_y, 0) * scale
            found = result[0][frame][:, stream * width:(stream + 1) * width].astype(np.float64)
            errors = np.abs(found - expected)[covered]
            # Coding loss and the rounding of positions to 1/32 pixel remain.
            mean_bound, high_bound = BOUNDS[codec, bits]
            assert errors.mean() < mean_bound, f"{eye} luma, mean error {errors.mean():.3f}"
            assert np.percentile(errors, 99) < high_bound, f"{eye} luma, high error {np.percentile(errors, 99):.2f}"
        if codec == "hevc":
            chroma_x, chroma_y = map_x[::2, ::2] / 2, map_y[::2, ::2] / 2
            neutral = 128 if bits == 8 else 512
            inner = covered[::2, ::2] & (chroma_x >= 4) & (chroma_y >= 4)
            for plane in (1, 2):
                expected = remapped(source[plane][0], chroma_x, chroma_y, neutral)
                found = result[plane][0][:, stream * width // 2:(stream + 1) * width // 2]
                errors = np.abs(found - expected)[inner]
                assert errors.mean() < BOUNDS[codec, bits][0], f"{eye} chroma, mean error {errors.mean():.3f}"


def test_known_points_share_their_row_in_both_eyes(converter, shelf, tmp_path):
    recording = shelf.get("--size", "960x960", "--seconds", 0.2, "--no-audio")
    output = tmp_path / "out.mov"
    converter.run("--software", "--sbs-codec", "prores", "--output", output, recording.path,
                  folder=tmp_path).succeeded()
    luma, _, _ = Movie(output).planes()
    layout = layout_of(recording)
    differences = []
    for frame in range(len(luma)):
        left, right = (target_offsets(luma[frame], recording, layout, eye, frame) for eye in ("left", "right"))
        common = set(left) & set(right)
        assert len(common) >= 6
        differences += [left[name][0][1] - right[name][0][1] for name in common]
    # Discs are located to a few hundredths of a pixel; the bound allows for nothing else.
    assert np.abs(differences).max() < 0.1, f"rows differ by up to {np.abs(differences).max():.3f}"


def test_other_lenses_are_rectified_as_well(converter, shelf, tmp_path):
    for options in (("--focal", 0.42, "--baseline", 0.12), ("--focal", 0.3, "--twist", 3), ("--twist", 0)):
        recording = shelf.get("--size", "480x400", "--seconds", 0.1, "--no-audio", *options)
        output = tmp_path / "out.mov"
        converter.run("--software", "--overwrite", "--sbs-codec", "prores", "--output", output, recording.path,
                      folder=tmp_path).succeeded()
        luma, _, _ = Movie(output).planes()
        left, right = (target_offsets(luma[0], recording, layout_of(recording), eye, 0) for eye in ("left", "right"))
        common = set(left) & set(right)
        assert len(common) >= 5
        for name in common:
            assert abs(left[name][0][1] - right[name][0][1]) < 0.2, f"{options} {name}"
            assert np.abs(left[name][0] - left[name][1]).max() < 1.0, f"{options} {name}"


@pytest.mark.parametrize("codec", ["hevc", "prores"])
def test_padding_is_black_with_neutral_chroma(converter, shelf, tmp_path, codec):
    recording = shelf.get("--size", "320x320", "--rate", 24, "--seconds", 1)
    layout = layout_of(recording, "full", "16x9")
    output = tmp_path / "out.mov"
    converter.run("--software", "--sbs-codec", codec, *layout.options(), *NEARLY_LOSSLESS, "--output", output,
                  recording.path, folder=tmp_path).succeeded()
    luma, blue, red = Movie(output).planes()
    pad = layout.pads[0]
    assert pad >= 100
    scale = 4 if codec == "prores" else 1
    for left_edge in (0, layout.box[0]):
        assert luma[3][:, left_edge + 8:left_edge + pad - 16].max() <= 4 * scale
        for chroma in (blue, red):
            columns = chroma[3][:, (left_edge + 8) // 2:(left_edge + pad - 16) // 2].astype(int)
            assert np.abs(columns - 128 * scale).max() <= 4 * scale


COLOUR_CASES = {
    "sdr": ((), SDR_COLOURS, "tv"),
    "sdr_full_range": (("--full-range",), SDR_COLOURS, "pc"),
    "sdr_untagged": (("--untagged",), SDR_COLOURS, "pc"),
    "hlg": (("--codec", "hevc10"), HDR_COLOURS, "tv"),
    "hlg_full_range": (("--codec", "hevc10", "--full-range"), HDR_COLOURS, "pc"),
}


@pytest.mark.parametrize("codec", ["hevc", "prores"])
@pytest.mark.parametrize("case", COLOUR_CASES)
def test_colour_tags_follow_the_recording(converter, shelf, tmp_path, case, codec):
    options, colours, colour_range = COLOUR_CASES[case]
    recording = shelf.get("--size", "256x256", "--seconds", 0.2, "--no-audio", *options)
    output = tmp_path / "out.mov"
    converter.run("--software", "--sbs-codec", codec, "--output", output, recording.path, folder=tmp_path).succeeded()
    check_colours(Movie(output), colours, colour_range)


def test_bypassed_rectification_leaves_the_eyes_as_recorded(converter, shelf, tmp_path):
    recording = shelf.get("--size", "320x320", "--rate", 24, "--seconds", 1)
    output = tmp_path / "out.mp4"
    run = converter.run("--software", *NEARLY_LOSSLESS, "--output", output, recording.path, folder=tmp_path,
                        settings={"VEYRIN_SKIP_RECTIFICATION": "1"}).succeeded()
    assert "  rectification: bypassed for color diagnostics" in run.lines
    for stream in range(2):
        for found, source in zip(Movie(output).planes(), Movie(recording.path).planes(stream)):
            half = found.shape[2] // 2
            errors = np.abs(found[:, :, stream * half:(stream + 1) * half].astype(int) - source.astype(int))
            assert errors.mean() < 1.0 and np.percentile(errors, 99.9) <= 6
    converter.run("--software", "--eye-width", 300, recording.path, folder=tmp_path,
                  settings={"VEYRIN_SKIP_RECTIFICATION": "1"}).failed(
        "diagnostic rectification bypass requires output dimensions to match both source video tracks")


def test_pixels_without_a_source_are_black(converter, shelf, tmp_path):
    recording = shelf.get("--size", "320x320", "--seconds", 0.2, "--no-audio", "--focal", 0.5, "--twist", 20)
    output = tmp_path / "out.mp4"
    run = converter.run("--software", *NEARLY_LOSSLESS, "--output", output, recording.path, folder=tmp_path).succeeded()
    luma, _, _ = Movie(output).planes()
    shares = []
    for index, eye in enumerate(("left", "right")):
        map_x, map_y = recording.rig.maps(eye, recording.eye_size)
        shares.append(100 * float((map_x >= 0).mean()))
        # Not at the border, where resampling and coding filters mix both sides.
        far_outside = cv2.erode((map_x < 0).astype(np.uint8), np.ones((25, 25), np.uint8)).astype(bool)
        well_inside = (np.minimum(map_x, map_y) > 16) & (np.maximum(map_x, map_y) < 320 - 17)
        found = luma[2][:, index * 320:(index + 1) * 320]
        assert np.percentile(found[well_inside], 2) >= 14  # ringing next to white squares goes below black
        if far_outside.any():
            assert found[far_outside].max() <= 3
    assert min(shares) < 95, "this recording is meant to leave pixels uncovered"
    printed = run.value("rectification_valid_pixels")
    assert [float(word.rstrip(",%")) for word in printed.split() if word[0].isdigit()] == pytest.approx(shares, abs=0.051)


def test_other_chroma_formats_are_refused(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5, "--pix-fmt", "yuv422p")
    converter.run("--software", recording.path, folder=tmp_path).failed(
        "decoded pixel format is not supported by the YUV pipeline: yuv422p")
