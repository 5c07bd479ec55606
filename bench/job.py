"""A whole conversion at 1920x1920 per eye to HEVC in 8 bits, beside the encoder alone and beside FFmpeg's own filters."""

import math

from figures import share, speed, take_turns
from programs import BIN, ROOT, Failure, convert, expect_frames, run
from recordings import recording

SECTION = "job"
EYE = 1920
SECONDS = 3
RATE = 30
# Mean focal length of the recording's lenses over the width of an eye, which the rectified eyes keep.
FOCAL = 0.35
ENCODER = BIN / "ffmpeg-gpl"


def captured_encoder(clip, scratch):
    """The encoder's arguments and the path of the raw frames of a conversion, from the conversion itself."""
    capture = scratch / "captured"
    convert_with = {"VEYRIN_FFMPEG_GPL": str(ROOT / "bench" / "capture-encoder"), "CAPTURE_TO": str(capture),
                    "CAPTURE_WITH": str(ENCODER)}
    run([BIN / "veyrin-video-converter", "--software", "--overwrite", "--output", scratch / "captured.mp4", clip],
        environment=convert_with)
    words = capture.with_suffix(".arguments").read_text(encoding="utf-8").split("\0")[:-1]
    frames = capture.with_suffix(".frames")
    expected = SECONDS * RATE * 2 * EYE * EYE * 3 // 2
    if frames.stat().st_size != expected:
        raise Failure(f"{frames.stat().st_size} bytes of raw frames instead of {expected}")
    return words, frames


def with_output(words, output):
    """The same arguments for another output, which is the last of them."""
    return [*words[:-1], str(output)]


def filter_arguments(words, clip, output):
    """FFmpeg's v360 and hstack into the same encoder, from the arguments of the conversion's encoder. Its fisheye has the
    angle in proportion to the radius; the flat picture has the focal length of our rectified eyes."""
    fisheye = math.degrees(1 / FOCAL)
    flat = math.degrees(2 * math.atan(0.5 / FOCAL))
    view = (f"v360=input=fisheye:output=flat:ih_fov={fisheye:.3f}:iv_fov={fisheye:.3f}:h_fov={flat:.3f}:v_fov={flat:.3f}"
            f":interp=lanczos:w={EYE}:h={EYE}")
    graph = f"[0:v:0]{view}[left];[0:v:1]{view}[right];[left][right]hstack[both]"
    encoding = with_output(words, output)[words.index("-c:v"):]
    return ["-hide_banner", "-loglevel", "warning", "-i", str(clip), "-filter_complex", graph, "-map", "[both]",
            "-map", "0:a:0?", *encoding]


def rows(ours, encoder, filters):
    """The rows from the usage of each side's runs."""
    def of(field, usages):
        return [getattr(usage, field) for usage in usages]

    def besides_encoder(usages):
        return [usage.cpu - alone.cpu for usage, alone in zip(usages, encoder)]
    return [
        share(SECTION, "wall time beside the encoder alone", "encoder alone", "s", of("wall", ours), of("wall", encoder)),
        share(SECTION, "CPU time beside the encoder alone", "encoder alone", "s", of("cpu", ours), of("cpu", encoder)),
        speed(SECTION, "wall time beside v360", "v360 + hstack", "s", of("wall", ours), of("wall", filters)),
        speed(SECTION, "CPU time beside v360", "v360 + hstack", "s", of("cpu", ours), of("cpu", filters)),
        speed(SECTION, "CPU time besides the encoder's", "v360 + hstack", "s", besides_encoder(ours),
              besides_encoder(filters)),
    ]


def measure(plan):
    clip = recording("whole-job", "--size", f"{EYE}x{EYE}", "--rate", RATE, "--seconds", SECONDS, "--codec", "hevc")
    words, frames = captured_encoder(clip, plan.scratch)
    movies = [plan.scratch / name for name in ("ours.mp4", "encoder.mp4", "filters.mp4")]
    usages = take_turns(
        plan.runs(SECTION),
        lambda: convert(clip, movies[0]),
        lambda: run([ENCODER, *with_output(words, movies[1])], stdin=frames),
        lambda: run([ENCODER, *filter_arguments(words, clip, movies[2])]))
    for movie in movies:
        expect_frames(movie, SECONDS * RATE)
    frames.unlink()
    return rows(*usages)
