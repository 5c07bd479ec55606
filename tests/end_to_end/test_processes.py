"""The packaged encoder as a process: missing, broken, dying or hanging, and which process ends first."""

import os
import signal
import subprocess
import time

import pytest

from movie import Movie
from processes import check_end_with, is_running

ATTEMPTS = ("no suitable encoder could be opened; attempts:\n"
            "  hevc_nvenc: skipped for software encoding\n  hevc_qsv: skipped for software encoding\n"
            "  hevc_amf: skipped for software encoding\n  hevc_mf: skipped for software encoding\n"
            "  packaged software encoder: ")
STOPPED = "packaged GPL FFmpeg stopped while receiving video frames"
FAILED = "packaged GPL FFmpeg software encoding failed"


@pytest.fixture
def recording(shelf):
    # A raw frame of 1280x640 is larger than the pipe buffer, so a dead reader is noticed while writing.
    return shelf.get("--size", "640x640", "--seconds", 1)


def script(folder, body):
    """A fake encoder that passes the probe and then runs the given script."""
    path = folder / "encoder"
    path.write_text(f'#!/bin/sh\ncase "$*" in *lavfi*) exit 0;; esac\n{body}\n')
    path.chmod(0o755)
    return {"VEYRIN_FFMPEG_GPL": str(path)}


def test_missing_encoder_is_named(native, recording, tmp_path):
    native.run("--software", recording.path, folder=tmp_path, settings={"VEYRIN_FFMPEG_GPL": "/nowhere/ffmpeg"}).failed(
        ATTEMPTS + "packaged GPL FFmpeg executable not found (expected /nowhere/ffmpeg; VEYRIN_FFMPEG_GPL may "
        "override the location)")


@pytest.mark.parametrize("codec, depth", [("h264", ""), ("hevc10", "10-bit ")])
def test_encoder_that_fails_its_probe_is_refused(native, shelf, tmp_path, codec, depth):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2, "--no-audio", "--codec", codec)
    native.run("--software", recording.path, folder=tmp_path, settings={"VEYRIN_FFMPEG_GPL": "/bin/false"}).failed(
        f"{ATTEMPTS}packaged GPL FFmpeg does not provide a working {depth}libx265 encoder")


def test_encoder_is_probed_once(native, recording, tmp_path):
    path = tmp_path / "encoder"
    starts = tmp_path / "starts"
    path.write_text(f'#!/bin/sh\ncase "$*" in *lavfi*) echo probe >>"{starts}"; exit 0;; esac\n'
                    f'echo movie >>"{starts}"; cat >/dev/null; exit 3\n')
    path.chmod(0o755)
    native.run("--software", "--duration", "0.1", recording.path, folder=tmp_path,
               settings={"VEYRIN_FFMPEG_GPL": str(path)}).failed(FAILED)
    assert starts.read_text() == "probe\nmovie\n"


def test_empty_setting_means_the_encoder_beside_the_program(native, recording, tmp_path):
    native.run("--software", "--duration", "0.2", "--output", "out.mp4", recording.path, folder=tmp_path,
               settings={"VEYRIN_FFMPEG_GPL": ""}).succeeded()
    assert len(Movie(tmp_path / "out.mp4").frame_times) == 6


def test_software_hevc_can_be_forced(native, recording, tmp_path):
    switch = {"VEYRIN_FORCE_SOFTWARE_HEVC": "1", "VEYRIN_FFMPEG_GPL": "/nowhere/ffmpeg"}
    for words in ((), ("--software",)):
        run = native.run(*words, recording.path, folder=tmp_path, settings=switch).failed()
        assert run.error.startswith(ATTEMPTS), str(run)


@pytest.mark.parametrize("value", ["true", "yes", "0", "11"])
def test_other_values_of_the_switch_do_not_force_software(native, recording, tmp_path, value):
    switch = {"VEYRIN_FORCE_SOFTWARE_HEVC": value, "VEYRIN_FFMPEG_GPL": "/nowhere/ffmpeg"}
    run = native.run(recording.path, folder=tmp_path, settings=switch)
    assert "skipped for software encoding" not in run.output


def test_switch_does_not_touch_other_codecs(native, recording, tmp_path):
    run = native.run("--sbs-codec", "h264", recording.path, folder=tmp_path,
                     settings={"VEYRIN_FORCE_SOFTWARE_HEVC": "1"})
    assert "skipped for software encoding" not in run.output


def test_hanging_probe_ends_after_thirty_seconds(native, recording, tmp_path):
    path = tmp_path / "encoder"
    path.write_text("#!/bin/sh\nexec sleep 300\n")
    path.chmod(0o755)
    started = time.monotonic()
    native.run("--software", recording.path, folder=tmp_path, settings={"VEYRIN_FFMPEG_GPL": str(path)}).failed(
        f"{ATTEMPTS}packaged GPL FFmpeg does not provide a working libx265 encoder")
    assert 29 < time.monotonic() - started < 45


