"""Recordings for tests of pieces with the real programs, and the checks that the end-to-end tests use as well."""

import subprocess
import sys
from pathlib import Path

# Behind everything else: some files there have names that are used here, too.
sys.path.append(str(Path(__file__).resolve().parents[1] / "end_to_end"))

from movie import Movie  # noqa: E402
from spatial_movie import psnr  # noqa: E402
from test_join import packets  # noqa: E402

# Long for the tests: pieces of 0.6 seconds.
MINUTES = "0.01"
RECORDINGS = {
    "24": ("--seconds", "1.7", "--rate", "24"),
    "29.97": ("--seconds", "1.7", "--rate", "30000/1001"),
    "30": ("--seconds", "1.7", "--codec", "hevc", "--b-frames", "3"),
    "offset eyes": ("--seconds", "1.7", "--rate", "30000/1001", "--right-offset", "0.047"),
    "late start": ("--seconds", "1.7", "--rate", "24", "--delay", "0.5"),
    # No picture from 1.5 to 1.9 s, where a cut would be.
    "gap": ("--seconds", "3", "--jump", "0.4"),
}


def add(library, make, *names):
    """Puts recordings into the library as NAME.mp4 and returns their paths."""
    for name in names:
        library.add(make(*RECORDINGS[name]), f"{name}.mp4")
    return [library.recordings / f"{name}.mp4" for name in names]


def convert_in_one_go(library, folder, recordings, *options):
    """What the converter makes of the recordings by itself; returns the folder."""
    subprocess.run([str(library.converter), *options, "--output-root", str(folder), *map(str, recordings)], check=True,
                   env=library.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=100)
    return folder


def make_in_pieces(library, *options, run=("--profile", "plain", "--jobs", "2"), minutes=MINUTES):
    """Plans with pieces and runs; checks that every recording was cut, and how."""
    text = library.plan("--piece-minutes", minutes, *options)
    assert "in one go" not in text
    counts = {entry["key"]: len(entry["cuts"]["pieces"]) for entry in library.entries()}
    assert min(counts.values()) >= 2
    library.run(*run)
    library.check_all_done(len(counts))
    done = [event["key"] for event in library.journal("piece")]
    assert {key: done.count(key) for key in counts} == counts


def assert_same_packets(made, expected):
    """Times, flags and contents of all packets are equal, those of the sound too."""
    found, wanted = packets(made), packets(expected)
    assert wanted["video"] and wanted["audio"]
    assert found == wanted, made


def assert_same_pictures(made, expected):
    """Equal times, and each frame within 50 dB."""
    found, wanted = packets(made)["video"], packets(expected)["video"]
    for position in (0, 1):
        assert sorted(packet[position] for packet in found) == sorted(packet[position] for packet in wanted), made
    for one, other in zip(Movie(made).planes(), Movie(expected).planes(), strict=True):
        assert psnr(one, other, 255).min() >= 50, made
