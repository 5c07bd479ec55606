"""Existing files are replaced only with --overwrite, and the recording never."""

import hashlib
import os
import shutil

import pytest

from movie import Movie


@pytest.fixture
def clip(shelf, tmp_path):
    """A copy of a recording, in case a test damages it."""
    source = shelf.get("--size", "256x256", "--seconds", 0.3)
    path = tmp_path / "clip.mp4"
    shutil.copyfile(source.path, path)
    return path


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


@pytest.mark.parametrize("codec", ["hevc", "prores"])
def test_existing_output_is_left_alone(converter, clip, tmp_path, codec):
    output = tmp_path / "out.mov"
    output.write_text("precious")
    arguments = ("--software", "--sbs-codec", codec, "--output", output, clip)
    converter.run(*arguments, folder=tmp_path).failed(f"output already exists (use --overwrite): {output}")
    assert output.read_text() == "precious"
    converter.run("--overwrite", *arguments, folder=tmp_path).succeeded()
    assert len(Movie(output).frame_times) == 9


def test_a_folder_of_the_outputs_name_counts_as_existing(converter, clip, tmp_path):
    (tmp_path / "out.mp4").mkdir()
    converter.run("--software", "--output", "out.mp4", clip, folder=tmp_path).failed(
        "output already exists (use --overwrite): out.mp4")


def test_spatial_output_has_its_own_message(converter, clip, tmp_path):
    output = tmp_path / "out.mov"
    output.write_text("precious")
    converter.run("--output-format", "spatial", "--output", output, clip, folder=tmp_path).failed(
        f"AVP output already exists (use --overwrite): {output}")
    assert output.read_text() == "precious"


def test_thumbnail_does_not_replace_without_leave(converter, clip, tmp_path):
    output = tmp_path / "out.png"
    output.write_text("precious")
    converter.run("--thumbnail", "--output", output, clip, folder=tmp_path).failed(f"output already exists: {output}")
    assert output.read_text() == "precious"


def test_output_folders_are_made(converter, clip, tmp_path):
    converter.run("--software", "--output-root", "a/b/c", clip, folder=tmp_path).succeeded()
    assert (tmp_path / "a" / "b" / "c" / "clip_FULL_SBS_LR.mp4").exists()


def test_a_folder_that_cannot_be_made_is_reported(converter, clip, tmp_path):
    (tmp_path / "file").write_text("in the way")
    run = converter.run("--software", "--output", "file/below/out.mp4", clip, folder=tmp_path).failed()
    assert run.error.startswith("could not create output directory: ")


def spellings(clip, folder):
    symbolic, hard, inner = folder / "symbolic.mp4", folder / "hard.mp4", folder / "inner"
    symbolic.symlink_to(clip)
    os.link(clip, hard)
    inner.symlink_to(folder)
    return [clip, "clip.mp4", "./clip.mp4", inner / "clip.mp4", symbolic, hard]


@pytest.mark.parametrize("overwrite", [[], ["--overwrite"]], ids=["plain", "overwrite"])
@pytest.mark.parametrize("kind", ["hevc", "prores", "mono"])
def test_output_that_is_its_own_input_is_refused(converter, clip, tmp_path, kind, overwrite):
    before = digest(clip)
    options = ["--output-format", "mono"] if kind == "mono" else ["--sbs-codec", kind]
    for spelling in spellings(clip, tmp_path):
        converter.run("--software", *overwrite, *options, "--output", spelling, clip, folder=tmp_path).failed(
            f"output would replace its own input: {spelling}")
        assert digest(clip) == before
    # The link may also be on the input's side.
    converter.run("--software", *overwrite, *options, "--output", clip, "symbolic.mp4", folder=tmp_path).failed(
        f"output would replace its own input: {clip}")
    assert digest(clip) == before


def test_preview_never_replaces_the_recording(converter, clip, tmp_path):
    before = digest(clip)
    for overwrite in ([], ["--overwrite"]):
        converter.run("--thumbnail", *overwrite, "--output", clip, clip, folder=tmp_path).failed()
        assert digest(clip) == before


def test_spatial_output_never_replaces_the_recording(converter, clip, tmp_path):
    before = digest(clip)
    for overwrite in ([], ["--overwrite"]):
        converter.run("--output-format", "spatial", *overwrite, "--output", clip, clip, folder=tmp_path).failed()
        assert digest(clip) == before


def test_recording_is_unchanged_by_its_conversion(converter, clip, tmp_path):
    before = digest(clip)
    converter.run("--software", clip, folder=tmp_path).succeeded()
    converter.run("--software", "--overwrite", clip, folder=tmp_path).succeeded()
    assert digest(clip) == before
