"""Long recordings in pieces, with the programs that users have: the movie is the one that is made in one go."""

import os
import re
import signal

import pytest

from real_pieces import (MINUTES, RECORDINGS, add, assert_same_packets, assert_same_pictures, convert_in_one_go,
                         make_in_pieces)
from workbench import Library, processes_with, wait_until

PRORES = ("--sbs-codec", "prores", "--software")
TRIMMED = ("--output-fps", "25", "--start", "0.31", "--duration", "1.3")


@pytest.fixture(scope="session")
def whole(make, converter, tmp_path_factory):
    """A folder with the ProRes movies of all recordings, made by the converter alone."""
    library = Library(tmp_path_factory.mktemp("whole"), converter)
    return convert_in_one_go(library, library.movies, add(library, make, *RECORDINGS), *PRORES)


@pytest.mark.parametrize("names", [("24", "29.97", "30"), ("offset eyes", "late start", "gap")], ids=" and ".join)
def test_prores_movies_of_pieces_are_those_of_one_go(make, library, whole, names):
    add(library, make, *names)
    make_in_pieces(library, *PRORES)
    for name in names:
        assert_same_packets(library.movies / f"{name}_FULL_SBS_LR.mov", whole / f"{name}_FULL_SBS_LR.mov")
    marks = {mark["recording"]: mark["frames"] for mark in library.done_marks().values()}
    assert marks.get("29.97.mp4", 51) == 51


def test_trimmed_movies_at_another_rate_are_those_of_one_go(make, library):
    recordings = add(library, make, "29.97", "late start")
    make_in_pieces(library, *PRORES, *TRIMMED)
    whole = convert_in_one_go(library, library.folder / "whole", recordings, *PRORES, *TRIMMED)
    for movie in library.made():
        assert_same_packets(library.movies / movie, whole / movie)


def test_hevc_movies_of_pieces_have_the_pictures_of_one_go(make, library):
    options = ("--software", "--sdr-bitrate", "4M")
    # The packaged encoder counts the frames of a recording that starts late in another way.
    recordings = add(library, make, "30", "late start")
    make_in_pieces(library, *options)
    whole = convert_in_one_go(library, library.folder / "whole", recordings, *options)
    for movie in library.made():
        assert_same_pictures(library.movies / movie, whole / movie)


def test_spatial_movies_of_pieces_show_both_views(make, library, converter):
    from boxes import read_boxes, sample_entry, tracks
    from converter import Converter
    from recording import Recording
    from spatial_checks import Eyes, check_movie
    options = ("--output-format", "spatial", "--sdr-bitrate", "12M")
    driver = converter.parent / "simulated_nvenc"
    library.environment |= {"LD_LIBRARY_PATH": str(driver), "VEYRIN_SIMULATED_NVENC_B_FRAMES": "2"}
    source = make("--size", "320x320", "--seconds", "1.2")
    library.add(source, "a.mp4")
    make_in_pieces(library, *options)
    whole = convert_in_one_go(library, library.folder / "whole", [library.recordings / "a.mp4"], *options)
    [name] = library.made()
    assert name.endswith("_mv_hevc_spatial_sdr.mov")
    eyes = Eyes(Converter(converter, []), Recording(source), library.folder)
    check_movie(library.movies / name, converter.parent / "decode_view", eyes, 30, 36)
    entries = [sample_entry(tracks(read_boxes(folder / name), "vide")[0]) for folder in (library.movies, whole)]
    assert entries[0].content == entries[1].content


def test_cluster_makes_the_same_movie_of_pieces(make, library, tmp_path, converter, cluster):
    clustered = Library(tmp_path / "cluster", converter, environment={**cluster.environment, "CI": "true"})
    for each, run in ((library, ("--profile", "plain")), (clustered, ("--profile", "slurm", "--cpus", "1"))):
        add(each, make, "29.97")
        make_in_pieces(each, *PRORES, run=run)
    assert clustered.made() == library.made()
    assert {event["node"] for event in clustered.journal("piece")} <= set(cluster.nodes)


def test_killed_pieces_and_joins_are_done_again(make, library, whole):
    library.add(make(*RECORDINGS["29.97"]), "slow.mp4")
    movie = library.movies / "slow_FULL_SBS_LR.mov"
    for program in ("VEYRIN_CONVERTER", "VEYRIN_JOIN"):
        library.make_slow(program)
        library.plan("--piece-minutes", MINUTES, *PRORES)
        before = len(library.waiting_converters())
        run = library.begin("--profile", "local", "--jobs", "1")
        library.wait_for_converters(before + 1)
        [job] = processes_with("job", "--movies", str(library.movies))
        [at_work] = processes_with(str(library.folder / f"slow-{program}"))
        os.kill(job, signal.SIGKILL)
        wait_until(lambda: not os.path.exists(f"/proc/{at_work}"))
        library.let_go()
        text = run.communicate(timeout=60)[0]
        assert run.returncode == 1, text
        assert "failed: slow.mp4: " in text
        assert list(library.movies.glob(".veyrin-*/*/half.tmp")) and not movie.exists()
    library.run("--profile", "local", "--jobs", "2")
    library.check_all_done(1)
    # Each piece was made once, although two runs did not come to their end.
    assert len(library.journal("piece")) == 3
    assert_same_packets(movie, whole / "29.97_FULL_SBS_LR.mov")


def test_pieces_read_only_their_part(make, library, converter):
    counts = library.folder / "counts"
    counting = library.folder / "counting-converter"
    # The counter of the shell includes that of its finished child.
    counting.write_text(f'#!/bin/sh\n"{converter}" "$@"\nstatus=$?\n'
                        f'grep rchar /proc/$$/io >> "{counts}"\nexit $status\n', encoding="ascii")
    counting.chmod(0o755)
    library.environment["VEYRIN_CONVERTER"] = str(counting)
    # Every picture is coded by itself, so that the file is large for its length; and it has a hole of 100 GB.
    recording = library.recordings / "a.mp4"
    recording.hardlink_to(make("--seconds", "12", "--gop", "1", "--hole", "100000000000"))
    make_in_pieces(library, *PRORES, minutes="0.025")
    read = [int(number) for number in re.findall(r"\d+", counts.read_text(encoding="ascii"))]
    data = recording.stat().st_size - 100_000_000_000
    # The first count is that of plan's question about the options.
    parts = len(read) - 1
    assert parts == 8 and data > 2_500_000
    assert max(read) < 700_000 + 3 * data / parts
