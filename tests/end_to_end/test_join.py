"""Pieces of a recording, converted each by itself and joined, are the movie that one conversion makes."""

import sys
import time
from pathlib import Path

import numpy as np
import pytest

import boxes
from joining import PRORES, SMALL, convert_pieces, cuts, packets
from movie import Movie
from spatial_checks import check_movie
from spatial_movie import psnr
from test_resources import read_bytes

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "soak"))
from movie_model import Recording as CodedRecording  # noqa: E402

# Name: the recording, the length of the pieces in minutes, and how many there are to be.
CLIPS = {
    "24": ((*SMALL, 2, "--rate", 24), 0.01, 3),
    "29.97": ((*SMALL, 2, "--rate", "30000/1001"), 0.01, 3),
    "30": ((*SMALL, 2, "--codec", "hevc", "--b-frames", 3), 0.015, 2),
    "offset_eyes": ((*SMALL, 2, "--right-offset", 0.1), 0.01, 3),
    "offset_eyes_29.97": ((*SMALL, 2, "--rate", "30000/1001", "--right-offset", 0.047), 0.01, 3),
    "late_start": ((*SMALL, 2, "--delay", 0.5, "--rate", 24), 0.015, 3),
    "half_a_frame_late": ((*SMALL, 2, "--delay", 0.5, "--rate", 25, "--sound-offset", 0.2), 0.01, 3),
    "gap_at_the_cut": ((*SMALL, 3, "--jump", 0.4), 0.03, 2),
    "lost_frame_at_the_cut": ((*SMALL, 3, "--gop", 1, "--drop-right", 45), 0.025, 2),
}


def convert_both_ways(converter, joiner, recording, folder, minutes, suffix, *options, settings=None, cut_options=()):
    """(the movie made in one go, the joined one, its pieces, the cuts)"""
    whole, joined = folder / f"whole{suffix}", folder / f"joined{suffix}"
    converter.run(*options, "--output", whole, recording, folder=folder, settings=settings).succeeded()
    answer = cuts(joiner, recording, folder, minutes, *cut_options)
    made = convert_pieces(converter, recording, folder, answer, suffix, *options, settings=settings)
    run = joiner.run("--recording", recording, "--output", joined, *made, folder=folder).succeeded()
    assert run.errors == "" and run.lines[-1] == f"Joined output: {joined}"
    assert not list(folder.glob("*tmp*")) and not list(folder.glob("*lock*"))
    return whole, joined, made, answer


def time_bases(path):
    return [(stream["codec_type"], stream["time_base"], stream["start_pts"])
            for stream in Movie(path).description["streams"]]


def index(path):
    """The boxes of the index, but the places of the samples and the times of writing."""
    [moov] = boxes.read_boxes(path).all("moov")
    return [line for line in boxes.tree(moov) if not line.lstrip().startswith(("stco ", "stsc ", "moov ", "stbl "))]


@pytest.mark.parametrize("clip", CLIPS)
def test_a_joined_prores_movie_is_that_of_one_go(converter, joiner, shelf, tmp_path, clip):
    options, minutes, count = CLIPS[clip]
    recording = shelf.get(*options)
    whole, joined, made, answer = convert_both_ways(converter, joiner, recording.path, tmp_path, minutes, ".mov",
                                                    "--software", *PRORES)
    assert len(made) == count
    for path, piece in zip(made, answer["pieces"], strict=True):
        assert len(packets(path)["video"]) == piece["frames"]
    expected, found = packets(whole), packets(joined)
    assert expected["video"] and expected["audio"]
    assert found == expected
    assert time_bases(joined) == time_bases(whole)
    assert boxes.sample_entry(boxes.tracks(boxes.read_boxes(joined), "vide")[0]).content == boxes.sample_entry(
        boxes.tracks(boxes.read_boxes(whole), "vide")[0]).content


