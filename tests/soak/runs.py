"""What a soak run does with one input, and what it holds against the program."""

import hashlib
import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import threading
import time
from dataclasses import dataclass, field
from pathlib import Path

from converter import Converter

HANG_SECONDS = 60
MEMORY_MIB = 1024
ADDRESS_SPACE = 8 << 30
LARGEST_FILE = 1 << 30
LONGEST_LINE = 600  # names of files and what a message may quote of their content
SENTINEL = b"not yours\n"
TRIMS = (("--duration", "1"), ("--start", "0.03", "--duration", "0.1"), ("--start", "0.1", "--duration", "1e-3"))
SHAPES = ((), (), ("--eye-width", "48", "--eye-height", "64"), ("--sbs-aspect-ratio-padding", "16x9"))


@dataclass
class Job:
    name: str
    options: tuple
    output: str = ""           # the one file that the run may make
    driver: bool = False       # with the simulated graphics driver
    own_process: bool = True   # no child writes to standard error


@dataclass
class Outcome:
    """One run: what happened, and the findings as (kind, detail)."""
    job: Job
    status: int
    seconds: float
    memory_mib: float
    command: str
    output: str = ""
    errors: str = ""
    findings: list = field(default_factory=list)


def jobs_for(chance, trimmed):
    shape = chance.choice(SHAPES)
    trim = chance.choice(TRIMS) if trimmed or chance.random() < 0.3 else ()
    tail = (*shape, *trim)
    mono = ("--sbs-codec", "prores") if chance.random() < 0.7 else ("--software",)
    mono_name = "mono.mov" if "prores" in mono else "mono.mp4"
    eye = ("--mono-eye", chance.choice(("left", "right")))
    question = chance.choice((("--software",), ("--sbs-codec", "prores"), ("--output-format", "spatial"), ()))
    return [
        Job("inspect", ("--inspect",)),
        Job("dry-run", ("--dry-run", *tail)),
        Job("prores", ("--sbs-codec", "prores", *tail, "--output", "sbs.mov"), "sbs.mov"),
        Job("hevc", ("--software", *tail, "--output", "sbs.mp4"), "sbs.mp4", own_process=False),
        Job("mono", ("--output-format", "mono", *eye, *mono, *tail, "--output", mono_name), mono_name,
            own_process="prores" in mono),
        Job("spatial", ("--output-format", "spatial", *tail, "--output", "spatial.mov"), "spatial.mov", driver=True,
            own_process=False),
        Job("preview", ("--thumbnail", "--output", "preview.png"), "preview.png"),
        Job("check-support", ("check-support", *question), driver=chance.random() < 0.5, own_process=False),
    ]


