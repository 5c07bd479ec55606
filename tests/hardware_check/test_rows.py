"""The hardware check against the simulated driver, as it should be and with faults."""

import getpass
import socket

import pytest

import judging
from converter import Converter
from recording import Recording
from spatial_checks import Eyes

ALL_PASS = ["h264_nvenc 8-bit side by side", "hevc_nvenc 8-bit side by side", "hevc_nvenc 10-bit side by side",
            "hevc_nvenc 8-bit spatial", "hevc_nvenc 10-bit spatial", "libx265 8-bit spatial", "libx265 10-bit spatial"]
SPATIAL = "hevc_nvenc 8-bit spatial"
NO_PAIR = "NVENC produced an incomplete MV-HEVC view pair"
NO_SETS = "NVENC produced an MV-HEVC sequence header without the sequence parameter set of the right view"


def test_all_rows_of_a_good_driver_pass_and_nobody_is_named(check, tmp_path):
    home = tmp_path / "homes" / "volunteer77"
    home.mkdir(parents=True)
    result = check(environment={"HOME": str(home), "USER": "volunteer77", "LOGNAME": "volunteer77"})
    assert result.status == 0, result.output
    states = result.states()
    assert [name for name, state in states.items() if state == "passed"] == ALL_PASS
    assert "failed" not in states.values() and states["h264_mf 8-bit side by side"] == "not available"
    assert "SIMULATED, not a GPU" in result.report
    values = result.lines_of(SPATIAL)
    for beginning in ("bit rate of layers 0 and 1: ", "key frames at [0, 30]", "left eye: PSNR at least ",
                      "right eye: PSNR at least ", "layer 0 profile 1", "observed: lhvC type 33 layer 1: "):
        assert [line for line in values if line.startswith(beginning)], beginning
    for name in ("volunteer77", str(home), str(tmp_path), socket.gethostname(), str(tmp_path.name)):
        assert name.lower() not in result.report.lower() and name.lower() not in result.output.split("report: ")[0].lower()
    assert [path.name for path in result.folder.iterdir()] == ["hardware-check-report.txt"]


@pytest.mark.parametrize("properties, state, words", [
    ({"odd_views": 1}, "failed", NO_PAIR),
    ({"layer_1_sets": "missing"}, "failed", NO_SETS),
    ({"mv_hevc": 0}, "not available", "could not start NVENC MV-HEVC; this requires Video Codec SDK 13"),
])
def test_rows_of_a_faulty_driver_say_so(check, properties, state, words):
    result = check("--only", SPATIAL, environment={"USER": "volunteer77"}, **properties)
    assert result.states() == {SPATIAL: state}
    assert result.status == (1 if state == "failed" else 0)
    assert result.lines_of(SPATIAL)[0].startswith(words)
    assert f"[{state}] {SPATIAL} ({words}" in result.output
    if state == "failed":
        console = result.report.split(f"=== {SPATIAL}: console output\n")[1]
        assert f"Error: {words}" in console and "progress" not in console
        assert "/tmp" not in console and getpass.getuser() not in console


def test_refusal_that_contradicts_check_support_is_marked(check):
    name = "hevc_nvenc 10-bit spatial"
    result = check("--only", name, mv_hevc_ten_bit=0)
    assert result.states() == {name: "not available"} and result.status == 0
    assert result.lines_of(name)[1].endswith('"acceleration":"hardware"}: a contradiction')


def test_machine_without_a_driver_has_the_converters_words(check):
    result = check("--only", "8-bit side by side", driver=False)
    assert result.status == 0 and set(result.states().values()) == {"not available"}
    assert result.lines_of("hevc_nvenc 8-bit side by side")[0] == "Operation not permitted"
    assert result.lines_of("hevc_qsv 8-bit side by side")[0] == "not included in this FFmpeg build"


