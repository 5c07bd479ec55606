"""Standard streams that are closed, full or no longer read."""

import itertools
import os
import shlex
import subprocess

import pytest

from movie import Movie

# What to run, and the file that it makes.
WORK = {
    "prores": (("--sbs-codec", "prores", "--output", "out.mov"), "out.mov"),
    "hevc": (("--software", "--output", "out.mp4"), "out.mp4"),
    "preview": (("--thumbnail", "--output", "out.png"), "out.png"),
    "inspect": (("--inspect",), None),
}
CLOSED = [streams for count in range(4) for streams in itertools.combinations((0, 1, 2), count)]
REDIRECTIONS = {0: "<&-", 1: ">&-", 2: "2>&-"}
NOT_WRITTEN = "could not write to standard output: "


@pytest.fixture
def recording(shelf):
    return shelf.get("--size", "128x128", "--seconds", 0.2)


def run_in_shell(native, folder, *arguments, redirections=""):
    """Runs the converter with the shell's redirections and gives what it wrote where the test can see it."""
    folder.mkdir(exist_ok=True)
    words = " ".join(shlex.quote(word) for word in native.command(*arguments))
    return subprocess.run(["bash", "-c", f"exec {words} {redirections}"], cwd=folder, env=native.environment({}),
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60,
                          check=False)


def own_lines(errors):
    """What the converter itself wrote to standard error, which its packaged encoder shares."""
    return [line for line in errors.decode().splitlines() if line and not line.startswith(("x265 [", "encoded "))]


@pytest.mark.parametrize("work", WORK)
def test_closed_streams_change_nothing_but_the_status(native, recording, tmp_path, work):
    options, name = WORK[work]
    made = {}
    for streams in CLOSED:
        folder = tmp_path / ("closed_" + "_".join(map(str, streams)))
        run = run_in_shell(native, folder, *options, recording.path,
                           redirections=" ".join(REDIRECTIONS[stream] for stream in streams))
        assert run.returncode == (1 if 1 in streams else 0), (streams, run)
        told = [f"{NOT_WRITTEN}Bad file descriptor"] if 1 in streams and 2 not in streams else []
        assert own_lines(run.stderr) == told, (streams, run)
        assert sorted(entry.name for entry in folder.iterdir()) == ([name] if name else [])
        made[streams] = (folder / name).read_bytes() if name else None
        if 1 not in streams and work == "inspect":
            assert b"pose_available: true" in run.stdout
    assert all(content == made[()] for content in made.values()), [key for key in made if made[key] != made[()]]


@pytest.mark.parametrize("arguments", [("--help",), ("--inspect", "RECORDING"), ("check-support", "RECORDING"),
                                       ("check-support", "--input-width", "128", "--input-height", "128",
                                        "--input-bit-depth", "8", "--sbs-codec", "prores")])
def test_answer_that_cannot_be_written_is_a_failure(native, recording, tmp_path, arguments):
    arguments = [recording.path if argument == "RECORDING" else argument for argument in arguments]
    assert run_in_shell(native, tmp_path / "kept", *arguments).returncode == 0
    run = run_in_shell(native, tmp_path / "lost", *arguments, redirections=">/dev/full")
    assert run.returncode == 1
    assert run.stderr.decode() == f"{NOT_WRITTEN}No space left on device\n"


def write_end_without_reader():
    reader, writer = os.pipe()
    os.close(reader)
    return os.fdopen(writer, "wb")


