"""Options, run modes, report lines and exit statuses of the program."""

import json

import pytest

NUMBER = "{0} has an invalid numeric value: {1}"
SYNTHETIC = ("--input-width", "640", "--input-height", "640", "--input-bit-depth", "8")

REFUSED = [
    (["--bogus", "a.mp4"], "unknown option: --bogus"),
    (["-", "a.mp4"], "unknown option: -"),
    (["--help", "--bogus"], "unknown option: --bogus"),
    (["a.mp4", "--start"], "--start requires a value"),
    (["--start", "-1", "a.mp4"], "--start must be non-negative"),
    (["--eye-width", "0x10", "a.mp4"], NUMBER.format("--eye-width", "0x10")),
    (["--eye-width", "+5", "a.mp4"], NUMBER.format("--eye-width", "+5")),
    (["--eye-width", "5 ", "a.mp4"], NUMBER.format("--eye-width", "5 ")),
    (["--eye-width", "2147483648", "a.mp4"], NUMBER.format("--eye-width", "2147483648")),
    (["--eye-width", "-2147483648", "a.mp4"], "--eye-width must be positive"),
    (["--eye-height", "0", "a.mp4"], "--eye-height must be positive"),
    (["--duration", "0", "a.mp4"], "--duration must be positive"),
    (["--duration", "1s", "a.mp4"], NUMBER.format("--duration", "1s")),
    (["--duration", "inf", "a.mp4"], NUMBER.format("--duration", "inf")),
    (["--output-fps", "0", "a.mp4"], "--output-fps must be positive"),
    (["--sbs-codec", "H264", "a.mp4"], "--sbs-codec must be h264, hevc, or prores"),
    (["--sbs-mode", "both", "a.mp4"], "--sbs-mode must be full or half"),
    (["--output-format", "vr", "a.mp4"], "--output-format must be sbs, spatial, or mono"),
    (["--mono-eye", "centre", "a.mp4"], "--mono-eye must be left or right"),
    (["--sbs-aspect-ratio-padding", "1x1", "a.mp4"], "--sbs-aspect-ratio-padding must be none, 4x3, or 16x9"),
    (["--sbs-spatial-metadata", "box", "a.mp4"], "--sbs-spatial-metadata must be st3d, sei, or both"),
    (["--output-format", "mono", "--sbs-spatial-metadata", "both", "a.mp4"],
     "--sbs-spatial-metadata does not apply to mono output"),
    (["--sbs-spatial-metadata", "sei", "a.mp4"], "SEI spatial metadata requires --sbs-codec h264"),
    (["--mono-eye", "left", "a.mp4"], "--mono-eye requires --output-format mono"),
    (["--thumbnail", "a.mp4", "b.mp4"], "--thumbnail requires exactly one input"),
    (["--thumbnail", "a.mp4"], "--thumbnail requires --output"),
    (["--thumbnail", "--inspect", "--output", "p.png", "a.mp4"],
     "--thumbnail cannot be combined with --inspect or --dry-run"),
    (["--thumbnail-width", "0", "a.mp4"], "--thumbnail-width must be positive"),
    (["--input-width", "640", "a.mp4"],
     "--input-width, --input-height, and --input-bit-depth are valid only with check-support"),
    (["check-support", "--input-width", "640", "--input-height", "640"],
     "synthetic check-support requires --input-width, --input-height, and --input-bit-depth"),
    (["check-support", *SYNTHETIC[:-1], "12"], "--input-bit-depth must be 8 or 10"),
    (["check-support", "--input-width", "0", *SYNTHETIC[2:]], "synthetic input dimensions must be positive"),
    (["check-support", *SYNTHETIC, "a.mp4"], "synthetic check-support does not accept an input file"),
    (["check-support"], "check-support requires one input file or synthetic input properties"),
    (["check-support", "--inspect", "a.mp4"],
     "check-support cannot be combined with --thumbnail, --inspect, or --dry-run"),
    (["--output", "x.mp4", "a.mp4", "b.mp4"], "--output requires exactly one input"),
]


