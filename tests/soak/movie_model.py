"""A recording as tracks of samples, which can be written again in other layouts: plain, index first, in fragments."""

import struct
from dataclasses import dataclass, field

from box_tree import Node, file_bytes, read_tree

TABLE = (b"mdia", b"minf", b"stbl")
KEY_SAMPLE, OTHER_SAMPLE = 0x02000000, 0x01010000


@dataclass
class Sample:
    data: bytes
    duration: int
    offset: int = 0  # of the presentation to the decoding time
    key: bool = True


@dataclass
class Track:
    box: Node
    samples: list = field(default_factory=list)
    edits: list = None  # (duration in movie time, media time, rate); None: as in the box

    @property
    def kind(self):
        return self.box.find(b"mdia", b"hdlr").body[8:12]

    @property
    def number(self):
        body = self.box.find(b"tkhd").body
        return struct.unpack_from(">I", body, 20 if body[0] == 1 else 12)[0]

    @property
    def time_scale(self):
        body = self.box.find(b"mdia", b"mdhd").body
        return struct.unpack_from(">I", body, 20 if body[0] == 1 else 12)[0]


def words(body, start, count, form="I"):
    return struct.unpack_from(f">{count}{form}", body, start)


def runs(table, kind, form):
    """The values of a table of (count, value) pairs, one for each sample."""
    box = table.find(kind)
    if box is None:
        return []
    [entries] = words(box.body, 4, 1)
    values = []
    for index in range(entries):
        count, value = struct.unpack_from(">I" + form, box.body, 8 + 8 * index)
        values += [value] * count
    return values


def read_samples(data, table):
    constant, count = words(table.find(b"stsz").body, 4, 2)
    sizes = [constant] * count if constant else words(table.find(b"stsz").body, 12, count)
    wide = table.find(b"co64")
    chunk_box = wide or table.find(b"stco")
    chunks = words(chunk_box.body, 8, words(chunk_box.body, 4, 1)[0], "Q" if wide else "I")
    [entries] = words(table.find(b"stsc").body, 4, 1)
    starts = [words(table.find(b"stsc").body, 8 + 12 * index, 2) for index in range(entries)]
    durations, offsets = runs(table, b"stts", "I"), runs(table, b"ctts", "i")
    keys = table.find(b"stss")
    keys = None if keys is None else set(words(keys.body, 8, words(keys.body, 4, 1)[0]))
    samples = []
    for chunk, position in enumerate(chunks, 1):
        for _ in range([per_chunk for first, per_chunk in starts if first <= chunk][-1]):
            number = len(samples)
            samples.append(Sample(data[position:position + sizes[number]], durations[number],
                                  offsets[number] if offsets else 0, keys is None or number + 1 in keys))
            position += sizes[number]
    return samples


def full(kind, *numbers, form="I", version=0, flags=0):
    return Node(kind, struct.pack(">I", version << 24 | flags) + struct.pack(f">{len(numbers)}{form}", *numbers))


def pairs(kind, values, version=0):
    """A table of (count, value) pairs; negative values are written in two's complement."""
    entries = []
    for value in values:
        if entries and entries[-1][1] == value:
            entries[-1][0] += 1
        else:
            entries.append([1, value])
    return full(kind, len(entries), *(number & 0xFFFFFFFF for entry in entries for number in entry), version=version)


