"""Sound and picture stay in step whatever times the container gives them; gaps, lost frames and odd containers."""

import shutil

import numpy as np
import pytest

from expectations import BITRATES, layout_of
from movie import Movie, tool
from picture_reading import brightest_times, click_times, read_frame_numbers
from recording import Recording

RATE = 30


def convert(converter, recording, folder, codec, *options, suffix=".mov"):
    output = folder / ("out" + suffix)
    run = converter.run("--software", "--overwrite", *BITRATES, "--sbs-codec", codec, *options, "--output", output,
                        recording.path, folder=folder).succeeded()
    return Movie(output), run


def numbers_of(movie, recording):
    luma, _, _ = movie.planes()
    left, right = (read_frame_numbers(luma, recording, layout_of(recording), eye) for eye in ("left", "right"))
    assert left == right
    return left


def click_behind_flash(movie):
    """Seconds from the only flash of a movie to its only click."""
    luma, _, _ = movie.planes()
    [flash] = brightest_times(luma, movie.frame_times)
    [click] = click_times(*movie.sound())
    return click - flash


def remuxed(recording, folder, *options):
    """The recording, copied packet by packet by the machine's own FFmpeg."""
    path = folder / "copied.mp4"
    words = list(options)
    before = [words.pop(0), words.pop(0)] if words and words[0] == "-itsoffset" else []
    tool("ffmpeg", "-nostdin", "-v", "error", "-y", *before, "-i", recording.path, "-map", "0", "-c", "copy",
         "-copy_unknown", *words, path)
    shutil.copy(f"{recording.path}.points.json", f"{path}.points.json")
    return Recording(path)


DELAYED, LATE_SOUND = ("--delay", 0.5), ("--sound-offset", 0.3)


@pytest.mark.parametrize("options, late, start, first, suffix", [
    (DELAYED, 0.0, None, 0, ".mov"), (DELAYED, 0.0, 0.2, 6, ".mp4"), (LATE_SOUND, 0.3, 0.2, 6, ".mp4"),
    (DELAYED + LATE_SOUND, 0.3, None, 0, ".mp4")])
def test_software_hevc_counts_picture_and_sound_from_the_containers_start(converter, shelf, tmp_path, options, late,
                                                                          start, first, suffix):
    """The packaged encoder, which copies the sound, counts the start from there; so no pictures are made up either."""
    recording = shelf.get("--size", "256x256", "--seconds", 1, *options)
    movie, _ = convert(converter, recording, tmp_path, "hevc", *(("--start", start) if start else ()), suffix=suffix)
    assert numbers_of(movie, recording) == list(range(first, recording.frame_count))
    assert click_behind_flash(movie) == pytest.approx(late, abs=0.5 / RATE)


@pytest.mark.parametrize("start, first", [(0.2, 0), (0.7, 6)])
def test_prores_counts_from_the_containers_zero(converter, shelf, tmp_path, start, first):
    recording = shelf.get("--size", "256x256", "--seconds", 1, "--delay", 0.5)
    movie, _ = convert(converter, recording, tmp_path, "prores", *(("--start", start) if start else ()))
    held = max(round((0.5 - (start or 0)) * RATE), 0)
    assert numbers_of(movie, recording) == [0] * held + list(range(first, recording.frame_count))
    assert click_behind_flash(movie) == pytest.approx(0, abs=0.5 / RATE)


@pytest.mark.parametrize("codec, start", [("hevc", 0), ("hevc", 0.3), ("prores", 0.3)])
def test_a_start_at_the_encoder_delay_of_the_sound_keeps_step(converter, shelf, tmp_path, codec, start):
    """FFmpeg's own delayed files start with the AAC encoder's delay, 22 ms before the pictures."""
    recording = remuxed(shelf.get("--size", "256x256", "--seconds", 1), tmp_path, "-itsoffset", 0.5)
    assert float(Movie(recording.path).description["format"]["start_time"]) == pytest.approx(0.478, abs=0.001)
    movie, _ = convert(converter, recording, tmp_path, codec, "--start", start)
    assert click_behind_flash(movie) == pytest.approx(0, abs=0.5 / RATE)


def test_a_late_silent_recording_is_filled_from_zero(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.5, "--delay", 0.5, "--no-audio")
    for codec in ("hevc", "prores"):
        movie, _ = convert(converter, recording, tmp_path, codec)
        assert numbers_of(movie, recording) == [0] * 15 + list(range(recording.frame_count))


