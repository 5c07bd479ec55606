"""The programs whose help is tested, and the folder of the files made from it."""

import os
import re
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

import pytest

REPOSITORY = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPOSITORY / "help"))


def pytest_addoption(parser):
    build = REPOSITORY / "build" / "release"
    parser.addoption("--program", default=os.environ.get("VEYRIN_PROGRAM", str(build / "bin" / "veyrin-video-converter")),
                     help="the converter")
    parser.addoption("--help-files", default=str(build / "help"), help="folder that the build puts manual and completions in")


@dataclass(frozen=True)
class Option:
    """What this test reads from the usage text by its own, simpler rule."""

    name: str
    value: str
    check_only: bool

    @property
    def words(self):
        return [word for word in self.value.split("|") if not word.isupper()] if "|" in self.value else []


def printed(*command):
    # Lines as long as they come.
    run = subprocess.run(command, capture_output=True, text=True, check=True, env={**os.environ, "COLUMNS": "500"})
    return run.stdout


def listed_options(usage_text):
    found = re.findall(r"^  (?:-\w, )?(--[a-z-]+)(?:, -\w)?(?: (\S+))?(?:$|  )", usage_text, re.MULTILINE)
    assert len(found) == len(re.findall(r"^  (?:-\w, )?--", usage_text, re.MULTILINE))
    return [Option(name, value, check_only="-input-" in name) for name, value in found]


@pytest.fixture(scope="session")
def converter(request):
    return Path(request.config.getoption("--program"))


@pytest.fixture(scope="session")
def usage_text(converter):
    return printed(converter, "--help")


@pytest.fixture(scope="session")
def options(usage_text):
    listed = listed_options(usage_text)
    assert len(listed) > 20
    return listed


@pytest.fixture(scope="session")
def join_usage_text(converter):
    return printed(converter.with_name("veyrin-join"), "--help")


@pytest.fixture(scope="session")
def join_options(join_usage_text):
    listed = listed_options(join_usage_text)
    assert len(listed) == 8
    return listed


@pytest.fixture(scope="session")
def library_usage_texts():
    """By command, the general one under an empty name."""
    program = REPOSITORY / "library" / "veyrin-library"
    return {name: printed(sys.executable, "-B", program, *filter(None, [name]), "--help")
            for name in ("", "plan", "run", "status", "page")}


@pytest.fixture(scope="session")
def library_options(library_usage_texts):
    listed = {name: listed_options(text) for name, text in library_usage_texts.items()}
    assert len(listed["run"]) > 10
    return listed


@pytest.fixture(scope="session")
def help_files(request):
    return Path(request.config.getoption("--help-files"))
