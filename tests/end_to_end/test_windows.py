"""The Windows program compared with the program of this machine: same recordings, same movies."""

import json
import shlex
import shutil
import subprocess
import zipfile
from pathlib import Path

import cv2
import numpy as np
import pytest

from boxes import read_boxes
from converter import Converter
from expectations import BITRATES, check_movie, layout_of
from movie import Movie
from picture_reading import read_frame_numbers
from spatial_movie import SpatialMovie

SPOKEN_NAME = "ein é € 視頻 🎥"
RECORDINGS = {
    8: ("--size", "320x320", "--rate", 24, "--seconds", 1),
    10: ("--size", "320x320", "--rate", 24, "--seconds", 1, "--codec", "hevc10"),
}
# What depends on the version of the packaged encoder; everything else must be equal.
STREAM_FIELDS = ("index", "codec_type", "codec_name", "profile", "codec_tag_string", "width", "height", "pix_fmt",
                 "color_range", "color_space", "color_transfer", "color_primaries", "r_frame_rate", "avg_frame_rate",
                 "nb_frames", "sample_rate", "channels", "side_data_list", "disposition")


def report(run):
    """The output that must be the same for both programs: without notices about hardware, with / in paths."""
    lines = [line for line in run.output.replace("\r\n", "\n").replace("\\", "/").split("\n") if "D3D11VA" not in line]
    return [line.removeprefix("Z:") for line in lines]


def stream_facts(movie):
    return [{field: stream.get(field) for field in STREAM_FIELDS} for stream in movie.description["streams"]]


def box_kinds(box):
    return [(child.kind, box_kinds(child)) for child in box.children]


def check_same_pictures(movie, other):
    """Bit-exact: nothing between decoder and encoder depends on the mathematics library of the system."""
    for ours, theirs in zip(movie.planes(), other.planes()):
        np.testing.assert_array_equal(ours, theirs)


def convert_on_both(converter, reference, folder, recording, name, *options):
    """Runs both programs with the same arguments, each in its own folder."""
    movies = {}
    for side, program in (("windows", converter), ("linux", reference)):
        home = folder / side
        home.mkdir()
        run = program.run(*BITRATES, *options, "--output", name, recording.path, folder=home, timeout=240).succeeded()
        movies[side] = run, Movie(home / name)
    return movies


@pytest.mark.parametrize("kind, padding, codec, bits", [
    ("full", "none", "hevc", 8), ("half", "16x9", "hevc", 10), ("left", "4x3", "hevc", 8),
    ("full", "4x3", "prores", 8), ("half", "none", "prores", 10), ("right", "16x9", "prores", 8)])
def test_movie_is_that_of_linux(converter, reference, shelf, tmp_path, kind, padding, codec, bits):
    recording = shelf.get(*RECORDINGS[bits])
    layout = layout_of(recording, kind, padding)
    metadata = ["--sbs-spatial-metadata", "st3d"] if kind in ("full", "half") else []
    movies = convert_on_both(converter, reference, tmp_path, recording, "out.mov" if codec == "prores" else "out.mp4",
                             "--software", "--sbs-codec", codec, *layout.options(), *metadata)
    (windows_run, windows), (linux_run, linux) = movies["windows"], movies["linux"]
    check_movie(windows.path, recording, layout, codec, ten_bit=bits == 10)
    assert report(windows_run) == report(linux_run)
    assert stream_facts(windows) == stream_facts(linux)
    assert windows.frame_times == linux.frame_times
    if codec == "prores":
        assert windows.audio_packets() == linux.audio_packets()
        assert box_kinds(read_boxes(windows.path)) == box_kinds(read_boxes(linux.path))
        check_same_pictures(windows, linux)
    else:
        # Two versions of libx265 at a high bit rate; a shifted or misplaced picture would differ far more.
        luma = [movie.planes()[0].astype(float) for movie in (windows, linux)]
        assert np.abs(luma[0] - luma[1]).mean() < (2 if bits == 8 else 8)


@pytest.mark.parametrize("options", [(), ("--start", "0.25", "--duration", "0.5"), ("--output-fps", "12")],
                         ids=["whole", "trimmed", "half_rate"])
def test_times_are_those_of_linux_with_hardware_decoding_asked_for(converter, reference, shelf, tmp_path, options):
    recording = shelf.get(*RECORDINGS[8])
    movies = convert_on_both(converter, reference, tmp_path, recording, "out.mov", "--sbs-codec", "prores", *options)
    (windows_run, windows), (linux_run, linux) = movies["windows"], movies["linux"]
    assert report(windows_run) == report(linux_run)
    assert windows.frame_times == linux.frame_times
    assert windows.audio_packets() == linux.audio_packets()
    check_same_pictures(windows, linux)