def test_cuts_keep_away_from_a_gap(joiner, shelf, tmp_path):
    options, minutes, _ = CLIPS["gap_at_the_cut"]
    answer = cuts(joiner, shelf.get(*options).path, tmp_path, minutes)
    # Left to itself the cut would be at 1.7 s; between 1.5 and 1.9 s there is no picture.
    [cut] = [piece["start"] for piece in answer["pieces"][1:]]
    assert not 1.3 < cut < 2.1


@pytest.mark.parametrize("fps", [24, 60])
def test_another_frame_rate_is_joined(converter, joiner, shelf, tmp_path, fps):
    recording = shelf.get(*CLIPS["29.97"][0])
    whole, joined, made, answer = convert_both_ways(converter, joiner, recording.path, tmp_path, 0.01, ".mov",
                                                    "--software", *PRORES, "--output-fps", fps,
                                                    cut_options=("--output-fps", fps))
    assert len(made) == 3 and answer["rate"] == f"{fps}/1"
    assert packets(joined) == packets(whole)


def test_a_trimmed_mono_movie_without_sound_is_joined(converter, joiner, shelf, tmp_path):
    recording = shelf.get(*SMALL, 2, "--no-audio")
    trim = ("--start", 0.31, "--duration", 1.4)
    whole, joined = tmp_path / "whole.mov", tmp_path / "joined.mov"
    mono = ("--software", *PRORES, "--output-format", "mono")
    converter.run(*mono, *trim, "--output", whole, recording.path, folder=tmp_path).succeeded()
    answer = cuts(joiner, recording.path, tmp_path, 0.01, *trim)
    made = convert_pieces(converter, recording.path, tmp_path, answer, ".mov", *mono)
    joiner.run(*trim, "--recording", recording.path, "--output", joined, *made, folder=tmp_path).succeeded()
    assert len(made) == 2
    assert packets(joined) == packets(whole) and index(joined) == index(whole)


@pytest.mark.parametrize("clip", ["30", "late_start", "10_bit"])
def test_a_joined_hevc_movie_has_the_times_and_pictures_of_one_go(converter, joiner, shelf, tmp_path, clip):
    options, minutes, _ = CLIPS.get(clip, ((*SMALL, 1.5, "--codec", "hevc10"), 0.01, 2))
    recording = shelf.get(*options)
    whole, joined, made, answer = convert_both_ways(converter, joiner, recording.path, tmp_path, minutes, ".mp4",
                                                    "--software", "--sdr-bitrate", "4M", "--hdr-bitrate", "4M")
    assert len(made) >= 2
    # The packaged encoder counts from where the recording begins.
    frames = [piece.get("packaged_frames", piece["frames"]) for piece in answer["pieces"]]
    assert [len(packets(path)["video"]) for path in made] == frames
    expected, found = packets(whole)["video"], packets(joined)["video"]
    for position in (0, 1):
        assert sorted(packet[position] for packet in found) == sorted(packet[position] for packet in expected)
    assert time_bases(joined)[0] == time_bases(whole)[0]
    peak = 1023 if clip == "10_bit" else 255
    for one, other in zip(Movie(joined).planes(), Movie(whole).planes(), strict=True):
        assert psnr(one, other, peak).min() >= 50
    entries = [boxes.sample_entry(boxes.tracks(boxes.read_boxes(path), "vide")[0]) for path in (joined, whole)]
    contents = [[(box.kind, box.content) for box in entry.children if box.kind != "btrt"] for entry in entries]
    assert contents[0] == contents[1] and "st3d" in [kind for kind, _ in contents[0]]
    assert_same_sound(joined, whole)


# Both counts of frames are the same in these: the sound itself tells from where the packaged encoder counted.
@pytest.mark.parametrize("clip, trim", [((*SMALL, 3, "--delay", 0.5), ("--duration", 2)),
                                        ((*SMALL, 3, "--delay", 0.5), ("--start", 0.4, "--duration", 1.5)),
                                        ((*SMALL, 1.5, "--delay", 0.012), ())])
