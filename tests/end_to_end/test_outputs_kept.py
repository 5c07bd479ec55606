"""No recording, no finished movie and no other file of the user's is lost, whatever names an output is given."""

import hashlib
import os
import shutil
import subprocess
import time

import pytest

from movie import Movie, tool

KINDS = {
    "hevc": (["--software"], ".mp4"),
    "prores": (["--sbs-codec", "prores"], ".mov"),
    "mono": (["--software", "--output-format", "mono"], ".mp4"),
    "preview": (["--thumbnail"], ".png"),
    "spatial": (["--output-format", "spatial"], ".mov"),
}


@pytest.fixture
def clip(shelf, tmp_path):
    path = tmp_path / "clip.mp4"
    shutil.copyfile(shelf.get("--size", "128x128", "--seconds", 0.3).path, path)
    return path


@pytest.fixture
def driver(nvenc):
    return nvenc()


def refusal(run):
    """The message with separators that are alike on both systems."""
    return run.failed().error.replace("\\", "/")


@pytest.fixture
def real_links(converter):
    """For tests of links without a target, which the runner shows to the program as files that are not there."""
    if converter.prefix:
        pytest.skip("no links of the other system here")


def contents(folder):
    """Path to digest of every file below the folder; links to what they say."""
    found = {}
    for path in sorted(folder.rglob("*")):
        if path.is_symlink():
            found[path] = os.readlink(path)
        elif path.is_file():
            found[path] = hashlib.sha256(path.read_bytes()).hexdigest()
    return found


# --- one run, several inputs

def test_recording_of_the_same_run_is_no_output(converter, clip, tmp_path):
    folder = tmp_path / "vic"
    folder.mkdir()
    victim = folder / "x_FULL_SBS_LR.mov"
    shutil.copyfile(clip, victim)
    shutil.copyfile(clip, tmp_path / "x.mp4")
    before = contents(tmp_path)
    options = ("--sbs-codec", "prores", "--overwrite", "--output-root", "vic")
    # The other recording has been converted already, or is still to come.
    run = converter.run(*options, "vic/x_FULL_SBS_LR.mov", "x.mp4", folder=tmp_path)
    assert refusal(run) == "output would replace another input of this run: vic/x_FULL_SBS_LR.mov is " \
                           "vic/x_FULL_SBS_LR.mov"
    assert any(line.startswith("SBS output: ") for line in run.lines)
    run = converter.run(*options, "x.mp4", victim, folder=tmp_path)
    assert refusal(run) == f"output would replace another input of this run: vic/x_FULL_SBS_LR.mov is {victim}"
    after = contents(tmp_path)
    assert {path: after[path] for path in before} == before


@pytest.mark.parametrize("overwrite", [[], ["--overwrite"]], ids=["plain", "overwrite"])
@pytest.mark.parametrize("kind", ["prores", "spatial"])
def test_inputs_of_equal_names_do_not_share_an_output(converter, clip, tmp_path, driver, kind, overwrite):
    for name in ("a", "b"):
        (tmp_path / name).mkdir()
        shutil.copyfile(clip, tmp_path / name / "clip.mp4")
    run = converter.run(*KINDS[kind][0], *overwrite, "--output-root", "out", "a/clip.mp4", "b/clip.mp4",
                        folder=tmp_path, settings=driver)
    [movie] = (tmp_path / "out").iterdir()
    name = f"out/{movie.name}"
    assert refusal(run) == f"output would replace another output of this run: {name} is {name}"
    assert len(Movie(movie).frame_times) == 9, "the first input's movie is whole"


def test_temporary_file_of_the_stereo_pass_is_no_recording_of_the_run(converter, clip, tmp_path):
    other = tmp_path / "clip_FULL_SBS_LR.st3d.tmp.mp4"
    shutil.copyfile(clip, other)
    before = contents(tmp_path)
    run = converter.run("--software", "--overwrite", "--output-root", tmp_path, clip, other, folder=tmp_path)
    assert refusal(run) == f"output would replace another input of this run: {other} is {other}"
    assert contents(tmp_path) == before


# --- temporary names

@pytest.mark.parametrize("overwrite", [[], ["--overwrite"]], ids=["plain", "overwrite"])
@pytest.mark.parametrize("thing", ["file", "folder", "link", "dangling"])
@pytest.mark.parametrize("kind, temporary", [("hevc", "out.st3d.tmp.mp4"), ("preview", "out.png.tmp")])
def test_what_has_the_temporary_name_stays(converter, clip, tmp_path, kind, temporary, thing, overwrite):
    if converter.prefix and thing == "dangling":
        pytest.skip("no links of the other system here")
    (tmp_path / "precious").write_text("precious")
    path = tmp_path / temporary
    {"file": lambda: path.write_text("mine"), "folder": path.mkdir, "link": lambda: path.symlink_to("precious"),
     "dangling": lambda: path.symlink_to("missing")}[thing]()
    before = contents(tmp_path)
    options, suffix = KINDS[kind]
    run = converter.run(*options, *overwrite, "--output", f"out{suffix}", clip, folder=tmp_path).failed()
    assert {"hevc": f"Error: temporary file already exists (move it away or delete it): {temporary}",
            "preview": f"[VideoThumbnailGenerator] Could not write temporary PNG {temporary}"}[kind] in run.lines
    assert "progress_percent" not in run.output, "found after the encoding"
    assert contents(tmp_path) == before


