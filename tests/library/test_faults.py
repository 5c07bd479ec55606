"""Runs that are ended or disturbed, and the runs after them."""

import contextlib
import json
import os
import signal
import subprocess

import pytest

from workbench import wait_until

PRORES = ("--sbs-codec", "prores")


def children(process):
    return [int(word) for word in subprocess.run(["pgrep", "-P", str(process)], capture_output=True, text=True,
                                                 check=False).stdout.split()]


def descendants(process):
    found = children(process)
    return found + [below for child in found for below in descendants(child)]


def gone(processes):
    return not any(os.path.exists(f"/proc/{process}") for process in processes)


@contextlib.contextmanager
def file_system(folder, options):
    """A small file system of its own, as a disk that is full or read-only."""
    folder.mkdir(parents=True, exist_ok=True)
    done = subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", str(folder)], capture_output=True, text=True,
                          check=False)
    if done.returncode != 0:
        pytest.skip(f"a file system cannot be mounted here: {done.stderr.strip()}")
    try:
        yield
    finally:
        subprocess.run(["umount", str(folder)], check=True)


@pytest.mark.parametrize("profile", ("plain", "local"))
@pytest.mark.parametrize("number", (signal.SIGINT, signal.SIGTERM))
def test_interrupted_run_ends_its_children_and_goes_on_later(clip, library, profile, number):
    library.add(clip, "slow.mp4", "slow too.mp4", "quick.mp4")
    library.make_slow()
    library.plan(*PRORES)
    run = library.begin("--profile", profile, "--jobs", "3")
    library.wait_for_converters(2)
    wait_until(lambda: library.journal("completed"))
    below = descendants(run.pid)
    run.send_signal(number)
    text = run.communicate(timeout=30)[0]
    assert run.returncode == 130, text
    assert "interrupted; run again to go on" in text
    wait_until(lambda: gone(below))
    assert library.leftovers() == []
    assert sorted(library.made()) == ["quick_FULL_SBS_LR.mov"]
    library.let_go()
    library.run("--profile", profile, "--jobs", "2")
    library.check_all_done(3)


@pytest.mark.parametrize("profile", ("plain", "local"))
def test_killed_run_goes_on_later(clip, library, profile):
    library.add(clip, "slow.mp4", "quick.mp4")
    library.make_slow()
    library.plan(*PRORES)
    run = library.begin("--profile", profile, "--jobs", "2")
    library.wait_for_converters(1)
    below = descendants(run.pid)
    run.kill()
    run.wait()
    run.stdout.close()
    library.let_go()
    # What the run has started ends with it.
    wait_until(lambda: gone(below), 60)
    library.run("--profile", profile, "--jobs", "2")
    library.check_all_done(2)


def test_killed_snakemake_goes_on_later(clip, library):
    library.add(clip, "slow.mp4", "quick.mp4")
    library.make_slow()
    library.plan(*PRORES)
    run = library.begin("--profile", "local", "--jobs", "2")
    library.wait_for_converters(1)
    for snakemake in children(run.pid):
        os.kill(snakemake, signal.SIGKILL)
    text = run.communicate(timeout=30)[0]
    assert run.returncode == 1 and "snakemake was ended by signal 9" in text
    # Its job lives on; the next run's job for the same recording waits for it and finds the movie made.
    again = library.begin("--profile", "local", "--jobs", "2")
    library.wait_for_converters(1)
    library.let_go()
    text = again.communicate(timeout=60)[0]
    assert again.returncode == 0, text
    library.check_all_done(2)


def test_leftovers_of_a_dead_job_are_removed_by_the_next(clip, library):
    library.add(clip, "slow.mp4")
    library.make_slow()
    library.plan(*PRORES)
    run = library.begin("--profile", "plain")
    library.wait_for_converters(1)
    below = descendants(run.pid)
    run.kill()
    run.wait()
    run.stdout.close()
    wait_until(lambda: gone(below))
    assert [path.name for path in library.movies.glob(".veyrin-*/*/half.tmp")] == ["half.tmp"]
    library.let_go()
    library.run("--profile", "plain")
    library.check_all_done(1)


def test_full_disk_fails_single_recordings(clip, library):
    library.add(clip, "small/a.mp4", "b.mp4")
    library.plan(*PRORES)
    with file_system(library.movies / "small", "size=100k"):
        text = library.run("--profile", "plain", status=1)
        assert "1 of 2 movies there, 1 failed" in text
        assert "failed: small/a.mp4:" in text and "No space left on device" in text
        assert os.listdir(library.movies / "small") == []
    library.run("--profile", "plain")
    library.check_all_done(2)


def test_library_on_a_full_disk(clip, library):
    with file_system(library.movies, "size=800k"):
        library.add(clip, *(f"{number}.mp4" for number in range(3)))
        library.plan(*PRORES)
        text = library.run("--profile", "plain", status=1)
        made = library.made()
        assert 0 < len(made) < 3
        assert f"{len(made)} of 3 movies there" in text and "No space left on device" in text
        assert [path for path in library.leftovers() if path.suffix not in (".part", ".new")] == []
        subprocess.run(["mount", "-o", "remount,size=9m", str(library.movies)], check=True)
        library.run("--profile", "plain")
        assert made.items() <= library.made().items()
        library.check_all_done(3)


def test_read_only_folder_fails_its_recordings(clip, library):
    library.add(clip, "locked/a.mp4", "b.mp4")
    library.plan(*PRORES)
    with file_system(library.movies / "locked", "ro"):
        text = library.run("--profile", "local", status=1)
        assert "failed: locked/a.mp4: could not write into the movie's folder locked: Read-only file system" in text
        assert "1 of 2 movies there, 1 failed" in text
    library.run("--profile", "local")
    library.check_all_done(2)


def test_movie_whose_job_died_before_its_mark_is_taken_over(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    # As if the job had died between the movie's final name and its done mark.
    key = library.key("a.mp4")
    (library.movies / f".veyrin-{key}" / "movie-node-1-0").mkdir(parents=True)
    mark = library.state / "done" / f"{key}.json"
    mark.rename(library.state / "pending" / f"{key}.json")
    journal = next((library.state / "journal").glob("*.jsonl"))
    lines = journal.read_text(encoding="ascii").splitlines(keepends=True)
    journal.write_text("".join(line for line in lines if json.loads(line)["event"] != "completed"), encoding="ascii")
    movie = library.movies / "a_FULL_SBS_LR.mov"
    before = movie.stat().st_mtime_ns
    assert "1 done already, 0 to do" in library.run("--profile", "plain")
    assert movie.stat().st_mtime_ns == before
    library.check_all_done(1)


def test_done_mark_whose_job_died_before_the_journal_is_told_later(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    for file in (library.state / "journal").iterdir():
        file.unlink()
    library.run("--profile", "plain")
    library.check_all_done(1)