@pytest.mark.parametrize("work", ["prores", "hevc", "preview"])
@pytest.mark.parametrize("place, reason", [("full", "No space left on device"), ("pipe", "Broken pipe")])
@pytest.mark.parametrize("errors_too", [False, True], ids=["output", "output_and_errors"])
def test_report_that_cannot_be_written_does_not_stop_the_work(native, recording, tmp_path, work, place, reason,
                                                              errors_too):
    options, name = WORK[work]
    command = native.command(*options, recording.path)
    made = []
    for output in (subprocess.DEVNULL, open("/dev/full", "wb") if place == "full" else write_end_without_reader()):
        folder = tmp_path / f"{len(made)}"
        folder.mkdir()
        lost = output != subprocess.DEVNULL
        run = subprocess.run(command, cwd=folder, env=native.environment({}), stdin=subprocess.DEVNULL, stdout=output,
                             stderr=output if lost and errors_too else subprocess.PIPE, timeout=60, check=False)
        assert run.returncode == (1 if lost else 0), run
        if not lost or not errors_too:
            assert own_lines(run.stderr) == ([f"{NOT_WRITTEN}{reason}"] if lost else [])
        assert [entry.name for entry in folder.iterdir()] == [name]
        made.append((folder / name).read_bytes())
    output.close()
    assert made[0] == made[1]


def test_reader_that_goes_away_in_the_middle_does_not_stop_the_work(native, recording, tmp_path):
    # The encoder begins when the reader is gone, so that there are lines left to write.
    encoder = tmp_path / "encoder"
    encoder.write_text(f"""#!/bin/sh
case "$*" in *lavfi*) ;; *) while [ ! -e '{tmp_path}/gone' ]; do sleep 0.01; done;; esac
exec '{native.program.parent}/ffmpeg-gpl' "$@"
""")
    encoder.chmod(0o755)
    with subprocess.Popen(native.command("--software", "--output", "out.mp4", recording.path), cwd=tmp_path,
                          env=native.environment({"VEYRIN_FFMPEG_GPL": str(encoder)}), stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        assert process.stdout.readline().startswith(b"[RecordingMetadata]")
        process.stdout.close()
        (tmp_path / "gone").touch()
        assert own_lines(process.stderr.read()) == [f"{NOT_WRITTEN}Broken pipe"]
        assert process.wait(timeout=60) == 1
    assert len(Movie(tmp_path / "out.mp4").frame_times) == 6


def test_batch_goes_on_without_its_report(native, recording, tmp_path):
    second = tmp_path / "second.mp4"
    second.write_bytes(recording.path.read_bytes())
    run = run_in_shell(native, tmp_path, "--sbs-codec", "prores", "--output-root", "movies", recording.path, second,
                       redirections=">/dev/full")
    assert run.returncode == 1
    assert len(list((tmp_path / "movies").iterdir())) == 2


def test_message_of_a_failure_keeps_its_status(native, tmp_path):
    run = run_in_shell(native, tmp_path, "missing.mp4", redirections=">/dev/full")
    assert run.returncode == 1
    assert run.stderr.decode() == f"{NOT_WRITTEN}No space left on device\n"


@pytest.mark.parametrize("redirection", [">out.mov", ">>out.mov", ">link.mov", "2>out.mov"])
@pytest.mark.parametrize("options", [("--sbs-codec", "prores"), ("--software",), ("--thumbnail",),
                                     ("--output-format", "spatial")], ids=["prores", "hevc", "preview", "spatial"])
def test_output_that_is_the_report_is_refused(native, recording, tmp_path, options, redirection):
    """Movie and report would overwrite each other without a word."""
    (tmp_path / "link.mov").symlink_to("out.mov")
    run = run_in_shell(native, tmp_path, *options, "--overwrite", "--output", "out.mov", recording.path,
                       redirections=redirection)
    assert run.returncode == 1
    printed = run.stdout if redirection.startswith("2") else (tmp_path / "out.mov").read_bytes()
    assert printed.decode().splitlines()[-1] == "Error: output would be mixed with what the program prints: out.mov"
    if redirection.startswith("2"):
        assert (tmp_path / "out.mov").read_bytes() == b""


def test_file_size_limit_is_an_error_and_no_signal(native, recording, tmp_path):
    """A file that may not grow further is as good as a full disk."""
    words = " ".join(shlex.quote(word) for word in native.command("--sbs-codec", "prores", "--output", "out.mov",
                                                                  recording.path))
    run = subprocess.run(["bash", "-c", f"ulimit -f 8; exec {words}"], cwd=tmp_path, env=native.environment({}),
                         stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60,
                         check=False)
    assert run.returncode == 1, run
    assert run.stdout.decode().splitlines()[-1].endswith(": File too large"), run
