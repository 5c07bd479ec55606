"""Reads MP4 and QuickTime boxes without FFmpeg. Run with a file name, it prints the tree."""

import struct
import sys
from dataclasses import dataclass, field
from pathlib import Path

CONTAINERS = {"moov", "trak", "edts", "mdia", "minf", "dinf", "stbl", "udta", "vexu", "proj", "eyes", "cams", "cmfy"}
VISUAL_ENTRY_BYTES = 78
AUDIO_ENTRY_BYTES = 28


@dataclass
class Box:
    kind: str
    start: int
    size: int
    content: bytes
    children: list = field(default_factory=list)

    def all(self, kind):
        return [child for child in self.children if child.kind == kind]

    def one(self, *path):
        box = self
        for kind in path:
            found = box.all(kind)
            assert len(found) == 1, f"{len(found)} {kind} boxes in {box.kind}"
            [box] = found
        return box


def _walk(data, start, end, entries=False):
    boxes, position = [], start
    while position < end:
        assert end - position >= 8, f"{end - position} stray bytes at {position}"
        size, kind = struct.unpack_from(">I4s", data, position)
        header = 8
        if size == 1:
            [size] = struct.unpack_from(">Q", data, position + 8)
            header = 16
        elif size == 0:
            size = end - position
        assert header <= size <= end - position, f"box of {size} bytes at {position}"
        name = kind.decode("latin-1")
        box = Box(name, position, size, b"" if name == "mdat" else bytes(data[position + header:position + size]))
        inner = position + header
        if name in CONTAINERS:
            box.children = _walk(data, inner, position + size)
        elif name == "stsd":
            box.children = _walk(data, inner + 8, position + size, entries=True)
        elif entries and name in ("hvc1", "hev1", "avc1", "apcn", "apch", "apcs", "apco"):
            box.children = _walk(data, inner + VISUAL_ENTRY_BYTES, position + size)
        boxes.append(box)
        position += size
    return boxes


def read_boxes(path):
    """The whole file as one box without a kind."""
    data = memoryview(Path(path).read_bytes())
    return Box("", 0, len(data), b"", _walk(data, 0, len(data)))


def tracks(root, handler):
    """The trak boxes whose handler type is `handler` ("vide", "soun", ...)."""
    return [trak for trak in root.one("moov").all("trak")
            if trak.one("mdia", "hdlr").content[8:12].decode() == handler]


def sample_entry(trak):
    [entry] = trak.one("mdia", "minf", "stbl", "stsd").children
    return entry


def sample_sizes(trak):
    content = trak.one("mdia", "minf", "stbl", "stsz").content
    constant, count = struct.unpack_from(">II", content, 4)
    return [constant] * count if constant else list(struct.unpack_from(f">{count}I", content, 12))


def samples(path, trak):
    """The bytes of each sample of a track, by its chunk tables."""
    data = Path(path).read_bytes()
    table = trak.one("mdia", "minf", "stbl")
    [count] = struct.unpack_from(">I", table.one("stco").content, 4)
    offsets = struct.unpack_from(f">{count}I", table.one("stco").content, 8)
    [runs] = struct.unpack_from(">I", table.one("stsc").content, 4)
    starts = [struct.unpack_from(">3I", table.one("stsc").content, 8 + 12 * run) for run in range(runs)]
    sizes = iter(sample_sizes(trak))
    found = []
    for chunk, offset in enumerate(offsets, 1):
        in_chunk = [per_chunk for first, per_chunk, _ in starts if first <= chunk][-1]
        for _ in range(in_chunk):
            size = next(sizes)
            found.append(data[offset:offset + size])
            offset += size
    assert next(sizes, None) is None, "samples outside all chunks"
    return found


def nal_units(sample):
    """The NAL units of a sample, each of which follows its length in 4 bytes."""
    units, position = [], 0
    while position < len(sample):
        [size] = struct.unpack_from(">I", sample, position)
        assert 0 < size <= len(sample) - position - 4, f"NAL unit of {size} bytes"
        units.append(sample[position + 4:position + 4 + size])
        position += 4 + size
    return units


def time_to_sample(trak):
    """Durations of all samples in the track's time scale."""
    content = trak.one("mdia", "minf", "stbl", "stts").content
    [count] = struct.unpack_from(">I", content, 4)
    durations = []
    for index in range(count):
        run, duration = struct.unpack_from(">II", content, 8 + 8 * index)
        durations += [duration] * run
    return durations


def time_scale(trak):
    content = trak.one("mdia", "mdhd").content
    return struct.unpack_from(">I", content, 20 if content[0] == 1 else 12)[0]


def colour_tags(trak):
    """(kind, primaries, transfer, matrix, full range or None) of the sample entry's colr box."""
    content = sample_entry(trak).one("colr").content
    kind = content[:4].decode()
    values = struct.unpack_from(">3H", content, 4)
    return (kind, *values, bool(content[10] & 0x80) if kind == "nclx" else None)


def tree(box, depth=0):
    """One line per box inside: kind, size with the header, and the content if it is short."""
    lines = []
    for inner in box.children:
        lines.append(f"{'  ' * depth}{inner.kind} {inner.size}")
        if not inner.children and len(inner.content) <= 16:
            lines[-1] += f"  {inner.content.hex(' ')}".rstrip()
        lines += tree(inner, depth + 1)
    return lines


if __name__ == "__main__":
    print("\n".join(tree(read_boxes(sys.argv[1]))))
