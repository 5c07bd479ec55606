"""Runs on this machine, with Snakemake and without: what happens once, again, and after changes."""

import os

import pytest

from stand_in import use_joiner
from test_slurm import ODD, ODD_FOLDER
from workbench import Library

PRORES = ("--sbs-codec", "prores")
PROFILES = ("plain", "local")


def broken(library, name="broken.mp4"):
    (library.recordings / name).parent.mkdir(parents=True, exist_ok=True)
    (library.recordings / name).write_bytes(b"\0\0\0\x18ftypmp42 and nothing else")


@pytest.mark.parametrize("profile", PROFILES)
def test_five_recordings_one_broken(clip, library, profile):
    library.add(clip, "a.mp4", "day/b.mov", "day/c.mp4", "day/night/a.mp4")
    broken(library)
    text = library.plan(*PRORES)
    assert "5 recordings: 0 done already, 5 to do" in text
    assert "it may be broken: broken.mp4" in text
    assert library.made() == {}
    text = library.run("--profile", profile, "--jobs", "2", status=1)
    assert "4 of 5 movies there, 1 failed" in text
    assert "failed: broken.mp4: could not open input" in text
    assert sorted(library.made()) == ["a_FULL_SBS_LR.mov", "day/b_FULL_SBS_LR.mov", "day/c_FULL_SBS_LR.mov",
                                      "day/night/a_FULL_SBS_LR.mov"]
    assert library.leftovers() == []
    text = library.call("status", "--movies", library.movies, status=1)
    assert "4 done, 1 failed, 0 to do, 0 waiting" in text
    assert "broken.mp4: could not open input" in text
    # What failed is tried again once it is mended, and nothing else.
    before = library.made()
    library.add(clip, "broken.mp4")
    os.utime(library.recordings / "broken.mp4", (1e9, 1e9))
    assert "4 done already, 1 to do" in library.run("--profile", profile)
    after = library.made()
    assert len(after) == 5 and before.items() <= after.items()
    library.call("status", "--movies", library.movies)


def test_movies_are_those_of_the_converter_for_odd_names(clip, library):
    library.add(clip, *ODD)
    os.link(library.recordings / "-dash.mp4", os.path.join(os.fsencode(library.recordings), b"no \xff text.mp4"))
    library.plan(*PRORES)
    library.run("--profile", "local", "--jobs", "2")
    library.check_all_done(len(ODD) + 1)
    assert len(set(library.made().values())) == 1


def test_movies_folder_may_have_an_odd_name(clip, tmp_path, converter):
    library = Library(tmp_path, converter, movies=ODD_FOLDER)
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    library.run("--profile", "local")
    library.check_all_done(1)


@pytest.mark.parametrize("options", [
    ("--sbs-mode", "half", "--sbs-aspect-ratio-padding", "16x9"),
    ("--output-format", "mono", "--mono-eye", "left"),
    ("--output-format", "mono", "--sbs-aspect-ratio-padding", "4x3"),
])
def test_planned_names_are_the_converters(clip, library, options):
    library.add(clip, "a.b.mp4")
    library.plan(*PRORES, *options)
    library.run("--profile", "plain")
    library.check_all_done(1)


@pytest.mark.parametrize("codec, tail", (("h264", "sdr"), ("hevc10", "hdr")))
def test_planned_names_of_spatial_movies_are_the_converters(make, library, codec, tail):
    library.add(make("--codec", codec), "a.mp4")
    library.plan("--output-format", "spatial", "--software", "--sdr-bitrate", "2M", "--hdr-bitrate", "2M")
    library.run("--profile", "plain")
    assert list(library.made()) == [f"a_FULL_SBS_LR_mv_hevc_spatial_{tail}.mov"]


def test_large_libraries_go_to_snakemake_in_batches(clip, library):
    use_joiner(library)
    library.add(clip, "a.mp4", *(f"one{number}.mp4" for number in range(4)))
    (library.recordings / "one broken.mp4").write_bytes(b"nothing")
    library.plan(*PRORES, "--piece-minutes", "0.005")
    library.use_batches(3)
    text = library.run("--profile", "local", "--jobs", "2", status=1)
    assert "5 of 6 movies there, 1 failed" in text
    # The first recording has three pieces, which stay together.
    assert library.snakemake_log().count("Building DAG of jobs") == 3
    assert len(library.journal("completed")) == 5 and library.leftovers() == []


def test_a_snakemake_that_does_not_work_is_called_once(clip, library):
    library.add(clip, "a.mp4", "b.mp4")
    library.plan(*PRORES)
    library.use_batches(1)
    text = library.run("--profile", "local", "--snakemake=--bogus", status=1)
    assert "Error: snakemake ended with status" in text
    assert library.snakemake_log().count("unrecognized arguments: --bogus") == 1


