"""Rules that need no conversion: names, keys, headers, marks, the journal, the cluster's answers."""

import importlib.machinery
import importlib.util
import json
import multiprocessing
import os
import re
import subprocess

import pytest

from veyrin_library import converter as converters
from veyrin_library import (estimates, headers, journal, marks, naming, planning, recordings, snakemake_runner, store,
                            system)
from veyrin_library.errors import LibraryError
from workbench import REPOSITORY


@pytest.mark.parametrize("name, options, hdr, movie", [
    ("clip01.mov", [], False, "clip01_FULL_SBS_LR.mp4"),
    ("clip01.mov", ["--sbs-codec", "prores", "--sbs-mode", "half"], False, "clip01_HALF_SBS_LR.mov"),
    ("clip01.mov", ["--sbs-aspect-ratio-padding", "16x9"], True, "clip01_pad16x9_FULL_SBS_LR.mp4"),
    ("clip01.mov", ["--output-format", "mono"], False, "clip01_MONO_RIGHT.mp4"),
    ("clip01.mov", ["--mono-eye", "left", "--output-format", "mono", "--sbs-aspect-ratio-padding", "4x3"], False,
     "clip01_pad4x3_MONO_LEFT.mp4"),
    ("clip01.mov", ["--output-format", "spatial"], True, "clip01_FULL_SBS_LR_mv_hevc_spatial_hdr.mov"),
    ("clip01.mov", ["--output-format", "spatial", "--sbs-mode", "half", "--sbs-codec", "h264"], None,
     "clip01_HALF_SBS_LR_mv_hevc_spatial_sdr.mov"),
    ("a.b.mov", [], False, "a.b_FULL_SBS_LR.mp4"),
    (".hidden", [], False, ".hidden_FULL_SBS_LR.mp4"),
    ("a:b.mp4", [], False, "a_FULL_SBS_LR.mp4"),
])
def test_names_of_movies(name, options, hdr, movie):
    assert naming.movie_name(name, options, hdr) == movie
    assert naming.movie_path("day/" + name, options, hdr) == "day/" + movie


@pytest.mark.parametrize("options", [
    ("--codec", "h264"), ("--codec", "hevc10"), ("--codec", "hevc", "--b-frames", "2", "--rate", "24"),
    ("--right-offset", "0.1"), ("--no-audio",), ("--empty-right",), ("--untagged",), ("--extra-data-stream",)])
def test_headers_say_what_ffprobe_says(make, options):
    path = make(*options)
    header = headers.read_header(path)
    shown = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-of", "json", "-show_format", "-show_entries",
         "stream=codec_type,width,height,nb_frames,color_transfer,color_primaries", str(path)],
        check=True, capture_output=True, text=True).stdout)
    videos = [stream for stream in shown["streams"] if stream["codec_type"] == "video"]
    assert header["seconds"] == pytest.approx(float(shown["format"]["duration"]), abs=0.05)
    assert (header["width"], header["height"]) == (videos[0]["width"], videos[0]["height"])
    assert header["frames"] == max(int(stream.get("nb_frames", 0)) for stream in videos)
    bright = any(stream.get("color_primaries") == "bt2020" or
                 stream.get("color_transfer") in ("arib-std-b67", "smpte2084") for stream in videos)
    assert header["hdr"] == (None if "--untagged" in options else bright)


@pytest.mark.parametrize("data", [b"", b"\0", b"\0\0\0\x08moov" * 3, b"\0\0\0\x07moov", b"\0\0\0\x01moov" + b"\xff" * 8,
                                  b"\0\0\0\x10moov\0\0\0\x08mvhd", bytes(range(256)) * 16, b"\0\0\0\x08free" * 100000])
def test_headers_of_broken_files_are_empty(tmp_path, data):
    (tmp_path / "broken.mp4").write_bytes(data)
    assert headers.read_header(tmp_path / "broken.mp4") == {}


def test_headers_of_cut_files_never_fail(make, tmp_path):
    data = make().read_bytes()
    for length in range(0, len(data), 1009):
        (tmp_path / "cut.mp4").write_bytes(data[:length])
        assert isinstance(headers.read_header(tmp_path / "cut.mp4"), dict)


def test_keys_depend_on_everything_that_matters():
    known = ("a.mp4", 10, 20, "a_FULL_SBS_LR.mp4", ["--software"])
    others = [("b.mp4", *known[1:]), (known[0], 11, *known[2:]), (*known[:2], 21, *known[3:]),
              (*known[:3], "b.mp4", known[4]), (*known[:4], [])]
    keys = {planning.key_of(*each) for each in (known, *others)}
    assert len(keys) == 6
    assert all(re.fullmatch("[0-9a-f]{24}", key) for key in keys)
    # The same on every machine and at any time.
    assert planning.key_of(*known) == "a1655b0619dc866cb2fd5956"
    assert planning.key_of("\udcff {a},b\n.mp4", 1, 1, "x", [])


