"""The tasks of a run: one file per job with all that the job needs, so that no job reads the whole plan."""

import os
import signal

from . import estimates, pieces
from .errors import Interrupted, LibraryError
from .job import Job, Stop
from .piece_job import PieceJob
from .store import read_json, remove, write_json


def make_tasks(store, plan, entries, program, version, overwrite):
    """Writes the tasks and returns what a runner must know of each: id, `needs`, memory and time."""
    for old in store.keys("tasks"):
        remove(store.path("tasks", old))
    done = [mark for mark in (read_json(store.path("done", key)) for key in store.keys("done")) if mark]
    rate = estimates.Rate(plan["options"], done)
    listed = {}
    for entry in entries:
        common = {"entry": entry, "recordings": plan["recordings"], "options": plan["options"], "converter": program,
                  "version": version, "overwrite": overwrite, "work": estimates.work_of(entry, plan["options"])}
        parts = pieces.of(entry)
        for number, piece in enumerate(parts):
            share = piece["frames"][0] / max(1, sum(each["frames"][0] for each in parts))
            add(store, listed, {**common, "id": pieces.piece_id(entry, number), "piece": number}, [],
                rate.seconds(entry) * share)
        add(store, listed, {**common, "id": entry["key"]},
            [pieces.piece_id(entry, number) for number in range(len(parts))], rate.seconds(entry))
    return listed


def add(store, listed, task, needs, seconds):
    write_json(store.path("tasks", task["id"]), task, lasting=False)
    listed[task["id"]] = {"needs": needs, "memory_mb": estimates.memory_mb(task["entry"]),
                          "minutes": estimates.minutes_limit(seconds)}


def job_of(store, identity, stop=None):
    """The job of a task that `make_tasks` wrote."""
    task = read_json(store.path("tasks", identity))
    if not task:
        raise LibraryError(f"no such task: {identity}")
    return (PieceJob if "piece" in task else Job)(store, task, stop)


def run_one(store, identity):
    """One task in a process of its own, for Snakemake and the cluster. Status 0 when it ended in a way that was noted.

    A recording that cannot be converted is noted and is no reason to try it again; only an interruption is.
    """
    job = job_of(store, identity, Stop())

    def asked(number, frame):
        raise Interrupted()

    signal.signal(signal.SIGTERM, asked)
    signal.signal(signal.SIGINT, asked)
    try:
        job.run()
    except Interrupted:
        return 1
    (store.folder / "work" / identity).touch()
    if "SLURM_JOB_ID" in os.environ:
        (store.folder / "logs" / "slurm" / (os.environ["SLURM_JOB_ID"] + ".ended")).touch()
    return 0
