"""The command line: options, messages, which library is meant."""

import fcntl
import json
import os
import subprocess

import pytest

PRORES = ("--sbs-codec", "prores")


def test_plan_names_the_movies(clip, library):
    library.add(clip, *(f"{number}.mp4" for number in range(12)))
    text = library.plan()
    assert "  0.mp4 -> 0_FULL_SBS_LR.mp4\n" in text
    assert "  and 2 more (--list shows all)\n" in text
    text = library.call("plan", "--settle", "0", library.recordings, library.movies, *PRORES, "--list")
    assert text.count(" -> ") == 12


@pytest.mark.parametrize("words, message", [
    (("--output", "x"), "--output cannot be used for a library: the library names the movies itself"),
    (("--overwrite",), "--overwrite cannot be used for a library: give --overwrite to run"),
    (("--sbs-codec",), "--sbs-codec requires a value"),
    (("--sbs-codec", "vp9"), "--sbs-codec must be h264, hevc, or prores"),
    (("--bogus",), "unknown option: --bogus"),
    (("third",), "not also: third"),
])
def test_options_are_judged_by_plan(clip, library, words, message):
    library.add(clip, "a.mp4")
    assert message in library.plan(*words, status=1)
    assert not library.movies.exists()


def test_library_is_found_from_within_and_by_memory(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    assert f"library: {library.movies}" in library.call("status", status=1)
    (library.folder / "state" / "veyrin" / "library.json").unlink()
    assert "no library was planned yet" in library.call("status", status=1)
    library.folder = library.movies
    assert f"library: {library.movies}" in library.call("status", status=1)


def test_plan_does_not_change_under_a_run(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    before = (library.state / "plan.json").read_bytes()
    with open(library.state / "run.lock", "ab") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        assert f"a run is at work on {library.movies}" in library.plan(status=1)
    assert (library.state / "plan.json").read_bytes() == before
    library.plan()


def test_output_that_nobody_reads_is_no_error(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    reading, writing = os.pipe()
    os.close(reading)
    done = subprocess.run(library.command("status", "--movies", library.movies), env=library.environment, stdout=writing,
                          stderr=subprocess.PIPE, text=True, timeout=60, check=False)
    os.close(writing)
    assert (done.returncode, done.stderr) == (1, "")


def test_messages_are_one_line(library):
    text = library.call("status", "--movies", library.folder / "two\nlines", status=1)
    assert text == f"Error: no plan in {library.folder}/two?lines; run first: veyrin-library plan RECORDINGS MOVIES\n"


def test_folder_without_recordings_is_no_library(library):
    (library.recordings / "note.txt").touch()
    assert f"no recordings (.mp4, .mov) in {library.recordings}" in library.plan(status=1)


@pytest.mark.parametrize("words", (("--profile", "nowhere"), ("--jobs", "0"), ("--memory", "much")))
def test_wrong_words_for_run(library, words):
    assert "usage: veyrin-library run" in library.run(*words, status=2)


def test_old_plan_of_another_version_is_refused(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    (library.state / "plan.json").write_text(json.dumps({"version": 99}), encoding="ascii")
    assert "run plan again" in library.run(status=1)
