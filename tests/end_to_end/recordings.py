"""Recordings, made once and shared by all tests and test processes."""

import fcntl
import hashlib
import subprocess
from pathlib import Path

from recording import Recording


class RecordingShelf:
    """Makes each recording when it is first needed; other test processes wait for it meanwhile."""

    def __init__(self, maker, folder):
        self.maker = maker
        self.folder = folder
        self.version = hashlib.sha256(maker.read_bytes()).hexdigest()[:12]

    def get(self, *options, suffix=".mp4"):
        folder = self.folder / self.version
        folder.mkdir(parents=True, exist_ok=True)
        options = [str(option) for option in options]
        name = hashlib.sha256("\0".join(options).encode()).hexdigest()[:16]
        path = folder / (name + suffix)
        with open(folder / (name + suffix + ".lock"), "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            truth = Path(f"{path}.points.json")
            if not truth.exists():
                # Renamed once complete. The truth comes last because its presence means that the recording exists.
                part = folder / ("part_" + name + suffix)
                command = [str(self.maker), *options, str(part)]
                done = subprocess.run(command, capture_output=True, text=True, timeout=300, check=False)
                assert done.returncode == 0, f"{' '.join(command)}\n{done.stdout}{done.stderr}"
                part.rename(path)
                Path(f"{part}.points.json").rename(truth)
        return Recording(path)
