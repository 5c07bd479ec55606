"""Trimmed conversions begin to read near their start, and the movie is the one that reading from the beginning gives.

Whether they do is seen on copies that cannot be decoded before the place from which they should be read.
"""

import hashlib
import sys
from pathlib import Path

import pytest

from expectations import check_movie, layout_of
from movie import Movie, tool

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "soak"))
from movie_model import Recording as CodedRecording  # noqa: E402

RATE, SECONDS = 30, 6
FROM_THE_BEGINNING = {"VEYRIN_DISABLE_SEEKING": "1"}

# With groups of a second, key frames are at full seconds, give or take a frame.
GROUPS = ("--size", "64x64", "--seconds", SECONDS, "--gop", RATE)
KINDS = {
    "h264": (),
    "h264_b_frames": ("--b-frames", 2),
    "hevc": ("--codec", "hevc"),
    "hevc_b_frames": ("--codec", "hevc", "--b-frames", 3),
    "hevc_open_groups": ("--codec", "hevc10", "--b-frames", 3, "--open-gop"),
    "index_first": ("--b-frames", 2, "--index-first"),
    "not_interleaved": ("--b-frames", 3, "--bad-interleaving"),
    "single_camera": ("--codec", "hevc", "--b-frames", 2, "--single-camera"),
    "swapped_tracks": ("--swap-tracks", "--no-audio"),
    "other_key_frames": ("--codec", "hevc", "--b-frames", 2, "--right-gop", 22),
    "late_eye": ("--b-frames", 2, "--right-offset", 0.15),
    "late_eye_other_key_frames": ("--codec", "hevc", "--right-gop", 50, "--right-offset", 0.7, "--bad-interleaving"),
    "late_recording": ("--codec", "hevc", "--b-frames", 2, "--delay", 0.5, "--sound-offset", 0.2),
}
STARTS = [0.99, 1.02, 2.0166, 2.984, 4.0, 4.7, 5.51, 7]


def convert(converter, clip, folder, start, *options, settings=None):
    """(movie's hash or None, report); names of the files are left out of the report."""
    output = folder / "out.mov"
    output.unlink(missing_ok=True)
    run = converter.run("--software", "--sbs-codec", "prores", "--start", start, *options, "--output", output, clip,
                        folder=folder, settings=settings)
    digest = hashlib.sha256(output.read_bytes()).hexdigest() if output.exists() else None
    return digest, run.output.replace(str(clip), "CLIP")


def check_same_movies(converter, clip, folder, starts, *options):
    """The number of starts at which there is something to convert."""
    movies = 0
    for start in starts:
        results = [convert(converter, clip, folder, start, *options, settings=settings)
                   for settings in ({}, FROM_THE_BEGINNING)]
        assert results[0] == results[1], f"start {start}"
        movies += results[0][0] is not None
    return movies


def damaged(source, folder, first, last):
    """A copy in which the eyes' samples from `first` to `last` are not of their format."""
    recording = source if isinstance(source, CodedRecording) else CodedRecording(source.path.read_bytes())
    for track in recording.tracks:
        if track.kind == b"vide":
            for sample in track.samples[first:last + 1]:
                sample.data = b"\xff" * len(sample.data)
    clip = folder / "damaged.mp4"
    clip.write_bytes(recording.plain())
    return clip


@pytest.mark.parametrize("kind", KINDS)
def test_movie_is_that_of_reading_from_the_beginning(converter, shelf, tmp_path, kind):
    recording = shelf.get(*GROUPS, *KINDS[kind])
    # The last one is behind the end; a late eye may begin behind the first one.
    assert check_same_movies(converter, recording.path, tmp_path, STARTS, "--duration", 0.1) >= len(STARTS) - 2
    # Up to the end, and at another rate.
    assert check_same_movies(converter, recording.path, tmp_path, [4.52], "--output-fps", 24) == 1


@pytest.mark.parametrize("codec, suffix", [("pcm_s16le", ".mov"), ("alac", ".mov"), ("ac3", ".mp4")])
def test_sound_of_any_kind_is_that_of_reading_from_the_beginning(converter, shelf, tmp_path, codec, suffix):
    """The packets of some kinds are not the file's samples; then nothing is skipped."""
    recording = shelf.get(*GROUPS, *KINDS["h264_b_frames"])
    clip = tmp_path / ("clip" + suffix)
    tool("ffmpeg", "-nostdin", "-v", "error", "-i", recording.path, "-map", "0", "-c", "copy", "-copy_unknown", "-c:a",
         codec, clip)
    assert check_same_movies(converter, clip, tmp_path, [1.02, 2.5, 4.0, 4.7], "--duration", 0.1) == 4


@pytest.mark.parametrize("kind", KINDS)
def test_pictures_before_the_seek_point_are_not_decoded(converter, shelf, tmp_path, kind):
    recording = shelf.get(*GROUPS, *KINDS[kind])
    clip = damaged(recording, tmp_path, RATE, 2 * RATE - 5)
    trim = (4.6, "--duration", 0.4)
    seeked, _ = convert(converter, clip, tmp_path, *trim)
    assert seeked == convert(converter, recording.path, tmp_path, *trim)[0]
    # The damage stops a decoder that has to pass it; so do the damaged pictures before a start in their group.
    for start, settings in ((4.6, FROM_THE_BEGINNING), (1.7, {})):
        _, report = convert(converter, clip, tmp_path, start, "--duration", 0.4, settings=settings)
        assert "Error: " in report