def test_any_file_name_works(converter, shelf, tmp_path):
    recording = shelf.get(*RECORDINGS[8])
    home = tmp_path / SPOKEN_NAME
    home.mkdir()
    source = shutil.copy(recording.path, home / f"{SPOKEN_NAME}.mp4")
    run = converter.run("--software", *BITRATES, "--sbs-codec", "hevc", Path(source).name, folder=home).succeeded()
    name = f"converted/spatial_video/{SPOKEN_NAME}_FULL_SBS_LR.mp4"
    assert report(run)[-2] == f"SBS output: {name}"
    check_movie(home / name, recording, layout_of(recording), "hevc", ten_bit=False)


def test_report_modes_say_what_linux_says(converter, reference, shelf, tmp_path):
    recording = shelf.get(*RECORDINGS[10])
    for words in (["--inspect", recording.path], ["--dry-run", recording.path], ["--help"], ["--unknown"], [],
                  ["--inspect", "/nowhere/clip.mp4"]):
        runs = [program.run(*words, folder=tmp_path) for program in (converter, reference)]
        assert report(runs[0]) == report(runs[1])
        assert runs[0].status == runs[1].status


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def test_wildcards_from_the_command_prompt_name_files_in_order(converter, reference, shelf, tmp_path):
    recording = shelf.get(*RECORDINGS[8])
    for name in (f"{SPOKEN_NAME}.mp4", "b 2.mp4", "A1.MP4", "c.mov"):
        shutil.copy(recording.path, tmp_path / name)
    prompt = Converter("cmd.exe", converter.prefix)
    run = prompt.run("/c", windows_path(converter.program), "--inspect", "*.mp4", folder=tmp_path).succeeded()
    names = ["A1.MP4", "b 2.mp4", f"{SPOKEN_NAME}.mp4"]
    assert report(run) == report(reference.run("--inspect", *names, folder=tmp_path).succeeded())
    converter.run("--inspect", "*.avi", folder=tmp_path).failed("could not open input: *.avi")


def test_recordings_dropped_onto_a_shortcut_that_keeps_the_window(converter, shelf, tmp_path):
    # The desktop starts what the shortcut says with the dropped files behind it; docs/windows.md tells how to make it.
    folder = tmp_path / "two words"
    folder.mkdir()
    dropped = [shutil.copy(shelf.get(*RECORDINGS[8]).path, folder / name) for name in ("clip 1.mp4", "clip2.mp4")]
    prompt = Converter("cmd.exe", converter.prefix)
    run = prompt.run("/k", "call", windows_path(converter.program), "--dry-run", *map(windows_path, dropped),
                     folder=tmp_path).succeeded()
    assert [line for line in run.lines if line.startswith("Input: ")] == [f"Input: {windows_path(path)}" for path in dropped]
    assert run.output.count("rectification_maps: valid") == 2


@pytest.mark.parametrize("options", [("--software",), ("--software", "--sbs-codec", "prores"),
                                     ("--software", "--output-format", "mono")])
def test_support_answer_is_that_of_linux(converter, reference, shelf, tmp_path, options):
    recording = shelf.get(*RECORDINGS[8])
    runs = [program.run("check-support", *options, recording.path, folder=tmp_path) for program in (converter, reference)]
    assert json.loads(runs[0].output) == json.loads(runs[1].output)
    assert runs[0].output.count("\n") == runs[1].output.count("\n") == 1


@pytest.mark.parametrize("bits", RECORDINGS)
def test_preview_is_that_of_linux(converter, reference, shelf, tmp_path, bits):
    recording = shelf.get(*RECORDINGS[bits])
    pictures = []
    for side, program in (("windows", converter), ("linux", reference)):
        output = tmp_path / f"{side} 視頻.png"
        program.run("--thumbnail", "--thumbnail-width", "400", "--output", output, recording.path,
                    folder=tmp_path).succeeded()
        pictures.append(cv2.imdecode(np.frombuffer(output.read_bytes(), np.uint8), cv2.IMREAD_UNCHANGED).astype(int))
    assert pictures[0].shape == pictures[1].shape == (200, 400, 4)
    assert np.abs(pictures[0] - pictures[1]).max() <= 1


def test_missing_encoder_is_named(converter, shelf, tmp_path):
    recording = shelf.get(*RECORDINGS[8])
    run = converter.run("--software", recording.path, folder=tmp_path, settings={"VEYRIN_FFMPEG_GPL": "C:\\no é\\x.exe"})
    run.failed()
    assert run.error.endswith("  packaged software encoder: packaged GPL FFmpeg executable not found "
                              "(expected C:\\no é\\x.exe; VEYRIN_FFMPEG_GPL may override the location)"), str(run)


