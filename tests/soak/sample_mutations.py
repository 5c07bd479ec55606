"""Random changes of a recording's samples and of their times; the file around them stays well-formed."""

import re
import struct

from movie_model import Sample

DURATIONS = (0, 1, 7, 1000, 90000, 10**6, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF)
OFFSETS = (-10**9, -512, -1, 1, 511, 10**6, 0x7FFFFFFF)
NUMBERS = ("0", "-1", "1", "1e9", "1e308", "-1e-300", "2147483647", "4294967296", "-2147483648", "99999999999999999999",
           "0.5", "3", "64", "16384", "null", "true", '"x"', "[]", "{}", "NaN")


def pick(random, recording):
    """A track with samples and the index of one of them; nothing when there are none."""
    tracks = [track for track in recording.tracks if track.samples]
    if not tracks:
        return None, 0
    track = random.choice(tracks)
    return track, random.randrange(len(track.samples))


def flipped(random, data, count):
    data = bytearray(data)
    for _ in range(count if data else 0):
        data[random.randrange(len(data))] ^= 1 << random.randrange(8)
    return bytes(data)


def flip_bits(random, recording):
    track, index = pick(random, recording)
    if track:
        track.samples[index].data = flipped(random, track.samples[index].data, random.choice((1, 3, 20)))


def flip_bits_everywhere(random, recording):
    for track in recording.tracks:
        for sample in track.samples:
            sample.data = flipped(random, sample.data, random.choice((0, 0, 1, 2)))


def cut_sample(random, recording):
    track, index = pick(random, recording)
    if track:
        sample = track.samples[index]
        sample.data = sample.data[:random.choice((0, 1, 4, 5, random.randrange(len(sample.data) + 1)))]


def lengthen_sample(random, recording):
    track, index = pick(random, recording)
    if track:
        track.samples[index].data += random.randbytes(random.choice((1, 3, 8, 500)))


def fill_sample(random, recording):
    track, index = pick(random, recording)
    if track:
        size = len(track.samples[index].data)
        track.samples[index].data = random.choice((bytes(size), b"\xff" * size, random.randbytes(size)))


def wrong_unit_size(random, recording):
    """The length before the first NAL unit, or the first words of any other sample."""
    track, index = pick(random, recording)
    if track:
        data = track.samples[index].data
        number = random.choice((0, 1, 2, len(data), len(data) - 3, 0x7FFFFFFF, 0xFFFFFFFF, 0x80000000))
        track.samples[index].data = struct.pack(">I", number & 0xFFFFFFFF) + data[4:]


def swap_samples(random, recording):
    track, first = pick(random, recording)
    if track:
        second = random.randrange(len(track.samples))
        track.samples[first].data, track.samples[second].data = track.samples[second].data, track.samples[first].data


def swap_across_tracks(random, recording):
    (one, first), (other, second) = pick(random, recording), pick(random, recording)
    if one and other:
        one.samples[first].data, other.samples[second].data = other.samples[second].data, one.samples[first].data


def remove_samples(random, recording):
    track, index = pick(random, recording)
    if track:
        del track.samples[index:index + random.choice((1, 1, 2, 100))]


def repeat_sample(random, recording):
    track, index = pick(random, recording)
    if track:
        sample = track.samples[index]
        copies = random.choice((1, 2, 30))
        track.samples[index:index] = [Sample(sample.data, sample.duration, sample.offset, sample.key)
                                      for _ in range(copies)]


def reverse_samples(random, recording):
    track, index = pick(random, recording)
    if track:
        track.samples[index:] = track.samples[index:][::-1]


def change_duration(random, recording):
    track, index = pick(random, recording)
    if track:
        for sample in track.samples[index:index + random.choice((1, 1, 100))]:
            sample.duration = random.choice(DURATIONS)