class Recording:
    def __init__(self, data):
        self.root = read_tree(data)
        self.index = self.root.find(b"moov")
        self.tracks = [Track(box, read_samples(data, box.find(*TABLE))) for box in self.index.all(b"trak")]

    def _set_edits(self):
        for track in self.tracks:
            if track.edits is None:
                continue
            track.box.children = [child for child in track.box.children if child.kind != b"edts"]
            if track.edits:
                body = struct.pack(">II", 1 << 24, len(track.edits))
                for duration, start, rate in track.edits:
                    body += struct.pack(">QqI", duration & 0xFFFFFFFFFFFFFFFF, start, rate & 0xFFFFFFFF)
                track.box.children.insert(1, Node(b"edts", children=[Node(b"elst", body)]))

    def _set_tables(self, track, positions):
        table = track.box.find(*TABLE)
        samples = track.samples
        kept = [child for child in table.children if child.kind == b"stsd"]
        table.children = kept + [
            pairs(b"stts", [sample.duration for sample in samples]),
            full(b"stsc", *((1, 1, 1, 1) if samples else (0,))),
            full(b"stsz", 0, len(samples), *(len(sample.data) for sample in samples)),
            Node(b"co64", struct.pack(">II", 0, len(samples)) + struct.pack(f">{len(samples)}Q", *positions))]
        if any(sample.offset for sample in samples):
            table.children.insert(2, pairs(b"ctts", [sample.offset for sample in samples], version=1))
        if not all(sample.key for sample in samples):
            numbers = [number for number, sample in enumerate(samples, 1) if sample.key]
            table.children.insert(2, full(b"stss", len(numbers), *numbers))

    def _in_order(self):
        """(track, sample index), interleaved by time."""
        found = []
        for number, track in enumerate(self.tracks):
            time = 0.0
            for index, sample in enumerate(track.samples):
                found.append((time, number, index))
                time += sample.duration / max(track.time_scale, 1)
        return [(self.tracks[number], index) for _, number, index in sorted(found)]

    def plain(self, index_first=False):
        """ftyp, then samples and index."""
        self._set_edits()
        head = [child for child in self.root.children if child.kind == b"ftyp"]
        start = sum(len(node.written()) for node in head) + 8
        order = self._in_order()
        if index_first:  # its size does not depend on the positions
            for track in self.tracks:
                self._set_tables(track, [0] * len(track.samples))
            start += len(self.index.written())
        positions = {id(track): [0] * len(track.samples) for track in self.tracks}
        media = bytearray()
        for track, index in order:
            positions[id(track)][index] = start + len(media)
            media += track.samples[index].data
        for track in self.tracks:
            self._set_tables(track, positions[id(track)])
        parts = [Node(b"mdat", bytes(media)), self.index]
        return file_bytes(Node(b"", children=head + (parts[::-1] if index_first else parts)))

    def fragmented(self, per_fragment):
        """Every fragment holds up to `per_fragment` samples of each track."""
        self._set_edits()
        for track in self.tracks:
            table = track.box.find(*TABLE)
            table.children = [child for child in table.children if child.kind == b"stsd"] + [
                full(b"stts", 0), full(b"stsc", 0), full(b"stsz", 0, 0), full(b"stco", 0)]
        self.index.children = [child for child in self.index.children if child.kind != b"mvex"]
        self.index.children.append(Node(b"mvex", children=[full(b"trex", track.number, 1, 0, 0, 0)
                                                           for track in self.tracks]))
        parts = [child for child in self.root.children if child.kind == b"ftyp"] + [self.index]
        times = {id(track): 0 for track in self.tracks}
        longest = max((len(track.samples) for track in self.tracks), default=0)
        for number, first in enumerate(range(0, longest, per_fragment), 1):
            parts += self._fragment(number, first, per_fragment, times)
        return file_bytes(Node(b"", children=parts))

    def _fragment(self, number, first, count, times):
        media, runs_of_samples = bytearray(), []
        fragment = Node(b"moof", children=[full(b"mfhd", number)])
        for track in self.tracks:
            samples = track.samples[first:first + count]
            if not samples:
                continue
            fields = []
            for sample in samples:
                fields += [sample.duration & 0xFFFFFFFF, len(sample.data), KEY_SAMPLE if sample.key else OTHER_SAMPLE,
                           sample.offset & 0xFFFFFFFF]
            run = full(b"trun", len(samples), 0, *fields, version=1, flags=0xF01)
            runs_of_samples.append((run, len(media)))
            fragment.children.append(Node(b"traf", children=[
                full(b"tfhd", track.number, flags=0x020000),
                full(b"tfdt", times[id(track)], form="Q", version=1), run]))
            for sample in samples:
                media += sample.data
                times[id(track)] += sample.duration
        start = len(fragment.written()) + 8
        for run, offset in runs_of_samples:
            run.body = run.body[:8] + struct.pack(">I", start + offset) + run.body[12:]
        return [fragment, Node(b"mdat", bytes(media))]
