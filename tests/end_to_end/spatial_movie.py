"""Reads a two-view movie: its boxes, the NAL units of its samples and the pictures of both views."""

import struct
import subprocess
import tempfile
from functools import cached_property
from pathlib import Path

import numpy as np

import boxes

VPS, SPS, PPS, PREFIX_SEI = 32, 33, 34, 39
REFERENCE_DISPLAYS_SEI = bytes.fromhex("4e01b004040d002080")


def kind_and_layer(unit):
    """NAL unit type and layer of an HEVC NAL unit."""
    return unit[0] >> 1 & 63, (unit[0] & 1) << 5 | unit[1] >> 3


def parameter_sets(record, header):
    """The NAL units of a decoder configuration record, after `header` bytes and the number of arrays."""
    units, position = [], header + 1
    for _ in range(record[header]):
        [count] = struct.unpack_from(">H", record, position + 1)
        kind = record[position] & 63
        position += 3
        for _ in range(count):
            [size] = struct.unpack_from(">H", record, position)
            units.append(record[position + 2:position + 2 + size])
            assert units[-1][0] >> 1 & 63 == kind
            position += 2 + size
    assert position == len(record)
    return units


class View:
    """The planes of one view as arrays (frames, rows, columns), and the times of its frames."""

    def __init__(self, decoder, path, number):
        with tempfile.TemporaryDirectory() as folder:
            output = Path(folder, "planes")
            done = subprocess.run([str(decoder), str(path), str(number), str(output)], capture_output=True, timeout=300,
                                  check=False)
            planes = output.read_bytes() if done.returncode == 0 else b""
        lines = done.stderr.decode(errors="replace").splitlines()
        assert done.returncode == 0, f"{decoder} {path} {number}\n" + "\n".join(lines)
        frames = [line.split() for line in lines]
        assert frames, f"no frame of view {number}"
        assert all(len(frame) == 4 for frame in frames), "the decoder complains\n" + "\n".join(lines)
        self.times = [float(frame[0]) for frame in frames]
        [(width, height, self.pixel_format)] = {(int(frame[1]), int(frame[2]), frame[3]) for frame in frames}
        raw = np.frombuffer(planes, dtype=np.uint16 if self.pixel_format.endswith("10le") else np.uint8)
        self.peak = 1023 if self.pixel_format.endswith("10le") else 255
        raw = raw.reshape(len(frames), width * height * 3 // 2)
        small = (len(frames), height // 2, width // 2)
        luma, chroma = width * height, width * height // 4
        self.planes = (raw[:, :luma].reshape(len(frames), height, width), raw[:, luma:luma + chroma].reshape(small),
                       raw[:, luma + chroma:].reshape(small))


class SpatialMovie:
    def __init__(self, path, decoder):
        self.path = path
        self.decoder = decoder

    @cached_property
    def root(self):
        return boxes.read_boxes(self.path)

    @cached_property
    def track(self):
        [track] = boxes.tracks(self.root, "vide")
        return track

    @property
    def sample_entry(self):
        return boxes.sample_entry(self.track)

    @cached_property
    def samples(self):
        """The NAL units of each sample."""
        return [boxes.nal_units(sample) for sample in boxes.samples(self.path, self.track)]

    @cached_property
    def views(self):
        """Left, right."""
        return View(self.decoder, self.path, 0), View(self.decoder, self.path, 1)


def psnr(found, expected, peak):
    """Of each frame, in dB."""
    # One after the other, since all frames of a long movie in double precision would take gigabytes.
    errors = np.array([np.mean((one.astype(np.float64) - other)**2) for one, other in zip(found, expected, strict=True)])
    return 10 * np.log10(peak**2 / np.maximum(errors, 1e-9))
