"""Every kind of side-by-side and mono output, at both bit depths."""

import pytest

from expectations import BITRATES, check_movie, layout_of
from layout import PADDINGS
from movie import Movie

RECORDINGS = {
    8: ("--size", "320x320", "--rate", 24, "--seconds", 1),
    10: ("--size", "320x320", "--rate", 24, "--seconds", 1, "--codec", "hevc10"),
}
KINDS = [(kind, padding) for kind in ("full", "half") for padding in PADDINGS]
KINDS += [("left", "none"), ("right", "none"), ("left", "4x3"), ("right", "16x9")]


def converted_name(recording, layout, codec):
    padding = "" if layout.padding == "none" else f"_pad{layout.padding}"
    tail = {"full": "FULL_SBS_LR", "half": "HALF_SBS_LR", "left": "MONO_LEFT", "right": "MONO_RIGHT"}[layout.kind]
    return f"{recording.path.stem}{padding}_{tail}{'.mov' if codec == 'prores' else '.mp4'}"


@pytest.mark.parametrize("bits", RECORDINGS)
@pytest.mark.parametrize("codec", ["hevc", "prores"])
@pytest.mark.parametrize("kind, padding", KINDS)
def test_output_is_as_planned(converter, shelf, tmp_path, kind, padding, codec, bits):
    recording = shelf.get(*RECORDINGS[bits])
    layout = layout_of(recording, kind, padding)
    run = converter.run("--software", *BITRATES, "--sbs-codec", codec, *layout.options(), recording.path,
                        folder=tmp_path)
    run.succeeded()

    output = tmp_path / "converted" / "spatial_video" / converted_name(recording, layout, codec)
    report = "Mono output" if kind in ("left", "right") else "SBS output"
    assert run.lines[-1] == f"{report}: {output.relative_to(tmp_path)}"
    encoder = {("hevc", 8): "libx265 (packaged FFmpeg CLI) (yuv420p, CPU YUV processing)",
               ("hevc", 10): "libx265 (packaged FFmpeg CLI) (p010le, CPU YUV processing)",
               }.get((codec, bits), "prores_ks (yuv422p10le, CPU YUV processing + 4:2:2 chroma upsampling)")
    assert run.value("encoder") == encoder
    assert run.values("software_encoder") == (["packaged GPL FFmpeg CLI with libx265"] if codec == "hevc" else [])
    check_movie(output, recording, layout, codec, ten_bit=bits == 10)


@pytest.mark.parametrize("codec", ["hevc", "prores"])
def test_audio_packets_are_those_of_the_recording(converter, shelf, tmp_path, codec):
    recording = shelf.get(*RECORDINGS[8])
    output = tmp_path / "out.mov"
    run = converter.run("--software", *BITRATES, "--sbs-codec", codec, "--output", output, recording.path, folder=tmp_path)
    run.succeeded()
    assert run.values("audio") == ([] if codec == "hevc" else ["stream copy (aac)"])
    source, copied = Movie(recording.path).audio_packets(), Movie(output).audio_packets()
    # A packet that only primes the decoder ends where the movie starts; it may be missing.
    audible = [packet for packet in source if packet[0] + packet[1] > 1e-6]
    assert len(audible) == len(source) - 1
    assert [packet[2] for packet in copied if packet[0] + packet[1] > 1e-6] == [packet[2] for packet in audible]
    assert [packet[0] for packet in copied][-1] == pytest.approx(audible[-1][0], abs=1e-3)
    stream = Movie(output).streams("audio")[0]
    assert (stream["codec_name"], stream["sample_rate"], stream["channels"]) == ("aac", "48000", 2)


@pytest.mark.parametrize("codec", ["hevc", "prores"])
def test_recording_without_sound_gives_a_movie_without_sound(converter, shelf, tmp_path, codec):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5, "--no-audio")
    output = tmp_path / "out.mov"
    run = converter.run("--software", *BITRATES, "--sbs-codec", codec, "--output", output, recording.path, folder=tmp_path)
    run.succeeded()
    assert run.values("audio") == []
    assert [stream["codec_type"] for stream in Movie(output).description["streams"]] == ["video"]
    assert len(Movie(output).frame_times) == 15


@pytest.mark.parametrize("codec", ["hevc", "prores"])
@pytest.mark.parametrize("eye_size", [(200, 240), (480, 480)])
def test_asked_eye_size_scales_the_picture(converter, shelf, tmp_path, eye_size, codec):
    recording = shelf.get(*RECORDINGS[8])
    layout = layout_of(recording, eye_size=eye_size)
    output = tmp_path / "out.mov"
    converter.run("--software", *BITRATES, "--sbs-codec", codec, "--eye-width", eye_size[0], "--eye-height", eye_size[1],
                  "--output", output, recording.path, folder=tmp_path).succeeded()
    check_movie(output, recording, layout, codec, ten_bit=False)


@pytest.mark.parametrize("codec, name, container", [("prores", "out.mp4", "mov"), ("hevc", "out.mov", "mov"),
                                                    ("prores", "out.mkv", "matroska"), ("hevc", "out.mkv", "matroska")])
def test_exact_output_name_is_used_as_given(converter, shelf, tmp_path, codec, name, container):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5)
    converter.run("--software", *BITRATES, "--sbs-codec", codec, "--output", name, recording.path,
                  folder=tmp_path).succeeded()
    movie = Movie(tmp_path / name)
    assert container in movie.description["format"]["format_name"].split(",")
    assert movie.video["codec_name"] == codec
    assert len(movie.frame_times) == 15


def test_odd_eye_size_is_refused(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5)
    converter.run("--software", "--eye-width", 201, recording.path, folder=tmp_path).failed(
        "CPU YUV pipeline unavailable: CPU YUV processing requires even dimensions")


def test_batch_converts_every_input(converter, shelf, tmp_path):
    recordings = [shelf.get("--size", "256x256", "--seconds", seconds) for seconds in (0.2, 0.5)]
    run = converter.run("--software", *BITRATES, "--sbs-mode", "half", *(recording.path for recording in recordings),
                        folder=tmp_path).succeeded()
    outputs = [tmp_path / line.removeprefix("SBS output: ") for line in run.lines if line.startswith("SBS output: ")]
    assert [len(Movie(output).frame_times) for output in outputs] == [6, 15]
