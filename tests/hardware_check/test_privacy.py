"""What the report's texts lose, and what they keep."""

import getpass
import socket
from pathlib import Path

import pytest

from privacy import Scrubber

FOLDERS = {Path("/data/tools/bin"): "<programs>"}


@pytest.fixture
def clean(monkeypatch):
    for name, value in {"USER": "Ann Example", "USERNAME": "annex", "COMPUTERNAME": "ATTIC-PC"}.items():
        monkeypatch.setenv(name, value)
    monkeypatch.setattr(socket, "gethostname", lambda: "attic-pc.example.net")
    monkeypatch.setattr(getpass, "getuser", lambda: "annex")
    monkeypatch.setattr(Path, "home", lambda: Path("/home/annex"))
    return Scrubber(FOLDERS).clean


@pytest.mark.parametrize("text, cleaned", [
    ("could not open /home/annex/films/a.mp4: gone", "could not open <home>/films/a.mp4: gone"),
    ("/data/tools/bin/converter", "<programs>/converter"),
    ("at /media/Films of Ann/x", "at <folder>/Films of Ann/x"),
    (r"C:\Users\annex\films\a.mp4", r"<folder>/a.mp4"),
    (r"'\\server\share\a.mp4'", r"'<folder>/a.mp4'"),
    ("Ann Example on attic-pc", "<user> on <host>"),
    ("ATTIC-PC and attic-pc.example.net", "<host> and <host>"),
    ("annexe", "annexe"),
])
def test_names_and_folders_go(clean, text, cleaned):
    assert clean(text) == cleaned


@pytest.mark.parametrize("text", [
    "first pts/dts=0/0, second pts/dts=3/0", "30000/1001 frames/s", "NAL units 39/0 20/0 39/0 20/1; 39/0 1/0",
    "GeForce RTX 4090, 581.15, 95.02.3C.00.01", "encoder: hevc_nvenc (d3d11, GPU-resident NV12)"])
def test_facts_stay(clean, text):
    assert clean(text) == text
