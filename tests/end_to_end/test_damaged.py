"""Malformed, truncated and corrupted recordings: one message and status 1, or a sane movie; never a crash."""

import pytest

from movie import Movie
from spatial_movie import SpatialMovie

INVALID = "invalid recording metadata: "
NO_CALIBRATION = "no valid raw dual-track calibration sample found"

# Fault to message. Of a message ending in "..." only the beginning is compared; the rest comes from the JSON library.
REFUSED = {
    "missing-intrinsics": NO_CALIBRATION,
    "missing-extrinsic": NO_CALIBRATION,
    "missing-head": NO_CALIBRATION,
    "first-incomplete": NO_CALIBRATION,
    "no-cameras": NO_CALIBRATION,
    "zero-width": NO_CALIBRATION,
    "no-document": NO_CALIBRATION,
    "other-schema": NO_CALIBRATION,
    "empty-metadata-track": NO_CALIBRATION,
    "no-metadata-track": "no Kaleth gpmd stream found",
    "missing-pts": INVALID + "[json.exception.out_of_range.403] key 'pts' not found",
    "text-pts": INVALID + "[json.exception.type_error.302] type must be number, but is string",
    "missing-k3": INVALID + "[json.exception.out_of_range.403] key 'k3' not found",
    "two-left": INVALID + "invalid cameras[].sourceCamera assignment",
    "three-cameras": INVALID + "invalid cameras[].sourceCamera assignment",
    "unknown-mode": INVALID + "unrecognized timed metadata recording mode",
    "bad-json": INVALID + "[json.exception.parse_error.101] ...",
    "deep-json": INVALID + "[json.exception.parse_error.101] ...",
    "json-array": INVALID + "json/v1 AVmd payload is not an object",
    "json-number": INVALID + "json/v1 AVmd payload is not an object",
    "truncated-sample": INVALID + "invalid AVmd GPMF record size",
    "wrong-sizes": INVALID + "invalid AVmd GPMF record size",
    "tiny-sample": INVALID + "invalid AVmf GPMF record",
    "schema-type": INVALID + "invalid AVmf GPMF record",
    "schema-empty": INVALID + "invalid AVmf GPMF record size",
    "schema-too-long": INVALID + "invalid AVmf GPMF record size",
    "missing-avmd": INVALID + "invalid AVmd GPMF record",
    "payload-type": INVALID + "invalid AVmd GPMF record",
    "truncated-file": "could not open input: ...",
    "empty-file": "could not open input: ...",
    "noise-file": "could not open input: ...",
}
LACKS = {"missing-intrinsics": "valid intrinsics", "missing-extrinsic": "the stereo extrinsic",
         "missing-head": "the head chain", "first-incomplete": "the head chain"}


def damaged(shelf, fault, *options):
    return shelf.get("--size", "160x160", "--seconds", 1.0, "--malformed", fault, *options)


@pytest.mark.parametrize("fault", REFUSED)
def test_unusable_recording_is_refused_with_its_message(converter, shelf, nvenc, tmp_path, fault):
    recording = damaged(shelf, fault)
    for mode in (["--inspect"], ["--dry-run"], ["--software"], ["--output-format", "spatial"]):
        run = converter.run(*mode, recording.path, folder=tmp_path, settings=nvenc()).failed()
        message = REFUSED[fault]
        if message.endswith("..."):
            assert run.error.startswith(message[:-3]), str(run)
            assert "\n" not in run.error
        else:
            assert run.error == message, str(run)
        if fault in LACKS:
            assert (f"[RecordingMetadata] Raw dual-track calibration: {recording.path} sample lacks {LACKS[fault]}"
                    in run.lines), str(run)
    assert not list(tmp_path.iterdir())


@pytest.mark.parametrize("mode", ["--dry-run", "--software"])
def test_pinhole_cameras_cannot_be_rectified(converter, shelf, tmp_path, mode):
    recording = shelf.get("--size", "160x160", "--seconds", 0.5, "--pinhole-only")
    converter.run("--inspect", recording.path, folder=tmp_path).succeeded()
    converter.run(mode, recording.path, folder=tmp_path).failed(
        "raw dual-track rectification currently requires KB4 fisheye intrinsics")


def test_track_numbers_without_a_track_are_refused(converter, shelf, tmp_path):
    converter.run("--software", damaged(shelf, "invalid-track").path, folder=tmp_path).failed(
        "metadata references invalid left/right video tracks")


def test_zero_focal_length_is_refused(converter, shelf, tmp_path):
    converter.run("--software", damaged(shelf, "zero-focal").path, folder=tmp_path).failed(
        "could not invert calibration matrix")


def test_cameras_at_one_place_leave_nothing_valid(converter, shelf, tmp_path):
    run = converter.run("--dry-run", damaged(shelf, "zero-baseline").path, folder=tmp_path).succeeded()
    assert run.value("rectification_valid_pixels") == "left 0.0%, right 0.0%"
    assert run.value("rectification") == "both eyes have no valid pixel and will be black"


def test_absurd_picture_size_ends_with_one_message(converter, shelf, tmp_path):
    recording = damaged(shelf, "huge-size")
    converter.run("--inspect", recording.path, folder=tmp_path).succeeded()
    for mode in ("--dry-run", "--software"):
        converter.run(mode, recording.path, folder=tmp_path).failed()


