"""Memory use and bytes read do not grow with the recording."""

import resource
import subprocess
import time

from movie import Movie


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


def read_bytes(native, recording, folder):
    """Bytes that an inspection reads, as the kernel counts them."""
    trace = folder / "io.txt"
    words = " ".join(f"'{word}'" for word in native.command("--inspect", recording.path))
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
    assert read_bytes(native, huge, tmp_path) < read_bytes(native, small, tmp_path) + 2_000_000


def test_a_dry_run_for_a_huge_eye_takes_neither_memory_nor_time(native, shelf, tmp_path):
    recording = shelf.get("--size", "64x64", "--seconds", 0.5, "--document-size", "16384x8192")
    limited = ["sh", "-c", 'ulimit -v 600000; exec "$@"', "sh", *native.command("--dry-run", recording.path)]
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    done = subprocess.run(limited, cwd=tmp_path, env=native.environment({}), capture_output=True, text=True, timeout=60,
                          check=False)
    assert done.returncode == 0, done.stdout
    assert "  rectification_valid_pixels: left 100.0%, right 100.0%" in done.stdout.splitlines()
    assert resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before < 8