@pytest.mark.parametrize("codec", ["hevc", "prores"])
def test_fragmented_recordings_are_converted_whole(converter, shelf, tmp_path, codec):
    recording = remuxed(shelf.get("--size", "256x256", "--seconds", 1), tmp_path, "-movflags",
                        "frag_keyframe+empty_moov")
    movie, _ = convert(converter, recording, tmp_path, codec)
    numbers = numbers_of(movie, recording)
    # The muxer moves everything by the sound's encoder delay, so one picture may be held.
    assert sorted(set(numbers)) == list(range(recording.frame_count))
    assert numbers == sorted(numbers) and len(numbers) <= recording.frame_count + 1
    source, copied = (file.audio_packets() for file in (Movie(recording.path), movie))
    assert [packet[2] for packet in copied] == [packet[2] for packet in source][-len(copied):]
    assert len(copied) >= len(source) - 1


@pytest.mark.parametrize("edit", [0.6, 5])
def test_edit_list_of_the_metadata_track_does_not_matter(converter, shelf, tmp_path, edit):
    recording = shelf.get("--size", "256x256", "--seconds", 1, "--metadata-edit", edit)
    movie, _ = convert(converter, recording, tmp_path, "prores")
    assert numbers_of(movie, recording) == list(range(recording.frame_count))


def test_a_frame_lost_in_one_eye_is_noticed(converter, shelf, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 1, "--gop", 1, "--drop-right", 10)
    movie, run = convert(converter, recording, tmp_path, "prores")
    assert run.value("eyes_out_of_step") == ("left and right frame are 0.033333 s apart, first at 0.366667 s")
    # Frames 0 to 9 agree, the 19 pairs from there on do not.
    assert run.value("pairs_out_of_step") == "19"
    luma, _, _ = movie.planes()
    assert read_frame_numbers(luma, recording, layout_of(recording), "right")[-19:] == list(range(11, 30))
    assert read_frame_numbers(luma, recording, layout_of(recording), "left")[-19:] == list(range(10, 29))


def test_eyes_in_step_are_not_mentioned(converter, shelf, tmp_path):
    _, run = convert(converter, shelf.get("--size", "256x256", "--seconds", 1), tmp_path, "prores")
    assert not [line for line in run.lines if "out_of_step" in line or "gap" in line or "time_stamps" in line]


@pytest.mark.parametrize("codec", ["hevc", "prores"])
def test_a_long_gap_is_filled_with_the_next_picture(converter, shelf, tmp_path, codec):
    recording = shelf.get("--size", "128x128", "--rate", 5, "--seconds", 2, "--jump", 70)
    movie, run = convert(converter, recording, tmp_path, codec)
    assert run.value("picture_gap") == "70.000000 s without a picture before 71.000000 s, filled with the next one"
    assert movie.frame_times == pytest.approx(np.arange(360) / 5, abs=1e-3)
    # The parts before and after the gap can be had alone.
    for start, count in ((0, 5), (71, 5)):
        movie, run = convert(converter, recording, tmp_path, codec, "--start", start, "--duration", 1)
        assert not run.values("picture_gap")
        assert len(movie.frame_times) == count


@pytest.mark.parametrize("codec", ["hevc", "prores"])
def test_a_gap_of_more_than_a_day_ends_in_a_message(converter, shelf, tmp_path, codec):
    recording = shelf.get("--size", "128x128", "--rate", 5, "--seconds", 2, "--jump", 90000)
    converter.run("--software", "--sbs-codec", codec, recording.path, folder=tmp_path).failed(
        "the recording has no picture for 90000 seconds, more than the 24 hours that can be filled")


TRIMS = [("24", 0, 0.52, None, 12), ("24", 0.3, 0.45, "23.976", 11), ("25", 0.3, 0.5, None, 13),
         ("25", 0.123, 0.777, None, 19), ("30", 1.0166, 0.5, None, 15), ("30", 0, 0.51, None, 15),
         ("30", 0.4, 0.8, None, 24), ("30", 0, 1e-7, None, 1), ("30000/1001", 0.33, 0.35, None, 10),
         ("60", 0.0166, 0.5166, None, 31), ("60", 1.01, 0.1234, 48, 6), ("60", 0.3, 0.45, 25, 11)]


@pytest.mark.parametrize("rate, start, duration, output_rate, count", TRIMS)
def test_odd_trims_hold_what_is_reported_in_every_codec(converter, shelf, tmp_path, rate, start, duration, output_rate,
                                                        count):
    """Duration times rate, to the nearest frame: where the packaged encoder ends."""
    recording = shelf.get("--size", "64x64", "--rate", rate, "--seconds", 1.6)
    for codec in ("hevc", "prores"):
        movie, run = convert(converter, recording, tmp_path, codec, "--start", start, "--duration", duration,
                             *(("--output-fps", output_rate) if output_rate else ()))
        packets = tool("ffprobe", "-v", "error", "-count_packets", "-select_streams", "v:0", "-show_entries",
                       "stream=nb_read_packets", "-of", "csv=p=0", movie.path)
        assert int(packets.strip().strip(b",")) == count, codec
        assert run.values("encoded_frames")[-1] == str(count), codec
