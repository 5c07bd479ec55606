"""The manual pages as their readers show them."""

import re
import shlex
import subprocess

import pytest

from conftest import REPOSITORY
from test_pages import check_command

ROOMS = ("app", "common", "convert", "decode", "media", "metadata", "processing", "rectification", "spatial", "thumbnail")


DESCRIPTIONS = {
    "veyrin-video-converter": "turn raw dual-track stereo recordings into 3-D movies",
    "veyrin-join": "cut long recordings into pieces and join their movies",
    "veyrin-library": "convert whole libraries of recordings",
}


def shown(command):
    run = subprocess.run(command, capture_output=True, text=True, check=True,
                         env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANWIDTH": "78", "TERM": "dumb"})
    assert run.stderr == ""
    return run.stdout


class Page:
    def __init__(self, program, help_files):
        self.program = program
        self.path = help_files / "share" / "man" / "man1" / f"{program}.1"
        self.text = plain_text(self.path)
        self.words = re.sub(r"\s+", " ", self.text)

    def section(self, heading):
        return re.search(rf"^{heading}\n(.*?)(?=^[A-Z])", self.text, re.MULTILINE | re.DOTALL).group(1)


def plain_text(page):
    """As on a terminal, without marks for bold letters and underlines."""
    plain = shown(["groff", "-ww", "-man", "-Tutf8", "-P-c", "-rLL=78n", "-rHY=0", str(page)])
    return re.sub(".\b", "", plain).replace("\N{HYPHEN}", "-").replace("\N{MINUS SIGN}", "-")


@pytest.fixture(scope="module")
def pages(help_files):
    return {program: Page(program, help_files) for program in DESCRIPTIONS}


@pytest.fixture(params=list(DESCRIPTIONS))
def page(pages, request):
    """Each of the pages."""
    return pages[request.param]


@pytest.fixture
def converter_page(pages):
    return pages["veyrin-video-converter"]


@pytest.fixture
def join_page(pages):
    return pages["veyrin-join"]


@pytest.fixture
def library_page(pages):
    return pages["veyrin-library"]


def version():
    top = (REPOSITORY / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"^project\(veyrin-video-converter VERSION (\S+)", top, re.MULTILINE).group(1)


def test_first_line_shows_the_version(page):
    assert version() in page.path.read_text(encoding="utf-8").splitlines()[0]
    name = page.program.upper()
    assert re.fullmatch(rf"{name}\(1\) +Version {re.escape(version())} +{name}\(1\)", page.text.strip().splitlines()[0])


def test_no_line_is_too_long(page):
    assert max(map(len, page.text.splitlines())) <= 78


def check_options(page, usage_text, options, more=0):
    """That these are on the page as the usage text has them, which describes `more` other entries."""
    for option in options:
        heading = rf"^ +(-\w, )?{option.name}{' ' + re.escape(option.value) if option.value else ''}$"
        assert len(re.findall(heading, page.text, re.MULTILINE)) == 1, option.name
    described = re.findall(r"^(?:  \S.*?  +| {20,})(\S.*)$", usage_text, re.MULTILINE)
    assert len(described) == len(options) + more
    for description in described:
        assert f" {description[0].upper()}{description[1:]}. " in page.words


def test_every_option_is_there_as_the_usage_text_has_it(converter_page, usage_text, options):
    check_options(converter_page, usage_text, options, more=1)


def test_every_option_of_veyrin_join_is_there(join_page, join_usage_text, join_options):
    check_options(join_page, join_usage_text, join_options)


def test_every_option_of_veyrin_library_is_there_by_command(library_page, library_usage_texts, library_options):
    parts = dict(re.findall(r"^   (\w+)\n(.*?)(?=^   \w|\Z)", library_page.section("COMMANDS"), re.MULTILINE | re.DOTALL))
    assert set(parts) == set(library_options) - {""}
    for command, part in parts.items():
        headings = re.findall(r"^ {7}(--[a-z-]+)(?:(?: (\S+))?$| [A-Z][a-z])", part, re.MULTILINE)
        # The usage text lists groups by themselves.
        assert sorted(headings) == sorted((option.name, option.value) for option in library_options[command]
                                          if option.name != "--help")
        words = re.sub(r"\s+", " ", part)
        descriptions = re.findall(r"^ +--[a-z-]+(?: \S+)?\s{2,}(\S.*)$", library_usage_texts[command], re.MULTILINE)
        assert len(descriptions) == len(headings)
        for description in descriptions:
            assert f" {description[0].upper()}{description[1:]}. " in words


def test_synopsis_is_that_of_the_usage_text(converter_page, join_page, usage_text, join_usage_text):
    for page, text in ((converter_page, usage_text), (join_page, join_usage_text)):
        lines = re.findall(rf"{page.program} .*(?:INPUT|RECORDING).*", text)
        assert len(lines) > 1
        for line in lines:
            assert line in page.words


def test_synopsis_of_veyrin_library_names_every_command(library_page, library_options):
    synopsis = library_page.section("SYNOPSIS")
    for name in filter(None, library_options):
        assert f" veyrin-library {name} [options]" in synopsis
    assert "plan [options] RECORDINGS MOVIES [converter options]" in synopsis


def variables(text):
    return set(re.findall(r"\bVEYRIN_[A-Z0-9_]+", text))


def sources(*folders, ending=".cpp"):
    return "\n".join(path.read_text(encoding="utf-8") for folder in folders for path in (REPOSITORY / folder).rglob("*")
                     if path.is_file() and path.suffix == ending)


def test_every_environment_variable_is_there(converter_page, join_page):
    read = set(re.findall(r'"(VEYRIN_[A-Z0-9_]+)[" ]', sources(*ROOMS)))
    assert len(read) > 5
    assert variables(converter_page.text) == read
    assert variables(join_page.text) == variables(sources("join")) == set()


def test_every_environment_variable_of_veyrin_library_is_there(library_page):
    code = sources("library", ending=".py") + sources("library", ending="") + (REPOSITORY / "library/Snakefile").read_text()
    # Some are put together from this and the names of options.
    read = variables(code) - {"VEYRIN_LIBRARY_"}
    assert {"VEYRIN_CONVERTER", "VEYRIN_JOIN", "VEYRIN_SNAKEMAKE", "VEYRIN_LIBRARY_MOVIES", "VEYRIN_LIBRARY_CPUS"} <= read
    listed = variables(library_page.section("ENVIRONMENT"))
    assert read <= listed
    assert {name for name in listed - read if not name.startswith("VEYRIN_LIBRARY_")} == set()


def test_parts_that_users_look_for_are_there(page):
    headings = re.findall(r"^[A-Z][A-Z -]+$", page.text, re.MULTILINE)
    assert {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "ENVIRONMENT", "FILES", "EXAMPLES"} <= set(headings)


def test_exit_statuses_of_veyrin_library_are_those_of_its_usage_text(library_page, library_usage_texts):
    told = re.search(r"exit status: (.*)", library_usage_texts[""].replace("\n", " ")).group(1)
    assert re.findall(r"^ {7}(\d+)\b", library_page.section("EXIT STATUS"), re.MULTILINE) == re.findall(r"\b\d+\b", told)


def test_description_can_be_found_by_its_name(page):
    assert shown(["lexgrog", str(page.path)]) == f'{page.path}: "{page.program} - {DESCRIPTIONS[page.program]}"\n'


def test_man_shows_it_without_a_warning(page):
    assert "EXIT STATUS" in shown(["man", "--warnings", "--no-hyphenation", "-P", "cat", "-l", str(page.path)])


def examples(page):
    """The command lines of the examples, without the program's name."""
    text = page.section("EXAMPLES").replace("\\\n", " ")
    return [shlex.split(line) for line in re.findall(rf"^ {{8,}}{page.program} (.*)$", text, re.MULTILINE)]


def test_examples_can_be_typed(converter_page, options):
    lines = examples(converter_page)
    assert len(lines) == 6
    for line in lines:
        check_command(line, options)


def test_examples_of_veyrin_join_can_be_typed(join_page, join_options):
    lines = examples(join_page)
    assert len(lines) == 2
    for line in lines:
        check_command(line, join_options)


def test_examples_of_veyrin_library_can_be_typed(library_page, options, library_options):
    lines = examples(library_page)
    assert len(lines) == 4
    for command, *line in lines:
        check_command(line, library_options[command] + (options if command == "plan" else []))
