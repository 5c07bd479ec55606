"""The pages for users: their links, pictures and commands."""

import re
import shlex
import subprocess
from pathlib import Path

import cv2
import numpy as np
import pytest

from conftest import REPOSITORY

PAGES = sorted([*(REPOSITORY / "docs").glob("*.md"), REPOSITORY / "README.md", REPOSITORY / "CONTRIBUTING.md",
                REPOSITORY / "library" / "README.md"])
PICTURES = REPOSITORY / "docs" / "pictures"
MOST_BYTES = 150_000


def text_of(page):
    return page.read_text(encoding="utf-8")


def anchors(page):
    """The names of a page's headings, as they are linked to."""
    headings = re.findall(r"^#+ (.*)$", text_of(page), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


@pytest.mark.parametrize("page", PAGES, ids=lambda page: str(page.relative_to(REPOSITORY)))
def test_links_lead_somewhere(page):
    links = re.findall(r"\]\(([^)\s]+)\)", text_of(page))
    for link in links:
        path, _, anchor = link.partition("#")
        target = (page.parent / path).resolve() if path else page
        assert "://" in link or target.exists(), link
        assert not anchor or anchor in anchors(target), link


def test_pictures_are_small_and_shown():
    shown = {(page.parent / link).resolve() for page in PAGES for link in re.findall(r"!\[[^\]]+\]\(([^)]+)\)", text_of(page))}
    pictures = set(PICTURES.iterdir())
    assert pictures and pictures <= shown
    for picture in pictures:
        assert picture.stat().st_size < MOST_BYTES, picture


def test_pictures_are_what_the_program_makes(request, tmp_path):
    programs = Path(request.config.getoption("--program")).parent
    subprocess.run([REPOSITORY / "scripts" / "docs-pictures", "--programs", programs, tmp_path], check=True,
                   stdout=subprocess.DEVNULL, timeout=120)
    made = sorted(path.name for path in tmp_path.iterdir())
    assert made == sorted(path.name for path in PICTURES.iterdir())
    for name in made:
        pictures = [cv2.imread(str(folder / name)).astype(int) for folder in (tmp_path, PICTURES)]
        assert pictures[0].shape == pictures[1].shape, name
        # Versions of encoders differ by less than anything that one would see.
        assert np.abs(pictures[0] - pictures[1]).mean() < 1.5, name


def commands(page):
    """The command lines of the program on a page, without its name: those shown as code."""
    text = text_of(page)
    code = re.findall(r"`([^`\n]+)`", text) + re.findall(r"^ {4,}(\S.*)$", text, re.MULTILINE)
    for line in code:
        found = re.search(r"(?:^|[\s\\])veyrin-video-converter(?:\.exe)?\"? (.*)", line)
        if found:
            yield shlex.split(found.group(1).replace("\\", "/").split("||")[0])


def check_command(words, options):
    by_name = {option.name: option for option in options}
    values = iter(words)
    for word in values:
        if not word.startswith("--"):
            continue
        assert word in by_name, word
        option = by_name[word]
        if not option.value:
            continue
        value = next(values, None)
        assert value is not None, f"{word} has no value"
        assert not option.words or value in option.words, f"{word} {value}"
        if option.value in ("N", "SECONDS", "FPS"):
            assert float(value) >= 0, f"{word} {value}"


def test_commands_can_be_typed(options):
    checked = 0
    for page in PAGES:
        for words in commands(page):
            check_command(words, options)
            checked += 1
    assert checked >= 30


@pytest.mark.parametrize("command", ["--bogus clip.mp4", "--sbs-mode quarter clip.mp4", "--start soon", "clip.mp4 --output"])
def test_wrong_commands_are_found(options, command):
    with pytest.raises((AssertionError, ValueError)):
        check_command(command.split(), options)
