"""Speaks the two-view encoder's protocol: writes requests and pictures, reads records. Independent of the program's own
reading and writing (spatial/two_view_protocol.h describes the format)."""

import struct
import subprocess
from dataclasses import dataclass, field

VERSION = 1
OPENED, UNIT, DONE, FAILED = 1, 2, 3, 4
TIME_LIMIT = 120


@dataclass
class Request:
    width: int = 64
    height: int = 64
    depth: int = 8
    rate: tuple = (30, 1)
    colors: tuple = (1, 1, 1)
    full_range: int = 0
    key_distance: int = 30
    b_frames: int = 0xFFFFFFFF  # the encoder's own choice
    bits_per_second: int = 4_000_000
    preset: str = "ultrafast"

    def body(self):
        return struct.pack("<11IQ", self.width, self.height, self.depth, *self.rate, *self.colors, self.full_range,
                           self.key_distance, self.b_frames, self.bits_per_second) + self.preset.encode()

    def message(self, version=VERSION):
        body = self.body()
        return b"VTVE" + struct.pack("<II", version, len(body)) + body


def end(pairs):
    return b"DONE" + struct.pack("<Q", pairs)


def movie_input(request, pairs):
    """All messages of a movie; each pair is the samples of both pictures."""
    return request.message() + b"".join(b"PAIR" + left + right for left, right in pairs) + end(len(pairs))


@dataclass
class Unit:
    pts: int
    dts: int
    key: bool
    left: bytes
    right: bytes


@dataclass
class Result:
    """What the program wrote. Records of other lengths than their heads say are an error of the test."""
    status: int
    log: str
    parameter_sets: bytes = b""
    units: list = field(default_factory=list)
    done: int = None
    failure: str = None

    def read(self, output):
        position, kinds = 0, []
        while position < len(output):
            kind, size = struct.unpack_from("<II", output, position)
            body = output[position + 8:position + 8 + size]
            assert len(body) == size, "a record was cut off"
            position += 8 + size
            kinds.append(kind)
            if kind == OPENED:
                assert struct.unpack_from("<I", body) == (VERSION,)
                self.parameter_sets = body[4:]
            elif kind == UNIT:
                pts, dts, flags, left = struct.unpack_from("<qqII", body)
                assert flags in (0, 1)
                self.units.append(Unit(pts, dts, flags == 1, body[24:24 + left], body[24 + left:]))
            elif kind == DONE:
                [self.done] = struct.unpack("<Q", body)
            else:
                assert kind == FAILED
                self.failure = body.decode()
        last = [DONE] if self.done is not None else [FAILED] if self.failure is not None else []
        opened = [OPENED] if self.parameter_sets else []
        assert kinds == opened + [UNIT] * len(self.units) + last, kinds
        return self


class Encoder:
    def __init__(self, program, prefix=()):
        self.command = [*prefix, str(program)]
        self.prefix = prefix

    def run(self, *options, data=b""):
        return subprocess.run([*self.command, *options], input=data, capture_output=True, timeout=TIME_LIMIT, check=False)

    def serve(self, data):
        done = self.run(data=data)
        return Result(done.returncode, done.stderr.decode(errors="replace")).read(done.stdout)

    def encode(self, request, pairs):
        """The records of a movie that must succeed."""
        result = self.serve(movie_input(request, pairs))
        assert (result.status, result.failure) == (0, None), result.log
        assert result.done == len(result.units) == len(pairs)
        return result
