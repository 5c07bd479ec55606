"""Length, size, frames and colours of a recording from its file headers alone, so that 100,000 files are planned soon.

Only for estimates, for the page and for the name of spatial movies: the converter judges the recordings itself.
"""

import struct

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"stbl"}
BOXES_AT_MOST = 2000
HDR_PRIMARIES = {9}
HDR_TRANSFERS = {16, 18}


def read_header(path):
    """A dictionary of `seconds`, `width` and `height` of an eye, `frames` and `hdr`; empty if this is no such file.

    `hdr` is None when the headers do not tell.
    """
    try:
        with open(path, "rb") as file:
            size = file.seek(0, 2)
            movie = {"tracks": [], "seconds": None, "budget": BOXES_AT_MOST}
            walk(file, 0, size, movie)
    except (OSError, struct.error, ValueError, IndexError):
        return {}
    videos = [track for track in movie["tracks"] if track.get("kind") == b"vide"]
    if movie["seconds"] is None or not videos:
        return {}
    told = [track["hdr"] for track in videos if track.get("hdr") is not None]
    return {"seconds": movie["seconds"], "width": videos[0].get("width", 0), "height": videos[0].get("height", 0),
            "frames": max(track.get("frames", 0) for track in videos), "hdr": any(told) if told else None}


def walk(file, position, end, movie):
    """Reads the boxes of a part of the file, and those inside them, into `movie`."""
    while position + 8 <= end and movie["budget"] > 0:
        movie["budget"] -= 1
        file.seek(position)
        length, kind = struct.unpack(">I4s", file.read(8))
        head = 8
        if length == 1:
            length, head = struct.unpack(">Q", file.read(8))[0], 16
        elif length == 0:
            length = end - position
        if length < head or position + length > end:
            return
        if kind in CONTAINERS:
            if kind == b"trak":
                movie["tracks"].append({})
            walk(file, position + head, position + length, movie)
            if kind == b"moov":
                return
        elif kind in READERS and length - head <= 1 << 28:
            READERS[kind](file, length - head, movie)
        position += length


def read_mvhd(file, length, movie):
    data = file.read(min(length, 32))
    scale, duration = struct.unpack_from(">IQ", data, 20) if data[0] == 1 else struct.unpack_from(">II", data, 12)
    movie["seconds"] = duration / scale if scale else None


def read_hdlr(file, length, movie):
    # A second handler inside the media information names the data handler.
    if movie["tracks"] and "kind" not in movie["tracks"][-1]:
        movie["tracks"][-1]["kind"] = file.read(min(length, 12))[8:12]


def read_stsz(file, length, movie):
    if movie["tracks"]:
        movie["tracks"][-1]["frames"] = struct.unpack_from(">I", file.read(min(length, 12)), 8)[0]


def read_stsd(file, length, movie):
    track = movie["tracks"][-1] if movie["tracks"] else {}
    data = file.read(min(length, 4096))
    if track.get("kind") != b"vide" or len(data) < 8 + 86:
        return
    track["width"], track["height"] = struct.unpack_from(">HH", data, 8 + 32)
    place = data.find(b"colr", 8 + 86)
    if place >= 0 and data[place + 4:place + 8] in (b"nclx", b"nclc"):
        primaries, transfer = struct.unpack_from(">HH", data, place + 8)
        track["hdr"] = primaries in HDR_PRIMARIES or transfer in HDR_TRANSFERS


READERS = {b"mvhd": read_mvhd, b"hdlr": read_hdlr, b"stsz": read_stsz, b"stsd": read_stsd}
