"""Jobs of movies in pieces by direct calls: what stays, what is made again, what is asked."""

import json
import os

import pytest

from job_bench import KEY, MOVIE, Bench
from veyrin_library import estimates, marks, pieces, store


@pytest.fixture
def bench(tmp_path):
    return lambda parts=0: Bench(tmp_path, parts)


def test_pieces_of_another_converter_are_made_again(bench):
    bench = bench(2)
    assert bench.run_pieces() == ["done", "done"]
    assert bench.run_pieces() == ["already done", "already done"]
    assert bench.job(version="2").run() == "failed"
    assert "piece 1 of 2 is missing" in bench.message()
    assert bench.run_pieces(version="2") == ["done", "done"]
    assert bench.job(version="2").run() == "done"
    assert bench.hidden() == [MOVIE]


@pytest.mark.parametrize("message, left", [
    ("the pieces have 24 frames instead of 25", []),
    ("could not join {1}: its size is another than that of the first piece", []),
    ("could not open {1}: no such codec", [0, 2]),
    ("could not read {recording}: Input/output error", [0, 1, 2]),
    ("could not read {1}: Cannot allocate memory", [0, 1, 2]),
    ("could not write a picture: No space left on device", [0, 1, 2]),
    ("unknown option: --recording", [0, 1, 2])])
def test_failed_join_drops_the_pieces_that_may_be_the_reason(bench, message, left):
    bench = bench(3)
    bench.run_pieces()
    message = message.format("", pieces.piece_file(bench.store, bench.entry, 1), recording=bench.recording)
    (bench.folder / "veyrin-join.message").write_text(f"Error: {message}\n", encoding="utf-8")
    assert bench.job().run() == "failed"
    assert bench.message() == message + ("" if len(left) == 3 else "; the next run makes the pieces again")
    for number in range(3):
        assert os.path.exists(pieces.piece_file(bench.store, bench.entry, number)) == (number in left)
    (bench.folder / "veyrin-join.message").unlink()
    assert bench.run_pieces() == ["already done" if number in left else "done" for number in range(3)]
    assert bench.job().run() == "done"


@pytest.mark.parametrize("signal, left", (("SEGV", 0), ("KILL", 2)))
def test_pieces_that_the_joiner_crashes_on_are_made_again(bench, signal, left):
    bench = bench(2)
    bench.run_pieces()
    bench.joiner.write_text(f"#!/bin/sh\nkill -{signal} $$\n", encoding="ascii")
    assert bench.job().run() == "failed"
    assert len(bench.store.keys("pieces")) == left


def test_times_of_pieces_count_for_their_movie(bench):
    bench = bench(2)
    bench.run_pieces()
    for number in range(2):
        path = bench.store.path("pieces", pieces.piece_id(bench.entry, number))
        store.write_json(path, {**store.read_json(path), "seconds": 100.0})
    bench.job().run()
    mark = marks.done(bench.store, KEY)
    assert mark["frames"] == 24
    assert 0 < mark["join_seconds"] < 60
    assert mark["seconds"] == pytest.approx(200 + mark["join_seconds"])
    assert estimates.Rate([], [mark]).rate == pytest.approx(10 ** 6 / 199.5)


def test_piece_of_a_movie_whose_name_is_taken_is_not_converted(bench):
    bench = bench(2)
    bench.movie.write_bytes(b"somebody else's")
    assert bench.run_pieces() == ["failed", "failed"] and bench.begun() == 0
    assert bench.job().run() == "failed"
    assert bench.message().startswith(f"{MOVIE} is there already")


@pytest.mark.parametrize("change, left, folder", [
    (lambda plan: None, 3, True), (lambda plan: plan["entries"][0].pop("cuts"), 0, True),
    (lambda plan: plan["entries"][0]["cuts"]["pieces"].pop(), 2, True),
    (lambda plan: plan["entries"].clear(), 0, False),
    # Its folder may be one that cannot be read just now.
    (lambda plan: plan.update(entries=[], waiting=[{}]), 3, True)],
    ids=["unchanged", "in one go", "fewer pieces", "no recording", "waiting"])
def test_pieces_and_folders_that_the_plan_does_not_have_are_removed(bench, change, left, folder):
    bench = bench(3)
    bench.run_pieces()
    marks.fail(bench.store, pieces.piece_id(bench.entry, 2), "x", "1")
    dead = bench.store.movies / "day" / (".veyrin-" + "f" * 24) / "movie-node-1-0"
    dead.mkdir(parents=True)
    # Not ours: another library, whose plan we do not know.
    other = bench.store.movies / "other" / dead.parent.name
    other.mkdir(parents=True)
    (bench.store.movies / "other" / store.FOLDER).mkdir()
    change(bench.plan)
    pieces.drop_unwanted(bench.store, bench.plan, bench.states())
    assert len(bench.store.keys("pieces")) == len(list(bench.store.movies.glob(f".veyrin-{KEY}/*/*.mov"))) == left
    assert bool(bench.store.keys("failed")) == (left == 3)
    assert (bench.store.movies / f".veyrin-{KEY}").exists() == folder
    assert not dead.exists() and other.exists()


def test_movie_that_is_taken_over_leaves_no_marks_of_pieces(bench):
    bench = bench(2)
    bench.run_pieces()
    bench.job().run()
    store.write_json(bench.store.path("pending", KEY), store.read_json(bench.store.path("done", KEY)))
    store.remove(bench.store.path("done", KEY))
    for number in range(2):
        store.write_json(bench.store.path("pieces", pieces.piece_id(bench.entry, number)), {})
    assert marks.recover(bench.store, KEY)
    assert bench.store.keys("pieces") == set()


def test_question_that_the_joiner_does_not_answer_is_a_reason(bench, monkeypatch):
    bench = bench()
    bench.entry["header"] = {"seconds": 60}
    monkeypatch.setattr(pieces, "QUESTION_SECONDS", 0.2)
    monkeypatch.setenv("VEYRIN_JOIN", str(bench.joiner))
    bench.joiner.write_text("#!/bin/sh\nexec sleep 20\n", encoding="ascii")
    pieces.plan_cuts(bench.plan)
    assert bench.entry["cuts"]["reason"] == f"could not run {bench.joiner}: it did not end within 0.2 s"
    assert not pieces.of(bench.entry)
    answer = {"pieces": [{"start": 0, "duration": 1, "frames": 12}, {"start": 1, "frames": 12}]}
    bench.joiner.write_text(f"#!/bin/sh\nprintf '%s\\n' '{json.dumps(answer)}'\n", encoding="ascii")
    monkeypatch.undo()
    monkeypatch.setenv("VEYRIN_JOIN", str(bench.joiner))
    pieces.plan_cuts(bench.plan)
    assert len(pieces.of(bench.entry)) == 2


@pytest.mark.parametrize("state", ("done", "refused"))
def test_cuts_are_asked_for_only_where_there_is_something_to_do(bench, monkeypatch, state):
    bench = bench()
    bench.entry["header"] = {"seconds": 60}
    monkeypatch.setenv("VEYRIN_JOIN", str(bench.joiner))
    bench.joiner.write_text('#!/bin/sh\ntouch "$0.asked"\nexit 1\n', encoding="ascii")
    if state == "done":
        assert bench.job().run() == "done"
    else:
        bench.entry["refused"] = "x"
    pieces.plan_cuts(bench.plan)
    assert not (bench.folder / "veyrin-join.asked").exists()
    bench.movie.unlink(missing_ok=True)
    bench.entry.pop("refused", None)
    pieces.plan_cuts(bench.plan)
    assert (bench.folder / "veyrin-join.asked").exists()
