"""The manual page as its readers show it."""

import re
import shlex
import subprocess

import pytest

from conftest import REPOSITORY
from test_pages import check_command

ROOMS = ("app", "common", "convert", "decode", "media", "metadata", "processing", "rectification", "spatial", "thumbnail")


@pytest.fixture(scope="module")
def page(help_files):
    return help_files / "share" / "man" / "man1" / "veyrin-video-converter.1"


def shown(command):
    run = subprocess.run(command, capture_output=True, text=True, check=True,
                         env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANWIDTH": "78", "TERM": "dumb"})
    assert run.stderr == ""
    return run.stdout


@pytest.fixture(scope="module")
def text(page):
    """As on a terminal, without marks for bold letters and underlines."""
    plain = shown(["groff", "-ww", "-man", "-Tutf8", "-P-c", "-rLL=78n", "-rHY=0", str(page)])
    return re.sub(".\b", "", plain).replace("\N{HYPHEN}", "-").replace("\N{MINUS SIGN}", "-")


@pytest.fixture(scope="module")
def words(text):
    return re.sub(r"\s+", " ", text)


def version():
    top = (REPOSITORY / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"^project\(veyrin-video-converter VERSION (\S+)", top, re.MULTILINE).group(1)


def test_first_line_shows_the_version(page, text):
    assert version() in page.read_text(encoding="utf-8").splitlines()[0]
    assert re.fullmatch(rf"VEYRIN-VIDEO-CONVERTER\(1\) +Version {re.escape(version())} +VEYRIN-VIDEO-CONVERTER\(1\)",
                        text.strip().splitlines()[0])


def test_no_line_is_too_long(text):
    assert max(map(len, text.splitlines())) <= 78


def test_every_option_is_there_as_the_usage_text_has_it(usage_text, options, text, words):
    for option in options:
        heading = rf"^ +(-\w, )?{option.name}{' ' + re.escape(option.value) if option.value else ''}$"
        assert len(re.findall(heading, text, re.MULTILINE)) == 1, option.name
    described = re.findall(r"^(?:  \S.*?  +| {28})(\S.*)$", usage_text, re.MULTILINE)
    assert len(described) == len(options) + 1
    for description in described:
        assert f" {description[0].upper()}{description[1:]}. " in words


def test_synopsis_is_that_of_the_usage_text(usage_text, words):
    for line in re.findall(r"veyrin-video-converter .*INPUT.*", usage_text):
        assert line in words


def test_every_environment_variable_is_there(text):
    source = "\n".join(path.read_text(encoding="utf-8") for room in ROOMS for path in (REPOSITORY / room).rglob("*.cpp"))
    read = set(re.findall(r'"(VEYRIN_[A-Z0-9_]+)[" ]', source))
    assert len(read) > 5
    assert set(re.findall(r"\bVEYRIN_[A-Z0-9_]+", text)) == read


def test_parts_that_users_look_for_are_there(text):
    headings = re.findall(r"^[A-Z][A-Z -]+$", text, re.MULTILINE)
    assert {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "ENVIRONMENT", "FILES", "EXAMPLES"} <= set(headings)


def test_description_can_be_found_by_its_name(page):
    assert shown(["lexgrog", str(page)]) == (
        f'{page}: "veyrin-video-converter - turn raw dual-track stereo recordings into 3-D movies"\n')


def test_man_shows_it_without_a_warning(page):
    assert "EXIT STATUS" in shown(["man", "--warnings", "--no-hyphenation", "-P", "cat", "-l", str(page)])


def test_examples_can_be_typed(options, text):
    examples = text[text.index("\nEXAMPLES\n"):text.index("\nSEE ALSO\n")].replace("\\\n", " ")
    lines = re.findall(r"^ {8,}veyrin-video-converter (.*)$", examples, re.MULTILINE)
    assert len(lines) == 6
    for line in lines:
        check_command(shlex.split(line), options)