def test_sound_stays_in_step_where_the_frames_do_not_tell_how_it_was_cut(converter, joiner, shelf, tmp_path, clip,
                                                                         trim):
    recording = shelf.get(*clip).path
    whole, joined = tmp_path / "whole.mp4", tmp_path / "joined.mp4"
    hevc = ("--software", "--sdr-bitrate", "2M")
    converter.run(*hevc, *trim, "--output", whole, recording, folder=tmp_path).succeeded()
    made = convert_pieces(converter, recording, tmp_path, cuts(joiner, recording, tmp_path, 0.012, *trim), ".mp4", *hevc)
    assert len(made) >= 2
    joiner.run(*trim, "--recording", recording, "--output", joined, *made, folder=tmp_path).succeeded()
    assert sorted(packet[0] for packet in packets(joined)["video"]) == sorted(
        packet[0] for packet in packets(whole)["video"])
    assert_same_sound(joined, whole)


def assert_same_sound(joined, whole):
    """The same packets at the same times; the encoder's program may copy more around the range, which is not heard."""
    found, expected = (Movie(path).audio_packets() for path in (joined, whole))
    by_data = {packet[2]: packet[0] for packet in expected}
    assert len(by_data) == len(expected), "each packet must be found by its data"
    missing = [packet for packet in found if packet[2] not in by_data]
    assert len(found) >= sum(packet[0] >= 0 for packet in expected) - 2 and len(missing) <= 1
    assert max(abs(packet[0] - by_data[packet[2]]) for packet in found if packet[2] in by_data) < 1e-3


@pytest.mark.parametrize("way, bits", [("driver", 8), ("driver", 10), ("software", 8)])
def test_joined_spatial_movies_show_both_views(converter, joiner, shelf, eyes_of, nvenc, view_decoder, tmp_path, way,
                                               bits):
    recording = shelf.get("--size", "320x320", "--seconds", 1.2, *(("--codec", "hevc10") if bits == 10 else ()))
    options = ["--output-format", "spatial", "--sdr-bitrate", "12M", "--hdr-bitrate", "12M"]
    options += ["--software"] if way == "software" else []
    settings = nvenc(b_frames=2) if way == "driver" else {}
    whole, joined, made, _ = convert_both_ways(converter, joiner, recording.path, tmp_path, 0.01, ".mov", *options,
                                               settings=settings)
    assert len(made) == 2
    check_movie(joined, view_decoder, eyes_of(recording), 30, 36)
    entries = [boxes.sample_entry(boxes.tracks(boxes.read_boxes(path), "vide")[0]) for path in (joined, whole)]
    assert entries[0].content == entries[1].content
    assert {"hvcC", "lhvC", "vexu", "hfov"} <= {box.kind for box in entries[0].children}
    expected, found = packets(whole), packets(joined)
    for position in (0, 1):
        assert sorted(packet[position] for packet in found["video"]) == sorted(
            packet[position] for packet in expected["video"])
    assert found["audio"] == expected["audio"]
    kinds = [box.kind for box in boxes.read_boxes(joined).children]
    assert kinds.index("moov") < kinds.index("mdat")


def test_h264_pieces_keep_their_frame_packing_messages(converter, joiner, shelf, nvenc, tmp_path):
    recording = shelf.get(*SMALL, 1.2)
    options = ("--sbs-codec", "h264", "--sbs-spatial-metadata", "both", "--sdr-bitrate", "4M")
    whole, joined, made, _ = convert_both_ways(converter, joiner, recording.path, tmp_path, 0.01, ".mp4", *options,
                                               settings=nvenc())
    tracks = [boxes.tracks(boxes.read_boxes(path), "vide")[0] for path in (whole, joined)]
    marks = [[box.content for box in boxes.sample_entry(track).children if box.kind == "st3d"] for track in tracks]
    assert marks[0] == marks[1] != []
    messages = [sum(unit[:2] == b"\x06\x2d" for sample in boxes.samples(path, track) for unit in boxes.nal_units(sample))
                for path, track in zip((whole, joined), tracks)]
    assert messages == [1, len(made)] == [1, 2]


