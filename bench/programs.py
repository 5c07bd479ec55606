"""Programs that are measured: building them, and running one with its time, memory and reading."""

import dataclasses
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
BUILD = ROOT / "build" / "release"
BIN = BUILD / "bin"
TARGETS = ("veyrin-video-converter", "ffmpeg-gpl", "make_recording", "plane_bench", "remap_bench", "start_up_bench",
           "frame_rate_bench")


class Failure(Exception):
    """Something could not be measured; the text says what."""


@dataclasses.dataclass(frozen=True)
class Usage:
    """What a program and the programs that it started took."""

    wall: float  # seconds
    cpu: float  # seconds, user and system
    peak_mib: float  # of the largest of them
    read_mib: float  # through read calls, from pipes too
    output: str


def say(text):
    print(f"== {text}", file=sys.stderr, flush=True)


def set_up_and_build():
    if subprocess.run([ROOT / "scripts" / "setup"], stdout=sys.stderr, check=False).returncode != 0:
        raise Failure("the machine could not be set up")
    say("building the programs")
    for words in (["cmake", "--preset", "release", "-DVEYRIN_BENCH=ON"], ["ninja", "-C", BUILD, *TARGETS]):
        done = subprocess.run(words, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode != 0:
            raise Failure(f"the programs did not build:\n{last_lines(done.stdout, 60)}")


def last_lines(text, count):
    return "\n".join(text.splitlines()[-count:])


def clean_environment(more=None):
    """This process's environment without the converter's own switches."""
    kept = {name: value for name, value in os.environ.items() if not name.startswith("VEYRIN_")}
    return {**kept, **(more or {})}


def read_mib(process):
    """What a process that has ended, and its children before it, took from read calls."""
    facts = dict(line.split(": ") for line in Path(f"/proc/{process}/io").read_text(encoding="ascii").splitlines())
    return int(facts["rchar"]) / 2**20


def run(words, stdin=None, stdout=None, environment=None):
    """Runs a program to its end; a failure with the end of its output unless its status is 0. `stdin` is a path, and so is
    `stdout`, where standard output goes if the path is given; the output kept is then that of standard error."""
    words = [str(word) for word in words]
    with tempfile.TemporaryFile() as output, open(stdin or os.devnull, "rb") as source, \
            open(stdout or os.devnull, "wb") as target:
        begin = time.monotonic()
        child = subprocess.Popen(words, stdin=source, stdout=target if stdout else output, stderr=output,
                                 env=clean_environment(environment))
        try:
            # The kernel's figures of a process are gone with the second wait.
            os.waitid(os.P_PID, child.pid, os.WEXITED | os.WNOWAIT)
            wall = time.monotonic() - begin
            read = read_mib(child.pid)
        except BaseException:
            child.kill()
            child.wait()
            raise
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        output.seek(0)
        text = output.read().decode("utf-8", "replace")
    if child.returncode != 0:
        raise Failure(f"status {child.returncode} of {' '.join(words)}\n{last_lines(text, 20)}")
    return Usage(wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024, read, text)


def convert(recording, output, *options):
    """One run of the converter, in software whatever the machine has."""
    return run([BIN / "veyrin-video-converter", "--software", "--overwrite", "--output", output, *options, recording])


def frame_count(movie):
    """The pictures in a movie, as ffprobe counts them."""
    done = run(["ffprobe", "-v", "error", "-select_streams", "v:0", "-count_packets", "-show_entries",
                "stream=nb_read_packets", "-of", "csv=p=0", movie])
    return int(done.output.strip().strip(","))


def expect_frames(movie, count):
    """A side that wrote fewer frames was faster for the wrong reason."""
    found = frame_count(movie)
    if found != count:
        raise Failure(f"{found} frames in {movie} instead of {count}")