def test_order_of_options_does_not_matter():
    assert converters.check_options(["--sbs-mode", "half", "--sbs-codec", "prores"]) == \
        converters.check_options(["--sbs-codec", "h264", "--sbs-codec", "prores", "--sbs-mode", "half"])


@pytest.mark.parametrize("option", sorted(converters.REFUSED))
def test_options_of_the_library_are_refused(option):
    with pytest.raises(LibraryError, match=f"^{option} cannot be used for a library: "):
        converters.check_options([option, "1"])


def test_every_option_of_the_converter_is_known(converter):
    usage = subprocess.run([str(converter), "--help"], check=True, capture_output=True, text=True).stdout
    options = set(re.findall(r"^  (--[a-z0-9-]+)", usage, re.MULTILINE))
    assert options == converters.WITH_VALUE | converters.WITHOUT_VALUE | set(converters.REFUSED)


def test_publishing_never_replaces_unasked(tmp_path):
    source, target = tmp_path / "source", tmp_path / "target"
    source.write_bytes(b"new")
    target.write_bytes(b"old")
    with pytest.raises(FileExistsError):
        system.publish(source, target, overwrite=False)
    assert (source.read_bytes(), target.read_bytes()) == (b"new", b"old")
    system.publish(source, target, overwrite=True)
    assert target.read_bytes() == b"new" and not source.exists()
    target.rename(source)
    system.publish(source, target, overwrite=False)
    assert target.read_bytes() == b"new" and not source.exists()


@pytest.mark.parametrize("taken", (False, True))
def test_publishing_without_hard_links(tmp_path, monkeypatch, taken):
    def no_links(source, target):
        raise PermissionError(1, "Operation not permitted")

    monkeypatch.setattr(os, "link", no_links)
    source, target = tmp_path / "source", tmp_path / "target"
    source.write_bytes(b"new")
    if taken:
        target.write_bytes(b"old")
        with pytest.raises(FileExistsError):
            system.publish(source, target, overwrite=False)
    else:
        system.publish(source, target, overwrite=False)
    assert target.read_bytes() == (b"old" if taken else b"new")


@pytest.fixture
def kept(tmp_path):
    kept = store.Store(tmp_path / "movies")
    kept.make_folders()
    return kept


def write_lines(folder, number):
    mine = store.Store(folder)
    for line in range(300):
        journal.write(mine, "started", f"{number}", text="x" * 200, line=line)


def test_journal_of_several_processes_has_whole_lines(kept):
    writers = [multiprocessing.Process(target=write_lines, args=(kept.movies, number)) for number in range(4)]
    for writer in writers:
        writer.start()
    for writer in writers:
        writer.join()
    events = list(journal.Reader(kept).events())
    assert len(events) == 1200
    for number in range(4):
        assert [event["line"] for event in events if event["key"] == f"{number}"] == list(range(300))


def test_journal_is_read_on_from_where_it_was(kept):
    journal.write(kept, "started", "old")
    reader = journal.Reader(kept, from_now=True)
    journal.write(kept, "started", "new")
    file = next((kept.folder / "journal").iterdir())
    with open(file, "ab") as half:
        half.write(b'{"event": "completed", "key"')
    assert [event["key"] for event in reader.events()] == ["new"]
    with open(file, "ab") as half:
        half.write(b': "half"}\nnot json\n[]\n')
    assert [event["key"] for event in reader.events()] == ["half"]


@pytest.mark.parametrize("name, age, half", [
    ("k.json.{node}.{dead}.part", 0, True), ("k.json.{node}.{dead}.new", 0, True),
    ("k.json.{node}.{mine}.part", 0, False), ("k.json.elsewhere.{dead}.part", 60, False),
    ("k.json.elsewhere.{dead}.part", 90000, True), ("k.json", 90000, False)])
def test_half_written_files(name, age, half):
    ended = subprocess.Popen(["true"])
    ended.wait()
    name = name.format(node=system.node_name(), dead=ended.pid, mine=os.getpid())
    assert store.is_half_written(name, age) == half