def change_offset(random, recording):
    track, index = pick(random, recording)
    if track:
        for sample in track.samples[index:index + random.choice((1, 1, 100))]:
            sample.offset = random.choice(OFFSETS)


def change_keys(random, recording):
    track, _ = pick(random, recording)
    if track:
        mode = random.randrange(3)
        for sample in track.samples:
            sample.key = mode == 0 or (mode == 1 and random.random() < 0.5)


def empty_track(random, recording):
    track, _ = pick(random, recording)
    if track:
        track.samples = []


def reorder_tracks(random, recording):
    boxes = [track.box for track in recording.tracks]
    random.shuffle(boxes)
    others = [child for child in recording.index.children if child.kind != b"trak"]
    recording.index.children = others + boxes


def metadata_samples(recording):
    return [sample for track in recording.tracks if track.kind not in (b"vide", b"soun") for sample in track.samples]


def change_document_number(random, recording):
    """Replaces values of the calibration documents, in the same number of bytes where that fits."""
    samples = metadata_samples(recording)
    if not samples:
        return
    seed, count = random.random(), random.choice((1, 1, 2, 5))
    for sample in samples if random.random() < 0.7 else [random.choice(samples)]:
        private = type(random)(seed)
        for _ in range(count):
            found = list(re.finditer(rb"(?<=[:,\[])-?[0-9]+(\.[0-9]+)?(e-?[0-9]+)?(?=[,\]}])", sample.data))
            if not found:
                break
            place = private.choice(found)
            text = private.choice(NUMBERS).encode()
            room = place.end() - place.start()
            text = text.ljust(room) if len(text) <= room else private.choice((text[:room], text))
            sample.data = sample.data[:place.start()] + text + sample.data[place.end():]


def change_document_key(random, recording):
    samples = metadata_samples(recording)
    if samples:
        seed = random.random()
        for sample in samples:
            private = type(random)(seed)
            found = list(re.finditer(rb'"[A-Za-z0-9_]+"', sample.data))
            if found:
                place = private.choice(found)
                other = private.choice(found).group()
                room = place.end() - place.start()
                text = private.choice((b'"' + b"x" * (room - 2) + b'"', other.ljust(room)[:room]))
                sample.data = sample.data[:place.start()] + text + sample.data[place.end():]


def open_document_text(random, recording):
    """From some value on, the documents are one text that does not end."""
    for sample in metadata_samples(recording):
        places = [match.end() for match in re.finditer(rb"(?<=\"):|{(?=\")", sample.data)]
        if places:
            start = sample.data[:random.choice(places)] + b'"'
            sample.data = start.ljust(len(sample.data), b"a")


def change_record_header(random, recording):
    """Four bytes of the records before the document."""
    samples = metadata_samples(recording)
    if samples:
        sample = random.choice(samples)
        place = random.randrange(0, min(len(sample.data), 64) or 1)
        sample.data = sample.data[:place] + random.randbytes(random.choice((1, 2, 4))) + sample.data[place + 4:]


PICTURES = [flip_bits, flip_bits_everywhere, cut_sample, lengthen_sample, fill_sample, wrong_unit_size, swap_samples,
            swap_across_tracks, remove_samples, repeat_sample, reverse_samples, change_keys, empty_track, reorder_tracks]
TIMES = [change_duration, change_offset]
DOCUMENTS = [change_document_number, change_document_key, open_document_text, change_record_header]


def random_edits(random, recording):
    """An edit list for some of the tracks."""
    for track in recording.tracks:
        if random.random() < 0.5:
            continue
        scale = max(track.time_scale, 1)
        track.edits = []
        for _ in range(random.choice((0, 1, 1, 2, 5))):
            start = random.choice((0, -1, 1, scale // 30, scale, -2, 2**40, -2**40))
            duration = random.choice((0, 1, 100, 1000, 2**32, -1))
            track.edits.append((duration, start, random.choice((0x10000, 0x10000, 0, 0x20000, -0x10000))))
