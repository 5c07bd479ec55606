"""Options that name the programs, and the hardware check as a program to run."""

import os
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

import pytest

REPOSITORY = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(REPOSITORY / folder) for folder in ("hardware_check", "tests/end_to_end", "tests/two_view_encoder")]


def pytest_addoption(parser):
    binaries = REPOSITORY / "build" / "release" / "bin"
    parser.addoption("--program", default=str(binaries / "veyrin-video-converter"), help="the converter")
    parser.addoption("--simulated-nvenc", default=str(binaries / "simulated_nvenc"),
                     help="folder of the stand-ins for the NVIDIA driver's libraries")


@dataclass
class Result:
    status: int
    output: str
    report: str
    folder: Path

    def states(self):
        """Name of a row to its state."""
        lines = self.report.split("\n=== ")[0].splitlines()
        rows = [line[1:].split("] ", 1) for line in lines if line.startswith("[")]
        return {name: state for state, name in rows}

    def lines_of(self, name):
        """What the report says of a row."""
        lines = self.report.splitlines()
        [start] = [index for index, line in enumerate(lines) if line.startswith("[") and line.endswith(f"] {name}")]
        found = []
        for line in lines[start + 1:]:
            if not line.startswith("    "):
                break
            found.append(line.strip())
        return found


@pytest.fixture
def check(request, tmp_path):
    """A function that runs the check; the simulated driver has the given properties, or is missing."""

    def run(*words, driver=True, environment=None, **properties):
        folder = tmp_path / "result"
        command = [sys.executable, REPOSITORY / "hardware_check", "--quick", "--output", folder,
                   "--program", request.config.getoption("--program"), *words]
        if driver:
            command += ["--simulated-nvenc", request.config.getoption("--simulated-nvenc")]
        variables = {f"VEYRIN_SIMULATED_NVENC_{name.upper()}": str(value) for name, value in properties.items()}
        done = subprocess.run([str(word) for word in command], env={**os.environ, **variables, **(environment or {})},
                              cwd=tmp_path, capture_output=True, text=True, timeout=240, check=False)
        report = folder / "hardware-check-report.txt"
        return Result(done.returncode, done.stdout + done.stderr, report.read_text() if report.exists() else "", folder)

    return run
