"""Options that name the programs, and fixtures shared by all end-to-end tests."""

import os
import shlex
import shutil
from pathlib import Path

import pytest

from converter import Converter
from recordings import RecordingShelf
from spatial_checks import Eyes

REPOSITORY = Path(__file__).resolve().parents[2]


def pytest_addoption(parser):
    binaries = REPOSITORY / "build" / "release" / "bin"
    parser.addoption("--program", default=os.environ.get("VEYRIN_PROGRAM", str(binaries / "veyrin-video-converter")),
                     help="the converter")
    parser.addoption("--recording-maker",
                     default=os.environ.get("VEYRIN_RECORDING_MAKER", str(binaries / "make_recording")),
                     help="the program that makes recordings")
    parser.addoption("--run-prefix", default=os.environ.get("VEYRIN_RUN_PREFIX", ""),
                     help="command put before the converter, to run another system's program")
    parser.addoption("--view-decoder", default=os.environ.get("VEYRIN_VIEW_DECODER", str(binaries / "decode_view")),
                     help="the program that decodes one view of a movie")
    parser.addoption("--simulated-nvenc",
                     default=os.environ.get("VEYRIN_SIMULATED_NVENC", str(binaries / "simulated_nvenc")),
                     help="folder of the stand-ins for the NVIDIA driver's libraries")
    parser.addoption("--reference", default="",
                     help="the converter of this machine, when --program is another system's")
    parser.addoption("--package", default="", help="the ZIP of the Windows program")
    parser.addoption("--installer", default="", help="the installer of the Windows program")
    parser.addoption("--recording-cache", default=os.environ.get("VEYRIN_RECORDING_CACHE", ""),
                     help="folder that keeps recordings from one run to the next")


def pytest_ignore_collect(collection_path, config):
    """Skips the comparison of two systems unless both programs are given, and the installer unless it is."""
    needed = {"test_windows.py": "--reference", "test_windows_installer.py": "--installer"}.get(collection_path.name)
    return needed and not config.getoption(needed) or None


@pytest.fixture(scope="session")
def converter(request):
    return Converter(Path(request.config.getoption("--program")).absolute(),
                     shlex.split(request.config.getoption("--run-prefix")))


@pytest.fixture(scope="session")
def joiner(converter):
    """veyrin-join, which lies beside the converter."""
    program = converter.program
    return Converter(program.with_name(program.name.replace("veyrin-video-converter", "veyrin-join")), converter.prefix)


@pytest.fixture(scope="session")
def lonely(converter):
    """The converter in a folder of its own, without the programs that it finds beside itself."""
    program = converter.program.resolve()
    folder = program.parent.parent / f"lonely-{os.getpid()}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    for file in (program, *program.parent.glob("*.dll")):
        os.link(file, folder / file.name)
    yield Converter(folder / program.name, converter.prefix)
    shutil.rmtree(folder)


@pytest.fixture(scope="session")
def reference(request, converter):
    """The converter of this machine, which is the one under test unless that is another system's."""
    program = request.config.getoption("--reference")
    return Converter(Path(program).absolute(), []) if program else converter


@pytest.fixture(scope="session")
def shelf(request):
    maker = Path(request.config.getoption("--recording-maker")).absolute()
    cache = request.config.getoption("--recording-cache")
    return RecordingShelf(maker, Path(cache) if cache else maker.parent.parent / "recordings")


@pytest.fixture(scope="session")
def eyes_of(converter, tmp_path_factory):
    """A function that gives a recording's eyes, made once."""
    made = {}

    def get(recording):
        if recording.path not in made:
            made[recording.path] = Eyes(converter, recording, tmp_path_factory.mktemp("eyes"))
        return made[recording.path]

    return get


@pytest.fixture(scope="session")
def view_decoder(request):
    return Path(request.config.getoption("--view-decoder")).absolute()


@pytest.fixture(scope="session")
def nvenc(request, converter):
    """A function that returns the environment for a run with the simulated driver and the given properties of it."""
    folder = Path(request.config.getoption("--simulated-nvenc")).absolute()
    if converter.prefix:
        # The runner copies the libraries into the system folder; DXVK reports the GPU vendor.
        library, place = "nvEncodeAPI64.dll", {"WINDOWS_ENV_DRIVER": str(folder),
                                               "DXVK_CONFIG": "dxgi.customVendorId = 10de"}
    else:
        library, place = "libnvidia-encode.so.1", {"LD_LIBRARY_PATH": str(folder)}
    assert (folder / library).exists(), f"no simulated driver in {folder}: run the set-up script, build again"

    def settings(**properties):
        return place | {f"VEYRIN_SIMULATED_NVENC_{name.upper()}": str(value) for name, value in properties.items()}

    return settings


@pytest.fixture
def temporary_files(converter, tmp_path):
    """Environment that puts temporary files into the test's folder; a runner gives each run its own anyway."""
    return {} if converter.prefix else {"TMPDIR": str(tmp_path)}


@pytest.fixture
def native(converter):
    """The converter, for tests that inspect its process; skips them under a runner, which hides it."""
    if converter.prefix:
        pytest.skip("the process runs under a runner")
    return converter
