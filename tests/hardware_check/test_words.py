"""What the converter's words mean for a row."""

import pytest

import rows
from converter import Run
from rows import Failed, NotAvailable, Row

NO_ENCODER = """Error: no suitable encoder could be opened; attempts:
  hevc_nvenc: Operation not permitted
  hevc_qsv: Invalid argument
  hevc_amf: not included in this FFmpeg build
  packaged software encoder: packaged GPL FFmpeg executable not found"""
CPU = "d3d11va decoding\n  D3D11 YUV GPU pipeline unavailable: no device; using CPU path\n"


def run(output, status=0):
    return Run(["converter"], "/", {}, status, output, "")


def why(judge, row, output, status=0):
    """The kind of the exception and its text; None when the row may be judged by its movie."""
    try:
        judge(row, run(output, status))
    except (NotAvailable, Failed) as reason:
        return type(reason), str(reason)
    return None


@pytest.mark.parametrize("encoder, words", [
    ("hevc_nvenc", "Operation not permitted"), ("hevc_qsv", "Invalid argument"),
    ("hevc_amf", "not included in this FFmpeg build")])
def test_attempt_of_the_row_is_its_reason(encoder, words):
    assert why(rows.judge_refusal, Row(encoder, 8), NO_ENCODER, 1) == (NotAvailable, words)


@pytest.mark.parametrize("row, message, kind", [
    (Row("hevc_nvenc", 8, spatial=True), "could not start NVENC MV-HEVC; this requires", NotAvailable),
    (Row("hevc_nvenc", 8, spatial=True), "NVENC produced an incomplete MV-HEVC view pair", Failed),
    (Row("hevc_nvenc", 8), "video encoding failed: Unknown error occurred", Failed),
    # Only of spatial movies does this mean that there is no encoder.
    (Row("hevc_nvenc", 8), "could not start something", Failed)])
def test_other_errors_are_failures(row, message, kind):
    assert why(rows.judge_refusal, row, f"Error: {message}", 1) == (kind, message)


@pytest.mark.parametrize("row, line, words", [
    (Row("hevc_qsv", 8), "hevc_qsv (nv12, CPU YUV processing)", None),
    (Row("hevc_amf", 8), "hevc_qsv (nv12, CPU YUV processing)", "not offered: the converter tries hevc_qsv first"),
    (Row("hevc_qsv", 8), "hevc_mf (nv12, CPU YUV processing)", "the converter passed it over for hevc_mf"),
    (Row("hevc_nvenc", 8, gpu_resident=True), "hevc_nvenc (d3d11, GPU-resident NV12)", None),
    (Row("hevc_nvenc", 8, gpu_resident=True), "hevc_nvenc (yuv420p, CPU YUV processing)", "the frames stayed in memory"),
    (Row("libx265", 8, spatial=True, software=True), "libx265 (veyrin-two-view-encoder) (yuv420p, CPU YUV processing)", None),
    (Row("libx265", 8, software=True), "libx265 (packaged FFmpeg CLI) (yuv420p, CPU YUV processing)", None)])
def test_line_of_the_encoder_decides_whose_movie_it_is(row, line, words):
    found = why(rows.judge_encoder, row, f"  encoder: {line}\n")
    assert found is None if words is None else found[0] is NotAvailable and found[1].startswith(words)


def test_words_about_the_gpu_pipeline_are_the_reason():
    found = why(rows.judge_encoder, Row("h264_nvenc", 8, gpu_resident=True),
                CPU + "  encoder: h264_nvenc (yuv420p, CPU YUV processing)\n")
    assert found == (NotAvailable, "D3D11 YUV GPU pipeline unavailable: no device; using CPU path")


def test_spatial_software_without_its_program_is_not_available():
    assert why(rows.judge_encoder, Row("libx265", 8, spatial=True, software=True), "")[0] is NotAvailable
