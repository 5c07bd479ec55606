"""Two-view movies of drivers that differ in what is unknown of real ones, and of few or slow frames: a right movie or
one message."""

import itertools

import pytest

from spatial_checks import check_movie

BITRATES = ("--sdr-bitrate", "20M", "--hdr-bitrate", "20M")

SETS = ("header", "missing", "in-band", "both")
KEYS = ("none", "key-pictures", "all")
MESSAGES = ("every-view", "once", "layer-1")
OUTPUT = ("pairs", "swapped", "by-view")

NO_SETS = "NVENC produced an MV-HEVC sequence header without the sequence parameter set of the right view"
WRONG_ORDER = "NVENC produced an MV-HEVC access unit with the right view before the left one"
OTHER_TIMES = "NVENC produced MV-HEVC views with mismatched timestamps "

# Four frames a second make groups of eight, so that few frames are several groups.
SLOW = ("--size", "128x128", "--rate", 4, "--seconds", 2.5, "--no-audio")
SLOW_COUNT = 10


@pytest.fixture(scope="module")
def slow_eyes(shelf, eyes_of):
    recording = shelf.get(*SLOW)
    return recording, eyes_of(recording)


def expected_message(properties):
    """How the message begins that the driver of these properties leads to; none when the movie must be right."""
    if properties["layer_1_sets"] in ("missing", "in-band"):
        return NO_SETS
    if properties["view_output"] == "swapped":
        return WRONG_ORDER
    # With B-frames several pictures of one view follow each other.
    if properties["view_output"] == "by-view" and properties["b_frames"]:
        return OTHER_TIMES
    return None


def check_driver(converter, nvenc, view_decoder, slow_eyes, folder, **properties):
    recording, eyes = slow_eyes
    output = folder / "out.mov"
    run = converter.run("--output-format", "spatial", *BITRATES, "--overwrite", "--output", output, recording.path,
                        folder=folder, settings=nvenc(**properties))
    message = expected_message(properties)
    if message:
        assert run.failed().error.startswith(message), str(run)
        assert "\n" not in run.error and run.errors == ""
    else:
        run.succeeded()
        keys = [1, 5, 9] if properties["groups_per_view"] else [1, 9]
        check_movie(output, view_decoder, eyes, 4, SLOW_COUNT, keys)


@pytest.mark.parametrize("output", OUTPUT)
@pytest.mark.parametrize("sets", SETS)
def test_every_driver_makes_a_right_movie_or_one_message(converter, nvenc, view_decoder, slow_eyes, tmp_path, sets, output):
    for keys, per_view, messages in itertools.product(KEYS, (0, 1), MESSAGES):
        check_driver(converter, nvenc, view_decoder, slow_eyes, tmp_path, b_frames=2, layer_1_sets=sets, view_1_keys=keys,
                     groups_per_view=per_view, display_messages=messages, view_output=output)


@pytest.mark.parametrize("b_frames", [0, 4])
def test_other_numbers_of_b_frames_change_nothing(converter, nvenc, view_decoder, slow_eyes, tmp_path, b_frames):
    usual = {"layer_1_sets": "header", "view_1_keys": "none", "groups_per_view": 0, "display_messages": "every-view",
             "view_output": "pairs"}
    for change in ({}, {"layer_1_sets": "both"}, {"view_1_keys": "key-pictures"}, {"view_1_keys": "all"},
                   {"display_messages": "once"}, {"display_messages": "layer-1"}, {"view_output": "swapped"},
                   {"view_output": "by-view"}):
        check_driver(converter, nvenc, view_decoder, slow_eyes, tmp_path, b_frames=b_frames, **{**usual, **change})


@pytest.mark.parametrize("bits", [8, 10])
@pytest.mark.parametrize("sets", ["missing", "in-band"])
def test_support_needs_the_sets_of_both_views_where_the_encoder_is_asked(lonely, nvenc, tmp_path, temporary_files, sets,
                                                                         bits):
    synthetic = ("--input-width", 640, "--input-height", 640, "--input-bit-depth", bits)
    run = lonely.run("check-support", "--output-format", "spatial", "--software", *synthetic, folder=tmp_path,
                        settings={**nvenc(layer_1_sets=sets), **temporary_files})
    assert run.status == 0
    assert f'"reason":"{NO_SETS}"' in run.output.replace('": "', '":"')


