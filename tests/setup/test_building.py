"""A made-up FFmpeg is built into the cache: what is left there, and runs that are interrupted or meet each other."""

import fcntl
import os
import signal
import time

import pytest

from mirror import UNFIT, ffmpeg_source


def wait_for(condition):
    deadline = time.monotonic() + 20
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.05)


def builds(set_up):
    return [path for path in set_up.cache.glob("ffmpeg-linux-*") if path.is_dir()]


def test_build_is_published_and_not_repeated(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1"))
    status, output = set_up.run("scripts/setup-ffmpeg")
    assert status == 0, output
    link = set_up.cache / "ffmpeg-linux"
    assert (link / "lib" / "RELEASE").read_text() == "9.1\n" and (link / ".complete").exists()
    assert not (link / "left-out-patches").exists()
    assert set_up.run("scripts/setup-ffmpeg") == (0, "")


def test_prefix_tells_what_was_left_out(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1", UNFIT))
    status, output = set_up.run("scripts/setup-ffmpeg")
    assert status == 0, output
    left_out = set_up.cache / "ffmpeg-linux" / "left-out-patches"
    assert left_out.read_text() == "ffmpeg-mv-hevc-10-bit.patch\n"


@pytest.mark.parametrize("stop", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_second_run_after_an_interrupted_one_works(mirror, set_up, stop):
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1"))
    stop_file = set_up.folder / "stop"
    stop_file.touch()
    first = set_up.start("scripts/setup-ffmpeg", STOP_FILE=str(stop_file))
    # Not earlier: bash may lose a signal between the start of a program and that program's own.
    wait_for((set_up.folder / "stop.reached").exists)
    os.killpg(first.pid, stop)
    first.communicate(timeout=20)
    assert first.returncode != 0 and not (set_up.cache / "ffmpeg-linux").exists()
    stop_file.unlink()
    status, output = set_up.run("scripts/setup-ffmpeg")
    assert status == 0, output
    assert (set_up.cache / "ffmpeg-linux" / ".complete").exists()


def test_two_set_ups_take_turns(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1"))
    stop_file = set_up.folder / "stop"
    stop_file.touch()
    first = set_up.start("scripts/setup-ffmpeg", STOP_FILE=str(stop_file))
    wait_for(lambda: "building" in first.stdout.readline())
    second = set_up.start("scripts/setup-ffmpeg")
    assert "another set-up is building ffmpeg-linux-" in second.stdout.readline()
    stop_file.unlink()
    assert first.wait(20) == 0 and second.wait(20) == 0
    # It found everything in place.
    assert second.stdout.read() == ""
    for process in (first, second):
        process.stdout.close()
    assert len(builds(set_up)) == 1


@pytest.mark.parametrize("stop", [signal.SIGINT, signal.SIGTERM])
def test_stopped_script_stops_what_it_started_side_by_side(set_up, stop):
    lock = set_up.folder / "lock"
    process = set_up.start("bash", "-euo", "pipefail", "-c",
                           f'. scripts/lib.sh; held() {{ exec 7>"{lock}"; flock 7; echo held; sleep 60; echo over; }}; '
                           'side_by_side held "sleep 61"')
    assert process.stdout.readline() == "held\n"
    os.kill(process.pid, stop)
    assert process.wait(20) == 130
    # Whoever had the file open is gone.
    with open(lock) as file:
        wait_for(lambda: free(file))
    assert process.communicate()[0] == ""


def free(file):
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        return False
    return True