@pytest.mark.parametrize("body, messages", [
    ("exit 3", [STOPPED]),
    ("head -c 2000000 >/dev/null; exit 3", [STOPPED]),
    ("head -c 2000000 >/dev/null; kill -9 $$", [STOPPED]),
    ("cat >/dev/null; exit 3", [FAILED]),
    ("cat >/dev/null; kill -11 $$", [FAILED]),
], ids=["at_once", "early", "killed", "at_the_end", "crash_at_the_end"])
def test_dying_encoder_ends_the_conversion_with_one_message(native, recording, tmp_path, body, messages):
    run = native.run("--software", recording.path, folder=tmp_path, settings=script(tmp_path, body)).failed()
    assert run.error in messages, str(run)


def test_pipe_carries_whole_pictures_and_the_planned_arguments(native, recording, tmp_path):
    settings = script(tmp_path, 'for word; do printf "%s\\n" "$word"; done >arguments.txt; wc -c >bytes.txt')
    native.run("--software", "--start", "0.1", "--duration", "0.5", "--sdr-bitrate", "5M", "--output", "out.mp4",
               recording.path, folder=tmp_path, settings=settings)
    # The child runs in the folder of its executable.
    assert int((tmp_path / "bytes.txt").read_text()) == 15 * 1280 * 640 * 3 // 2
    assert (tmp_path / "arguments.txt").read_text().splitlines() == [
        "-hide_banner", "-loglevel", "warning", "-f", "rawvideo", "-pixel_format", "yuv420p", "-video_size", "1280x640",
        "-framerate", "30/1", "-i", "pipe:0", "-ss", "0.100000", "-i", str(recording.path), "-map", "0:v:0", "-map",
        "1:a:0?", "-c:v", "libx265", "-profile:v", "main", "-preset", "faster", "-pix_fmt", "yuv420p", "-b:v", "5000000",
        "-tag:v", "hvc1", "-color_primaries", "bt709", "-color_trc", "bt709", "-colorspace", "bt709", "-color_range",
        "tv", "-x265-params", "high-tier=0:colorprim=bt709:transfer=bt709:colormatrix=bt709:range=limited", "-c:a",
        "copy", "-t", "0.500000", "-movflags", "+faststart", "-n", str(tmp_path / "out.mp4")]


@pytest.mark.parametrize("ending", [signal.SIGKILL, signal.SIGTERM, signal.SIGINT])
def test_encoder_ends_with_a_killed_converter(native, recording, tmp_path, ending):
    settings = script(tmp_path, "echo $$ >pid.tmp; mv pid.tmp pid.txt; exec sleep 300")
    process = native.start("--software", recording.path, folder=tmp_path, settings=settings)
    check_end_with(process, tmp_path / "pid.txt", ending)


def test_encoder_ends_with_a_failing_conversion(native, shelf, tmp_path):
    # The second half of the recording cannot be decoded, so the conversion fails while the child waits for frames.
    recording = shelf.get("--size", "256x256", "--seconds", 0.5, "--pix-fmt", "yuv422p")
    settings = script(tmp_path, "echo $$ >pid.txt; exec sleep 300")
    native.run("--software", recording.path, folder=tmp_path, settings=settings).failed(
        "decoded pixel format is not supported by the YUV pipeline: yuv422p")
    if (tmp_path / "pid.txt").exists():
        assert not is_running(int((tmp_path / "pid.txt").read_text()))


def test_encoder_inherits_nothing_but_its_standard_streams(native, recording, tmp_path):
    settings = script(tmp_path, "ls -l /proc/$$/fd >open.txt; cat >/dev/null; exit 1")
    with open(recording.path, "rb") as extra:
        os.set_inheritable(extra.fileno(), True)
        command = native.command("--software", recording.path)
        subprocess.run(command, cwd=tmp_path, env=native.environment(settings), pass_fds=[extra.fileno()],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60, check=False)
    targets = [line.split(" -> ")[1] for line in (tmp_path / "open.txt").read_text().splitlines() if " -> " in line]
    foreign = [target for target in targets if target.endswith(".mp4") or "veyrin" in target]
    assert not foreign, targets


def full_disk(folder, size):
    """A mounted tmpfs of `size`; skips the test where mounting is not allowed."""
    folder.mkdir()
    done = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", str(folder)], capture_output=True,
                          text=True, check=False)
    if done.returncode != 0:
        pytest.skip(f"a small tmpfs cannot be mounted here: {done.stderr.strip()}")
    return folder


@pytest.mark.parametrize("codec", ["hevc", "prores"])
@pytest.mark.parametrize("size", ["64k", "300k"])
def test_full_disk_ends_with_one_message(native, recording, tmp_path, codec, size):
    disk = full_disk(tmp_path / "disk", size)
    try:
        run = native.run("--software", "--sbs-codec", codec, "--output", disk / "out.mov", recording.path,
                         folder=tmp_path).failed()
        known = (STOPPED, FAILED, "could not write an encoded packet: ", "could not write a flushed packet: ",
                 "could not write an audio packet: ", "could not finalize output: ")
        assert run.error.startswith(known), str(run)
        if codec == "prores":
            assert run.error.endswith(": No space left on device"), str(run)
    finally:
        subprocess.run(["umount", str(disk)], check=True)