def test_right_pictures_and_sound_follow_a_seek(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 3)
    output = tmp_path / "out.mov"
    converter.run("--software", "--sbs-codec", "prores", "--start", 2.3, "--duration", 0.5, "--output", output,
                  recording.path, folder=tmp_path).succeeded()
    flash_times = [time - 2.3 for time in recording.flash_times if 2.3 <= time < 2.8]
    check_movie(output, recording, layout_of(recording), "prores", False, range(69, 84), flash_times)
    source, copied = (Movie(path).audio_packets() for path in (recording.path, output))
    wanted = [packet for packet in source if packet[0] + packet[1] > 2.3 and packet[0] < 2.8]
    assert [packet[2] for packet in copied] == [packet[2] for packet in wanted]


@pytest.mark.parametrize("kind", ["late_recording", "h264_b_frames"])
def test_packaged_encoder_gets_the_same_pictures(converter, shelf, tmp_path, kind):
    """It counts the start from the container's start, as it does when it reads the sound."""
    recording = shelf.get(*GROUPS, *KINDS[kind])
    movies = []
    for settings in ({}, FROM_THE_BEGINNING):
        output = tmp_path / f"{len(movies)}.mov"
        converter.run("--software", "--sdr-bitrate", "500k", "--hdr-bitrate", "500k", "--start", 3.3, "--duration", 0.3,
                      "--output", output, recording.path, folder=tmp_path, settings=settings).succeeded()
        movies.append(tool("ffmpeg", "-nostdin", "-v", "error", "-i", output, "-map", "0", "-c:a", "copy", "-f",
                           "framemd5", "-"))
    assert movies[0] == movies[1]


def test_a_frame_lost_in_one_eye_keeps_the_pairs(converter, shelf, tmp_path):
    """Frames are paired by their number, so a loss before the seek point counts behind it."""
    source = shelf.get(*GROUPS, "--codec", "hevc")
    recording = CodedRecording(source.path.read_bytes())
    eye = [track for track in recording.tracks if track.kind == b"vide"][1]
    keys = [index for index, sample in enumerate(eye.samples) if sample.key]
    last_of_group = eye.samples.pop(keys[1] - 1)
    eye.samples[keys[1] - 2].duration += last_of_group.duration
    clip = tmp_path / "lost.mp4"
    clip.write_bytes(recording.plain())
    assert check_same_movies(converter, clip, tmp_path, [0.5, 2.0, 2.03, 3.5], "--duration", 0.1) == 4
    _, report = convert(converter, damaged(recording, tmp_path, 40, 50), tmp_path, 3.5, "--duration", 0.1)
    assert "  pairs_out_of_step: 3\n" in report


def fragments(recording):
    return recording.fragmented(10)


def two_edits(recording):
    for track in recording.tracks:
        if track.kind == b"vide":
            scale = movie_scale(recording)
            track.edits = [(3 * scale, 0, 0x10000), (2 * scale, 3 * track.time_scale, 0x10000)]
    return recording.plain()


def cut_beginning(recording):
    for track in recording.tracks:
        if track.kind == b"vide":
            track.edits = [(5 * movie_scale(recording), track.time_scale // 2, 0x10000)]
    return recording.plain()


def doubled_times(recording):
    for track in recording.tracks:
        if track.kind == b"vide":
            track.samples[3].duration = 0
    return recording.plain()


def movie_scale(recording):
    body = recording.index.find(b"mvhd").body
    return int.from_bytes(body[20:24] if body[0] == 1 else body[12:16], "big")


def cut_off(recording):
    return recording.plain(index_first=True)[:-2000]


def as_it_is(recording):
    return recording.plain()


DOUBTFUL = {
    "fragments": (("--codec", "hevc"), fragments),
    "edits_that_skip": (("--codec", "hevc"), two_edits),
    "edit_that_cuts_the_beginning": (("--codec", "hevc"), cut_beginning),
    "two_pictures_at_once": (("--codec", "hevc"), doubled_times),
    "samples_behind_the_files_end": (("--codec", "hevc"), cut_off),
    # Their key frames may leave references to the group before.
    "h264_open_groups": (("--b-frames", 3, "--open-gop"), as_it_is),
}


@pytest.mark.parametrize("doubt", DOUBTFUL)
def test_where_it_is_not_certain_reading_begins_at_the_beginning(converter, shelf, tmp_path, doubt):
    options, rewritten = DOUBTFUL[doubt]
    source = shelf.get(*GROUPS, *options)
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(rewritten(CodedRecording(source.path.read_bytes())))
    assert check_same_movies(converter, clip, tmp_path, [1.02, 2.5, 4.0], "--duration", 0.1) == 3
    recording = CodedRecording(source.path.read_bytes())
    damaged(recording, tmp_path, RATE, 2 * RATE - 5)
    clip.write_bytes(rewritten(recording))
    digest, report = convert(converter, clip, tmp_path, 4.6, "--duration", 0.1)
    assert "Error: " in report, digest


def test_only_1_switches_seeking_off(converter, shelf, tmp_path):
    clip = damaged(shelf.get(*GROUPS), tmp_path, RATE, 2 * RATE - 5)
    for value in ("0", "true", ""):
        _, report = convert(converter, clip, tmp_path, 4.6, "--duration", 0.1,
                            settings={"VEYRIN_DISABLE_SEEKING": value})
        assert "Error: " not in report
