"""What spatial output asks of the machine: check-support, drivers that fail, and no driver or no program at all."""

import json

import pytest

BITRATES = ("--sdr-bitrate", "12M", "--hdr-bitrate", "12M")
NOT_SUPPORTED = "Stereo MV-HEVC is not supported by the NVIDIA GPU and driver"
NO_START = {
    8: "could not start NVENC MV-HEVC; this requires Video Codec SDK 13 and compatible NVIDIA hardware/drivers: ",
    10: "could not start 10-bit NVENC MV-HEVC; this requires the FFmpeg Main10 MV-HEVC patch, Video Codec SDK 13, "
        "and compatible NVIDIA hardware/drivers: ",
}


def support(converter, folder, settings, *words):
    run = converter.run("check-support", "--output-format", "spatial", *words, folder=folder, settings=settings)
    assert run.status == 0 and run.errors == ""
    [line] = run.lines
    assert not any(path.name.startswith("veyrin-support-probe") for path in folder.iterdir())
    return json.loads(line)


SUPPORTED = {"schemaVersion": 1, "supported": True, "acceleration": "hardware"}


def unsupported(reason):
    return {"schemaVersion": 1, "supported": False, "acceleration": "none", "reason": reason}


SYNTHETIC = ("--input-width", 640, "--input-height", 640, "--input-bit-depth")


@pytest.mark.parametrize("bits", [8, 10])
def test_support_with_the_program_for_software_encoding(converter, nvenc, tmp_path, temporary_files, bits):
    expected = {**SUPPORTED, "acceleration": "software"}
    for settings in (nvenc(), {}):
        assert support(converter, tmp_path, {**settings, **temporary_files}, "--software", *SYNTHETIC, bits) == expected


@pytest.mark.parametrize("bits, properties, supported", [
    (8, {}, True),
    (10, {}, True),
    (8, {"ten_bit": 0}, True),
    (10, {"ten_bit": 0}, False),
    (8, {"mv_hevc": 0}, False),
    (8, {"width_max": 640, "height_max": 640}, True),
    (8, {"width_max": 639}, False),
    (8, {"height_max": 639}, False),
    (8, {"open_session_status": 10}, False),
])
def test_support_is_the_drivers_word(converter, nvenc, tmp_path, temporary_files, bits, properties, supported):
    settings = {**nvenc(**properties), **temporary_files}
    expected = SUPPORTED if supported else unsupported(NOT_SUPPORTED)
    assert support(converter, tmp_path, settings, *SYNTHETIC, bits) == expected


def test_support_counts_the_padding(converter, nvenc, tmp_path, temporary_files):
    settings = {**nvenc(width_max=1000), **temporary_files}
    assert support(converter, tmp_path, settings, *SYNTHETIC, 8) == SUPPORTED
    padded = support(converter, tmp_path, settings, *SYNTHETIC, 8, "--sbs-aspect-ratio-padding", "16x9")
    assert padded == unsupported(NOT_SUPPORTED)


def test_support_for_a_recording(converter, shelf, nvenc, tmp_path, temporary_files):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2)
    assert support(converter, tmp_path, {**nvenc(), **temporary_files}, recording.path) == SUPPORTED
    assert support(converter, tmp_path, temporary_files, recording.path) == unsupported(NOT_SUPPORTED)


@pytest.mark.parametrize("bits", [8, 10])
def test_support_without_hardware_judgement_is_the_encoders_word(lonely, nvenc, tmp_path, temporary_files, bits):
    settings = {**nvenc(), **temporary_files}
    assert support(lonely, tmp_path, settings, "--software", *SYNTHETIC, bits) == SUPPORTED
    refused = support(lonely, tmp_path, {**nvenc(mv_hevc=0), **temporary_files}, "--software", *SYNTHETIC, bits)
    assert not refused["supported"] and refused["reason"].startswith(NO_START[bits])


SUGGESTION = "  software_encoder: --software would make this movie with veyrin-two-view-encoder"
EXTERNAL = "Generic error in an external library"


@pytest.mark.parametrize("properties, message", [
    ({"mv_hevc": 0}, NO_START[8] + EXTERNAL),
    ({"width_max": 200}, NO_START[8] + EXTERNAL),
    ({"open_session_status": 10}, NO_START[8] + EXTERNAL),
    ({"failing_picture": 7}, "could not submit MV-HEVC frame to NVENC: Unknown error occurred"),
    ({"odd_views": 1}, "NVENC produced an incomplete MV-HEVC view pair"),
    ({"view_time_offset": 3, "b_frames": 0},
     "NVENC produced MV-HEVC views with mismatched timestamps (first pts/dts=0/0, second pts/dts=3/0)"),
])
def test_faulty_driver_gives_one_message(converter, shelf, nvenc, tmp_path, properties, message):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5)
    run = converter.run("--output-format", "spatial", *BITRATES, recording.path, folder=tmp_path,
                        settings=nvenc(**properties))
    run.failed(message)
    assert run.lines[-2:] == [SUGGESTION, f"Error: {message}"]
    assert run.lines.count(SUGGESTION) == 1
    assert run.errors == ""


@pytest.mark.parametrize("properties", [{"ten_bit": 0}, {"mv_hevc_ten_bit": 0}])
def test_driver_without_ten_bits_gives_its_message(converter, shelf, nvenc, tmp_path, properties):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2, "--codec", "hevc10")
    run = converter.run("--output-format", "spatial", *BITRATES, recording.path, folder=tmp_path,
                        settings=nvenc(**properties)).failed()
    assert run.error.startswith(NO_START[10])


def test_machine_without_a_driver_gives_its_message(converter, lonely, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2)
    for program, suggestions in ((converter, [SUGGESTION]), (lonely, [])):
        run = program.run("--output-format", "spatial", *BITRATES, recording.path, folder=tmp_path).failed()
        assert run.error.startswith(NO_START[8])
        assert [line for line in run.lines if "two-view" in line] == suggestions
        assert list((tmp_path / "converted" / "spatial_video").iterdir()) == []


def test_without_the_program_software_changes_nothing(lonely, shelf, nvenc, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2)
    words = ("--output-format", "spatial", *BITRATES, "--overwrite", "--output", tmp_path / "out.mov", recording.path)
    runs = [lonely.run(*more, *words, folder=tmp_path, settings=nvenc()).succeeded() for more in ((), ("--software",))]
    assert runs[0].values("encoder") == runs[1].values("encoder") == []
    run = lonely.run("--software", *words, folder=tmp_path).failed()
    assert run.error.startswith(NO_START[8])
