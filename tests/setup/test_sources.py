"""The set-up on mirrors where not everything is as it was: which source it takes and what it says."""

import re
import shutil

import pytest

from mirror import CHANGED_ALREADY, FITTING, REPOSITORY, UNFIT, ffmpeg_source, headers_source

PIN = re.search(r"^ffmpeg_pin=(.+)$", (REPOSITORY / "scripts" / "setup-ffmpeg").read_text(), re.MULTILINE).group(1)
PATCH = "ffmpeg-mv-hevc-10-bit.patch"


def lines_with(text, output):
    return [line for line in output.splitlines() if text in line]


def test_pin_that_is_gone_gives_the_newest_of_all_suites(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:8.4-1", ffmpeg_source("8.4"))
    mirror.add("sid", "ffmpeg", "7:7.9-1", ffmpeg_source("7.9"))
    mirror.add("testing", "ffmpeg", "7:10.0.2-4", ffmpeg_source("10.0.2"))
    mirror.add("forky", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1"))
    status, output, sources = set_up.fetch()
    assert status == 0, output
    assert (sources / "source" / "RELEASE").read_text() == "10.0.2\n"
    assert lines_with("ffmpeg 7:", output) == [
        f"== source: ffmpeg 7:10.0.2-4 from testing, the newest, because {PIN} could not be had "
        "(sid: 7:8.4-1 7:7.9-1; testing: 7:10.0.2-4; forky: 7:9.1-1)"]
    assert (sources / "source" / "libavcodec" / "nvenc.c").read_text() == CHANGED_ALREADY
    assert not (sources / "left-out-patches").exists()


def test_patch_that_does_not_fit_is_left_out_with_a_notice(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1", UNFIT))
    status, output, sources = set_up.fetch()
    assert status == 0, output
    assert lines_with("notice", output) == [
        f"== notice: scripts/patches/{PATCH} does not fit this version and is left out: "
        "hevc_nvenc may refuse two views in 10 bits"]
    assert (sources / "source" / "libavcodec" / "nvenc.c").read_text() == UNFIT
    assert [path.name for path in (sources / "source" / "libavcodec").iterdir()] == ["nvenc.c"]
    assert (sources / "left-out-patches").read_text() == f"{PATCH}\n"


def test_half_of_a_patch_is_not_applied(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1", FITTING.replace("10BIT", "10_BIT")))
    status, output, sources = set_up.fetch()
    assert status == 0, output
    assert (sources / "left-out-patches").read_text() == f"{PATCH}\n"


def test_source_that_has_the_change_already_lacks_nothing(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1", CHANGED_ALREADY))
    status, output, sources = set_up.fetch()
    assert status == 0, output
    assert (sources / "source" / "libavcodec" / "nvenc.c").read_text() == CHANGED_ALREADY
    assert lines_with("notice", output) == [] and not (sources / "left-out-patches").exists()


def test_header_that_cannot_be_updated_leaves_two_views_out(mirror, set_up):
    for suite in ("sid", "testing", "forky"):
        mirror.entries[suite].clear()
        mirror.add(suite, "nv-codec-headers", "12.9-1", headers_source(major=12))
    mirror.add("sid", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1"))
    status, output, sources = set_up.fetch()
    assert status == 0, output
    assert (sources / "left-out-patches").read_text() == "nv-codec-headers-interface-13.0.patch\n"
    assert lines_with("notice", output)[0].endswith("hevc_nvenc will not have two views")


def test_only_too_old_versions_give_one_clear_message(mirror, set_up):
    mirror.add("sid", "ffmpeg", "7:7.1.5-0+deb13u1", ffmpeg_source("7.1.5"))
    mirror.add("testing", "ffmpeg", "7:6.1-2", ffmpeg_source("6.1"))
    status, output, sources = set_up.fetch()
    assert status == 1
    assert lines_with("error", output) == output.splitlines()[-1:] == [
        "error: ffmpeg 8 or newer could not be had from the Debian mirror "
        "(sid: 7:7.1.5-0+deb13u1; testing: 7:6.1-2; forky: nothing)"]
    assert list(sources.iterdir()) == []


@pytest.mark.parametrize("missing", [".", "main"])
def test_suite_that_cannot_be_read_is_passed_over(mirror, set_up, missing):
    shutil.rmtree(mirror.folder / "dists" / "sid" / missing)
    mirror.add("testing", "ffmpeg", "7:9.1-1", ffmpeg_source("9.1"))
    status, output, sources = set_up.fetch()
    assert status == 0, output
    assert (sources / "source" / "RELEASE").read_text() == "9.1\n"
    unread = lines_with("sid could not be read", output)
    assert len(unread) == 1 and unread[0].startswith("== the source lists of Debian sid could not be read: E: ")
    assert "(sid: could not be read; testing: 7:9.1-1; forky: nothing)" in lines_with("ffmpeg 7:", output)[0]


def test_no_suite_that_can_be_read_gives_one_error(mirror, set_up):
    shutil.rmtree(mirror.folder / "dists")
    status, output, _ = set_up.fetch()
    assert status == 1
    assert lines_with("error:", output) == output.splitlines()[-1:] == [
        "error: nv-codec-headers 12.1 or newer could not be had from the Debian mirror "
        "(sid: could not be read; testing: could not be read; forky: could not be read)"]


def test_listed_version_without_its_file_gives_the_next_one(mirror, set_up):
    path, _ = mirror.add("sid", "ffmpeg", "7:9.3-1", ffmpeg_source("9.3"))
    path.unlink()
    mirror.add("forky", "ffmpeg", "7:9.2-1", ffmpeg_source("9.2"))
    mirror.add("testing", "ffmpeg", "7:8.8-1", ffmpeg_source("8.8"))
    status, output, sources = set_up.fetch()
    assert status == 0, output
    assert (sources / "source" / "RELEASE").read_text() == "9.2\n"


def test_pinned_version_with_other_contents_is_refused(mirror, set_up):
    mirror.add("sid", "ffmpeg", PIN, ffmpeg_source("8.1.2"))
    status, output, _ = set_up.fetch()
    assert status == 1
    assert output.splitlines()[-1] == f"error: the tarball of ffmpeg {PIN} does not have the expected digest"


@pytest.mark.parametrize("suite, reason", [
    ("sid", ""),
    ("testing", ", because others do not have it (sid: 9.9-1)"),
])
def test_pin_is_taken_wherever_it_is(mirror, set_up, suite, reason):
    _, digest = mirror.add(suite, "tiny", "4.1-2", {"name": "pinned"})
    mirror.add("sid", "tiny", "9.9-1", {"name": "newer"})
    status, output = set_up.shell(f"fetch_source tiny 4.1-2 {digest} 4 unpacked sid testing nowhere; cat unpacked/name")
    assert status == 0, output
    # The last suite is never asked.
    assert output.splitlines() == [f"== source: tiny 4.1-2 from {suite}{reason}", "pinned"]


def test_sources_go_into_a_new_folder_only(mirror, set_up):
    (set_up.folder / "sources").mkdir()
    status, output, _ = set_up.fetch()
    assert status == 1 and "error: the folder for the sources must be a new one" in output
