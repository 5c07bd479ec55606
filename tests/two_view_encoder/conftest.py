"""Options that name the programs, and fixtures of the two-view encoder's tests."""

import os
import shlex
import sys
from pathlib import Path

import pytest

REPOSITORY = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPOSITORY / "tests" / "end_to_end"))

from encoder_client import Encoder  # noqa: E402


def pytest_addoption(parser):
    binaries = REPOSITORY / "build" / "release" / "bin"
    parser.addoption("--encoder", default=str(binaries / "veyrin-two-view-encoder"), help="the two-view encoder")
    parser.addoption("--run-prefix", default=os.environ.get("VEYRIN_RUN_PREFIX", ""),
                     help="command put before the encoder, to run another system's program")
    parser.addoption("--view-decoder", default=str(binaries / "decode_view"),
                     help="the program that decodes one view of a movie")


@pytest.fixture(scope="session")
def encoder(request):
    return Encoder(Path(request.config.getoption("--encoder")).absolute(),
                   shlex.split(request.config.getoption("--run-prefix")))


@pytest.fixture(scope="session")
def view_decoder(request):
    return Path(request.config.getoption("--view-decoder")).absolute()
