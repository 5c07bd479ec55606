"""The peak of memory over the length of a recording; the programs that the converter starts are counted too."""

from figures import share, take_turns
from programs import convert, expect_frames
from recordings import recording

SECTION = "memory"
SIZE = "256x256"
RATE = 30
# The short one is longer than what any encoder looks ahead.
SHORT, LONG = 6, 60
OUTPUTS = (("ProRes", "mov", ("--sbs-codec", "prores")), ("HEVC", "mp4", ("--sbs-codec", "hevc")))


def measure(plan):
    clips = {seconds: recording(f"{seconds}-seconds", "--size", SIZE, "--rate", RATE, "--seconds", seconds)
             for seconds in (LONG, SHORT)}
    rows = []
    for name, extension, options in OUTPUTS:
        def peak(seconds):
            movie = plan.scratch / f"{seconds}.{extension}"
            peak_mib = convert(clips[seconds], movie, *options).peak_mib
            expect_frames(movie, seconds * RATE)
            return peak_mib
        rows.append(share(SECTION, name, "a tenth of the length", "MiB",
                          *take_turns(plan.runs(SECTION), lambda: peak(LONG), lambda: peak(SHORT))))
    return rows
