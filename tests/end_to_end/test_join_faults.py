"""What veyrin-join refuses, and what is left when it does not come to its end: never half a movie under the name."""

import fcntl
import os
import signal
import struct
import subprocess
import sys
import termios
from pathlib import Path

import pytest

from converter import Converter
from joining import PRORES, SMALL, convert_pieces, cuts, packets
from processes import wait_for
from test_faults import FAULTS, Job, failures_of, fault_library  # noqa: F401 (a fixture)

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "soak"))
from movie_model import Recording as CodedRecording  # noqa: E402


@pytest.fixture(scope="module")
def shared(converter, joiner, shelf, tmp_path_factory):
    """A recording and its three pieces; to be copied, not changed."""
    folder = tmp_path_factory.mktemp("pieces")
    recording = shelf.get(*SMALL, 2)
    made = convert_pieces(converter, recording.path, folder, cuts(joiner, recording.path, folder, 0.01), ".mov",
                          "--software", *PRORES)
    assert len(made) == 3
    return recording.path, made


def refused(joiner, folder, recording, pieces, message, *options, output="joined.mov"):
    before = {path: path.read_bytes() for path in folder.rglob("*") if path.is_file()}
    run = joiner.run(*options, "--recording", recording, "--output", folder / output, *pieces, folder=folder)
    run.failed(message)
    assert {path: path.read_bytes() for path in folder.rglob("*") if path.is_file()} == before
    return run


OTHERS = {
    "codec": ((), ".mp4", "container"),
    "picture size": ((*PRORES, "--eye-width", 96), ".mov", "picture size"),
    "frame rate": ((*PRORES, "--output-fps", 24), ".mov", "frame rate"),
    "stereo description": ((*PRORES, "--output-format", "mono", "--eye-width", 256), ".mov", "stereo description"),
}


@pytest.mark.parametrize("other", OTHERS)
def test_a_piece_of_another_kind_is_refused(converter, joiner, shared, tmp_path, other):
    recording, made = shared
    options, suffix, difference = OTHERS[other]
    stranger = tmp_path / f"stranger{suffix}"
    converter.run("--software", *options, "--start", 0.5, "--duration", 0.3, "--output", stranger, recording,
                  folder=tmp_path).succeeded()
    error = refused(joiner, tmp_path, recording, [made[0], stranger, made[2]], None).error
    assert error.startswith(f"could not join {stranger}: its {difference} differs from that of {made[0]}")


def test_a_piece_of_other_colours_is_refused(joiner, shared, tmp_path):
    recording, made = shared
    stranger = tmp_path / "stranger.mov"
    colours = [b"colrnclc" + struct.pack(">3H", primaries, 1, 1) for primaries in (1, 9)]
    data = made[1].read_bytes()
    assert data.count(colours[0]) == 1
    stranger.write_bytes(data.replace(*colours))
    error = refused(joiner, tmp_path, recording, [made[0], stranger, made[2]], None).error
    assert error.startswith(f"could not join {stranger}: its colour description differs from that of {made[0]} (bt2020 ")


def test_a_failure_amid_the_copying_keeps_the_old_movie(joiner, shared, tmp_path):
    recording, made = shared
    uneven = tmp_path / "uneven.mov"
    piece = CodedRecording(made[2].read_bytes())
    [pictures] = [track for track in piece.tracks if track.kind == b"vide"]
    # The index counts the times of decoding, which stay.
    pictures.samples[10].offset = pictures.samples[10].duration // 2
    uneven.write_bytes(piece.plain())
    message = f"could not join {uneven}: its pictures do not follow each other evenly"
    run = refused(joiner, tmp_path, recording, [*made[:2], uneven], message)
    assert "  progress_percent: 75" in run.lines
    (tmp_path / "joined.mov").write_bytes(b"mine")
    refused(joiner, tmp_path, recording, [*made[:2], uneven], message, "--overwrite")