def test_a_calibration_of_another_size_is_noticed(converter, shelf, tmp_path):
    recording = shelf.get("--size", "160x160", "--seconds", 0.5, "--document-size", "320x240")
    for mode in ([], ["--dry-run"]):
        run = converter.run(*mode, "--software", "--sbs-codec", "prores", recording.path, folder=tmp_path).succeeded()
        for eye in ("left", "right"):
            assert (f"[RecordingMetadata] The calibration of the {eye} eye is for 320x240 pixels, but its video has "
                    "160x160") in run.lines, str(run)


@pytest.mark.parametrize("codec", ["hevc", "prores"])
@pytest.mark.parametrize("fault", ["truncated-media", "scribbled-media", "corrupt-video", "garbage-video",
                                   "corrupt-config"])
@pytest.mark.parametrize("source", ["h264", "hevc10"])
def test_damaged_media_end_in_a_message_or_a_sane_movie(converter, shelf, tmp_path, fault, source, codec):
    recording = damaged(shelf, fault, "--codec", source)
    output = tmp_path / "out.mov"
    run = converter.run("--software", "--sbs-codec", codec, "--output", output, recording.path, folder=tmp_path)
    if run.status == 1:
        assert run.error
    else:
        run.succeeded()
        movie = Movie(output)
        assert (movie.video["width"], movie.video["height"]) == (320, 160)
        assert 1 <= len(movie.frame_times) <= recording.frame_count
        assert all(earlier < later for earlier, later in zip(movie.frame_times, movie.frame_times[1:]))


NO_VIEW = "could not derive a field of view between 0 and 180 degrees from the calibration"
NO_DISTANCE = "could not derive the distance of the lenses from the calibration"


@pytest.mark.parametrize("fault, message", [
    ("zero-focal", "could not invert calibration matrix"),
    ("negative-focal", NO_VIEW),
    ("huge-size", NO_VIEW),
    ("far-cameras", NO_DISTANCE),
    ("invalid-track", "metadata references invalid left/right video tracks"),
])
def test_spatial_movie_of_an_absurd_calibration_is_refused(converter, shelf, nvenc, tmp_path, fault, message):
    recording = damaged(shelf, fault)
    converter.run("--output-format", "spatial", "--eye-width", 128, "--eye-height", 128, "--output", "out.mov",
                  recording.path, folder=tmp_path, settings=nvenc()).failed(message)


@pytest.mark.parametrize("fault", ["truncated-media", "scribbled-media", "corrupt-video", "garbage-video",
                                   "corrupt-config"])
@pytest.mark.parametrize("source", ["h264", "hevc10"])
def test_damaged_media_end_in_a_message_or_a_sane_spatial_movie(converter, shelf, nvenc, view_decoder, tmp_path, fault,
                                                                 source):
    recording = damaged(shelf, fault, "--codec", source)
    output = tmp_path / "out.mov"
    run = converter.run("--output-format", "spatial", "--output", output, recording.path, folder=tmp_path, settings=nvenc())
    if run.status == 1:
        assert run.error
    else:
        run.succeeded()
        left, right = SpatialMovie(output, view_decoder).views
        assert left.planes[0].shape == right.planes[0].shape
        assert 1 <= len(left.times) <= recording.frame_count
        assert left.times == right.times == sorted(set(left.times))


def test_every_length_of_a_cut_recording_is_survived(converter, shelf, tmp_path):
    whole = shelf.get("--size", "160x160", "--seconds", 0.5, "--index-first").path.read_bytes()
    clip = tmp_path / "cut.mp4"
    for step in range(20):
        clip.write_bytes(whole[:len(whole) * step // 20])
        run = converter.run("--software", "--sbs-codec", "prores", "--overwrite", "--output", "out.mov", clip,
                            folder=tmp_path)
        assert run.status == 0 or run.error


def test_missing_recording_is_reported(converter, tmp_path):
    converter.run("nowhere.mp4", folder=tmp_path).failed("could not open input: nowhere.mp4")


def test_folder_as_input_is_reported(converter, tmp_path):
    (tmp_path / "folder").mkdir()
    converter.run("folder", folder=tmp_path).failed("could not open input: folder")


def test_named_metadata_track_wins_over_an_earlier_one(converter, shelf, tmp_path):
    recording = shelf.get("--size", "160x160", "--seconds", 0.5, "--extra-data-stream")
    assert converter.run("--inspect", recording.path, folder=tmp_path).succeeded().value("metadata_stream") == "4"


@pytest.mark.parametrize("options, found", [
    (("--handler-name", "Something else"), True),
    (("--handler-name", "The Kaleth Timed Metadata of it", "--metadata-tag", "mett"), True),
    (("--handler-name", "kaleth timed metadata", "--metadata-tag", "mett"), False),
])
def test_metadata_track_is_known_by_name_or_tag(converter, shelf, tmp_path, options, found):
    recording = shelf.get("--size", "160x160", "--seconds", 0.5, *options)
    run = converter.run("--inspect", recording.path, folder=tmp_path)
    if found:
        assert run.succeeded().value("metadata_stream") == "3"
    else:
        run.failed("no Kaleth gpmd stream found")
