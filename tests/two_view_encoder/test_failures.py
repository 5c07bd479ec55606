"""What the two-view encoder does when something goes wrong: one record with the message and exit status 1."""

import dataclasses
import os
import select
import struct
import subprocess

import pytest

from encoder_client import TIME_LIMIT, Request, Result, end, movie_input
from eyes import make_pairs, samples_of

REQUEST = Request(64, 48)
PICTURE = 64 * 48 * 3 // 2
HEAD, BODY = 12, len(REQUEST.body())


@pytest.fixture(scope="module")
def pairs():
    return samples_of(make_pairs(REQUEST, 4))


def fails(encoder, data, message):
    result = encoder.serve(data)
    assert (result.failure, result.status, result.done) == (message, 1, None), result.log
    return result


@pytest.mark.parametrize("size", (0, 1, HEAD - 1, HEAD, HEAD + BODY - 1))
def test_input_that_ends_in_the_request(encoder, size):
    fails(encoder, REQUEST.message()[:size], "the input ended in the middle of the request")


def test_input_that_ends_behind_the_request(encoder):
    fails(encoder, REQUEST.message(), "the input ended without its last message")


@pytest.mark.parametrize("count", (0, 1, 4))
@pytest.mark.parametrize("rest, message", (
    (b"", "the input ended without its last message"),
    (b"P", "the input ended in the middle of a message"),
    (b"DON", "the input ended in the middle of a message"),
    (b"PAIR", "the input ended in the middle of a picture"),
    (b"PAIR" + bytes(2 * PICTURE - 1), "the input ended in the middle of a picture"),
    (b"DONE", "the input ended in the middle of its last message"),
    (end(9)[:-1], "the input ended in the middle of its last message"),
    (b"pair" + bytes(2 * PICTURE), "the input is neither a pair nor the end")))
def test_input_that_ends_or_goes_wrong_behind_pairs(encoder, pairs, count, rest, message):
    data = movie_input(REQUEST, pairs[:count])[:-len(end(0))]
    assert fails(encoder, data + rest, message).parameter_sets


@pytest.mark.parametrize("announced", (3, 5, 1 << 63))
def test_wrong_number_of_pairs(encoder, pairs, announced):
    data = movie_input(REQUEST, pairs)[:-len(end(0))] + end(announced)
    fails(encoder, data, f"the input had 4 pairs and says that it had {announced}")


@pytest.mark.parametrize("version", (0, 2, 0xffffffff))
def test_another_version(encoder, version):
    fails(encoder, REQUEST.message(version), f"protocol version {version} is wanted, 1 is spoken")
    # Whatever its request looks like.
    fails(encoder, REQUEST.message(version)[:8] + b"\xff" * 4, f"protocol version {version} is wanted, 1 is spoken")


def test_something_else_than_a_request(encoder):
    fails(encoder, b"GET / HTTP/1.1\r\n\r\n", "the input does not begin with a request")


def test_requests_of_a_wrong_length(encoder):
    def message(body):
        return b"VTVE" + struct.pack("<II", 1, len(body)) + body

    fails(encoder, message(bytes(4097)), "the request is too long")
    fails(encoder, message(b""), "the request makes no sense")
    fails(encoder, message(REQUEST.body()[:47]), "the request makes no sense")


@pytest.mark.parametrize("changes", (
    {"width": 14}, {"height": 14}, {"width": 65}, {"height": 8194}, {"depth": 9}, {"depth": 12}, {"rate": (0, 1)},
    {"rate": (30, 0)}, {"colors": (256, 1, 1)}, {"full_range": 2}, {"key_distance": 0}, {"b_frames": 9}, {"bits_per_second": 0},
    {"bits_per_second": 1 << 40}, {"preset": "x" * 33}))
def test_requests_without_sense(encoder, changes):
    fails(encoder, dataclasses.replace(REQUEST, **changes).message(), "the request makes no sense")


@pytest.mark.parametrize("preset", ("quick", "5", "FAST", "fast\n"))
def test_unknown_presets(encoder, preset):
    fails(encoder, dataclasses.replace(REQUEST, preset=preset).message(),
          f'preset "{preset}" is none of ultrafast, superfast, veryfast, faster, fast, medium, slow, slower, veryslow, '
          "placebo")


def test_what_x265_itself_refuses(encoder):
    result = fails(encoder, dataclasses.replace(REQUEST, colors=(255, 1, 1)).message(), "could not open x265")
    assert "x265 [error]: Color Primaries" in result.log
    fails(encoder, dataclasses.replace(REQUEST, width=8192, height=16).message(), "could not open x265")


def test_a_bit_rate_that_x265_cannot_count(encoder):
    fails(encoder, dataclasses.replace(REQUEST, bits_per_second=999).message(),
          "a bit rate of 999 is too low, x265 takes 1000 and more")


def test_a_failure_does_not_wait_for_the_rest_of_the_input(encoder, pairs):
    with subprocess.Popen(encoder.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as child:
        child.stdin.write(movie_input(REQUEST, pairs)[:-len(end(0))] + end(7))
        child.stdin.flush()
        assert b"says that it had 7" in child.stdout.read()
        assert child.wait(TIME_LIMIT) == 1


@pytest.mark.parametrize("records", (0, 1))
def test_a_closed_output(encoder, pairs, records):
    """Ends the program without a word, before the first record or after it."""
    if encoder.prefix:
        pytest.skip("the end of the pipe is not seen from outside")
    with subprocess.Popen(encoder.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as child:
        if records:
            child.stdin.write(REQUEST.message())
            child.stdin.flush()
            assert child.stdout.read(8)
        child.stdout.close()
        try:
            child.stdin.write(movie_input(REQUEST, pairs)[len(REQUEST.message()) if records else 0:])
            child.stdin.close()
        except BrokenPipeError:
            pass
        assert child.wait(TIME_LIMIT) == 1
        # x265 itself warns of so small pictures.
        assert all(line.startswith(b"x265 [warning]: Too few rows") for line in child.stderr.read().splitlines())


def test_a_reader_that_stalls_holds_the_encoder_back(encoder):
    """The encoder takes no more input than fits into pipes and a few pictures, and goes on when its output is read."""
    if encoder.prefix:
        pytest.skip("pipes of another system")
    request = Request(256, 256, key_distance=1, bits_per_second=500_000_000)
    data = movie_input(request, samples_of(make_pairs(request, 4, noise=1.0)) * 20)
    with subprocess.Popen(encoder.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as child:
        sent = 0
        while sent < len(data) and select.select([], [child.stdin], [], 1.0)[1]:
            sent += os.write(child.stdin.fileno(), data[sent:sent + select.PIPE_BUF])
        assert sent < len(data) / 2
        output, _ = child.communicate(data[sent:], timeout=TIME_LIMIT)
        assert child.returncode == 0
    assert Result(0, "").read(output).done == 80
