"""Long recordings in pieces: all but the program that cuts and joins, which a stand-in plays."""

import json

import pytest

from stand_in import use_joiner
from veyrin_library import pieces
from workbench import wait_until

PRORES = ("--sbs-codec", "prores")


@pytest.fixture
def cutting(library):
    def use(frames):
        use_joiner(library, frames)
        return library
    return use


@pytest.mark.parametrize("profile", ("plain", "local"))
def test_pieces_are_converted_and_joined(clip, cutting, profile):
    library = cutting(6)
    library.add(clip, "a.mp4", "one.mp4", "bad.mp4")
    text = library.plan("--piece-minutes", "0.005", *PRORES)
    assert "pieces: 1 recording in 3 pieces of about 0.005 minutes" in text
    assert "in one go: one.mp4: too short" in text
    assert "in one go: bad.mp4: no pairs" in text
    library.run("--profile", profile, "--jobs", "2")
    library.check_all_done(3)
    assert [event["key"] for event in library.journal("piece")] == [library.key("a.mp4")] * 3
    mark = library.done_marks()[library.key("a.mp4")]
    assert mark["frames"] == 30
    joined = (library.movies / "a_FULL_SBS_LR.mov").read_bytes()
    assert joined.count(b"ftyp") == 3
    assert list((library.state / "pieces").iterdir()) == []
    assert "3 done already, 0 to do" in library.run("--profile", profile)


def test_wrong_count_of_frames_fails_the_recording(clip, cutting):
    library = cutting(7)
    library.add(clip, "a.mp4", "one.mp4")
    library.plan("--piece-minutes", "0.005", *PRORES)
    text = library.run("--profile", "plain", "--jobs", "2", status=1)
    assert "failed: a.mp4: piece 3 of 3 is missing: piece 3 has 6 frames instead of 7" in text
    assert f"    log: {library.state / 'logs' / library.key('a.mp4')}.00002.txt" in text
    assert sorted(library.made())[-1] == "one_FULL_SBS_LR.mov"
    # The good pieces stay for the next run; those of another cut are made again.
    assert len(list((library.state / "pieces").iterdir())) == 2
    library = cutting(6)
    library.plan(*PRORES)
    library.plan("--piece-minutes", "0.005", *PRORES)
    library.run("--profile", "plain")
    library.check_all_done(2)
    assert len(library.journal("piece")) == 3


@pytest.mark.parametrize("words", [(*PRORES, "--sbs-mode", "half"), PRORES], ids=["other options", "in one go"])
def test_pieces_that_nobody_wants_any_more_are_removed(clip, cutting, words):
    library = cutting(7)
    library.add(clip, "a.mp4")
    library.plan("--piece-minutes", "0.005", *PRORES)
    library.run("--profile", "plain", status=1)
    assert len(list(library.movies.glob(".veyrin-*/pieces/*.mov"))) == 2
    library.plan(*words)
    library.run("--profile", "plain")
    assert library.leftovers() == [] and list((library.state / "pieces").iterdir()) == []


def test_interrupted_pieces_are_kept(clip, cutting):
    library = cutting(6)
    library.add(clip, "slow.mp4")
    library.plan("--piece-minutes", "0.005", *PRORES)
    library.run("--profile", "plain")
    library.check_all_done(1)
    # The same again, stopped after the first piece.
    (library.movies / "slow_FULL_SBS_LR.mov").unlink()
    library.make_slow()
    run = library.begin("--profile", "plain")
    library.wait_for_converters(1)
    library.let_go()
    wait_until(lambda: len(library.journal("piece")) == 4)
    library.hold.touch()
    run.terminate()
    assert run.wait(20) == 130
    run.stdout.close()
    made = len(library.journal("piece"))
    library.let_go()
    library.run("--profile", "plain")
    assert len(library.journal("piece")) == 6
    assert made < 6
    assert library.leftovers() == []


def test_joiner_must_be_there(clip, library):
    library.add(clip, "a.mp4")
    library.environment["VEYRIN_JOIN"] = str(library.folder / "none")
    assert "VEYRIN_JOIN names no program" in library.plan("--piece-minutes", "1", status=1)


def test_cuts_are_asked_for_once(clip, cutting):
    library = cutting(6)
    library.add(clip, "a.mp4")
    library.plan("--piece-minutes", "0.005", *PRORES)
    before = library.entries()[0]["cuts"]
    (library.folder / "veyrin-join").write_text("#!/bin/sh\nexit 1\n", encoding="ascii")
    library.plan("--piece-minutes", "0.005", *PRORES)
    assert json.dumps(library.entries()[0]["cuts"]) == json.dumps(before)
    # With other options it is another question.
    library.plan("--piece-minutes", "0.005", *PRORES, "--start", "0.5")
    assert library.entries()[0]["cuts"]["reason"] == "veyrin-join ended with status 1"


def test_what_a_trim_leaves_decides_whether_a_recording_is_long(clip, cutting):
    library = cutting(6)
    library.add(clip, "a.mp4")
    for trim, cut in ((("--start", "0.6"), True), (("--start", "0.8"), False), (("--duration", "0.2"), False)):
        library.plan("--piece-minutes", "0.005", *PRORES, *trim)
        assert ("cuts" in library.entries()[0]) == cut


@pytest.mark.parametrize("options, words", [
    (["--software"], ["--software", "--start", "0.1", "--duration", "2.0"]),
    (["--duration", "7", "--output-fps", "25", "--start", "1"],
     ["--output-fps", "25", "--start", "0.1", "--duration", "2.0"])])
def test_options_of_a_piece(options, words):
    assert pieces.options_of({"start": 0.1, "duration": 2.0}, options) == words
    assert pieces.options_of({"start": 0.1, "duration": None}, options) == words[:-2]
