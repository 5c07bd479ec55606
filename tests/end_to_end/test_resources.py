"""Memory use and bytes read do not grow with the recording."""

import resource
import subprocess
import sys
import time
from pathlib import Path

from movie import Movie

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "soak"))
from movie_model import Recording as CodedRecording  # noqa: E402


def peak_memory_kib(native, recording, folder, *options):
    """Peak memory of the converter without its children."""
    process = native.start("--software", "--overwrite", *options, "--output", "out.mov", recording.path, folder=folder)
    peak = 0
    while process.poll() is None:
        try:
            with open(f"/proc/{process.pid}/status", encoding="utf-8") as status:
                peaks = [int(line.split()[1]) for line in status if line.startswith("VmHWM:")]
        except (FileNotFoundError, ProcessLookupError):
            peaks = []
        peak = max([peak, *peaks])
        time.sleep(0.02)
    assert process.returncode == 0
    return peak


def test_peak_memory_is_that_of_a_short_recording(native, shelf, tmp_path):
    short, long = (shelf.get("--size", "128x128", "--rate", 25, "--seconds", seconds) for seconds in (10, 60))
    for options in (("--sbs-codec", "prores"), ("--sdr-bitrate", "500k")):
        peaks = [peak_memory_kib(native, recording, tmp_path, *options) for recording in (short, long)]
        assert len(Movie(tmp_path / "out.mov").frame_times) == 1500
        assert peaks[1] < 1.1 * peaks[0], f"{peaks[0]} KiB for 10 s, {peaks[1]} KiB for 60 s, options {options}"


def read_bytes(native, folder, *options):
    """Bytes that the converter reads, as the kernel counts them."""
    trace = folder / "io.txt"
    words = " ".join(f"'{word}'" for word in native.command(*options))
    # The counter of the shell includes that of its finished child.
    subprocess.run(["sh", "-c", f"{words} >/dev/null; cat /proc/$$/io >'{trace}'"], cwd=folder,
                   env=native.environment({}), timeout=60, check=True)
    [line] = [line for line in trace.read_text().splitlines() if line.startswith("rchar:")]
    return int(line.split()[1])


def test_inspecting_a_huge_recording_reads_as_little_as_a_small_one(native, shelf, tmp_path):
    small = shelf.get("--size", "160x160", "--seconds", 2)
    huge = shelf.get("--size", "160x160", "--seconds", 2, "--hole", 100_000_000_000)
    assert huge.path.stat().st_size > 100_000_000_000
    started = time.monotonic()
    run = native.run("--inspect", huge.path, folder=tmp_path).succeeded()
    assert time.monotonic() - started < 10
    assert run.value("duration_seconds") == "2.000000"
    read, read_of_small = (read_bytes(native, tmp_path, "--inspect", clip.path) for clip in (huge, small))
    assert read < read_of_small + 2_000_000


def read_for_piece(native, clip, folder, start):
    return read_bytes(native, folder, "--software", "--overwrite", "--sbs-codec", "prores", "--start", start,
                      "--duration", 0.2, "--output", "out.mov", clip)


def test_a_piece_near_the_end_takes_as_little_reading_as_one_at_the_start(native, shelf, tmp_path):
    recording = shelf.get("--size", "128x128", "--rate", 25, "--seconds", 60)
    size = recording.path.stat().st_size
    assert size > 3_000_000
    first, last = (read_for_piece(native, recording.path, tmp_path, start) for start in (0, 58))
    # The index is read twice more, and what the demuxer reads ahead after each of some jumps.
    assert last < first + 0.25 * size


def test_reading_stops_where_the_trim_ends_also_behind_the_end_of_the_sound(native, shelf, tmp_path):
    source = shelf.get("--size", "128x128", "--rate", 25, "--seconds", 60)
    recording = CodedRecording(source.path.read_bytes())
    [sound] = [track for track in recording.tracks if track.kind == b"soun"]
    del sound.samples[40:]
    clip = tmp_path / "clip.mp4"
    for data in (recording.plain(), recording.plain(index_first=True)):
        clip.write_bytes(data)
        assert read_for_piece(native, clip, tmp_path, 2) < 0.3 * len(data)
        assert len(Movie(tmp_path / "out.mov").frame_times) == 5
    # In fragments more sound could follow anywhere, so all of them are looked at.
    clip.write_bytes(recording.fragmented(50))
    assert read_for_piece(native, clip, tmp_path, 2) > 0.9 * clip.stat().st_size


def test_a_dry_run_for_a_huge_eye_takes_neither_memory_nor_time(native, shelf, tmp_path):
    recording = shelf.get("--size", "64x64", "--seconds", 0.5, "--document-size", "16384x8192")
    limited = ["sh", "-c", 'ulimit -v 600000; exec "$@"', "sh", *native.command("--dry-run", recording.path)]
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    done = subprocess.run(limited, cwd=tmp_path, env=native.environment({}), capture_output=True, text=True, timeout=60,
                          check=False)
    assert done.returncode == 0, done.stdout
    assert "  rectification_valid_pixels: left 100.0%, right 100.0%" in done.stdout.splitlines()
    assert resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before < 8