@pytest.mark.parametrize("arguments, message", REFUSED, ids=[" ".join(row[0]) for row in REFUSED])
def test_refused_options(converter, tmp_path, arguments, message):
    run = converter.run(*arguments, folder=tmp_path)
    assert (run.status, run.output, run.errors) == (1, f"Error: {message}\n", "")


def test_help_is_printed_whatever_the_mode(converter, tmp_path):
    texts = {converter.run(*words, folder=tmp_path).succeeded().output
             for words in (["--help"], ["-h", "a.mp4"], ["check-support", "--help", "a.mp4"])}
    assert len(texts) == 1
    [text] = texts
    assert text.startswith("Usage: veyrin-video-converter [options] INPUT...\n"
                           "       veyrin-video-converter check-support [options] INPUT\n\n"
                           "Native raw dual-track spatial video converter.\n\n")
    assert text.endswith("  -h, --help                show this help\n")
    assert len(text.splitlines()) == 36


def test_no_input_prints_the_usage(converter, tmp_path):
    run = converter.run(folder=tmp_path)
    usage = converter.run("--help", folder=tmp_path).output
    assert (run.status, run.output) == (1, f"Error: at least one input is required\n{usage}")


@pytest.fixture
def recording(shelf):
    return shelf.get("--size", "320x320", "--rate", 24, "--seconds", 1)


def report_of(recording, left=0, right=1):
    return [f"Input: {recording.path}", "  duration_seconds: 1.000000", "  metadata_stream: 3",
            f"  left_video_stream: {left}", f"  right_video_stream: {right}", "  native_size: 320x320",
            "  baseline_m: 0.064009", "  pose_available: true"]


def report_lines(run):
    """Without the notices of the metadata reader and empty lines."""
    return [line for line in run.lines if line and not line.startswith("[")]


def test_inspection_prints_the_report_and_nothing_else(converter, recording, tmp_path):
    run = converter.run("--inspect", recording.path, folder=tmp_path).succeeded()
    assert report_lines(run) == report_of(recording)
    assert "[RecordingMetadata] Raw dual-track calibration loaded from " \
           f"{recording.path} (native=320x320)" in run.lines
    assert run.errors == ""
    assert not list(tmp_path.iterdir())


@pytest.mark.parametrize("options, size, kind", [
    ([], "640x320", "sbs"),
    (["--sbs-mode", "half"], "320x320", "sbs"),
    (["--sbs-aspect-ratio-padding", "16x9"], "1152x324", "sbs"),
    (["--sbs-aspect-ratio-padding", "4x3", "--sbs-mode", "half"], "432x324", "sbs"),
    (["--output-format", "mono", "--sbs-aspect-ratio-padding", "4x3"], "432x324", "mono"),
    (["--eye-width", 1920, "--eye-height", 1080, "--sbs-aspect-ratio-padding", "4x3"], "3840x1440", "sbs"),
    (["--eye-width", 1000, "--eye-height", 1000, "--sbs-aspect-ratio-padding", "16x9", "--output-format", "spatial"],
     "1792x1008", "spatial"),
])
def test_dry_run_prints_the_planned_work(converter, recording, tmp_path, options, size, kind):
    run = converter.run("--dry-run", *options, recording.path, folder=tmp_path).succeeded()
    lines = report_lines(run)
    assert lines[:8] == report_of(recording)
    assert lines[-3:] == ["  rectification_maps: valid", f"  output_video_size: {size}", f"  output_format: {kind}"]
    assert lines[8].startswith("  rectification_valid_pixels: left ")
    assert not list(tmp_path.iterdir())


def test_batch_handles_inputs_in_order_and_stops_at_the_first_failure(converter, recording, tmp_path):
    good = converter.run("--inspect", recording.path, recording.path, folder=tmp_path).succeeded()
    assert report_lines(good) == report_of(recording) * 2
    run = converter.run("--inspect", recording.path, "missing.mp4", recording.path, folder=tmp_path)
    assert run.failed("could not open input: missing.mp4")
    assert report_lines(run) == report_of(recording) + ["Error: could not open input: missing.mp4"]