def test_one_of_two_jobs_completes_a_key(kept):
    (kept.movies / "a.mov").write_bytes(b"x")
    figures = {"job": "1", "movie": "a.mov", "movie_stamp": list(recordings.stamp(os.stat(kept.movies / "a.mov")))}
    left = kept.movies / ".veyrin-k" / "movie-node-1-0"
    left.mkdir(parents=True)
    assert [marks.complete(kept, "k", {**figures, "job": job}) for job in ("1", "2")] == [True, False]
    assert not left.exists()
    assert marks.done(kept, "k")["job"] == "1"
    assert [event["job"] for event in journal.Reader(kept).events()] == ["1"]
    (kept.movies / "a.mov").write_bytes(b"xy")
    assert marks.done(kept, "k") is None


def test_estimate_is_learned_from_done_marks():
    entry = {"size": 10 ** 9, "header": {"width": 1000, "height": 1000, "frames": 100, "seconds": 4}}
    guess = estimates.Rate([], [])
    assert "guess" in guess.origin()
    marks_of_options = [{"options": [], "work": 2 * 10 ** 8, "seconds": 20.5}] * 3
    others = [{"options": ["--software"], "work": 2 * 10 ** 8, "seconds": 1000}, None]
    rate = estimates.Rate([], marks_of_options + others)
    assert rate.seconds(entry) == pytest.approx(20.5)
    assert rate.origin() == "measured on 3 movies of this library"
    # Without headers the size must do.
    assert guess.seconds({"size": 10 ** 9, "header": {}}) == pytest.approx(1000.5)


@pytest.mark.parametrize("options, hdr, expected", [
    ([], False, 55e6 * 4 / 8), (["--start", "1.5", "--duration", "9"], False, 55e6 * 2.5 / 8),
    (["--duration", "1", "--sbs-codec", "prores"], False, 2 * 25e6 * 2.4 / 8), ([], True, 90e6 * 4 / 8), (["--sdr-bitrate", "8000k"], None, 8e6 * 4 / 8),
    (["--sdr-bitrate", "1000000"], False, 1e6 * 4 / 8), (["--sdr-bitrate", "much"], False, None)])
def test_size_of_movies(options, hdr, expected):
    entry = {"header": {"width": 1000, "height": 1000, "frames": 100, "seconds": 4, "hdr": hdr}}
    assert estimates.movie_bytes(entry, options) == expected


@pytest.mark.parametrize("most, parts", [
    (1, ["a.0 a.1 a", "b", "c.0 c", "d"]), (2, ["a.0 a.1 a", "b", "c.0 c", "d"]), (3, ["a.0 a.1 a", "b c.0 c", "d"]),
    (4, ["a.0 a.1 a b", "c.0 c d"]), (100, ["a.0 a.1 a b c.0 c d"])])
def test_batches_keep_pieces_and_their_movie_together(most, parts):
    listed = {word: {"needs": []} for word in "a.0 a.1 a b c.0 c d".split()}
    made = snakemake_runner.batches_of(listed, most)
    assert [" ".join(batch) for batch in made] == parts
    assert {key: task for batch in made for key, task in batch.items()} == listed


@pytest.mark.parametrize("text, state", [
    ("JobId=7 JobName=x JobState=RUNNING Reason=None", "running"), ("JobState=PENDING", "running"),
    ("JobState=COMPLETING", "running"), ("JobState=COMPLETED", "success"), ("JobState=NODE_FAIL", "failed"),
    ("JobState=TIMEOUT", "failed"), ("JobState=OUT_OF_MEMORY", "failed"), ("JobState=CANCELLED", "failed"), ("", None)])
def test_states_of_slurm(text, state):
    path = str(REPOSITORY / "library" / "cluster" / "veyrin-slurm-status")
    loader = importlib.machinery.SourceFileLoader("slurm_status", path)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("slurm_status", loader))
    loader.exec_module(module)
    assert module.state_of(text) == state


@pytest.mark.parametrize("lines, status, message", [
    (["Error: could not open input: x"], 1, "could not open input: x"),
    (["Input: x", "  encoded_frames: 3"], -9, "the converter was ended by signal 9"),
    ([], 3, "the converter ended with status 3 and no message")])
def test_message_of_a_failed_conversion(lines, status, message):
    assert converters.failure(status, lines) == message


def test_help_of_every_command(library):
    for words in ((), ("plan",), ("run",), ("status",), ("page",), ("plan", "a", "b")):
        assert "usage: veyrin-library" in library.call(*words, "--help")


def test_nothing_outside_one_module_is_for_one_system():
    for path in (REPOSITORY / "library" / "veyrin_library").glob("*.py"):
        if path.name != "system.py":
            assert not re.search(r"\b(fcntl|msvcrt|os\.(kill|killpg|fork|link|getuid)|signal\.SIGKILL)\b",
                                 path.read_text(encoding="utf-8")), path