def limit_resources():
    os.setsid()
    resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))
    resource.setrlimit(resource.RLIMIT_FSIZE, (LARGEST_FILE, LARGEST_FILE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Stage:
    """The folders of one input: the recording, the outputs, temporary files; each with a file of somebody else."""

    def __init__(self, folder, data, suffix):
        self.folder = Path(folder)
        self.outputs = self.folder / "outputs"
        for part in ("recordings", "outputs", "temporary"):
            (self.folder / part).mkdir(parents=True)
            (self.folder / part / "others.txt").write_bytes(SENTINEL)
        self.recording = self.folder / "recordings" / f"clip{suffix}"
        self.recording.write_bytes(data)
        self.digest = hashlib.sha256(data).digest()
        self.expected = self._files()

    def _files(self):
        return {str(path.relative_to(self.folder)) for path in self.folder.rglob("*")}

    def findings(self, job):
        found = []
        if not self.recording.exists() or hashlib.sha256(self.recording.read_bytes()).digest() != self.digest:
            found.append(("recording changed", ""))
        for part in ("recordings", "outputs", "temporary"):
            path = self.folder / part / "others.txt"
            if not path.exists() or path.read_bytes() != SENTINEL:
                found.append(("file of others changed", str(path)))
        left = self._files() - self.expected - ({f"outputs/{job.output}"} if job.output else set())
        return found + [("file left behind", name) for name in sorted(left)]

    def clear(self):
        for name in sorted(self._files() - self.expected, reverse=True):
            path = self.folder / name
            if path.is_dir():
                shutil.rmtree(path)
            else:
                path.unlink()


class Runner:
    def __init__(self, program, driver_folder):
        self.program = Path(program).absolute()
        self.driver = Path(driver_folder).absolute()

    def run(self, stage, job, b_frames):
        settings = {"TMPDIR": str(stage.folder / "temporary")}
        if job.driver:
            settings |= {"LD_LIBRARY_PATH": str(self.driver), "VEYRIN_SIMULATED_NVENC_B_FRAMES": str(b_frames)}
        command = [str(self.program), *job.options, str(stage.recording)]
        words = [f"{name}={value}" for name, value in settings.items()] + command
        started = time.monotonic()
        status, usage, output, errors, hung = self._wait(command, stage.outputs, settings)
        outcome = Outcome(job, status, time.monotonic() - started, usage.ru_maxrss / 1024,
                          " ".join(map(shlex.quote, words)), output, errors)
        if hung:
            outcome.findings.append(("hang", f"no end after {HANG_SECONDS} s"))
        else:
            self._judge(outcome, stage)
        if outcome.memory_mib > MEMORY_MIB:
            outcome.findings.append(("memory", f"{outcome.memory_mib:.0f} MiB"))
        outcome.findings += stage.findings(job)
        stage.clear()
        return outcome

    @staticmethod
    def _wait(command, folder, settings):
        """Status, resource usage, both outputs, and whether the time limit ended it."""
        # pylint: disable=subprocess-popen-preexec-fn
        process = subprocess.Popen(command, cwd=folder, env=Converter.environment(settings), stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, preexec_fn=limit_resources)
        texts = {}
        readers = [threading.Thread(target=lambda name=name, pipe=pipe: texts.update({name: pipe.read()}))
                   for name, pipe in (("output", process.stdout), ("errors", process.stderr))]
        for reader in readers:
            reader.start()
        hung = threading.Event()

        def stop():
            hung.set()
            os.killpg(process.pid, signal.SIGKILL)

        timer = threading.Timer(HANG_SECONDS, stop)
        timer.start()
        _, state, usage = os.wait4(process.pid, 0)
        timer.cancel()
        process.returncode = os.waitstatus_to_exitcode(state)
        for reader in readers:
            reader.join()
        process.stdout.close()
        process.stderr.close()
        decoded = {name: text.decode(errors="replace") for name, text in texts.items()}
        return process.returncode, usage, decoded["output"], decoded["errors"], hung.is_set()

    def _judge(self, outcome, stage):
        job, found = outcome.job, outcome.findings
        if outcome.status < 0:
            found.append(("signal", signal.Signals(-outcome.status).name))
            return
        if outcome.status not in (0, 1):
            found.append(("status", str(outcome.status)))
        if job.own_process and outcome.errors:
            found.append(("text on standard error", outcome.errors.splitlines()[0][:100]))
        longest = max(map(len, outcome.output.splitlines()), default=0)
        if longest > LONGEST_LINE:
            found.append(("long line", f"{longest} characters"))
        if job.name == "check-support":
            judge_answer(outcome)
            return
        messages = [line for line in outcome.output.splitlines() if line.startswith("Error: ")]
        if len(messages) != outcome.status:
            found.append(("messages", f"{len(messages)} with status {outcome.status}"))
        if messages and not messages[0][len("Error: "):].strip():
            found.append(("messages", "an empty one"))
        if outcome.status == 0 and job.output:
            reported = re.findall(r"^  encoded_frames: ([0-9]+)$", outcome.output, re.MULTILINE)
            judge_file(found, stage.outputs / job.output, reported[-1] if reported else "")


def judge_answer(outcome):
    if outcome.status != 0:
        outcome.findings.append(("status", f"{outcome.status} of check-support"))
    try:
        answer = json.loads(outcome.output)
        good = outcome.output.count("\n") == 1 and answer["schemaVersion"] == 1 and "supported" in answer
    except (ValueError, KeyError, TypeError):
        good = False
    if not good:
        outcome.findings.append(("answer", outcome.output[:200]))


def judge_file(found, path, reported_frames):
    if not path.exists():
        found.append(("no output", path.name))
        return
    if path.suffix == ".png":
        data = path.read_bytes()
        if not data.startswith(b"\x89PNG\r\n\x1a\n") or data[-8:-4] != b"IEND":
            found.append(("unreadable output", "no complete PNG"))
        return
    done = subprocess.run(["ffprobe", "-v", "error", "-count_packets", "-show_entries",
                           "stream=codec_type,nb_read_packets", "-of", "csv=p=0", str(path)], capture_output=True,
                          text=True, timeout=HANG_SECONDS, check=False)
    pictures = re.findall(r"^video,([1-9][0-9]*),*$", done.stdout, re.MULTILINE)
    # Complaints of decoders are about copied sound, which is as broken as the recording's.
    complaints = [line for line in done.stderr.splitlines() if line.startswith("[mov,")]
    if done.returncode != 0 or len(pictures) != 1 or complaints:
        detail = (complaints or done.stderr.splitlines() or done.stdout.splitlines() or ["no pictures"])[0]
        found.append(("unreadable output", re.sub(r"0x[0-9a-f]+", "0x", detail)[:150]))
    elif pictures != [reported_frames]:
        found.append(("frames", f"{reported_frames} reported, {pictures[0]} in the movie"))