def test_h264_warning_comes_first(converter, recording, tmp_path):
    run = converter.run("--sbs-codec", "h264", "--inspect", recording.path, recording.path, folder=tmp_path)
    warning = "Warning: H.264 output is limited to 8-bit; 10-bit HDR support will be lost"
    assert run.succeeded().lines[0] == warning
    assert run.lines.count(warning) == 1


def test_check_support_as_a_later_word_is_an_input(converter, tmp_path):
    converter.run("--inspect", "check-support", folder=tmp_path).failed("could not open input: check-support")


def answer(run):
    assert (run.status, run.errors) == (0, ""), str(run)
    assert run.output.count("\n") == 1 and run.output.endswith("\n")
    return json.loads(run.output)


@pytest.mark.parametrize("bits", ["8", "10"])
@pytest.mark.parametrize("options", [["--sbs-codec", "prores"], [], ["--output-format", "mono"]])
def test_check_support_answers_for_software_encoders(converter, tmp_path, options, bits):
    run = converter.run("check-support", "--software", *SYNTHETIC[:-1], bits, *options, folder=tmp_path)
    assert run.output == '{"schemaVersion":1,"supported":true,"acceleration":"software"}\n'
    assert not list(tmp_path.iterdir())


def test_check_support_answers_for_a_file(converter, recording, tmp_path):
    assert answer(converter.run("check-support", "--software", recording.path, folder=tmp_path)) == {
        "schemaVersion": 1, "supported": True, "acceleration": "software"}
    assert not list(tmp_path.iterdir())


def test_check_support_tells_why_not(converter, tmp_path):
    name = 'a "quoted"\tname.mp4'
    run = converter.run("check-support", name, folder=tmp_path)
    assert answer(run) == {"schemaVersion": 1, "supported": False, "acceleration": "none",
                           "reason": f"could not open input: {name}"}
    assert '\\"quoted\\"\\tname' in run.output

    run = converter.run("check-support", "--software", "--sbs-codec", "h264", *SYNTHETIC, folder=tmp_path)
    assert answer(run)["reason"] == ("no suitable encoder could be opened; attempts:\n"
                                     "  h264_nvenc: skipped for software encoding\n"
                                     "  h264_mf: skipped for software encoding")


def test_bad_bitrate_is_refused_before_any_encoder(converter, recording, tmp_path):
    for text in ("1.5M", "0M", "-5M", "M", "12G"):
        converter.run("--software", "--sdr-bitrate", text, recording.path, folder=tmp_path).failed(
            f"invalid bitrate: {text}")
    converter.run("--software", "--sdr-bitrate", "", recording.path, folder=tmp_path).failed("bitrate cannot be empty")


def test_names_with_blanks_quotes_and_other_letters_work(converter, recording, tmp_path):
    folder = tmp_path / "clips d'été"
    folder.mkdir()
    clip = folder / "näme with 'quotes' & more.x.mp4"
    clip.write_bytes(recording.path.read_bytes())
    run = converter.run("--software", "--output-root", folder, "--duration", "0.2", clip, folder=tmp_path).succeeded()
    output = folder / "näme with 'quotes' & more.x_FULL_SBS_LR.mp4"
    assert run.lines[-1] == f"SBS output: {output}"
    assert output.stat().st_size > 0


def test_colons_in_names_are_no_protocols(converter, recording, tmp_path):
    (tmp_path / "take:1.mp4").write_bytes(recording.path.read_bytes())
    for mode in (["--inspect"], ["--sbs-codec", "prores", "--duration", "0.2", "--output", "first:cut.mov"],
                 ["--thumbnail", "--output", "pre:view.png"]):
        converter.run(*mode, "take:1.mp4", folder=tmp_path).succeeded()
    assert (tmp_path / "first:cut.mov").stat().st_size > 0
    assert (tmp_path / "pre:view.png").stat().st_size > 0
