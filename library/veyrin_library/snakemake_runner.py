"""Runs the tasks by Snakemake, on this machine or on a cluster.

Snakemake sees keys only. Its outputs are flags (work/KEY) that each job sets; whether a movie is there is told by the
done marks alone. It works in a folder of the user's own, because it passes its own paths to a shell, and those of the
movies may hold anything.

Snakemake takes ever longer for each job, the more there are in one call: 5 ms with 1,000, 65 ms with 10,000. So it gets
the tasks in batches. On a cluster the next batch starts before the last jobs of the one before have ended.
"""

import hashlib
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

from . import system
from .errors import LibraryError
from .store import remove, write_json

HERE = Path(__file__).resolve().parents[1]
# Tasks of one call.
BATCH = 2000
# Jobs at a time where nothing else is said, as in profiles/slurm.
CLUSTER_JOBS = 100


def find_snakemake():
    return shutil.which(os.environ.get("VEYRIN_SNAKEMAKE") or "snakemake")


def profile_folder(name):
    """One of our profiles, or a folder of the user's."""
    ours = HERE / "profiles" / name
    return str(ours) if ours.is_dir() else os.path.abspath(name)


def command(program, options, count):
    """The words that call Snakemake for so many tasks."""
    words = [program, "--snakefile", str(HERE / "Snakefile"), "--directory", ".",
             "--profile", profile_folder(options.profile)]
    if options.profile == "local":
        words += ["--cores", str(options.jobs)]
    elif options.jobs:
        words += ["--jobs", str(min(options.jobs, max(1, count)))]
    return words + options.snakemake


def environment(store, options):
    """What the rule and the scripts of the cluster need; in variables, where no shell reads it."""
    mine = {"VEYRIN_LIBRARY_PYTHON": sys.executable, "VEYRIN_LIBRARY_PROGRAM": str(HERE / "veyrin-library"),
            "VEYRIN_LIBRARY_MOVIES": str(store.movies), "PYTHONDONTWRITEBYTECODE": "1"}
    for name in ("partition", "gres", "cpus", "memory", "minutes"):
        value = getattr(options, name, None)
        if value:
            mine[f"VEYRIN_LIBRARY_{name.upper()}"] = str(value)
    path = os.environ.get("PATH", "")
    return {**os.environ, **mine, "PATH": f"{HERE / 'cluster'}{os.pathsep}{path}"}


def batches_of(listed, most):
    """The tasks in parts of at most `most`; those that need each other stay together, whatever their number."""
    parts, group = [{}], {}
    for identity, task in listed.items():
        group[identity] = task
        # The task of the movie itself is the last of its group.
        if "." not in identity:
            if parts[-1] and len(parts[-1]) + len(group) > most:
                parts.append({})
            parts[-1].update(group)
            group = {}
    return [part for part in parts if part]


class Calls:
    """The calls of Snakemake that make up one run, each in a folder of its own."""

    def __init__(self, program, store, options, lock):
        self.program, self.store, self.options, self.lock = program, store, options, lock
        self.log = store.folder / "logs" / "snakemake.log"
        self.flags = store.folder / "work"
        name = hashlib.sha256(os.fsencode(store.movies)).hexdigest()[:12]
        self.place = system.state_home() / "veyrin" / "snakemake" / name
        self.running = {}
        self.problem = None
        self.killed = False
        # Nobody else is at work: the run's lock is ours. So what a killed Snakemake left means nothing.
        for left in (self.place, self.flags):
            shutil.rmtree(left, ignore_errors=True)
        self.flags.mkdir()
        # Slurm's numbers may begin again; an old job's note must not speak for a new one.
        for number in store.keys("logs/slurm", ".ended"):
            remove(store.path("logs/slurm", number, ".ended"))
        self.log.write_bytes(b"")

    def start(self, number, batch):
        """Calls Snakemake with the tasks of a batch, in the folder of this number."""
        place = self.place / str(number)
        place.mkdir(parents=True)
        (place / "work").symlink_to(self.flags)
        write_json(place / "jobs.json", batch)
        with open(self.log, "ab") as output:
            words = system.ending_with_parent("INT") + command(self.program, self.options, len(batch))
            # The lock goes along: as long as a Snakemake lives, no second run starts.
            process = subprocess.Popen(words, cwd=place, env=environment(self.store, self.options),
                                       stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                       start_new_session=True, pass_fds=() if self.lock is None else (self.lock,))
        self.running[process] = batch

    def take_ended(self):
        """Forgets the calls that have ended; returns False when no further one makes sense."""
        for process in [process for process in self.running if process.poll() is not None]:
            batch = self.running.pop(process)
            if process.returncode < 0:
                self.problem = f"snakemake was ended by signal {-process.returncode}"
                self.killed = True
                return False
            if process.returncode > 0:
                self.problem = f"snakemake ended with status {process.returncode}; see {self.log}"
                # Single jobs were lost, or Snakemake does not work at all.
                if self.left(batch) == len(batch):
                    return False
        return True

    def left(self, *batches):
        """How many tasks of the batches have not ended."""
        ended = set(os.listdir(self.flags))
        return sum(identity not in ended for batch in batches for identity in batch)

    def stop(self):
        """Lets Snakemake and its jobs end as after Ctrl-C; on a cluster it cancels them."""
        for process in self.running:
            system.interrupt(process)
        for process in self.running:
            try:
                process.wait(60)
            except subprocess.TimeoutExpired:
                system.stop(process)


def overlap(options):
    """With how few tasks left the next batch begins; 0 where jobs beyond those at work would be too many at a time."""
    with open(os.path.join(profile_folder(options.profile), "config.yaml"), encoding="utf-8") as file:
        on_cluster = any(line.startswith("cluster:") for line in file)
    return (options.jobs or CLUSTER_JOBS) if on_cluster else 0


def run(store, listed, options, watch, lock=None):
    """Runs all tasks; calls `watch` about once a second meanwhile.

    Returns None, or why the run ended early, and whether all jobs have ended with it.
    """
    program = find_snakemake()
    if not program:
        raise LibraryError("could not find snakemake: install it, or run with --profile plain")
    calls, early = Calls(program, store, options, lock), overlap(options)
    waiting = list(enumerate(batches_of(listed, BATCH)))
    looked = 0.0
    try:
        while waiting or calls.running:
            if not calls.running and waiting:
                calls.start(*waiting.pop(0))
            elif waiting and early and time.monotonic() - looked > 3:
                looked = time.monotonic()
                if calls.left(*calls.running.values()) < early:
                    calls.start(*waiting.pop(0))
            time.sleep(0.3)
            watch()
            if not calls.take_ended():
                waiting = []
    except BaseException:
        calls.stop()
        raise
    return calls.problem, not calls.killed
