"""Trimming, frame rates, and eyes that are late or not interleaved."""

import pytest

from expectations import BITRATES, check_movie, layout_of
from movie import Movie
from picture_reading import read_frame_numbers

CODECS = ["hevc", "prores"]


def convert(converter, recording, folder, codec, *options):
    output = folder / "out.mov"
    run = converter.run("--software", *BITRATES, "--sbs-codec", codec, *options, "--output", output, recording.path,
                        folder=folder).succeeded()
    return output, run


@pytest.mark.parametrize("codec", CODECS)
@pytest.mark.parametrize("bits", [8, 10])
@pytest.mark.parametrize("start, duration, first, count", [(0.4, 0.5, 12, 15), (0.0, 0.75, 0, 23), (0.31, None, 9, 36)])
def test_trimmed_range_keeps_picture_and_sound_together(converter, shelf, tmp_path, start, duration, first, count,
                                                        bits, codec):
    recording = shelf.get("--size", "256x256", "--seconds", 1.5, *(("--codec", "hevc10") if bits == 10 else ()))
    options = ["--start", start] + (["--duration", duration] if duration else [])
    output, _ = convert(converter, recording, tmp_path, codec, *options)
    # The first output frame is the one nearest to the start; its time is 0.
    flash_times = [time - first / 30 for time in recording.flash_times if first / 30 <= time < first / 30 + count / 30]
    assert flash_times
    check_movie(output, recording, layout_of(recording), codec, bits == 10, range(first, first + count), flash_times)


@pytest.mark.parametrize("codec", CODECS)
def test_every_pair_comes_twice_from_24_to_48(converter, shelf, tmp_path, codec):
    recording = shelf.get("--size", "320x320", "--rate", 24, "--seconds", 1)
    output, run = convert(converter, recording, tmp_path, codec, "--output-fps", 48)
    assert run.values("encoded_frames") == ["30", "48"]
    movie = Movie(output)
    luma, _, _ = movie.planes()
    layout = layout_of(recording)
    assert movie.rate == 48
    for eye in ("left", "right"):
        assert read_frame_numbers(luma, recording, layout, eye) == [index // 2 for index in range(48)]


@pytest.mark.parametrize("codec", CODECS)
def test_every_second_pair_is_kept_from_60_to_30(converter, shelf, tmp_path, codec):
    recording = shelf.get("--size", "256x256", "--rate", 60, "--seconds", 1.5)
    output, _ = convert(converter, recording, tmp_path, codec, "--output-fps", 30)
    check_movie(output, recording, layout_of(recording), codec, False, range(0, 90, 2), rate=(30, 1))


@pytest.mark.parametrize("codec", CODECS)
@pytest.mark.parametrize("rate", ["30000/1001", "24000/1001", "60"])
def test_input_rate_is_kept_exactly(converter, shelf, tmp_path, rate, codec):
    recording = shelf.get("--size", "256x256", "--rate", rate, "--seconds", 1.2)
    output, _ = convert(converter, recording, tmp_path, codec)
    check_movie(output, recording, layout_of(recording), codec, False)


@pytest.mark.parametrize("options", [("--codec", "hevc", "--b-frames", 3), ("--b-frames", 2), ("--gop", 1)],
                         ids=["hevc_b_frames", "h264_b_frames", "all_intra"])
def test_coding_structure_of_the_recording_does_not_matter(converter, shelf, tmp_path, options):
    recording = shelf.get("--size", "256x256", "--seconds", 1, *options)
    output, _ = convert(converter, recording, tmp_path, "prores")
    check_movie(output, recording, layout_of(recording), "prores", False)


def test_bad_interleaving_gives_the_same_movie(converter, shelf, tmp_path):
    options = ("--size", "256x256", "--seconds", 3)
    planes = []
    for recording in (shelf.get(*options), shelf.get(*options, "--bad-interleaving")):
        folder = tmp_path / recording.path.stem
        folder.mkdir()
        output, _ = convert(converter, recording, folder, "prores")
        movie = Movie(output)
        planes.append((movie.planes(), movie.frame_times, [packet[2] for packet in movie.audio_packets()]))
    for first, second in zip(planes[0][0], planes[1][0]):
        assert (first == second).all()
    assert planes[0][1:] == planes[1][1:]


def test_swapped_cameras_give_the_eyes_their_own_pictures(converter, shelf, tmp_path):
    for options in (("--swap-cameras",), ("--swap-tracks",), ("--legacy-keys", "--swap-cameras")):
        recording = shelf.get("--size", "320x320", "--seconds", 0.8, *options)
        folder = tmp_path / "-".join(options)
        folder.mkdir()
        output, run = convert(converter, recording, folder, "prores")
        assert (run.value("left_video_stream"), run.value("right_video_stream")) == ("1", "0")
        check_movie(output, recording, layout_of(recording), "prores", False)


def test_single_camera_serves_both_eyes(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5, "--single-camera")
    output, run = convert(converter, recording, tmp_path, "prores")
    assert (run.value("left_video_stream"), run.value("right_video_stream")) == ("0", "0")
    assert len(Movie(output).frame_times) == 15


@pytest.mark.parametrize("option, held", [("--right-offset", 4), ("--start-offset", 4)])
def test_late_picture_is_filled_with_its_first_pair(converter, shelf, tmp_path, option, held):
    """Eyes are paired in frame order at the time of the later frame; the output still starts at 0."""
    recording = shelf.get("--size", "320x320", "--seconds", 0.8, option, 0.1)
    output, _ = convert(converter, recording, tmp_path, "prores")
    luma, _, _ = Movie(output).planes()
    numbers = [0] * held + list(range(1, recording.frame_count))
    for eye in ("left", "right"):
        assert read_frame_numbers(luma, recording, layout_of(recording), eye) == numbers


def test_start_behind_the_end_is_refused(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 1)
    for codec in CODECS:
        converter.run("--software", "--sbs-codec", codec, "--start", 5, recording.path, folder=tmp_path).failed(
            "the selected time range contains no synchronized video frames")


def test_empty_eye_is_refused(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 1, "--empty-right")
    converter.run("--software", "--sbs-codec", "prores", recording.path, folder=tmp_path).failed(
        "the selected time range contains no synchronized video frames")


def test_progress_rises_to_one_hundred(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--rate", 30, "--seconds", 31 / 30)
    _, run = convert(converter, recording, tmp_path, "prores")
    percents = [int(value) for value in run.values("progress_percent")]
    assert percents == sorted(set(percents))
    assert percents[0] <= 4 and percents[-1] == 100
    assert all(percent < 100 for percent in percents[:-1])
    assert run.values("encoded_frames") == ["30", "31"]
    assert run.lines.index("  progress_percent: 100") < run.lines.index("  encoded_frames: 31")