@pytest.mark.parametrize("kind", ["hevc", "prores", "preview"])
def test_empty_output_names_nothing(converter, clip, tmp_path, kind):
    (tmp_path / ".tmp").write_text("precious")
    before = contents(tmp_path)
    converter.run(*KINDS[kind][0], "--output", "", clip, folder=tmp_path).failed('output path has no file name: ""')
    assert contents(tmp_path) == before


# --- links

@pytest.mark.usefixtures("real_links")
@pytest.mark.parametrize("kind", list(KINDS))
def test_link_without_target_counts_as_existing(converter, clip, tmp_path, driver, kind):
    options, suffix = KINDS[kind]
    link = tmp_path / f"link{suffix}"
    link.symlink_to(f"missing{suffix}")
    before = contents(tmp_path)
    run = converter.run(*options, "--output", link.name, clip, folder=tmp_path, settings=driver).failed()
    assert "output already exists" in run.error
    assert contents(tmp_path) == before


@pytest.mark.usefixtures("real_links")
@pytest.mark.parametrize("kind", list(KINDS))
def test_target_of_a_link_is_replaced_and_the_link_stays(converter, clip, tmp_path, driver, kind):
    options, suffix = KINDS[kind]
    disk = tmp_path / "disk"
    disk.mkdir()
    (disk / f"movie{suffix}").write_text("old")
    (tmp_path / f"link{suffix}").symlink_to(f"disk/movie{suffix}")
    run = converter.run(*options, "--overwrite", "--output", f"link{suffix}", clip, folder=tmp_path,
                        settings=driver).succeeded()
    assert f"output: link{suffix}" in run.lines[-1]
    assert os.readlink(tmp_path / f"link{suffix}") == f"disk/movie{suffix}"
    assert [path.name for path in disk.iterdir()] == [f"movie{suffix}"]
    if kind != "preview":
        assert len(Movie(disk / f"movie{suffix}").frame_times) == 9
    else:
        assert (disk / "movie.png").read_bytes().startswith(b"\x89PNG")


# --- several processes

def test_previews_of_one_name_at_the_same_time_all_succeed(native, clip, tmp_path):
    runs = [native.start("--thumbnail", "--overwrite", "--output", "out.png", clip, folder=tmp_path)
            for _ in range(6)]
    assert [run.wait(60) for run in runs] == [0] * 6
    assert sorted(path.name for path in tmp_path.glob("out*")) == ["out.png"]


def test_only_one_preview_gets_a_name_that_was_free(native, clip, tmp_path):
    runs = [native.start("--thumbnail", "--output", "out.png", clip, folder=tmp_path) for _ in range(6)]
    assert sorted(run.wait(60) for run in runs) == [0] + [1] * 5
    assert sorted(path.name for path in tmp_path.glob("out*")) == ["out.png"]


@pytest.mark.parametrize("kind", ["hevc", "prores"])
def test_second_process_does_not_disturb_the_first(native, shelf, tmp_path, kind):
    recording = shelf.get("--size", "640x640", "--seconds", 2).path
    options, suffix = KINDS[kind]
    words = (*options, "--overwrite", "--output", f"out{suffix}", recording)
    first = native.start(*words, folder=tmp_path)
    lock = tmp_path / f"out{suffix}.veyrin-lock"
    deadline = time.monotonic() + 20
    while not lock.exists() and time.monotonic() < deadline:
        time.sleep(0.01)
    native.run(*words, folder=tmp_path).failed(f"output is being written by another process: out{suffix}")
    assert first.wait(60) == 0
    assert len(Movie(tmp_path / f"out{suffix}").frame_times) == 60
    assert [path.name for path in tmp_path.iterdir()] == [f"out{suffix}"]


# --- what cannot be written

@pytest.mark.parametrize("name", ["movie", "movie.xyz", "movie.txt", "movie.m4v"])
def test_names_that_the_software_encoder_cannot_write_are_refused_at_once(converter, clip, tmp_path, name):
    before = contents(tmp_path)
    run = converter.run("--software", "--output", name, clip, folder=tmp_path).failed(
        f"the software HEVC encoder cannot write a file of this name (use .mp4, .mov or .mkv): {name}")
    assert "encoded_frames" not in run.output
    assert contents(tmp_path) == before


