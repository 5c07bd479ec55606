"""Boxes of the output files, read without FFmpeg."""

import pytest

import boxes
from expectations import BITRATES


def convert(converter, recording, folder, *options):
    output = folder / ("out.mov" if "prores" in options else "out.mp4")
    converter.run("--software", *BITRATES, *options, "--output", output, recording.path, folder=folder).succeeded()
    return boxes.read_boxes(output)


@pytest.mark.parametrize("bits, tags", [(8, (1, 1, 1, False)), (10, (9, 18, 9, False))])
def test_packaged_movie_starts_with_its_index(converter, shelf, tmp_path, bits, tags):
    recording = shelf.get("--size", "320x320", "--rate", 24, "--seconds", 1, *(("--codec", "hevc10") if bits == 10 else ()))
    root = convert(converter, recording, tmp_path, "--output-format", "mono")
    kinds = [box.kind for box in root.children]
    assert kinds[0] == "ftyp" and kinds.index("moov") < kinds.index("mdat")
    [video] = boxes.tracks(root, "vide")
    assert boxes.sample_entry(video).kind == "hvc1"
    assert boxes.colour_tags(video) == ("nclx", *tags)
    # Byte 1 of the configuration record holds profile space, tier and profile.
    configuration = boxes.sample_entry(video).one("hvcC").content
    assert configuration[1] == (1 if bits == 8 else 2), "main tier and the depth's profile"
    assert len(boxes.sample_sizes(video)) == 24
    assert len(boxes.tracks(root, "soun")) == 1


@pytest.mark.parametrize("rate, scale_and_step", [("24", 24), ("30000/1001", 30000 / 1001)])
def test_every_frame_has_the_same_duration(converter, shelf, tmp_path, rate, scale_and_step):
    recording = shelf.get("--size", "256x256", "--rate", rate, "--seconds", 1)
    for codec in ("hevc", "prores"):
        root = convert(converter, recording, tmp_path, "--sbs-codec", codec, "--overwrite")
        [video] = boxes.tracks(root, "vide")
        durations = boxes.time_to_sample(video)
        assert len(durations) == recording.frame_count
        assert set(durations) == {round(boxes.time_scale(video) / scale_and_step)}
        assert boxes.time_scale(video) / durations[0] == pytest.approx(scale_and_step, rel=1e-9)


def test_prores_movie_is_tagged_and_sized(converter, shelf, tmp_path):
    recording = shelf.get("--size", "320x320", "--rate", 24, "--seconds", 1, "--codec", "hevc10")
    root = convert(converter, recording, tmp_path, "--sbs-codec", "prores")
    [video] = boxes.tracks(root, "vide")
    entry = boxes.sample_entry(video)
    assert entry.kind == "apcn"
    assert int.from_bytes(entry.content[24:26], "big") == 640 and int.from_bytes(entry.content[26:28], "big") == 320
    assert boxes.colour_tags(video)[1:4] == (9, 18, 9)
    [sound] = boxes.tracks(root, "soun")
    assert boxes.sample_entry(sound).kind == "mp4a"
