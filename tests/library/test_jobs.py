"""Jobs, marks and the plain runner by direct calls."""

import argparse
import fcntl
import io
import os
import threading
import time

import pytest

from job_bench import KEY, MOVIE, Bench
from veyrin_library import journal, marks, pieces, plain_runner, run, store, tasks
from veyrin_library.errors import Interrupted
from veyrin_library.job import Stop
from veyrin_library.progress import Progress


@pytest.fixture
def bench(tmp_path):
    return lambda parts=0: Bench(tmp_path, parts)


def test_job_that_waits_for_its_turn_can_be_stopped(bench):
    bench, stop = bench(), Stop()
    with open(bench.store.path("locks", KEY, ".lock"), "w", encoding="ascii") as other:
        fcntl.flock(other, fcntl.LOCK_EX)
        # Lets the test end, even where the job cannot be stopped.
        giving_up = threading.Timer(10, lambda: fcntl.flock(other, fcntl.LOCK_UN))
        giving_up.start()
        threading.Timer(0.3, stop.ask).start()
        begun = time.monotonic()
        with pytest.raises(Interrupted):
            bench.job(stop=stop).run()
        giving_up.cancel()
    assert time.monotonic() - begun < 5


def test_folder_of_a_dead_job_with_the_same_number_is_no_hindrance(bench):
    bench = bench()
    job, dead = bench.job(), bench.job()
    dead.make_private_folder()
    assert job.job == dead.job and job.run() == "done"
    assert bench.hidden() == [MOVIE]


def test_hidden_file_of_a_network_share_is_no_second_movie(bench):
    bench = bench()
    text = bench.converter.read_text(encoding="ascii")
    bench.converter.write_text(text + ': > "$2/.nfs0001"\n', encoding="ascii")
    assert bench.job().run() == "done"
    assert bench.hidden() == [MOVIE]


def test_done_mark_of_a_lost_movie_does_not_keep_the_new_one_from_counting(bench):
    bench = bench()
    assert bench.job().run() == "done"
    bench.movie.unlink()
    assert bench.job().run() == "done"
    assert marks.done(bench.store, KEY)
    assert [event["event"] for event in journal.Reader(bench.store).events()] == \
        ["started", "completed", "started", "dropped", "completed"]


def test_jobs_do_not_look_through_the_folder_of_the_movies(bench, monkeypatch):
    bench, looked, scandir = bench(2), [], os.scandir

    def looking(path="."):
        looked.append(str(path))
        return scandir(path)

    bench.run_pieces()
    monkeypatch.setattr(os, "scandir", looking)
    assert bench.job().run() == "done"
    assert not {str(bench.store.movies), str(bench.store.folder / "pieces"),
                str(bench.store.folder / "failed")} & set(looked)
    assert bench.hidden() == [MOVIE]


def test_unexpected_error_of_one_task_does_not_end_the_others(bench, monkeypatch):
    bench, ran = bench(), []

    def job_of(kept, identity, stop):
        if identity == "odd":
            raise ValueError("embedded null byte")
        ran.append(identity)
        return argparse.Namespace(run=lambda: "done") if identity == "good" else tasks.job_of(kept, identity, stop)

    monkeypatch.setattr(plain_runner, "job_of", job_of)
    listed = {identity: {"needs": []} for identity in ("odd", "gone", "good")}
    assert plain_runner.run(bench.store, listed, argparse.Namespace(jobs=1), lambda: None) == (None, True)
    assert ran == ["gone", "good"]
    messages = {key: store.read_json(bench.store.path("failed", key))["message"] for key in ("odd", "gone")}
    assert messages == {"odd": "ValueError: embedded null byte", "gone": "no such task: gone"}


def test_progress_counts_the_jobs_that_run(bench):
    bench = bench(2)
    progress = Progress(bench.store, [bench.entry], 1.0, io.StringIO())
    tasks_of_it = [pieces.piece_id(bench.entry, 0), pieces.piece_id(bench.entry, 1), KEY]
    for task in tasks_of_it:
        journal.write(bench.store, "started", KEY, task=task)
    progress.watch()
    assert "3 running" in progress.text()
    journal.write(bench.store, "piece", KEY, task=tasks_of_it[0])
    marks.fail(bench.store, tasks_of_it[1], "no", "1")
    progress.watch()
    assert "0 of 1 movie, 1 running" in progress.text()
    journal.write(bench.store, "completed", KEY)
    progress.watch()
    assert "1 of 1 movie, 0 running" in progress.text()


@pytest.mark.parametrize("problem, ended, lost", [
    (None, True, True), ("its status is odd", False, False), ("ended", True, True)])
def test_jobs_are_lost_only_when_all_have_ended(bench, monkeypatch, problem, ended, lost):
    bench = bench()

    def runner(*words):
        journal.write(bench.store, "started", KEY)
        return problem, ended

    monkeypatch.setenv("VEYRIN_CONVERTER", str(bench.converter))
    monkeypatch.setattr(run.signal, "signal", lambda number, handler: None)
    monkeypatch.setattr(run.plain_runner, "run", runner)
    options = argparse.Namespace(profile="plain", jobs=1, overwrite=False)
    assert run.run_entries(bench.store, bench.plan, [bench.entry], options, None) == problem
    assert bench.store.path("failed", KEY).exists() == lost