@pytest.mark.parametrize("words, message", [
    (("--program", "/nowhere/converter"), "there is no converter at /nowhere/converter"),
    (("--program", "/bin/true"), "decode_view is not beside the converter"),
])
def test_missing_programs_are_named(check, words, message):
    result = check(*words)
    assert result.status == 1 and message in result.output and "Traceback" not in result.output


def test_machine_without_ffmpeg_gets_the_packages_name(check, tmp_path):
    result = check(environment={"PATH": str(tmp_path)})
    assert result.status == 1 and "ffmpeg was not found; install your system's package ffmpeg" in result.output


def test_a_folder_of_somebody_elses_movies_is_left_alone(check, tmp_path):
    film = tmp_path / "result" / "movies" / "film.mov"
    film.parent.mkdir(parents=True)
    film.write_bytes(b"precious")
    result = check("--only", SPATIAL)
    assert result.status == 1 and "is not from an earlier check; name another folder by --output" in result.output
    assert [path.name for path in film.parent.iterdir()] == ["film.mov"] and film.read_bytes() == b"precious"


def test_rows_that_do_not_exist_are_no_success(check):
    result = check("--only", "nvnc")
    assert result.status == 1 and 'no row has "nvnc" in its name' in result.output
    assert not result.folder.exists()


@pytest.fixture
def kept(check, request):
    """A function that makes the movie of a row; returns it with its recording and the eyes of that."""

    def make(row, name):
        result = check("--only", row, "--keep")
        assert result.status == 0, result.output
        folder = result.folder / "movies" / "8-bit"
        recording = Recording(folder / "recording.mp4")
        for path in folder.glob("*.mov"):
            path.unlink()
        return result.folder / "movies" / name, recording, Eyes(Converter(request.config.getoption("--program"), []),
                                                                recording, folder)

    return make


def subjects(judgement):
    return [failure.split(":")[0] for failure in judgement.failures]


def test_wrong_two_view_movie_fails(kept, request):
    """The judge itself: the movie of a good run, judged against what it is not."""
    movie, recording, eyes = kept(SPATIAL, "hevc_nvenc_8-bit_spatial.mov")
    decoder = str(request.config.getoption("--program")).replace("veyrin-video-converter", "decode_view")

    def failures():
        return subjects(judging.judge_spatial(movie, recording, eyes, decoder, bits=10, asked=1_000_000))

    eyes.luma.reverse()
    recording.truth["flashes"][0]["seconds"] += 0.1
    assert failures() == ["colours", "bit rate", "sound", "pictures", "pictures"]
    damaged = bytearray(movie.read_bytes())
    damaged[-len(damaged) // 2:] = bytes(len(damaged) - len(damaged) // 2)
    movie.write_bytes(damaged)
    assert {"layers", "pictures"} <= set(failures())


def test_wrong_side_by_side_movie_fails(kept):
    movie, recording, eyes = kept("h264_nvenc 8-bit side by side", "h264_nvenc_8-bit_side_by_side.mp4")
    eyes.luma.reverse()
    recording.truth["flashes"][0]["seconds"] += 0.1
    found = subjects(judging.judge_side_by_side(movie, recording, eyes, "hevc", bits=10, asked=1_000_000))
    assert found == ["format", "colours", "bit rate", "sound", "pictures", "pictures"]
    movie.write_bytes(movie.read_bytes()[:2000])
    assert "decoding" in subjects(judging.judge_side_by_side(movie, recording, eyes, "h264", 8, 12_000_000))


@pytest.mark.parametrize("keys, rate, good", [
    ([1] + [0] * 59 + [1] + [0] * 5, (30, 1), True), ([1] + [0] * 60 + [1], (30, 1), False),
    ([0, 1, 1], (30, 1), False), ([1] + [0] * 45 + [1], (24000, 1001), True), ([1] + [0] * 46 + [1], (24000, 1001), False)])
def test_distance_of_key_frames(keys, rate, good):
    if good:
        assert judging.check_keys(keys, judging.asked_group(rate))
    else:
        with pytest.raises(AssertionError):
            judging.check_keys(keys, judging.asked_group(rate))
