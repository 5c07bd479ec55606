"""Runs veyrin-join and reads what it joins."""

import json

from movie import tool

PRORES = ("--sbs-codec", "prores")
SMALL = ("--size", "128x128", "--seconds")


def cuts(joiner, recording, folder, minutes, *options):
    run = joiner.run("--cuts", minutes, *options, recording, folder=folder).succeeded()
    assert run.errors == ""
    [line] = run.lines
    return json.loads(line)


def convert_pieces(converter, recording, folder, answer, suffix, *options, settings=None):
    """The pieces' movies, made as `answer` says."""
    made = []
    for number, piece in enumerate(answer["pieces"]):
        words = ["--start", repr(piece["start"])]
        words += ["--duration", repr(piece["duration"])] if "duration" in piece else []
        made.append(folder / f"piece{number}{suffix}")
        converter.run(*options, *words, "--output", made[-1], recording, folder=folder, settings=settings).succeeded()
    return made


def packets(path):
    """Type of the track to (pts, dts, duration, flags, hash of the data) of each packet, in order."""
    found = {}
    listed = json.loads(tool("ffprobe", "-v", "error", "-show_packets", "-show_data_hash", "md5", "-of", "json", path))
    for packet in listed["packets"]:
        values = tuple(packet.get(name) for name in ("pts", "dts", "duration", "flags", "data_hash"))
        found.setdefault(packet["codec_type"], []).append(values)
    return found