@pytest.mark.parametrize("bits, last", [(8, "hevc_mf: Function not implemented"),
                                        (10, "hevc_mf: does not support 10-bit HEVC output")])
def test_every_encoder_is_tried_in_turn(converter, shelf, tmp_path, bits, last):
    recording = shelf.get(*RECORDINGS[bits])
    run = converter.run(recording.path, folder=tmp_path, settings={"VEYRIN_FFMPEG_GPL": "C:\\no\\x.exe"})
    run.failed("no suitable encoder could be opened; attempts:\n"
               "  hevc_nvenc: Operation not permitted\n"
               "  hevc_qsv: Unknown error occurred\n"
               "  hevc_amf: not included in this FFmpeg build\n"
               f"  {last}\n"
               "  packaged software encoder: packaged GPL FFmpeg executable not found "
               "(expected C:\\no\\x.exe; VEYRIN_FFMPEG_GPL may override the location)")
    assert run.errors == ""


def test_encoders_that_do_not_open_leave_the_packaged_one(converter, reference, shelf, tmp_path):
    recording = shelf.get(*RECORDINGS[10])
    movies = convert_on_both(converter, reference, tmp_path, recording, "out.mp4", "--sbs-codec", "hevc")
    (windows_run, windows), (linux_run, _) = movies["windows"], movies["linux"]
    assert report(windows_run) == report(linux_run)
    assert windows_run.value("encoder") == "libx265 (packaged FFmpeg CLI) (p010le, CPU YUV processing)"
    check_movie(windows.path, recording, layout_of(recording), "hevc", ten_bit=True)


def test_package_runs_where_it_is_unpacked(converter, request, shelf, view_decoder, tmp_path):
    home = tmp_path / SPOKEN_NAME
    with zipfile.ZipFile(request.config.getoption("--package")) as archive:
        archive.extractall(home)
    [folder] = home.iterdir()
    files = {path.name for path in folder.iterdir()}
    libraries = {name for name in files if name.endswith(".dll")}
    assert {name.split("-")[0] for name in libraries} == {"avcodec", "avformat", "avutil", "swresample", "swscale"}
    assert files - libraries == {"veyrin-video-converter.exe", "veyrin-join.exe", "veyrin-two-view-encoder.exe", "README.txt",
                                 "licenses", "hardware-check.cmd", "hardware_check", "make_recording.exe", "decode_view.exe",
                                 "library", "veyrin-path-entry.exe", "README.md", "CHANGELOG.md", "docs"}
    assert {"first-movie.md", "windows.md", "when-it-fails.md"} <= {path.name for path in (folder / "docs").iterdir()}
    assert {"veyrin-library", "veyrin-library.cmd", "README.md", "veyrin_library"} == {
        path.name for path in (folder / "library").iterdir()}
    licences = {path.name for path in (folder / "licenses").iterdir()}
    assert {"LICENSE", "NOTICE", "COPYING.LGPLv2.1", "LICENSE.oneVPL", "COPYING.x265", "veyrin-two-view-encoder.txt"} <= licences

    shutil.copy(converter.program.parent / "ffmpeg-gpl.exe", folder)
    unpacked = Converter(folder / "veyrin-video-converter.exe", converter.prefix)
    recording = shelf.get(*RECORDINGS[8])
    for codec, name in (("hevc", "aus.mp4"), ("prores", "aus.mov")):
        unpacked.run("--software", *BITRATES, "--sbs-codec", codec, "--output", name, recording.path,
                     folder=tmp_path).succeeded()
        check_movie(tmp_path / name, recording, layout_of(recording), codec, ten_bit=False)
    unpacked.run("--software", "--output-format", "spatial", *BITRATES, "--output", "two.mov", recording.path,
                 folder=tmp_path).succeeded()
    views = SpatialMovie(tmp_path / "two.mov", view_decoder).views
    for view, eye in zip(views, ("left", "right")):
        numbers = read_frame_numbers(view.planes[0], recording, layout_of(recording, eye), eye)
        assert numbers == list(range(recording.frame_count))


def test_ctrl_c_ends_the_encoder_too(converter, tmp_path):
    # Interrupts come from a console, which a program has here only when it runs on a terminal.
    test = Converter(converter.program.with_name("app_program_test.exe"), converter.prefix)
    report_file = tmp_path / "report.json"
    words = shlex.join(test.command("--gtest_filter=ProgramInterrupt.*", "--gtest_output=json:report.json"))
    subprocess.run(["script", "-qec", words, "/dev/null"], cwd=tmp_path, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, env=test.environment({"VEYRIN_TEST_OWN_CONSOLE": "1"}), timeout=120,
                   check=True)
    cases = json.loads(report_file.read_text())["testsuites"][0]["testsuite"]
    assert [(case["result"], case.get("failures")) for case in cases] == [("COMPLETED", None)]
