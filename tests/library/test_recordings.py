"""Which files are recordings, which of them wait, and which folders do not go together."""

import os

import pytest

from veyrin_library import planning, recordings
from veyrin_library.errors import LibraryError


def test_only_finished_recordings_are_found(tmp_path):
    for name in ("b.MP4", "a/x.mov", "a/y.txt", ".hidden.mp4", ".git/z.mp4", "lost+found/z.mp4", "c.mp4.partial",
                 "movies/d.mp4", "e.mp4/f.mp4"):
        path = tmp_path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"x")
        os.utime(path, (1e9, 1e9))
    os.symlink(tmp_path, tmp_path / "a" / "round")
    os.symlink(tmp_path / "a" / "nowhere", tmp_path / "dangling.mp4")
    found, waiting = recordings.find_recordings(str(tmp_path), tmp_path / "movies", 10, pause=lambda seconds: None)
    assert [file.path for file in found] == ["a/x.mov", "b.MP4", "e.mp4/f.mp4"]
    assert [path for path, _ in waiting] == ["c.mp4.partial"]


def test_folder_of_the_movies_is_left_out_whatever_it_is_called(tmp_path):
    (tmp_path / "recordings" / "movies").mkdir(parents=True)
    for name in ("a.mp4", "movies/a_FULL_SBS_LR.mp4"):
        (tmp_path / "recordings" / name).write_bytes(b"x")
    (tmp_path / "elsewhere").symlink_to(tmp_path / "recordings" / "movies")
    found, _ = recordings.find_recordings(str(tmp_path / "recordings"), tmp_path / "elsewhere", 0)
    assert [file.path for file in found] == ["a.mp4"]


# The other machine's clock may be minutes ahead.
@pytest.mark.parametrize("age", [20, -300])
def test_growing_recording_is_seen_between_two_looks(tmp_path, age):
    for name in ("still.mp4", "growing.mp4"):
        (tmp_path / name).write_bytes(b"x" * 100)
        recent = os.stat(tmp_path / name).st_mtime - age
        os.utime(tmp_path / name, (recent, recent))

    def pause(seconds):
        with open(tmp_path / "growing.mp4", "ab") as file:
            file.write(b"x")
        os.utime(tmp_path / "growing.mp4", (recent, recent))

    found, waiting = recordings.find_recordings(str(tmp_path), tmp_path / "movies", 10, pause=pause)
    assert [file.path for file in found] == ["still.mp4"]
    assert waiting == [("growing.mp4", "it is still being written")]


@pytest.mark.parametrize("below, message", [(".", "of their own"), ("..", "must not be inside")])
def test_folders_must_not_mix(tmp_path, below, message):
    (tmp_path / "recordings").mkdir()
    with pytest.raises(LibraryError, match=message):
        planning.check_folders(tmp_path / "recordings", tmp_path / "recordings" / below)