def test_damaged_and_missing_pieces_are_refused(joiner, shared, tmp_path):
    recording, made = shared
    cut_off, strange = tmp_path / "cut.mov", tmp_path / "text.mov"
    data = made[1].read_bytes()
    cut_off.write_bytes(data[:len(data) // 2])
    strange.write_bytes(b"no movie")
    refused(joiner, tmp_path, recording, [made[0], cut_off], f"could not join {cut_off}: it is cut off")
    missing = tmp_path / "missing.mov"
    refused(joiner, tmp_path, recording, [made[0], missing], f"could not open {missing}: No such file or directory")
    error = refused(joiner, tmp_path, recording, [made[0], strange], None).error
    assert error.startswith(f"could not open {strange}: ")
    refused(joiner, tmp_path, recording, [recording],
            f"could not join {recording}: it has not exactly one video track")
    refused(joiner, tmp_path, recording, made[:2],
            "the pieces have 40 frames together, but the recording's movie has 60")
    refused(joiner, tmp_path, recording, [*made, made[1]],
            "the pieces have 80 frames together, but the recording's movie has 60")


def test_no_file_of_the_run_is_replaced(joiner, shared, tmp_path):
    recording, made = shared
    copies = [tmp_path / path.name for path in made]
    for path, copy in zip(made, copies):
        copy.write_bytes(path.read_bytes())
    clip = tmp_path / "clip.mp4"
    clip.write_bytes(recording.read_bytes())
    refused(joiner, tmp_path, clip, copies, f"output would replace its own input: {clip}", "--overwrite",
            output=clip.name)
    refused(joiner, tmp_path, clip, copies,
            f"output would replace another input of this run: {copies[1]} is {copies[1]}", "--overwrite",
            output=copies[1].name)
    other = tmp_path / "joined.mov"
    other.write_bytes(b"mine")
    refused(joiner, tmp_path, clip, copies, f"output already exists (use --overwrite): {other}")
    joiner.run("--overwrite", "--recording", clip, "--output", other, *copies, folder=tmp_path).succeeded()
    assert len(packets(other)["video"]) == 60


def test_a_full_disk_leaves_what_was_there(native, joiner, shared, tmp_path):
    recording, made = shared
    output = tmp_path / "joined.mov"
    words = ("--overwrite", "--recording", recording, "--output", output, *made)
    limited = Converter(Path("/bin/sh"), [])
    for content in (None, b"mine"):
        if content is not None:
            output.write_bytes(content)
        run = limited.run("-c", 'ulimit -f 200; exec "$@"', "sh", *joiner.command(*words), folder=tmp_path)
        assert run.failed().error.endswith(": File too large")
        assert [path.name for path in tmp_path.iterdir()] == ([] if content is None else [output.name])
        assert content is None or output.read_bytes() == content


def waiting_in_the_middle(joiner, folder, words):
    """The joiner at a line of progress that nobody reads, and what keeps it there."""
    reader, writer = os.pipe()
    space = 900
    size = fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
    os.write(writer, b"." * (size - space))
    # A shell may have started the tests with interrupts ignored, which is inherited.
    process = subprocess.Popen(joiner.command(*words), cwd=folder, env=joiner.environment({}), stdin=subprocess.DEVNULL,
                               stdout=writer, preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
    os.close(writer)

    def is_full():
        [waiting] = struct.unpack("i", fcntl.ioctl(reader, termios.FIONREAD, b"1234"))
        return waiting > size - len("  progress_percent: 10\n")

    assert wait_for(is_full)
    return process, reader


@pytest.mark.parametrize("old", [None, b"mine"], ids=["new", "overwrite"])
@pytest.mark.parametrize("ending", [signal.SIGKILL, signal.SIGTERM, signal.SIGINT])
def test_what_an_ended_run_leaves_is_cleared_away_by_the_next(native, joiner, shared, tmp_path, ending, old):
    recording, made = shared
    output, temporary = tmp_path / "joined.mov", tmp_path / "joined.join.tmp.mov"
    words = ("--recording", recording, "--output", output, *made)
    if old is not None:
        output.write_bytes(old)
        words = ("--overwrite", *words)
    process, reader = waiting_in_the_middle(joiner, tmp_path, words)
    try:
        joiner.run(*words, folder=tmp_path).failed(f"output is being written by another process: {output}")
        process.send_signal(ending)
        assert process.wait(timeout=20) == -ending
    finally:
        process.kill()
        process.wait()
        os.close(reader)
    assert (output.read_bytes() if output.exists() else None) == old
    size = temporary.stat().st_size
    left = {path.name for path in tmp_path.iterdir()} - {output.name}
    assert left == {temporary.name, f"{temporary.name}.veyrin-lock", f"{output.name}.veyrin-lock"}
    joiner.run(*words, folder=tmp_path).succeeded()
    assert [path.name for path in tmp_path.iterdir()] == [output.name]
    assert 0 < size < output.stat().st_size
    found = packets(output)["video"]
    assert [packet[4] for packet in found] == [packet[4] for path in made for packet in packets(path)["video"]]


class JoinJob(Job):
    """A joining, repeated again and again in one folder."""

    def __init__(self, joiner, recording, pieces, folder, library):
        self.pieces = pieces
        super().__init__("prores", joiner, recording, folder, {}, library)
        self.temporary = self.output.with_name("out.join.tmp.mov")
        self.keeps_old_output = True

    def words(self):
        return "--overwrite", "--recording", self.recording.name, "--output", self.output.name, *self.pieces


@pytest.fixture(scope="module")
def join_job(fault_library, joiner, shared, tmp_path_factory):  # noqa: F811 (the fixture)
    recording, made = shared
    return JoinJob(joiner, recording, made, tmp_path_factory.mktemp("faults"), fault_library)


@pytest.mark.parametrize("fault", [fault for fault in FAULTS if fault != "broken pipe"])
def test_nothing_is_lost_at_any_step(join_job, fault):
    steps, failures = failures_of(join_job, fault)
    assert steps > 0 and failures > 0
