"""Measures the two-view encoder beside the packaged encoder: what both views take as one movie, as one side-by-side picture,
and as two streams, preset by preset at one bit rate. scripts/bench-two-view runs it."""

import argparse
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import numpy as np

from machine import load_text, this_machine
from programs import BIN, ROOT, Failure, run, say, set_up_and_build

sys.path += [str(ROOT / "tests" / folder) for folder in ("two_view_encoder", "end_to_end")]

from encoder_client import Request, Result, movie_input  # noqa: E402
from eyes import make_pairs  # noqa: E402
from spatial_movie import View, psnr  # noqa: E402

PRESETS = ("superfast", "veryfast", "faster", "fast", "medium", "slow")
NOISE = 0.03
RATE = 30
SIDES = ("two views", "side by side", "two streams")


@dataclass
class Figures:
    cpu: float  # seconds
    fps: float
    bytes_of_views: tuple  # one number where the views cannot be told apart
    psnr_of_views: tuple  # luma, dB


def luma(pairs, view):
    return np.stack([pair[view].planes[0] for pair in pairs])


def quality(found, pairs, view):
    return float(psnr(found, luma(pairs, view), 255).mean())


def two_views(request, pairs, folder):
    source, target = folder / "request", folder / "records"
    source.write_bytes(movie_input(request, [tuple(eye.samples() for eye in pair) for pair in pairs]))
    usage = run([BIN / "veyrin-two-view-encoder"], stdin=source, stdout=target)
    result = Result(0, "").read(target.read_bytes())
    stream = folder / "movie.hevc"
    stream.write_bytes(result.parameter_sets + b"".join(unit.left + unit.right for unit in result.units))
    views = [View(BIN / "decode_view", stream, view).planes[0] for view in range(2)]
    return Figures(usage.cpu, len(pairs) / usage.wall,
                   (sum(len(unit.left) for unit in result.units), sum(len(unit.right) for unit in result.units)),
                   tuple(quality(views[view], pairs, view) for view in range(2)))


def packaged(request, size, rate, frames, folder, name):
    """Encodes raw frames with the packaged encoder; what that took, and the stream."""
    source, stream = folder / "raw", folder / f"{name}.hevc"
    source.write_bytes(b"".join(frames))
    usage = run([BIN / "ffmpeg-gpl", "-v", "error", "-f", "rawvideo", "-pixel_format", "yuv420p", "-video_size",
                       f"{size[0]}x{size[1]}", "-framerate", RATE, "-i", "pipe:0", "-c:v", "libx265", "-preset",
                       request.preset, "-b:v", rate, "-x265-params",
                       f"keyint={request.key_distance}:min-keyint={request.key_distance}:scenecut=0:open-gop=0:log-level=none",
                       "-f", "hevc", "pipe:1"], stdin=source, stdout=stream)
    return usage, stream


def decoded_luma(stream, size, count):
    """Of a stream of one layer."""
    raw = subprocess.run([str(BIN / "ffmpeg-gpl"), "-v", "error", "-i", str(stream), "-f", "rawvideo", "-pix_fmt",
                          "yuv420p", "pipe:1"], stdout=subprocess.PIPE, check=True).stdout
    pictures = np.frombuffer(raw, dtype=np.uint8).reshape(count, -1)
    return pictures[:, :size[0] * size[1]].reshape(count, size[1], size[0])


def side_by_side(request, pairs, folder):
    frames = []
    for left, right in pairs:
        frames += [np.concatenate(planes, axis=1).astype(np.uint8).tobytes() for planes in zip(left.planes, right.planes)]
    usage, stream = packaged(request, (2 * request.width, request.height), request.bits_per_second, frames, folder, "sbs")
    picture = decoded_luma(stream, (2 * request.width, request.height), len(pairs))
    halves = np.split(picture, 2, axis=2)
    return Figures(usage.cpu, len(pairs) / usage.wall, (stream.stat().st_size, ),
                   tuple(quality(halves[view], pairs, view) for view in range(2)))


def two_streams(request, pairs, folder):
    made = []
    for view in range(2):
        frames = [pair[view].samples() for pair in pairs]
        made.append(packaged(request, (request.width, request.height), request.bits_per_second // 2, frames, folder,
                             f"view{view}"))
    found = [decoded_luma(stream, (request.width, request.height), len(pairs)) for _, stream in made]
    return Figures(sum(usage.cpu for usage, _ in made), len(pairs) / sum(usage.wall for usage, _ in made),
                   tuple(stream.stat().st_size for _, stream in made),
                   tuple(quality(found[view], pairs, view) for view in range(2)))


def line(preset, side, figures):
    sizes = " + ".join(f"{size // 1000}" for size in figures.bytes_of_views)
    dB = " / ".join(f"{value:.2f}" for value in figures.psnr_of_views)
    return f"| {preset} | {side} | {figures.cpu:.1f} | {figures.fps:.2f} | {sizes} | {dB} |"


def main(words):
    parser = argparse.ArgumentParser(prog="scripts/bench-two-view", description=__doc__)
    parser.add_argument("--size", type=int, default=960, help="of an eye (960)")
    parser.add_argument("--pairs", type=int, default=90, help="how many (90)")
    parser.add_argument("--bitrate", type=int, default=8_000_000, help="of both views together (8000000)")
    parser.add_argument("--preset", action="append", choices=PRESETS, help="this one; may be repeated (all)")
    parser.add_argument("--noise", type=float, default=NOISE, help=f"of the pictures, in shares of white ({NOISE})")
    options = parser.parse_args(words)
    try:
        set_up_and_build()
        run(["ninja", "-C", ROOT / "build" / "release", "veyrin-two-view-encoder", "decode_view"])
    except Failure as failure:
        say(str(failure))
        return 1
    base = Request(options.size, options.size, rate=(RATE, 1), key_distance=2 * RATE, bits_per_second=options.bitrate)
    say("painting the pictures")
    pairs = make_pairs(base, options.pairs, options.noise)
    load = load_text()
    print("| preset | what | CPU s | frames/s | kB | luma PSNR, left / right |")
    print("| --- | --- | ---: | ---: | ---: | --- |")
    for preset in options.preset or PRESETS:
        request = Request(**{**vars(base), "preset": preset})
        with tempfile.TemporaryDirectory() as folder:
            for side, encode in zip(SIDES, (two_views, side_by_side, two_streams)):
                print(line(preset, side, encode(request, pairs, Path(folder))), flush=True)
    print(f"\n{this_machine().text}; load average {load} at the start.")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
