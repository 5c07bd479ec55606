"""Programs and recordings for the tests of libraries."""

import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "library"))

from cluster import Cluster  # noqa: E402
from workbench import REPOSITORY, Library  # noqa: E402


def pytest_addoption(parser):
    binaries = REPOSITORY / "build" / "release" / "bin"
    parser.addoption("--program", default=os.environ.get("VEYRIN_PROGRAM", str(binaries / "veyrin-video-converter")),
                     help="the converter")
    parser.addoption("--recording-maker",
                     default=os.environ.get("VEYRIN_RECORDING_MAKER", str(binaries / "make_recording")),
                     help="the program that makes recordings")


@pytest.fixture(scope="session")
def converter(request):
    return Path(request.config.getoption("--program")).absolute()


@pytest.fixture(scope="session")
def make(request, tmp_path_factory):
    """A function that makes a tiny recording with the given options, once."""
    maker = Path(request.config.getoption("--recording-maker")).absolute()
    folder, made = tmp_path_factory.mktemp("recordings"), {}

    def get(*options, suffix=".mp4"):
        key = (*options, suffix)
        if key not in made:
            path = folder / f"{len(made)}{suffix}"
            subprocess.run([str(maker), "--size", "128x128", "--rate", "30", "--seconds", "1", *options, str(path)],
                           check=True, stdout=subprocess.DEVNULL, timeout=60)
            made[key] = path
        return made[key]

    return get


@pytest.fixture(scope="session")
def clip(make):
    return make()


@pytest.fixture
def library(tmp_path, converter):
    return Library(tmp_path, converter)


@pytest.fixture(scope="session")
def cluster():
    """Three nodes, started once for each test process that needs them."""
    # Not below pytest's own folder: munged wants folders that every user may pass through.
    folder = Path(tempfile.mkdtemp(prefix="veyrin-cluster-"))
    cluster = Cluster(folder / "slurm")
    folder.chmod(0o755)
    try:
        cluster.start()
        yield cluster
    finally:
        cluster.stop()
        shutil.rmtree(folder, ignore_errors=True)
