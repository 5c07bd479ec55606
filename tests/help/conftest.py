"""The program whose help is tested, and the folder of the files made from it."""

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
        return self.value.split("|") if "|" in self.value else []


@pytest.fixture(scope="session")
def usage_text(request):
    run = subprocess.run([request.config.getoption("--program"), "--help"], capture_output=True, text=True, check=True)
    return run.stdout


@pytest.fixture(scope="session")
def options(usage_text):
    found = re.findall(r"^  (?:-\w, )?(--[a-z-]+)(?: (\S+))?(?:$|  )", usage_text, re.MULTILINE)
    listed = [Option(name, value, check_only="-input-" in name) for name, value in found]
    assert len(listed) == usage_text.count("\n  --") + usage_text.count("\n  -h, --") > 20
    return listed


@pytest.fixture(scope="session")
def help_files(request):
    return Path(request.config.getoption("--help-files"))
