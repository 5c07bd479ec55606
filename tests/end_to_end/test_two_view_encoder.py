"""Two-view movies made in software: few frames, many rates, and the encoder's program missing, dying, hanging or wrong."""

import json
import math
import signal
import sys

import pytest

from movie import Movie, tool
from processes import check_end_with, is_running, wait_for
from recording import Recording
from spatial_checks import check_movie

BITRATES = ("--sdr-bitrate", "20M", "--hdr-bitrate", "20M")
SPATIAL = ("--software", "--output-format", "spatial", *BITRATES)
ENDED = "the two-view encoder ended before its output was complete"


def sound_of(path, codec):
    if codec == "aac":
        return [packet[2] for packet in Movie(path).audio_packets() if packet[0] + packet[1] > 1e-6]
    # Containers split these packets differently.
    return tool("ffmpeg", "-v", "error", "-i", path, "-map", "0:a:0", "-f", "s16le", "-")


def convert(converter, recording, output, *words, **settings):
    return converter.run(*SPATIAL, *words, "--overwrite", "--output", output, recording.path, folder=output.parent,
                         settings=settings)


@pytest.mark.parametrize("bits", [8, 10])
def test_movies_of_few_frames(converter, shelf, view_decoder, eyes_of, tmp_path, bits):
    codec = ("--codec", "hevc10") if bits == 10 else ()
    recording = shelf.get("--size", "128x128", "--seconds", 0.5, *codec)
    for count in range(1, 9) if bits == 8 else (1, 2, 5, 8):
        output = tmp_path / f"{count}.mov"
        run = convert(converter, recording, output, "--duration", count / 30).succeeded()
        assert run.values("encoded_frames")[-1] == str(count)
        assert run.errors == ""
        check_movie(output, view_decoder, eyes_of(recording), 30, count, [1])


@pytest.mark.parametrize("b_frames", range(5))
def test_numbers_of_b_frames(converter, shelf, view_decoder, eyes_of, tmp_path, b_frames):
    recording = shelf.get("--size", "128x128", "--rate", 4, "--seconds", 5, "--no-audio")
    output = tmp_path / "out.mov"
    convert(converter, recording, output, VEYRIN_TWO_VIEW_B_FRAMES=str(b_frames)).succeeded()
    check_movie(output, view_decoder, eyes_of(recording), 4, 20, [1, 9, 17])


# Rate, and the length of a group: twice the whole part of the rate, at least one.
@pytest.mark.parametrize("rate, group", [("24000/1001", 46), ("25", 50), ("30000/1001", 58), ("60", 120), ("1", 2), ("1/2", 1)])
def test_rates_and_groups(converter, shelf, view_decoder, eyes_of, tmp_path, rate, group):
    over, under = (int(number) for number in (rate + "/1").split("/")[:2])
    count = min(group + 3, 62)
    recording = shelf.get("--size", "128x128", "--rate", rate, "--seconds", count * under / over, "--no-audio")
    output = tmp_path / "out.mov"
    convert(converter, recording, output).succeeded()
    check_movie(output, view_decoder, eyes_of(recording), over / under, count, list(range(1, count + 1, group)))


@pytest.mark.parametrize("sound", ["pcm_s16le", "aac"])
def test_sound_of_badly_interleaved_recordings(converter, shelf, view_decoder, eyes_of, tmp_path, sound):
    recording = shelf.get("--size", "128x128", "--seconds", 1, "--bad-interleaving")
    source = recording
    if sound != "aac":
        source = Recording(tmp_path / "clip.mov")
        tool("ffmpeg", "-v", "error", "-i", recording.path, "-map", "0", "-c", "copy", "-c:a", sound, "-copy_unknown",
             source.path)
    output = tmp_path / "out.mov"
    convert(converter, source, output).succeeded()
    check_movie(output, view_decoder, eyes_of(recording), 30, 30, [1])
    assert sound_of(output, sound) == sound_of(source.path, sound)


def test_named_program_that_is_missing_is_a_mistake(converter, shelf, tmp_path):
    recording = shelf.get("--size", "128x128", "--seconds", 0.2)
    convert(converter, recording, tmp_path / "out.mov", VEYRIN_TWO_VIEW_ENCODER="/nowhere/encoder").failed(
        "two-view encoder not found (expected /nowhere/encoder; VEYRIN_TWO_VIEW_ENCODER may override the location)")
    assert not (tmp_path / "out.mov").exists()


def test_unknown_preset_is_refused(converter, shelf, tmp_path):
    recording = shelf.get("--size", "128x128", "--seconds", 0.2)
    run = convert(converter, recording, tmp_path / "out.mov", VEYRIN_TWO_VIEW_PRESET="hasty").failed()
    assert run.error.startswith("the two-view encoder failed: ") and "hasty" in run.error and "faster" in run.error
    assert not (tmp_path / "out.mov").exists()


