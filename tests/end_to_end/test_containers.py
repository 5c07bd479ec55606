"""Recordings in other layouts of the same container: in fragments, index first, with edit lists."""

import hashlib
import sys
from pathlib import Path

import pytest

from movie import Movie

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "soak"))
from movie_model import Recording  # noqa: E402

MOVIE_SCALE_RATE = 0x10000  # a rate of 1
LAYOUTS = {
    "plain": Recording.plain,
    "index_first": lambda recording: recording.plain(index_first=True),
    "fragments_of_one": lambda recording: recording.fragmented(1),
    "fragments_of_five": lambda recording: recording.fragmented(5),
}


@pytest.fixture
def source(shelf):
    return shelf.get("--size", "128x128", "--seconds", 0.5, "--codec", "hevc", "--b-frames", 2)


def movie_scale(recording):
    body = recording.index.find(b"mvhd").body
    return int.from_bytes(body[20:24] if body[0] == 1 else body[12:16], "big")


def metadata_track(recording):
    [track] = [track for track in recording.tracks if track.kind not in (b"vide", b"soun")]
    return track


def convert(converter, clip, folder, *options):
    run = converter.run("--sbs-codec", "prores", "--overwrite", "--output", "out.mov", *options, clip, folder=folder)
    return run.succeeded(), hashlib.sha256((folder / "out.mov").read_bytes()).hexdigest()


@pytest.mark.parametrize("layout", LAYOUTS)
def test_layout_does_not_change_the_movie(converter, source, tmp_path, layout):
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(LAYOUTS[layout](Recording(source.path.read_bytes())))
    whole = convert(converter, source.path, tmp_path)[1]
    run, digest = convert(converter, clip, tmp_path)
    assert len(Movie(tmp_path / "out.mov").frame_times) == 15
    assert digest == whole
    assert run.values("progress_percent")[-1] == "100"


@pytest.mark.parametrize("layout", LAYOUTS)
def test_layout_does_not_change_a_trimmed_movie(converter, shelf, tmp_path, layout):
    """A trim has to find its frames without the index of a plain file, too."""
    source = shelf.get("--size", "128x128", "--seconds", 0.5, "--codec", "hevc", "--b-frames", 2, "--no-audio")
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(LAYOUTS[layout](Recording(source.path.read_bytes())))
    trim = ("--start", 0.2, "--duration", 0.2)
    digests = [convert(converter, recording, tmp_path, *trim)[1] for recording in (source.path, clip)]
    assert len(Movie(tmp_path / "out.mov").frame_times) == 6
    assert digests[0] == digests[1]


@pytest.mark.parametrize("edits", [[(500, 0)], [(300, -1), (500, 0)], [(0, 0)], [(200, 0), (300, 0)], [(10**6, 0)]],
                         ids=["whole", "late", "endless", "twice", "too_long"])
def test_edit_list_of_the_metadata_track_does_not_matter(converter, source, tmp_path, edits):
    recording = Recording(source.path.read_bytes())
    scale = movie_scale(recording)
    metadata_track(recording).edits = [(milliseconds * scale // 1000, start, MOVIE_SCALE_RATE)
                                       for milliseconds, start in edits]
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(recording.plain())
    assert b"elst" in clip.read_bytes()
    assert convert(converter, clip, tmp_path)[1] == convert(converter, source.path, tmp_path)[1]


def test_edit_list_that_leaves_no_metadata_is_one_message(converter, source, tmp_path):
    recording = Recording(source.path.read_bytes())
    track = metadata_track(recording)
    track.edits = [(movie_scale(recording), 1000 * track.time_scale, MOVIE_SCALE_RATE)]
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(recording.plain())
    run = converter.run("--inspect", clip, folder=tmp_path)
    assert run.status == 0 or run.error == "no valid raw dual-track calibration sample found", str(run)


def test_edit_lists_of_the_eyes_are_followed(converter, shelf, tmp_path):
    """Five of fifteen frames are cut away before the first that is shown."""
    source = shelf.get("--size", "128x128", "--seconds", 0.5, "--gop", 1, "--no-audio")
    recording = Recording(source.path.read_bytes())
    for track in recording.tracks:
        if track.kind == b"vide":
            frame = track.samples[0].duration
            track.edits = [(movie_scale(recording) // 3, 5 * frame, MOVIE_SCALE_RATE)]
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(recording.plain())
    convert(converter, clip, tmp_path)
    assert len(Movie(tmp_path / "out.mov").frame_times) == 10
