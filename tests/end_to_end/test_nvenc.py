"""Side-by-side and mono movies encoded by the simulated driver."""

import json

import numpy as np
import pytest

import boxes
from expectations import BITRATES, check_movie, layout_of
from movie import Movie

RECORDINGS = {
    8: ("--size", "320x320", "--rate", 24, "--seconds", 1),
    10: ("--size", "320x320", "--rate", 24, "--seconds", 1, "--codec", "hevc10"),
}
KINDS = [("full", "none"), ("half", "16x9"), ("left", "4x3"), ("right", "none")]
PIXELS = {("h264", 8): "yuv420p", ("hevc", 8): "yuv420p", ("hevc", 10): "p010le"}
# Message type 45 in a NAL unit of type 6.
PACKING_SEI = b"\x06\x2d"


@pytest.mark.parametrize("codec, bits", PIXELS)
@pytest.mark.parametrize("kind, padding", KINDS)
def test_output_is_as_planned(converter, shelf, nvenc, tmp_path, kind, padding, codec, bits):
    recording = shelf.get(*RECORDINGS[bits])
    layout = layout_of(recording, kind, padding)
    output = tmp_path / "out.mp4"
    run = converter.run(*BITRATES, "--sbs-codec", codec, *layout.options(), "--output", output, recording.path,
                        folder=tmp_path, settings=nvenc()).succeeded()
    # On Windows the decoder has a device, and pictures stay on it.
    way = f"{PIXELS[codec, bits]}, CPU YUV processing"
    if converter.prefix:
        way = f"d3d11, GPU-resident {'P010' if bits == 10 else 'NV12'}"
    assert run.value("encoder") == f"{codec}_nvenc ({way})"
    assert run.value("audio") == "stream copy (aac)"
    check_movie(output, recording, layout, codec, ten_bit=bits == 10)
    source, copied = Movie(recording.path).audio_packets(), Movie(output).audio_packets()
    audible = [packet[2] for packet in source if packet[0] + packet[1] > 1e-6]
    assert [packet[2] for packet in copied if packet[0] + packet[1] > 1e-6] == audible


@pytest.mark.parametrize("b_frames", [0, 3])
@pytest.mark.parametrize("codec", ["h264", "hevc"])
def test_trim_keeps_every_frame(converter, shelf, nvenc, tmp_path, codec, b_frames):
    recording = shelf.get("--size", "256x256", "--seconds", 1.5)
    output = tmp_path / "out.mp4"
    converter.run(*BITRATES, "--sbs-codec", codec, "--start", 0.4, "--duration", 0.5, "--output", output, recording.path,
                  folder=tmp_path, settings=nvenc(b_frames=b_frames)).succeeded()
    check_movie(output, recording, layout_of(recording), codec, False, range(12, 27), [0.1])


def stereo_marks(path):
    """(contents of the st3d boxes, number of frame-packing messages in each sample)."""
    [track] = boxes.tracks(boxes.read_boxes(path), "vide")
    marks = [box.content for box in boxes.sample_entry(track).children if box.kind == "st3d"]
    messages = [sum(unit.startswith(PACKING_SEI) for unit in boxes.nal_units(sample))
                for sample in boxes.samples(path, track)]
    return marks, messages


@pytest.mark.parametrize("metadata", ["st3d", "sei", "both"])
def test_h264_carries_the_stereo_marks_asked_for(converter, shelf, nvenc, tmp_path, metadata):
    recording = shelf.get(*RECORDINGS[8])
    output = tmp_path / "out.mp4"
    converter.run(*BITRATES, "--sbs-codec", "h264", "--sbs-spatial-metadata", metadata, "--output", output, recording.path,
                  folder=tmp_path, settings=nvenc()).succeeded()
    marks, messages = stereo_marks(output)
    assert marks == ([] if metadata == "sei" else [b"\0\0\0\0\2"]), "side by side, left first"
    key_samples = Movie(output).key_frames
    assert sum(key_samples) > 0
    assert messages == (key_samples if metadata != "st3d" else [0] * len(key_samples))


@pytest.mark.parametrize("bits", [8, 10])
def test_hevc_is_marked_in_the_container(converter, shelf, nvenc, tmp_path, bits):
    recording = shelf.get(*RECORDINGS[bits])
    output = tmp_path / "out.mp4"
    converter.run(*BITRATES, "--output", output, recording.path, folder=tmp_path, settings=nvenc()).succeeded()
    assert stereo_marks(output)[0] == [b"\0\0\0\0\2"]


def test_h264_of_a_ten_bit_recording_is_eight_bit(converter, shelf, nvenc, tmp_path):
    recording = shelf.get(*RECORDINGS[10])
    output = tmp_path / "out.mp4"
    run = converter.run(*BITRATES, "--sbs-codec", "h264", "--output", output, recording.path, folder=tmp_path,
                        settings=nvenc()).succeeded()
    assert run.lines[0] == "Warning: H.264 output is limited to 8-bit; 10-bit HDR support will be lost"
    movie = Movie(output)
    assert (movie.video["codec_name"], movie.video["pix_fmt"]) == ("h264", "yuv420p")
    luma = movie.planes()[0]
    assert luma.shape == (24, 320, 640) and np.ptp(luma) > 100


@pytest.mark.parametrize("words", [("--sbs-codec", "h264"), (), ("--output-format", "mono"),
                                   ("--output-format", "mono", "--sbs-codec", "h264")])
@pytest.mark.parametrize("bits", [8, 10])
def test_support_is_by_hardware(converter, nvenc, tmp_path, words, bits):
    synthetic = ("--input-width", 640, "--input-height", 640, "--input-bit-depth", bits)
    run = converter.run("check-support", *words, *synthetic, folder=tmp_path, settings=nvenc())
    assert json.loads(run.output) == {"schemaVersion": 1, "supported": True, "acceleration": "hardware"}
    assert run.errors == ""


def test_hevc_falls_back_to_software_when_the_driver_refuses(converter, shelf, nvenc, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2)
    output = tmp_path / "out.mp4"
    run = converter.run(*BITRATES, "--output", output, recording.path, folder=tmp_path, settings=nvenc(hevc=0)).succeeded()
    assert run.value("encoder").startswith("libx265 (packaged FFmpeg CLI)")


def test_h264_has_no_other_encoder(converter, shelf, nvenc, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2)
    run = converter.run("--sbs-codec", "h264", recording.path, folder=tmp_path, settings=nvenc(h264=0)).failed()
    attempts = run.error.splitlines()
    assert attempts[0] == "no suitable encoder could be opened; attempts:"
    assert attempts[1].startswith("  h264_nvenc: ")


@pytest.mark.parametrize("codec", ["h264", "hevc"])
def test_encoder_that_fails_in_the_middle_ends_the_run(converter, shelf, nvenc, tmp_path, codec):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5)
    run = converter.run(*BITRATES, "--sbs-codec", codec, recording.path, folder=tmp_path,
                        settings=nvenc(failing_picture=7))
    run.failed("video encoding failed: Unknown error occurred")
    assert run.errors == ""