def test_lost_stereo_description_is_said_before_the_encoding(converter, clip, tmp_path):
    run = converter.run("--software", "--output", "out.mkv", clip, folder=tmp_path).succeeded()
    notice = run.lines.index("  stereo_description: none (only .mp4 and .mov files can carry it)")
    assert notice < min(k for k, line in enumerate(run.lines) if "progress_percent" in line)
    assert Movie(tmp_path / "out.mkv").description["format"]["format_name"] == "matroska,webm"
    run = converter.run("--software", "--output", "out.mp4", clip, folder=tmp_path).succeeded()
    assert "stereo_description:" not in run.output


def with_sound(clip, codec, suffix):
    path = clip.with_name(f"{codec}{suffix}")
    tool("ffmpeg", "-v", "error", "-i", clip, "-map", "0:v", "-map", "0:a", "-map", "0:d", "-c", "copy", "-c:a", codec,
         "-strict", "experimental", path)
    return path


@pytest.mark.parametrize("codec, suffix, kind, way_out", [
    ("pcm_s16le", ".mov", "hevc", "give the output the extension .mov"),
    ("flac", ".mp4", "hevc", "give the output the extension .mkv"),
    ("libopus", ".mp4", "prores", "give the output the extension .mkv"),
    ("libopus", ".mp4", "spatial", "cannot be copied into a spatial movie; convert the sound to AAC first"),
])
def test_sound_that_does_not_fit_is_found_before_the_first_frame(converter, clip, tmp_path, driver, codec, suffix, kind,
                                                                 way_out):
    recording = with_sound(clip, codec, suffix)
    options, extension = KINDS[kind]
    (tmp_path / f"old{extension}").write_text("precious")
    before = contents(tmp_path)
    for words in (("--output", f"new{extension}"), ("--overwrite", "--output", f"old{extension}")):
        run = converter.run(*options, *words, recording, folder=tmp_path, settings=driver).failed()
        assert run.error.startswith(f"the recording's sound ({codec.removeprefix('lib')}) cannot be copied into ")
        assert run.error.endswith(way_out)
        assert "progress_percent" not in run.output
        assert contents(tmp_path) == before, "neither a new file nor a changed one"


@pytest.mark.parametrize("codec, suffix, output", [
    ("pcm_s16le", ".mov", "out.mov"), ("flac", ".mp4", "out.mkv"), ("libopus", ".mp4", "out.mp4")])
def test_the_way_out_keeps_the_sound(converter, clip, tmp_path, codec, suffix, output):
    if converter.prefix and codec == "libopus":
        pytest.skip("the other system's packaged FFmpeg is older than 5.0")
    recording = with_sound(clip, codec, suffix)
    converter.run("--software", "--output", output, recording, folder=tmp_path).succeeded()
    # Containers split PCM differently.
    samples = [tool("ffmpeg", "-v", "error", "-i", path, "-map", "0:a:0", "-f", "s16le", "-")
               for path in (recording, tmp_path / output)]
    assert samples[0] == samples[1]


# --- failed starts

@pytest.mark.parametrize("kind", ["hevc", "prores", "mono", "spatial"])
def test_failed_run_without_a_frame_leaves_no_file(converter, clip, tmp_path, driver, kind):
    options, suffix = KINDS[kind]
    before = contents(tmp_path)
    converter.run(*options, "--start", 100, "--output", f"out{suffix}", clip, folder=tmp_path, settings=driver).failed(
        "the selected time range contains no synchronized video frames")
    assert contents(tmp_path) == before


def test_encoder_that_dies_at_once_leaves_no_empty_file(native, shelf, tmp_path):
    recording = shelf.get("--size", "640x640", "--seconds", 1).path
    encoder = tmp_path / "encoder"
    encoder.write_text(f'#!/bin/sh\ncase "$*" in *lavfi*) exit 0;; esac\n: >"{tmp_path}/out.mp4"\nexit 1\n')
    encoder.chmod(0o755)
    native.run("--software", "--output", "out.mp4", recording, folder=tmp_path,
               settings={"VEYRIN_FFMPEG_GPL": str(encoder)}).failed()
    assert [path.name for path in tmp_path.iterdir()] == ["encoder"]


def test_killed_run_can_be_repeated(native, shelf, tmp_path):
    recording = shelf.get("--size", "640x640", "--seconds", 2).path
    words = ("--software", "--overwrite", "--output", "out.mp4", recording)
    run = subprocess.Popen(native.command(*words), cwd=tmp_path, stdout=subprocess.PIPE)
    assert any(b"progress_percent: 1" in line for line in run.stdout)
    run.kill()
    run.communicate()
    native.run(*words, folder=tmp_path).succeeded()
    assert len(Movie(tmp_path / "out.mp4").frame_times) == 60
    assert [path.name for path in tmp_path.iterdir()] == ["out.mp4"]