def test_cutting_and_joining_read_only_what_they_need(native, joiner, shelf, tmp_path):
    small = shelf.get("--size", "160x160", "--seconds", 2)
    huge = shelf.get("--size", "160x160", "--seconds", 2, "--hole", 100_000_000_000)
    started = time.monotonic()
    read, read_of_small = (read_bytes(joiner, tmp_path, "--cuts", 0.01, clip.path) for clip in (huge, small))
    assert read < read_of_small + 2_000_000
    answer = cuts(joiner, small.path, tmp_path, 0.01)
    assert len(answer["pieces"]) == 3
    made = convert_pieces(native, small.path, tmp_path, answer, ".mov", "--software", *PRORES)
    read = read_bytes(joiner, tmp_path, "--recording", huge.path, "--output", tmp_path / "joined.mov", *made)
    # Opening looks into each file once.
    assert read < 2.5 * sum(path.stat().st_size for path in made) + 4_000_000
    assert time.monotonic() - started < 20


def test_where_the_index_does_not_tell_there_is_one_piece(joiner, shelf, tmp_path):
    source = shelf.get(*SMALL, 2)
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(CodedRecording(source.path.read_bytes()).fragmented(10))
    reason = "the recording's index leaves in doubt which pictures and sound follow a seek"
    assert cuts(joiner, clip, tmp_path, 0.01) == {"rate": "30/1", "pieces": [{"start": 0}], "reason": reason}
    assert cuts(joiner, source.path, tmp_path, 1) == {
        "rate": "30/1", "pairs": 60, "pieces": [{"start": 0, "frames": 60}],
        "reason": "the recording is too short for pieces of this length"}


@pytest.mark.parametrize("order", [(1, 0, 2), (0, 0, 2)])
def test_pieces_that_are_not_in_order_are_refused(converter, joiner, shelf, tmp_path, order):
    recording = shelf.get(*SMALL, 2).path
    made = convert_pieces(converter, recording, tmp_path, cuts(joiner, recording, tmp_path, 0.01), ".mov", "--software",
                          *PRORES)
    misplaced = made[order[0]] if order[0] else made[order[1]]
    run = joiner.run("--recording", recording, "--output", tmp_path / "joined.mov", *(made[piece] for piece in order),
                     folder=tmp_path)
    assert run.failed().error == (f"could not join {misplaced}: its sound is not the recording's at its place "
                                  "(are the pieces in order?)")
    assert not (tmp_path / "joined.mov").exists()


def test_silent_pieces_are_joined_in_the_given_order(converter, joiner, shelf, tmp_path):
    recording = shelf.get(*SMALL, 2, "--no-audio").path
    made = convert_pieces(converter, recording, tmp_path, cuts(joiner, recording, tmp_path, 0.01), ".mov", "--software",
                          *PRORES)
    order = [made[1], made[0], made[2]]
    joined = tmp_path / "joined.mov"
    joiner.run("--recording", recording, "--output", joined, *order, folder=tmp_path).succeeded()
    found = packets(joined)["video"]
    assert [packet[4] for packet in found] == [packet[4] for path in order for packet in packets(path)["video"]]
    assert [packet[0] for packet in found] == [packet[0] for packet in sorted(found)]


@pytest.mark.parametrize("name", ["joined.mp4", "joined.mkv"])
def test_a_name_of_another_container_is_refused(converter, joiner, shelf, tmp_path, name):
    recording = shelf.get(*SMALL, 2).path
    made = convert_pieces(converter, recording, tmp_path, cuts(joiner, recording, tmp_path, 0.01), ".mov", "--software",
                          *PRORES)
    run = joiner.run("--recording", recording, "--output", tmp_path / name, *made, folder=tmp_path)
    assert run.failed().error == f"could not join into {tmp_path / name}: the pieces are .mov movies"
