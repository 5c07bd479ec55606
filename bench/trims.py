"""Trims: a start near the end beside one at 0, and what is read when the sound ends before the pictures."""

from figures import share, take_turns
from programs import BIN, convert, expect_frames, run
from recordings import recording

RATE = 30
# In one process, without the child's start that would hide ours.
CODEC = ("--sbs-codec", "prores")


def trim(clip, output, start, duration):
    return convert(clip, output, *CODEC, "--start", start, "--duration", duration)


def measure_seeking(plan):
    minutes = 10
    clip = recording("ten-minutes", "--size", "128x128", "--rate", RATE, "--seconds", 60 * minutes)
    late = 60 * minutes * 95 // 100
    movies = [plan.scratch / name for name in ("late.mov", "early.mov")]
    usages = take_turns(plan.runs("seeking"), lambda: trim(clip, movies[0], late, 1),
                        lambda: trim(clip, movies[1], 0, 1))
    for movie in movies:
        expect_frames(movie, RATE)
    return [share("seeking", name, "--start 0", "s", *[[getattr(usage, field) for usage in side] for side in usages])
            for name, field in (("--start at 95 %", "wall"), ("--start at 95 %, CPU time", "cpu"))]


def measure_reading(plan):
    seconds = 30
    options = ("--size", "256x256", "--rate", RATE, "--seconds", seconds)
    whole = recording("sound-to-the-end", *options)
    # The same pictures, later by the length of the sound.
    ended = recording("sound-ends-first", *options, "--start-offset", seconds)
    # Without what is read before the conversion.
    opening = [run([BIN / "veyrin-video-converter", "--dry-run", clip]).read_mib for clip in (ended, whole)]
    movies = [plan.scratch / name for name in ("ended.mov", "whole.mov")]
    ours = trim(ended, movies[0], seconds + 1, 3).read_mib - opening[0]
    theirs = trim(whole, movies[1], 1, 3).read_mib - opening[1]
    for movie in movies:
        expect_frames(movie, 3 * RATE)
    return [share("reading", "behind the end of the sound", "sound to the end", "MiB", [ours], [theirs])]