def test_driver_without_the_right_views_sets_leaves_no_file(converter, shelf, nvenc, tmp_path):
    recording = shelf.get(*SLOW)
    output = tmp_path / "out.mov"
    converter.run("--output-format", "spatial", *BITRATES, "--output", output, recording.path, folder=tmp_path,
                  settings=nvenc(layer_1_sets="missing")).failed(NO_SETS)
    assert not output.exists()


@pytest.mark.parametrize("bits, b_frames", [(8, 0), (8, 3), (8, 4), (10, 0), (10, 4)])
def test_movies_of_few_frames(converter, shelf, nvenc, view_decoder, eyes_of, tmp_path, bits, b_frames):
    codec = ("--codec", "hevc10") if bits == 10 else ()
    recording = shelf.get("--size", "128x128", "--seconds", 0.5, *codec)
    for count in (1, 2, 3, 4) if bits == 8 else (1, 4):
        duration = ("--duration", count / 30)
        output = tmp_path / f"{count}.mov"
        run = converter.run("--output-format", "spatial", *BITRATES, *duration, "--output", output, recording.path,
                            folder=tmp_path, settings=nvenc(b_frames=b_frames)).succeeded()
        assert run.values("encoded_frames")[-1] == str(count)
        check_movie(output, view_decoder, eyes_of(recording), 30, count, [1])


@pytest.mark.parametrize("bits", [8, 10])
@pytest.mark.parametrize("b_frames", [3, 4])
def test_many_b_frames(converter, shelf, nvenc, view_decoder, eyes_of, tmp_path, bits, b_frames):
    codec = ("--codec", "hevc10") if bits == 10 else ()
    recording = shelf.get("--size", "128x128", "--seconds", 0.5, *codec)
    output = tmp_path / "out.mov"
    converter.run("--output-format", "spatial", *BITRATES, "--output", output, recording.path, folder=tmp_path,
                  settings=nvenc(b_frames=b_frames)).succeeded()
    check_movie(output, view_decoder, eyes_of(recording), 30, 15, [1])


# Rate, and the numbers of the key samples: groups of twice the whole part of the rate, at least one.
SLOW_RATES = [("1/2", 1), ("3/4", 1), ("1", 2), ("3/2", 2), ("2", 4), ("5/2", 4)]


@pytest.mark.parametrize("rate, group", SLOW_RATES)
def test_slow_movies(converter, shelf, nvenc, view_decoder, eyes_of, tmp_path, rate, group):
    over, under = (int(number) for number in (rate + "/1").split("/")[:2])
    frames_per_second = over / under
    count = 5
    recording = shelf.get("--size", "128x128", "--rate", rate, "--seconds", count / frames_per_second)
    output = tmp_path / "out.mov"
    converter.run("--output-format", "spatial", *BITRATES, "--output", output, recording.path, folder=tmp_path,
                  settings=nvenc(b_frames=4)).succeeded()
    check_movie(output, view_decoder, eyes_of(recording), frames_per_second, count,
                list(range(1, count + 1, group)))


def test_slow_output_of_a_fast_recording(converter, shelf, nvenc, view_decoder, eyes_of, tmp_path):
    recording = shelf.get("--size", "128x128", "--rate", 6, "--seconds", 4, "--no-audio")
    output = tmp_path / "out.mov"
    for rate, count in ((0.5, 2), (1, 4), (1.5, 6)):
        words = ("--output-fps", rate, "--overwrite")
        converter.run("--output-format", "spatial", *BITRATES, *words, "--output", output, recording.path, folder=tmp_path,
                      settings=nvenc()).succeeded()
        check_movie(output, view_decoder, eyes_of(recording), rate, count, step=round(6 / rate))