def test_second_run_does_nothing(clip, library):
    library.add(clip, "a.mp4", "b.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    before, journal = library.made(), library.journal()
    times = {path: path.stat().st_mtime_ns for path in library.movies.glob("*.mov")}
    assert "2 recordings: 2 done already, 0 to do" in library.run("--profile", "local")
    assert (library.made(), library.journal()) == (before, journal)
    assert times == {path: path.stat().st_mtime_ns for path in library.movies.glob("*.mov")}


def test_done_mark_has_the_figures(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    (mark,) = library.done_marks().values()
    movie = library.movies / "a_FULL_SBS_LR.mov"
    assert mark["frames"] == 30
    assert mark["bytes"] == movie.stat().st_size
    assert 0 < mark["seconds"] < 60
    assert mark["node"] and mark["program"].startswith("veyrin-video-converter ")


def test_new_recording_is_found_by_run(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    library.add(clip, "b.mp4")
    assert "2 recordings: 1 done already, 1 to do" in library.run("--profile", "plain")
    library.check_all_done(2)


def test_missing_movie_is_made_again(clip, library):
    library.add(clip, "a.mp4", "b.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    before = library.made()
    (library.movies / "a_FULL_SBS_LR.mov").unlink()
    assert "1 done, 0 failed, 1 to do" in library.call("status", "--movies", library.movies, status=1)
    library.run("--profile", "plain")
    assert library.made() == before
    assert [event["key"] for event in library.journal("dropped")] == [library.key("a.mp4")]


def test_changed_movie_is_replaced_only_when_asked(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    before = library.made()
    movie = library.movies / "a_FULL_SBS_LR.mov"
    movie.write_bytes(b"somebody else's")
    text = library.run("--profile", "plain", status=1)
    assert "a_FULL_SBS_LR.mov is there already and was not made by this plan; run with --overwrite" in text
    assert movie.read_bytes() == b"somebody else's"
    library.run("--profile", "plain", "--overwrite")
    assert library.made() == before


def test_changed_options_convert_again(clip, library):
    library.add(clip, "a.mp4")
    library.plan(*PRORES)
    library.run("--profile", "plain")
    whole = library.made()
    # Into another name at once.
    library.plan(*PRORES, "--sbs-mode", "half")
    library.run("--profile", "plain")
    assert sorted(library.made()) == ["a_FULL_SBS_LR.mov", "a_HALF_SBS_LR.mov"]
    # Into the same name only when asked.
    library.plan(*PRORES, "--duration", "0.5")
    text = library.run("--profile", "plain", status=1)
    assert "run with --overwrite" in text
    assert library.made()["a_FULL_SBS_LR.mov"] == whole["a_FULL_SBS_LR.mov"]
    library.run("--profile", "plain", "--overwrite")
    assert library.made()["a_FULL_SBS_LR.mov"] != whole["a_FULL_SBS_LR.mov"]
    # And back: the first done mark does not fit the movie any more.
    library.plan(*PRORES)
    library.run("--profile", "plain", "--overwrite")
    assert library.made()["a_FULL_SBS_LR.mov"] == whole["a_FULL_SBS_LR.mov"]


def test_two_recordings_with_one_movie_are_refused(clip, library):
    library.add(clip, "a.mp4", "a.mov", "b.mp4")
    text = library.plan(*PRORES, status=1)
    assert "Error: a.mov: a.mp4 would make the same movie, a_FULL_SBS_LR.mov" in text
    assert "Error: a.mp4: a.mov would make the same movie, a_FULL_SBS_LR.mov" in text
    library.run("--profile", "plain", status=1)
    assert sorted(library.made()) == ["b_FULL_SBS_LR.mov"]


def test_unfinished_recordings_wait_for_the_next_run(clip, library):
    library.add(clip, "a.mp4", "b.mp4.partial")
    library.plan(*PRORES)
    text = library.run("--profile", "plain", status=1)
    assert "waiting for the next run: b.mp4.partial: it is still being written" in text
    assert sorted(library.made()) == ["a_FULL_SBS_LR.mov"]
    (library.recordings / "b.mp4.partial").rename(library.recordings / "b.mp4")
    library.run("--profile", "plain")
    library.check_all_done(2)


def test_recent_recordings_wait(clip, library):
    library.add(clip, "old.mp4", "new.mp4")
    os.utime(library.recordings / "old.mp4", (1e9, 1e9))
    text = library.plan(*PRORES, settle="30")
    assert "1 recording: 0 done already, 1 to do" in text
    assert "waiting: new.mp4: it is still being written" in text


def test_recording_that_changes_meanwhile_is_not_done(clip, library):
    library.add(clip, "slow.mp4")
    library.make_slow()
    library.plan(*PRORES)
    run = library.begin("--profile", "plain")
    library.wait_for_converters(1)
    os.utime(library.recordings / "slow.mp4", (1e9, 1e9))
    library.let_go()
    text = run.communicate(timeout=60)[0]
    assert run.returncode == 1
    assert "failed: slow.mp4: the recording changed while it was converted; run again" in text
    assert library.made() == {}
    library.run("--profile", "plain")
    assert len(library.made()) == 1


def test_two_runs_at_once_are_refused(clip, library):
    library.add(clip, "slow.mp4")
    library.make_slow()
    library.plan(*PRORES)
    run = library.begin("--profile", "plain")
    library.wait_for_converters(1)
    assert "another run is at work" in library.run("--profile", "plain", status=1)
    library.let_go()
    assert run.wait(60) == 0
    run.stdout.close()
    library.check_all_done(1)