@pytest.mark.parametrize("value", ["17", "-1", "two", ""])
def test_wrong_number_of_b_frames_is_refused(converter, shelf, tmp_path, value):
    recording = shelf.get("--size", "128x128", "--seconds", 0.2)
    run = convert(converter, recording, tmp_path / "out.mov", VEYRIN_TWO_VIEW_B_FRAMES=value)
    if value == "":
        run.succeeded()
    else:
        run.failed("VEYRIN_TWO_VIEW_B_FRAMES is not a number from 0 to 8")


@pytest.mark.parametrize("size", [(14, 128), (128, 8194)])
def test_eyes_that_the_program_does_not_take_are_refused_in_words(converter, shelf, tmp_path, size):
    recording = shelf.get("--size", "128x128", "--seconds", 0.2)
    message = "the two-view encoder does not take eyes whose sides are odd or not from 16 to 8192 pixels"
    words = ("--eye-width", size[0], "--eye-height", size[1])
    convert(converter, recording, tmp_path / "out.mov", *words).failed(message)
    assert not (tmp_path / "out.mov").exists()
    asked = converter.run("check-support", "--output-format", "spatial", "--software", *words, recording.path, folder=tmp_path)
    assert (json.loads(asked.output)["supported"], json.loads(asked.output)["reason"]) == (False, message)


def stand_in(folder, program):
    """A Python program in the place of the encoder."""
    path = folder / "encoder"
    path.write_text(f"#!{sys.executable}\n{program}\n")
    path.chmod(0o755)
    return {"VEYRIN_TWO_VIEW_ENCODER": str(path)}


@pytest.mark.parametrize("program, message", [
    ("raise SystemExit(3)", ENDED),
    ("print('hello')", ENDED),
    ("print('hello, these are no records at all')", "the two-view encoder sent what is no answer"),
    ("import sys; sys.stdin.buffer.read(20)", ENDED),
    ("import os, sys; sys.stdin.buffer.read(50); os.kill(os.getpid(), 9)", ENDED),
], ids=["at_once", "short", "words", "silent_end", "killed"])
def test_program_that_is_none_gives_one_message(native, shelf, tmp_path, program, message):
    recording = shelf.get("--size", "128x128", "--seconds", 0.2)
    convert(native, recording, tmp_path / "out.mov", **stand_in(tmp_path, program)).failed(message)
    assert not (tmp_path / "out.mov").exists()


# Lets the real program work and disturbs it after some bytes of its output.
BETWEEN = """
import os, subprocess, sys, threading
child = subprocess.Popen([{program!r}], stdin=0, stdout=subprocess.PIPE)
open({number!r} + ".tmp", "w").write(str(child.pid))
os.rename({number!r} + ".tmp", {number!r})
left = {after}
while left > 0 and (bytes_ := child.stdout.read1(min(left, 4096))):
    sys.stdout.buffer.write(bytes_)
    sys.stdout.buffer.flush()
    left -= len(bytes_)
{then}
"""
KILL = "child.kill()\nsys.exit(9)"
GARBAGE = "sys.stdout.buffer.write(b'?' * 4096)\nsys.stdout.buffer.flush()\nchild.kill()"


@pytest.mark.parametrize("after", [4, 60, 400, 5000, 40000])
@pytest.mark.parametrize("then", [KILL, GARBAGE], ids=["killed", "garbage"])
def test_program_that_breaks_off_gives_one_message(native, shelf, tmp_path, after, then):
    recording = shelf.get("--size", "256x256", "--seconds", 1)
    number = tmp_path / "number"
    program = native.program.parent / "veyrin-two-view-encoder"
    settings = stand_in(tmp_path, BETWEEN.format(program=str(program), number=str(number), after=after, then=then))
    run = convert(native, recording, tmp_path / "out.mov", **settings).failed()
    assert run.error.startswith("the two-view encoder "), str(run)
    assert wait_for(lambda: not is_running(int(number.read_text())))


@pytest.mark.parametrize("ending", [signal.SIGKILL, signal.SIGTERM, signal.SIGINT])
def test_program_ends_with_the_converter(native, shelf, tmp_path, ending):
    recording = shelf.get("--size", "640x640", "--seconds", 4)
    number = tmp_path / "number"
    program = native.program.parent / "veyrin-two-view-encoder"
    path = tmp_path / "encoder"
    path.write_text(f'#!/bin/sh\necho $$ >"{number}.tmp"; mv "{number}.tmp" "{number}"; exec "{program}"\n')
    path.chmod(0o755)
    process = native.start(*SPATIAL, "--output", tmp_path / "out.mov", recording.path, folder=tmp_path,
                           settings={"VEYRIN_TWO_VIEW_ENCODER": str(path)})
    check_end_with(process, number, ending)


def test_same_recording_gives_the_same_movie(converter, shelf, tmp_path):
    recording = shelf.get("--size", "128x128", "--seconds", 0.5)
    outputs = [tmp_path / name for name in ("a.mov", "b.mov")]
    for output in outputs:
        convert(converter, recording, output).succeeded()
    assert outputs[0].read_bytes() == outputs[1].read_bytes()
    assert math.isclose(float(Movie(outputs[0]).description["format"]["duration"]), 0.5, abs_tol=0.03)
