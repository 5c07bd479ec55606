"""A made-up mirror and the set-up scripts that use it."""

import os
import subprocess
from pathlib import Path

import pytest

from mirror import REPOSITORY, Mirror, headers_source


class SetUp:
    """Runs the scripts with the mirror and with a cache folder of their own."""

    def __init__(self, folder, mirror):
        self.cache = folder / "cache" / "veyrin"
        self.folder = folder
        self.environment = {**os.environ, "VEYRIN_DEBIAN_MIRROR": mirror.address,
                            "XDG_CACHE_HOME": str(folder / "cache"), "LC_ALL": "C"}

    def start(self, *words, **environment):
        return subprocess.Popen([str(word) for word in words], cwd=REPOSITORY, text=True, start_new_session=True,
                                env={**self.environment, **environment}, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def run(self, *words):
        """The exit status and what was printed."""
        process = self.start(*words)
        output, _ = process.communicate(timeout=60)
        return process.returncode, output

    def fetch(self):
        """scripts/setup-ffmpeg --sources: status, what was printed, the folder."""
        sources = self.folder / "sources"
        return *self.run("scripts/setup-ffmpeg", "--sources", sources), sources

    def shell(self, commands):
        """Runs commands with the functions of the scripts, in a folder of the test."""
        return self.run("bash", "-euo", "pipefail", "-c",
                        f". scripts/lib.sh; . scripts/sources.sh; cd {self.folder}; {commands}")


@pytest.fixture
def mirror(tmp_path):
    """Every suite that the set-up asks for can be read, and has the driver's header."""
    made_up = Mirror(tmp_path / "mirror")
    for suite in ("sid", "testing", "forky"):
        made_up.add(suite, "nv-codec-headers", "13.5-1", headers_source())
    return made_up


@pytest.fixture
def set_up(tmp_path, mirror):
    return SetUp(tmp_path, mirror)
