"""Runs the tasks by Snakemake, on this machine or on a cluster.

Snakemake sees keys only. Its outputs are flags (work/KEY) that each job sets; whether a movie is there is told by the
done marks alone. It works in a folder of the user's own, because it passes its own paths to a shell, and those of the
movies may hold anything.
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
from .store import write_json

HERE = Path(__file__).resolve().parents[1]


def find_snakemake():
    return shutil.which(os.environ.get("VEYRIN_SNAKEMAKE") or "snakemake")


def profile_folder(name):
    """One of our profiles, or a folder of the user's."""
    ours = HERE / "profiles" / name
    return str(ours) if ours.is_dir() else os.path.abspath(name)


def command(program, options, count):
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


def prepare(store, listed):
    """Makes the folder that Snakemake works in, and returns it."""
    name = hashlib.sha256(os.fsencode(store.movies)).hexdigest()[:12]
    place = system.state_home() / "veyrin" / "snakemake" / name
    # Nobody else is at work: the run's lock is ours. So the locks and half results of a killed Snakemake mean nothing.
    for left in (place, store.folder / "work"):
        shutil.rmtree(left, ignore_errors=True)
    place.mkdir(parents=True)
    (store.folder / "work").mkdir()
    (place / "work").symlink_to(store.folder / "work")
    write_json(place / "jobs.json", listed)
    return place


def run(store, listed, options, watch, lock=None):
    """Runs all tasks; calls `watch` about once a second meanwhile. Returns None, or why the run ended early."""
    program = find_snakemake()
    if not program:
        raise LibraryError("could not find snakemake: install it, or run with --profile plain")
    place = prepare(store, listed)
    log = store.folder / "logs" / "snakemake.log"
    with open(log, "wb") as output:
        words = system.ending_with_parent("INT") + command(program, options, len(listed))
        # The lock goes along: as long as a Snakemake lives, no second run starts.
        process = subprocess.Popen(words, cwd=place, env=environment(store, options), stdin=subprocess.DEVNULL,
                                   stdout=output, stderr=subprocess.STDOUT, start_new_session=True,
                                   pass_fds=() if lock is None else (lock,))
    try:
        while process.poll() is None:
            time.sleep(0.3)
            watch()
    except BaseException:
        stop(process)
        raise
    if process.returncode < 0:
        return f"snakemake was ended by signal {-process.returncode}"
    if process.returncode > 0:
        return f"snakemake ended with status {process.returncode}; see {log}"
    return None


def stop(process):
    """Lets Snakemake and its jobs end as after Ctrl-C; on a cluster it cancels them."""
    system.interrupt(process)
    try:
        process.wait(60)
    except subprocess.TimeoutExpired:
        system.stop(process)
