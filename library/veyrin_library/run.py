"""The command `run`: looks at the folders again, converts what is missing and says what came of it."""

import os
import signal
import sys

from . import converter, estimates, marks, pieces, plain_runner, planning, snakemake_runner, system, texts
from .errors import Interrupted, LibraryError
from .progress import Progress
from .status import print_problems
from .tasks import make_tasks

# The last one tells that the terminal was closed.
STOP_SIGNALS = [getattr(signal, name) for name in ("SIGINT", "SIGTERM", "SIGHUP") if hasattr(signal, name)]

LOST = "the job ended without a result: its machine failed, or it went beyond its memory or time"


def choose_profile(options):
    """Fills in the profile and the number of jobs at a time."""
    if not options.profile:
        options.profile = "local" if not system.WINDOWS and snakemake_runner.find_snakemake() else "plain"
    if system.WINDOWS and options.profile != "plain":
        raise LibraryError("on Windows only --profile plain can be used")
    if not options.jobs and options.profile in ("local", "plain"):
        # One conversion keeps about four processors busy.
        options.jobs = max(1, (os.cpu_count() or 1) // 4)


def run_library(store, options):
    """Returns the exit status: 0 only when every movie is there."""
    store.make_folders()
    with system.locked(store.folder / "run.lock", wait=False) as lock:
        if lock is None:
            raise LibraryError(f"another run is at work on {store.movies}")
        plan = planning.refresh(store, planning.load(store))
        pieces.plan_cuts(plan)
        planning.save(store, plan)
        states = take_stock(store, plan)
        entries = [entry for entry in plan["entries"] if states.of[entry["key"]] in ("to do", "failed")]
        print(f"{texts.count(len(plan['entries']), 'recording')}: {states.count('done')} done already, "
              f"{len(entries)} to do", flush=True)
        problem = run_entries(store, plan, entries, options, lock) if entries else None
        return summarise(store, plan, problem)


def take_stock(store, plan):
    """The states, after finishing what died between a movie's name and its mark and dropping marks without movie."""
    store.sweep()
    marks.mend_journal(store)
    for key in store.keys("pending"):
        marks.recover(store, key)
    states = marks.States(store, plan)
    for key in states.stale:
        marks.drop(store, key)
    pieces.drop_unwanted(store, plan, states)
    return states


def run_entries(store, plan, entries, options, lock):
    """Converts the entries; returns None, or why the run ended early."""
    choose_profile(options)
    program = converter.find_converter()
    listed = make_tasks(store, plan, entries, program, converter.version(program), options.overwrite)
    rate = estimates.Rate(plan["options"], list(marks.States(store, plan).marks.values()))
    at_a_time = min(len(entries), options.jobs or snakemake_runner.CLUSTER_JOBS)
    expected = sum(map(rate.seconds, entries)) / at_a_time
    progress = Progress(store, entries, expected)
    for name in STOP_SIGNALS:
        signal.signal(name, interrupted)
    try:
        if options.profile == "plain":
            problem, ended = plain_runner.run(store, listed, options, progress.watch)
        else:
            problem, ended = snakemake_runner.run(store, listed, options, progress.watch, lock)
    finally:
        progress.watch()
        progress.clear()
    if ended:
        note_lost(store, progress.started)
    return problem


def interrupted(number, frame):
    """The handler of the signals that end a run."""
    # Once is enough: a second Ctrl-C must not disturb the tidying up.
    for name in STOP_SIGNALS:
        signal.signal(name, signal.SIG_IGN)
    raise Interrupted()


def note_lost(store, started):
    """Jobs that ended without a mark, although the runner has no more to do, have failed too."""
    for key in started:
        if not store.path("failed", key).exists() and not marks.done(store, key):
            marks.fail(store, key, LOST, "none")


def summarise(store, plan, problem):
    """Prints what came of the run; returns the exit status."""
    states = marks.States(store, plan)
    done, total = states.count("done"), len(plan["entries"])
    print(f"{done} of {texts.count(total, 'movie')} there"
          + (f", {states.count('failed', 'refused')} failed" if states.count("failed", "refused") else "")
          + (f", {states.count('to do')} not done" if states.count("to do") else "")
          + (f", {len(plan['waiting'])} waiting" if plan["waiting"] else ""))
    print_problems(store, plan, states)
    if problem:
        print(f"Error: {texts.printable(problem)}", file=sys.stderr)
    return 0 if done == total and not plan["waiting"] and not problem else 1
