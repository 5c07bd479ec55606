"""The converter killed, or short of what it needs, at each of its steps: nothing of anybody's is lost."""

import errno
import hashlib
import os
import shutil
import signal
from pathlib import Path

import pytest

from movie import tool

NAMES = {"hevc": "out.mp4", "mono": "out.mp4", "prores": "out.mov", "spatial": "out.mov",
         "two_view": "out.mov", "preview": "out.png"}
TEMPORARY = {"hevc": "out.st3d.tmp.mp4", "preview": "out.png.tmp"}
OPTIONS = {
    "hevc": ["--software"],
    "mono": ["--software", "--output-format", "mono"],
    "prores": ["--sbs-codec", "prores"],
    "spatial": ["--output-format", "spatial"],
    "two_view": ["--software", "--output-format", "spatial"],
    "preview": ["--thumbnail", "--thumbnail-width", "160"],
}
# The kind of call, what it answers (0: the process is killed there), and how many such calls are tried at most.
# VEYRIN_ALL_FAULTS=1 tries up to a thousand of each.
FAULTS = {
    "killed": ("change", 0, 16),
    "disk full": ("write", errno.ENOSPC, 6),
    "no descriptor": ("open", errno.EMFILE, 8),
    "broken pipe": ("pipe", errno.EPIPE, 3),
    "rename refused": ("rename", errno.EACCES, 2),
    "no memory": ("memory", errno.ENOMEM, 9),
}
# The packaged encoder writes the movie; the lock file's text is all that the converter itself writes, and it can do
# without. The simulated driver encodes inside the converter's process, with a library that does not survive this.
NOT_FELT = {("mono", "disk full")}
LEFT_OUT = {("spatial", "no memory")}
CASES = [(kind, fault) for kind in NAMES for fault in FAULTS if (kind, fault) not in LEFT_OUT]


# Without memory FFmpeg's demuxers and the JSON library may crash; for the files that is a kill like any other.
ENDS = (0, 1, -signal.SIGKILL, -signal.SIGSEGV, -signal.SIGABRT)


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else None


def samples(path):
    """What a player sees. Muxers leave out titles and the like when memory is short, and say nothing."""
    return tool("ffprobe", "-v", "error", "-show_packets", "-show_data_hash", "md5", "-show_entries",
                "stream=codec_name,codec_tag,extradata_hash,duration_ts:packet=stream_index,pts,dts,duration,data_hash",
                "-of", "compact", path)


class Job:
    """One kind of output, written again and again in one folder."""

    def __init__(self, kind, converter, source, folder, settings, library):
        self.kind, self.converter, self.folder, self.settings = kind, converter, folder, settings
        self.library = library
        self.recording = folder / "clip.mp4"
        self.other = folder / "other.mov"
        self.output = folder / NAMES[kind]
        self.temporary = folder / TEMPORARY.get(kind, NAMES[kind])
        self.keeps_old_output = kind == "preview"
        shutil.copyfile(source, self.recording)
        shutil.copyfile(source, self.other)
        self.before = {path: digest(path) for path in (self.recording, self.other)}
        self.run().succeeded()
        self.result = digest(self.output)
        self.samples = samples(self.output)
        self.first_output = self.output.read_bytes()
        counts = folder / "counts"
        self.run(VEYRIN_TEST_FAULT_COUNTS=str(counts)).succeeded()
        assert digest(self.output) == self.result, "the output must be the same every time"
        self.counts = dict(line.split() for line in counts.read_text().splitlines())
        counts.unlink()

    def words(self):
        return *OPTIONS[self.kind], "--overwrite", "--output", self.output.name, self.recording.name

    def run(self, **settings):
        preload = {"LD_PRELOAD": str(self.library)} if settings else {}
        return self.converter.run(*self.words(), folder=self.folder,
                                  settings={**self.settings, **preload, **settings},
                                  statuses=ENDS if settings else (0,))

    def numbers(self, calls, most):
        """All calls, or the first and the last ones and some between."""
        total = int(self.counts[calls])
        most = 1000 if os.environ.get("VEYRIN_ALL_FAULTS") == "1" else most
        if total <= most:
            return range(total)
        edge = most // 3
        step = max(1, (total - 2 * edge) // (most - 2 * edge))
        return sorted({*range(edge), *range(edge, total - edge, step), *range(total - edge, total)})

    def check_after(self, run, old):
        """`old` is the output's digest before the run; None when there was none."""
        names = {path.name for path in self.folder.iterdir()} - {self.recording.name, self.other.name}
        assert {path: digest(path) for path in self.before} == self.before
        if run.status == 0:
            assert self.is_right(run), f"{run}"
            assert names == {self.output.name}
        elif run.status == 1:
            assert run.error
            # A partly written movie stays; a new file without a picture, or a preview, does not.
            assert names <= {self.output.name}, f"{names}\n{run}"
            assert not self.output.exists() or self.output.stat().st_size > 0 or old is not None
        else:
            files = {self.output.name, self.temporary.name}
            assert names <= files | {f"{name}.veyrin-lock" for name in files}, names
        if self.keeps_old_output and run.status != 0:
            assert digest(self.output) in (old, self.result)

    def is_right(self, run):
        if digest(self.output) == self.result or samples(self.output) == self.samples:
            return True
        # Where what is said of the eyes cannot be read, the preview shows one of them, and says so.
        return self.kind == "preview" and "rotated fallback" in run.output

    def put_old_output(self, exists):
        """Puts an older output there, or none; returns its digest."""
        for path in self.folder.iterdir():
            if path not in self.before:
                path.unlink()
        if exists:
            self.output.write_bytes(self.first_output)
        return digest(self.output)


@pytest.fixture(scope="module")
def fault_library(request, converter):
    if converter.prefix:
        pytest.skip("another system's program runs under a runner")
    library = Path(request.config.getoption("--program")).absolute().parent / "fault_injection.so"
    assert library.exists(), library
    return library


@pytest.fixture(scope="module")
def jobs(fault_library, converter, shelf, nvenc, tmp_path_factory):
    source = shelf.get("--size", "128x128", "--seconds", 0.2).path
    made = {}

    def job(kind):
        if kind not in made:
            made[kind] = Job(kind, converter, source, tmp_path_factory.mktemp(kind), nvenc(), fault_library)
        return made[kind]

    return job


def failures_of(job, fault):
    """Runs the job with the fault at each of its steps; nothing may be lost. The number of steps, and of failed runs."""
    calls, error, most = FAULTS[fault]
    failures = 0
    numbers = job.numbers(calls, most)
    for turn, number in enumerate(numbers):
        old = job.put_old_output(exists=turn % 2 == 1)
        run = job.run(VEYRIN_TEST_FAULT=f"{calls}:{number}:{error}")
        job.check_after(run, old)
        failures += run.status != 0
        again = job.run()
        assert again.status == 0, f"after {fault} at call {number}\n{run}\n{again}"
        job.check_after(again, digest(job.output))
    return len(numbers), failures


@pytest.mark.parametrize("kind, fault", CASES)
def test_nothing_is_lost(jobs, kind, fault):
    steps, failures = failures_of(jobs(kind), fault)
    assert steps == 0 or failures > 0 or (kind, fault) in NOT_FELT
